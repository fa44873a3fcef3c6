// How a folder's path is spelt on its volume. One thread.
#pragma once

#include <string>

#include "platform/platform.h"

namespace tavi::client {

struct RealName {
    // With every component as it is stored: in its own case, a short name replaced by the long one. As given from the
    // first component on that cannot be looked up.
    std::u16string path;
    // The first component that is a link, with the path to it; empty when there is none.
    std::u16string link;
};

// `folder` begins with a drive.
RealName LookUpRealName(platform::Platform& platform, const std::u16string& folder);

}  // namespace tavi::client
