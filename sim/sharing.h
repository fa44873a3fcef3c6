// What openings of one file allow each other, as the system decides it: each must share what the other asks for.
#pragma once

#include <cstdint>

#include "platform/constants.h"

namespace tavi::sim {

// Masks as of CreateFile.
struct Opening {
    std::uint32_t access = 0;
    std::uint32_t share = 0;
    friend bool operator==(const Opening&, const Opening&) = default;
};

// The sharing that an access needs of others. Attributes alone need none.
constexpr std::uint32_t SharingNeededFor(std::uint32_t access) {
    constexpr std::uint32_t kReadData = 0x1;  // of a directory: to list it
    constexpr std::uint32_t kWriteOrAppend = 0x6;
    constexpr std::uint32_t kExecute = 0x20;
    constexpr std::uint32_t kGenericExecute = 0x20000000;
    using namespace platform;
    std::uint32_t needed = 0;
    if ((access & (kGenericRead | kGenericAll | kGenericExecute | kReadData | kExecute)) != 0) {
        needed |= kFileShareRead;
    }
    if ((access & (kGenericWrite | kGenericAll | kWriteOrAppend)) != 0) {
        needed |= kFileShareWrite;
    }
    if ((access & (kDelete | kGenericAll)) != 0) {
        needed |= kFileShareDelete;
    }
    return needed;
}

constexpr bool IsConflict(Opening one, Opening other) {
    const std::uint32_t needs = SharingNeededFor(one.access);
    const std::uint32_t otherNeeds = SharingNeededFor(other.access);
    return needs != 0 && otherNeeds != 0 && ((needs & ~other.share) != 0 || (otherNeeds & ~one.share) != 0);
}

}  // namespace tavi::sim
