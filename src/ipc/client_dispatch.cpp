#include "ipc/client_dispatch.h"

#include "imports/sync_panel_log.h"

namespace tavi::ipc {
namespace {

std::uint32_t StatusOf(ClientCommands::UsnStatus status) {
    switch (status) {
        case ClientCommands::UsnStatus::kUsable:
            return protocol::kReplyJournalUsable;
        case ClientCommands::UsnStatus::kUnusable:
            return protocol::kReplyJournalUnusable;
        case ClientCommands::UsnStatus::kNoTask:
            break;
    }
    return protocol::kReplyNoTask;
}

void FinishListenTasks(ListenServiceNamedPipe& pipe, ClientCommands& commands) {
    Drive::SyncPanelLog::WriteTraceLog("SyncFile requests to finish listening tasks");
    const FinishingScope finishing(commands);
    commands.FinishCurrentListenTask();
    SendReply(pipe, protocol::kReplyFinished);
}

}  // namespace

void DispatchClientMessage(ListenServiceNamedPipe& pipe, ClientCommands& commands, const ListenTaskParams& params) {
    switch (params.command) {
        case protocol::kStartListenTask:
            Drive::SyncPanelLog::WriteNetLog("SyncFile requests to start a listening task");
            SendReply(pipe, commands.HandleSyncFileMsgForBeginningListenTask(params));
            break;
        case protocol::kFinishListenTasks:
            FinishListenTasks(pipe, commands);
            break;
        case protocol::kDetectUsnStatus:
            Drive::SyncPanelLog::WriteTraceLog("SyncFile requests to detect USN status");
            SendReply(pipe, StatusOf(commands.DetectUsnStatus()));
            break;
        default:
            break;
    }
    pipe.FlushAndDisconnect();
}

bool SendReply(ListenServiceNamedPipe& pipe, std::uint32_t status) {
    return pipe.Write(MakeReplyFrame(status));
}

}  // namespace tavi::ipc
