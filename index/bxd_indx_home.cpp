// SPDX-License-Identifier: MIT
#include "index/bxd_indx_home.h"

#include "index/bxd_indx_registry.h"

namespace bxd {

u32 IndexHome::open(u8 indexFid, const char* indexName, BoxHandle handle)
{
    u32 isHandle = 0;
    i32 opened = SearchIndexToBox(indexFid, indexName, handle, &isHandle);
    if (opened < 0) { return BXD_ERR_NOFILE; }
    fid_ = static_cast<u8>(opened);
    if (isHandle != 0) {
        itemTable_ = (*handle)->itemTable;
        return BXD_OK;
    }
    own_.reset(fid_);
    u8* table = nullptr;
    u32 size = 0;
    u32 status = ReadItemTable(fid_, &table, &size);
    if (status != BXD_OK) { return status; }
    ownTable_.reset(table);
    itemTable_ = table;
    return BXD_OK;
}

}  // namespace bxd
