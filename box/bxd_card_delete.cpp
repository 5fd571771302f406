// SPDX-License-Identifier: MIT
#include "box/bxd_card_delete.h"

#include "box/bxd_card_read.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_card_strip.h"
#include "box/bxd_card_write.h"
#include "box/bxd_garb.h"
#include "box/bxd_sync.h"
#include "index/bxd_indx_delete.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u32 kDeleteBytes = 1024;

u32 EndCardUnderEdit(BoxRecord* box)
{
    if ((box->tmpCardState & kTmpCardInRam) == 0) {
        u32 status = ChkTmpSysCard(box);
        if (status == BXD_OK) { status = DeleteCardData(box->fid, box->tmpCardOffset); }
        if (status != BXD_OK) { return status; }
    }
    bxd::DropEdit(box);
    return BXD_OK;
}

u32 DeleteSystemCard(const BoxRecord* box, u16 cardId)
{
    u32 slots[kSystemSlots + 1] = {};
    u32 tablePos = 0;
    u32 status = ReadOffsetTable(box->fid, &tablePos, kSystemSlotBytes, slots);
    if (status != BXD_OK) { return status; }
    if (!bxd::IsPosition(tablePos)) { return BXD_ERR_NOTFOUND; }
    u32 pos = 0;
    u32 total = 0;
    u8 slot = 0;
    status = GetSystemCardOffset(box->fid, cardId, slots + 1, &pos, &total, &slot);
    if (status != BXD_OK) { return status; }
    if (pos == 0) { return BXD_ERR_NOTFOUND; }

    // No table leads to the card any more when it dies.
    status = bxd::WriteWord(box->fid, tablePos + 4u * slot, 0);
    return status == BXD_OK ? DeleteCardData(box->fid, pos) : status;
}

// --- the slot of a stored card -------------------------------------------------------------------------

// The offset card leads to the owner only where its size reaches beyond its own position in the file, which
// hardly any does: so a deletion sees the tables in the chain, and not what the offset card says of them.
bool OffsetCardLeads(u32 offsetCard, u32 offsetCardSize, u32 group)
{
    uint64_t wanted = static_cast<uint64_t>(offsetCard) + kOffsetCardWordsAt + 4 * group + 4;
    return bxd::IsPosition(offsetCard) && offsetCardSize >= wanted + kCardHead;
}

// The append table of an id above 500: along the chain from the default table.
u32 WalkToOwner(u8 fid, u32 defaultTable, u32 id, u32* owner)
{
    u32 linkPos = defaultTable + kChainWord * 4;
    for (u32 group = bxd::AppendGroup(id);; --group) {
        u32 status = bxd::ReadWord(fid, linkPos, owner);
        if (status != BXD_OK) { return status; }
        if (!bxd::IsPosition(*owner)) { return BXD_ERR_NOTFOUND; }
        u16 tableId = 0;
        status = bxd::ReadHalf(fid, *owner, &tableId);
        if (status != BXD_OK) { return status; }
        if (tableId != OFFSET_TABLE_ID) { return BXD_ERR_NOTFOUND; }
        if (group == 0) { return BXD_OK; }
        linkPos = *owner + kAppendChainAt;
    }
}

u32 FindOwner(u8 fid, u32 defaultTable, u32 id, u32* owner)
{
    *owner = defaultTable;
    if (id <= kDefaultIds) { return BXD_OK; }
    u32 place[2] = {};
    u32 status = bxd::ReadWords(fid, kHdOffsetCard, place, 2);
    if (status != BXD_OK) { return status; }
    u32 group = bxd::AppendGroup(id);
    if (!OffsetCardLeads(place[0], place[1], group)) { return WalkToOwner(fid, defaultTable, id, owner); }
    status = bxd::ReadWord(fid, place[0] + kOffsetCardWordsAt + 4 * group, owner);
    if (status != BXD_OK) { return status; }
    return bxd::IsPosition(*owner) ? BXD_OK : BXD_ERR_NOTFOUND;
}

// --- a stored card ---------------------------------------------------------------------------------------

struct StoredCard {
    u32 slotPos;
    u32 pos;
    bxd::SlotEnd end;  // a lost power may have kept the slot of a card from being cleared
    CardItemPlace attrPlace;
    u8 attr;
};

u32 FindStoredCard(const BoxRecord* box, u16 cardId, StoredCard* card)
{
    u32 defaultTable = 0;
    u32 status = bxd::ReadWord(box->fid, kHdOffsetTable, &defaultTable);
    if (status != BXD_OK) { return status; }
    if (!bxd::IsPosition(defaultTable)) { return BXD_ERR_NOTFOUND; }
    u32 owner = 0;
    status = FindOwner(box->fid, defaultTable, cardId, &owner);
    if (status != BXD_OK) { return status; }
    card->slotPos = bxd::SlotPosition(owner, cardId);
    status = bxd::ReadWord(box->fid, card->slotPos, &card->pos);
    if (status != BXD_OK) { return status; }
    if (!bxd::IsPosition(card->pos)) { return BXD_ERR_NOTFOUND; }
    return bxd::FollowSlot(box->fid, card->pos, cardId, &card->end);
}

