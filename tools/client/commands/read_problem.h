// Why a database could not be read, in words.
#pragma once

#include <string>

#include "tavi_client/change_table.h"

namespace tavi::client {

// A sentence without its point; empty when it was read.
std::string DescribeReadProblem(ReadState state, int code, const std::string& path);

}  // namespace tavi::client
