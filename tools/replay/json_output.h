// Writes records as JSON, field by field as they come: a batch of a hundred thousand records with the results of all
// steps would not fit into a tree of values. Appends to a string that the caller owns and may empty in between.
#pragma once

#include <json/writer.h>

#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "records/model/change_record.h"
#include "records/model/step_record.h"
#include "replay/table_world.h"

namespace tavi::replay {

class JsonOutput {
public:
    explicit JsonOutput(std::string& text);

    void Append(std::string_view json) { text_ += json; }
    void AppendString(const std::string& utf8);
    void AppendName(const std::u16string& name);
    void AppendKey(const std::u16string& name);  // with the colon

    template <typename Record>
    void AppendList(const std::vector<Record>& records) {
        text_ += '[';
        for (const Record& record : records) {
            if (&record != &records.front()) {
                text_ += ',';
            }
            AppendRecord(record);
        }
        text_ += ']';
    }

private:
    void AppendRecord(const records::UsnRecord& record);
    void AppendRecord(const records::FileChangeInfo& record);
    void AppendRecord(const records::TemporaryFile& file);
    void AppendRecord(const TableEntry& entry);
    void AppendValue(const Json::Value& value);

    std::string& text_;
    std::unique_ptr<Json::StreamWriter> writer_;
    std::ostringstream scratch_;
};

}  // namespace tavi::replay
