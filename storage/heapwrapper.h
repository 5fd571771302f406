// SPDX-License-Identifier: MIT
// Heap handles, and the owner of a plain block.
//
// A heap handle is a pointer to a pointer: one block whose first word holds the address of the bytes just
// behind it. Box handles, index handles and the image of a card under edit are heap handles.
//
//   handle --> [ address of data ][ data ... ]
//                      |            ^
//                      +------------+
#pragma once

#include <bxd/types.h>

#include <cstdlib>

extern "C" {

// A handle on `size` bytes behind its first word, or null when memory is short or `size` would wrap.
void** NewHeapHandle(u32 size);
void DisposeHeapHandle(void* handle);  // accepts null

// They mark every use of a box's data, for a port to a system whose memory moves. Here they do nothing.
void LockHandle();
void UnLockHandle();
}

namespace bxd {

// A block from malloc, freed with its owner.
class HeapBlock {
public:
    HeapBlock() = default;
    explicit HeapBlock(size_t size) : data_(static_cast<u8*>(std::malloc(size == 0 ? 1 : size))) {}
    HeapBlock(const HeapBlock&) = delete;
    HeapBlock& operator=(const HeapBlock&) = delete;
    ~HeapBlock() { std::free(data_); }

    explicit operator bool() const { return data_ != nullptr; }
    u8* data() const { return data_; }

    // Gives the block up to the caller, who frees it.
    u8* release()
    {
        u8* given = data_;
        data_ = nullptr;
        return given;
    }
    // Takes over a block from malloc in place of the present one.
    void reset(u8* taken)
    {
        std::free(data_);
        data_ = taken;
    }

private:
    u8* data_ = nullptr;
};

}  // namespace bxd
