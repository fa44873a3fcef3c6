// An NTFS volume in memory: directories and files with reference numbers, and the change journal that their changes
// write. Tests use it as the people and programs that work on the disk; the simulated machine answers the product's
// file calls from it.
//
// Paths are relative to the volume ("\Sync\a.txt", "\" for the root) or start with the drive ("C:\Sync\a.txt"). Names
// are any UTF-16; look-ups ignore case, names keep it. A reference number is 48 bits of a record number and 16 bits of
// a sequence; a record number freed by a deletion is used again with the next sequence. A file with hard links has
// several paths; a record tells the name that was used.
//
// Every operation writes the reasons that the file system writes, and closes the file behind itself, unless the file is
// held open (Hold): then the reasons accumulate until Release, and cycles of several files interleave. What others hold
// open limits what can be done, as their sharing says: without sharing deletion a file keeps its name and stays; a
// directory keeps its name also while anything below it is held. A file that is deleted while it is held open is moved
// to \$Extend\$Deleted under another name first and is gone with its last Release.
//
// Operations return 0 or false when the path does not exist, exists already, is held, or a directory is not empty. Any
// thread.
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
#include "sim/sharing.h"

namespace tavi::sim {

using Frn = std::uint64_t;

enum class WriteKind { kOverwrite, kExtend, kTruncate };
// How a tree is removed: by name, or through a handle for each directory, which sends the directories through
// \$Extend\$Deleted.
enum class TreeRemoval { kByName, kByHandle };

inline constexpr Opening kSharesAll = {platform::kGenericRead | platform::kGenericWrite, 7};
// A process's current directory; many listings.
inline constexpr Opening kCurrentDirectory = {0x100021, 3};  // synchronise, list, traverse

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
    // A new empty file that stays open.
    Frn MakeHeldFile(std::u16string_view path, std::uint32_t attributes = 0x20, Opening opening = kSharesAll);
    bool Write(std::u16string_view path, std::string_view contents, WriteKind kind = WriteKind::kExtend);
    // A named stream, made when it is missing.
    bool WriteStream(std::u16string_view path, std::u16string_view stream, std::string_view contents,
                     WriteKind kind = WriteKind::kExtend);
    bool RemoveStream(std::u16string_view path, std::u16string_view stream);
    // One more name for a file.
    bool MakeLink(std::u16string_view path, std::u16string_view link);
    // Renames or moves within the volume, directories with everything below them. Fails when the target exists, unless
    // it is to be replaced (a file only; the replaced file is deleted first, as MoveFileEx does).
    bool Rename(std::u16string_view from, std::u16string_view to);
    bool Replace(std::u16string_view from, std::u16string_view to);
    // Reverses nothing and keeps nothing: not the recycle bin. Of several names only this one goes.
    bool Remove(std::u16string_view path);
    // Children before parents. What is held stays, with the directories above it.
    bool RemoveTree(std::u16string_view path, TreeRemoval removal = TreeRemoval::kByName);
    // Moves into the recycle bin under a new name and notes there where it came from; returns the new path, empty on
    // failure.
    std::u16string Recycle(std::u16string_view path);
    bool SetAttributes(std::u16string_view path, std::uint32_t attributes);
    // What the shell does when it opens something; writes nothing the second time.
    bool SetObjectId(std::u16string_view path);
    // Marks a file or directory as cloud placeholder or takes the mark away, with the reparse attribute.
    bool SetPlaceholder(std::u16string_view path, bool placeholder);
    // A new cloud placeholder, as its provider makes it: created and marked before it is closed.
    Frn MakePlaceholder(std::u16string_view path);
    // Makes it a reparse point of that kind (a link has the bit 0x20000000); 0 makes it none.
    bool SetReparseTag(std::u16string_view path, std::uint32_t tag);
    // Any other change of a file: the given reasons.
    bool Touch(std::u16string_view path, std::uint32_t reasons);

    // Holds a file or directory open by its number, so that it keeps its cycle when renamed; counts. Fails when those
    // who hold it do not share what is asked for.
    bool Hold(std::u16string_view path, Opening opening = kSharesAll);
    // Closes the handle that was opened first.
    void Release(Frn frn);
    // Deletes it through that handle and closes it.
    void ReleaseAndDelete(Frn frn);
    // Whether those who hold it share what this opening asks for, and the other way around.
    bool Permits(Frn frn, Opening opening) const;

    Frn Find(std::u16string_view path) const;  // 0 when absent
    std::optional<NodeInfo> Info(std::u16string_view path) const;
    std::optional<NodeInfo> InfoByFrn(Frn frn) const;
    // Relative to the volume, beginning with a backslash; empty when the number is stale. Of several names the one that
    // was used last.
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
    // The clock that stamps records moves in steps of so many 100 ns; 1 from the start, 156250 on many systems.
    void TickEvery(std::uint64_t step) { tick_ = step; }
    // The recycle bin's name, before it is there: "$RECYCLE.BIN" from the start, "$Recycle.Bin" on a system drive.
    void NameRecycleBin(std::u16string name) { recycleBin_ = std::move(name); }

    static constexpr std::uint64_t kUsualTick = 156250;  // 15.6 ms

    static std::u16string Fold(std::u16string_view name);

private:
    struct Link {
        Frn parent = 0;
        std::u16string name;
    };

    struct Node {
        NodeInfo info;  // with the name that was used last
        std::vector<Link> otherLinks;
        std::map<std::u16string, Frn> children;  // by folded name
        std::map<std::u16string, std::string> streams;
        std::vector<Opening> holds;
        bool isDeleted = false;  // gone with the last hold
        bool hasObjectId = false;
    };

    struct Place {
        Node* parent = nullptr;
        std::u16string name;
    };

    Node* Get(Frn frn);
    const Node* Get(Frn frn) const;
    // The node, and the name by which the path reaches it.
    struct Found {
        const Node* node = nullptr;
        Link link;
    };
    Found LookupName(std::u16string_view path) const;
    Node* Lookup(std::u16string_view path);  // makes the path's name the one that was used last
    Link LinkAt(const Node& node, Frn parent, const std::u16string& folded) const;
    static NodeInfo InfoUnder(const Node& node, const Link& link);
    static void UseLink(Node& node, const Link& link);
    // Components of a path, the drive and empty ones left out.
    static std::vector<std::u16string> Split(std::u16string_view path);
    Place PlaceFor(std::u16string_view path);
    Place FreePlaceFor(std::u16string_view path);
    Frn TakeNumber();
    Node& AddNode(Node& parent, std::u16string name, std::uint32_t attributes);
    Frn Add(Node& parent, std::u16string name, std::uint32_t attributes, std::string contents);
    std::uint64_t Now() const;
    void Record(const Node& node, std::uint32_t reason);
    void Finish(const Node& node);
    void MarkReparse(Node& node, std::uint32_t tag);
    bool CanBeDeleted(const Node& node) const;
    bool CanBeMoved(const Node& node) const;
    bool IsHeldBelow(const Node& node) const;
    Node& DeletedFolder();
    Node& HiddenFolder(Node& parent, const std::u16string& name, Frn frn);
    void MoveToDeleted(Node& node);
    bool RemoveNode(Node& node);
    void RemoveLink(Node& node);
    void Forget(Node& node);
    bool MoveNode(Node& node, Place place);
    bool RemoveBelow(Frn frn, TreeRemoval removal);
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
    std::uint64_t deleted_ = 0;  // how many went through \$Extend\$Deleted
    std::uint64_t tick_ = 1;
    std::u16string recycleBin_ = u"$RECYCLE.BIN";
};

}  // namespace tavi::sim
