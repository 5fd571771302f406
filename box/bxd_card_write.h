// SPDX-License-Identifier: MIT
// Creating a card, and giving an item of a card a new value.
//
// A new card is built in RAM, as the card under edit; its image is byte for byte the card in the file. When
// it outgrows its RAM it moves to the end of the file, under the id it has, and no table refers to it.
//
//   a stored card, new value            what is written
//   same length, from memory            the value, in place
//   shorter, and the card is the last   the card where it stands; the file gets shorter
//   all else                            the card anew behind the last one; the old one dies; the slot moves
#pragma once

#include <bxd/card.h>

#include "box/bxd_box_handle.h"
#include "box/bxd_card_format.h"

extern "C" {

// A new image for the card under edit, cleared: a heap handle, or null without memory.
u8** GetSystemCardWork(BoxRecord* box);

// Writes the image of a card at `pos` as card `cardId`, behind a secured end.
u32 SystemCardToFlash(u8 fid, u32 pos, u8* card, u16 cardId);
}

namespace bxd {

// Ends the card under edit: its image goes, and with it its state.
void DropEdit(BoxRecord* box);

// The image of a card in RAM behind its heap handle, and its whole size.
inline u8* ImageOf(const BoxRecord* box) { return *box->tmpCardWork; }
inline u32 ImageTotal(const u8* image) { return GET_4BYTES(image + kCardLengthAt) + kCardHead; }

// Bytes that the block of an image has behind tmpCardWorkSize, so that a dead card's head or an end mark
// can go out in one write with the card.
constexpr u32 kImageSpare = kCardHead;

// The length table and the items of an image of `total` bytes lie within it.
bool ImageFits(const u8* image, u32 total, u32 items);

}  // namespace bxd
