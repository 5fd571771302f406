// SPDX-License-Identifier: MIT
#include "storage/text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

u16 Pair(u32 first, u32 second) { return static_cast<u16>(first | second << 8); }

// Every pair of bytes for which `predicate` holds, with a first byte from `low` to `high`.
int Count(int (*predicate)(u16), u32 low, u32 high)
{
    int n = 0;
    for (u32 a = low; a <= high; ++a) {
        for (u32 b = 0; b < 256; ++b) { n += predicate(Pair(a, b)); }
    }
    return n;
}

std::string Number(i32 number, u32 width)
{
    u8 out[20];
    memset(out, '#', sizeof out);
    I2A_0nd(out, number, width);
    return reinterpret_cast<char*>(out);
}

i32 Compare(const char* a, const char* b, u32 n)
{
    return StrICmpN(reinterpret_cast<const u8*>(a), reinterpret_cast<const u8*>(b), n);
}

i32 Match(const char* a, const char* b, u32 n)
{
    return FileStringCompare(reinterpret_cast<const u8*>(a), reinterpret_cast<const u8*>(b), n);
}

}  // namespace

TEST(Is2byte, SingleByteFirstCharactersNeverFormAPair)
{
    EXPECT_EQ(Count(Is2byte, 0x00, 0x7F), 0);
    EXPECT_EQ(Count(Is2byte, 0xA0, 0xDF), 0);
    EXPECT_EQ(Count(Is2byte, 0xFF, 0xFF), 0);
}

TEST(Is2byte, LeadBytesTakeTrailBytesOfTheCode)
{
    for (u32 a : {0x80u, 0x81u, 0x9Fu, 0xE0u, 0xEFu, 0xFAu}) {
        for (u32 b = 0; b < 256; ++b) {
            const bool trail = b >= 0x40 && b != 0x7F && b <= 0xFC;
            EXPECT_EQ(Is2byte(Pair(a, b)), trail ? 1 : 0) << a << " " << b;
        }
    }
    EXPECT_EQ(Count(Is2byte, 0x80, 0x9F), 32 * 188);
    EXPECT_EQ(Count(Is2byte, 0xE0, 0xFA), 27 * 188);
}

TEST(Is2byte, TheLastLeadBytesTakeAllButControlBytes)
{
    for (u32 a = 0xFB; a <= 0xFE; ++a) {
        for (u32 b = 0; b < 256; ++b) { EXPECT_EQ(Is2byte(Pair(a, b)), b >= 0x20 ? 1 : 0) << a << " " << b; }
    }
}

TEST(Is2byte, ThePartnersAreTheOpposite)
{
    for (u32 c = 0; c < 0x10000; ++c) {
        const u16 pair = static_cast<u16>(c);
        ASSERT_NE(Is2byte(pair), C_LOCAL_is_2byte_f(pair)) << c;
        ASSERT_NE(Is2byteDakuon(pair), C_LOCAL_is_2byte_dakuon_f(pair)) << c;
    }
}

TEST(Is2byteDakuon, AddsKatakanaWithTheirVoicingMarksAndNothingElse)
{
    for (u32 c = 0; c < 0x10000; ++c) {
        const u32 a = c & 0xFF;
        const u32 b = c >> 8;
        const bool voiced = (a == 0xB3 || (a >= 0xB6 && a <= 0xC4) || (a >= 0xCA && a <= 0xCE)) && b == 0xDE;
        const bool half = a >= 0xCA && a <= 0xCE && b == 0xDF;
        const u16 pair = static_cast<u16>(c);
        ASSERT_EQ(Is2byteDakuon(pair) != 0, Is2byte(pair) != 0 || voiced || half) << c;
    }
    EXPECT_EQ(Count(Is2byteDakuon, 0xA0, 0xDF), 1 + 15 + 5 * 2);
}

TEST(NumberText, IsPaddedWithZeros)
{
    EXPECT_EQ(Number(0, 3), "000");
    EXPECT_EQ(Number(7, 3), "007");
    EXPECT_EQ(Number(99, 3), "099");
    EXPECT_EQ(Number(2147483647, 10), "2147483647");
    EXPECT_EQ(Number(2147483647, 16), "0000002147483647");
}

