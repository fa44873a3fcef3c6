#include "records/dumps/batch_dumps.h"

#include <algorithm>
#include <array>

#include "records/dumps/dump_lines.h"
#include "records/model/same_units.h"

namespace tavi::records {
namespace {

// How far from its place a line is looked for. Steps remove and insert few records at one place; where one does more,
// lines are written again until the lists meet.
constexpr std::size_t kLookBack = 4;
constexpr std::size_t kLookAhead = 8;

std::array<std::u16string_view, 1> NamesOf(const UsnRecord& record) {
    return {record.filename};
}

std::array<std::u16string_view, 2> NamesOf(const FileChangeInfo& record) {
    return {record.fileName, record.originalFileName};
}

std::string_view HeaderFor(const UsnRecordList&) {
    return kUsnRecordHeader;
}

template <typename Changes>
std::string_view HeaderFor(const Changes&) {
    return kChangeHeader;
}

}  // namespace

BatchDumps::UsnFields::UsnFields(const UsnRecord& record)
    : usn(record.usn),
      frn(record.frn),
      timestamp(record.timestamp),
      oldfrn(record.oldfrn),
      reason(record.reason),
      fileAttributes(record.fileAttributes),
      nameUnits(record.filename.size()) {}

BatchDumps::ChangeFields::ChangeFields(const FileChangeInfo& record)
    : frn(record.frn),
      timestamp(record.timestamp),
      oldfrn(record.oldfrn),
      fileAttributes(record.fileAttributes),
      delayCount(record.delayCount),
      reason(record.reason),
      isTempFile(record.isTempFile),
      nameUnits(record.fileName.size()),
      originalNameUnits(record.originalFileName.size()) {}

template <typename Fields>
template <typename Record>
bool BatchDumps::LastDump<Fields>::Says(std::size_t line, const Record& record) const {
    if (lines_[line].fields != Fields(record)) {
        return false;
    }
    std::size_t begin = lines_[line].namesBegin;
    for (const std::u16string_view name : NamesOf(record)) {
        if (!SameUnits(name, std::u16string_view(names_.data() + begin, name.size()))) {
            return false;
        }
        begin += name.size();
    }
    return true;
}

template <typename Fields>
template <typename Record>
std::size_t BatchDumps::LastDump<Fields>::Find(std::size_t expected, const Record& record) const {
    if (expected < lines_.size() && Says(expected, record)) {
        return expected;
    }
    const std::size_t end = std::min(lines_.size(), expected + kLookAhead);
    for (std::size_t line = expected - std::min(expected, kLookBack); line < end; ++line) {
        if (Says(line, record)) {
            return line;
        }
    }
    return lines_.size();
}

template <typename Fields>
std::string_view BatchDumps::LastDump<Fields>::TextOf(std::size_t line) const {
    const std::size_t begin = lines_[line].textBegin;
    const std::size_t end = line + 1 < lines_.size() ? lines_[line + 1].textBegin : text_.size();
    return std::string_view(text_).substr(begin, end - begin);
}

template <typename Fields>
template <typename Records>
const std::string& BatchDumps::LastDump<Fields>::Format(const Records& records) {
    std::size_t same = 0;
    while (same < records.size() && same < lines_.size() && Says(same, records[same])) {
        ++same;
    }
    if (same == records.size() && same == lines_.size()) {
        return text_;
    }
    LastDump next;
    next.lines_.reserve(records.size());
    std::size_t units = 0;
    for (const auto& record : records) {
        for (const std::u16string_view name : NamesOf(record)) {
            units += name.size();
        }
    }
    next.names_.reserve(units);
    DumpLines text(records.empty() ? std::string_view() : HeaderFor(records), DumpPaths::kObscured, records.size());
    std::size_t expected = 0;
    for (const auto& record : records) {
        next.lines_.push_back({Fields(record), next.names_.size(), text.size()});
        for (const std::u16string_view name : NamesOf(record)) {
            next.names_ += name;
        }
        const std::size_t line = next.lines_.size() <= same ? next.lines_.size() - 1 : Find(expected, record);
        if (line < lines_.size()) {
            text.Text(TextOf(line));
            expected = line + 1;
        } else {
            text.Add(record);
            ++expected;
        }
    }
    next.text_ = text.Take();
    *this = std::move(next);
    return text_;
}

template const std::string& BatchDumps::LastDump<BatchDumps::UsnFields>::Format(const UsnRecordList&);
template const std::string& BatchDumps::LastDump<BatchDumps::ChangeFields>::Format(const StepRecordList&);
template const std::string& BatchDumps::LastDump<BatchDumps::ChangeFields>::Format(const FileChangeInfoList&);

}  // namespace tavi::records
