// SPDX-License-Identifier: MIT
// What one copy of a card knows; the upkeep of the indexes reads it too.
#pragma once

#include "box/bxd_card_slots.h"

// Where the source is.
constexpr u32 kSourceInRam = 1;
constexpr u32 kSourceInFile = 2;

// What the target is. A card is counted when it is new.
constexpr u32 kTargetNew = 0;    // a new id, or a named one without a card
constexpr u32 kTargetEdit = 1;   // the card under edit, 65280
constexpr u32 kTargetNamed = 2;  // a card with a slot, though it may have died, or a system card

struct CardCopyState {
    u8 header[kHeaderSize];         // the box's header as the copy found it
    u32 table[kDefaultTableWords];  // the default table, or the append table of the target
    u32 isUpdate;                   // position of the card that bears the target id now; 0 for none
    u8* targetImage;                // the image in RAM, when the target is the card under edit
    u32 sourcePos;                  // position of the source card
    u8* sourceImage;                // its image, when it is in RAM
    u32 cardPos;                    // where the target card goes, at first the end mark
    u32 tablePos;                   // position of the table in `table`
    u32 slotKilled;                 // the new id's slot was used before
    u16 cardId;                     // the target's id
    u32 sourceKind;
    u32 targetKind;
    u16 topId;            // 500 while `table` holds the default table
    u8 attr;              // stored attribute of the source
    bool sourceIsEdit;    // the source is the card under edit, in the file
    bool startsCardArea;  // the target will be the first card of the box
};
