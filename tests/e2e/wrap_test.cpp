// On a volume whose real change journal is so small that it wraps during a test (.ci/windows/run-e2e.ps1 makes one).
// Not for the emulated journal, whose wrapping the simulation tests.
#include <windows.h>

#include <winioctl.h>

#include "e2e/scenario.h"

namespace tavi::e2e {
namespace {

class Wrap : public Scenario {
protected:
    // -1 when the journal cannot be queried. The first three numbers of the answer are id, first and next position.
    std::int64_t FirstUsn() const {
        const std::wstring volume = L"\\\\.\\" + root_.substr(0, 2);
        const HANDLE handle = CreateFileW(volume.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, 0, nullptr);
        std::int64_t answer[16] = {0, -1};
        DWORD bytes = 0;
        DeviceIoControl(handle, FSCTL_QUERY_USN_JOURNAL, nullptr, 0, answer, sizeof answer, &bytes, nullptr);
        CloseHandle(handle);
        return answer[1];
    }
    // Changes beside the listened folder until the journal begins behind the position.
    bool WriteUntilGone(std::int64_t position) {
        for (int i = 0; i < 200'000; ++i) {
            if (i % 1000 == 0 && FirstUsn() > position) {
                return true;
            }
            const std::wstring filler = root_ + L"\\filler";
            if (!files().CreateEmptyFile(filler) || !files().Delete(filler)) {
                return false;
            }
        }
        return false;
    }
};

TEST_F(Wrap, APositionThatTheJournalLostIsAnsweredAndLaterChangesAreRecorded) {
    ASSERT_EQ(Start(), 4);
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"before.txt")));
    ASSERT_EQ(WaitForChanges({"create before.txt"}), std::vector<std::string>{"create before.txt"});
    ASSERT_EQ(Finish(), 6);
    ASSERT_TRUE(WriteUntilGone(database().Position()));
    ASSERT_EQ(Start(), 2);
    ASSERT_TRUE(files().CreateEmptyFile(Path(L"after.txt")));
    EXPECT_EQ(WaitForChanges({"create after.txt"}), std::vector<std::string>{"create after.txt"});
}

TEST_F(Wrap, NothingIsLostWhileTheJournalWrapsUnderARunningTask) {
    ASSERT_EQ(Start(), 4);
    ASSERT_TRUE(WaitForStatus(2));
    const std::int64_t first = FirstUsn();
    constexpr int kFiles = 20'000;
    constexpr int kPerRound = 1000;
    for (int i = 0; i < kFiles; i += kPerRound) {
        for (int j = i; j < i + kPerRound; ++j) {
            ASSERT_TRUE(files().CreateEmptyFile(Path(L"wrap" + std::to_wstring(j))));
        }
        // Slower than the journal forgets: the service is to be able to keep up.
        ASSERT_TRUE(WaitUntilCaughtUp());
    }
    EXPECT_GT(FirstUsn(), first) << "the journal did not wrap";
    EXPECT_EQ(database().Count("(SELECT DISTINCT relativePath FROM fileChangeRecord WHERE relativePath LIKE 'wrap%')"),
              kFiles);
}

}  // namespace
}  // namespace tavi::e2e
