// SPDX-License-Identifier: MIT
// Texts in order. By language in two steps: the search codes of all characters and the length decide, and if
// they are equal the first pair of characters with different sort codes, the tie. In binary order Shift-JIS
// goes by its bytes, UTF-8 by its code points.
//
//            head, 64 bytes in memory        the rest, read when the heads are equal
//   card     [ .................... E3 | 81 82 .......... ]    from the file
//   pivot    [ .................... E3 | 81 82 ..... ]         from the file by language, in binary order the
//                                                              tail of the key
//
// A character that the limit of 64 bytes cuts stays for the rest, and is compared there as a whole. Texts
// take part with their first 65535 bytes.
#pragma once

#include <bxd/status.h>

#include "match/bxd_sort_key.h"

extern "C" {

// The value of a card, `len` bytes at itemAddr of the box, of which the first 64 are at head. 0 where a read
// or memory fails.
u32 SortCmpString(u8 boxId, u32 itemAddr, SortKey* key, u16 len, const u8* head);
u32 SortCmpStringUtf8(u8 boxId, u32 itemAddr, SortKey* key, u16 len, const u8* head);

// Whole texts by language, upwards whatever the key's code. Where the heads are equal and a text is longer,
// the key's tail is made anew: afterwards it holds what the heads have left unused. After a failure it is
// null.
u32 SortCmpStrSub(u8 boxId, u32 itemAddr, u16 len, SortKey* key, const u8* head);
u32 SortCmpStrSubUtf8(u8 boxId, u32 itemAddr, u16 len, SortKey* key, const u8* head);

// Whole texts in binary order, upwards whatever the key's code.
u32 SortBinCmpStrSub(u8 boxId, u32 itemAddr, i32 len, const u8* head, SortKey* key);
u32 SortBinCmpStrSubUtf8(u8 boxId, u32 itemAddr, i32 len, const u8* head, SortKey* key);

// Two ranges in memory in binary order; one that ends first lies below.
u32 SortBinStrCmp(const u8* a, const u8* b, u32 lenA, u32 lenB);
u32 SortBinStrCmpUtf8(const u8* a, const u8* b, u32 lenA, u32 lenB);

// Two ranges in memory by language. 128 where all that was compared is equal: then the lengths have become
// what is left. *tie, 128 at the beginning, keeps how the first pair of different sort codes stood. 127 and
// 129 come with the lengths as they were, unless the last byte of a Shift-JIS range has decided. The first
// byte of a Shift-JIS pair that ends a range is not compared and stays.
u32 SortStrCmpEx(const u8* a, const u8* b, u32* lenA, u32* lenB, u16* tie);
u32 SortStrCmpExUtf8(const u8* a, const u8* b, u32* lenA, u32* lenB, u16* tie);
}

namespace bxd {

constexpr u32 CompareCodes(u32 card, u32 pivot)
{
    if (card == pivot) { return BXD_CMP_EQUAL; }
    return card < pivot ? BXD_CMP_BELOW : BXD_CMP_ABOVE;
}

// Lengths of which one at least is 0: the empty side lies below.
constexpr u32 CompareEmpty(u32 cardLength, u32 pivotLength)
{
    return CompareCodes(cardLength != 0 ? 1 : 0, pivotLength != 0 ? 1 : 0);
}

// A result seen from the other end; a failure stays one.
constexpr u32 Turned(u32 result) { return result == 0 ? 0 : 2 * BXD_CMP_EQUAL - result; }

}  // namespace bxd
