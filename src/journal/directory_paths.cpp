#include "journal/directory_paths.h"

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

// Refused while anybody holds the directory without sharing its deletion, as every process holds its current directory.
const DirectoryPaths::Opening DirectoryPaths::kForEverything = {platform::kGenericAll,
                                                                platform::kFileShareRead | platform::kFileShareWrite};
// Granted whoever holds the directory.
const DirectoryPaths::Opening DirectoryPaths::kForItsAttributes = {
    platform::kFileReadAttributes, platform::kFileShareRead | platform::kFileShareWrite | platform::kFileShareDelete};

ParentPaths::Validity DirectoryPaths::GetFullPathByFileReferenceNumber(platform::FileReferenceNumber number,
                                                                       const PathMapping* mapping,
                                                                       std::u16string& path) {
    path.clear();
    platform_.clock.WsetlocaleAll(u"chs");
    const Answer answer = Ask(number, kForEverything, path);
    if (answer == Answer::kNamed) {
        return Validity::kWholeRead;
    }
    if (answer == Answer::kNoFunction) {
        return Validity::kThisRecord;
    }
    if (mapping != nullptr) {
        path = mapping->BuildPathFromMapping(number);
    }
    if (path.empty() && answer == Answer::kNotOpened) {
        Ask(number, kForItsAttributes, path);
    }
    return Validity::kThisRecord;
}

DirectoryPaths::Answer DirectoryPaths::Ask(platform::FileReferenceNumber number, const Opening& opening,
                                           std::u16string& path) {
    if (!LookUp("NtCreateFile", ntCreateFile_)) {
        return Answer::kNoFunction;
    }
    const platform::OwnedHandle directory(platform_.files, Open(number, opening));
    if (!directory.IsValid()) {
        return Answer::kNotOpened;
    }
    if (!LookUp("NtQueryInformationFile", ntQueryInformationFile_)) {
        return Answer::kNoFunction;
    }
    return QueryName(directory.Get(), path) ? Answer::kNamed : Answer::kNotNamed;
}

bool DirectoryPaths::LookUp(const char* name, platform::ProcAddress& function) const {
    if (function == platform::kNoProcAddress) {
        const platform::ModuleHandle ntdll = platform_.modules.GetModuleHandleW(u"ntdll.dll");
        if (ntdll != platform::kNoModule) {
            function = platform_.modules.GetProcAddress(ntdll, name);
        }
    }
    return function != platform::kNoProcAddress;
}

platform::Handle DirectoryPaths::Open(platform::FileReferenceNumber number, const Opening& opening) const {
    platform::NtOpenById request;
    request.rootDirectory = volume_;
    request.fileReferenceNumber = number;
    request.objectAttributes = platform::kObjCaseInsensitive;
    request.desiredAccess = opening.desiredAccess;
    request.fileAttributes = platform::kFileAttributeNormal;
    request.shareAccess = opening.shareAccess;
    request.createDisposition = platform::kNtFileOpen;
    request.createOptions = platform::kFileOpenByFileId;
    platform::Handle opened = platform::kInvalidHandle;
    const std::int32_t status = platform_.nativeCalls.NtCreateFile(ntCreateFile_, request, opened);
    return Succeeded(status) ? opened : platform::kInvalidHandle;
}

bool DirectoryPaths::QueryName(platform::Handle directory, std::u16string& path) const {
    std::array<std::byte, kAnswerBytes> answer{};
    const std::int32_t status = platform_.nativeCalls.NtQueryInformationFile(ntQueryInformationFile_, directory, answer,
                                                                             platform::kFileNameInformation);
    if (!Succeeded(status)) {
        const std::uint32_t code = platform_.errors.GetLastError();
        Drive::kFileChangeRecordLog.Error("GetFullPathByFileReferenceNumber",
                                          "Failed to query the file information, error code is ", code);
        return false;
    }
    TakeName(answer, path);
    return true;
}

}  // namespace tavi::journal
