#include "tavi_client/change_table.h"

#include <array>

#include "read_connection.h"

namespace tavi::client {

std::string_view ChangeKindName(std::int32_t kind) {
    static constexpr std::array<std::string_view, 6> kNames = {"unknown", "create", "delete",
                                                               "modify",  "move",   "rename"};
    return kind >= kChangeCreate && kind <= kChangeRename ? kNames[static_cast<std::size_t>(kind)] : kNames[0];
}

ChangePage ChangeTable::ReadAfter(std::int64_t id, std::size_t limit) const {
    ReadConnection connection(path_, busyMilliseconds_);
    ChangePage page;
    page.changes = connection.ChangesAfter(id, limit);
    page.state = connection.state();
    page.code = connection.code();
    return page;
}

}  // namespace tavi::client
