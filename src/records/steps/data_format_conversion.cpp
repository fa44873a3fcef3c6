// The conversion ("Data Format Conversion")
//
// The journal says what was done to a file's data and names, bit by bit, and says it again with every record until the
// file is closed. The client wants to know what happened: created, deleted, modified, renamed. This step turns the one
// into the other. The held-back records of earlier cycles go first, as they are; the held list is empty afterwards.
//
// The rule, for each journal record in order. Of its reason only the bits of kSignificantBits and CLOSE matter.
//   1. A record that repeats the one before it gives nothing. It repeats it when it has the same path and every bit of
//      its reason, and adds no significant bit. The record before is the one in the input, whatever became of it.
//   2. Not a closing record:
//      a. exactly FILE_CREATE, or FILE_CREATE with EA_CHANGE: CREATE, and nothing else.
//      b. any of the data bits: MODIFY; then the rename rule.
//      c. otherwise: the rename rule alone.
//   3. A closing record: DELETE when FILE_DELETE is set, otherwise MODIFY when a data bit is set, otherwise nothing. A
//      closing record only repeats a rename, so the rename rule is not asked.
//   The rename rule: RENAME_OLD_NAME gives a record of that kind; failing that, RENAME_NEW_NAME does. A half that this
//   conversion has given already (same file reference number, kind and path) is not given again.
//
// A result has the path, attributes, time stamp and number of its source. It is marked as temporary when it is a file,
// not a directory, and has a temporary name.
//
//   a.txt 100, a.txt 102, a.txt 80000102   -> CREATE a.txt, MODIFY a.txt; the closing record repeats the second
//   a.txt 1003                             -> MODIFY a.txt, RENAME_OLD_NAME a.txt
//   a.txt 80000300                         -> DELETE a.txt
//
// Odd on purpose: a record that was created and written before the journal was read (102 as the first of its file) is a
// MODIFY; held-back records do not count as rename halves that were given already.
//
// tests/unit/records/steps/reference/data_format_conversion.cpp looks for an earlier rename half by walking over the
// output, which takes quadratic time. Here a set holds the halves that were given. Only rename halves are ever looked
// for, so the set says what the walk would find.
#include <optional>
#include <unordered_set>
#include <utility>

#include "platform/constants.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

using namespace platform;

constexpr std::uint32_t kDataBits = kReasonDataOverwrite | kReasonDataExtend | kReasonDataTruncation;
constexpr std::uint32_t kSignificantBits =
    kDataBits | kReasonFileCreate | kReasonFileDelete | kReasonRenameOldName | kReasonRenameNewName;
static_assert(kSignificantBits == 0x3307);

struct RenameHalf {
    FileReferenceNumber frn;
    FileChangeReason reason;
    SharedText fileName;

    friend bool operator==(const RenameHalf&, const RenameHalf&) = default;
};

struct RenameHalfHash {
    std::size_t operator()(const RenameHalf& half) const {
        const std::uint64_t numbers = half.frn * 2 + (half.reason == FileChangeReason::kRenameOldName ? 1 : 0);
        return std::hash<SharedText>()(half.fileName) ^ static_cast<std::size_t>(numbers * 0x9E3779B97F4A7C15);
    }
};

bool IsRepeatedBy(const UsnRecord& previous, const UsnRecord& record) {
    return (previous.reason & ~record.reason) == 0 && (record.reason & kSignificantBits & ~previous.reason) == 0 &&
           previous.filename == record.filename;
}

// The kind that a reason means apart from renames.
std::optional<FileChangeReason> ContentKind(std::uint32_t reason) {
    if ((reason & kReasonClose) != 0 && (reason & kReasonFileDelete) != 0) {
        return FileChangeReason::kDelete;
    }
    if (reason == kReasonFileCreate || reason == (kReasonFileCreate | kReasonEaChange)) {
        return FileChangeReason::kCreate;
    }
    if ((reason & kDataBits) != 0) {
        return FileChangeReason::kModify;
    }
    return std::nullopt;
}

std::optional<FileChangeReason> RenameKind(std::uint32_t reason) {
    if ((reason & kReasonClose) != 0) {
        return std::nullopt;
    }
    if ((reason & kReasonRenameOldName) != 0) {
        return FileChangeReason::kRenameOldName;
    }
    if ((reason & kReasonRenameNewName) != 0) {
        return FileChangeReason::kRenameNewName;
    }
    return std::nullopt;
}

class Conversion {
public:
    Conversion(const TemporaryFileRules& rules, StepRecordList& output) : rules_(rules), output_(output) {}

    void Add(const UsnRecord& record) {
        if (const auto content = ContentKind(record.reason)) {
            Append(record, *content);
        }
        const auto rename = RenameKind(record.reason);
        if (rename && given_.insert({record.frn, *rename, record.filename}).second) {
            Append(record, *rename);
        }
    }

private:
    void Append(const UsnRecord& source, FileChangeReason reason) {
        StepRecord& record = output_.emplace_back();
        record.fileName = source.filename;
        record.fileAttributes = source.fileAttributes;
        record.nameClass = ClassOf(source.filename);
        record.isTempFile = !IsDirectory(source.fileAttributes) && record.nameClass.temporary;
        record.reason = reason;
        record.timestamp = source.timestamp;
        record.frn = source.frn;
    }

    // A file's records mostly stand together: one name's class serves them all.
    NameClass ClassOf(const SharedText& name) {
        if (name != lastName_) {
            lastName_ = name;
            lastClass_ = rules_.Classify(name);
        }
        return lastClass_;
    }

    const TemporaryFileRules& rules_;
    StepRecordList& output_;
    std::unordered_set<RenameHalf, RenameHalfHash> given_;
    SharedText lastName_;
    NameClass lastClass_ = rules_.Classify({});
};

}  // namespace

StepRecordList DataFormatConversion(UsnRecordList records, StepContext& context) {
    StepRecordList output;
    output.reserve(context.delayRecords.size() + records.size());
    for (DelayRecord& held : context.delayRecords) {
        output.push_back(context.rules.ToStepRecord(std::move(held)));
    }
    context.delayRecords.clear();
    Conversion conversion(context.rules, output);
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (i == 0 || !IsRepeatedBy(records[i - 1], records[i])) {
            conversion.Add(records[i]);
        }
    }
    return output;
}

}  // namespace tavi::records
