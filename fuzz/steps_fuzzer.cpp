// The conversion and the steps behind it on any batch: they never crash, and every step leaves the list that the
// references leave. The bytes choose names (ready-made ones, because no chance finds "~$a.docx", or free ones of few
// units), then records and held-back records that use them. A difference is printed as a batch for the replay tool.
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "unit/records/steps/pipeline_run.h"

namespace {

using namespace tavi;

class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool IsAtEnd() const { return place_ == size_; }
    std::uint8_t Byte() { return IsAtEnd() ? 0 : data_[place_++]; }
    std::uint32_t Number(int bytes) {
        std::uint32_t value = 0;
        for (int i = 0; i < bytes; ++i) {
            value = value << 8 | Byte();
        }
        return value;
    }
    template <typename List>
    const auto& Pick(const List& list) {
        return list[Byte() % std::size(list)];
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t place_ = 0;
};

const std::u16string kNames[] = {u"a",
                                 u"d",
                                 u"d\\a",
                                 u"d\\e",
                                 u"d\\e\\f",
                                 u"a.docx",
                                 u"x.dwg",
                                 u"a.mlx",
                                 u"m.mlapp",
                                 u"a.tmp",
                                 u"b.TMP",
                                 u"a.bak",
                                 u"b.BAK",
                                 u"a.igbak",
                                 u"~$a.docx",
                                 u"12345678",
                                 u"desktop.ini",
                                 u"\xD800.tmp",
                                 u"~Nuvexa_a.tmp",
                                 u"a.dwg.lck",
                                 u"d.x\\a",
                                 u"a.IGBA\u212A",
                                 u"a.docx.IgBak",
                                 u"q.crdownload"};
const std::uint64_t kNumbers[] = {1, 2, 3, ~std::uint64_t{0}, std::uint64_t{1} << 63};
const std::uint32_t kAttributes[] = {0x20, 0x22, 0x10, 0x12, 0xFFFFFFFF};
const std::uint32_t kReasons[] = {0x100,      0x500,    0x2,        0x80000002, 0x80000200, 0x1000,
                                  0x2000,     0x1003,   0x80000000, 0x8000,     0x108000,   0x108001,
                                  0x80108001, 0x100000, 0x3000,     0x80100100, 0x80100102, 0x80002000};
constexpr std::size_t kLongestFreeName = 12;
constexpr std::size_t kMostRecords = 40;

std::u16string MakeName(Bytes& bytes) {
    const std::uint8_t choice = bytes.Byte();
    if (choice < 192) {
        return kNames[choice % std::size(kNames)];
    }
    std::u16string name;
    for (std::size_t length = choice % (kLongestFreeName + 1); length > 0; --length) {
        name += static_cast<char16_t>(bytes.Number(2));
    }
    return name;
}

std::int64_t NextTime(Bytes& bytes, std::int64_t& time) {
    return time += static_cast<std::int8_t>(bytes.Byte());
}

records::UsnRecord MakeRecord(Bytes& bytes, const std::vector<std::u16string>& names, std::int64_t& time) {
    records::UsnRecord record;
    const std::uint8_t reason = bytes.Byte();
    record.reason = reason < 240 ? kReasons[reason % std::size(kReasons)] : bytes.Number(4);
    record.filename = bytes.Pick(names);
    record.frn = bytes.Pick(kNumbers);
    record.fileAttributes = bytes.Pick(kAttributes);
    record.timestamp = NextTime(bytes, time);
    return record;
}

records::FileChangeInfo MakeHeldBack(Bytes& bytes, const std::vector<std::u16string>& names, std::int64_t& time) {
    records::FileChangeInfo record;
    const std::uint8_t kind = bytes.Byte();
    record.reason = static_cast<records::FileChangeReason>(kind % 10 - 1);
    record.isTempFile = (kind & 0x40) != 0;
    record.delayCount = (kind & 0x80) != 0 ? 1 : 0;
    record.fileName = bytes.Pick(names);
    record.originalFileName = record.reason == records::FileChangeReason::kRename ? bytes.Pick(names) : u"";
    record.frn = bytes.Pick(kNumbers);
    record.fileAttributes = bytes.Pick(kAttributes);
    record.timestamp = NextTime(bytes, time);
    return record;
}

replay::WorldTables MakeWorld(Bytes& bytes, const std::vector<std::u16string>& names) {
    replay::WorldTables world;
    world.listenPath = u"C:\\Sync";
    if (bytes.Byte() % 2 == 0) {
        world.placeholders.insert(bytes.Pick(names));
    }
    for (const std::u16string& directory : {u"d", u"d\\e", u"d\\e\\f"}) {
        std::uint8_t present = bytes.Byte();
        for (const std::u16string& entry : {u"e", u"f", u"a.docx", u"x.tmp", u"m.mlx"}) {
            if (present % 2 == 1) {
                world.tree[directory].push_back({entry, bytes.Pick(kAttributes), bytes.Pick(kNumbers)});
            }
            present = static_cast<std::uint8_t>(present / 2);
        }
    }
    return world;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    std::vector<std::u16string> names;
    for (std::size_t count = 1 + bytes.Byte() % 6; count > 0; --count) {
        names.push_back(MakeName(bytes));
    }
    replay::Batch batch;
    batch.world = MakeWorld(bytes, names);
    std::int64_t time = 1000;
    while (!bytes.IsAtEnd() && batch.records.size() + batch.delay.size() < kMostRecords) {
        if (bytes.Byte() % 2 == 0) {
            batch.records.push_back(MakeRecord(bytes, names, time));
        } else {
            batch.delay.push_back(MakeHeldBack(bytes, names, time));
        }
    }
    if (const auto difference = reference::Difference(reference::RunProduct(batch), reference::RunReference(batch))) {
        std::cerr << replay::FormatBatch(batch) << '\n' << *difference << std::endl;
        std::abort();
    }
    return 0;
}
