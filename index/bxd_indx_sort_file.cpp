// SPDX-License-Identifier: MIT
#include "index/bxd_indx_sort_file.h"

#include "index/bxd_indx_insert.h"
#include "index/bxd_indx_lookup.h"
#include "index/bxd_indx_match.h"
#include "storage/bxd_data.h"

namespace {

// What tells, in place of a doubly bit, that a card placed on the file has an equal neighbour. It stands in
// the id of entry 1, as files that were sorted in this way have it.
constexpr u8 kHiddenMark = 1;

// The table of one sort for the binary insertion. Cards are looked up by their ids each time, with one memo.
class FileTable {
public:
    FileTable(u8 boxFid, u8 indexFid, u32 tablePos)
        : boxFid_(boxFid), indexFid_(indexFid), tablePos_(tablePos)
    {
        cursor_.valid = kCursorNew;
    }

    u8 boxFid() const { return boxFid_; }
    u32 cardPos(u32 n)
    {
        return IndexNoToCardAdr(boxFid_, indexFid_, tablePos_ + kIxCountSize, static_cast<u16>(n), &cursor_);
    }
    bool move(u32 source, u32 target)
    {
        if (source < target) { return false; }
        u32 from = bxd::EntryPosition(tablePos_, source);
        u32 to = bxd::EntryPosition(tablePos_, target);
        u8 entry[kIxEntrySize];
        return bxd::ReadExactly(indexFid_, from, entry, sizeof entry) == BXD_OK &&
               FlashTransferF(indexFid_, to, to + kIxEntrySize, from - to, entry, sizeof entry) == BXD_OK;
    }

private:
    u8 boxFid_;
    u8 indexFid_;
    u32 tablePos_;
    CardSlotCursor cursor_ = {};
};

}  // namespace

namespace bxd {

u32 SortOnFile(u8 boxFid, u8 indexFid, u16 count, SortKey* keys, u32 tablePos, u16 sortedEnd, u16 first,
               i32 match)
{
    bool full = sortedEnd == 0;
    FileTable table(boxFid, indexFid, tablePos);
    u32 place = InsertEntries(table, keys, count, full ? 1U : sortedEnd, full ? 2U : first);
    if (place == 0 || match >= 0 || HiddenByPlacing(indexFid, table, place, count) == 0) { return place; }
    const u8 mark = kHiddenMark;
    return WriteAll(indexFid, tablePos + kIxCountSize, &mark, 1) == BXD_OK ? place : 0;
}

}  // namespace bxd
