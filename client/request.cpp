#include "tavi_client/request.h"

#include <json/json.h>

#include <string_view>

#include "imports/type_convert.h"

namespace tavi::client {

namespace {

void AppendNumber(Frame& frame, std::uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8) {
        frame.push_back(static_cast<std::uint8_t>(number >> shift));
    }
}

Frame BuildFrameWithText(Command command, std::u16string_view text) {
    const std::size_t bytes = protocol::kFrameHeaderBytes + 2 * text.size();
    Frame frame;
    frame.reserve(bytes);
    AppendNumber(frame, static_cast<std::uint32_t>(bytes));
    AppendNumber(frame, static_cast<std::uint32_t>(command));
    for (const char16_t unit : text) {
        frame.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        frame.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return frame;
}

std::u16string StartText(const StartRequest& request) {
    Json::Value root(Json::objectValue);
    root["userId"] = request.userId;
    root["listenPath"] = request.listenPath;
    root["databasePath"] = request.databasePath;
    root["recordSplitInterval"] = Json::Value::UInt{request.recordSplitInterval};
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    // Escaped, a name of 300 characters outside ASCII would not fit into a frame.
    writer["emitUTF8"] = true;
    return TypeConvert::UTF8ToUnicode(Json::writeString(writer, root));
}

std::string CheckLength(std::string_view what, const std::string& text, std::size_t maximum) {
    if (text.find('\0') != std::string::npos) {
        return std::string(what) + " must not hold a character 0";
    }
    const std::size_t units = TypeConvert::UTF8ToUnicode(text).size();
    if (units >= 1 && units <= maximum) {
        return {};
    }
    return std::string(what) + " must be 1 to " + std::to_string(maximum) + " characters long, not " +
           std::to_string(units);
}

}  // namespace

std::string CheckStartRequest(const StartRequest& request) {
    if (std::string problem = CheckLength("the user id", request.userId, protocol::kLongestUserId); !problem.empty()) {
        return problem;
    }
    if (std::string problem = CheckLength("the folder", request.listenPath, protocol::kLongestListenPath);
        !problem.empty()) {
        return problem;
    }
    if (request.databasePath.empty()) {
        return "the database folder must not be empty";
    }
    if (request.databasePath.find('\0') != std::string::npos) {
        return "the database folder must not hold a character 0";
    }
    if (protocol::kFrameHeaderBytes + 2 * StartText(request).size() > protocol::kLargestFrameBytes) {
        return "the database folder is too long: the request does not fit into 4096 bytes";
    }
    return {};
}

std::optional<Frame> BuildStartFrame(const StartRequest& request) {
    if (!CheckStartRequest(request).empty()) {
        return std::nullopt;
    }
    return BuildFrameWithText(Command::kStart, StartText(request));
}

Frame BuildFrame(Command command) {
    return BuildFrameWithText(command, {});
}

}  // namespace tavi::client
