#include "replay/json_output.h"

#include <cstdint>

#include "imports/type_convert.h"
#include "replay/json_names.h"

namespace tavi::replay {
namespace {

std::unique_ptr<Json::StreamWriter> MakeWriter() {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
}

}  // namespace

JsonOutput::JsonOutput(std::string& text) : text_(text), writer_(MakeWriter()) {}

void JsonOutput::AppendValue(const Json::Value& value) {
    scratch_.str({});
    writer_->write(value, &scratch_);
    text_ += scratch_.view();
}

void JsonOutput::AppendString(const std::string& utf8) {
    AppendValue(Json::Value(utf8));
}

void JsonOutput::AppendName(const std::u16string& name) {
    AppendValue(NameToJson(name));
}

void JsonOutput::AppendKey(const std::u16string& name) {
    AppendString(TypeConvert::UnicodeToUTF8(name));
    text_ += ':';
}

void JsonOutput::AppendRecord(const records::UsnRecord& record) {
    // 64-bit numbers are written unsigned throughout.
    text_ += "{\"usn\":" + std::to_string(static_cast<std::uint64_t>(record.usn));
    text_ += ",\"reason\":" + std::to_string(record.reason);
    text_ += ",\"fileAttributes\":" + std::to_string(record.fileAttributes);
    text_ += ",\"timestamp\":" + std::to_string(static_cast<std::uint64_t>(record.timestamp));
    text_ += ",\"filename\":";
    AppendName(record.filename);
    text_ += ",\"frn\":" + std::to_string(record.frn);
    text_ += ",\"oldfrn\":" + std::to_string(static_cast<std::uint64_t>(record.oldfrn)) + "}";
}

void JsonOutput::AppendRecord(const records::FileChangeInfo& record) {
    text_ += "{\"fileName\":";
    AppendName(record.fileName);
    text_ += ",\"originalFileName\":";
    AppendName(record.originalFileName);
    text_ += ",\"fileAttributes\":" + std::to_string(record.fileAttributes);
    text_ += record.isTempFile ? ",\"isTempFile\":true" : ",\"isTempFile\":false";
    text_ += ",\"reason\":" + std::to_string(static_cast<std::int32_t>(record.reason));
    text_ += ",\"delayCount\":" + std::to_string(record.delayCount);
    text_ += ",\"timestamp\":" + std::to_string(static_cast<std::uint64_t>(record.timestamp));
    text_ += ",\"frn\":" + std::to_string(record.frn);
    text_ += ",\"oldfrn\":" + std::to_string(record.oldfrn) + "}";
}

void JsonOutput::AppendRecord(const records::TemporaryFile& file) {
    text_ += "{\"filePath\":";
    AppendName(file.filePath);
    text_ += ",\"fileAttributes\":" + std::to_string(file.fileAttributes);
    text_ += ",\"isHandle\":" + std::to_string(file.isHandle) + "}";
}

void JsonOutput::AppendRecord(const TableEntry& entry) {
    text_ += '[';
    AppendName(entry.name);
    text_ += "," + std::to_string(entry.attributes) + "," + std::to_string(entry.frn) + "]";
}

}  // namespace tavi::replay
