// SPDX-License-Identifier: MIT
// Keeping the indexes of a box in step with its cards: every change of a card walks the box's index table.
//
// A box without an index table has nothing to follow. One with a table holds indexes that this library
// does not follow yet: it refuses, rather than let them fall behind in silence.
#pragma once

#include "box/bxd_box_handle.h"
#include "box/bxd_card_copy_state.h"

extern "C" {

// A stored card has a new value in one of its items. `attr` is the stored attribute where it was that.
u32 NormalCardWriteEnd(const BoxRecord* box, u16 cardId, u8 attrChanged, u8 attr);

// A card has reached its final place: it is counted if it is new, and the indexes of the box follow.
u32 UpdateIndexFile(BoxRecord* box, CardCopyState* copy);
}
