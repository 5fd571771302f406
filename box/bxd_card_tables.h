// SPDX-License-Identifier: MIT
// The choice of a free card id, and the tables that grow with the ids: append tables and the offset card.
//
//   offset card: head (id 0xFFF2), then a word for each append table, all ones behind the last
//
// It lets a look-up jump to an append table without a walk along the chain of tables.
#pragma once

#include "box/bxd_box_format.h"

extern "C" {

// Chooses the id of a new card. In: position and words of the default table. Out: the id, position and
// words of the table that owns its slot (129 words for an append table), and *reuse 1 for a killed slot.
u32 SearchNewCardID(u8 fid, u32* tablePos, u32* table, u16* cardId, u32* reuse);

// The first free slot from firstId on in the append table at appendPos and those behind it.
u32 SearchAppendTable(u8 fid, u32 appendPos, u32* tablePos, i32 firstId, u16* cardId, u32* reuse, u32* buf);

// An empty append table at the end of the file that the chain word at linkPos then points to.
u32 MakeNewAppendTable(u8 fid, u32 linkPos, u32* tablePos, u16 cardId, u16* cardIdOut, u32* reuse);

// Enters the append table of cardId in the offset card, which is made or enlarged as needed.
u32 WriteOffsetCard(u8 fid, u32 appendPos, u16 cardId);
// Fills the offset card from the chain of tables. `header` is the 72 bytes of the box's header.
u32 RemakeOffsetCard(u8 fid, const u8* header);

// Release the empty append tables at the end of the chain. `card` is offsetCard and offsetCardSize.
u32 UpdateOffsetCard(u8 fid);
u32 UpdateOffsetCardSub(u8 fid, u32* card);
u32 Reset1stOffsetChain(u8 fid);
}

namespace bxd {

// SearchNewCardID with the 72 bytes of the header in hand.
[[nodiscard]] u32 SearchNewId(u8 fid, const u8* header, u32* tablePos, u32* table, u16* cardId, u32* reuse);

}  // namespace bxd
