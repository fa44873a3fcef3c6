#include "tavi_client/change_follower.h"

#include <limits>

#include "read_connection.h"

namespace tavi::client {

namespace {

constexpr std::size_t kPrimingPage = 4096;

// FNV-1a over everything that makes the row what it is.
std::uint64_t Fingerprint(const Change& change) {
    std::uint64_t hash = 0xCBF29CE484222325;
    const auto add = [&hash](std::uint64_t value) { hash = (hash ^ value) * 0x100000001B3; };
    for (const char c : change.path) {
        add(static_cast<unsigned char>(c));
    }
    add(0x100);  // no character: "ab" and "c" are not "a" and "bc"
    for (const char c : change.originalPath) {
        add(static_cast<unsigned char>(c));
    }
    add(static_cast<std::uint64_t>(change.timestamp));
    add(change.attributes);
    add(static_cast<std::uint32_t>(change.kind));
    add(change.frn);
    return hash;
}

ChangePage Failed(const ReadConnection& connection) {
    return {connection.state(), connection.code(), {}};
}

}  // namespace

// What is in the table at the start and not wanted counts as given.
bool ChangeFollower::Prime(ReadConnection& connection) {
    const std::int64_t last = after_.value_or(std::numeric_limits<std::int64_t>::max());
    for (std::int64_t id = 0;;) {
        const std::vector<Change> page = connection.ChangesAfter(id, kPrimingPage);
        for (const Change& change : page) {
            if (change.id <= last) {
                given_.push_back({change.id, Fingerprint(change)});
            }
        }
        if (page.size() < kPrimingPage || page.back().id > last) {
            break;
        }
        id = page.back().id;
    }
    primed_ = connection.state() == ReadState::kRead;
    if (!primed_) {
        given_.clear();
    }
    return primed_;
}

// Afterwards the last given row is in the table as it was given, and every row behind it is new.
bool ChangeFollower::ForgetWhatChanged(ReadConnection& connection) {
    while (!given_.empty()) {
        const auto change = connection.ChangeWithId(given_.back().id);
        if (connection.state() != ReadState::kRead) {
            return false;
        }
        if (change && Fingerprint(*change) == given_.back().fingerprint) {
            return true;
        }
        given_.pop_back();
    }
    return true;
}

bool ChangeFollower::ForgetWhatIsGone(ReadConnection& connection) {
    std::int64_t first = std::numeric_limits<std::int64_t>::max();
    const bool read = connection.Query("SELECT min(id) FROM fileChangeRecord", {}, [&first](sqlite3_stmt* row) {
        if (sqlite3_column_type(row, 0) != SQLITE_NULL) {
            first = sqlite3_column_int64(row, 0);
        }
    });
    while (read && !given_.empty() && given_.front().id < first) {
        given_.pop_front();
    }
    return read;
}

ChangePage ChangeFollower::Next(std::size_t limit) {
    ReadConnection connection(path_, busyMilliseconds_);
    if (connection.state() == ReadState::kMissing) {
        given_.clear();
        primed_ = true;
        return Failed(connection);
    }
    if (!primed_ && !Prime(connection)) {
        primed_ = connection.state() == ReadState::kMissing;
        return Failed(connection);
    }
    if (!ForgetWhatIsGone(connection) || !ForgetWhatChanged(connection)) {
        return Failed(connection);
    }
    ChangePage page;
    page.changes = connection.ChangesAfter(given_.empty() ? 0 : given_.back().id, limit);
    page.state = connection.state();
    page.code = connection.code();
    for (const Change& change : page.changes) {
        given_.push_back({change.id, Fingerprint(change)});
    }
    return page;
}

}  // namespace tavi::client
