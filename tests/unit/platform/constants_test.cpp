// The values of the constants are proved where <windows.h> is; here is shown that none was forgotten there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace tavi::platform {
namespace {

// The identifiers that begin with 'k' directly behind `marker`.
std::set<std::string> NamesBehind(const std::string& marker, const std::string& file) {
    std::ifstream stream(std::string(TAVI_PLATFORM_SOURCES) + "/" + file);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::set<std::string> names;
    for (std::size_t at = text.find(marker); at != std::string::npos; at = text.find(marker, at + 1)) {
        const std::size_t begin = at + marker.size();
        const std::size_t end = text.find_first_of(" ,;)", begin);
        if (text[begin] == 'k') {
            names.insert(text.substr(begin, end - begin));
        }
    }
    return names;
}

TEST(Constants, EachIsCheckedAgainstTheSystemsHeaders) {
    std::set<std::string> declared = NamesBehind("std::uint32_t ", "constants.h");
    declared.merge(NamesBehind("std::int32_t ", "constants.h"));
    const std::set<std::string> checked = NamesBehind("TAVI_SAME(", "windows/constants_check.cpp");
    ASSERT_GT(declared.size(), 100u);
    for (const std::string& name : declared) {
        EXPECT_THAT(checked, testing::Contains(name));
    }
}

}  // namespace
}  // namespace tavi::platform
