// Every cause that the doctor knows, each brought about on a machine on which otherwise nothing is wrong.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/client/client_rig.h"

namespace tavi::client {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

std::vector<ScriptedCall> Replying(std::uint8_t status) {
    return {{"Open"}, {"Write"}, {"Read", 0, ReplyBytes(status)}};
}

// A machine on which nothing is wrong.
class DoctorTest : public testing::Test {
protected:
    explicit DoctorTest(bool databaseCreated = true) : rig(databaseCreated) {
        rig.machine().volume().MakeFile(u"C:\\Sync\\b.txt");
        if (databaseCreated) {
            rig.StoreUser(rig.Journal().nextUsn);
        }
    }
    RunResult Examine(std::vector<ScriptedCall> pipe = Replying(2)) {
        return rig.Run(rig.WithDatabase({"doctor", "--folder", "C:\\Sync", "--timeout", "5"}), std::move(pipe));
    }
    // The one problem and its advice.
    void ExpectProblem(const RunResult& run, const std::string& text, const std::string& advice) {
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_THAT(run.out, HasSubstr("PROBLEM " + text));
        EXPECT_THAT(run.out, HasSubstr("        -> " + advice));
        EXPECT_THAT(run.out, testing::EndsWith("\n1 problem.\n"));
        EXPECT_THAT(rig.machine().leaks(), testing::IsEmpty());
    }

    ClientRig rig;
};

class DoctorWithoutDatabase : public DoctorTest {
protected:
    DoctorWithoutDatabase() : DoctorTest(false) {}
};

TEST_F(DoctorTest, FindsNothingWrongWhereNothingIs) {
    const RunResult run = Examine();
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, AllOf(HasSubstr("The service is installed: C:\\Program Files\\Tavi\\TaviLumbraService.exe, "
                                         "version 3.0.0.300.\n"),
                               HasSubstr("The service is running.\n"),
                               HasSubstr("a listening task is running and its change journal can be used.\n"),
                               HasSubstr("The folder is there, on NTFS.\n"),
                               HasSubstr("The change journal of C: is there: 32 MiB"),
                               HasSubstr("The database can be read: 1 change, "),
                               HasSubstr("The stored position is 0 bytes behind the journal's end"),
                               testing::EndsWith("\nNothing is wrong.\n")));
    EXPECT_THAT(run.out, Not(HasSubstr("PROBLEM")));
    EXPECT_EQ(rig.installed.askedFor, u"C:\\Program Files\\Tavi\\TaviLumbraService.exe");
}

TEST_F(DoctorTest, ServiceNotInstalled) {
    rig.machine().faults().Fail({.call = "Services.OpenServiceW", .code = 1060});
    ExpectProblem(Examine({}), "The service is not installed (error 1060).",
                  "From an administrator's prompt: TaviLumbraService.exe /install");
}

TEST_F(DoctorTest, ServiceNotStarted) {
    rig.machine().services().Registered(u"TaviLumbraService")->status.currentState = 1;
    ExpectProblem(Examine({}), "The service is not started (state 1, exit code 0).",
                  "Start it from an administrator's");
}

TEST_F(DoctorTest, ServiceStartingOrStopping) {
    rig.machine().services().Registered(u"TaviLumbraService")->status.currentState = 2;
    ExpectProblem(Examine({}), "The service is starting.", "Wait a moment");
    rig.machine().services().Registered(u"TaviLumbraService")->status.currentState = 3;
    ExpectProblem(Examine({}), "The service is stopping.", "Wait a moment");
}

TEST_F(DoctorTest, ExecutableMissing) {
    rig.installed.version.clear();
    ExpectProblem(Examine(), "The service is installed, but its executable ", "Put TaviLumbraService.exe there again");
}

TEST_F(DoctorTest, PipeRefused) {
    ExpectProblem(Examine({{"Open", 5}}), "This user may not open the service's pipe (error 5).",
                  "The pipe is for users logged on at this machine");
    ExpectProblem(Examine({{"Open"}, {"Write"}, {"Read", 109}, {"Open"}, {"Write"}, {"Read", 109}}),
                  "The service refuses this program: it closed the pipe without a reply (error 109).",
                  "It serves only programs with its publisher's signature");
}

TEST_F(DoctorTest, PipeRefusedSaysWhatIsWrongWithTheSignature) {
    struct Row {
        std::uint32_t result;
        const char* advice;
    };
    constexpr char16_t kProgram[] = u"C:\\Program Files\\Client\\TaviListenClient.exe";
    const std::string serves = "It serves only programs with its publisher's signature. This one";
    const std::vector<Row> rows = {
        {0x800B0100, " has none: install the signed one"},
        {0x800B0109, "'s leads to a root certificate that this machine does not know"},
        {0x800B010A, "'s leads to a root certificate that this machine does not know"},
        {0x80096010, "'s does not verify: install the program again"},
        {0, "'s verifies, so it is another publisher's, or the program is read-only"},
    };
    rig.machine().modules().SetExecutablePath(kProgram);
    for (const Row& row : rows) {
        rig.machine().trust().SetSignature(kProgram, static_cast<std::int32_t>(row.result), u"Somebody");
        ExpectProblem(Examine({{"Open"}, {"Write"}, {"Read", 109}, {"Open"}, {"Write"}, {"Read", 109}}),
                      "The service refuses this program", serves + row.advice);
    }
}

