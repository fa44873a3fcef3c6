#include "lives/truth.h"

#include <algorithm>
#include <iterator>

namespace tavi::lives {

namespace {

constexpr std::int64_t kTicksPerMillisecond = 10000;
constexpr std::int64_t kMillisecondsFrom1601To1970 = 11644473600000;

std::u16string WithoutDrive(std::u16string_view folder) {
    return std::u16string(folder.substr(folder.find(u'\\')));
}

}  // namespace

void Truth::Pull() {
    std::vector<sim::JournalEntry> entries;
    volume_.WithJournal([&](sim::EmulatedJournal& journal) {
        entries = journal.EntriesFrom(std::max(next_, journal.firstUsn()));
        next_ = journal.nextUsn();
    });
    for (sim::JournalEntry& entry : entries) {
        std::u16string& directory = directories_[entry.parentFrn];
        if (std::u16string now = volume_.PathOf(entry.parentFrn); !now.empty()) {
            directory = std::move(now);
        }
        records_.push_back({entry.usn, entry.frn, directory, std::move(entry.name),
                            static_cast<std::int64_t>(entry.time) / kTicksPerMillisecond - kMillisecondsFrom1601To1970,
                            entry.reason, entry.attributes});
    }
}

void Truth::JournalReplaced() {
    next_ = volume_.WithJournal([](sim::EmulatedJournal& journal) { return journal.firstUsn(); });
    journalFrom_ = records_.size();
}

bool Truth::IsInside(const TrueRecord& record, std::u16string_view folder) {
    const std::u16string path = WithoutDrive(folder);
    return record.directory == path || record.directory.starts_with(path + u"\\");
}

std::u16string Truth::RelativePath(const TrueRecord& record, std::u16string_view folder) {
    const std::u16string path = WithoutDrive(folder);
    std::u16string relative = record.directory == path ? u"" : record.directory.substr(path.size() + 1) + u"\\";
    return relative + record.name;
}

void Truth::Forget() {
    records_.clear();
    directories_.clear();
    journalFrom_ = 0;
}

std::vector<std::int64_t> Truth::Inside(std::u16string_view folder, std::int64_t usn) const {
    std::vector<std::int64_t> positions;
    for (const TrueRecord& record : RecordsInside(folder, usn)) {
        positions.push_back(record.usn);
    }
    return positions;
}

std::vector<TrueRecord> Truth::RecordsInside(std::u16string_view folder, std::int64_t usn) const {
    std::vector<TrueRecord> inside;
    std::copy_if(records_.begin() + static_cast<std::ptrdiff_t>(journalFrom_), records_.end(),
                 std::back_inserter(inside),
                 [&](const TrueRecord& record) { return record.usn >= usn && IsInside(record, folder); });
    return inside;
}

FolderState StateOf(const sim::NtfsVolume& volume, std::u16string_view folder) {
    FolderState state;
    const std::size_t prefix = WithoutDrive(folder).size() + 1;
    for (const std::u16string& path : volume.ListTree(folder)) {
        if (const auto info = volume.Info(path)) {
            state[path.substr(prefix)] = {info->frn, info->contents, info->placeholder, info->IsDirectory()};
        }
    }
    return state;
}

}  // namespace tavi::lives
