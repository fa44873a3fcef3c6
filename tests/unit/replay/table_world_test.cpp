#include "replay/table_world.h"

#include <gtest/gtest.h>

namespace tavi::replay {
namespace {

using Paths = std::vector<std::u16string>;

TableWorld MakeWorld() {
    return TableWorld({u"C:\\Sync",
                       {u"d\\p"},
                       {{u"d", {{u"z", 0x20, 1}, {u"e", 0x12, 2}, {u"f", 0x20, 3}, {u"gone", 0x10, 4}}},
                        {u"d\\e", {{u"y", 0x20, 5}}},
                        {u"d\\f", {{u"never", 0x20, 6}}}}});
}

TEST(TableWorld, PlaceholdersAreTheListedPathsExactly) {
    TableWorld world = MakeWorld();
    EXPECT_TRUE(world.IsPlaceholder(u"d\\p"));
    EXPECT_FALSE(world.IsPlaceholder(u"D\\p"));
    EXPECT_FALSE(world.IsPlaceholder(u"p"));
}

TEST(TableWorld, ListingADirectoryGivesEveryEntryBelowWithItsContentAfterIt) {
    EXPECT_EQ(
        MakeWorld().ListAllEntries(u"C:\\Sync\\d"),
        (Paths{u"C:\\Sync\\d\\z", u"C:\\Sync\\d\\e", u"C:\\Sync\\d\\e\\y", u"C:\\Sync\\d\\f", u"C:\\Sync\\d\\gone"}))
        << "what has no directory attribute is not looked into";
}

TEST(TableWorld, ADirectoryThatNoTableHasIsEmpty) {
    EXPECT_TRUE(MakeWorld().ListAllEntries(u"C:\\Sync\\x").empty());
    EXPECT_TRUE(MakeWorld().ListAllEntries(u"D:\\other").empty());
}

TEST(TableWorld, AnEntryHasItsNumberAndAttributes) {
    TableWorld world = MakeWorld();
    EXPECT_EQ(world.GetFrnByPath(u"C:\\Sync\\d\\e\\y"), 5u);
    EXPECT_EQ(world.AttributesOrAllOnes(u"C:\\Sync\\d\\e"), 0x12u);
}

TEST(TableWorld, AnEntryThatNoTableHasIsGone) {
    TableWorld world = MakeWorld();
    EXPECT_EQ(world.GetFrnByPath(u"C:\\Sync\\q"), 0u);
    EXPECT_EQ(world.AttributesOrAllOnes(u"C:\\Sync\\q"), 0xFFFFFFFFu);
}

TEST(TableWorld, ADeepTreeIsListedWithoutRecursion) {
    WorldTables tables{u"C:", {}, {}};
    std::u16string path = u"d";
    for (int i = 0; i < 2'000; ++i) {
        tables.tree[path].push_back({u"d", 0x10, 1});
        path += u"\\d";
    }
    EXPECT_EQ(TableWorld(std::move(tables)).ListAllEntries(u"C:\\d").size(), 2'000u);
}

}  // namespace
}  // namespace tavi::replay