TEST_F(DoctorTest, PipeMissingSilentOrBroken) {
    ExpectProblem(Examine({{"Open", 2}}), "The service runs, but its pipe is not there (error 2).",
                  "If it has just been started");
    ExpectProblem(Examine({{"Open"}, {"Write"}, {"Read", 258}}), "The service did not answer within 5 seconds.",
                  "It serves one client at a time");
    ExpectProblem(Examine({{"Open", 1450}}), "The conversation with the service broke down (error 1450).", "Ask again");
    ExpectProblem(Examine(Replying(6)), "The service sent reply 6, which does not answer.", "Install client");
}

TEST_F(DoctorTest, TaskMissingIsNoProblemAndAnUnusableJournalIsOne) {
    const RunResult run = Examine(Replying(0));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("note    The service answers; no listening task is running.\n"));
    ExpectProblem(Examine(Replying(1)), "The service answers; its task's change journal cannot be used.",
                  "Send the start request again");
}

TEST_F(DoctorTest, FolderNotOnNtfs) {
    rig.machine().files().SetFileSystem(u'C', u"FAT32");
    ExpectProblem(Examine(), "The folder is not on NTFS but on FAT32: start requests answer 5.",
                  "Move the folder to an NTFS volume");
}

TEST_F(DoctorTest, FolderMissingOrVolumeGone) {
    rig.machine().volume().RemoveTree(u"C:\\Sync");
    EXPECT_THAT(Examine().out, HasSubstr("note    The folder does not exist; its volume is NTFS.\n"));
    rig.machine().faults().Fail({.call = "Volumes.GetVolumeInformationW", .code = 21});
    ExpectProblem(Examine(), "The volume C: cannot be asked for its file system (error 21).", "Check that the drive");
    ExpectProblem(rig.Run({"doctor", "--folder", "Sync"}, Replying(2)), "The path Sync does not begin with a drive.",
                  "Listen to a folder on a local NTFS drive");
}

TEST_F(DoctorTest, JournalMissing) {
    rig.machine().volume().WithJournal([](sim::EmulatedJournal& journal) { journal.Delete(); });
    ExpectProblem(Examine(), "The volume C: has no change journal (error 1179).",
                  "The next start request creates one and answers 1");
}

TEST_F(DoctorTest, JournalBeingDeletedOrNotQueried) {
    rig.machine().faults().Fail({.call = "Volumes.DeviceIoControl", .code = 1178});
    ExpectProblem(Examine(), "The change journal of C: is being deleted (error 1178).", "Wait until it is gone");
    rig.machine().faults().Fail({.call = "Volumes.DeviceIoControl", .code = 50});
    ExpectProblem(Examine(), "The change journal of C: cannot be queried (error 50).", "Check the volume");
}

TEST_F(DoctorTest, JournalOutOfReachIsNoProblem) {
    rig.machine().faults().Fail({.call = "Files.CreateFileW", .code = 5});
    const RunResult run = Examine();
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("note    The change journal of C: can be looked at only with an administrator's"));
}

TEST_F(DoctorTest, JournalThatHoldsFewHours) {
    rig.machine().volume().WithJournal([](sim::EmulatedJournal& journal) {
        journal.Delete();
        journal.Create(1 << 20, 1 << 16);
    });
    for (int i = 0; i < 5000; ++i) {
        rig.machine().volume().MakeFile(u"C:\\Sync\\f" + std::u16string(1, static_cast<char16_t>(0x4E00 + i)));
    }
    rig.machine().Sleep(3'600'000);
    rig.database.Run("UPDATE user SET usnLocation = " + std::to_string(rig.Journal().nextUsn));
    const RunResult run = Examine();
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("note    The change journal of C: is there: 1 MiB, holds about "));
    EXPECT_THAT(run.out, HasSubstr("A larger journal holds more: fsutil usn createjournal "));
}

TEST_F(DoctorTest, PositionExpired) {
    rig.machine().volume().WithJournal([](sim::EmulatedJournal& journal) {
        for (int i = 0; i < 1000; ++i) {
            journal.AppendRaw(99, 5, u"x", 0x20, 0x100, 1);
        }
        journal.TrimTo(journal.nextUsn());
    });
    ExpectProblem(Examine(), "The stored position is expired: the journal begins ",
                  "What changed in between is lost to the service. The next start request answers 2");
}

TEST_F(DoctorTest, PositionOfAnotherJournal) {
    rig.database.Run("UPDATE user SET usnLocation = usnLocation + 100000000");
    ExpectProblem(Examine(), "The stored position is not of this journal", "What changed in between is lost");
}

TEST_F(DoctorTest, DatabaseLocked) {
    rig.database.Lock();
    ExpectProblem(Examine(), "The database " + rig.database.path() + " is locked by another program.",
                  "The service cannot store changes either");
}

