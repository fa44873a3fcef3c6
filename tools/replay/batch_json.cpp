#include "replay/batch_json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "imports/type_convert.h"
#include "replay/json_names.h"
#include "replay/json_output.h"

namespace tavi::replay {
namespace {

using records::FileChangeInfo;
using records::UsnRecord;

struct BadBatch : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Presence { kRequired, kOptional };

// One object's members, with the object's place in the text for messages.
class Members {
public:
    Members(const Json::Value& object, std::string place) : object_(object), place_(std::move(place)) {
        if (!object_.isObject()) {
            throw BadBatch(place_ + ": expected an object");
        }
    }

    // Null when it is missing and may be.
    const Json::Value* Find(const char* name, Presence presence) const {
        if (object_.isMember(name)) {
            return &object_[name];
        }
        if (presence == Presence::kRequired) {
            throw BadBatch(Place(name) + ": missing");
        }
        return nullptr;
    }
    const Json::Value* FindArray(const char* name, Presence presence) const {
        const Json::Value* value = Find(name, presence);
        if (value != nullptr && !value->isArray()) {
            throw BadBatch(Place(name) + ": expected an array");
        }
        return value;
    }
    std::string Place(const char* name) const { return place_ + "." + name; }

    std::u16string Name(const char* name) const;
    std::uint64_t Unsigned64(const char* name) const { return ToUnsigned64(Required(name), Place(name)); }
    std::int64_t Signed64(const char* name) const { return static_cast<std::int64_t>(Unsigned64(name)); }
    std::uint32_t Unsigned32(const char* name) const { return ToUnsigned32(Required(name), Place(name)); }
    std::int32_t Signed32(const char* name) const;
    bool Boolean(const char* name) const;
    std::uint64_t OldFrn() const {
        const Json::Value* value = Find("oldfrn", Presence::kOptional);
        return value == nullptr ? records::kNoFrn : ToUnsigned64(*value, Place("oldfrn"));
    }

    static std::uint64_t ToUnsigned64(const Json::Value& value, const std::string& place);
    static std::uint32_t ToUnsigned32(const Json::Value& value, const std::string& place);

private:
    const Json::Value& Required(const char* name) const { return *Find(name, Presence::kRequired); }

