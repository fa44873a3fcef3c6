#include "sim/sim_files.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <utility>

#include "platform/constants.h"
#include "sim/host_names.h"
#include "sim/sim_clock.h"
#include "sim/sim_file_objects.h"

namespace tavi::sim {

using namespace platform;

namespace {

constexpr std::uint32_t kCreateNew = 1;
constexpr std::uint32_t kCreateAlways = 2;
constexpr std::uint32_t kErrorInvalidName = 123;
constexpr std::int32_t kStatusInvalidParameter = static_cast<std::int32_t>(0xC000000D);
constexpr std::int32_t kStatusInvalidHandle = static_cast<std::int32_t>(0xC0000008);
constexpr std::int32_t kStatusBufferOverflow = static_cast<std::int32_t>(0x80000005);
constexpr std::int32_t kNotACloudFile = static_cast<std::int32_t>(0x80070178);

std::uintptr_t Number(Handle handle) {
    return static_cast<std::uintptr_t>(handle);
}

// Databases are real files that are synchronised with every commit: in memory, where there is such a file system, the
// tests are ten times quicker.
std::filesystem::path TemporaryFolder() {
    const std::filesystem::path memory("/dev/shm");
    std::error_code ignored;
    const bool chosen = std::getenv("TMPDIR") != nullptr;
    return !chosen && std::filesystem::is_directory(memory, ignored) ? memory : std::filesystem::temp_directory_path();
}

std::filesystem::path MakeHostRoot() {
    std::random_device device;
    static std::atomic<unsigned> counter{0};
    for (;;) {
        const std::string name = "tavi_sim_" + std::to_string(device()) + "_" + std::to_string(++counter);
        std::filesystem::path root = TemporaryFolder() / name;
        if (std::filesystem::create_directory(root)) {
            return root;
        }
    }
}

std::u16string ParentOf(const std::u16string& path) {
    const std::size_t last = path.rfind(u'\\');
    return last == std::u16string::npos ? std::u16string() : path.substr(0, last);
}

std::u16string NameOf(const std::u16string& path) {
    return path.substr(path.rfind(u'\\') + 1);
}

}  // namespace

SimFiles::SimFiles(Core& core, SimClock& clock, std::uint64_t seed)
    : core_(core), clock_(clock), seed_(seed), hostRoot_(MakeHostRoot()) {
    AddVolume(u'C');
    for (const char16_t* folder : {u"C:\\Users", u"C:\\ProgramData", u"C:\\Program Files", u"C:\\Windows"}) {
        AddHostFolder(folder);
    }
    folders_[kCsidlRoamingAppData] = u"C:\\Users\\user\\AppData\\Roaming";
    folders_[kCsidlCommonAppData] = u"C:\\ProgramData";
}

SimFiles::~SimFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(hostRoot_, ignored);
}

// "\\?\C:\a/b\" and its like in the one form that everything here uses: "C:\a\b".
std::u16string SimFiles::Normalise(std::u16string_view path) {
    if (path.substr(0, 8) == u"\\\\?\\UNC\\") {
        return u"\\\\" + Normalise(path.substr(8));
    }
    if (path.substr(0, 4) == u"\\\\?\\") {
        path.remove_prefix(4);
    }
    std::u16string normal;
    for (const char16_t unit : path) {
        const char16_t separated = unit == u'/' ? u'\\' : unit;
        const bool doubled = separated == u'\\' && normal.size() > 1 && normal.back() == u'\\';
        if (!doubled) {
            normal += separated;
        }
    }
    while (!normal.empty() && normal.back() == u'\\') {
        normal.pop_back();
    }
    return normal;
}

NtfsVolume* SimFiles::VolumeFor(std::u16string_view normalised) {
    const std::u16string folded = NtfsVolume::Fold(normalised);
    if (folded.size() < 2 || folded[1] != u':') {
        return nullptr;
    }
    const auto volume = volumes_.find(folded[0]);
    if (volume == volumes_.end()) {
        return nullptr;
    }
    std::size_t longest = 0;
    bool onHost = false;
    for (const auto& [prefix, host] : places_) {
        const bool below = folded.substr(0, prefix.size()) == prefix &&
                           (folded.size() == prefix.size() || folded[prefix.size()] == u'\\');
        if (below && prefix.size() > longest) {
            longest = prefix.size();
            onHost = host;
        }
    }
    return onHost ? nullptr : volume->second.get();
}

