#include "replay/journal_command.h"

#include <atomic>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <utility>

#include "db/sqlite3_operator.h"
#include "imports/type_convert.h"
#include "records/cycle/file_change_record.h"
#include "replay/file_path.h"
#include "replay/replay_machine.h"

namespace tavi::replay {
namespace {

constexpr std::uint32_t kMillisecondsPerSecond = 1000;
constexpr char16_t kUserId[] = u"replay";

struct ReplayFailure {
    std::string message;
};

// `separator` stands between the file's name and what is wrong with it: a colon alone before a line's number.
template <typename Read>
auto ReadFile(const std::string& file, const char* separator, Read read) {
    std::ifstream input(ToPath(file), std::ios::binary);
    if (!input) {
        throw ReplayFailure{file + ": cannot be opened"};
    }
    std::string error;
    auto result = read(input, error);
    if (!result) {
        throw ReplayFailure{file + separator + error};
    }
    return *std::move(result);
}

std::u16string CheckedListenPath(const std::string& utf8) {
    std::u16string path = TypeConvert::UTF8ToUnicode(utf8);
    while (path.ends_with(u'\\')) {
        path.pop_back();
    }
    const bool isLetter =
        !path.empty() && ((path[0] >= u'A' && path[0] <= u'Z') || (path[0] >= u'a' && path[0] <= u'z'));
    if (!isLetter || path.size() < 2 || path[1] != u':' || (path.size() > 2 && path[2] != u'\\')) {
        throw ReplayFailure{"--listen-path: expected a drive letter, a colon and a path"};
    }
    return path;
}

class JournalReplay {
public:
    JournalReplay(const JournalOptions& options, std::ostream& output, std::ostream& errors, Progress& progress)
        : options_(options),
          output_(output),
          errors_(errors),
          progress_(progress),
          listenPath_(CheckedListenPath(options.listenPath)),
          machine_(listenPath_) {}

    void Run();

private:
    bool Saves() const { return !options_.databaseFile.empty(); }
    void CheckDatabaseFile() const;
    void SetUp();
    void OpenJournal();
    void PrepareDatabase(std::int64_t startUsn);
    void ReplayBatches(records::FileChangeRecord& record);
    void ReplayBatch(records::FileChangeRecord& record);
    void CheckReads();
    void ReportProductErrors();

