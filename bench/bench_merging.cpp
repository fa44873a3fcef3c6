// The merging steps on 100,000 records, ordinary and hostile: what each rule, done as a walk inside a walk, is worst
// at.
#include <string>
#include <utility>

#include "step_ratios.h"

namespace {

using namespace tavi::bench;
using namespace tavi::records;

FileChangeInfo Change(FileChangeReason reason, std::u16string name, std::uint64_t frn = 7,
                      std::uint32_t attributes = 0x20) {
    FileChangeInfo change;
    change.reason = reason;
    change.fileName = std::move(name);
    change.frn = frn;
    change.fileAttributes = attributes;
    return change;
}

FileChangeInfo Rename(std::u16string name, std::u16string originalName, std::uint64_t frn = 7) {
    FileChangeInfo change = Change(FileChangeReason::kRename, std::move(name), frn);
    change.originalFileName = std::move(originalName);
    return change;
}

FileChangeInfo TemporaryRename(std::u16string name, std::u16string originalName, std::uint64_t frn = 7) {
    FileChangeInfo change = Rename(std::move(name), std::move(originalName), frn);
    change.isTempFile = true;
    return change;
}

// One file is modified, renamed away and created over and over; the deletion that would settle it never comes.
PipelineBatch CreatesThatStay(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        switch (i % 5) {
            case 0:
                return Change(FileChangeReason::kModify, u"x");
            case 1:
                return Change(FileChangeReason::kRenameOldName, u"x");
            case 2:
                return Change(FileChangeReason::kRenameNewName, Numbered(i, u".old"));
            case 3:
                return Change(FileChangeReason::kCreate, u"x");
            default:
                return Change(FileChangeReason::kDelete, Numbered(i, u".gone"));
        }
    });
}

// The same with deletions that settle every creation, of many files.
PipelineBatch CreatesThatModify(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        const std::size_t file = i / 5;
        switch (i % 5) {
            case 0:
                return Change(FileChangeReason::kModify, Numbered(file, u".docx"), file);
            case 1:
                return Change(FileChangeReason::kRenameOldName, Numbered(file, u".docx"), file);
            case 2:
                return Change(FileChangeReason::kRenameNewName, Numbered(file, u".old"), file);
            case 3:
                return Change(FileChangeReason::kCreate, Numbered(file, u".docx"), file);
            default:
                return Change(FileChangeReason::kDelete, Numbered(file, u".old"), file);
        }
    });
}

PipelineBatch ModificationsOfOneFile(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t) { return Change(FileChangeReason::kModify, u"database.db"); });
}

// Directories that leave and arrive, none paired.
PipelineBatch ArrivingDirectories(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        FileChangeInfo change = Change(i % 2 == 0 ? FileChangeReason::kRenameOldName : FileChangeReason::kRenameNewName,
                                       Numbered(i % 3 == 0 ? i : i / 2, u" folder"), i, 0x10);
        change.timestamp = static_cast<std::int64_t>(i) * 100;
        return change;
    });
}

PipelineBatch Pairs(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        return Change(i % 2 == 0 ? FileChangeReason::kRenameOldName : FileChangeReason::kRenameNewName,
                      Numbered(i, u" a longer name than fits in place.docx"), i / 2);
    });
}

// Every temporary rename asks for the same name, and finds the next of many renames to it.
PipelineBatch TemporaryRenamesOfOneName(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        switch (i % 3) {
            case 0:
                return Change(FileChangeReason::kCreate, Numbered(i, u".new"), i / 3);
            case 1:
                return Rename(u"a.docx", Numbered(i, u".new"), i / 3);
            default:
                return TemporaryRename(Numbered(i, u".tmp"), u"a.docx", i);
        }
    });
}

// Every temporary rename asks for the same name in vain: its rename's number was never created.
PipelineBatch TemporaryRenamesInVain(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        return i % 2 == 0 ? Rename(u"a.docx", Numbered(i, u".new"), 5)
                          : TemporaryRename(Numbered(i, u".tmp"), u"a.docx");
    });
}

