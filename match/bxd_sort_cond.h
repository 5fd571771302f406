// SPDX-License-Identifier: MIT
// Sort conditions: by which items, in which order of weight and in which direction the cards of an index
// stand.
//
//   external form, record 2 of an index        compiled form, record 129
//    0  4 bytes tag of the item                 0  u8 item type
//    4  u8 0xFE                                 1  u8 item number
//    5  u8 sort code                            2  u8 sort code
//   further keys; a byte 0 ends them            further keys; the record's length ends them
//
//   in memory: an array of SortKey (bxd_sort_key.h), which also holds the values of the pivot
#pragma once

#include <bxd/types.h>

#include "match/bxd_sort_key.h"

extern "C" {

// External to compiled form: 3 bytes at out for every 6 at in; *outLen becomes their number. `boxId` is an
// open box, or negative for the box that the index `fileId` names. 69 for a condition that is malformed or
// empty, or names an item that the box lacks; 64 for an index that names no box, or one that cannot be
// opened; 66 where that name is empty, or the box has no items; else the status of the read that failed.
// *outLen is set where all keys are good.
u32 ConvertSortCondition(u8 fileId, const u8* in, u8* out, i32 boxId, u32* outLen);

// External form to keys without values. Gives their number; 0 for a fault, and for more keys than the budget
// pays for: kSortKeyCost a key, and something left for the end of the array.
u32 MakeSortPreCondition(const u8* in, SortKey* keys, u16 budget, const u8* itemTable);

// Loads the values of the card at cardAddr, the pivot. Not 0 on success: the position of the last item read;
// 0 where a read fails or memory is short, or where no card is (0 or all ones in its slot). The tails are the
// caller's in either case, who frees them with DisposeStrPtr before the next pivot is loaded.
u32 MakeSortCondition(u8 boxId, i32 cardAddr, SortKey* keys);

// Frees the tails of all keys.
void DisposeStrPtr(SortKey* keys);
}

namespace bxd {

// The keys of the compiled form, `length` bytes at `pos` of the index, without values. `keys` has room for
// kSortKeyArray. 69 where that is too little, and for a length that is no number of keys; the status of a
// failed read.
[[nodiscard]] u32 LoadSortCode(u8 indexFid, u32 pos, u32 length, SortKey* keys);

}  // namespace bxd
