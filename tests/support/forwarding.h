// Hands every call of a role on to another implementation, so that a test overrides a single one:
//
//     class Slow final : public ForwardingFiles {
//     public:
//         using ForwardingFiles::ForwardingFiles;
//         bool FlushFileBuffers(platform::Handle handle) override {
//             wait();
//             return ForwardingFiles::FlushFileBuffers(handle);
//         }
//     };
//     Slow slow(real.files);
//     platform::Platform platform = PlatformWith(real, slow);
//
// One class per role, in the order of platform.h. The implementation behind it outlives it. For any thread that the
// implementation is for.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <utility>

#include "platform/platform.h"

namespace tavi::test {

class ForwardingSystemErrors : public platform::SystemErrors {
public:
    explicit ForwardingSystemErrors(platform::SystemErrors& real) : real_(real) {}

    std::uint32_t GetLastError() override { return real_.GetLastError(); }
    std::u16string FormatMessageW(std::uint32_t code) override { return real_.FormatMessageW(code); }

private:
    platform::SystemErrors& real_;
};

class ForwardingServices : public platform::Services {
public:
    explicit ForwardingServices(platform::Services& real) : real_(real) {}

    bool StartServiceCtrlDispatcherW(const std::u16string& serviceName,
                                     platform::ServiceMainFunction serviceMain) override {
        return real_.StartServiceCtrlDispatcherW(serviceName, serviceMain);
    }
    platform::StatusHandle RegisterServiceCtrlHandlerW(const std::u16string& serviceName,
                                                       platform::ControlHandlerFunction handler) override {
        return real_.RegisterServiceCtrlHandlerW(serviceName, handler);
    }
    bool SetServiceStatus(platform::StatusHandle handle, const platform::ServiceStatus& status) override {
        return real_.SetServiceStatus(handle, status);
    }
    platform::ServiceHandle OpenSCManagerW(std::uint32_t access) override { return real_.OpenSCManagerW(access); }
    platform::ServiceHandle CreateServiceW(platform::ServiceHandle manager,
                                           const platform::ServiceDefinition& definition) override {
        return real_.CreateServiceW(manager, definition);
    }
    platform::ServiceHandle OpenServiceW(platform::ServiceHandle manager, const std::u16string& serviceName,
                                         std::uint32_t access) override {
        return real_.OpenServiceW(manager, serviceName, access);
    }
    bool ControlService(platform::ServiceHandle service, std::uint32_t control,
                        platform::ServiceStatus& status) override {
        return real_.ControlService(service, control, status);
    }
    bool QueryServiceStatus(platform::ServiceHandle service, platform::ServiceStatus& status) override {
        return real_.QueryServiceStatus(service, status);
    }
    bool DeleteService(platform::ServiceHandle service) override { return real_.DeleteService(service); }
    bool ChangeServiceConfig2W(platform::ServiceHandle service, std::uint32_t infoLevel,
                               const std::u16string& description) override {
        return real_.ChangeServiceConfig2W(service, infoLevel, description);
    }
    bool CloseServiceHandle(platform::ServiceHandle handle) override { return real_.CloseServiceHandle(handle); }

private:
    platform::Services& real_;
};

class ForwardingModules : public platform::Modules {
public:
    explicit ForwardingModules(platform::Modules& real) : real_(real) {}

    std::u16string GetModuleFileNameW(std::uint32_t bufferLength) override {
        return real_.GetModuleFileNameW(bufferLength);
    }
    platform::ModuleHandle LoadLibraryExW(const std::u16string& path, std::uint32_t flags) override {
        return real_.LoadLibraryExW(path, flags);
    }
    bool FreeLibrary(platform::ModuleHandle module) override { return real_.FreeLibrary(module); }
    platform::ModuleHandle GetModuleHandleW(const std::u16string& name) override {
        return real_.GetModuleHandleW(name);
    }
    platform::ProcAddress GetProcAddress(platform::ModuleHandle module, const std::string& name) override {
        return real_.GetProcAddress(module, name);
    }
    void CallRegisterAppCrashHandler(platform::ProcAddress address,
                                     const platform::CrashReportRegistration& registration) override {
        real_.CallRegisterAppCrashHandler(address, registration);
    }
    bool CallSetProcessMitigationPolicy(platform::ProcAddress address, std::uint32_t policy,
                                        std::uint32_t flags) override {
        return real_.CallSetProcessMitigationPolicy(address, policy, flags);
    }
    std::uint16_t GetUserDefaultUILanguage() override { return real_.GetUserDefaultUILanguage(); }

private:
    platform::Modules& real_;
};

class ForwardingFiles : public platform::Files {
public:
    explicit ForwardingFiles(platform::Files& real) : real_(real) {}

    platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t flagsAndAttributes) override {
        return real_.CreateFileW(path, access, shareMode, disposition, flagsAndAttributes);
    }
    bool CloseHandle(platform::Handle handle) override { return real_.CloseHandle(handle); }
    bool ReadFile(platform::Handle handle, std::span<std::byte> buffer, std::uint32_t& bytesRead) override {
        return real_.ReadFile(handle, buffer, bytesRead);
    }
    bool WriteFile(platform::Handle handle, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) override {
        return real_.WriteFile(handle, bytes, bytesWritten);
    }
    bool FlushFileBuffers(platform::Handle handle) override { return real_.FlushFileBuffers(handle); }
    bool GetFileSizeEx(platform::Handle handle, std::int64_t& bytes) override {
        return real_.GetFileSizeEx(handle, bytes);
    }
    bool SetFilePointerEx(platform::Handle handle, std::int64_t distance, std::uint32_t method) override {
        return real_.SetFilePointerEx(handle, distance, method);
    }
    bool GetFileInformationByHandle(platform::Handle handle, platform::FileInformation& information) override {
        return real_.GetFileInformationByHandle(handle, information);
    }

private:
    platform::Files& real_;
};

class ForwardingPaths : public platform::Paths {
public:
    explicit ForwardingPaths(platform::Paths& real) : real_(real) {}

    int Waccess(const std::u16string& path, int mode) override { return real_.Waccess(path, mode); }
    bool PathFileExistsW(const std::u16string& path) override { return real_.PathFileExistsW(path); }
    std::uint32_t GetFileAttributesW(const std::u16string& path) override { return real_.GetFileAttributesW(path); }
    bool DeleteFileW(const std::u16string& path) override { return real_.DeleteFileW(path); }
    platform::FindHandle FindFirstFileW(const std::u16string& pattern, platform::FindData& data) override {
        return real_.FindFirstFileW(pattern, data);
    }
    bool FindNextFileW(platform::FindHandle handle, platform::FindData& data) override {
        return real_.FindNextFileW(handle, data);
    }
    bool FindClose(platform::FindHandle handle) override { return real_.FindClose(handle); }
    int SHCreateDirectoryExW(const std::u16string& path) override { return real_.SHCreateDirectoryExW(path); }
    std::int32_t SHGetFolderPathW(std::int32_t folder, std::u16string& path) override {
        return real_.SHGetFolderPathW(folder, path);
    }

private:
    platform::Paths& real_;
};

class ForwardingVolumes : public platform::Volumes {
public:
    explicit ForwardingVolumes(platform::Volumes& real) : real_(real) {}

    bool GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                               std::u16string& fileSystemName) override {
        return real_.GetVolumeInformationW(root, maximumComponentLength, fileSystemName);
    }
    bool DeviceIoControl(platform::Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                         std::span<std::byte> output, std::uint32_t& bytesReturned) override {
        return real_.DeviceIoControl(handle, controlCode, input, output, bytesReturned);
    }

private:
    platform::Volumes& real_;
};

class ForwardingNativeCalls : public platform::NativeCalls {
public:
    explicit ForwardingNativeCalls(platform::NativeCalls& real) : real_(real) {}

    std::int32_t NtCreateFile(platform::ProcAddress function, const platform::NtOpenById& request,
                              platform::Handle& opened) override {
        return real_.NtCreateFile(function, request, opened);
    }
    std::int32_t NtQueryInformationFile(platform::ProcAddress function, platform::Handle handle,
                                        std::span<std::byte> buffer, std::uint32_t informationClass) override {
        return real_.NtQueryInformationFile(function, handle, buffer, informationClass);
    }

private:
    platform::NativeCalls& real_;
};

class ForwardingCloudFiles : public platform::CloudFiles {
public:
    explicit ForwardingCloudFiles(platform::CloudFiles& real) : real_(real) {}

    std::int32_t CfGetPlaceholderInfo(platform::ProcAddress function, platform::Handle handle,
                                      std::uint32_t informationClass, std::span<std::byte> buffer) override {
        return real_.CfGetPlaceholderInfo(function, handle, informationClass, buffer);
    }

private:
    platform::CloudFiles& real_;
};

class ForwardingCodePage : public platform::CodePage {
public:
    explicit ForwardingCodePage(platform::CodePage& real) : real_(real) {}

    std::string WideCharToMultiByteAcp(const std::u16string& text) override {
        return real_.WideCharToMultiByteAcp(text);
    }

private:
    platform::CodePage& real_;
};

class ForwardingPipes : public platform::Pipes {
public:
    explicit ForwardingPipes(platform::Pipes& real) : real_(real) {}

