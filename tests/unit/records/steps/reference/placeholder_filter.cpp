// The placeholder filter, record by record: see src/records/steps/placeholder_filter.cpp.
#include <string>

#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {
namespace {

bool IsPlaceholderRelease(const UsnRecordList& input, std::size_t i) {
    const std::uint32_t pattern[] = {0x80000000, 0x8000, 0x108000, 0x108001, 0x80108001};
    if (input[i].reason != 0x80000000 || i + 5 > input.size()) {
        return false;
    }
    for (std::size_t k = 0; k < 5; ++k) {
        if (input[i + k].reason != pattern[k]) {
            return false;
        }
    }
    return true;
}

bool IsPlaceholderHydration(const UsnRecordList& input, std::size_t i) {
    if (i >= input.size() || input[i].reason != 0x100000) {
        return false;
    }
    if (i + 7 >= input.size() || input[i + 7].reason != 0x80000200) {
        return false;
    }
    const std::u16string name = LastComponent(input[i + 7].filename);
    return IsHydrationName(name) && name.find(LastComponent(input[i].filename)) != std::u16string::npos;
}

}  // namespace

UsnRecordList FilterPlaceholders(const UsnRecordList& input) {
    UsnRecordList output;
    for (std::size_t i = 0; i < input.size();) {
        const UsnRecord& record = input[i];
        if (IsPlaceholderRelease(input, i)) {
            i += 5;
        } else if (record.reason == 0x80100100 || record.reason == 0x80100102) {
            i += 1;
        } else if (record.reason == 0x100000 && IsPlaceholderHydration(input, i)) {
            i += 8;
        } else {
            output.push_back(record);
            output.back().oldfrn = -1;
            i += 1;
        }
    }
    return output;
}

}  // namespace tavi::reference
