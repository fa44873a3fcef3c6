#include "sim/sim_sqlite.h"

#include <sqlite3.h>

#include <fstream>
#include <sstream>
#include <utility>

#include "imports/type_convert.h"
#include "platform/constants.h"
#include "sim/sqlite_disk.h"

namespace tavi::sim {

using namespace platform;

namespace {

constexpr std::array<const char*, 3> kSuffixes = {"", "-wal", "-shm"};

bool IsFile(const std::string& path) {
    return !path.empty() && path != ":memory:" && path.substr(0, 5) != "file:";
}

}  // namespace

SimSqlite::SimSqlite(Core& core, SimFiles& files) : core_(core), files_(files) {}

SimSqlite::~SimSqlite() {
    CloseAll();
}

SimSqlite::Connection* SimSqlite::Find(sqlite3* database) {
    const auto found = connections_.find(database);
    return found == connections_.end() ? nullptr : found->second.get();
}

SimSqlite::Connection* SimSqlite::FindByStatement(sqlite3_stmt* statement) {
    const auto found = statements_.find(statement);
    return found == statements_.end() ? nullptr : Find(found->second);
}

// Goes into the library without the machine's lock: the library holds its connection's own lock while it calls OnBusy,
// which takes the machine's.
template <class Function>
static auto InLibrary(Call& call, Function function) {
    call.lock().unlock();
    const auto result = function();
    call.lock().lock();
    return result;
}

int SimSqlite::Injected(Call& call, Connection* connection) {
    if (connection != nullptr) {
        connection->injected = static_cast<int>(call.code());
    }
    return static_cast<int>(call.code());
}

// The library's settings belong to the whole process, which outlives a machine: the call is recorded and answered.
int SimSqlite::Config(int, int) {
    const Call call(core_, "Sqlite.Config", SQLITE_MISUSE);
    return call.failed() ? static_cast<int>(call.code()) : SQLITE_OK;
}

int SimSqlite::RegisterVfsRefusing(int openFlags) {
    Call call(core_, "Sqlite.RegisterVfsRefusing", SQLITE_ERROR);
    return call.failed() ? static_cast<int>(call.code())
                         : InLibrary(call, [&] { return native_.RegisterVfsRefusing(openFlags); });
}

int SimSqlite::OpenV2(const std::string& utf8Path, sqlite3** database, int flags) {
    Call call(core_, "Sqlite.OpenV2", SQLITE_CANTOPEN);
    if (!call.failed() && IsFile(utf8Path)) {
        return OpenMapped(call, utf8Path, database, flags);
    }
    const int result = InLibrary(
        call, [&] { return native_.OpenV2(":memory:", database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE); });
    if (*database != nullptr) {
        auto& connection = connections_[*database] = std::make_unique<Connection>();
        connection->owner = this;
        if (call.failed()) {
            return Injected(call, connection.get());
        }
    }
    return call.failed() ? static_cast<int>(call.code()) : result;
}

int SimSqlite::OpenMapped(Call& call, const std::string& utf8Path, sqlite3** database, int flags) {
    const std::u16string path = SimFiles::Normalise(TypeConvert::UTF8ToUnicode(utf8Path));
    const bool onHost = files_.VolumeFor(path) == nullptr && path.size() > 2 && path[1] == u':';
    const std::filesystem::path hostPath = files_.HostPathLocked(path);
    const std::string file = onHost ? hostPath.string() : "/nowhere/at/all";
    const int result = InLibrary(call, [&] { return native_.OpenV2(file, database, flags); });
    if (*database == nullptr) {
        return result;
    }
    auto& connection = connections_[*database] = std::make_unique<Connection>();
    connection->owner = this;
    if (result == SQLITE_OK) {
        connection->path = path;
        connection->hostPath = hostPath;
        for (const char* suffix : kSuffixes) {
            files_.HoldPath(path + TypeConvert::UTF8ToUnicode(suffix));
        }
    }
    return result;
}

void SimSqlite::Forget(sqlite3* database) {
    const auto found = connections_.find(database);
    if (found == connections_.end()) {
        return;
    }
    for (sqlite3_stmt* statement : found->second->statements) {
        statements_.erase(statement);
    }
    if (!found->second->path.empty()) {
        for (const char* suffix : kSuffixes) {
            files_.ReleasePath(found->second->path + TypeConvert::UTF8ToUnicode(suffix));
        }
    }
    connections_.erase(found);
}

int SimSqlite::CloseV2(sqlite3* database) {
    Call call(core_, "Sqlite.CloseV2", SQLITE_BUSY, CallKind::kReleases);
    if (database == nullptr) {
        return SQLITE_OK;
    }
    if (call.dead()) {
        return SQLITE_OK;
    }
    Connection* connection = Find(database);
    if (connection == nullptr) {
        return SQLITE_MISUSE;
    }
    if (!connection->statements.empty()) {
        // The library keeps such a connection until its last statement goes, and so does the account of what is open.
        connection->closed = true;
        return InLibrary(call, [&] { return native_.CloseV2(database); });
    }
    const int result = InLibrary(call, [&] { return native_.CloseV2(database); });
    Forget(database);
    return call.failed() ? static_cast<int>(call.code()) : result;
}

int SimSqlite::Errcode(sqlite3* database) {
    const Call call(core_, "Sqlite.Errcode", 0, CallKind::kCannotFail);
    const Connection* connection = Find(database);
    if (connection != nullptr && connection->injected != 0) {
        return connection->injected;
    }
    return call.dead() ? SQLITE_IOERR : native_.Errcode(database);
}

int SimSqlite::Exec(sqlite3* database, const char* sql, char** errorMessage) {
    Call call(core_, "Sqlite.Exec", SQLITE_IOERR);
    Connection* connection = Find(database);
    if (call.failed()) {
        // A failure comes with a message, which the library must have allocated; any statement that it refuses has one.
        if (errorMessage != nullptr && connection != nullptr && !call.dead()) {
            InLibrary(call, [&] { return native_.Exec(database, "an injected failure", errorMessage); });
            messages_.insert(*errorMessage);
        } else if (errorMessage != nullptr) {
            *errorMessage = nullptr;
        }
        return Injected(call, connection);
    }
    if (connection != nullptr) {
        connection->injected = 0;
    }
    const int result = InLibrary(call, [&] { return native_.Exec(database, sql, errorMessage); });
    if (errorMessage != nullptr && *errorMessage != nullptr) {
        messages_.insert(*errorMessage);
    }
    return result;
}

void SimSqlite::Free(void* memory) {
    const Call call(core_, "Sqlite.Free", 0, CallKind::kReleases);
    if (const auto found = messages_.find(memory); found != messages_.end()) {
        messages_.erase(found);
    }
    native_.Free(memory);
}

// The library calls back through C, where nothing may be thrown: a process that dies in here is told so later.
int SimSqlite::OnBusy(void* context, int count) {
    auto* connection = static_cast<Connection*>(context);
    Core& core = connection->owner->core_;
    std::shared_ptr<SimThread> thread;
    {
        Scheduler::Lock lock = core.scheduler.Enter();
        if (core.scheduler.dead(lock)) {
            return 0;
        }
        thread = core.scheduler.Current(lock);
        ++thread->callbackDepth;
    }
    const int retry = connection->busyHandler(connection->busyContext, count);
    Scheduler::Lock lock = core.scheduler.Enter();
    --thread->callbackDepth;
    return core.scheduler.dead(lock) ? 0 : retry;
}

int SimSqlite::BusyHandler(sqlite3* database, BusyHandlerFunction handler, void* context) {
    Call call(core_, "Sqlite.BusyHandler", SQLITE_ERROR);
    Connection* connection = Find(database);
    if (call.failed() || connection == nullptr) {
        return connection == nullptr ? SQLITE_MISUSE : Injected(call, connection);
    }
    connection->injected = 0;
    connection->busyHandler = handler;
    connection->busyContext = context;
    return InLibrary(call,
                     [&] { return native_.BusyHandler(database, handler == nullptr ? nullptr : &OnBusy, connection); });
}

int SimSqlite::DbConfig(sqlite3* database, int option, int value) {
    Call call(core_, "Sqlite.DbConfig", SQLITE_ERROR);
    Connection* connection = Find(database);
    if (call.failed() || connection == nullptr) {
        return connection == nullptr ? SQLITE_MISUSE : Injected(call, connection);
    }
    connection->injected = 0;
    return InLibrary(call, [&] { return native_.DbConfig(database, option, value); });
}

int SimSqlite::GetAutocommit(sqlite3* database) {
    const Call call(core_, "Sqlite.GetAutocommit", 0, CallKind::kCannotFail);
    return call.dead() || Find(database) == nullptr ? 1 : native_.GetAutocommit(database);
}

int SimSqlite::PrepareV2(sqlite3* database, const char* sql, int bytes, sqlite3_stmt** statement) {
    Call call(core_, "Sqlite.PrepareV2", SQLITE_ERROR);
    Connection* connection = Find(database);
    *statement = nullptr;
    if (call.failed() || connection == nullptr) {
        return connection == nullptr ? SQLITE_MISUSE : Injected(call, connection);
    }
    connection->injected = 0;
    const int result = InLibrary(call, [&] { return native_.PrepareV2(database, sql, bytes, statement); });
    if (*statement != nullptr) {
        statements_[*statement] = database;
        connection->statements.insert(*statement);
    }
    return result;
}

int SimSqlite::BindText16(sqlite3_stmt* statement, int index, const char16_t* text) {
    Call call(core_, "Sqlite.BindText16", SQLITE_NOMEM);
    if (call.failed()) {
        return Injected(call, FindByStatement(statement));
    }
    return InLibrary(call, [&] { return native_.BindText16(statement, index, text); });
}

int SimSqlite::BindInt(sqlite3_stmt* statement, int index, std::int32_t value) {
    Call call(core_, "Sqlite.BindInt", SQLITE_NOMEM);
    if (call.failed()) {
        return Injected(call, FindByStatement(statement));
    }
    return InLibrary(call, [&] { return native_.BindInt(statement, index, value); });
}

int SimSqlite::BindInt64(sqlite3_stmt* statement, int index, std::int64_t value) {
    Call call(core_, "Sqlite.BindInt64", SQLITE_NOMEM);
    if (call.failed()) {
        return Injected(call, FindByStatement(statement));
    }
    return InLibrary(call, [&] { return native_.BindInt64(statement, index, value); });
}

int SimSqlite::Step(sqlite3_stmt* statement) {
    Call call(core_, "Sqlite.Step", SQLITE_IOERR);
    Connection* connection = FindByStatement(statement);
    if (call.failed()) {
        return Injected(call, connection);
    }
    if (connection != nullptr) {
        connection->injected = 0;
    }
    const int result = InLibrary(call, [&] { return native_.Step(statement); });
    return result;
}

int SimSqlite::Reset(sqlite3_stmt* statement) {
    Call call(core_, "Sqlite.Reset", SQLITE_IOERR, CallKind::kReleases);
    if (call.dead()) {
        return SQLITE_OK;
    }
    const int result = InLibrary(call, [&] { return native_.Reset(statement); });
    return call.failed() ? static_cast<int>(call.code()) : result;
}

int SimSqlite::Finalize(sqlite3_stmt* statement) {
    Call call(core_, "Sqlite.Finalize", SQLITE_IOERR, CallKind::kReleases);
    if (call.dead()) {
        return SQLITE_OK;
    }
    Connection* connection = FindByStatement(statement);
    sqlite3* database = connection == nullptr ? nullptr : statements_[statement];
    statements_.erase(statement);
    const int result = InLibrary(call, [&] { return native_.Finalize(statement); });
    if (connection != nullptr) {
        connection->statements.erase(statement);
        if (connection->closed && connection->statements.empty()) {
            Forget(database);
        }
    }
    return call.failed() ? static_cast<int>(call.code()) : result;
}

const char16_t* SimSqlite::ColumnText16(sqlite3_stmt* statement, int column) {
    Call call(core_, "Sqlite.ColumnText16", SQLITE_NOMEM);
    if (call.failed()) {
        Injected(call, FindByStatement(statement));
        return nullptr;
    }
    return InLibrary(call, [&] { return native_.ColumnText16(statement, column); });
}

std::int32_t SimSqlite::ColumnInt(sqlite3_stmt* statement, int column) {
    Call call(core_, "Sqlite.ColumnInt", 0, CallKind::kCannotFail);
    return call.dead() ? 0 : InLibrary(call, [&] { return native_.ColumnInt(statement, column); });
}

std::int64_t SimSqlite::ColumnInt64(sqlite3_stmt* statement, int column) {
    Call call(core_, "Sqlite.ColumnInt64", 0, CallKind::kCannotFail);
    return call.dead() ? 0 : InLibrary(call, [&] { return native_.ColumnInt64(statement, column); });
}

void SimSqlite::AddLeaks(std::vector<std::string>& leaks) const {
    for (const auto& [database, connection] : connections_) {
        leaks.push_back("database connection: " + Narrow(connection->path));
        for (sqlite3_stmt* statement : connection->statements) {
            const char* sql = sqlite3_sql(statement);
            leaks.push_back(std::string("statement: ") + (sql == nullptr ? "" : sql));
        }
    }
    for (std::size_t i = 0; i < messages_.size(); ++i) {
        leaks.emplace_back("error message of sqlite3_exec");
    }
}

void SimSqlite::KeepFiles() {
    kept_.clear();
    died_ = true;
    synchronised_ = SqliteDisk::Synchronised();
    if (losePower_.exchange(false)) {
        kept_ = synchronised_;
        return;
    }
    for (const auto& [database, connection] : connections_) {
        if (connection->path.empty()) {
            continue;
        }
        for (const char* suffix : {"", "-wal"}) {
            const std::filesystem::path path = connection->hostPath.string() + suffix;
            std::ifstream in(path, std::ios::binary);
            if (in) {
                std::ostringstream bytes;
                bytes << in.rdbuf();
                kept_[path] = bytes.str();
            }
        }
    }
}

// Closing would roll back and clean up, which a dead process does not: the kept files are put back afterwards. The
// shared-memory file is an index of the other one and is made anew.
void SimSqlite::CloseAll() {
    auto connections = std::exchange(connections_, {});
    for (auto& [database, connection] : connections) {
        for (sqlite3_stmt* statement : connection->statements) {
            native_.Finalize(statement);
        }
        if (!connection->path.empty()) {
            for (const char* suffix : kSuffixes) {
                files_.ReleasePath(connection->path + TypeConvert::UTF8ToUnicode(suffix));
            }
        }
        if (!connection->closed) {
            native_.CloseV2(database);
        }
    }
    statements_.clear();
    for (void* message : std::exchange(messages_, {})) {
        native_.Free(message);
    }
    const auto kept = std::exchange(kept_, {});
    for (const auto& [path, bytes] : kept) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    }
    // Closing has synchronised what the dead process never did.
    if (std::exchange(died_, false)) {
        SqliteDisk::Reset(std::exchange(synchronised_, {}));
    }
}

