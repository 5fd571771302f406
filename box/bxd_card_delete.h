// SPDX-License-Identifier: MIT
// Ending a card: the one under edit, or a system card.
#pragma once

#include <bxd/card.h>

#include "box/bxd_box_handle.h"

extern "C" {

// 66 for an id of 0 and for a system card that is not there; 68 when even the low reserve is used up. A
// stored card gives 71. `physical` tells which of the two deaths a stored card dies.
u32 CardDeleteSub(BoxRecord* box, u16 cardId, u32 physical);
}
