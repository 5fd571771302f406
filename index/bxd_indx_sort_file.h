// SPDX-License-Identifier: MIT
// Sorting an index where it lies, for lack of memory: binary insertion on the file.
//
//   ....[ target ........ ][ source ]....    ->    ....[ source ][ target ........ ]....
//
// Each entry that moves costs one transfer. A sort that fails has every entry in the table still, once.
#pragma once

#include "index/bxd_indx_sort_keys.h"

namespace bxd {

// Orders entries of the table at tablePos as FastSort does, and gives the same. A card that hides an entry,
// or is hidden itself, is not marked in its entry: the first byte of the table's first entry becomes 1.
u32 SortOnFile(u8 boxFid, u8 indexFid, u16 count, SortKey* keys, u32 tablePos, u16 sortedEnd, u16 first,
               i32 match);

}  // namespace bxd
