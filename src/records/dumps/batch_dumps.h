// The dumps of one batch, list after list on its way through the steps, for the sync log. The texts are those of
// record_dumps.h, with obscured paths; but most steps leave most records as they are, and the lines of those are taken
// from the last dump instead of being written again. Costs the memory of the last lists' dumps and names. Listen thread
// only; a new object for every batch.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "records/model/change_record.h"
#include "records/model/step_record.h"

namespace tavi::records {

class BatchDumps {
public:
    // Valid until the next dump of such a list.
    const std::string& Format(const UsnRecordList& records) { return usnRecords_.Format(records); }
    const std::string& Format(const StepRecordList& records) { return changes_.Format(records); }
    const std::string& Format(const FileChangeInfoList& records) { return changes_.Format(records); }

private:
    // A record without its names, which stand one behind the other in the memory.
    struct UsnFields {
        explicit UsnFields(const UsnRecord& record);
        bool operator==(const UsnFields&) const = default;

        std::int64_t usn;
        std::uint64_t frn;
        std::int64_t timestamp;
        std::int64_t oldfrn;
        std::uint32_t reason;
        std::uint32_t fileAttributes;
        std::size_t nameUnits;
    };
    struct ChangeFields {
        explicit ChangeFields(const FileChangeInfo& record);
        bool operator==(const ChangeFields&) const = default;

        std::uint64_t frn;
        std::int64_t timestamp;
        std::uint64_t oldfrn;
        std::uint32_t fileAttributes;
        std::uint32_t delayCount;
        FileChangeReason reason;
        bool isTempFile;
        std::size_t nameUnits;
        std::size_t originalNameUnits;
    };

    // What the last dump of a kind of list said, line by line.
    template <typename Fields>
    class LastDump {
    public:
        template <typename Records>
        const std::string& Format(const Records& records);

    private:
        struct Line {
            Fields fields;
            std::size_t namesBegin;
            std::size_t textBegin;
        };

        template <typename Record>
        bool Says(std::size_t line, const Record& record) const;
        // The line that says this, looked for near `expected`; lines_.size() when it is not there.
        template <typename Record>
        std::size_t Find(std::size_t expected, const Record& record) const;
        std::string_view TextOf(std::size_t line) const;

        std::vector<Line> lines_;
        std::u16string names_;
        std::string text_;
    };

    LastDump<UsnFields> usnRecords_;
    LastDump<ChangeFields> changes_;
};

}  // namespace tavi::records
