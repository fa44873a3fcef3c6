#include "sim/sim_modules.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/constants.h"
#include "sim/sim_file_objects.h"

namespace tavi::sim {

using namespace platform;

namespace {

constexpr std::int32_t kTrustNoSignature = static_cast<std::int32_t>(0x800B0100);

class ProcessObject final : public Object {
public:
    ProcessObject(std::u16string image, FileTime started) : path(std::move(image)), startedAt(started) {}
    std::u16string path;
    FileTime startedAt;
};

class TrustObject final : public Object {
public:
    std::optional<std::u16string> signer;
};

std::u16string KeyOf(std::u16string_view path) {
    return NtfsVolume::Fold(SimFiles::Normalise(path));
}

// How a running program holds its file: others may read and rename it.
constexpr ShareEntry kImageShare{kGenericRead, kFileShareRead | kFileShareDelete};

}  // namespace

SimModules::SimModules(Core& core, SimFiles& files) : core_(core), files_(files) {
    AddLibrary(u"ntdll.dll", {"NtCreateFile", "NtQueryInformationFile"});
    libraries_[KeyOf(u"ntdll.dll")].always = true;
    AddLibrary(u"kernel32.dll", {"SetProcessMitigationPolicy"});
    libraries_[KeyOf(u"kernel32.dll")].always = true;
    AddLibrary(u"cldapi.dll", {"CfGetPlaceholderInfo"});
}

std::u16string SimModules::GetModuleFileNameW(std::uint32_t bufferLength) {
    Call call(core_, "Modules.GetModuleFileNameW", kErrorInsufficientBuffer);
    if (call.failed()) {
        return call.Fail(std::u16string());
    }
    if (executable_.size() >= bufferLength) {
        return call.Fail(kErrorInsufficientBuffer, executable_.substr(0, bufferLength == 0 ? 0 : bufferLength - 1));
    }
    return executable_;
}

ModuleHandle SimModules::LoadLibraryExW(const std::u16string& path, std::uint32_t flags) {
    Call call(core_, "Modules.LoadLibraryExW", kErrorModNotFound);
    loads_.push_back({path, flags});
    const auto found = libraries_.find(KeyOf(path));
    if (call.failed() || found == libraries_.end()) {
        return call.Fail(call.failed() ? call.code() : kErrorModNotFound, kNoModule);
    }
    Library& library = found->second;
    if (library.loaded++ == 0) {
        library.number = core_.Open("module", Narrow(path));
    }
    return ModuleHandle{library.number};
}

bool SimModules::FreeLibrary(ModuleHandle module) {
    Call call(core_, "Modules.FreeLibrary", kErrorInvalidHandle, CallKind::kReleases);
    if (call.dead()) {
        return call.Fail(false);
    }
    for (auto& [key, library] : libraries_) {
        if (library.loaded > 0 && ModuleHandle{library.number} == module) {
            if (--library.loaded == 0) {
                core_.Close("module", library.number);
            }
            return !call.failed() || call.Fail(false);
        }
    }
    return call.Fail(kErrorInvalidHandle, false);
}

ModuleHandle SimModules::GetModuleHandleW(const std::u16string& name) {
    Call call(core_, "Modules.GetModuleHandleW", kErrorModNotFound);
    const auto found = libraries_.find(KeyOf(name));
    if (call.failed() || found == libraries_.end() || (found->second.loaded == 0 && !found->second.always)) {
        return call.Fail(kNoModule);
    }
    if (found->second.number == 0) {
        found->second.number = nextNumber_++;
    }
    return ModuleHandle{found->second.number};
}

ProcAddress SimModules::GetProcAddress(ModuleHandle module, const std::string& name) {
    Call call(core_, "Modules.GetProcAddress", kErrorProcNotFound);
    if (call.failed()) {
        return call.Fail(kNoProcAddress);
    }
    for (const auto& [key, library] : libraries_) {
        const bool present = library.loaded > 0 || library.always;
        const auto& exports = library.exports;
        if (present && ModuleHandle{library.number} == module &&
            std::find(exports.begin(), exports.end(), name) != exports.end()) {
            const auto known = std::find_if(addresses_.begin(), addresses_.end(),
                                            [&](const auto& address) { return address.second == name; });
            if (known != addresses_.end()) {
                return ProcAddress{known->first};
            }
            addresses_[nextNumber_] = name;
            return ProcAddress{nextNumber_++};
        }
    }
    return call.Fail(kErrorProcNotFound, kNoProcAddress);
}

void SimModules::CallRegisterAppCrashHandler(ProcAddress, const CrashReportRegistration& registration) {
    const Call call(core_, "Modules.CallRegisterAppCrashHandler", 0, CallKind::kCannotFail);
    registrations_.push_back(registration);
}

bool SimModules::CallSetProcessMitigationPolicy(ProcAddress, std::uint32_t policy, std::uint32_t flags) {
    Call call(core_, "Modules.CallSetProcessMitigationPolicy", kErrorInvalidParameter);
    if (call.failed()) {
        return call.Fail(false);
    }
    mitigations_.push_back({policy, flags});
    return true;
}

std::uint16_t SimModules::GetUserDefaultUILanguage() {
    const Call call(core_, "Modules.GetUserDefaultUILanguage", 0, CallKind::kCannotFail);
    return language_;
}

void SimModules::SetExecutablePath(std::u16string path) {
    if (files_.IsOnHost(path) && path.find(u':') != std::u16string::npos) {
        files_.WriteText(path, "executable");
    }
    const Scheduler::Lock lock = core_.scheduler.Enter();
    executable_ = std::move(path);
}

void SimModules::AddLibrary(std::u16string_view path, std::vector<std::string> exports) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    libraries_[KeyOf(path)].exports = std::move(exports);
}

