// Lists the changes that the service has recorded for a user, in the order in which a client has to apply them:
//
//     list_changes DATABASE-FOLDER USER-ID [LAST-ID]
//
// DATABASE-FOLDER is the one that the start request names. With LAST-ID only later changes are listed. A client keeps
// the last id it has dealt with, or deletes the rows up to it; here it is printed at the end. Exit codes: 0 done,
// 1 the database could not be read, 2 wrong arguments.
#include <charconv>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

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

std::optional<std::int64_t> Number(const std::string& text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

int ListChanges(const std::vector<std::string>& arguments) {
    const std::optional<std::int64_t> start = arguments.size() == 3 ? Number(arguments[2]) : 0;
    if (arguments.size() < 2 || arguments.size() > 3 || !start) {
        std::cerr << "usage: list_changes DATABASE-FOLDER USER-ID [LAST-ID]\n";
        return 2;
    }
    const tavi::client::ChangeTable table(tavi::client::DatabasePath(arguments[0], arguments[1]));
    std::int64_t lastId = *start;
    tavi::client::ChangePage page;
    do {
        page = table.ReadAfter(lastId, kPage);
        if (page.state != tavi::client::ReadState::kRead) {
            std::cerr << Why(page.state) << " (SQLite result " << page.code << ")\n";
            return 1;
        }
        for (const tavi::client::Change& change : page.changes) {
            Print(change);
            lastId = change.id;
        }
    } while (page.changes.size() == kPage);
    std::cout << "last id: " << lastId << '\n';
    return 0;
}

}  // namespace

// The library takes UTF-8. Windows hands out UTF-16, and what its narrow arguments hold depends on the code page.
#ifdef _WIN32
int wmain(int count, wchar_t* arguments[]) {
#else
int main(int count, char* arguments[]) {
#endif
    std::vector<std::string> texts;
    for (int i = 1; i < count; ++i) {
        const std::u8string text = std::filesystem::path(arguments[i]).u8string();
        texts.emplace_back(text.begin(), text.end());
    }
    return ListChanges(texts);
}
