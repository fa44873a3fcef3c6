// Request frames as a client builds them, and as no client should. For the tests of the channel and of the service.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavi::test {

using Bytes = std::vector<std::byte>;

inline void AppendLittleEndian32(Bytes& bytes, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::byte>((value >> shift) & 0xFFU));
    }
}

inline std::uint32_t LittleEndian32(const Bytes& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= std::to_integer<std::uint32_t>(bytes.at(offset + i)) << (8 * i);
    }
    return value;
}

// A header with any length field, and any payload behind it.
inline Bytes RawFrame(std::uint32_t totalLength, std::uint32_t command, std::size_t payloadBytes = 0) {
    Bytes frame;
    AppendLittleEndian32(frame, totalLength);
    AppendLittleEndian32(frame, command);
    frame.resize(frame.size() + payloadBytes);
    return frame;
}

inline Bytes Frame(std::uint32_t command, std::u16string_view text = {}) {
    Bytes frame = RawFrame(static_cast<std::uint32_t>(8 + 2 * text.size()), command);
    for (const char16_t unit : text) {
        frame.push_back(static_cast<std::byte>(unit & 0xFFU));
        frame.push_back(static_cast<std::byte>(unit >> 8U));
    }
    return frame;
}

// The start command's object; values are put between quotation marks as they are.
inline std::u16string StartJson(std::u16string_view userId, std::u16string_view listenPath,
                                std::u16string_view databasePath, std::u16string_view interval = u"1") {
    std::u16string json(u"{\"userId\":\"");
    json.append(userId).append(u"\",\"listenPath\":\"");
    const auto appendPath = [&json](std::u16string_view path) {
        for (const char16_t unit : path) {
            json.append(unit == u'\\' ? 2 : 1, unit);
        }
    };
    appendPath(listenPath);
    json.append(u"\",\"databasePath\":\"");
    appendPath(databasePath);
    json.append(u"\",\"recordSplitInterval\":").append(interval).append(u"}");
    return json;
}

}  // namespace tavi::test
