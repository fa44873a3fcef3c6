// The conversion and all the steps behind it against the literal rules: any bytes are a batch, over a handful of names,
// numbers and reasons that the rules care about.
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "replay/batch_json.h"
#include "unit/records/pipeline_run.h"

namespace {

using namespace tavi;

constexpr std::u16string_view kNames[] = {
    u"a",        u"b",     u"d",     u"d\\a",        u"d\\e",     u"d\\e\\a",  u"a.txt",        u"x.dwg",
    u"d\\x.dwg", u"a.mlx", u"a.tmp", u"d\\a.tmp",    u"~$a.docx", u"12345678", u"a.igbak",      u"a.bak",
    u"x.bak",    u"x.tmp", u"x.mlx", u"desktop.ini", u"a.db.BAK", u"\xD800",   u"m.crdownload", u"~Nuvexa_a.tmp"};
constexpr std::uint32_t kReasons[] = {
    0x100,      0x500,      0x80000100, 0x1,        0x2,        0x80000002, 0x80000200, 0x80000300, 0x1000,
    0x2000,     0x80002000, 0x1003,     0x3000,     0x2002,     0x8000,     0x80000000, 0x108000,   0x108001,
    0x80108001, 0x100000,   0x80100100, 0x80100102, 0x80100106, 0x80008000, 0x2100,     0x4};
constexpr std::uint32_t kAttributes[] = {0x20, 0x22, 0x10, 0x12};
constexpr std::int64_t kTimes[] = {0, 1, 2, 3, 15, 16, -1, 40};
constexpr std::size_t kMostRecords = 24;  // the literal rules are slow on more

// The input's bytes one by one; zeros when they are used up.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

    bool IsEmpty() const { return rest_.empty(); }

    std::size_t Below(std::size_t bound) {
        if (rest_.empty()) {
            return 0;
        }
        const std::size_t value = rest_.front() % bound;
        rest_ = rest_.subspan(1);
        return value;
    }

    template <typename List>
    auto Pick(const List& list) {
        return list[Below(std::size(list))];
    }

private:
    std::span<const std::uint8_t> rest_;
};

records::UsnRecord MakeUsnRecord(Bytes& bytes, std::int64_t& time) {
    records::UsnRecord record;
    record.reason = bytes.Pick(kReasons);
    record.filename = bytes.Pick(kNames);
    record.frn = bytes.Below(4);
    record.fileAttributes = bytes.Pick(kAttributes);
    time += bytes.Pick(kTimes);
    record.timestamp = time;
    return record;
}

records::FileChangeInfo MakeHeldBack(Bytes& bytes) {
    records::FileChangeInfo record;
    record.fileName = bytes.Pick(kNames);
    record.originalFileName = bytes.Pick(kNames);
    record.reason = static_cast<records::FileChangeReason>(bytes.Below(8));
    record.fileAttributes = bytes.Pick(kAttributes);
    record.isTempFile = bytes.Below(2) != 0;
    record.delayCount = static_cast<std::uint32_t>(bytes.Below(2));
    record.frn = bytes.Below(4);
    return record;
}

replay::Batch MakeBatch(Bytes bytes) {
    replay::Batch batch;
    batch.world.listenPath = u"C:\\Sync";
    for (std::size_t left = bytes.Below(3); left > 0; --left) {
        batch.world.placeholders.emplace(bytes.Pick(kNames));
    }
    for (std::size_t left = bytes.Below(3); left > 0; --left) {
        batch.delay.push_back(MakeHeldBack(bytes));
    }
    std::int64_t time = 1000;
    while (!bytes.IsEmpty() && batch.records.size() < kMostRecords) {
        batch.records.push_back(MakeUsnRecord(bytes, time));
    }
    return batch;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const replay::Batch batch = MakeBatch(Bytes(data, size));
    if (const auto difference = literal::Difference(literal::RunProduct(batch), literal::RunLiteral(batch))) {
        std::fprintf(stderr, "%s\n%s\n", difference->c_str(), replay::FormatBatch(batch).c_str());
        std::abort();
    }
    return 0;
}
