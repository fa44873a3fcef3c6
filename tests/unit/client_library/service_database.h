// A user's database as the service makes and fills it, with the service's own operator, for tests of what reads it; and
// a second way into the file, as whoever else deletes rows or locks it.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "db/sqlite3_operator.h"
#include "sim/captured_log.h"
#include "sim/machine.h"

namespace tavi::client {

class ServiceDatabase {
public:
    // `created`: whether the service has been there already. `where`: on the simulated machine, a path of its host
    // part.
    explicit ServiceDatabase(bool created = true, std::u16string where = u"D:\\Data\\user\\ListenService.dat");
    ~ServiceDatabase();
    ServiceDatabase(const ServiceDatabase&) = delete;
    ServiceDatabase& operator=(const ServiceDatabase&) = delete;

    void Create();
    void Delete();  // as an uninstallation does
    // One cycle of the service that stores these as new files; a name that is there already is reported again.
    bool Save(const std::vector<std::u16string>& created);
    bool SaveRecords(const records::FileChangeInfoList& changes);
    // On a connection of somebody else.
    void Run(const std::string& sql);
    // Locks the whole file, as a program does that does not know better, until Unlock.
    void Lock();
    void Unlock();

    const std::string& path() const { return path_; }  // on this computer
    sim::Machine& machine() { return machine_; }
    db::SqLite3Operator& service() { return operator_; }

private:
    sim::Machine machine_;
    sim::CapturedLog log_;
    platform::Platform platform_ = machine_.platform();
    db::SqLite3Operator operator_;
    std::u16string where_;
    std::string path_;
    sqlite3* lock_ = nullptr;
};

// A change as the steps leave it.
records::FileChangeInfo FileChange(std::u16string name, records::FileChangeReason reason, std::u16string original = {});

}  // namespace tavi::client
