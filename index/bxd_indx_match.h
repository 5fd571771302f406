// SPDX-License-Identifier: MIT
// Which cards belong to an index: its search condition, asked about one card, and about two neighbours.
//
//   update mode   a card comes in            a card that is there stays
//   1             the condition holds        the condition holds
//   2             never                      always
//   others        always                     always
//
// A condition that asks for one card of each value cannot be answered for a card alone. Every card belongs to
// such an index, and when it has its place its neighbours tell which of them are hidden.
#pragma once

#include <initializer_list>

#include "box/bxd_box_format.h"
#include "match/bxd_srch_format.h"
#include "storage/heapwrapper.h"

constexpr i32 kMatchNeighbours = -1;  // only the neighbours can tell

extern "C" {

// Whether the stored card at `cardPos` satisfies the search condition of an index: 0 for no, also where the
// condition cannot be read; 1 for yes; -1 where it needs a neighbour, without a look at the card.
i32 MatchSearchCondition(u8 boxFid, u8 indexFid, i32 cardPos);

// Whether a card comes into an index of this update mode, and whether one that is there stays. The values are
// those of MatchSearchCondition.
i32 IsAddableIndex(u8 mode, u8 boxFid, u8 indexFid, i32 cardPos);
i32 IsChangeableIndex(i8 mode, u8 boxFid, u8 indexFid, i32 cardPos);
}

namespace bxd {

// The search condition of an index.
class IndexCondition {
public:
    // False where it cannot be had.
    [[nodiscard]] bool load(u8 boxFid, u8 indexFid);
    // The item table, where it asks for all items; to be called before holds().
    [[nodiscard]] bool loadItems();

    bool needsNeighbour() const;
    // Whether the card at cardPos satisfies it, beside the card at `otherPos`, or alone where that is 0.
    bool holds(u32 cardPos, u32 otherPos) const;

private:
    const u8* cond() const { return bytes_ + 1; }

    u8 boxFid_ = 0;
    u8 bytes_[kConditionCodeMax + kConditionSlack] = {};  // not on the heap: short memory must not mean "no"
    HeapBlock itemTable_;
};

// Which entry a card that has got its place hides: 0 for none. The one before is asked first, which hides the
// card; then the one behind, which the card hides. A table knows cardPos(n) as for InsertEntries.
template <typename Table>
u32 HiddenByPlacing(u8 indexFid, Table& table, u32 place, u32 count)
{
    IndexCondition condition;
    if (!condition.load(table.boxFid(), indexFid) || !condition.loadItems()) { return 0; }
    u32 card = table.cardPos(place);
    for (u32 hidden : {place, place + 1}) {
        u32 neighbour = hidden == place ? place - 1 : place + 1;
        if (neighbour == 0 || neighbour > count) { continue; }
        u32 other = table.cardPos(neighbour);
        if (IsPosition(other) && !condition.holds(card, other)) { return hidden; }
    }
    return 0;
}

}  // namespace bxd
