// SPDX-License-Identifier: MIT
// The box of an index for the length of one call, with its item table.
//
//   the caller's handle is of that box   -->  its file id and its item table are used
//   it is not, or there is none          -->  the box is opened and its item table read, for the call
#pragma once

#include "box/bxd_box_handle.h"

namespace bxd {

class IndexHome {
public:
    // 64 where the index has no box or it does not open; the status of a failed reading of the item table.
    [[nodiscard]] u32 open(u8 indexFid, const char* indexName, BoxHandle handle);

    u8 fid() const { return fid_; }
    const u8* itemTable() const { return itemTable_; }

private:
    u8 fid_ = kNoFile;
    const u8* itemTable_ = nullptr;
    OpenFile own_;
    HeapBlock ownTable_;
};

// Makes a call to which the application may give a handle of the index's box: 71 for a handle that is none.
// A good one is held for the length of the call.
template <typename Call>
u32 WithHandle(BoxHandle handle, Call call)
{
    if (handle == nullptr) { return call(); }
    BoxLease lease(handle);
    return lease ? call() : lease.status();
}

}  // namespace bxd
