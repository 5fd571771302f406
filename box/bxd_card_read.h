// SPDX-License-Identifier: MIT
// Looking cards and their items up, with the least reading.
//
//   card id --> slot in an offset table --> card --> length table --> item
//
// An item's number comes from the item table in memory; a card's place costs one or two small reads; one
// read of 256 bytes at the card gives the length table and, for short items, the value as well.
#pragma once

#include <bxd/card.h>

#include "box/bxd_box_handle.h"
#include "box/bxd_card_format.h"

// The caller's memo of BoxSearchCheck, good for any number of look-ups while the box does not change.
struct CardSlotCursor {
    u32 cardPos;      // result: the card's position
    u32 slotPos;      // the slot that was read
    u32 offsetTable;  // copies of the header's fields, 0 until needed
    u32 appendTable;  // the append table of `group`
    u32 offsetCard;
    u32 offsetCardSize;
    u16 valid;  // 2 when in use; a caller sets 1 before the first look-up
    i16 group;  // append-table group, -1 for none
};

constexpr u16 kCursorNew = 1;
constexpr u16 kCursorInUse = 2;
constexpr i16 kNoGroup = -1;

extern "C" {

// Position of a card: *cardOffset is 0 where there is none, with status 0 all the same.
u32 GetFilePtrWithoutOffsetTable(u8 fid, u16 id, u32* cardOffset);
// The same with the default table in hand (512 words). For an id above 500 the 129 words of its append
// table take the start of `table`, and *tableOffset is that table's position.
u32 GetFilePtr(u8 fid, u16 id, u32* table, u32* cardOffset, u32* tableOffset);
// The system card among the ten slots: position, size with head, slot number; *cardOffset 0 for none.
u32 GetSystemCardOffset(u8 fid, u16 id, const u32* slots, u32* cardOffset, u32* cardSize, u8* slot);

// The place of an item of the card at cardOffset: its data offset, or 0 for failure.
u32 MoveXItemData(u8 fid, CardItemPlace* place, u8 itemNumber, u32 cardOffset);
// And with `want` other than 0 the first min(length, want) bytes of its value in buf.
u32 ReadItemData(u8 fid, CardItemPlace* place, u8 itemNumber, u32 cardOffset, u32 want, void* buf);
// The item in the image of a card. Gives its length; *dataPtr is null for a number that the box lacks.
u32 MoveXItemNumberRam(void* card, u16 itemNumber, const BoxRecord* box, u8** dataPtr, u8** lengthPtr);

u32 BoxSearchCheck(u8 boxFid, u32 cardId, CardSlotCursor* state);
u32 BoxSearchCheckInit(u8 boxFid, u16 cardId, CardSlotCursor* state);
u32 read_card_ptr(u8 boxFid, u16 cardId, CardSlotCursor* state);

// The first byte of a stored card's attribute. 71 also where that is not one byte.
u32 SearchAttr(u8 boxFid, const u8* itemTable, u16 cardId, u8* attr);

// 255 after a collection; 71 where no card under edit stands at tmpCardOffset.
u32 ChkTmpSysCard(const BoxRecord* box);

u32 CardReadSub(BoxRecord* box, const CardDescriptor* key, u8* buf, u32* len, u32 offset, u32 want);
}
