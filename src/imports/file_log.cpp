#include "imports/file_log.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>

#include "imports/rotating_log_file.h"
#include "imports/type_convert.h"
#include "platform/constants.h"

namespace Drive {

namespace {

enum Kind : std::size_t { kError, kTrace, kNet, kSync, kKinds };

constexpr std::array<std::u16string_view, kKinds> kFileNames = {u"error.log", u"trace.log", u"net.log", u"sync.log"};

// Rotation happens between entries, so an entry's size is what a file may exceed its bound by.
constexpr std::size_t kLargestEntry = kLargestSyncLogEntry;

#ifdef _WIN32
constexpr char16_t kSeparator = u'\\';
#else
constexpr char16_t kSeparator = u'/';
#endif

// The library's file names are narrow on one system and wide on the other.
template <typename FileName>
FileName ToFileName(std::u16string_view path) {
    if constexpr (sizeof(typename FileName::value_type) == 1) {
        return TypeConvert::UnicodeToUTF8(path);
    } else {
        return FileName(path.begin(), path.end());
    }
}

std::string OnOneLine(std::string_view message) {
    std::string line(message);
    std::ranges::replace_if(
        line, [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return line;
}

// The first part of the text that makes an entry: all of it, or as many whole lines as fit, or as much as fits without
// cutting a character.
std::size_t EntryLength(std::string_view text) {
    if (text.size() <= kLargestEntry) {
        return text.size();
    }
    const std::size_t lineEnd = text.rfind('\n', kLargestEntry - 1);
    if (lineEnd != std::string_view::npos) {
        return lineEnd + 1;
    }
    std::size_t length = kLargestEntry;
    while (length > kLargestEntry - 4 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
        --length;
    }
    return length;
}

class RotatingSink final : public spdlog::sinks::base_sink<std::mutex> {
public:
    RotatingSink(spdlog::filename_t path, const LogBounds& bounds)
        : file_(std::move(path), bounds.fileBytes, bounds.olderFiles) {}

private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t entry;
        formatter_->format(message, entry);
        file_.Write(entry);
    }
    void flush_() override {}  // every entry is

    RotatingLogFile file_;
};

std::unique_ptr<spdlog::logger> OpenLogger(const std::u16string& path, const LogBounds& bounds) {
    auto sink = std::make_shared<RotatingSink>(ToFileName<spdlog::filename_t>(path), bounds);
    auto logger = std::make_unique<spdlog::logger>(std::string(), std::move(sink));
    logger->set_pattern("%Y-%m-%d %H:%M:%S.%e [%t] %v");
    logger->set_level(spdlog::level::trace);
    logger->set_error_handler([](const std::string&) {});  // a service has nobody else to tell
    return logger;
}

}  // namespace

struct Drive::FileLog::Files {
    void Open(const std::u16string& folder, const FileLogBounds& limits) {
        const std::lock_guard lock(opening);
        for (std::size_t kind = 0; kind < kKinds; ++kind) {
            if (ready[kind].load(std::memory_order_relaxed) == nullptr) {
                OpenOne(kind, folder, kind == kSync ? limits.dumps : limits.lines);
            }
        }
    }

    void OpenOne(std::size_t kind, const std::u16string& folder, const LogBounds& limits) {
        try {
            owned[kind] = OpenLogger(std::u16string(folder).append(1, kSeparator).append(kFileNames[kind]), limits);
            ready[kind].store(owned[kind].get(), std::memory_order_release);
        } catch (const std::exception&) {
            // The other files may open; this one is tried again with the next Init.
        }
    }

    void Write(Kind kind, std::string_view entry) {
        if (spdlog::logger* logger = ready[kind].load(std::memory_order_acquire)) {
            logger->log(spdlog::level::info, spdlog::string_view_t(entry.data(), entry.size()));
        }
    }

    FileLogBounds bounds;
    std::mutex opening;
    std::array<std::unique_ptr<spdlog::logger>, kKinds> owned;
    // What the writers see: set once, after the logger is complete.
    std::array<std::atomic<spdlog::logger*>, kKinds> ready{};
};

FileLog::FileLog(std::u16string folder, FileLogBounds bounds)
    : folder_(std::move(folder)), files_(std::make_unique<Files>()) {
    files_->bounds = bounds;
}

FileLog::~FileLog() = default;

void FileLog::Init() {
    if (!folder_.empty()) {
        files_->Open(folder_, files_->bounds);
    }
}

void FileLog::WriteErrorLog(std::string_view classTag, std::string_view function, std::string_view message) try {
    files_->Write(
        kError,
        OnOneLine(std::string("[").append(classTag).append("] [").append(function).append("] ").append(message)));
} catch (const std::exception&) {
    return;  // no memory for the line
}

void FileLog::WriteTraceLog(std::string_view message) try {
    files_->Write(kTrace, OnOneLine(message));
} catch (const std::exception&) {
    return;
}

void FileLog::WriteNetLog(std::string_view message) try {
    files_->Write(kNet, OnOneLine(message));
} catch (const std::exception&) {
    return;
}

void FileLog::WriteSyncLog(std::string_view category, std::string_view label, std::string_view text) try {
    const std::string heading = OnOneLine(std::string("[").append(category).append("] ").append(label)) + "\n";
    do {
        const std::size_t length = EntryLength(text);
        files_->Write(kSync, heading + std::string(text.substr(0, length)));
        text.remove_prefix(length);
    } while (!text.empty());
} catch (const std::exception&) {
    return;
}

std::u16string FileLog::GetLogPath() {
    return folder_;
}

std::u16string ServiceLogFolder(tavi::platform::Platform& platform) {
    namespace system = tavi::platform;
    std::u16string folder;
    if (platform.paths.SHGetFolderPathW(system::kCsidlCommonAppData, folder) != system::kSOk) {
        return {};
    }
    for (const std::u16string_view name : {u"\\ZenloTavi", u"\\Log"}) {
        folder.append(name);
        const std::uint32_t attributes = platform.paths.GetFileAttributesW(folder);
        if (attributes != system::kInvalidFileAttributes && (attributes & system::kFileAttributeReparsePoint) != 0) {
            return {};
        }
    }
    return folder;
}

}  // namespace Drive
