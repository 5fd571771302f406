// SPDX-License-Identifier: MIT
// Whether a card satisfies a compiled search condition (bxd_srch_walk.h).
//
//   clause 1  --false, 87-->  clause 2  --true, 86-->  clause 3  ...     strictly from left to right
//      | true, and no 86         | false, and no 87
//      v                         v
//    selected                  not selected
//
// Tests of a clause are joined by 84 and 85 in the same way. There is no precedence: a true clause in front
// of an OR ends the walk, whatever stands behind.
#pragma once

#include "match/bxd_srch_walk.h"

extern "C" {

// Other than 0 if the card at cardAddr of the open box satisfies the condition; 0 too for an empty one, and
// where an item that it names is not to be found in the card.
//   cond        the clauses, behind the flags; kConditionSlack bytes 0 behind its end
//   otherCard   position of the neighbour that tests of 94 compare with; with 0 they are true
//   itemTable   the box's; looked at by clauses on all items only, which are false with null
//   info        or null. In: info[2] the card's stored attribute. Out: info[0] the number of the item and
//               info[1] the operator of the last test, 0 where there was none
//   useAttr     other than 0, with info: tests on item 1 go to info[2], whatever the file has
//   emptyFalse  other than 0: 9E is false, and 9F true, for an item without value
u32 SearchCmpCardCore(u8 boxId, i32 cardAddr, const u8* cond, u32 otherCard, const u8* itemTable, u8* info,
                      u32 useAttr, u32 emptyFalse);

// A test of bits in memory: value[0] is the mask, value[1] what the masked bits must be (0x88) or must not be
// (0x89). Any other operator is false.
u32 SearchCmpAttr(u8 attr, const u8* value, u8 op);

// A compare of texts (bxd_srch_text.h).
typedef u32 (*SearchCompare)(const u8* text, const u8* value, u16 len);

// Reads the `len` bytes at addr and gives what the compare says of them and of the text at `value`, behind
// its length; 0 where they cannot be read or there is no memory. A byte 0 stands behind what the compare
// gets; for no bytes it gets null.
u32 StringReadAndComp(u8 boxId, i32 addr, u16 len, const u8* value, SearchCompare compare);
}