bool SimDigest::InitCrypto(std::uint64_t options) {
    const Call call(core_, "Digest.InitCrypto", 0);
    return !call.failed() && native_.InitCrypto(options);
}

DigestContext SimDigest::MdCtxNew() {
    Call call(core_, "Digest.MdCtxNew", 0);
    if (call.failed()) {
        return kNoDigestContext;
    }
    const DigestContext context = native_.MdCtxNew();
    contexts_.insert(context);
    return context;
}

bool SimDigest::DigestInitSha256(DigestContext context) {
    const Call call(core_, "Digest.DigestInitSha256", 0);
    return !call.failed() && native_.DigestInitSha256(context);
}

bool SimDigest::DigestUpdate(DigestContext context, std::span<const std::byte> bytes) {
    const Call call(core_, "Digest.DigestUpdate", 0);
    return !call.failed() && native_.DigestUpdate(context, bytes);
}

bool SimDigest::DigestFinal(DigestContext context, std::span<std::byte> output, std::uint32_t& length) {
    const Call call(core_, "Digest.DigestFinal", 0);
    if (call.failed() || !native_.DigestFinal(context, output, length)) {
        return false;
    }
    length = reportedLength_ != 0 ? reportedLength_ : length;
    return true;
}

void SimDigest::MdCtxFree(DigestContext context) {
    const Call call(core_, "Digest.MdCtxFree", 0, CallKind::kReleases);
    contexts_.erase(context);
    native_.MdCtxFree(context);
}

void SimDigest::SetReportedLength(std::uint32_t length) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    reportedLength_ = length;
}

void SimDigest::AddLeaks(std::vector<std::string>& leaks) const {
    leaks.insert(leaks.end(), contexts_.size(), "digest context");
}

void SimDigest::FreeAll() {
    for (const DigestContext context : std::exchange(contexts_, {})) {
        native_.MdCtxFree(context);
    }
}

}  // namespace tavi::sim
