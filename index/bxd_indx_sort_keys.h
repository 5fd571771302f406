// SPDX-License-Identifier: MIT
// From the sort condition of an index to the pivot that cards are compared with.
//
//   record of the index                 key array                      pivot
//   tag 129  [type item code] ...  -->  [ key ][ key ] ... [type 0] --> and in each key the value of a card
//   tag 2    "READ" FE code ... 0       at most 12 keys and the end
//
// A compiled condition is taken where there is one; an index of old has only the other form. The strings of a
// pivot may own memory: it goes with the pivot.
#pragma once

#include "box/bxd_box_format.h"
#include "match/bxd_sort_cmp.h"
#include "match/bxd_sort_cond.h"

namespace bxd {

// A key array. It starts as zeros, which is the end: no key and no pivot.
struct SortKeys {
    SortKey keys[kSortKeyArray] = {};
};

// The compiled condition of an index: 66 where there is none or an empty one, 69 for one of more than twelve
// keys or of a length that is not whole keys.
[[nodiscard]] u32 ReadCompiledSort(u8 indexFid, SortKeys* out);

// The condition as the application gave it.
class SortText {
public:
    // 66 where there is none or an empty one.
    [[nodiscard]] u32 read(u8 indexFid);
    // It begins with a 0: the index has no order.
    bool isUnordered() const { return text_.data()[0] == 0; }
    // Fills the keys; false for a malformed condition.
    [[nodiscard]] bool makeKeys(const u8* itemTable, SortKeys* out) const;

private:
    HeapBlock text_;
};

// The keys of an index that has an order, or *ordered false. `malformed` is the status for a condition in the
// application's form that is none.
[[nodiscard]] u32 ReadSortKeys(u8 indexFid, const u8* itemTable, u32 malformed, SortKeys* out, bool* ordered);

// One card, loaded into the keys for the life of this object.
class Pivot {
public:
    // A cardPos of 0 or 0xFFFFFFFF is no card.
    Pivot(u8 boxFid, u32 cardPos, SortKey* keys)
        : boxFid_(boxFid), keys_(keys),
          loaded_(IsPosition(cardPos) && MakeSortCondition(boxFid, static_cast<i32>(cardPos), keys) != 0)
    {}
    Pivot(const Pivot&) = delete;
    Pivot& operator=(const Pivot&) = delete;
    ~Pivot() { DisposeStrPtr(keys_); }

    explicit operator bool() const { return loaded_; }

    // Where the card at cardPos stands to this one: 127, 128, 129, or 0 where it cannot be told.
    u32 compare(u32 cardPos) const
    {
        return IsPosition(cardPos) ? static_cast<u32>(SortCmpCard(boxFid_, static_cast<i32>(cardPos), keys_))
                                   : 0;
    }

private:
    u8 boxFid_;
    SortKey* keys_;
    bool loaded_;
};

}  // namespace bxd
