// SPDX-License-Identifier: MIT
// The check of the tables that hold the positions of cards (box/bxd_card_slots.h), and of the offset card,
// which lists the append tables among them.
//
//   default table, 512 words          append table       append table
//     0         extended information  | 128 slots |      | 128 slots |
//     1 - 10    system cards          | chain ----+----> | chain     | -> all ones
//     11 - 510  cards 1 to 500            ^                  ^
//     511       chain --------------------+                  |
//                                         |                  |
//   offset card                         [ word 0 ]         [ word 1 ]   up to 0 or all ones
#pragma once

#include "diag/bxd_diag_box_run.h"

extern "C" {

u32 BoxFileDiagSub_OffsetCard(BoxDiagRun* run);

// At levels 2 and 255. At 255 the cards counted here are held against those of the chain.
u32 BoxFileDiagSub_OffsetTable(BoxDiagRun* run);
}
