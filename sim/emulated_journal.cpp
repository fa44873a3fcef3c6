#include "sim/emulated_journal.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/constants.h"
#include "platform/types.h"

namespace tavi::sim {

using namespace platform;

namespace {

constexpr std::array<char, 8> kMagic = {'T', 'J', 'R', 'N', 'L', '0', '0', '1'};
constexpr std::int64_t kMaxUsn = 0x7FFFFFFFFFFF0000;
constexpr std::uint64_t kPage = EmulatedJournal::kPageBytes;
constexpr std::size_t kMinimumRecordBytes = 8;  // length and version: all that records of other versions are asked for

std::uint64_t RoundUpToPage(std::uint64_t bytes) {
    return (bytes + kPage - 1) / kPage * kPage;
}

template <class T>
T Load(std::string_view bytes, std::size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

template <class T>
void Put(std::string& bytes, const T& value) {
    std::array<char, sizeof(T)> raw;
    std::memcpy(raw.data(), &value, sizeof value);
    bytes.append(raw.data(), raw.size());
}

template <class T>
bool Take(std::span<const std::byte> input, T& value, std::size_t bytes = sizeof(T)) {
    if (input.size() < bytes) {
        return false;
    }
    std::memcpy(&value, input.data(), std::min(input.size(), sizeof value));
    return true;
}

std::uint32_t LengthAt(std::string_view stream, std::size_t offset) {
    return offset + kMinimumRecordBytes <= stream.size() ? Load<std::uint32_t>(stream, offset) : 0;
}

}  // namespace

EmulatedJournal::EmulatedJournal(std::uint64_t seed) : idState_(seed) {}

std::uint32_t EmulatedJournal::DeviceIoControl(std::uint32_t code, std::span<const std::byte> input,
                                               std::span<std::byte> output, std::uint32_t& bytesReturned) {
    bytesReturned = 0;
    switch (code) {
        case kFsctlCreateUsnJournal: {
            CreateUsnJournalData data;
            if (!Take(input, data)) {
                return kErrorInvalidParameter;
            }
            if (Presence() == kErrorJournalDeleteInProgress) {
                return kErrorJournalDeleteInProgress;
            }
            Create(data.maximumSize, data.allocationDelta);
            return kErrorSuccess;
        }
        case kFsctlQueryUsnJournal:
            if (const std::uint32_t absent = Presence(); absent != 0) {
                return absent;
            }
            return Query(output, bytesReturned);
        case kFsctlReadUsnJournal:
            return Read(input, output, bytesReturned);
        case kFsctlDeleteUsnJournal:
            return DeleteByCode(input);
        default:
            return kErrorInvalidFunction;
    }
}

// Counts the calls that a deletion in progress still refuses.
std::uint32_t EmulatedJournal::Presence() {
    if (deletingCalls_ > 0) {
        --deletingCalls_;
        return kErrorJournalDeleteInProgress;
    }
    return active_ ? kErrorSuccess : kErrorJournalNotActive;
}

std::uint32_t EmulatedJournal::Query(std::span<std::byte> output, std::uint32_t& bytesReturned) const {
    if (output.size() < sizeof(UsnJournalData)) {
        return kErrorInsufficientBuffer;
    }
    UsnJournalData data;
    data.usnJournalId = journalId_;
    data.firstUsn = firstUsn_;
    data.nextUsn = nextUsn();
    data.lowestValidUsn = lowestValidUsn_;
    data.maxUsn = kMaxUsn;
    data.maximumSize = maximumSize_;
    data.allocationDelta = allocationDelta_;
    std::memcpy(output.data(), &data, sizeof data);
    bytesReturned = sizeof data;
    return kErrorSuccess;
}

std::uint32_t EmulatedJournal::Read(std::span<const std::byte> input, std::span<std::byte> output,
                                    std::uint32_t& bytesReturned) {
    if (behaviour_.failReadsWith != 0) {
        return behaviour_.failReadsWith;
    }
    if (const std::uint32_t absent = Presence(); absent != 0) {
        return absent;
    }
    ReadUsnJournalData request;
    if (!Take(input, request)) {
        return kErrorInvalidParameter;
    }
    if (output.size() < sizeof(std::int64_t)) {
        return kErrorInsufficientBuffer;
    }
    if (request.usnJournalId != journalId_) {
        return kErrorInvalidParameter;
    }
    // 0 asks for the oldest record, wherever it is.
    std::int64_t position = request.startUsn == 0 ? firstUsn_ : request.startUsn;
    if (position < firstUsn_) {
        return behaviour_.codeBelowFirst;
    }
    if (position > nextUsn()) {
        return behaviour_.codeBeyondNext;
    }
    if (!IsRecordBoundary(position)) {
        return kErrorInvalidParameter;
    }

    if (behaviour_.mostBytesPerRead != 0) {
        output = output.first(std::min(output.size(), behaviour_.mostBytesPerRead));
    }
    std::size_t used = sizeof(std::int64_t);
    const std::string_view stream = stream_;
    while ((position = SkipGap(position)) < nextUsn()) {
        const auto offset = static_cast<std::size_t>(position - base_);
        const std::uint32_t length = LengthAt(stream, offset);
        std::uint32_t reason = 0xFFFFFFFF;
        if (Load<std::uint16_t>(stream, offset + 4) == 2 && length >= sizeof(UsnRecordV2)) {
            reason = Load<std::uint32_t>(stream, offset + offsetof(UsnRecordV2, reason));
        }
        const bool wanted =
            (reason & request.reasonMask) != 0 && (request.returnOnlyOnClose == 0 || (reason & kReasonClose) != 0);
        if (wanted) {
            if (used + length > output.size()) {
                break;
            }
            std::memcpy(output.data() + used, stream.data() + offset, length);
            used += length;
        }
        position += length;
    }
    std::memcpy(output.data(), &position, sizeof position);
    bytesReturned = static_cast<std::uint32_t>(used);
    return kErrorSuccess;
}

std::uint32_t EmulatedJournal::DeleteByCode(std::span<const std::byte> input) {
    if (const std::uint32_t absent = Presence(); absent != 0) {
        return absent;
    }
    DeleteUsnJournalData request;
    // The last four bytes are padding, which not every caller sends.
    if (!Take(input, request, 12) || request.usnJournalId != journalId_ ||
        (request.deleteFlags & kUsnDeleteFlagDelete) == 0) {
        return kErrorInvalidParameter;
    }
    Delete();
    return kErrorSuccess;
}

// A position is good when it is a record's start, the end, or the beginning of a page's unused rest: the position after
// a page's last record is what a reader was told to go on with.
bool EmulatedJournal::IsRecordBoundary(std::int64_t usn) const {
    auto offset = static_cast<std::size_t>(usn - base_) / kPage * kPage;
    const auto wanted = static_cast<std::size_t>(usn - base_);
    while (offset < wanted) {
        const std::uint32_t length = LengthAt(stream_, offset);
        if (length == 0) {
            return false;
        }
        offset += length;
    }
    return offset == wanted;
}

std::int64_t EmulatedJournal::SkipGap(std::int64_t usn) const {
    while (usn < nextUsn()) {
        const auto offset = static_cast<std::size_t>(usn - base_);
        if (LengthAt(stream_, offset) != 0) {
            return usn;
        }
        usn = std::min(base_ + static_cast<std::int64_t>((offset / kPage + 1) * kPage), nextUsn());
    }
    return usn;
}

void EmulatedJournal::Append(std::uint64_t frn, std::uint64_t parentFrn, std::u16string_view name,
                             std::uint32_t attributes, std::uint32_t reason, std::uint64_t time) {
    if (!active_) {
        return;
    }
    OpenFile& file = open_[frn];
    const bool renames = (reason & (kReasonRenameOldName | kReasonRenameNewName)) != 0;
    const bool isNew = renames || (reason & ~file.reason) != 0;
    // The two halves of a rename replace each other; everything else accumulates.
    if ((reason & kReasonRenameOldName) != 0) {
        file.reason &= ~kReasonRenameNewName;
    }
    if ((reason & kReasonRenameNewName) != 0) {
        file.reason &= ~kReasonRenameOldName;
    }
    file.reason |= reason;
    file.parentFrn = parentFrn;
    file.attributes = attributes;
    file.name = name;
    if (isNew) {
        AppendRaw(frn, parentFrn, name, attributes, file.reason, time);
    }
    if ((reason & kReasonClose) != 0) {
        open_.erase(frn);
    }
}

void EmulatedJournal::Close(std::uint64_t frn, std::uint64_t time) {
    const auto found = open_.find(frn);
    if (found == open_.end()) {
        return;
    }
    const OpenFile file = std::move(found->second);
    open_.erase(found);
    AppendRaw(frn, file.parentFrn, file.name, file.attributes, file.reason | kReasonClose, time);
}

void EmulatedJournal::AppendRaw(std::uint64_t frn, std::uint64_t parentFrn, std::u16string_view name,
                                std::uint32_t attributes, std::uint32_t reason, std::uint64_t time) {
    if (!active_) {
        return;
    }
    const std::size_t nameBytes = name.size() * sizeof(char16_t);
    const std::size_t length = (sizeof(UsnRecordV2) + nameBytes + 7) / 8 * 8;
    const std::size_t inPage = stream_.size() % kPage;
    if (inPage + length > kPage) {
        stream_.append(kPage - inPage, '\0');
    }
    UsnRecordV2 record;
    record.recordLength = static_cast<std::uint32_t>(length);
    record.majorVersion = 2;
    record.fileReferenceNumber = frn;
    record.parentFileReferenceNumber = parentFrn;
    record.usn = nextUsn();
    record.timeStamp = time;
    record.reason = reason;
    record.fileAttributes = attributes;
    record.fileNameLength = static_cast<std::uint16_t>(nameBytes);
    record.fileNameOffset = sizeof(UsnRecordV2);
    const std::size_t start = stream_.size();
    stream_.append(length, '\0');
    std::memcpy(stream_.data() + start, &record, sizeof record);
    std::memcpy(stream_.data() + start + sizeof record, name.data(), nameBytes);
    if (!behaviour_.trimsAtCheckpoints) {
        Trim();
    }
}

void EmulatedJournal::Create(std::uint64_t maximumSize, std::uint64_t allocationDelta) {
    maximumSize_ = RoundUpToPage(maximumSize == 0 ? kDefaultMaximumSize : maximumSize);
    allocationDelta_ = RoundUpToPage(allocationDelta == 0 ? kDefaultAllocationDelta : allocationDelta);
    deletingCalls_ = 0;
    if (active_) {
        return;  // an existing journal keeps its identity and its records
    }
    active_ = true;
    // SplitMix64: identities differ from each other and repeat with the seed.
    idState_ += 0x9E3779B97F4A7C15;
    std::uint64_t id = idState_;
    id = (id ^ (id >> 30)) * 0xBF58476D1CE4E5B9;
    id = (id ^ (id >> 27)) * 0x94D049BB133111EB;
    journalId_ = (id ^ (id >> 31)) >> 1;
}

void EmulatedJournal::Delete() {
    const auto next = static_cast<std::int64_t>(RoundUpToPage(static_cast<std::uint64_t>(nextUsn())));
    active_ = false;
    deletingCalls_ = behaviour_.deletionTakesCalls;
    stream_.clear();
    stream_.shrink_to_fit();
    open_.clear();
    base_ = behaviour_.recreation == PositionAfterRecreation::kGoesOn ? next : 0;
    firstUsn_ = base_;
    lowestValidUsn_ = base_;
}

void EmulatedJournal::Trim() {
    const auto limit = static_cast<std::int64_t>(maximumSize_ + allocationDelta_);
    std::int64_t first = firstUsn_;
    while (nextUsn() - first > limit) {
        first += static_cast<std::int64_t>(allocationDelta_);
    }
    if (first != firstUsn_) {
        DropBefore(first);
    }
}

void EmulatedJournal::TrimTo(std::int64_t usn) {
    const std::int64_t page = usn / static_cast<std::int64_t>(kPage) * static_cast<std::int64_t>(kPage);
    if (page > firstUsn_ && page <= nextUsn()) {
        DropBefore(page);
    }
}

void EmulatedJournal::DropBefore(std::int64_t usn) {
    firstUsn_ = usn;
    // Moving the rest costs its size, so it is moved only when that is at most what was gained.
    const auto dead = static_cast<std::size_t>(firstUsn_ - base_);
    if (dead * 2 >= stream_.size()) {
        stream_.erase(0, dead);
        base_ = firstUsn_;
    }
}

bool EmulatedJournal::LoadRecorded(std::span<const std::byte> bytes, std::int64_t firstUsn) {
    if (firstUsn < 0 || firstUsn % static_cast<std::int64_t>(kPage) != 0) {
        return false;
    }
    std::string stream(bytes.size(), '\0');
    std::memcpy(stream.data(), bytes.data(), bytes.size());
    std::size_t end = 0;
    for (std::size_t offset = 0; offset + kMinimumRecordBytes <= stream.size();) {
        const std::uint32_t length = LengthAt(stream, offset);
        if (length == 0) {
            offset = (offset / kPage + 1) * kPage;
            continue;
        }
        if (length < kMinimumRecordBytes || length % 8 != 0 || offset % kPage + length > kPage) {
            return false;
        }
        if (offset + length > stream.size()) {
            break;  // the recording ends inside a record
        }
        offset += length;
        end = offset;
    }
    stream.resize(end);  // what follows must not lie behind a gap that reads skip
    if (!active_) {
        Create();
    }
    stream_ = std::move(stream);
    open_.clear();
    base_ = firstUsn_ = lowestValidUsn_ = firstUsn;
    return true;
}

std::vector<JournalEntry> EmulatedJournal::EntriesFrom(std::int64_t first) const {
    std::vector<JournalEntry> entries;
    const std::string_view stream = stream_;
    for (std::int64_t usn = SkipGap(first); usn < nextUsn(); usn = SkipGap(usn)) {
        const auto offset = static_cast<std::size_t>(usn - base_);
        const std::uint32_t length = LengthAt(stream, offset);
        JournalEntry entry;
        entry.usn = usn;
        entry.majorVersion = Load<std::uint16_t>(stream, offset + 4);
        if (entry.majorVersion == 2 && length >= sizeof(UsnRecordV2)) {
            const auto record = Load<UsnRecordV2>(stream, offset);
            entry.frn = record.fileReferenceNumber;
            entry.parentFrn = record.parentFileReferenceNumber;
            entry.time = record.timeStamp;
            entry.reason = record.reason;
            entry.attributes = record.fileAttributes;
            if (std::size_t{record.fileNameOffset} + record.fileNameLength <= length) {
                entry.name.resize(record.fileNameLength / sizeof(char16_t));
                std::memcpy(entry.name.data(), stream.data() + offset + record.fileNameOffset,
                            entry.name.size() * sizeof(char16_t));
            }
        }
        entries.push_back(std::move(entry));
        usn += length;
    }
    return entries;
}

std::string EmulatedJournal::Header() const {
    std::string header(kMagic.data(), kMagic.size());
    Put(header, std::uint32_t{active_ ? 1U : 0U});
    Put(header, static_cast<std::uint32_t>(deletingCalls_));
    Put(header, journalId_);
    Put(header, idState_);
    Put(header, base_);
    Put(header, firstUsn_);
    Put(header, lowestValidUsn_);
    Put(header, nextUsn());
    Put(header, maximumSize_);
    Put(header, allocationDelta_);
    header.resize(kHeaderBytes, '\0');
    return header;
}

std::string EmulatedJournal::Serialize() const {
    std::string bytes = Header();
    bytes += stream_;
    for (const auto& [frn, file] : open_) {
        Put(bytes, frn);
        Put(bytes, file.parentFrn);
        Put(bytes, file.reason);
        Put(bytes, file.attributes);
        Put(bytes, static_cast<std::uint32_t>(file.name.size()));
        for (const char16_t unit : file.name) {
            Put(bytes, unit);
        }
    }
    return bytes;
}

bool EmulatedJournal::Restore(std::string_view bytes) {
    if (bytes.size() < kHeaderBytes || !std::equal(kMagic.begin(), kMagic.end(), bytes.begin())) {
        return false;
    }
    const auto base = Load<std::int64_t>(bytes, 32);
    const auto next = Load<std::int64_t>(bytes, 56);
    if (next < base || static_cast<std::uint64_t>(next - base) > bytes.size() - kHeaderBytes) {
        return false;
    }
    const auto streamBytes = static_cast<std::size_t>(next - base);
    std::map<std::uint64_t, OpenFile> open;
    constexpr std::size_t kOpenFileBytes = 28;
    for (std::size_t at = kHeaderBytes + streamBytes; at < bytes.size();) {
        if (bytes.size() - at < kOpenFileBytes) {
            return false;
        }
        OpenFile& file = open[Load<std::uint64_t>(bytes, at)];
        file.parentFrn = Load<std::uint64_t>(bytes, at + 8);
        file.reason = Load<std::uint32_t>(bytes, at + 16);
        file.attributes = Load<std::uint32_t>(bytes, at + 20);
        const std::size_t units = Load<std::uint32_t>(bytes, at + 24);
        at += kOpenFileBytes;
        if ((bytes.size() - at) / sizeof(char16_t) < units) {
            return false;
        }
        file.name.resize(units);
        std::memcpy(file.name.data(), bytes.data() + at, units * sizeof(char16_t));
        at += units * sizeof(char16_t);
    }
    active_ = Load<std::uint32_t>(bytes, 8) != 0;
    deletingCalls_ = static_cast<int>(Load<std::uint32_t>(bytes, 12));
    journalId_ = Load<std::uint64_t>(bytes, 16);
    idState_ = Load<std::uint64_t>(bytes, 24);
    base_ = base;
    firstUsn_ = Load<std::int64_t>(bytes, 40);
    lowestValidUsn_ = Load<std::int64_t>(bytes, 48);
    maximumSize_ = Load<std::uint64_t>(bytes, 64);
    allocationDelta_ = Load<std::uint64_t>(bytes, 72);
    stream_.assign(bytes.substr(kHeaderBytes, streamBytes));
    open_ = std::move(open);
    return true;
}

}  // namespace tavi::sim
