// SPDX-License-Identifier: MIT
// Deleting one card: the card under edit, a system card, or a stored card with its entries in the indexes.
//
//   a stored card             physical                          soft, while a synchronisation runs
//     the card                dies: its id becomes 0            becomes a tombstone
//     its slot                becomes 0                         stays
//     cardCount               one less, unless a tombstone      one less
//     a discharge index       the entry stays, marked           the same
//     any other index         the entry goes                    the same
//     the hint for a free id  falls to the id                   the same
//
// The card dies before its slot is cleared. A lost power between them leaves a slot that leads to a dead
// card, or, where the card was the last of the file, to no card at all. A second deletion does what the first
// one had left to do.
#pragma once

#include <bxd/card.h>

#include "box/bxd_box_handle.h"

extern "C" {

// 66 for an id of 0, and where there is no such card, also where its slot leads to none; 68 when even the low
// reserve is used up; 71 for damage. `physical` other than 0 ends a stored card whatever synchronisation
// runs.
u32 CardDeleteSub(BoxRecord* box, u16 cardId, u32 physical);
}
