// SPDX-License-Identifier: MIT
// Categories: the list of category numbers that a card holds in an item of type 12.
//
// A byte of the list is a category (1 to 253), 0 for a removed one, or 0xFF for a free place.
#pragma once

#include <bxd/card.h>

#include "box/bxd_box_handle.h"
#include "box/bxd_card_format.h"

extern "C" {

// True when the box has this item and it is a list of categories.
u32 CheckCategory(const u8* tag, const BoxRecord* box, ItemEntry* out);
}
