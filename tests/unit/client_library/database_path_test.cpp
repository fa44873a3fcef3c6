#include "tavi_client/database_path.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "imports/type_convert.h"
#include "sim/machine.h"
#include "unit/platform/digest_breaking_configuration.h"
#include "util/sha256.h"

namespace tavi::client {
namespace {

#ifdef _WIN32
const std::string kSeparator = "\\";
#else
const std::string kSeparator = "/";
#endif

TEST(DatabasePath, NamesTheFolderByTheDigestOfTheUserId) {
    // The digest of "abc", from the standard that defines it.
    const std::string digest = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    const std::string expected = "base" + kSeparator + digest + kSeparator + "ListenService.dat";
    EXPECT_EQ(DatabasePath("base", "abc"), expected);
    EXPECT_EQ(DatabasePath("base" + kSeparator, "abc"), expected);
}

[[noreturn]] void ExitWithZeroIfTheFolderIsNamedDespiteAConfiguration() {
    platform::testing::NameADigestBreakingConfiguration("unit_client_library");
    const std::string digest = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    std::_Exit(DatabasePath("base", "abc").find(digest) != std::string::npos ? 0 : 1);
}

TEST(DatabasePath, IsMadeWithoutTheDigestLibrarysConfiguration) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(ExitWithZeroIfTheFolderIsNamedDespiteAConfiguration(), ::testing::ExitedWithCode(0), "");
}

TEST(DatabasePath, IsWhereTheServicePutsTheDatabase) {
    sim::Machine machine;
    platform::Platform platform = machine.platform();
    for (const std::string user : {"anna", "\xC3\xA4\xE2\x82\xAC", "user@example.org"}) {
        const std::string digest =
            TypeConvert::UnicodeToUTF8(util::ShA256Encode(platform, TypeConvert::UTF8ToUnicode(user)));
        EXPECT_EQ(DatabasePath("base", user), "base" + kSeparator + digest + kSeparator + "ListenService.dat");
    }
}

}  // namespace
}  // namespace tavi::client
