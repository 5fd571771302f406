// SPDX-License-Identifier: MIT
// Binary insertion into the card table of an index, wherever the table is held.
//
//   entries     1 ............ sortedEnd | ... first ........ count
//               in order                       the next to place
//
// The last entry of the sorted ones is asked first: a card that belongs at the end costs one compare. A card
// goes behind all that are equal to it, so that the order of equal cards stays.
#pragma once

#include "index/bxd_indx_sort_keys.h"

namespace bxd {

// The number that the entry `first`, which is the pivot, will have; 0 where a compare fails.
template <typename Table>
u32 FindPlace(Table& table, const Pivot& pivot, u32 sortedEnd, u32 first)
{
    u32 result = pivot.compare(table.cardPos(sortedEnd));
    if (result == BXD_CMP_BELOW || result == BXD_CMP_EQUAL) { return first; }
    if (result != BXD_CMP_ABOVE) { return 0; }

    u32 low = 1;
    u32 high = sortedEnd;
    while (low != high) {
        u32 middle = (low + high) / 2;
        result = pivot.compare(table.cardPos(middle));
        if (result == BXD_CMP_ABOVE) {
            high = middle;
        } else if (result == BXD_CMP_BELOW || result == BXD_CMP_EQUAL) {
            low = middle + 1;
        } else {
            return 0;
        }
    }
    return low;
}

// Places the entries from `first` on, one after the other, until `count` are in order. Gives the number of
// the one placed last, or 0 for failure. A table knows
//
//   u8 boxFid() const
//   u32 cardPos(u32 n)               the position of the card of entry n, 0 where it has none
//   bool move(u32 source, u32 target)  entry `source` goes to `target`, before it, and those between give way
template <typename Table>
u32 InsertEntries(Table& table, SortKey* keys, u32 count, u32 sortedEnd, u32 first)
{
    u32 place = 0;
    do {
        if (sortedEnd == 0 || first <= sortedEnd || first > count) { return 0; }
        Pivot pivot(table.boxFid(), table.cardPos(first), keys);
        place = pivot ? FindPlace(table, pivot, sortedEnd, first) : 0;
        if (place == 0 || (place < first && !table.move(first, place))) { return 0; }
        ++sortedEnd;
        ++first;
    } while (count > sortedEnd);
    return place;
}

}  // namespace bxd
