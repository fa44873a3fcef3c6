// What a read of the change journal returns, as any bytes: decoding ends, reads nothing outside them, and gives records
// that could be in the folder, whatever parents and names the records build up in the path mapping.
#include <cstdlib>
#include <span>
#include <vector>

#include "journal/batch_decoder.h"
#include "platform/constants.h"
#include "sim/machine.h"

namespace {

using namespace tavi;

constexpr std::uint64_t kRoot = 5;
constexpr std::uint64_t kSync = 6;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// The root and the folder can be opened; of the other small numbers one in three; the rest is gone.
class SmallVolume : public journal::ParentPaths {
public:
    Validity GetFullPathByFileReferenceNumber(platform::FileReferenceNumber number, const journal::PathMapping* mapping,
                                              std::u16string& path) override {
        if (number == kRoot) {
            path = u"\\";
        } else if (number == kSync) {
            path = u"\\Sync";
        } else if (number < 64 && number % 3 == 0) {
            path = number % 2 == 0 ? u"\\Sync\\Docs" : u"\\$RECYCLE.BIN\\S-1-5-21";
        } else {
            path = number % 7 == 0 ? std::u16string() : mapping->BuildPathFromMapping(number);
            return Validity::kThisRecord;
        }
        return Validity::kWholeRead;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static sim::Machine machine;
    static platform::Platform platform = machine.platform();
    static db::SqLite3Operator database(platform);
    journal::PathMapping mapping(database, u"C:\\Sync");
    journal::BatchDecoder decoder(u"C:\\Sync", platform.clock);
    SmallVolume volume;
    const std::span<const std::byte> bytes = std::as_bytes(std::span(data, size));
    const journal::BatchDecoder::Result first = decoder.Decode(bytes, volume, &mapping);
    Require(first.records.size() * sizeof(platform::UsnRecordV2) <= size);
    for (const records::UsnRecord& record : first.records) {
        Require(record.oldfrn == -1);
        Require(record.filename.size() <= journal::kLongestPathUnits + platform::kMaxPath);
        Require(mapping.BuildPathFromMapping(record.frn).size() <= journal::kLongestPathUnits);
    }
    decoder.EndRead();
    // The same bytes once more, on what the first time has left in the mapping: as many malformed records.
    Require(decoder.Decode(bytes, volume, &mapping).malformed == first.malformed);
    return 0;
}
