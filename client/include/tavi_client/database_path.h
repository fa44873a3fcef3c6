// Where the service keeps a user's database. A pure function; texts are UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace tavi::client {

// BASE\<SHA-256 of the user id, lower-case hexadecimal>\ListenService.dat, with BASE as in the start request, with or
// without a backslash at its end.
std::string DatabasePath(std::string_view baseFolder, std::string_view userId);

}  // namespace tavi::client
