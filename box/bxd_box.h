// SPDX-License-Identifier: MIT
// The life of a box: made, opened and locked, closed; and the small questions and answers that go by its
// name.
#pragma once

#include <bxd/box.h>

#include "box/bxd_box_format.h"

extern "C" {

// The system cards of the default offset table, and the live cards by the count of the header (72 bytes).
u32 CalcBoxCard(u8 fid, const u8* header, u16* systemCards, u16* cards);
}
