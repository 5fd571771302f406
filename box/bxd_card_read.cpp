// SPDX-License-Identifier: MIT
#include "box/bxd_card_read.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_slots.h"
#include "box/bxd_garb.h"
#include "box/bxd_length_walk.h"

namespace {

// What one reading of an item goes by.
struct ItemRequest {
    const CardDescriptor* key;
    u8* buf;
    u32* len;    // room in, length out
    u32 offset;  // within the item
    u32 want;    // bytes of a partial read; 0 for the whole item
};

// What part of an item of `length` bytes is asked for: 35 for a partial read from behind its end.
u32 WantedPart(const ItemRequest& request, u32 length, u32* part)
{
    *part = length;
    if (request.want == 0) { return BXD_OK; }
    if (request.offset >= length) { return BXD_ERR_RANGE; }
    *part = std::min(request.want, length - request.offset);
    return BXD_OK;
}

// Bytes to deliver of a part, and with it the status: 68 where the room is too small.
u32 FitRoom(const ItemRequest& request, u32 part, u32* count)
{
    *count = std::min(*request.len, part);
    return part > *count ? BXD_ERR_NOSPACE : BXD_OK;
}

// The application sees the attribute with its life bit the other way round. Only the one byte that this
// item is gets turned.
void TurnAttribute(const ItemRequest& request, u32 delivered)
{
    if (delivered == 1 && *request.len == 1 && bxd::SameTag(request.key->itemNameId, search_data_attr)) {
        request.buf[0] ^= kAttrLiveBit;
    }
}

u32 ReadFromImage(const BoxRecord* box, u16 itemNumber, const ItemRequest& request)
{
    if (box->tmpCardWork == nullptr) { return BXD_ERR_FAIL; }
    u8* data = nullptr;
    u8* field = nullptr;
    u32 length = MoveXItemNumberRam(*box->tmpCardWork, itemNumber, box, &data, &field);
    if (data == nullptr) { return BXD_ERR_FAIL; }

    u32 part = 0;
    u32 status = WantedPart(request, length, &part);
    if (status != BXD_OK) { return status; }
    u32 count = 0;
    status = FitRoom(request, part, &count);
    if (count != 0) { std::memcpy(request.buf, data + request.offset, count); }
    *request.len = part;
    TurnAttribute(request, count);
    return status;
}

u32 ReadFromFile(u8 fid, u32 cardOffset, u16 itemNumber, const ItemRequest& request)
{
    bxd::LengthWalk walk(fid, cardOffset);
    CardItemPlace place = {};
    if (!walk.open() || !walk.find(itemNumber, &place)) { return BXD_ERR_FAIL; }

    u32 part = 0;
    u32 status = WantedPart(request, place.dataLength, &part);
    if (status != BXD_OK) { return status; }
    place.dataOffset += request.offset;
    u32 count = 0;
    status = FitRoom(request, part, &count);
    if (count != 0 && !walk.deliver(place, count, request.buf)) { return BXD_ERR_FAIL; }
    *request.len = part;
    TurnAttribute(request, count);
    return status;
}

// Where a card with a system id lies in the file.
u32 FindSystemCard(const BoxRecord* box, u16 id, u32* cardOffset)
{
    // While a card under edit lies in the file every system id reads it: its own id is not compared.
    if ((box->tmpCardState & kTmpCardInFile) != 0) {
        *cardOffset = box->tmpCardOffset;
        return ChkTmpSysCard(box);
    }
    u32 slots[kSystemSlots + 1] = {};
    u32 status = ReadOffsetTable(box->fid, nullptr, kSystemSlotBytes, slots);
    if (status != BXD_OK) { return status; }
    u32 cardSize = 0;
    u8 slot = 0;
    return GetSystemCardOffset(box->fid, id, slots + 1, cardOffset, &cardSize, &slot);
}

void UseCursor(CardSlotCursor* state)
{
    if (state->valid == kCursorInUse) { return; }
    *state = {};
    state->valid = kCursorInUse;
    state->group = kNoGroup;
}

// The append table that the cursor's id belongs to, from the offset card where it is another than before.
u32 MoveCursorToGroup(u8 boxFid, u32 group, CardSlotCursor* state)
{
    if (state->offsetCard == 0) {
        u32 place[2] = {};
        u32 status = bxd::ReadWords(boxFid, kHdOffsetCard, place, 2);
        if (status != BXD_OK) { return status; }
        state->offsetCard = place[0];
        state->offsetCardSize = place[1];
    }
    if (!bxd::OffsetCardHolds(state->offsetCard, state->offsetCardSize, group)) { return BXD_ERR_FAIL; }
    if (state->group == static_cast<i16>(group)) { return BXD_OK; }

    u32 appendTable = 0;
    u32 status = bxd::ReadWord(boxFid, state->offsetCard + kCardHead + group * 4, &appendTable);
    if (status != BXD_OK) { return status; }
    if (!bxd::IsPosition(appendTable)) { return BXD_ERR_FAIL; }
    state->appendTable = appendTable;
    state->group = static_cast<i16>(group);
    return BXD_OK;
}

}  // namespace

