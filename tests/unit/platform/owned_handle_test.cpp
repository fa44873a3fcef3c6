#include "platform/owned_handle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "unit/platform/unused_files.h"

namespace tavi::platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ClosingFiles : public UnusedFiles {
public:
    bool CloseHandle(Handle handle) override {
        closed.push_back(handle);
        return true;
    }

    std::vector<Handle> closed;
};

TEST(OwnedHandle, ClosesItsHandleOnce) {
    ClosingFiles files;
    {
        OwnedHandle owner(files, Handle{7});
        EXPECT_TRUE(owner.IsValid());
        owner.Close();
        EXPECT_FALSE(owner.IsValid());
    }
    EXPECT_THAT(files.closed, ElementsAre(Handle{7}));
}

TEST(OwnedHandle, MovingHandsTheHandleOn) {
    ClosingFiles files;
    {
        OwnedHandle first(files, Handle{7});
        const OwnedHandle second(std::move(first));
        EXPECT_EQ(second.Get(), Handle{7});
    }
    EXPECT_THAT(files.closed, ElementsAre(Handle{7}));
}

TEST(OwnedHandle, MoveAssignmentClosesTheOldHandle) {
    ClosingFiles files;
    OwnedHandle target(files, Handle{1});
    target = OwnedHandle(files, Handle{2});
    EXPECT_THAT(files.closed, ElementsAre(Handle{1}));
    EXPECT_EQ(target.Get(), Handle{2});
}

TEST(OwnedHandle, NullAndInvalidHandlesAreNeverClosed) {
    ClosingFiles files;
    {
        const OwnedHandle nothing;
        const OwnedHandle null(files, kNullHandle);
        const OwnedHandle invalid(files, kInvalidHandle);
        EXPECT_FALSE(nothing.IsValid() || null.IsValid() || invalid.IsValid());
    }
    EXPECT_THAT(files.closed, IsEmpty());
}

}  // namespace
}  // namespace tavi::platform
