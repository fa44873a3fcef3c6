#include "commands/read_problem.h"

namespace tavi::client {

std::string DescribeReadProblem(ReadState state, int code, const std::string& path) {
    switch (state) {
        case ReadState::kRead:
            return {};
        case ReadState::kMissing:
            return "There is no database " + path +
                   ": no start request has been made for this user and database folder, or it was uninstalled since";
        case ReadState::kBusy:
            return "The database " + path + " is locked by another program";
        default:
            return "The database " + path + " cannot be read (SQLite result " + std::to_string(code) + ")";
    }
}

}  // namespace tavi::client
