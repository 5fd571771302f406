// SPDX-License-Identifier: MIT
// The check of a box's cards: the chain from head to head, the length tables in the cards, and the end mark.
//
//   | head | card | head | card | ... | FF FF | tail
//   cardOffset                        p       p + 2: the file ends here, and what is behind is cut
#pragma once

#include "diag/bxd_diag_box_run.h"

extern "C" {

// At level 255 the chain; at each level the end mark.
u32 BoxFileDiagSub_Card(BoxDiagRun* run);

// Looks at the length table of the card at `cardPos`, and raises *dead where the card is a tombstone. 71
// where the table or the values that it tells leave the card, or it cannot be read.
u32 DataLengthCheck(u8 fileId, u32 cardPos, u32 cardLength, u32* dead);
}