void SimModules::RemoveLibrary(std::u16string_view path) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    libraries_.erase(KeyOf(path));
}

void SimModules::SetUiLanguage(std::uint16_t language) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    language_ = language;
}

std::vector<CrashReportRegistration> SimModules::registrations() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return registrations_;
}

std::vector<SimModules::Mitigation> SimModules::mitigations() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return mitigations_;
}

std::vector<SimModules::Load> SimModules::loads() {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return loads_;
}

void SimModules::ForgetProcess() {
    for (auto& [key, library] : libraries_) {
        library.loaded = 0;
    }
    mitigations_.clear();
}

Handle SimTrust::OpenProcess(std::uint32_t, std::uint32_t processId) {
    Call call(core_, "Trust.OpenProcess", kErrorAccessDenied);
    const auto found = processes_.find(processId);
    if (call.failed() || found == processes_.end()) {
        return call.Fail(call.failed() ? call.code() : kErrorInvalidParameter, kNullHandle);
    }
    return Handle{core_.Open("process handle", "process " + std::to_string(processId),
                             std::make_shared<ProcessObject>(found->second.image, found->second.startedAt))};
}

bool SimTrust::GetProcessTimes(Handle process, FileTime& creation) {
    Call call(core_, "Trust.GetProcessTimes", kErrorAccessDenied);
    const auto object = core_.GetAs<ProcessObject>(static_cast<std::uintptr_t>(process));
    if (call.failed() || !object) {
        return call.Fail(call.failed() ? call.code() : kErrorInvalidHandle, false);
    }
    creation = object->startedAt;
    return true;
}

bool SimTrust::QueryFullProcessImageNameW(Handle process, std::u16string& path) {
    Call call(core_, "Trust.QueryFullProcessImageNameW", kErrorAccessDenied);
    const auto object = core_.GetAs<ProcessObject>(static_cast<std::uintptr_t>(process));
    if (call.failed() || !object) {
        return call.Fail(call.failed() ? call.code() : kErrorInvalidHandle, false);
    }
    path = object->path;
    return true;
}

