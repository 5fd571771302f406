// SPDX-License-Identifier: MIT
#include "match/bxd_srch_field.h"

#include <algorithm>
#include <cstring>

#include "match/bxd_srch_walk.h"
#include "match/bxd_time.h"
#include "storage/bxd_file.h"

namespace {

using bxd::StoredValue;

constexpr u32 kSlice = 256;       // bytes that a test for blanks reads at a time
constexpr u32 kBytesMost = 260;   // bytes of a byte array that take part in a test
constexpr u8 kEmptyPlace = 0xFE;  // from here on a place of a byte array is empty
constexpr u32 kYearBase = 1900;
constexpr u8 kNegative = 0x80;

constexpr u8 kAllWild[kDateSize] = {0x3F, 0xFF, 0x07, 0xFF, 0x0F};
constexpr u8 kAllWildWeek[kWeekDateSize] = {0x77, 0xFF, 0x0F};
constexpr u8 kNoSpan[kDateSize] = {};

u8 KindOf(const u8* value) { return value[-3]; }
u8 OperatorOf(const u8* value) { return value[-2]; }

// What an operator says of a compare: negative, 0 or positive as the card lies below, at or above.
bool Holds(u8 op, i32 order)
{
    switch (op) {
    case BXD_OP_EQUAL: return order == 0;
    case BXD_OP_AT_LEAST: return order >= 0;
    case BXD_OP_ABOVE: return order > 0;
    case BXD_OP_AT_MOST: return order <= 0;
    case BXD_OP_BELOW: return order < 0;
    default: return false;
    }
}

StoredValue InFile(u8 boxId, i32 addr, u32 len) { return {boxId, static_cast<u32>(addr), len, nullptr}; }
u32 Answer(bool holds) { return holds ? 1 : 0; }

// The packed value of the card, or what stands in for a missing one; false for another length.
bool Take(const StoredValue& card, u32 size, const u8* missing, u8* out)
{
    if (card.len != 0) { return card.len == size && card.read(0, out, size); }
    std::memcpy(out, missing, size);
    return true;
}

bool TestByMode(const StoredValue& card, const u8* value, u32 size, const u8* missing, u8 mode)
{
    u8 stored[kDateSize] = {};
    if (!Take(card, size, missing, stored)) { return false; }
    bool exact = KindOf(value) == kTestBinary;
    i32 order = exact ? TimeDataSort(stored, value, mode) : TimeDataSearch(stored, value, mode);
    return Holds(OperatorOf(value), order);
}

u32 Number(const u8* bytes, u32 size)
{
    if (size == 1) { return bytes[0]; }
    return size == 2 ? GET_2BYTES(bytes) : GET_4BYTES(bytes);
}

bool IsEmptyPlace(u8 byte) { return byte == 0 || byte >= kEmptyPlace; }

// `width` digits, or as many spaces for a wildcard.
u8* PutField(u8* out, bool wild, u32 number, u32 width)
{
    if (wild) {
        std::memset(out, ' ', width);
        out[width] = 0;
    } else {
        I2A_0nd(out, static_cast<i32>(number), width);
    }
    return out + width;
}

// A field that its reader gives one higher than it is stored.
u8* PutRaised(u8* out, u32 field, u32 width) { return PutField(out, field == 0, field - 1, width); }

u8* PutYear(u8* out, u32 year) { return PutField(out, year == 0, year + kYearBase, 4); }

u32 TwelveHours(u32 hour)
{
    if (hour > 12) { return hour - 12; }
    return hour == 0 ? 12 : hour;
}

}  // namespace

