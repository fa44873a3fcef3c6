// SQLite and digests of the simulated machine: the real libraries, on the files of the host's part, with faults and an
// account of what is open. A path of a volume in memory cannot be opened (result 14): see sim_files.h for which is
// which. An open database file cannot be deleted, as on Windows.
//
// A failed open gives a connection all the same, which has to be closed, as SQLite's does. After an injected failure
// Errcode answers the injected code.
//
// When the process dies, the database files stay as they were at that moment: what was not committed is gone. When the
// machine loses power (LosePowerAtDeath), they are set back to what was synchronised (sqlite_disk.h, whose tracking has
// to be on from before the first connection).
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/native_digest.h"
#include "platform/native_sqlite.h"
#include "sim/core.h"
#include "sim/sim_files.h"

namespace tavi::sim {

class SimSqlite final : public platform::Sqlite {
public:
    SimSqlite(Core& core, SimFiles& files);
    ~SimSqlite() override;

    int Config(int option, int value) override;
    int RegisterVfsRefusing(int openFlags) override;
    int OpenV2(const std::string& utf8Path, sqlite3** database, int flags) override;
    int CloseV2(sqlite3* database) override;
    int Errcode(sqlite3* database) override;
    int Exec(sqlite3* database, const char* sql, char** errorMessage) override;
    void Free(void* memory) override;
    int BusyHandler(sqlite3* database, platform::BusyHandlerFunction handler, void* context) override;
    int DbConfig(sqlite3* database, int option, int value) override;
    int GetAutocommit(sqlite3* database) override;
    int PrepareV2(sqlite3* database, const char* sql, int bytes, sqlite3_stmt** statement) override;
    int BindText16(sqlite3_stmt* statement, int index, const char16_t* text) override;
    int BindInt(sqlite3_stmt* statement, int index, std::int32_t value) override;
    int BindInt64(sqlite3_stmt* statement, int index, std::int64_t value) override;
    int Step(sqlite3_stmt* statement) override;
    int Reset(sqlite3_stmt* statement) override;
    int Finalize(sqlite3_stmt* statement) override;
    const char16_t* ColumnText16(sqlite3_stmt* statement, int column) override;
    std::int32_t ColumnInt(sqlite3_stmt* statement, int column) override;
    std::int64_t ColumnInt64(sqlite3_stmt* statement, int column) override;

    // The next death of the process is one of the whole machine.
    void LosePowerAtDeath(bool lose) { losePower_ = lose; }

    void AddLeaks(std::vector<std::string>& leaks) const;
    // For the machine. At the process's death: keep the files as they are; later, with no thread left: close all.
    void KeepFiles();
    void CloseAll();

private:
    struct Connection {
        std::u16string path;  // empty when it holds no file
        std::filesystem::path hostPath;
        platform::BusyHandlerFunction busyHandler = nullptr;
        void* busyContext = nullptr;
        int injected = 0;  // what Errcode answers instead of the library
        std::set<sqlite3_stmt*> statements;
        SimSqlite* owner = nullptr;
        bool closed = false;  // but kept by the library for its statements
    };

    static int OnBusy(void* connection, int count);
    Connection* Find(sqlite3* database);
    Connection* FindByStatement(sqlite3_stmt* statement);
    int OpenMapped(Call& call, const std::string& utf8Path, sqlite3** database, int flags);
    int Injected(Call& call, Connection* connection);
    void Forget(sqlite3* database);

    Core& core_;
    SimFiles& files_;
    platform::NativeSqlite native_;
    std::map<sqlite3*, std::unique_ptr<Connection>> connections_;
    std::map<sqlite3_stmt*, sqlite3*> statements_;
    std::multiset<void*> messages_;
    std::map<std::filesystem::path, std::string> kept_;
    std::map<std::filesystem::path, std::string> synchronised_;  // at the death
    bool died_ = false;
    std::atomic<bool> losePower_ = false;
};

class SimDigest final : public platform::Digest {
public:
    explicit SimDigest(Core& core) : core_(core) {}

    bool InitCrypto(std::uint64_t options) override;
    platform::DigestContext MdCtxNew() override;
    bool DigestInitSha256(platform::DigestContext context) override;
    bool DigestUpdate(platform::DigestContext context, std::span<const std::byte> bytes) override;
    bool DigestFinal(platform::DigestContext context, std::span<std::byte> output, std::uint32_t& length) override;
    void MdCtxFree(platform::DigestContext context) override;

    // The length that DigestFinal reports instead of the real one; 0 takes it back.
    void SetReportedLength(std::uint32_t length);

    void AddLeaks(std::vector<std::string>& leaks) const;
    void FreeAll();

private:
    Core& core_;
    platform::NativeDigest native_;
    std::set<platform::DigestContext> contexts_;
    std::uint32_t reportedLength_ = 0;
};

}  // namespace tavi::sim
