// SPDX-License-Identifier: MIT
// Tests of a search condition on items that are no texts, the tests for blanks, and dates as texts.
//
//   condition   .. [ kind ][ operator ][ value type ] [ value ] ..
//                    -3       -2           -1           0, where `value` points
//
//   item        on a missing value                      on one of another length
//   date        as if all its fields were wildcards     false
//   week date   likewise                                false
//   span        as if it were five bytes 0              false
//   number      false                                   false
//   bits        false                                   its first byte counts
//   bytes       0x91 and 0x92 with 0xFE are true        any length; the first 260 count
//
// All give 1 for true and 0 for false; what cannot be read is false, and so is an operator that the type does
// not have.
#pragma once

#include <bxd/types.h>

extern "C" {

// The item's `len` bytes at addr of the file against the value.
u32 SearchCmpBit(u8 boxId, i32 addr, u16 len, const u8* value);
u32 SearchCmpDate(u8 boxId, i32 addr, u16 len, const u8* value);
u32 SearchCmpTime(u8 boxId, i32 addr, u16 len, const u8* value);
u32 SearchCmpWeek(u8 boxId, i32 addr, u16 len, const u8* value);
u32 SearchCmpUint(u8 boxId, i32 addr, u16 len, const u8* value);
u32 SearchCmpUlong(u8 boxId, i32 addr, u16 len, const u8* value);  // all four bytes count, as in no sort
u32 SearchCmpUchar(u8 boxId, i32 addr, u16 len, const u8* value);
// A set of bytes, of which 0xFE and 0xFF are empty places, against one byte c:
//   0x90 is it c alone   0x92 does it hold c; for 0xFE: does it hold nothing   0x98, 0x9A are all >= c, <= c
u32 SearchCmpBarray(u8 boxId, i32 addr, u16 len, const u8* value);

// 1 if a Shift-JIS text has nothing but bytes up to 0x20 and full-width spaces (81 40); 0 too for a failed
// read.
u32 SearchAllBlank(u8 boxId, u32 addr, u32 len);
// The same of UTF-8, where the full-width space is U+3000. A character across two slices of 256 bytes loses
// its first bytes with the first slice, and what is left of it is no blank.
u32 SearchAllBlankUtf8(u8 boxId, u32 addr, u16 len);

// Packed values as text, with a byte 0 behind it; they give the place of that byte. A wildcard comes out as
// spaces of the width of its field, and so does what else reads as one: a year 1900, a month or day 0.
u8* YMDToAsc(const u8* value, u8* out);                 // "20040309", 9 bytes with the end
u8* HMSToAsc(const u8* value, u8* out, u8 twelveHour);  // "235959", 7 bytes; "115959" with twelveHour
u8* YMSYToAsc(const u8* value, u8* out);                // year, month, week, weekday: "20040320", 9 bytes
// "+1903235959", 12 bytes: 1900 and the days, of which the lowest four digits are written, and the clock. The
// sign is that of out[0] before the call, '-' for 0x80 and above: clear it for a '+'.
u8* DHMSToAsc(const u8* value, u8* out);
}

namespace bxd {

constexpr u32 kTimeTextMax = 16;  // room for any of these texts: a date and its clock have 14 bytes

// A value of a card in the file; `held` are its bytes where they are in memory already, else null.
struct StoredValue {
    u8 fid;
    u32 addr;
    u32 len;
    const u8* held;

    // `count` bytes from `offset` on, which lie in the value.
    bool read(u32 offset, void* buf, u32 count) const;
};

bool TestBits(const StoredValue& card, const u8* value);
bool TestDate(const StoredValue& card, const u8* value);
bool TestSpan(const StoredValue& card, const u8* value);
bool TestWeekDate(const StoredValue& card, const u8* value);
// Numbers of 1, 2 or 4 bytes.
bool TestNumber(const StoredValue& card, const u8* value, u32 size);
bool TestBytes(const StoredValue& card, const u8* value);
bool IsBlankSjis(const StoredValue& card);
bool IsBlankUtf8(const StoredValue& card);

// A test of bits on a byte in memory (SearchCmpAttr).
bool MatchBits(u8 bits, const u8* value, u8 op);

}  // namespace bxd
