// The real decoding of reads against the plain one, over random lives of several reads each. In a life directories are
// made, renamed, moved, recycled and removed within a read, some are held by somebody for a while, name queries fail,
// and now and then a record says what no file system would: a loop, a parent 0, a directory in itself.
#include "unit/journal/plain_decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>

#include "unit/journal/journal_rig.h"
#include "unit/journal/raw_records.h"

namespace tavi::journal {
namespace {

using testing::PlainDecoder;
using testing::PlainVolume;
using testing::RawRecord;
using testing::RawRecords;

constexpr std::uint64_t kRoot = 5;
constexpr std::uint64_t kSync = 500;
constexpr std::uint64_t kSibling = 501;  // "Sync2"
constexpr std::uint64_t kOther = 502;
constexpr std::uint64_t kBin = 503;
constexpr std::uint64_t kFirstDirectory = 1000;

// Answers what the seam is asked about directories from the plain volume.
class PlainFiles : public test::ForwardingFiles, public test::ForwardingNativeCalls {
public:
    explicit PlainFiles(testing::SpyFiles& files) : ForwardingFiles(files), ForwardingNativeCalls(files) {}

    std::int32_t NtCreateFile(platform::ProcAddress, const platform::NtOpenById& request,
                              platform::Handle& opened) override {
        const std::uint64_t number = request.fileReferenceNumber;
        const bool asksForAll = request.desiredAccess == platform::kGenericAll;
        if (!volume.paths.contains(number) || (asksForAll && volume.held.contains(number))) {
            return static_cast<std::int32_t>(0xC0000043);
        }
        opened = platform::Handle{kFirstHandle + number};
        ++open;
        return platform::kStatusSuccess;
    }
    std::int32_t NtQueryInformationFile(platform::ProcAddress, platform::Handle handle, std::span<std::byte> buffer,
                                        std::uint32_t) override {
        const std::uint64_t number = static_cast<std::uint64_t>(handle) - kFirstHandle;
        if (volume.nameless.contains(number)) {
            return static_cast<std::int32_t>(0xC0000001);
        }
        const std::u16string& path = volume.paths.at(number);
        std::memcpy(buffer.data() + 4, path.data(), path.size() * sizeof(char16_t));
        return platform::kStatusSuccess;
    }
    bool CloseHandle(platform::Handle handle) override {
        if (static_cast<std::uint64_t>(handle) < kFirstHandle) {
            return ForwardingFiles::CloseHandle(handle);
        }
        --open;
        return true;
    }

    PlainVolume volume;
    int open = 0;

private:
    static constexpr std::uint64_t kFirstHandle = std::uint64_t{1} << 40U;
};

// What happens to the directories of a volume, and the records that it writes.
class PlainLife {
public:
    explicit PlainLife(std::uint32_t seed) : random_(seed) {
        parents_ = {{kSync, kRoot}, {kSibling, kRoot}, {kOther, kRoot}, {kBin, kRoot}};
        names_ = {{kSync, u"Sync"}, {kSibling, u"Sync2"}, {kOther, u"Other"}, {kBin, u"$RECYCLE.BIN"}};
    }

    std::vector<RawRecord> Read() {
        records_.clear();
        for (std::size_t count = 1 + random_() % 40; count > 0; --count) {
            Change();
        }
        return records_;
    }

    // As it is when the read has been written.
    PlainVolume Volume() {
        PlainVolume volume;
        volume.paths[kRoot] = u"\\";
        for (const auto& [number, name] : names_) {
            volume.paths[number] = PathOf(number);
            if (random_() % 5 == 0) {
                volume.held.insert(number);
            }
            constexpr std::size_t kLongestAnswer = 526;
            if (random_() % 12 == 0 || volume.paths[number].size() > kLongestAnswer) {
                volume.nameless.insert(number);
            }
        }
        if (random_() % 4 == 0) {
            volume.paths.erase(kSync);  // learned late
        }
        return volume;
    }

private:
    void Change() {
        const std::uint64_t directory = Any();
        switch (random_() % 10) {
            case 0:
            case 1:
                Make(kFirstDirectory + random_() % 30);
                break;
            case 2:
            case 3:
                MoveTo(directory, random_() % 2 == 0 ? parents_[directory] : AnyParent());
                break;
            case 4:
                MoveTo(directory, kBin);
                break;
            case 5:
                Remove(directory);
                break;
            case 6:
                Impossible();
                break;
            default:
                Write(random_(), AnyParent(), Name(), 0x20);
                break;
        }
    }

    void Make(std::uint64_t number) {
        if (!names_.contains(number)) {
            parents_[number] = AnyParent();
            names_[number] = Name();
            Write(number, parents_[number], names_[number], 0x10);
        }
    }
    void MoveTo(std::uint64_t number, std::uint64_t parent) {
        if (number < kFirstDirectory || IsBelow(parent, number)) {
            return;
        }
        Write(number, parents_[number], names_[number], 0x10);
        parents_[number] = parent;
        names_[number] = Name();
        Write(number, parent, names_[number], 0x10);
    }
    void Remove(std::uint64_t number) {
        const bool hasChildren =
            std::ranges::any_of(parents_, [number](const auto& entry) { return entry.second == number; });
        if (number >= kFirstDirectory && !hasChildren) {
            Write(number, parents_[number], names_[number], 0x10);
            parents_.erase(number);
            names_.erase(number);
        }
    }
    void Impossible() {
        const std::uint64_t number = kFirstDirectory + random_() % 30;
        const std::uint64_t parents[] = {0, number, kFirstDirectory + random_() % 30, 4711, kRoot};
        Write(number, parents[random_() % std::size(parents)], Name(), random_() % 2 == 0 ? 0x10 : 0x20);
    }