    const Json::Value& object_;
    std::string place_;
};

std::u16string ToName(const Json::Value& value, const std::string& place) {
    std::optional<std::u16string> name = NameFromJson(value);
    if (!name) {
        throw BadBatch(place + ": expected a name: a string of valid UTF-8, or an array of UTF-16 code units");
    }
    return *std::move(name);
}

std::u16string Members::Name(const char* name) const {
    return ToName(Required(name), Place(name));
}

std::uint64_t Members::ToUnsigned64(const Json::Value& value, const std::string& place) {
    if (value.isUInt64()) {
        return value.asUInt64();
    }
    if (value.isInt64()) {
        return static_cast<std::uint64_t>(value.asInt64());
    }
    throw BadBatch(place + ": expected an integer of 64 bits");
}

std::uint32_t Members::ToUnsigned32(const Json::Value& value, const std::string& place) {
    if (!value.isUInt()) {
        throw BadBatch(place + ": expected an unsigned integer of 32 bits");
    }
    return value.asUInt();
}

std::int32_t Members::Signed32(const char* name) const {
    if (!Required(name).isInt()) {
        throw BadBatch(Place(name) + ": expected a signed integer of 32 bits");
    }
    return Required(name).asInt();
}

bool Members::Boolean(const char* name) const {
    if (!Required(name).isBool()) {
        throw BadBatch(Place(name) + ": expected true or false");
    }
    return Required(name).asBool();
}

UsnRecord ToUsnRecord(const Members& members) {
    UsnRecord record;
    record.usn = members.Signed64("usn");
    record.reason = members.Unsigned32("reason");
    record.fileAttributes = members.Unsigned32("fileAttributes");
    record.timestamp = members.Signed64("timestamp");
    record.filename = members.Name("filename");
    record.frn = members.Unsigned64("frn");
    record.oldfrn = static_cast<std::int64_t>(members.OldFrn());
    return record;
}

FileChangeInfo ToFileChangeInfo(const Members& members) {
    FileChangeInfo record;
    record.fileName = members.Name("fileName");
    record.originalFileName = members.Name("originalFileName");
    record.fileAttributes = members.Unsigned32("fileAttributes");
    record.isTempFile = members.Boolean("isTempFile");
    record.reason = static_cast<records::FileChangeReason>(members.Signed32("reason"));
    record.delayCount = members.Unsigned32("delayCount");
    record.timestamp = members.Signed64("timestamp");
    record.frn = members.Unsigned64("frn");
    record.oldfrn = members.OldFrn();
    return record;
}

TableEntry ToTableEntry(const Json::Value& value, const std::string& place) {
    if (!value.isArray() || value.size() != 3) {
        throw BadBatch(place + ": expected an array of name, attributes and reference number");
    }
    TableEntry entry{ToName(value[0], place + "[0]"), Members::ToUnsigned32(value[1], place + "[1]"),
                     Members::ToUnsigned64(value[2], place + "[2]")};
    if (entry.name.empty()) {
        throw BadBatch(place + "[0]: an entry has a name");
    }
    return entry;
}

template <typename List, typename Convert>
void ReadList(const Json::Value* array, const std::string& place, List& output, Convert convert) {
    if (array == nullptr) {
        return;
    }
    for (Json::ArrayIndex i = 0; i < array->size(); ++i) {
        output.insert(output.end(), convert((*array)[i], place + "[" + std::to_string(i) + "]"));
    }
}

void ReadTree(const Json::Value& tree, const std::string& place, WorldTables& world) {
    if (!tree.isObject()) {
        throw BadBatch(place + ": expected an object");
    }
    for (const std::string& directory : tree.getMemberNames()) {
        const std::string entryPlace = place + "[\"" + directory + "\"]";
        const std::optional<std::u16string> name = NameFromUtf8(directory);
        if (!name) {
            throw BadBatch(entryPlace + ": expected a name of valid UTF-8");
        }
        if (!tree[directory].isArray()) {
            throw BadBatch(entryPlace + ": expected an array");
        }
        ReadList(&tree[directory], entryPlace, world.tree[*name], ToTableEntry);
    }
}

WorldTables ToWorld(const Json::Value* value) {
    WorldTables world;
    if (value == nullptr) {
        return world;
    }
    const Members members(*value, "env");
    if (const Json::Value* listenPath = members.Find("listenPath", Presence::kOptional)) {
        world.listenPath = ToName(*listenPath, "env.listenPath");
    }
    ReadList(members.FindArray("placeholders", Presence::kOptional), "env.placeholders", world.placeholders, ToName);
    if (const Json::Value* tree = members.Find("tree", Presence::kOptional)) {
        ReadTree(*tree, "env.tree", world);
    }
    return world;
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        while (errors.ends_with('\n')) {
            errors.pop_back();
        }
        throw BadBatch("not well-formed JSON\n" + errors);
    }
    if (HasLoneSurrogateEscape(text)) {
        throw BadBatch("an escaped surrogate lacks its other half; write such a name as an array of code units");
    }
    return value;
}

}  // namespace

std::optional<Batch> ParseBatch(const std::string& text, std::string& error) {
    try {
        const Json::Value value = ParseJson(text);
        const Members members(value, "batch");
        Batch batch;
        ReadList(
            members.FindArray("records", Presence::kRequired), "records", batch.records,
            [](const Json::Value& item, std::string place) { return ToUsnRecord(Members(item, std::move(place))); });
        ReadList(members.FindArray("delay", Presence::kOptional), "delay", batch.delay,
                 [](const Json::Value& item, std::string place) {
                     return ToFileChangeInfo(Members(item, std::move(place)));
                 });
        batch.world = ToWorld(members.Find("env", Presence::kOptional));
        return batch;
    } catch (const std::exception& exception) {  // the parser throws too, when brackets nest too deep
        error = exception.what();
        return std::nullopt;
    }
}

std::string FormatBatch(const Batch& batch) {
    std::string text;
    JsonOutput output(text);
    output.Append("{\"records\":");
    output.AppendList(batch.records);
    output.Append(",\"delay\":");
    output.AppendList(batch.delay);
    output.Append(",\"env\":{\"listenPath\":");
    output.AppendName(batch.world.listenPath);
    output.Append(",\"placeholders\":[");
    std::string_view comma;
    for (const std::u16string& path : batch.world.placeholders) {
        output.Append(std::exchange(comma, ","));
        output.AppendName(path);
    }
    output.Append("],\"tree\":{");
    comma = {};
    for (const auto& [directory, entries] : batch.world.tree) {
        output.Append(std::exchange(comma, ","));
        output.AppendKey(directory);
        output.AppendList(entries);
    }
    output.Append("}}}");
    return text;
}

}  // namespace tavi::replay
