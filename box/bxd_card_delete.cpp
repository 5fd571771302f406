// SPDX-License-Identifier: MIT
#include "box/bxd_card_delete.h"

#include "box/bxd_card_read.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_card_write.h"
#include "box/bxd_garb.h"
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

}  // namespace

extern "C" {

u32 CardDeleteSub(BoxRecord* box, u16 cardId, u32 physical)
{
    (void)physical;  // a system card has one death only
    if (cardId == 0) { return BXD_ERR_NOTFOUND; }
    u32 status = bxd::RequireSpace(1, kUsualNodes, kDeleteBytes);
    if (status != BXD_OK) { return status; }
    if (cardId < TMP_SYSTEM_CARD_ID) { return BXD_ERR_FAIL; }

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
}
