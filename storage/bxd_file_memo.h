// SPDX-License-Identifier: MIT
// A memory of small reads: for the length of one call, reads near each other cost one read of the host.
//
//   the file      ....................[ window ]..............................[ window ]......
//                                      ^ the 256 bytes that a read begins in, and 512 more
//
// Looking a card up takes five small reads: two in its tables, its id, its lengths, its value. The last three
// lie together, and a table serves more than one card. Where ReadAhead makes sense of a whole file, this is
// for a few dozen look-ups anywhere in it. The window read first gives way first.
//
// Each file id has one at most; a second one does nothing. It belongs to whoever may change the file by that
// id only: a write or a cut by this id empties it, one by another id is not seen.
#pragma once

#include <bxd/types.h>

#include "storage/heapwrapper.h"

namespace bxd {

constexpr u32 kMemoWindow = 768;  // bytes
constexpr u32 kMemoAlign = 256;   // where windows begin
constexpr u32 kMemoWindows = 32;

class ReadMemo {
public:
    explicit ReadMemo(u8 fid);
    ReadMemo(const ReadMemo&) = delete;
    ReadMemo& operator=(const ReadMemo&) = delete;
    ~ReadMemo();

    // The one that answers reads of this file, or null.
    static ReadMemo* of(u8 fid)
    {
        for (ReadMemo* memo = first_; memo != nullptr; memo = memo->next_) {
            if (memo->fid_ == fid) { return memo; }
        }
        return nullptr;
    }

    // Fills buf with `len` bytes from `offset` on; false where they are not all to be had here.
    bool read(u32 offset, void* buf, u32 len);
    // These bytes of the file have changed: what is known of them is read anew.
    void forget(u32 offset, u32 len);

private:
    struct Window {
        u32 start;
        u32 size;  // 0 for none; less than kMemoWindow at the end of the file
    };

    const u8* bytesOf(const Window& window) const
    {
        return bytes_.data() + static_cast<u32>(&window - windows_) * kMemoWindow;
    }
    const Window* find(u32 offset, u32 len) const;
    const Window* fetch(u32 offset);

    static ReadMemo* first_;

    ReadMemo* next_ = nullptr;
    u8 fid_;
    bool active_ = false;
    HeapBlock bytes_;  // of all windows; taken with the first read
    u32 oldest_ = 0;
    Window windows_[kMemoWindows];
    const Window* latest_ = windows_;
};

}  // namespace bxd
