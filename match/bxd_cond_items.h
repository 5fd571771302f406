// SPDX-License-Identifier: MIT
// The item table that the tags of a condition are looked up in: that of an open box, or of the box that an
// index names.
#pragma once

#include "storage/heapwrapper.h"

namespace bxd {

// The item table of box `boxId`, an open file, or with a number below 0 of the box that the index names. 64
// for an index that names no box, or one that cannot be opened; 66 where that name is empty, or the box has
// no items; else the status of the read that failed.
[[nodiscard]] u32 LoadConditionItems(u8 indexFid, i32 boxId, HeapBlock* table);

}  // namespace bxd
