// Threads and time of the simulated machine. Time is virtual, in milliseconds: it stands still while any thread runs,
// and jumps to the next deadline when all of them sleep or wait.
//
// With Concurrency::kBaton one thread runs at a time. It hands on at a call that blocks and, with a seed, at any call
// of the platform, to a thread that the seed chooses: the same seed gives the same order. With kFree all run at once.
//
// A thread that calls in for the first time (the test's main thread) is adopted. When all threads wait for ever, the
// test fails with a report of who waits on what, and the machine is killed, which ends every wait.
//
// All state of the machine is guarded by one mutex, this class's; a caller that waits holds it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace tavi::sim {

enum class Concurrency { kBaton, kFree };
enum class WaitResult { kReady, kTimedOut, kCancelled, kDead };
// What, besides its own reason, may end a wait: nothing at all (the machine waiting for its
// threads), a deadlock, its process's death too, or a cancel too.
enum class Cancellable { kNever, kNo, kByDeath, kYes };
// Threads of the product die with its process; threads of the test do not.
enum class Side { kProduct, kTest };

inline constexpr std::int64_t kForEver = -1;

// Thrown through the product's threads when its process dies; not derived from std::exception, so that nobody mistakes
// it for a failure to log.
struct ProcessDied {};

struct SimThread {
    enum class State { kReady, kRunning, kWaiting, kEnded };

    std::uint32_t id = 0;
    std::string name;
    Side side = Side::kTest;
    bool owner = false;  // of what the process's other threads use: when it dies, this thread ends last
    State state = State::kReady;
    std::uint32_t lastError = 0;
    int callbackDepth = 0;  // inside a callback of SQLite: nothing may be thrown

    std::string what;  // of the wait
    std::int64_t deadline = kForEver;
    const std::function<bool()>* ready = nullptr;
    Cancellable cancellable = Cancellable::kNo;
    bool cancelled = false;
    bool inFileCall = false;  // begun and not yet done: a cancellation ends it
    bool fileCallCancelled = false;

    std::condition_variable turn;
    std::thread native;  // not of an adopted thread
};

class Scheduler {
public:
    using Lock = std::unique_lock<std::mutex>;

    Scheduler(Concurrency concurrency, std::uint64_t seed);
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    Lock Enter() { return Lock(mutex_); }
    std::shared_ptr<SimThread> Current(Lock& lock);  // adopts
    // A point where, with a seed, another thread may go on.
    void Preempt(Lock& lock, SimThread& self);
    // Blocks until ready() (evaluated under the lock), the time is over (kForEver: never) or the wait was cancelled.
    WaitResult Wait(Lock& lock, std::string what, std::int64_t milliseconds, const std::function<bool()>& ready,
                    Cancellable cancellable = Cancellable::kNo);
    // Something that a wait may be about has changed. Needed by kFree only, harmless otherwise.
    void Changed() {
        if (concurrency_ == Concurrency::kFree) {
            anyone_.notify_all();
        }
    }
    std::shared_ptr<SimThread> Start(Lock& lock, std::string name, Side side, std::function<void()> entry);
    // False when the thread is in no wait that can be cancelled, and in no file call.
    bool Cancel(Lock& lock, SimThread& thread);

    std::int64_t Now() const { return now_; }  // needs no lock
    void Advance(Lock& lock, std::int64_t milliseconds);

    // From now on every wait of the product's threads ends with kDead, and dead() is true until Revive.
    void Kill(Lock& lock);
    // When this thread owns what the others use: waits until they have ended.
    void OutliveOthers(Lock& lock, const SimThread& self);
    void Revive(Lock&) { dead_ = false; }
    bool dead(Lock&) const { return dead_; }
    // Waits until the product's threads (or all started ones) have ended, and forgets them.
    void JoinProduct(Lock& lock);
    void JoinAll(Lock& lock);

    // Who runs or waits, and on what; one line per thread.
    std::string Describe(Lock& lock) const;
    std::vector<std::string> LiveProductThreads(Lock&) const;
    bool HasThreads(Lock&) const;  // started and not yet forgotten
    // Called, instead of failing the test, when everything waits for ever.
    // What happens when nobody was set to be told of a deadlock. In test programs it fails the test.
    using DeadlockReport = void (*)(const std::string& text);
    static DeadlockReport deadlockReport;

    void OnDeadlock(Lock&, std::function<void(const std::string&)> handler) { onDeadlock_ = std::move(handler); }
    std::uint64_t switches(Lock&) const { return switches_; }

private:
    bool IsSatisfied(const SimThread& thread) const;
    bool EndsByDeath(const SimThread& thread) const;
    bool OthersLive(const SimThread& thread) const;
    std::shared_ptr<SimThread> Choose();
    void HandOn(Lock& lock, SimThread& self);
    void AwaitTurn(Lock& lock, SimThread& self);
    bool MoveTime();
    void WaitFree(Lock& lock, SimThread& self);
    void Deadlock();
    void Run(const std::shared_ptr<SimThread>& thread, std::function<void()>& entry);
    void Reap();
    void JoinThose(Lock& lock, const std::function<bool(const SimThread&)>& which, const char* what);

    const Concurrency concurrency_;
    const bool seeded_;
    std::mt19937_64 random_;
    std::mutex mutex_;
    std::condition_variable anyone_;
    std::vector<std::shared_ptr<SimThread>> threads_;
    std::map<std::thread::id, std::shared_ptr<SimThread>> members_;  // which of the threads a running one is
    std::shared_ptr<SimThread> running_;                             // kBaton: who holds the baton
    std::uint32_t nextId_ = 4;
    std::atomic<std::int64_t> now_ = 0;
    std::uint64_t switches_ = 0;
    std::size_t lastChosen_ = 0;
    bool dead_ = false;
    bool collapsed_ = false;  // a deadlock while dying: waits end whatever they are for
    std::function<void(const std::string&)> onDeadlock_;
};

}  // namespace tavi::sim
