// SPDX-License-Identifier: MIT
// Packed dates, spans and week dates: one stored form for exact values and for patterns that repeat.
//
//   date and time, 5 bytes      time span, 5 bytes          week date, 3 bytes
//   bits  0- 5  second           0- 5  second                0- 2  day of the week
//         8-13  minute           8-13  minute                4- 6  week of the month
//        14-18  hour            14-18  hour                  8-11  month
//        19-23  day             19-38  days                 12-23  year - 1900
//        24-27  month              39  1: the days count
//        28-39  year - 1900           back
//
// Bit 0 is the lowest of byte 0. A field may hold a wildcard: a second or minute from 61 on, an hour from 25
// on, the day 0, a month from 13 on, a year from 240 on, a week or weekday of 7. The days of a span have
// none.
#pragma once

#include <bxd/types.h>

constexpr u32 kDateSize = 5;  // bytes of a date, and of a span
constexpr u32 kWeekDateSize = 3;

// What two packed values are, for the compares below.
constexpr u8 kTimeDate = 0;
constexpr u8 kTimeSpan = 1;
constexpr u8 kTimeWeekDate = 2;

extern "C" {

// The fields of a value, 0 for a wildcard; the digit is the size of the value in bytes. A year counts from
// 1900, so that 1900 itself reads as a wildcard, and so does a month of 0. Hours, minutes, seconds, weeks
// and weekdays read one higher than they are stored. GETWEEK1WC is the day of the week, GETWEEK2WC the week
// of the month.
u32 GETYEAR5WC(const u8* value);
u32 GETYEAR3WC(const u8* value);
u32 GETMONTH5WC(const u8* value);
u32 GETMONTH3WC(const u8* value);
u32 GETHOURWC(const u8* value);
u32 GETMINUTEWC(const u8* value);
u32 GETSECONDWC(const u8* value);
u32 GETWEEK1WC(const u8* value);
u32 GETWEEK2WC(const u8* value);

// -1, 0 or 1 as the card's value lies before the other, is equal to it, or lies behind it; 0 in any other
// mode. The search passes over the fields that are wildcards in the condition; to the sort a wildcard is
// the lowest value of its field.
i32 TimeDataSearch(const u8* card, const u8* cond, u8 mode);
i32 TimeDataSort(const u8* card, const u8* other, u8 mode);

// 1 if any field of the date, or of the week date, reads as a wildcard.
u32 CheckWildCardTime(const u8* value);
u32 CheckWildCardWeek(const u8* value);
}
