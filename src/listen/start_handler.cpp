#include "listen/start_handler.h"

#include <optional>
#include <utility>

#include "imports/class_log.h"
#include "imports/sync_panel_log.h"
#include "listen/journal_access.h"
#include "util/sha256.h"
#include "util/volume_check.h"

namespace tavi::listen {
namespace {

constexpr const char* kStartFunction = "HandleSyncFileMsgForBeginningListenTask";

std::uint32_t Fail(const char* function, const char* message) {
    Drive::kListenServiceImplLog.Error(function, message);
    return protocol::kReplyStartFailed;
}

ListenTaskRecord MakeRecord(const ipc::ListenTaskParams& request, std::int64_t position) {
    return {.userId = request.userId,
            .listenPath = request.listenPath,
            .usnLocation = position,
            .recordSplitInterval = request.recordSplitInterval};
}

}  // namespace

struct StartHandler::Process {
    enum class JournalSteps { kNone, kCreate, kQueryOrCreate };

    const char* function;
    JournalSteps journalSteps;
    const char* queryFailure;
    bool (StartHandler::*store)(const Process& process, const ListenTaskRecord& record);
    std::uint32_t successCode;
};

std::uint32_t StartHandler::HandleUserFirstLoginProcess(const ipc::ListenTaskParams& request) {
    return RunProcess({"HandleUserFirstLoginProcess", Process::JournalSteps::kQueryOrCreate, "Failed to query the USN",
                       &StartHandler::StoreFirstLogin, protocol::kReplyFirstLogin},
                      request);
}

std::uint32_t StartHandler::HandleChangeListenPathProcess(const ipc::ListenTaskParams& request) {
    return RunProcess({"HandleChangeListenPathProcess", Process::JournalSteps::kQueryOrCreate,
                       "Failed to query the nextNSN", &StartHandler::StoreUpdate, protocol::kReplyContinues},
                      request);
}

std::uint32_t StartHandler::HandleChangeJournalClosureProcess(const ipc::ListenTaskParams& request) {
    return RunProcess({"HandleChangeJournalClosureProcess", Process::JournalSteps::kCreate,
                       "Failed to query the nextUSN", &StartHandler::StoreUpdate, protocol::kReplyJournalRecreated},
                      request);
}

std::uint32_t StartHandler::HandleUsnExpirationProcess(const ipc::ListenTaskParams& request) {
    return RunProcess({"HandleUsnExpirationProcess", Process::JournalSteps::kNone, "Failed to query the nextUSN",
                       &StartHandler::StoreUpdate, protocol::kReplyPositionExpired},
                      request);
}

std::uint32_t StartHandler::RunProcess(const Process& process, const ipc::ListenTaskParams& request) {
    using JournalSteps = Process::JournalSteps;
    if (process.journalSteps == JournalSteps::kCreate ||
        (process.journalSteps == JournalSteps::kQueryOrCreate && !JournalIsUsable(platform_, request.listenPath))) {
        CreateJournal(platform_, request.listenPath);
    }

    const std::optional<platform::UsnJournalData> journal = QueryJournal(platform_, request.listenPath);
    if (!journal) {
        return Fail(process.function, process.queryFailure);
    }
    ListenTaskRecord record = MakeRecord(request, journal->nextUsn);
    if (!(this->*process.store)(process, record)) {
        return protocol::kReplyStartFailed;
    }
    return StartListening(process.function, std::move(record)) ? process.successCode : protocol::kReplyStartFailed;
}

bool StartHandler::StoreFirstLogin(const Process& process, const ListenTaskRecord& record) {
    process_.database.ClearRecordTables();
    if (process_.database.InsertUserTable(record)) {
        return true;
    }
    Fail(process.function, "Failed to insert the user table");
    return false;
}

// The temporary files and the path mapping stay: they are about the volume, not about the position.
bool StartHandler::StoreUpdate(const Process& process, const ListenTaskRecord& record) {
    db::SqLite3Operator& database = process_.database;
    if (database.UpdateUserTable(record) &&
        database.ExecuteOnOwnConnection(database.statements()[db::SqlText::kDeleteAllFileChangeRecords]) &&
        database.ExecuteOnOwnConnection(database.statements()[db::SqlText::kDeleteAllDelayRecords])) {
        return true;
    }
    Fail(process.function, "Failed to update user table and clear file change record table");
    return false;
}

bool StartHandler::StartListening(const char* function, ListenTaskRecord record) {
    if (worker_.Start(std::move(record))) {
        return true;
    }
    process_.stopListenTask.exchange(true);
    Fail(function, "Failed to start the listening thread");
    return false;
}

std::uint32_t StartHandler::HandleSyncFileMsgForBeginningListenTask(const ipc::ListenTaskParams& request) {
    process_.databaseBasePath = request.databasePath;
    const std::uint32_t changeMarker = FindChangeMarker(request);
    worker_.FinishCurrentListenTask();

    if (process_.databaseBasePath.empty()) {
        return Fail(kStartFunction, "The database base path is empty");
    }
    if (!util::IsNtfsFileSystemBasedOnPath(platform_, request.listenPath)) {
        return protocol::kReplyStartFailed;
    }
    if (!OpenDatabase(request.userId)) {
        return protocol::kReplyStartFailed;
    }
    if (changeMarker == protocol::kReplyTaskReplaced) {
        ClearTablesOfReplacedTask();
    }
    const std::uint32_t result = DecideAndStart(request);
    return result != protocol::kReplyContinues ? result : changeMarker;
}

std::uint32_t StartHandler::FindChangeMarker(const ipc::ListenTaskParams& request) {
    const auto task = process_.listenThread.Joinable() ? process_.currentTask.Get() : nullptr;
    if (task == nullptr || (request.userId == task->userId && request.listenPath == task->listenPath)) {
        return protocol::kReplyContinues;
    }
    Drive::SyncPanelLog::WriteTraceLog(
        "{ListenServiceImpl.HandleSyncFileMsgForBeginningListenTask}The user ID or listening path is changed.");
    return protocol::kReplyTaskReplaced;
}

// A database that could not be prepared shows when the user row is read.
bool StartHandler::OpenDatabase(const std::u16string& userId) {
    const std::u16string digest = util::ShA256Encode(platform_, userId);
    if (digest.empty()) {
        return false;  // logged there; without it, users would share one database
    }
    std::u16string path = process_.databaseBasePath;
    if (!path.ends_with(u'\\')) {
        path += u'\\';
    }
    path += digest + u"\\ListenService.dat";
    process_.database.InitSqLiteDb(path);
    return true;
}

void StartHandler::ClearTablesOfReplacedTask() {
    Drive::SyncPanelLog::WriteTraceLog(
        "If the user ID or listening path changes, the database (file change record table and temporary file table) is "
        "cleared.");
    using enum db::SqlText;
    for (const db::SqlText text : {kDeleteAllFileChangeRecords, kDeleteAllTemporaryFiles, kDeleteAllDelayRecords}) {
        process_.database.ExecuteOnOwnConnection(process_.database.statements()[text]);
    }
}

std::uint32_t StartHandler::DecideAndStart(const ipc::ListenTaskParams& request) {
    const db::UserQueryResult stored = process_.database.SelectUserTableByUserId(request.userId);
    if (!stored.ok) {
        return Fail(kStartFunction, "Failed to query user information");
    }
    if (stored.record.userId.empty()) {
        Drive::SyncPanelLog::WriteTraceLog("First login process");
        return HandleUserFirstLoginProcess(request);
    }
    if (stored.record.listenPath != request.listenPath) {
        Drive::SyncPanelLog::WriteTraceLog("Path switching process");
        return HandleChangeListenPathProcess(request);
    }
    if (!JournalIsUsable(platform_, request.listenPath)) {
        Drive::SyncPanelLog::WriteTraceLog("Change Journal closure process");
        return HandleChangeJournalClosureProcess(request);
    }
    const std::optional<platform::UsnJournalData> journal = QueryJournal(platform_, request.listenPath);
    if (!journal) {
        return Fail(kStartFunction, "Failed to query the firstUSN and nextUSN");
    }
    if (stored.record.usnLocation < journal->firstUsn || stored.record.usnLocation > journal->nextUsn) {
        Drive::SyncPanelLog::WriteTraceLog("USN expiration process");
        return HandleUsnExpirationProcess(request);
    }
    Drive::SyncPanelLog::WriteTraceLog("Continue reading USN");
    return StartListening(kStartFunction, MakeRecord(request, stored.record.usnLocation)) ? protocol::kReplyContinues
                                                                                          : protocol::kReplyStartFailed;
}

}  // namespace tavi::listen