    bool AllocateAndInitializeSid(const std::array<std::uint8_t, 6>& authority,
                                  std::span<const std::uint32_t> subAuthorities, platform::Sid& sid) override {
        return real_.AllocateAndInitializeSid(authority, subAuthorities, sid);
    }
    void FreeSid(platform::Sid sid) override { real_.FreeSid(sid); }
    std::uint32_t SetEntriesInAclW(std::span<const platform::ExplicitAccess> entries, platform::Acl& acl) override {
        return real_.SetEntriesInAclW(entries, acl);
    }
    void FreeAcl(platform::Acl acl) override { real_.FreeAcl(acl); }
    platform::LocalMemory LocalAlloc(std::uint32_t flags, std::size_t bytes) override {
        return real_.LocalAlloc(flags, bytes);
    }
    void LocalFree(platform::LocalMemory memory) override { real_.LocalFree(memory); }
    bool InitializeSecurityDescriptor(platform::LocalMemory descriptor, std::uint32_t revision) override {
        return real_.InitializeSecurityDescriptor(descriptor, revision);
    }
    bool SetSecurityDescriptorDacl(platform::LocalMemory descriptor, bool present, platform::Acl acl,
                                   bool defaulted) override {
        return real_.SetSecurityDescriptorDacl(descriptor, present, acl, defaulted);
    }
    platform::Handle CreateNamedPipeW(const std::u16string& name, std::uint32_t openMode, std::uint32_t pipeMode,
                                      std::uint32_t maximumInstances, std::uint32_t outBufferSize,
                                      std::uint32_t inBufferSize, std::uint32_t defaultTimeout,
                                      const platform::SecurityAttributes& attributes) override {
        return real_.CreateNamedPipeW(name, openMode, pipeMode, maximumInstances, outBufferSize, inBufferSize,
                                      defaultTimeout, attributes);
    }
    bool ConnectNamedPipe(platform::Handle pipe) override { return real_.ConnectNamedPipe(pipe); }
    bool DisconnectNamedPipe(platform::Handle pipe) override { return real_.DisconnectNamedPipe(pipe); }
    bool GetNamedPipeClientProcessId(platform::Handle pipe, std::uint32_t& processId) override {
        return real_.GetNamedPipeClientProcessId(pipe, processId);
    }
    bool GetNamedPipeInfo(platform::Handle pipe, std::uint32_t& flags, std::uint32_t& maximumInstances) override {
        return real_.GetNamedPipeInfo(pipe, flags, maximumInstances);
    }

private:
    platform::Pipes& real_;
};

class ForwardingThreads : public platform::Threads {
public:
    explicit ForwardingThreads(platform::Threads& real) : real_(real) {}

    platform::Handle StartThread(std::function<void()> entry) override { return real_.StartThread(std::move(entry)); }
    bool WaitForThread(platform::Handle thread, std::uint32_t milliseconds) override {
        return real_.WaitForThread(thread, milliseconds);
    }
    void CloseThread(platform::Handle thread) override { real_.CloseThread(thread); }
    bool CancelSynchronousIo(platform::Handle thread) override { return real_.CancelSynchronousIo(thread); }
    std::uint32_t GetCurrentThreadId() override { return real_.GetCurrentThreadId(); }
    void Sleep(std::uint32_t milliseconds) override { real_.Sleep(milliseconds); }

private:
    platform::Threads& real_;
};

class ForwardingClock : public platform::Clock {
public:
    explicit ForwardingClock(platform::Clock& real) : real_(real) {}

    platform::SystemTime GetLocalTime() override { return real_.GetLocalTime(); }
    platform::FileTime GetSystemTimePreciseAsFileTime() override { return real_.GetSystemTimePreciseAsFileTime(); }
    bool FileTimeToLocalFileTime(platform::FileTime utc, platform::FileTime& local) override {
        return real_.FileTimeToLocalFileTime(utc, local);
    }
    bool FileTimeToSystemTime(platform::FileTime time, platform::SystemTime& systemTime) override {
        return real_.FileTimeToSystemTime(time, systemTime);
    }
    std::int64_t Mktime64(const platform::CalendarTime& time) override { return real_.Mktime64(time); }
    void WsetlocaleAll(const std::u16string& name) override { real_.WsetlocaleAll(name); }
    std::uint64_t RandomNumber() override { return real_.RandomNumber(); }

private:
    platform::Clock& real_;
};

class ForwardingHeap : public platform::Heap {
public:
    explicit ForwardingHeap(platform::Heap& real) : real_(real) {}

    void* HeapAlloc(std::size_t bytes) override { return real_.HeapAlloc(bytes); }
    std::size_t HeapSize(void* memory) override { return real_.HeapSize(memory); }
    void HeapFree(void* memory) override { real_.HeapFree(memory); }

private:
    platform::Heap& real_;
};

