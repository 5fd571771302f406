// SPDX-License-Identifier: MIT
#include "box/bxd_card_slots.h"

namespace {

// A killed slot takes no position in place; a rewrite of its table brings it back to the erased state.
void HealKilledSlots(u32* table, u32 first, u32 last)
{
    for (u32 i = first; i <= last; ++i) {
        if (table[i] == 0) { table[i] = kUnset; }
    }
}

}  // namespace

namespace bxd {

bool OffsetCardFits(u8 fid, const u32* place)
{
    return place[1] >= kOffsetCardWordsAt && static_cast<uint64_t>(place[0]) + place[1] <= BxdFileSize(fid);
}

u32 FollowSlot(u8 fid, u32 pos, u16 cardId, SlotEnd* end)
{
    *end = SlotEnd::kNoCard;
    u16 id = 0;
    u32 status = ReadHalf(fid, pos, &id);
    if (status != BXD_OK) {
        u32 size = BxdFileSize(fid);  // 0 where it cannot be told
        return size != 0 && uint64_t{pos} + sizeof id > size ? static_cast<u32>(BXD_OK) : status;
    }
    if (id == CARD_ID_DEAD) { *end = SlotEnd::kDeadCard; }
    if (id == cardId) { *end = SlotEnd::kCard; }
    return BXD_OK;
}

u32 CheckSlotCard(u8 fid, u32 pos, u16 cardId, bool* dead)
{
    SlotEnd end = SlotEnd::kNoCard;
    u32 status = FollowSlot(fid, pos, cardId, &end);
    *dead = end == SlotEnd::kDeadCard;
    return status == BXD_OK && end == SlotEnd::kNoCard ? static_cast<u32>(BXD_ERR_FAIL) : status;
}

u32 FindAppendTable(u8 fid, u32 id, u32* tablePos)
{
    u32 place[2] = {};
    u32 status = ReadWords(fid, kHdOffsetCard, place, 2);
    if (status != BXD_OK) { return status; }
    u32 group = AppendGroup(id);
    if (!OffsetCardHolds(place[0], place[1], group)) { return BXD_ERR_FAIL; }
    status = ReadWord(fid, place[0] + kOffsetCardWordsAt + group * 4, tablePos);
    if (status != BXD_OK) { return status; }
    return IsPosition(*tablePos) ? BXD_OK : BXD_ERR_FAIL;
}

}  // namespace bxd