u32 ReadAttrOf(const BoxRecord* box, StoredCard* card)
{
    ItemEntry attr = {};
    u32 status = SearchItemNameID(search_data_attr, box->itemTable, &attr);
    if (status != BXD_OK) { return status; }
    return bxd::ReadStoredAttr(box->fid, card->pos, static_cast<u8>(attr.itemNumber), &card->attrPlace,
                               &card->attr);
}

u32 EndPhysically(u8 fid, const StoredCard& card)
{
    bool dies = card.end == bxd::SlotEnd::kCard;
    u32 status = dies ? DeleteCardData(fid, card.pos) : static_cast<u32>(BXD_OK);
    if (status == BXD_OK) { status = bxd::WriteWord(fid, card.slotPos, 0); }
    // A tombstone was counted off when it was made.
    bool counted = (card.attr & kAttrLiveBit) != 0;
    return status == BXD_OK && counted ? DecCardCount(fid) : status;
}

// A tombstone that is deleted softly once more is counted off once more.
u32 EndSoftly(u8 fid, const StoredCard& card)
{
    u32 status = bxd::MakeTombstone(fid, card.pos, card.attrPlace, card.attr);
    return status == BXD_OK ? DecCardCount(fid) : status;
}

u32 FinishIndexes(const BoxRecord* box, u16 cardId)
{
    u32 status = bxd::RemoveFromIndexes(box, cardId);
    return status == BXD_OK ? UpdateUnUsedCardID(box->fid, cardId) : status;
}

// The last card of the file went, and a lost power kept the rest of its deletion from being done. Its
// attribute went with it: it was counted, as all but tombstones are.
u32 FinishLostDeletion(const BoxRecord* box, u16 cardId, const StoredCard& card)
{
    u32 status = bxd::WriteWord(box->fid, card.slotPos, 0);
    if (status == BXD_OK) { status = DecCardCount(box->fid); }
    if (status == BXD_OK) { status = FinishIndexes(box, cardId); }
    return status == BXD_OK ? u32{BXD_ERR_NOTFOUND} : status;
}

u32 DeleteStoredCard(const BoxRecord* box, u16 cardId, u32 physical)
{
    StoredCard card = {};
    u32 status = FindStoredCard(box, cardId, &card);
    if (status != BXD_OK) { return status; }
    if (card.end == bxd::SlotEnd::kNoCard) { return FinishLostDeletion(box, cardId, card); }
    u32 running = 0;
    if (physical == 0) { status = ChkCardAttrPimSync(box->fid, &running); }
    if (status == BXD_OK) { status = ReadAttrOf(box, &card); }
    if (status != BXD_OK) { return status; }

    bool soft = running != 0 && card.end == bxd::SlotEnd::kCard;
    status = soft ? EndSoftly(box->fid, card) : EndPhysically(box->fid, card);
    return status == BXD_OK ? FinishIndexes(box, cardId) : status;
}

}  // namespace

extern "C" {

u32 CardDeleteSub(BoxRecord* box, u16 cardId, u32 physical)
{
    if (cardId == 0) { return BXD_ERR_NOTFOUND; }
    u32 status = bxd::RequireSpace(1, kUsualNodes, kDeleteBytes);
    if (status != BXD_OK) { return status; }
    if (cardId < TMP_SYSTEM_CARD_ID) { return DeleteStoredCard(box, cardId, physical); }

    if (box->tmpCardState != kTmpCardNone) {
        if (box->tmpCardWork == nullptr) { return BXD_ERR_FAIL; }
        if (GET_2BYTES(bxd::ImageOf(box)) == cardId) { return EndCardUnderEdit(box); }
    }
    return DeleteSystemCard(box, cardId);
}

u32 _CardDelete(BoxHandle box, u16 cardId)
{
    bxd::BoxLease lease(box);
    return lease ? CardDeleteSub(lease.record(), cardId, 0) : lease.status();
}

u32 _CardDeletePMSC(BoxHandle box, u16 cardId)
{
    bxd::BoxLease lease(box);
    return lease ? CardDeleteSub(lease.record(), cardId, 1) : lease.status();
}

u32 _CardDeletePMSCWithIndex(BoxHandle box, u16 cardId)
{
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    u32 status = CardDeleteSub(lease.record(), cardId, 1);
    return status == BXD_OK ? CardDeleteFromIndex(lease.record(), cardId) : status;
}
}
