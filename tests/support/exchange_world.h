// A drive on which anything can be exchanged between any two calls of the client check: files, folders above them and
// junctions. It plays the platform's roles that the check uses, and does what NTFS does in what matters here:
//
//  - a file keeps its identity, whatever it is called and wherever it is moved; signatures belong to files, and a
//    process's image is a file, called by its present path;
//  - nobody opens a running program's file for writing; a file that is open without sharing deletion is not renamed,
//    and neither is a folder with an open file below it;
//  - a junction leads elsewhere in the middle of a path, and at its end unless it is to be opened itself.
//
// A test is told of every call, and changes what it likes before it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/forwarding.h"

namespace tavi::test {

class ExchangeWorld final : public ForwardingSystemErrors,
                            public ForwardingFiles,
                            public ForwardingPaths,
                            public ForwardingClock,
                            public ForwardingTrust {
public:
    // Calls that the world does not answer itself go to `real`, which outlives it.
    explicit ExchangeWorld(const platform::Platform& real);

    // What people and programs do. False when the file system refuses it. Paths are full ("C:\Apps\client.exe").
    bool MakeFolder(std::string_view path);
    // No signer: unsigned. `signer` is the common name of a signature that verifies.
    bool MakeFile(std::string_view path, std::optional<std::u16string> signer = {});
    bool MakeJunction(std::string_view path, std::string_view target);
    bool RemoveJunction(std::string_view path);
    bool Rename(std::string_view from, std::string_view to);
    // Opens the file as somebody would who wants nobody to write to it; a reader that lets it be renamed.
    bool HoldAgainstWriting(std::string_view path);
    void LetGoOfEverything();
    // From now on, with that number; not while somebody has a process of that number open.
    bool Run(std::uint32_t processId, std::string_view path);
    void End(std::uint32_t processId);

    // Before every call that is made through the platform, with its number from 0.
    std::function<void(std::size_t)> beforeCall;
    std::size_t calls() const { return calls_; }
    platform::FileTime Now() const { return now_; }
    // Handles and trust states that the product has not closed.
    std::size_t OpenObjects() const;

    std::uint32_t GetLastError() override { return lastError_; }
    platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t flagsAndAttributes) override;
    bool CloseHandle(platform::Handle handle) override;
    std::uint32_t GetFileAttributesW(const std::u16string& path) override;
    platform::FileTime GetSystemTimePreciseAsFileTime() override { return now_; }
    platform::Handle OpenProcess(std::uint32_t access, std::uint32_t processId) override;
    bool GetProcessTimes(platform::Handle process, platform::FileTime& creation) override;
    bool QueryFullProcessImageNameW(platform::Handle process, std::u16string& path) override;
    bool GetFinalPathNameByHandleW(platform::Handle file, std::uint32_t flags, std::u16string& path) override;
    std::int32_t WinVerifyTrust(const platform::TrustQuestion& question, platform::TrustState& state) override;
    platform::Certificate SignerCertificate(platform::TrustState state, std::uint32_t signer,
                                            std::uint32_t place) override;
    std::u16string CertGetNameStringW(platform::Certificate certificate, const std::string& attribute) override;
    void CloseTrustState(platform::TrustState state) override;

private:
    using Number = std::size_t;  // of a node; 0 is the drive's root, kNone no node
    static constexpr Number kNone = static_cast<Number>(-1);

    enum class Kind { kFolder, kFile, kJunction };
    enum class Last { kFollow, kOpenItself };

    struct Node {
        Kind kind = Kind::kFolder;
        Number parent = 0;
        std::string name;
        std::string target;
        std::optional<std::u16string> signer;
    };

    struct Process {
        std::uint32_t number = 0;
        Number image = 0;
        platform::FileTime startedAt = 0;
    };

    struct Opened {
        bool byProduct = true;
        std::optional<Number> file;
        std::uint32_t access = 0;
        std::uint32_t share = 0;
        std::optional<Process> process;
    };

    void Step();
    Number Find(std::string_view path, Last last, int junctions = 0) const;
    Number Child(Number folder, std::string_view name) const;
    Number Add(std::string_view path, Node node);
    std::string PathOf(Number node) const;
    bool IsBelow(Number node, Number folder) const;
    bool IsRunning(Number file) const;
    bool Conflicts(Number file, std::uint32_t access, std::uint32_t share) const;
    bool MayBeRenamed(Number node) const;
    std::uintptr_t Open(Opened opened);
    const Opened* Get(std::uintptr_t handle) const;
    template <typename Result>
    Result Fail(std::uint32_t code, Result result);

    std::vector<Node> nodes_;
    std::map<std::uint32_t, Process> processes_;
    std::map<std::uintptr_t, Opened> opened_;
    std::map<std::uintptr_t, std::optional<std::u16string>> states_;
    std::uintptr_t nextHandle_ = 4;
    std::size_t calls_ = 0;
    platform::FileTime now_ = 1000;
    std::uint32_t lastError_ = 0;
};

}  // namespace tavi::test
