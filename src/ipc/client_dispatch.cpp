#include "ipc/client_dispatch.h"

#include "imports/sync_panel_log.h"

namespace tavi::ipc {
namespace {

std::uint32_t StatusOf(ClientCommands::UsnStatus status) {
    switch (status) {
        case ClientCommands::UsnStatus::kUsable:
            return kReplyUsnUsable;
        case ClientCommands::UsnStatus::kUnusable:
            return kReplyUsnUnusable;
        case ClientCommands::UsnStatus::kNoTask:
            break;
    }
    return kReplyNoTask;
}

void FinishListenTasks(ListenServiceNamedPipe& pipe, ClientCommands& commands) {
    Drive::SyncPanelLog::WriteTraceLog("SyncFile requests to finish listening tasks");
    const FinishingScope finishing(commands);
    commands.FinishCurrentListenTask();
    SendReply(pipe, kReplyFinished);
}

}  // namespace

void DispatchClientMessage(ListenServiceNamedPipe& pipe, ClientCommands& commands, const ListenTaskParams& params) {
    switch (params.command) {
        case kStartListenTask:
            Drive::SyncPanelLog::WriteNetLog("SyncFile requests to start a listening task");
            SendReply(pipe, commands.HandleSyncFileMsgForBeginningListenTask(params));
            break;
        case kFinishListenTasks:
            FinishListenTasks(pipe, commands);
            break;
        case kDetectUsnStatus:
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
