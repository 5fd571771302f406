// SPDX-License-Identifier: MIT
// The index files of a box, one after another, as its index table names them.
//
//   bxd::BoxIndexes indexes;
//   u32 status = indexes.load(box);                      66: the box has no index table
//   for (; status == BXD_OK && !indexes.atEnd(); indexes.next()) {
//       bxd::OpenFile index;
//       status = indexes.open(BXD_MODE_WRITE, &index);
//       ...
//   }
//
// The table is in memory for the walk, so that the box may change meanwhile.
#pragma once

#include <bxd/index.h>

#include "box/bxd_box_handle.h"
#include "index/bxd_indx_registry.h"

namespace bxd {

class BoxIndexes {
public:
    [[nodiscard]] u32 load(const BoxRecord* box) { return load(box->fid); }
    [[nodiscard]] u32 load(u8 boxFid);

    bool atEnd() const { return entry_.atEnd(); }
    void next() { entry_.next(); }
    const IndexTableWalk& entry() const { return entry_; }
    // Its name in full, to the 256 bytes at `name`; 71 for one that is too long.
    [[nodiscard]] u32 fullName(char* name) const;
    // Opens the index: 0, or 71 whatever is in the way.
    [[nodiscard]] u32 open(u8 mode, OpenFile* index) const;
    bool isDischarge() const
    {
        return (entry_.flags() & BXD_INDEX_TYPE_DISCHARGE) == BXD_INDEX_TYPE_DISCHARGE;
    }

private:
    static constexpr u8 kNoTable[kCardHead + 2] = {};  // a table that ends where it begins

    HeapBlock table_;
    IndexTableWalk entry_{kNoTable};
    char boxName_[BXD_PATH_SIZE] = {};
};

}  // namespace bxd
