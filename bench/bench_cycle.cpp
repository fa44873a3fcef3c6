// A whole cycle of 10,000 new files: what it spends outside SQLite against what it spends inside. The journal and its
// directories are simulated, the database is a real one in a temporary folder, on a connection to SQLite that takes
// the time of every call.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>

#include "platform/native_sqlite.h"
#include "ratio_table.h"
#include "records/cycle/file_change_record.h"
#include "sim/machine.h"
#include "support/platform_with.h"

namespace {

using namespace tavi;

constexpr std::size_t kFiles = 10'000;
constexpr std::size_t kDirectories = 200;
constexpr const char* kInside = "SQLite's part of a cycle";
constexpr const char* kOutside = "the rest of the cycle";

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

// SQLite with the time that was spent in it. Every database lies in one place, whatever its path.
class TimedSqlite final : public platform::Sqlite {
public:
    explicit TimedSqlite(std::string file) : file_(std::move(file)) {}

    double seconds = 0;

    int Config(int option, int value) override { return native_.Config(option, value); }
    int RegisterVfsRefusing(int openFlags) override { return native_.RegisterVfsRefusing(openFlags); }
    int OpenV2(const std::string&, sqlite3** database, int flags) override {
        return Timed([&] { return native_.OpenV2(file_, database, flags); });
    }
    int CloseV2(sqlite3* database) override {
        return Timed([&] { return native_.CloseV2(database); });
    }
    int Errcode(sqlite3* database) override { return native_.Errcode(database); }
    int Exec(sqlite3* database, const char* sql, char** errorMessage) override {
        return Timed([&] { return native_.Exec(database, sql, errorMessage); });
    }
    void Free(void* memory) override { native_.Free(memory); }
    int BusyHandler(sqlite3* database, platform::BusyHandlerFunction handler, void* context) override {
        return native_.BusyHandler(database, handler, context);
    }
    int DbConfig(sqlite3* database, int option, int value) override {
        return native_.DbConfig(database, option, value);
    }
    int GetAutocommit(sqlite3* database) override { return native_.GetAutocommit(database); }
    int PrepareV2(sqlite3* database, const char* sql, int bytes, sqlite3_stmt** statement) override {
        return Timed([&] { return native_.PrepareV2(database, sql, bytes, statement); });
    }
    int BindText16(sqlite3_stmt* statement, int index, const char16_t* text) override {
        return Timed([&] { return native_.BindText16(statement, index, text); });
    }
    int BindInt(sqlite3_stmt* statement, int index, std::int32_t value) override {
        return Timed([&] { return native_.BindInt(statement, index, value); });
    }
    int BindInt64(sqlite3_stmt* statement, int index, std::int64_t value) override {
        return Timed([&] { return native_.BindInt64(statement, index, value); });
    }
    int Step(sqlite3_stmt* statement) override {
        return Timed([&] { return native_.Step(statement); });
    }
    int Reset(sqlite3_stmt* statement) override {
        return Timed([&] { return native_.Reset(statement); });
    }
    int Finalize(sqlite3_stmt* statement) override {
        return Timed([&] { return native_.Finalize(statement); });
    }
    const char16_t* ColumnText16(sqlite3_stmt* statement, int column) override {
        return native_.ColumnText16(statement, column);
    }
    std::int32_t ColumnInt(sqlite3_stmt* statement, int column) override {
        return native_.ColumnInt(statement, column);
    }
    std::int64_t ColumnInt64(sqlite3_stmt* statement, int column) override {
        return native_.ColumnInt64(statement, column);
    }

private:
    template <typename Call>
    int Timed(Call call) {
        const Clock::time_point begin = Clock::now();
        const int result = call();
        seconds += SecondsSince(begin);
        return result;
    }

    platform::NativeSqlite native_;
    std::string file_;
};

std::u16string Digits(std::size_t number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

// One cycle on a machine of its own; seconds inside and outside SQLite.
std::pair<double, double> RunCycle() {
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "tavi-bench-cycle";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    sim::Machine machine;
    platform::Platform real = machine.platform();
    TimedSqlite sqlite((folder / "ListenService.dat").string());
    platform::Platform platform = test::PlatformWith(real, sqlite);
    machine.volume().MakeDirectory(u"C:\\Sync");
    db::SqLite3Operator database(platform);
    database.InitSqLiteDb(u"D:\\Data\\ListenService.dat");
    database.InsertUserTable({u"user", u"C:\\Sync", 0, 0});
    const platform::Usn end =
        machine.volume().WithJournal([](sim::EmulatedJournal& journal) { return journal.nextUsn(); });
    std::atomic<bool> abandon{false};
    records::FileChangeRecord cycle(platform, database, {u"user", u"C:\\Sync", end, 2000}, abandon,
                                    records::FileChangeRecord::CurrentService::kPresent);
    cycle.Init();
    for (std::size_t i = 0; i < kFiles; ++i) {
        const std::u16string directory = u"C:\\Sync\\Projects\\Customer " + Digits(i % kDirectories);
        machine.volume().MakeDirectory(directory);
        machine.volume().MakeFile(directory + u"\\Quarterly report " + Digits(i) + u".docx");
    }
    sqlite.seconds = 0;
    const Clock::time_point begin = Clock::now();
    cycle.GetAndHandleUSNRecord();
    const double total = SecondsSince(begin);
    return {sqlite.seconds, total - sqlite.seconds};
}

}  // namespace

int main(int argc, char** argv) {
    bench::RatioTable table;
    benchmark::RegisterBenchmark(kInside, [](benchmark::State& state) {
        for ([[maybe_unused]] auto iteration : state) {
            state.SetIterationTime(RunCycle().first);
        }
    })->UseManualTime();
    benchmark::RegisterBenchmark(kOutside, [](benchmark::State& state) {
        for ([[maybe_unused]] auto iteration : state) {
            state.SetIterationTime(RunCycle().second);
        }
    })->UseManualTime();
    table.AtMost(kOutside, kInside, 0.5);
    return table.Run(argc, argv);
}
