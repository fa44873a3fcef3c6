#include "records/dumps/batch_dumps.h"

#include <gtest/gtest.h>

#include <variant>

#include "records/dumps/record_dumps.h"
#include "unit/records/steps/pipeline_run.h"
#include "unit/records/steps/random_batches.h"

namespace tavi::records {
namespace {

std::string Plain(const UsnRecordList& records) {
    return FormatUsnRecords(records);
}

std::string Plain(const FileChangeInfoList& records) {
    return FormatFileChangeRecords(records);
}

FileChangeInfoList Numbered(std::uint64_t first, std::size_t count) {
    FileChangeInfoList records(count);
    for (FileChangeInfo& record : records) {
        record.frn = first++;
        record.fileName = u"Folder\\report.docx";
    }
    return records;
}

TEST(BatchDumps, SaysWhatTheDumpOfEachListAloneSays) {
    literal::RandomBatches batches(20'261'121);
    std::size_t lists = 0;
    for (int i = 0; i < 2'000; ++i) {
        BatchDumps dumps;
        for (const auto& list : literal::RunProduct(batches.Next()).steps) {
            std::visit([&dumps](const auto& records) { ASSERT_EQ(dumps.Format(records), Plain(records)); }, list);
            ++lists;
        }
    }
    EXPECT_GT(lists, 20'000U);
}

TEST(BatchDumps, AnyChangedFieldIsSeen) {
    FileChangeInfoList records = Numbered(1, 3);
    BatchDumps dumps;
    const auto check = [&] { EXPECT_EQ(dumps.Format(records), Plain(records)); };
    check();
    records[1].fileName = u"Folder\\rapport.docx";  // of the same length
    check();
    records[1].originalFileName = u"x";
    check();
    records[1].fileAttributes = 7;
    check();
    records[1].isTempFile = true;
    check();
    records[1].reason = FileChangeReason::kMove;
    check();
    records[1].delayCount = 2;
    check();
    records[1].timestamp = 5;
    check();
    records[1].frn = 99;
    check();
    records[1].oldfrn = 98;
    check();
    UsnRecord record;
    record.filename = u"a";
    UsnRecordList raw = {record};
    for (auto change : {+[](UsnRecord& one) { one.usn = 8; }, +[](UsnRecord& one) { one.reason = 0x100; },
                        +[](UsnRecord& one) { one.fileAttributes = 32; }, +[](UsnRecord& one) { one.timestamp = 3; },
                        +[](UsnRecord& one) { one.filename = u"b"; }, +[](UsnRecord& one) { one.frn = 4; },
                        +[](UsnRecord& one) { one.oldfrn = 5; }}) {
        change(raw[0]);
        EXPECT_EQ(dumps.Format(raw), Plain(raw));
    }
}

TEST(BatchDumps, ManyRemovedAddedOrNoRecordsAreNoneTooMany) {
    FileChangeInfoList records = Numbered(1, 100);
    BatchDumps dumps;
    EXPECT_EQ(dumps.Format(records), Plain(records));
    records.erase(records.begin() + 20, records.begin() + 60);
    EXPECT_EQ(dumps.Format(records), Plain(records));
    const FileChangeInfoList added = Numbered(500, 30);
    records.insert(records.begin() + 5, added.begin(), added.end());
    EXPECT_EQ(dumps.Format(records), Plain(records));
    EXPECT_EQ(dumps.Format(FileChangeInfoList{}), "");
    EXPECT_EQ(dumps.Format(records), Plain(records));
}

}  // namespace
}  // namespace tavi::records
