#include "platform/owned_memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/machine.h"

namespace tavi::platform {
namespace {

TEST(OwnedMemory, IsFreedWithItsOwner) {
    sim::Machine machine;
    Platform parts = machine.platform();
    {
        const OwnedMemory memory(parts.heap, 100);
        ASSERT_TRUE(memory);
        EXPECT_EQ(parts.heap.HeapSize(memory.get()), 100U);
        EXPECT_THAT(machine.leaks(), testing::SizeIs(1));
    }
    EXPECT_THAT(machine.leaks(), testing::IsEmpty());
}

TEST(OwnedMemory, IsEmptyAndFreesNothingWhenTheHeapHasNoRoom) {
    sim::Machine machine;
    Platform parts = machine.platform();
    machine.faults().Fail({.call = "Heap.HeapAlloc"});
    {
        const OwnedMemory memory(parts.heap, 100);
        EXPECT_FALSE(memory);
    }
    EXPECT_EQ(machine.faults().calls("Heap.HeapFree"), 0U);
}

TEST(OwnedMemory, ResetFreesTheOldBufferFirst) {
    sim::Machine machine;
    Platform parts = machine.platform();
    OwnedMemory memory(parts.heap, 100);
    memory.Reset();
    EXPECT_THAT(machine.leaks(), testing::IsEmpty());
    memory.Reset(parts.heap.HeapAlloc(200));
    EXPECT_EQ(parts.heap.HeapSize(memory.get()), 200U);
    EXPECT_THAT(machine.leaks(), testing::SizeIs(1));
}

}  // namespace
}  // namespace tavi::platform
