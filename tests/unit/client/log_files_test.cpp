#include "machine/log_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/machine.h"

namespace tavi::client {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LogFiles : public testing::Test {
protected:
    void Write(std::u16string_view name, std::string_view text) {
        machine.files().WriteText(folder + u'\\' + std::u16string(name), text);
    }
    std::vector<std::string> Last(std::u16string_view name, std::size_t count) {
        return LastLines(platform, folder + u'\\' + std::u16string(name), count);
    }

    sim::Machine machine;
    platform::Platform platform = machine.platform();
    std::u16string folder = u"C:\\ProgramData\\ZenloTavi\\Log";
};

TEST_F(LogFiles, LastLinesAreTheLastOnes) {
    Write(u"error.log", "one\r\ntwo\r\nthree\r\n");
    EXPECT_THAT(Last(u"error.log", 2), ElementsAre("two", "three"));
    EXPECT_THAT(Last(u"error.log", 9), ElementsAre("one", "two", "three"));
    EXPECT_THAT(Last(u"error.log", 0), IsEmpty());
    Write(u"b.log", "\n\none\n\ntwo");
    EXPECT_THAT(Last(u"b.log", 9), ElementsAre("one", "two"));
}

TEST_F(LogFiles, AMissingOrEmptyLogHasNoLines) {
    Write(u"empty.log", "");
    EXPECT_THAT(Last(u"empty.log", 3), IsEmpty());
    EXPECT_THAT(Last(u"missing.log", 3), IsEmpty());
}

TEST_F(LogFiles, TailsAreAsLongAsAskedFor) {
    Write(u"a.log", "0123456789");
    const std::u16string path = folder + u"\\a.log";
    EXPECT_EQ(ReadTail(platform, path, 4), "6789");
    EXPECT_EQ(ReadTail(platform, path, 400), "0123456789");
    EXPECT_EQ(ReadAll(platform, path), "0123456789");
    EXPECT_EQ(ReadAll(platform, folder + u"\\none"), std::nullopt);
}

TEST_F(LogFiles, PartsComeOldestFirst) {
    Write(u"sync.log", "c");
    Write(u"sync.1.log", "b");
    Write(u"sync.2.log", "a");
    Write(u"sync.4.log", "of another time");
    EXPECT_THAT(PartsOfLog(platform, folder, u"sync"),
                ElementsAre(folder + u"\\sync.2.log", folder + u"\\sync.1.log", folder + u"\\sync.log"));
}

TEST_F(LogFiles, TheNewestPartMayBeMissingForAMoment) {
    Write(u"sync.1.log", "b");
    EXPECT_THAT(PartsOfLog(platform, folder, u"sync"), ElementsAre(folder + u"\\sync.1.log"));
    EXPECT_THAT(PartsOfLog(platform, folder, u"net"), IsEmpty());
}

TEST_F(LogFiles, NothingStaysOpenWhateverFails) {
    Write(u"a.log", "0123456789");
    for (std::uint64_t nth = 1;; ++nth) {
        const std::uint64_t fired = machine.faults().fired();
        machine.faults().Fail({.call = "Files.", .nth = nth});
        const auto text = ReadAll(platform, folder + u"\\a.log");
        machine.faults().Clear();
        EXPECT_THAT(machine.leaks(), IsEmpty()) << nth;
        if (machine.faults().fired() == fired) {
            EXPECT_EQ(text, "0123456789");
            break;
        }
    }
}

}  // namespace
}  // namespace tavi::client
