#include "commands/ask.h"

#include <ostream>
#include <string>
#include <string_view>

#include "tavi_client/conversation.h"
#include "tavi_client/reply.h"

namespace tavi::client {

namespace {

int ExitCodeOfReply(Command command, std::uint32_t status) {
    if (command == Command::kStart && status == kReplyStartFailed) {
        return kExitFailed;
    }
    if (command == Command::kStatus && status == kReplyNoTask) {
        return kExitNoTask;
    }
    if (command == Command::kStatus && status == kReplyJournalUnusable) {
        return kExitJournalUnusable;
    }
    return kExitDone;
}

// `last` is the start before this one, for a start.
int ReportReply(const Surroundings& surroundings, Command command, std::uint32_t status, const AskOptions& options,
                StartEnd last) {
    const std::string_view words = DescribeReply(command, status);
    if (words.empty()) {
        surroundings.err << "The service sent a reply that does not answer this request (reply " << status << ").\n";
        return kExitBroken;
    }
    surroundings.out << words << " (reply " << status << ")\n";
    const std::uint32_t counts = command == Command::kStart ? StatusToActOn(last, status) : status;
    if (counts != status) {
        surroundings.out << "the start before it was cut short, so this counts as reply " << counts
                         << ": changes may be missing\n";
    }
    return options.exitWithReply ? kExitReplyBase + static_cast<int>(counts) : ExitCodeOfReply(command, status);
}

struct Complaint {
    int exitCode = kExitBroken;
    std::string text;
};

Complaint Explain(const Answer& answer, std::uint32_t timeoutSeconds) {
    const std::string code = " (error " + std::to_string(answer.error) + ")";
    switch (answer.outcome) {
        case Outcome::kNotThere:
            return {kExitNotThere,
                    "The service is not there: TaviLumbraService is not installed or not running" + code};
        case Outcome::kDenied:
            return {kExitRefused, "The service refuses this client: this user may not open its pipe" + code};
        case Outcome::kTurnedAway:
            return {
                kExitRefused,
                "The service refuses this client: it closed the connection without a reply. It serves programs only "
                "that carry its publisher's signature" +
                    code};
        case Outcome::kNoAnswer:
            return {kExitNoAnswer, "The service did not answer within " + std::to_string(timeoutSeconds) +
                                       " seconds: it is busy with another client or stuck" + code};
        case Outcome::kInvalidReply:
            return {kExitBroken, "What the service sent is not a reply"};
        default:
            return {kExitBroken, "The conversation with the service broke down" + code};
    }
}

}  // namespace

namespace {

int Report(const Surroundings& surroundings, Command command, const Answer& answer, const AskOptions& options,
           StartEnd last) {
    if (answer.outcome == Outcome::kReplied) {
        return ReportReply(surroundings, command, answer.status, options, last);
    }
    const Complaint complaint = Explain(answer, options.timeoutSeconds);
    surroundings.err << complaint.text << ".\n";
    return complaint.exitCode;
}

}  // namespace

int AskAndReport(const Surroundings& surroundings, Command command, const Frame& frame, const AskOptions& options) {
    const Answer answer = Ask(surroundings.pipe, frame, options.timeoutSeconds * 1000);
    return Report(surroundings, command, answer, options, StartEnd::kAnswered);
}

int AskForStartAndReport(const Surroundings& surroundings, const Frame& frame, const StartOptions& options) {
    const Answer answer = Ask(surroundings.pipe, frame, options.ask.timeoutSeconds * 1000);
    const StartEnd last = options.afterCutShort ? StartEnd::kMayBeCutShort : StartEnd::kAnswered;
    const int exitCode = Report(surroundings, Command::kStart, answer, options.ask, last);
    if (HowStartEnded(answer) == StartEnd::kMayBeCutShort) {
        surroundings.out << "This start may have been cut short. Start again with --after-cut-short.\n";
    }
    return exitCode;
}

bool HasTheRights(const Surroundings& surroundings, const char* command) {
    if (!surroundings.elevated) {
        surroundings.err << command << ": run this from an elevated prompt (Run as administrator).\n";
    }
    return surroundings.elevated;
}

}  // namespace tavi::client
