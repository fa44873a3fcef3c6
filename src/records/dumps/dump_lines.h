// The lines of the dumps of both record types, as record_dumps.h describes them. Not for use outside the dumps.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "imports/path_helper.h"
#include "imports/type_convert.h"
#include "records/model/change_record.h"
#include "records/dumps/record_dumps.h"
#include "records/model/same_units.h"

namespace tavi::records {

inline constexpr std::string_view kUsnRecordHeader = "usn\treason\tfileAttributes\ttimestamp\tfilename\tfrn\toldfrn\n";
inline constexpr std::string_view kChangeHeader =
    "fileName\toriginalFileName\tfrn\toldfrn\tfileAttributes\tisTempFile\treason\tdelayCount\ttimestamp\n";

inline constexpr std::array<std::string_view, 32> kReasonFlagNames = {
    "DataOverwrite",      "DataExtend",        "DataTruncation",      "0x00000008",
    "NamedDataOverwrite", "NamedDataExtend",   "NamedDataTruncation", "0x00000080",
    "FileCreate",         "FileDelete",        "PropertyChange",      "SecurityChange",
    "RenameOldName",      "RenameNewName",     "IndexableChange",     "BasicInfoChange",
    "HardLinkChange",     "CompressionChange", "EncryptionChange",    "ObjectIdChange",
    "ReparsePointChange", "StreamChange",      "0x00400000",          "0x00800000",
    "0x01000000",         "0x02000000",        "0x04000000",          "0x08000000",
    "0x10000000",         "0x20000000",        "0x40000000",          "*Close*"};
inline constexpr std::string_view kSeparator = ", ";

// The column is left empty when it would exceed this many characters. All names together stay below it.
inline constexpr std::size_t kReasonColumnLimit = 1024;
constexpr std::size_t LongestReasonColumn() {
    std::size_t length = 0;
    for (const std::string_view name : kReasonFlagNames) {
        length += name.size() + kSeparator.size();
    }
    return length;
}
static_assert(LongestReasonColumn() < kReasonColumnLimit, "no combination of flags needs the column to be left empty");

// What the columns other than paths need at most, and more.
inline constexpr std::size_t kColumnRoom = 32;
// What most lines need.
inline constexpr std::size_t kLineRoom = 224;

// Collects the lines in a small buffer that stays in the processor's cache; the text grows by whole buffers.
class DumpLines {
    // A number with its text.
    template <typename Number>
    struct Repeated {
        Number number = 0;
        std::size_t units = 0;  // 0 before the first
        std::array<char, kColumnRoom> text;
    };

public:
    // Growing step by step would copy the text several times.
    DumpLines(std::string_view header, DumpPaths paths, std::size_t lines) : paths_(paths) {
        text_.reserve(header.size() + lines * kLineRoom);
        Text(header);
    }

    DumpLines& Text(std::string_view text) {
        while (text.size() > buffer_.size()) {
            Text(text.substr(0, buffer_.size()));
            text.remove_prefix(buffer_.size());
        }
        Reserve(text.size());
        next_ += text.copy(next_, text.size());
        return *this;
    }

    template <typename Number>
    DumpLines& Decimal(Number number) {
        Reserve(kColumnRoom);
        next_ = std::to_chars(next_, next_ + kColumnRoom, number).ptr;
        return *this;
    }

    // A number in a column whose value is often that of the line before.
    template <typename Number>
    DumpLines& Decimal(Number number, Repeated<Number>& last) {
        if (last.units == 0 || number != last.number) {
            last.number = number;
            last.units = static_cast<std::size_t>(
                std::to_chars(last.text.data(), last.text.data() + last.text.size(), number).ptr - last.text.data());
        }
        Reserve(kColumnRoom);
        std::memcpy(next_, last.text.data(), kColumnRoom);
        next_ += last.units;
        return *this;
    }

    // `path` outlives the next call.
    DumpLines& Path(const std::u16string& path) {
        if (path.empty()) {
            return *this;
        }
        if (paths_ == DumpPaths::kClear) {
            return Utf8(path);
        }
        if (path.size() > lastObscured_.size()) {
            return Utf8(PathHelper::FuzzyFilePath(path));
        }
        if (!SameUnits(path, lastPath_)) {
            if (NarrowAscii(path, lastObscured_.data()) != path.size()) {
                lastPath_ = {};
                return Utf8(PathHelper::FuzzyFilePath(path));
            }
            PathHelper::FuzzyAsciiPath(std::span(lastObscured_).first(path.size()));
            lastPath_ = path;
        }
        return Text(std::string_view(lastObscured_.data(), path.size()));
    }

    // An old number that is none, as almost every one is, needs no division.
    DumpLines& OldFrn(std::uint64_t frn) { return frn == kNoFrn ? Text("18446744073709551615") : Decimal(frn); }

    DumpLines& Reasons(std::uint32_t reason) {
        for (std::string_view separator; reason != 0; reason &= reason - 1, separator = kSeparator) {
            Text(separator).Text(kReasonFlagNames[static_cast<std::size_t>(std::countr_zero(reason))]);
        }
        return *this;
    }

    DumpLines& Tab() { return Character('\t'); }
    void End() { Character('\n'); }

    void Add(const UsnRecord& record) {
        Decimal(record.usn).Tab().Reasons(record.reason).Tab();
        Decimal(static_cast<std::int32_t>(record.fileAttributes), lastSignedAttributes_).Tab();
        Decimal(record.timestamp, lastTimestamp_).Tab();
        Path(record.filename).Tab().Decimal(record.frn, lastFrn_).Tab();
        OldFrn(static_cast<std::uint64_t>(record.oldfrn)).End();
    }
    void Add(const FileChangeInfo& record) {
        Path(record.fileName).Tab().Path(record.originalFileName).Tab();
        Decimal(record.frn, lastFrn_).Tab().OldFrn(record.oldfrn).Tab();
        Decimal(record.fileAttributes, lastAttributes_).Tab();
        Text(record.isTempFile ? "1" : "0").Tab().Text(ReasonName(record.reason)).Tab();
        Decimal(record.delayCount, lastDelayCount_).Tab().Decimal(record.timestamp, lastTimestamp_).End();
    }

    // How many bytes there are so far.
    std::size_t size() const { return text_.size() + static_cast<std::size_t>(next_ - buffer_.data()); }

    std::string Take() {
        Flush();
        return std::move(text_);
    }

private:
    DumpLines& Character(char character) {
        Reserve(1);
        *next_++ = character;
        return *this;
    }

    // Most paths are ASCII or begin so, which needs no conversion.
    DumpLines& Utf8(std::u16string_view path) {
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
    Repeated<std::int32_t> lastSignedAttributes_;
    Repeated<std::uint32_t> lastAttributes_;
    Repeated<std::uint32_t> lastDelayCount_;
    Repeated<std::int64_t> lastTimestamp_;
    Repeated<std::uint64_t> lastFrn_;
    std::u16string_view lastPath_;  // whose obscured text is at hand
    std::array<char, 1'024> lastObscured_;
    std::array<char, 16'384> buffer_;
    char* next_ = buffer_.data();
};

}  // namespace tavi::records
