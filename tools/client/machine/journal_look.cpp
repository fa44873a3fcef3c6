#include "machine/journal_look.h"

#include <chrono>
#include <cstddef>
#include <span>
#include <vector>

#include "journal/usn_decoder.h"
#include "platform/constants.h"
#include "platform/owned_handle.h"

namespace tavi::client {

namespace {

constexpr std::size_t kNextUsnBytes = 8;
constexpr std::size_t kReadBytes = 65'536;

JournalLook Failed(JournalLook::State state, std::uint32_t error) {
    JournalLook look;
    look.state = state;
    look.error = error;
    return look;
}

JournalLook::State StateOfQueryError(std::uint32_t error) {
    switch (error) {
        case platform::kErrorJournalNotActive:
            return JournalLook::State::kNoJournal;
        case platform::kErrorJournalDeleteInProgress:
            return JournalLook::State::kBeingDeleted;
        default:
            return JournalLook::State::kNotQueried;
    }
}

// 100 ns since 1601, local.
std::uint64_t LocalNow(platform::Platform& platform) {
    using namespace std::chrono;
    const platform::SystemTime now = platform.clock.GetLocalTime();
    const sys_days day(year(now.year) / month(now.month) / std::chrono::day(now.day));
    const auto time = day - sys_days(year(1601) / 1 / 1) + hours(now.hour) + minutes(now.minute) + seconds(now.second) +
                      milliseconds(now.milliseconds);
    return static_cast<std::uint64_t>(milliseconds(time).count()) * 10'000;
}

std::optional<platform::FileTime> TimeOfFirstRecord(platform::Platform& platform, platform::Handle volume,
                                                    const platform::UsnJournalData& data) {
    platform::ReadUsnJournalData request;
    request.startUsn = data.firstUsn;
    request.reasonMask = 0xFFFFFFFF;
    request.usnJournalId = data.usnJournalId;
    std::vector<std::byte> buffer(kReadBytes);
    std::uint32_t bytes = 0;
    if (!platform.volumes.DeviceIoControl(volume, platform::kFsctlReadUsnJournal, std::as_bytes(std::span(&request, 1)),
                                          buffer, bytes) ||
        bytes < kNextUsnBytes || bytes > buffer.size()) {
        return std::nullopt;
    }
    journal::UsnDecoder decoder(std::span<const std::byte>(buffer).first(bytes).subspan(kNextUsnBytes));
    journal::UsnRecordView record;
    return decoder.Next(record) ? std::optional(record.timeStamp()) : std::nullopt;
}

// The seam tells the local time only, so the record's is made local too.
std::optional<std::uint64_t> Age(platform::Platform& platform, std::optional<platform::FileTime> time) {
    platform::FileTime local = 0;
    if (!time || !platform.clock.FileTimeToLocalFileTime(*time, local)) {
        return std::nullopt;
    }
    const std::uint64_t now = LocalNow(platform);
    return now > local ? std::optional(now - local) : std::nullopt;
}

}  // namespace

std::u16string DriveOf(const std::u16string& folder) {
    const std::size_t colon = folder.find(u':');
    return colon == std::u16string::npos || colon == 0 ? std::u16string() : folder.substr(colon - 1, 2);
}

JournalLook LookAtJournal(platform::Platform& platform, const std::u16string& folder) {
    const std::u16string drive = DriveOf(folder);
    if (drive.empty()) {
        return Failed(JournalLook::State::kNoDrive, 0);
    }
    const platform::Handle opened =
        platform.files.CreateFileW(u"\\\\.\\" + drive, platform::kGenericRead,
                                   platform::kFileShareRead | platform::kFileShareWrite, platform::kOpenExisting, 0);
    if (opened == platform::kInvalidHandle) {
        const std::uint32_t error = platform.errors.GetLastError();
        return Failed(
            error == platform::kErrorAccessDenied ? JournalLook::State::kDenied : JournalLook::State::kNotOpened,
            error);
    }
    const platform::OwnedHandle volume(platform.files, opened);
    JournalLook look;
    std::uint32_t bytes = 0;
    if (!platform.volumes.DeviceIoControl(opened, platform::kFsctlQueryUsnJournal, {},
                                          std::as_writable_bytes(std::span(&look.data, 1)), bytes)) {
        const std::uint32_t error = platform.errors.GetLastError();
        return Failed(StateOfQueryError(error), error);
    }
    look.state = JournalLook::State::kSeen;
    look.age = Age(platform, TimeOfFirstRecord(platform, opened, look.data));
    return look;
}

}  // namespace tavi::client
