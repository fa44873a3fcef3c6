// One task's access to the change journal of the volume that holds the listened folder: opening the volume, creating,
// querying, deleting and reading the journal, and decoding its records.
//
// Owned by the task's cycle, or by the start handler for the length of one question. One thread at a time: the start
// handler's (volume, create, query) or the listen thread (everything). It owns the volume's handle and the read buffer;
// the position and the path mapping are the caller's. Every failure is logged here, with the system's decimal code, and
// shows as false, 0 or an empty list; no exception leaves an operation. Layouts: Microsoft's documentation of
// USN_RECORD_V2, USN_JOURNAL_DATA_V0 and the FSCTL_*_USN_JOURNAL control codes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "journal/batch_decoder.h"
#include "journal/directory_paths.h"
#include "journal/path_mapping.h"
#include "platform/owned_handle.h"
#include "platform/owned_memory.h"
#include "platform/platform.h"
#include "records/model/change_record.h"

namespace tavi::journal {

// What one read of the journal gives.
struct JournalRead {
    records::UsnRecordList records;
    platform::Usn nextUsn = 0;  // where the next read is to begin
};

class VolumeJournal {
public:
    static constexpr std::size_t kReadBufferBytes = 1'048'576;

    // `listenPath` begins with a drive letter and a colon. No system call is made here.
    VolumeJournal(platform::Platform& platform, std::u16string listenPath);
    ~VolumeJournal();  // closes the volume, frees the read buffer
    VolumeJournal(const VolumeJournal&) = delete;
    VolumeJournal& operator=(const VolumeJournal&) = delete;

    // Closes the volume if it is open, and opens the listen path's. Everything below but AllocateReadBuffer needs it
    // open, and fails as the system does on an invalid handle when it is not. False without a line when the listen path
    // has no drive.
    bool CreateVolumeHandle();
    // 1, also when there was a journal already, or 0. Six attempts, a second apart.
    int CreateChangeJournal();
    // 1 and the journal's data, or 0 and zeros. The other operations name the journal by the id from the last query.
    int QueryChangeJournal();
    // Begins the deletion and does not wait for its end. Six attempts, a second apart; both outcomes are traced only.
    bool DeleteChangeJournal();
    // Replaces the read buffer: kReadBufferBytes from the process heap. Without one, every read fails.
    bool AllocateReadBuffer();

    // One FSCTL_READ_USN_JOURNAL into the read buffer, which is zeroed before.
    struct RawRead {
        bool succeeded = false;
        std::uint32_t bytesReturned = 0;  // as the system says; 0 on failure
        platform::Usn nextUsn = 0;        // what the buffer begins with; on failure where the next read is to begin
    };
    // A rejected read does more than fail. Error 21 (not ready): the journal is deleted, journalLost is set. Error 87
    // (the position is no longer in the journal): a line goes to the read-error file, and the journal is queried again;
    // then nextUsn is the journal's end, so that what lay between is skipped; when the query fails too, positionLost is
    // set. In every other case nextUsn is `startUsn`, and nothing changes.
    RawRead FsctlReadUsnJournal(platform::Usn startUsn);
    // One read, decoded. No records on any failure; nextUsn is then as above, and `startUsn` when the decoding ran out
    // of memory. The mapping, which may be null, has been told of every record; what that made pending is not flushed.
    // Sets the C runtime's locale for the whole process.
    JournalRead ReadUsnRecords(platform::Usn startUsn, PathMapping* mapping);

    // From the last query; zeros before.
    const platform::UsnJournalData& journalData() const { return journalData_; }
    const std::u16string& listenPath() const { return listenPath_; }
    void RemoveTrailingBackslashes();  // of the listen path
    // Set by a read and never cleared.
    bool journalLost() const { return journalLost_; }
    bool positionLost() const { return positionLost_; }

private:
    bool OpenVolume();
    // The volume's last error is read on the line after the failing call and kept here.
    bool Control(std::uint32_t code, std::span<const std::byte> input, std::span<std::byte> output,
                 std::uint32_t& bytesReturned);
    bool ControlWithRetries(std::uint32_t code, std::span<const std::byte> input);
    void LogFailure(std::string_view function, std::string_view message) const;
    std::span<std::byte> ReadBuffer() const;
    platform::Usn RejectedRead(platform::Usn startUsn);
    records::UsnRecordList Decode(std::span<const std::byte> returned, PathMapping* mapping);

    platform::Platform& platform_;
    platform::OwnedHandle volume_;
    platform::UsnJournalData journalData_;
    std::u16string listenPath_;
    platform::OwnedMemory readBuffer_;
    bool journalLost_ = false;
    bool positionLost_ = false;

    std::uint32_t lastError_ = 0;
    DirectoryPaths directoryPaths_;
    std::unique_ptr<BatchDecoder> decoder_;  // for the listen path as it is; made on the first read
};

}  // namespace tavi::journal
