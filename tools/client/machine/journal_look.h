// One look at the change journal of the volume that holds a folder. It needs the rights of an administrator. The volume
// is opened for the look only. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/platform.h"

namespace tavi::client {

struct JournalLook {
    enum class State {
        kNoDrive,       // the folder's path does not begin with a drive
        kDenied,        // not with these rights
        kNotOpened,     // the volume cannot be opened
        kNoJournal,     // there is none
        kBeingDeleted,  // the system is still at it
        kNotQueried,    // it cannot be asked for otherwise
        kSeen,
    };
    State state = State::kNotQueried;
    std::uint32_t error = 0;  // the system's code behind any state but kNoDrive and kSeen
    platform::UsnJournalData data{};
    // How old the first record is that the journal still holds, in 100 ns; none in an empty one.
    std::optional<std::uint64_t> age;
};

JournalLook LookAtJournal(platform::Platform& platform, const std::u16string& folder);

// "C:" of "C:\Users\anna\Sync"; empty when the path does not begin with a drive.
std::u16string DriveOf(const std::u16string& folder);

}  // namespace tavi::client
