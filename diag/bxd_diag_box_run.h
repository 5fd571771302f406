// SPDX-License-Identifier: MIT
// What the check of a box knows at any moment of its run.
//
//   0 ................................................. limit .......... size
//                          a card may begin up to here |  a card with no values, and the end mark
#pragma once

#include "box/bxd_box_format.h"
#include "diag/bxd_diag_faults.h"

struct BoxDiagRun {
    DiagRun file;
    bool repair;  // the two faults at the file's end are mended

    u8 header[kHeaderSize];
    u32 cardOffset;    // of the header; unset where the run takes the box for one without a card area
    u32 size;          // of the file
    int64_t limit;     // where the last card can begin
    u32 chainNormals;  // cards of the chain, at level 255
    u32 chainSystems;  //
    u32 chainDead;     // tombstones among the normal ones
    u32 largestIndex;  // entries of the largest index; nothing is held against it
};

namespace bxd {

inline u32 HeaderWord(const BoxDiagRun* run, u32 field) { return GET_4BYTES(run->header + field); }
inline u16 HeaderHalf(const BoxDiagRun* run, u32 field) { return GET_2BYTES(run->header + field); }

// Whether the file has the bytes from `pos` on. Asked before memory is taken for them.
inline bool FileHasAll(const BoxDiagRun* run, u32 pos, u32 len) { return uint64_t{pos} + len <= run->size; }

// Whether there is an offset card: of its position 0 says no as well.
inline bool HasOffsetCard(const BoxDiagRun* run) { return IsPosition(HeaderWord(run, kHdOffsetCard)); }

}  // namespace bxd
