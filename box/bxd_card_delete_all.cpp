// SPDX-License-Identifier: MIT
#include "box/bxd_card_delete_all.h"

#include <bitset>

#include "box/bxd_card_read.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_card_strip.h"
#include "box/bxd_card_tables.h"
#include "box/bxd_garb.h"
#include "box/bxd_sync.h"
#include "index/bxd_indx_delete.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u32 kWantedFree = 0x68000;  // free space to begin with
constexpr u32 kDeletionWork = 8192;   // what a deletion needs beyond the box's own size
constexpr u32 kTablesMax = bxd::AppendGroup(CARD_ID_NORMAL_MAX) + 1;

u32 NoSpace() { return BxdSetErrorCode(BXD_HOST_NOSPACE) & 0xFFFF; }

// The space functions may give the file another id, and the handle goes with it.
void FollowFile(BoxRecord* box)
{
    if (box->fid != kNoFile) { box->host = gBxdFINFOTable[box->fid]->host; }
}

class MassDeletion {
public:
    MassDeletion(BoxRecord* box, const bxd::AttrFilter& selected) : box_(box), selected_(selected) {}

    u32 prepare()
    {
        ItemEntry attr = {};
        u32 status = SearchItemNameID(search_data_attr, box_->itemTable, &attr);
        attrItem_ = static_cast<u8>(attr.itemNumber);
        return status == BXD_OK ? bxd::ReadWord(box_->fid, kHdCardOffset, &cardOffset_) : status;
    }
    bool isEmpty() const { return cardOffset_ == kUnset; }

    // A flash that is full needs room even for a deletion.
    u32 makeRoom()
    {
        (void)BxdFileMakeFsSpaceFix(&box_->fid, kWantedFree);
        FollowFile(box_);
        if (box_->fid == kNoFile) { return NoSpace(); }
        if (BxdFileCheckFsSpace(1, kUsualNodes, BxdFileSize(box_->fid) + kDeletionWork) != 0) {
            return BXD_OK;
        }
        u32 avail = BxdFileGetFsAvail();
        if (avail >= kWantedFree) { return BXD_OK; }
        BxdDebug("CardAllDelete: STORAGE FULL ERROR! avail=%d\n", static_cast<int>(avail));
        return NoSpace();
    }

    u32 sweepTables()
    {
        u32 table[kDefaultTableWords];
        u32 tablePos = 0;
        u32 status = bxd::ReadWord(box_->fid, kHdOffsetTable, &tablePos);
        if (status != BXD_OK) { return status; }
        if (!bxd::IsPosition(tablePos)) { return BXD_ERR_NOTFOUND; }
        status = bxd::ReadWords(box_->fid, tablePos, table, kDefaultTableWords);
        for (u32 id = 1; status == BXD_OK && id <= kDefaultIds; ++id) {
            status = sweepSlot(table + kFirstIdWord + id, id, id);
        }
        if (status == BXD_OK) { status = bxd::WriteWords(box_->fid, tablePos, table, kDefaultTableWords); }
        return status == BXD_OK ? sweepAppendTables(table[kChainWord]) : status;
    }

    u32 finish()
    {
        u32 status = removeLost();
        if (status == BXD_OK) {
            status = bxd::RemoveSelectedFromIndexes(box_, selected_.mask, selected_.value, selected_.invert);
        }
        if (status == BXD_OK) { status = WriteCardCount(box_->fid, static_cast<u16>(kept_)); }
        if (status == BXD_OK) { status = WriteUnUsedCardID(box_->fid, static_cast<u16>(firstFree_)); }
        if (status == BXD_OK) { status = UpdateOffsetCard(box_->fid); }
        return status == BXD_OK ? CutTailGarbage(box_, cardOffset_) : status;
    }

private:
    u32 sweepAppendTables(u32 tablePos)
    {
        u32 firstId = kDefaultIds + 1;
        for (u32 tables = 0; bxd::IsPosition(tablePos); ++tables, firstId += kAppendIds) {
            if (tables == kTablesMax) { return BXD_ERR_FAIL; }
            u16 tableId = 0;
            u32 status = bxd::ReadHalf(box_->fid, tablePos, &tableId);
            if (status != BXD_OK) { return status; }
            if (tableId != OFFSET_TABLE_ID) { return BXD_ERR_NOTFOUND; }
            status = sweepAppendTable(&tablePos, firstId);
            if (status != BXD_OK) { return status; }
        }
        return BXD_OK;
    }