bool SimTrust::GetFinalPathNameByHandleW(Handle file, std::uint32_t, std::u16string& path) {
    Call call(core_, "Trust.GetFinalPathNameByHandleW", kErrorAccessDenied);
    const auto object = core_.GetAs<FileObject>(static_cast<std::uintptr_t>(file));
    if (call.failed() || !object) {
        return call.Fail(call.failed() ? call.code() : kErrorInvalidHandle, false);
    }
    path = u"\\\\?\\" + object->FullPath();
    return true;
}

std::int32_t SimTrust::WinVerifyTrust(const TrustQuestion& question, TrustState& state) {
    Call call(core_, "Trust.WinVerifyTrust", static_cast<std::uint32_t>(kTrustNoSignature));
    auto object = std::make_shared<TrustObject>();
    std::int32_t result = static_cast<std::int32_t>(call.code());
    if (!call.failed()) {
        const auto file = core_.GetAs<FileObject>(static_cast<std::uintptr_t>(question.file));
        const auto found = file ? signatures_.find(FileKey(file->FullPath())) : signatures_.end();
        result = file ? kTrustNoSignature : static_cast<std::int32_t>(0x80070006);
        if (found != signatures_.end()) {
            result = found->second.result;
            object->signer = found->second.signer;
        }
    }
    state = TrustState{core_.Open("trust state", Narrow(question.path), std::move(object))};
    return result;
}

// One signer with a chain of one; the certificate goes by its state's number.
Certificate SimTrust::SignerCertificate(TrustState state, std::uint32_t signer, std::uint32_t place) {
    Call call(core_, "Trust.SignerCertificate", kErrorInvalidParameter);
    const auto object = core_.GetAs<TrustObject>(static_cast<std::uintptr_t>(state));
    if (call.failed() || !object || !object->signer || signer != 0 || place != 0) {
        return call.Fail(kErrorInvalidParameter, kNoCertificate);
    }
    return Certificate{static_cast<std::uintptr_t>(state)};
}

std::u16string SimTrust::CertGetNameStringW(Certificate certificate, const std::string& attribute) {
    Call call(core_, "Trust.CertGetNameStringW", kErrorInvalidParameter);
    const auto object = core_.GetAs<TrustObject>(static_cast<std::uintptr_t>(certificate));
    if (call.failed() || !object || !object->signer || attribute != kOidCommonName) {
        return call.Fail(kErrorInvalidParameter, std::u16string());
    }
    return *object->signer;
}

void SimTrust::CloseTrustState(TrustState state) {
    const Call call(core_, "Trust.CloseTrustState", 0, CallKind::kReleases);
    core_.Close("trust state", static_cast<std::uintptr_t>(state));
}

// The file's number while there is one, so that a signature stays with its file.
std::u16string SimTrust::FileKey(std::u16string_view path) {
    const std::u16string normal = SimFiles::Normalise(path);
    const NtfsVolume* volume = files_.VolumeFor(normal);
    const Frn frn = volume != nullptr ? volume->Find(normal) : 0;
    if (frn == 0) {
        return NtfsVolume::Fold(normal);
    }
    const std::string number = std::to_string(frn);
    return std::u16string{volume->drive(), u'#'}.append(number.begin(), number.end());
}

void SimTrust::AddProcess(std::uint32_t processId, std::u16string imagePath, FileTime startedAt) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    ReleaseImage(processId);
    files_.AddShare(KeyOf(imagePath), kImageShare);
    processes_[processId] = {std::move(imagePath), startedAt};
}

void SimTrust::RemoveProcess(std::uint32_t processId) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    ReleaseImage(processId);
    processes_.erase(processId);
}

void SimTrust::ReleaseImage(std::uint32_t processId) {
    if (const auto found = processes_.find(processId); found != processes_.end()) {
        files_.RemoveShare(KeyOf(found->second.image), kImageShare);
    }
}

void SimTrust::SetSignature(std::u16string_view path, std::int32_t result, std::optional<std::u16string> signer) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    signatures_[FileKey(path)] = {result, std::move(signer)};
}

}  // namespace tavi::sim
