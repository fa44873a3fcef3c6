#include "tavi_client/conversation.h"

#include <algorithm>

#include "platform/constants.h"
#include "tavi_client/reply.h"

namespace tavi::client {

namespace {

using platform::kErrorAccessDenied;
using platform::kErrorBrokenPipe;
using platform::kErrorFileNotFound;
using platform::kErrorMoreData;
using platform::kErrorNoData;
using platform::kErrorPipeBusy;
using platform::kErrorPipeNotConnected;
using platform::kErrorSuccess;

constexpr std::uint32_t kPauseBetweenConnections = 200;

class Deadline {
public:
    Deadline(ServicePipe& pipe, std::uint32_t timeout) : pipe_(pipe), end_(pipe.NowMilliseconds() + timeout) {}

    std::uint32_t Left() const {
        const std::uint64_t now = pipe_.NowMilliseconds();
        return now >= end_ ? 0 : static_cast<std::uint32_t>(end_ - now);
    }

private:
    ServicePipe& pipe_;
    std::uint64_t end_;
};

Answer Failure(std::uint32_t error) {
    switch (error) {
        case kErrorFileNotFound:
            return {Outcome::kNotThere, 0, error};
        case kErrorAccessDenied:
            return {Outcome::kDenied, 0, error};
        case kErrorBrokenPipe:
        case kErrorNoData:
        case kErrorPipeNotConnected:
            return {Outcome::kTurnedAway, 0, error};
        case kErrorTimeout:
        case kErrorSemaphoreTimeout:
            return {Outcome::kNoAnswer, 0, error};
        case kErrorMoreData:
            return {Outcome::kInvalidReply, 0, error};
        default:
            return {Outcome::kFailed, 0, error};
    }
}

std::uint32_t Connect(ServicePipe& pipe, const Deadline& deadline) {
    for (;;) {
        std::uint32_t error = pipe.Open();
        if (error != kErrorPipeBusy) {
            return error;
        }
        const std::uint32_t left = deadline.Left();
        if (left == 0) {
            return kErrorTimeout;
        }
        // A free instance may be taken by somebody else before it is opened here: then this waits again.
        error = pipe.WaitForInstance(left);
        if (error != kErrorSuccess) {
            return error;
        }
    }
}

Answer AskOnce(ServicePipe& pipe, const Frame& request, const Deadline& deadline) {
    std::vector<std::uint8_t> message;
    std::uint32_t error = Connect(pipe, deadline);
    if (error == kErrorSuccess) {
        error = pipe.Write(request, deadline.Left());
    }
    if (error == kErrorSuccess) {
        error = pipe.Read(message, deadline.Left());
    }
    pipe.Close();
    if (error != kErrorSuccess) {
        return Failure(error);
    }
    const auto status = DecodeReply(message);
    return status ? Answer{Outcome::kReplied, *status, 0} : Answer{Outcome::kInvalidReply, 0, 0};
}

}  // namespace

Answer Ask(ServicePipe& pipe, const Frame& request, std::uint32_t timeoutMilliseconds) {
    const Deadline deadline(pipe, timeoutMilliseconds);
    Answer answer = AskOnce(pipe, request, deadline);
    // The service also drops a client that connects in the moment before it begins to wait for one. Such a client is
    // served when it comes again; one that is not accepted is turned away again.
    if (answer.outcome == Outcome::kTurnedAway && deadline.Left() > kPauseBetweenConnections) {
        pipe.Sleep(kPauseBetweenConnections);
        answer = AskOnce(pipe, request, deadline);
    }
    return answer;
}

StartEnd HowStartEnded(const Answer& answer) {
    switch (answer.outcome) {
        case Outcome::kReplied:
            return answer.status < kReplyStartFailed ? StartEnd::kAnswered : StartEnd::kMayBeCutShort;
        case Outcome::kNotThere:
        case Outcome::kDenied:
            return StartEnd::kAnswered;  // the pipe was never opened
        case Outcome::kTurnedAway:
        case Outcome::kNoAnswer:
        case Outcome::kInvalidReply:
        case Outcome::kFailed:
            break;
    }
    return StartEnd::kMayBeCutShort;
}

std::uint32_t StatusToActOn(StartEnd last, std::uint32_t status) {
    const bool saysNothingIsMissing = status == kReplyContinues || status == kReplyTaskReplaced;
    return last == StartEnd::kMayBeCutShort && saysNothingIsMissing ? kReplyPositionExpired : status;
}

}  // namespace tavi::client
