#include "records/cycle/system_step_world.h"

#include <cstddef>
#include <span>

#include "imports/file_helper.h"
#include "platform/constants.h"
#include "platform/owned_handle.h"
#include "platform/owned_memory.h"
#include "records/cycle/directory_listing.h"

namespace tavi::records {
namespace {

constexpr std::size_t kInformationBytes = 65'536;  // allocated
constexpr std::size_t kInformationLength = 1024;   // offered to the query

}  // namespace

SystemStepWorld::~SystemStepWorld() {
    if (cloudFiles_ != platform::kNoModule) {
        platform_.modules.FreeLibrary(cloudFiles_);
    }
}

bool SystemStepWorld::IsPlaceholder(const std::u16string& relativePath) {
    const std::u16string path = FileHepler::FormatLongFileName(ListenPath() + u'\\' + relativePath);
    if (!platform_.paths.PathFileExistsW(path)) {
        return false;
    }
    constexpr std::uint32_t kShareAll =
        platform::kFileShareRead | platform::kFileShareWrite | platform::kFileShareDelete;
    const platform::OwnedHandle file(
        platform_.files, platform_.files.CreateFileW(path, platform::kFileReadAttributes, kShareAll,
                                                     platform::kOpenExisting, platform::kFileFlagOverlapped));
    return file.IsValid() && AskForPlaceholder(file.Get());
}

bool SystemStepWorld::AskForPlaceholder(platform::Handle file) {
    const platform::OwnedMemory memory(platform_.heap, kInformationBytes);
    if (!memory || !LookUpPlaceholderQuery()) {
        return false;
    }
    const std::span<std::byte> information(static_cast<std::byte*>(memory.get()), kInformationLength);
    const std::int32_t result = platform_.cloudFiles.CfGetPlaceholderInfo(
        cfGetPlaceholderInfo_, file, platform::kCfPlaceholderInfoStandard, information);
    return result >= platform::kSOk;
}

bool SystemStepWorld::LookUpPlaceholderQuery() {
    if (cloudFiles_ == platform::kNoModule) {
        cloudFiles_ = platform_.modules.LoadLibraryExW(u"cldapi.dll", platform::kLoadLibrarySearchSystem32);
    }
    if (cloudFiles_ != platform::kNoModule && cfGetPlaceholderInfo_ == platform::kNoProcAddress) {
        cfGetPlaceholderInfo_ = platform_.modules.GetProcAddress(cloudFiles_, "CfGetPlaceholderInfo");
    }
    return cfGetPlaceholderInfo_ != platform::kNoProcAddress;
}

std::vector<std::u16string> SystemStepWorld::ListAllEntries(const std::u16string& fullDirectoryPath) {
    return records::ListAllEntries(platform_.paths, fullDirectoryPath);
}

std::uint64_t SystemStepWorld::GetFrnByPath(const std::u16string& fullPath) {
    return FileHepler::GetFrnByPath(platform_, fullPath);
}

std::uint32_t SystemStepWorld::AttributesOrAllOnes(const std::u16string& fullPath) {
    const std::u16string path = FileHepler::FormatLongFileName(fullPath);
    constexpr int kExists = 0;
    if (platform_.paths.Waccess(path, kExists) != 0) {
        return platform::kInvalidFileAttributes;
    }
    return platform_.paths.GetFileAttributesW(path);
}

}  // namespace tavi::records