TEST(NumberText, KeepsTheLowestDigitsWhereNotAllFit)
{
    EXPECT_EQ(Number(12345, 3), "345");
    EXPECT_EQ(Number(12345, 1), "5");
    EXPECT_EQ(Number(12345, 0), "");
}

TEST(NumberText, ANegativeNumberHasItsSignInTheFirstPlace)
{
    EXPECT_EQ(Number(-5, 3), "-05");
    EXPECT_EQ(Number(-12345, 3), "-45");
    EXPECT_EQ(Number(-1, 1), "-");
    EXPECT_EQ(Number(-1, 0), "");
    EXPECT_EQ(Number(INT32_MIN, 11), "-2147483648");
}

TEST(NumberText, IsAtMostSixteenPlacesWide)
{
    u8 out[32];
    memset(out, '#', sizeof out);
    I2A_0nd(out, 42, 30);
    EXPECT_STREQ(reinterpret_cast<char*>(out), "0000000000000042");
    EXPECT_EQ(out[17], '#');
}

TEST(StrICmpN, CapitalAndSmallLettersAreEqual)
{
    EXPECT_EQ(Compare("AdDreSS", "aDDrEss", 7), 0);
    EXPECT_EQ(Compare("[", "{", 1), 0);
    EXPECT_EQ(Compare("\x01", "!", 1), 0);
}

TEST(StrICmpN, APrefixIsEqual)
{
    EXPECT_EQ(Compare("ADDR", "ADDRESS", 7), 0);
    EXPECT_EQ(Compare("ADDRESS", "", 7), 0);
}

TEST(StrICmpN, LooksAtNoMoreThanItIsTold)
{
    EXPECT_EQ(Compare("ABC", "ABD", 2), 0);
    EXPECT_EQ(Compare("X", "Y", 0), 0);
}

TEST(StrICmpN, TheFirstDifferenceDecidesAsSignedBytes)
{
    EXPECT_EQ(Compare("ABC", "ABD", 3), -1);
    EXPECT_EQ(Compare("ABD", "ABC", 3), 1);
    EXPECT_EQ(Compare("\x81", "A", 1), -1);
    EXPECT_EQ(Compare("A", "\x81", 1), 1);
    EXPECT_EQ(Compare("AZ", "aB", 2), 1);
}

TEST(FileStringCompare, EqualNamesMatch)
{
    EXPECT_EQ(Match("ADDRESS.BOX", "ADDRESS.BOX", 12), 1);
    EXPECT_EQ(Match("ADDRESS.BOX", "address.BOX", 12), 0);
    EXPECT_EQ(Match("A.BOX", "A.IDX", 12), 0);
    EXPECT_EQ(Match("A.BOX", "B.BOX", 12), 0);
}

TEST(FileStringCompare, NothingToCompareMatches) { EXPECT_EQ(Match("A", "B", 0), 1); }

TEST(FileStringCompare, APaddedNameEqualsAnUnpaddedOneOnEitherSide)
{
    EXPECT_EQ(Match("A       .BOX", "A.BOX", 12), 1);
    EXPECT_EQ(Match("A.BOX", "A       .BOX", 12), 1);
    EXPECT_EQ(Match("ADDRESS .BOX", "ADDRESS.BOX", 12), 1);
    EXPECT_EQ(Match("A       .BOX", "A.IDX", 12), 0);
    EXPECT_EQ(Match("A B     .BOX", "A.BOX", 12), 0);
}

TEST(FileStringCompare, BehindTheDotThreePositionsCount)
{
    EXPECT_EQ(Match("A.BOXES", "A.BOXER", 3), 1);
    EXPECT_EQ(Match("A.BOX", "A.BOY", 2), 0);
    EXPECT_EQ(Match("A.BOXabcdefg", "A.BOXhijklmn", 12), 1);
}

TEST(FileStringCompare, ABlankAgainstADotOnTheLastPositionIsNoMatch)
{
    EXPECT_EQ(Match("A .BOX", "A.BOX", 2), 0);
    EXPECT_EQ(Match("A.BOX", "A .BOX", 2), 0);
    EXPECT_EQ(Match("A .BOX", "A.BOX", 3), 1);
}

TEST(FileStringCompare, EndsWhereBothNamesEnd)
{
    EXPECT_EQ(Match("AB", "AB", 100), 1);
    EXPECT_EQ(Match("AB", "ABC", 100), 0);
}
