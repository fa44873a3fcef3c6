#include "lives/judges.h"

#include <algorithm>
#include <set>

#include "platform/constants.h"
#include "records/names/temporary_file_rules.h"

namespace tavi::lives {

namespace {

constexpr int kDelete = 2;
constexpr int kMove = 4;
constexpr int kRename = 5;

const records::TemporaryFileRules& Rules() {
    static const records::TemporaryFileRules rules;
    return rules;
}

std::u16string LastComponent(const std::u16string& path) {
    return path.substr(path.rfind(u'\\') + 1);
}

// What a client that goes from row to row believes before the row `end`.
const ChangeRow* LastRowOf(const Image& image, std::size_t end, const std::u16string& path) {
    const std::u16string stored = AsStored(path);
    while (end > 0 && image.changes[end - 1].path != stored) {
        --end;
    }
    return end == 0 ? nullptr : &image.changes[end - 1];
}

// The row of a file whose directory moved is behind the directory's: another file that got the path later has taken
// the row with it to the end.
bool IsToldTooLate(const Image& image, const std::u16string& path) {
    for (std::size_t i = 0; i < image.changes.size(); ++i) {
        const ChangeRow& moved = image.changes[i];
        if ((moved.reason == kMove || moved.reason == kRename) && AsStored(path).starts_with(moved.path + u"\\")) {
            const std::u16string before = moved.original + path.substr(moved.path.size());
            const auto later = image.changes.begin() + static_cast<std::ptrdiff_t>(i);
            if (std::any_of(later, image.changes.end(), [&](const ChangeRow& row) {
                    return row.path == AsStored(before) && row.reason != kDelete;
                })) {
                return true;
            }
        }
    }
    return false;
}

// What rows may tell: paths, numbers and times of journal records inside the folder. Where directories move, a record's
// directory is the one of a later moment, so that only its name counts.
class Origins {
public:
    Origins(const Stretch& stretch, const FolderState& now, const Truth& truth, bool steady) : steady_(steady) {
        const char16_t* const folder = kFolders[stretch.folder];
        for (const TrueRecord& record : truth.records()) {
            if (!steady || Truth::IsInside(record, folder)) {
                paths_.insert(AsStored(steady ? Truth::RelativePath(record, folder) : record.name));
                numbers_.insert(record.frn);
                times_.insert(record.timestamp);
            }
        }
        if (!steady) {
            AddArrivals(stretch.folderAtStart);
            AddArrivals(now);
        }
    }

    bool Explain(const ChangeRow& row) const {
        return Knows(row.path) && (row.original.empty() || Knows(row.original)) && numbers_.contains(row.frn) &&
               times_.contains(row.timestamp);
    }

private:
    // Entries of directories that moved in: made while there was no journal, or gone before their numbers were asked
    // for.
    void AddArrivals(const FolderState& state) {
        numbers_.insert(0);
        for (const auto& [path, file] : state) {
            paths_.insert(AsStored(LastComponent(path)));
            numbers_.insert(file.frn);
        }
    }
    bool Knows(const std::u16string& path) const { return paths_.contains(steady_ ? path : LastComponent(path)); }

