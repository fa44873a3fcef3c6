// Files whose every call fails the test. A fake derives from it and overrides the calls that the code under test may
// make, so that any other one shows.
#pragma once

#include <gtest/gtest.h>

#include "platform/constants.h"
#include "platform/files.h"

namespace tavi::platform {

class UnusedFiles : public Files {
public:
    Handle CreateFileW(const std::u16string&, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) override {
        return Unexpected("CreateFileW", kInvalidHandle);
    }
    bool CloseHandle(Handle) override { return Unexpected("CloseHandle", false); }
    bool ReadFile(Handle, std::span<std::byte>, std::uint32_t&) override { return Unexpected("ReadFile", false); }
    bool WriteFile(Handle, std::span<const std::byte>, std::uint32_t&) override {
        return Unexpected("WriteFile", false);
    }
    bool FlushFileBuffers(Handle) override { return Unexpected("FlushFileBuffers", false); }
    bool GetFileSizeEx(Handle, std::int64_t&) override { return Unexpected("GetFileSizeEx", false); }
    bool SetFilePointerEx(Handle, std::int64_t, std::uint32_t) override {
        return Unexpected("SetFilePointerEx", false);
    }
    bool GetFileInformationByHandle(Handle, FileInformation&) override {
        return Unexpected("GetFileInformationByHandle", false);
    }

protected:
    template <typename Result>
    static Result Unexpected(const char* call, Result result) {
        ADD_FAILURE() << "unexpected call of " << call;
        return result;
    }
};

}  // namespace tavi::platform
