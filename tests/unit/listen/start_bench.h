// A simulated machine on which listening tasks are started: folders, users who have been here before, what the start
// logged. The parts under test are made by the tests, over the machine's platform or their own over that.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ipc/client_message.h"
#include "sim/captured_log.h"
#include "sim/machine.h"
#include "unit/listen/database_view.h"
#include "unit/listen/fake_cycle.h"
#include "unit/listen/log_matching.h"

namespace tavi::test {

class StartBench : public testing::Test {
protected:
    StartBench() {
        machine_.volume().MakeDirectory(u"C:\\Sync");
        machine_.volume().MakeDirectory(u"C:\\Other");
    }

    static ipc::ListenTaskParams Request(std::u16string userId = u"user", std::u16string listenPath = u"C:\\Sync") {
        return {.valid = true,
                .command = 0,
                .userId = std::move(userId),
                .listenPath = std::move(listenPath),
                .databasePath = u"C:\\ProgramData\\Base",
                .recordSplitInterval = 30};
    }

    // A user who has been listening before, at this position; the task has ended.
    void LogInBefore(std::int64_t position, std::u16string userId = u"user") {
        db::SqLite3Operator database(machinesOwn_);
        ASSERT_TRUE(database.InitSqLiteDb(PathOf(userId)));
        ASSERT_TRUE(database.InsertUserTable({.userId = userId, .listenPath = u"C:\\Sync", .usnLocation = position}));
        View(userId).FillTables();
    }

    std::u16string PathOf(std::u16string_view userId = u"user") {
        return DatabasePath(machinesOwn_, u"C:\\ProgramData\\Base", userId);
    }
    DatabaseView View(std::u16string_view userId = u"user") { return {machine_, PathOf(userId)}; }

    std::int64_t NextUsn() {
        return machine_.volume().WithJournal([](auto& journal) { return journal.nextUsn(); });
    }

    // What was logged as an error by the start itself.
    std::vector<sim::LogLine> StartErrors() const {
        std::vector<sim::LogLine> errors = Errors(log_);
        std::erase_if(errors, [](const sim::LogLine& line) { return line.classTag != "ListenServiceImpl"; });
        return errors;
    }

    sim::CapturedLog log_;
    sim::Machine machine_;
    platform::Platform machinesOwn_ = machine_.platform();
    CycleScript script_;
};

}  // namespace tavi::test
