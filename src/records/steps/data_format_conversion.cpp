#include "records/steps/data_format_conversion.h"

#include <algorithm>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "platform/constants.h"
#include "records/model/same_units.h"
#include "records/steps/steps.h"

namespace tavi::records {
namespace {

using namespace platform;

constexpr std::uint32_t kDataBits = kReasonDataOverwrite | kReasonDataExtend | kReasonDataTruncation;
constexpr std::uint32_t kSignificantBits =
    kDataBits | kReasonFileCreate | kReasonFileDelete | kReasonRenameOldName | kReasonRenameNewName;

// The names are views of texts that stay where they are while the set lives: see TakeName.
struct RenameHalf {
    std::uint64_t frn;
    FileChangeReason reason;
    std::u16string_view fileName;

    friend bool operator==(const RenameHalf& left, const RenameHalf& right) {
        return left.frn == right.frn && left.reason == right.reason && SameUnits(left.fileName, right.fileName);
    }
};

struct RenameHalfHash {
    std::size_t operator()(const RenameHalf& half) const {
        const std::uint64_t numbers = half.frn * 2 + (half.reason == FileChangeReason::kRenameOldName ? 1 : 0);
        return std::hash<std::u16string_view>()(half.fileName) ^ (numbers * 0x9E3779B97F4A7C15);
    }
};

// The journal repeats a file's reasons with every record until the file is closed: this one says nothing new.
struct Previous {
    std::uint32_t reason;
    std::u16string_view name;
};

bool IsRepeatedBy(const Previous& previous, const UsnRecord& record) {
    return (previous.reason & ~record.reason) == 0 && (record.reason & kSignificantBits & ~previous.reason) == 0 &&
           SameUnits(previous.name, record.filename);
}

// The name for the record's last result. Its text does not move, so that views of it stay good: what a string may hold
// within itself is copied.
std::u16string TakeName(UsnRecord& record) {
    static const std::size_t unitsWithin = std::u16string().capacity();
    return record.filename.size() > unitsWithin ? std::move(record.filename) : record.filename;
}

// A file's records mostly stand together: the class of the name that was asked for last is at hand.
class ClassOfLast {
public:
    explicit ClassOfLast(const TemporaryFileRules& rules) : rules_(rules), class_(rules.Classify({})) {}

    // `name` outlives the next call.
    NameClass Of(std::u16string_view name) {
        if (!SameUnits(name, name_)) {
            name_ = name;
            class_ = rules_.Classify(name);
        }
        return class_;
    }

private:
    const TemporaryFileRules& rules_;
    std::u16string_view name_;
    NameClass class_;
};

// The kind that a record's reasons mean apart from renames.
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

StepRecord MakeRecord(const UsnRecord& source, std::u16string name, NameClass nameClass, FileChangeReason reason) {
    StepRecord record;
    record.fileName = std::move(name);
    record.fileAttributes = source.fileAttributes;
    record.isTempFile = (source.fileAttributes & kFileAttributeDirectory) == 0 && nameClass.temporary;
    record.reason = reason;
    record.timestamp = source.timestamp;
    record.frn = source.frn;
    record.nameClass = nameClass;
    return record;
}

}  // namespace

void AppendConverted(UsnRecordList records, const TemporaryFileRules& rules, StepRecordList& output) {
    // The set only grows and ends with this call: its nodes need no memory management of their own.
    std::pmr::monotonic_buffer_resource nodes;
    std::pmr::unordered_set<RenameHalf, RenameHalfHash> emittedHalves(&nodes);
    emittedHalves.reserve(static_cast<std::size_t>(
        std::ranges::count_if(records, [](const UsnRecord& record) { return RenameKind(record.reason).has_value(); })));
    std::optional<Previous> previous;
    ClassOfLast classOfLast(rules);
    for (UsnRecord& record : records) {
        const std::optional<Previous> before = std::exchange(previous, Previous{record.reason, record.filename});
        if (before && IsRepeatedBy(*before, record)) {
            continue;
        }
        const auto content = ContentKind(record.reason);
        auto rename = RenameKind(record.reason);
        if (rename && !emittedHalves.insert({record.frn, *rename, record.filename}).second) {
            rename.reset();
        }
        if (!content && !rename) {
            continue;
        }
        const NameClass nameClass = classOfLast.Of(record.filename);
        if (content) {
            output.push_back(MakeRecord(record, rename ? record.filename : TakeName(record), nameClass, *content));
        }
        if (rename) {
            output.push_back(MakeRecord(record, TakeName(record), nameClass, *rename));
        }
    }
}

StepRecordList DataFormatConversion(UsnRecordList records, const TemporaryFileRules& rules) {
    StepRecordList output;
    output.reserve(records.size());
    AppendConverted(std::move(records), rules, output);
    return output;
}

StepRecordList ConvertDataFormat(UsnRecordList records, StepContext& context) {
    StepRecordList output;
    output.reserve(context.delayRecords.size() + records.size());
    for (DelayRecord& held : context.delayRecords) {
        output.push_back(context.rules.ToStepRecord(std::move(held)));
    }
    context.delayRecords.clear();
    AppendConverted(std::move(records), context.rules, output);
    return output;
}

}  // namespace tavi::records
