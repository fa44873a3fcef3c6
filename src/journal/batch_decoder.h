// One read's records become UsnRecords with paths relative to the listened folder; records outside it are dropped
// before anything of them is copied. For every record, in order: its parent's path is resolved, the path mapping is
// told of a directory that went to the recycle bin, and when the record lies inside the folder it is appended and the
// mapping is told of it. So a directory that is gone has the path that it had when the record was written.
//
// Owned by the task's VolumeJournal; paths and mapping are the caller's. Listen thread only. Malformed bytes end the
// batch and are reported in the result; a record whose parent has no path is dropped. Throws nothing but allocation
// failures; after one, call EndRead before the next Decode.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "journal/parent_cache.h"
#include "journal/path_mapping.h"
#include "journal/timestamp_converter.h"
#include "journal/usn_decoder.h"
#include "platform/clock.h"
#include "platform/types.h"
#include "records/model/change_record.h"

namespace tavi::journal {

// Where the decoder has the parents' paths from.
class ParentPaths {
public:
    // For how long the answer is true. All records of one read see the file system's names of one instant, so a path
    // that it gave stands for them all. A failure may pass, and the mapping changes with every record: such an answer
    // is asked for anew with the next record.
    enum class Validity { kWholeRead, kThisRecord };

    virtual ~ParentPaths() = default;
    // `path` is overwritten: the directory's volume-relative path (a leading backslash, no drive), or nothing when it
    // cannot be had. `mapping` may be null.
    virtual Validity GetFullPathByFileReferenceNumber(platform::FileReferenceNumber number, const PathMapping* mapping,
                                                      std::u16string& path) = 0;
};

class BatchDecoder {
public:
    // `clock` outlives the decoder. `listenPath` as in ParentCache.
    BatchDecoder(std::u16string_view listenPath, platform::Clock& clock);

    struct Result {
        records::UsnRecordList records;
        bool malformed = false;  // a malformed record ended the decoding
    };
    // `records` is what a read returned, without the leading next USN. `mapping` may be null: then a directory that is
    // gone has no path. Its pending rows are not flushed here. May be called several times within one read.
    Result Decode(std::span<const std::byte> records, ParentPaths& paths, PathMapping* mapping);
    // Forgets the parents and the zone's offset: what was true of one read need not be true of the next.
    void EndRead();

private:
    const ParentCache::Entry& Parent(platform::FileReferenceNumber number, ParentPaths& paths,
                                     const PathMapping* mapping);
    void TellMapping(const UsnRecordView& record, const ParentCache::Entry& parent, PathMapping& mapping) const;
    void Append(const UsnRecordView& record, const ParentCache::Entry& parent, records::UsnRecordList& batch);

    ParentCache parents_;
    TimestampConverter timestamps_;
    std::u16string answer_;  // reused from one parent to the next
};

}  // namespace tavi::journal
