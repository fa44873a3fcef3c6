// Builders and a table-driven world for tests of single steps. A record is written as the few fields that a case is
// about; everything else has a value that no rule looks for.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "records/steps/steps.h"

namespace tavi::records {

inline constexpr std::uint32_t kFile = 0x20;
inline constexpr std::uint32_t kDirectory = 0x10;
inline constexpr std::uint32_t kHidden = 0x2;

// Answers from tables; counts what was asked.
class TableWorld : public StepWorld {
public:
    const std::u16string& ListenPath() const override { return listenPath; }
    bool IsPlaceholder(const std::u16string& relativePath) override {
        asked.push_back(relativePath);
        return placeholders.contains(relativePath);
    }
    std::vector<std::u16string> ListAllEntries(const std::u16string& path) override { return listings[path]; }
    std::uint64_t GetFrnByPath(const std::u16string& path) override { return frns[path]; }
    std::uint32_t AttributesOrAllOnes(const std::u16string& path) override {
        const auto found = attributes.find(path);
        return found == attributes.end() ? 0xFFFFFFFF : found->second;
    }

    std::u16string listenPath = u"C:\\Sync";
    std::set<std::u16string> placeholders;
    std::map<std::u16string, std::vector<std::u16string>> listings;
    std::map<std::u16string, std::uint64_t> frns;
    std::map<std::u16string, std::uint32_t> attributes;
    std::vector<std::u16string> asked;  // the paths of the placeholder queries
};

class StepTest : public testing::Test {
protected:
    // One for all tests: building the rules takes longer than any test of them.
    static const TemporaryFileRules& Rules() {
        static const TemporaryFileRules rules;
        return rules;
    }

    static UsnRecord Usn(std::uint32_t reason, std::u16string name, std::uint32_t attributes = kFile,
                         std::uint64_t frn = 7) {
        UsnRecord record;
        record.usn = 64;
        record.reason = reason;
        record.fileAttributes = attributes;
        record.timestamp = 1000;
        record.filename = std::move(name);
        record.frn = frn;
        return record;
    }

    // A processed record as the conversion would make it.
    static StepRecord Change(FileChangeReason reason, std::u16string name, std::uint32_t attributes = kFile,
                             std::uint64_t frn = 7) {
        FileChangeInfo change;
        change.reason = reason;
        change.fileName = std::move(name);
        change.fileAttributes = attributes;
        change.frn = frn;
        change.timestamp = 1000;
        change.isTempFile = (attributes & kDirectory) == 0 && Rules().IsTemporaryFileName(change.fileName);
        return Rules().ToStepRecord(std::move(change));
    }

    static StepRecord Rename(std::u16string name, std::u16string originalName, std::uint32_t attributes = kFile,
                             std::uint64_t frn = 7) {
        FileChangeInfo change = Change(FileChangeReason::kRename, std::move(name), attributes, frn);
        change.originalFileName = std::move(originalName);
        return Rules().ToStepRecord(std::move(change));
    }

    static StepRecord At(std::int64_t timestamp, StepRecord record) {
        record.timestamp = timestamp;
        return record;
    }

    // Kind and name of every record: what most cases are about.
    using Outline = std::vector<std::pair<FileChangeReason, std::u16string>>;
    static Outline OutlineOf(const StepRecordList& records) {
        Outline outline;
        for (const StepRecord& record : records) {
            outline.emplace_back(record.reason, record.fileName);
        }
        return outline;
    }

    TableWorld world;
    FileChangeInfoList delayRecords;
    TemporaryFileList temporaryFiles;
    std::atomic<bool> stop = false;
    StepContext context{Rules(), world, delayRecords, temporaryFiles, stop};
};

}  // namespace tavi::records
