#include "lives/workload.h"

#include <algorithm>
#include <utility>

#include "platform/constants.h"

namespace tavi::lives {

namespace {

constexpr const char16_t* kElsewhere = u"C:\\Elsewhere";
// Reads and lets others read and write; nobody may rename or delete it.
constexpr sim::Opening kKeepsItsName = {platform::kGenericRead, platform::kFileShareRead | platform::kFileShareWrite};

std::u16string Digits(std::uint64_t number, int count) {
    std::u16string digits;
    for (int i = 0; i < count; ++i, number /= 10) {
        digits += static_cast<char16_t>(u'0' + number % 10);
    }
    return digits;
}

std::u16string Beside(std::u16string_view path, std::u16string_view name) {
    return DirectoryOf(path) + u"\\" + std::u16string(name);
}

std::u16string OtherCase(std::u16string name) {
    for (char16_t& unit : name) {
        if (unit >= u'a' && unit <= u'z') {
            unit = static_cast<char16_t>(unit - u'a' + u'A');
        } else if (unit >= u'A' && unit <= u'Z') {
            unit = static_cast<char16_t>(unit - u'A' + u'a');
        }
    }
    return name;
}

}  // namespace

std::u16string DirectoryOf(std::u16string_view path) {
    return std::u16string(path.substr(0, path.rfind(u'\\')));
}

std::u16string NameOf(std::u16string_view path) {
    return std::u16string(path.substr(path.rfind(u'\\') + 1));
}

Workload::Workload(sim::NtfsVolume& volume, std::function<void(std::int64_t)> sleep, std::function<void()> changed)
    : volume_(volume), sleep_(std::move(sleep)), changed_(std::move(changed)) {
    volume_.MakeDirectory(kElsewhere);
}

std::string Workload::NewContents() {
    return "contents " + std::to_string(++counter_) + ";";
}

void Workload::Done() {
    changed_();
}

// Mostly nothing: calls of one program follow each other within a millisecond.
void Workload::Breathe() {
    constexpr std::int64_t kPauses[] = {0, 0, 1, 0, 2, 0, 0, 14, 0, 3, 40, 0};
    sleep_(kPauses[++rhythm_ % std::size(kPauses)]);
}

void Workload::NeedDirectoryOf(Path path) {
    volume_.MakeDirectory(DirectoryOf(path));
}

void Workload::Create(Path path, std::string_view contents, std::uint32_t attributes) {
    NeedDirectoryOf(path);
    volume_.MakeFile(path, contents, attributes);
    Done();
}

void Workload::Need(Path path) {
    if (volume_.Find(path) == 0) {
        Create(path, NewContents());
        Breathe();
    }
}

void Workload::Write(Path path, int times) {
    if (!volume_.Hold(path)) {
        return;
    }
    const sim::Frn frn = volume_.Find(path);
    for (int i = 0; i < times; ++i) {
        volume_.Write(path, NewContents(), i % 2 == 0 ? sim::WriteKind::kExtend : sim::WriteKind::kOverwrite);
        Done();
        Breathe();
    }
    volume_.Release(frn);
    Done();
}

void Workload::Rename(Path from, Path to) {
    NeedDirectoryOf(to);
    volume_.Replace(from, to);
    Done();
}

void Workload::Remove(Path path) {
    volume_.Remove(path);
    Done();
}

void Workload::LetGo() {
    for (const sim::Frn frn : std::exchange(held_, {})) {
        volume_.Release(frn);
        Done();
    }
}

void Workload::SaveByReplace(Path path) {
    Need(path);
    const std::u16string temporary = path + u".tmp";
    Create(temporary, NewContents());
    Breathe();
    Rename(temporary, path);
}

// Write beside, rename the old one away, the new one in, delete the old one.
void Workload::SaveByBackup(Path path, std::uint64_t number) {
    Need(path);
    const std::u16string written = Beside(path, u"~WRD" + Digits(number, 4) + u".tmp");
    const std::u16string old = Beside(path, u"~WRL" + Digits(number, 4) + u".tmp");
    Create(written, NewContents());
    Breathe();
    Write(written, 1);
    Breathe();
    Rename(path, old);
    Breathe();
    Rename(written, path);
    Breathe();
    Remove(old);
}

void Workload::SaveBesideBak(Path path) {
    Need(path);
    const std::size_t point = path.rfind(u'.');
    const std::u16string backup = path.substr(0, point) + u".bak";
    Rename(path, backup);
    Breathe();
    Create(path, NewContents());
    Breathe();
    Write(path, 1);
}

void Workload::SaveMatlab(Path path, std::uint64_t number) {
    Need(path);
    const std::u16string old = Beside(path, u"ab" + Digits(number, 6) + u".tmp");
    Rename(path, old);
    sleep_(number % 4 == 0 ? 5000 : 0);  // sometimes a cycle ends in between
    Create(path, NewContents());
    Breathe();
    Remove(old);
}

void Workload::Download(Path path) {
    const std::u16string part = path + u".crdownload";
    Create(part, NewContents());
    Breathe();
    Write(part, 3);
    Breathe();
    Rename(part, path);
}

void Workload::LockFile(Path path) {
    Need(path);
    const std::u16string owner = Beside(path, u"~$" + NameOf(path));
    Create(owner, "owner", platform::kFileAttributeHidden | 0x20U);
    Breathe();
    Write(path, 1);
    Breathe();
    Remove(owner);
}

void Workload::Swap(Path path, Path other) {
    Need(path);
    Need(other);
    const std::u16string third = Beside(path, u"swap-in-progress.x");
    Rename(path, third);
    Breathe();
    Rename(other, path);
    Breathe();
    Rename(third, other);
}

void Workload::MoveIn(Path path) {
    const std::u16string outside = std::u16string(kElsewhere) + u"\\in-" + Digits(++counter_, 5);
    Create(outside, NewContents());
    Rename(outside, path);
}

void Workload::Placeholder(Path path) {
    if (volume_.Find(path) != 0) {
        return;
    }
    NeedDirectoryOf(path);
    // Created and marked in one go: 0x100, 0x100100, and both with the close.
    volume_.MakePlaceholder(path);
    Done();
}

// The client fills the placeholder through a temporary file of its own.
void Workload::Hydrate(Path path) {
    const auto info = volume_.Info(path);
    if (!info || !info->placeholder) {
        return;
    }
    const std::u16string temporary = Beside(path, u"~Nuvexa_" + NameOf(path) + u".tmp");
    Create(temporary, "cloud data");
    Breathe();
    volume_.SetPlaceholder(path, false);
    Done();
    Breathe();
    Remove(temporary);
}

void Workload::ReleaseData(Path path) {
    if (volume_.Find(path) == 0) {
        return;
    }
    volume_.Touch(path, platform::kReasonClose);
    volume_.Hold(path);
    volume_.Touch(path, platform::kReasonBasicInfoChange);
    volume_.SetPlaceholder(path, true);
    volume_.Touch(path, platform::kReasonDataOverwrite);
    volume_.Release(volume_.Find(path));
    Done();
}

void Workload::MoveDirectoryIn(Path path) {
    if (volume_.Find(path) != 0) {
        return;
    }
    const std::u16string outside = std::u16string(kElsewhere) + u"\\dir-" + Digits(++counter_, 5);
    volume_.MakeDirectory(outside);
    volume_.MakeFile(outside + u"\\inner.txt", NewContents());
    volume_.MakeFile(outside + u"\\inner.tmp", NewContents());
    volume_.MakeDirectory(outside + u"\\below");
    volume_.MakeFile(outside + u"\\below\\deep.docx", NewContents());
    NeedDirectoryOf(path);
    volume_.Rename(outside, path);
    Done();
}

bool Workload::Perform(const Event& event) {
    rhythm_ = event.number * 7 + event.path.size();
    if (event.act < Act::kRenameDirectory) {
        PerformFile(event);
        return true;
    }
    if (event.act < Act::kStop) {
        PerformDirectory(event);
        return true;
    }
    return false;
}

void Workload::PerformFile(const Event& event) {
    Path path = event.path;
    Path other = event.other;
    switch (event.act) {
        case Act::kCreate:
            return Create(path, NewContents());
        case Act::kCreateEmpty:
            return Create(path, {});
        case Act::kWrite:
            Need(path);
            return Write(path, static_cast<int>(event.number));
        case Act::kOverwrite:
            Need(path);
            volume_.Write(path, NewContents(), sim::WriteKind::kOverwrite);
            return Done();
        case Act::kTruncate:
            Need(path);
            volume_.Write(path, NewContents(), sim::WriteKind::kTruncate);
            return Done();
        case Act::kSaveByReplace:
            return SaveByReplace(path);
        case Act::kSaveByBackup:
            return SaveByBackup(path, event.number);
        case Act::kSaveBesideBak:
            return SaveBesideBak(path);
        case Act::kSaveMatlab:
            return SaveMatlab(path, event.number);
        case Act::kDownload:
            return Download(path);
        case Act::kLockFile:
            return LockFile(path);
        case Act::kRename:
            Need(path);
            return Rename(path, other);
        case Act::kRenameCase:
            Need(path);
            if (const auto info = volume_.Info(path)) {
                volume_.Rename(path, Beside(path, OtherCase(info->name)));
            }
            return Done();
        case Act::kSwap:
            return path == other ? void() : Swap(path, other);
        case Act::kChain: {
            Need(path);
            const std::u16string between = Beside(path, event.number % 2 == 0 ? u"between.txt" : u"between.tmp");
            Rename(path, between);
            Breathe();
            return Rename(between, other);
        }
        case Act::kRemove:
            Need(path);
            return Remove(path);
        case Act::kRecycle:
            Need(path);
            volume_.Recycle(path);
            return Done();
        case Act::kMoveOut:
            Need(path);
            return Rename(path, std::u16string(kElsewhere) + u"\\out-" + Digits(++counter_, 5));
        case Act::kMoveIn:
            return MoveIn(path);
        case Act::kMakeDirectory:
            volume_.MakeDirectory(path);
            return Done();
        case Act::kHide:
            Need(path);
            volume_.SetAttributes(path, 0x22);
            return Done();
        case Act::kShow:
            Need(path);
            volume_.SetAttributes(path, 0x20);
            return Done();
        case Act::kHold:
            Need(path);
            HoldOpen(path, event.number % 4 == 3 ? kKeepsItsName : sim::kSharesAll);
            volume_.Write(path, NewContents());
            return Done();
        case Act::kLetGo:
            return LetGo();
        case Act::kTouch: {
            constexpr std::uint32_t kReasons[] = {platform::kReasonSecurityChange, platform::kReasonEaChange,
                                                  platform::kReasonBasicInfoChange};
            Need(path);
            volume_.Touch(path, kReasons[event.number % std::size(kReasons)]);
            return Done();
        }
        case Act::kPlaceholder:
            return Placeholder(path);
        case Act::kHydrate:
            return Hydrate(path);
        case Act::kReleaseData:
            return ReleaseData(path);
        case Act::kNoise:
            return Create(std::u16string(kElsewhere) + u"\\noise-" + Digits(++counter_, 5), NewContents());
        default:
            return PerformRicher(event);
    }
}

void Workload::HoldOpen(Path path, sim::Opening opening) {
    if (volume_.Hold(path, opening)) {
        held_.push_back(volume_.Find(path));
    }
}

void Workload::OpenByShell(Path path) {
    Need(path);
    for (const std::u16string& opened : {path, DirectoryOf(path), std::u16string(u"C:\\")}) {
        volume_.SetObjectId(opened);
        Done();
    }
}

void Workload::Scratch(Path path) {
    NeedDirectoryOf(path);
    if (const sim::Frn frn = volume_.MakeHeldFile(path); frn != 0) {
        volume_.Write(path, NewContents());
        Done();
        Breathe();
        volume_.ReleaseAndDelete(frn);
        Done();
    }
}

void Workload::PerformRicher(const Event& event) {
    Path path = event.path;
    switch (event.act) {
        case Act::kWriteStream:
            Need(path);
            volume_.WriteStream(path, u"Zone.Identifier", "[ZoneTransfer]");
            return Done();
        case Act::kLink:
            Need(path);
            NeedDirectoryOf(event.other);
            volume_.MakeLink(path, event.other);
            return Done();
        case Act::kShellOpen:
            return OpenByShell(path);
        case Act::kScratch:
            return Scratch(path);
        case Act::kRemoveHeld:
            Need(path);
            HoldOpen(path, sim::kSharesAll);
            return Remove(path);
        case Act::kHoldDirectory:
            volume_.MakeDirectory(path);
            HoldOpen(path, event.number % 3 == 0 ? kKeepsItsName : sim::kCurrentDirectory);
            return Done();
        default:
            return;
    }
}

// One after the other, so that each is known where it was.
void Workload::EmptyBin() {
    const std::vector<std::u16string> recycled = volume_.ListTree(u"\\$Recycle.Bin");
    for (auto path = recycled.rbegin(); path != recycled.rend(); ++path) {
        const bool isUsersBin = std::count(path->begin(), path->end(), u'\\') == 2;
        if (!isUsersBin) {
            Remove(*path);
        }
    }
}

void Workload::PerformDirectory(const Event& event) {
    Path path = event.path;
    switch (event.act) {
        case Act::kRenameDirectory:
            volume_.MakeDirectory(path);
            NeedDirectoryOf(event.other);
            volume_.Rename(path, event.other);
            return Done();
        case Act::kRemoveTree:
            volume_.RemoveTree(path);
            return Done();
        case Act::kRecycleDirectory:
            volume_.Recycle(path);
            return Done();
        case Act::kMoveDirectoryIn:
            return MoveDirectoryIn(path);
        case Act::kMoveDirectoryOut:
            volume_.Rename(path, std::u16string(kElsewhere) + u"\\gone-" + Digits(++counter_, 5));
            return Done();
        case Act::kRemoveTreeByHandle:
            volume_.RemoveTree(path, sim::TreeRemoval::kByHandle);
            return Done();
        case Act::kEmptyBin:
            return EmptyBin();
        default:
            return;
    }
}

}  // namespace tavi::lives
