// How much memory a batch takes at its peak: read, dumped, taken through all steps and saved. Allocations are counted;
// no clock is asked.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "imports/sync_panel_log.h"
#include "unit/records/cycle/cycle_rig.h"
#include "unit/records/memory/counted_allocations.h"

namespace tavi::records {
namespace {

// Takes the dumps and keeps nothing, as files do.
class ForgettingLog : public Drive::LogBackend {
public:
    ForgettingLog() { Drive::SyncPanelLog::Install(this); }
    ~ForgettingLog() override { Drive::SyncPanelLog::Install(nullptr); }

    void Init() override {}
    void WriteErrorLog(std::string_view, std::string_view, std::string_view) override { ++errors; }
    void WriteTraceLog(std::string_view) override {}
    void WriteNetLog(std::string_view) override {}
    void WriteSyncLog(std::string_view, std::string_view, std::string_view text) override {
        dumpedBytes += text.size();
        longestEntry = std::max(longestEntry, text.size());
    }
    std::u16string GetLogPath() override { return {}; }

    int errors = 0;
    std::size_t dumpedBytes = 0;
    std::size_t longestEntry = 0;
};

std::u16string Digits(std::size_t number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

class BatchMemory : public ::testing::Test, protected testing::CycleRig {
protected:
    static constexpr std::size_t kRecords = 100'000;
    static constexpr std::size_t kDirectories = 200;

    BatchMemory() {
        for (std::size_t i = 0; i < kDirectories; ++i) {
            const std::u16string path = u"C:\\Sync\\Projects\\Customer " + Digits(i);
            volume().MakeDirectory(path);
            directories_.push_back(volume().Find(path));
        }
        SetPosition(NextUsn());
    }

    // Files that are created and written, and files that are renamed, three records each, in many directories.
    void FillJournal() {
        volume().WithJournal([&](sim::EmulatedJournal& emulated) {
            for (std::size_t file = 0; file < kRecords / 3; ++file) {
                const bool renamed = file % 2 == 0;
                const std::u16string name = u"Quarterly report " + Digits(file) + u".docx";
                const auto append = [&](const std::u16string& of, std::uint32_t reason) {
                    constexpr std::uint64_t kSomeTime = 133'000'000'000'000'000;
                    emulated.AppendRaw(1'000'000 + file, directories_[file % kDirectories], of, 0x20, reason,
                                       kSomeTime);
                };
                append(renamed ? u"Draft of " + name : name, renamed ? 0x1000 : 0x100);
                append(name, renamed ? 0x2000 : 0x102);
                append(name, renamed ? 0x80002000 : 0x80000102);
            }
        });
    }

    std::vector<std::uint64_t> directories_;
};

TEST_F(BatchMemory, IsAtMostTwiceWhatTheRecordsTakeInTheJournal) {
    const auto cycle = StartCycle(2'000);
    const std::int64_t begin = NextUsn();
    FillJournal();
    const auto journalBytes = static_cast<std::size_t>(NextUsn() - begin);
    ForgettingLog forgetting;
    const std::size_t before = testing::BytesInUse();
    testing::ResetPeak();
    ASSERT_EQ(cycle->GetAndHandleUSNRecord(), 1);
    const std::size_t used = testing::PeakOfBytesInUse() - before;

    RecordProperty("bytesPerRecord", std::to_string(used / kRecords));
    RecordProperty("journalBytesPerRecord", std::to_string(journalBytes / kRecords));
    EXPECT_LE(used, 2 * journalBytes) << used / kRecords << " bytes a record, " << journalBytes / kRecords
                                      << " in the journal";
    EXPECT_EQ(forgetting.errors, 0);
    EXPECT_GT(forgetting.dumpedBytes, 4 * journalBytes) << "every list was dumped";
    EXPECT_LE(forgetting.longestEntry, Drive::kLargestSyncLogEntry);
    EXPECT_EQ(Rows("SELECT count(*) FROM fileChangeRecord;").at(0), std::to_string(kRecords / 3));
}

}  // namespace
}  // namespace tavi::records
