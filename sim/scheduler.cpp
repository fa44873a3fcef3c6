#include "sim/scheduler.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <iostream>
#include <sstream>
#include <utility>

namespace tavi::sim {

Scheduler::Scheduler(Concurrency concurrency, std::uint64_t seed)
    : concurrency_(concurrency), seeded_(seed != 0), random_(seed) {}

Scheduler::~Scheduler() {
    Lock lock(mutex_);
    if (HasThreads(lock)) {
        Kill(lock);
        JoinAll(lock);
    }
}

std::shared_ptr<SimThread> Scheduler::Current(Lock& lock) {
    std::shared_ptr<SimThread>& member = members_[std::this_thread::get_id()];
    if (member) {
        return member;
    }
    auto self = std::make_shared<SimThread>();
    self->id = nextId_;
    nextId_ += 4;
    self->name = "adopted";
    threads_.push_back(self);
    member = self;
    if (concurrency_ == Concurrency::kFree || !running_) {
        running_ = self;
        self->state = SimThread::State::kRunning;
    } else {
        AwaitTurn(lock, *self);
    }
    return self;
}

bool Scheduler::EndsByDeath(const SimThread& thread) const {
    const bool dies = thread.cancellable == Cancellable::kByDeath || thread.cancellable == Cancellable::kYes;
    return (dead_ && thread.side == Side::kProduct && dies && !(thread.owner && OthersLive(thread))) ||
           (collapsed_ && thread.cancellable != Cancellable::kNever);
}

bool Scheduler::OthersLive(const SimThread& thread) const {
    return std::any_of(threads_.begin(), threads_.end(), [&](const auto& other) {
        return other.get() != &thread && other->side == Side::kProduct && other->state != SimThread::State::kEnded;
    });
}

void Scheduler::OutliveOthers(Lock& lock, const SimThread& self) {
    const std::function<bool()> alone = [&] { return !OthersLive(self); };
    if (self.owner && !alone()) {
        Wait(lock, "the end of the process's other threads", kForEver, alone, Cancellable::kNever);
    }
}

bool Scheduler::IsSatisfied(const SimThread& thread) const {
    return thread.cancelled || EndsByDeath(thread) || (thread.deadline >= 0 && thread.deadline <= now_) ||
           (*thread.ready)();
}

// Whoever can go on: by the seed, or else round and round. Null when nobody can.
std::shared_ptr<SimThread> Scheduler::Choose() {
    std::vector<std::size_t> candidates;
    for (std::size_t i = 0; i < threads_.size(); ++i) {
        const SimThread& thread = *threads_[i];
        if (thread.state == SimThread::State::kReady ||
            (thread.state == SimThread::State::kWaiting && IsSatisfied(thread))) {
            candidates.push_back(i);
        }
    }
    if (candidates.empty()) {
        return nullptr;
    }
    std::size_t chosen = candidates.front();
    if (seeded_) {
        chosen = candidates[random_() % candidates.size()];
    } else {
        const auto next = std::upper_bound(candidates.begin(), candidates.end(), lastChosen_);
        chosen = next == candidates.end() ? candidates.front() : *next;
    }
    lastChosen_ = chosen;
    return threads_[chosen];
}

// False when nobody waits for a time.
bool Scheduler::MoveTime() {
    std::int64_t earliest = kForEver;
    for (const auto& thread : threads_) {
        if (thread->state == SimThread::State::kWaiting && thread->deadline >= 0 &&
            (earliest == kForEver || thread->deadline < earliest)) {
            earliest = thread->deadline;
        }
    }
    if (earliest == kForEver) {
        return false;
    }
    now_ = std::max(now_.load(), earliest);
    return true;
}

// Gives the baton to somebody and waits for it, unless this thread is the one chosen or has ended.
void Scheduler::HandOn(Lock& lock, SimThread& self) {
    std::shared_ptr<SimThread> next = Choose();
    while (!next) {
        const bool anyLeft = std::any_of(threads_.begin(), threads_.end(), [](const auto& thread) {
            return thread->state == SimThread::State::kWaiting;
        });
        if (!anyLeft) {
            running_ = nullptr;
            return;
        }
        if (!MoveTime()) {
            Deadlock();
        }
        next = Choose();
    }
    ++switches_;
    running_ = next;
    if (next.get() != &self) {
        next->turn.notify_one();
        if (self.state != SimThread::State::kEnded) {
            AwaitTurn(lock, self);
        }
    }
    self.state = self.state == SimThread::State::kEnded ? self.state : SimThread::State::kRunning;
}

void Scheduler::AwaitTurn(Lock& lock, SimThread& self) {
    self.turn.wait(lock, [&] { return running_.get() == &self; });
    self.state = SimThread::State::kRunning;
}

void Scheduler::Preempt(Lock& lock, SimThread& self) {
    if (!seeded_ || random_() % 4 != 0) {
        return;
    }
    if (concurrency_ == Concurrency::kFree) {
        lock.unlock();
        std::this_thread::yield();
        lock.lock();
        return;
    }
    self.state = SimThread::State::kReady;
    HandOn(lock, self);
}

WaitResult Scheduler::Wait(Lock& lock, std::string what, std::int64_t milliseconds, const std::function<bool()>& ready,
                           Cancellable cancellable) {
    const std::shared_ptr<SimThread> self = Current(lock);
    self->what = std::move(what);
    self->deadline = milliseconds < 0 ? kForEver : now_ + milliseconds;
    self->ready = &ready;
    self->cancellable = cancellable;
    self->cancelled = false;
    self->state = SimThread::State::kWaiting;
    if (concurrency_ == Concurrency::kFree) {
        WaitFree(lock, *self);
    } else {
        HandOn(lock, *self);
    }
    self->ready = nullptr;
    self->deadline = kForEver;
    if (EndsByDeath(*self)) {
        return WaitResult::kDead;
    }
    if (std::exchange(self->cancelled, false)) {
        return WaitResult::kCancelled;
    }
    return ready() ? WaitResult::kReady : WaitResult::kTimedOut;
}

void Scheduler::WaitFree(Lock& lock, SimThread& self) {
    while (!IsSatisfied(self)) {
        const bool somebodyGoesOn = std::any_of(threads_.begin(), threads_.end(), [this](const auto& thread) {
            return thread->state == SimThread::State::kRunning || thread->state == SimThread::State::kReady ||
                   (thread->state == SimThread::State::kWaiting && IsSatisfied(*thread));
        });
        if (somebodyGoesOn) {
            anyone_.wait(lock);
            continue;
        }
        if (!MoveTime()) {
            Deadlock();
        }
        anyone_.notify_all();
    }
    self.state = SimThread::State::kRunning;
}

Scheduler::DeadlockReport Scheduler::deadlockReport = [](const std::string& text) { std::cerr << text; };

void Scheduler::Deadlock() {
    if (dead_) {
        collapsed_ = true;
        return;
    }
    std::ostringstream report;
    report << "All threads wait for ever:\n";
    for (const auto& thread : threads_) {
        if (thread->state == SimThread::State::kWaiting) {
            report << "  thread " << thread->id << " (" << thread->name << ") waits on " << thread->what << '\n';
        }
    }
    if (onDeadlock_) {
        onDeadlock_(report.str());
    } else {
        deadlockReport(report.str());
    }
    dead_ = true;
    collapsed_ = true;
}

bool Scheduler::Cancel(Lock&, SimThread& thread) {
    if (thread.inFileCall) {
        return !std::exchange(thread.fileCallCancelled, true);
    }
    if (thread.state != SimThread::State::kWaiting || thread.cancellable != Cancellable::kYes || thread.cancelled) {
        return false;
    }
    thread.cancelled = true;
    Changed();
    return true;
}

void Scheduler::Advance(Lock&, std::int64_t milliseconds) {
    now_ += milliseconds;
    Changed();
}

// Forgets threads that have ended, so that a long life does not collect them. One that has ended needs the lock no
// more.
void Scheduler::Reap() {
    std::erase_if(threads_, [](const auto& thread) {
        const bool gone = thread->state == SimThread::State::kEnded && thread->native.joinable();
        if (gone) {
            thread->native.join();
        }
        return gone;
    });
}

std::shared_ptr<SimThread> Scheduler::Start(Lock& lock, std::string name, Side side, std::function<void()> entry) {
    Current(lock);
    Reap();
    auto thread = std::make_shared<SimThread>();
    thread->id = nextId_;
    nextId_ += 4;
    thread->name = std::move(name);
    thread->side = side;
    threads_.push_back(thread);
    thread->native = std::thread([this, thread, body = std::move(entry)]() mutable { Run(thread, body); });
    return thread;
}

void Scheduler::Run(const std::shared_ptr<SimThread>& thread, std::function<void()>& entry) {
    {
        Lock lock(mutex_);
        members_[std::this_thread::get_id()] = thread;
        if (concurrency_ == Concurrency::kFree) {
            thread->state = SimThread::State::kRunning;
        } else {
            AwaitTurn(lock, *thread);
        }
    }
    try {
        entry();
    } catch (const ProcessDied&) {
        // The process is gone; so is its thread.
    }
    entry = nullptr;  // what it holds may call in, and may do so only while this thread counts
    Lock lock(mutex_);
    members_.erase(std::this_thread::get_id());
    thread->state = SimThread::State::kEnded;
    if (concurrency_ == Concurrency::kFree) {
        anyone_.notify_all();
    } else {
        HandOn(lock, *thread);
    }
}

void Scheduler::Kill(Lock&) {
    dead_ = true;
    Changed();
}

void Scheduler::JoinThose(Lock& lock, const std::function<bool(const SimThread&)>& which, const char* what) {
    const std::shared_ptr<SimThread> self = Current(lock);
    const std::function<bool()> ended = [&] {
        return std::all_of(threads_.begin(), threads_.end(), [&](const auto& thread) {
            return thread == self || !which(*thread) || thread->state == SimThread::State::kEnded;
        });
    };
    if (!ended()) {
        Wait(lock, what, kForEver, ended, Cancellable::kNever);
    }
    std::vector<std::shared_ptr<SimThread>> done;
    std::erase_if(threads_, [&](const auto& thread) {
        const bool gone = thread != self && which(*thread) && thread->native.joinable();
        if (gone) {
            done.push_back(thread);
        }
        return gone;
    });
    lastChosen_ = 0;
    lock.unlock();
    for (const auto& thread : done) {
        thread->native.join();
    }
    lock.lock();
}

void Scheduler::JoinProduct(Lock& lock) {
    JoinThose(
        lock, [](const SimThread& thread) { return thread.side == Side::kProduct; }, "the process's end");
    collapsed_ = false;
}

void Scheduler::JoinAll(Lock& lock) {
    JoinThose(
        lock, [](const SimThread& thread) { return thread.native.joinable(); }, "the end of all threads");
    collapsed_ = false;
}

std::string Scheduler::Describe(Lock&) const {
    static constexpr std::array<const char*, 4> kStates = {"is ready", "runs", "waits on ", "has ended"};
    std::ostringstream out;
    for (const auto& thread : threads_) {
        const bool waits = thread->state == SimThread::State::kWaiting;
        out << "thread " << thread->id << " (" << thread->name << ") "
            << kStates.at(static_cast<std::size_t>(thread->state)) << (waits ? thread->what : "") << '\n';
    }
    return out.str();
}

std::vector<std::string> Scheduler::LiveProductThreads(Lock&) const {
    std::vector<std::string> names;
    for (const auto& thread : threads_) {
        if (thread->side == Side::kProduct && thread->state != SimThread::State::kEnded) {
            names.push_back(thread->name);
        }
    }
    return names;
}

bool Scheduler::HasThreads(Lock&) const {
    return std::any_of(threads_.begin(), threads_.end(), [](const auto& thread) { return thread->native.joinable(); });
}

}  // namespace tavi::sim