std::filesystem::path SimFiles::Resolve(const std::u16string& normalised) const {
    return ResolveOnHost(hostRoot_, normalised);
}

NtfsVolume& SimFiles::AddVolume(char16_t drive) {
    auto& volume = volumes_[drive];
    if (!volume) {
        volume = std::make_unique<NtfsVolume>(
            drive, [this] { return clock_.NowUtc(); }, seed_ * 31 + drive);
    }
    return *volume;
}

NtfsVolume& SimFiles::volume(char16_t drive) {
    return *volumes_.at(drive);
}

void SimFiles::AddHostFolder(std::u16string_view path) {
    const std::u16string normal = Normalise(path);
    places_[NtfsVolume::Fold(normal)] = true;
    std::filesystem::create_directories(Resolve(normal));
}

void SimFiles::AddVolumeFolder(std::u16string_view path) {
    const std::u16string normal = Normalise(path);
    places_[NtfsVolume::Fold(normal)] = false;
    if (NtfsVolume* volume = VolumeFor(normal); volume != nullptr) {
        volume->MakeDirectory(normal);
    }
}

bool SimFiles::IsOnHost(std::u16string_view path) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return VolumeFor(Normalise(path)) == nullptr;
}

std::filesystem::path SimFiles::HostPath(std::u16string_view path) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    return HostPathLocked(path);
}

std::filesystem::path SimFiles::HostPathLocked(std::u16string_view path) {
    return Resolve(Normalise(path));
}

std::optional<std::string> SimFiles::ReadText(std::u16string_view path) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    const std::u16string normal = Normalise(path);
    if (const NtfsVolume* volume = VolumeFor(normal); volume != nullptr) {
        const auto info = volume->Info(normal);
        return info ? std::optional(info->contents) : std::nullopt;
    }
    std::ifstream in(Resolve(normal), std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    std::ostringstream contents;
    contents << in.rdbuf();
    return contents.str();
}

void SimFiles::WriteText(std::u16string_view path, std::string_view contents) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    const std::filesystem::path target = Resolve(Normalise(path));
    std::filesystem::create_directories(target.parent_path());
    std::ofstream(target, std::ios::binary) << contents;
}

void SimFiles::SetFileSystem(char16_t drive, std::u16string name, std::uint32_t maximumComponentLength) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    fileSystems_[drive] = {std::move(name), maximumComponentLength};
}

void SimFiles::SetFolder(std::int32_t folder, std::u16string path) {
    const Scheduler::Lock lock = core_.scheduler.Enter();
    folders_[folder] = std::move(path);
}

void SimFiles::HoldPath(std::u16string_view path) {
    held_.insert(NtfsVolume::Fold(Normalise(path)));
}

void SimFiles::ReleasePath(std::u16string_view path) {
    if (const auto found = held_.find(NtfsVolume::Fold(Normalise(path))); found != held_.end()) {
        held_.erase(found);
    }
}

void SimFiles::RemoveShare(const std::u16string& key, ShareEntry entry) {
    const auto [first, last] = shares_.equal_range(key);
    for (auto at = first; at != last; ++at) {
        if (at->second.access == entry.access && at->second.share == entry.share) {
            shares_.erase(at);
            return;
        }
    }
}

bool SimFiles::HasConflict(const std::u16string& key, std::uint32_t access, std::uint32_t share) const {
    const auto [first, last] = shares_.equal_range(key);
    return std::any_of(first, last, [&](const auto& open) {
        return IsConflict({open.second.access, open.second.share}, {access, share});
    });
}

