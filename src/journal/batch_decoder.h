// One read's records become UsnRecords with paths relative to the listened folder; records outside it are dropped
// before anything of them is copied. Parents are resolved through a ParentSource (the file system, or the replay tool's
// directory list) and, when the directory is gone, through the path mapping, which the records in turn keep up to date.
// Listen thread only. Throws nothing but allocation failures.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "journal/parent_cache.h"
#include "journal/path_mapping.h"
#include "journal/timestamp_converter.h"
#include "journal/usn_decoder.h"
#include "platform/clock.h"
#include "records/model/change_record.h"

namespace tavi::journal {

// Asks for a directory's path by its file reference number.
class ParentSource {
public:
    enum class Answer {
        kPath,      // `path` is its volume-relative path
        kGone,      // it cannot be opened or named: what the mapping knows counts
        kNoAnswer,  // it cannot even be asked for: no path
    };

    virtual ~ParentSource() = default;
    // `path` is overwritten.
    virtual Answer AskForPath(std::uint64_t fileReferenceNumber, std::u16string& path) = 0;
};

class BatchDecoder {
public:
    BatchDecoder(std::u16string_view listenPath, platform::Clock& clock);

    struct Result {
        records::UsnRecordList records;
        bool malformed = false;  // a malformed record ended the decoding
    };
    // `records` is what a read returned, without the leading next USN. `mapping` may be null: then a directory that is
    // gone has no path. Its pending rows are not flushed here. May be called several times within one read.
    Result Decode(std::span<const std::byte> records, ParentSource& source, PathMapping* mapping);
    // Forgets the parents and the zone's offset: what was true of one read need not be true of the next.
    void EndRead();

private:
    static constexpr std::size_t kNotes = 32;
    // A directory's record that the mapping has not been told of.
    struct Note {
        UsnRecordView record;
        std::uint32_t parentPlace = 0;  // in parents_
    };

    ParentCache::Entry& Parent(std::uint64_t number, ParentSource& source, PathMapping* mapping);
    ParentCache::Entry& ResolveParent(std::uint64_t number, ParentSource& source, PathMapping* mapping);
    void NoteForMapping(const UsnRecordView& record, const ParentCache::Entry& parent, PathMapping& mapping);
    void TellMapping(PathMapping& mapping);
    void TellMapping(PathMapping& mapping, const UsnRecordView& record, const ParentCache::Entry& parent) const;
    void Append(const UsnRecordView& record, const ParentCache::Entry& parent, records::UsnRecordList& batch);

    ParentCache parents_;
    TimestampConverter timestamps_;
    // Few records are of directories, and looking one up waits for memory several times over: several are looked up
    // together, so that the waits overlap. Before the mapping is asked anything it has been told everything.
    std::array<Note, kNotes> notes_;
    std::size_t noteCount_ = 0;
    std::u16string answer_;  // reused from one parent to the next
};

}  // namespace tavi::journal