// Many backups of one file, each created, renamed and followed by a deletion.
PipelineBatch Backups(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        switch (i % 3) {
            case 0:
                return Change(FileChangeReason::kCreate, Numbered(i / 3, u".igbak"));
            case 1:
                return Rename(u"map.emmx", Numbered(i / 3, u".igbak"));
            default:
                return Change(FileChangeReason::kDelete, u"map.emmx");
        }
    });
}

PipelineBatch BackupsOfOneName(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        return i % 2 == 0 ? Rename(Numbered(i, u".emmx"), u"a.igbak", i)
                          : Change(FileChangeReason::kCreate, u"a.igbak");
    });
}

// One file renamed on and on: every rename collapses into the one before.
PipelineBatch LongChain(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) { return Rename(Numbered(i + 1, u""), Numbered(i, u"")); });
}

// One file renamed to and fro between two names.
PipelineBatch ToAndFro(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) { return i % 2 == 0 ? Rename(u"b", u"a") : Rename(u"a", u"b"); });
}

// All renames to one name come first, all renames from it later: every walk would meet them all.
PipelineBatch ChainsThroughOneName(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [count](std::size_t i) {
        return i < count / 2 ? Rename(u"b", Numbered(i, u".a")) : Rename(Numbered(i, u".c"), u"b");
    });
}

PipelineBatch TemporaryToBackup(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        return i % 2 == 0 ? Rename(Numbered(i % 1000, u".bak"), Numbered(i, u".TMP"), i)
                          : Change(FileChangeReason::kCreate, Numbered((i - 1) % 1000, u".dwg"), i);
    });
}

// Renames, modifications and deletions that hand one name on to the next.
PipelineBatch NamesHandedOn(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        switch (i % 3) {
            case 0:
                return Rename(Numbered(i / 3, u".b"), Numbered(i / 3 + 1, u".b"));
            case 1:
                return Change(FileChangeReason::kModify, Numbered(i / 3, u".b"));
            default:
                return Change(FileChangeReason::kDelete, Numbered(i / 3, u".b"));
        }
    });
}

PipelineBatch OneNameOverAndOver(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        return Change(static_cast<FileChangeReason>(i * 7 % 3 + 1), u"the one file.docx");
    });
}

PipelineBatch LongNames(std::size_t count, const TemporaryFileRules& rules) {
    return Changes(count, rules, [](std::size_t i) {
        return Rename(std::u16string(200, u'a') + u"\\" + Numbered(i, u""),
                      std::u16string(200, u'a') + Numbered(i, u""));
    });
}

}  // namespace

int main(int argc, char** argv) {
    const TemporaryFileRules rules;
    RatioTable table;
    StepRatios ratios(table, rules);

    ratios.AddOrdinary("modification merge", 5);
    ratios.AddHostile("modification merge", 5, "creates that stay", CreatesThatStay);
    ratios.AddHostile("modification merge", 5, "creates that modify", CreatesThatModify);
    ratios.AddHostile("modification merge", 5, "one file", ModificationsOfOneFile);

    ratios.AddOrdinary("rename pairing", 7);
    ratios.AddHostile("rename pairing", 7, "arriving directories", ArrivingDirectories);
    ratios.AddHostile("rename pairing", 7, "pairs", Pairs);

    ratios.AddOrdinary("temporary renames", 9);
    ratios.AddHostile("temporary renames", 9, "of one name", TemporaryRenamesOfOneName);
    ratios.AddHostile("temporary renames", 9, "in vain", TemporaryRenamesInVain);
    ratios.AddHostile("temporary renames", 9, "backups", Backups);
    ratios.AddHostile("temporary renames", 9, "backups of one name", BackupsOfOneName);
    ratios.AddHostile("temporary renames", 9, "long chain", LongChain);
    ratios.AddHostile("temporary renames", 9, "to and fro", ToAndFro);
    ratios.AddHostile("temporary renames", 9, "through one name", ChainsThroughOneName);
    ratios.AddHostile("temporary renames", 9, "temporary to backup", TemporaryToBackup);

    ratios.AddOrdinary("batch merge", 10);
    ratios.AddHostile("batch merge", 10, "names handed on", NamesHandedOn);
    ratios.AddHostile("batch merge", 10, "one name", OneNameOverAndOver);

    ratios.AddOrdinary("move split", 11);
    ratios.AddHostile("move split", 11, "long names", LongNames);
    return table.Run(argc, argv);
}
