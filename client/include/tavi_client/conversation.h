// One conversation with the service: connect, send a request, receive its reply. The service serves one client at a
// time and one request per connection, so a client may have to wait for its turn. All within one time limit.
//
// The second half says what the reply to a start means when the start before it was cut short. One thread per pipe; the
// functions without one are pure. Nothing is thrown but std::bad_alloc.
#pragma once

#include <cstdint>

#include "tavi_client/request.h"
#include "tavi_client/service_pipe.h"

namespace tavi::client {

enum class Outcome {
    kReplied,       // status holds the reply's status
    kNotThere,      // no such pipe: the service is not running
    kDenied,        // this user may not open the pipe
    kTurnedAway,    // the service closed the connection without a reply: it does not accept this client
    kNoAnswer,      // nothing came within the time limit
    kInvalidReply,  // what came is not a reply
    kFailed,        // a call failed otherwise
};

struct Answer {
    Outcome outcome = Outcome::kFailed;
    std::uint32_t status = 0;
    std::uint32_t error = 0;  // the system's code behind any outcome but kReplied and kInvalidReply
};

Answer Ask(ServicePipe& pipe, const Frame& request, std::uint32_t timeoutMilliseconds);

// How a start ended, as far as its client knows.
enum class StartEnd {
    kAnswered,       // with 0 to 4, or it never reached the service
    kMayBeCutShort,  // the service may have carried out a part of it
};

// For the answer to a start request. A start that failed (5) or has no answer may have stored the journal's end as the
// new position already, and emptied tables, before it was cut short.
StartEnd HowStartEnded(const Answer& answer);

// The status on which a client acts. After a start that may be cut short, 0 and 3 count as 2 (kReplyPositionExpired):
// the service goes on from a position that the start before has stored, and what had to be told about it, nobody was
// told.
//
// `last` is the end of the start before this one for the same user and database folder. It has to outlive the client: a
// client stores kMayBeCutShort before it sends a start, and kAnswered only when it has acted on this function's result.
std::uint32_t StatusToActOn(StartEnd last, std::uint32_t status);

}  // namespace tavi::client
