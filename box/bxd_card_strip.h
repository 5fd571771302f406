// SPDX-License-Identifier: MIT
// Tombstones: what is left of a card that is deleted while a synchronisation runs.
//
// The partner of the synchronisation still has to be told that the card went, so it keeps its id, its slot
// and its place. The life bit of its stored attribute is cleared, and its large items are given back:
//
//   before   head | table .. [field] .. | items | large item  | items behind |
//   after    HEAD | TABLE .. [0] ..| items | items behind | dead card, from here to the old end |
//
// An item of 3072 bytes or more is large. The table is looked at where it lies in the first 256 bytes.
#pragma once

#include "box/bxd_card_format.h"

namespace bxd {

// The first byte of the attribute, which is item `itemNumber` of the card at `pos`, and where it stands. 71
// for a card without it.
[[nodiscard]] u32 ReadStoredAttr(u8 fid, u32 pos, u8 itemNumber, CardItemPlace* place, u8* attr);

// Makes a tombstone of the card at `pos`, whose attribute was read as told above.
[[nodiscard]] u32 MakeTombstone(u8 fid, u32 pos, const CardItemPlace& place, u8 attr);

// Gives the large items of the card at `pos` back. A card whose table cannot be followed stays as it is.
[[nodiscard]] u32 StripCard(u8 fid, u32 pos);

}  // namespace bxd
