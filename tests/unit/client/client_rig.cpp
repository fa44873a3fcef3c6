#include "unit/client/client_rig.h"

#include <filesystem>
#include <sstream>

namespace tavi::client {

namespace {

// The digest of "anna" in hexadecimal.
const std::u16string kFolder = u"55579b557896d0ce1764c47fed644f9b35f58bad620674af23f356d80ed0c503";

class MissingPipe final : public ServicePipe {
public:
    std::uint32_t Open() override { return 2; }
    std::uint32_t WaitForInstance(std::uint32_t) override { return 2; }
    std::uint32_t Write(std::span<const std::uint8_t>, std::uint32_t) override { return 2; }
    std::uint32_t Read(std::vector<std::uint8_t>&, std::uint32_t) override { return 2; }
    void Close() override {}
    std::uint64_t NowMilliseconds() override { return 0; }
    void Sleep(std::uint32_t) override {}
};

}  // namespace

ClientRig::ClientRig(bool databaseCreated)
    : database(databaseCreated, u"D:\\Base\\" + kFolder + u"\\ListenService.dat") {
    machine().volume().MakeDirectory(u"C:\\Sync");
    Register(4);
    if (databaseCreated) {
        EXPECT_TRUE(database.Save({u"a.txt"}));
    }
}

RunResult ClientRig::Run(const std::vector<std::string>& arguments, std::vector<ScriptedCall> script, PipeUse use) {
    ScriptedPipe scripted(std::move(script));
    MissingPipe missing;
    ServicePipe& pipe = use == PipeUse::kAny ? static_cast<ServicePipe&>(missing) : scripted;
    platform::Platform platform = machine().platform();
    std::ostringstream out;
    std::ostringstream err;
    RunResult result;
    result.exitCode = RunClient(arguments, {pipe, out, err, &platform, &installed, terminal});
    result.out = out.str();
    result.err = err.str();
    return result;
}

std::vector<std::string> ClientRig::WithDatabase(std::vector<std::string> arguments) const {
    const auto base = std::filesystem::path(database.path()).parent_path().parent_path().string();
    arguments.insert(arguments.end(), {"--user", "anna", "--database", base});
    return arguments;
}

void ClientRig::Register(std::uint32_t state) {
    machine().services().Register({.serviceName = u"TaviLumbraService",
                                   .displayName = u"TaviLumbraService",
                                   .serviceType = 0x10,
                                   .startType = 2,
                                   .binaryPath = installed.binaryPath});
    machine().services().Registered(u"TaviLumbraService")->status.currentState = state;
}

void ClientRig::StoreUser(std::int64_t position) {
    EXPECT_TRUE(database.service().InsertUserTable({u"anna", u"C:\\Sync", position, 0}));
}

platform::UsnJournalData ClientRig::Journal() {
    return machine().volume().WithJournal([](sim::EmulatedJournal& journal) {
        platform::UsnJournalData data;
        data.firstUsn = journal.firstUsn();
        data.nextUsn = journal.nextUsn();
        return data;
    });
}

}  // namespace tavi::client
