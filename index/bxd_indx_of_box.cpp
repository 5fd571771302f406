// SPDX-License-Identifier: MIT
#include "index/bxd_indx_of_box.h"

namespace bxd {

u32 BoxIndexes::load(u8 boxFid)
{
    u8* table = nullptr;
    u32 status = ReadIndexTable(boxFid, &table);
    if (status != BXD_OK) { return status; }
    table_.reset(table);
    entry_ = IndexTableWalk(table);
    return BxdFileName(boxFid, boxName_);
}

u32 BoxIndexes::fullName(char* name) const
{
    return GetFullPathIndexName(name, entry_.name(), boxName_, entry_.nameType());
}

u32 BoxIndexes::open(u8 mode, OpenFile* index) const
{
    char name[BXD_PATH_SIZE];
    u32 status = fullName(name);
    if (status != BXD_OK) { return status; }
    i32 opened = BxdFileOpen(name, mode);
    if (opened < 0) { return BXD_ERR_FAIL; }
    index->reset(static_cast<u8>(opened));
    return BXD_OK;
}

}  // namespace bxd
