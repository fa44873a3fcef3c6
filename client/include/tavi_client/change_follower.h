// Follows the table of changes while the service adds to it and a client deletes from it, and gives every change once.
//
// The last id alone does not do for that. A new change gets the greatest id that is in the table plus one, so once
// somebody has deleted the newest rows, their ids come again, and a database that was deleted and made anew begins from
// the front. The follower remembers which rows it has given (16 bytes for each that is still in the table) and finds
// the place from which on rows are new. One thread; a connection lives only for a call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "tavi_client/change_table.h"

namespace tavi::client {

class ReadConnection;

class ChangeFollower {
public:
    // Gives the changes with an id greater than `after`; without one, those that come after the first call of Next.
    explicit ChangeFollower(std::string databasePath, std::optional<std::int64_t> after = std::nullopt,
                            int busyMilliseconds = kDefaultBusyMilliseconds)
        : path_(std::move(databasePath)), after_(after), busyMilliseconds_(busyMilliseconds) {}

    // The next changes, in the order of their ids, at most `limit`: a full page says that there may be more right now.
    // In a missing database nothing is known as given: when it is there again, all its rows are new.
    ChangePage Next(std::size_t limit);

private:
    struct Given {
        std::int64_t id = 0;
        std::uint64_t fingerprint = 0;
    };

    bool Prime(ReadConnection& connection);
    bool ForgetWhatChanged(ReadConnection& connection);
    bool ForgetWhatIsGone(ReadConnection& connection);

    std::string path_;
    std::optional<std::int64_t> after_;
    int busyMilliseconds_;
    bool primed_ = false;
    std::deque<Given> given_;  // by id
};

}  // namespace tavi::client
