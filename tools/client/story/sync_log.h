// Reads the record dumps of the sync log back: the batches of the processing cycle, each with what was left after every
// step. The layout is that of imports/file_log and records/record_dumps: a heading line with time, category and label,
// a line of column names, a line per record; a long dump goes on under another heading of the same label. What does not
// fit is skipped: a log may begin and end anywhere. Paths are obscured in the log and stay so. One thread.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "records/steps/step_pipeline.h"

namespace tavi::client {

// One line of a dump.
struct LoggedRecord {
    std::string key;   // equal for records that are the same
    std::string what;  // the journal's reasons, or the kind of change
    std::string name;
    std::string originalName;
    std::string frn;
    std::string usn;  // of the dumps up to the conversion

    friend bool operator==(const LoggedRecord&, const LoggedRecord&) = default;
};

inline constexpr std::size_t kStoredStep = records::kPipelineStepCount;  // what the cycle hands to the database

struct LoggedBatch {
    std::string time;  // of its first entry, as logged
    // By step; empty lists are not in the log.
    std::array<std::vector<LoggedRecord>, records::kPipelineStepCount + 1> steps;
    bool readAgain = false;  // the service did not store it: the next batch begins with the same record
};

class SyncLogReader {
public:
    using BatchHandler = std::function<void(const LoggedBatch&)>;
    explicit SyncLogReader(BatchHandler handler) : handler_(std::move(handler)) {}

    // The log's parts in order, the oldest first. A batch is handed on once it is known how it went on.
    void Read(std::string_view text);
    void Finish();

private:
    void ReadLine(std::string_view line);
    bool ReadHeading(std::string_view line);
    void BeginEntry(std::string_view time, std::size_t step);
    void BeginBatch(std::string_view time);
    void EndBatch();

    BatchHandler handler_;
    LoggedBatch batch_;
    LoggedBatch previous_;
    bool inBatch_ = false;
    bool hasPrevious_ = false;
    std::size_t step_ = 0;       // of the entry being read
    bool inEntry_ = false;       // of a step that is known
    bool atEntryStart_ = false;  // its heading was the line before
    std::string pendingTime_;    // of that heading
};

}  // namespace tavi::client