    // *tablePos becomes the position of the next table.
    u32 sweepAppendTable(u32* tablePos, u32 firstId)
    {
        u32 table[kAppendBody / 4];
        u32 at = *tablePos + kAppendSlotsAt;
        u32 status = bxd::ReadWords(box_->fid, at, table, kAppendBody / 4);
        if (status != BXD_OK) { return status; }
        for (u32 j = 0; status == BXD_OK && j < kAppendIds; ++j) {
            status = sweepSlot(table + j, firstId + j, j);
        }
        *tablePos = table[kAppendIds];
        return status == BXD_OK ? bxd::WriteWords(box_->fid, at, table, kAppendBody / 4) : status;
    }

    u32 sweepSlot(u32* slot, u32 id, u32 number)
    {
        bool made = BxdFileMakeFsSpaceDyn(&box_->fid) != 0;
        FollowFile(box_);
        if (!made) { return NoSpace(); }
        if (!bxd::IsPosition(*slot)) {
            freeSlot(slot, number);
            return BXD_OK;
        }

        bxd::SlotEnd end = bxd::SlotEnd::kNoCard;
        u32 status = bxd::FollowSlot(box_->fid, *slot, static_cast<u16>(id), &end);
        if (status != BXD_OK) { return status; }
        if (end != bxd::SlotEnd::kCard) {
            lost_[id] = true;
            freeSlot(slot, number);
            return BXD_OK;
        }
        return sweepCard(slot, number);
    }

    u32 sweepCard(u32* slot, u32 number)
    {
        CardItemPlace place = {};
        u8 attr = 0;
        u32 status = bxd::ReadStoredAttr(box_->fid, *slot, attrItem_, &place, &attr);
        if (status != BXD_OK) { return status; }
        if (place.dataLength != sizeof attr) { return BXD_ERR_FAIL; }
        if (!selected_.selects(attr)) {
            if ((attr & kAttrLiveBit) != 0) { ++kept_; }
            return BXD_OK;
        }
        u32 running = 0;
        status = ChkCardAttrPimSync(box_->fid, &running);
        if (status != BXD_OK) { return status; }
        if (running != 0) { return bxd::MakeTombstone(box_->fid, *slot, place, attr); }
        status = DeleteCardData(box_->fid, *slot);
        if (status == BXD_OK) { freeSlot(slot, number); }
        return status;
    }

    // The entries of a card that an earlier deletion did not come to the end of. Its attribute may be gone,
    // and its id is free now.
    u32 removeLost()
    {
        u32 status = BXD_OK;
        for (u32 id = 1; status == BXD_OK && id < lost_.size(); ++id) {
            if (lost_[id]) { status = bxd::RemoveFromIndexes(box_, static_cast<u16>(id)); }
        }
        return status;
    }

    // The number is the id in the default table, and the slot's place in an append table: a hint that is
    // too low costs a later search time, and slot 0 of an append table is no hint at all.
    void freeSlot(u32* slot, u32 number)
    {
        *slot = kUnset;
        if (firstFree_ == 0) { firstFree_ = number; }
    }

    BoxRecord* box_;
    bxd::AttrFilter selected_;
    u8 attrItem_ = 0;
    u32 cardOffset_ = kUnset;
    u32 kept_ = 0;
    u32 firstFree_ = 0;
    std::bitset<CARD_ID_NORMAL_MAX + 1> lost_;  // ids whose slots led to no living card
};

}  // namespace

extern "C" {

u32 __CardAllDelete(BoxRecord* box, u8 mask, u8 value, u8 negate)
{
    MassDeletion deletion(box, bxd::AttrFilter::ForCaller(mask, value, negate));
    u32 status = deletion.prepare();
    if (status != BXD_OK || deletion.isEmpty()) { return status; }
    status = deletion.makeRoom();
    if (status == BXD_OK) { status = deletion.sweepTables(); }
    return status == BXD_OK ? deletion.finish() : status;
}

u32 _CardAllDelete(BoxHandle box, u8 mask, u8 value, u8 negate)
{
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    u32 status = __CardAllDelete(lease.record(), mask, value, negate);
    // A file that has been closed and did not open again leaves nothing for the handle to stand for.
    if (lease->fid == kNoFile) { bxd::DisposeBoxHandle(box); }
    return status;
}
}
