#include "imports/class_log.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "imports/sync_panel_log.h"
#include "sim/captured_log.h"
#include "unit/records/cycle/failing_allocation.h"

namespace Drive {
namespace {

using tavi::records::testing::FailingAllocation;

class ThrowingBackend final : public LogBackend {
public:
    void Init() override {}
    void WriteErrorLog(std::string_view, std::string_view, std::string_view) override {
        ++asked;
        throw std::runtime_error("no log");
    }
    void WriteTraceLog(std::string_view) override {}
    void WriteNetLog(std::string_view) override {}
    void WriteSyncLog(std::string_view, std::string_view, std::string_view) override {}
    std::u16string GetLogPath() override { return {}; }

    int asked = 0;
};

// Notes what it is given without an allocation.
class NotingBackend final : public LogBackend {
public:
    NotingBackend() { lines.reserve(4); }
    void Init() override {}
    void WriteErrorLog(std::string_view, std::string_view, std::string_view message) override {
        lines.push_back(message.size());
    }
    void WriteTraceLog(std::string_view) override {}
    void WriteNetLog(std::string_view) override {}
    void WriteSyncLog(std::string_view, std::string_view, std::string_view) override {}
    std::u16string GetLogPath() override { return {}; }

    std::vector<std::size_t> lines;  // their lengths
};

TEST(ClassLog, EveryLineCarriesTheTag) {
    tavi::sim::CapturedLog log;
    constexpr ClassLog kLog("Tag");
    kLog.Error("Function", "plain");
    kLog.Error("Function", "error code is ", 5);
    kLog.Error("Function", "a negative one is ", std::numeric_limits<std::int64_t>::min());
    kLog.Error("Function", "ends in ", std::string_view("a text"));
    std::vector<std::string> texts;
    for (const tavi::sim::LogLine& line : log.Lines()) {
        EXPECT_EQ(line.kind, tavi::sim::LogKind::kError);
        EXPECT_EQ(line.classTag, "Tag");
        EXPECT_EQ(line.function, "Function");
        texts.push_back(line.text);
    }
    EXPECT_EQ(texts, (std::vector<std::string>{"plain", "error code is 5", "a negative one is -9223372036854775808",
                                               "ends in a text"}));
}

TEST(ClassLog, ABackendThatThrowsEndsNothing) {
    ThrowingBackend backend;
    SyncPanelLog::Install(&backend);
    constexpr ClassLog kLog("Tag");
    kLog.Error("Function", "plain");
    kLog.Error("Function", "error code is ", 5);
    kLog.Error("Function", "ends in ", std::string_view("a text"));
    SyncPanelLog::Install(nullptr);
    EXPECT_EQ(backend.asked, 3);
}

TEST(ClassLog, WithoutMemoryTheLineGoesWithoutItsEnd) {
    NotingBackend backend;
    SyncPanelLog::Install(&backend);
    const std::string message(100, 'm');
    const std::string end(100, 'e');
    {
        const FailingAllocation failing(1);
        ClassLog("Tag").Error("Function", message, std::string_view(end));
        EXPECT_TRUE(failing.Fired());
    }
    {
        const FailingAllocation failing(1);
        ClassLog("Tag").Error("Function", message, 1234567890123456789);
        EXPECT_TRUE(failing.Fired());
    }
    SyncPanelLog::Install(nullptr);
    EXPECT_EQ(backend.lines, (std::vector<std::size_t>{100, 100}));
}

}  // namespace
}  // namespace Drive
