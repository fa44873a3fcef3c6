// Which platform calls fail, and a record of the calls that were made. Every call has a name, that of its interface and
// operation: "Files.CreateFileW", "Sqlite.Step". All methods lock for themselves; any thread.
//
//     machine.faults().Fail({.nth = 3});                              // the third call from now, of whatever kind
//     machine.faults().Fail({.call = "Sqlite.Step", .forEver = true, .code = 5});
//     machine.faults().Fail({.call = "Files. Paths.", .nth = 2});     // roles, each with its dot: all their calls
//
// A call that cannot fail (GetLastError, Sleep, freeing something) is recorded but neither counted nor failed, unless
// it is named in full. One that releases something reports the failure and releases nonetheless.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavi::sim {

struct Fault {
    std::string call = {};   // a call, or roles as above; empty: any
    std::uint64_t nth = 1;   // of the calls that match, from now
    bool forEver = false;    // this one and all that match after it
    std::uint32_t code = 0;  // 0: the call's usual code (a Windows error, an SQLite result, a status, an HRESULT)
};

class Faults {
public:
    void Fail(Fault fault);
    void Clear();  // no more faults; counts stay
    // The product's process dies at the n-th call from now, recorded ones that cannot fail included.
    void KillAtCall(std::uint64_t nth);

    std::uint64_t fired() const;  // how many calls were failed since the machine started
    std::string lastFired() const;
    std::uint64_t calls() const;                           // calls made, all kinds
    std::uint64_t calls(const std::string& wanted) const;  // of one call or of roles, as Fault::call
    // The most recent calls, oldest first; at most kKeptCalls.
    std::vector<std::string> history() const;
    void ClearHistory();

    static constexpr std::size_t kKeptCalls = 100000;

    // Told of every call before it does anything, on the calling thread; it makes no platform call itself.
    void Observe(std::function<void(std::string_view name)> observer);

    // For the machine: what the call that is being made has to do.
    struct Verdict {
        bool fails = false;
        bool kills = false;
        std::uint32_t code = 0;
    };
    Verdict OnCall(const char* name, bool canFail, std::uint32_t usualCode);

private:
    struct Armed {
        Fault fault;
        std::uint64_t seen = 0;
        bool spent = false;
    };

    mutable std::mutex mutex_;
    std::function<void(std::string_view)> observer_;
    std::vector<Armed> armed_;
    std::uint64_t killIn_ = 0;
    std::uint64_t fired_ = 0;
    std::uint64_t calls_ = 0;
    std::string lastFired_;
    std::map<std::string, std::uint64_t, std::less<>> counts_;
    std::vector<const char*> history_;  // a ring once it is full
    std::size_t oldest_ = 0;
};

}  // namespace tavi::sim
