#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <functional>
#include <sstream>

#include "unit/client/client_rig.h"

namespace tavi::client {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Only a clock; each of the first sleeps lets something happen, in order.
class EventfulPipe final : public ServicePipe {
public:
    explicit EventfulPipe(std::vector<std::function<void()>> events) : events_(std::move(events)) {}

    std::uint32_t Open() override { return 2; }
    std::uint32_t WaitForInstance(std::uint32_t) override { return 2; }
    std::uint32_t Write(std::span<const std::uint8_t>, std::uint32_t) override { return 2; }
    std::uint32_t Read(std::vector<std::uint8_t>&, std::uint32_t) override { return 2; }
    void Close() override {}
    std::uint64_t NowMilliseconds() override { return now_; }
    void Sleep(std::uint32_t milliseconds) override {
        now_ += milliseconds;
        if (slept_ < events_.size()) {
            events_[slept_]();
        }
        ++slept_;
    }

private:
    std::vector<std::function<void()>> events_;
    std::size_t slept_ = 0;
    std::uint64_t now_ = 0;
};

RunResult RunWithEvents(const std::vector<std::string>& arguments, std::vector<std::function<void()>> events) {
    EventfulPipe pipe(std::move(events));
    std::ostringstream out;
    std::ostringstream err;
    const int exitCode = RunClient(arguments, {pipe, out, err});
    return {exitCode, out.str(), err.str()};
}

TEST(Watch, OncePrintsWhatThereIs) {
    ClientRig rig;
    const RunResult run = rig.Run(rig.WithDatabase({"watch", "--once"}));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "2023-11-14 22:13:20.123  create  a.txt\n");
    EXPECT_EQ(run.err, "");
}

TEST(Watch, SinceBeginsBehindAnId) {
    ClientRig rig;
    ASSERT_TRUE(rig.database.Save({u"b.txt"}));
    const RunResult run = rig.Run(rig.WithDatabase({"watch", "--once", "--since", "1"}));
    EXPECT_EQ(run.out, "2023-11-14 22:13:20.123  create  b.txt\n");
}

TEST(Watch, PrintsWhatComesAndNotWhatWasThere) {
    ClientRig rig;
    const RunResult run =
        RunWithEvents(rig.WithDatabase({"watch", "--seconds", "3"}), {
                                                                         [&] { rig.database.Save({u"b"}); },
                                                                         [] {},
                                                                         [&] {
                                                                             rig.database.Save({u"c", u"b"});
                                                                         },
                                                                     });
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(Lines(run.out), ElementsAre(HasSubstr("create  b"), HasSubstr("create  c"), HasSubstr("create  b")));
}

TEST(Watch, GoesOnWhenRowsAreDeletedAndTheDatabaseIsGoneAndMadeAnew) {
    ClientRig rig;
    const RunResult run = RunWithEvents(rig.WithDatabase({"watch", "--seconds", "10"}),
                                        {
                                            [&] { rig.database.Run("DELETE FROM fileChangeRecord"); },
                                            [&] { rig.database.Save({u"b"}); },
                                            [&] { rig.database.Delete(); },
                                            [] {},
                                            [&] {
                                                rig.database.Create();
                                                rig.database.Save({u"c"});
                                            },
                                        });
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(Lines(run.out), ElementsAre(HasSubstr("create  b"), HasSubstr("create  c")));
    EXPECT_THAT(Lines(run.err), ElementsAre(testing::AllOf(testing::StartsWith("There is no database "),
                                                           testing::EndsWith(" Waiting for it."))));
}

TEST(Watch, SaysOnceThatTheDatabaseIsLocked) {
    ClientRig rig;
    const RunResult run = RunWithEvents(rig.WithDatabase({"watch", "--seconds", "2"}),
                                        {[&] { rig.database.Lock(); }, [&] { rig.database.Unlock(); }});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(Lines(run.err), ElementsAre(HasSubstr("is locked by another program. Waiting for it.")));
}

TEST(Watch, OnceFailsWithoutADatabase) {
    ClientRig rig(false);
    const RunResult run = rig.Run(rig.WithDatabase({"watch", "--once"}));
    EXPECT_EQ(run.exitCode, 9);
    EXPECT_THAT(run.err, testing::StartsWith("There is no database "));
}

