// The journal's decoding as plainly as it can be said, for comparison with the real one: every record resolves its
// parent anew, every table is a std::map, every path a string that is built and thrown away. It shares nothing with the
// product but the conversion of a time stamp, which has a test of its own.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "journal/timestamp_converter.h"
#include "records/model/change_record.h"
#include "unit/journal/raw_records.h"

namespace tavi::journal::testing {

// The directories that the file system has at the instant of a read.
struct PlainVolume {
    std::map<std::uint64_t, std::u16string> paths;  // by number; what is not here is gone
    std::set<std::uint64_t> held;                   // by somebody who does not share their deletion
    std::set<std::uint64_t> nameless;               // those whose name query fails
};

class PlainDecoder {
public:
    struct Row {
        std::uint64_t parent = 0;
        std::u16string name;
        friend bool operator==(const Row&, const Row&) = default;
    };
    using Rows = std::map<std::uint64_t, Row>;

    PlainDecoder(std::u16string listenPath, platform::Clock& clock)
        : listenPath_(std::move(listenPath)), clock_(clock) {}

    records::UsnRecordList Read(const std::vector<RawRecord>& read, const PlainVolume& volume) {
        records::UsnRecordList batch;
        for (const RawRecord& record : read) {
            if (record.name.size() < 260) {
                ReadRecord(record, volume, batch);
            }
        }
        for (const auto& [number, row] : pending_) {
            stored[number] = row;
        }
        pending_.clear();
        return batch;
    }

    std::u16string Rebuild(std::uint64_t number) const {
        if (!learned_) {
            return {};
        }
        std::u16string path;
        std::set<std::uint64_t> met;
        while (number != folderNumber_) {
            const auto row = known_.find(number);
            if (row == known_.end() || !met.insert(number).second) {
                return {};
            }
            path = u"\\" + row->second.name + path;
            number = row->second.parent;
        }
        path = FolderWithoutDrive() + path;
        return path.size() > 32'767 ? std::u16string() : path;
    }

    Rows stored;
    int failedNameQueries = 0;

private:
    static bool IsDirectory(const RawRecord& record) { return (record.attributes & 0x10) != 0; }
    std::u16string FolderWithoutDrive() const { return listenPath_.substr(listenPath_.find(u':') + 1); }

    void ReadRecord(const RawRecord& record, const PlainVolume& volume, records::UsnRecordList& batch) {
        const std::u16string parent = Resolve(record.parentFrn, volume);
        if (IsDirectory(record) && known_.contains(record.frn) && parent.find(u"$RECYCLE.BIN") != parent.npos) {
            Update(record, parent);
        }
        std::u16string full = listenPath_.substr(0, listenPath_.find(u':') + 1) + parent;
        const std::u16string prefix = full.substr(0, full.find(u'\\', listenPath_.size()));
        if (parent.empty() || prefix != listenPath_) {
            return;
        }
        full += full.ends_with(u'\\') ? u"" : u"\\";
        full += record.name;
        batch.push_back({record.usn, record.reason, record.attributes,
                         TimestampConverter(clock_).ConvertByCalls(record.time), full.substr(listenPath_.size() + 1),
                         record.frn, -1});
        Update(record, parent);
    }

    std::u16string Resolve(std::uint64_t number, const PlainVolume& volume) {
        const auto there = volume.paths.find(number);
        const bool isThere = there != volume.paths.end();
        const bool opened = isThere && !volume.held.contains(number);
        if (opened && !volume.nameless.contains(number)) {
            return there->second;
        }
        failedNameQueries += opened ? 1 : 0;
        if (const std::u16string rebuilt = Rebuild(number); !rebuilt.empty() || opened) {
            return rebuilt;
        }
        if (isThere && volume.nameless.contains(number)) {
            ++failedNameQueries;
            return {};
        }
        return isThere ? there->second : std::u16string();
    }

    void Update(const RawRecord& record, std::u16string parent) {
        const std::u16string folder = FolderWithoutDrive();
        while (parent.ends_with(u'\\')) {
            parent.pop_back();
        }
        if (!learned_ && parent == folder) {
            learned_ = true;
            folderNumber_ = record.parentFrn;
        }
        const Row row{record.parentFrn, record.name};
        if (IsDirectory(record) && (!known_.contains(record.frn) || known_[record.frn] != row)) {
            known_[record.frn] = row;
            pending_[record.frn] = row;
        }
    }

    std::u16string listenPath_;
    platform::Clock& clock_;
    Rows known_;
    Rows pending_;
    bool learned_ = false;
    std::uint64_t folderNumber_ = 0;
};

}  // namespace tavi::journal::testing
