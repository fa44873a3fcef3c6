// One task's access to the change journal of the volume that holds the listened folder: opening the volume, creating,
// querying, deleting and reading the journal, decoding its records, and resolving file reference numbers to paths. The
// start handler uses the volume, create and query operations; the listen thread everything. One thread at a time.
// Failures are logged here and reported as false, 0 or an empty list. Layouts: Microsoft's documentation of
// USN_RECORD_V2, USN_JOURNAL_DATA_V0 and the FSCTL_*_USN_JOURNAL control codes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "db/sqlite3_operator.h"
#include "journal/batch_decoder.h"
#include "journal/directory_names.h"
#include "journal/path_mapping.h"
#include "platform/owned_handle.h"
#include "platform/platform.h"
#include "records/model/change_record.h"

namespace tavi::journal {

class VolumeJournal {
public:
    static constexpr std::size_t kReadBufferBytes = 1'048'576;

    // `listenPath` begins with a drive letter and a colon. No system call is made here.
    VolumeJournal(platform::Platform& platform, std::u16string listenPath, std::int64_t startUsn);
    ~VolumeJournal();  // closes the volume, frees the read buffer
    VolumeJournal(const VolumeJournal&) = delete;
    VolumeJournal& operator=(const VolumeJournal&) = delete;

    bool CreateVolumeHandle();
    int CreateChangeJournal();  // 1 or 0
    int QueryChangeJournal();   // 1 or 0
    bool DeleteChangeJournal();
    bool AllocateReadBuffer();  // 1 MiB from the process heap; replaces the old one
    bool FsctlReadUsnJournal(std::uint32_t& bytesReturned);
    records::UsnRecordList ReadUsnRecords();
    std::u16string GetFullPathByFileReferenceNumber(std::uint64_t fileReferenceNumber);
    // Everything below the directory, each directory followed by its own contents. Full paths that begin with
    // `directory` as it is given. What a link or junction leads to is not below it.
    std::vector<std::u16string> ListAllEntries(const std::u16string& directory);

    const platform::UsnJournalData& journalData() const { return journalData_; }
    std::int64_t startUsn() const { return startUsn_; }
    void setStartUsn(std::int64_t usn) { startUsn_ = usn; }
    const std::u16string& listenPath() const { return listenPath_; }
    void RemoveTrailingBackslashes();  // of the listen path
    bool journalLost() const { return journalLost_; }
    bool positionLost() const { return positionLost_; }
    PathMapping* pathMapping() { return pathMapping_.get(); }
    void ReplacePathMapping(std::unique_ptr<PathMapping> mapping) { pathMapping_ = std::move(mapping); }

private:
    // The volume's last error is read on the line after the failing call and kept here.
    bool Control(std::uint32_t code, std::span<const std::byte> input, std::span<std::byte> output,
                 std::uint32_t& bytesReturned);
    bool ControlWithRetries(std::uint32_t code, std::span<const std::byte> input);
    void LogFailure(std::string_view function, std::string_view message) const;
    std::span<std::byte> ReadBuffer() const;
    bool ReadRejected();  // false, as a read's result
    records::UsnRecordList Decode(std::span<const std::byte> returned);

    platform::Platform& platform_;
    platform::OwnedHandle volume_;
    platform::UsnJournalData journalData_;
    std::u16string listenPath_;
    std::int64_t startUsn_ = 0;
    void* readBuffer_ = nullptr;
    bool journalLost_ = false;
    bool positionLost_ = false;
    std::unique_ptr<PathMapping> pathMapping_;

    std::uint32_t lastError_ = 0;
    DirectoryNames directoryNames_;
    std::unique_ptr<BatchDecoder> decoder_;  // for the listen path as it is; made on the first read
};

}  // namespace tavi::journal
