#include "sim/sim_clock.h"

#include <chrono>
#include <limits>
#include <utility>

#include "platform/constants.h"

namespace tavi::sim {

using namespace platform;

namespace {

constexpr std::int64_t kTicksPerMillisecond = 10000;
constexpr std::int64_t kTicksPerMinute = 60 * 1000 * kTicksPerMillisecond;
constexpr FileTime kStart = 133594528890000000;  // 2024-05-06 07:08:09 UTC

FileTime Shift(FileTime time, int minutes) {
    return static_cast<FileTime>(static_cast<std::int64_t>(time) + minutes * kTicksPerMinute);
}

SystemTime Split(FileTime time) {
    using namespace std::chrono;
    const auto milliseconds = static_cast<std::int64_t>(time / kTicksPerMillisecond);
    constexpr std::int64_t kMillisecondsPerDay = 86400000;
    const sys_days day = sys_days(year(1601) / January / 1) + days(milliseconds / kMillisecondsPerDay);
    const std::int64_t rest = milliseconds % kMillisecondsPerDay;
    const year_month_day date(day);
    SystemTime result;
    result.year = static_cast<std::uint16_t>(static_cast<int>(date.year()));
    result.month = static_cast<std::uint16_t>(static_cast<unsigned>(date.month()));
    result.day = static_cast<std::uint16_t>(static_cast<unsigned>(date.day()));
    result.dayOfWeek = static_cast<std::uint16_t>(weekday(day).c_encoding());
    result.hour = static_cast<std::uint16_t>(rest / 3600000);
    result.minute = static_cast<std::uint16_t>(rest / 60000 % 60);
    result.second = static_cast<std::uint16_t>(rest / 1000 % 60);
    result.milliseconds = static_cast<std::uint16_t>(rest % 1000);
    return result;
}

}  // namespace

SimErrors::SimErrors(Core& core) : core_(core) {
    texts_[kErrorFileNotFound] = u"The system cannot find the file specified.\r\n";
    texts_[kErrorPathNotFound] = u"The system cannot find the path specified.\r\n";
    texts_[kErrorAccessDenied] = u"Access is denied.\r\n";
    texts_[kErrorInvalidParameter] = u"The parameter is incorrect.\r\n";
    texts_[kErrorServiceDoesNotExist] = u"The specified service does not exist as an installed service.\r\n";
}

std::uint32_t SimErrors::GetLastError() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    return core_.scheduler.Current(lock)->lastError;
}

std::u16string SimErrors::FormatMessageW(std::uint32_t code) {
    const Call call(core_, "SystemErrors.FormatMessageW", 317);
    const auto found = texts_.find(code);
    return call.failed() || found == texts_.end() ? std::u16string() : found->second;
}

void SimErrors::SetText(std::uint32_t code, std::u16string text) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    texts_[code] = std::move(text);
}

SimClock::SimClock(Core& core, std::uint64_t seed) : core_(core), base_(kStart), random_(seed + 1) {}

FileTime SimClock::NowUtc() const {
    return base_ + static_cast<std::uint64_t>(core_.scheduler.Now() * kTicksPerMillisecond);
}

void SimClock::SetNowUtc(FileTime time) {
    base_ = time - static_cast<std::uint64_t>(core_.scheduler.Now() * kTicksPerMillisecond);
}

void SimClock::SetOffset(int minutes) {
    offset_ = minutes;
    runtimeOffset_ = minutes;
}

void SimClock::SetRuntimeOffset(int minutes) {
    runtimeOffset_ = minutes;
}

std::u16string SimClock::locale() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return locale_;
}

SystemTime SimClock::GetLocalTime() {
    const Call call(core_, "Clock.GetLocalTime", 0, CallKind::kCannotFail);
    return Split(Shift(NowUtc(), offset_));
}

FileTime SimClock::GetSystemTimePreciseAsFileTime() {
    const Call call(core_, "Clock.GetSystemTimePreciseAsFileTime", 0, CallKind::kCannotFail);
    return NowUtc();
}

bool SimClock::FileTimeToLocalFileTime(FileTime utc, FileTime& local) {
    Call call(core_, "Clock.FileTimeToLocalFileTime", kErrorInvalidParameter);
    if (call.failed()) {
        return call.Fail(false);
    }
    local = Shift(utc, offset_);
    return true;
}

bool SimClock::FileTimeToSystemTime(FileTime time, SystemTime& systemTime) {
    Call call(core_, "Clock.FileTimeToSystemTime", kErrorInvalidParameter);
    if (call.failed() || time > FileTime{std::numeric_limits<std::int64_t>::max()}) {
        return call.Fail(false);
    }
    systemTime = Split(time);
    return true;
}

std::int64_t SimClock::Mktime64(const CalendarTime& time) {
    using namespace std::chrono;
    const Call call(core_, "Clock.Mktime64", 22);
    if (call.failed()) {
        return -1;
    }
    const year_month month = year(time.year + 1900) / January + months(time.month);
    const sys_days day = sys_days(month / 1) + days(time.day - 1);
    const std::int64_t seconds = std::int64_t{day.time_since_epoch().count()} * 86400 + time.hour * 3600 +
                                 time.minute * 60 + time.second - runtimeOffset_ * 60;
    return seconds < 0 || time.year < 69 ? -1 : seconds;
}

