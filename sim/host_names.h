// Windows paths on the host's disk: any UTF-16 name becomes a name that every host accepts, and back. Internal to
// sim.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace tavi::sim {

std::string EncodeHostName(std::u16string_view name);
std::u16string DecodeHostName(std::string_view name);
// The path of a normalised Windows path below `root`; an existing name of another case is taken for the name meant.
std::filesystem::path ResolveOnHost(const std::filesystem::path& root, std::u16string_view normalised);
void ListHostFolder(const std::filesystem::path& folder, std::vector<platform::FindData>& entries);

}  // namespace tavi::sim
