// SPDX-License-Identifier: MIT
// Reading ahead: for the length of one call that only reads, small reads all over a file are answered from
// memory.
//
//   the file     [ block 0 ][ block 1 ][ block 2 ][ block 3 ] ..
//   in memory    [ bytes   ][   -     ][ bytes   ][   -     ]     a block comes with the first read in it
//
// One is alive at a time; a second one does nothing. It knows the file by its id: who holds one neither
// writes to the file by another id nor lets anybody do so. What memory or the host refuse is read from the
// file.
#pragma once

#include <bxd/types.h>

#include "storage/heapwrapper.h"

namespace bxd {

constexpr u32 kAheadBlock = 32768;
constexpr u32 kAheadMost = 1024;  // blocks that are kept, 32 MiB; the rest of a larger file is read as ever

class ReadAhead {
public:
    explicit ReadAhead(u8 fid);
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;
    ~ReadAhead();

    // The one that answers reads of this file, or null.
    static ReadAhead* of(u8 fid) { return active_ != nullptr && active_->fid_ == fid ? active_ : nullptr; }

    // Fills buf with `len` bytes from `offset` on; false where they are not all to be had here.
    bool read(u32 offset, void* buf, u32 len);
    // The file has changed: nothing is kept from here on.
    void forget();

private:
    const u8* block(u32 number);

    static ReadAhead* active_;

    u8 fid_;
    u32 size_ = 0;
    u32 kept_ = 0;
    HeapBlock table_;  // a pointer for each block of the file, null for one that is not in memory
};

}  // namespace bxd
