// Decoding reads of the change journal against what any decoder must do: walk the same bytes and build, for each
// record, the owning record with folder and name, its parent known. Directory look-ups are answered at once, so that
// only the product's own work is measured.
#include <array>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "journal/batch_decoder.h"
#include "platform/constants.h"
#include "ratio_table.h"
#include "sim/machine.h"
#include "unit/journal/raw_records.h"

namespace {

using namespace tavi;
using journal::BatchDecoder;
using journal::testing::RawRecords;

constexpr std::size_t kReadBytes = 1 << 20;
constexpr std::size_t kReads = 8;
constexpr std::size_t kDirectories = 5000;
constexpr std::uint64_t kFirstDirectory = 1000;
constexpr std::size_t kAverageRecord = 98;  // bytes, rounded down, of the records below

constexpr std::size_t kTexts = 63;  // folders' paths that differ
constexpr const char* kFloor = "building the records, nothing else";

// A directory's path, of a length that differs from one to the next.
std::u16string PathOf(std::size_t directory) {
    return u"\\Sync\\Project " + std::u16string(1 + directory % 9, u'p') + u"\\Documents " +
           std::u16string(1 + directory % 7, u'd');
}

// Stands for the two system calls of a look-up, which leave their answer in a buffer that the processor has just
// written. So the answers come from a few texts that stay in its nearest cache: a table of a text per directory would
// charge the decoder with the waiting for that table's memory.
class ReadyPaths : public journal::ParentPaths {
public:
    ReadyPaths() {
        for (std::size_t i = 0; i < kTexts; ++i) {
            paths_.push_back(PathOf(i));
        }
    }
    Validity GetFullPathByFileReferenceNumber(platform::FileReferenceNumber number, const journal::PathMapping*,
                                              std::u16string& path) override {
        path = paths_[(number - kFirstDirectory) % kTexts];
        return Validity::kWholeRead;
    }

private:
    std::vector<std::u16string> paths_;
};

// One read's worth of ordinary records: nine files to one directory, which stays where it is, spread over all
// directories.
RawRecords MakeRead(std::mt19937& random) {
    constexpr std::size_t kLongestRecord = 128;
    RawRecords raw;
    while (raw.bytes().size() + kLongestRecord < kReadBytes) {
        const std::size_t directory = random() % kDirectories;
        const bool isDirectory = random() % 10 == 0;
        raw.Add({.frn = isDirectory ? kFirstDirectory + directory : random(),
                 .parentFrn = kFirstDirectory + (isDirectory ? directory / 10 : random() % kDirectories),
                 .usn = static_cast<std::int64_t>(raw.bytes().size()),
                 .attributes = isDirectory ? 0x10U : 0x20U,
                 .name = std::u16string(6 + directory % 18, u'n') + u".docx"});
    }
    return raw;
}

// The floor. Every folder's text lies ready in a table that the parent's number is a place in, the times are only
// divided, and nothing is checked.
records::UsnRecordList BuildRecords(std::span<const std::byte> bytes, const std::vector<std::u16string>& folders) {
    records::UsnRecordList batch;
    batch.reserve(bytes.size() / kAverageRecord);
    platform::UsnRecordV2 header;
    std::array<char16_t, platform::kMaxPath> name;
    for (const std::byte* at = bytes.data(); at != bytes.data() + bytes.size(); at += header.recordLength) {
        std::memcpy(&header, at, sizeof header);
        const std::u16string& folder = folders[header.parentFileReferenceNumber - kFirstDirectory];
        const std::size_t nameUnits = header.fileNameLength / sizeof(char16_t);
        records::UsnRecord& record = batch.emplace_back();
        record.usn = header.usn;
        record.reason = header.reason;
        record.fileAttributes = header.fileAttributes;
        record.timestamp = static_cast<std::int64_t>(header.timeStamp / 10'000);
        std::memcpy(name.data(), at + header.fileNameOffset, header.fileNameLength);
        record.filename = records::SharedText(folder, {name.data(), nameUnits});
        record.frn = header.fileReferenceNumber;
        record.oldfrn = -1;
    }
    return batch;
}

}  // namespace

int main(int argc, char** argv) {
    std::mt19937 random(1);
    std::vector<RawRecords> reads;
    for (std::size_t i = 0; i < kReads; ++i) {
        reads.push_back(MakeRead(random));
    }
    sim::Machine machine;
    platform::Platform platform = machine.platform();
    db::SqLite3Operator database(platform);
    journal::PathMapping mapping(database, u"C:\\Sync");
    mapping.LearnSyncFolder(5, u"\\Sync");
    ReadyPaths source;
    BatchDecoder decoder(u"C:\\Sync", platform.clock);

    std::vector<std::u16string> folders;
    for (std::size_t directory = 0; directory < kDirectories; ++directory) {
        folders.push_back(PathOf(directory % kTexts).substr(std::u16string_view(u"\\Sync\\").size()) + u'\\');
    }
    const auto build = [&] {
        std::vector<records::UsnRecordList> batches;
        for (const RawRecords& read : reads) {
            batches.push_back(BuildRecords(read.bytes(), folders));
        }
        return batches;
    };
    const auto decode = [&](bool forget) {
        std::vector<records::UsnRecordList> batches;
        for (const RawRecords& read : reads) {
            batches.push_back(decoder.Decode(read.bytes(), source, &mapping).records);
            if (forget) {
                decoder.EndRead();
            }
        }
        return batches;
    };
    decode(false);

    bench::RatioTable table;
    // What the last result's release has left to the allocator to do is done before the clock starts.
    const auto warm = [&] {
        const std::size_t warmed = decode(false).size();
        return warmed + std::vector<std::byte>(kReadBytes).size();
    };
    table.Measure(kFloor, warm, [&](std::size_t) { return build(); });
    table.Measure("decoding, parents known", warm, [&](std::size_t) { return decode(false); });
    table.Measure("decoding, 5000 parents a MiB", warm, [&](std::size_t) {
        decoder.EndRead();
        return decode(true);
    });
    table.AtMost("decoding, parents known", kFloor, 1.5);
    table.AtMost("decoding, 5000 parents a MiB", kFloor, 2);
    return table.Run(argc, argv);
}
