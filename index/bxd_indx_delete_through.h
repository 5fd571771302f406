// SPDX-License-Identifier: MIT
// Deleting through an index: its kind decides whether the card goes with its entry.
//
//   the index                        the entry                  the card
//   IDX, or type with all of 0x83    goes                       is deleted, and leaves every index
//   TDX of the type 130              stays, marked discharged   stays
//   any other TDX                    goes                       is deleted when no index holds it any more
//
// The type is the byte of the record IDXINF_TYPE, 0 where there is none.
#pragma once

#include <bxd/index.h>

#include "box/bxd_box_handle.h"

extern "C" {

u32 __IndexNoDeletePMSC(const char* name, u16 indexNo, BoxRecord* box);

// Deletes a card that no index of the box holds. A card of a box without an index table stays.
u32 AllIndexCheckDel(BoxRecord* box, u16 cardId);
}