TEST(Watch, BearsAnUnreadableDatabaseForAWhile) {
    const std::u16string path =
        u"D:\\Base\\55579b557896d0ce1764c47fed644f9b35f58bad620674af23f356d80ed0c503\\ListenService.dat";
    ClientRig forAMoment(false);
    const auto makeUnreadable = [&path](ClientRig& rig) {
        rig.machine().files().WriteText(path, std::string(4096, 'x'));
    };
    const RunResult passing = RunWithEvents(forAMoment.WithDatabase({"watch", "--seconds", "8"}),
                                            {[&] { makeUnreadable(forAMoment); }, [] {},
                                             [&] {
                                                 std::filesystem::remove(forAMoment.database.path());
                                                 forAMoment.database.Create();
                                                 forAMoment.database.Save({u"a"});
                                             }});
    EXPECT_EQ(passing.exitCode, 0);
    EXPECT_THAT(Lines(passing.out), ElementsAre(HasSubstr("create  a")));
    ClientRig forEver(false);
    makeUnreadable(forEver);
    const RunResult lasting = RunWithEvents(forEver.WithDatabase({"watch"}), {});
    EXPECT_EQ(lasting.exitCode, 9);
    EXPECT_THAT(Lines(lasting.err), ElementsAre(HasSubstr("cannot be read (SQLite result 26). Waiting for it.")));
}

TEST(Watch, JsonIsOneObjectALine) {
    ClientRig rig;
    ASSERT_TRUE(
        rig.database.SaveRecords({FileChange(u"\u00FC\n.txt", records::FileChangeReason::kMove, u"dir\\\u00FC.txt")}));
    const RunResult run = rig.Run(rig.WithDatabase({"watch", "--once", "--json"}));
    const auto lines = Lines(run.out);
    ASSERT_EQ(lines.size(), 2U);
    Json::Value object;
    ASSERT_TRUE(Json::Reader().parse(lines[1], object)) << lines[1];
    EXPECT_EQ(object["id"].asInt64(), 2);
    EXPECT_EQ(object["kind"].asString(), "move");
    EXPECT_EQ(object["reason"].asInt(), 4);
    EXPECT_EQ(object["path"].asString(), "\xC3\xBC\n.txt");
    EXPECT_EQ(object["originalPath"].asString(), "dir\\\xC3\xBC.txt");
    EXPECT_EQ(object["timestamp"].asInt64(), 1'700'000'000'123);
    EXPECT_EQ(object["time"].asString(), "2023-11-14 22:13:20.123");
    EXPECT_EQ(object["attributes"].asUInt(), 0x20U);
    EXPECT_FALSE(object["directory"].asBool());
    EXPECT_EQ(object["frn"].asUInt64(), 0x0001000000000042U);
    EXPECT_EQ(object["oldfrn"].asUInt64(), 0xFFFFFFFFFFFFFFFFU);
}

TEST(Watch, ColoursOnATerminalOrWhenToldTo) {
    ClientRig rig;
    const auto coloured = [&](std::vector<std::string> more, bool terminal) {
        rig.terminal = terminal;
        std::vector<std::string> arguments = rig.WithDatabase({"watch", "--once"});
        arguments.insert(arguments.end(), more.begin(), more.end());
        return rig.Run(arguments).out.find('\x1B') != std::string::npos;
    };
    EXPECT_TRUE(coloured({}, true));
    EXPECT_FALSE(coloured({}, false));
    EXPECT_TRUE(coloured({"--color", "always"}, false));
    EXPECT_FALSE(coloured({"--color", "never"}, true));
    EXPECT_FALSE(coloured({"--json"}, true));
}

TEST(Watch, WrongArgumentsAreRefused) {
    ClientRig rig;
    EXPECT_EQ(rig.Run({"watch"}).exitCode, 2);
    EXPECT_EQ(rig.Run({"watch", "--user", "anna"}).exitCode, 2);
    EXPECT_EQ(rig.Run(rig.WithDatabase({"watch", "--color", "blue"})).exitCode, 2);
    EXPECT_EQ(rig.Run(rig.WithDatabase({"watch", "--since", "x"})).exitCode, 2);
}

}  // namespace
}  // namespace tavi::client