    void Write(std::uint64_t number, std::uint64_t parent, std::u16string name, std::uint32_t attributes) {
        usn_ += 80;
        records_.push_back({.frn = number,
                            .parentFrn = parent,
                            .usn = usn_,
                            .time = 132'000'000'000'000'000 + static_cast<platform::FileTime>(usn_) * 10'000,
                            .reason = static_cast<std::uint32_t>(random_()),
                            .attributes = attributes,
                            .name = std::move(name)});
    }
    std::u16string Name() {
        const std::size_t units = random_() % 20 == 0 ? 255 + random_() % 8 : 1 + random_() % 3;
        return std::u16string(units, static_cast<char16_t>(u'a' + random_() % 4));
    }
    std::uint64_t Any() { return std::next(names_.begin(), static_cast<int>(random_() % names_.size()))->first; }
    std::uint64_t AnyParent() { return random_() % 4 == 0 ? kSync : random_() % 12 == 0 ? kRoot : Any(); }
    bool IsBelow(std::uint64_t number, std::uint64_t above) {
        while (number != kRoot && number != above) {
            number = parents_[number];
        }
        return number == above;
    }
    std::u16string PathOf(std::uint64_t number) {
        return number == kRoot ? u"" : PathOf(parents_[number]) + u"\\" + names_[number];
    }

    std::mt19937 random_;
    std::map<std::uint64_t, std::uint64_t> parents_;
    std::map<std::uint64_t, std::u16string> names_;
    std::vector<RawRecord> records_;
    std::int64_t usn_ = 0;
};

class PlainDecoderTest : public ::testing::TestWithParam<std::u16string>, protected testing::JournalRig {
protected:
    // Lets the next reads return these records.
    void Return(const std::vector<RawRecord>& read) {
        RawRecords raw;
        for (const RawRecord& record : read) {
            raw.Add(record);
        }
        const std::vector<std::byte> bytes(raw.bytes().begin(), raw.bytes().end());
        files.afterRead = [bytes](std::span<std::byte> output, std::uint32_t& bytesReturned) {
            std::copy(bytes.begin(), bytes.end(), output.begin() + 8);
            bytesReturned = static_cast<std::uint32_t>(8 + bytes.size());
        };
    }
    PlainDecoder::Rows StoredRows() {
        PlainDecoder::Rows rows;
        for (const db::PathMappingEntry& entry : Stored()) {
            rows[entry.fileReferenceNumber] = {entry.parentFileReferenceNumber, entry.fileName};
        }
        return rows;
    }
    void LiveThrough(std::uint32_t seed);

    PlainFiles plainFiles{files};
    platform::Platform plainPlatform = test::PlatformWith(platform, plainFiles);
    std::size_t inside_ = 0;   // records in the folder, of all lives
    std::size_t rebuilt_ = 0;  // directories whose path could be rebuilt
};

void PlainDecoderTest::LiveThrough(std::uint32_t seed) {
    log.Clear();
    PlainLife life(seed);
    PlainDecoder plain(GetParam(), machine.platform().clock);
    plain.stored = StoredRows();  // of the lives before
    VolumeJournal journal(plainPlatform, GetParam());
    ASSERT_TRUE(journal.CreateVolumeHandle() && journal.QueryChangeJournal() == 1 && journal.AllocateReadBuffer());
    PathMapping mapping(database, GetParam() == u"C:" ? u"C:\\" : GetParam());
    for (int number = 0; number < 4; ++number) {
        const std::vector<RawRecord> read = life.Read();
        plainFiles.volume = life.Volume();
        Return(read);
        const records::UsnRecordList batch = journal.ReadUsnRecords(journal.journalData().nextUsn, &mapping).records;
        mapping.FlushPathMapping();
        ASSERT_EQ(batch, plain.Read(read, plainFiles.volume)) << "seed " << seed << " read " << number;
        ASSERT_EQ(StoredRows(), plain.stored) << "seed " << seed << " read " << number;
        for (std::uint64_t directory = kFirstDirectory; directory < kFirstDirectory + 30; ++directory) {
            const std::u16string path = mapping.BuildPathFromMapping(directory);
            ASSERT_EQ(path, plain.Rebuild(directory)) << "seed " << seed << " directory " << directory;
            rebuilt_ += path.empty() ? 0U : 1U;
        }
        inside_ += batch.size();
    }
    ASSERT_EQ(Errors().size(), static_cast<std::size_t>(plain.failedNameQueries)) << "seed " << seed;
    ASSERT_EQ(plainFiles.open, 0);
}

TEST_P(PlainDecoderTest, SaysTheSameAsTheRealOneInEveryLife) {
    for (std::uint32_t seed = 1; seed <= 250; ++seed) {
        LiveThrough(seed);
        if (HasFatalFailure()) {
            return;
        }
    }
    EXPECT_GT(inside_, 1000U);
    EXPECT_GT(rebuilt_, 500U);
}

INSTANTIATE_TEST_SUITE_P(Folders, PlainDecoderTest, ::testing::Values(u"C:\\Sync", u"C:"),
                         [](const auto& instance) { return instance.param == u"C:" ? "Drive" : "Folder"; });

}  // namespace
}  // namespace tavi::journal
