// SPDX-License-Identifier: MIT
#include "index/bxd_indx_upkeep.h"

#include <bxd/index.h>

#include "index/bxd_indx_info.h"
#include "index/bxd_indx_lookup.h"
#include "index/bxd_indx_registry.h"

namespace {

constexpr u8 kAttrOfCard = 0xF0;
constexpr u8 kAttrOfSync = 0x0F;
constexpr u8 kAttrChanged = 0x01;
constexpr u32 kNoOrder = 3;  // a sort condition of up to so many bytes orders nothing

bool IsDischarge(const bxd::IndexTableWalk& entry)
{
    return (entry.flags() & BXD_INDEX_TYPE_DISCHARGE) == BXD_INDEX_TYPE_DISCHARGE;
}

// No card comes in without the application's doing.
bool TakesNoCards(const bxd::IndexTableWalk& entry)
{
    return entry.updateMode() == BXD_INDEX_BY_HAND ||
           (entry.flags() & (BXD_INDEX_TYPE_SPECIAL | BXD_INDEX_TYPE_ADDS)) == BXD_INDEX_TYPE_SPECIAL;
}

u32 OpenIndex(const bxd::IndexTableWalk& entry, const char* boxName, bxd::OpenFile* index)
{
    char name[BXD_PATH_SIZE];
    if (GetFullPathIndexName(name, entry.name(), boxName, entry.nameType()) != BXD_OK) {
        return BXD_ERR_FAIL;
    }
    i32 opened = BxdFileOpen(name, BXD_MODE_WRITE);
    if (opened < 0) { return BXD_ERR_FAIL; }
    index->reset(static_cast<u8>(opened));
    return BXD_OK;
}

u32 WriteAttr(u8 fid, const IndexCardPos& place, u8 attr)
{
    return bxd::WriteAll(fid, place.pos + kIxEntryAttr, &attr, sizeof attr);
}

u8 WithCardAttr(u8 entryAttr, u8 cardAttr)
{
    return static_cast<u8>((entryAttr & kAttrOfSync) | (cardAttr & kAttrOfCard));
}

u8 Marked(const bxd::IndexTableWalk& entry, u8 attr)
{
    return IsDischarge(entry) ? static_cast<u8>(attr | kAttrChanged) : attr;
}

// Whether a card's place in the index follows from a condition.
bool HasOrder(u8 fid)
{
    u32 length = 0;
    if (SearchIndexInformation(fid, IDXINF_SORT_CODE, &length, nullptr) == BXD_OK && length != 0) {
        return true;
    }
    u32 status = SearchIndexInformation(fid, IDXINF_SORT_EXP, &length, nullptr);
    return status == BXD_OK ? length > kNoOrder : status != BXD_ERR_NOTFOUND && status != BXD_ERR_OTHER;
}

// What can be done in one index for a card that replaces one; false where that is not all that the index
// needs.
bool FollowReplaced(const bxd::IndexTableWalk& entry, u8 fid, const CardCopyState& copy)
{
    IndexCardPos place = {};
    u32 status = SearchIndexCardID(fid, copy.cardId, &place);
    if (status == BXD_ERR_NOTFOUND) { return TakesNoCards(entry); }
    if (status == BXD_OK) {
        status = WriteAttr(fid, place, WithCardAttr(Marked(entry, place.attr), copy.attr));
    }
    return status == BXD_OK && entry.updateMode() != BXD_INDEX_FILTERED && !HasOrder(fid);
}

// The box's index table, 66 where it has none, and the name that its entries are told beside.
u32 ReadTable(u8 fid, bxd::HeapBlock* table, char* boxName)
{
    u8* block = nullptr;
    u32 status = ReadIndexTable(fid, &block);
    table->reset(block);
    return status == BXD_OK ? BxdFileName(fid, boxName) : status;
}

}  // namespace

extern "C" {

u32 NormalCardWriteEnd(const BoxRecord* box, u16 cardId, u8 attrChanged, u8 attr)
{
    bxd::HeapBlock table;
    char boxName[BXD_PATH_SIZE];
    u32 status = ReadTable(box->fid, &table, boxName);
    if (status != BXD_OK) { return status == BXD_ERR_NOTFOUND ? static_cast<u32>(BXD_OK) : status; }
    for (bxd::IndexTableWalk entry(table.data()); !entry.atEnd(); entry.next()) {
        bxd::OpenFile index;
        status = OpenIndex(entry, boxName, &index);
        if (status != BXD_OK) { return status; }
        IndexCardPos place = {};
        status = SearchIndexCardID(index.fid(), cardId, &place);
        if (status == BXD_ERR_NOTFOUND) { continue; }
        if (status != BXD_OK) { return status; }
        if (attrChanged == 0 && !IsDischarge(entry)) { continue; }
        u8 marked = Marked(entry, place.attr);
        status = WriteAttr(index.fid(), place, attrChanged != 0 ? WithCardAttr(marked, attr) : marked);
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
    bxd::HeapBlock table;
    char boxName[BXD_PATH_SIZE];
    u32 status = ReadTable(box->fid, &table, boxName);
    if (status != BXD_OK) { return status == BXD_ERR_NOTFOUND ? static_cast<u32>(BXD_OK) : status; }
    bool behind = false;
    for (bxd::IndexTableWalk entry(table.data()); !entry.atEnd(); entry.next()) {
        if (copy->isUpdate == 0) {
            behind = behind || !TakesNoCards(entry);
            continue;
        }
        bxd::OpenFile index;
        status = OpenIndex(entry, boxName, &index);
        if (status != BXD_OK) { return status; }
        behind = !FollowReplaced(entry, index.fid(), *copy) || behind;
    }
    return behind ? static_cast<u32>(BXD_ERR_FAIL) : static_cast<u32>(BXD_OK);
}
}
