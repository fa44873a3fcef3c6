#include "lives/known_limits.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

#include "lives/plan.h"
#include "platform/constants.h"
#include "records/names/lower_case.h"
#include "records/names/temporary_file_rules.h"

namespace tavi::lives {

namespace {

using records::FileChangeInfo;
using records::FileChangeInfoList;
using Reason = records::FileChangeReason;

constexpr std::size_t kConversion = 3;  // the step's number

constexpr std::uint64_t kAnyFrn = 0;

bool Names(const FileChangeInfoList& list, const std::u16string& path, std::uint64_t frn) {
    return std::any_of(list.begin(), list.end(), [&](const FileChangeInfo& change) {
        return change.fileName == path && change.reason != Reason::kDelete && (frn == kAnyFrn || change.frn == frn);
    });
}

// A file takes another's name through a rename, is deleted, and a third one is saved there: the modification joins a
// rename that the deletion has removed.
bool SavedAfterARenamedFileWasDeleted(const FileChangeInfoList& list, const std::u16string& path) {
    const auto is = [&](Reason reason) {
        return [&path, reason](const FileChangeInfo& change) {
            return change.reason == reason && change.fileName == path;
        };
    };
    const auto rename = std::find_if(list.begin(), list.end(), is(Reason::kRename));
    const auto deletion = std::find_if(rename, list.end(), is(Reason::kDelete));
    return std::find_if(deletion, list.end(), is(Reason::kModify)) != list.end();
}

// One file leaves the folder and another comes in under the same name at once: the halves pair up to a rename of the
// name to itself, which the chains take for a link of its own chain.
bool ExchangedForOneFromOutside(const FileChangeInfoList& list, const std::u16string& path) {
    return std::any_of(list.begin(), list.end(), [&](const FileChangeInfo& change) {
        return change.reason == Reason::kRename && change.fileName == path && change.originalFileName == path;
    });
}

// The numbers as the rule sees them: what was saved through a temporary name gives its number to whatever is created or
// modified under that name.
class Numbers {
public:
    explicit Numbers(const FileChangeInfoList& list) {
        static const records::TemporaryFileRules rules;
        for (const FileChangeInfo& change : list) {
            if (change.reason == Reason::kRename && !change.isTempFile &&
                rules.IsTemporaryFileName(change.originalFileName)) {
                saved_[change.fileName] = change.frn;
            }
        }
    }
    std::uint64_t Of(const FileChangeInfo& change) const {
        const auto saved = saved_.find(change.fileName);
        const bool takesIt = change.reason == Reason::kCreate || change.reason == Reason::kModify;
        return takesIt && saved != saved_.end() ? saved->second : change.frn;
    }

private:
    std::map<std::u16string, std::uint64_t> saved_;
};

// A file that is new in the batch was renamed, and some file was then renamed from that name to a temporary one: the
// rule takes the two for a save, gives the new file's first record that name, and removes every other record with its
// number.
bool NewFileGaveItsNameToATemporaryOne(const FileChangeInfoList& list, const std::u16string& path) {
    const Numbers numbers(list);
    std::set<std::uint64_t> created;
    std::set<std::u16string> givenToTemporary;
    for (const FileChangeInfo& change : list) {
        if (change.reason == Reason::kCreate) {
            created.insert(numbers.Of(change));
        }
        if (change.reason == Reason::kRename && change.isTempFile) {
            givenToTemporary.insert(change.originalFileName);
        }
    }
    std::set<std::uint64_t> removed;
    for (const FileChangeInfo& change : list) {
        if (change.reason == Reason::kRename && !change.isTempFile && givenToTemporary.contains(change.fileName) &&
            created.contains(change.frn)) {
            removed.insert(change.frn);
        }
    }
    return std::any_of(list.begin(), list.end(), [&](const FileChangeInfo& change) {
        return change.fileName == path && change.reason != Reason::kDelete && removed.contains(numbers.Of(change));
    });
}

// A drawing's backup copy is renamed and a new file gets its name: the new file's creation is taken for the renamed
// one's.
bool BackupCopyRenamedAndMadeAnew(const FileChangeInfoList& list, const std::u16string& path) {
    const auto has = [&list](const auto& matches) { return std::any_of(list.begin(), list.end(), matches); };
    const std::size_t point = path.rfind(u'.');
    std::u16string extension = point == std::u16string::npos ? std::u16string() : path.substr(point);
    std::transform(extension.begin(), extension.end(), extension.begin(), records::ToLowerUnit);
    return extension == u".igbak" && has([&](const FileChangeInfo& change) {
               return change.reason == Reason::kRename && change.originalFileName == path;
           }) &&
           has([&](const FileChangeInfo& change) {
               return change.reason == Reason::kCreate && change.fileName == path;
           });
}

// A file loses its name and gets it back, all in one batch.
bool RenamedAwayAndBack(const FileChangeInfoList& raw, const std::u16string& path, std::uint64_t frn) {
    const auto isHalf = [&](std::uint32_t half) {
        return [&path, frn, half](const FileChangeInfo& record) {
            const std::uint32_t reasons = record.fileAttributes;
            return record.fileName == path && record.frn == frn && (reasons & platform::kReasonClose) == 0 &&
                   (reasons & half) != 0;
        };
    };
    const auto away = std::find_if(raw.begin(), raw.end(), isHalf(platform::kReasonRenameOldName));
    return std::find_if(away, raw.end(), isHalf(platform::kReasonRenameNewName)) != raw.end();
}

std::string KnownLimit(const FileChangeInfoList& list, const std::u16string& path) {
    if (SavedAfterARenamedFileWasDeleted(list, path)) {
        return "saved-after-a-renamed-file-was-deleted";
    }
    if (ExchangedForOneFromOutside(list, path)) {
        return "exchanged-for-one-from-outside";
    }
    if (BackupCopyRenamedAndMadeAnew(list, path)) {
        return "backup-copy-renamed-and-made-anew";
    }
    if (NewFileGaveItsNameToATemporaryOne(list, path)) {
        return "new-file-gave-its-name-to-a-temporary-one";
    }
    return {};
}

// What one rule does to a batch may make a later one drop a record, so the whole batch is looked at.
std::string KnownLimit(const std::vector<StepTrace>& steps, const std::u16string& path, std::uint64_t frn) {
    if (RenamedAwayAndBack(steps.front().list, path, frn)) {
        return "renamed-away-and-back";
    }
    for (const StepTrace& step : steps) {
        if (std::string name = KnownLimit(step.list, path); !name.empty()) {
            return name;
        }
    }
    return {};
}

std::string DescribeList(const FileChangeInfoList& list) {
    std::string text;
    for (const FileChangeInfo& change : list) {
        text += "\n      " + std::string(records::ReasonName(change.reason)) + " " + Narrow(change.fileName) +
                (change.originalFileName.empty() ? "" : " from " + Narrow(change.originalFileName)) + " frn " +
                std::to_string(change.frn & 0xFFFFFFFFFFFF) + (change.isTempFile ? " temporary" : "");
    }
    return text;
}

// The last batch that knows the file decides what becomes of it.
Drop FindDropOf(const Batches& batches, const std::u16string& path, std::uint64_t frn, std::uint64_t trueFrn) {
    Drop drop;
    for (const auto& steps : batches) {
        for (std::size_t i = 1; i < steps.size(); ++i) {
            if (!Names(steps[i - 1].list, path, frn) || Names(steps[i].list, path, frn)) {
                continue;
            }
            if (!drop.knownLimit.empty() && i <= kConversion) {
                continue;  // no change of contents
            }
            drop.step = steps[i].label;
            drop.knownLimit = KnownLimit(steps, path, trueFrn);
            drop.before = DescribeList(steps[i - 1].list);
        }
    }
    return drop;
}

}  // namespace

// Of the file itself; where nothing dropped it, it was told, but not as it was; or a rule has given its number to
// another, and its name tells.
Drop FindDrop(const Batches& batches, const std::u16string& path, std::uint64_t frn) {
    Drop drop = FindDropOf(batches, path, frn, frn);
    if (!drop.step.empty()) {
        return drop;
    }
    const auto last = std::find_if(batches.rbegin(), batches.rend(), [&](const auto& steps) {
        return !steps.empty() && Names(steps.front().list, path, frn);
    });
    if (last != batches.rend()) {
        drop.knownLimit = KnownLimit(*last, path, frn);
    }
    return drop.knownLimit.empty() ? FindDropOf(batches, path, kAnyFrn, frn) : drop;
}

}  // namespace tavi::lives
