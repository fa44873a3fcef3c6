// Time, last errors, threads and the heap of the simulated machine. Each class is the platform's interface and, below
// it, what a test sets.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/heap.h"
#include "platform/system_errors.h"
#include "platform/threads.h"
#include "sim/core.h"

namespace tavi::sim {

class SimErrors final : public platform::SystemErrors {
public:
    explicit SimErrors(Core& core);

    std::uint32_t GetLastError() override;
    std::u16string FormatMessageW(std::uint32_t code) override;

    // Texts end with a line break, as the system's do. A few codes have one from the start.
    void SetText(std::uint32_t code, std::u16string text);

private:
    Core& core_;
    std::map<std::uint32_t, std::u16string> texts_;
};

class SimClock final : public platform::Clock {
public:
    SimClock(Core& core, std::uint64_t seed);

    platform::SystemTime GetLocalTime() override;
    platform::FileTime GetSystemTimePreciseAsFileTime() override;
    bool FileTimeToLocalFileTime(platform::FileTime utc, platform::FileTime& local) override;
    bool FileTimeToSystemTime(platform::FileTime time, platform::SystemTime& systemTime) override;
    std::int64_t Mktime64(const platform::CalendarTime& time) override;
    void WsetlocaleAll(const std::u16string& name) override;
    std::uint64_t RandomNumber() override;

    // The clock on the wall, 100 ns since 1601 UTC; starts at 2024-05-06 07:08:09 UTC. It may be set back.
    platform::FileTime NowUtc() const;
    void SetNowUtc(platform::FileTime time);
    // Minutes east of UTC, for the system's conversions and (unless set apart) the C runtime's zone.
    void SetOffset(int minutes);
    void SetRuntimeOffset(int minutes);
    std::u16string locale();

private:
    Core& core_;
    std::atomic<std::uint64_t> base_;  // wall time at virtual time 0
    std::atomic<int> offset_ = 0;
    std::atomic<int> runtimeOffset_ = 0;
    std::u16string locale_;
    std::mt19937_64 random_;
};

class SimThreads final : public platform::Threads {
public:
    explicit SimThreads(Core& core) : core_(core) {}

    platform::Handle StartThread(std::function<void()> entry) override;
    bool WaitForThread(platform::Handle thread, std::uint32_t milliseconds) override;
    void CloseThread(platform::Handle thread) override;
    bool CancelSynchronousIo(platform::Handle thread) override;
    std::uint32_t GetCurrentThreadId() override;
    void Sleep(std::uint32_t milliseconds) override;

private:
    Core& core_;
    int started_ = 0;
};

class SimHeap final : public platform::Heap {
public:
    explicit SimHeap(Core& core) : core_(core) {}
    ~SimHeap() override;

    void* HeapAlloc(std::size_t bytes) override;
    std::size_t HeapSize(void* memory) override;
    void HeapFree(void* memory) override;

    void AddLeaks(std::vector<std::string>& leaks) const;
    void FreeAll();

private:
    Core& core_;
    std::map<void*, std::unique_ptr<std::vector<std::byte>>> blocks_;
};

}  // namespace tavi::sim
