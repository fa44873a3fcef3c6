#include "directory_watcher.h"

#include <windows.h>

#include <winioctl.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <map>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "file_changes.h"

namespace tavi::emulation {
namespace {

struct Known {
    std::uint64_t frn = 0;
    std::uint32_t attributes = 0;
};

using KnownFiles = std::map<std::wstring, Known>;                    // by full path
using Renames = std::vector<std::pair<std::wstring, std::wstring>>;  // of directories, the first one first

void Scan(const std::wstring& folder, KnownFiles& known) {
    constexpr auto kSkipDenied = std::filesystem::directory_options::skip_permission_denied;
    std::error_code failure;  // gone again
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, kSkipDenied, failure)) {
        const std::wstring path = entry.path().wstring();
        known[path] = {FileReferenceNumber(path), GetFileAttributesW(path.c_str())};
    }
}

struct Change {
    DWORD action = 0;
    std::wstring relative;
};

std::vector<Change> Changes(std::span<const std::byte> bytes) {
    std::vector<Change> changes;
    for (std::size_t offset = 0; offset < bytes.size();) {
        const auto* change = reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(bytes.data() + offset);
        changes.push_back({change->Action, {change->FileName, change->FileNameLength / sizeof(wchar_t)}});
        offset = change->NextEntryOffset == 0 ? bytes.size() : offset + change->NextEntryOffset;
    }
    return changes;
}

class Watcher {
public:
    Watcher(sim::EmulatedJournal& journal, KnownFiles& known, Renames& renamed, const std::wstring& folder)
        : journal_(journal), known_(known), renamed_(renamed), folder_(folder) {}

    // A directory that moves between two others is announced as removed, and not always as added elsewhere: the number
    // that it keeps tells where it is now.
    std::vector<Change> WithMoves(const std::vector<Change>& changes) const {
        std::vector<Change> followed;
        for (const Change& change : changes) {
            const std::wstring now = change.action == FILE_ACTION_REMOVED ? WhereItIsNow(change.relative) : L"";
            if (now.empty()) {
                followed.push_back(change);
                continue;
            }
            followed.push_back({FILE_ACTION_RENAMED_OLD_NAME, change.relative});
            followed.push_back({FILE_ACTION_RENAMED_NEW_NAME, now});
        }
        return followed;
    }

    void Handle(DWORD action, const std::wstring& relative) {
        const std::wstring path = RealPath(folder_ + L'\\' + relative);
        switch (action) {
            case FILE_ACTION_ADDED:
                Added(path);
                break;
            case FILE_ACTION_MODIFIED:
                Modified(path);
                break;
            case FILE_ACTION_RENAMED_OLD_NAME:
                Append(path, USN_REASON_RENAME_OLD_NAME);
                oldName_ = path;
                break;
            case FILE_ACTION_RENAMED_NEW_NAME:
                MoveBelow(oldName_, path);
                Append(path, USN_REASON_RENAME_NEW_NAME);
                journal_.Close(known_[path].frn, CurrentFileTime());
                break;
            case FILE_ACTION_REMOVED:
                Append(path, USN_REASON_FILE_DELETE | USN_REASON_CLOSE);
                known_.erase(path);
                EraseBelow(path);  // moved out of the folder with all that is in it
                break;
            default:
                break;
        }
    }

private:
    // Relative to the folder; empty when it is no directory, or is nowhere in the folder.
    std::wstring WhereItIsNow(const std::wstring& relative) const {
        const auto known = known_.find(RealPath(folder_ + L'\\' + relative));
        if (known == known_.end() || known->second.frn == 0 ||
            (known->second.attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            return {};
        }
        KnownFiles present;
        Scan(folder_, present);
        for (const auto& [path, file] : present) {
            if (file.frn == known->second.frn) {
                return path.substr(folder_.size() + 1);
            }
        }
        return {};
    }

    // What happens below a directory that was renamed may be announced under its former name.
    std::wstring RealPath(std::wstring path) const {
        for (auto [from, to] : renamed_) {
            const std::wstring parent = path.substr(0, path.find_last_of(L'\\'));
            if (!known_.contains(parent) && path.starts_with(from + L'\\')) {
                path.replace(0, from.size(), to);
            }
        }
        return path;
    }

    static Known Identify(const std::wstring& path) {
        const std::uint32_t attributes = GetFileAttributesW(path.c_str());
        return {FileReferenceNumber(path), attributes == INVALID_FILE_ATTRIBUTES ? 0 : attributes};
    }

    // What a directory brought with it gets no records, as on NTFS, but has its numbers from now on.
    void Added(const std::wstring& path) {
        const Known now = Identify(path);
        const auto known = known_.find(path);
        if (known != known_.end() && known->second.frn == now.frn && now.frn != 0) {
            return;  // followed here already
        }
        known_[path] = now;
        Append(path, USN_REASON_FILE_CREATE);
        journal_.Close(known_[path].frn, CurrentFileTime());
        if ((known_[path].attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            Scan(path, known_);
        }
    }

    // The entries below a directory stand together: what a path is continued with comes after all that begins with it.
    std::pair<KnownFiles::iterator, KnownFiles::iterator> Below(const std::wstring& path) {
        return {known_.lower_bound(path + L'\\'), known_.lower_bound(path + static_cast<wchar_t>(L'\\' + 1))};
    }

    void EraseBelow(const std::wstring& path) {
        const auto [first, last] = Below(path);
        known_.erase(first, last);
    }

    // A directory takes along what is known of everything in it.
    void MoveBelow(const std::wstring& from, const std::wstring& to) {
        KnownFiles moved;
        const auto [first, last] = Below(from);
        for (auto entry = first; entry != last; ++entry) {
            moved[to + entry->first.substr(from.size())] = entry->second;
        }
        known_.erase(first, last);
        if ((known_[from].attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            renamed_.emplace_back(from, to);
        }
        const Known known = known_[from];
        known_[to] = known.frn != 0 ? known : Identify(to);
        known_.erase(from);
        known_.merge(moved);
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
    KnownFiles& known_;
    Renames& renamed_;
    std::wstring folder_;
    std::wstring oldName_;
};

}  // namespace

int WatchDirectory(JournalStore& store, const std::wstring& folder) {
    HANDLE directory =
        CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (directory == INVALID_HANDLE_VALUE) {
        std::fprintf(stderr, "feeder: the folder cannot be watched, error %lu\n", GetLastError());
        return 1;
    }
    KnownFiles known;
    Renames renamed;
    Scan(folder, known);
    known[folder] = {FileReferenceNumber(folder), FILE_ATTRIBUTE_DIRECTORY};
    std::puts("watching");
    std::fflush(stdout);
    std::vector<std::byte> buffer(1 << 20);
    DWORD bytes = 0;
    constexpr DWORD kFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                              FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_ATTRIBUTES;
    while (ReadDirectoryChangesW(directory, buffer.data(), static_cast<DWORD>(buffer.size()), TRUE, kFilter, &bytes,
                                 nullptr, nullptr)) {
        store.Update([&](sim::EmulatedJournal& journal) {
            Watcher watcher(journal, known, renamed, folder);
            for (const Change& change : watcher.WithMoves(Changes(std::span(buffer).first(bytes)))) {
                watcher.Handle(change.action, change.relative);
            }
        });
    }
    CloseHandle(directory);
    return 1;
}

}  // namespace tavi::emulation
