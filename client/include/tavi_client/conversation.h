// One conversation with the service: connect, send a request, receive its reply. The service serves one client at a
// time and one request per connection, so a client may have to wait for its turn. All within one time limit.
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

}  // namespace tavi::client
