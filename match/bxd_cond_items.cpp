// SPDX-License-Identifier: MIT
#include "match/bxd_cond_items.h"

#include "box/bxd_box_format.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_registry.h"

namespace {

// Opens the box that an index names, for reading.
u32 OpenBoxOfIndex(u8 indexFid, bxd::OpenFile* box)
{
    u32 length = 0;
    u32 pos = 0;
    u32 status = SearchIndexInformation(indexFid, IDXINF_BOX_NAME, &length, &pos);
    if (status == BXD_ERR_NOTFOUND || status == BXD_ERR_OTHER) { return BXD_ERR_NOFILE; }
    if (status != BXD_OK) { return status; }
    char indexName[BXD_PATH_SIZE];
    if (length == 0 || BxdFileName(indexFid, indexName) != BXD_OK) { return BXD_ERR_NOTFOUND; }
    char stored[BXD_PATH_SIZE] = {};
    if (length >= sizeof stored) { return BXD_ERR_NOFILE; }
    status = bxd::ReadExactly(indexFid, pos, stored, length);
    if (status != BXD_OK) { return status; }

    // A name that does not fit comes out empty, which no box has.
    char boxName[BXD_PATH_SIZE] = {};
    (void)GetFullPathBoxName(boxName, indexName, stored, GetNameType(stored, indexName));
    u8 fid = kNoFile;
    status = CheckFileBox(boxName, &fid, 1);
    if (status == BXD_OK) { box->reset(fid); }
    return status;
}

}  // namespace

namespace bxd {

u32 LoadConditionItems(u8 indexFid, i32 boxId, HeapBlock* table)
{
    OpenFile box;
    if (boxId < 0) {
        u32 status = OpenBoxOfIndex(indexFid, &box);
        if (status != BXD_OK) { return status; }
        boxId = box.fid();
    }
    u8* bytes = nullptr;
    u32 size = 0;
    u32 status = ReadItemTable(static_cast<u8>(boxId), &bytes, &size);
    if (status == BXD_OK) { table->reset(bytes); }
    return status;
}

}  // namespace bxd
