// The values of the constants are proved where <windows.h> is; here is shown that none was forgotten there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

namespace tavi::platform {
namespace {

std::set<std::string> NamesIn(const std::string& file, const std::string& pattern) {
    std::ifstream stream(std::string(TAVI_PLATFORM_SOURCES) + "/" + file);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    const std::regex expression(pattern);
    std::set<std::string> names;
    for (std::sregex_iterator it(text.begin(), text.end(), expression); it != std::sregex_iterator(); ++it) {
        names.insert((*it)[1]);
    }
    return names;
}

TEST(Constants, EachIsCheckedAgainstTheSystemsHeaders) {
    const auto declared = NamesIn("constants.h", R"(inline constexpr \S+ (k\w+) =)");
    const auto checked = NamesIn("windows/constants_check.cpp", R"(TAVI_SAME\((k\w+),)");
    ASSERT_GT(declared.size(), 100u);
    for (const std::string& name : declared) {
        EXPECT_THAT(checked, testing::Contains(name));
    }
}

}  // namespace
}  // namespace tavi::platform
