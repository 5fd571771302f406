// SPDX-License-Identifier: MIT
// Collecting a box: the way through memory first (bxd_garb_image.h), and where that has no memory or no room,
// the second way, through the file with a buffer of 32 KiB.
//
//   the list of cards, from the measure
//      |
//      +--> live card ------> moves to the write position      | card 1 | card 2 | card 3 |        gap ...
//      +--> append table ---> goes; all are made anew behind the last card
//      +--> card under edit > goes
//
//   | header | default table | items | card 1 | card 2 | card 3 | table 0 | table 1 | FF FF
//
// The default table goes out when all cards have moved, and the append tables last. Before each card the
// storage is asked for room; where it has none, the box is put in order with what has been gained so far.
#pragma once

#include <bxd/box.h>

extern "C" {

// Collects a box by its name. *reclaimed receives the dead bytes that went; the RAM counters stay.
u32 BoxGarbageCollectSub(const char* name, u32* reclaimed);
}
