// The rename pairing
//
// The journal reports a rename as two records, the old name and the new one. This step makes one RENAME of them. A half
// without its other half crossed the border of the listened folder: an old name alone left it, a new name alone came
// in. What came in is a directory with all that is below it, as often as not, and the journal names only the directory.
//
// First a plan, from the first record to the last:
//   1. A RENAME_OLD_NAME and the record right behind it are a pair when that record is a RENAME_NEW_NAME less than
//      kPairTimeLimit later, or has the same file reference number, whatever its kind. The pair's second record is used
//      up. Without such a record, the old name is unpaired.
//   2. A RENAME_NEW_NAME that was not used up is unpaired.
//   3. Every other record is kept as it is.
// Then the output, in order:
//   - a pair: one RENAME with everything from the second record, and the first one's path as its old path. Its oldfrn
//     is all ones.
//   - an unpaired old name: DELETE.
//   - an unpaired new name of a file: CREATE.
//   - an unpaired new name of a directory: MOVE, if the output so far holds a DELETE of a directory with that path and
//     its last record was not held back (delayCount 0). Otherwise CREATE, and behind it one CREATE for everything that
//     is below the directory now, in the order of the listing, with the directory's time stamp.
//
//   OLD_NAME a.txt (number 7, time 100), NEW_NAME b.txt (number 7, time 120)   -> RENAME a.txt to b.txt
//   OLD_NAME a.txt (number 7, time 100), NEW_NAME b.txt (number 8, time 120)   -> DELETE a.txt, CREATE b.txt
//   NEW_NAME photos (a directory)   -> CREATE photos, CREATE photos\1.jpg, CREATE photos\2.jpg
//
// Odd on purpose: equal numbers pair whatever the times and whatever the second record says, so an old name swallows a
// MODIFY of the same file behind it. Times are subtracted as unsigned numbers: a new name that is dated earlier is far
// away. A directory that comes back is a MOVE without an old path. An entry that vanished before its attributes were
// read has all attribute bits set and so counts as a directory; an entry without a file reference number has 0.
//
// tests/unit/records/steps/reference/rename_pairing.cpp lists every directory that came in. Here a directory that an
// earlier listing of the same run has shown with its contents is read off that listing: a tree that is moved in and has
// each of its levels renamed afterwards would otherwise be listed once for every level.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

// In the unit of the time stamps, exclusive. Both halves are written by one operation of the file system, but records
// of other files may lie between their times.
constexpr std::uint64_t kPairTimeLimit = 16;

bool ArePair(const StepRecord& oldName, const StepRecord& next) {
    const std::uint64_t elapsed =
        static_cast<std::uint64_t>(next.timestamp) - static_cast<std::uint64_t>(oldName.timestamp);
    return (next.reason == FileChangeReason::kRenameNewName && elapsed < kPairTimeLimit) || next.frn == oldName.frn;
}

// What is below the directories that came in. Lives as long as one run of the step.
class Arrivals {
public:
    explicit Arrivals(StepContext& context) : context_(context) {}

    // Appends a CREATE for every entry below the directory. Ends early once the batch is abandoned.
    void AppendBelow(const SharedText& directory, std::int64_t timestamp, StepRecordList& output);

private:
    // A directory's entries follow one another in its listing, and right behind the directory in one that shows it.
    struct Place {
        std::size_t listing;
        std::size_t first;
    };

    bool IsBelow(Place place, std::u16string_view prefix) const {
        const StepRecordList& listing = listings_[place.listing];
        return place.first < listing.size() && listing[place.first].fileName.view().starts_with(prefix);
    }
    Place List(const SharedText& directory);
    StepRecord Describe(SharedText relativePath, const std::u16string& fullPath);

    StepContext& context_;
    std::vector<StepRecordList> listings_;
    std::unordered_map<SharedText, Place> places_;  // of the contents of everything listed so far, by path
};

void Arrivals::AppendBelow(const SharedText& directory, std::int64_t timestamp, StepRecordList& output) {
    std::u16string prefix = directory;
    if (!prefix.empty() && !prefix.ends_with(u'\\')) {
        prefix += u'\\';
    }
    // A directory that a listing shows without contents may have been a link, or could not be entered: it is asked for.
    const auto shown = places_.find(directory);
    Place place = shown != places_.end() && IsBelow(shown->second, prefix) ? shown->second : List(directory);
    for (; IsBelow(place, prefix); ++place.first) {
        output.push_back(listings_[place.listing][place.first]);
        output.back().timestamp = timestamp;
    }
}