std::uint32_t SimFiles::AttributesOf(const std::u16string& normalised) {
    if (const NtfsVolume* volume = VolumeFor(normalised); volume != nullptr) {
        const auto info = volume->Info(normalised);
        return info ? info->attributes : kInvalidFileAttributes;
    }
    const std::filesystem::path target = Resolve(normalised);
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(target, ignored);
    if (normalised.empty() || !std::filesystem::exists(status)) {
        return kInvalidFileAttributes;
    }
    return std::filesystem::is_directory(status) ? kFileAttributeDirectory : kFileAttributeArchive;
}

std::uint32_t SimFiles::MissingCode(const std::u16string& normalised) {
    const std::uint32_t parent = AttributesOf(ParentOf(normalised));
    return parent == kInvalidFileAttributes ? kErrorPathNotFound : kErrorFileNotFound;
}

Handle SimFiles::CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                             std::uint32_t disposition, std::uint32_t flagsAndAttributes) {
    Call call(core_, "Files.CreateFileW", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(kInvalidHandle);
    }
    if (path.substr(0, 4) == u"\\\\.\\") {
        if (path.size() == 6 && path[5] == u':') {
            const auto volume = volumes_.find(NtfsVolume::Fold(path)[4]);
            if (volume == volumes_.end()) {
                return call.Fail(kErrorFileNotFound, kInvalidHandle);
            }
            return Handle{core_.Open("volume handle", Narrow(path), std::make_shared<VolumeObject>(*volume->second))};
        }
        return openPipe_ ? openPipe_(call, path) : call.Fail(kErrorFileNotFound, kInvalidHandle);
    }
    const std::u16string normal = Normalise(path);
    if (normal.size() < 2 || normal[1] != u':') {
        return call.Fail(normal.empty() ? kErrorPathNotFound : kErrorFileNotFound, kInvalidHandle);
    }
    const std::u16string key = NtfsVolume::Fold(normal);
    if (HasConflict(key, access, shareMode) || (disposition == kTruncateExisting && held_.contains(key))) {
        return call.Fail(kErrorSharingViolation, kInvalidHandle);
    }
    if (NtfsVolume* volume = VolumeFor(normal); volume != nullptr) {
        return OpenVolumeFile(call, *volume, normal, access, shareMode, disposition, flagsAndAttributes);
    }
    return OpenHostFile(call, normal, access, shareMode, disposition, flagsAndAttributes);
}

Handle SimFiles::OpenVolumeFile(Call& call, NtfsVolume& volume, const std::u16string& path, std::uint32_t access,
                                std::uint32_t share, std::uint32_t disposition, std::uint32_t flags) {
    auto info = volume.Info(path);
    if (!info && (disposition == kOpenExisting || disposition == kTruncateExisting)) {
        const bool parentExists = volume.Find(ParentOf(path)) != 0;
        return call.Fail(parentExists ? kErrorFileNotFound : kErrorPathNotFound, kInvalidHandle);
    }
    if (info && disposition == kCreateNew) {
        return call.Fail(kErrorFileExists, kInvalidHandle);
    }
    if (info && info->IsDirectory() && (flags & kFileFlagBackupSemantics) == 0) {
        return call.Fail(kErrorAccessDenied, kInvalidHandle);
    }
    if (info && !volume.Permits(info->frn, {access, share})) {
        return call.Fail(kErrorSharingViolation, kInvalidHandle);
    }
    if (!info) {
        if (volume.MakeFile(path) == 0) {
            return call.Fail(kErrorPathNotFound, kInvalidHandle);
        }
        info = volume.Info(path);
    } else if (disposition == kTruncateExisting || disposition == kCreateAlways) {
        volume.Write(path, {}, WriteKind::kTruncate);
    }
    auto object =
        std::make_shared<NodeObject>(*this, volume, info->frn, NtfsVolume::Fold(path), ShareEntry{access, share});
    return Handle{core_.Open("file handle", Narrow(path), std::move(object))};
}

