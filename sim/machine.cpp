#include "sim/machine.h"

#include <utility>

namespace tavi::sim {

Machine::Machine(MachineOptions options)
    : core_(options.concurrency, options.seed),
      errors_(core_),
      clock_(core_, options.seed),
      threads_(core_),
      heap_(core_),
      files_(core_, clock_, options.seed + 1),
      pipes_(core_, files_),
      services_(core_),
      modules_(core_, files_),
      trust_(core_, files_),
      sqlite_(core_, files_),
      digest_(core_) {
    core_.onDeath.emplace_back([this](Scheduler::Lock&) { sqlite_.KeepFiles(); });
}

Machine::~Machine() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.faults.Clear();
    if (core_.scheduler.HasThreads(lock)) {
        core_.Kill(lock);
        core_.scheduler.JoinAll(lock);
    }
    lock.unlock();
    sqlite_.CloseAll();
    digest_.FreeAll();
    lock.lock();
    core_.CloseAll();
}

platform::Platform Machine::platform() {
    return {.errors = errors_,
            .services = services_,
            .modules = modules_,
            .files = files_,
            .paths = files_,
            .volumes = files_,
            .nativeCalls = files_,
            .cloudFiles = files_,
            .codePage = files_,
            .pipes = pipes_,
            .threads = threads_,
            .clock = clock_,
            .heap = heap_,
            .trust = trust_,
            .sqlite = sqlite_,
            .digest = digest_};
}

Machine::ThreadId Machine::StartThread(std::string name, Side side, std::function<void()> body) {
    Scheduler::Lock lock = core_.scheduler.Enter();
    auto thread = core_.scheduler.Start(lock, std::move(name), side, std::move(body));
    thread->owner = side == Side::kProduct;
    std::erase_if(started_, [](const auto& entry) { return entry.second->state == SimThread::State::kEnded; });
    started_[thread->id] = thread;
    return thread->id;
}

Machine::ThreadId Machine::Spawn(std::string name, std::function<void()> body) {
    return StartThread(std::move(name), Side::kTest, std::move(body));
}

Machine::ThreadId Machine::StartProcess(std::function<void()> body) {
    return StartThread("process", Side::kProduct, std::move(body));
}

void Machine::Join(ThreadId thread) {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.scheduler.Current(lock);
    const auto found = started_.find(thread);
    if (found == started_.end()) {
        return;  // ended, and forgotten since
    }
    const std::shared_ptr<SimThread> joined = found->second;
    const std::function<bool()> ended = [&] { return joined->state == SimThread::State::kEnded; };
    if (!ended()) {
        core_.scheduler.Wait(lock, "the end of " + joined->name, kForEver, ended);
    }
}

void Machine::JoinAll() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.scheduler.JoinAll(lock);
}

bool Machine::RunProcess(std::function<void()> body) {
    Join(StartProcess(std::move(body)));
    return !dead();
}

void Machine::Sleep(std::int64_t milliseconds) {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.scheduler.Current(lock);
    const std::function<bool()> never = [] { return false; };
    core_.scheduler.Wait(lock, "a sleep of the test", milliseconds, never);
}

bool Machine::WaitUntil(const std::function<bool()>& condition, std::int64_t milliseconds, std::int64_t step) {
    const std::int64_t deadline = NowMilliseconds() + milliseconds;
    while (!condition()) {
        if (NowMilliseconds() >= deadline) {
            return false;
        }
        Sleep(step);
    }
    return true;
}

void Machine::Kill() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.Kill(lock);
}

bool Machine::dead() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    return core_.scheduler.dead(lock);
}

void Machine::Restart() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.Kill(lock);
    core_.faults.Clear();
    core_.scheduler.JoinProduct(lock);
    core_.CloseAll();
    heap_.FreeAll();
    services_.ForgetProcess();
    modules_.ForgetProcess();
    lock.unlock();  // no thread of the process is left, and the library's locks come before the machine's
    sqlite_.CloseAll();
    lock.lock();
    digest_.FreeAll();
    core_.scheduler.Revive(lock);
}

std::vector<std::string> Machine::leaks() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    std::vector<std::string> leaks = core_.Leaks();
    heap_.AddLeaks(leaks);
    sqlite_.AddLeaks(leaks);
    digest_.AddLeaks(leaks);
    for (std::string& name : core_.scheduler.LiveProductThreads(lock)) {
        leaks.push_back("running thread: " + std::move(name));
    }
    return leaks;
}

std::size_t Machine::OpenHandles() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return core_.OpenCount({});
}

std::string Machine::DescribeThreads() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    return core_.scheduler.Describe(lock);
}

void Machine::OnDeadlock(std::function<void(const std::string&)> handler) {
    Scheduler::Lock lock = core_.scheduler.Enter();
    core_.scheduler.OnDeadlock(lock, std::move(handler));
}

std::uint64_t Machine::switches() {
    Scheduler::Lock lock = core_.scheduler.Enter();
    return core_.scheduler.switches(lock);
}

}  // namespace tavi::sim
