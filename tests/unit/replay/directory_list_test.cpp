#include "replay/directory_list.h"

#include <gtest/gtest.h>

#include <sstream>
#include <utility>

namespace tavi::replay {
namespace {

std::optional<std::vector<Directory>> ReadList(const std::string& text, std::string& error) {
    std::istringstream input(text);
    return ReadDirectoryList(input, error);
}

TEST(DirectoryList, DirectoriesAreReadWithTheirNames) {
    std::string error;
    const auto list = ReadList("5\t5\t.\r\n\n40\t5\tS\xC3\xA4ll\n18446744073709551615\t40\ta b\n", error);
    ASSERT_TRUE(list) << error;
    ASSERT_EQ(list->size(), 3u);
    EXPECT_EQ((*list)[1].frn, 40u);
    EXPECT_EQ((*list)[1].parentFrn, 5u);
    EXPECT_EQ((*list)[1].name, u"S\u00E4ll");
    EXPECT_EQ((*list)[2].frn, ~std::uint64_t{0});
}

TEST(DirectoryList, WhatIsWrongInADirectoryListIsSaidWithItsLine) {
    const std::string shape = "expected number, parent's number and name, separated by tabs";
    const std::pair<std::string, std::string> cases[] = {
        {"5\t5\t.\n40\t5", "2: " + shape},
        {"5\t5\t.\n\nx\t5\ta", "3: " + shape},
        {"5\t5\t.\n40\t-5\ta", "2: " + shape},
        {"5\t5\t.\n18446744073709551616\t5\ta", "2: " + shape},
        {"5\t5\t.\n40\t5\t", "2: " + shape},
        {"5\t5\t.\n40\t5\ta\\b", "2: " + shape},
        {"5\t5\t.\n40\t5\t\xFF", "2: " + shape},
        {"5\t5\t.\n40\t5\ta\n40\t5\tb", "3: the number 40 stands there twice"},
        {"40\t5\ta", "1: expected one root, its own parent; there are 0"},
        {"5\t5\t.\n6\t6\t.", "2: expected one root, its own parent; there are 2"},
    };
    for (const auto& [text, expected] : cases) {
        std::string error;
        EXPECT_FALSE(ReadList(text, error)) << text;
        EXPECT_EQ(error, expected);
    }
}

}  // namespace
}  // namespace tavi::replay
