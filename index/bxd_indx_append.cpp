// SPDX-License-Identifier: MIT
#include "index/bxd_indx_append.h"

#include "box/bxd_card_read.h"
#include "index/bxd_indx_entries.h"
#include "index/bxd_indx_home.h"
#include "index/bxd_indx_sort.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u32 kAppendSpace = 512;  // room that an append asks for beyond the size of the file
constexpr u32 kCardAttr = 0xF0;    // what an entry has of the card's attribute
constexpr u32 kNewEntryAttr = 7;

u32 AppendAndPlace(const bxd::IndexHome& home, u8 indexFid, u16 cardId, u16* position)
{
    u8 attr = 0;
    u32 status = SearchAttr(home.fid(), home.itemTable(), cardId, &attr);
    if (status == BXD_OK) { status = AddLastIndex(indexFid, cardId, (attr & kCardAttr) + kNewEntryAttr); }
    if (status != BXD_OK) { return status; }
    status = LastIndexSort(home.fid(), indexFid, home.itemTable(), position, 0);
    // Without a sort condition the entry stands where it belongs, and *position stays as it is.
    return status == BXD_ERR_NOTFOUND ? u32{BXD_OK} : status;
}

}  // namespace

extern "C" {

u32 _IndexNoAppend(const char* name, BoxHandle box, u16 cardId, u16* position)
{
    return bxd::WithHandle(box, [&] { return __IndexNoAppend(name, box, cardId, position); });
}

u32 __IndexNoAppend(const char* name, BoxHandle box, u16 cardId, u16* position)
{
    bxd::OpenFile index;
    u32 status = bxd::OpenIndex(name, kIxModeWrite, &index);
    if (status != BXD_OK) { return status; }
    status = bxd::RequireSpace(0, kUsualNodes, BxdFileSize(index.fid()) + kAppendSpace);
    if (status != BXD_OK) { return status; }

    IndexCardPos found = {};
    status = SearchIndexCardID(index.fid(), cardId, &found);
    if (status == BXD_OK) { return BXD_ERR_DUPLICATE; }
    if (status != BXD_ERR_NOTFOUND) { return status; }
    bxd::IndexHome home;
    status = home.open(index.fid(), name, box);
    return status == BXD_OK ? AppendAndPlace(home, index.fid(), cardId, position) : status;
}
}
