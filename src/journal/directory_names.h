// A directory's path from its file reference number: opened by that number relative to the volume, then asked for its
// name. The two functions live in ntdll, which every process has loaded, and are looked up by name; once found they are
// kept. The handle is closed before the call returns, so that none stays open below the listened folder. Listen thread
// only. Layouts: Microsoft's documentation of NtCreateFile (FILE_OPEN_BY_FILE_ID) and FILE_NAME_INFORMATION.
#pragma once

#include <cstdint>
#include <string>

#include "journal/batch_decoder.h"
#include "platform/platform.h"

namespace tavi::journal {

class DirectoryNames : public ParentSource {
public:
    explicit DirectoryNames(platform::Platform& platform) : platform_(platform) {}

    // The volume to look in; not owned.
    void SetVolume(platform::Handle volume) { volume_ = volume; }
    // Paths longer than the system's answer buffer (526 code units) count as gone.
    Answer AskForPath(std::uint64_t fileReferenceNumber, std::u16string& path) override;

private:
    bool LookUp(const char* name, platform::ProcAddress& function) const;
    platform::Handle Open(std::uint64_t fileReferenceNumber) const;
    Answer AskForName(platform::Handle directory, std::u16string& path);

    platform::Platform& platform_;
    platform::Handle volume_ = platform::kInvalidHandle;
    platform::ProcAddress ntCreateFile_ = platform::kNoProcAddress;
    platform::ProcAddress ntQueryInformationFile_ = platform::kNoProcAddress;
};

}  // namespace tavi::journal
