// SPDX-License-Identifier: MIT
// A collection that cannot go on leaves a good box behind: the cards up to a point have moved, the rest stand
// where they stood, and what is between becomes tables and a dead card.
//
//   before   | card | dead | table | card | dead | card | card ...
//   moved    | card | card |        gap          | card | card ...
//                          filePos               p
//   after    | card | card | table | dead        | card | card ...
//
// Then all tables are written anew from the chain of cards.
#pragma once

#include <bxd/files.h>

// Bytes of the longest dead card that the filling of a gap writes by its head alone.
constexpr u32 kGapCardMax = 0xFFFFFF;

extern "C" {

// Fills `gap` bytes at the buffer's place with `tables` empty append tables and dead cards. 71 where they do
// not fit, or where 1 to 5 bytes are left over. Beyond 16 MiB the heads of the dead cards stand closer
// together than the cards are long: such a gap is for CloseGap.
u32 GarbageCollectAbort(BxdFlashBuffer* buffer, u32 gap, u32 tables);

// Links the append tables in the order of the chain of cards.
u32 SetOffsetTableChain(u8 fid);

// Writes default table, append tables and offset card anew from the chain of cards. The append tables must be
// linked. 71 for an id without a table, and where there are more than ten system cards; all tables are
// written then, with the first ten.
u32 SetTableAndMakeChain(u8 fid);
}

namespace bxd {

// One dead card of `gap` bytes, 6 at least, at `pos`.
[[nodiscard]] u32 CloseGap(u8 fid, u32 pos, u32 gap);

}  // namespace bxd
