// SPDX-License-Identifier: MIT
// The first way of collecting: the whole box in memory, closed up there, and written back in one write.
//
//   read       | header | table | items | card 1 | dead | card 2 | append table | dead | FF FF
//   close up   | header | table | items | card 1 | card 2 | append table | FF FF
//   second pass: the slots of the tables, from the heads of what is left
//   write      all of it, and the file is cut behind
//
// It needs memory for the file, and room for it. Append tables stay where they stand among the cards, empty
// ones too; the tables above the highest id, the list of cards and the garbage bit belong to the second way.
#pragma once

#include "box/bxd_box_format.h"
#include "box/bxd_card_format.h"

extern "C" {

// Collects the open box fid, whose 72 bytes of header are given. *reclaimed receives the bytes of the dead
// cards that went. 0 with the file untouched where nothing was to be dropped; 71 for a damaged box and
// without memory, 68 without room, both with the file untouched; the status of a failed read or write.
u32 FastestGarbageCollect(u8 fid, u32* reclaimed, const u8* header);
}

namespace bxd {

// The tables before the card area and the start of that lie in a file of this size, in their order.
bool FrontFits(const u8* header, u32 fileSize);

// A card of the chain to which a field of the header leads: that one at the field's position. Where none
// stands there, since a lost power came between a new card and the field, it is the last of its kind.
struct HeaderCard {
    u32 pos = 0;  // 0: there is none
    u32 total = 0;
    bool named = false;  // the field has led to it

    // Meets a card of the kind; true when it is the choice so far.
    bool meet(u32 fieldPos, u32 cardPos, u32 cardTotal)
    {
        if (named) { return false; }
        *this = {cardPos, cardTotal, cardPos == fieldPos};
        return true;
    }
    u32 payload() const { return total - kCardHead; }
};

// FastestGarbageCollect, and whether the file was written to: then the status is the end of the matter.
[[nodiscard]] u32 CollectInMemory(u8 fid, u32* reclaimed, const u8* header, bool* written);

}  // namespace bxd
