// SPDX-License-Identifier: MIT
// The index table of a box: how the names in it lead to the index files.
//
//   nameType   the index lies                  stored is
//   1          in the box's directory          its base name
//   2          elsewhere on the same drive     its path without the drive
//   3          on another drive                its name as it was given
#pragma once

#include <bxd/types.h>

#include "box/bxd_card_format.h"

extern "C" {

const char* PathNamePtr(const char* s);  // the path behind the drive, or null where no separator begins it
const char* BaseNamePtr(const char* s);  // the last part of a name

// The full name of an index, from what the table of the box `boxName` stores. `out` holds 256 bytes; 71
// where the name would not fit, and then `out` is empty.
u32 GetFullPathIndexName(char* out, const char* stored, const char* boxName, u8 nameType);
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
    const char* name() const { return reinterpret_cast<const char*>(entry_ + kIndexEntryName); }

private:
    const u8* entry_;
};

}  // namespace bxd