extern "C" {

u32 ReadLinearTable(u8 boxFid, u32* table, u16 maxId)
{
    u32 pos = 0;
    u32 status = bxd::ReadWord(boxFid, kHdOffsetTable, &pos);
    if (status != BXD_OK) { return status; }
    status = bxd::ReadWords(boxFid, bxd::SlotPosition(pos, 1), table, kDefaultIds + 1);

    // Each link stands where the first slot of its table goes.
    for (u32 place = kDefaultIds; status == BXD_OK && place < maxId; place += kAppendIds) {
        if (!bxd::IsPosition(table[place])) { return BXD_ERR_FAIL; }
        status = bxd::ReadWords(boxFid, table[place] + kAppendSlotsAt, table + place, kAppendIds + 1);
    }
    return status;
}

u32 GetCardOffset(u8 fid, u16 cardId, u32* slot, u32* nextSlotPos, u32* slotsLeft)
{
    *slot = 0;
    *nextSlotPos = 0;
    *slotsLeft = 0;

    u32 tablePos = 0;
    if (cardId <= kDefaultIds) {
        u32 status = bxd::ReadWord(fid, kHdOffsetTable, &tablePos);
        if (status != BXD_OK) { return status; }
    } else {
        u32 place[2] = {};
        u32 status = bxd::ReadWords(fid, kHdOffsetCard, place, 2);
        if (status != BXD_OK || !bxd::IsPosition(place[0])) { return status; }
        *slot = kUnset;
        u32 group = bxd::AppendGroup(cardId);
        if (!bxd::OffsetCardHolds(place[0], place[1], group)) { return BXD_OK; }
        status = bxd::ReadWord(fid, place[0] + kOffsetCardWordsAt + group * 4, &tablePos);
        if (status != BXD_OK || !bxd::IsPosition(tablePos)) { return status; }
    }

    u32 slotPos = bxd::SlotPosition(tablePos, cardId);
    u32 status = bxd::ReadWord(fid, slotPos, slot);
    if (status != BXD_OK) { return status; }
    *nextSlotPos = slotPos + 4;
    *slotsLeft = cardId <= kDefaultIds ? kDefaultIds - cardId : kAppendIds - 1 - bxd::AppendSlot(cardId);
    return BXD_OK;
}

u32 ModOffsetTable(u8 fid, u32 tablePos, u32 cardPos, u16 cardId)
{
    return bxd::WriteWord(fid, bxd::SlotPosition(tablePos, cardId), cardPos);
}

u32 ModOffsetTableNew(u8 fid, u32 tablePos, u32 cardPos, u16 cardId, u32 reuse, u32* table)
{
    if (reuse == 0) { return ModOffsetTable(fid, tablePos, cardPos, cardId); }
    if (cardId <= kDefaultIds) {
        // The tenth system slot and the chain word are healed along with the ids, the other system slots not.
        table[cardId + kFirstIdWord] = cardPos;
        HealKilledSlots(table, kFirstIdWord, kChainWord);
        return bxd::WriteWords(fid, tablePos, table, kDefaultTableWords);
    }
    table[bxd::AppendSlot(cardId)] = cardPos;
    HealKilledSlots(table, 0, kAppendIds - 1);
    return bxd::WriteWords(fid, tablePos + kAppendSlotsAt, table, kAppendBody / 4);
}

u32 ModifyOffsetTable(const BoxRecord* box, u32 cardPos, u16 cardId)
{
    if (cardId == 0) { return BXD_ERR_FAIL; }
    u32 tablePos = 0;
    u32 status = bxd::ReadWord(box->fid, kHdOffsetTable, &tablePos);
    if (status != BXD_OK) { return status; }
    if (!bxd::IsPosition(tablePos)) { return BXD_ERR_NOTFOUND; }

    if (cardId > kDefaultIds) {
        status = bxd::AppendGroup(cardId) == 0 ? bxd::ReadWord(box->fid, tablePos + kChainWord * 4, &tablePos)
                                               : bxd::FindAppendTable(box->fid, cardId, &tablePos);
        if (status != BXD_OK) { return status; }
        if (!bxd::IsPosition(tablePos)) { return BXD_ERR_FAIL; }
    }
    return ModOffsetTable(box->fid, tablePos, cardPos, cardId);
}

u32 ModSystemOffsetTable(u8 fid, u32 tablePos, u32* table, u32 newPos, u32 oldPos)
{
    for (u32 i = 1; i <= kSystemSlots; ++i) {
        if (table[i] == newPos) { return BXD_OK; }
        if (table[i] == 0 || table[i] == oldPos) { table[i] = kUnset; }
    }
    for (u32 i = 1; i <= kSystemSlots; ++i) {
        if (table[i] != kUnset) { continue; }
        table[i] = newPos;
        return bxd::WriteWords(fid, tablePos + 4, table + 1, kSystemSlots);
    }
    return BXD_ERR_FAIL;
}

u32 DeleteSystemOffset(u8 fid, u32 tablePos, u32* table, u32 oldPos)
{
    for (u32 i = 1; i <= kSystemSlots; ++i) {
        if (table[i] != oldPos) { continue; }
        table[i] = 0;
        return bxd::WriteWord(fid, tablePos + 4 * i, 0);
    }
    return BXD_OK;
}

u32 WriteCardCount(u8 fid, u16 n) { return bxd::WriteHalf(fid, kHdCardCount, n); }

u32 DecCardCount(u8 fid)
{
    u16 count = 0;
    u32 status = bxd::ReadHalf(fid, kHdCardCount, &count);
    if (status != BXD_OK || count == 0) { return status; }
    return WriteCardCount(fid, static_cast<u16>(count - 1));
}

u32 IncCardCount(u8 fid)
{
    u16 count = 0;
    u32 status = bxd::ReadHalf(fid, kHdCardCount, &count);
    if (status != BXD_OK) { return status; }
    return WriteCardCount(fid, static_cast<u16>(count + 1));
}

u32 WriteUnUsedCardID(u8 fid, u16 id) { return bxd::WriteHalf(fid, kHdUnUsedCardID, bxd::WrappedId(id)); }

u32 UpdateUnUsedCardID(u8 fid, u16 id)
{
    u16 stored = 0;
    u32 status = bxd::ReadHalf(fid, kHdUnUsedCardID, &stored);
    if (status != BXD_OK || bxd::WrappedId(id) >= stored) { return status; }
    return WriteUnUsedCardID(fid, id);
}

u32 WriteMaxCardID(u8 fid, u16 id) { return bxd::WriteHalf(fid, kHdMaxCardID, id); }

u32 UpdateMaxCardID(u8 fid, u16 id)
{
    u16 stored = 0;
    u32 status = bxd::ReadHalf(fid, kHdMaxCardID, &stored);
    if (status != BXD_OK || id <= stored) { return status; }
    return WriteMaxCardID(fid, id);
}
}
