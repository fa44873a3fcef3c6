#include "ipc/client_message.h"

#include <json/json.h>

#include <exception>
#include <memory>

#include "imports/class_log.h"
#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"

namespace tavi::ipc {
namespace {

std::uint32_t ReadLittleEndian32(std::span<const std::byte> bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= std::to_integer<std::uint32_t>(bytes[i]) << (8 * i);
    }
    return value;
}

void WriteLittleEndian32(std::span<std::byte> bytes, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::byte>((value >> (8 * i)) & 0xFFU);
    }
}

// Byte by byte: the frame has no alignment, and the sender's order is the frame's, not this machine's.
std::u16string ReadCodeUnits(std::span<const std::byte> bytes) {
    std::u16string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto low = std::to_integer<unsigned>(bytes[i]);
        const auto high = std::to_integer<unsigned>(bytes[i + 1]);
        text.push_back(static_cast<char16_t>(low | (high << 8U)));
    }
    return text;
}

ListenTaskParams RejectFrame(std::string_view reason) {
    Drive::kListenServiceImplLog.Error("GetSyncFileMessageAndCheck", reason);
    return {};
}

// The reader throws on nesting beyond its limit; to the caller that is text that could not be parsed.
bool ParseObject(const std::string& utf8, Json::Value& root) {
    try {
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        Json::String errors;
        return reader->parse(utf8.data(), utf8.data() + utf8.size(), &root, &errors) && root.isObject();
    } catch (const std::exception&) {
        return false;
    }
}

std::u16string StringMember(const Json::Value& object, const char* key) {
    const Json::Value& member = object[key];
    return member.isString() ? TypeConvert::UTF8ToUnicode(member.asString()) : std::u16string();
}

// Empty or with a U+0000 in it: the system's functions would read the text up to there, so what is checked would not be
// what is used.
bool SaysNothing(std::u16string_view text) {
    return text.empty() || text.find(u'\0') != std::u16string_view::npos;
}

bool ParametersAreUsable(const ListenTaskParams& params) {
    return !SaysNothing(params.userId) && params.userId.size() <= protocol::kLongestUserId &&
           !SaysNothing(params.listenPath) && params.listenPath.size() <= protocol::kLongestListenPath &&
           !SaysNothing(params.databasePath);
}

ListenTaskParams ParseStartParameters(std::u16string_view text) {
    ListenTaskParams params;
    params.command = protocol::kStartListenTask;
    Json::Value root;
    if (!ParseObject(TypeConvert::UnicodeToUTF8(text), root)) {
        Drive::SyncPanelLog::WriteTraceLog("Failed to parse JSON data or not object");
        return params;
    }
    params.userId = StringMember(root, "userId");
    params.listenPath = StringMember(root, "listenPath");
    params.databasePath = StringMember(root, "databasePath");
    if (const Json::Value& interval = root["recordSplitInterval"]; interval.isUInt()) {
        params.recordSplitInterval = interval.asUInt();
    }

    params.valid = ParametersAreUsable(params);
    if (!params.valid) {
        // One message for all three fields: what a support engineer looks for first is an empty user id.
        Drive::SyncPanelLog::WriteTraceLog("Invalid parameter,userIdSize:" + std::to_string(params.userId.size()));
    }
    return params;
}

}  // namespace

ListenTaskParams GetSyncFileMessageAndCheck(std::span<const std::byte> frame) {
    if (frame.size() < protocol::kFrameHeaderBytes) {
        return RejectFrame("The total length of received data is incorrect");
    }

    const std::uint32_t totalLength = ReadLittleEndian32(frame);
    // Unsigned on purpose: lengths below the header's wrap around and are refused by the same comparison.
    const std::uint32_t jsonBytes = totalLength - static_cast<std::uint32_t>(protocol::kFrameHeaderBytes);
    if (jsonBytes > protocol::kLargestFrameBytes - protocol::kFrameHeaderBytes || totalLength != frame.size()) {
        return RejectFrame("The total length field in the received data is incorrect");
    }

    const std::uint32_t command = ReadLittleEndian32(frame.subspan(4));
    if (command > protocol::kLastCommand) {
        return RejectFrame("The command in the received message is incorrect");
    }

    const std::span<const std::byte> json = frame.subspan(protocol::kFrameHeaderBytes);
    if (jsonBytes != json.size() || jsonBytes % 2 != 0) {
        return RejectFrame("The length of the JSON data is incorrect");
    }
    return ParseClientJson(command, ReadCodeUnits(json));
}

ListenTaskParams ParseClientJson(std::uint32_t command, std::u16string_view text) {
    switch (command) {
        case protocol::kStartListenTask:
            return ParseStartParameters(text);
        case protocol::kFinishListenTasks:
        case protocol::kDetectUsnStatus: {
            ListenTaskParams params;
            params.valid = true;
            params.command = command;
            return params;
        }
        default:
            Drive::SyncPanelLog::WriteTraceLog("Invalid command");
            return {};
    }
}

std::array<std::byte, protocol::kReplyFrameBytes> MakeReplyFrame(std::uint32_t status) {
    std::array<std::byte, protocol::kReplyFrameBytes> frame{};
    WriteLittleEndian32(frame, protocol::kReplyFrameBytes);
    WriteLittleEndian32(std::span(frame).subspan(4), status);
    return frame;
}

}  // namespace tavi::ipc
