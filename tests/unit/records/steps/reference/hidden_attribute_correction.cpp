// The hidden-attribute correction: see src/records/steps/hidden_attribute_correction.cpp.
#include <map>
#include <string>

#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {

UsnRecordList CorrectHiddenAttributes(const UsnRecordList& input) {
    UsnRecordList output;
    std::map<std::u16string, std::size_t> hidden;
    for (std::size_t i = 0; i < input.size(); ++i) {
        const UsnRecord& record = input[i];
        output.push_back(record);
        output.back().oldfrn = -1;
        if ((record.reason & 0x80000000) != 0) {
            continue;
        }
        const bool temporary = IsTemporaryFile(record.fileAttributes, record.filename);
        if ((record.reason & 0x2000) != 0 && IsHidden(record.fileAttributes) && !temporary) {
            hidden[record.filename] = i;
            continue;
        }
        if ((record.reason & 0x8000) != 0 && !IsHidden(record.fileAttributes) && !temporary) {
            const auto found = hidden.find(record.filename);
            if (found != hidden.end()) {
                output[found->second].fileAttributes &= ~std::uint32_t{0x2};
                hidden.erase(found);
            }
        }
    }
    return output;
}

}  // namespace tavi::reference
