// A simulated machine as an administrator of the client finds it, and the client run on it: the service registered and
// running, a folder on NTFS with a change journal, and the database of the user "anna" with one change. Each test takes
// away what it is about.
#pragma once

#include <string>
#include <vector>

#include "client.h"
#include "machine/installed_service.h"
#include "unit/client_library/scripted_pipe.h"
#include "unit/client_library/service_database.h"

namespace tavi::client {

struct RunResult {
    int exitCode = -1;
    std::string out;
    std::string err;
};

class ScriptedInstalledService final : public InstalledService {
public:
    std::u16string BinaryPath() override { return binaryPath; }
    std::string FileVersion(const std::u16string& executable) override {
        askedFor = executable;
        return version;
    }

    std::u16string binaryPath = u"\"C:\\Program Files\\Tavi\\TaviLumbraService.exe\"";
    std::string version = "3.0.0.300";
    std::u16string askedFor;
};

enum class PipeUse { kAsScripted, kAny };

class ClientRig {
public:
    explicit ClientRig(bool databaseCreated = true);

    // Runs the client with these arguments; the pipe plays its script, and has to be done with it. With kAny there is
    // no pipe, which a command may find out or not.
    RunResult Run(const std::vector<std::string>& arguments, std::vector<ScriptedCall> pipe = {},
                  PipeUse use = PipeUse::kAsScripted);
    // "--user anna --database BASE" behind the arguments.
    std::vector<std::string> WithDatabase(std::vector<std::string> arguments) const;

    sim::Machine& machine() { return database.machine(); }
    void Register(std::uint32_t state);
    void StoreUser(std::int64_t position);
    platform::UsnJournalData Journal();

    ServiceDatabase database;
    ScriptedInstalledService installed;
    bool terminal = false;
};

}  // namespace tavi::client
