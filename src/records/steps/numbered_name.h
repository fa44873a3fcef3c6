// A file reference number together with a name, as a key of the steps' indexes: the same number may have had several
// names in a batch, and the same name several numbers. The name is a view of a record's text, which must outlive the
// key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "platform/types.h"

namespace tavi::records {

struct NumberedName {
    platform::FileReferenceNumber frn = 0;
    std::u16string_view name;

    friend bool operator==(const NumberedName&, const NumberedName&) = default;
};

struct NumberedNameHash {
    std::size_t operator()(const NumberedName& key) const {
        // An odd multiplier spreads the number, whose high bits (the sequence) and low bits (the index) vary most.
        const std::uint64_t number = (key.frn ^ (key.frn >> 32)) * 0x9E3779B97F4A7C15u;
        return std::hash<std::u16string_view>{}(key.name) ^ static_cast<std::size_t>(number ^ (number >> 29));
    }
};

}  // namespace tavi::records
