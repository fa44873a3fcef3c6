// Decides which names are temporary, lock, special or placeholder-filling names. One object per FileChangeRecord,
// constant once it is built; every operation may run on any thread.
//
// The expressions are case-sensitive and match whole names. They are compiled into one automaton, so that a name is
// read once, whatever the number of expressions. The process's first object compiles it (some 30 ms; a malformed
// expression surfaces as std::regex_error), all share it. Except for HasExtensionIn, the tests look at the last
// component of a path.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "records/model/change_record.h"
#include "records/names/name_automaton.h"
#include "records/model/name_class.h"
#include "records/model/step_record.h"

namespace tavi::records {

// The text after the last backslash; the whole path when there is none.
std::u16string_view LastComponent(std::u16string_view path);

// Plain, case-sensitive; false when the suffix is longer than the text.
bool EndsWith(std::u16string_view text, std::u16string_view suffix);

class TemporaryFileRules {
public:
    using ExtensionSet = std::unordered_set<std::u16string_view>;  // lower-case, without the point

    TemporaryFileRules();

    // Every answer about the path's last component, in one pass over it.
    NameClass Classify(std::u16string_view path) const;

    // Callers apply it to files only: for directories it counts as false.
    bool IsTemporaryFileName(std::u16string_view path) const { return Classify(path).temporary; }
    bool IsLockFileName(std::u16string_view path) const { return Classify(path).lock; }
    bool IsHydrationFileName(std::u16string_view path) const { return Classify(path).hydration; }
    // For a last component that is already lower-cased.
    bool IsSpecialTemporaryFile(std::u16string_view name) const;
    // Whether the record goes into the list of temporary files.
    bool IsRecordedTemporaryFile(const StepRecord& record) const;

    // The extension is what follows the last point of the whole path, its ASCII letters lower-cased.
    static bool HasExtensionIn(const ExtensionSet& extensions, std::u16string_view path);

    // A work record of this change: with the classes of its two names.
    StepRecord ToStepRecord(FileChangeInfo change) const;

    // The expressions as they stand in the source, in their order.
    static std::span<const std::u16string_view> TemporaryPatterns();
    static std::span<const std::u16string_view> SpecialPatterns();
    static std::u16string_view HydrationPattern();
    // Application family to the expression of its lock files.
    const std::unordered_map<std::u16string_view, std::u16string_view>& lockFileMap() const { return lockFileMap_; }

    const ExtensionSet& documentExtensions() const { return documentExtensions_; }
    const ExtensionSet& matlabExtensions() const { return matlabExtensions_; }
    const ExtensionSet& shortcutExtensions() const { return shortcutExtensions_; }

private:
    std::unordered_map<std::u16string_view, std::u16string_view> lockFileMap_;
    ExtensionSet documentExtensions_;
    ExtensionSet matlabExtensions_;
    ExtensionSet shortcutExtensions_;
    const NameAutomaton* automaton_;  // the process's; never null
};

}  // namespace tavi::records
