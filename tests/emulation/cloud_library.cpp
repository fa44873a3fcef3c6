// The test double of cldapi.dll on machines without it: a file is a cloud placeholder when its final path stands, on a
// line of its own, in placeholders.txt beside the emulated journal's state.
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "journal_store.h"

namespace {

constexpr HRESULT kNotACloudFile = static_cast<HRESULT>(0x80070178L);  // HRESULT_FROM_WIN32(ERROR_NOT_A_CLOUD_FILE)

std::wstring FinalPath(HANDLE file) {
    wchar_t buffer[32768];
    const DWORD length = GetFinalPathNameByHandleW(file, buffer, 32768, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    std::wstring path(buffer, length < 32768 ? length : 0);
    return path.starts_with(L"\\\\?\\") ? path.substr(4) : path;
}

std::string Utf8(const std::wstring& text) {
    std::string result(text.size() * 3, '\0');
    result.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                               result.data(), static_cast<int>(result.size()), nullptr,
                                                               nullptr)));
    return result;
}

}  // namespace

extern "C" __declspec(dllexport) HRESULT WINAPI CfGetPlaceholderInfo(HANDLE file, int /*infoClass*/, void* /*buffer*/,
                                                                     DWORD /*bufferLength*/, DWORD* returnedLength) {
    if (returnedLength != nullptr) {
        *returnedLength = 0;
    }
    const std::string path = Utf8(FinalPath(file));
    std::ifstream marked{std::filesystem::path(tavi::emulation::PlaceholderListPath())};
    for (std::string line; std::getline(marked, line);) {
        if (line == path) {
            return S_OK;
        }
    }
    return kNotACloudFile;
}
