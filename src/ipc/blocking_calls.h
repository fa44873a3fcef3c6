// The IPC thread's calls that may sit in the system until somebody else does something: a client that comes, writes or
// reads, a holder of a file that lets go of it. The IPC thread makes them through Run, one at a time; another thread
// that wants it to end breaks them through CancelUnderWay. Nothing else that the IPC thread does is ever met by a
// cancellation, because Run returns only when one that has begun is over. So what is written (a log line, a row, a
// reply's record) is written outside of Run.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "platform/platform.h"

namespace tavi::ipc {

class BlockingCalls {
public:
    explicit BlockingCalls(platform::Threads& threads) : threads_(threads) {}
    BlockingCalls(const BlockingCalls&) = delete;
    BlockingCalls& operator=(const BlockingCalls&) = delete;

    // Makes the call and hands its result on. The last error is to be read within it.
    template <class MakeCall>
    auto Run(const MakeCall& call) {
        Mark mark(*this);
        auto result = call();
        mark.End();
        return result;
    }

    // Any thread.
    bool UnderWay() const { return state_.load() != State::kNone; }
    // Calls `cancel` when a call is under way, and says whether one was. One thread at a time.
    bool CancelUnderWay(const std::function<void()>& cancel);

private:
    enum class State { kNone, kUnderWay, kBeingCancelled };

    // Ends with its scope when an exception leaves that, without waiting.
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
