// SPDX-License-Identifier: MIT
// All cards of a box, in the order of their ids, become the card table of an index.
//
//   the buffer, 2048 bytes     default table         positions of the cards 1 to 500, link
//                              [p1][ 0][p3] ...   -> [e1][e3] ...           entries over positions
//                                                                       1532 append table
//                              [e1][e3] ...                             [p501] ... [p628] link
//
// A position and an entry are of one size and the position is read before the entry goes there, so that one
// buffer does for both. It is written to the index when the next append table would run over entries, and at
// the end; then come end mark, count and the cut.
#pragma once

#include <bxd/index.h>

extern "C" {

// _IndexUnGroup without test and lock of the handle, which may be null.
u32 __IndexUnGroup(const char* name, BoxHandle box);
}
