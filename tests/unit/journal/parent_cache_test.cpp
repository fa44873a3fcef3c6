#include "journal/parent_cache.h"

#include <gtest/gtest.h>

#include <string>

namespace tavi::journal {
namespace {

struct FolderRow {
    const char16_t* listenPath;
    const char16_t* parent;
    bool inside;
    const char16_t* relative;  // what goes before a name
};

TEST(ParentCache, InsideIsThePrefixUpToTheNextBackslash) {
    const FolderRow rows[] = {
        {u"C:\\Sync", u"\\Sync", true, u""},
        {u"C:\\Sync", u"\\Sync\\", true, u""},
        {u"C:\\Sync", u"\\Sync\\Docs", true, u"Docs\\"},
        {u"C:\\Sync", u"\\Sync\\Docs\\Old", true, u"Docs\\Old\\"},
        {u"C:\\Sync", u"\\Sync2", false, u""},
        {u"C:\\Sync", u"\\Sync2\\Docs", false, u""},
        {u"C:\\Sync", u"\\sync\\Docs", false, u""},
        {u"C:\\Sync", u"\\", false, u""},
        {u"C:\\Sync", u"\\Other\\Sync", false, u""},
        {u"C:\\Sync", u"", false, u""},
        {u"C:\\Users\\me\\Sync", u"\\Users\\me", false, u""},
        {u"C:\\Users\\me\\Sync", u"\\Users\\me\\Sync\\x", true, u"x\\"},
        {u"C:", u"\\", true, u""},
        {u"C:", u"\\Docs", true, u"Docs\\"},
        {u"C:", u"", false, u""},
        {u"C:\\Sync\\", u"\\Sync\\Docs", false, u""},
        {u"Sync", u"\\Sync", false, u""},
        {u"\\\\?\\C:\\Sync", u"\\Sync\\Docs", true, u"Docs\\"},
    };
    for (const FolderRow& row : rows) {
        ParentCache cache(row.listenPath);
        const ParentCache::Entry& entry = cache.Add(7, row.parent);
        EXPECT_EQ(entry.insideListenFolder, row.inside)
            << std::string(row.listenPath, row.listenPath + std::u16string_view(row.listenPath).size()) << " "
            << std::string(row.parent, row.parent + std::u16string_view(row.parent).size());
        EXPECT_EQ(cache.RelativeOf(entry), row.relative);
        EXPECT_EQ(cache.PathOf(entry), row.parent);
    }
}

TEST(ParentCache, FindsWhatWasAddedAndNothingElse) {
    ParentCache cache(u"C:\\Sync");
    constexpr std::uint64_t kCount = 20'000;
    for (std::uint64_t number = 0; number < kCount; ++number) {
        const std::uint64_t frn = number << 48U | number;
        ASSERT_EQ(cache.Find(frn), nullptr);
        cache.Add(frn, u"\\Sync\\" + std::u16string(number % 30, u'd'));
    }
    EXPECT_EQ(cache.size(), kCount);
    for (std::uint64_t number = 0; number < kCount; ++number) {
        const ParentCache::Entry* entry = cache.Find(number << 48U | number);
        ASSERT_NE(entry, nullptr);
        ASSERT_EQ(cache.PathOf(*entry), u"\\Sync\\" + std::u16string(number % 30, u'd'));
    }
    EXPECT_EQ(cache.Find(kCount), nullptr);
}

TEST(ParentCache, NumbersZeroAndAllOnesAreNumbersLikeOthers) {
    ParentCache cache(u"C:\\Sync");
    EXPECT_EQ(cache.Find(0), nullptr);
    EXPECT_EQ(cache.Find(~std::uint64_t{0}), nullptr);
    cache.Add(0, u"\\Zero");
    cache.Add(~std::uint64_t{0}, u"\\Ones");
    EXPECT_EQ(cache.PathOf(*cache.Find(0)), u"\\Zero");
    EXPECT_EQ(cache.PathOf(*cache.Find(~std::uint64_t{0})), u"\\Ones");
}

TEST(ParentCache, ClearForgetsEverything) {
    ParentCache cache(u"C:\\Sync");
    cache.Add(1, u"\\Sync");
    cache.Clear();
    EXPECT_EQ(cache.Find(1), nullptr);
    EXPECT_EQ(cache.size(), 0U);
}

TEST(ParentCache, PathForOneRecordIsJudgedButNotCached) {
    ParentCache cache(u"C:\\Sync");
    EXPECT_FALSE(cache.Pass(u"").insideListenFolder);
    const ParentCache::Entry& inside = cache.Pass(u"\\Sync\\Docs");
    EXPECT_TRUE(inside.insideListenFolder);
    EXPECT_EQ(cache.RelativeOf(inside), u"Docs\\");
    EXPECT_FALSE(cache.Pass(u"\\$RECYCLE.BIN\\x").insideListenFolder);
    EXPECT_EQ(cache.size(), 0U);
}

TEST(ParentCache, CachedPathsStayWhenPathsForOneRecordComeBetween) {
    ParentCache cache(u"C:\\Sync");
    cache.Add(1, u"\\Sync\\Docs");
    cache.Pass(u"\\Sync\\A long path that is soon forgotten");
    cache.Add(2, u"\\Sync\\Mail");
    EXPECT_EQ(cache.RelativeOf(cache.Pass(u"\\Sync\\x")), u"x\\");
    EXPECT_EQ(cache.PathOf(*cache.Find(1)), u"\\Sync\\Docs");
    EXPECT_EQ(cache.RelativeOf(*cache.Find(2)), u"Mail\\");
}

TEST(ParentCache, EveryReadBeginsWithoutTheTextOfTheOneBefore) {
    ParentCache cache(u"C:\\Sync");
    cache.Add(1, std::u16string(1000, u'x'));
    cache.Clear();
    EXPECT_EQ(cache.Add(2, u"\\Sync").pathOffset, 0U);
}

TEST(ParentCache, NumbersThatDifferInTheirSequenceAloneAreFoundQuickly) {
    ParentCache cache(u"C:\\Sync");
    for (std::uint64_t sequence = 0; sequence <= 0xFFFF; ++sequence) {
        cache.Add(sequence << 48U | 1234U, u"\\Sync");
    }
    EXPECT_EQ(cache.size(), std::size_t{0x10000});
    EXPECT_NE(cache.Find(std::uint64_t{0xFFFF} << 48U | 1234U), nullptr);
}

}  // namespace
}  // namespace tavi::journal
