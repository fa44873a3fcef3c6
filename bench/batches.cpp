#include "batches.h"

#include <utility>

namespace tavi::bench {
namespace {

using namespace records;

constexpr std::uint32_t kFile = 0x20;
constexpr std::uint32_t kHiddenFile = 0x22;

// Writes the journal of one file's little story after the other.
class Journal {
public:
    void Add(std::uint32_t reason, std::u16string name, std::uint64_t frn, std::uint32_t attributes = kFile) {
        UsnRecord record;
        record.usn = static_cast<std::int64_t>(records.size()) * 96;
        record.reason = reason;
        record.fileAttributes = attributes;
        record.timestamp = static_cast<std::int64_t>(records.size());
        record.filename = std::move(name);
        record.frn = frn;
        records.push_back(std::move(record));
    }

    void Save(const std::u16string& name, std::uint64_t frn) {
        Add(0x2, name, frn);
        Add(0x3, name, frn);
        Add(0x80000003, name, frn);
    }

    void Create(const std::u16string& name, std::uint64_t frn, std::uint32_t attributes = kFile) {
        Add(0x100, name, frn, attributes);
        Add(0x102, name, frn, attributes);
        Add(0x80000102, name, frn, attributes);
    }

    void Rename(const std::u16string& from, const std::u16string& to, std::uint64_t frn,
                std::uint32_t attributes = kFile) {
        Add(0x1000, from, frn, attributes);
        Add(0x2000, to, frn, attributes);
        Add(0x80002000, to, frn, attributes);
    }

    void Delete(const std::u16string& name, std::uint64_t frn) { Add(0x80000200, name, frn); }

    UsnRecordList records;
};

void Story(Journal& journal, std::size_t number) {
    const std::string digits = std::to_string(number);
    const std::u16string n(digits.begin(), digits.end());
    const std::u16string folder = u"projects\\client " + std::u16string(1, static_cast<char16_t>(u'a' + number % 26));
    const std::uint64_t frn = 1'000'000 + number * 4;
    switch (number % 6) {
        case 0:
            journal.Save(folder + u"\\notes " + n + u".txt", frn);
            break;
        case 1: {  // an office save: written anew, the old one parked and removed
            const std::u16string document = folder + u"\\report " + n + u".docx";
            const std::u16string written =
                folder + u"\\" + std::u16string(8 - std::min<std::size_t>(8, n.size()), u'a') + n + u".tmp";
            const std::u16string parked = folder + u"\\~WRL" + n + u".tmp";
            journal.Create(folder + u"\\~$report " + n + u".docx", frn + 1, kHiddenFile);
            journal.Create(written, frn + 2);
            journal.Rename(document, parked, frn);
            journal.Rename(written, document, frn + 2);
            journal.Delete(parked, frn);
            journal.Delete(folder + u"\\~$report " + n + u".docx", frn + 1);
            break;
        }
        case 2:
            journal.Create(folder + u"\\setup " + n + u".exe.crdownload", frn);
            journal.Save(folder + u"\\setup " + n + u".exe.crdownload", frn);
            journal.Rename(folder + u"\\setup " + n + u".exe.crdownload", folder + u"\\setup " + n + u".exe", frn);
            break;
        case 3:
            journal.Rename(folder + u"\\plan " + n + u".dwg", u"archive\\plan " + n + u".dwg", frn);
            break;
        case 4:
            journal.Delete(folder + u"\\photo " + n + u".jpg", frn);
            journal.Create(folder + u"\\photo " + n + u".jpg", frn + 1);
            break;
        default: {
            const std::u16string arrived = folder + u"\\picture " + n + u".png";
            journal.Rename(arrived + u".tmp", arrived, frn, kHiddenFile);
            journal.Add(0x8000, arrived, frn);
            journal.Add(0x80008000, arrived, frn);
        }
    }
}

}  // namespace

UsnRecordList OrdinaryBatch(std::size_t count) {
    Journal journal;
    for (std::size_t number = 0; journal.records.size() < count; ++number) {
        Story(journal, number);
    }
    journal.records.resize(count);
    return std::move(journal.records);
}

std::unordered_map<std::u16string, std::size_t> InsertNames(const std::vector<std::u16string>& names) {
    std::unordered_map<std::u16string, std::size_t> map;
    for (std::size_t index = 0; index < names.size(); ++index) {
        map[names[index]] = index;
    }
    return map;
}

PipelineBatch BeforeStep(std::size_t step, UsnRecordList batch, const TemporaryFileRules& rules) {
    OwnedContext owned(rules);
    PipelineBatch result{std::move(batch), {}};
    for (std::size_t before = 0; before < step; ++before) {
        kPipeline[before].run(result, owned.context);
    }
    return result;
}

}  // namespace tavi::bench
