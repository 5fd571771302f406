// SPDX-License-Identifier: MIT
// The place of a card in a sorted index: a card of the file against the pivot in memory.
//
//   keys:   [ date, descending ][ name ][ number ][ end ]
//              equal ->            equal -> the next one   ...   the first that differs decides
//
// All results are from the card's point of view: BXD_CMP_BELOW (127), BXD_CMP_EQUAL (128), BXD_CMP_ABOVE
// (129), or 0 for a failure: a read, memory, an item that is not to be found. They take no memory but for
// long texts (bxd_sort_cmp_text.h).
#pragma once

#include "match/bxd_sort_key.h"

extern "C" {

// The card at cardAddr against the pivot. 128 without keys, and at once for the pivot's own card; 0 where no
// card is (0 or all ones in its slot). A key of a type that has no order ends the compare with 128.
i32 SortCmpCard(u8 boxId, i32 cardAddr, SortKey* keys);

// One value: its `len` bytes, of which the first 64 are at head. A date, span, week date or bit field without
// a value lies below one with a value; a shorter one has bytes of 0 behind it.
u32 SortCmpDate(const SortKey* key, const u8* head, u16 len);
u32 SortCmpTime(const SortKey* key, const u8* head, u16 len);
u32 SortCmpWeek(const SortKey* key, const u8* head, u16 len);
u32 SortCmpBit(const SortKey* key, const u8* head, u16 len);

// Numbers of 2, 1 and 4 bytes. A value of another length is none, and counts as 0 where the other side has
// one. Of four bytes the lower two are compared: the order of stored indexes rests on that.
u32 SortCmpUint(const SortKey* key, const u8* head, u16 len);
u32 SortCmpUchar(const SortKey* key, const u8* head, u16 len);
u32 SortCmpUlong(const SortKey* key, const u8* head, u16 len);
}
