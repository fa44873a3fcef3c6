// Asks the system not to let this process follow junctions (mount points) that somebody other than an administrator
// made: opening a path with one in it fails then. The service works as the local system account on paths that users
// name, and a junction of theirs would lead it where they may not go themselves.
//
// Called once, on the process's first thread, before any path of a user's is opened. Owns nothing. Systems that are too
// old lack the function or refuse: a trace line says which, and the service goes on.
#pragma once

#include "platform/platform.h"

namespace tavi::service {

void DistrustJunctionsOfUsers(platform::Platform& platform);

}  // namespace tavi::service
