#include "sim/sim_pipes.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/constants.h"

namespace tavi::sim {

using namespace platform;

namespace {

constexpr std::uint32_t kWaitTimeout = 258;
constexpr std::uint32_t kUnlimitedInstances = 255;

template <class Number>
std::uintptr_t Raw(Number number) {
    return static_cast<std::uintptr_t>(number);
}

class SidObject final : public Object {
public:
    std::array<std::uint8_t, 6> authority{};
    std::vector<std::uint32_t> subAuthorities;
};

class AclObject final : public Object {
public:
    std::vector<PipeCreation::Grant> grants;
};

class LocalObject final : public Object {
public:
    std::uint32_t flags = 0;
    std::size_t bytes = 0;
    bool initialised = false;
    bool daclPresent = false;
    bool daclDefaulted = false;
    std::weak_ptr<AclObject> acl;
};

// Hands over a message or as much of it as fits; 234 when something is left.
std::uint32_t TakeMessage(std::deque<std::string>& queue, std::span<std::byte> buffer, std::uint32_t& bytesRead) {
    std::string& message = queue.front();
    const std::size_t bytes = std::min(message.size(), buffer.size());
    std::memcpy(buffer.data(), message.data(), bytes);
    bytesRead = static_cast<std::uint32_t>(bytes);
    if (bytes < message.size()) {
        message.erase(0, bytes);
        return kErrorMoreData;
    }
    queue.pop_front();
    return kErrorSuccess;
}

}  // namespace

// The server's end.
class PipeServerObject final : public StreamObject {
public:
    PipeServerObject(SimPipes& pipes, std::shared_ptr<PipeState> state) : pipes_(pipes), pipe(std::move(state)) {}

    void OnClose(Core&) override { pipe->server = PipeState::Server::kClosed; }

    bool Read(Call& call, std::span<std::byte> buffer, std::uint32_t& bytesRead) override {
        const auto something = [this] { return !pipe->toServer.empty() || !Talks() || !pipe->clientOpen; };
        if (!Await(call, "a message of the client", something)) {
            return false;
        }
        if (!Talks()) {
            return call.Fail(kErrorPipeNotConnected, false);
        }
        if (pipe->toServer.empty()) {
            return call.Fail(kErrorBrokenPipe, false);
        }
        const std::uint32_t code = TakeMessage(pipe->toServer, buffer, bytesRead);
        return code == 0 || call.Fail(code, false);
    }

    // Blocks while the client has not read what the pipe's buffer holds.
    bool Write(Call& call, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) override {
        const auto room = [&] {
            return pipe->toClientBytes == 0 || pipe->toClientBytes + bytes.size() <= pipe->outQuota || !Talks() ||
                   !pipe->clientOpen;
        };
        if (!Await(call, "room in the pipe", room)) {
            return false;
        }
        if (!Talks()) {
            return call.Fail(kErrorPipeNotConnected, false);
        }
        if (!pipe->clientOpen) {
            return call.Fail(kErrorNoData, false);
        }
        std::string message(bytes.size(), '\0');
        std::memcpy(message.data(), bytes.data(), bytes.size());
        pipes_.written_.push_back(message);
        pipe->toClientBytes += message.size();
        pipe->toClient.push_back(std::move(message));
        bytesWritten = static_cast<std::uint32_t>(bytes.size());
        pipes_.core_.scheduler.Changed();
        return true;
    }

    bool Flush(Call& call) override {
        if (!Talks()) {
            return call.Fail(kErrorPipeNotConnected, false);
        }
        const auto read = [this] { return pipe->toClient.empty() || !Talks() || !pipe->clientOpen; };
        if (!Await(call, "the client to read", read)) {
            return false;
        }
        return pipe->clientOpen || pipe->toClient.empty() || call.Fail(kErrorBrokenPipe, false);
    }

    bool Connect(Call& call) {
        switch (pipe->server) {
            case PipeState::Server::kConnected:
                return call.Fail(pipe->clientOpen ? kErrorPipeConnected : kErrorNoData, false);
            case PipeState::Server::kListening:
            case PipeState::Server::kClosed:
                return call.Fail(kErrorInvalidHandle, false);
            case PipeState::Server::kFresh:
            case PipeState::Server::kDisconnected:
                break;
        }
        pipe->server = PipeState::Server::kListening;
        pipes_.core_.scheduler.Changed();
        const auto connected = [this] { return pipe->server != PipeState::Server::kListening; };
        if (Await(call, "a client", connected)) {
            return true;
        }
        if (pipe->server == PipeState::Server::kListening) {
            pipe->server = PipeState::Server::kFresh;
        }
        return false;
    }

