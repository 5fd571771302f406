// SPDX-License-Identifier: MIT
// The card table of an index file: what an entry is, and the way to it from a number or from a card.
//
//   the card table, from tablePos to the end of the file      an entry
//             0  u16 count                                     0  u16 cardId, 1 to 65279
//             2  entry 1                                       2  u8 attr, a copy from the card
//             6  entry 2                                       3  u8 flags, bit 0 the doubly bit
//                ...
//   2 + 4*count  end mark FF FF
//
// The place in the table is the entry's number. An index without cards may be without a table. Every walk
// ends at the end mark, whatever `count` says; a file that ends before its end mark is damaged.
#pragma once

#include <bxd/index.h>

#include "box/bxd_card_read.h"
#include "storage/bxd_file.h"
#include "storage/heapwrapper.h"

constexpr u32 kIxCountSize = 2;  // the entries follow
constexpr u32 kIxEntrySize = 4;
constexpr u32 kIxEntryAttr = 2;
constexpr u32 kIxEntryFlags = 3;
constexpr u32 kIxEndMarkSize = 2;
constexpr u8 kIxDoublyBit = 0x01;  // hidden: the card before it in the table has the same value
constexpr u16 kIxBeforeFirst = 0;  // numbers of no entry, where a walk may start
constexpr u16 kIxBehindLast = 0xFFFF;
constexpr u32 kIxEntriesMax = 0xFFFF;
constexpr u8 kIxModeRead = 1;  // modes of an open for one operation
constexpr u8 kIxModeWrite = 3;

// An entry found by its number. After BXD_ERR_RANGE `pos` is the table's position and `count` is good.
struct IndexEntryPos {
    u32 pos;
    u16 count;
    u16 cardId;
    u8 attr;
    u8 flags;
};

// An entry found by its card.
struct IndexCardPos {
    u32 pos;
    u16 indexNo;
    u16 count;
    u8 attr;
};

extern "C" {

// 35 for the number 0 or 65535; 71 without a table, for a number above the count, and where the entry is not
// in the file or names no card.
u32 SearchIndexID(u8 fid, u16 indexNo, IndexEntryPos* out);

// The first entry of a card, hidden or not. 66 where there is none, or no table (`count` is 0 then); 71
// without memory for a single entry.
u32 SearchIndexCardID(u8 fid, u16 cardId, IndexCardPos* out);

// Position in the box of the card of entry `indexNo`; 0 for whatever fails. `entriesPos` is that of entry 1.
u32 IndexNoToCardAdr(u8 boxFid, u8 indexFid, u32 entriesPos, u16 indexNo, CardSlotCursor* state);
}

namespace bxd {

// Opens an index for one operation: 0 or 64.
[[nodiscard]] u32 OpenIndex(const char* name, u8 mode, OpenFile* file);

struct EntryTable {
    u32 pos;
    u16 count;

    u32 entriesPos() const { return pos + kIxCountSize; }
};

// Where the table is and how many entries it has: no table is one without entries.
[[nodiscard]] u32 FindEntryTable(u8 fid, EntryTable* table);

inline u32 EntryPosition(u32 tablePos, u32 indexNo)
{
    return tablePos + kIxCountSize + (indexNo - 1) * kIxEntrySize;
}

enum class EntryState { kEntry, kEndMark, kMissing };

// What stands at `entry`, of which the file holds `available` bytes. Two are enough for an end mark.
inline EntryState StateOfEntry(const u8* entry, u32 available)
{
    if (available >= kIxEndMarkSize && GET_2BYTES(entry) == END_MARK_ID) { return EntryState::kEndMark; }
    return available >= kIxEntrySize ? EntryState::kEntry : EntryState::kMissing;
}

inline bool IsDoubly(const u8* entry) { return (entry[kIxEntryFlags] & kIxDoublyBit) != 0; }

// Which entries a walk sees. Bit 0x40 is stored the other way round than the caller has it: a filter is
// turned round once, by ForCaller.
struct AttrFilter {
    u8 mask;
    u8 value;
    u8 invert;

    static AttrFilter ForCaller(u8 mask, u8 value, u8 invert)
    {
        return {mask, static_cast<u8>(value ^ (mask & kAttrLiveBit)), invert};
    }
    bool selects(u8 attr) const { return ((attr & mask) == value) != (invert != 0); }
    bool passes(const u8* entry) const { return !IsDoubly(entry) && selects(entry[kIxEntryAttr]); }
};

// Memory for a run of entries: for all of them where that can be had, else by halves down to one entry.
class EntryBuffer {
public:
    explicit EntryBuffer(u32 entries, u32 extra = 0)
    {
        for (capacity_ = entries; capacity_ > 0; capacity_ /= 2) {
            memory_.reset(static_cast<u8*>(std::malloc(capacity_ * kIxEntrySize + extra)));
            if (memory_) { return; }
        }
    }

    explicit operator bool() const { return capacity_ > 0; }
    u8* data() const { return memory_.data(); }
    u32 capacity() const { return capacity_; }  // in entries

private:
    HeapBlock memory_;
    u32 capacity_ = 0;
};

}  // namespace bxd
