// The four passes of the temporary rename resolution over the step's output. Each is worded as "for every rename, walk
// the output and change it", and later renames see what earlier ones changed. They give that result without the walks:
// every pass first indexes the part of the output that its rules can touch. A record is named by its index in the
// step's input throughout; names are views of the input's strings, which stay in place until the passes are done.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "records/step_record.h"

namespace tavi::records {

// A name with its class: whoever takes the name takes the class along.
struct ClassedName {
    std::u16string_view text;
    NameClass nameClass;
};

// A rename as it came in, whatever became of its copy in the output.
struct SeenRename {
    ClassedName name;
    ClassedName originalName;
    std::uint64_t frn = 0;
};

// A record of the output as it stands at present.
struct OutputSlot {
    ClassedName name;
    ClassedName originalName;
    std::uint64_t frn = 0;
    FileChangeReason reason = FileChangeReason::kUnknown;
    bool present = false;  // false: not taken over into the output, or removed from it
};

using RenameList = std::vector<SeenRename>;
using OutputSlots = std::span<OutputSlot>;

// A file renamed to a temporary name after another was created and renamed to its old name: the created one is the
// modified file.
void UseTemporaryRenames(const RenameList& temporaryRenames, OutputSlots output);
// ".igbak": the file was created under the backup's name and renamed into place.
void UseBackupRenames(const RenameList& renames, OutputSlots output);
// Two renames of one file in a row become one, from the first name to the last.
void CollapseRenameChains(const RenameList& renames, OutputSlots output);
// A temporary file renamed to a backup: files created beside the backup were modified.
void UseTemporaryToBackupRenames(const RenameList& renames, OutputSlots output);

}  // namespace tavi::records
