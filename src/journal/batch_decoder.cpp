#include "journal/batch_decoder.h"

#include <algorithm>
#include <array>

#include "platform/constants.h"

namespace tavi::journal {
namespace {

// A name and its terminator fit a buffer of 260 code units; a longer one is not a file's name.
constexpr std::size_t kNameBufferUnits = platform::kMaxPath;

// For as many records as the whole read will give if it goes on like this, so that a long list is moved but once.
void MakeRoom(records::UsnRecordList& batch, std::size_t bytes, std::size_t remainingBytes) {
    constexpr std::size_t kFirstRoom = 64;
    const std::size_t projected = batch.size() * bytes / (bytes - remainingBytes);
    batch.reserve(std::max({kFirstRoom, 2 * batch.size(), projected + projected / 16}));
}

// A file's records mostly stand together: they share one text.
records::SharedText NameLike(const records::UsnRecord& before, std::u16string_view folder, std::u16string_view name) {
    const std::u16string_view last = before.filename;
    if (last.size() == folder.size() + name.size() && last.ends_with(name) && last.starts_with(folder)) {
        return before.filename;
    }
    return records::SharedText(folder, name);
}

}  // namespace

BatchDecoder::BatchDecoder(std::u16string_view listenPath, platform::Clock& clock)
    : parents_(listenPath), timestamps_(clock) {}

BatchDecoder::Result BatchDecoder::Decode(std::span<const std::byte> records, ParentPaths& paths,
                                          PathMapping* mapping) {
    Result result;
    UsnDecoder decoder(records);
    UsnRecordView record;
    while (decoder.Next(record)) {
        if (record.nameUnits() >= kNameBufferUnits) {
            continue;
        }
        const ParentCache::Entry& parent = Parent(record.parentFileReferenceNumber(), paths, mapping);
        if (parent.insideListenFolder) {
            if (result.records.size() == result.records.capacity()) {
                MakeRoom(result.records, records.size(), decoder.remainingBytes());
            }
            Append(record, parent, result.records);
        }
        if (mapping != nullptr) {
            TellMapping(record, parent, *mapping);
        }
    }
    result.malformed = decoder.malformed();
    return result;
}

void BatchDecoder::EndRead() {
    parents_.Clear();
    timestamps_.Reset();
}

const ParentCache::Entry& BatchDecoder::Parent(platform::FileReferenceNumber number, ParentPaths& paths,
                                               const PathMapping* mapping) {
    if (const ParentCache::Entry* known = parents_.Find(number)) {
        return *known;
    }
    const ParentPaths::Validity validity = paths.GetFullPathByFileReferenceNumber(number, mapping, answer_);
    if (validity == ParentPaths::Validity::kWholeRead) {
        return parents_.Add(number, answer_);
    }
    return parents_.Pass(answer_);
}

void BatchDecoder::TellMapping(const UsnRecordView& record, const ParentCache::Entry& parent,
                               PathMapping& mapping) const {
    const std::uint32_t attributes = record.fileAttributes();
    if (!platform::IsDirectory(attributes) && mapping.syncFolderLearned()) {
        return;
    }
    std::array<char16_t, kNameBufferUnits> room;
    const std::u16string_view name = record.Name(room.data());
    const RecordIdentity identity{record.fileReferenceNumber(), record.parentFileReferenceNumber(), attributes};
    const std::u16string_view parentPath = parents_.PathOf(parent);
    // A record inside the folder whose path also has the recycle bin's name would be told twice, to the same end.
    if (parent.insideListenFolder) {
        mapping.UpdatePathMapping(identity, parentPath, name);
    } else {
        mapping.CheckRecycleBinMove(identity, parentPath, name);
    }
}

void BatchDecoder::Append(const UsnRecordView& record, const ParentCache::Entry& parent,
                          records::UsnRecordList& batch) {
    const std::u16string_view folder = parents_.RelativeOf(parent);
    records::UsnRecord& decoded = batch.emplace_back();
    decoded.usn = record.usn();
    decoded.reason = record.reason();
    decoded.fileAttributes = record.fileAttributes();
    decoded.timestamp = timestamps_.Convert(record.timeStamp());
    std::array<char16_t, kNameBufferUnits> room;
    const std::u16string_view name = record.Name(room.data());
    decoded.filename = batch.size() == 1 ? records::SharedText(folder, name) : NameLike(batch.end()[-2], folder, name);
    decoded.frn = record.fileReferenceNumber();
    decoded.oldfrn = -1;
}

}  // namespace tavi::journal
