// A stretch of a user's life: see stretches.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "lives/database_image.h"
#include "lives/truth.h"

namespace tavi::lives {

struct Stretch {
    std::size_t user = 0;
    std::size_t folder = 0;
    Database base;  // as it was at the beginning
    std::int64_t position = 0;
    std::uint64_t journal = 0;
    bool comparable = true;  // its journal is whole and no position was given up
    bool cutShort = false;   // begun by a start that ended half done: rows of before may still be there
    FolderState folderAtStart;
    std::optional<FolderState> folderAtEnd;  // when the client has taken all rows; the last look is from then
    std::vector<Image> looks;
};

}  // namespace tavi::lives