Arrivals::Place Arrivals::List(const SharedText& directory) {
    const std::u16string fullPath = context_.world.ListenPath() + u"\\" + std::u16string(directory);
    const std::vector<std::u16string> entries = context_.world.ListAllEntries(fullPath);
    const Place place{listings_.size(), 0};
    StepRecordList& listing = listings_.emplace_back();
    places_.insert_or_assign(directory, place);
    for (const std::u16string& entry : entries) {
        if (context_.stop.load()) {
            break;
        }
        if (!entry.starts_with(fullPath)) {
            continue;  // no path below the directory
        }
        const std::u16string_view below = std::u16string_view(entry).substr(fullPath.size());
        listing.push_back(Describe(SharedText(directory, below), entry));
        places_.try_emplace(listing.back().fileName, Place{place.listing, listing.size()});
    }
    return place;
}

StepRecord Arrivals::Describe(SharedText relativePath, const std::u16string& fullPath) {
    FileChangeInfo change;
    change.fileName = std::move(relativePath);
    change.reason = FileChangeReason::kCreate;
    change.frn = context_.world.GetFrnByPath(fullPath);
    change.fileAttributes = context_.world.AttributesOrAllOnes(fullPath);
    StepRecord record = context_.rules.ToStepRecord(std::move(change));
    record.isTempFile = !platform::IsDirectory(record.fileAttributes) && record.nameClass.temporary;
    return record;
}

class RenamePairing {
public:
    RenamePairing(StepContext& context, std::size_t records) : arrivals_(context) { output_.reserve(records); }

    void Keep(StepRecord record) {
        output_.push_back(std::move(record));
        const StepRecord& last = output_.back();
        if (last.reason == FileChangeReason::kDelete && platform::IsDirectory(last.fileAttributes)) {
            deletedDirectories_.insert(last.fileName);
        }
    }
    void Leave(StepRecord oldName) {
        oldName.reason = FileChangeReason::kDelete;
        Keep(std::move(oldName));
    }
    void Pair(StepRecord oldName, StepRecord newName);
    void Arrive(StepRecord newName);

    StepRecordList TakeOutput() { return std::move(output_); }

private:
    StepRecordList output_;
    std::unordered_set<SharedText> deletedDirectories_;
    Arrivals arrivals_;
};

void RenamePairing::Pair(StepRecord oldName, StepRecord newName) {
    newName.originalFileName = std::move(oldName.fileName);
    newName.originalNameClass = oldName.nameClass;
    newName.reason = FileChangeReason::kRename;
    newName.oldfrn = kNoFrn;
    output_.push_back(std::move(newName));
}

void RenamePairing::Arrive(StepRecord newName) {
    const bool isDirectory = platform::IsDirectory(newName.fileAttributes);
    const bool comesBack = isDirectory && !output_.empty() && output_.back().delayCount == 0 &&
                           deletedDirectories_.contains(newName.fileName);
    newName.reason = comesBack ? FileChangeReason::kMove : FileChangeReason::kCreate;
    const SharedText path = newName.fileName;
    const std::int64_t timestamp = newName.timestamp;
    output_.push_back(std::move(newName));
    if (isDirectory && !comesBack) {
        arrivals_.AppendBelow(path, timestamp, output_);
    }
}

}  // namespace

StepRecordList PairRenames(StepRecordList records, StepContext& context) {
    RenamePairing pairing(context, records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        StepRecord& record = records[i];
        if (record.reason == FileChangeReason::kRenameNewName) {
            pairing.Arrive(std::move(record));
        } else if (record.reason != FileChangeReason::kRenameOldName) {
            pairing.Keep(std::move(record));
        } else if (i + 1 < records.size() && ArePair(record, records[i + 1])) {
            pairing.Pair(std::move(record), std::move(records[i + 1]));
            ++i;
        } else {
            pairing.Leave(std::move(record));
        }
    }
    return pairing.TakeOutput();
}

}  // namespace tavi::records
