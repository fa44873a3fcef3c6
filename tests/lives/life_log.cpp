#include "lives/life_log.h"

#include <array>
#include <new>
#include <utility>

namespace tavi::lives {

namespace {

constexpr std::size_t kKeptLines = 200;
constexpr std::array<std::pair<std::string_view, StartWay>, 5> kWays = {
    {{"First login process", StartWay::kFirstLogin},
     {"Path switching process", StartWay::kPathSwitch},
     {"Change Journal closure process", StartWay::kJournalClosed},
     {"USN expiration process", StartWay::kExpired},
     {"Continue reading USN", StartWay::kContinue}}};

}  // namespace

void LifeLog::Keep(std::string line) {
    lines_.push_back(std::move(line));
    if (lines_.size() > kKeptLines) {
        lines_.pop_front();
    }
}

void LifeLog::WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) {
    const std::lock_guard lock(mutex_);
    if (message == "Failed to read the USN journal, error code is 87") {
        ++positionsGivenUp_;
    }
    if (message == "Writing to the database fails after several attempts") {
        ++savesGivenUp_;
    }
    Keep("error [" + std::string(classTag) + "] [" + std::string(function) + "] " + std::string(message));
}

void LifeLog::WriteTraceLog(std::string_view message) {
    const std::lock_guard lock(mutex_);
    for (const auto& [text, way] : kWays) {
        if (message == text) {
            startWay_ = way;
        }
    }
    if (message.starts_with("If the user ID or listening path changes, the database")) {
        tablesCleared_ = true;
    }
    Keep("trace " + std::string(message));
}

void LifeLog::WriteNetLog(std::string_view message) {
    const std::lock_guard lock(mutex_);
    Keep("net " + std::string(message));
}

void LifeLog::WriteSyncLog(std::string_view, std::string_view, std::string_view) {
    if (failingDumps_ > 0) {
        --failingDumps_;
        throw std::bad_alloc();
    }
}

void LifeLog::ForgetStart() {
    const std::lock_guard lock(mutex_);
    startWay_ = StartWay::kNone;
    tablesCleared_ = false;
}

StartWay LifeLog::startWay() const {
    const std::lock_guard lock(mutex_);
    return startWay_;
}

bool LifeLog::tablesCleared() const {
    const std::lock_guard lock(mutex_);
    return tablesCleared_;
}

int LifeLog::positionsGivenUp() const {
    const std::lock_guard lock(mutex_);
    return positionsGivenUp_;
}

int LifeLog::savesGivenUp() const {
    const std::lock_guard lock(mutex_);
    return savesGivenUp_;
}

std::string LifeLog::Tail() const {
    const std::lock_guard lock(mutex_);
    std::string text;
    for (const std::string& line : lines_) {
        text += "  " + line + "\n";
    }
    return text;
}

}  // namespace tavi::lives
