// SPDX-License-Identifier: MIT
// Packed dates, spans and week dates: their fields, their wildcards and their two compares.
#include "match/bxd_time.h"

#include <algorithm>
#include <random>

#include "tests/match/packed_time.h"

namespace {

using sorttest::Date;
using sorttest::Packed;
using sorttest::Span;
using sorttest::WeekDate;

TEST(PackedTime, EveryFieldOfADateIsReadFromItsBits)
{
    const Packed value = Date{104, 3, 9, 14, 37, 58};  // 9 March 2004, 14:37:58
    EXPECT_EQ(GETYEAR5WC(value.data()), 104u);
    EXPECT_EQ(GETMONTH5WC(value.data()), 3u);
    EXPECT_EQ(value[2] >> 3, 9);
    EXPECT_EQ(GETHOURWC(value.data()), 15u);
    EXPECT_EQ(GETMINUTEWC(value.data()), 38u);
    EXPECT_EQ(GETSECONDWC(value.data()), 59u);
    EXPECT_EQ(value, (Packed{0x3A, 0xA5, 0x4B, 0x83, 0x06}));
}

TEST(PackedTime, EveryFieldOfAWeekDateIsReadFromItsBits)
{
    const Packed value = WeekDate{104, 3, 1, 2};  // the second week of March 2004, Tuesday
    EXPECT_EQ(GETYEAR3WC(value.data()), 104u);
    EXPECT_EQ(GETMONTH3WC(value.data()), 3u);
    EXPECT_EQ(GETWEEK2WC(value.data()), 2u);
    EXPECT_EQ(GETWEEK1WC(value.data()), 3u);
    EXPECT_EQ(value[0], 0x12);
    EXPECT_EQ(value[1], 0x83);
    EXPECT_EQ(value[2], 0x06);
}

TEST(PackedTime, AYearIsAWildcardFrom240OnAndIn1900)
{
    for (u32 year = 0; year < 4096; ++year) {
        const u32 read = year < 240 ? year : 0;
        const Packed date = Date{year, 1, 1, 0, 0, 0};
        const Packed week = WeekDate{year, 1, 0, 0};
        ASSERT_EQ(GETYEAR5WC(date.data()), read) << year;
        ASSERT_EQ(GETYEAR3WC(week.data()), read) << year;
    }
}

TEST(PackedTime, AMonthIsAWildcardFrom13On)
{
    for (u32 month = 0; month < 16; ++month) {
        const u32 read = month < 13 ? month : 0;
        const Packed date = Date{100, month, 1, 0, 0, 0};
        const Packed week = WeekDate{100, month, 0, 0};
        EXPECT_EQ(GETMONTH5WC(date.data()), read) << month;
        EXPECT_EQ(GETMONTH3WC(week.data()), read) << month;
    }
}

TEST(PackedTime, AnHourOf24IsAValueAndReadsAs25)
{
    for (u32 hour = 0; hour < 32; ++hour) {
        const Packed date = Date{100, 1, 1, hour, 0, 0};
        EXPECT_EQ(GETHOURWC(date.data()), hour < 25 ? hour + 1 : 0) << hour;
    }
}

TEST(PackedTime, AMinuteAndASecondOf60AreValues)
{
    for (u32 n = 0; n < 64; ++n) {
        const Packed date = Date{100, 1, 1, 0, n, 63 - n};
        EXPECT_EQ(GETMINUTEWC(date.data()), n < 61 ? n + 1 : 0) << n;
        EXPECT_EQ(GETSECONDWC(date.data()), 63 - n < 61 ? 64 - n : 0) << n;
    }
}

TEST(PackedTime, AWeekOrWeekdayOf7IsAWildcard)
{
    for (u32 n = 0; n < 8; ++n) {
        const Packed week = WeekDate{100, 1, n, 7 - n};
        EXPECT_EQ(GETWEEK2WC(week.data()), (n + 1) % 8) << n;
        EXPECT_EQ(GETWEEK1WC(week.data()), (8 - n) % 8) << n;
    }
}

TEST(PackedTime, ReservedBitsAreNotLookedAt)
{
    Packed date = Date{104, 3, 9, 14, 37, 58};
    Packed marked = date;
    marked[0] |= 0xC0;
    EXPECT_EQ(TimeDataSort(date.data(), marked.data(), kTimeDate), 0);
    EXPECT_EQ(CheckWildCardTime(marked.data()), 0u);
    Packed week = WeekDate{104, 3, 1, 2};
    marked = week;
    marked[0] |= 0x88;
    EXPECT_EQ(TimeDataSort(week.data(), marked.data(), kTimeWeekDate), 0);
    EXPECT_EQ(CheckWildCardWeek(marked.data()), 0u);
}

TEST(WildCard, ADateWithoutOneHasNone)
{
    EXPECT_EQ(CheckWildCardTime(Packed(Date{1, 1, 1, 0, 0, 0}).data()), 0u);
    EXPECT_EQ(CheckWildCardTime(Packed(Date{239, 12, 31, 24, 60, 60}).data()), 0u);
}

TEST(WildCard, AnyFieldOfADateMayBeOne)
{
    for (const Date& date : {Date{240, 1, 1, 0, 0, 0}, Date{0, 1, 1, 0, 0, 0}, Date{4095, 1, 1, 0, 0, 0},
                             Date{100, 13, 1, 0, 0, 0}, Date{100, 0, 1, 0, 0, 0}, Date{100, 1, 0, 0, 0, 0},
                             Date{100, 1, 1, 25, 0, 0}, Date{100, 1, 1, 31, 0, 0}, Date{100, 1, 1, 0, 61, 0},
                             Date{100, 1, 1, 0, 0, 61}, Date{100, 1, 1, 0, 0, 63}}) {
        const Packed value = date;
        EXPECT_EQ(CheckWildCardTime(value.data()), 1u)
            << date.year << ' ' << date.month << ' ' << date.day << ' ' << date.hour;
    }
}

TEST(WildCard, AnyFieldOfAWeekDateMayBeOne)
{
    EXPECT_EQ(CheckWildCardWeek(Packed(WeekDate{1, 1, 0, 0}).data()), 0u);
    EXPECT_EQ(CheckWildCardWeek(Packed(WeekDate{239, 12, 6, 6}).data()), 0u);
    for (const WeekDate& week : {WeekDate{0, 1, 0, 0}, WeekDate{240, 1, 0, 0}, WeekDate{100, 0, 0, 0},
                                 WeekDate{100, 13, 0, 0}, WeekDate{100, 1, 7, 0}, WeekDate{100, 1, 0, 7}}) {
        EXPECT_EQ(CheckWildCardWeek(Packed(week).data()), 1u) << week.year << ' ' << week.month;
    }
}

TEST(TimeData, ALaterDateIsAbove)
{
    // Each differs from the first in one field, and lies behind it.
    const Packed base = Date{100, 6, 15, 12, 30, 30};
    for (const Date& date :
         {Date{101, 1, 1, 0, 0, 0}, Date{100, 7, 1, 0, 0, 0}, Date{100, 6, 16, 0, 0, 0},
          Date{100, 6, 15, 13, 0, 0}, Date{100, 6, 15, 12, 31, 0}, Date{100, 6, 15, 12, 30, 31}}) {
        const Packed later = date;
        for (auto* compare : {TimeDataSort, TimeDataSearch}) {
            EXPECT_EQ(compare(later.data(), base.data(), kTimeDate), 1);
            EXPECT_EQ(compare(base.data(), later.data(), kTimeDate), -1);
            EXPECT_EQ(compare(later.data(), later.data(), kTimeDate), 0);
        }
    }
}

TEST(TimeData, ALaterWeekDateIsAbove)
{
    const Packed base = WeekDate{100, 6, 3, 3};
    for (const WeekDate& week :
         {WeekDate{101, 1, 0, 0}, WeekDate{100, 7, 0, 0}, WeekDate{100, 6, 4, 0}, WeekDate{100, 6, 3, 4}}) {
        const Packed later = week;
        for (auto* compare : {TimeDataSort, TimeDataSearch}) {
            EXPECT_EQ(compare(later.data(), base.data(), kTimeWeekDate), 1);
            EXPECT_EQ(compare(base.data(), later.data(), kTimeWeekDate), -1);
            EXPECT_EQ(compare(base.data(), base.data(), kTimeWeekDate), 0);
        }
    }
}

TEST(TimeData, AWildcardOfTheConditionPassesTheFieldOver)
{
    const Packed card = Date{104, 3, 9, 14, 37, 58};
    for (const Date& cond :
         {Date{240, 3, 9, 14, 37, 58}, Date{104, 13, 9, 14, 37, 58}, Date{104, 3, 0, 14, 37, 58},
          Date{104, 3, 9, 25, 37, 58}, Date{104, 3, 9, 14, 61, 58}, Date{104, 3, 9, 14, 37, 61},
          Date{4095, 15, 0, 31, 63, 63}}) {
        EXPECT_EQ(TimeDataSearch(card.data(), Packed(cond).data(), kTimeDate), 0);
    }
    const Packed week = WeekDate{104, 3, 1, 2};
    for (const WeekDate& cond :
         {WeekDate{240, 3, 1, 2}, WeekDate{104, 15, 1, 2}, WeekDate{104, 3, 7, 2}, WeekDate{104, 3, 1, 7}}) {
        EXPECT_EQ(TimeDataSearch(week.data(), Packed(cond).data(), kTimeWeekDate), 0);
    }
}

TEST(TimeData, AYearOf1900InTheConditionIsAWildcard)
{
    const Packed cond = Date{0, 3, 9, 14, 37, 58};
    EXPECT_EQ(TimeDataSearch(Packed(Date{104, 3, 9, 14, 37, 58}).data(), cond.data(), kTimeDate), 0);
    EXPECT_EQ(TimeDataSearch(Packed(Date{104, 4, 9, 14, 37, 58}).data(), cond.data(), kTimeDate), 1);
}

TEST(TimeData, AWildcardOfTheCardIsBelowEveryValue)
{
    const Packed card = Date{104, 13, 9, 14, 37, 58};
    const Packed other = Date{104, 1, 9, 14, 37, 58};
    EXPECT_EQ(TimeDataSearch(card.data(), other.data(), kTimeDate), -1);
    EXPECT_EQ(TimeDataSort(card.data(), other.data(), kTimeDate), -1);
}

TEST(TimeData, ToTheSortAWildcardIsTheLowestValueOfItsField)
{
    const Packed card = Date{104, 3, 9, 14, 37, 58};
    const Packed base = Date{104, 3, 9, 14, 37, 61};
    EXPECT_EQ(TimeDataSort(card.data(), base.data(), kTimeDate), 1);
    EXPECT_EQ(TimeDataSort(base.data(), card.data(), kTimeDate), -1);
    // Two wildcards are one, however they are written.
    EXPECT_EQ(TimeDataSort(Packed(Date{240, 13, 0, 25, 61, 61}).data(),
                           Packed(Date{4095, 15, 0, 31, 63, 63}).data(), kTimeDate),
              0);
}

TEST(TimeData, SpansAreOrderedByTheirDaysThenByTheirClock)
{
    const std::vector<Span> rising = {
        {-1048575, 0, 0, 0}, {-3, 5, 0, 0},   {-3, 6, 0, 0},   {-1, 0, 0, 0},        {0, 0, 0, 0},
        {0, 0, 0, 1},        {0, 0, 1, 0},    {0, 1, 0, 0},    {1, 0, 0, 0},         {31, 0, 0, 0},
        {32, 0, 0, 0},       {8191, 0, 0, 0}, {8192, 0, 0, 0}, {1048575, 24, 60, 60}};
    for (size_t a = 0; a < rising.size(); ++a) {
        for (size_t b = 0; b < rising.size(); ++b) {
            const i32 want = a == b ? 0 : a > b ? 1 : -1;
            const Packed card = rising[a];
            const Packed other = rising[b];
            EXPECT_EQ(TimeDataSort(card.data(), other.data(), kTimeSpan), want) << a << ' ' << b;
            EXPECT_EQ(TimeDataSearch(card.data(), other.data(), kTimeSpan), want) << a << ' ' << b;
        }
    }
}

TEST(TimeData, NoDaysWithASignAreNoDays)
{
    Packed plain = Span{0, 5, 0, 0};
    Packed signedZero = plain;
    signedZero[4] |= 0x80;
    EXPECT_EQ(TimeDataSort(signedZero.data(), plain.data(), kTimeSpan), 0);
    EXPECT_EQ(TimeDataSort(plain.data(), signedZero.data(), kTimeSpan), 0);
    EXPECT_EQ(TimeDataSort(signedZero.data(), Packed(Span{-1, 9, 0, 0}).data(), kTimeSpan), 1);
    EXPECT_EQ(TimeDataSort(signedZero.data(), Packed(Span{0, 6, 0, 0}).data(), kTimeSpan), -1);
}

TEST(TimeData, TheClockOfASpanHasWildcardsAndItsDaysHaveNone)
{
    const Packed card = Span{3, 5, 10, 20};
    EXPECT_EQ(TimeDataSearch(card.data(), Packed(Span{3, 25, 61, 61}).data(), kTimeSpan), 0);
    EXPECT_EQ(TimeDataSearch(card.data(), Packed(Span{3, 25, 10, 21}).data(), kTimeSpan), -1);
    EXPECT_EQ(TimeDataSearch(card.data(), Packed(Span{0, 25, 61, 61}).data(), kTimeSpan), 1);
    EXPECT_EQ(TimeDataSort(card.data(), Packed(Span{3, 25, 61, 61}).data(), kTimeSpan), 1);
}

TEST(TimeData, AnUnknownModeTellsNothingApart)
{
    const Packed a = Date{100, 1, 1, 0, 0, 0};
    const Packed b = Date{200, 2, 2, 2, 2, 2};
    EXPECT_EQ(TimeDataSort(a.data(), b.data(), 3), 0);
    EXPECT_EQ(TimeDataSearch(a.data(), b.data(), 255), 0);
}

// The same from a number of 40 bits.
struct Fields {
    explicit Fields(const Packed& value)
    {
        for (size_t n = value.size(); n-- > 0;) { bits = bits << 8 | value[n]; }
    }
    u32 part(u32 at, u32 width) const { return static_cast<u32>(bits >> at & ((1ull << width) - 1)); }
    u32 upTo(u32 at, u32 width, u32 last) const { return part(at, width) <= last ? part(at, width) + 1 : 0; }
    u32 upToPlain(u32 at, u32 width, u32 last) const { return part(at, width) <= last ? part(at, width) : 0; }

