// SPDX-License-Identifier: MIT
// A card goes into an index by hand: whatever the search condition says, and to its place in the order.
//
//   [ 1 ][ 2 ][ 3 ] FF FF     ->     [ 1 ][ 2 ][ 3 ][ new ] FF FF     ->     [ 1 ][ new ][ 2 ][ 3 ] FF FF
//
// The entry takes the high four bits of the card's attribute and 7, the mark of an entry that is new to a
// synchronisation.
#pragma once

#include <bxd/index.h>

extern "C" {

// _IndexNoAppend without test and lock of the handle, which may be null.
u32 __IndexNoAppend(const char* name, BoxHandle box, u16 cardId, u16* position);
}
