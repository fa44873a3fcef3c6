// Decoding reads of the change journal against the bare walk over the record lengths of the same bytes. The records own
// their names; directory look-ups are answered at once, so that only the product's own work is measured.
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "journal/batch_decoder.h"
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

// Stands for the two system calls of a look-up, which leave their answer in a buffer that the processor has just
// written. So the answers come from a few texts that stay in its nearest cache: a table of a text per directory would
// charge the decoder with the waiting for that table's memory.
class ReadyPaths : public journal::ParentPaths {
public:
    ReadyPaths() {
        for (std::size_t i = 0; i < kTexts; ++i) {
            paths_.push_back(u"\\Sync\\Project " + std::u16string(1 + i % 9, u'p') + u"\\Documents " +
                             std::u16string(1 + i % 7, u'd'));
        }
    }
    Validity GetFullPathByFileReferenceNumber(platform::FileReferenceNumber number, const journal::PathMapping*,
                                              std::u16string& path) override {
        path = paths_[(number - kFirstDirectory) % kTexts];
        return Validity::kWholeRead;
    }

private:
    static constexpr std::size_t kTexts = 63;
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

std::size_t Walk(std::span<const std::byte> bytes) {
    std::size_t records = 0;
    for (std::size_t at = 0; at < bytes.size(); ++records) {
        std::uint32_t length = 0;
        std::memcpy(&length, bytes.data() + at, sizeof length);
        at += length;
    }
    return records;
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

    const auto walk = [&] {
        std::size_t records = 0;
        for (const RawRecords& read : reads) {
            records += Walk(read.bytes());
        }
        return records;
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
    table.Measure(
        "walk over the record lengths", [&] { return walk(); }, [&](std::size_t) { return walk(); });
    // What the last result's release has left to the allocator to do is done before the clock starts.
    const auto warm = [&] {
        const std::size_t warmed = decode(false).size();
        return warmed + std::vector<std::byte>(kReadBytes).size();
    };
    table.Measure("decoding, parents known", warm, [&](std::size_t) { return decode(false); });
    table.Measure("decoding, 5000 parents a MiB", warm, [&](std::size_t) {
        decoder.EndRead();
        return decode(true);
    });
    table.AtMost("decoding, parents known", "walk over the record lengths", 14);
    table.AtMost("decoding, 5000 parents a MiB", "walk over the record lengths", 18);
    return table.Run(argc, argv);
}
