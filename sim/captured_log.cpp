#include "sim/captured_log.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <utility>

namespace tavi::sim {

void PrintTo(const LogLine& line, std::ostream* out) {
    static constexpr std::array<const char*, 4> kNames = {"error", "trace", "net", "sync"};
    *out << kNames.at(static_cast<std::size_t>(line.kind)) << " [" << line.classTag << "] [" << line.function << "] "
         << line.text;
}

CapturedLog::CapturedLog(std::u16string logPath) : logPath_(std::move(logPath)) {
    Drive::SyncPanelLog::Install(this);
}

CapturedLog::~CapturedLog() {
    Drive::SyncPanelLog::Install(nullptr);
}

void CapturedLog::Init() {
    const std::lock_guard lock(mutex_);
    ++initialisations_;
}

void CapturedLog::Keep(LogLine line) {
    std::function<void(const LogLine&)> observer;
    {
        const std::lock_guard lock(mutex_);
        lines_.push_back(line);
        observer = observer_;
    }
    if (observer) {
        observer(line);
    }
}

void CapturedLog::WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) {
    Keep({LogKind::kError, std::string(classTag), std::string(function), std::string(message)});
}

void CapturedLog::WriteTraceLog(std::string_view message) {
    Keep({LogKind::kTrace, {}, {}, std::string(message)});
}

void CapturedLog::WriteNetLog(std::string_view message) {
    Keep({LogKind::kNet, {}, {}, std::string(message)});
}

void CapturedLog::WriteSyncLog(std::string_view category, std::string_view label, std::string_view text) {
    Keep({LogKind::kSync, std::string(category), std::string(label), std::string(text)});
}

std::u16string CapturedLog::GetLogPath() {
    const std::lock_guard lock(mutex_);
    return logPath_;
}

int CapturedLog::initialisations() const {
    const std::lock_guard lock(mutex_);
    return initialisations_;
}

std::vector<LogLine> CapturedLog::Lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
}

std::vector<std::string> CapturedLog::Texts(LogKind kind) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> texts;
    for (const LogLine& line : lines_) {
        if (line.kind == kind) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

std::size_t CapturedLog::CountIf(const std::function<bool(const LogLine&)>& matches) const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(lines_.begin(), lines_.end(), matches));
}

std::size_t CapturedLog::Count(std::string_view text) const {
    return CountIf([&](const LogLine& line) { return line.text == text; });
}

std::size_t CapturedLog::CountContaining(std::string_view part) const {
    return CountIf([&](const LogLine& line) { return line.text.find(part) != std::string::npos; });
}

std::size_t CapturedLog::Count(LogKind kind, std::string_view text) const {
    return CountIf([&](const LogLine& line) { return line.kind == kind && line.text == text; });
}

bool CapturedLog::HasError(std::string_view classTag, std::string_view function, std::string_view message) const {
    const LogLine wanted{LogKind::kError, std::string(classTag), std::string(function), std::string(message)};
    return CountIf([&](const LogLine& line) { return line == wanted; }) != 0;
}

void CapturedLog::Clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
}

std::string CapturedLog::Dump() const {
    std::ostringstream out;
    for (const LogLine& line : Lines()) {
        PrintTo(line, &out);
        out << '\n';
    }
    return out.str();
}

void CapturedLog::OnLine(std::function<void(const LogLine&)> observer) {
    const std::lock_guard lock(mutex_);
    observer_ = std::move(observer);
}

}  // namespace tavi::sim
