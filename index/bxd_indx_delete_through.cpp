// SPDX-License-Identifier: MIT
#include "index/bxd_indx_delete_through.h"

#include "box/bxd_card_delete.h"
#include "index/bxd_indx_delete.h"
#include "index/bxd_indx_entries.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_of_box.h"
#include "storage/bxd_data.h"

namespace {

// With all of these bits, to delete through the index is to delete the card.
constexpr u8 kMasterType = BXD_INDEX_TYPE_DISCHARGE | BXD_INDEX_TYPE_ADDS;

u32 ReadIndexType(u8 fid, u8* type)
{
    *type = 0;
    u32 length = 0;
    u32 pos = 0;
    u32 status = SearchIndexInformation(fid, IDXINF_TYPE, &length, &pos);
    if (status == BXD_ERR_NOTFOUND) { return BXD_OK; }
    return status == BXD_OK && length != 0 ? bxd::ReadExactly(fid, pos, type, sizeof *type) : status;
}

u32 MarkDischarged(u8 fid, const IndexEntryPos& entry)
{
    bxd::EntryTable table = {};
    u32 status = bxd::FindTableToChange(fid, &table);
    if (status != BXD_OK) { return status; }
    u8 attr = static_cast<u8>(entry.attr & ~kIxPresenceBits);
    return bxd::WriteAll(fid, entry.pos + kIxEntryAttr, &attr, sizeof attr);
}

}  // namespace

extern "C" {

u32 __IndexNoDeletePMSC(const char* name, u16 indexNo, BoxRecord* box)
{
    u8 kind = 0;
    i32 opened = IndexOpenCheck(name, &kind, kIxModeWrite);
    if (opened < 0) { return BXD_ERR_NOFILE; }
    bxd::OpenFile index(static_cast<u8>(opened));
    u8 type = 0;
    u32 status = ReadIndexType(index.fid(), &type);
    if (status != BXD_OK) { return status; }
    IndexEntryPos entry = {};
    status = SearchIndexID(index.fid(), indexNo, &entry);
    if (status != BXD_OK) { return status; }

    if (kind == kIndexFileIdMaster || (type & kMasterType) == kMasterType) {
        (void)index.close();
        return CardDeleteSub(box, entry.cardId, 0);
    }
    if (type == BXD_INDEX_TYPE_DISCHARGE) { return MarkDischarged(index.fid(), entry); }
    status =
        bxd::TakeEntryOut(index.fid(), entry.pos, entry.count);  // what the entry has hidden stays hidden
    (void)index.close();
    return status == BXD_OK ? AllIndexCheckDel(box, entry.cardId) : status;
}

u32 AllIndexCheckDel(BoxRecord* box, u16 cardId)
{
    bxd::BoxIndexes indexes;
    u32 status = indexes.load(box);
    if (status != BXD_OK) { return status == BXD_ERR_NOTFOUND ? static_cast<u32>(BXD_OK) : status; }
    for (; !indexes.atEnd(); indexes.next()) {
        bxd::OpenFile index;
        status = indexes.open(BXD_MODE_READ, &index);
        if (status != BXD_OK) { return status; }
        IndexCardPos found = {};
        status = SearchIndexCardID(index.fid(), cardId, &found);
        if (status != BXD_ERR_NOTFOUND) { return status; }
    }
    return CardDeleteSub(box, cardId, 0);
}

u32 _IndexNoDeletePMSC(const char* name, u16 indexNo, BoxHandle box)
{
    bxd::BoxLease lease(box);
    return lease ? __IndexNoDeletePMSC(name, indexNo, lease.record()) : lease.status();
}
}
