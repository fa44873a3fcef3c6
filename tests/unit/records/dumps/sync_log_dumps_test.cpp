#include "records/dumps/sync_log_dumps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "imports/sync_panel_log.h"
#include "records/dumps/record_dumps.h"

namespace tavi::records {
namespace {

// Keeps what the sync and the error log are given; the sync log may find no memory.
class KeepingLog : public Drive::LogBackend {
public:
    KeepingLog() { Drive::SyncPanelLog::Install(this); }
    ~KeepingLog() override { Drive::SyncPanelLog::Install(nullptr); }

    void Init() override {}
    void WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) override {
        errors.push_back(std::string(classTag).append("|").append(function).append("|").append(message));
    }
    void WriteTraceLog(std::string_view) override {}
    void WriteNetLog(std::string_view) override {}
    void WriteSyncLog(std::string_view category, std::string_view label, std::string_view text) override {
        if (entries.size() == entriesBeforeFailure) {
            throw std::bad_alloc();
        }
        headings.push_back(std::string(category).append("|").append(label));
        entries.emplace_back(text);
    }
    std::u16string GetLogPath() override { return {}; }

    std::vector<std::string> errors;
    std::vector<std::string> headings;
    std::vector<std::string> entries;
    std::size_t entriesBeforeFailure = 1'000;
};

FileChangeInfoList Numbered(std::size_t count) {
    FileChangeInfoList records(count);
    for (std::size_t i = 0; i < count; ++i) {
        records[i].frn = i;
        records[i].fileName = u"Folder\\report.docx";
    }
    return records;
}

TEST(SyncLogDumps, AListIsOneEntryUnderItsHeading) {
    KeepingLog log;
    WriteDump("WriteUSNLog", "label", Numbered(3));
    EXPECT_THAT(log.entries, testing::ElementsAre(FormatFileChangeRecords(Numbered(3))));
    EXPECT_THAT(log.headings, testing::ElementsAre("WriteUSNLog|label"));
    UsnRecord record;
    record.filename = u"a";
    WriteDump("WriteUSNLog", "raw", UsnRecordList{record});
    EXPECT_EQ(log.entries.back(), FormatUsnRecords({record}));
}

TEST(SyncLogDumps, AnEmptyListIsNoEntry) {
    KeepingLog log;
    WriteDump("WriteUSNLog", "label", UsnRecordList{});
    WriteDump("WriteUSNLog", "label", StepRecordList{});
    WriteDump("WriteUSNLog", "label", FileChangeInfoList{});
    EXPECT_TRUE(log.entries.empty());
}

TEST(SyncLogDumps, ALongListIsCutWhereTheLogWouldCutIt) {
    KeepingLog log;
    const FileChangeInfoList records = Numbered(40'000);
    WriteDump("WriteUSNLog", "label", records);
    ASSERT_GT(log.entries.size(), 2U);
    std::string whole;
    for (std::size_t i = 0; i < log.entries.size(); ++i) {
        const std::string& entry = log.entries[i];
        EXPECT_LE(entry.size(), Drive::kLargestSyncLogEntry);
        EXPECT_EQ(entry.back(), '\n');
        EXPECT_EQ(log.headings[i], "WriteUSNLog|label");
        if (i + 1 < log.entries.size()) {
            const std::size_t nextLine = log.entries[i + 1].find('\n') + 1;
            EXPECT_GT(entry.size() + nextLine, Drive::kLargestSyncLogEntry) << "another line would have fitted";
        }
        whole += entry;
    }
    EXPECT_EQ(whole, FormatFileChangeRecords(records));
}

TEST(SyncLogDumps, ADumpThatFindsNoMemoryIsLeftOutWithALine) {
    KeepingLog log;
    log.entriesBeforeFailure = 0;
    WriteDump("WriteUSNLog", "Data Format Conversion", Numbered(3));
    EXPECT_THAT(log.entries, testing::IsEmpty());
    EXPECT_THAT(log.errors,
                testing::ElementsAre("SyncLogDumps|Data Format Conversion|No memory for this dump, it is left out"));
}

TEST(RecordDumps, APieceHoldsAtLeastOneLine) {
    std::vector<std::string> pieces;
    DumpFileChangeRecords(Numbered(2), DumpPaths::kClear, 1,
                          [&](std::string_view piece) { pieces.emplace_back(piece); });
    ASSERT_EQ(pieces.size(), 3U);  // the header line stands alone
    EXPECT_EQ(pieces[0] + pieces[1] + pieces[2], FormatFileChangeRecords(Numbered(2), DumpPaths::kClear));
}

}  // namespace
}  // namespace tavi::records