    bool steady_;
    std::set<std::u16string> paths_;
    std::set<std::uint64_t> numbers_ = {~std::uint64_t{0}};
    std::set<std::int64_t> times_;
};

// The first lines in which two texts differ.
std::string FirstDifference(const std::string& expected, const std::string& actual) {
    const auto lineAt = [](const std::string& text, std::size_t at) {
        return at >= text.size() ? std::string("(nothing)") : text.substr(at, text.find('\n', at) - at);
    };
    std::size_t line = 0;
    for (std::size_t i = 0; i < expected.size() && i < actual.size() && expected[i] == actual[i]; ++i) {
        line = expected[i] == '\n' ? i + 1 : line;
    }
    return "undisturbed: " + lineAt(expected, line) + "\n    disturbed:   " + lineAt(actual, line);
}

}  // namespace

void Judges::Find(char judge, std::string text, std::string knownLimit) {
    report_.findings.push_back({judge, std::move(text), std::move(knownLimit)});
}

void Judges::CompareWithReference(const Stretch& stretch, const Reference& reference,
                                  const std::vector<std::int64_t>& inside) {
    ++report_.compared;
    for (std::size_t i = 0; i < stretch.looks.size(); ++i) {
        const Image& look = stretch.looks[i];
        const std::int64_t position = Reference::Normalise(inside, look.position);
        const char judge = i + 1 == stretch.looks.size() ? 'a' : 'e';
        const auto states = reference.states.find(position);
        if (states == reference.states.end()) {
            Find(judge, "position " + std::to_string(look.position) + " is none at which an undisturbed life stores");
            return;
        }
        if (!states->second.contains(look.Contents())) {
            const bool onlyNumbers =
                reference.heldOneNameTwice &&
                reference.statesWithoutOldNumbers.at(position).contains(look.ContentsWithoutOldNumbers());
            Find(judge,
                 "rows at position " + std::to_string(look.position) + " differ\n    " +
                     FirstDifference(*states->second.rbegin(), look.Contents()),
                 onlyNumbers ? "old-number-of-one-of-two-saves" : "");
            return;
        }
    }
}

void Judges::CheckOrigins(const Stretch& stretch, const Image& image, const FolderState& now) {
    const Origins origins(stretch, now, truth_, plan_.steady);
    std::set<std::string> leftOver;
    if (const auto base = stretch.cutShort ? Look(stretch.base.get()) : std::nullopt) {
        for (const ChangeRow& row : base->changes) {
            leftOver.insert(Describe(row));
        }
    }
    for (const ChangeRow& row : image.changes) {
        if (!origins.Explain(row)) {
            Find('c', "no journal record inside the folder explains the row " + Describe(row),
                 leftOver.contains(Describe(row)) ? "start-cut-short" : "");
        }
    }
}

// The last row of the path says that it is there, or a directory above it came to where it is with the file in it.
bool Judges::IsExplained(const Stretch& stretch, const Image& image, std::size_t end, const std::u16string& path,
                         const FileState& state, int depth) const {
    const ChangeRow* told = LastRowOf(image, end, path);
    if (told != nullptr && told->reason != kDelete) {
        return true;
    }
    if (depth > 0) {
        const auto before = stretch.folderAtStart.find(path);
        if (before != stretch.folderAtStart.end() && before->second.contents == state.contents) {
            return true;
        }
    }
    constexpr int kMostMoves = 6;
    for (std::size_t i = 0; i < end && depth <= kMostMoves; ++i) {
        const ChangeRow& row = image.changes[i];
        if ((row.reason == kMove || row.reason == kRename) && AsStored(path).starts_with(row.path + u"\\") &&
            IsExplained(stretch, image, i, row.original + path.substr(row.path.size()), state, depth + 1)) {
            return true;
        }
    }
    return false;
}

void Judges::CheckNothingLost(const Stretch& stretch, const Image& image, const FolderState& now,
                              const Reference* reference) {
    for (const auto& [path, state] : now) {
        if (state.directory || Rules().IsTemporaryFileName(path)) {
            continue;
        }
        const auto before = stretch.folderAtStart.find(path);
        if (AsStored(path) != path) {
            Find('c', Narrow(path) + " is stored as " + Narrow(AsStored(path)), "unpaired-surrogate");
        }
        const bool changed = before == stretch.folderAtStart.end() || before->second.contents != state.contents;
        const bool cloud = state.contents.empty() && state.placeholder;
        if (changed && !cloud && !IsExplained(stretch, image, image.changes.size(), path, state, 0)) {
            FindLoss(stretch, image, path, now, reference);
        }
    }
}

Drop Judges::DropOf(const Stretch& stretch, const std::u16string& path, std::uint64_t frn,
                    const Reference* reference) const {
    if (reference == nullptr) {
        return {};
    }
    Drop drop = FindDrop(reference->batches, path, frn);
    if (drop.knownLimit.empty() && !plan_.steady) {
        drop.knownLimit = FindDrop(TraceAsItHappened(truth_, stretch, plan_.intervalSeconds), path, frn).knownLimit;
    }
    return drop;
}

// The file was there before or was told, under a former name, and a rule lost the rename of a directory that it came
// here with.
std::string Judges::LimitOfADirectoryAbove(const Stretch& stretch, const Image& image, const std::u16string& path,
                                           const FolderState& now, const Reference* reference) const {
    const FileState& state = now.at(path);
    const bool known =
        std::ranges::any_of(image.changes,
                            [&state](const ChangeRow& row) { return row.frn == state.frn && row.reason != kDelete; }) ||
        std::ranges::any_of(stretch.folderAtStart, [&state](const auto& before) {
            return before.second.frn == state.frn && before.second.contents == state.contents;
        });
    for (std::size_t end = path.rfind(u'\\'); known && end != std::u16string::npos && end > 0;
         end = path.rfind(u'\\', end - 1)) {
        const auto directory = now.find(path.substr(0, end));
        if (directory == now.end()) {
            continue;
        }
        const Drop drop = DropOf(stretch, directory->first, directory->second.frn, reference);
        if (!drop.knownLimit.empty()) {
            return drop.knownLimit;
        }
    }
    return {};
}

// What the volume itself did to the file explains that it was not told, or told too late.
std::string Judges::LimitOfTheVolume(const Stretch& stretch, const std::u16string& path, const FileState& state) const {
    const auto anyRecord = [this](const auto& matches) { return std::ranges::any_of(truth_.records(), matches); };
    if (anyRecord([&state](const TrueRecord& record) {
            return record.frn == state.frn && (record.reason & platform::kReasonHardLinkChange) != 0;
        })) {
        return "file-with-several-names";
    }
    // The file of that name in a directory that went there is told as deleted here.
    const std::u16string name = LastComponent(path);
    if (anyRecord([&name](const TrueRecord& record) {
            return record.name == name && (record.reason & platform::kReasonFileDelete) != 0 &&
                   record.directory.starts_with(u"\\$Recycle.Bin");
        })) {
        return "recycle-bin-spelt-otherwise";
    }
    constexpr std::size_t kNameBufferUnits = 525;  // without the end
    const std::size_t directory = std::u16string_view(kFolders[stretch.folder]).size() - 2 + path.rfind(u'\\') + 1;
    const bool isBelow = path.find(u'\\') != std::u16string::npos;
    return isBelow && directory > kNameBufferUnits ? "directory-path-too-long" : "";
}

void Judges::FindLoss(const Stretch& stretch, const Image& image, const std::u16string& path, const FolderState& now,
                      const Reference* reference) {
    const FileState& state = now.at(path);
    Drop drop = DropOf(stretch, path, state.frn, reference);
    if (drop.knownLimit.empty() && !plan_.steady) {
        drop.knownLimit = LimitOfADirectoryAbove(stretch, image, path, now, reference);
    }
    if (drop.knownLimit.empty() && IsToldTooLate(image, path)) {
        drop.knownLimit = "row-moved-behind-its-directory";
    }
    const ChangeRow* told = LastRowOf(image, image.changes.size(), path);
    const std::string ofVolume = LimitOfTheVolume(stretch, path, state);
    if (!ofVolume.empty()) {
        drop.knownLimit = ofVolume;
    }
    if (told == nullptr) {
        Find('d', Narrow(path) + " changed and has no row; dropped by: " + drop.step + drop.before, drop.knownLimit);
        return;
    }
    const bool ofAnother = ofVolume.empty() && told->frn != state.frn;
    Find('d',
         Narrow(path) + " changed and is there, but its last row says that it was deleted; dropped by: " + drop.step +
             drop.before,
         ofAnother ? "deletion-of-the-former-file-told-last" : drop.knownLimit);
}

}  // namespace tavi::lives