Handle SimFiles::OpenHostFile(Call& call, const std::u16string& path, std::uint32_t access, std::uint32_t share,
                              std::uint32_t disposition, std::uint32_t flags) {
    const std::uint32_t attributes = AttributesOf(path);
    const bool exists = attributes != kInvalidFileAttributes;
    const std::filesystem::path target = Resolve(path);
    if (!exists && !std::filesystem::is_directory(target.parent_path())) {
        return call.Fail(kErrorPathNotFound, kInvalidHandle);
    }
    if (!exists && (disposition == kOpenExisting || disposition == kTruncateExisting)) {
        return call.Fail(kErrorFileNotFound, kInvalidHandle);
    }
    if (exists && disposition == kCreateNew) {
        return call.Fail(kErrorFileExists, kInvalidHandle);
    }
    const bool directory = exists && IsDirectory(attributes);
    if (directory && (flags & kFileFlagBackupSemantics) == 0) {
        return call.Fail(kErrorAccessDenied, kInvalidHandle);
    }
    const bool empties = disposition == kTruncateExisting || disposition == kCreateAlways;
    if (!directory && (!exists || empties)) {
        std::ofstream(target, std::ios::binary | std::ios::trunc);
    }
    auto object = std::make_shared<HostObject>(*this, target, directory, path, ShareEntry{access, share});
    return Handle{core_.Open("file handle", Narrow(path), std::move(object))};
}

bool SimFiles::CloseHandle(Handle handle) {
    Call call(core_, "Files.CloseHandle", kErrorInvalidHandle, CallKind::kReleases);
    if (call.dead()) {
        return call.Fail(false);
    }
    bool closed = false;
    for (const char* kind : {"file handle", "volume handle", "pipe handle", "pipe client handle", "process handle"}) {
        closed = closed || core_.Close(kind, Number(handle));
    }
    return (closed && !call.failed()) || call.Fail(false);
}

std::shared_ptr<StreamObject> SimFiles::Stream(Handle handle) {
    return core_.GetAs<StreamObject>(Number(handle));
}

bool SimFiles::ReadFile(Handle handle, std::span<std::byte> buffer, std::uint32_t& bytesRead) {
    Call call(core_, "Files.ReadFile", kErrorBrokenPipe);
    bytesRead = 0;
    if (call.failed()) {
        if (core_.IsOpen("pipe handle", Number(handle))) {
            call.DieIfDead();
        }
        return call.Fail(false);
    }
    const auto stream = Stream(handle);
    return stream ? stream->Read(call, buffer, bytesRead) : call.Fail(kErrorInvalidHandle, false);
}

bool SimFiles::WriteFile(Handle handle, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) {
    Call call(core_, "Files.WriteFile", kErrorDiskFull);
    bytesWritten = 0;
    if (call.failed()) {
        return call.Fail(false);
    }
    const auto stream = Stream(handle);
    return stream ? stream->Write(call, bytes, bytesWritten) : call.Fail(kErrorInvalidHandle, false);
}

bool SimFiles::FlushFileBuffers(Handle handle) {
    Call call(core_, "Files.FlushFileBuffers", kErrorBrokenPipe);
    if (call.failed()) {
        return call.Fail(false);
    }
    const auto stream = Stream(handle);
    return stream ? stream->Flush(call) : call.Fail(kErrorInvalidHandle, false);
}

bool SimFiles::GetFileSizeEx(Handle handle, std::int64_t& bytes) {
    Call call(core_, "Files.GetFileSizeEx", kErrorInvalidHandle);
    if (call.failed()) {
        return call.Fail(false);
    }
    const auto stream = Stream(handle);
    return stream ? stream->Size(call, bytes) : call.Fail(kErrorInvalidHandle, false);
}

bool SimFiles::SetFilePointerEx(Handle handle, std::int64_t distance, std::uint32_t method) {
    Call call(core_, "Files.SetFilePointerEx", kErrorInvalidParameter);
    if (call.failed()) {
        return call.Fail(false);
    }
    const auto stream = Stream(handle);
    return stream ? stream->Seek(call, distance, method) : call.Fail(kErrorInvalidHandle, false);
}

bool SimFiles::GetFileInformationByHandle(Handle handle, FileInformation& information) {
    Call call(core_, "Files.GetFileInformationByHandle", kErrorInvalidHandle);
    if (call.failed()) {
        return call.Fail(false);
    }
    const auto stream = Stream(handle);
    return stream ? stream->Information(call, information) : call.Fail(kErrorInvalidHandle, false);
}

