// SPDX-License-Identifier: MIT
#include "index/bxd_indx_upkeep.h"

#include "index/bxd_indx_registry.h"

namespace {

// 0 for a box without indexes.
u32 ExpectNoIndexes(u8 fid)
{
    u8* table = nullptr;
    u32 status = ReadIndexTable(fid, &table);
    if (status == BXD_ERR_NOTFOUND) { return BXD_OK; }
    if (status != BXD_OK) { return status; }
    bxd::HeapBlock owned;
    owned.reset(table);
    return bxd::IndexTableWalk(table).atEnd() ? BXD_OK : BXD_ERR_FAIL;
}

}  // namespace

extern "C" {

u32 NormalCardWriteEnd(const BoxRecord* box, u16 cardId, u8 attrChanged, u8 attr)
{
    (void)cardId;
    (void)attrChanged;
    (void)attr;
    return ExpectNoIndexes(box->fid);
}

u32 UpdateIndexFile(BoxRecord* box, CardCopyState* copy)
{
    if (copy->targetKind == kTargetNew) {
        u32 status = WriteCardCount(box->fid, static_cast<u16>(GET_2BYTES(copy->header + kHdCardCount) + 1));
        if (status != BXD_OK) { return status; }
    }
    return GET_4BYTES(copy->header + kHdIndexTable) == kUnset ? static_cast<u32>(BXD_OK)
                                                              : ExpectNoIndexes(box->fid);
}
}
