// What the parts of the simulated machine share: threads and time, faults, handles, and the account of what was opened
// and not closed. Internal to sim; tests use machine.h.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"
#include "sim/faults.h"
#include "sim/scheduler.h"

namespace tavi::sim {

class Core;

// Well-formed UTF-8 for reports: what is not ASCII is written as an escape.
std::string Narrow(std::u16string_view text);

// Something that a Handle stands for.
class Object {
public:
    virtual ~Object() = default;
    virtual void OnClose(Core&) {}
};

// Whether a call can be made to fail, and what it means for one that releases something.
enum class CallKind { kCanFail, kCannotFail, kReleases };

// One platform call under way: takes the machine's lock, gives other threads a chance, asks for faults, and knows
// whether the process is dead. Every operation of every interface begins with one.
class Call {
public:
    Call(Core& core, const char* name, std::uint32_t usualCode, CallKind kind = CallKind::kCanFail);

    bool failed() const { return failed_; }
    bool dead() const { return dead_; }
    std::uint32_t code() const { return code_; }
    // Sets the thread's last error to the fault's code and hands on the result.
    template <class Result>
    Result Fail(Result result) {
        return Fail(code_, result);
    }
    template <class Result>
    Result Fail(std::uint32_t code, Result result) {
        thread_->lastError = code;
        return result;
    }
    SimThread& thread() { return *thread_; }
    Scheduler::Lock& lock() { return lock_; }
    // Ends this thread when its process is dead, as far as an exception can pass here.
    void DieIfDead();

private:
    Core& core_;
    Scheduler::Lock lock_;
    std::shared_ptr<SimThread> thread_;
    bool failed_ = false;
    bool dead_ = false;
    std::uint32_t code_ = 0;
};

class Core {
public:
    Core(Concurrency concurrency, std::uint64_t seed) : scheduler(concurrency, seed) {}

    Scheduler scheduler;
    Faults faults;
    // Called under the lock when the process dies, before any of its threads goes on.
    std::vector<std::function<void(Scheduler::Lock&)>> onDeath;

    void Kill(Scheduler::Lock& lock);

    // Handles and all other numbers that the product holds; `kind` names what it is in the report.
    std::uintptr_t Open(std::string kind, std::string description, std::shared_ptr<Object> object = nullptr);
    // False when the number is not open as that kind.
    bool Close(std::string_view kind, std::uintptr_t number);
    std::shared_ptr<Object> Get(std::uintptr_t number) const;
    template <class T>
    std::shared_ptr<T> GetAs(std::uintptr_t number) const {
        return std::dynamic_pointer_cast<T>(Get(number));
    }
    bool IsOpen(std::string_view kind, std::uintptr_t number) const;
    std::vector<std::string> Leaks() const;
    std::size_t OpenCount(std::string_view kind) const;  // an empty kind: all
    void CloseAll();

private:
    struct Entry {
        std::string kind;
        std::string description;
        std::shared_ptr<Object> object;
    };

    std::map<std::uintptr_t, Entry> open_;
    std::uintptr_t next_ = 0x100;
};

}  // namespace tavi::sim
