// A directory's path from its file reference number: opened by that number relative to the volume, then asked for its
// name. When it cannot be, the path is rebuilt from the path mapping. When the mapping does not know it either and the
// opening was refused, the directory may be there, held by somebody: it is opened once more, for its attributes only.
// This is the one place where a journal record's parent is resolved.
//
// Owned by the task's VolumeJournal, which also owns the volume's handle; the mapping is the caller's. Listen thread
// only. A failure shows as an empty path; a failed name query is logged as well. Both functions that are called live in
// ntdll, which every process has loaded; they are looked up by name, and once found they are kept. Every handle is
// closed before the call returns, so that none stays open below the listened folder. Throws nothing but allocation
// failures. Layouts: Microsoft's documentation of NtCreateFile (FILE_OPEN_BY_FILE_ID) and FILE_NAME_INFORMATION.
#pragma once

#include <cstdint>
#include <string>

#include "journal/batch_decoder.h"
#include "platform/platform.h"

namespace tavi::journal {

class DirectoryPaths : public ParentPaths {
public:
    explicit DirectoryPaths(platform::Platform& platform) : platform_(platform) {}

    // The volume to look in; not owned.
    void SetVolume(platform::Handle volume) { volume_ = volume; }

    // kWholeRead when the first opening and its name query have given the path. A path that is longer than the system's
    // answer buffer (526 code units) counts as a failed name query.
    Validity GetFullPathByFileReferenceNumber(platform::FileReferenceNumber number, const PathMapping* mapping,
                                              std::u16string& path) override;

private:
    struct Opening {
        std::uint32_t desiredAccess = 0;
        std::uint32_t shareAccess = 0;
    };
    static const Opening kForEverything;
    static const Opening kForItsAttributes;
    enum class Answer { kNamed, kNotOpened, kNotNamed, kNoFunction };

    // `path` is written with kNamed only.
    Answer Ask(platform::FileReferenceNumber number, const Opening& opening, std::u16string& path);
    bool LookUp(const char* name, platform::ProcAddress& function) const;
    platform::Handle Open(platform::FileReferenceNumber number, const Opening& opening) const;
    bool QueryName(platform::Handle directory, std::u16string& path) const;

    platform::Platform& platform_;
    platform::Handle volume_ = platform::kInvalidHandle;
    platform::ProcAddress ntCreateFile_ = platform::kNoProcAddress;
    platform::ProcAddress ntQueryInformationFile_ = platform::kNoProcAddress;
};

}  // namespace tavi::journal
