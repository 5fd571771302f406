// SPDX-License-Identifier: MIT
// Sorting an index in memory: the card table is loaded whole, and for more than one card the box's offset
// tables as well.
//
//   entries   [id attr flags][id attr flags] ...         entry n at (n - 1) * 4
//                |
//                +--> offsets[id - 1]  -->  position of the card in the box
//
//   entries to order    way
//   one card            binary insertion
//   up to 8             binary insertion
//   9 and more          quicksort; insertion sort of its short ranges
//
// The file is written once, at the end: a sort that fails here has changed nothing. Of one card that is
// placed only what has changed is written, from its place on.
#pragma once

#include "index/bxd_indx_sort_keys.h"
#include "index/bxd_indx_sort_prefix.h"

// What the sorts in memory share.
struct IndexSortContext {
    u8* entries;         // the card table without its count
    const u32* offsets;  // positions of the cards by id, from that of card 1 on
    SortKey* keys;
    i32 fullSort;  // the caller's, not consulted
    u16 lo, hi;    // the range, by index number, both inclusive
    u8 boxFid, indexFid;
    const bxd::SortPrefixes* prefixes;  // of all cards, or null
};

// Modes of BxdComp: what is asked of the card of an entry against the pivot.
constexpr u16 kCompBelow = 0;
constexpr u16 kCompAbove = 1;
constexpr u16 kCompEqual = 2;
constexpr u16 kCompNotAbove = 3;
constexpr u16 kCompTopBit = 4;  // an answer of 128 or more

extern "C" {

// Orders `count` entries of the table at tablePos. sortedEnd of 0: nothing is in order yet. Else the entries
// 1 to sortedEnd are, and those from `first` on are placed. Gives the number of the entry placed last, or 0
// where the sort fails or cannot be done in memory. `match` is the answer of the search condition for the
// placed card: where it is less than 0 the neighbours of the card tell which of them is hidden.
u32 FastSort(u8 boxFid, u8 indexFid, u16 count, SortKey* keys, u32 tablePos, u16 sortedEnd, u16 first,
             i32 fullSort, i32 match);

// Sort the range of the context: 1, or 0 for failure. Every entry stays in the table once in either case.
u32 BxdQSort(IndexSortContext* context);
u32 BxdSimpleSort(IndexSortContext* context);

// Exchanges two entries. Both become visible: the doubly bit belongs to a place in a run.
void BxdSwap(IndexSortContext* context, u16 a, u16 b);

// Whether the card of entry n stands to the pivot as `mode` asks.
u32 BxdComp(IndexSortContext* context, u16 n, u16 mode);
}

namespace bxd {

// FastSort, which also tells whether its last step, the write, has failed: then the table in the file may
// have some entries twice and others not at all, and no other way of sorting may go on from it.
u32 SortInMemory(u8 boxFid, u8 indexFid, u16 count, SortKey* keys, u32 tablePos, u16 sortedEnd, u16 first,
                 i32 fullSort, i32 match, bool* torn);

}  // namespace bxd