class ForwardingTrust : public platform::Trust {
public:
    explicit ForwardingTrust(platform::Trust& real) : real_(real) {}

    platform::Handle OpenProcess(std::uint32_t access, std::uint32_t processId) override {
        return real_.OpenProcess(access, processId);
    }
    bool GetProcessTimes(platform::Handle process, platform::FileTime& creation) override {
        return real_.GetProcessTimes(process, creation);
    }
    bool QueryFullProcessImageNameW(platform::Handle process, std::u16string& path) override {
        return real_.QueryFullProcessImageNameW(process, path);
    }
    bool GetFinalPathNameByHandleW(platform::Handle file, std::uint32_t flags, std::u16string& path) override {
        return real_.GetFinalPathNameByHandleW(file, flags, path);
    }
    std::int32_t WinVerifyTrust(const platform::TrustQuestion& question, platform::TrustState& state) override {
        return real_.WinVerifyTrust(question, state);
    }
    platform::Certificate SignerCertificate(platform::TrustState state, std::uint32_t signer,
                                            std::uint32_t place) override {
        return real_.SignerCertificate(state, signer, place);
    }
    std::u16string CertGetNameStringW(platform::Certificate certificate, const std::string& attribute) override {
        return real_.CertGetNameStringW(certificate, attribute);
    }
    void CloseTrustState(platform::TrustState state) override { real_.CloseTrustState(state); }

private:
    platform::Trust& real_;
};

class ForwardingSqlite : public platform::Sqlite {
public:
    explicit ForwardingSqlite(platform::Sqlite& real) : real_(real) {}

    int Config(int option, int value) override { return real_.Config(option, value); }
    int OpenV2(const std::string& utf8Path, sqlite3** database, int flags) override {
        return real_.OpenV2(utf8Path, database, flags);
    }
    int CloseV2(sqlite3* database) override { return real_.CloseV2(database); }
    int Errcode(sqlite3* database) override { return real_.Errcode(database); }
    int Exec(sqlite3* database, const char* sql, char** errorMessage) override {
        return real_.Exec(database, sql, errorMessage);
    }
    void Free(void* memory) override { real_.Free(memory); }
    int BusyHandler(sqlite3* database, platform::BusyHandlerFunction handler, void* context) override {
        return real_.BusyHandler(database, handler, context);
    }
    int DbConfig(sqlite3* database, int option, int value) override { return real_.DbConfig(database, option, value); }
    int GetAutocommit(sqlite3* database) override { return real_.GetAutocommit(database); }
    int PrepareV2(sqlite3* database, const char* sql, int bytes, sqlite3_stmt** statement) override {
        return real_.PrepareV2(database, sql, bytes, statement);
    }
    int BindText16(sqlite3_stmt* statement, int index, const char16_t* text) override {
        return real_.BindText16(statement, index, text);
    }
    int BindInt(sqlite3_stmt* statement, int index, std::int32_t value) override {
        return real_.BindInt(statement, index, value);
    }
    int BindInt64(sqlite3_stmt* statement, int index, std::int64_t value) override {
        return real_.BindInt64(statement, index, value);
    }
    int Step(sqlite3_stmt* statement) override { return real_.Step(statement); }
    int Reset(sqlite3_stmt* statement) override { return real_.Reset(statement); }
    int Finalize(sqlite3_stmt* statement) override { return real_.Finalize(statement); }
    const char16_t* ColumnText16(sqlite3_stmt* statement, int column) override {
        return real_.ColumnText16(statement, column);
    }
    std::int32_t ColumnInt(sqlite3_stmt* statement, int column) override { return real_.ColumnInt(statement, column); }
    std::int64_t ColumnInt64(sqlite3_stmt* statement, int column) override {
        return real_.ColumnInt64(statement, column);
    }

private:
    platform::Sqlite& real_;
};

class ForwardingDigest : public platform::Digest {
public:
    explicit ForwardingDigest(platform::Digest& real) : real_(real) {}

    platform::DigestContext MdCtxNew() override { return real_.MdCtxNew(); }
    bool DigestInitSha256(platform::DigestContext context) override { return real_.DigestInitSha256(context); }
    bool DigestUpdate(platform::DigestContext context, std::span<const std::byte> bytes) override {
        return real_.DigestUpdate(context, bytes);
    }
    bool DigestFinal(platform::DigestContext context, std::span<std::byte> output, std::uint32_t& length) override {
        return real_.DigestFinal(context, output, length);
    }
    void MdCtxFree(platform::DigestContext context) override { real_.MdCtxFree(context); }

private:
    platform::Digest& real_;
};

}  // namespace tavi::test
