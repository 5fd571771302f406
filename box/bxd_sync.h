// SPDX-License-Identifier: MIT
// The state of a synchronisation in the header of a box, and what the partner asks of a box beside it.
//
//   44  u8 syncFlag     0xFF in a new box, none has run      0 one runs      any other value: none runs
//   60  u32 syncId      the partner's counter; the library adds to it by request only
//
// Both transitions of the flag are a write of one byte, the start one that only clears bits. What ends with a
// synchronisation, the indexes and the tombstones, is in index/bxd_indx_sync.h.
#pragma once

#include <bxd/sync.h>

#include "box/bxd_box_format.h"

constexpr u8 kSyncRunning = 0;
constexpr u8 kSyncNone = 0xFF;

extern "C" {

// *running becomes 1 while a synchronisation runs, else 0.
u32 ChkCardAttrPimSync(u8 fid, u32* running);
}

namespace bxd {

[[nodiscard]] u32 WriteSyncFlag(u8 fid, u8 flag);

}  // namespace bxd
