#include "windows/platform/windows_world.h"

#include <windows.h>

#include <array>
#include <filesystem>

#include "platform/windows/wide_text.h"

namespace tavi::contract {

namespace {

// In its long form, which is what the system answers when it is asked for an open directory's name: an account with a
// long name often has the short one in its environment.
std::u16string TemporaryFolder() {
    std::array<wchar_t, MAX_PATH + 1> named{};
    ::GetTempPathW(static_cast<DWORD>(named.size()), named.data());
    std::array<wchar_t, 1024> lengthened{};
    const DWORD length = ::GetLongPathNameW(named.data(), lengthened.data(), static_cast<DWORD>(lengthened.size()));
    return platform::FromWide(length == 0 || length >= lengthened.size() ? named.data() : lengthened.data());
}

}  // namespace

WindowsWorld::WindowsWorld() {
    static int worlds = 0;
    folder_ = TemporaryFolder() + u"TaviContract" +
              platform::FromWide(std::to_wstring(::GetCurrentProcessId()) + L"_" + std::to_wstring(++worlds));
    windows_.Parts().paths.SHCreateDirectoryExW(folder_);
}

WindowsWorld::~WindowsWorld() {
    std::error_code ignored;
    std::filesystem::remove_all(L"\\\\?\\" + platform::ToWide(folder_), ignored);
}

// One by one: the shell's function, which makes the parents too, takes no path of that length.
std::u16string WindowsWorld::LongFolder() const {
    std::u16string path = folder_;
    for (int i = 0; i < 8; ++i) {
        path += u"\\" + std::u16string(50, static_cast<char16_t>(u'a' + i));
        ::CreateDirectoryW((L"\\\\?\\" + platform::ToWide(path)).c_str(), nullptr);
    }
    return path;
}

platform::Handle WindowsWorld::OpenVolume() {
    return windows_.Parts().files.CreateFileW(folder_.substr(0, 3), platform::kFileReadAttributes, 7,
                                              platform::kOpenExisting, platform::kFileFlagBackupSemantics);
}

std::u16string ProgramFolder() {
    platform::WindowsPlatform windows;
    const std::u16string path = windows.Parts().modules.GetModuleFileNameW(32768);
    return path.substr(0, path.rfind(u'\\'));
}

}  // namespace tavi::contract
