// SPDX-License-Identifier: MIT
// Images of cards: the raw bytes behind a card's head, by the name of the box. They serve the system cards
// and the extended information card.
#pragma once

#include <bxd/card.h>

#include "box/bxd_card_format.h"

extern "C" {

// The place of a card that has an image: 66 for every other id. *size is the card's body for the extended
// information card, and body and head for a system card.
u32 GetCardPtrSize(u8 fid, u16 cardId, u32* pos, u32* size, u32* tablePos);
}
