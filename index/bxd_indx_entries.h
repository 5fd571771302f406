// SPDX-License-Identifier: MIT
// Changing the card table one entry at a time, and taking many entries out in one pass.
//
//   append              count + 1, then  [ cardId attr 0 | FF FF ]  over the old end mark, then the cut
//   append, no table    [ 1 | cardId attr 0 | FF FF ]  at the end of the file, then tablePos
//   removal             the tail moves down by an entry, the file is cut, then count - 1
//   pass                kept entries close up from the front; the end mark, the cut and the count come last
//
// A run of entries with equal values shows its first one only; the others have the doubly bit. When an entry
// goes, the one that moves into its place becomes visible, so that no run is left without a visible card.
//
// A lost power may leave a table position that has not followed its table, so that a change would write over
// the records. A table never begins before the end of the information area: such a one is refused with 71.
#pragma once

#include "index/bxd_indx_lookup.h"

extern "C" {

// Appends an entry with the low byte of `attr` and without flags; the first makes the table, which needs an
// information area before it. 71 for a table of 65535 entries, and for one that says it has more than the
// file holds, and without that area. A count that is one ahead, as a lost power leaves it, is put right.
u32 AddLastIndex(u8 fid, u16 cardId, u32 attr);

// Clears the flags of the entry at that place if it is hidden. Does nothing at the end mark.
u32 DeleteDoublyBit(u8 fid, u32 entryPos);

// Takes out all hidden entries, in pieces where memory is short; 71 without memory for a single entry.
u32 DeleteDoublyCardData(u8 fid);

// Takes out the visible entries that the filter selects, in the same way; bit 0x40 is as the entries have it.
// The entry behind one that goes becomes visible where both lie in one piece, and is then looked at like any
// other.
u32 DeleteAttrIndex(u8 indexFid, u8 mask, u8 value, u8 negate);

// 1 where `cardId` is among the `n` ids and fewer than n have been removed.
u32 CheckDeleteCardID(u32 n, u16 removed, const u16* cardIds, u16 cardId);
}

namespace bxd {

// FindEntryTable for a change: 71 for a table that begins among the records.
[[nodiscard]] u32 FindTableToChange(u8 fid, EntryTable* table);

// Takes out the entry at that place of a table of `count` entries: the tail moves down and the file is cut,
// then the count falls. A failure in between leaves the count one ahead. Other entries keep their flags.
[[nodiscard]] u32 TakeEntryOut(u8 fid, u32 entryPos, u16 count);
// The same, and the entry that moves there becomes visible.
[[nodiscard]] u32 RemoveEntry(u8 fid, u32 entryPos, u16 count);

}  // namespace bxd
