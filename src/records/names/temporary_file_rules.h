// Decides which names are temporary, lock, special or placeholder-filling names: the one place that knows them. One
// object per FileChangeRecord, constant once it is built; every operation may run on any thread.
//
// The rule is a table of regular expressions (ECMAScript, case-sensitive), of which one must match the whole last
// component of a path. "docs\~$plan.docx" is temporary because "^~\$.*\.(docx|...)$" matches "~$plan.docx". Tried one
// after the other, as tests/unit/records/names/name_reference.cpp does it, they would be most of a cycle. They are
// compiled into one automaton instead (name_automaton.h), which reads a name once and gives every answer:
// bench/bench_names.cpp promises at most 1.8 times what hashing the name takes, and at most a 250th of the table. The
// process's first object compiles it (a malformed expression surfaces as std::regex_error), all share it.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "records/model/change_record.h"
#include "records/model/step_record.h"
#include "records/names/name_automaton.h"

namespace tavi::records {

// The text after the last backslash; the whole path when there is none.
std::u16string_view LastComponent(std::u16string_view path);

class TemporaryFileRules {
public:
    using ExtensionSet = std::unordered_set<std::u16string_view>;  // lower-case, without the dot

    TemporaryFileRules();

    // Every answer about the path's last component, in one pass over it.
    NameClass Classify(std::u16string_view path) const;

    // Callers apply it to files only: for directories it counts as false.
    bool IsTemporaryFileName(std::u16string_view path) const { return Classify(path).temporary; }
    bool IsHydrationFileName(std::u16string_view path) const { return Classify(path).hydration; }
    // Whether the record goes into the list of temporary files, which the client clears away. Asked in this order:
    //   1. A hidden file or directory that is created or renamed is recorded.
    //   2. A directory is not, nor is any other kind of change.
    //   3. A file is recorded whose last component, lower-cased, has the extension lnk, rdp, crdownload, midownloading
    //      or tmp, ends with ".baiduyun.uploading.cfg", is "desktop.ini" or matches one of the special expressions.
    bool IsRecordedTemporaryFile(const StepRecord& record) const;

    // The extension is what follows the last dot of the whole path, its ASCII letters lower-cased. "docs.old\readme"
    // has the extension "old\readme", which is in no set.
    static bool HasExtensionIn(const ExtensionSet& extensions, std::u16string_view path);

    // A work record of this change: with the classes of its two names.
    StepRecord ToStepRecord(FileChangeInfo change) const;

    // The expressions as they stand in the source, in their order.
    static std::span<const std::u16string_view> TemporaryPatterns();
    static std::span<const std::u16string_view> SpecialPatterns();
    static std::u16string_view HydrationPattern();
    // Application family to the expression of its lock files. Looked at by the automaton (NameClass::lock) alone.
    const std::unordered_map<std::u16string_view, std::u16string_view>& lockFileMap() const { return lockFileMap_; }

    const ExtensionSet& documentExtensions() const { return documentExtensions_; }
    const ExtensionSet& matlabExtensions() const { return matlabExtensions_; }
    // Links that the shell follows. No step asks for them; the table is complete so that one may.
    const ExtensionSet& shortcutExtensions() const { return shortcutExtensions_; }

private:
    std::unordered_map<std::u16string_view, std::u16string_view> lockFileMap_;
    ExtensionSet documentExtensions_;
    ExtensionSet matlabExtensions_;
    ExtensionSet shortcutExtensions_;
    const NameAutomaton* automaton_;  // the process's; never null
};

}  // namespace tavi::records
