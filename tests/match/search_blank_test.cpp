// SPDX-License-Identifier: MIT
// What is blank, and dates as texts.
#include "tests/match/search_value_case.h"

namespace {

using namespace searchtest;
using sorttest::Date;
using sorttest::Span;
using sorttest::WeekDate;

class SearchBlank : public SearchValueCase {
protected:
    u32 sjis(const Bytes& value)
    {
        store(value);
        return SearchAllBlank(fid(), kAt, static_cast<u32>(value.size()));
    }
    u32 utf8(const Bytes& value)
    {
        store(value);
        return SearchAllBlankUtf8(fid(), kAt, static_cast<u16>(value.size()));
    }
};

const Bytes kWide = {0x81, 0x40};
const Bytes kWideUtf8 = {0xE3, 0x80, 0x80};

Bytes Spaces(size_t n) { return Bytes(n, ' '); }

TEST_F(SearchBlank, BytesUpToTheSpaceAreBlank)
{
    for (u32 byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(sjis({static_cast<u8>(byte)}), byte <= 0x20 ? 1u : 0u) << byte;
        EXPECT_EQ(utf8({static_cast<u8>(byte)}), byte <= 0x20 ? 1u : 0u) << byte;
        EXPECT_EQ(sjis({0x81, static_cast<u8>(byte)}), byte == 0x40 ? 1u : 0u) << byte;
        EXPECT_EQ(sjis({static_cast<u8>(byte), 0x40}), byte == 0x81 ? 1u : 0u) << byte;
    }
    EXPECT_EQ(sjis({}), 1u);
    EXPECT_EQ(utf8({}), 1u);
}

TEST_F(SearchBlank, EveryUtf8CharacterOfUpToThreeBytesIsJudged)
{
    for (u32 c = 0; c < 0x10000; c += c < 0x3010 ? 1 : 97) {
        Bytes text = c < 0x80 ? Bytes{static_cast<u8>(c)}
                     : c < 0x800
                         ? Bytes{static_cast<u8>(0xC0 | c >> 6), static_cast<u8>(0x80 | (c & 63))}
                         : Bytes{static_cast<u8>(0xE0 | c >> 12), static_cast<u8>(0x80 | (c >> 6 & 63)),
                                 static_cast<u8>(0x80 | (c & 63))};
        ASSERT_EQ(bxd::IsBlankUtf8({0, 0, static_cast<u32>(text.size()), text.data()}),
                  c <= 0x20 || c == 0x3000)
            << c;
    }
}

TEST_F(SearchBlank, ALetterAnywhereIsFound)
{
    for (size_t at : {0u, 1u, 255u, 256u, 257u, 511u, 512u, 699u}) {
        Bytes text = Spaces(700);
        EXPECT_EQ(sjis(text), 1u);
        EXPECT_EQ(utf8(text), 1u);
        text[at] = 'x';
        EXPECT_EQ(sjis(text), 0u) << at;
        EXPECT_EQ(utf8(text), 0u) << at;
    }
}

TEST_F(SearchBlank, AShiftJisSpaceMayLieAcrossTwoSlices)
{
    EXPECT_EQ(sjis(Spaces(255) + kWide), 1u);
    EXPECT_EQ(sjis(Spaces(254) + kWide + kWide), 1u);
    EXPECT_EQ(sjis(Spaces(511) + kWide + Spaces(9)), 1u);
    EXPECT_EQ(sjis(Spaces(255) + Bytes{0x81, 0x41}), 0u);
    EXPECT_EQ(sjis(Spaces(255) + Bytes{0x81, ' '}), 0u);
    EXPECT_EQ(sjis(Spaces(254) + Bytes{0x81, 0x40, 0x40}), 0u);
}

TEST_F(SearchBlank, ALeadByteAtTheEndIsNoBlank)
{
    for (size_t before : {0u, 1u, 254u, 255u, 256u, 511u}) {
        EXPECT_EQ(sjis(Spaces(before) + Bytes{0x81}), 0u) << before;
        EXPECT_EQ(utf8(Spaces(before) + Bytes{0xE3}), 0u) << before;
        EXPECT_EQ(utf8(Spaces(before) + Bytes{0xE3, 0x80}), 0u) << before;
    }
}

TEST_F(SearchBlank, AUtf8SpaceAcrossTwoSlicesIsNoBlank)
{
    EXPECT_EQ(utf8(Spaces(253) + kWideUtf8), 1u);
    EXPECT_EQ(utf8(Spaces(253) + kWideUtf8 + kWideUtf8), 1u);
    EXPECT_EQ(utf8(Spaces(254) + kWideUtf8), 0u);
    EXPECT_EQ(utf8(Spaces(255) + kWideUtf8), 0u);
    EXPECT_EQ(utf8(Spaces(256) + kWideUtf8), 1u);
    // Its first bytes go with the slice, and what follows them stands alone.
    EXPECT_EQ(utf8(Spaces(255) + Bytes{0xE3} + Spaces(3)), 1u);
    EXPECT_EQ(utf8(Spaces(255) + Bytes{0xE3} + B("x")), 0u);
}

TEST_F(SearchBlank, WhatCannotBeReadIsNotBlank)
{
    store(Spaces(300));
    EXPECT_EQ(SearchAllBlank(fid(), kAt, 300), 1u);
    EXPECT_EQ(SearchAllBlank(fid(), kAt, 301), 0u);
    EXPECT_EQ(SearchAllBlankUtf8(fid(), kAt, 301), 0u);
    EXPECT_EQ(SearchAllBlank(fid(), kAt + 300, 1), 0u);
}

// --- dates as texts --------------------------------------------------------------------------------------

using Renderer = u8* (*)(const u8* value, u8* out);

// The text, which ends where the renderer says and has a byte 0 there; `first` is what stood in the buffer.
std::string Rendered(Renderer render, const Bytes& value, u8 first = 0)
{
    u8 out[16];
    std::fill(std::begin(out), std::end(out), u8{0xEE});
    out[0] = first;
    const u8* end = render(value.data(), out);
    EXPECT_EQ(*end, 0);
    EXPECT_EQ(end[1], 0xEE) << "more was written than the text";
    return boxtest::Text(Bytes(static_cast<const u8*>(out), end));
}
u8* Clock24(const u8* value, u8* out) { return HMSToAsc(value, out, 0); }
u8* Clock12(const u8* value, u8* out) { return HMSToAsc(value, out, 1); }

Bytes DateBytes(const Date& date) { return FirstOf(date, 5); }
Bytes SpanBytes(const Span& span) { return FirstOf(span, 5); }
Bytes WeekBytes(const WeekDate& week) { return FirstOf(week, 3); }

TEST(SearchRender, ADateIsEightDigits)
{
    EXPECT_EQ(Rendered(YMDToAsc, DateBytes({104, 3, 9, 0, 0, 0})), "20040309");
    EXPECT_EQ(Rendered(YMDToAsc, DateBytes({239, 12, 31, 24, 60, 60})), "21391231");
    EXPECT_EQ(Rendered(YMDToAsc, DateBytes({1, 1, 1, 0, 0, 0})), "19010101");
}

TEST(SearchRender, AWildcardIsSpacesOfItsWidth)
{
    EXPECT_EQ(Rendered(YMDToAsc, DateBytes({240, 3, 9, 0, 0, 0})), "    0309");
    EXPECT_EQ(Rendered(YMDToAsc, DateBytes({0, 3, 9, 0, 0, 0})), "    0309");
    EXPECT_EQ(Rendered(YMDToAsc, DateBytes({104, 13, 9, 0, 0, 0})), "2004  09");
    EXPECT_EQ(Rendered(YMDToAsc, DateBytes({104, 3, 0, 0, 0, 0})), "200403  ");
    EXPECT_EQ(Rendered(YMDToAsc, {0x3F, 0xFF, 0x07, 0xFF, 0x0F}), "        ");
    EXPECT_EQ(Rendered(Clock24, {0x3F, 0xFF, 0x07, 0xFF, 0x0F}), "      ");
    EXPECT_EQ(Rendered(Clock24, DateBytes({104, 3, 9, 25, 0, 0})), "  0000");
    EXPECT_EQ(Rendered(Clock24, DateBytes({104, 3, 9, 0, 61, 0})), "00  00");
    EXPECT_EQ(Rendered(Clock24, DateBytes({104, 3, 9, 0, 0, 61})), "0000  ");
}

TEST(SearchRender, AClockIsSixDigitsInTwentyFourHoursOrTwelve)
{
    for (u32 hour = 0; hour <= 24; ++hour) {
        char want[8];
        (void)snprintf(want, sizeof want, "%02u0760", hour);
        EXPECT_EQ(Rendered(Clock24, DateBytes({104, 3, 9, hour, 7, 60})), want);
        const u32 twelve = hour > 12 ? hour - 12 : hour == 0 ? 12 : hour;
        (void)snprintf(want, sizeof want, "%02u0760", twelve);
        EXPECT_EQ(Rendered(Clock12, DateBytes({104, 3, 9, hour, 7, 60})), want);
    }
    EXPECT_EQ(Rendered(Clock12, DateBytes({104, 3, 9, 31, 7, 60})), "  0760");
}

TEST(SearchRender, AWeekDateIsEightDigitsOfItsFieldsAsStored)
{
    EXPECT_EQ(Rendered(YMSYToAsc, WeekBytes({104, 3, 2, 1})), "20040321");
    EXPECT_EQ(Rendered(YMSYToAsc, WeekBytes({104, 12, 0, 6})), "20041206");
    EXPECT_EQ(Rendered(YMSYToAsc, WeekBytes({104, 3, 7, 1})), "200403 1");
    EXPECT_EQ(Rendered(YMSYToAsc, WeekBytes({104, 3, 2, 7})), "2004032 ");
    EXPECT_EQ(Rendered(YMSYToAsc, WeekBytes({240, 13, 7, 7})), "        ");
}

TEST(SearchRender, ASpanCountsItsDaysFrom1900)
{
    EXPECT_EQ(Rendered(DHMSToAsc, SpanBytes({3, 23, 59, 58})), "+1903235958");
    EXPECT_EQ(Rendered(DHMSToAsc, SpanBytes({0, 0, 0, 0})), "+1900000000");
    EXPECT_EQ(Rendered(DHMSToAsc, SpanBytes({8100, 0, 0, 0})), "+0000000000");
    EXPECT_EQ(Rendered(DHMSToAsc, SpanBytes({0xFFFFF, 31, 63, 63})), "+0475      ");
}

TEST(SearchRender, TheSignOfASpanIsThatOfTheBuffer)
{
    EXPECT_EQ(Rendered(DHMSToAsc, SpanBytes({-3, 1, 2, 3})), "+1903010203");
    EXPECT_EQ(Rendered(DHMSToAsc, SpanBytes({-3, 1, 2, 3}), 0x7F), "+1903010203");
    EXPECT_EQ(Rendered(DHMSToAsc, SpanBytes({3, 1, 2, 3}), 0x80), "-1903010203");
    EXPECT_EQ(Rendered(DHMSToAsc, SpanBytes({3, 1, 2, 3}), 0xFF), "-1903010203");
}

}  // namespace
