// Guards the IPC thread's calls that may wait in the system until somebody else does something: a client connects,
// writes or reads, or whoever holds a file lets go of it. A stop must be able to end such a wait, and must end nothing
// else.
//
// Threads: the IPC thread makes these calls through Run, one at a time and never nested. One other thread at a time,
// the one that wants the IPC thread to end, cancels through CancelUnderWay. Run returns only when a cancellation that
// has begun is over. So a cancellation never meets what the IPC thread does outside of Run: a log line, a row, a file
// of the database. That is why a caller reads the last error inside of Run and writes its log line after it.
//
// Owns nothing. An exception of the call leaves Run, which then does not wait for a cancellation.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "platform/platform.h"

namespace tavi::ipc {

class BlockingCalls {
public:
    // `threads` outlives this object.
    explicit BlockingCalls(platform::Threads& threads) : threads_(threads) {}
    BlockingCalls(const BlockingCalls&) = delete;
    BlockingCalls& operator=(const BlockingCalls&) = delete;

    // Makes the call and returns its result.
    template <class MakeCall>
    auto Run(const MakeCall& call) {
        Mark mark(*this);
        auto result = call();
        mark.End();
        return result;
    }

    // Any thread.
    bool UnderWay() const { return state_.load() != State::kNone; }
    // Calls `cancel`, which must not throw, when a call is under way. Returns whether one was. The call may not have
    // reached the system yet, or be over: who needs the IPC thread to end cancels again and again until it has.
    bool CancelUnderWay(const std::function<void()>& cancel);

private:
    enum class State { kNone, kUnderWay, kBeingCancelled };

    class Mark {
    public:
        explicit Mark(BlockingCalls& calls) : calls_(calls) { calls_.state_.store(State::kUnderWay); }
        ~Mark() { calls_.state_.store(State::kNone); }
        Mark(const Mark&) = delete;
        Mark& operator=(const Mark&) = delete;
        void End() { calls_.End(); }

    private:
        BlockingCalls& calls_;
    };

    void End();

    platform::Threads& threads_;
    std::atomic<State> state_{State::kNone};
};

}  // namespace tavi::ipc
