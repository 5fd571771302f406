// SPDX-License-Identifier: MIT
// What a lost power leaves in the chain of cards, mended before a collection moves it. A slot always leads to
// the whole and newest card of its id; the chain may know less, and a collection follows the chain.
//
//   the file was made longer and its card not written: later cards stand behind the chain's end
//     | card 1 | FF FF | 00 ...  | card 2 | FF FF |     slot 2 leads behind the end
//     | card 1 | dead card       | card 2 | FF FF |     mended
//
//   a new copy was begun while the old one still has the slot: two cards of one id
//     | card 1 | card 2 | card 1, torn | FF FF |        the one without the slot dies
//
//   an offset card died for a larger one that was not written: it comes back to life
#pragma once

#include <bxd/types.h>

namespace bxd {

// Card ids that have been met.
class IdSet {
public:
    // True where it is new.
    bool insert(u16 id)
    {
        u8 bit = static_cast<u8>(1u << (id & 7));
        bool isNew = (bits_[id >> 3] & bit) == 0;
        bits_[id >> 3] |= bit;
        return isNew;
    }

private:
    u8 bits_[8192] = {};
};

// The chain ends at `end` and the file goes on: *pos becomes the place of the first card behind it that a
// slot, a table or the header leads to and that bears the right id, or unset where there is none.
[[nodiscard]] u32 FindCardBehind(u8 fid, u32 end, u32* pos);

// The chain ends at `end` and the file goes on. Where a slot, a table or the header leads to a card behind
// it, a dead card over the gap carries the chain on to the first of these, and *joined is true. 71 for a gap
// that holds no head.
[[nodiscard]] u32 RejoinChain(u8 fid, u32 end, bool* joined);

// Of two stored cards of one id the one dies that has no slot. Both stay where neither has it.
[[nodiscard]] u32 SettleDoubles(u8 fid, u32 cardOffset);

// The offset card that the header names lies dead in the chain, and there is no other: it comes back.
[[nodiscard]] u32 TakeBackOffsetCard(u8 fid, const u8* header);

}  // namespace bxd
