// SPDX-License-Identifier: MIT
// A sort key: one item by which the cards of an index are ordered, and what of it the pivot holds, the one
// card that the others are compared with.
//
//   the value of the pivot    [ 0 ......... 63 ][ 64 ............ len - 1 ]
//                               head              tail, for texts
//                             first: a text's first character, or five bytes of anything else
//
// An array of keys, highest priority first, ends with a key of type 0.
#pragma once

#include "match/bxd_text_char.h"
#include "storage/text.h"

constexpr u32 kSortHeadSize = 64;
constexpr u32 kSortFirstSize = 5;
constexpr u32 kSortValueMax = 0xFFFF;  // bytes of a value that take part in a compare

// Bytes that a key takes of the budget for an array of them, and the budget that every sort gives: the rest
// is for the end, so that there are 12 keys at most.
constexpr u16 kSortKeyCost = 84;
constexpr u16 kSortBudget = 1024;
constexpr u32 kSortKeysMax = (kSortBudget - 1) / kSortKeyCost;
constexpr u32 kSortKeyArray = kSortKeysMax + 1;  // records of an array for that budget

// Item types, as the item table of a box has them. The others have no order.
constexpr u8 kItemEnd = 0;        // no item: the end of an array of keys
constexpr u8 kItemText = 1;       // Shift-JIS
constexpr u8 kItemDate = 4;       // 5 bytes, packed
constexpr u8 kItemSpan = 5;       // 5 bytes, packed
constexpr u8 kItemBits = 6;       // the first byte counts
constexpr u8 kItemWeekDate = 7;   // 3 bytes, packed
constexpr u8 kItemHalf = 8;       // u16
constexpr u8 kItemByte = 11;      // u8
constexpr u8 kItemText2 = 16;     // Shift-JIS
constexpr u8 kItemTextUtf8 = 17;  // UTF-8
constexpr u8 kItemWord = 18;      // u32
constexpr u8 kItemTypeMax = kItemWord;

// Sort codes. All but texts know two orders only, and take 0x8D for ascending.
constexpr u8 kSortUp = 0x80;           // by language
constexpr u8 kSortDown = 0x81;         //
constexpr u8 kSortBinUp = 0x82;        // texts by their bytes or code points
constexpr u8 kSortBinDown = 0x83;      //
constexpr u8 kSortBinUp2 = 0x8C;       //
constexpr u8 kSortBinTextDown = 0x8D;  // texts alone run downwards

struct SortKey {
    u32 addr;                  // file position of the pivot's item
    u32 len;                   // its bytes; 0 for none
    u8 first[kSortFirstSize];  // of a text a little-endian u16
    u8* tail;                  // bytes beyond the head, or beyond what a long compare has used; or null
    u8 head[kSortHeadSize];    // what the value does not fill of these two fields is 0
    u8 type;
    u8 item;  // number of the item, from 1
    u8 code;
};
using SortCmpCardBuf = SortKey;  // its name where an array of them is passed on

namespace bxd {

constexpr bool IsLegalSortCode(u8 code)
{
    return (code >= kSortUp && code <= kSortBinDown) || code == kSortBinUp2 || code == kSortBinTextDown;
}

constexpr bool IsSjisText(u8 type) { return type == kItemText || type == kItemText2; }
constexpr bool IsText(u8 type) { return IsSjisText(type) || type == kItemTextUtf8; }
constexpr bool IsBinaryOrder(u8 code) { return code >= kSortBinUp; }
constexpr bool IsDownwards(u8 code) { return code == kSortDown || code == kSortBinDown; }

// The code of the first character of a text of at least one byte: its sort code, or in binary order its code
// point, or its two bytes where they form a pair.
inline u16 FirstOfSjis(u8 code, const u8* text, u32 length)
{
    u8 second = length > 1 ? text[1] : u8{0};
    u16 used = 0;
    if (!IsBinaryOrder(code)) { return SortCodeSjis(text, length, second, &used); }
    bool pair = Is2byteDakuon(static_cast<u16>(text[0] | second << 8)) != 0;
    return static_cast<u16>(text[0] << 8 | (pair ? second : 0));
}
inline u16 FirstOfUtf8(u8 code, const u8* text, u32 length)
{
    u16 used = 0;
    return IsBinaryOrder(code) ? CodePointUtf8(text, length, &used) : SortCodeUtf8(text, length, &used);
}

}  // namespace bxd
