// SPDX-License-Identifier: MIT
// A chain of cards that a lost power has left incomplete is mended before a collection moves it.
#include "box/bxd_chain_mend.h"

#include "box/bxd_garb_collect.h"
#include "box/bxd_garb_image.h"
#include "tests/support/box_case.h"

using namespace boxtest;

namespace {

class ChainMend : public BoxCase {
protected:
    // What card `id` has as its first own item; empty where it cannot be read.
    static std::string valueOf(u32 id)
    {
        OpenBox box(kBox, 1);
        const CardDescriptor key = Key(id, "I000");
        u8 text[64];
        u32 length = sizeof text;
        if (_CardRead(box.handle(), &key, text, &length) != 0) { return {}; }
        return {reinterpret_cast<const char*>(text), length};
    }

    BoxBuilder builder_{NumberedItems(6)};
    u32 add(u32 id, const std::string& value)
    {
        return builder_.card(id, builder_.row({{"I000", B(value)}}));
    }
};

// The chain ends before `pos`, as if the file had been made `gap` bytes longer for a card that never came.
Bytes Parted(const Bytes& file, u32 pos, u32 gap, const std::vector<u32>& idsBehind)
{
    Bytes parted =
        Slice(file, 0, pos) + Bytes{0xFF, 0xFF} + Bytes(gap - 2, 0) + Slice(file, pos, file.size() - pos);
    for (u32 id : idsBehind) {
        const u32 slot = DefaultWordAt(id + 10);
        Put32(parted, slot, Get32(parted, slot) + gap);
    }
    return parted;
}

TEST_F(ChainMend, CardsBehindTheChainsEndAreKeptByACollection)
{
    (void)add(1, "one");
    builder_.dead(60);
    const u32 pos = add(2, "two");
    (void)add(3, "three");
    for (u32 gap : {8u, 9u, 40u, 3000u}) {
        put(Parted(builder_.build(), pos, gap, {2, 3}));
        EXPECT_EQ(_BoxGarbageCollect(kBox), 0u) << gap;
        EXPECT_EQ(valueOf(1), "one");
        EXPECT_EQ(valueOf(2), "two");
        EXPECT_EQ(valueOf(3), "three");
        EXPECT_EQ(FirstFault(get()), "");
        EXPECT_EQ(BoxView(get()).deadBytes(), 0u);
    }
}

TEST_F(ChainMend, AMeasureKeepsThemToo)
{
    (void)add(1, "one");
    builder_.dead(60);
    const u32 pos = add(2, "two");
    put(Parted(builder_.build(), pos, 20, {2}));
    Fid file(kBox, 3);
    u32 garbage = 0;
    u32 tail = 0;
    u16 maxId = 0;
    const u32 start = GetField(get(), hd::cardOffset);
    EXPECT_EQ(FastGetGarbageSize(file.id(), &garbage, &tail, start, &maxId, nullptr), 0u);
    EXPECT_EQ(garbage, 60u + 20);
    EXPECT_EQ(tail, 0u);
    EXPECT_EQ(maxId, 2);
    EXPECT_EQ(valueOf(2), "two");
    EXPECT_EQ(FirstFault(get()), "");
}

TEST_F(ChainMend, WhatNothingLeadsToGoes)
{
    (void)add(1, "one");
    builder_.dead(60);
    const u32 pos = add(2, "two");
    const Bytes whole = builder_.build();
    Bytes parted = Parted(whole, pos, 20, {2});
    Put32(parted, DefaultWordAt(12), 0xFFFFFFFF);
    put(parted);
    EXPECT_EQ(_BoxGarbageCollect(kBox), 0u);
    EXPECT_EQ(get().size(), pos - 60 + 2u);
    EXPECT_EQ(valueOf(1), "one");
}

TEST_F(ChainMend, ASlotThatLeadsToAnotherCardOrIntoOneJoinsNothing)
{
    (void)add(1, "one");
    builder_.dead(60);
    const u32 pos = add(2, "two");
    for (u32 off : {0u, 3u}) {
        Bytes parted = Parted(builder_.build(), pos, 20, {2});
        Put32(parted, DefaultWordAt(13), pos + 20 + off);
        Put32(parted, DefaultWordAt(12), 0xFFFFFFFF);
        put(parted);
        bool joined = true;
        Fid file(kBox, 3);
        EXPECT_EQ(bxd::RejoinChain(file.id(), pos, &joined), 0u);
        EXPECT_FALSE(joined);
        EXPECT_TRUE(SameBytes(parted, get()));
    }
}

TEST_F(ChainMend, AGapThatHoldsNoHeadIsDamage)
{
    (void)add(1, "one");
    const u32 pos = add(2, "two");
    const Bytes parted = Parted(builder_.build(), pos, 5, {2});
    put(parted);
    bool joined = true;
    Fid file(kBox, 3);
    EXPECT_EQ(bxd::RejoinChain(file.id(), pos, &joined), 71u);
    EXPECT_FALSE(joined);
    EXPECT_TRUE(SameBytes(parted, get()));
}

// Two cards of one id: the slot leads to the first or to the second of them.
TEST_F(ChainMend, OfTwoCardsOfOneIdTheOneWithTheSlotStays)
{
    (void)add(1, "one");
    const u32 whole = add(2, "whole");
    (void)add(3, "three");
    const u32 torn = add(2, "torn!");
    for (u32 slot : {whole, torn}) {
        Bytes file = builder_.build();
        Put32(file, DefaultWordAt(12), slot);
        SetField(file, hd::cardCount, 3);
        put(file);
        EXPECT_EQ(_BoxGarbageCollect(kBox), 0u);
        EXPECT_EQ(valueOf(2), slot == whole ? "whole" : "torn!");
        EXPECT_EQ(valueOf(1), "one");
        EXPECT_EQ(valueOf(3), "three");
        EXPECT_EQ(FirstFault(get()), "");
    }
}

TEST_F(ChainMend, AnOffsetCardThatDiedForALargerOneComesBack)
{
    (void)add(1, "one");
    (void)add(600, "six hundred");
    Bytes file = builder_.build();
    const u32 pos = GetField(file, hd::offsetCard);
    ASSERT_NE(pos, 0xFFFFFFFFu);
    Put16(file, pos, 0);
    // One that gave bytes back is longer than the header says.
    for (u32 less : {0u, 128u}) {
        Bytes shrunk = file;
        SetField(shrunk, hd::offsetCardSize, GetField(file, hd::offsetCardSize) - less);
        put(shrunk);
        EXPECT_EQ(_BoxGarbageCollect(kBox), 0u);
        EXPECT_EQ(valueOf(600), "six hundred");
        EXPECT_EQ(Get16(get(), GetField(get(), hd::offsetCard)), 0xFFF2u);
    }
}

}  // namespace
