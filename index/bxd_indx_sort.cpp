// SPDX-License-Identifier: MIT
#include "index/bxd_indx_sort.h"

#include "index/bxd_indx_entries.h"
#include "index/bxd_indx_home.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_sort_fast.h"
#include "index/bxd_indx_sort_file.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u32 kSortSpace = 512;      // room that a sort asks for beyond the size of the file
constexpr u32 kOrderLess = 3;        // a condition of so many bytes has no key
constexpr u8 kBarredVersion = 0xFF;  // no version that is opened

// The keys of a full sort, which needs the compiled condition: 69 where there is only the other form.
u32 FullSortKeys(u8 indexFid, bxd::SortKeys* keys, bool* ordered)
{
    *ordered = true;
    u32 length = 0;
    u32 pos = 0;
    u32 status = bxd::FindIndexRecord(indexFid, IDXINF_SORT_CODE, &length, &pos);
    if (status == BXD_OK) { return bxd::ReadCompiledSort(indexFid, keys); }
    if (status != BXD_ERR_NOTFOUND) { return status; }

    status = bxd::FindIndexRecord(indexFid, IDXINF_SORT_EXP, &length, &pos);
    if (status != BXD_OK) { return status; }
    *ordered = false;
    return length > kOrderLess ? u32{BXD_ERR_CONDITION} : u32{BXD_OK};
}

u32 SortWholeTable(u8 boxFid, u8 indexFid)
{
    u32 tablePos = 0;
    u32 status = bxd::ReadWord(indexFid, kIxTablePos, &tablePos);
    if (status != BXD_OK) { return status; }
    if (tablePos == kUnset) { return BXD_ERR_EMPTY; }
    if (tablePos < kIndexHeaderSize) { return BXD_ERR_FAIL; }

    bxd::SortKeys keys;
    bool ordered = false;
    status = FullSortKeys(indexFid, &keys, &ordered);
    if (status != BXD_OK || !ordered) { return status; }

    u16 count = 0;
    status = bxd::ReadHalf(indexFid, tablePos, &count);
    if (status != BXD_OK) { return status; }
    if (count == 0) { return BXD_ERR_EMPTY; }
    bool sorted = ExecSort(boxFid, indexFid, count, keys.keys, tablePos, 0, 0, 1, 0) != 0;
    return sorted ? u32{BXD_OK} : bxd::SettleFailedSort(indexFid, keys);
}

// Places the last of so many entries, unless it is the only one; 0 where it cannot be placed.
u32 PlaceLast(u8 boxFid, u8 indexFid, const bxd::EntryTable& table, bxd::SortKeys* keys, i32 match)
{
    if (table.count == 1) { return 1; }
    return ExecSort(boxFid, indexFid, table.count, keys->keys, table.pos, static_cast<u16>(table.count - 1),
                    table.count, 0, match);
}

u32 WriteAttribute(u8 indexFid, const IndexCardPos* where)
{
    return bxd::WriteAll(indexFid, where->pos + kIxEntryAttr, &where->attr, 1);
}

// Tells whether the entry stands right between its neighbours. A card that cannot be found is 66; an entry
// found above its place by the neighbour before it stays so, whatever the one behind it tells.
u32 CheckPlace(u8 boxFid, u8 indexFid, const bxd::EntryTable& table, u16 indexNo, bxd::SortKeys* keys,
               bool* inPlace)
{
    CardSlotCursor cursor = {};
    cursor.valid = kCursorNew;
    auto cardPos = [&](u32 n) {
        return IndexNoToCardAdr(boxFid, indexFid, table.entriesPos(), static_cast<u16>(n), &cursor);
    };
    bxd::Pivot pivot(boxFid, cardPos(indexNo), keys->keys);
    if (!pivot) { return BXD_ERR_NOTFOUND; }

    *inPlace = true;
    if (indexNo > 1) {
        u32 before = cardPos(indexNo - 1U);
        if (before == 0) { return BXD_ERR_NOTFOUND; }
        *inPlace = pivot.compare(before) != BXD_CMP_ABOVE;
    }
    if (indexNo < table.count) {
        u32 result = pivot.compare(cardPos(indexNo + 1U));
        if (result == 0) { return BXD_ERR_NOTFOUND; }
        if (result == BXD_CMP_BELOW) { *inPlace = false; }
    }
    return BXD_OK;
}

// Takes the entry out of its run of equal cards: neither it nor the one behind it has a reason to be hidden.
u32 LeaveRun(u8 indexFid, u32 entryPos, bool isLast)
{
    u8 entry[kIxEntrySize];
    u32 status = bxd::ReadExactly(indexFid, entryPos, entry, sizeof entry);
    if (status != BXD_OK) { return status; }
    if (!isLast && !bxd::IsDoubly(entry)) {
        status = DeleteDoublyBit(indexFid, entryPos + kIxEntrySize);
        if (status != BXD_OK) { return status; }
    }
    return DeleteDoublyBit(indexFid, entryPos);
}

