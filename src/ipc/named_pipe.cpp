#include "ipc/named_pipe.h"

#include <algorithm>
#include <array>
#include <optional>

#include "imports/exception_edge.h"
#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"
#include "platform/owned_memory.h"

namespace tavi::ipc {
namespace {

constexpr std::array<std::uint8_t, 6> kSecurityLocalAuthority{0, 0, 0, 0, 0, 2};
constexpr std::array<std::uint8_t, 6> kSecurityNtAuthority{0, 0, 0, 0, 0, 5};
constexpr std::uint32_t kMaximumInstances = 1;
constexpr std::uint32_t kPipeBufferBytes = 4096;
constexpr std::uint32_t kSystemDefaultTimeout = 0;

platform::ExplicitAccess AllowAccess(std::uint32_t permissions, std::uint32_t trusteeType, platform::Sid sid) {
    return {.accessPermissions = permissions,
            .accessMode = platform::kSetAccess,
            .inheritance = platform::kNoInheritance,
            .trusteeForm = platform::kTrusteeIsSid,
            .trusteeType = trusteeType,
            .sid = sid};
}

std::uint32_t ReadExpectedLength(const FrameBuffer& frame) {
    std::uint32_t length = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        length |= std::to_integer<std::uint32_t>(frame[i]) << (8 * i);
    }
    return length;
}

bool FailToReserve() {
    Drive::SyncPanelLog::WriteNetLog("Failed to reserve space for receive data");
    return false;
}

}  // namespace

ListenServiceNamedPipe::ListenServiceNamedPipe(platform::Platform& platform)
    : platform_(platform),
      descriptor_([this](platform::LocalMemory memory) { platform_.pipes.LocalFree(memory); }),
      acl_([this](platform::Acl acl) { platform_.pipes.FreeAcl(acl); }),
      administratorsSid_([this](platform::Sid sid) { platform_.pipes.FreeSid(sid); }),
      localSid_([this](platform::Sid sid) { platform_.pipes.FreeSid(sid); }),
      handle_([this](platform::Handle handle) { platform_.files.CloseHandle(handle); }),
      blockingCalls_(platform.threads) {}

// An operation of the pipe runs in here: an exception, out of memory in practice, is a failed operation.
template <class Operation>
bool ListenServiceNamedPipe::Guarded(const Operation& operation) {
    bool done = false;
    Drive::EndStandardExceptions(Drive::kListenServiceImplLog, "ListenServiceNamedPipe",
                                 {.standard = Drive::kStdException}, [&] { done = operation(); });
    return done;
}

// Called directly after the failed call, so that the code is that call's.
bool ListenServiceNamedPipe::FailWithCode(const char* prefix, const char* message) {
    return Fail(prefix, message, platform_.errors.GetLastError());
}

bool ListenServiceNamedPipe::Fail(const char* prefix, const char* message, std::uint32_t code) {
    Drive::SyncPanelLog::WriteNetLog(std::string(prefix) + message + std::to_string(code));
    return false;
}

// Makes a call that may wait in the system, and returns its code when it fails. The caller logs it: a cancellation must
// not meet what is written.
template <class MakeCall>
std::optional<std::uint32_t> ListenServiceNamedPipe::FailureOf(const MakeCall& call) {
    return blockingCalls_.Run([&]() -> std::optional<std::uint32_t> {
        return call() ? std::nullopt : std::optional(platform_.errors.GetLastError());
    });
}

bool ListenServiceNamedPipe::BuildAccessList() {
    platform::Sid sid = platform::kNoSid;
    if (!platform_.pipes.AllocateAndInitializeSid(kSecurityLocalAuthority, std::array{platform::kSecurityLocalRid},
                                                  sid)) {
        return FailWithCode("CreateNamedPipe error:", "Failed to initialize the local sid, error code is ");
    }
    localSid_.Reset(sid);

    if (!platform_.pipes.AllocateAndInitializeSid(
            kSecurityNtAuthority, std::array{platform::kSecurityBuiltinDomainRid, platform::kDomainAliasRidAdmins},
            sid)) {
        return FailWithCode("CreateNamedPipe sid error:", "Failed to initialize the admin sid, error code is ");
    }
    administratorsSid_.Reset(sid);

    const std::array entries{
        AllowAccess(platform::kGenericRead | platform::kGenericWrite, platform::kTrusteeIsWellKnownGroup,
                    localSid_.get()),
        AllowAccess(platform::kGenericAll, platform::kTrusteeIsGroup, administratorsSid_.get()),
    };
    platform::Acl acl = platform::kNoAcl;
    if (platform_.pipes.SetEntriesInAclW(entries, acl) != platform::kErrorSuccess) {
        return FailWithCode("CreateNamedPipe acl error:", "Failed to set Entries In ACL, error code is ");
    }
    acl_.Reset(acl);
    return true;
}

bool ListenServiceNamedPipe::BuildSecurityDescriptor() {
    descriptor_.Reset(platform_.pipes.LocalAlloc(platform::kLptr, platform::kSecurityDescriptorMinLength));
    if (!descriptor_) {
        return FailWithCode("CreateNamedPipe lal error:", "Failed to allocate space for the SD, error code is ");
    }
    if (!platform_.pipes.InitializeSecurityDescriptor(descriptor_.get(), platform::kSecurityDescriptorRevision)) {
        return FailWithCode("CreateNamedPipe isde error:",
                            "Failed to initialize the security descriptor, error code is ");
    }
    if (!platform_.pipes.SetSecurityDescriptorDacl(descriptor_.get(), true, acl_.get(), false)) {
        return FailWithCode("CreateNamedPipe sdda error:",
                            "Failed to set the security descriptor Dacl, error code is ");
    }
    return true;
}

