// SPDX-License-Identifier: MIT
// What a full sort knows of each card beforehand: the begin of its first key's value as one number.
//
//   READ "かな"   -->   [ 0304B + 1 | 0306A + 1 | 0 ]     three characters of 17 bits, 0 behind the end
//   NUMB 1234     -->   [                    1234 ]
//
// Two different numbers stand to each other as SortCmpCard would say of the cards, the key's direction
// included. Equal ones say nothing. They are used where all cards have them: a card that cannot be read, and
// a text that is no UTF-8, leave the sort without.
#pragma once

#include "index/bxd_indx_sort_keys.h"

namespace bxd {

class SortPrefixes {
public:
    // The numbers of the cards of `count` entries, whose positions by id are at `offsets`; false where there
    // are none to be had.
    [[nodiscard]] bool load(u8 boxFid, const u8* entries, u32 count, const u32* offsets, const SortKey* keys,
                            u16 maxId);

    uint64_t of(u16 cardId) const { return reinterpret_cast<const uint64_t*>(memory_.data())[cardId - 1]; }

private:
    HeapBlock memory_;  // by card id, from that of card 1 on
};

}  // namespace bxd
