// SPDX-License-Identifier: MIT
// Keeping the indexes of a box in step with its cards: every change of a card walks the box's index table.
//
//                          an entry's attribute                order and membership
//   an item is written     follows in every index              wait until the card is copied
//   a card is copied       follows in every index of a card    follow: the card comes in, moves or leaves, as
//                          that was there                      the search condition and the order have it
//
// An index is right again when the call that has written the card returns. There is nothing to be made good
// later, and so an index that cannot be opened stays behind, and so do those that the table names after it.
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

// A card has reached its final place: it is counted if it is new, and the indexes of the box follow. 71, with
// the walk ended, for an index that cannot be opened, and the status of one that cannot take the card's
// entry. A card that cannot be placed stands at the end of its index.
u32 UpdateIndexFile(BoxRecord* box, CardCopyState* copy);
}
