// SPDX-License-Identifier: MIT
#include "index/bxd_indx_move_check.h"

#include "index/bxd_indx_info.h"
#include "index/bxd_indx_lookup.h"
#include "index/bxd_indx_names.h"
#include "index/bxd_indx_sort_keys.h"

namespace {

// The box that the index names: 71 for an empty name.
u32 OpenNamedBox(u8 indexFid, const char* indexName, bxd::OpenFile* box)
{
    char stored[BXD_PATH_SIZE] = {};
    u32 status = bxd::ReadIndexBoxName(indexFid, stored);
    if (status != BXD_OK) { return status; }
    if (stored[0] == 0) { return BXD_ERR_FAIL; }
    char full[BXD_PATH_SIZE] = {};
    status = GetFullPathBoxName(full, indexName, stored, GetNameType(stored, indexName));
    if (status != BXD_OK) { return status; }
    u8 fid = kNoFile;
    status = CheckFileBox(full, &fid, 1);
    if (status == BXD_OK) { box->reset(fid); }
    return status;
}

// The keys of the index, or *ordered false where it has no order to keep.
u32 MoveKeys(u8 indexFid, u8 boxFid, bxd::SortKeys* keys, bool* ordered)
{
    *ordered = true;
    u32 status = bxd::ReadCompiledSort(indexFid, keys);
    if (status != BXD_ERR_NOTFOUND) { return status; }
    bxd::SortText text;
    status = text.read(indexFid);
    if (status == BXD_ERR_NOTFOUND || (status == BXD_OK && text.isUnordered())) {
        *ordered = false;
        return BXD_OK;
    }
    if (status != BXD_OK) { return status; }

    u8* table = nullptr;
    u32 size = 0;
    status = ReadItemTable(boxFid, &table, &size);
    if (status != BXD_OK) { return status; }
    bxd::HeapBlock owned;
    owned.reset(table);
    return text.makeKeys(table, keys) ? u32{BXD_OK} : u32{BXD_ERR_CONDITION};
}

// The entry fits between its neighbours to be. A compare that fails forbids nothing, a card that is not there
// does.
u32 CheckOrder(u8 boxFid, u8 indexFid, u32 entriesPos, bxd::SortKeys* keys, u16 from, u16 to)
{
    CardSlotCursor cursor = {};
    cursor.valid = kCursorNew;
    auto cardPos = [&](u16 n) { return IndexNoToCardAdr(boxFid, indexFid, entriesPos, n, &cursor); };
    bxd::Pivot pivot(boxFid, cardPos(from), keys->keys);
    if (!pivot) { return BXD_ERR_NOTFOUND; }
    if (to != 1) {
        u32 before = cardPos(static_cast<u16>(to - 1));
        if (before == 0 || pivot.compare(before) == BXD_CMP_ABOVE) { return BXD_ERR_NOTFOUND; }
    }
    u32 behind = cardPos(to);
    return behind == 0 || pivot.compare(behind) == BXD_CMP_BELOW ? u32{BXD_ERR_NOTFOUND} : u32{BXD_OK};
}

// Where no entry stands, be it that the end mark does or that the file ends, nothing is hidden.
u32 ReadFlags(u8 indexFid, u32 tablePos, u32 n, u8* flags)
{
    *flags = 0;
    u32 pos = bxd::EntryPosition(tablePos, n);
    if (!bxd::FileHolds(indexFid, uint64_t{pos} + kIxEntrySize)) { return BXD_OK; }
    u8 entry[kIxEntrySize];
    u32 status = bxd::ReadExactly(indexFid, pos, entry, sizeof entry);
    if (status == BXD_OK && GET_2BYTES(entry) != END_MARK_ID) { *flags = entry[kIxEntryFlags]; }
    return status;
}

u32 WriteFlags(u8 indexFid, u32 tablePos, u32 n, u8 flags)
{
    return bxd::WriteAll(indexFid, bxd::EntryPosition(tablePos, n) + kIxEntryFlags, &flags, 1);
}

// A visible entry that leaves hands its place to a hidden follower; a hidden one that comes in front of a
// visible one takes its place. In both cases two flags bytes change places.
u32 CarryFlags(u8 indexFid, u32 tablePos, u32 from, u32 to)
{
    u8 moved = 0;
    u8 follower = 0;
    u8 target = 0;
    u32 status = ReadFlags(indexFid, tablePos, from, &moved);
    if (status == BXD_OK) { status = ReadFlags(indexFid, tablePos, from + 1, &follower); }
    if (status == BXD_OK) { status = ReadFlags(indexFid, tablePos, to, &target); }
    if (status != BXD_OK) { return status; }

    if (from < to && moved == 0 && follower != 0) {
        status = WriteFlags(indexFid, tablePos, from, follower);
        return status == BXD_OK ? WriteFlags(indexFid, tablePos, from + 1, moved) : status;
    }
    if (to < from && moved != 0 && target == 0) {
        status = WriteFlags(indexFid, tablePos, to, moved);
        return status == BXD_OK ? WriteFlags(indexFid, tablePos, from, target) : status;
    }
    return BXD_OK;
}

}  // namespace

extern "C" {

u32 CheckMoveIndexNo(u8 indexFid, const char* name, u16 from, u16 to)
{
    if (from + 1 == to) { return BXD_OK; }
    bxd::OpenFile box;
    u32 status = OpenNamedBox(indexFid, name, &box);
    if (status != BXD_OK) { return status; }
    bxd::SortKeys keys;
    bool ordered = false;
    status = MoveKeys(indexFid, box.fid(), &keys, &ordered);
    if (status != BXD_OK || !ordered) { return status; }

    bxd::EntryTable table = {};
    status = bxd::FindEntryTable(indexFid, &table);
    if (status != BXD_OK) { return status; }
    status = CheckOrder(box.fid(), indexFid, table.entriesPos(), &keys, from, to);
    if (status != BXD_OK) { return status; }
    (void)box.close();
    return CarryFlags(indexFid, table.pos, from, to);
}
}