    bool Talks() const { return pipe->server == PipeState::Server::kConnected; }

private:
    // False, with the last error set, when the wait was broken.
    bool Await(Call& call, const char* what, const std::function<bool()>& ready) {
        if (ready()) {
            return true;
        }
        const std::shared_ptr<PipeState> keep = pipe;
        const WaitResult result = pipes_.core_.scheduler.Wait(call.lock(), what, kForEver, ready, Cancellable::kYes);
        if (result == WaitResult::kDead) {
            call.DieIfDead();
        }
        return result == WaitResult::kReady || call.Fail(kErrorOperationAborted, false);
    }

    SimPipes& pipes_;

public:
    std::shared_ptr<PipeState> pipe;
};

// The product's own client end.
class PipeClientObject final : public StreamObject {
public:
    PipeClientObject(SimPipes& pipes, std::shared_ptr<PipeState> state)
        : pipes_(pipes), pipe_(std::move(state)), generation_(pipe_->generation) {}

    void OnClose(Core&) override { pipes_.ClientClose(*pipe_, generation_); }

    std::uint32_t maximumInstances() const { return pipe_->maximumInstances; }

    bool Read(Call& call, std::span<std::byte> buffer, std::uint32_t& bytesRead) override {
        const std::uint32_t code = pipes_.ClientAwait(call.lock(), *pipe_, generation_, kForEver);
        if (code != 0) {
            return call.Fail(code, false);
        }
        const std::size_t before = pipe_->toClient.front().size();
        const std::uint32_t taken = TakeMessage(pipe_->toClient, buffer, bytesRead);
        pipe_->toClientBytes -= std::min<std::size_t>(before, bytesRead);
        pipes_.core_.scheduler.Changed();
        return taken == 0 || call.Fail(taken, false);
    }

