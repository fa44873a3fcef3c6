#include "change_lines.h"

#include <json/json.h>

#include <array>
#include <chrono>
#include <cstdio>

namespace tavi::client {

namespace {

constexpr std::uint32_t kDirectory = 0x10;
constexpr std::size_t kKindColumn = 6;
constexpr const char* kDim = "\x1B[2m";
constexpr const char* kNormal = "\x1B[0m";

const char* ColourOf(std::int32_t kind) {
    switch (kind) {
        case kChangeCreate:
            return "\x1B[32m";
        case kChangeDelete:
            return "\x1B[31m";
        case kChangeModify:
            return "\x1B[33m";
        default:
            return "\x1B[36m";
    }
}

std::string Coloured(LineStyle style, const char* colour, const std::string& text) {
    return style == LineStyle::kColoured ? colour + text + kNormal : text;
}

}  // namespace

std::string FormatTimestamp(std::int64_t milliseconds) {
    using namespace std::chrono;
    const sys_time<std::chrono::milliseconds> time{std::chrono::milliseconds(milliseconds)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d.%03d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
    return text.data();
}

std::string WithoutControls(std::string_view text) {
    std::string safe;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        // U+0080 to U+009F, which are controls too, are C2 followed by that number.
        const bool wide = byte == 0xC2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xA0;
        if (byte < 0x20 || byte == 0x7F || wide) {
            safe += '?';
            at += wide ? 1 : 0;
        } else {
            safe += text[at];
        }
    }
    return safe;
}

std::string FormatNumber(std::int64_t number) {
    std::string digits = std::to_string(number);
    const std::size_t first = number < 0 ? 1 : 0;
    for (std::size_t at = digits.size(); at > first + 3;) {
        at -= 3;
        digits.insert(at, ",");
    }
    return digits;
}

std::string FormatChangeLine(const Change& change, LineStyle style) {
    std::string kind(ChangeKindName(change.kind));
    const std::string padding(kind.size() < kKindColumn ? kKindColumn - kind.size() : 0, ' ');
    std::string line = Coloured(style, kDim, FormatTimestamp(change.timestamp)) + "  " +
                       Coloured(style, ColourOf(change.kind), kind) + padding + "  " + WithoutControls(change.path);
    if ((change.attributes & kDirectory) != 0) {
        line += '\\';
    }
    if (!change.originalPath.empty()) {
        line += "  " + Coloured(style, kDim, "(was " + WithoutControls(change.originalPath) + ")");
    }
    return line;
}

std::string FormatChangeJson(const Change& change) {
    Json::Value root(Json::objectValue);
    root["id"] = Json::Value::Int64{change.id};
    root["time"] = FormatTimestamp(change.timestamp);
    root["timestamp"] = Json::Value::Int64{change.timestamp};
    root["kind"] = std::string(ChangeKindName(change.kind));
    root["reason"] = Json::Value::Int{change.kind};
    root["path"] = change.path;
    root["originalPath"] = change.originalPath;
    root["attributes"] = Json::Value::UInt{change.attributes};
    root["directory"] = (change.attributes & kDirectory) != 0;
    root["frn"] = Json::Value::UInt64{change.frn};
    root["oldfrn"] = Json::Value::UInt64{change.oldfrn};
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, root);
}

}  // namespace tavi::client
