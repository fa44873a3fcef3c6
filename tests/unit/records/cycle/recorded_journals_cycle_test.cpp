// Journals recorded on real machines, through the whole cycle into a database: without a break, and cut at random
// places by the death of the process. Both end with the same rows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "unit/journal/recorded_journal.h"
#include "unit/records/cycle/cycle_rig.h"

namespace tavi::records {
namespace {

using journal::testing::RecordedFile;
using journal::testing::RecordedStream;
using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::Not;

struct Directory {
    std::uint64_t frn;
    const char16_t* path;
};

// The directories that the journals' records lie in, as they are when the recording ends. The root has its own number
// on every volume.
const Directory kDirectories[] = {
    {281474976710696, u"C:\\test_dir"},
    {281474976710697, u"C:\\$RECYCLE.BIN"},
    {281474976710698, u"C:\\$RECYCLE.BIN\\S-1-5-21-2341207468-2645333676-3461800803-1001"},
    {281474976710715, u"C:\\test_dir - Copy"},
    {281474976710730, u"C:\\test_dir - Copy - Copy"},
    {281474976710745, u"C:\\test_dir - Copy - Copy - Copy"}};
constexpr std::uint32_t kSplitIntervalMs = 2000;

class RecordedCycles : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(RecordedFile(GetParam() + ".J"))) {
            GTEST_SKIP() << "no recorded journal " << RecordedFile(GetParam() + ".J");
        }
    }

    static void Load(testing::CycleRig& rig, const std::string& name) {
        for (const Directory& directory : kDirectories) {
            rig.volume().UseNextFrn(directory.frn);
            ASSERT_EQ(rig.volume().MakeDirectory(directory.path), directory.frn);
        }
        const std::vector<std::byte> stream = RecordedStream(name);
        ASSERT_TRUE(
            rig.volume().WithJournal([&](sim::EmulatedJournal& emulated) { return emulated.LoadRecorded(stream); }));
        rig.SetPosition(0);
    }

    // Cycles until the journal's end is stored. False when the process died before that.
    static bool RunToTheEnd(testing::CycleRig& rig) {
        bool finished = false;
        rig.machine.RunProcess([&] {
            auto cycle = rig.MakeCycle(kSplitIntervalMs, u"C:\\");
            if (cycle->Init() != 1) {
                return;
            }
            while (cycle->GetAndHandleUSNRecord() == 1 && !rig.machine.dead()) {
                if (cycle->startUsn() == rig.NextUsn()) {
                    finished = true;
                    return;
                }
            }
        });
        return finished && !rig.machine.dead();
    }
};

TEST_P(RecordedCycles, RestartsAtRandomPlacesGiveTheSameRows) {
    testing::CycleRig whole;
    Load(whole, GetParam());
    ASSERT_TRUE(RunToTheEnd(whole));
    const std::vector<std::string> expected = whole.Everything();
    ASSERT_THAT(whole.Changes(), Not(IsEmpty()));
    EXPECT_EQ(whole.Position(), whole.NextUsn());
    const std::uint64_t calls = whole.machine.faults().calls();

    const std::uint32_t seed = 20250301;
    std::mt19937 random(seed);
    for (int round = 0; round < 5; ++round) {
        testing::CycleRig cut;
        Load(cut, GetParam());
        int deaths = 0;
        cut.machine.faults().KillAtCall(1 + random() % calls);
        while (!RunToTheEnd(cut)) {
            ++deaths;
            ASSERT_LT(deaths, 100) << "seed " << seed;
            cut.machine.Restart();
            if (deaths < 8) {
                cut.machine.faults().KillAtCall(1 + random() % calls);
            }
        }
        EXPECT_EQ(cut.Everything(), expected) << "seed " << seed << " round " << round << " deaths " << deaths;
    }
}

TEST_P(RecordedCycles, EveryFileThatWasLeftIsReported) {
    testing::CycleRig rig;
    Load(rig, GetParam());
    ASSERT_TRUE(RunToTheEnd(rig));
    if (GetParam() == "dfir") {
        for (const char* directory : {"test_dir - Copy", "test_dir - Copy - Copy", "test_dir - Copy - Copy - Copy"}) {
            EXPECT_THAT(rig.Rows("SELECT relativePath FROM fileChangeRecord WHERE reason = 1;"), Contains(directory));
        }
    }
    EXPECT_THAT(rig.Errors(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Files, RecordedCycles, ::testing::Values("dfir", "plaso"),
                         [](const auto& instance) { return instance.param; });

}  // namespace
}  // namespace tavi::records
