// SPDX-License-Identifier: MIT
// Characters at the end of a value: nothing behind it is read, and none takes more than is left.
#include <gtest/gtest.h>

#include "match/bxd_sort_code.h"
#include "tests/match/letters.h"

namespace {

using namespace matchtest;

using Bounded = u32 (*)(const u8*, u32, u16*);
using Plain = u32 (*)(const u8*, u16*);

// The first character of a value of these bytes, in a block without a byte more.
Read At(Bounded convert, const Bytes& value)
{
    const std::vector<u8> exact(value.begin(), value.end());
    u16 used = 0;
    const u32 code = convert(exact.data(), static_cast<u32>(exact.size()), &used);
    return {code, used};
}

// What the plain form reads, with bytes of `filling` behind the value.
Read Unbounded(Plain convert, const Bytes& value, u8 filling)
{
    const Bytes longer = value + Bytes(4, filling);
    u16 used = 0;
    const u32 code = convert(longer.data(), &used);
    return {code, used};
}

// All values of one byte, and of two.
template <typename Work>
void ForShortValues(Work work)
{
    for (u32 a = 0; a < 0x100; ++a) {
        work(Bytes{static_cast<u8>(a)});
        for (u32 b = 0; b < 0x100; ++b) { work(Bytes{static_cast<u8>(a), static_cast<u8>(b)}); }
    }
}

}  // namespace

TEST(ValueEnd, OfShiftJisALeadByteIsACharacterOfItsOwn)
{
    ForShortValues([](const Bytes& value) {
        const Read read = At(bxd::SortCodeAt, value);
        ASSERT_EQ(read, Unbounded(SortConvChar, value, 0)) << std::hex << u32{value[0]};
        ASSERT_LE(read.bytes, value.size());
    });
    EXPECT_EQ(At(bxd::SortCodeAt, {0x88}), (Read{0x8800, 1}));
    EXPECT_EQ(At(bxd::SortCodeAt, {0xB6}), (Read{0x5160, 1}));
    EXPECT_EQ(At(bxd::SortCodeAt, {0xB6, 0xDE}), (Read{0x5165, 2}));
    EXPECT_EQ(At(bxd::SortCodeAt, {0x88, 0x9F, 'x'}), (Read{0x889F, 2}));
}

TEST(ValueEnd, OfUtf8ACutCharacterTakesWhatIsLeft)
{
    const u32 replaced = SortConvCharUtf8Ja(0xFFFD);
    ForShortValues([replaced](const Bytes& value) {
        const u32 announced = GetBytesUtf8(static_cast<i8>(value[0]));
        const u32 length = static_cast<u32>(value.size());
        if (announced > length) {
            ASSERT_EQ(At(bxd::CodePointAtUtf8, value), (Read{0xFFFD, length}));
            ASSERT_EQ(At(bxd::SortCodeAtUtf8, value), (Read{replaced, length}));
        } else {
            ASSERT_EQ(At(bxd::CodePointAtUtf8, value), Unbounded(SortConvCharUtf8Bin, value, 0x80));
            ASSERT_EQ(At(bxd::SortCodeAtUtf8, value), Unbounded(SortConvCharUtf8, value, 0x80));
        }
    });
}

TEST(ValueEnd, OfUtf8WholeCharactersAreReadToTheLast)
{
    for (u32 c = 0; c < 0x10000; ++c) {
        const Bytes bytes = Utf8(c);
        const u32 length = static_cast<u32>(bytes.size());
        ASSERT_EQ(At(bxd::CodePointAtUtf8, bytes), (Read{c, length}));
        ASSERT_EQ(At(bxd::SortCodeAtUtf8, bytes), (Read{SortConvCharUtf8Ja(c), length}));
    }
}

TEST(ValueEnd, IsReachedByWalkingAnyValue)
{
    const Bytes value = {0xE3, 0x81, 0x8B, 'a', 0xF0, 0x9F, 0x98, 0x80, 0xC3, 0xE3, 0x81};
    const std::vector<u8> exact(value.begin(), value.end());
    for (const Bounded convert : {bxd::SortCodeAt, bxd::SortCodeAtUtf8, bxd::CodePointAtUtf8}) {
        u32 pos = 0;
        while (pos < exact.size()) {
            u16 used = 0;
            (void)convert(exact.data() + pos, static_cast<u32>(exact.size()) - pos, &used);
            ASSERT_GT(used, 0);
            pos += used;
        }
        EXPECT_EQ(pos, exact.size());
    }
}
