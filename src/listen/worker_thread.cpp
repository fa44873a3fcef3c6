#include "listen/worker_thread.h"

#include <atomic>
#include <cstdint>
#include <utility>

#include "imports/exception_edge.h"

namespace tavi::listen {
namespace {

constexpr std::uint32_t kFailedWaitPauseMs = 10;

}  // namespace

// What the thread itself shares with those who wait for it.
struct WorkerThread::Progress {
    std::atomic<std::uint32_t> threadId{0};
    std::atomic<bool> ended{false};
};

// Says at the end of its scope, however that is left, that the thread has done its work.
class WorkerThread::WorkScope {
public:
    WorkScope(std::shared_ptr<Progress> progress, std::uint32_t threadId) : progress_(std::move(progress)) {
        progress_->threadId.store(threadId);
    }
    ~WorkScope() { progress_->ended.store(true); }
    WorkScope(const WorkScope&) = delete;
    WorkScope& operator=(const WorkScope&) = delete;

private:
    std::shared_ptr<Progress> progress_;
};

// Shared by those who wait: the last of them closes the handle.
struct WorkerThread::Running {
    explicit Running(platform::Threads& system) : threads(system) {}
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() {
        if (handle != platform::kNullHandle) {
            threads.CloseThread(handle);
        }
    }

    platform::Threads& threads;
    platform::Handle handle = platform::kNullHandle;  // set before the object is published
    std::shared_ptr<Progress> progress = std::make_shared<Progress>();
};

WorkerThread::~WorkerThread() = default;

bool WorkerThread::Start(std::function<void()> entry) {
    if (Joinable()) {
        std::terminate();
    }
    std::shared_ptr<Running> running = StartRunning(std::move(entry));
    if (running == nullptr) {
        return false;
    }
    const std::scoped_lock lock(mutex_);
    running_ = std::move(running);
    return true;
}

// Null when no thread was started: the system refused, or there is no memory for one.
std::shared_ptr<WorkerThread::Running> WorkerThread::StartRunning(std::function<void()> entry) {
    std::shared_ptr<Running> started;
    Drive::EndStandardExceptions(Drive::kListenServiceImplLog, {}, {}, [&] {
        auto running = std::make_shared<Running>(threads_);
        // The thread gets a share of the progress only: with one of `running` it could close its own handle.
        running->handle =
            threads_.StartThread([progress = running->progress, &threads = threads_, run = std::move(entry)]() mutable {
                const WorkScope scope(std::move(progress), threads.GetCurrentThreadId());
                // Destroyed within the scope: what the work holds goes with it.
                const std::function<void()> work = std::exchange(run, nullptr);
                work();
            });
        if (running->handle != platform::kNullHandle) {
            started = std::move(running);
        }
    });
    return started;
}

std::shared_ptr<WorkerThread::Running> WorkerThread::Held() const {
    const std::scoped_lock lock(mutex_);
    return running_;
}

bool WorkerThread::Joinable() const {
    return Held() != nullptr;
}

bool WorkerThread::Join() {
    const std::shared_ptr<Running> running = Held();
    if (running == nullptr || running->progress->threadId.load() == threads_.GetCurrentThreadId()) {
        return false;
    }
    // A wait that fails must not let go of a thread that still runs.
    while (!threads_.WaitForThread(running->handle, platform::kInfinite) && !running->progress->ended.load()) {
        threads_.Sleep(kFailedWaitPauseMs);
    }
    std::shared_ptr<Running> taken;  // let go of after the lock: the last one closes the handle
    const std::scoped_lock lock(mutex_);
    if (running_ == running) {
        taken = std::exchange(running_, nullptr);
    }
    return true;
}

bool WorkerThread::HasEnded() const {
    const std::shared_ptr<Running> running = Held();
    return running == nullptr || running->progress->ended.load();
}

bool WorkerThread::CancelSynchronousIo() {
    const std::shared_ptr<Running> running = Held();
    return running != nullptr && threads_.CancelSynchronousIo(running->handle);
}

}  // namespace tavi::listen