int SimFiles::Waccess(const std::u16string& path, int mode) {
    const Call call(core_, "Paths.Waccess", ENOENT);
    const std::uint32_t attributes = call.failed() ? kInvalidFileAttributes : AttributesOf(Normalise(path));
    if (attributes == kInvalidFileAttributes) {
        errno = call.failed() ? static_cast<int>(call.code()) : ENOENT;
        return -1;
    }
    const bool readOnlyFile = (attributes & kFileAttributeReadOnly) != 0 && !IsDirectory(attributes);
    if ((mode & 2) != 0 && readOnlyFile) {
        errno = EACCES;
        return -1;
    }
    return 0;
}

bool SimFiles::PathFileExistsW(const std::u16string& path) {
    Call call(core_, "Paths.PathFileExistsW", kErrorPathNotFound);
    if (call.failed()) {
        return call.Fail(false);
    }
    return AttributesOf(Normalise(path)) != kInvalidFileAttributes || call.Fail(kErrorFileNotFound, false);
}

std::uint32_t SimFiles::GetFileAttributesW(const std::u16string& path) {
    Call call(core_, "Paths.GetFileAttributesW", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(kInvalidFileAttributes);
    }
    const std::u16string normal = Normalise(path);
    const std::uint32_t attributes = AttributesOf(normal);
    return attributes != kInvalidFileAttributes ? attributes : call.Fail(MissingCode(normal), kInvalidFileAttributes);
}

bool SimFiles::DeleteFileW(const std::u16string& path) {
    Call call(core_, "Paths.DeleteFileW", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(false);
    }
    const std::u16string normal = Normalise(path);
    const std::uint32_t attributes = AttributesOf(normal);
    if (attributes == kInvalidFileAttributes) {
        return call.Fail(MissingCode(normal), false);
    }
    if ((attributes & (kFileAttributeDirectory | kFileAttributeReadOnly)) != 0) {
        return call.Fail(kErrorAccessDenied, false);
    }
    const std::u16string key = NtfsVolume::Fold(normal);
    const auto [first, last] = shares_.equal_range(key);
    const bool inUse =
        std::any_of(first, last, [](const auto& open) { return (open.second.share & kFileShareDelete) == 0; });
    if (inUse || held_.contains(key)) {
        return call.Fail(kErrorSharingViolation, false);
    }
    if (NtfsVolume* volume = VolumeFor(normal); volume != nullptr) {
        return volume->Remove(normal) || call.Fail(kErrorAccessDenied, false);
    }
    std::error_code failure;
    return std::filesystem::remove(Resolve(normal), failure) || call.Fail(kErrorAccessDenied, false);
}

FindHandle SimFiles::FindFirstFileW(const std::u16string& pattern, FindData& data) {
    Call call(core_, "Paths.FindFirstFileW", kErrorAccessDenied);
    if (call.failed()) {
        return call.Fail(kInvalidFindHandle);
    }
    const std::u16string normal = Normalise(pattern);
    const std::u16string folder = ParentOf(normal);
    const std::u16string name = NtfsVolume::Fold(NameOf(normal));
    const std::uint32_t attributes = AttributesOf(folder);
    if (attributes == kInvalidFileAttributes || !IsDirectory(attributes)) {
        return call.Fail(kErrorPathNotFound, kInvalidFindHandle);
    }
    auto object = std::make_shared<FindObject>();
    if (folder.size() > 2) {  // a drive's root has no entries for itself and its parent
        object->entries.push_back({kFileAttributeDirectory, u".", 0});
        object->entries.push_back({kFileAttributeDirectory, u"..", 0});
    }
    if (const NtfsVolume* volume = VolumeFor(folder); volume != nullptr) {
        for (const NodeInfo& info : volume->List(folder)) {
            object->entries.push_back({info.attributes, info.name, info.reparseTag});
        }
    } else {
        ListHostFolder(Resolve(folder), object->entries);
    }
    if (name != u"*" && name != u"*.*") {
        std::erase_if(object->entries, [&](const FindData& entry) { return NtfsVolume::Fold(entry.fileName) != name; });
    }
    if (object->entries.empty()) {
        return call.Fail(kErrorFileNotFound, kInvalidFindHandle);
    }
    data = object->entries.front();
    object->next = 1;
    return FindHandle{core_.Open("find handle", Narrow(pattern), std::move(object))};
}

