// SPDX-License-Identifier: MIT
// The items of a box: how an application describes them, and the first item table of a new box.
#pragma once

#include "box/bxd_card_format.h"

extern "C" {

// 0 when all four bytes are letters or digits, else 73.
u32 CheckItemName(const u8* tag);
// The character for digits and capitals, the capital for a small letter, 0 for anything else.
u8 CheckItemChar(u8 c);
// True for the four tags that every box has.
u32 CheckDefaultItem(const u8* tag);
// The first items of the box that is open as fid, which it closes.
u32 BoxItemAppendNoItem(u8 fid, const ItemRecord* items, u32 count, u32* rewritten);
}