    const JournalOptions& options_;
    std::ostream& output_;
    std::ostream& errors_;
    Progress& progress_;
    std::u16string listenPath_;
    ReplayMachine machine_;
    std::ifstream journalFile_;
    std::optional<JournalExtract> journal_;
    platform::Platform platform_ = machine_.platform();
    db::SqLite3Operator database_{platform_};
    std::unique_ptr<ResultOutput> result_;
    std::uint64_t batches_ = 0;
    std::uint64_t changes_ = 0;
};

// Nobody's database is overwritten.
void JournalReplay::CheckDatabaseFile() const {
    std::error_code code;
    const std::filesystem::path file = ToPath(options_.databaseFile);
    if (Saves() && std::filesystem::exists(file, code) && std::filesystem::file_size(file, code) != 0) {
        throw ReplayFailure{options_.databaseFile + ": exists already"};
    }
}

void JournalReplay::SetUp() {
    CheckDatabaseFile();
    OpenJournal();
    const std::size_t leftOut = machine_.AddDirectories(ReadFile(options_.directoriesFile, ":", ReadDirectoryList));
    if (leftOut != 0) {
        errors_ << options_.directoriesFile << ": " << leftOut
                << " directories do not lead to the root and are left out\n";
    }
    if (listenPath_.size() > 2 && !machine_.HasDirectory(listenPath_)) {
        throw ReplayFailure{"--listen-path: " + options_.directoriesFile + " has no such directory"};
    }
    machine_.KeepOnVolume(listenPath_);
}

// What is not read is said before anything is shown.
void JournalReplay::OpenJournal() {
    journalFile_.open(ToPath(options_.journalFile), std::ios::binary);
    if (!journalFile_) {
        throw ReplayFailure{options_.journalFile + ": cannot be opened"};
    }
    std::string error;
    journal_ = JournalExtract::Open(journalFile_, options_.firstByteUsn, error);
    if (!journal_) {
        throw ReplayFailure{options_.journalFile + ": " + error};
    }
    if (!journal_->leftOut().IsNothing()) {
        errors_ << options_.journalFile << ": " << journal_->leftOut().Describe() << '\n';
    }
    machine_.UseJournal(*journal_);
}

void JournalReplay::PrepareDatabase(std::int64_t startUsn) {
    if (!database_.InitSqLiteDb(machine_.databasePath()) ||
        !database_.InsertUserTable({kUserId, listenPath_, startUsn, options_.splitInterval})) {
        throw ReplayFailure{"the database cannot be made"};
    }
}

void JournalReplay::Run() {
    SetUp();
    const std::int64_t startUsn = options_.startUsn.value_or(journal_->firstUsn());
    PrepareDatabase(startUsn);
    if (!Saves()) {
        result_ = MakeResultOutput(options_.form, output_);
    }
    const std::atomic<bool> neverAbandon{false};
    records::FileChangeRecord record(platform_, database_,
                                     {kUserId, listenPath_, startUsn, options_.splitInterval * kMillisecondsPerSecond},
                                     neverAbandon, records::FileChangeRecord::CurrentService::kPresent);
    if (record.Init() != 1) {
        ReportProductErrors();
        throw ReplayFailure{"the journal cannot be opened"};
    }
    ReplayBatches(record);
    if (Saves()) {
        std::filesystem::copy_file(machine_.databaseFile(), ToPath(options_.databaseFile),
                                   std::filesystem::copy_options::overwrite_existing);
        output_ << batches_ << " batches, " << changes_ << " change records saved\n";
    }
}

void JournalReplay::ReplayBatches(records::FileChangeRecord& record) {
    const std::int64_t end = journal_->nextUsn();
    while (record.startUsn() < end) {
        const std::int64_t before = record.startUsn();
        progress_.Show("position " + std::to_string(before) + " of " + std::to_string(end));
        ReplayBatch(record);
        ReportProductErrors();
        if (record.startUsn() <= before) {
            throw ReplayFailure{"the journal cannot be read on from position " + std::to_string(before)};
        }
        machine_.log().Clear();
    }
}

void JournalReplay::ReplayBatch(records::FileChangeRecord& record) {
    records::UsnRecordList batch = record.GatherBatch();
    CheckReads();
    const bool isNothing = batch.empty() && record.delayRecords().empty();
    ResultOutput* shown = isNothing ? nullptr : result_.get();
    if (shown != nullptr && batch.empty()) {
        shown->Begin("Held-back records alone");
    } else if (shown != nullptr) {
        shown->Begin("Batch " + std::to_string(batches_ + 1) + " (USN " + std::to_string(batch.front().usn) + " to " +
                     std::to_string(batch.back().usn) + ")");
    }
    batches_ += batch.empty() ? 0U : 1U;
    const auto result = record.RunSteps(std::move(batch), shown);
    changes_ += result->changes.size();
    if (shown != nullptr) {
        shown->End(result->changes, record.delayRecords(), result->temporaryFiles);
    }
    if (Saves() && !record.Store(*result)) {
        throw ReplayFailure{"the records cannot be saved"};
    }
    if (!output_) {
        throw ReplayFailure{"the output cannot be written"};
    }
}

// After a position that it cannot read, the product goes on at the journal's end. A replay that leaves records out
// would be worse than none.
void JournalReplay::CheckReads() {
    for (const sim::LogLine& line : machine_.log().Lines()) {
        if (line.kind == sim::LogKind::kError && line.function == "FsctlReadUsnJournal") {
            throw ReplayFailure{line.text + ": is the start position that of a record?"};
        }
    }
}

void JournalReplay::ReportProductErrors() {
    for (const sim::LogLine& line : machine_.log().Lines()) {
        if (line.kind == sim::LogKind::kError) {
            progress_.Wipe();
            errors_ << line.function << ": " << line.text << '\n';
        }
    }
}

}  // namespace

int RunJournal(const JournalOptions& options, std::ostream& output, std::ostream& errors, Progress& progress) {
    std::string message;
    try {
        JournalReplay(options, output, errors, progress).Run();
        output.flush();
        if (output) {
            return kExitDone;
        }
        message = "the output cannot be written";
    } catch (const ReplayFailure& failure) {
        message = failure.message;
    } catch (const std::exception& exception) {
        message = exception.what();
    }
    progress.Wipe();
    output.flush();
    errors << message << '\n';
    return kExitBadInput;
}

}  // namespace tavi::replay