bool SimFiles::FindNextFileW(FindHandle handle, FindData& data) {
    Call call(core_, "Paths.FindNextFileW", kErrorNoMoreFiles);
    if (call.failed()) {
        return call.Fail(false);
    }
    const auto object = core_.GetAs<FindObject>(static_cast<std::uintptr_t>(handle));
    if (!object) {
        return call.Fail(kErrorInvalidHandle, false);
    }
    if (object->next >= object->entries.size()) {
        return call.Fail(kErrorNoMoreFiles, false);
    }
    data = object->entries[object->next++];
    return true;
}

bool SimFiles::FindClose(FindHandle handle) {
    Call call(core_, "Paths.FindClose", kErrorInvalidHandle, CallKind::kReleases);
    const bool closed = !call.dead() && core_.Close("find handle", static_cast<std::uintptr_t>(handle));
    return (closed && !call.failed()) || call.Fail(false);
}

int SimFiles::SHCreateDirectoryExW(const std::u16string& path) {
    Call call(core_, "Paths.SHCreateDirectoryExW", kErrorAccessDenied);
    if (call.failed()) {
        return static_cast<int>(call.Fail(call.code()));
    }
    const std::u16string normal = Normalise(path);
    if (normal.size() < 2 || normal[1] != u':') {
        return static_cast<int>(call.Fail<std::uint32_t>(161, 161));  // ERROR_BAD_PATHNAME: not a full path
    }
    if (AttributesOf(normal) != kInvalidFileAttributes) {
        return static_cast<int>(call.Fail(kErrorAlreadyExists, kErrorAlreadyExists));
    }
    if (NtfsVolume* volume = VolumeFor(normal); volume != nullptr) {
        const bool made = volume->MakeDirectory(normal) != 0;
        return static_cast<int>(made ? kErrorSuccess : call.Fail(kErrorPathNotFound, kErrorPathNotFound));
    }
    std::error_code failure;
    std::filesystem::create_directories(Resolve(normal), failure);
    return static_cast<int>(failure ? call.Fail(kErrorPathNotFound, kErrorPathNotFound) : kErrorSuccess);
}

std::int32_t SimFiles::SHGetFolderPathW(std::int32_t folder, std::u16string& path) {
    Call call(core_, "Paths.SHGetFolderPathW", 0x80004005);
    const auto found = folders_.find(folder);
    if (call.failed() || found == folders_.end()) {
        return static_cast<std::int32_t>(call.Fail(call.code()));
    }
    path = found->second;
    return kSOk;
}

bool SimFiles::GetVolumeInformationW(const std::u16string& root, std::uint32_t& maximumComponentLength,
                                     std::u16string& fileSystemName) {
    Call call(core_, "Volumes.GetVolumeInformationW", kErrorNotReady);
    if (call.failed()) {
        return call.Fail(false);
    }
    if (root.size() != 3 || root[1] != u':' || root[2] != u'\\') {
        return call.Fail(kErrorInvalidName, false);
    }
    const auto found = fileSystems_.find(NtfsVolume::Fold(root)[0]);
    maximumComponentLength = found == fileSystems_.end() ? 255 : found->second.second;
    fileSystemName = found == fileSystems_.end() ? u"NTFS" : found->second.first;
    return true;
}

