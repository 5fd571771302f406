// SPDX-License-Identifier: MIT
// Copying cards: the one door through which a card under edit becomes a stored card, and back.
//
//   source           target            what moves
//   in RAM           stored            the image, behind the last card or into the target's old place
//   65280, in file   new id            two bytes of id, and the slot: no other byte of the card
//   system card      stored, system    the card, which is gone from its old place; the last card of the
//                                      file slides into the target's old place where it fits
//   stored           stored, system    a second card
//   any              65280             the card to RAM, or behind the last card if RAM is too small
//
// The new copy is complete before anything refers to it. Slots, counters and indexes follow.
#pragma once

#include <bxd/card.h>

#include "box/bxd_box_handle.h"
#include "box/bxd_card_copy_state.h"

extern "C" {

u32 GetCardCopyWork(BoxRecord* box, u16 sourceId, u16 targetId, CardCopyState* copy);
u32 CardCopyToRam(BoxHandle box, CardCopyState* copy);
u32 NormalCardCopy(BoxRecord* box, CardCopyState* copy);
u32 SystemCardCopy(BoxRecord* box, CardCopyState* copy);
u32 MakeTargetCard(BoxRecord* box, CardCopyState* copy);
u32 SlimRamCopyCard(BoxRecord* box, CardCopyState* copy);
u32 SlimCopyCard(BoxRecord* box, CardCopyState* copy);

// The card at src, whole, at dst as card `cardId`, over the end mark that stands there.
u32 CopyWithEndMark(u8 fid, u32 dst, u32 src, u16 cardId);
// Takes the source out of the system slots; a source that stands in none changes nothing.
u32 DelSrcSystemCard(BoxRecord* box, CardCopyState* copy);
}