bool ListenServiceNamedPipe::CreateInstance() {
    const platform::SecurityAttributes attributes{.securityDescriptor = descriptor_.get(), .inheritHandle = false};
    handle_.Reset(platform_.pipes.CreateNamedPipeW(
        PipeName, platform::kPipeAccessDuplex,
        platform::kPipeTypeMessage | platform::kPipeReadModeMessage | platform::kPipeRejectRemoteClients,
        kMaximumInstances, kPipeBufferBytes, kPipeBufferBytes, kSystemDefaultTimeout, attributes));
    if (!handle_) {
        return FailWithCode("CreateNamedPipe cnp error:", "Failed to create the named pipe, error code is ");
    }
    return OwnsTheName();
}

// A program that made the name before, with room for more instances, has ours as a further instance of its own: clients
// may reach it in our place. Nothing but the number of instances tells, since the first creator has set that.
bool ListenServiceNamedPipe::OwnsTheName() {
    std::uint32_t flags = 0;
    std::uint32_t instances = 0;
    if (!platform_.pipes.GetNamedPipeInfo(handle_.get(), flags, instances)) {
        return FailWithCode("CreateNamedPipe gnpi error:", "Failed to ask what the named pipe is, error code is ");
    }
    if ((flags & platform::kPipeServerEnd) == 0 || instances != kMaximumInstances) {
        Drive::SyncPanelLog::WriteNetLog(
            "CreateNamedPipe gnpi error:The name of the named pipe is another program's, flags " +
            std::to_string(flags) + ", instances " + std::to_string(instances));
        return false;
    }
    return true;
}

bool ListenServiceNamedPipe::Create() {
    const bool created = Guarded([this] { return BuildAccessList() && BuildSecurityDescriptor() && CreateInstance(); });
    if (!created) {
        handle_.Reset();
    }
    return created;
}

bool ListenServiceNamedPipe::Connect() {
    return Guarded([this] {
        const auto failure = FailureOf([this] { return platform_.pipes.ConnectNamedPipe(handle_.get()); });
        return !failure || Fail("ConnectNamedPipe error:", "Failed to connect to the client, error code is ", *failure);
    });
}

bool ListenServiceNamedPipe::Read(FrameBuffer& frame) {
    frame.clear();
    const platform::OwnedMemory scratch(platform_.heap, kReadChunkBytes);
    if (!scratch) {
        return false;
    }
    const bool complete = Guarded([&] {
        return ReadFrame(frame, {static_cast<std::byte*>(scratch.get()), kReadChunkBytes});
    });
    if (!complete) {
        frame.clear();
    }
    return complete;
}

// A request may come in several messages. Its first four bytes say how long it is.
bool ListenServiceNamedPipe::ReadFrame(FrameBuffer& frame, std::span<std::byte> scratch) {
    std::optional<std::uint32_t> expected;
    for (;;) {
        std::uint32_t bytesRead = 0;
        // A message that does not fit the scratch buffer makes the call fail: the pipe is read by messages.
        const auto failure =
            FailureOf([&] { return platform_.files.ReadFile(handle_.get(), scratch, bytesRead) && bytesRead != 0; });
        if (failure) {
            return Fail("CreateNamedPipe cnp error:", "Failed to read the named pipe data, error code is ", *failure);
        }
        if (!AppendChunk(frame, scratch.first(std::min<std::size_t>(bytesRead, scratch.size())))) {
            return false;
        }
        if (!expected && frame.size() >= sizeof(std::uint32_t)) {
            expected = ReadExpectedLength(frame);
            if (!Drive::EndExceptions([&] { frame.reserve(*expected); })) {
                return FailToReserve();
            }
        }
        if (expected && frame.size() >= *expected) {
            return true;
        }
    }
}

bool ListenServiceNamedPipe::AppendChunk(FrameBuffer& frame, std::span<const std::byte> chunk) {
    return Drive::EndExceptions([&] { frame.insert(frame.end(), chunk.begin(), chunk.end()); }) || FailToReserve();
}

bool ListenServiceNamedPipe::Write(std::span<const std::byte> bytes) {
    return Guarded([&] { return WritePieces(bytes); });
}

bool ListenServiceNamedPipe::WritePieces(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const std::span<const std::byte> chunk = bytes.first(std::min(bytes.size(), kWriteChunkBytes));
        std::uint32_t written = 0;
        // A call that takes nothing without failing would be repeated for ever; it is as good as a failed one.
        const auto failure =
            FailureOf([&] { return platform_.files.WriteFile(handle_.get(), chunk, written) && written != 0; });
        if (failure) {
            return Fail("ListenServiceNamedPipe error:", "Failed to write the named pipe, error code is ", *failure);
        }
        bytes = bytes.subspan(std::min<std::size_t>(written, bytes.size()));
    }
    return true;
}

std::pair<std::uint32_t, bool> ListenServiceNamedPipe::GetClientProcessId() {
    std::uint32_t processId = 0;
    const bool known = Guarded([&] {
        return platform_.pipes.GetNamedPipeClientProcessId(handle_.get(), processId) ||
               FailWithCode("GetNamedPipeClientProcessId error:",
                            "Failed to obtain the client process ID, error code is ");
    });
    return {known ? processId : 0, known};
}

void ListenServiceNamedPipe::FlushAndDisconnect() {
    Guarded([this] { return blockingCalls_.Run([this] { return platform_.files.FlushFileBuffers(handle_.get()); }); });
    Guarded([this] { return platform_.pipes.DisconnectNamedPipe(handle_.get()); });
}

void ListenServiceNamedPipe::Close() {
    handle_.Reset();
    localSid_.Reset();
    administratorsSid_.Reset();
    acl_.Reset();
    descriptor_.Reset();
}

}  // namespace tavi::ipc
