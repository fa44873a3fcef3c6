#include "journal/volume_journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <new>

#include "unit/journal/journal_rig.h"

namespace tavi::journal {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class VolumeJournalTest : public ::testing::Test, protected testing::JournalRig {};

TEST_F(VolumeJournalTest, ConstructionMakesNoCall) {
    const std::uint64_t before = machine.faults().calls();
    const auto journal = MakeClosed();
    EXPECT_EQ(machine.faults().calls(), before);
}

TEST_F(VolumeJournalTest, ListenPathWithoutDriveColonYieldsNoHandleAndNoLog) {
    for (const char16_t* path : {u"\\Sync", u"Sync", u"", u":\\Sync"}) {
        EXPECT_FALSE(MakeClosed(path)->CreateVolumeHandle());
    }
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_THAT(files.openings, IsEmpty());
}

TEST_F(VolumeJournalTest, VolumeIsOpenedForReadingAndShared) {
    const auto journal = MakeClosed(u"C:\\Sync");
    EXPECT_TRUE(journal->CreateVolumeHandle());
    ASSERT_EQ(files.openings.size(), 1U);
    EXPECT_EQ(files.openings[0].path, u"\\\\.\\C:");
    EXPECT_EQ(files.openings[0].access, 0x80000000U);
    EXPECT_EQ(files.openings[0].shareMode, 3U);
    EXPECT_EQ(files.openings[0].disposition, 3U);
    EXPECT_EQ(files.openings[0].flags, 0U);
}

TEST_F(VolumeJournalTest, DriveIsTheCharacterBeforeTheFirstColon) {
    const auto journal = MakeClosed(u"\\\\?\\C:\\Sync:x");
    EXPECT_TRUE(journal->CreateVolumeHandle());
    EXPECT_EQ(files.openings.at(0).path, u"\\\\.\\C:");
}

TEST_F(VolumeJournalTest, UnformattableDriveIsLogged) {
    EXPECT_FALSE(MakeClosed(u"\xD800:\\Sync")->CreateVolumeHandle());
    EXPECT_THAT(Errors(), ElementsAre("File change record/Create volume/String format failed."));
    EXPECT_THAT(files.openings, IsEmpty());
}

TEST_F(VolumeJournalTest, FailedOpeningIsLoggedWithItsCode) {
    machine.faults().Fail({.call = "Files.CreateFileW", .code = 5});
    const auto journal = MakeClosed();
    EXPECT_FALSE(journal->CreateVolumeHandle());
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/CreateVolumeHandle/"
                                      "Failed to create the volume handle, error code is 5"));
}

TEST_F(VolumeJournalTest, OpeningAgainClosesTheFirstHandle) {
    const auto journal = MakeClosed();
    EXPECT_TRUE(journal->CreateVolumeHandle());
    machine.faults().ClearHistory();
    EXPECT_TRUE(journal->CreateVolumeHandle());
    EXPECT_THAT(machine.faults().history(), ElementsAre("Files.CloseHandle", "Files.CreateFileW"));
    EXPECT_EQ(machine.OpenHandles(), 1U);
    machine.faults().Fail({.call = "Files.CreateFileW"});
    EXPECT_FALSE(journal->CreateVolumeHandle());
    EXPECT_EQ(machine.OpenHandles(), 0U);
}

TEST_F(VolumeJournalTest, JournalIsCreatedWithTheSystemsSizes) {
    const auto journal = MakeClosed();
    ASSERT_TRUE(journal->CreateVolumeHandle());
    EXPECT_EQ(journal->CreateChangeJournal(), 1);
    ASSERT_EQ(files.controls.size(), 1U);
    EXPECT_EQ(files.controls[0].code, 0x900E7U);
    EXPECT_EQ(files.controls[0].input, std::vector<std::byte>(16));
    EXPECT_EQ(files.controls[0].outputBytes, 0U);
    EXPECT_EQ(machine.NowMilliseconds(), 0);
}

