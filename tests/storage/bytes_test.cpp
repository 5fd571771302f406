// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "storage/heapwrapper.h"

namespace {

constexpr std::array<u8, 8> kBytes = {0x11, 0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8};

}  // namespace

TEST(ByteAccess, ReadsLittleEndianAtAnyAlignment)
{
    EXPECT_EQ(GET_2BYTES(&kBytes[0]), 0x8211u);
    EXPECT_EQ(GET_2BYTES(&kBytes[1]), 0x9382u);
    EXPECT_EQ(GET_3BYTES(&kBytes[0]), 0x938211u);
    EXPECT_EQ(GET_3BYTES(&kBytes[3]), 0xC6B5A4u);
    EXPECT_EQ(GET_4BYTES(&kBytes[0]), 0xA4938211u);
    EXPECT_EQ(GET_4BYTES(&kBytes[3]), 0xD7C6B5A4u);
}

TEST(ByteAccess, WritesTheLowBytesAndNoOthers)
{
    std::array<u8, 6> out;
    out.fill(0xEE);
    PUT_2BYTES(&out[1], 0xA1B2);
    EXPECT_EQ(out, (std::array<u8, 6>{0xEE, 0xB2, 0xA1, 0xEE, 0xEE, 0xEE}));
    out.fill(0xEE);
    PUT_3BYTES(&out[1], 0xFFA1B2C3);
    EXPECT_EQ(out, (std::array<u8, 6>{0xEE, 0xC3, 0xB2, 0xA1, 0xEE, 0xEE}));
    out.fill(0xEE);
    PUT_4BYTES(&out[1], 0xA1B2C3D4);
    EXPECT_EQ(out, (std::array<u8, 6>{0xEE, 0xD4, 0xC3, 0xB2, 0xA1, 0xEE}));
}

TEST(ByteAccess, EachHasABodyThatCanBeFoundByItsName)
{
    for (const char* name :
         {"GET_2BYTES", "GET_3BYTES", "GET_4BYTES", "PUT_2BYTES", "PUT_3BYTES", "PUT_4BYTES"}) {
        EXPECT_NE(dlsym(RTLD_DEFAULT, name), nullptr) << name;
    }
}

TEST(HeapHandle, LeadsToItsDataWithOneStep)
{
    void** handle = NewHeapHandle(100);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(*handle, handle + 1);
    memset(*handle, 0xAB, 100);
    LockHandle();
    UnLockHandle();
    DisposeHeapHandle(handle);
}

TEST(HeapHandle, MayHaveNoData)
{
    void** handle = NewHeapHandle(0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(*handle, handle + 1);
    DisposeHeapHandle(handle);
}

TEST(HeapHandle, ASizeThatWouldWrapIsRefused)
{
    EXPECT_EQ(NewHeapHandle(UINT32_MAX), nullptr);
    EXPECT_EQ(NewHeapHandle(UINT32_MAX - sizeof(void*) + 1), nullptr);
}

TEST(HeapHandle, NullMayBeDisposedOf) { DisposeHeapHandle(nullptr); }

TEST(HeapBlock, OwnsWhatItTookAndGivesItUp)
{
    bxd::HeapBlock block(16);
    ASSERT_TRUE(block);
    memset(block.data(), 1, 16);
    u8* given = block.release();
    EXPECT_FALSE(block);
    EXPECT_EQ(given[15], 1);
    block.reset(given);
    EXPECT_EQ(block.data(), given);
}
