#include "sim/faults.h"

#include <utility>

namespace tavi::sim {

namespace {

bool Matches(const std::string& wanted, std::string_view name, bool canFail) {
    if (wanted == name) {
        return true;
    }
    if (wanted.empty()) {
        return canFail;
    }
    const std::string_view role = name.substr(0, name.find('.') + 1);
    return canFail && wanted.back() == '.' &&
           (' ' + wanted + ' ').find(' ' + std::string(role) + ' ') != std::string::npos;
}

}  // namespace

void Faults::Fail(Fault fault) {
    const std::lock_guard lock(mutex_);
    armed_.push_back({std::move(fault), 0, false});
}

void Faults::Clear() {
    const std::lock_guard lock(mutex_);
    armed_.clear();
    killIn_ = 0;
}

void Faults::KillAtCall(std::uint64_t nth) {
    const std::lock_guard lock(mutex_);
    killIn_ = nth;
}

std::uint64_t Faults::fired() const {
    const std::lock_guard lock(mutex_);
    return fired_;
}

std::string Faults::lastFired() const {
    const std::lock_guard lock(mutex_);
    return lastFired_;
}

std::uint64_t Faults::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

std::uint64_t Faults::calls(const std::string& wanted) const {
    const std::lock_guard lock(mutex_);
    std::uint64_t calls = 0;
    for (const auto& [name, count] : counts_) {
        calls += Matches(wanted, name, true) ? count : 0;
    }
    return calls;
}

std::vector<std::string> Faults::history() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> calls;
    for (std::size_t i = 0; i < history_.size(); ++i) {
        calls.emplace_back(history_[(oldest_ + i) % history_.size()]);
    }
    return calls;
}

void Faults::ClearHistory() {
    const std::lock_guard lock(mutex_);
    history_.clear();
    oldest_ = 0;
}

void Faults::Observe(std::function<void(std::string_view)> observer) {
    const std::lock_guard lock(mutex_);
    observer_ = std::move(observer);
}

Faults::Verdict Faults::OnCall(const char* name, bool canFail, std::uint32_t usualCode) {
    const std::lock_guard lock(mutex_);
    if (observer_) {
        observer_(name);
    }
    ++calls_;
    const auto found = counts_.find(std::string_view(name));
    if (found != counts_.end()) {
        ++found->second;
    } else {
        counts_.emplace(name, 1);
    }
    if (history_.size() < kKeptCalls) {
        history_.push_back(name);
    } else {
        history_[oldest_] = name;
        oldest_ = (oldest_ + 1) % kKeptCalls;
    }
    Verdict verdict;
    verdict.kills = killIn_ != 0 && --killIn_ == 0;
    for (Armed& armed : armed_) {
        if (armed.spent || !Matches(armed.fault.call, name, canFail) || ++armed.seen < armed.fault.nth) {
            continue;
        }
        armed.spent = !armed.fault.forEver;
        if (!verdict.fails) {
            verdict.fails = true;
            verdict.code = armed.fault.code != 0 ? armed.fault.code : usualCode;
            lastFired_ = name;
            ++fired_;
        }
    }
    return verdict;
}

}  // namespace tavi::sim
