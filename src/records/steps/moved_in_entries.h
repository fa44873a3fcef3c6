// What stands below directories that arrived from outside the listened folder. Lives as long as one run of the rename
// pairing. A listing is asked for once: when a batch names a directory and directories below it (each level of a tree
// that was moved in and then renamed, say), the inner ones are read off the outer one's listing, so that the machine is
// not asked about the same entry again and again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "records/steps/steps.h"

namespace tavi::records {

class MovedInEntries {
public:
    explicit MovedInEntries(StepContext& context) : context_(context) {}

    // Appends a CREATE with this time stamp for every entry below the directory, in the order of the listing. Ends
    // early once the batch is abandoned.
    void AppendBelow(const std::u16string& directory, std::int64_t timestamp, StepRecordList& output);

private:
    // Where a directory's entries begin: they follow one another, because a listing puts a directory's content right
    // after it.
    struct Place {
        std::size_t listing = 0;
        std::size_t first = 0;
    };

    Place Find(const std::u16string& directory);
    Place List(const std::u16string& directory, const std::vector<std::u16string>& entries,
               const std::u16string& fullPath);
    StepRecord Describe(std::u16string relativePath, const std::u16string& fullPath);

    StepContext& context_;
    std::vector<StepRecordList> listings_;
    std::unordered_map<std::u16string, Place> places_;
};

}  // namespace tavi::records
