// SPDX-License-Identifier: MIT
#include "index/bxd_indx_upkeep.h"

#include <bxd/index.h>

#include "index/bxd_indx_entries.h"
#include "index/bxd_indx_match.h"
#include "index/bxd_indx_of_box.h"
#include "index/bxd_indx_sort.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_memo.h"

namespace {

constexpr u8 kAttrOfCard = 0xF0;
constexpr u8 kAttrOfSync = 0x0F;
constexpr u8 kAttrChanged = 0x01;
constexpr u8 kAttrNew = 0x07;  // of an entry that comes in

// New cards stay out; an entry that is there is kept up to date.
bool KeepsNewCardsOut(const bxd::IndexTableWalk& entry)
{
    return (entry.flags() & (BXD_INDEX_TYPE_SPECIAL | BXD_INDEX_TYPE_ADDS)) == BXD_INDEX_TYPE_SPECIAL;
}

// The indexes may hold an entry of the card: also where a lost power has taken the card and not its slot.
bool HadSlot(const CardCopyState& copy) { return copy.targetKind != kTargetNew; }

u8 WithCardAttr(u8 entryAttr, u8 cardAttr)
{
    return static_cast<u8>((entryAttr & kAttrOfSync) | (cardAttr & kAttrOfCard));
}

u8 Marked(const bxd::BoxIndexes& indexes, u8 attr)
{
    return indexes.isDischarge() ? static_cast<u8>(attr | kAttrChanged) : attr;
}

// The card comes in where it belongs to the index: at the end of the table first, and from there to its
// place. Where it cannot be placed it stays at the end, so that it can be seen at least.
u32 TakeIn(const BoxRecord* box, u8 fid, u8 updateMode, const CardCopyState& copy)
{
    i32 match = IsAddableIndex(updateMode, box->fid, fid, static_cast<i32>(copy.cardPos));
    if (match == 0) { return BXD_OK; }
    u32 status = AddLastIndex(fid, copy.cardId, copy.attr | kAttrNew);
    if (status != BXD_OK) { return status; }
    u16 position = 0;
    (void)LastIndexSort(box->fid, fid, box->itemTable, &position, static_cast<u32>(match));
    return BXD_OK;
}

// New cards may come in. An index that is filled by hand need not even be opened for them.
bool TakesNewCards(const bxd::IndexTableWalk& entry)
{
    return !KeepsNewCardsOut(entry) && entry.updateMode() != BXD_INDEX_BY_HAND;
}

// The entry of a card that has changed: its attribute, and its place. An index without an order has the
// attribute written all the same.
void FollowEntry(const BoxRecord* box, u8 fid, IndexCardPos place, u16 cardId, i32 match)
{
    if (OneDataIndexSort(box->fid, fid, box, &place, match) == BXD_OK) { return; }
    const u8 attr = place.attr;
    if (SearchIndexCardID(fid, cardId, &place) == BXD_OK && place.attr != attr) {
        (void)bxd::WriteAll(fid, place.pos + kIxEntryAttr, &attr, sizeof attr);
    }
}

// One index follows a card that has reached its place. What fails is passed over, but for a card that cannot
// be taken in.
u32 FollowCard(const BoxRecord* box, const bxd::BoxIndexes& indexes, u8 fid, const CardCopyState& copy)
{
    const u8 mode = indexes.entry().updateMode();
    IndexCardPos place = {};
    u32 status = HadSlot(copy) ? SearchIndexCardID(fid, copy.cardId, &place) : u32{BXD_ERR_NOTFOUND};
    if (status == BXD_ERR_NOTFOUND) {
        return TakesNewCards(indexes.entry()) ? TakeIn(box, fid, mode, copy) : u32{BXD_OK};
    }
    if (status != BXD_OK) { return BXD_OK; }
    i32 match = IsChangeableIndex(static_cast<i8>(mode), box->fid, fid, static_cast<i32>(copy.cardPos));
    if (match == 0) {
        (void)bxd::RemoveEntry(fid, place.pos, place.count);
        return BXD_OK;
    }
    place.attr = WithCardAttr(Marked(indexes, place.attr), copy.attr);
    FollowEntry(box, fid, place, copy.cardId, match);
    return BXD_OK;
}

}  // namespace

extern "C" {

u32 NormalCardWriteEnd(const BoxRecord* box, u16 cardId, u8 attrChanged, u8 attr)
{
    bxd::BoxIndexes indexes;
    u32 status = indexes.load(box);
    if (status != BXD_OK) { return status == BXD_ERR_NOTFOUND ? static_cast<u32>(BXD_OK) : status; }
    for (; !indexes.atEnd(); indexes.next()) {
        bxd::OpenFile index;
        status = indexes.open(BXD_MODE_WRITE, &index);
        if (status != BXD_OK) { return status; }
        IndexCardPos place = {};
        status = SearchIndexCardID(index.fid(), cardId, &place);
        if (status == BXD_ERR_NOTFOUND) { continue; }
        if (status != BXD_OK) { return status; }
        if (attrChanged == 0 && !indexes.isDischarge()) { continue; }
        u8 marked = Marked(indexes, place.attr);
        if (attrChanged != 0) { marked = WithCardAttr(marked, attr); }
        status = bxd::WriteAll(index.fid(), place.pos + kIxEntryAttr, &marked, sizeof marked);
        if (status != BXD_OK) { return status; }
    }
    return BXD_OK;
}

u32 UpdateIndexFile(BoxRecord* box, CardCopyState* copy)
{
    if (copy->targetKind == kTargetNew) {
        u32 status = WriteCardCount(box->fid, static_cast<u16>(GET_2BYTES(copy->header + kHdCardCount) + 1));
        if (status != BXD_OK) { return status; }
    }
    if (GET_4BYTES(copy->header + kHdIndexTable) == kUnset) { return BXD_OK; }
    bxd::BoxIndexes indexes;
    u32 status = indexes.load(box);
    if (status != BXD_OK) { return status == BXD_ERR_NOTFOUND ? static_cast<u32>(BXD_OK) : status; }
    bxd::ReadMemo boxMemo(box->fid);  // the box stays as it is while its indexes follow
    for (; !indexes.atEnd(); indexes.next()) {
        if (!HadSlot(*copy) && !TakesNewCards(indexes.entry())) { continue; }
        bxd::OpenFile index;
        status = indexes.open(BXD_MODE_WRITE, &index);
        if (status != BXD_OK) { return status; }
        bxd::ReadMemo indexMemo(index.fid());
        status = FollowCard(box, indexes, index.fid(), *copy);
        if (status != BXD_OK) { return status; }
    }
    return BXD_OK;
}
}