TEST_F(VolumeJournalTest, CreationIsTriedSixTimesASecondApart) {
    const auto journal = MakeClosed();
    ASSERT_TRUE(journal->CreateVolumeHandle());
    files.refusals[platform::kFsctlCreateUsnJournal] = {5, 1178};
    EXPECT_EQ(journal->CreateChangeJournal(), 1);
    EXPECT_EQ(files.CountControls(platform::kFsctlCreateUsnJournal), 6U);
    EXPECT_EQ(machine.NowMilliseconds(), 5000);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(VolumeJournalTest, CreationThatFailsSixTimesIsLoggedWithTheLastCode) {
    const auto journal = MakeClosed();
    ASSERT_TRUE(journal->CreateVolumeHandle());
    files.refusals[platform::kFsctlCreateUsnJournal] = {100, 112};
    EXPECT_EQ(journal->CreateChangeJournal(), 0);
    EXPECT_EQ(files.CountControls(platform::kFsctlCreateUsnJournal), 6U);
    EXPECT_EQ(machine.NowMilliseconds(), 5000);
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/CreateChangeJournal/"
                                      "Failed to create the changeJournal, error code is 112"));
}

TEST_F(VolumeJournalTest, CreationWaitsForADeletionInProgress) {
    volume().WithJournal([](sim::EmulatedJournal& emulated) {
        emulated.behaviour().deletionTakesCalls = 3;
        emulated.Delete();
    });
    const auto journal = MakeClosed();
    ASSERT_TRUE(journal->CreateVolumeHandle());
    EXPECT_EQ(journal->CreateChangeJournal(), 1);
    EXPECT_EQ(files.CountControls(platform::kFsctlCreateUsnJournal), 4U);
    EXPECT_EQ(machine.NowMilliseconds(), 3000);
    EXPECT_EQ(journal->QueryChangeJournal(), 1);
}

TEST_F(VolumeJournalTest, QueryFillsTheSevenFields) {
    MakeFile(u"C:\\Sync\\a.txt");
    const auto journal = MakeClosed();
    ASSERT_TRUE(journal->CreateVolumeHandle());
    EXPECT_EQ(journal->QueryChangeJournal(), 1);
    ASSERT_EQ(files.controls.size(), 1U);
    EXPECT_EQ(files.controls[0].code, 0x900F4U);
    EXPECT_THAT(files.controls[0].input, IsEmpty());
    EXPECT_EQ(files.controls[0].outputBytes, 56U);
    volume().WithJournal([&](sim::EmulatedJournal& emulated) {
        EXPECT_EQ(journal->journalData().usnJournalId, emulated.journalId());
        EXPECT_EQ(journal->journalData().firstUsn, emulated.firstUsn());
        EXPECT_EQ(journal->journalData().nextUsn, emulated.nextUsn());
        EXPECT_EQ(journal->journalData().maximumSize, emulated.maximumSize());
        EXPECT_EQ(journal->journalData().allocationDelta, emulated.allocationDelta());
    });
}

TEST_F(VolumeJournalTest, FailedQueryIsLoggedAtOnceAndLeavesZeros) {
    const auto journal = Make();
    files.refusals[platform::kFsctlQueryUsnJournal] = {1, 1179};
    EXPECT_EQ(journal->QueryChangeJournal(), 0);
    EXPECT_EQ(journal->journalData(), platform::UsnJournalData());
    EXPECT_EQ(machine.NowMilliseconds(), 0);
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/QueryChangeJournal/"
                                      "Failed to query the changeJournal, error code is 1179"));
}

TEST_F(VolumeJournalTest, DeletionNamesTheJournalAndDoesNotWait) {
    const auto journal = Make();
    EXPECT_TRUE(journal->DeleteChangeJournal());
    const auto request = files.LastRequest<platform::DeleteUsnJournalData>(platform::kFsctlDeleteUsnJournal);
    EXPECT_EQ(files.controls.back().code, 0x900F8U);
    EXPECT_EQ(request.usnJournalId, journal->journalData().usnJournalId);
    EXPECT_EQ(request.deleteFlags, 1U);
    EXPECT_TRUE(log.HasTrace("The changeJournal is deleted successfully"));
    EXPECT_FALSE(volume().WithJournal([](sim::EmulatedJournal& emulated) { return emulated.active(); }));
}

TEST_F(VolumeJournalTest, DeletionIsTriedSixTimesASecondApart) {
    const auto journal = Make();
    files.refusals[platform::kFsctlDeleteUsnJournal] = {5, 5};
    EXPECT_TRUE(journal->DeleteChangeJournal());
    EXPECT_EQ(files.CountControls(platform::kFsctlDeleteUsnJournal), 6U);
    EXPECT_EQ(machine.NowMilliseconds(), 5000);
    EXPECT_THAT(log.Texts(sim::LogKind::kTrace), ElementsAre("The changeJournal is deleted successfully"));
}

