// Every step of the processing cycle in its plainest form: scans inside scans, removals from the middle, no index that
// is not part of the rule. One file per step, named as the step's own source in src/records/steps, whose comment tells
// the rule. It shares nothing with the product but the record types, and is what the steps are compared with.
// Quadratic and worse: for small batches only. One thread.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "records/model/change_record.h"
#include "unit/records/names/name_reference.h"

namespace tavi::reference {

using records::FileChangeInfo;
using records::FileChangeInfoList;
using records::FileChangeReason;
using records::kNoFrn;
using records::TemporaryFileList;
using records::UsnRecord;
using records::UsnRecordList;

inline bool IsDirectory(std::uint32_t attributes) {
    return (attributes & 0x10) != 0;
}
inline bool IsHidden(std::uint32_t attributes) {
    return (attributes & 0x2) != 0;
}
inline bool IsTemporaryFile(std::uint32_t attributes, std::u16string_view path) {
    return !IsDirectory(attributes) && IsTemporaryFileName(path);
}
// A time that is earlier is far away.
inline std::uint64_t UnsignedDifference(std::int64_t later, std::int64_t earlier) {
    return static_cast<std::uint64_t>(later) - static_cast<std::uint64_t>(earlier);
}

// What the steps may ask of the machine. Paths are relative to the listened folder.
struct World {
    struct Entry {
        std::u16string name;
        std::uint32_t attributes = 0;
        std::uint64_t frn = 0;
    };
    std::set<std::u16string> placeholders;
    std::map<std::u16string, std::vector<Entry>> tree;  // a directory's entries, in the order they are listed
};

UsnRecordList FilterPlaceholders(const UsnRecordList& input);
UsnRecordList CorrectHiddenAttributes(const UsnRecordList& input);
FileChangeInfoList Convert(const UsnRecordList& input);
FileChangeInfoList FilterTemporaryFiles(const FileChangeInfoList& input, const World& world,
                                        TemporaryFileList& temporaryFiles);
FileChangeInfoList MergeModifications(const FileChangeInfoList& input);
FileChangeInfoList CheckSpecialDeletions(const FileChangeInfoList& input);
FileChangeInfoList PairRenames(const FileChangeInfoList& input, const World& world);
FileChangeInfoList CheckSpecialRenames(const FileChangeInfoList& input, FileChangeInfoList& delay);
FileChangeInfoList ResolveTemporaryRenames(const FileChangeInfoList& input);
FileChangeInfoList MergeBatch(const FileChangeInfoList& input);
FileChangeInfoList SplitMoves(const FileChangeInfoList& input);

// All of them in order. `steps` has one list per step, the batch as read first: twelve.
struct Outcome {
    std::vector<std::variant<UsnRecordList, FileChangeInfoList>> steps;
    FileChangeInfoList delay;
    TemporaryFileList temporaryFiles;
};
Outcome RunAll(const UsnRecordList& batch, const FileChangeInfoList& delay, const World& world);

}  // namespace tavi::reference
