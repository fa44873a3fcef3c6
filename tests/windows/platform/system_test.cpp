// What only the real system can show of single calls.
#include <windows.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <array>
#include <stdexcept>
#include <string>

#include "contract/world.h"
#include "imports/file_helper.h"
#include "imports/type_convert.h"
#include "platform/windows/wide_text.h"
#include "windows/platform/windows_world.h"

namespace tavi::contract {
namespace {

class SystemTest : public testing::Test {
protected:
    WindowsWorld world;
    platform::Platform parts = world.Parts();
};

// Restores the variable that names the temporary folder.
class TemporaryFolderNamed {
public:
    explicit TemporaryFolderNamed(const std::wstring& folder) {
        std::array<wchar_t, MAX_PATH + 1> before{};
        ::GetEnvironmentVariableW(L"TMP", before.data(), static_cast<DWORD>(before.size()));
        before_ = before.data();
        ::SetEnvironmentVariableW(L"TMP", folder.c_str());
    }
    ~TemporaryFolderNamed() { ::SetEnvironmentVariableW(L"TMP", before_.empty() ? nullptr : before_.c_str()); }
    TemporaryFolderNamed(const TemporaryFolderNamed&) = delete;
    TemporaryFolderNamed& operator=(const TemporaryFolderNamed&) = delete;

private:
    std::wstring before_;
};

TEST_F(SystemTest, ATestsFolderIsNamedInItsLongFormWhateverTheEnvironmentSays) {
    const std::u16string folder = world.Folder() + u"\\a rather long name for a folder";
    ASSERT_EQ(parts.paths.SHCreateDirectoryExW(folder), 0);
    std::array<wchar_t, MAX_PATH + 1> shortForm{};
    ASSERT_NE(::GetShortPathNameW(platform::ToWide(folder).c_str(), shortForm.data(), MAX_PATH), 0u);
    if (platform::FromWide(shortForm.data()) == folder) {
        GTEST_SKIP() << "this volume keeps no short names";
    }
    const TemporaryFolderNamed named(shortForm.data());
    const WindowsWorld inner;
    EXPECT_TRUE(inner.Folder().starts_with(folder + u"\\")) << testing::PrintToString(inner.Folder());
}

TEST_F(SystemTest, NarrowTextOfOtherLettersIsInTheSystemsCodePage) {
    const UINT codePage = ::GetACP();
    if (codePage != 1252 && codePage != CP_UTF8) {
        GTEST_SKIP() << "nothing is known here of code page " << codePage;
    }
    EXPECT_EQ(parts.codePage.WideCharToMultiByteAcp(u"caf\u00E9"), codePage == 1252 ? "caf\xE9" : "caf\xC3\xA9");
}

TEST_F(SystemTest, AnExceptionDoesNotLeaveAThread) {
    const platform::Handle thread = parts.threads.StartThread([] { throw std::runtime_error("not caught"); });
    EXPECT_TRUE(parts.threads.WaitForThread(thread, 10000));
    DWORD code = 99;
    EXPECT_TRUE(::GetExitCodeThread(reinterpret_cast<HANDLE>(thread), &code));
    EXPECT_EQ(code, 1u);
    parts.threads.CloseThread(thread);
}

TEST_F(SystemTest, ADatabaseAtALongPathIsSharedByTwoConnections) {
    const std::u16string path = FileHepler::FormatLongFileName(world.LongFolder() + u"\\ListenService.dat");
    ASSERT_TRUE(path.starts_with(u"\\\\?\\"));
    sqlite3* writer = nullptr;
    sqlite3* reader = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    ASSERT_EQ(parts.sqlite.OpenV2(TypeConvert::UnicodeToUTF8(path), &writer, flags), SQLITE_OK);
    ASSERT_EQ(parts.sqlite.Exec(writer, "PRAGMA journal_mode=WAL; CREATE TABLE t(x); BEGIN; INSERT INTO t VALUES(7)",
                                nullptr),
              SQLITE_OK);
    ASSERT_EQ(parts.sqlite.OpenV2(TypeConvert::UnicodeToUTF8(path), &reader, SQLITE_OPEN_READONLY), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(parts.sqlite.PrepareV2(reader, "SELECT x FROM t", -1, &statement), SQLITE_OK);
    EXPECT_EQ(parts.sqlite.Step(statement), SQLITE_DONE) << "not committed yet";
    EXPECT_EQ(parts.sqlite.Reset(statement), SQLITE_OK);
    EXPECT_EQ(parts.sqlite.Exec(writer, "COMMIT", nullptr), SQLITE_OK);
    EXPECT_EQ(parts.sqlite.Step(statement), SQLITE_ROW);
    EXPECT_EQ(parts.sqlite.ColumnInt(statement, 0), 7);
    EXPECT_EQ(parts.sqlite.Finalize(statement), SQLITE_OK);
    EXPECT_EQ(parts.sqlite.CloseV2(reader), SQLITE_OK);
    EXPECT_EQ(parts.sqlite.CloseV2(writer), SQLITE_OK);
    EXPECT_TRUE(parts.paths.PathFileExistsW(path));
}

// Whether the shell takes the prefix differs between systems; what it reports must be true on all.
TEST_F(SystemTest, TheShellMakesDirectoriesInThePlainFormAndSaysTheTruthOfThePrefixedOne) {
    const std::u16string plain = world.Folder() + u"\\plain\\a\\b";
    EXPECT_EQ(parts.paths.SHCreateDirectoryExW(plain), 0);
    EXPECT_TRUE(parts.paths.PathFileExistsW(plain));
    const std::u16string prefixed = u"\\\\?\\" + world.Folder() + u"\\prefixed\\a\\b";
    const int result = parts.paths.SHCreateDirectoryExW(prefixed);
    EXPECT_EQ(result == 0, parts.paths.PathFileExistsW(prefixed)) << result;
}

TEST_F(SystemTest, ALinkCarriesItsTagWhenItIsListed) {
    const std::u16string link = world.Folder() + u"\\link";
    if (!::CreateSymbolicLinkW(platform::ToWide(link).c_str(), platform::ToWide(world.Folder()).c_str(),
                               SYMBOLIC_LINK_FLAG_DIRECTORY) ||
        !parts.paths.PathFileExistsW(link)) {
        GTEST_SKIP() << "this system or account makes no symbolic links";
    }
    platform::FindData data;
    const platform::FindHandle find = parts.paths.FindFirstFileW(link, data);
    ASSERT_NE(find, platform::kInvalidFindHandle);
    EXPECT_TRUE(parts.paths.FindClose(find));
    EXPECT_NE(data.fileAttributes & platform::kFileAttributeReparsePoint, 0u);
    EXPECT_NE(data.reparseTag & platform::kReparseTagNameSurrogate, 0u);
}

TEST_F(SystemTest, TextOutsideTheCodePageIsNarrowedWithAStandIn) {
    const std::string narrow = parts.codePage.WideCharToMultiByteAcp(u"C:\\a\\\u540C\u6B65");
    EXPECT_TRUE(narrow.starts_with("C:\\a\\")) << narrow;
    EXPECT_GT(narrow.size(), 5u);
}

// By the machine's own address, as a client on another machine comes in. Wine knows no such names at all.
TEST_F(SystemTest, APipeThatRefusesRemoteClientsIsOpenedByItsLocalNameOnly) {
    const platform::OwnedHandle server(
        parts.files, parts.pipes.CreateNamedPipeW(u"\\\\.\\pipe\\TaviPlatformRemote", platform::kPipeAccessDuplex,
                                                  platform::kPipeTypeMessage | platform::kPipeReadModeMessage |
                                                      platform::kPipeRejectRemoteClients,
                                                  1, 4096, 4096, 0, {}));
    ASSERT_TRUE(server.IsValid());
    const auto opens = [this](const std::u16string& machine) {
        const platform::OwnedHandle client(
            parts.files,
            parts.files.CreateFileW(u"\\\\" + machine + u"\\pipe\\TaviPlatformRemote",
                                    platform::kGenericRead | platform::kGenericWrite, 0, platform::kOpenExisting, 0));
        return client.IsValid();
    };
    EXPECT_FALSE(opens(u"127.0.0.1"));
    EXPECT_FALSE(opens(u"localhost"));
    EXPECT_TRUE(opens(u"."));
}

}  // namespace
}  // namespace tavi::contract
