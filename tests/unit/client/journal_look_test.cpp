#include "machine/journal_look.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/machine.h"

namespace tavi::client {
namespace {

using State = JournalLook::State;

TEST(JournalLook, SeesTheJournalAndTheAgeOfItsFirstRecord) {
    sim::Machine machine;
    platform::Platform platform = machine.platform();
    machine.volume().MakeDirectory(u"C:\\Sync");
    machine.Sleep(7'200'000);
    const JournalLook look = LookAtJournal(platform, u"C:\\Sync");
    ASSERT_EQ(look.state, State::kSeen);
    EXPECT_EQ(look.data.maximumSize, sim::EmulatedJournal::kDefaultMaximumSize);
    machine.volume().WithJournal([&](sim::EmulatedJournal& journal) {
        EXPECT_EQ(look.data.firstUsn, journal.firstUsn());
        EXPECT_EQ(look.data.nextUsn, journal.nextUsn());
    });
    ASSERT_TRUE(look.age.has_value());
    EXPECT_NEAR(static_cast<double>(*look.age), 7'200'000.0 * 10'000, 1'000.0 * 10'000);
    EXPECT_THAT(machine.leaks(), testing::IsEmpty());
}

TEST(JournalLook, SaysWhyItSawNone) {
    struct Row {
        const char* call;
        std::uint32_t code;
        State state;
    };
    const Row rows[] = {{"Files.CreateFileW", 5, State::kDenied},
                        {"Files.CreateFileW", 2, State::kNotOpened},
                        {"Volumes.DeviceIoControl", 1179, State::kNoJournal},
                        {"Volumes.DeviceIoControl", 1178, State::kBeingDeleted},
                        {"Volumes.DeviceIoControl", 50, State::kNotQueried}};
    for (const Row& row : rows) {
        sim::Machine machine;
        platform::Platform platform = machine.platform();
        machine.faults().Fail({.call = row.call, .code = row.code});
        const JournalLook look = LookAtJournal(platform, u"C:\\Sync");
        EXPECT_EQ(look.state, row.state) << row.code;
        EXPECT_EQ(look.error, row.code);
        EXPECT_THAT(machine.leaks(), testing::IsEmpty());
    }
}

TEST(JournalLook, AnUnreadableFirstRecordHasNoAge) {
    sim::Machine machine;
    platform::Platform platform = machine.platform();
    machine.volume().MakeDirectory(u"C:\\Sync");
    machine.faults().Fail({.call = "Volumes.DeviceIoControl", .nth = 2, .code = 1181});
    const JournalLook look = LookAtJournal(platform, u"C:\\Sync");
    EXPECT_EQ(look.state, State::kSeen);
    EXPECT_FALSE(look.age.has_value());
}

TEST(JournalLook, NeedsADrive) {
    sim::Machine machine;
    platform::Platform platform = machine.platform();
    EXPECT_EQ(LookAtJournal(platform, u"\\\\server\\share").state, State::kNoDrive);
    EXPECT_EQ(DriveOf(u"C:\\Sync"), u"C:");
    EXPECT_EQ(DriveOf(u"\\\\?\\D:\\x"), u"D:");
    EXPECT_EQ(DriveOf(u":x"), u"");
}

}  // namespace
}  // namespace tavi::client
