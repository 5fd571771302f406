// SPDX-License-Identifier: MIT
#include "index/bxd_indx_match.h"

#include <bxd/index.h>

#include "box/bxd_card_read.h"
#include "index/bxd_indx_condition.h"
#include "match/bxd_srch_card.h"

namespace {

constexpr u8 kAttrItem = 1;   // the attribute is the first item of every box
constexpr u32 kInfoSize = 4;  // what the matcher reads and writes beside the condition
constexpr u32 kInfoAttr = 2;  // the byte in it that tests of the attribute see

}  // namespace

namespace bxd {

bool IndexCondition::load(u8 boxFid, u8 indexFid)
{
    boxFid_ = boxFid;
    return ReadSearchCondition(boxFid, indexFid, bytes_) == BXD_OK &&
           IsSearchCondition(cond(), kConditionCodeMax - 1);
}

bool IndexCondition::loadItems()
{
    if ((bytes_[0] & kCondAllItems) == 0) { return true; }
    u8* table = nullptr;
    u32 size = 0;
    if (ReadItemTable(boxFid_, &table, &size) != BXD_OK) { return false; }
    itemTable_.reset(table);
    return true;
}

bool IndexCondition::needsNeighbour() const { return (bytes_[0] & kCondNeighbour) != 0; }

bool IndexCondition::holds(u32 cardPos, u32 otherPos) const
{
    // An attribute that cannot be read has no bit set.
    u8 info[kInfoSize] = {};
    CardItemPlace place = {};
    (void)ReadItemData(boxFid_, &place, kAttrItem, cardPos, 1, info + kInfoAttr);
    return SearchCmpCardCore(boxFid_, static_cast<i32>(cardPos), cond(), otherPos, itemTable_.data(), info, 1,
                             0) != 0;
}

}  // namespace bxd

extern "C" {

i32 MatchSearchCondition(u8 boxFid, u8 indexFid, i32 cardPos)
{
    bxd::IndexCondition condition;
    if (!condition.load(boxFid, indexFid)) { return 0; }
    if (condition.needsNeighbour()) { return kMatchNeighbours; }
    if (!condition.loadItems()) { return 0; }
    return condition.holds(static_cast<u32>(cardPos), 0) ? 1 : 0;
}

i32 IsAddableIndex(u8 mode, u8 boxFid, u8 indexFid, i32 cardPos)
{
    if (mode == BXD_INDEX_FILTERED) { return MatchSearchCondition(boxFid, indexFid, cardPos); }
    return mode == BXD_INDEX_BY_HAND ? 0 : 1;
}

i32 IsChangeableIndex(i8 mode, u8 boxFid, u8 indexFid, i32 cardPos)
{
    return mode == BXD_INDEX_FILTERED ? MatchSearchCondition(boxFid, indexFid, cardPos) : 1;
}
}
