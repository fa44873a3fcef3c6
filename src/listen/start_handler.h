// Decides how a listening task begins: from what the database remembers for the user and from the state of the change
// journal. First login, another folder, a journal that was closed, a position that has expired, or simply going on:
// each repairs what it must, stores the user row and starts the listen thread, and each has its own reply. Runs on the
// IPC thread, one request at a time, with the listen thread ended first; so nothing here overlaps a cycle.
//
// A failure is logged with the name of the step and class "ListenServiceImpl", and replied as 5; no listen thread runs
// then. Nothing is thrown.
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

    // The whole decision; returns the code to reply with.
    std::uint32_t HandleSyncFileMsgForBeginningListenTask(const ipc::ListenTaskParams& request);

    std::uint32_t HandleUserFirstLoginProcess(const ipc::ListenTaskParams& request);
    std::uint32_t HandleChangeListenPathProcess(const ipc::ListenTaskParams& request);
    std::uint32_t HandleChangeJournalClosureProcess(const ipc::ListenTaskParams& request);
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