namespace bxd {

bool StoredValue::read(u32 offset, void* buf, u32 count) const
{
    if (held == nullptr) { return ReadExactly(fid, addr + offset, buf, count) == BXD_OK; }
    std::memcpy(buf, held + offset, count);
    return true;
}

bool MatchBits(u8 bits, const u8* value, u8 op)
{
    bool equal = (bits & value[0]) == value[1];
    if (op == BXD_OP_BITS_EQUAL) { return equal; }
    return op == BXD_OP_BITS_DIFFER && !equal;
}

bool TestBits(const StoredValue& card, const u8* value)
{
    u8 bits = 0;
    return card.len != 0 && card.read(0, &bits, sizeof bits) && MatchBits(bits, value, OperatorOf(value));
}

bool TestDate(const StoredValue& card, const u8* value)
{
    return TestByMode(card, value, kDateSize, kAllWild, kTimeDate);
}

bool TestSpan(const StoredValue& card, const u8* value)
{
    // Whatever the kind, wildcards of the condition count.
    u8 stored[kDateSize] = {};
    return Take(card, kDateSize, kNoSpan, stored) &&
           Holds(OperatorOf(value), TimeDataSearch(stored, value, kTimeSpan));
}

bool TestWeekDate(const StoredValue& card, const u8* value)
{
    return TestByMode(card, value, kWeekDateSize, kAllWildWeek, kTimeWeekDate);
}

bool TestNumber(const StoredValue& card, const u8* value, u32 size)
{
    u8 bytes[4] = {};
    if (card.len != size || !card.read(0, bytes, size)) { return false; }
    u32 stored = Number(bytes, size);
    u32 wanted = Number(value, size);
    return Holds(OperatorOf(value), (stored > wanted ? 1 : 0) - (stored < wanted ? 1 : 0));
}

bool TestBytes(const StoredValue& card, const u8* value)
{
    u8 op = OperatorOf(value);
    u8 c = value[0];
    if (card.len == 0) { return c == kEmptyPlace && (op == BXD_OP_BEGINS || op == BXD_OP_CONTAINS); }

    u8 bytes[kBytesMost];
    const u32 count = std::min(card.len, kBytesMost);
    if (!card.read(0, bytes, count)) { return false; }
    u8* const end = bytes + count;
    switch (op) {
    case BXD_OP_EQUAL: return card.len == 1 && bytes[0] == c;
    case BXD_OP_CONTAINS:
        return c == kEmptyPlace ? std::all_of(bytes, end, IsEmptyPlace) : std::find(bytes, end, c) != end;
    case BXD_OP_AT_LEAST: return std::all_of(bytes, end, [c](u8 byte) { return byte >= c; });
    case BXD_OP_AT_MOST: return std::all_of(bytes, end, [c](u8 byte) { return byte <= c; });
    default: return false;
    }
}

bool IsBlankSjis(const StoredValue& card)
{
    constexpr u8 kLead = 0x81;
    constexpr u8 kTrail = 0x40;
    u8 slice[kSlice];
    bool led = false;  // a lead byte has ended the slice before
    for (u32 done = 0; done < card.len;) {
        u32 count = std::min(card.len - done, kSlice);
        if (!card.read(done, slice, count)) { return false; }
        for (u32 i = 0; i < count; ++i) {
            if (led ? slice[i] != kTrail : slice[i] > ' ' && slice[i] != kLead) { return false; }
            led = !led && slice[i] == kLead;
        }
        done += count;
    }
    return !led;
}

bool IsBlankUtf8(const StoredValue& card)
{
    constexpr u16 kWideSpace = 0x3000;
    u8 slice[kSlice];
    for (u32 done = 0; done < card.len;) {
        u32 count = std::min(card.len - done, kSlice);
        if (!card.read(done, slice, count)) { return false; }
        done += count;
        u16 used = 0;
        for (u32 i = 0; i < count; i += used) {
            if (GetBytesUtf8(static_cast<i8>(slice[i])) > count - i) {
                if (done == card.len) { return false; }
                break;
            }
            u16 codePoint = CodePointUtf8(slice + i, count - i, &used);
            if (codePoint > ' ' && codePoint != kWideSpace) { return false; }
        }
    }
    return true;
}

}  // namespace bxd

extern "C" {

u32 SearchCmpBit(u8 boxId, i32 addr, u16 len, const u8* value)
{
    return Answer(bxd::TestBits(InFile(boxId, addr, len), value));
}

u32 SearchCmpDate(u8 boxId, i32 addr, u16 len, const u8* value)
{
    return Answer(bxd::TestDate(InFile(boxId, addr, len), value));
}

u32 SearchCmpTime(u8 boxId, i32 addr, u16 len, const u8* value)
{
    return Answer(bxd::TestSpan(InFile(boxId, addr, len), value));
}

u32 SearchCmpWeek(u8 boxId, i32 addr, u16 len, const u8* value)
{
    return Answer(bxd::TestWeekDate(InFile(boxId, addr, len), value));
}

u32 SearchCmpUint(u8 boxId, i32 addr, u16 len, const u8* value)
{
    return Answer(bxd::TestNumber(InFile(boxId, addr, len), value, sizeof(u16)));
}

u32 SearchCmpUlong(u8 boxId, i32 addr, u16 len, const u8* value)
{
    return Answer(bxd::TestNumber(InFile(boxId, addr, len), value, sizeof(u32)));
}

u32 SearchCmpUchar(u8 boxId, i32 addr, u16 len, const u8* value)
{
    return Answer(bxd::TestNumber(InFile(boxId, addr, len), value, sizeof(u8)));
}

u32 SearchCmpBarray(u8 boxId, i32 addr, u16 len, const u8* value)
{
    return Answer(bxd::TestBytes(InFile(boxId, addr, len), value));
}

u32 SearchAllBlank(u8 boxId, u32 addr, u32 len)
{
    return Answer(bxd::IsBlankSjis({boxId, addr, len, nullptr}));
}

u32 SearchAllBlankUtf8(u8 boxId, u32 addr, u16 len)
{
    return Answer(bxd::IsBlankUtf8({boxId, addr, len, nullptr}));
}

u8* YMDToAsc(const u8* value, u8* out)
{
    u32 month = GETMONTH5WC(value);
    u32 day = value[2] >> 3u;
    out = PutYear(out, GETYEAR5WC(value));
    out = PutField(out, month == 0, month, 2);
    return PutField(out, day == 0, day, 2);
}

u8* HMSToAsc(const u8* value, u8* out, u8 twelveHour)
{
    u32 hour = GETHOURWC(value);
    if (hour != 0 && twelveHour != 0) { hour = TwelveHours(hour - 1) + 1; }
    out = PutRaised(out, hour, 2);
    out = PutRaised(out, GETMINUTEWC(value), 2);
    return PutRaised(out, GETSECONDWC(value), 2);
}

u8* YMSYToAsc(const u8* value, u8* out)
{
    u32 month = GETMONTH3WC(value);
    out = PutYear(out, GETYEAR3WC(value));
    out = PutField(out, month == 0, month, 2);
    out = PutRaised(out, GETWEEK2WC(value), 1);
    return PutRaised(out, GETWEEK1WC(value), 1);
}

u8* DHMSToAsc(const u8* value, u8* out)
{
    out[0] = (out[0] & kNegative) != 0 ? '-' : '+';
    u32 days = value[2] >> 3u | static_cast<u32>(value[3]) << 5 | (value[4] & 0x7Fu) << 13;
    out = PutField(out + 1, false, days + kYearBase, 4);
    return HMSToAsc(value, out, 0);
}
}