extern "C" {

u32 GetFilePtrWithoutOffsetTable(u8 fid, u16 id, u32* cardOffset)
{
    // An id of 0 lands on the last system slot; callers never pass it.
    *cardOffset = 0;
    u32 tablePos = 0;
    u32 status = id <= kDefaultIds ? bxd::ReadWord(fid, kHdOffsetTable, &tablePos)
                                   : bxd::FindAppendTable(fid, id, &tablePos);
    if (status != BXD_OK) { return status; }

    u32 slot = 0;
    status = bxd::ReadWord(fid, bxd::SlotPosition(tablePos, id), &slot);
    if (status == BXD_OK && slot != kUnset) { *cardOffset = slot; }
    return status;
}

u32 GetFilePtr(u8 fid, u16 id, u32* table, u32* cardOffset, u32* tableOffset)
{
    *cardOffset = 0;
    u32 word = id + kFirstIdWord;
    if (id > kDefaultIds) {
        u32 appendTable = table[kChainWord];
        if (bxd::AppendGroup(id) > 0) {
            u32 status = bxd::FindAppendTable(fid, id, &appendTable);
            if (status != BXD_OK) { return status; }
        }
        if (!bxd::IsPosition(appendTable)) { return BXD_ERR_FAIL; }
        u32 status = bxd::ReadWords(fid, appendTable + kAppendSlotsAt, table, kAppendBody / 4);
        if (status != BXD_OK) { return status; }
        *tableOffset = appendTable;
        word = bxd::AppendSlot(id);
    }
    if (table[word] != kUnset) { *cardOffset = table[word]; }
    return BXD_OK;
}

u32 GetSystemCardOffset(u8 fid, u16 id, const u32* slots, u32* cardOffset, u32* cardSize, u8* slot)
{
    *cardOffset = 0;
    for (u8 i = 0; i < kSystemSlots; ++i) {
        if (!bxd::IsPosition(slots[i])) { continue; }
        CardHead head = {};
        u32 status = ReadCardSize(fid, static_cast<i32>(slots[i]), &head);
        if (status != BXD_OK) { return status; }
        if (head.cardId == id) {
            *cardOffset = slots[i];
            *cardSize = head.total();
            *slot = static_cast<u8>(i + 1);
            return BXD_OK;
        }
    }
    return BXD_OK;
}

u32 MoveXItemData(u8 fid, CardItemPlace* place, u8 itemNumber, u32 cardOffset)
{
    return ReadItemData(fid, place, itemNumber, cardOffset, 0, nullptr);
}

u32 ReadItemData(u8 fid, CardItemPlace* place, u8 itemNumber, u32 cardOffset, u32 want, void* buf)
{
    if (itemNumber == 0) { return 0; }
    bxd::LengthWalk walk(fid, cardOffset);
    if (!walk.open() || !walk.find(itemNumber, place)) { return 0; }
    u32 count = std::min(place->dataLength, want);
    if (count != 0 && !walk.deliver(*place, count, buf)) { return 0; }
    return place->dataOffset;
}

u32 MoveXItemNumberRam(void* card, u16 itemNumber, const BoxRecord* box, u8** dataPtr, u8** lengthPtr)
{
    *dataPtr = nullptr;
    if (itemNumber < 1 || itemNumber > bxd::ItemCount(box)) { return 0; }

    u8* image = static_cast<u8*>(card);
    u8* data = image + kItemCardHead + GET_2BYTES(image + kLengthTableSizeAt);
    const u8* cursor = image + kItemCardHead;
    for (u16 i = 1; i < itemNumber; ++i) { data += GetCardItemLength(&cursor); }
    *lengthPtr = image + (cursor - image);
    *dataPtr = data;
    return GetCardItemLength(&cursor);
}

u32 BoxSearchCheck(u8 boxFid, u32 cardId, CardSlotCursor* state)
{
    UseCursor(state);
    if (cardId <= kDefaultIds) {
        if (state->offsetTable == 0) {
            u32 status = bxd::ReadWord(boxFid, kHdOffsetTable, &state->offsetTable);
            if (status != BXD_OK) { return status; }
        }
        state->slotPos = bxd::SlotPosition(state->offsetTable, cardId);
    } else {
        u32 status = MoveCursorToGroup(boxFid, bxd::AppendGroup(cardId), state);
        if (status != BXD_OK) { return status; }
        state->slotPos = bxd::SlotPosition(state->appendTable, cardId);
    }
    return read_card_ptr(boxFid, static_cast<u16>(cardId), state);
}

u32 BoxSearchCheckInit(u8 boxFid, u16 cardId, CardSlotCursor* state)
{
    u32 cardOffset = 0;
    u32 status = bxd::ReadWord(boxFid, kHdCardOffset, &cardOffset);
    if (status != BXD_OK) { return status; }
    return cardOffset == kUnset ? static_cast<u32>(BXD_ERR_NOTFOUND) : BoxSearchCheck(boxFid, cardId, state);
}

u32 read_card_ptr(u8 boxFid, u16 cardId, CardSlotCursor* state)
{
    u32 status = bxd::ReadWord(boxFid, state->slotPos, &state->cardPos);
    if (status != BXD_OK) { return status; }
    if (state->cardPos == kUnset) { return BXD_ERR_NOTFOUND; }
    if (state->cardPos == 0) { return BXD_ERR_FAIL; }

    u16 id = 0;
    status = bxd::ReadHalf(boxFid, state->cardPos, &id);
    if (status != BXD_OK) { return status; }
    return id == cardId ? BXD_OK : BXD_ERR_FAIL;
}

u32 SearchAttr(u8 boxFid, const u8* itemTable, u16 cardId, u8* attr)
{
    if (cardId == CARD_ID_DEAD || cardId > CARD_ID_NORMAL_MAX) { return BXD_ERR_NOTFOUND; }
    ItemEntry item = {};
    u32 status = SearchItemNameID(search_data_attr, itemTable, &item);
    if (status != BXD_OK) { return status; }
    CardSlotCursor card = {};
    status = BoxSearchCheck(boxFid, cardId, &card);
    if (status != BXD_OK) { return status; }
    CardItemPlace place = {};
    u8 number = static_cast<u8>(item.itemNumber);
    u32 at = ReadItemData(boxFid, &place, number, card.cardPos, sizeof *attr, attr);
    return at != 0 && place.dataLength == sizeof *attr ? BXD_OK : BXD_ERR_FAIL;
}

u32 ChkTmpSysCard(const BoxRecord* box)
{
    u32 status = ChkGarbageBit(box->fid);
    if (status != BXD_OK) { return status; }
    u16 id = 0;
    status = bxd::ReadHalf(box->fid, box->tmpCardOffset, &id);
    if (status != BXD_OK) { return status; }
    return id == TMP_SYSTEM_CARD_ID ? BXD_OK : BXD_ERR_FAIL;
}

u32 CardReadSub(BoxRecord* box, const CardDescriptor* key, u8* buf, u32* len, u32 offset, u32 want)
{
    ItemEntry item = {};
    u32 status = SearchItemNameID(key->itemNameId, box->itemTable, &item);
    if (status != BXD_OK) { return status; }

    ItemRequest request = {key, buf, len, want != 0 ? offset : 0, want};
    if (bxd::IsInRam(box, key->cardId)) { return ReadFromImage(box, item.itemNumber, request); }

    u32 cardOffset = 0;
    status = key->cardId >= TMP_SYSTEM_CARD_ID
                 ? FindSystemCard(box, key->cardId, &cardOffset)
                 : GetFilePtrWithoutOffsetTable(box->fid, key->cardId, &cardOffset);
    if (status != BXD_OK) { return status; }
    if (cardOffset == 0) { return BXD_ERR_NOTFOUND; }
    return ReadFromFile(box->fid, cardOffset, item.itemNumber, request);
}

u32 _CardRead(BoxHandle box, const CardDescriptor* key, u8* buf, u32* len)
{
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    return CardReadSub(lease.record(), key, buf, len, 0, 0);
}

u32 _CardOffsetRead(BoxHandle box, const CardDescriptor* key, u8* buf, u32* len, u32 offset)
{
    if (*len == 0) { return BXD_OK; }
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    return CardReadSub(lease.record(), key, buf, len, offset, *len);
}
}
