#include "story/sync_log.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace tavi::client {

namespace {

constexpr std::string_view kStepCategory = "[WriteUSNLog] ";
constexpr std::string_view kStoredHeading = "[WriteChangeJournal] record";
constexpr std::string_view kUsnColumns = "usn\treason\t";
constexpr std::string_view kChangeColumns = "fileName\toriginalFileName\t";
constexpr std::string_view kTimePattern = "0000-00-00 00:00:00.000";

bool BeginsWithTime(std::string_view line) {
    return line.size() > kTimePattern.size() &&
           std::ranges::equal(kTimePattern, line.substr(0, kTimePattern.size()), [](char pattern, char c) {
               return pattern == '0' ? c >= '0' && c <= '9' : c == pattern;
           });
}

std::optional<std::size_t> StepOfHeading(std::string_view heading) {
    if (heading == kStoredHeading) {
        return kStoredStep;
    }
    if (heading.starts_with(kStepCategory)) {
        const std::string_view label = heading.substr(kStepCategory.size());
        for (std::size_t step = 0; step < records::kPipeline.size(); ++step) {
            if (records::kPipeline[step].label == label) {
                return step;
            }
        }
    }
    return std::nullopt;
}

std::vector<std::string> Columns(std::string_view line) {
    std::vector<std::string> columns;
    for (std::size_t begin = 0;;) {
        const std::size_t tab = line.find('\t', begin);
        columns.emplace_back(line.substr(begin, tab - begin));
        if (tab == std::string_view::npos) {
            return columns;
        }
        begin = tab + 1;
    }
}

// usn, reason, fileAttributes, timestamp, filename, frn, oldfrn.
std::optional<LoggedRecord> ParseUsnRecord(std::string_view line) {
    const std::vector<std::string> columns = Columns(line);
    if (columns.size() != 7) {
        return std::nullopt;
    }
    // The first filter sets the last column, which says nothing yet.
    return LoggedRecord{
        std::string(line.substr(0, line.rfind('\t'))), columns[1], columns[4], {}, columns[5], columns[0]};
}

// fileName, originalFileName, frn, oldfrn, fileAttributes, isTempFile, reason, delayCount, timestamp.
std::optional<LoggedRecord> ParseChange(std::string_view line) {
    const std::vector<std::string> columns = Columns(line);
    if (columns.size() != 9) {
        return std::nullopt;
    }
    return LoggedRecord{std::string(line), columns[6], columns[0], columns[1], columns[2], {}};
}

}  // namespace

void SyncLogReader::Read(std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        ReadLine(line);
    }
}

void SyncLogReader::ReadLine(std::string_view line) {
    if (ReadHeading(line) || !inEntry_ || line.empty()) {
        return;
    }
    const bool columns = line.starts_with(kUsnColumns) || line.starts_with(kChangeColumns);
    if (std::exchange(atEntryStart_, false)) {
        if (columns) {
            BeginEntry(pendingTime_, step_);
        }
        // Otherwise the dump goes on that began under the heading before; at the log's beginning, of an unknown batch.
        inEntry_ = inBatch_;
    }
    if (columns || !inEntry_) {
        return;
    }
    if (auto record = step_ < records::ConversionStep() ? ParseUsnRecord(line) : ParseChange(line)) {
        batch_.steps[step_].push_back(*std::move(record));
    }
}

bool SyncLogReader::ReadHeading(std::string_view line) {
    if (!BeginsWithTime(line)) {
        return false;
    }
    // After the time stands the thread in brackets.
    const std::size_t heading = line.find("] ");
    if (heading == std::string_view::npos) {
        return false;
    }
    const auto step = StepOfHeading(line.substr(heading + 2));
    inEntry_ = step.has_value();
    atEntryStart_ = inEntry_;
    step_ = step.value_or(0);
    pendingTime_ = line.substr(0, kTimePattern.size());
    return true;
}

void SyncLogReader::BeginEntry(std::string_view time, std::size_t step) {
    const bool goesOn = inBatch_ && std::all_of(batch_.steps.begin() + static_cast<std::ptrdiff_t>(step),
                                                batch_.steps.end(), [](const auto& list) { return list.empty(); });
    if (!goesOn) {
        BeginBatch(time);
    }
}

void SyncLogReader::BeginBatch(std::string_view time) {
    EndBatch();
    batch_.time = time;
    inBatch_ = true;
}

void SyncLogReader::EndBatch() {
    if (!std::exchange(inBatch_, false)) {
        return;
    }
    const auto& read = batch_.steps[0];
    if (hasPrevious_) {
        const auto& readBefore = previous_.steps[0];
        previous_.readAgain = !read.empty() && !readBefore.empty() && read.front().usn == readBefore.front().usn;
        handler_(previous_);
    }
    previous_ = std::exchange(batch_, {});
    hasPrevious_ = true;
}

void SyncLogReader::Finish() {
    EndBatch();
    if (std::exchange(hasPrevious_, false)) {
        handler_(previous_);
    }
}

}  // namespace tavi::client