    bool Write(Call& call, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) override {
        std::string message(bytes.size(), '\0');
        std::memcpy(message.data(), bytes.data(), bytes.size());
        const std::uint32_t code = pipes_.ClientWrite(*pipe_, generation_, message);
        bytesWritten = code == 0 ? static_cast<std::uint32_t>(bytes.size()) : 0;
        return code == 0 || call.Fail(code, false);
    }

private:
    SimPipes& pipes_;
    std::shared_ptr<PipeState> pipe_;
    std::uint64_t generation_;
};

SimPipes::SimPipes(Core& core, SimFiles& files) : core_(core), files_(files) {
    files_.OnPipeOpen([this](Call& call, const std::u16string& name) {
        std::shared_ptr<PipeState> pipe;
        const std::uint32_t code = ConnectClient(call.lock(), name, ownProcessId_, 0, pipe);
        if (code != 0) {
            return call.Fail(code, kInvalidHandle);
        }
        return Handle{core_.Open("pipe client handle", Narrow(name), std::make_shared<PipeClientObject>(*this, pipe))};
    });
}

bool SimPipes::AllocateAndInitializeSid(const std::array<std::uint8_t, 6>& authority,
                                        std::span<const std::uint32_t> subAuthorities, Sid& sid) {
    Call call(core_, "Pipes.AllocateAndInitializeSid", kErrorNotEnoughMemory);
    if (call.failed()) {
        return call.Fail(false);
    }
    if (subAuthorities.size() > 8) {
        return call.Fail(kErrorInvalidParameter, false);
    }
    auto object = std::make_shared<SidObject>();
    object->authority = authority;
    object->subAuthorities.assign(subAuthorities.begin(), subAuthorities.end());
    sid = Sid{core_.Open("sid", "AllocateAndInitializeSid", std::move(object))};
    return true;
}

void SimPipes::FreeSid(Sid sid) {
    const Call call(core_, "Pipes.FreeSid", 0, CallKind::kReleases);
    core_.Close("sid", Raw(sid));
}

std::uint32_t SimPipes::SetEntriesInAclW(std::span<const ExplicitAccess> entries, Acl& acl) {
    Call call(core_, "Pipes.SetEntriesInAclW", kErrorNotEnoughMemory);
    if (call.failed()) {
        return call.Fail(call.code());
    }
    auto object = std::make_shared<AclObject>();
    for (const ExplicitAccess& entry : entries) {
        const auto sid = core_.GetAs<SidObject>(Raw(entry.sid));
        if (!sid) {
            return call.Fail(kErrorInvalidParameter, kErrorInvalidParameter);
        }
        object->grants.push_back({entry, sid->authority, sid->subAuthorities});
    }
    acl = Acl{core_.Open("acl", "SetEntriesInAclW", std::move(object))};
    return kErrorSuccess;
}

void SimPipes::FreeAcl(Acl acl) {
    const Call call(core_, "Pipes.FreeAcl", 0, CallKind::kReleases);
    core_.Close("acl", Raw(acl));
}

LocalMemory SimPipes::LocalAlloc(std::uint32_t flags, std::size_t bytes) {
    Call call(core_, "Pipes.LocalAlloc", kErrorNotEnoughMemory);
    if (call.failed()) {
        return call.Fail(kNoLocalMemory);
    }
    auto object = std::make_shared<LocalObject>();
    object->flags = flags;
    object->bytes = bytes;
    return LocalMemory{core_.Open("local memory", std::to_string(bytes) + " bytes", std::move(object))};
}

void SimPipes::LocalFree(LocalMemory memory) {
    const Call call(core_, "Pipes.LocalFree", 0, CallKind::kReleases);
    core_.Close("local memory", Raw(memory));
}

bool SimPipes::InitializeSecurityDescriptor(LocalMemory descriptor, std::uint32_t revision) {
    Call call(core_, "Pipes.InitializeSecurityDescriptor", kErrorInvalidParameter);
    const auto object = core_.GetAs<LocalObject>(Raw(descriptor));
    const bool fits = object && object->bytes >= kSecurityDescriptorMinLength;
    if (call.failed() || !fits || revision != kSecurityDescriptorRevision) {
        return call.Fail(false);
    }
    object->initialised = true;
    return true;
}

bool SimPipes::SetSecurityDescriptorDacl(LocalMemory descriptor, bool present, Acl acl, bool defaulted) {
    Call call(core_, "Pipes.SetSecurityDescriptorDacl", kErrorInvalidParameter);
    const auto object = core_.GetAs<LocalObject>(Raw(descriptor));
    if (call.failed() || !object || !object->initialised) {
        return call.Fail(false);
    }
    object->daclPresent = present;
    object->daclDefaulted = defaulted;
    object->acl = core_.GetAs<AclObject>(Raw(acl));
    return true;
}

Handle SimPipes::CreateNamedPipeW(const std::u16string& name, std::uint32_t openMode, std::uint32_t pipeMode,
                                  std::uint32_t maximumInstances, std::uint32_t outBufferSize,
                                  std::uint32_t inBufferSize, std::uint32_t defaultTimeout,
                                  const SecurityAttributes& attributes) {
    Call call(core_, "Pipes.CreateNamedPipeW", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(kInvalidHandle);
    }
    if (const auto occupied = occupied_.find(NtfsVolume::Fold(name)); occupied != occupied_.end()) {
        return call.Fail(occupied->second, kInvalidHandle);
    }
    const std::shared_ptr<PipeState> first = FindPipe(name);
    const std::uint32_t allowed = first ? first->maximumInstances : maximumInstances;
    if (allowed != kUnlimitedInstances && CountInstances(name) >= allowed) {
        return call.Fail(kErrorPipeBusy, kInvalidHandle);
    }
    PipeCreation creation{.name = name,
                          .openMode = openMode,
                          .pipeMode = pipeMode,
                          .maximumInstances = maximumInstances,
                          .outBufferSize = outBufferSize,
                          .inBufferSize = inBufferSize,
                          .defaultTimeout = defaultTimeout,
                          .inheritHandle = attributes.inheritHandle,
                          .grants = {}};
    if (const auto local = core_.GetAs<LocalObject>(Raw(attributes.securityDescriptor)); local) {
        creation.daclPresent = local->daclPresent;
        creation.daclDefaulted = local->daclDefaulted;
        creation.descriptorFlags = local->flags;
        creation.descriptorBytes = local->bytes;
        if (const auto acl = local->acl.lock(); acl) {
            creation.grants = acl->grants;
        }
    }
    creations_.push_back(std::move(creation));
    auto pipe = std::make_shared<PipeState>();
    pipe->name = name;
    pipe->maximumInstances = allowed;
    pipe->outQuota = outBufferSize;
    pipes_.push_back(pipe);
    core_.scheduler.Changed();
    return Handle{core_.Open("pipe handle", Narrow(name), std::make_shared<PipeServerObject>(*this, pipe))};
}

bool SimPipes::ConnectNamedPipe(Handle pipe) {
    Call call(core_, "Pipes.ConnectNamedPipe", kErrorNoData);
    if (call.failed()) {
        call.DieIfDead();
        return call.Fail(false);
    }
    const auto object = core_.GetAs<PipeServerObject>(Raw(pipe));
    return object ? object->Connect(call) : call.Fail(kErrorInvalidHandle, false);
}

void SimPipes::Drop(PipeState& pipe) {
    pipe.server = PipeState::Server::kDisconnected;
    pipe.toServer.clear();
    pipe.toClient.clear();
    pipe.toClientBytes = 0;
    pipe.clientOpen = false;
    ++pipe.generation;
    core_.scheduler.Changed();
}

bool SimPipes::DisconnectNamedPipe(Handle pipe) {
    Call call(core_, "Pipes.DisconnectNamedPipe", kErrorPipeNotConnected);
    if (call.failed()) {
        return call.Fail(false);
    }
    const auto object = core_.GetAs<PipeServerObject>(Raw(pipe));
    if (!object) {
        return call.Fail(kErrorInvalidHandle, false);
    }
    if (object->pipe->server == PipeState::Server::kDisconnected) {
        return call.Fail(kErrorPipeNotConnected, false);
    }
    Drop(*object->pipe);
    return true;
}

bool SimPipes::GetNamedPipeClientProcessId(Handle pipe, std::uint32_t& processId) {
    Call call(core_, "Pipes.GetNamedPipeClientProcessId", kErrorPipeNotConnected);
    const auto object = core_.GetAs<PipeServerObject>(Raw(pipe));
    if (call.failed() || !object || !object->Talks()) {
        return call.Fail(false);
    }
    processId = object->pipe->clientProcess;
    return true;
}

bool SimPipes::GetNamedPipeInfo(Handle pipe, std::uint32_t& flags, std::uint32_t& maximumInstances) {
    Call call(core_, "Pipes.GetNamedPipeInfo", kErrorInvalidHandle);
    if (call.failed()) {
        return call.Fail(false);
    }
    if (const auto server = core_.GetAs<PipeServerObject>(Raw(pipe))) {
        flags = kPipeServerEnd | kPipeTypeMessage;
        maximumInstances = server->pipe->maximumInstances;
        return true;
    }
    if (const auto client = core_.GetAs<PipeClientObject>(Raw(pipe))) {
        flags = kPipeTypeMessage;
        maximumInstances = client->maximumInstances();
        return true;
    }
    return call.Fail(kErrorInvalidHandle, false);
}

void SimPipes::Occupy(std::u16string_view name, std::uint32_t code) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    if (code == 0) {
        occupied_.erase(NtfsVolume::Fold(name));
    } else {
        occupied_[NtfsVolume::Fold(name)] = code;
    }
}

