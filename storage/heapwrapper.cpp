// SPDX-License-Identifier: MIT
#include "storage/heapwrapper.h"

extern "C" {

void** NewHeapHandle(u32 size)
{
    constexpr u32 word = sizeof(void*);
    if (size > UINT32_MAX - word) { return nullptr; }
    void** handle = static_cast<void**>(std::malloc(size_t{size} + word));
    if (handle != nullptr) { *handle = handle + 1; }
    return handle;
}

void DisposeHeapHandle(void* handle) { std::free(handle); }

void LockHandle() {}

void UnLockHandle() {}
}
