// SPDX-License-Identifier: MIT
// Keeping the indexes of a box in step with its cards: every change of a card walks the box's index table.
//
//                          an entry's attribute                order and membership
//   an item is written     follows in every index              wait until the card is copied
//   a card is copied       follows in every index of a card    need a search and a sort, which this library
//                          that was there                      does not have: it refuses, rather than let an
//                                                              index fall behind in silence
//
//   attribute   high nibble: the card's    low nibble: of the synchronisation, whose bit 0 says "changed"
#pragma once

#include "box/bxd_box_handle.h"
#include "box/bxd_card_copy_state.h"

extern "C" {

// A stored card has a new value in one of its items. `attr` is the stored attribute where it was that. In
// discharge indexes the card's entry is marked as changed. 71, with the walk ended, for an index that cannot
// be opened.
u32 NormalCardWriteEnd(const BoxRecord* box, u16 cardId, u8 attrChanged, u8 attr);

// A card has reached its final place: it is counted if it is new, and the indexes of the box follow. 71 where
// one of them needs the card to be put in, taken out or moved, or cannot be opened.
u32 UpdateIndexFile(BoxRecord* box, CardCopyState* copy);
}
