// What the steps may ask about the world outside their lists: cloud placeholders, the contents of a directory,
// reference numbers and attributes. The processing cycle answers from the system, the replay tool from its input, tests
// from tables. Called on the listen thread only; no call fails, each has an answer for "cannot be had".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

namespace tavi::records {

class StepWorld {
public:
    virtual ~StepWorld() = default;

    // The listened folder as the request names it, without a trailing backslash. Full paths below are this, a
    // backslash and the relative path.
    virtual const std::u16string& ListenPath() const = 0;

    // Whether the file is a placeholder of a cloud provider; false when it cannot be opened or asked.
    virtual bool IsPlaceholder(const std::u16string& relativePath) = 0;
    // Full paths of everything below the directory, each beginning with the path that was asked for. A directory is
    // followed by its own contents, unless it was not entered.
    virtual std::vector<std::u16string> ListAllEntries(const std::u16string& fullDirectoryPath) = 0;
    // The file reference number; 0 when it cannot be had.
    virtual platform::FileReferenceNumber GetFrnByPath(const std::u16string& fullPath) = 0;
    // Current attributes; all ones when the entry no longer exists.
    virtual std::uint32_t AttributesOrAllOnes(const std::u16string& fullPath) = 0;
};

}  // namespace tavi::records
