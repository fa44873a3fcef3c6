#include "records/cycle/file_change_record.h"

#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include "imports/exception_edge.h"
#include "imports/file_helper.h"
#include "imports/random_wait.h"
#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"
#include "records/cycle/batch_split.h"
#include "util/retry.h"

namespace tavi::records {
namespace {

using Drive::SyncPanelLog;

constexpr std::string_view kCycle = "GetAndHandleUSNRecord";
constexpr std::uint32_t kPollPauseMs = 500;
constexpr int kSaveRetries = 9;  // ten attempts
constexpr int kExists = 0;       // _waccess: the path is there

}  // namespace

// Position and held-back records as a cycle found them: put back at the end of the scope, however that is left, unless
// the cycle was stored.
class FileChangeRecord::StateBeforeCycle {
public:
    explicit StateBeforeCycle(FileChangeRecord& cycle)
        : cycle_(cycle), startUsn_(cycle.startUsn_), delayRecords_(cycle.delayRecords_) {}
    ~StateBeforeCycle() {
        if (restores_) {
            cycle_.startUsn_ = startUsn_;
            cycle_.delayRecords_ = std::move(delayRecords_);
        }
    }
    StateBeforeCycle(const StateBeforeCycle&) = delete;
    StateBeforeCycle& operator=(const StateBeforeCycle&) = delete;
    void Forget() { restores_ = false; }

private:
    FileChangeRecord& cycle_;
    const platform::Usn startUsn_;
    FileChangeInfoList delayRecords_;
    bool restores_ = true;
};

FileChangeRecord::FileChangeRecord(platform::Platform& platform, db::SqLite3Operator& database, Task task,
                                   const std::atomic<bool>& abandonBatch, CurrentService service)
    : platform_(platform),
      database_(database),
      journal_(platform, std::move(task.listenPath)),
      startUsn_(task.startUsn),
      world_(platform, journal_.listenPath()),
      userId_(std::move(task.userId)),
      splitIntervalMs_(task.splitIntervalMs),
      abandonBatch_(abandonBatch),
      service_(service) {}

int FileChangeRecord::Init() {
    bool initialised = false;
    Drive::EndStandardExceptions(Drive::kFileChangeRecordLog, "Init",
                                 {.standard = "Failed to initialize the cycle: exception "}, [&] {
                                     const bool opened = OpenJournal();
                                     rules_.emplace();
                                     if (service_ == CurrentService::kPresent) {
                                         LoadFromDatabase();
                                     }
                                     journal_.RemoveTrailingBackslashes();
                                     EnsureListenPathExists();
                                     initialised = opened;
                                 });
    return initialised ? 1 : 0;
}

bool FileChangeRecord::OpenJournal() {
    return journal_.CreateVolumeHandle() && journal_.QueryChangeJournal() == 1 && journal_.AllocateReadBuffer();
}

void FileChangeRecord::LoadFromDatabase() {
    delayRecords_.clear();
    delayRecordsKnown_ = database_.SelectAllDataFromDelayRecordTable(delayRecords_);
    SyncPanelLog::WriteNetLog("The FileChangeRecord is initialized and the delay record table is read");

    auto mapping = std::make_unique<journal::PathMapping>(database_, journal_.listenPath());
    std::vector<db::PathMappingEntry> rows;
    database_.SelectPathMappingTable(rows);
    mapping->Load(std::move(rows));
    pathMapping_ = std::move(mapping);
}

void FileChangeRecord::EnsureListenPathExists() {
    const std::u16string path = FileHepler::FormatLongFileName(journal_.listenPath());
    if (platform_.paths.Waccess(path, kExists) == 0) {
        return;
    }
    if (platform_.paths.SHCreateDirectoryExW(path) != 0) {
        const std::uint32_t code = platform_.errors.GetLastError();
        const std::u16string reason = u"Failed to generate the listening path, error code is ";
        SyncPanelLog::WriteNetLog("Init err:" + TypeConvert::UnicodeToUTF8(reason) + std::to_string(code));
    }
}

int FileChangeRecord::GetAndHandleUSNRecord() {
    Drive::ExceptionTexts texts{.standard = "Failed to start the cycle: exception "};
    Outcome outcome = Outcome::kFailed;
    Drive::EndStandardExceptions(Drive::kFileChangeRecordLog, kCycle, texts, [&] {
        if (!DelayRecordsKnown()) {
            return;
        }
        StateBeforeCycle before(*this);
        texts.standard = "Failed to process the batch: exception ";
        outcome = RunCycle();
        if (outcome == Outcome::kStored) {
            before.Forget();
        }
    });
    return outcome == Outcome::kFailed ? 0 : 1;
}

// A cycle empties the table of held-back records, so it must not run before they are in memory.
bool FileChangeRecord::DelayRecordsKnown() {
    if (!delayRecordsKnown_) {
        delayRecords_.clear();
        delayRecordsKnown_ = database_.SelectAllDataFromDelayRecordTable(delayRecords_);
    }
    return delayRecordsKnown_;
}

FileChangeRecord::Outcome FileChangeRecord::RunCycle() {
    UsnRecordList batch = GatherBatch();
    if (Abandoned()) {
        return Outcome::kAbandoned;
    }
    const std::optional<CycleResult> result = RunSteps(std::move(batch));
    if (!result) {
        return Outcome::kAbandoned;
    }
    return Store(*result) ? Outcome::kStored : Outcome::kFailed;
}

UsnRecordList FileChangeRecord::GatherBatch() {
    UsnRecordList batch;
    while (!Abandoned()) {
        UsnRecordList read = ReadOrWait();
        if (read.empty() || !TakeUntilGap(std::move(read), batch)) {
            break;
        }
        platform_.threads.Sleep(kPollPauseMs);
    }
    return batch;
}

// One read: the position moves to its end, and the directories that it showed are stored.
UsnRecordList FileChangeRecord::Read() {
    journal::JournalRead read = journal_.ReadUsnRecords(startUsn_, pathMapping_.get());
    startUsn_ = read.nextUsn;
    if (pathMapping_ != nullptr) {
        pathMapping_->FlushPathMapping();
    }
    return std::move(read.records);
}

// Records, or nothing when the journal has been quiet for about the split interval. A stop ends the wait.
UsnRecordList FileChangeRecord::ReadOrWait() {
    UsnRecordList read = Read();
    const std::uint32_t polls = splitIntervalMs_ / kPollPauseMs;
    for (std::uint32_t poll = 0; read.empty() && poll < polls && !Abandoned(); ++poll) {
        platform_.threads.Sleep(kPollPauseMs);
        read = Read();
    }
    return read;
}

// False when a gap has ended the batch: the next read begins with the record after it.
bool FileChangeRecord::TakeUntilGap(UsnRecordList&& read, UsnRecordList& batch) {
    const std::int64_t lastTimestamp = batch.empty() ? 0 : batch.back().timestamp;
    const std::size_t count = CountBeforeGap(read, lastTimestamp, splitIntervalMs_);
    const bool everythingTaken = count == read.size();
    if (!everythingTaken) {
        startUsn_ = read[count].usn;
    }
    if (batch.empty() && everythingTaken) {
        batch = std::move(read);
    } else {
        const auto end = read.begin() + static_cast<std::ptrdiff_t>(count);
        batch.insert(batch.end(), std::make_move_iterator(read.begin()), std::make_move_iterator(end));
    }
    return everythingTaken;
}

bool FileChangeRecord::Store(const CycleResult& result) {
    const auto save = [&] {
        return database_.SaveCycleResults(delayRecords_, result.changes, result.temporaryFiles, startUsn_, userId_);
    };
    const bool saved = util::TryWithRetries(
        kSaveRetries, save, [](bool succeeded) { return !succeeded; },
        [this] { platform_.threads.Sleep(static_cast<std::uint32_t>(Drive::GetRandWaitTime(platform_.clock))); });
    if (!saved) {
        Drive::kFileChangeRecordLog.Error(kCycle, "Writing to the database fails after several attempts");
    }
    return saved;
}

}  // namespace tavi::records
