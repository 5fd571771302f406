// SPDX-License-Identifier: MIT
// What the tests of a box as a whole share: boxes to begin with.
#pragma once

#include "tests/support/box_case.h"

namespace boxtest {

inline Bytes PlainBox() { return BoxBuilder(NumberedItems(6)).build(); }

// A box with two cards, a dead one between them, and an index table.
inline BoxBuilder UsedBox()
{
    BoxBuilder box(NumberedItems(6));
    box.card(1, box.row({{"I000", B("first")}}));
    box.dead(30);
    box.card(2, box.row({{"I001", B("second")}}));
    return box;
}

}  // namespace boxtest
