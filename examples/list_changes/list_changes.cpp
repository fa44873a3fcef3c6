// Lists the changes that the service has recorded for a user, in the order in which a client has to apply them:
//
//     list_changes DATABASE-FOLDER USER-ID [LAST-ID]
//
// DATABASE-FOLDER is the one that the start request names. With LAST-ID only later changes are listed. A client keeps
// the last id it has dealt with, or deletes the rows up to it; here it is printed at the end. Exit codes: 0 done,
// 1 the database could not be read, 2 wrong arguments.
#include <cstdlib>
#include <iostream>
#include <string>

#include "tavi_client/change_table.h"
#include "tavi_client/database_path.h"

namespace {

constexpr std::size_t kPage = 500;

void Print(const tavi::client::Change& change) {
    std::cout << change.id << '\t' << tavi::client::ChangeKindName(change.kind) << '\t' << change.path;
    if (!change.originalPath.empty()) {
        std::cout << "\tfrom " << change.originalPath;
    }
    std::cout << '\n';
}

const char* Why(tavi::client::ReadState state) {
    switch (state) {
        case tavi::client::ReadState::kMissing:
            return "there is no database: no listening task has been started for this user";
        case tavi::client::ReadState::kBusy:
            return "the database is locked by another program";
        default:
            return "the database cannot be read";
    }
}

}  // namespace

int main(int count, char* arguments[]) {
    if (count != 3 && count != 4) {
        std::cerr << "usage: list_changes DATABASE-FOLDER USER-ID [LAST-ID]\n";
        return 2;
    }
    const tavi::client::ChangeTable table(tavi::client::DatabasePath(arguments[1], arguments[2]));
    std::int64_t lastId = count == 4 ? std::strtoll(arguments[3], nullptr, 10) : 0;
    for (tavi::client::ChangePage page{{}, 0, std::vector<tavi::client::Change>(kPage)};
         page.changes.size() == kPage;) {
        page = table.ReadAfter(lastId, kPage);
        if (page.state != tavi::client::ReadState::kRead) {
            std::cerr << Why(page.state) << " (SQLite result " << page.code << ")\n";
            return 1;
        }
        for (const tavi::client::Change& change : page.changes) {
            Print(change);
            lastId = change.id;
        }
    }
    std::cout << "last id: " << lastId << '\n';
}
