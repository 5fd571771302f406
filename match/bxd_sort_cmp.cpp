// SPDX-License-Identifier: MIT
#include "match/bxd_sort_cmp.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_read.h"
#include "match/bxd_sort_cmp_text.h"
#include "match/bxd_time.h"

namespace {

constexpr u32 kHalfSize = 2;
constexpr u32 kByteSize = 1;
constexpr u32 kWordSize = 4;

// The descending codes of all but texts, to which 0x8D is ascending.
u32 Directed(u32 result, u8 code) { return bxd::IsDownwards(code) ? bxd::Turned(result) : result; }

u32 CompareTime(const SortKey* key, const u8* head, u32 len, u8 mode)
{
    u32 result = bxd::CompareEmpty(len, key->len);
    if (len != 0 && key->len != 0) {
        u8 value[kSortFirstSize] = {};
        std::memcpy(value, head, std::min<u32>(len, sizeof value));
        result = static_cast<u32>(BXD_CMP_EQUAL + TimeDataSort(value, key->first, mode));
    }
    return Directed(result, key->code);
}

// `read` tells the number of a value of `size` bytes.
template <typename Read>
u32 CompareNumber(const SortKey* key, const u8* head, u32 len, u32 size, Read read)
{
    if (len != size && key->len != size) { return BXD_CMP_EQUAL; }
    u32 card = len == size ? read(head) : 0;
    u32 pivot = key->len == size ? read(key->first) : 0;
    return Directed(bxd::CompareCodes(card, pivot), key->code);
}

// The item of a key against the card's value. *last is set for a type that has no order: the keys behind it
// do not count.
u32 CompareItem(u8 boxId, u32 addr, SortKey* key, u16 len, const u8* head, bool* last)
{
    switch (key->type) {
    case kItemText:
    case kItemText2: return SortCmpString(boxId, addr, key, len, head);
    case kItemTextUtf8: return SortCmpStringUtf8(boxId, addr, key, len, head);
    case kItemDate: return SortCmpDate(key, head, len);
    case kItemSpan: return SortCmpTime(key, head, len);
    case kItemBits: return SortCmpBit(key, head, len);
    case kItemWeekDate: return SortCmpWeek(key, head, len);
    case kItemHalf: return SortCmpUint(key, head, len);
    case kItemByte: return SortCmpUchar(key, head, len);
    case kItemWord: return SortCmpUlong(key, head, len);
    default: *last = true; return BXD_CMP_EQUAL;
    }
}

}  // namespace

extern "C" {

i32 SortCmpCard(u8 boxId, i32 cardAddr, SortKey* keys)
{
    u32 address = static_cast<u32>(cardAddr);
    u32 result = BXD_CMP_EQUAL;
    bool last = false;
    for (SortKey* key = keys; key->type != kItemEnd && result == BXD_CMP_EQUAL && !last; ++key) {
        if (!bxd::IsPosition(address)) { return 0; }
        u8 head[kSortHeadSize] = {};
        CardItemPlace place = {};
        u32 addr = ReadItemData(boxId, &place, key->item, address, kSortHeadSize, head);
        if (addr == 0) { return 0; }
        if (addr == key->addr) { return BXD_CMP_EQUAL; }
        u16 len = static_cast<u16>(std::min(place.dataLength, kSortValueMax));
        result = CompareItem(boxId, addr, key, len, head, &last);
    }
    return static_cast<i32>(result);
}

u32 SortCmpDate(const SortKey* key, const u8* head, u16 len)
{
    return CompareTime(key, head, len, kTimeDate);
}

u32 SortCmpTime(const SortKey* key, const u8* head, u16 len)
{
    return CompareTime(key, head, len, kTimeSpan);
}

u32 SortCmpWeek(const SortKey* key, const u8* head, u16 len)
{
    return CompareTime(key, head, len, kTimeWeekDate);
}

u32 SortCmpBit(const SortKey* key, const u8* head, u16 len)
{
    u32 result = bxd::CompareEmpty(len, key->len);
    if (len != 0 && key->len != 0) { result = bxd::CompareCodes(head[0], key->first[0]); }
    return Directed(result, key->code);
}

u32 SortCmpUint(const SortKey* key, const u8* head, u16 len)
{
    return CompareNumber(key, head, len, kHalfSize, [](const u8* value) { return u32{GET_2BYTES(value)}; });
}

u32 SortCmpUchar(const SortKey* key, const u8* head, u16 len)
{
    return CompareNumber(key, head, len, kByteSize, [](const u8* value) { return u32{*value}; });
}

u32 SortCmpUlong(const SortKey* key, const u8* head, u16 len)
{
    return CompareNumber(key, head, len, kWordSize, [](const u8* value) { return u32{GET_2BYTES(value)}; });
}
}
