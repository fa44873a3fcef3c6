#include "records/cycle/directory_listing.h"

#include <utility>

#include "imports/file_helper.h"
#include "platform/constants.h"

namespace tavi::records {
namespace {

// One enumeration under way. The entries of a directory are listed right after it, so an enumeration is left waiting
// while those below it run; an explicit stack, because a path may be thousands of directories deep.
class Enumeration {
public:
    Enumeration(platform::Paths& paths, std::u16string directory) : paths_(paths), directory_(std::move(directory)) {}
    Enumeration(Enumeration&& other) noexcept
        : paths_(other.paths_),
          directory_(std::move(other.directory_)),
          handle_(std::exchange(other.handle_, platform::kInvalidFindHandle)) {}
    Enumeration& operator=(Enumeration&&) = delete;
    ~Enumeration() {
        if (handle_ != platform::kInvalidFindHandle) {
            paths_.FindClose(handle_);
        }
    }

    bool Next(platform::FindData& data) {
        if (handle_ != platform::kInvalidFindHandle) {
            return paths_.FindNextFileW(handle_, data);
        }
        const std::u16string path = FileHepler::FormatLongFileName(directory_);
        if (paths_.Waccess(path, 0) != 0) {
            return false;
        }
        handle_ = paths_.FindFirstFileW(path + u"\\*.*", data);
        return handle_ != platform::kInvalidFindHandle;
    }

    std::u16string PathOf(const std::u16string& name) const {
        return directory_ + (directory_.ends_with(u'\\') ? u"" : u"\\") + name;
    }

private:
    platform::Paths& paths_;
    std::u16string directory_;
    platform::FindHandle handle_ = platform::kInvalidFindHandle;
};

bool IsReparsePoint(std::uint32_t attributes) {
    return (attributes & platform::kFileAttributeReparsePoint) != 0;
}

// A link or junction stands for another place, maybe one above itself.
bool IsLink(const platform::FindData& data) {
    return IsReparsePoint(data.fileAttributes) && (data.reparseTag & platform::kReparseTagNameSurrogate) != 0;
}

// The same for a directory that no listing has named yet. One that cannot be asked is taken for a link: entries of
// another place would be worse than none.
bool IsLink(platform::Paths& paths, std::u16string directory) {
    while (directory.ends_with(u'\\')) {
        directory.pop_back();
    }
    const std::u16string path = FileHepler::FormatLongFileName(directory);
    const std::uint32_t attributes = paths.GetFileAttributesW(path);
    if (attributes == platform::kInvalidFileAttributes || !IsReparsePoint(attributes)) {
        return false;
    }
    platform::FindData data;
    const platform::FindHandle handle = paths.FindFirstFileW(path, data);
    if (handle == platform::kInvalidFindHandle) {
        return true;
    }
    paths.FindClose(handle);
    return IsLink(data);
}

}  // namespace

std::vector<std::u16string> ListAllEntries(platform::Paths& paths, const std::u16string& directory) {
    std::vector<std::u16string> entries;
    if (IsLink(paths, directory)) {
        return entries;
    }
    std::vector<Enumeration> open;
    open.emplace_back(paths, directory);
    platform::FindData data;
    while (!open.empty()) {
        if (!open.back().Next(data)) {
            open.pop_back();
            continue;
        }
        if (data.fileName == u"." || data.fileName == u"..") {
            continue;
        }
        entries.push_back(open.back().PathOf(data.fileName));
        if (platform::IsDirectory(data.fileAttributes) && !IsLink(data)) {
            open.emplace_back(paths, entries.back());
        }
    }
    return entries;
}

}  // namespace tavi::records
