// SPDX-License-Identifier: MIT
// Card ids: the slots that hold the positions of cards, how they change, and the counters of the header.
//
//   default offset table, 512 words        append table k, a card of 522 bytes
//     0         extended information card    0  head: id 0xFFF0, length 516
//     1 - 10    system cards                 6  128 slots, ids 501 + 128k to 628 + 128k
//     11 - 510  ids 1 to 500               518  position of append table k + 1
//     511       position of append table 0
//
//   a slot       state     what may be written over it
//   0xFFFFFFFF   erased    a position, in place
//   position     in use    0, in place: the card has died
//   0            killed    nothing in place; the table is rewritten whole
#pragma once

#include "box/bxd_box_handle.h"

constexpr u16 kDefaultIds = 500;  // ids in the default table
constexpr u32 kDefaultTableWords = 512;
constexpr u32 kFirstIdWord = 10;  // word of id n is n + 10
constexpr u32 kChainWord = 511;   // word of the first append table's position
constexpr u32 kSystemSlots = 10;  // words 1 to 10
constexpr u32 kAppendIds = 128;
constexpr u32 kAppendSlotsAt = 6;    // first slot in an append table
constexpr u32 kAppendChainAt = 518;  // its chain word
constexpr u32 kAppendBody = 516;     // slots and chain word
constexpr u32 kAppendTotal = 522;
constexpr u32 kOffsetCardWordsAt = 6;  // first word in the offset card

namespace bxd {

// Number of the append table of an id above 500, and the id's slot in it.
constexpr u32 AppendGroup(u32 id) { return (id - kDefaultIds - 1) / kAppendIds; }
constexpr u32 AppendSlot(u32 id) { return (id - kDefaultIds - 1) % kAppendIds; }

// The hint for a free id wraps: behind the last id, as for 0, it is 1.
constexpr u16 WrappedId(u16 id) { return id == 0 || id > CARD_ID_NORMAL_MAX ? u16{1} : id; }

// Position of an id's slot in the table that owns it.
constexpr u32 SlotPosition(u32 tablePos, u32 id)
{
    return id <= kDefaultIds ? tablePos + (id + kFirstIdWord) * 4
                             : tablePos + kAppendSlotsAt + AppendSlot(id) * 4;
}

// The offset card exists and has a word for append table `group`.
constexpr bool OffsetCardHolds(u32 offsetCard, u32 offsetCardSize, u32 group)
{
    return IsPosition(offsetCard) && offsetCardSize >= kOffsetCardWordsAt + group * 4 + 4;
}

// The offset card at place[0] of place[1] bytes lies in the file whole.
bool OffsetCardFits(u8 fid, const u32* place);

// What a slot that is set leads to. A lost power between the death of a card and its slot's write leaves a
// slot that leads to the dead one, whose items are still there. Where the card was the last of the file its
// bytes are gone: the slot leads to the end mark, or behind the file, or to what has been written there
// since.
enum class SlotEnd { kCard, kDeadCard, kNoCard };
[[nodiscard]] u32 FollowSlot(u8 fid, u32 pos, u16 cardId, SlotEnd* end);

// The same for a use of the items: *dead says that the card is dead; 71 where there is no card.
[[nodiscard]] u32 CheckSlotCard(u8 fid, u32 pos, u16 cardId, bool* dead);

// The owner of the slot of an id above 500, through the offset card: 71 where there is none.
[[nodiscard]] u32 FindAppendTable(u8 fid, u32 id, u32* tablePos);

}  // namespace bxd

extern "C" {

// The positions of the cards 1 to maxId in one array; `table` has room for the last table read as a whole.
u32 ReadLinearTable(u8 boxFid, u32* table, u16 maxId);
// The slot of an id, for a scan that goes on from there.
u32 GetCardOffset(u8 fid, u16 cardId, u32* slot, u32* nextSlotPos, u32* slotsLeft);

// Store a card's position in its slot in the table at tablePos: in place, or, with `reuse`, by writing the
// table in hand whole, which heals all its killed slots.
u32 ModOffsetTable(u8 fid, u32 tablePos, u32 cardPos, u16 cardId);
u32 ModOffsetTableNew(u8 fid, u32 tablePos, u32 cardPos, u16 cardId, u32 reuse, u32* table);
// The same for a caller with no table in hand.
u32 ModifyOffsetTable(const BoxRecord* box, u32 cardPos, u16 cardId);

// The system slots: newPos takes the place of oldPos, or a free slot; or oldPos is killed.
u32 ModSystemOffsetTable(u8 fid, u32 tablePos, u32* table, u32 newPos, u32 oldPos);
u32 DeleteSystemOffset(u8 fid, u32 tablePos, u32* table, u32 oldPos);

// The counters.

u32 WriteCardCount(u8 fid, u16 n);
u32 DecCardCount(u8 fid);
u32 IncCardCount(u8 fid);
u32 WriteUnUsedCardID(u8 fid, u16 id);
u32 UpdateUnUsedCardID(u8 fid, u16 id);
u32 WriteMaxCardID(u8 fid, u16 id);
u32 UpdateMaxCardID(u8 fid, u16 id);
}