u32 MoveToEnd(u8 indexFid, const bxd::EntryTable& table, const IndexCardPos* where)
{
    u8 entry[kIxEntrySize];
    u32 status = bxd::ReadExactly(indexFid, where->pos, entry, sizeof entry);
    if (status != BXD_OK) { return status; }
    entry[kIxEntryAttr] = where->attr;
    u32 behind = (table.count - where->indexNo) * kIxEntrySize;
    return FlashTransferF(indexFid, where->pos + kIxEntrySize, where->pos, behind, entry, sizeof entry);
}

}  // namespace

namespace bxd {

u32 SettleFailedSort(u8 indexFid, const SortKeys& keys)
{
    if (keys.keys[0].addr != kUnset) { return BXD_ERR_FAIL; }
    (void)WriteAll(indexFid, kIxFileVersion, &kBarredVersion, 1);
    return BXD_ERR_HOST;
}

}  // namespace bxd

extern "C" {

u32 _IndexSort(const char* name, BoxHandle box)
{
    return bxd::WithHandle(box, [&] { return __IndexSort(name, box); });
}

u32 __IndexSort(const char* name, BoxHandle box)
{
    bxd::OpenFile index;
    u32 status = bxd::OpenIndex(name, kIxModeWrite, &index);
    if (status != BXD_OK) { return status; }
    status = bxd::RequireSpace(0, kUsualNodes, BxdFileSize(index.fid()) + kSortSpace);
    if (status != BXD_OK) { return status; }
    bxd::IndexHome home;
    status = home.open(index.fid(), name, box);
    return status == BXD_OK ? SortWholeTable(home.fid(), index.fid()) : status;
}

u32 LastIndexSort(u8 boxFid, u8 indexFid, const u8* itemTable, u16* position, u32 match)
{
    bxd::SortKeys keys;
    bool ordered = false;
    u32 status = bxd::ReadSortKeys(indexFid, itemTable, BXD_ERR_CONDITION, &keys, &ordered);
    if (status != BXD_OK) { return status; }
    bxd::EntryTable table = {};
    status = bxd::FindEntryTable(indexFid, &table);
    if (status != BXD_OK) { return status; }

    u32 place = table.count;
    if (ordered) { place = PlaceLast(boxFid, indexFid, table, &keys, static_cast<i32>(match)); }
    *position = static_cast<u16>(place);
    return ordered && place == 0 ? u32{BXD_ERR_FAIL} : u32{BXD_OK};
}

u32 OneDataIndexSort(u8 boxFid, u8 indexFid, const BoxRecord* box, const IndexCardPos* where, i32 match)
{
    bxd::SortKeys keys;
    bool ordered = false;
    u32 status = bxd::ReadSortKeys(indexFid, box->itemTable, BXD_ERR_FAIL, &keys, &ordered);
    if (status != BXD_OK) { return status; }
    if (!ordered) { return WriteAttribute(indexFid, where); }

    bxd::EntryTable table = {};
    status = bxd::FindEntryTable(indexFid, &table);
    if (status != BXD_OK) { return status; }
    if (where->indexNo == 0 || where->indexNo > table.count) { return BXD_ERR_NOTFOUND; }
    bool inPlace = false;
    status = CheckPlace(boxFid, indexFid, table, where->indexNo, &keys, &inPlace);
    if (status != BXD_OK) { return status; }
    if (inPlace) { return WriteAttribute(indexFid, where); }

    status = LeaveRun(indexFid, where->pos, where->indexNo == table.count);
    if (status == BXD_OK) { status = MoveToEnd(indexFid, table, where); }
    if (status != BXD_OK) { return status; }
    return PlaceLast(boxFid, indexFid, table, &keys, match) != 0 ? u32{BXD_OK} : u32{BXD_ERR_FAIL};
}

u32 ExecSort(u8 boxFid, u8 indexFid, u16 count, SortKey* keys, u32 tablePos, u16 sortedEnd, u16 first,
             i32 fullSort, i32 match)
{
    if (count == 1) { return 1; }
    bool torn = false;
    u32 place =
        bxd::SortInMemory(boxFid, indexFid, count, keys, tablePos, sortedEnd, first, fullSort, match, &torn);
    if (place != 0 || torn) { return place; }
    return bxd::SortOnFile(boxFid, indexFid, count, keys, tablePos, sortedEnd, first, match);
}
}