    std::vector<u32> of(u8 mode) const
    {
        if (mode == kTimeWeekDate) {
            return {upToPlain(12, 12, 239), upToPlain(8, 4, 12), upTo(4, 3, 6), upTo(0, 3, 6)};
        }
        std::vector<u32> clock = {upTo(14, 5, 24), upTo(8, 6, 60), upTo(0, 6, 60)};
        std::vector<u32> out = {upToPlain(28, 12, 239), upToPlain(24, 4, 12), part(19, 5)};
        if (mode == kTimeSpan) {
            const u32 days = part(19, 20);
            out = {part(39, 1) != 0 ? (1u << 20) - days : (1u << 20) + days};
        }
        out.insert(out.end(), clock.begin(), clock.end());
        return out;
    }

    std::uint64_t bits = 0;
};

i32 Reference(const Packed& card, const Packed& other, u8 mode, bool wildcards)
{
    const std::vector<u32> a = Fields(card).of(mode);
    const std::vector<u32> b = Fields(other).of(mode);
    for (size_t n = 0; n < a.size(); ++n) {
        if ((wildcards && b[n] == 0) || a[n] == b[n]) { continue; }
        return a[n] > b[n] ? 1 : -1;
    }
    return 0;
}

TEST(TimeData, AnyBytesCompareAsTheirFieldsDo)
{
    std::mt19937 random(4711);
    std::vector<Packed> values;
    for (int n = 0; n < 220; ++n) {
        Packed value{};
        for (u8& byte : value) { byte = static_cast<u8>(random()); }
        // Many that differ in little.
        if (n > 40) { value = values[static_cast<size_t>(n % 20)]; }
        if (n > 40) { value[random() % 5] ^= static_cast<u8>(1u << random() % 8); }
        values.push_back(value);
    }
    for (u8 mode : {kTimeDate, kTimeSpan, kTimeWeekDate}) {
        for (const Packed& a : values) {
            for (const Packed& b : values) {
                ASSERT_EQ(TimeDataSort(a.data(), b.data(), mode), Reference(a, b, mode, false));
                ASSERT_EQ(TimeDataSearch(a.data(), b.data(), mode), Reference(a, b, mode, true));
                ASSERT_EQ(TimeDataSort(a.data(), b.data(), mode), -TimeDataSort(b.data(), a.data(), mode));
            }
            const std::vector<u32> date = Fields(a).of(kTimeDate);
            const std::vector<u32> week = Fields(a).of(kTimeWeekDate);
            ASSERT_EQ(CheckWildCardTime(a.data()), std::count(date.begin(), date.end(), 0u) != 0 ? 1u : 0u);
            ASSERT_EQ(CheckWildCardWeek(a.data()), std::count(week.begin(), week.end(), 0u) != 0 ? 1u : 0u);
        }
    }
}

}  // namespace
