// SPDX-License-Identifier: MIT
// The search in an index for the next card that satisfies a condition given with the call.
//
//   start    first entry: looked at by itself    next: by a jump where the order allows it    ...  stop
//     |             |                                |
//   [ . ][ . ][ . ][ . ][ . ][ . ][ . ][ . ][ . ][ . ][ . ][ . ][ . ][ . ][ . ]
//
// Entries are read in pieces in the direction of the search. A scan that gets long reads the box ahead.
#pragma once

#include <bxd/index.h>

extern "C" {

// _IndexSearch without test and lock of the handle, which may be null.
u32 __IndexSearch(const char* name, BoxHandle box, const u8* condition, u8 backward, u8 mask, u8 value,
                  u8 invert, u16 start, u16* indexNo);
}