TEST_F(VolumeJournalTest, DeletionThatFailsSixTimesIsTracedNotLogged) {
    const auto journal = Make();
    files.refusals[platform::kFsctlDeleteUsnJournal] = {100, 5};
    EXPECT_FALSE(journal->DeleteChangeJournal());
    EXPECT_EQ(files.CountControls(platform::kFsctlDeleteUsnJournal), 6U);
    EXPECT_THAT(log.Texts(sim::LogKind::kTrace), ElementsAre("Failed to delete the changeJournal"));
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(VolumeJournalTest, ReadBufferThatCannotBeHadFailsTheAllocationAndTheRead) {
    const auto journal = MakeClosed();
    ASSERT_TRUE(journal->CreateVolumeHandle());
    machine.faults().Fail({.call = "Heap.HeapAlloc"});
    EXPECT_FALSE(journal->AllocateReadBuffer());
    const VolumeJournal::RawRead read = journal->FsctlReadUsnJournal(4711);
    EXPECT_FALSE(read.succeeded);
    EXPECT_EQ(read.bytesReturned, 0U);
    EXPECT_EQ(read.nextUsn, 4711);
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
}

TEST_F(VolumeJournalTest, NewReadBufferReplacesTheOldOne) {
    const auto journal = MakeClosed();
    EXPECT_TRUE(journal->AllocateReadBuffer());
    EXPECT_TRUE(journal->AllocateReadBuffer());
    EXPECT_EQ(machine.leaks().size(), 1U);
}

TEST_F(VolumeJournalTest, ReadAsksForEverythingWithoutWaiting) {
    const auto journal = Make();
    MakeFile(u"C:\\Sync\\a.txt");
    const VolumeJournal::RawRead read = journal->FsctlReadUsnJournal(journal->startUsn());
    EXPECT_TRUE(read.succeeded);
    EXPECT_GT(read.bytesReturned, 8U);
    const auto request = files.LastRequest<platform::ReadUsnJournalData>(0x900BB);
    EXPECT_EQ(request.startUsn, journal->startUsn());
    EXPECT_EQ(request.reasonMask, 0xFFFFFFFFU);
    EXPECT_EQ(request.returnOnlyOnClose, 0U);
    EXPECT_EQ(request.timeout, 0U);
    EXPECT_EQ(request.bytesToWaitFor, 0U);
    EXPECT_EQ(request.usnJournalId, journal->journalData().usnJournalId);
    EXPECT_EQ(files.controls.back().outputBytes, 1'048'576U);
}

TEST_F(VolumeJournalTest, ReadBufferIsZeroedBeforeEveryRead) {
    const auto journal = Make();
    MakeFile(u"C:\\Sync\\a.txt");
    const VolumeJournal::RawRead first = journal->FsctlReadUsnJournal(journal->startUsn());
    ASSERT_TRUE(first.succeeded);
    std::size_t notZero = 1;
    files.beforeControl = nullptr;
    files.afterRead = [&](std::span<std::byte> output, std::uint32_t& bytes) {
        notZero = 0;
        for (std::size_t at = bytes; at < output.size(); ++at) {
            notZero += output[at] != std::byte{0} ? 1U : 0U;
        }
    };
    const VolumeJournal::RawRead second = journal->FsctlReadUsnJournal(first.nextUsn);
    ASSERT_TRUE(second.succeeded);
    EXPECT_EQ(second.bytesReturned, 8U);
    EXPECT_EQ(notZero, 0U);
}

TEST_F(VolumeJournalTest, Error21DeletesTheJournalAndSetsTheJournalLostFlag) {
    const auto journal = Make();
    EXPECT_FALSE(journal->journalLost());
    files.refusals[platform::kFsctlReadUsnJournal] = {1, 21};
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_TRUE(journal->journalLost());
    EXPECT_FALSE(journal->positionLost());
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/FsctlReadUsnJournal/"
                                      "Failed to read the USN journal, error code is 21"));
    EXPECT_TRUE(log.HasTrace("The changeJournal is deleted successfully"));
}

