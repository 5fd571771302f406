// SPDX-License-Identifier: MIT
#include "box/bxd_box_handle.h"

namespace {

BoxHandle firstOpen = nullptr;

bool IsRegistered(BoxHandle box)
{
    for (BoxHandle open = firstOpen; open != nullptr; open = (*open)->nextOpen) {
        if (open == box) { return true; }
    }
    return false;
}

void Unregister(BoxHandle box)
{
    for (BoxHandle* link = &firstOpen; *link != nullptr; link = &(**link)->nextOpen) {
        if (*link == box) {
            *link = (*box)->nextOpen;
            return;
        }
    }
}

bool IsAligned(const void* p) { return p != nullptr && reinterpret_cast<uintptr_t>(p) % 4 == 0; }

}  // namespace

namespace bxd {

void RegisterBoxHandle(BoxHandle box)
{
    (*box)->nextOpen = firstOpen;
    firstOpen = box;
}

void DisposeBoxHandle(BoxHandle box)
{
    Unregister(box);
    DisposeHeapHandle((*box)->tmpCardWork);
    DisposeHeapHandle(box);
}

}  // namespace bxd

extern "C" {

u32 BoxHdCheck(BoxHandle box)
{
    if (!IsAligned(box) || !IsRegistered(box) || !IsAligned(*box)) { return BXD_ERR_FAIL; }

    const BoxRecord* record = *box;
    const BxdFINFO* file = gBxdFINFOTable[record->fid];
    if (!IsAligned(file) || file->refs == 0) { return BXD_ERR_FAIL; }
    // A file id that another open has taken over since is told by its host handle.
    if (file->host != record->host) { return BXD_ERR_FAIL; }
    return file->name != nullptr ? BXD_OK : BXD_ERR_FAIL;
}

u32 BxdIsEnoughStorageForOperation(BoxHandle box, i32 operation)
{
    constexpr i32 kDeleteAllCards = 1;
    constexpr u32 kDeletionWork = 8192;
    constexpr u32 kPlenty = 0x7FFFF;

    if (operation != kDeleteAllCards) { return 1; }
    if (BoxHdCheck(box) != BXD_OK) { return 0; }
    if (BxdFileCheckFsSpace(1, 20, BxdFileSize((*box)->fid) + kDeletionWork) != 0) { return 1; }
    return BxdFileGetFsAvail() > kPlenty ? 1 : 0;
}
}
