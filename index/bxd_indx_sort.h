// SPDX-License-Identifier: MIT
// The order of an index, which is the order of its card table: made by a full sort on request, kept by
// placing one card after a write or an append.
//
//   __IndexSort        all entries        \                FastSort in memory, else
//   LastIndexSort      the last entry      >  ExecSort  -> SortOnFile in the file
//   OneDataIndexSort   one, if it must    /
//
// Why the sort in memory failed is not asked: a card that is damaged fails it twice.
#pragma once

#include "box/bxd_box_handle.h"
#include "index/bxd_indx_lookup.h"
#include "index/bxd_indx_sort_keys.h"

extern "C" {

// _IndexSort without test and lock of the handle, which may be null.
u32 __IndexSort(const char* name, BoxHandle box);

// Places the last entry of the table, and gives its number. 66 in an index without a sort condition, with
// *position as it was; 69 for a malformed one; 71 where the entry cannot be placed: it is the last still.
// `match` is the answer of the search condition for the card.
u32 LastIndexSort(u8 boxFid, u8 indexFid, const u8* itemTable, u16* position, u32 match);

// A card of the index has changed: where its entry stands right, its attribute becomes where->attr; where
// not, the entry goes to its place, with that attribute. `box` lends its item table. 66 in an index without a
// sort condition, and where the card or a neighbour of it cannot be found.
u32 OneDataIndexSort(u8 boxFid, u8 indexFid, const BoxRecord* box, const IndexCardPos* where, i32 match);

// Orders `count` entries of the table at tablePos. sortedEnd of 0: nothing is in order yet. Else the entries
// 1 to sortedEnd are, and those from `first` on are placed. Gives the number of the entry placed last, 0 for
// failure.
u32 ExecSort(u8 boxFid, u8 indexFid, u16 count, SortKey* keys, u32 tablePos, u16 sortedEnd, u16 first,
             i32 fullSort, i32 match);
}

namespace bxd {

// The status of a full sort that has failed. Where the pivot's first value was recorded at 0xFFFFFFFF the
// index is barred: its version byte becomes 0xFF, and no call opens it any more.
[[nodiscard]] u32 SettleFailedSort(u8 indexFid, const SortKeys& keys);

}  // namespace bxd
