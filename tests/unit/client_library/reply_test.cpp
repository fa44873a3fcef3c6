#include "tavi_client/reply.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>
#include <vector>

namespace tavi::client {
namespace {

TEST(Reply, StatusIsTheSecondNumber) {
    EXPECT_EQ(DecodeReply(std::vector<std::uint8_t>{8, 0, 0, 0, 4, 0, 0, 0}), 4U);
    EXPECT_EQ(DecodeReply(std::vector<std::uint8_t>{8, 0, 0, 0, 1, 2, 3, 4}), 0x04030201U);
}

TEST(Reply, AnythingButEightBytesThatSaySoIsNoReply) {
    const std::vector<std::vector<std::uint8_t>> wrong = {{},
                                                          {8, 0, 0, 0},
                                                          {8, 0, 0, 0, 4, 0, 0},
                                                          {8, 0, 0, 0, 4, 0, 0, 0, 0},
                                                          {9, 0, 0, 0, 4, 0, 0, 0},
                                                          {0, 0, 0, 8, 4, 0, 0, 0}};
    for (const auto& bytes : wrong) {
        EXPECT_EQ(DecodeReply(bytes), std::nullopt);
    }
}

TEST(Reply, EveryStatusOfACommandHasWordsOfItsOwn) {
    struct Row {
        Command command;
        std::vector<std::uint32_t> statuses;
    };
    const Row rows[] = {{Command::kStart, {0, 1, 2, 3, 4, 5}}, {Command::kFinish, {6}}, {Command::kStatus, {0, 1, 2}}};
    std::set<std::string_view> words;
    std::size_t count = 0;
    for (const Row& row : rows) {
        for (const std::uint32_t status : row.statuses) {
            EXPECT_FALSE(DescribeReply(row.command, status).empty());
            words.insert(DescribeReply(row.command, status));
            ++count;
        }
    }
    EXPECT_EQ(words.size(), count);
}

TEST(Reply, StatusesOfOtherCommandsHaveNoWords) {
    EXPECT_EQ(DescribeReply(Command::kStart, 6), "");
    EXPECT_EQ(DescribeReply(Command::kFinish, 0), "");
    EXPECT_EQ(DescribeReply(Command::kStatus, 3), "");
    EXPECT_EQ(DescribeReply(Command::kStart, 0xFFFFFFFF), "");
}

}  // namespace
}  // namespace tavi::client
