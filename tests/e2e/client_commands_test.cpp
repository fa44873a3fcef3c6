// What the shipped client shows of the shipped service at work.
#include <windows.h>

#include <thread>

#include "e2e/scenario.h"
#include "e2e/service_control.h"

namespace tavi::e2e {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class ClientCommands : public Scenario {
protected:
    Finished WithDatabase(std::vector<std::wstring> arguments) {
        arguments.insert(arguments.end(), {L"--user", user_, L"--database", databaseFolder_});
        return Client(arguments);
    }
};

TEST_F(ClientCommands, ShowStoredChangesAndExplainsTheFilteredOne) {
    ASSERT_EQ(Start(), 4);
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"quarterly.txt")));
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"weekly.tmp")));
    const std::vector<std::string> expected = {"create quarterly.txt"};
    ASSERT_EQ(WaitForChanges(expected), expected);

    const Finished watch = WithDatabase({L"watch", L"--once"});
    EXPECT_EQ(watch.exitCode, 0);
    EXPECT_THAT(watch.output, AllOf(HasSubstr("  create  quarterly.txt"), Not(HasSubstr("weekly.tmp"))));

    const Finished show = WithDatabase({L"show"});
    EXPECT_EQ(show.exitCode, 0);
    EXPECT_THAT(show.output, AllOf(HasSubstr("Changes           1, ids 1 to 1: 1 create"), HasSubstr("Position ")));

    // With the split interval 0 a file's creation and its closing may come in batches of their own: the last few.
    const Finished stored = Client({L"explain", Path(L"quarterly.txt"), L"--folder", folder_, L"--batches", L"3"});
    EXPECT_EQ(stored.exitCode, 0) << stored.output;
    EXPECT_THAT(stored.output, AllOf(HasSubstr("=> stored as 1 change:"), HasSubstr("CREATE  q*******y.txt")));
    const Finished filtered = Client({L"explain", L"weekly.tmp", L"--batches", L"3"});
    EXPECT_EQ(filtered.exitCode, 0) << filtered.output;
    EXPECT_THAT(filtered.output, HasSubstr("=> nothing stored: step 4, "));
}

TEST_F(ClientCommands, WatchPrintsChangesWhileTheServiceStoresThem) {
    ASSERT_EQ(Start(), 4);
    ASSERT_TRUE(WaitForStatus(2));
    Finished watch;
    std::thread watching([&] { watch = WithDatabase({L"watch", L"--seconds", L"10", L"--json"}); });
    Sleep(2000);  // a test of what happens meanwhile: the program has to be up first
    constexpr int kFiles = 300;
    files().Batch([&] {
        for (int i = 0; i < kFiles; ++i) {
            EXPECT_TRUE(files().CreateEmptyFile(Path(L"live" + std::to_wstring(i))));
        }
    });
    watching.join();
    EXPECT_EQ(watch.exitCode, 0) << watch.output;
    for (int i = 0; i < kFiles; ++i) {
        EXPECT_THAT(watch.output, HasSubstr("\"path\":\"live" + std::to_string(i) + "\"")) << i;
    }
}

TEST_F(ClientCommands, DoctorFindsTheServiceAndWhatIsWrongWithIt) {
    ASSERT_EQ(Start(), 4);
    ASSERT_TRUE(WaitForStatus(2));
    const Finished running = Client({L"doctor"});
    EXPECT_EQ(running.exitCode, 0) << running.output;
    EXPECT_THAT(running.output,
                AllOf(HasSubstr("TaviLumbraService.exe, version 3.0.0.300."), HasSubstr("The service is running."),
                      HasSubstr("a listening task is running and its change journal can be used.")));
    EXPECT_THAT(Client({L"doctor"}, L"UnsignedClient.exe").output,
                HasSubstr("PROBLEM The service refuses this program"));

    ASSERT_GE(StopInstalledService(), 0);
    const Finished stopped = Client({L"doctor"});
    EXPECT_EQ(stopped.exitCode, 1);
    EXPECT_THAT(stopped.output, HasSubstr("PROBLEM The service is not started (state 1, "));
    ASSERT_TRUE(UninstallService());
    EXPECT_THAT(Client({L"doctor"}).output, HasSubstr("PROBLEM The service is not installed (error 1060)."));
}

}  // namespace
}  // namespace tavi::e2e