void SimClock::WsetlocaleAll(const std::u16string& name) {
    const Call call(core_, "Clock.WsetlocaleAll", 0, CallKind::kCannotFail);
    locale_ = name;
}

std::uint64_t SimClock::RandomNumber() {
    const Call call(core_, "Clock.RandomNumber", 0, CallKind::kCannotFail);
    return random_();
}

namespace {

class ThreadObject final : public Object {
public:
    explicit ThreadObject(std::shared_ptr<SimThread> started) : thread(std::move(started)) {}
    std::shared_ptr<SimThread> thread;
};

std::uintptr_t Number(Handle handle) {
    return static_cast<std::uintptr_t>(handle);
}

}  // namespace

Handle SimThreads::StartThread(std::function<void()> entry) {
    Call call(core_, "Threads.StartThread", kErrorNotEnoughMemory);
    if (call.failed()) {
        return call.Fail(kNullHandle);
    }
    const std::string name = "product thread " + std::to_string(++started_);
    auto thread = core_.scheduler.Start(call.lock(), name, Side::kProduct, std::move(entry));
    return Handle{core_.Open("thread handle", name, std::make_shared<ThreadObject>(std::move(thread)))};
}

bool SimThreads::WaitForThread(Handle thread, std::uint32_t milliseconds) {
    Call call(core_, "Threads.WaitForThread", kErrorInvalidHandle);
    const auto object = core_.GetAs<ThreadObject>(Number(thread));
    if ((call.failed() && !call.dead()) || !object) {
        return call.Fail(kErrorInvalidHandle, false);
    }
    const std::function<bool()> ended = [&] { return object->thread->state == SimThread::State::kEnded; };
    if (ended()) {
        return true;
    }
    const std::int64_t limit = milliseconds == kInfinite ? kForEver : std::int64_t{milliseconds};
    const Cancellable byDeath = limit == kForEver ? Cancellable::kNo : Cancellable::kByDeath;
    const WaitResult result =
        core_.scheduler.Wait(call.lock(), "the end of " + object->thread->name, limit, ended, byDeath);
    if (result == WaitResult::kDead) {
        call.DieIfDead();
    }
    return result == WaitResult::kReady;
}

void SimThreads::CloseThread(Handle thread) {
    const Call call(core_, "Threads.CloseThread", 0, CallKind::kReleases);
    core_.Close("thread handle", Number(thread));
}

bool SimThreads::CancelSynchronousIo(Handle thread) {
    Call call(core_, "Threads.CancelSynchronousIo", kErrorNotFound);
    if (call.failed()) {
        return call.Fail(false);
    }
    const auto object = core_.GetAs<ThreadObject>(Number(thread));
    if (!object) {
        return call.Fail(kErrorInvalidHandle, false);
    }
    return core_.scheduler.Cancel(call.lock(), *object->thread) || call.Fail(kErrorNotFound, false);
}

std::uint32_t SimThreads::GetCurrentThreadId() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    return core_.scheduler.Current(lock)->id;
}

void SimThreads::Sleep(std::uint32_t milliseconds) {
    Call call(core_, "Threads.Sleep", 0, CallKind::kCannotFail);
    call.DieIfDead();
    if (call.dead()) {
        return;
    }
    const std::function<bool()> never = [] { return false; };
    core_.scheduler.Wait(call.lock(), "a sleep", milliseconds == kInfinite ? kForEver : std::int64_t{milliseconds},
                         never, Cancellable::kByDeath);
    call.DieIfDead();
}

SimHeap::~SimHeap() = default;

void* SimHeap::HeapAlloc(std::size_t bytes) {
    Call call(core_, "Heap.HeapAlloc", kErrorNotEnoughMemory);
    if (call.failed()) {
        return call.Fail<void*>(nullptr);
    }
    auto block = std::make_unique<std::vector<std::byte>>(bytes == 0 ? 1 : bytes);
    block->resize(bytes);
    void* memory = block->data();
    blocks_[memory] = std::move(block);
    return memory;
}

std::size_t SimHeap::HeapSize(void* memory) {
    const Call call(core_, "Heap.HeapSize", 0, CallKind::kCannotFail);
    const auto found = blocks_.find(memory);
    return found == blocks_.end() ? ~std::size_t{0} : found->second->size();
}

void SimHeap::HeapFree(void* memory) {
    const Call call(core_, "Heap.HeapFree", 0, CallKind::kReleases);
    blocks_.erase(memory);
}

void SimHeap::AddLeaks(std::vector<std::string>& leaks) const {
    for (const auto& [memory, block] : blocks_) {
        leaks.push_back("heap memory of " + std::to_string(block->size()) + " bytes");
    }
}

void SimHeap::FreeAll() {
    blocks_.clear();
}

}  // namespace tavi::sim
