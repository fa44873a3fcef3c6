// Decides how a listening task begins: from what the database remembers for the user and from the state of the change
// journal. First login, another folder, a journal that was closed, a position that has expired, or simply going on:
// each repairs what it must, stores the user row and starts the listen thread, and each has its own reply.
//
// Thread: the IPC thread's, one request at a time. The listen thread is ended first, so nothing here overlaps a cycle.
// Owner: owns nothing; platform, process and worker outlive it.
// Failure: status 5, logged with the name of the step and class "ListenServiceImpl"; no listen thread runs then. The
// steps are no transaction: what was done before the one that failed stays done. The same holds when an exception
// (std::bad_alloc) leaves, which the caller answers with 5. docs/replies.md says what a client makes of it.
#pragma once

#include <cstdint>
#include <string>

#include "ipc/client_message.h"
#include "listen/listen_process.h"
#include "listen/listen_worker.h"
#include "platform/platform.h"

namespace tavi::listen {

class StartHandler {
public:
    StartHandler(platform::Platform& platform, ListenProcess& process, ListenWorker& worker)
        : platform_(platform), process_(process), worker_(worker) {}

    // The whole decision; returns the status to reply with. Whatever it is, it has set the process's database path to
    // the request's and ended the running task. Later, in this order, it may have: emptied the tables of changes,
    // held-back records and temporary files of this user's database (a task of another user or folder ran), created the
    // change journal, stored the user row, emptied tables again, started the listen thread.
    std::uint32_t HandleSyncFileMsgForBeginningListenTask(const ipc::ListenTaskParams& request);

    // The four processes. Each finds the journal's end, stores the user row with that position, empties what has become
    // stale and starts the listen thread from there. No listen thread may be held; the database has been opened.
    //
    // Queries the journal and creates it when it cannot; empties all four record tables, inserts the row. 4.
    std::uint32_t HandleUserFirstLoginProcess(const ipc::ListenTaskParams& request);
    // Likewise; updates the row, then empties changes and held-back records. 0.
    std::uint32_t HandleChangeListenPathProcess(const ipc::ListenTaskParams& request);
    // Creates the journal without a query before; updates and empties as for another folder. 1.
    std::uint32_t HandleChangeJournalClosureProcess(const ipc::ListenTaskParams& request);
    // Creates no journal; updates and empties as for another folder. 2.
    std::uint32_t HandleUsnExpirationProcess(const ipc::ListenTaskParams& request);

private:
    struct Process;  // what sets the four processes apart

    std::uint32_t FindChangeMarker(const ipc::ListenTaskParams& request);
    bool OpenDatabase(const std::u16string& userId);
    void ClearTablesOfReplacedTask();
    std::uint32_t DecideAndStart(const ipc::ListenTaskParams& request);
    std::uint32_t RunProcess(const Process& process, const ipc::ListenTaskParams& request);
    bool StoreFirstLogin(const Process& process, const ListenTaskRecord& record);
    bool StoreUpdate(const Process& process, const ListenTaskRecord& record);
    bool StartListening(const char* function, ListenTaskRecord record);

    platform::Platform& platform_;
    ListenProcess& process_;
    ListenWorker& worker_;
};

}  // namespace tavi::listen
