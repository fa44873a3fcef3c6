// The contract of the platform's interfaces, as tests that the real and the simulated implementation both pass. Each
// header holds one typed suite; a program instantiates it with a world of its own:
//
//     struct World {
//         tavi::platform::Platform Parts();
//         std::u16string Folder();                  // an existing, empty directory, without a trailing backslash
//         std::u16string LongFolder();              // the same, of more than 400 code units; without the prefix
//         tavi::platform::Handle OpenVolume();      // what opening by file reference number starts from
//     };
//
// Contract tests use threads only through the platform, so that the simulated machine's clock sees every wait.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/owned_handle.h"
#include "platform/platform.h"

namespace tavi::contract {

inline std::span<const std::byte> BytesOf(std::string_view text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}

// One ReadFile into a buffer of that size; what was read, and the call's result in `done`.
inline std::string ReadOnce(platform::Files& files, platform::Handle handle, std::size_t bufferBytes, bool& done) {
    std::string buffer(bufferBytes, '\0');
    std::uint32_t count = 0;
    done = files.ReadFile(handle, std::as_writable_bytes(std::span(buffer.data(), buffer.size())), count);
    buffer.resize(count);
    return buffer;
}

inline bool WriteAll(platform::Files& files, platform::Handle handle, std::string_view text) {
    std::uint32_t count = 0;
    return files.WriteFile(handle, BytesOf(text), count) && count == text.size();
}

// Creates or replaces a file.
inline bool MakeFile(platform::Files& files, const std::u16string& path, std::string_view text) {
    const platform::OwnedHandle file(files, files.CreateFileW(path, platform::kGenericWrite, 0, platform::kOpenAlways,
                                                              platform::kFileAttributeNormal));
    return file.IsValid() && (text.empty() || WriteAll(files, file.Get(), text));
}

}  // namespace tavi::contract
