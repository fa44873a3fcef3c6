#include "records/steps/moved_in_entries.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/constants.h"

namespace tavi::records {
namespace {

constexpr std::uint32_t kNoAttributes = ~std::uint32_t{0};
constexpr std::u16string_view kLongPrefix = u"\\\\?\\";
constexpr std::u16string_view kLongUncPrefix = u"\\\\?\\UNC\\";

// By how much an entry's path is longer at its beginning than the directory's path as it was asked for: the file
// functions may need a prefix ("\\server" becomes "\\?\UNC\server").
std::size_t AddedPrefix(std::u16string_view entry, std::u16string_view directory) {
    if (directory.starts_with(kLongPrefix) || !entry.starts_with(kLongPrefix)) {
        return 0;
    }
    return entry.starts_with(kLongUncPrefix) ? kLongUncPrefix.size() - 2 : kLongPrefix.size();
}

// What the relative paths of everything below a directory begin with.
std::u16string WithBackslash(std::u16string directory) {
    if (!directory.empty() && !directory.ends_with(u'\\')) {
        directory += u'\\';
    }
    return directory;
}

}  // namespace

void MovedInEntries::AppendBelow(const std::u16string& directory, std::int64_t timestamp, StepRecordList& output) {
    const Place place = Find(directory);
    if (place.listing == listings_.size()) {
        return;
    }
    const std::u16string below = WithBackslash(directory);
    const StepRecordList& listing = listings_[place.listing];
    for (std::size_t i = place.first; i < listing.size() && listing[i].fileName.starts_with(below); ++i) {
        output.push_back(listing[i]);
        output.back().timestamp = timestamp;
    }
}

// A place past the last listing when there is nothing below the directory. That is not remembered: asking again costs
// little.
MovedInEntries::Place MovedInEntries::Find(const std::u16string& directory) {
    if (const auto found = places_.find(directory); found != places_.end()) {
        return found->second;
    }
    const std::u16string fullPath = context_.world.ListenPath() + u"\\" + directory;
    const std::vector<std::u16string> entries = context_.world.ListAllEntries(fullPath);
    if (entries.empty()) {
        return {listings_.size(), 0};
    }
    return List(directory, entries, fullPath);
}

MovedInEntries::Place MovedInEntries::List(const std::u16string& directory, const std::vector<std::u16string>& entries,
                                           const std::u16string& fullPath) {
    const Place place{listings_.size(), 0};
    StepRecordList& listing = listings_.emplace_back();
    places_.emplace(directory, place);
    for (const std::u16string& entry : entries) {
        if (context_.stop.load()) {
            break;
        }
        const std::size_t skipped = fullPath.size() + AddedPrefix(entry, fullPath);
        if (skipped > entry.size()) {
            continue;
        }
        listing.push_back(Describe(directory + entry.substr(skipped), entry));
        // An entry that is gone was perhaps not looked into; it is listed by itself should it be asked for.
        const std::uint32_t attributes = listing.back().fileAttributes;
        if (attributes != kNoAttributes && (attributes & platform::kFileAttributeDirectory) != 0) {
            places_.try_emplace(listing.back().fileName, Place{place.listing, listing.size()});
        }
    }
    return place;
}

StepRecord MovedInEntries::Describe(std::u16string relativePath, const std::u16string& fullPath) {
    FileChangeInfo change;
    change.fileName = std::move(relativePath);
    change.reason = FileChangeReason::kCreate;
    change.frn = context_.world.GetFrnByPath(fullPath);
    change.fileAttributes = context_.world.AttributesOrAllOnes(fullPath);
    StepRecord record = context_.rules.ToStepRecord(std::move(change));
    record.isTempFile = (record.fileAttributes & platform::kFileAttributeDirectory) == 0 && record.nameClass.temporary;
    return record;
}

}  // namespace tavi::records
