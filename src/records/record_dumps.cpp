#include "records/record_dumps.h"

#include <algorithm>
#include <array>
#include <bit>
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

// What the columns other than paths need at most, and more.
constexpr std::size_t kColumnRoom = 32;
// What most lines need.
constexpr std::size_t kLineRoom = 224;

// Collects the lines in a small buffer that stays in the processor's cache; the text grows by whole buffers.
class Lines {
public:
    // Growing step by step would copy the text several times.
    Lines(std::string_view header, DumpPaths paths, std::size_t lines) : paths_(paths) {
        text_.reserve(header.size() + lines * kLineRoom);
        Text(header);
    }

    Lines& Text(std::string_view text) {
        while (text.size() > buffer_.size()) {
            Text(text.substr(0, buffer_.size()));
            text.remove_prefix(buffer_.size());
        }
        Reserve(text.size());
        next_ += text.copy(next_, text.size());
        return *this;
    }

    template <typename Number>
    Lines& Decimal(Number number) {
        Reserve(kColumnRoom);
        next_ = std::to_chars(next_, next_ + kColumnRoom, number).ptr;
        return *this;
    }

    Lines& Path(const std::u16string& path) {
        if (path.empty()) {
            return *this;
        }
        return paths_ == DumpPaths::kClear ? Utf8(path) : Utf8(PathHelper::FuzzyFilePath(path));
    }

    // An old number that is none, as almost every one is, needs no division.
    Lines& OldFrn(std::uint64_t frn) { return frn == kNoFrn ? Text("18446744073709551615") : Decimal(frn); }

    Lines& Reasons(std::uint32_t reason) {
        for (std::string_view separator; reason != 0; reason &= reason - 1, separator = kSeparator) {
            Text(separator).Text(kReasonFlagNames[static_cast<std::size_t>(std::countr_zero(reason))]);
        }
        return *this;
    }

    Lines& Tab() { return Character('\t'); }
    void End() { Character('\n'); }

    std::string Take() {
        Flush();
        return std::move(text_);
    }

private:
    Lines& Character(char character) {
        Reserve(1);
        *next_++ = character;
        return *this;
    }

    // Most paths are ASCII or begin so, which needs no conversion.
    Lines& Utf8(std::u16string_view path) {
        while (!path.empty() && path.front() < 0x80) {
            const std::u16string_view part = path.substr(0, buffer_.size());
            Reserve(part.size());
            const std::size_t ascii = NarrowAscii(part, next_);
            next_ += ascii;
            path.remove_prefix(ascii);
        }
        return path.empty() ? *this : Text(TypeConvert::UnicodeToUTF8(path));
    }

    // Writes the ASCII units that the text begins with and returns how many. In blocks, for which compilers use
    // vectors.
    static std::size_t NarrowAscii(std::u16string_view text, char* out) {
        constexpr std::size_t kBlock = 16;
        std::size_t done = 0;
        for (; done + kBlock <= text.size(); done += kBlock) {
            unsigned bits = 0;
            for (std::size_t index = 0; index < kBlock; ++index) {
                bits |= text[done + index];
            }
            if (bits >= 0x80) {
                break;
            }
            for (std::size_t index = 0; index < kBlock; ++index) {
                out[done + index] = static_cast<char>(text[done + index]);
            }
        }
        for (; done < text.size() && text[done] < 0x80; ++done) {
            out[done] = static_cast<char>(text[done]);
        }
        return done;
    }

    // Makes room for so many bytes, at most a buffer full.
    void Reserve(std::size_t bytes) {
        if (static_cast<std::size_t>(buffer_.data() + buffer_.size() - next_) < bytes) {
            Flush();
        }
    }

    void Flush() {
        text_.append(buffer_.data(), next_);
        next_ = buffer_.data();
    }

    std::string text_;
    DumpPaths paths_;
    std::array<char, 16'384> buffer_;
    char* next_ = buffer_.data();
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
        lines.Decimal(record.frn).Tab().OldFrn(record.oldfrn).Tab().Decimal(record.fileAttributes).Tab();
        lines.Text(record.isTempFile ? "1" : "0").Tab().Text(ReasonName(record.reason)).Tab();
        lines.Decimal(record.delayCount).Tab().Decimal(record.timestamp).End();
    }
    return lines.Take();
}

}  // namespace

std::string FormatReasonFlags(std::uint32_t reason) {
    return Lines({}, DumpPaths::kClear, 0).Reasons(reason).Take();
}

std::string FormatUsnRecords(const UsnRecordList& records, DumpPaths paths) {
    if (records.empty()) {
        return {};
    }
    Lines lines("usn\treason\tfileAttributes\ttimestamp\tfilename\tfrn\toldfrn\n", paths, records.size());
    for (const UsnRecord& record : records) {
        lines.Decimal(record.usn).Tab().Reasons(record.reason).Tab();
        lines.Decimal(static_cast<std::int32_t>(record.fileAttributes)).Tab().Decimal(record.timestamp).Tab();
        lines.Path(record.filename).Tab().Decimal(record.frn).Tab();
        lines.OldFrn(static_cast<std::uint64_t>(record.oldfrn)).End();
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