std::string SimFiles::WideCharToMultiByteAcp(const std::u16string& text) {
    Call call(core_, "CodePage.WideCharToMultiByteAcp", kErrorInvalidParameter);
    if (call.failed()) {
        return call.Fail(std::string());
    }
    std::string narrow;
    for (const char16_t unit : text) {
        narrow += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return narrow;
}

bool SimFiles::DeviceIoControl(Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                               std::span<std::byte> output, std::uint32_t& bytesReturned) {
    Call call(core_, "Volumes.DeviceIoControl", kErrorNotReady);
    bytesReturned = 0;
    if (call.failed()) {
        return call.Fail(false);
    }
    const auto object = core_.GetAs<VolumeObject>(Number(handle));
    if (!object) {
        return call.Fail(core_.Get(Number(handle)) ? kErrorInvalidFunction : kErrorInvalidHandle, false);
    }
    const std::uint32_t code = object->volume.WithJournal(
        [&](EmulatedJournal& journal) { return journal.DeviceIoControl(controlCode, input, output, bytesReturned); });
    return code == 0 || call.Fail(code, false);
}

std::int32_t SimFiles::NtCreateFile(ProcAddress, const NtOpenById& request, Handle& opened) {
    const Call call(core_, "NativeCalls.NtCreateFile", 0xC0000022);
    if (call.failed()) {
        return static_cast<std::int32_t>(call.code());
    }
    const auto root = core_.GetAs<VolumeObject>(Number(request.rootDirectory));
    if (!root) {
        return kStatusInvalidHandle;
    }
    const std::u16string path = root->volume.PathOf(request.fileReferenceNumber);
    if (path.empty() || (request.createOptions & kFileOpenByFileId) == 0) {
        return kStatusInvalidParameter;
    }
    const std::u16string full = std::u16string{root->volume.drive(), u':'} + (path == u"\\" ? u"" : path);
    const std::u16string key = NtfsVolume::Fold(full);
    if (HasConflict(key, request.desiredAccess, request.shareAccess) ||
        !root->volume.Permits(request.fileReferenceNumber, {request.desiredAccess, request.shareAccess})) {
        return static_cast<std::int32_t>(0xC0000043);  // STATUS_SHARING_VIOLATION
    }
    auto object = std::make_shared<NodeObject>(*this, root->volume, request.fileReferenceNumber, key,
                                               ShareEntry{request.desiredAccess, request.shareAccess});
    opened = Handle{core_.Open("file handle", "by id: " + Narrow(full), std::move(object))};
    return kStatusSuccess;
}

std::int32_t SimFiles::NtQueryInformationFile(ProcAddress, Handle handle, std::span<std::byte> buffer,
                                              std::uint32_t informationClass) {
    const Call call(core_, "NativeCalls.NtQueryInformationFile", 0xC0000022);
    if (call.failed()) {
        return static_cast<std::int32_t>(call.code());
    }
    const auto object = core_.GetAs<NodeObject>(Number(handle));
    if (!object || informationClass != kFileNameInformation) {
        return object ? kStatusInvalidParameter : kStatusInvalidHandle;
    }
    const std::u16string path = object->volume.PathOf(object->frn);
    const auto bytes = static_cast<std::uint32_t>(path.size() * sizeof(char16_t));
    if (buffer.size() < sizeof bytes) {
        return static_cast<std::int32_t>(0xC0000004);  // STATUS_INFO_LENGTH_MISMATCH
    }
    // The length is that of the whole name, also when only its beginning fits.
    std::memcpy(buffer.data(), &bytes, sizeof bytes);
    const std::size_t fits = std::min<std::size_t>(bytes, buffer.size() - sizeof bytes);
    std::memcpy(buffer.data() + sizeof bytes, path.data(), fits);
    return fits == bytes ? kStatusSuccess : kStatusBufferOverflow;
}

std::int32_t SimFiles::CfGetPlaceholderInfo(ProcAddress, Handle handle, std::uint32_t informationClass,
                                            std::span<std::byte> buffer) {
    const Call call(core_, "CloudFiles.CfGetPlaceholderInfo", static_cast<std::uint32_t>(kNotACloudFile));
    if (call.failed()) {
        return static_cast<std::int32_t>(call.code());
    }
    const auto object = core_.GetAs<NodeObject>(Number(handle));
    const auto info = object ? object->volume.InfoByFrn(object->frn) : std::nullopt;
    if (!info || !info->placeholder || informationClass != kCfPlaceholderInfoStandard) {
        return kNotACloudFile;
    }
    std::memset(buffer.data(), 0, buffer.size());
    return kSOk;
}

}  // namespace tavi::sim
