// The four passes of the temporary rename resolution over the step's output. In its plain form each walks the
// output for every rename and changes it, and later renames see what earlier ones changed. They give that result
// without the walks: every pass first indexes the part of the output that its rules can touch.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "records/model/step_record.h"

namespace tavi::records {

// A rename as it came in, whatever became of its copy in the output.
struct SeenRename {
    const StepRecord* record;  // for its names
    std::uint64_t frn;         // the record's own may have changed
};
using RenameList = std::vector<SeenRename>;

// The step's output while it takes shape, in place of the input. Kinds and numbers change at once; names only in
// TakeRecords, because renames and indexes refer to them as they came in. No rule reads a name that another has given,
// but for the old names of collapsed chains, which their pass keeps track of itself.
class RenameOutput {
public:
    explicit RenameOutput(StepRecordList records) : records_(std::move(records)), present_(records_.size(), 1) {}

    std::size_t size() const { return records_.size(); }
    const StepRecord& operator[](std::size_t index) const { return records_[index]; }
    bool IsPresent(std::size_t index) const { return present_[index] != 0; }
    bool Is(std::size_t index, FileChangeReason reason) const {
        return IsPresent(index) && records_[index].reason == reason;
    }

    void Remove(std::size_t index) { present_[index] = 0; }
    void SetReason(std::size_t index, FileChangeReason reason) { records_[index].reason = reason; }
    void SetFrn(std::size_t index, std::uint64_t frn) { records_[index].frn = frn; }
    // A record may be given an old name more than once: the last one counts.
    void TakeName(std::size_t index, const StepRecord& source) {
        newNames_.push_back({index, &source.fileName, source.nameClass, Field::kName});
    }
    void TakeNameFromOriginal(std::size_t index, const StepRecord& source) {
        newNames_.push_back({index, &source.originalFileName, source.originalNameClass, Field::kName});
    }
    void TakeOriginalName(std::size_t index, const StepRecord& source) {
        newNames_.push_back({index, &source.originalFileName, source.originalNameClass, Field::kOriginalName});
    }
    void EmptyOriginalName(std::size_t index) { newNames_.push_back({index, nullptr, {}, Field::kOriginalName}); }

    StepRecordList TakeRecords();

    enum class Field : unsigned char { kName, kOriginalName };
    struct NewName {
        std::size_t index;
        const std::u16string* source;  // null: no text
        NameClass nameClass;
        Field field;
    };

private:
    StepRecordList records_;
    std::vector<unsigned char> present_;
    std::vector<NewName> newNames_;
};

// A file renamed to a temporary name after another was created and renamed to its old name: the created one is the
// modified file.
void UseTemporaryRenames(const RenameList& temporaryRenames, RenameOutput& output);
// ".igbak": the file was created under the backup's name and renamed into place.
void UseBackupRenames(const RenameList& renames, RenameOutput& output);
// Two renames of one file in a row become one, from the first name to the last.
void CollapseRenameChains(const RenameList& renames, RenameOutput& output);
// A temporary file renamed to a backup: files created beside the backup were modified.
void UseTemporaryToBackupRenames(const RenameList& renames, RenameOutput& output);

}  // namespace tavi::records
