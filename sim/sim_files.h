// Files, directories and volumes of the simulated machine. A path leads to one of three places:
//   - a volume in memory (C: from the start; AddVolume): the listened folder, with reference numbers and a journal;
//   - the host's disk, in a temporary folder that lives as long as the machine: the paths below the host folders
//     (C:\Users, C:\ProgramData, C:\Program Files, C:\Windows, and every drive that is no volume), so that databases
//     and logs are real files. Changes there write no journal records;
//   - a device: "\\.\C:" for a volume, "\\.\pipe\..." for a pipe.
// Where the two overlap, the longer prefix decides (AddHostFolder, AddVolumeFolder). "\\?\" is understood, case
// ignored.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/cloud_files.h"
#include "platform/code_page.h"
#include "platform/files.h"
#include "platform/native_calls.h"
#include "platform/paths.h"
#include "platform/volumes.h"
#include "sim/core.h"
#include "sim/ntfs_volume.h"

namespace tavi::sim {

class SimClock;

// What an open handle lets others do with the same path.
struct ShareEntry {
    std::uint32_t access = 0;
    std::uint32_t share = 0;
};

// A handle that can be read from and written to.
class StreamObject : public Object {
public:
    virtual bool Read(Call& call, std::span<std::byte> buffer, std::uint32_t& bytesRead) = 0;
    virtual bool Write(Call& call, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) = 0;
    virtual bool Flush(Call&) { return true; }
    virtual bool Size(Call& call, std::int64_t& bytes);
    virtual bool Seek(Call& call, std::int64_t distance, std::uint32_t method);
    virtual bool Information(Call& call, platform::FileInformation& information);
};

class SimFiles final : public platform::Files,
                       public platform::Paths,
                       public platform::Volumes,
                       public platform::NativeCalls,
                       public platform::CloudFiles,
                       public platform::CodePage {
public:
    SimFiles(Core& core, SimClock& clock, std::uint64_t seed);
    ~SimFiles() override;

    platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t flagsAndAttributes) override;
    bool CloseHandle(platform::Handle handle) override;
    bool ReadFile(platform::Handle handle, std::span<std::byte> buffer, std::uint32_t& bytesRead) override;
    bool WriteFile(platform::Handle handle, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) override;
    bool FlushFileBuffers(platform::Handle handle) override;
    bool GetFileSizeEx(platform::Handle handle, std::int64_t& bytes) override;
    bool SetFilePointerEx(platform::Handle handle, std::int64_t distance, std::uint32_t method) override;
    bool GetFileInformationByHandle(platform::Handle handle, platform::FileInformation& information) override;
    int Waccess(const std::u16string& path, int mode) override;
    bool PathFileExistsW(const std::u16string& path) override;
    std::uint32_t GetFileAttributesW(const std::u16string& path) override;
    bool DeleteFileW(const std::u16string& path) override;
    platform::FindHandle FindFirstFileW(const std::u16string& pattern, platform::FindData& data) override;
    bool FindNextFileW(platform::FindHandle handle, platform::FindData& data) override;
    bool FindClose(platform::FindHandle handle) override;
    int SHCreateDirectoryExW(const std::u16string& path) override;
    std::int32_t SHGetFolderPathW(std::int32_t folder, std::u16string& path) override;
    bool GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                               std::u16string& fileSystemName) override;
    std::string WideCharToMultiByteAcp(const std::u16string& text) override;
    bool DeviceIoControl(platform::Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                         std::span<std::byte> output, std::uint32_t& bytesReturned) override;
    std::int32_t NtCreateFile(platform::ProcAddress function, const platform::NtOpenById& request,
                              platform::Handle& opened) override;
    std::int32_t NtQueryInformationFile(platform::ProcAddress function, platform::Handle handle,
                                        std::span<std::byte> buffer, std::uint32_t informationClass) override;
    std::int32_t CfGetPlaceholderInfo(platform::ProcAddress function, platform::Handle handle,
                                      std::uint32_t informationClass, std::span<std::byte> buffer) override;

    // Setting up and looking.
    NtfsVolume& AddVolume(char16_t drive);
    NtfsVolume& volume(char16_t drive = u'C');
    void AddHostFolder(std::u16string_view path);
    void AddVolumeFolder(std::u16string_view path);
    bool IsOnHost(std::u16string_view path);
    // Where a path of the host's part is on this computer.
    std::filesystem::path HostPath(std::u16string_view path);
    std::optional<std::string> ReadText(std::u16string_view path);
    void WriteText(std::u16string_view path, std::string_view contents);  // host part; creates the directories
    void SetFileSystem(char16_t drive, std::u16string name, std::uint32_t maximumComponentLength = 255);
    void SetFolder(std::int32_t folder, std::u16string path);

    // For other parts of the machine. A path that is held by SQLite cannot be deleted.
    std::filesystem::path HostPathLocked(std::u16string_view path);
    void HoldPath(std::u16string_view path);
    void ReleasePath(std::u16string_view path);
    void OnPipeOpen(std::function<platform::Handle(Call&, const std::u16string&)> open) { openPipe_ = std::move(open); }
    void AddShare(const std::u16string& key, ShareEntry entry) { shares_.emplace(key, entry); }
    void RemoveShare(const std::u16string& key, ShareEntry entry);
    static std::u16string Normalise(std::u16string_view path);
    NtfsVolume* VolumeFor(std::u16string_view normalised);  // null: on the host

private:
    std::filesystem::path Resolve(const std::u16string& normalised) const;
    std::uint32_t AttributesOf(const std::u16string& normalised);
    std::uint32_t MissingCode(const std::u16string& normalised);  // file or path not found
    bool HasConflict(const std::u16string& key, std::uint32_t access, std::uint32_t share) const;
    platform::Handle OpenVolumeFile(Call& call, NtfsVolume& volume, const std::u16string& path, std::uint32_t access,
                                    std::uint32_t share, std::uint32_t disposition, std::uint32_t flags);
    platform::Handle OpenHostFile(Call& call, const std::u16string& path, std::uint32_t access, std::uint32_t share,
                                  std::uint32_t disposition, std::uint32_t flags);
    std::shared_ptr<StreamObject> Stream(platform::Handle handle);

    Core& core_;
    SimClock& clock_;
    std::uint64_t seed_;
    std::filesystem::path hostRoot_;
    std::map<char16_t, std::unique_ptr<NtfsVolume>> volumes_;
    std::map<std::u16string, bool> places_;  // folded prefix -> on the host
    std::map<char16_t, std::pair<std::u16string, std::uint32_t>> fileSystems_;
    std::map<std::int32_t, std::u16string> folders_;
    std::multimap<std::u16string, ShareEntry> shares_;
    std::multiset<std::u16string> held_;
    std::function<platform::Handle(Call&, const std::u16string&)> openPipe_;
};

}  // namespace tavi::sim
