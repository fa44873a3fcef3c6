#include "sim/core.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <sstream>
#include <utility>

#include "platform/constants.h"

namespace tavi::sim {

std::string Narrow(std::u16string_view text) {
    std::string narrow;
    for (const char16_t unit : text) {
        if (unit >= 0x20 && unit < 0x7F) {
            narrow += static_cast<char>(unit);
        } else {
            std::array<char, 8> escape;
            std::snprintf(escape.data(), escape.size(), "\\u%04X", static_cast<unsigned>(unit));
            narrow += escape.data();
        }
    }
    return narrow;
}

namespace {

bool WorksOnFiles(std::string_view called) {
    constexpr std::array<std::string_view, 5> kInterfaces = {"Files.", "Paths.", "Volumes.", "NativeCalls.",
                                                             "CloudFiles."};
    return std::any_of(kInterfaces.begin(), kInterfaces.end(),
                       [called](std::string_view prefix) { return called.starts_with(prefix); });
}

// As the function that was called tells it.
std::uint32_t CodeOfCancellation(std::string_view called) {
    constexpr std::uint32_t kStatusCancelled = 0xC0000120;
    constexpr std::uint32_t kResultOperationAborted = 0x800703E3;
    if (called.starts_with("NativeCalls.")) {
        return kStatusCancelled;
    }
    if (called.ends_with(".Waccess")) {
        return EINVAL;
    }
    const bool givesResult = called.starts_with("CloudFiles.") || called.ends_with(".SHGetFolderPathW");
    return givesResult ? kResultOperationAborted : platform::kErrorOperationAborted;
}

}  // namespace

Call::Call(Core& core, const char* name, std::uint32_t usualCode, CallKind kind)
    : core_(core), lock_(core.scheduler.Enter()), thread_(core.scheduler.Current(lock_)) {
    const std::string_view called = name;
    thread_->inFileCall = kind == CallKind::kCanFail && WorksOnFiles(called);
    core_.scheduler.Preempt(lock_, *thread_);
    thread_->inFileCall = false;
    const bool cancelled = std::exchange(thread_->fileCallCancelled, false);
    const Faults::Verdict verdict = core_.faults.OnCall(name, kind == CallKind::kCanFail, usualCode);
    if (verdict.kills) {
        core_.Kill(lock_);
    }
    dead_ = core_.scheduler.dead(lock_);
    if (dead_) {
        core_.scheduler.OutliveOthers(lock_, *thread_);
    }
    failed_ = verdict.fails || dead_ || cancelled;
    code_ = verdict.fails && !dead_ ? verdict.code : cancelled && !dead_ ? CodeOfCancellation(called) : usualCode;
}

void Call::DieIfDead() {
    if (core_.scheduler.dead(lock_) && std::uncaught_exceptions() == 0 && thread_->callbackDepth == 0) {
        throw ProcessDied();
    }
}

void Core::Kill(Scheduler::Lock& lock) {
    if (scheduler.dead(lock)) {
        return;
    }
    scheduler.Kill(lock);
    for (const auto& listener : onDeath) {
        listener(lock);
    }
}

std::uintptr_t Core::Open(std::string kind, std::string description, std::shared_ptr<Object> object) {
    const std::uintptr_t number = next_;
    next_ += 4;
    open_[number] = {std::move(kind), std::move(description), std::move(object)};
    return number;
}

bool Core::Close(std::string_view kind, std::uintptr_t number) {
    const auto found = open_.find(number);
    if (found == open_.end() || found->second.kind != kind) {
        return false;
    }
    const std::shared_ptr<Object> object = std::move(found->second.object);
    open_.erase(found);
    if (object) {
        object->OnClose(*this);
    }
    scheduler.Changed();
    return true;
}

std::shared_ptr<Object> Core::Get(std::uintptr_t number) const {
    const auto found = open_.find(number);
    return found == open_.end() ? nullptr : found->second.object;
}

bool Core::IsOpen(std::string_view kind, std::uintptr_t number) const {
    const auto found = open_.find(number);
    return found != open_.end() && found->second.kind == kind;
}

std::vector<std::string> Core::Leaks() const {
    std::vector<std::string> leaks;
    for (const auto& [number, entry] : open_) {
        std::ostringstream line;
        line << entry.kind << " 0x" << std::hex << number << ": " << entry.description;
        leaks.push_back(line.str());
    }
    return leaks;
}

std::size_t Core::OpenCount(std::string_view kind) const {
    std::size_t count = 0;
    for (const auto& [number, entry] : open_) {
        count += kind.empty() || entry.kind == kind ? 1U : 0U;
    }
    return count;
}

void Core::CloseAll() {
    auto open = std::exchange(open_, {});
    for (auto& [number, entry] : open) {
        if (entry.object) {
            entry.object->OnClose(*this);
        }
    }
    scheduler.Changed();
}

}  // namespace tavi::sim
