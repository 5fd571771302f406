// SPDX-License-Identifier: MIT
// What a move of an entry may do in a filtered index: it must not change the sort order, and what is hidden
// of a run of equal cards must stay hidden.
//
//   before    [ a ][ a' ][ a" ][ b ]      the cards a are equal; ' marks the hidden ones
//   a to 3    [ a' ][ a ][ a" ][ b ]      the flags change places first, then the entries move:
//             [ a ][ a' ][ a" ][ b ]      cards 2 1 3
#pragma once

#include <bxd/status.h>

extern "C" {

// Whether entry `from` of the index `name`, open as indexFid, may go in front of entry `to`: 0, with the
// flags bytes changed where the move needs it; 66 where the order would change, and where a card cannot be
// found, which is so for the place behind the last entry too; else the status of what failed.
u32 CheckMoveIndexNo(u8 indexFid, const char* name, u16 from, u16 to);
}