TEST_F(DoctorWithoutDatabase, DatabaseMissing) {
    ExpectProblem(Examine(), "There is no database " + rig.database.path() + ": no start request has been made",
                  "Send a start request with this user and database folder");
}

TEST_F(DoctorTest, DatabaseUnreadable) {
    rig.machine().files().WriteText(
        u"D:\\Base\\55579b557896d0ce1764c47fed644f9b35f58bad620674af23f356d80ed0c503"
        u"\\ListenService.dat",
        std::string(4096, 'x'));
    ExpectProblem(Examine(), "The database " + rig.database.path() + " cannot be read (SQLite result 26).",
                  "Check that this user may read it");
}

TEST_F(DoctorTest, AnotherFolderIsWorthANote) {
    const RunResult run = rig.Run(rig.WithDatabase({"doctor", "--folder", "C:\\sync"}), Replying(2));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("note    The service last listened to C:\\Sync for anna, not to C:\\sync.\n"));
}

TEST_F(DoctorTest, PositionExpiredUnderARunningTask) {
    rig.machine().volume().WithJournal([](sim::EmulatedJournal& journal) {
        for (int i = 0; i < 1000; ++i) {
            journal.AppendRaw(99, 5, u"x", 0x20, 0x100, 1);
        }
        journal.TrimTo(journal.nextUsn());
    });
    EXPECT_THAT(Examine(Replying(2)).out, HasSubstr("If it is this task that is running, it records nothing more.\n"));
    EXPECT_THAT(Examine(Replying(0)).out, Not(HasSubstr("records nothing more")));
}

TEST_F(DoctorTest, FolderNamedOtherwiseThanItIs) {
    const auto examine = [this](const std::string& folder) {
        return rig.Run({"doctor", "--folder", folder}, Replying(2)).out;
    };
    EXPECT_THAT(examine("C:\\SYNC"), HasSubstr("note    The folder's real name is C:\\Sync, not C:\\SYNC: "));
    for (const char* folder : {"C:\\Sync", "c:\\Sync\\", "C:\\"}) {
        EXPECT_THAT(examine(folder), Not(HasSubstr("real name"))) << folder;
    }
    rig.machine().volume().MakeDirectory(u"C:\\Link\\Inner");
    rig.machine().volume().SetReparseTag(u"C:\\Link", 0xA0000003);
    EXPECT_THAT(examine("C:\\Link\\Inner"), HasSubstr("goes through the link C:\\Link: "));
    rig.machine().volume().SetReparseTag(u"C:\\Link", 0x9000001A);
    EXPECT_THAT(examine("C:\\Link\\Inner"), Not(HasSubstr("goes through"))) << "a cloud folder is no link";
}

TEST_F(DoctorTest, SaysWhatItDidNotLookAt) {
    const RunResult run = rig.Run({"doctor"}, Replying(2));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("The folder and its change journal were not looked at.\n        -> Add --folder."));
    EXPECT_THAT(run.out, HasSubstr("The database was not looked at.\n        -> Add --user and --database."));
}

TEST_F(DoctorTest, ShowsTheLastLogLines) {
    rig.machine().files().WriteText(u"C:\\ProgramData\\ZenloTavi\\Log\\error.log",
                                    "one\ntwo\nthree\nfour\n[Util] the file system is NTFS\n");
    rig.machine().files().WriteText(u"C:\\ProgramData\\ZenloTavi\\Log\\read_usn_journal_err", "rejected\n");
    const RunResult run = Examine();
    EXPECT_THAT(run.out, AllOf(HasSubstr("error.log: two.\n"), HasSubstr("error.log: four.\n"),
                               HasSubstr("read_usn_journal_err: rejected.\n"), Not(HasSubstr("error.log: one")),
                               Not(HasSubstr("the file system is NTFS"))));
}

TEST_F(DoctorTest, ASecondProblemIsCounted) {
    rig.installed.version.clear();
    rig.database.Lock();
    const RunResult run = Examine();
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.out, testing::EndsWith("\n2 problems.\n"));
}

TEST_F(DoctorTest, LeavesNothingOpenWhateverFails) {
    for (const bool forEver : {false, true}) {
        for (std::uint64_t nth = 1;; ++nth) {
            const std::uint64_t fired = rig.machine().faults().fired();
            rig.machine().faults().Fail({.nth = nth, .forEver = forEver});
            // Whether the pipe is asked depends on what failed, so this one answers whatever comes.
            const RunResult run = rig.Run(rig.WithDatabase({"doctor", "--folder", "C:\\Sync"}), {}, PipeUse::kAny);
            rig.machine().faults().Clear();
            EXPECT_TRUE(run.exitCode == 0 || run.exitCode == 1) << nth;
            EXPECT_THAT(rig.machine().leaks(), testing::IsEmpty()) << nth;
            if (rig.machine().faults().fired() == fired) {
                break;
            }
        }
    }
}

}  // namespace
}  // namespace tavi::client
