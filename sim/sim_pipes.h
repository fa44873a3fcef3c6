// Named pipes of the simulated machine, message mode, and their clients. A name has as many instances as its first
// creator allowed, whoever creates the others. Security objects are numbers with contents that a test can look at.
//
// A client is a test's (PipeClient, from any thread that the machine knows) or the product's own (CreateFileW on the
// pipe's name). Codes are the system's: 995 cancelled, 535 connected already, 234 message larger than the buffer,
// 109 the other side is gone, 232 the client closed before or while, 233 not connected, 231 busy.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/pipes.h"
#include "sim/core.h"
#include "sim/sim_files.h"

namespace tavi::sim {

// Both sides' view of one pipe. Guarded by the machine's lock.
struct PipeState {
    enum class Server { kFresh, kListening, kConnected, kDisconnected, kClosed };

    std::u16string name;
    std::uint32_t maximumInstances = 1;  // of the name: what the first creator said
    Server server = Server::kFresh;
    std::uint64_t generation = 0;  // counts clients: an old client's end is not the next one's
    bool clientOpen = false;
    std::uint32_t clientProcess = 0;
    std::size_t outQuota = 0;
    std::deque<std::string> toServer;
    std::deque<std::string> toClient;
    std::size_t toClientBytes = 0;
};

// What CreateNamedPipeW was given.
struct PipeCreation {
    std::u16string name;
    std::uint32_t openMode = 0;
    std::uint32_t pipeMode = 0;
    std::uint32_t maximumInstances = 0;
    std::uint32_t outBufferSize = 0;
    std::uint32_t inBufferSize = 0;
    std::uint32_t defaultTimeout = 0;
    bool inheritHandle = false;
    bool daclPresent = false;
    bool daclDefaulted = false;
    std::uint32_t descriptorFlags = 0;  // of the LocalAlloc that its memory comes from
    std::size_t descriptorBytes = 0;
    struct Grant {
        platform::ExplicitAccess access;
        std::array<std::uint8_t, 6> authority{};
        std::vector<std::uint32_t> subAuthorities;
    };
    std::vector<Grant> grants;
};

class SimPipes;

// A test's end of a pipe. Every operation gives 0 or a Windows error code and blocks in virtual time only.
class PipeClient {
public:
    explicit PipeClient(SimPipes& pipes) : pipes_(&pipes) {}
    ~PipeClient() { Close(); }
    PipeClient(const PipeClient&) = delete;
    PipeClient& operator=(const PipeClient&) = delete;

    // Waits until the pipe exists and can be connected to, at most so long: then 231 (or 2 when there is none).
    std::uint32_t Connect(std::uint32_t processId, std::int64_t milliseconds = 60000);
    std::uint32_t WriteMessage(std::string_view message);
    // One whole message. Waits for it at most so long: then 258.
    std::uint32_t ReadMessage(std::string& message, std::int64_t milliseconds = 60000);
    void Close();

private:
    SimPipes* pipes_;
    std::shared_ptr<PipeState> pipe_;
    std::uint64_t generation_ = 0;
};

class SimPipes final : public platform::Pipes {
public:
    SimPipes(Core& core, SimFiles& files);

    bool AllocateAndInitializeSid(const std::array<std::uint8_t, 6>& authority,
                                  std::span<const std::uint32_t> subAuthorities, platform::Sid& sid) override;
    void FreeSid(platform::Sid sid) override;
    std::uint32_t SetEntriesInAclW(std::span<const platform::ExplicitAccess> entries, platform::Acl& acl) override;
    void FreeAcl(platform::Acl acl) override;
    platform::LocalMemory LocalAlloc(std::uint32_t flags, std::size_t bytes) override;
    void LocalFree(platform::LocalMemory memory) override;
    bool InitializeSecurityDescriptor(platform::LocalMemory descriptor, std::uint32_t revision) override;
    bool SetSecurityDescriptorDacl(platform::LocalMemory descriptor, bool present, platform::Acl acl,
                                   bool defaulted) override;
    platform::Handle CreateNamedPipeW(const std::u16string& name, std::uint32_t openMode, std::uint32_t pipeMode,
                                      std::uint32_t maximumInstances, std::uint32_t outBufferSize,
                                      std::uint32_t inBufferSize, std::uint32_t defaultTimeout,
                                      const platform::SecurityAttributes& attributes) override;
    bool ConnectNamedPipe(platform::Handle pipe) override;
    bool DisconnectNamedPipe(platform::Handle pipe) override;
    bool GetNamedPipeClientProcessId(platform::Handle pipe, std::uint32_t& processId) override;
    bool GetNamedPipeInfo(platform::Handle pipe, std::uint32_t& flags, std::uint32_t& maximumInstances) override;

    // Another program has created the pipe: creating it gives this code from now on (0: no longer).
    void Occupy(std::u16string_view name, std::uint32_t code);
    std::vector<PipeCreation> creations();
    // Messages that the product wrote, each as one WriteFile gave it, whether read or not.
    std::vector<std::string> written();
    // The process id that the product's own CreateFileW on a pipe shows to the server.
    void SetOwnProcessId(std::uint32_t processId);

private:
    friend class PipeClient;
    friend class PipeServerObject;
    friend class PipeClientObject;

    // An instance that a client can be connected to, or any other when there is none; null without any. No name: of
    // any.
    std::shared_ptr<PipeState> FindPipe(std::u16string_view name);
    std::size_t CountInstances(std::u16string_view name);
    std::uint32_t ConnectClient(Scheduler::Lock& lock, std::u16string_view name, std::uint32_t processId,
                                std::int64_t milliseconds, std::shared_ptr<PipeState>& pipe);
    std::uint32_t ClientWrite(PipeState& pipe, std::uint64_t generation, std::string_view message);
    std::uint32_t ClientAwait(Scheduler::Lock& lock, PipeState& pipe, std::uint64_t generation,
                              std::int64_t milliseconds);
    void ClientClose(PipeState& pipe, std::uint64_t generation);
    void Drop(PipeState& pipe);

    Core& core_;
    SimFiles& files_;
    std::vector<std::weak_ptr<PipeState>> pipes_;
    std::map<std::u16string, std::uint32_t> occupied_;
    std::vector<PipeCreation> creations_;
    std::vector<std::string> written_;
    std::uint32_t ownProcessId_ = 4242;
};

}  // namespace tavi::sim
