// SPDX-License-Identifier: MIT
#include "box/bxd_sync.h"

#include "box/bxd_box_handle.h"
#include "box/bxd_card_slots.h"

namespace {

// Reads the flag of a box by name. *closed becomes the status of the close.
u32 CheckByName(const char* boxName, u32* running, u32* closed)
{
    *running = 0;
    u8 fid = kNoFile;
    u8 header[kHeaderSize];
    u32 status = CheckFileBoxExRwMode(boxName, &fid, header, 1);
    if (status == BXD_ERR_NOFILE) { return status; }
    if (status != BXD_OK) { return BXD_ERR_OTHER; }
    if (header[kHdSyncFlag] == kSyncRunning) { *running = 1; }
    *closed = BxdFileClose(fid);
    return BXD_OK;
}

// The first free slot from the one at `pos` on, of which `left` stand before the chain word of their table;
// `id` is that of the first of them. An id behind the last slot of the last table is that of a table to come.
// The ids end before the tables do, so that the walk ends in any file.
u32 FindFreeSlot(u8 fid, uint64_t pos, u32 left, u32 id, u32* found)
{
    u32 slots[kDefaultIds + 1];
    while (id <= CARD_ID_NORMAL_MAX) {
        if (!bxd::FileHolds(fid, pos + (left + 1) * 4)) { return BXD_ERR_FAIL; }
        u32 status = bxd::ReadWords(fid, static_cast<u32>(pos), slots, left + 1);
        if (status != BXD_OK) { return status; }
        for (u32 i = 0; i <= left; ++i) {
            *found = id + i;
            if (!bxd::IsPosition(slots[i])) { return BXD_OK; }
        }
        id += left;
        pos = uint64_t{slots[left]} + kAppendSlotsAt;
        left = kAppendIds;
    }
    return BXD_ERR_FAIL;
}

}  // namespace

extern "C" {

u32 ChkCardAttrPimSync(u8 fid, u32* running)
{
    u8 flag = 0;
    *running = 0;
    u32 status = bxd::ReadExactly(fid, kHdSyncFlag, &flag, sizeof flag);
    if (status == BXD_OK && flag == kSyncRunning) { *running = 1; }
    return status;
}

u32 _BoxSyncStart(const char* boxName)
{
    u8 fid = kNoFile;
    u8 header[kHeaderSize];
    if (CheckFileBoxEx(boxName, &fid, header) != BXD_OK) { return BXD_ERR_OTHER; }
    bxd::OpenFile box(fid);
    if (header[kHdSyncFlag] == kSyncRunning) { return BXD_OK; }
    u32 status = bxd::WriteSyncFlag(fid, kSyncRunning);
    return status == BXD_OK ? static_cast<u32>(BXD_OK) : static_cast<u32>(BXD_ERR_OTHER);
}

u32 _BoxSyncCheck(const char* boxName, u32* running)
{
    u32 closed = BXD_OK;
    u32 status = CheckByName(boxName, running, &closed);
    return status == BXD_OK ? closed : status;
}

u32 _RmtxBoxSyncCheck(const char* boxName, u32* running)
{
    u32 closed = BXD_OK;
    return CheckByName(boxName, running, &closed);
}

u32 BxdGetSyncId(BoxHandle box)
{
    bxd::BoxLease lease(box);
    u32 id = 0;
    return lease && bxd::ReadWord(lease->fid, kHdSyncId, &id) == BXD_OK ? id : 0;
}

u32 BxdUpdateSyncId(BoxHandle box)
{
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    u32 id = 0;
    u32 status = bxd::ReadWord(lease->fid, kHdSyncId, &id);
    if (status != BXD_OK) { return status; }
    return bxd::WriteWord(lease->fid, kHdSyncId, id == UINT32_MAX ? 1 : id + 1);
}

u32 _ExpectNewCardID(BoxHandle box, u16* cardId)
{
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    u16 hint = 0;
    u32 status = bxd::ReadHalf(lease->fid, kHdUnUsedCardID, &hint);
    if (status != BXD_OK) { return status; }
    u32 id = bxd::WrappedId(hint);
    u32 slot = 0;
    u32 next = 0;
    u32 left = 0;
    status = GetCardOffset(lease->fid, static_cast<u16>(id), &slot, &next, &left);
    if (status == BXD_OK && bxd::IsPosition(slot)) {
        status = FindFreeSlot(lease->fid, next, left, id + 1, &id);
    }
    if (status != BXD_OK) { return status; }
    if (id > CARD_ID_NORMAL_MAX) { return BXD_ERR_FAIL; }
    *cardId = static_cast<u16>(id);
    return BXD_OK;
}
}

namespace bxd {

u32 WriteSyncFlag(u8 fid, u8 flag) { return WriteAll(fid, kHdSyncFlag, &flag, sizeof flag); }

}  // namespace bxd
