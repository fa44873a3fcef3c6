// Everything that stands below a directory, as the file system lists it. One call makes one listing; every enumeration
// is closed before it returns. Listen thread only. A directory that cannot be enumerated has no entries; nothing is
// logged. Throws nothing but allocation failures.
#pragma once

#include <string>
#include <vector>

#include "platform/paths.h"

namespace tavi::records {

// Each directory is followed by its own contents. Full paths that begin with `directory` as it is given. What a link or
// junction leads to is not below it, and nothing is below `directory` when it is one itself.
std::vector<std::u16string> ListAllEntries(platform::Paths& paths, const std::u16string& directory);

}  // namespace tavi::records
