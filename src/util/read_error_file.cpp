#include "util/read_error_file.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

#include "imports/exception_edge.h"
#include "imports/sync_panel_log.h"
#include "imports/type_convert.h"
#include "platform/owned_handle.h"

namespace tavi::util {
namespace {

// With a blank at the end; empty when it cannot be formatted.
std::u16string TimeText(const platform::SystemTime& time) {
    std::array<char, 200> text{};
    const int length = std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d:%03d ", time.year,
                                     time.month, time.day, time.hour, time.minute, time.second, time.milliseconds);
    return length > 0 ? TypeConvert::StringToWString(text.data()) : std::u16string();
}

platform::OwnedHandle OpenForWriting(platform::Files& files, const std::u16string& path, std::uint32_t disposition) {
    return {files, files.CreateFileW(path, platform::kGenericWrite, platform::kFileShareRead, disposition,
                                     platform::kFileAttributeNormal)};
}

// The file, open and of a size to go on with; not valid when the line is to be given up.
platform::OwnedHandle OpenWithinLimit(platform::Files& files, const std::u16string& path) {
    platform::OwnedHandle file = OpenForWriting(files, path, platform::kOpenAlways);
    std::int64_t bytes = 0;
    if (!file.IsValid() || !files.GetFileSizeEx(file.Get(), bytes)) {
        return {};
    }
    if (bytes <= kReadErrorFileLimit) {
        return file;
    }
    file.Close();  // before it is opened again: it is shared for reading only
    return OpenForWriting(files, path, platform::kTruncateExisting);
}

void WriteLine(platform::Platform& platform, std::u16string_view message) {
    const std::u16string folder = Drive::SyncPanelLog::GetLogPath();
    if (folder.empty()) {
        return;  // no log is kept: the file would come to lie in the root of whatever drive is the current one
    }
    const std::u16string time = TimeText(platform.clock.GetLocalTime());
    if (time.empty()) {
        return;
    }
    const std::string line = platform.codePage.WideCharToMultiByteAcp(time + std::u16string(message));
    const platform::OwnedHandle file = OpenWithinLimit(platform.files, folder + u"\\read_usn_journal_err");
    std::uint32_t written = 0;
    if (file.IsValid() && platform.files.SetFilePointerEx(file.Get(), 0, platform::kFileEnd)) {
        platform.files.WriteFile(file.Get(), std::as_bytes(std::span(line.data(), line.size())), written);
    }
}

}  // namespace

void WriteReadErrorLine(platform::Platform& platform, std::u16string_view message) {
    Drive::EndExceptions([&] { WriteLine(platform, message); });
}

}  // namespace tavi::util
