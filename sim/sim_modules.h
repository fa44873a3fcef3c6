// Modules, processes and signatures of the simulated machine, as tables that a test fills. ntdll.dll and kernel32.dll
// are loaded from the start with the functions that the product looks up, and cldapi.dll can be loaded.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/modules.h"
#include "platform/trust.h"
#include "sim/core.h"
#include "sim/sim_files.h"

namespace tavi::sim {

class SimModules final : public platform::Modules {
public:
    SimModules(Core& core, SimFiles& files);

    std::u16string GetModuleFileNameW(std::uint32_t bufferLength) override;
    platform::ModuleHandle LoadLibraryExW(const std::u16string& path, std::uint32_t flags) override;
    bool FreeLibrary(platform::ModuleHandle module) override;
    platform::ModuleHandle GetModuleHandleW(const std::u16string& name) override;
    platform::ProcAddress GetProcAddress(platform::ModuleHandle module, const std::string& name) override;
    void CallRegisterAppCrashHandler(platform::ProcAddress address,
                                     const platform::CrashReportRegistration& registration) override;
    bool CallSetProcessMitigationPolicy(platform::ProcAddress address, std::uint32_t policy,
                                        std::uint32_t flags) override;
    std::uint16_t GetUserDefaultUILanguage() override;

    void SetExecutablePath(std::u16string path);  // and makes the file, so that it exists
    // A library that can be loaded by this path or, when it has no folder, by its name.
    void AddLibrary(std::u16string_view path, std::vector<std::string> exports);
    void RemoveLibrary(std::u16string_view path);
    void SetUiLanguage(std::uint16_t language);
    std::vector<platform::CrashReportRegistration> registrations();

    // Every mitigation that was set, in order.
    struct Mitigation {
        std::uint32_t policy = 0;
        std::uint32_t flags = 0;
    };
    std::vector<Mitigation> mitigations();

    void ForgetProcess();  // for the machine: the process died

    struct Load {
        std::u16string path;
        std::uint32_t flags = 0;
    };
    std::vector<Load> loads();  // every LoadLibraryExW that was asked for

private:
    struct Library {
        std::uintptr_t number = 0;
        std::vector<std::string> exports;
        int loaded = 0;
        bool always = false;
    };

    Core& core_;
    SimFiles& files_;
    std::u16string executable_ = u"C:\\Program Files\\ZenloTavi\\TaviLumbraService.exe";
    std::map<std::u16string, Library> libraries_;
    std::map<std::uintptr_t, std::string> addresses_;
    std::uint16_t language_ = 1033;
    std::uintptr_t nextNumber_ = 0x7FF000000;
    std::vector<platform::CrashReportRegistration> registrations_;
    std::vector<Load> loads_;
    std::vector<Mitigation> mitigations_;
};

class SimTrust final : public platform::Trust {
public:
    SimTrust(Core& core, SimFiles& files) : core_(core), files_(files) {}

    platform::Handle OpenProcess(std::uint32_t access, std::uint32_t processId) override;
    bool GetProcessTimes(platform::Handle process, platform::FileTime& creation) override;
    bool QueryFullProcessImageNameW(platform::Handle process, std::u16string& path) override;
    bool GetFinalPathNameByHandleW(platform::Handle file, std::uint32_t flags, std::u16string& path) override;
    std::int32_t WinVerifyTrust(const platform::TrustQuestion& question, platform::TrustState& state) override;
    platform::Certificate SignerCertificate(platform::TrustState state, std::uint32_t signer,
                                            std::uint32_t place) override;
    std::u16string CertGetNameStringW(platform::Certificate certificate, const std::string& attribute) override;
    void CloseTrustState(platform::TrustState state) override;

    // The image's file, whether it is there yet or not, cannot be opened for writing while the process lives.
    // One that was started, at no time given, before everything else.
    void AddProcess(std::uint32_t processId, std::u16string imagePath, platform::FileTime startedAt = 0);
    void RemoveProcess(std::uint32_t processId);
    // How the signature of the file that is there now verifies, whatever it will be called: 0 or the error, and the
    // signer (none: cannot be read). A file without an entry gives 0x800B0100. On the host's disk, and where there is
    // no file yet, the path stands for the file.
    void SetSignature(std::u16string_view path, std::int32_t result, std::optional<std::u16string> signer);

private:
    struct Signature {
        std::int32_t result = 0;
        std::optional<std::u16string> signer;
    };

    struct Process {
        std::u16string image;
        platform::FileTime startedAt = 0;
    };

    void ReleaseImage(std::uint32_t processId);
    std::u16string FileKey(std::u16string_view path);

    Core& core_;
    SimFiles& files_;
    std::map<std::uint32_t, Process> processes_;
    std::map<std::u16string, Signature> signatures_;  // by file
};

}  // namespace tavi::sim
