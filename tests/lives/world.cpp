#include "lives/world.h"

#include <sqlite3.h>

#include <algorithm>

#include "platform/constants.h"
#include "service/entry.h"
#include "sim/sqlite_disk.h"
#include "unit/ipc/frame_builder.h"
#include "util/sha256.h"

namespace tavi::lives {

namespace {

constexpr std::uint32_t kClientProcess = 1234;
constexpr const char16_t* kPublisher = u"Test Publisher";
constexpr const char16_t* kClientProgram = u"C:\\Client.exe";
constexpr std::int64_t kPatience = 900000;
constexpr std::int64_t kCheckpointMs = 5000;
// Where the volume shows what the service writes: its own files are on the host's disk.
constexpr const char16_t* kOwnDatabase = u"\\ProgramData\\Base\\ListenService.dat";
constexpr const char16_t* kOwnLog = u"\\ProgramData\\Log\\service.log";

std::string AsMessage(const test::Bytes& bytes) {
    std::string message;
    for (const std::byte byte : bytes) {
        message.push_back(static_cast<char>(byte));
    }
    return message;
}

sim::MachineOptions OptionsOf(const Plan& plan) {
    sim::SqliteDisk::Install();
    return {plan.seed * 2 + 1, plan.everyThreadAtOnce ? sim::Concurrency::kFree : sim::Concurrency::kBaton};
}

bool MayLosePower(const Plan& plan) {
    return std::any_of(plan.events.begin(), plan.events.end(),
                       [](const Event& event) { return event.act == Act::kPowerLoss; });
}

}  // namespace

World::World(const Plan& plan)
    : plan_(plan),
      machine_(OptionsOf(plan)),
      platform_(machine_.platform()),
      truth_(machine_.volume()),
      workload_(
          machine_.volume(), [this](std::int64_t milliseconds) { Sleep(milliseconds); }, [this] { truth_.Pull(); }) {
    sim::SqliteDisk::TrackSynchronised(MayLosePower(plan));
    sim::SqliteDisk::SetFull(false);
    WaitForLocks(plan.everyThreadAtOnce);
    volume().MakeFile(kClientProgram, "MZ");
    machine_.trust().SetSignature(kClientProgram, 0, kPublisher);
    machine_.trust().AddProcess(kClientProcess, kClientProgram);
    for (const char16_t* folder : kFolders) {
        volume().MakeDirectory(folder);
    }
    MakeVolume();
    truth_.Pull();
    // Now, while nothing fails.
    for (const std::size_t user : {0U, 1U}) {
        const std::u16string digest = util::ShA256Encode(platform_, UserId(user));
        files_[user] =
            machine_.files().HostPath(std::u16string(kDatabaseBase) + u"\\" + digest + u"\\ListenService.dat");
    }
}

void World::MakeVolume() {
    volume().TickEvery(plan_.coarseClock ? sim::NtfsVolume::kUsualTick : 1);
    volume().NameRecycleBin(plan_.mixedCaseBin ? u"$Recycle.Bin" : u"$RECYCLE.BIN");
    volume().WithJournal([this](sim::EmulatedJournal& journal) {
        journal.behaviour().mostBytesPerRead = plan_.readLimit;
        journal.behaviour().trimsAtCheckpoints = plan_.journalSize != 0;
        journal.Create(plan_.journalSize, plan_.journalSize / 8);
    });
    if (plan_.ownWrites) {
        volume().MakeDirectory(u"\\ProgramData\\Base");
        volume().MakeDirectory(u"\\ProgramData\\Log");
        volume().MakeFile(kOwnLog, "first line");
        volume().MakeFile(kOwnDatabase, "tables");
        ownWrites_ = true;
    }
    machine_.faults().Observe([this](std::string_view call) {
        if (call == "Sqlite.CloseV2" && ownWrites_) {
            WriteAsTheService();
        }
    });
}

// What a save leaves in the journal: its log beside the database comes and goes, and a line goes to the log file.
void World::WriteAsTheService() {
    const std::u16string log = std::u16string(kOwnDatabase) + u"-wal";
    volume().MakeFile(log, "frames");
    volume().Write(kOwnDatabase, "pages", sim::WriteKind::kOverwrite);
    volume().Remove(log);
    volume().Write(kOwnLog, "line", sim::WriteKind::kOverwrite);
}

void World::FloodJournal() {
    constexpr const char16_t* kNoise = u"C:\\Elsewhere\\flood.log";
    volume().MakeFile(kNoise);
    const std::int64_t target = journalNext();
    while (plan_.journalSize != 0 && journalActive() && journalFirst() < target) {
        for (int i = 0; i < 100; ++i) {
            volume().Write(kNoise, "noise", sim::WriteKind::kOverwrite);
        }
        volume().WithJournal([](sim::EmulatedJournal& journal) { journal.Checkpoint(); });
    }
    truth_.Pull();
}

World::~World() {
    machine_.faults().Observe({});
    Unlock();
    sim::SqliteDisk::SetFull(false);
    sim::SqliteDisk::TrackSynchronised(false);
}

void World::RunTimers() {
    for (std::size_t i = 0; i < timers_.size();) {
        if (timers_[i].first > machine_.NowMilliseconds()) {
            ++i;
            continue;
        }
        const std::function<void()> action = std::move(timers_[i].second);
        timers_.erase(timers_.begin() + static_cast<std::ptrdiff_t>(i));
        action();
    }
}

void World::Sleep(std::int64_t milliseconds) {
    const std::int64_t end = machine_.NowMilliseconds() + milliseconds;
    while (machine_.NowMilliseconds() < end) {
        std::int64_t until = end;
        for (const auto& [time, action] : timers_) {
            until = std::min(until, std::max(time, machine_.NowMilliseconds()));
        }
        machine_.Sleep(until - machine_.NowMilliseconds());
        RunTimers();
        if (machine_.NowMilliseconds() >= nextCheckpoint_) {
            nextCheckpoint_ = machine_.NowMilliseconds() + kCheckpointMs;
            truth_.Pull();
            volume().WithJournal([](sim::EmulatedJournal& journal) { journal.Checkpoint(); });
        }
    }
}

void World::StartProcess() {
    process_ = machine_.StartProcess([this] {
        service::DumpHandleHolder holder(platform_);
        service::RunEntryPoint(platform_, holder, {}, kPublisher);
    });
    processStarted_ = true;
    machine_.WaitUntil([this] { return machine_.dead() || machine_.services().state() == platform::kServiceRunning; },
                       60000, 10);
    Sleep(10);  // until all its threads wait
    handlesWithoutTask_ = machine_.OpenHandles();
}

// Those that this thread could not end in time while it waits for an answer.
void World::EndShortTroubles() {
    Unlock();
    volume().WithJournal([](sim::EmulatedJournal& journal) { journal.behaviour().failReadsWith = 0; });
}

std::optional<std::int64_t> World::Stop() {
    EndShortTroubles();
    const std::int64_t before = machine_.NowMilliseconds();
    // Not SendControl: a process that dies in the handler would keep this thread waiting.
    machine_.services().PostControl(platform::kServiceControlStop);
    const bool ended = machine_.WaitUntil(
        [this] { return machine_.dead() || machine_.services().state() == platform::kServiceStopped; }, kPatience, 50);
    if (machine_.dead() || !ended) {
        return ended ? std::nullopt : std::optional(kPatience);
    }
    machine_.Join(process_);
    processStarted_ = false;
    return machine_.NowMilliseconds() - before;
}

void World::LosePowerAtCall(std::uint64_t call) {
    machine_.sqlite().LosePowerAtDeath(true);
    machine_.faults().KillAtCall(call);
}

void World::Restart() {
    Unlock();
    machine_.Restart();
    machine_.sqlite().LosePowerAtDeath(false);
    processStarted_ = false;
    EndTroubles();
}

std::optional<std::uint32_t> World::Ask(std::uint32_t command, std::u16string_view json) {
    EndShortTroubles();
    sim::PipeClient client(machine_.pipes());
    std::string reply;
    if (client.Connect(kClientProcess, 5000) != 0 || client.WriteMessage(AsMessage(test::Frame(command, json))) != 0 ||
        client.ReadMessage(reply, kPatience) != 0 || reply.size() != 8) {
        return std::nullopt;
    }
    return static_cast<unsigned char>(reply[4]);
}

std::optional<std::uint32_t> World::AskStart(std::size_t user, std::size_t folder) {
    log_.ForgetStart();
    const std::u16string interval(1, static_cast<char16_t>(u'0' + plan_.intervalSeconds));
    return Ask(0, test::StartJson(UserId(user), FolderName(folder), kDatabaseBase, interval));
}

std::u16string World::FolderName(std::size_t folder) const {
    return folder == 0 && !plan_.listenAs.empty() ? plan_.listenAs : kFolders[folder];
}

std::optional<std::uint32_t> World::AskFinish() {
    return Ask(1, {});
}

std::optional<std::uint32_t> World::AskStatus() {
    return Ask(2, {});
}

std::u16string World::UserId(std::size_t user) const {
    return user == 0 ? u"first user" : u"second user";
}

std::filesystem::path World::DatabaseFile(std::size_t user) {
    return files_.at(user);
}

bool World::DeleteRows(std::size_t user) {
    const Database database = locker_ ? nullptr : OpenDatabase(DatabaseFile(user));
    return database &&
           sqlite3_exec(database.get(), "DELETE FROM fileChangeRecord", nullptr, nullptr, nullptr) == SQLITE_OK;
}

void World::LockDatabase(std::size_t user, std::int64_t milliseconds) {
    Unlock();
    locker_ = OpenDatabase(DatabaseFile(user));
    if (locker_ && sqlite3_exec(locker_.get(), "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK) {
        timers_.emplace_back(machine_.NowMilliseconds() + milliseconds, [this] { Unlock(); });
    } else {
        locker_ = nullptr;
    }
}

void World::Unlock() {
    if (locker_) {
        sqlite3_exec(locker_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
        locker_ = nullptr;
    }
}

void World::FillDisk(std::int64_t milliseconds) {
    sim::SqliteDisk::SetFull(true);
    timers_.emplace_back(machine_.NowMilliseconds() + milliseconds, [] { sim::SqliteDisk::SetFull(false); });
}

void World::FailReads(std::int64_t milliseconds) {
    constexpr std::uint32_t kIoDevice = 1117;
    const auto failWith = [this](std::uint32_t code) {
        volume().WithJournal([&](sim::EmulatedJournal& journal) { journal.behaviour().failReadsWith = code; });
    };
    failWith(kIoDevice);
    timers_.emplace_back(machine_.NowMilliseconds() + milliseconds, [failWith] { failWith(0); });
}

void World::FailSqlite(const std::string& call, std::uint32_t code, std::uint64_t times) {
    for (std::uint64_t nth = 1; nth <= times; ++nth) {
        machine_.faults().Fail({.call = call, .nth = nth, .code = code});
    }
    sqliteFailing_ = true;
}

void World::EndTroubles() {
    for (auto& [time, action] : std::exchange(timers_, {})) {
        action();
    }
    machine_.faults().Clear();
    log_.FailDumps(0);
    sqliteFailing_ = false;
}

std::uint64_t World::journalId() {
    return volume().WithJournal([](sim::EmulatedJournal& journal) { return journal.journalId(); });
}

std::int64_t World::journalFirst() {
    return volume().WithJournal([](sim::EmulatedJournal& journal) { return journal.firstUsn(); });
}

std::int64_t World::journalNext() {
    return volume().WithJournal([](sim::EmulatedJournal& journal) { return journal.nextUsn(); });
}

bool World::IsAtTheEnd(const Image& image, std::size_t folder) {
    truth_.Pull();
    const bool inThisJournal = image.position >= journalFirst() && image.position <= journalNext();
    return inThisJournal && (image.position == journalNext() ||
                             (plan_.ownWrites && truth_.Inside(kFolders[folder], image.position).empty()));
}

bool World::journalActive() {
    return volume().WithJournal([](sim::EmulatedJournal& journal) { return journal.active(); });
}

}  // namespace tavi::lives