std::vector<PipeCreation> SimPipes::creations() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return creations_;
}

std::vector<std::string> SimPipes::written() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return written_;
}

void SimPipes::SetOwnProcessId(std::uint32_t processId) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    ownProcessId_ = processId;
}

std::shared_ptr<PipeState> SimPipes::FindPipe(std::u16string_view name) {
    std::erase_if(pipes_, [](const std::weak_ptr<PipeState>& pipe) {
        const auto state = pipe.lock();
        return !state || state->server == PipeState::Server::kClosed;
    });
    std::shared_ptr<PipeState> found;
    for (const std::weak_ptr<PipeState>& weak : pipes_) {
        auto pipe = weak.lock();
        if (!pipe || (!name.empty() && NtfsVolume::Fold(pipe->name) != NtfsVolume::Fold(name))) {
            continue;
        }
        if (pipe->server == PipeState::Server::kListening || pipe->server == PipeState::Server::kFresh) {
            return pipe;
        }
        found = found ? found : pipe;
    }
    return found;
}

std::size_t SimPipes::CountInstances(std::u16string_view name) {
    return static_cast<std::size_t>(std::ranges::count_if(pipes_, [&](const std::weak_ptr<PipeState>& weak) {
        const auto pipe = weak.lock();
        return pipe && pipe->server != PipeState::Server::kClosed &&
               NtfsVolume::Fold(pipe->name) == NtfsVolume::Fold(name);
    }));
}

