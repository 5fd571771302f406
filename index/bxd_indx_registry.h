// SPDX-License-Identifier: MIT
// The index table of a box: the names of its indexes. Every change of a card walks it, so an index that
// stands in it is kept up to date, and one that does not is not.
//
//   the block, a card of the chain      an entry
//     0  u16 id, 65521                    0  u16 entryLength, the bytes behind it; 0 or 0xFFFF ends the table
//     2  u32 body, a multiple of 512      2  u8 nameType (bxd_indx_names.h)
//     6  entries                          3  u8 indexFileId, 27 for an index of the master kind
//        u16 0, the closing word          4  u8 indexFlags, the index's type
//        the rest                         5  u8 indexFlags2, its update mode
//                                         6  6 bytes, not written
//                                        12  the name with its terminator
//
// The block grows by 512 bytes, by moving to the end of the file, and gives them back at its end:
//
//   [head][entries][0]........[filler head]........ next card     the filler is made a card first,
//   [head, 512 less  ]........|dead card          | next card     then the block ends before it, and it dies
#pragma once

#include "box/bxd_box_handle.h"
#include "box/bxd_card_format.h"
#include "index/bxd_indx_names.h"

extern "C" {

// Appends an entry. The name is stored in the form told. 71 for a damaged block, for no memory, and for a
// name that is too long.
u32 AddIndexName(u8 boxFid, const char* name, u8 indexFlags, u8 indexFileId, u8 indexFlags2, u8 nameType);

// Removes the entry that leads to the index of this full name. 0 where there is none, or no table.
u32 DeleteIndexName(u8 boxFid, const char* name);

// Registers an index anew in its box. 0 also for an index that names no box, and where the box can only be
// read.
u32 AddIndexType(u8 indexFid, const char* indexName, u8 indexFlags, u8 indexFileId, u8 indexFlags2);

// The box of an index: its file id, which the caller closes if *sameAsHandle is 0; it is 1 where the box is
// that of the handle, which may be null. BXD_HOST_NOTFOUND where the index names no box, or for a handle
// without a record; BXD_HOST_BOXGONE where the name cannot be read or the box not be opened.
i32 SearchIndexToBox(u8 indexFid, const char* indexName, BoxHandle boxHandle, u32* sameAsHandle);
}

namespace bxd {

// A walk along the entries of an index table in memory, as ReadIndexTable gives it.
class IndexTableWalk {
public:
    explicit IndexTableWalk(const u8* table) : entry_(table + kCardHead) {}

    bool atEnd() const
    {
        u16 length = GET_2BYTES(entry_);
        return length == 0 || length == 0xFFFF;
    }
    void next() { entry_ += 2 + GET_2BYTES(entry_); }

    u8 nameType() const { return entry_[kIndexEntryType]; }
    u8 fileId() const { return entry_[kIndexEntryFileId]; }
    u8 flags() const { return entry_[kIndexEntryFlags]; }
    u8 updateMode() const { return entry_[kIndexEntryUpdateMode]; }
    const char* name() const { return reinterpret_cast<const char*>(entry_ + kIndexEntryName); }

private:
    const u8* entry_;
};

// An index as its box's table has it.
struct IndexRegistration {
    const char* name;  // in full
    u8 fileId;
    u8 type;
    u8 updateMode;
};

// What becomes of a box that stands in the registry of bad files as one that stays openable (178).
enum class BadBox {
    kRefuse,        // it is a box like any other
    kOpen,          // where the box does not open, its file is opened all the same, and a box that has taken
                    // the index is bad no longer
    kOpenAndAcquit  // the same, and it is bad no longer in any case
};

// Registers an index in the box that it names as `boxName`, in place of its old entry. 0 also where the box
// can only be read: then nothing is done.
[[nodiscard]] u32 RegisterIndex(const char* boxName, const IndexRegistration& index, BadBox bad);

}  // namespace bxd
