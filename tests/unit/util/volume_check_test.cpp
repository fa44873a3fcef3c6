#include "util/volume_check.h"

#include <gtest/gtest.h>

#include "sim/captured_log.h"
#include "sim/machine.h"

namespace tavi::util {
namespace {

class VolumeCheck : public ::testing::Test {
protected:
    bool Check(std::u16string_view path) { return IsNtfsFileSystemBasedOnPath(platform_, path); }
    bool Says(const char* message) {
        const bool only = log_.Lines().size() == 1 && log_.HasError("Util", "IsNtfsFileSystemBasedOnPath:", message);
        log_.Clear();
        return only;
    }

    sim::Machine machine_;
    sim::CapturedLog log_;
    platform::Platform platform_ = machine_.platform();
};

TEST_F(VolumeCheck, NtfsIsAcceptedAndLoggedToo) {
    machine_.files().SetFileSystem(u'C', u"NTFS");
    EXPECT_TRUE(Check(u"C:\\Sync\\folder"));
    EXPECT_TRUE(Says("the file system is NTFS"));
    EXPECT_TRUE(Check(u"C:"));
    EXPECT_TRUE(Says("the file system is NTFS"));
}

TEST_F(VolumeCheck, PathWithoutAColonIsRejected) {
    for (const char16_t* path : {u"", u"\\\\server\\share", u"Sync"}) {
        EXPECT_FALSE(Check(path));
        EXPECT_TRUE(Says("not find the colon"));
    }
    EXPECT_EQ(machine_.faults().calls("Volumes.GetVolumeInformationW"), 0U);
}

TEST_F(VolumeCheck, OnlyTheExactNameMatches) {
    for (const char16_t* name : {u"ntfs", u"Ntfs", u"NTFS2", u"NTFS ", u"NTF", u"", u"FAT32", u"ReFS"}) {
        machine_.files().SetFileSystem(u'D', name);
        EXPECT_FALSE(Check(u"D:\\Sync"));
        EXPECT_TRUE(Says("the file system is not NTFS"));
    }
}

TEST_F(VolumeCheck, VolumeThatCannotBeAskedIsRejected) {
    machine_.faults().Fail({.call = "Volumes.GetVolumeInformationW"});
    EXPECT_FALSE(Check(u"C:\\Sync"));
    EXPECT_TRUE(Says("get disk info error"));
}

TEST_F(VolumeCheck, FirstColonDecides) {
    machine_.files().SetFileSystem(u'C', u"NTFS");
    EXPECT_TRUE(Check(u"C:\\Sync:D:\\x"));
}

}  // namespace
}  // namespace tavi::util
