// SPDX-License-Identifier: MIT
// Deleting all cards that an attribute selects: one walk along the slots, one write a table.
//
//   default table   [ 500 slots ]  read - each card dies or stays - written
//   append table    [ 128 slots ]  read - each card dies or stays - written
//   ...
//   indexes, then the counts, the empty tables, the tail of the file
//
// A table is written when all its slots are done, and all its free slots are in the erased state then. So
// until it is written its slots lead to cards that are dead. A slot that leads to no living card is freed,
// whatever is selected, and the indexes let go of its id.
#pragma once

#include <bxd/card.h>

#include "box/bxd_box_handle.h"

extern "C" {

// `value` is in the caller's sense: its bit 0x40, where the mask has it, is the stored one turned round. The
// flash may be made to collect meanwhile, for which the file is closed and opened: the record has another
// file id then, or kNoFile where the file does not open again.
u32 __CardAllDelete(BoxRecord* box, u8 mask, u8 value, u8 negate);
}
