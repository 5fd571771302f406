// SPDX-License-Identifier: MIT
// What the indexes of a box do when its cards are deleted.
//
//   indexFlags & 130    kind        a deleted card's entry
//   130 (both bits)     discharge   stays; bits 1 and 2 of its attr are cleared
//   anything else       ordinary    goes
//
// An entry goes by a move in memory and one write of the file, or, without memory for that, by a move in the
// file.
#pragma once

#include "box/bxd_box_handle.h"
#include "index/bxd_indx_lookup.h"

constexpr u8 kIxPresenceBits = 0x06;  // of an entry's attr: cleared when its card is discharged
constexpr u8 kIxPresentBit = 0x02;    // the one that is looked at

extern "C" {

// Takes the entry of a card out. 0 also where the card is not in the index; the slow way, which runs where
// memory for the file is short, gives 66 then.
u32 CardidDeleteFromIndex(u8 indexFid, u16 cardId);
u32 FastDeleteCardID(u8 indexFid, u16 cardId);

// Marks an entry, whose attr stands at `attrPos`, as discharged. One that is so already costs no write.
u32 ModifyAttrPimDischarge(u8 indexFid, u32 attrPos);

// Marks all entries with (attr & mask) equal to `value`, or unequal with `negate`, as discharged. Hidden
// entries are not looked at, but the one behind a marked entry becomes visible. Bit 0x40 is as stored.
u32 SetPimDiscIndex(u8 indexFid, u8 mask, u8 value, u8 negate);

// Takes the entries of a card out of the discharge indexes of a box.
u32 CardDeleteFromIndex(const BoxRecord* box, u16 cardId);
}

namespace bxd {

// Every index of the box lets go of a card, or of the cards that a mass deletion selects, each in the way
// of its kind. 71 for an index that cannot be opened.
[[nodiscard]] u32 RemoveFromIndexes(const BoxRecord* box, u16 cardId);
[[nodiscard]] u32 RemoveSelectedFromIndexes(const BoxRecord* box, u8 mask, u8 value, u8 negate);

}  // namespace bxd
