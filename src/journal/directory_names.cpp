#include "journal/directory_names.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include "imports/class_log.h"
#include "platform/constants.h"
#include "platform/owned_handle.h"

namespace tavi::journal {
namespace {

constexpr std::size_t kAnswerBytes = 1056;
constexpr std::size_t kNameOffset = 4;  // of FILE_NAME_INFORMATION.FileName
constexpr std::size_t kAnswerUnits = (kAnswerBytes - kNameOffset) / sizeof(char16_t);

bool Succeeded(std::int32_t status) {
    return status >= platform::kStatusSuccess;
}

// The zeroed buffer ends the name; the returned length is not needed.
void TakeName(std::span<const std::byte, kAnswerBytes> answer, std::u16string& path) {
    path.resize(kAnswerUnits);
    std::memcpy(path.data(), answer.data() + kNameOffset, kAnswerUnits * sizeof(char16_t));
    path.resize(std::min(path.find(u'\0'), path.size()));
}

}  // namespace

ParentSource::Answer DirectoryNames::AskForPath(std::uint64_t fileReferenceNumber, std::u16string& path) {
    platform_.clock.WsetlocaleAll(u"chs");
    if (!LookUp("NtCreateFile", ntCreateFile_)) {
        return Answer::kNoAnswer;
    }
    platform::OwnedHandle directory(platform_.files, Open(fileReferenceNumber));
    if (!directory.IsValid()) {
        return Answer::kGone;
    }
    if (!LookUp("NtQueryInformationFile", ntQueryInformationFile_)) {
        return Answer::kNoAnswer;
    }
    return AskForName(directory.Get(), path);
}

bool DirectoryNames::LookUp(const char* name, platform::ProcAddress& function) const {
    if (function == platform::kNoProcAddress) {
        const platform::ModuleHandle ntdll = platform_.modules.GetModuleHandleW(u"ntdll.dll");
        if (ntdll != platform::kNoModule) {
            function = platform_.modules.GetProcAddress(ntdll, name);
        }
    }
    return function != platform::kNoProcAddress;
}

platform::Handle DirectoryNames::Open(std::uint64_t fileReferenceNumber) const {
    platform::NtOpenById request;
    request.rootDirectory = volume_;
    request.fileReferenceNumber = fileReferenceNumber;
    request.objectAttributes = platform::kObjCaseInsensitive;
    request.desiredAccess = platform::kGenericAll;
    request.fileAttributes = platform::kFileAttributeNormal;
    request.shareAccess = platform::kFileShareRead | platform::kFileShareWrite;
    request.createDisposition = platform::kNtFileOpen;
    request.createOptions = platform::kFileOpenByFileId;
    platform::Handle opened = platform::kInvalidHandle;
    const std::int32_t status = platform_.files.NtCreateFile(ntCreateFile_, request, opened);
    return Succeeded(status) ? opened : platform::kInvalidHandle;
}

ParentSource::Answer DirectoryNames::AskForName(platform::Handle directory, std::u16string& path) {
    std::array<std::byte, kAnswerBytes> answer{};
    const std::int32_t status = platform_.files.NtQueryInformationFile(ntQueryInformationFile_, directory, answer,
                                                                       platform::kFileNameInformation);
    if (!Succeeded(status)) {
        const std::uint32_t code = platform_.errors.GetLastError();
        Drive::kFileChangeRecordLog.Error("GetFullPathByFileReferenceNumber",
                                          "Failed to query the file information, error code is ", code);
        return Answer::kGone;
    }
    TakeName(answer, path);
    return Answer::kPath;
}

}  // namespace tavi::journal
