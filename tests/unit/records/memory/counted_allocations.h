// The program's operator new and delete, which count the bytes that are in use. What a library allocates with malloc
// is not counted.
#pragma once

#include <cstddef>

namespace tavi::records::testing {

// Bytes in use now, and at most since the last reset. Of all threads together.
std::size_t BytesInUse();
std::size_t PeakOfBytesInUse();
void ResetPeak();

}  // namespace tavi::records::testing
