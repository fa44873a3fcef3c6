#include "unit/records/steps/random_batches.h"

#include <string>
#include <vector>

namespace tavi::reference {
namespace {

const std::vector<std::u16string> kNames = {u"a",
                                            u"b",
                                            u"d",
                                            u"d\\a",
                                            u"d\\e",
                                            u"d\\e\\a",
                                            u"d.x\\a",
                                            u"d\\e\\f",
                                            u"a.txt",
                                            u"b.docx",
                                            u"x.dwg",
                                            u"d\\x.dwg",
                                            u"a.mlx",
                                            u"d\\a.MLAPP",
                                            u"a.tmp",
                                            u"d\\a.tmp",
                                            u"m.crdownload",
                                            u"~$a.docx",
                                            u"12345678",
                                            u"desktop.ini",
                                            u"~Nuvexa_a.tmp",
                                            u"~Nuvexa_x.dwg.tmp",
                                            u"A.DWG.BAK",
                                            u"\xD800.tmp",
                                            u"\xDC00",
                                            u"a.",
                                            u".",
                                            u"",
                                            u"d\\",
                                            u"\\a"};
// Names that differ in the suffix only: what the passes of the temporary rename resolution look at.
const std::vector<std::u16string> kSuffixes = {u"",       u".tmp",        u".TMP", u".bak",  u".BaK",   u".igbak",
                                               u".IgBak", u".igba\u212A", u".mlx", u".docx", u".x.bak", u".x.tmp"};
const std::vector<std::uint64_t> kNumbers = {
    1, 2, 3, ~std::uint64_t{0}, ~std::uint64_t{0} - 1, (std::uint64_t{1} << 63) + 1};
const std::vector<std::uint32_t> kAttributes = {0x20, 0x20, 0x20, 0x22, 0x10, 0x12, 0xFFFFFFFF};
const std::vector<std::uint32_t> kJournalReasons = {
    0x100,      0x500,      0x80000100, 0x1,        0x2,        0x3,    0x80000002, 0x80000200, 0x80000300, 0x1000,
    0x2000,     0x80001000, 0x80002000, 0x1003,     0x3000,     0x2002, 0x8000,     0x80000000, 0x108000,   0x108001,
    0x80108001, 0x100000,   0x80100100, 0x80100102, 0x80100106, 0x200,  0x80008000, 0x2100,     0x80002002, 0x4};
const std::vector<std::int32_t> kKinds = {1, 2, 3, 5, 6, 7, 1, 2, 3, 5, 6, 7, 4, -1, 0, 8};
const std::vector<std::int64_t> kTimeSteps = {0, 0, 1, 2, 3, 15, 16, 20, -1, -16, std::int64_t{1} << 40};

}  // namespace

template <typename Value, typename List>
std::vector<Value> RandomBatches::Some(const List& pool, std::size_t atMost) {
    std::vector<Value> values;
    const std::size_t count = 1 + Below(atMost);
    for (std::size_t i = 0; i < count; ++i) {
        values.push_back(Pick(pool));
    }
    return values;
}

RandomBatches::Alphabet RandomBatches::MakeAlphabet() {
    Alphabet alphabet;
    if (OneIn(2)) {
        const std::u16string base = Pick(std::vector<std::u16string>{u"a", u"d\\b", u"d.x\\c", u"~"});
        for (const std::u16string& suffix : Some<std::u16string>(kSuffixes, 4)) {
            alphabet.names.push_back(base + suffix);
        }
    }
    for (std::u16string& name : Some<std::u16string>(kNames, 3)) {
        alphabet.names.push_back(std::move(name));
    }
    alphabet.numbers = Some<std::uint64_t>(kNumbers, 3);
    alphabet.attributes = Some<std::uint32_t>(kAttributes, 3);
    alphabet.journalReasons = Some<std::uint32_t>(kJournalReasons, 8);
    alphabet.kinds = Some<std::int32_t>(kKinds, 6);
    return alphabet;
}

void RandomBatches::AdvanceTime() {
    time_ += Pick(kTimeSteps);
}

records::UsnRecord RandomBatches::MakeUsnRecord(const Alphabet& alphabet) {
    AdvanceTime();
    records::UsnRecord record;
    record.usn = time_ * 8;
    record.reason = Pick(alphabet.journalReasons);
    record.fileAttributes = Pick(alphabet.attributes);
    record.timestamp = time_;
    record.filename = Pick(alphabet.names);
    record.frn = Pick(alphabet.numbers);
    record.oldfrn = OneIn(4) ? 5 : -1;
    return record;
}

records::FileChangeInfo RandomBatches::MakeHeldBack(const Alphabet& alphabet) {
    AdvanceTime();
    records::FileChangeInfo record;
    record.fileName = Pick(alphabet.names);
    record.reason = static_cast<records::FileChangeReason>(Pick(alphabet.kinds));
    if (record.reason == records::FileChangeReason::kRename || OneIn(8)) {
        record.originalFileName = OneIn(10) ? std::u16string() : Pick(alphabet.names);
    }
    record.fileAttributes = Pick(alphabet.attributes);
    record.isTempFile = OneIn(4);
    record.delayCount = OneIn(6) ? 1 : 0;
    record.timestamp = time_;
    record.frn = Pick(alphabet.numbers);
    record.oldfrn = OneIn(6) ? 9 : records::kNoFrn;
    return record;
}

// What a placeholder's release, or its filling through a temporary file, leaves in the journal; now and then cut short.
void RandomBatches::AppendTrace(const Alphabet& alphabet, records::UsnRecordList& list) {
    const std::vector<std::uint32_t> release = {0x80000000, 0x8000, 0x108000, 0x108001, 0x80108001};
    const std::vector<std::uint32_t> filling = {0x100000, 0x100, 0x2, 0x80000002, 0x1, 0x1000, 0x2000, 0x80000200};
    const bool isRelease = OneIn(2);
    const std::vector<std::uint32_t>& reasons = isRelease ? release : filling;
    const std::size_t count = OneIn(4) ? reasons.size() - 1 : reasons.size();
    for (std::size_t i = 0; i < count; ++i) {
        list.push_back(MakeUsnRecord(alphabet));
        list.back().reason = reasons[i];
        if (!isRelease && i == 7 && !OneIn(4)) {
            const std::u16string& first = list[list.size() - 8].filename;
            list.back().filename = u"d\\~Nuvexa_" + first.substr(first.rfind(u'\\') + 1) + u".tmp";
        }
    }
}

// A hidden file renamed into place and made visible, or nearly so.
void RandomBatches::AppendUnhiding(const Alphabet& alphabet, records::UsnRecordList& list) {
    const std::u16string name = Pick(alphabet.names);
    for (const std::uint32_t reason : {std::uint32_t{0x2000}, Pick(alphabet.journalReasons), std::uint32_t{0x8000}}) {
        list.push_back(MakeUsnRecord(alphabet));
        list.back().reason = reason;
        list.back().filename = OneIn(8) ? Pick(alphabet.names) : name;
    }
    list[list.size() - 3].fileAttributes = 0x22;
    list.back().fileAttributes = OneIn(8) ? 0x22 : 0x20;
}

// A save through a temporary name: renamed away, created anew; with the save that keeps the old version as a neighbour.
void RandomBatches::AppendSave(const Alphabet& alphabet, records::FileChangeInfoList& list) {
    const std::u16string name = Pick(std::vector<std::u16string>{u"a.mlx", u"d\\a.MLAPP", Pick(alphabet.names)});
    const auto append = [&](records::FileChangeReason kind, const std::u16string& fileName) {
        list.push_back(MakeHeldBack(alphabet));
        list.back().reason = kind;
        list.back().fileName = fileName;
    };
    append(records::FileChangeReason::kRename, OneIn(3) ? Pick(alphabet.names) : u"a.tmp");
    list.back().originalFileName = name;
    list.back().isTempFile = true;
    while (OneIn(2)) {
        list.push_back(MakeHeldBack(alphabet));
    }
    append(records::FileChangeReason::kCreate, name);
}

// A directory that arrives from outside, then directories inside it, as when each is renamed after the move.
void RandomBatches::AppendMovedIn(const Alphabet& alphabet, records::UsnRecordList& list) {
    for (const std::u16string name : {u"d", u"d\\e", u"d\\e\\f", u"d\\a"}) {
        if (!OneIn(3)) {
            list.push_back(MakeUsnRecord(alphabet));
            list.back().reason = 0x2000;
            list.back().filename = name;
            list.back().fileAttributes = 0x10;
        }
    }
}

replay::WorldTables RandomBatches::MakeWorld(const Alphabet& alphabet) {
    const std::vector<std::u16string> entryNames = {u"e", u"f", u"a", u"x.tmp", u"\xD800", u"m.mlx"};
    replay::WorldTables world;
    world.listenPath = Pick(std::vector<std::u16string>{u"C:\\Sync", u"E:", u"D:\\My Sync\\folder.x", u""});
    if (OneIn(2)) {
        world.placeholders.insert(Pick(alphabet.names));
    }
    std::vector<std::u16string> directories = {u"d", u"d\\e", u"d\\e\\f", Pick(alphabet.names)};
    for (const std::u16string& directory : directories) {
        if (directory.ends_with(u'\\') || OneIn(3)) {
            continue;  // one directory has one name
        }
        std::vector<replay::TableEntry>& entries = world.tree[directory];
        if (!entries.empty()) {
            continue;
        }
        for (const std::u16string& name : entryNames) {  // each at most once, as in a directory
            if (OneIn(2)) {
                entries.push_back({name, Pick(kAttributes), OneIn(5) ? 0 : Pick(alphabet.numbers)});
            }
        }
    }
    return world;
}

replay::Batch RandomBatches::Next() {
    time_ = 1000;
    const Alphabet alphabet = MakeAlphabet();
    replay::Batch batch;
    const std::size_t heldBack = OneIn(3) ? 0 : Below(14);
    for (std::size_t i = 0; i < heldBack; ++i) {
        if (OneIn(24)) {
            AppendSave(alphabet, batch.delay);
        } else {
            batch.delay.push_back(MakeHeldBack(alphabet));
        }
    }
    const std::size_t read = OneIn(3) ? 0 : Below(14);
    for (std::size_t i = 0; i < read; ++i) {
        if (OneIn(24)) {
            AppendTrace(alphabet, batch.records);
        } else if (OneIn(24)) {
            AppendUnhiding(alphabet, batch.records);
        } else if (OneIn(24)) {
            AppendMovedIn(alphabet, batch.records);
        } else {
            batch.records.push_back(MakeUsnRecord(alphabet));
        }
    }
    batch.world = MakeWorld(alphabet);
    return batch;
}

}  // namespace tavi::reference
