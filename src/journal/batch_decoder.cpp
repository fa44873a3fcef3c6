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

bool IsDirectory(const UsnRecordView& record) {
    return (record.fileAttributes() & platform::kFileAttributeDirectory) != 0;
}

}  // namespace

BatchDecoder::BatchDecoder(std::u16string_view listenPath, platform::Clock& clock)
    : parents_(listenPath), timestamps_(clock) {}

BatchDecoder::Result BatchDecoder::Decode(std::span<const std::byte> records, ParentSource& source,
                                          PathMapping* mapping) {
    Result result;
    noteCount_ = 0;
    UsnDecoder decoder(records);
    UsnRecordView record;
    while (decoder.Next(record)) {
        if (record.nameUnits() >= kNameBufferUnits) {
            continue;
        }
        const ParentCache::Entry& parent = Parent(record.parentFileReferenceNumber(), source, mapping);
        if (parent.insideListenFolder) {
            if (result.records.size() == result.records.capacity()) {
                MakeRoom(result.records, records.size(), decoder.remainingBytes());
            }
            Append(record, parent, result.records);
        }
        if (mapping != nullptr) {
            NoteForMapping(record, parent, *mapping);
        }
    }
    if (mapping != nullptr) {
        TellMapping(*mapping);
    }
    result.malformed = decoder.malformed();
    return result;
}

void BatchDecoder::EndRead() {
    parents_.Clear();
    timestamps_.Reset();
}

ParentCache::Entry& BatchDecoder::Parent(std::uint64_t number, ParentSource& source, PathMapping* mapping) {
    ParentCache::Entry* entry = parents_.Find(number);
    if (entry == nullptr) {
        return ResolveParent(number, source, mapping);
    }
    if (entry->rebuilt && mapping != nullptr) {
        TellMapping(*mapping);
        if (entry->mappingVersion != mapping->version()) {
            parents_.Replace(*entry, mapping->BuildPathFromMapping(number));
            entry->mappingVersion = mapping->version();
        }
    }
    return *entry;
}

ParentCache::Entry& BatchDecoder::ResolveParent(std::uint64_t number, ParentSource& source, PathMapping* mapping) {
    switch (source.AskForPath(number, answer_)) {
        case ParentSource::Answer::kPath:
            return parents_.Add(number, answer_);
        case ParentSource::Answer::kNoAnswer:
            return parents_.Add(number, {});
        case ParentSource::Answer::kGone:
            break;
    }
    if (mapping == nullptr) {
        return parents_.Add(number, {});
    }
    TellMapping(*mapping);
    ParentCache::Entry& entry = parents_.Add(number, mapping->BuildPathFromMapping(number));
    entry.rebuilt = true;
    entry.mappingVersion = mapping->version();
    return entry;
}

void BatchDecoder::NoteForMapping(const UsnRecordView& record, const ParentCache::Entry& parent, PathMapping& mapping) {
    if (!mapping.syncFolderLearned()) {
        if (parent.insideListenFolder || IsDirectory(record)) {
            TellMapping(mapping, record, parent);
        }
    } else if (IsDirectory(record)) {
        notes_[noteCount_++] = {record, parents_.PlaceOf(parent)};
        if (noteCount_ == notes_.size()) {
            TellMapping(mapping);
        }
    }
}

void BatchDecoder::TellMapping(PathMapping& mapping) {
    std::array<std::uint32_t, kNotes> places;
    for (std::size_t i = 0; i < noteCount_; ++i) {
        places[i] = mapping.PlaceOf(notes_[i].record.fileReferenceNumber());
    }
    std::array<char16_t, kNameBufferUnits> room;
    for (std::size_t i = 0; i < noteCount_; ++i) {
        const UsnRecordView& record = notes_[i].record;
        if (places[i] == NumberIndex::kNone ||
            !mapping.Says(places[i], record.parentFileReferenceNumber(), record.Name(room.data()))) {
            TellMapping(mapping, record, parents_.At(notes_[i].parentPlace));
        }
    }
    noteCount_ = 0;
}

void BatchDecoder::TellMapping(PathMapping& mapping, const UsnRecordView& record,
                               const ParentCache::Entry& parent) const {
    std::array<char16_t, kNameBufferUnits> room;
    const std::u16string_view name = record.Name(room.data());
    const RecordIdentity identity{record.fileReferenceNumber(), record.parentFileReferenceNumber(),
                                  record.fileAttributes()};
    const std::u16string_view parentPath = parents_.PathOf(parent);
    // A record in a recycle bin that is also inside the folder would be offered twice with the same outcome.
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
    decoded.filename.reserve(folder.size() + name.size());
    decoded.filename.append(folder).append(name);
    decoded.frn = record.fileReferenceNumber();
    decoded.oldfrn = -1;
}

}  // namespace tavi::journal
