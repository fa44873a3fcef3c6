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

int ReportReply(const Surroundings& surroundings, Command command, std::uint32_t status, const AskOptions& options) {
    const std::string_view words = DescribeReply(command, status);
    if (words.empty()) {
        surroundings.err << "The service sent a reply that does not answer this request (reply " << status << ").\n";
        return kExitBroken;
    }
    surroundings.out << words << " (reply " << status << ")\n";
    return options.exitWithReply ? kExitReplyBase + static_cast<int>(status) : ExitCodeOfReply(command, status);
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

int AskAndReport(const Surroundings& surroundings, Command command, const Frame& frame, const AskOptions& options) {
    const Answer answer = Ask(surroundings.pipe, frame, options.timeoutSeconds * 1000);
    if (answer.outcome == Outcome::kReplied) {
        return ReportReply(surroundings, command, answer.status, options);
    }
    const Complaint complaint = Explain(answer, options.timeoutSeconds);
    surroundings.err << complaint.text << ".\n";
    return complaint.exitCode;
}

}  // namespace tavi::client
