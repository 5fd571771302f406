// SPDX-License-Identifier: MIT
// Dead cards, and the three counters of their bytes.
//
// Nothing is erased in place: a card that dies keeps its bytes behind an id of 0. They are counted in the
// header's garbageSize, and in RAM for each drive since the process began.
#pragma once

#include <bxd/box.h>
#include <bxd/card.h>

#include "box/bxd_box_format.h"

extern "C" {

extern u32 garbage_size_buf;       // dead bytes seen in boxes of "F0:"
extern u32 card_garbage_size_buf;  // and of "F1:"

u32 AddBoxGarbageSize(u8 fid, i32 delta);  // never below 0
u32 WriteBoxGarbageSize(u8 fid, u32 size);
u32* GarbageVarPtr(u8 fid);                    // the RAM counter of the file's drive
void SubGarbageSize(const char* name, u32 n);  // lowers the counter of the name's drive, never below 0

// The garbage bit says that a collection has taken the card under edit that a handle remembers.
u32 ChkGarbageBit(u8 fid);  // 255 when it is set
u32 ResetGarbageInfo(u8 fid);
}

namespace bxd {

// A counter less `by`, never below 0.
constexpr u32 Lowered(u32 value, u32 by) { return value > by ? value - by : 0; }

// Bytes of the dead cards from `pos` on, up to the first other card, and whether that is the end mark.
[[nodiscard]] u32 MeasureDeadRun(u8 fid, u32 pos, u32* deadBytes, bool* atEnd);

// Takes dead bytes off, or adds them to, the RAM counter of the drive and the header together.
[[nodiscard]] u32 CountGarbage(u8 fid, i32 delta);

}  // namespace bxd
