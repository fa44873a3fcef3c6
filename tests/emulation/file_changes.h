// Changes to real files that leave in the emulated journal what NTFS would have left there. Used by the feeder's
// scripts and by the end-to-end tests; on a machine with a real journal only the files are changed. Windows only.
//
// Paths are full Windows paths. Every operation returns false when the file system refused, and then writes no record.
// Between Batch() and its end nothing is stored, so that many changes cost one update of the state.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "journal_store.h"

namespace tavi::emulation {

class FileChanges {
public:
    // Without a store (null) the machine keeps a journal of its own.
    explicit FileChanges(JournalStore* store) : store_(store) {}

    bool CreateFileWithText(const std::wstring& path, const std::string& text);  // create, extend, close
    bool CreateEmptyFile(const std::wstring& path);                              // create, close
    bool AppendText(const std::wstring& path, const std::string& text);          // extend, close
    bool MakeDirectory(const std::wstring& path);
    bool Rename(const std::wstring& from, const std::wstring& to);  // old name, new name, close; also moves
    bool Delete(const std::wstring& path);                          // a file or an empty directory
    bool SetAttributes(const std::wstring& path, std::uint32_t attributes);
    // One record about an existing file, as it is, for what the file system under us cannot do itself.
    bool Record(const std::wstring& path, std::uint32_t attributes, std::uint32_t reason);

    void Batch(const std::function<void()>& changes);

private:
    struct Identity {
        std::uint64_t frn = 0;
        std::uint64_t parentFrn = 0;
        std::u16string name;
        std::uint32_t attributes = 0;
    };
    struct Entry {
        Identity file;
        std::uint32_t reason = 0;
        bool raw = false;
    };

    Identity Identify(const std::wstring& path);
    std::uint64_t ParentFrn(const std::wstring& path);
    void Append(const Identity& file, std::uint32_t reason);
    void Close(const Identity& file);
    void Store();

    JournalStore* store_;
    int batchDepth_ = 0;
    std::vector<Entry> pending_;
};

// The file's or directory's reference number, 0 when it cannot be had.
std::uint64_t FileReferenceNumber(const std::wstring& path);
// 100 ns since 1601, UTC.
std::uint64_t CurrentFileTime();

}  // namespace tavi::emulation
