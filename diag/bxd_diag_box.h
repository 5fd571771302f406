// SPDX-License-Identifier: MIT
// The check of a box: header, item table and index table. The cards are looked at in bxd_diag_chain.h, the
// tables of their positions in bxd_diag_tables.h.
//
//   in this order, to the first fault          levels
//     BoxFileDiagSub_Header                    all
//     BoxFileDiagSub_ItemTable                 all
//     BoxFileDiagSub_Card                      255 the chain; all the end mark
//     BoxFileDiagSub_OffsetCard                all
//     BoxFileDiagSub_OffsetTable               2 and 255
//     BoxFileDiagSub_NumIndex                  all
//
// Three things are written, and nothing else: a tail behind the chain is cut, an end mark is put back, and a
// name in the index table that leads to no index is taken out.
#pragma once

#include "diag/bxd_diag_box_run.h"

extern "C" {

// 0, and the file stands in the registry no longer; or the status of the fault that it was registered with.
u32 BoxFileDiag(u8 fileId, u8 level, u32 repair);

u32 BoxFileDiagSub_Header(BoxDiagRun* run);
u32 BoxFileDiagSub_ItemTable(BoxDiagRun* run);
u32 BoxFileDiagSub_NumIndex(BoxDiagRun* run);

// Entries of an index by the figure of its card table, hidden ones too; 0 where it has no records or no card
// table. -3 for an index that does not open, -2 for a figure that cannot be read.
i32 IndexCardCounter(const char* name);
}
