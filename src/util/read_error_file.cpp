#include "util/read_error_file.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"

namespace tavi::util {
namespace {

class OpenFile {
public:
    OpenFile(platform::Files& files, const std::u16string& path, std::uint32_t disposition)
        : files_(files),
          handle_(files.CreateFileW(path, platform::kGenericWrite, platform::kFileShareRead, disposition,
                                    platform::kFileAttributeNormal)) {}
    ~OpenFile() {
        if (valid()) {
            files_.CloseHandle(handle_);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    bool valid() const { return handle_ != platform::kInvalidHandle; }
    bool Size(std::int64_t& bytes) { return files_.GetFileSizeEx(handle_, bytes); }
    void Append(std::string_view bytes) {
        std::uint32_t written = 0;
        if (files_.SetFilePointerEx(handle_, 0, platform::kFileEnd)) {
            files_.WriteFile(handle_, std::as_bytes(std::span(bytes.data(), bytes.size())), written);
        }
    }

private:
    platform::Files& files_;
    platform::Handle handle_;
};

// With a blank at the end; empty when it cannot be formatted.
std::u16string TimeText(const platform::SystemTime& time) {
    std::array<char, 200> text{};
    const int length = std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d:%03d ", time.year,
                                     time.month, time.day, time.hour, time.minute, time.second, time.milliseconds);
    return length > 0 ? TypeConvert::StringToWString(text.data()) : std::u16string();
}

// Whether the file has to start again; a file that cannot be opened or measured gets no line.
enum class Outcome { kDone, kTooLarge };

Outcome AppendUnlessTooLarge(platform::Files& files, const std::u16string& path, std::string_view line) {
    OpenFile file(files, path, platform::kOpenAlways);
    std::int64_t bytes = 0;
    if (!file.valid() || !file.Size(bytes)) {
        return Outcome::kDone;
    }
    if (bytes > kReadErrorFileLimit) {
        return Outcome::kTooLarge;
    }
    file.Append(line);
    return Outcome::kDone;
}

void WriteLine(platform::Platform& platform, std::u16string_view message) {
    const std::u16string path = Drive::SyncPanelLog::GetLogPath() + u"\\read_usn_journal_err";
    const std::u16string time = TimeText(platform.clock.GetLocalTime());
    if (time.empty()) {
        return;
    }
    const std::string line = platform.files.WideCharToMultiByteAcp(time + std::u16string(message));
    if (AppendUnlessTooLarge(platform.files, path, line) == Outcome::kTooLarge) {
        OpenFile file(platform.files, path, platform::kTruncateExisting);
        if (file.valid()) {
            file.Append(line);
        }
    }
}

}  // namespace

void WriteReadErrorLine(platform::Platform& platform, std::u16string_view message) {
    try {
        WriteLine(platform, message);
    } catch (...) {  // as for every other failure here
    }
}

}  // namespace tavi::util
