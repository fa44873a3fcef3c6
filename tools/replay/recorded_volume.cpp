#include "replay/recorded_volume.h"

#include <cstring>

#include "platform/constants.h"

namespace tavi::replay {

bool RecordedVolume::DeviceIoControl(platform::Handle handle, std::uint32_t controlCode,
                                     std::span<const std::byte> input, std::span<std::byte> output,
                                     std::uint32_t& bytesReturned) {
    platform::ReadUsnJournalData request;
    if (journal_ != nullptr && controlCode == platform::kFsctlQueryUsnJournal) {
        lastError_ = journal_->Query(output, bytesReturned);
    } else if (journal_ != nullptr && controlCode == platform::kFsctlReadUsnJournal && input.size() >= sizeof request) {
        std::memcpy(&request, input.data(), sizeof request);
        lastError_ = journal_->Read(request, output, bytesReturned);
    } else {
        return volumes_.DeviceIoControl(handle, controlCode, input, output, bytesReturned);
    }
    return lastError_ == platform::kErrorSuccess;
}

}  // namespace tavi::replay
