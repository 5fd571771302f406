// SPDX-License-Identifier: MIT
// Stepping along an index, counting between two of its entries, and moving an entry.
//
//   number       0      1      2    ...   count    65535
//             before                               behind
//                   [entry][entry]  ...  [entry]  end mark
//
// A step reads 512 bytes at a time into a local buffer, so that it never fails for want of memory. Counting
// reads its whole span at once, or one entry at a time without memory for that.
#pragma once

#include "index/bxd_indx_lookup.h"

extern "C" {

// The next entry that passes, looked for from `pos` on, which is behind entry *indexNo. The filter is as the
// entries have it, with bit 0x40 turned round. 66 at the end mark; *indexNo is written on success only.
u32 NextIndexAddress(u8 fid, u8 mask, u8 value, u8 invert, u16* indexNo, u32 pos);

// The one before, looked for from entry *indexNo, at `pos`, downwards. 66 at the start of the table.
u32 PrevIndexAddress(u8 fid, u8 mask, u8 value, u8 invert, u16* indexNo, u32 pos);
}
