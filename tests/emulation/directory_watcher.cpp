#include "directory_watcher.h"

#include <windows.h>

#include <winioctl.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <map>
#include <span>
#include <vector>

#include "file_changes.h"

namespace tavi::emulation {
namespace {

struct Known {
    std::uint64_t frn = 0;
    std::uint32_t attributes = 0;
};

class Watcher {
public:
    Watcher(sim::EmulatedJournal& journal, std::map<std::wstring, Known>& known, const std::wstring& folder)
        : journal_(journal), known_(known), folder_(folder) {}

    void Handle(DWORD action, const std::wstring& relative) {
        const std::wstring path = folder_ + L'\\' + relative;
        switch (action) {
            case FILE_ACTION_ADDED:
                known_[path] = Identify(path);
                Append(path, USN_REASON_FILE_CREATE);
                journal_.Close(known_[path].frn, CurrentFileTime());
                break;
            case FILE_ACTION_MODIFIED:
                Modified(path);
                break;
            case FILE_ACTION_RENAMED_OLD_NAME:
                Append(path, USN_REASON_RENAME_OLD_NAME);
                oldName_ = path;
                break;
            case FILE_ACTION_RENAMED_NEW_NAME:
                known_[path] = known_[oldName_];
                known_.erase(oldName_);
                Append(path, USN_REASON_RENAME_NEW_NAME);
                journal_.Close(known_[path].frn, CurrentFileTime());
                break;
            case FILE_ACTION_REMOVED:
                Append(path, USN_REASON_FILE_DELETE | USN_REASON_CLOSE);
                known_.erase(path);
                break;
            default:
                break;
        }
    }

private:
    static Known Identify(const std::wstring& path) {
        const std::uint32_t attributes = GetFileAttributesW(path.c_str());
        return {FileReferenceNumber(path), attributes == INVALID_FILE_ATTRIBUTES ? 0 : attributes};
    }

    void Modified(const std::wstring& path) {
        const Known now = Identify(path);
        if (now.frn == 0 || (now.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            return;  // gone again, or a directory whose contents changed: NTFS records neither
        }
        known_[path] = now;
        Append(path, USN_REASON_DATA_EXTEND);
        journal_.Close(now.frn, CurrentFileTime());
    }

    void Append(const std::wstring& path, std::uint32_t reason) {
        const std::size_t separator = path.find_last_of(L'\\');
        const std::wstring parent = path.substr(0, separator);
        const auto knownParent = known_.find(parent);
        const std::uint64_t parentFrn =
            knownParent != known_.end() ? knownParent->second.frn : FileReferenceNumber(parent);
        const std::wstring name = path.substr(separator + 1);
        journal_.Append(known_[path].frn, parentFrn, std::u16string(name.begin(), name.end()), known_[path].attributes,
                        reason, CurrentFileTime());
    }

    sim::EmulatedJournal& journal_;
    std::map<std::wstring, Known>& known_;
    std::wstring folder_;
    std::wstring oldName_;
};

void Scan(const std::wstring& folder, std::map<std::wstring, Known>& known) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::wstring path = entry.path().wstring();
        known[path] = {FileReferenceNumber(path), GetFileAttributesW(path.c_str())};
    }
}

}  // namespace

int WatchDirectory(JournalStore& store, const std::wstring& folder) {
    HANDLE directory =
        CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (directory == INVALID_HANDLE_VALUE) {
        std::fprintf(stderr, "feeder: the folder cannot be watched, error %lu\n", GetLastError());
        return 1;
    }
    std::map<std::wstring, Known> known;
    Scan(folder, known);
    std::puts("watching");
    std::fflush(stdout);
    std::vector<std::byte> buffer(1 << 20);
    DWORD bytes = 0;
    constexpr DWORD kFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                              FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_ATTRIBUTES;
    while (ReadDirectoryChangesW(directory, buffer.data(), static_cast<DWORD>(buffer.size()), TRUE, kFilter, &bytes,
                                 nullptr, nullptr)) {
        store.Update([&](sim::EmulatedJournal& journal) {
            Watcher watcher(journal, known, folder);
            for (std::size_t offset = 0; bytes != 0;) {
                const auto* change = reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(buffer.data() + offset);
                watcher.Handle(change->Action,
                               std::wstring(change->FileName, change->FileNameLength / sizeof(wchar_t)));
                if (change->NextEntryOffset == 0) {
                    break;
                }
                offset += change->NextEntryOffset;
            }
        });
    }
    CloseHandle(directory);
    return 1;
}

}  // namespace tavi::emulation
