// SPDX-License-Identifier: MIT
#include "match/bxd_time.h"

namespace {

constexpr u32 kYearEnd = 240;  // the first value of each field that is a wildcard
constexpr u32 kMonthEnd = 13;
constexpr u32 kHourEnd = 25;
constexpr u32 kSixtyEnd = 61;  // of minutes and seconds

constexpr u32 Below(u32 field, u32 end) { return field < end ? field : 0; }
constexpr u32 OneUpBelow(u32 field, u32 end) { return field < end ? field + 1 : 0; }

// The day of a date needs no reader of its own: 0 is the wildcard as it is stored.
u32 Day(const u8* value) { return value[2] >> 3u; }

// The days of a span, negative where they count back. 0 days have no sign.
i32 SpanDays(const u8* value)
{
    i32 days = value[2] >> 3 | value[3] << 5 | (value[4] & 0x7F) << 13;
    return (value[4] & 0x80) != 0 ? -days : days;
}

// How a field of the card stands to the other one; 0 where it decides nothing.
template <bool kWildcards>
i32 Field(u32 card, u32 other)
{
    if (card == other || (kWildcards && other == 0)) { return 0; }
    return card > other ? 1 : -1;
}

template <bool kWildcards>
i32 CompareClock(const u8* card, const u8* other)
{
    i32 result = Field<kWildcards>(GETHOURWC(card), GETHOURWC(other));
    if (result == 0) { result = Field<kWildcards>(GETMINUTEWC(card), GETMINUTEWC(other)); }
    if (result == 0) { result = Field<kWildcards>(GETSECONDWC(card), GETSECONDWC(other)); }
    return result;
}

template <bool kWildcards>
i32 CompareDate(const u8* card, const u8* other)
{
    i32 result = Field<kWildcards>(GETYEAR5WC(card), GETYEAR5WC(other));
    if (result == 0) { result = Field<kWildcards>(GETMONTH5WC(card), GETMONTH5WC(other)); }
    if (result == 0) { result = Field<kWildcards>(Day(card), Day(other)); }
    return result != 0 ? result : CompareClock<kWildcards>(card, other);
}

// The clock of a span does not take part in its sign: -3 days 5 hours lie below -3 days 6 hours.
template <bool kWildcards>
i32 CompareSpan(const u8* card, const u8* other)
{
    i32 days = SpanDays(card);
    i32 otherDays = SpanDays(other);
    if (days != otherDays) { return days > otherDays ? 1 : -1; }
    return CompareClock<kWildcards>(card, other);
}

template <bool kWildcards>
i32 CompareWeekDate(const u8* card, const u8* other)
{
    i32 result = Field<kWildcards>(GETYEAR3WC(card), GETYEAR3WC(other));
    if (result == 0) { result = Field<kWildcards>(GETMONTH3WC(card), GETMONTH3WC(other)); }
    if (result == 0) { result = Field<kWildcards>(GETWEEK2WC(card), GETWEEK2WC(other)); }
    if (result == 0) { result = Field<kWildcards>(GETWEEK1WC(card), GETWEEK1WC(other)); }
    return result;
}

template <bool kWildcards>
i32 Compare(const u8* card, const u8* other, u8 mode)
{
    switch (mode) {
    case kTimeDate: return CompareDate<kWildcards>(card, other);
    case kTimeSpan: return CompareSpan<kWildcards>(card, other);
    case kTimeWeekDate: return CompareWeekDate<kWildcards>(card, other);
    default: return 0;
    }
}

}  // namespace

extern "C" {

u32 GETYEAR5WC(const u8* value) { return Below(value[3] >> 4u | static_cast<u32>(value[4]) << 4, kYearEnd); }
u32 GETYEAR3WC(const u8* value) { return Below(value[1] >> 4u | static_cast<u32>(value[2]) << 4, kYearEnd); }
u32 GETMONTH5WC(const u8* value) { return Below(value[3] & 0x0Fu, kMonthEnd); }
u32 GETMONTH3WC(const u8* value) { return Below(value[1] & 0x0Fu, kMonthEnd); }
u32 GETHOURWC(const u8* value) { return OneUpBelow(value[1] >> 6u | (value[2] & 0x07u) << 2, kHourEnd); }
u32 GETMINUTEWC(const u8* value) { return OneUpBelow(value[1] & 0x3Fu, kSixtyEnd); }
u32 GETSECONDWC(const u8* value) { return OneUpBelow(value[0] & 0x3Fu, kSixtyEnd); }
u32 GETWEEK1WC(const u8* value) { return (value[0] + 1u) & 0x07u; }
u32 GETWEEK2WC(const u8* value) { return ((value[0] >> 4u) + 1u) & 0x07u; }

i32 TimeDataSearch(const u8* card, const u8* cond, u8 mode) { return Compare<true>(card, cond, mode); }
i32 TimeDataSort(const u8* card, const u8* other, u8 mode) { return Compare<false>(card, other, mode); }

u32 CheckWildCardTime(const u8* value)
{
    bool wild = GETYEAR5WC(value) == 0 || GETMONTH5WC(value) == 0 || Day(value) == 0 ||
                GETHOURWC(value) == 0 || GETMINUTEWC(value) == 0 || GETSECONDWC(value) == 0;
    return wild ? 1 : 0;
}

u32 CheckWildCardWeek(const u8* value)
{
    bool wild =
        GETYEAR3WC(value) == 0 || GETMONTH3WC(value) == 0 || GETWEEK2WC(value) == 0 || GETWEEK1WC(value) == 0;
    return wild ? 1 : 0;
}
}
