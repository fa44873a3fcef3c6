#include "journal/volume_journal.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

#include "imports/exception_edge.h"
#include "imports/sync_panel_log.h"
#include "platform/constants.h"
#include "util/read_error_file.h"
#include "util/retry.h"

namespace tavi::journal {
namespace {

constexpr int kRetries = 5;
constexpr std::uint32_t kRetryPauseMs = 1000;
constexpr std::uint32_t kAllReasons = 0xFFFFFFFF;
constexpr std::size_t kNextUsnBytes = 8;

// The cache of parents counts its text in 32 bits: every record of a read may have a parent of its own, with the
// longest path and a backslash.
static_assert(std::uint64_t{VolumeJournal::kReadBufferBytes} / sizeof(platform::UsnRecordV2) *
                  (kLongestPathUnits + 1) <=
              std::numeric_limits<std::uint32_t>::max());

// "\\.\C:" for a drive letter; nothing when the unit is no character, which no text can be formatted from.
std::optional<std::u16string> FormatDevicePath(char16_t drive) {
    constexpr char16_t kFirstSurrogate = 0xD800;
    constexpr char16_t kLastSurrogate = 0xDFFF;
    if (drive == u'\0' || (drive >= kFirstSurrogate && drive <= kLastSurrogate)) {
        return std::nullopt;
    }
    return std::u16string(u"\\\\.\\") + drive + u':';
}

}  // namespace

VolumeJournal::VolumeJournal(platform::Platform& platform, std::u16string listenPath)
    : platform_(platform), listenPath_(std::move(listenPath)), readBuffer_(platform.heap), directoryPaths_(platform) {}

VolumeJournal::~VolumeJournal() = default;

bool VolumeJournal::CreateVolumeHandle() {
    bool opened = false;
    Drive::EndStandardExceptions(Drive::kFileChangeRecordLog, "CreateVolumeHandle",
                                 {.standard = "Failed to create the volume handle: exception "},
                                 [&] { opened = OpenVolume(); });
    return opened;
}

bool VolumeJournal::OpenVolume() {
    volume_.Close();
    directoryPaths_.SetVolume(platform::kInvalidHandle);
    const std::size_t colon = listenPath_.find(u':');
    if (colon == std::u16string::npos || colon == 0) {
        return false;
    }
    const std::optional<std::u16string> device = FormatDevicePath(listenPath_[colon - 1]);
    if (!device) {
        Drive::kDeviatingFileChangeRecordLog.Error("Create volume", "String format failed.");
        return false;
    }
    const platform::Handle handle =
        platform_.files.CreateFileW(*device, platform::kGenericRead,
                                    platform::kFileShareRead | platform::kFileShareWrite, platform::kOpenExisting, 0);
    if (handle == platform::kInvalidHandle) {
        lastError_ = platform_.errors.GetLastError();
        LogFailure("CreateVolumeHandle", "Failed to create the volume handle, error code is ");
        return false;
    }
    volume_ = platform::OwnedHandle(platform_.files, handle);
    directoryPaths_.SetVolume(handle);
    return true;
}

int VolumeJournal::CreateChangeJournal() {
    const platform::CreateUsnJournalData request;  // zeros: the file system chooses its sizes
    if (ControlWithRetries(platform::kFsctlCreateUsnJournal, std::as_bytes(std::span(&request, 1)))) {
        return 1;
    }
    LogFailure("CreateChangeJournal", "Failed to create the changeJournal, error code is ");
    return 0;
}

int VolumeJournal::QueryChangeJournal() {
    journalData_ = {};
    std::uint32_t bytesReturned = 0;
    if (Control(platform::kFsctlQueryUsnJournal, {}, std::as_writable_bytes(std::span(&journalData_, 1)),
                bytesReturned)) {
        return 1;
    }
    LogFailure("QueryChangeJournal", "Failed to query the changeJournal, error code is ");
    return 0;
}

bool VolumeJournal::DeleteChangeJournal() {
    platform::DeleteUsnJournalData request;
    request.usnJournalId = journalData_.usnJournalId;
    request.deleteFlags = platform::kUsnDeleteFlagDelete;
    const bool deleted = ControlWithRetries(platform::kFsctlDeleteUsnJournal, std::as_bytes(std::span(&request, 1)));
    Drive::SyncPanelLog::WriteTraceLog(deleted ? "The changeJournal is deleted successfully"
                                               : "Failed to delete the changeJournal");
    return deleted;
}

bool VolumeJournal::AllocateReadBuffer() {
    readBuffer_.Reset();
    readBuffer_.Reset(platform_.heap.HeapAlloc(kReadBufferBytes));
    return static_cast<bool>(readBuffer_);
}

VolumeJournal::RawRead VolumeJournal::FsctlReadUsnJournal(platform::Usn startUsn) {
    RawRead read;
    read.nextUsn = startUsn;
    const std::span<std::byte> buffer = ReadBuffer();
    if (buffer.empty()) {
        return read;
    }
    platform::ReadUsnJournalData request;
    request.startUsn = startUsn;
    request.reasonMask = kAllReasons;
    request.usnJournalId = journalData_.usnJournalId;
    std::memset(buffer.data(), 0, buffer.size());
    std::uint32_t bytesReturned = 0;
    if (!Control(platform::kFsctlReadUsnJournal, std::as_bytes(std::span(&request, 1)), buffer, bytesReturned)) {
        LogFailure("FsctlReadUsnJournal", "Failed to read the USN journal, error code is ");
        read.nextUsn = RejectedRead(startUsn);
        return read;
    }
    read.succeeded = true;
    read.bytesReturned = bytesReturned;
    if (bytesReturned >= kNextUsnBytes) {
        std::memcpy(&read.nextUsn, buffer.data(), kNextUsnBytes);
    }
    return read;
}

// Returns where the next read is to begin.
platform::Usn VolumeJournal::RejectedRead(platform::Usn startUsn) {
    if (lastError_ == platform::kErrorNotReady) {
        DeleteChangeJournal();
        journalLost_ = true;
    } else if (lastError_ == platform::kErrorInvalidParameter) {
        util::WriteReadErrorLine(platform_, u"#1\n");
        if (QueryChangeJournal() == 1) {
            return journalData_.nextUsn;
        }
        LogFailure("FsctlReadUsnJournal", "Failed to query the changeJournal, error code is ");
        positionLost_ = true;
    }
    return startUsn;
}

JournalRead VolumeJournal::ReadUsnRecords(platform::Usn startUsn, PathMapping* mapping) {
    JournalRead result{{}, startUsn};
    Drive::EndStandardExceptions(Drive::kFileChangeRecordLog, "ReadUsnRecords",
                                 {.standard = "Failed to decode the USN records: exception "}, [&] {
                                     platform_.clock.WsetlocaleAll(u"chs");
                                     const RawRead read = FsctlReadUsnJournal(startUsn);
                                     const std::span<const std::byte> buffer = ReadBuffer();
                                     const auto returned =
                                         buffer.first(std::min<std::size_t>(read.bytesReturned, buffer.size()));
                                     if (returned.size() >= kNextUsnBytes) {
                                         result.records = Decode(returned.subspan(kNextUsnBytes), mapping);
                                     }
                                     // The position moves on only when the records that it leaves behind are in the
                                     // caller's hands.
                                     result.nextUsn = read.nextUsn;
                                 });
    return result;
}

records::UsnRecordList VolumeJournal::Decode(std::span<const std::byte> returned, PathMapping* mapping) {
    if (decoder_ == nullptr) {
        decoder_ = std::make_unique<BatchDecoder>(listenPath_, platform_.clock);
    }
    decoder_->EndRead();  // of one that an exception may have cut short
    BatchDecoder::Result result = decoder_->Decode(returned, directoryPaths_, mapping);
    decoder_->EndRead();
    if (result.malformed) {
        Drive::kFileChangeRecordLog.Error("ReadUsnRecords", "A malformed record ends the decoding of the USN records");
    }
    return std::move(result.records);
}

void VolumeJournal::RemoveTrailingBackslashes() {
    while (listenPath_.ends_with(u'\\')) {
        listenPath_.pop_back();
    }
    decoder_.reset();
}

bool VolumeJournal::Control(std::uint32_t code, std::span<const std::byte> input, std::span<std::byte> output,
                            std::uint32_t& bytesReturned) {
    const bool succeeded = platform_.volumes.DeviceIoControl(volume_.Get(), code, input, output, bytesReturned);
    if (!succeeded) {
        lastError_ = platform_.errors.GetLastError();
    }
    return succeeded;
}

bool VolumeJournal::ControlWithRetries(std::uint32_t code, std::span<const std::byte> input) {
    std::uint32_t bytesReturned = 0;
    return util::TryWithRetries(
        kRetries, [&] { return Control(code, input, {}, bytesReturned); }, [](bool succeeded) { return !succeeded; },
        [this] { platform_.threads.Sleep(kRetryPauseMs); });
}

void VolumeJournal::LogFailure(std::string_view function, std::string_view message) const {
    Drive::kFileChangeRecordLog.Error(function, message, lastError_);
}

std::span<std::byte> VolumeJournal::ReadBuffer() const {
    if (!readBuffer_) {
        return {};
    }
    const std::size_t bytes = std::min(platform_.heap.HeapSize(readBuffer_.get()), kReadBufferBytes);
    return {static_cast<std::byte*>(readBuffer_.get()), bytes};
}

}  // namespace tavi::journal
