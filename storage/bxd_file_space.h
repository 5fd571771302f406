// SPDX-License-Identifier: MIT
// The question that every writer asks first: is there room on the flash?
#pragma once

#include <bxd/files.h>

#include "storage/stdiohst.h"

constexpr u32 kUsualNodes = 20;  // node operations that a usual change of a file counts for

namespace bxd {

// 0, or 68 where the storage has no room for so many more bytes.
[[nodiscard]] inline u32 RequireSpace(u32 lowReserve, u32 nodes, u32 bytes)
{
    if (BxdFileCheckFsSpace(lowReserve, nodes, bytes) == 0) {
        return BxdSetErrorCode(BXD_HOST_NOSPACE) & 0xFFFF;
    }
    return BXD_OK;
}

}  // namespace bxd