// A client may connect while the server waits for one, and before it does so for the first time.
std::uint32_t SimPipes::ConnectClient(Scheduler::Lock& lock, std::u16string_view name, std::uint32_t processId,
                                      std::int64_t milliseconds, std::shared_ptr<PipeState>& pipe) {
    const std::function<bool()> possible = [&] {
        pipe = FindPipe(name);
        return pipe && (pipe->server == PipeState::Server::kListening || pipe->server == PipeState::Server::kFresh);
    };
    if (!possible() && (milliseconds == 0 || core_.scheduler.Wait(lock, "a pipe to connect to", milliseconds,
                                                                  possible) != WaitResult::kReady)) {
        return pipe ? kErrorPipeBusy : kErrorFileNotFound;
    }
    pipe->server = PipeState::Server::kConnected;
    pipe->clientOpen = true;
    pipe->clientProcess = processId;
    ++pipe->generation;
    core_.scheduler.Changed();
    return kErrorSuccess;
}

std::uint32_t SimPipes::ClientWrite(PipeState& pipe, std::uint64_t generation, std::string_view message) {
    if (pipe.server == PipeState::Server::kClosed) {
        return kErrorNoData;
    }
    if (pipe.generation != generation) {
        return kErrorPipeNotConnected;
    }
    pipe.toServer.emplace_back(message);
    core_.scheduler.Changed();
    return kErrorSuccess;
}

std::uint32_t SimPipes::ClientAwait(Scheduler::Lock& lock, PipeState& pipe, std::uint64_t generation,
                                    std::int64_t milliseconds) {
    const std::function<bool()> something = [&] {
        return pipe.generation != generation || !pipe.toClient.empty() || pipe.server == PipeState::Server::kClosed;
    };
    if (!something()) {
        core_.scheduler.Wait(lock, "a message of the server", milliseconds, something);
    }
    if (pipe.generation != generation) {
        return kErrorPipeNotConnected;
    }
    if (!pipe.toClient.empty()) {
        return kErrorSuccess;
    }
    return pipe.server == PipeState::Server::kClosed ? kErrorBrokenPipe : kWaitTimeout;
}

void SimPipes::ClientClose(PipeState& pipe, std::uint64_t generation) {
    if (pipe.generation == generation) {
        pipe.clientOpen = false;
        core_.scheduler.Changed();
    }
}

std::uint32_t PipeClient::Connect(std::uint32_t processId, std::int64_t milliseconds) {
    Close();
    Scheduler::Lock lock = pipes_->core_.scheduler.Enter();
    pipes_->core_.scheduler.Current(lock);
    const std::uint32_t code = pipes_->ConnectClient(lock, {}, processId, milliseconds, pipe_);
    if (code != 0) {
        pipe_ = nullptr;
        return code;
    }
    generation_ = pipe_->generation;
    return kErrorSuccess;
}

std::uint32_t PipeClient::WriteMessage(std::string_view message) {
    Scheduler::Lock lock = pipes_->core_.scheduler.Enter();
    pipes_->core_.scheduler.Current(lock);
    return pipe_ ? pipes_->ClientWrite(*pipe_, generation_, message) : kErrorInvalidHandle;
}

std::uint32_t PipeClient::ReadMessage(std::string& message, std::int64_t milliseconds) {
    Scheduler::Lock lock = pipes_->core_.scheduler.Enter();
    pipes_->core_.scheduler.Current(lock);
    if (!pipe_) {
        return kErrorInvalidHandle;
    }
    const std::uint32_t code = pipes_->ClientAwait(lock, *pipe_, generation_, milliseconds);
    if (code == 0) {
        message = std::move(pipe_->toClient.front());
        pipe_->toClient.pop_front();
        pipe_->toClientBytes -= message.size();
        pipes_->core_.scheduler.Changed();
    }
    return code;
}

void PipeClient::Close() {
    Scheduler::Lock lock = pipes_->core_.scheduler.Enter();
    if (pipe_) {
        pipes_->ClientClose(*pipe_, generation_);
        pipe_ = nullptr;
    }
}

}  // namespace tavi::sim
