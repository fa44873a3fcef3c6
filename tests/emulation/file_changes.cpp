#include "file_changes.h"

#include <windows.h>

#include <winioctl.h>

namespace tavi::emulation {
namespace {

constexpr std::uint32_t kExtend = USN_REASON_DATA_EXTEND;
constexpr std::uint32_t kCreate = USN_REASON_FILE_CREATE;
constexpr std::uint32_t kDelete = USN_REASON_FILE_DELETE;
constexpr std::uint32_t kOldName = USN_REASON_RENAME_OLD_NAME;
constexpr std::uint32_t kNewName = USN_REASON_RENAME_NEW_NAME;
constexpr std::uint32_t kBasicInfo = USN_REASON_BASIC_INFO_CHANGE;
constexpr std::uint32_t kClose = USN_REASON_CLOSE;

std::size_t LastBackslash(const std::wstring& path) {
    return path.find_last_of(L'\\');
}

bool WriteText(const std::wstring& path, const std::string& text, DWORD disposition) {
    HANDLE file = CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    DWORD written = 0;
    const bool ok = text.empty() || (WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
                                     written == text.size());
    CloseHandle(file);
    return ok;
}

}  // namespace

std::uint64_t FileReferenceNumber(const std::wstring& path) {
    HANDLE file =
        CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return 0;
    }
    BY_HANDLE_FILE_INFORMATION information{};
    GetFileInformationByHandle(file, &information);
    CloseHandle(file);
    return (static_cast<std::uint64_t>(information.nFileIndexHigh) << 32) | information.nFileIndexLow;
}

std::uint64_t CurrentFileTime() {
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

bool FileChanges::CreateFileWithText(const std::wstring& path, const std::string& text) {
    if (!WriteText(path, text, CREATE_NEW)) {
        return false;
    }
    const Identity file = Identify(path);
    Append(file, kCreate);
    Append(file, kExtend);
    Close(file);
    return true;
}

bool FileChanges::CreateEmptyFile(const std::wstring& path) {
    if (!WriteText(path, {}, CREATE_NEW)) {
        return false;
    }
    const Identity file = Identify(path);
    Append(file, kCreate);
    Close(file);
    return true;
}

bool FileChanges::AppendText(const std::wstring& path, const std::string& text) {
    if (!WriteText(path, text, OPEN_EXISTING)) {
        return false;
    }
    const Identity file = Identify(path);
    Append(file, kExtend);
    Close(file);
    return true;
}

bool FileChanges::MakeDirectory(const std::wstring& path) {
    if (!CreateDirectoryW(path.c_str(), nullptr)) {
        return false;
    }
    const Identity file = Identify(path);
    Append(file, kCreate);
    Close(file);
    return true;
}

bool FileChanges::Rename(const std::wstring& from, const std::wstring& to) {
    const Identity before = Identify(from);
    if (!MoveFileExW(from.c_str(), to.c_str(), 0)) {
        return false;
    }
    Append(before, kOldName);
    const Identity after = Identify(to);
    Append(after, kNewName);
    Close(after);
    return true;
}

bool FileChanges::Delete(const std::wstring& path) {
    const Identity file = Identify(path);
    const bool directory = (file.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!(directory ? RemoveDirectoryW(path.c_str()) : DeleteFileW(path.c_str()))) {
        return false;
    }
    Append(file, kDelete | kClose);
    return true;
}

bool FileChanges::SetAttributes(const std::wstring& path, std::uint32_t attributes) {
    if (!SetFileAttributesW(path.c_str(), attributes)) {
        return false;
    }
    const Identity file = Identify(path);
    Append(file, kBasicInfo);
    Close(file);
    return true;
}

bool FileChanges::Record(const std::wstring& path, std::uint32_t attributes, std::uint32_t reason) {
    Identity file = Identify(path);
    file.attributes = attributes;
    pending_.push_back({file, reason, true});
    Store();
    return file.frn != 0;
}

void FileChanges::Batch(const std::function<void()>& changes) {
    ++batchDepth_;
    changes();
    --batchDepth_;
    Store();
}

FileChanges::Identity FileChanges::Identify(const std::wstring& path) {
    if (store_ == nullptr) {
        return {};
    }
    const std::wstring name = path.substr(LastBackslash(path) + 1);
    return {FileReferenceNumber(path), ParentFrn(path), std::u16string(name.begin(), name.end()),
            GetFileAttributesW(path.c_str())};
}

std::uint64_t FileChanges::ParentFrn(const std::wstring& path) {
    // "C:\name" has the drive's root as parent, whose path keeps its backslash.
    const std::wstring parent = path.substr(0, LastBackslash(path));
    return FileReferenceNumber(parent.ends_with(L':') ? parent + L'\\' : parent);
}

void FileChanges::Append(const Identity& file, std::uint32_t reason) {
    pending_.push_back({file, reason, false});
    if (batchDepth_ == 0 && (reason & kClose) != 0) {
        Store();
    }
}

void FileChanges::Close(const Identity& file) {
    Append(file, kClose);
}

void FileChanges::Store() {
    if (store_ == nullptr || batchDepth_ > 0) {
        return;
    }
    store_->Update([this](sim::EmulatedJournal& journal) {
        for (const Entry& entry : pending_) {
            const Identity& file = entry.file;
            if (entry.raw) {
                journal.AppendRaw(file.frn, file.parentFrn, file.name, file.attributes, entry.reason,
                                  CurrentFileTime());
            } else if (entry.reason == kClose) {
                journal.Close(file.frn, CurrentFileTime());
            } else {
                journal.Append(file.frn, file.parentFrn, file.name, file.attributes, entry.reason, CurrentFileTime());
            }
        }
    });
    pending_.clear();
}

}  // namespace tavi::emulation
