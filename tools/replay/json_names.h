// Names in JSON. A name is any sequence of 16-bit units; one that is valid UTF-16 is written as a string, one that
// holds a lone surrogate as an array of its units. Both forms are read.
#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

namespace tavi::replay {

bool HasLoneSurrogate(std::u16string_view name);

// Nothing when the value is neither form, a unit is out of range, or a string is not valid UTF-8.
std::optional<std::u16string> NameFromJson(const Json::Value& value);
std::optional<std::u16string> NameFromUtf8(const std::string& text);
Json::Value NameToJson(std::u16string_view name);

// Whether an escaped surrogate in the text lacks its other half. The parser would make another character of it.
bool HasLoneSurrogateEscape(std::string_view json);

}  // namespace tavi::replay
