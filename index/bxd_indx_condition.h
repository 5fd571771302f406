// SPDX-License-Identifier: MIT
// The search condition of an index, ready to be matched with cards.
//
//   record 128, compiled                          as it is
//   none: record 3, as the application wrote it   compiled with the items of the box at hand
#pragma once

#include "match/bxd_srch_format.h"
#include "storage/heapwrapper.h"

extern "C" {

// The compiled condition of an index to the kConditionCodeMax bytes at `out`, flags byte first; what it does
// not fill is 0. 66 where the index has none, or an empty record 128; 69 for one that is malformed or too
// long; else the status of the read that failed.
u32 ReadSearchCondition(u8 boxFid, u8 indexFid, u8* out);
}

namespace bxd {

// The text of a condition, `length` bytes at `pos` of the index, as a compiler takes it: with kConditionSlack
// bytes 0 behind it. 71 for no memory; the status of a failed read.
[[nodiscard]] u32 ReadConditionText(u8 indexFid, u32 pos, u32 length, HeapBlock* text);

}  // namespace bxd
