// An NTFS volume in memory: directories and files with reference numbers, and the change journal that their changes
// write. Tests use it as the people and programs that work on the disk; the simulated machine answers the product's
// file calls from it.
//
// Paths are relative to the volume ("\Sync\a.txt", "\" for the root) or start with the drive ("C:\Sync\a.txt"). Names
// are any UTF-16; look-ups ignore case, names keep it. A reference number is 48 bits of a record number and 16 bits of
// a sequence; a record number freed by a deletion is used again with the next sequence.
//
// Every operation writes the reasons that the file system writes, and closes the file behind itself, unless the file is
// held open (Hold): then the reasons accumulate until Release, and cycles of several files interleave.
//
// Operations return 0 or false when the path does not exist, exists already, or a directory is not empty. Any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "sim/emulated_journal.h"

namespace tavi::sim {

using Frn = std::uint64_t;

enum class WriteKind { kOverwrite, kExtend, kTruncate };

struct NodeInfo {
    Frn frn = 0;
    Frn parent = 0;
    std::u16string name;
    std::uint32_t attributes = 0;
    bool placeholder = false;
    std::uint32_t reparseTag = 0;
    std::string contents;

    bool IsDirectory() const { return (attributes & 0x10U) != 0; }
};

class NtfsVolume {
public:
    // `now` gives the time of a change in 100 ns since 1601. A journal exists from the start.
    NtfsVolume(char16_t drive, std::function<std::uint64_t()> now, std::uint64_t seed = 1);

    char16_t drive() const { return drive_; }
    Frn root() const { return root_; }

    // Runs `use` on the journal while no operation is under way.
    template <class Use>
    auto WithJournal(Use use) {
        const std::lock_guard lock(mutex_);
        return use(journal_);
    }

    // Creates the directory with all missing parents; the number of an existing one.
    Frn MakeDirectory(std::u16string_view path);
    Frn MakeFile(std::u16string_view path, std::string_view contents = {}, std::uint32_t attributes = 0x20);
    bool Write(std::u16string_view path, std::string_view contents, WriteKind kind = WriteKind::kExtend);
    // Renames or moves within the volume, directories with everything below them. Fails when the target exists, unless
    // it is to be replaced (a file only; the replaced file is deleted first, as MoveFileEx does).
    bool Rename(std::u16string_view from, std::u16string_view to);
    bool Replace(std::u16string_view from, std::u16string_view to);
    // Reverses nothing and keeps nothing: not the recycle bin.
    bool Remove(std::u16string_view path);
    bool RemoveTree(std::u16string_view path);  // children before parents
    // Moves into \$RECYCLE.BIN under a new name; returns the new path, empty on failure.
    std::u16string Recycle(std::u16string_view path);
    bool SetAttributes(std::u16string_view path, std::uint32_t attributes);
    // Marks a file or directory as cloud placeholder or takes the mark away, with the reparse attribute.
    bool SetPlaceholder(std::u16string_view path, bool placeholder);
    // A new cloud placeholder, as its provider makes it: created and marked before it is closed.
    Frn MakePlaceholder(std::u16string_view path);
    // Makes it a reparse point of that kind (a link has the bit 0x20000000); 0 makes it none.
    bool SetReparseTag(std::u16string_view path, std::uint32_t tag);
    // Any other change of a file: the given reasons.
    bool Touch(std::u16string_view path, std::uint32_t reasons);

    // Holds a file open by its number, so that it keeps its cycle when renamed; counts.
    bool Hold(std::u16string_view path);
    void Release(Frn frn);

    Frn Find(std::u16string_view path) const;  // 0 when absent
    std::optional<NodeInfo> Info(std::u16string_view path) const;
    std::optional<NodeInfo> InfoByFrn(Frn frn) const;
    // Relative to the volume, beginning with a backslash; empty when the number is stale.
    std::u16string PathOf(Frn frn) const;
    std::vector<NodeInfo> List(std::u16string_view path) const;  // by folded name, contents left out
    // Every path below, parents first, relative to the volume.
    std::vector<std::u16string> ListTree(std::u16string_view path) const;

    // Lets the next node take this reference number (both parts), for odd numbers in tests.
    void UseNextFrn(Frn frn) { nextFrn_ = frn; }
    // The root's number; only while nothing is below it.
    void UseRootFrn(Frn frn);
    // Whether record numbers of deleted files are used again at once (as NTFS does) or never.
    void ReuseNumbers(bool reuse) { reuse_ = reuse; }

    static std::u16string Fold(std::u16string_view name);

private:
    struct Node {
        NodeInfo info;
        std::map<std::u16string, Frn> children;  // by folded name
        int holds = 0;
    };

    struct Place {
        Node* parent = nullptr;
        std::u16string name;
    };

    Node* Get(Frn frn);
    const Node* Get(Frn frn) const;
    Node* Lookup(std::u16string_view path);
    const Node* Lookup(std::u16string_view path) const;
    Place PlaceFor(std::u16string_view path);
    Frn TakeNumber();
    Frn Add(Node& parent, std::u16string name, std::uint32_t attributes, std::string contents);
    void Record(const Node& node, std::uint32_t reason);
    void Finish(const Node& node);
    void MarkReparse(Node& node, std::uint32_t tag);
    bool RemoveNode(Node& node);
    bool MoveNode(Node& node, Place place);
    bool RemoveBelow(Frn frn);
    bool RenameLocked(std::u16string_view from, std::u16string_view to);
    void ListBelow(const Node& node, const std::u16string& prefix, std::vector<std::u16string>& paths) const;
    std::u16string PathOfLocked(Frn frn) const;

    char16_t drive_;
    std::function<std::uint64_t()> now_;
    mutable std::mutex mutex_;
    EmulatedJournal journal_;
    std::map<Frn, Node> nodes_;
    std::map<std::uint64_t, std::uint16_t> freed_;  // record number -> last sequence
    std::uint64_t nextRecord_ = 40;
    Frn root_ = 0x0005000000000005;
    Frn nextFrn_ = 0;
    bool reuse_ = true;
    std::uint32_t recycled_ = 0;
};

}  // namespace tavi::sim
