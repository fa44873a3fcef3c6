#include "records/record_dumps.h"

#include <array>
#include <charconv>
#include <string_view>
#include <utility>

#include "imports/path_helper.h"
#include "imports/type_convert.h"

namespace tavi::records {
namespace {

constexpr std::array<std::string_view, 32> kReasonFlagNames = {
    "DataOverwrite",      "DataExtend",        "DataTruncation",      "0x00000008",
    "NamedDataOverwrite", "NamedDataExtend",   "NamedDataTruncation", "0x00000080",
    "FileCreate",         "FileDelete",        "PropertyChange",      "SecurityChange",
    "RenameOldName",      "RenameNewName",     "IndexableChange",     "BasicInfoChange",
    "HardLinkChange",     "CompressionChange", "EncryptionChange",    "ObjectIdChange",
    "ReparsePointChange", "StreamChange",      "0x00400000",          "0x00800000",
    "0x01000000",         "0x02000000",        "0x04000000",          "0x08000000",
    "0x10000000",         "0x20000000",        "0x40000000",          "*Close*"};
constexpr std::string_view kSeparator = ", ";

// The column is left empty when it would exceed this many characters. All names together stay below it.
constexpr std::size_t kReasonColumnLimit = 1024;
constexpr std::size_t LongestReasonColumn() {
    std::size_t length = 0;
    for (const std::string_view name : kReasonFlagNames) {
        length += name.size() + kSeparator.size();
    }
    return length;
}
static_assert(LongestReasonColumn() < kReasonColumnLimit, "no combination of flags needs the column to be left empty");

// Room for one line apart from its paths; only a first guess.
constexpr std::size_t kLineRoom = 128;

class Lines {
public:
    Lines(std::string_view header, DumpPaths paths, std::size_t records) : paths_(paths) {
        text_.reserve(header.size() + records * kLineRoom);
        text_ += header;
    }

    Lines& Text(std::string_view text) {
        text_ += text;
        return *this;
    }

    template <typename Number>
    Lines& Decimal(Number number) {
        std::array<char, 24> digits;
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        text_.append(digits.data(), end);
        return *this;
    }

    Lines& Path(const std::u16string& path) {
        if (path.empty()) {
            return *this;
        }
        return paths_ == DumpPaths::kClear ? Utf8(path) : Utf8(PathHelper::FuzzyFilePath(path));
    }

    Lines& Tab() {
        text_.push_back('\t');
        return *this;
    }

    void End() { text_.push_back('\n'); }

    std::string Take() { return std::move(text_); }

private:
    // Most paths begin with much ASCII, which needs no conversion.
    Lines& Utf8(std::u16string_view path) {
        std::size_t ascii = 0;
        while (ascii < path.size() && path[ascii] < 0x80) {
            ++ascii;
        }
        const std::size_t begin = text_.size();
        text_.resize(begin + ascii);
        for (std::size_t index = 0; index < ascii; ++index) {
            text_[begin + index] = static_cast<char>(path[index]);
        }
        if (ascii < path.size()) {
            text_ += TypeConvert::UnicodeToUTF8(path.substr(ascii));
        }
        return *this;
    }

    std::string text_;
    DumpPaths paths_;
};

template <typename Records>
std::string FormatChanges(const Records& records, DumpPaths paths) {
    if (records.empty()) {
        return {};
    }
    Lines lines("fileName\toriginalFileName\tfrn\toldfrn\tfileAttributes\tisTempFile\treason\tdelayCount\ttimestamp\n",
                paths, records.size());
    for (const FileChangeInfo& record : records) {
        lines.Path(record.fileName).Tab().Path(record.originalFileName).Tab();
        lines.Decimal(record.frn).Tab().Decimal(record.oldfrn).Tab().Decimal(record.fileAttributes).Tab();
        lines.Text(record.isTempFile ? "1" : "0").Tab().Text(ReasonName(record.reason)).Tab();
        lines.Decimal(record.delayCount).Tab().Decimal(record.timestamp).End();
    }
    return lines.Take();
}

}  // namespace

std::string FormatReasonFlags(std::uint32_t reason) {
    std::string text;
    for (std::size_t bit = 0; bit < kReasonFlagNames.size(); ++bit) {
        if ((reason >> bit & 1) == 0) {
            continue;
        }
        if (!text.empty()) {
            text += kSeparator;
        }
        text += kReasonFlagNames[bit];
    }
    return text;
}

std::string FormatUsnRecords(const UsnRecordList& records, DumpPaths paths) {
    if (records.empty()) {
        return {};
    }
    Lines lines("usn\treason\tfileAttributes\ttimestamp\tfilename\tfrn\toldfrn\n", paths, records.size());
    for (const UsnRecord& record : records) {
        lines.Decimal(record.usn).Tab().Text(FormatReasonFlags(record.reason)).Tab();
        lines.Decimal(static_cast<std::int32_t>(record.fileAttributes)).Tab().Decimal(record.timestamp).Tab();
        lines.Path(record.filename).Tab().Decimal(record.frn).Tab();
        lines.Decimal(static_cast<std::uint64_t>(record.oldfrn)).End();
    }
    return lines.Take();
}

std::string FormatFileChangeRecords(const FileChangeInfoList& records, DumpPaths paths) {
    return FormatChanges(records, paths);
}

std::string FormatFileChangeRecords(const StepRecordList& records, DumpPaths paths) {
    return FormatChanges(records, paths);
}

}  // namespace tavi::records
