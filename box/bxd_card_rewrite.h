// SPDX-License-Identifier: MIT
// Giving one item of a card in the file a new length: the whole card passes through memory once.
//
//   old card   head | table .. [field] .. | items before | old value | items behind
//   new card   head | table .. [FIELD] .. | items before | NEW VALUE | items behind | end mark
//
// The chain of cards holds after every single write. A card that is written anew has its end mark in place
// before its head covers the old one. A card that changes where it stands goes out in one write with its
// end mark while it fits the block; a larger one keeps a head that reaches a mark at every moment.
#pragma once

#include "box/bxd_card_format.h"

extern "C" {

// Write the card at *pos anew behind the last card; *pos becomes its new place, and the old card is left
// alone. RenewCardItem keeps `offset` bytes of the old value and puts newLength - offset bytes of `data`
// behind them; FlashCardModifyFF takes the value from the start of a file, and gives 35 for a length that
// has no form.
u32 RenewCardItem(u8 fid, u32* pos, const CardItemPlace* place, const u8* data, u32 newLength, u32 offset);
u32 FlashCardModifyFF(u8 fid, u8 srcFid, u32* pos, const CardItemPlace* place, u32 newLength);

// Change the last card of the file where it stands; the file gets longer or shorter with it.
u32 ModifyCardItem(u8 fid, u32 pos, const CardItemPlace* place, const u8* data, u32 newLength, u32 offset);
u32 ModifyCardItemFromFile(u8 fid, u8 srcFid, u32 pos, const CardItemPlace* place, u32 newLength);
// Puts `extra` bytes behind the old value.
u32 InsertLastCardItem(u8 fid, u32 pos, const CardItemPlace* place, const void* data, u32 extra);
}
