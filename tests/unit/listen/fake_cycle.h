// A processing cycle that does what the test says, and counts. For the tests of the threads.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "listen/listen_cycle.h"

namespace tavi::test {

// The script of all cycles that a factory makes. Its functions run on the listen thread; the test sets them before.
class CycleScript {
public:
    std::function<bool()> init = [] { return true; };
    std::function<bool()> run = [] { return true; };
    std::function<bool()> positionLost = [] { return false; };
    std::function<void()> destroyed = [] {};

    std::atomic<int> made{0};
    std::atomic<int> alive{0};
    std::atomic<int> runs{0};

    std::vector<records::FileChangeRecord::Task> tasks() {
        const std::scoped_lock lock(mutex_);
        return tasks_;
    }
    void Keep(const records::FileChangeRecord::Task& task) {
        const std::scoped_lock lock(mutex_);
        tasks_.push_back(task);
    }

private:
    std::mutex mutex_;
    std::vector<records::FileChangeRecord::Task> tasks_;  // that cycles were made for, guarded by mutex_
};

class FakeCycle final : public listen::ListenCycle {
public:
    explicit FakeCycle(CycleScript& script) : script_(script) {
        ++script_.made;
        ++script_.alive;
    }
    FakeCycle(const FakeCycle&) = delete;
    FakeCycle& operator=(const FakeCycle&) = delete;
    ~FakeCycle() override {
        script_.destroyed();
        --script_.alive;
    }

    bool Init() override { return script_.init(); }
    bool RunOnce() override {
        ++script_.runs;
        return script_.run();
    }
    bool positionLost() const override { return script_.positionLost(); }

private:
    CycleScript& script_;
};

inline listen::ListenCycleFactory FakeCycles(CycleScript& script) {
    return [&script](const records::FileChangeRecord::Task& task) {
        script.Keep(task);
        return std::make_unique<FakeCycle>(script);
    };
}

}  // namespace tavi::test