TEST_F(VolumeJournalTest, Error21SetsTheJournalLostFlagThoughTheDeletionFailsSixTimes) {
    const auto journal = Make();
    files.refusals[platform::kFsctlReadUsnJournal] = {1, 21};
    files.refusals[platform::kFsctlDeleteUsnJournal] = {100, 5};
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(files.CountControls(platform::kFsctlDeleteUsnJournal), 6U);
    EXPECT_TRUE(journal->journalLost());
    EXPECT_FALSE(journal->positionLost());
    EXPECT_THAT(log.Texts(sim::LogKind::kTrace), ElementsAre("Failed to delete the changeJournal"));
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/FsctlReadUsnJournal/"
                                      "Failed to read the USN journal, error code is 21"));
}

TEST_F(VolumeJournalTest, Error87MovesToTheJournalsNextUsn) {
    const auto journal = Make();
    MakeFile(u"C:\\Sync\\a.txt");
    const std::int64_t next = volume().WithJournal([](sim::EmulatedJournal& emulated) { return emulated.nextUsn(); });
    files.refusals[platform::kFsctlReadUsnJournal] = {1, 87};
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_EQ(journal->startUsn(), next);
    EXPECT_FALSE(journal->positionLost());
    EXPECT_FALSE(journal->journalLost());
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/FsctlReadUsnJournal/"
                                      "Failed to read the USN journal, error code is 87"));
}

TEST_F(VolumeJournalTest, Error87LeavesALineInTheReadErrorFile) {
    const auto journal = Make();
    machine.files().WriteText(log.GetLogPath() + u"\\trace.log", "");
    files.refusals[platform::kFsctlReadUsnJournal] = {2, 87};
    journal->ReadUsnRecords();
    journal->ReadUsnRecords();
    const auto text = machine.files().ReadText(log.GetLogPath() + u"\\read_usn_journal_err");
    ASSERT_TRUE(text.has_value());
    std::string shape = *text;
    std::replace_if(
        shape.begin(), shape.end() - 1, [](char c) { return c >= '0' && c <= '9'; }, 'd');
    EXPECT_EQ(shape, "dddd-dd-dd dd:dd:dd:ddd #d\ndddd-dd-dd dd:dd:dd:ddd #d\n");
    EXPECT_TRUE(text->ends_with(" #1\n")) << *text;
}

TEST_F(VolumeJournalTest, Error87LeavesItsLineBeforeTheJournalIsQueried) {
    const auto journal = Make();
    const std::u16string path = log.GetLogPath() + u"\\read_usn_journal_err";
    machine.files().WriteText(path, "");
    files.refusals[platform::kFsctlReadUsnJournal] = {1, 87};
    std::vector<std::string> textsAtQueries;
    files.beforeControl = [&](std::uint32_t code) {
        if (code == platform::kFsctlQueryUsnJournal) {
            textsAtQueries.push_back(machine.files().ReadText(path).value_or("no file"));
        }
    };
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_THAT(textsAtQueries, ElementsAre(::testing::EndsWith(" #1\n")));
}

TEST_F(VolumeJournalTest, Error87WithAFailedQuerySetsThePositionLostFlag) {
    const auto journal = Make();
    const std::int64_t start = journal->startUsn();
    files.refusals[platform::kFsctlReadUsnJournal] = {1, 87};
    files.refusals[platform::kFsctlQueryUsnJournal] = {1, 1178};
    EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
    EXPECT_TRUE(journal->positionLost());
    EXPECT_EQ(journal->startUsn(), start);
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/FsctlReadUsnJournal/"
                                      "Failed to read the USN journal, error code is 87",
                                      "FileChangeRecord/QueryChangeJournal/"
                                      "Failed to query the changeJournal, error code is 1178",
                                      "FileChangeRecord/FsctlReadUsnJournal/"
                                      "Failed to query the changeJournal, error code is 1178"));
}

