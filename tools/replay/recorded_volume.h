// The volume of a replay: the simulated machine's own, but its change journal is a recorded one. One thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "platform/system_errors.h"
#include "platform/volumes.h"
#include "replay/journal_extract.h"

namespace tavi::replay {

class RecordedVolume : public platform::Volumes, public platform::SystemErrors {
public:
    // All outlive this object.
    RecordedVolume(platform::Volumes& volumes, platform::SystemErrors& errors) : volumes_(volumes), errors_(errors) {}

    void UseJournal(JournalExtract& journal) { journal_ = &journal; }

    bool GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                               std::u16string& fileSystemName) override {
        return volumes_.GetVolumeInformationW(root, maximumComponentLength, fileSystemName);
    }
    // Querying and reading the journal; every other code goes to the simulated volume.
    bool DeviceIoControl(platform::Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                         std::span<std::byte> output, std::uint32_t& bytesReturned) override;

    // The code of the last call here that failed, once; otherwise the simulated machine's.
    std::uint32_t GetLastError() override {
        const std::uint32_t code = std::exchange(lastError_, 0U);
        return code != 0 ? code : errors_.GetLastError();
    }
    std::u16string FormatMessageW(std::uint32_t code) override { return errors_.FormatMessageW(code); }

private:
    platform::Volumes& volumes_;
    platform::SystemErrors& errors_;
    JournalExtract* journal_ = nullptr;
    std::uint32_t lastError_ = 0;
};

}  // namespace tavi::replay
