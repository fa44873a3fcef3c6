// A recorded batch as JSON: the journal records as decoded, the records held back by earlier batches, and what the
// steps would find in the world. Reading reports what is wrong and where; writing is for tests that hand a batch on.
//
// {"records":[{"usn","reason","fileAttributes","timestamp","filename","frn","oldfrn"}...],
//  "delay":[{"fileName","originalFileName","fileAttributes","isTempFile","reason","delayCount","timestamp","frn",
//            "oldfrn"}...],
//  "env":{"listenPath","placeholders":[relative path...],"tree":{relative directory:[[name,attributes,frn]...]}}}
// "oldfrn", "delay", "env" and the members of "env" may be missing. 64-bit numbers are read signed or unsigned.
#pragma once

#include <optional>
#include <string>

#include "records/model/change_record.h"
#include "replay/table_world.h"

namespace tavi::replay {

struct Batch {
    records::UsnRecordList records;
    records::FileChangeInfoList delay;
    WorldTables world;
};

// Nothing when the text is no such batch; `error` then says what is wrong, beginning with the place inside the text.
std::optional<Batch> ParseBatch(const std::string& text, std::string& error);

// On one line, without a line end. A directory whose name holds a lone surrogate cannot be a key and gets U+FFFD.
std::string FormatBatch(const Batch& batch);

}  // namespace tavi::replay