TEST_F(VolumeJournalTest, AnyOtherErrorChangesNothing) {
    for (const std::uint32_t code : {5U, 1178U, 1179U, 1181U}) {
        log.Clear();
        const auto journal = Make();
        const std::int64_t start = journal->startUsn();
        files.controls.clear();
        files.refusals[platform::kFsctlReadUsnJournal] = {1, code};
        EXPECT_THAT(journal->ReadUsnRecords(), IsEmpty());
        EXPECT_EQ(journal->startUsn(), start);
        EXPECT_FALSE(journal->journalLost());
        EXPECT_FALSE(journal->positionLost());
        EXPECT_EQ(files.controls.size(), 1U);
        EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/FsctlReadUsnJournal/"
                                          "Failed to read the USN journal, error code is " +
                                          std::to_string(code)));
    }
}

TEST_F(VolumeJournalTest, EndedRecordClosesVolumeAndBuffer) {
    auto journal = Make();
    EXPECT_EQ(machine.leaks().size(), 2U);
    journal.reset();
    EXPECT_THAT(machine.leaks(), IsEmpty());
}

TEST_F(VolumeJournalTest, AllTrailingBackslashesAreRemoved) {
    const auto journal = MakeClosed(u"C:\\Sync\\\\\\");
    journal->RemoveTrailingBackslashes();
    EXPECT_EQ(journal->listenPath(), u"C:\\Sync");
}

// Has no memory for an opening.
class OpeningWithoutMemory final : public test::ForwardingFiles {
public:
    using ForwardingFiles::ForwardingFiles;
    platform::Handle CreateFileW(const std::u16string&, std::uint32_t, std::uint32_t, std::uint32_t,
                                 std::uint32_t) override {
        throw std::bad_alloc();
    }
};

TEST_F(VolumeJournalTest, ExceptionWhileTheVolumeIsOpenedIsLoggedAndLeavesItClosed) {
    OpeningWithoutMemory opening(files);
    platform::Platform without = test::PlatformWith(platform, opening);
    VolumeJournal journal(without, u"C:\\Sync");
    EXPECT_FALSE(journal.CreateVolumeHandle());
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/CreateVolumeHandle/"
                                      "Failed to create the volume handle: exception std::bad_alloc"));
    EXPECT_EQ(machine.OpenHandles(), 0U);
}

TEST_F(VolumeJournalTest, EveryOperationOnAClosedVolumeFailsAndNamesTheSystemsCode) {
    const auto journal = MakeClosed();
    ASSERT_TRUE(journal->AllocateReadBuffer());
    EXPECT_EQ(journal->QueryChangeJournal(), 0);
    EXPECT_EQ(journal->CreateChangeJournal(), 0);
    EXPECT_FALSE(journal->DeleteChangeJournal());
    const VolumeJournal::RawRead read = journal->FsctlReadUsnJournal(4711);
    EXPECT_FALSE(read.succeeded);
    EXPECT_EQ(read.nextUsn, 4711);
    EXPECT_THAT(Errors(), ElementsAre("FileChangeRecord/QueryChangeJournal/"
                                      "Failed to query the changeJournal, error code is 6",
                                      "FileChangeRecord/CreateChangeJournal/"
                                      "Failed to create the changeJournal, error code is 6",
                                      "FileChangeRecord/FsctlReadUsnJournal/"
                                      "Failed to read the USN journal, error code is 6"));
}

TEST_F(VolumeJournalTest, ReadReturnsTheNextPositionAndKeepsNone) {
    const auto journal = Make();
    const platform::Usn start = journal->startUsn();
    MakeFile(u"C:\\Sync\\a.txt");
    VolumeJournal& bare = *journal;
    const JournalRead first = bare.ReadUsnRecords(start, nullptr);
    EXPECT_GT(first.nextUsn, start);
    const JournalRead again = bare.ReadUsnRecords(start, nullptr);
    EXPECT_EQ(again.nextUsn, first.nextUsn);
    EXPECT_EQ(again.records, first.records);
}

TEST_F(VolumeJournalTest, LostFlagsStaySetWhenLaterReadsSucceed) {
    const auto journal = Make();
    files.refusals[platform::kFsctlReadUsnJournal] = {1, 87};
    files.refusals[platform::kFsctlQueryUsnJournal] = {1, 1178};
    journal->ReadUsnRecords();
    ASSERT_EQ(journal->QueryChangeJournal(), 1);
    MakeFile(u"C:\\Sync\\a.txt");
    EXPECT_FALSE(journal->ReadUsnRecords().empty());
    EXPECT_TRUE(journal->positionLost());
}

}  // namespace
}  // namespace tavi::journal
