// SPDX-License-Identifier: MIT
// How many bytes of a box are dead, and where its cards stand: one walk along the chain of cards.
//
//   start                                                   the end of the walk
//   | card | dead | dead | card | card | dead | dead | FF FF
//                                      |<--- tail -->|
//
// Dead cards before the end mark need no collection: the mark moves before them and the file is cut. What is
// left is the dead sum, and every measure that reads through a buffer stores it in the header's garbageSize,
// so that a count which a lost power has cost comes back.
//
//   the list of cards:  CardTable { next | 500 records } --> CardTable { next | 500 records } --> null
//                       a record: u32 position, 0 at the end of the list; u32 bytes with the head; u16 id
#pragma once

#include <bxd/box.h>

#include "box/bxd_box_handle.h"

constexpr u32 kCardRecords = 500;  // records of a block

// A card of the list.
struct CardRecord {
    u32 position;  // 0: the list ends here
    u32 total;     // bytes with the head
    u16 cardId;
};

struct CardTable {
    CardTable* next;
    CardRecord records[kCardRecords];
};
static_assert(sizeof(CardRecord) == 12);

extern "C" {

// An empty block; null without memory.
CardTable* CreateCardTable();
// Stores a record at number *i of the block in use, in a new block behind it where that one is full. Gives
// the block in use, or null without memory.
CardTable* PutCardTable(CardTable* block, u32 pos, u32 total, u16 cardId, u32* i);
// Takes record number *i in the same manner. Null, and *pos 0, behind the last block.
CardTable* GetCardTable(CardTable* block, u32* pos, u32* total, u16* cardId, u32* i);
// Frees a block and those behind it; accepts null.
void DisposeCardTable(CardTable* table);

// FastGetGarbageSize without a buffer, without a list, and without a write to garbageSize. Every output but
// `tail` may be null. A `start` of all ones gives a sum of 0.
u32 GetGarbageSize(u8 fid, u32* garbage, u32* tail, u32 start, u16* maxId);
}

namespace bxd {

// A list of cards, freed with its owner.
class CardList {
public:
    CardList() = default;
    CardList(const CardList&) = delete;
    CardList& operator=(const CardList&) = delete;
    ~CardList() { clear(); }

    explicit operator bool() const { return first_ != nullptr; }
    CardTable* first() const { return first_; }
    // Where a measure puts its list.
    CardTable** out() { return &first_; }
    void clear()
    {
        DisposeCardTable(first_);
        first_ = nullptr;
    }

    // Calls visit(record) for each card in file order, until one gives another status than 0.
    template <typename Visit>
    [[nodiscard]] u32 forEach(Visit visit) const
    {
        CardRecord card = {};
        u32 i = 0;
        CardTable* block = first_;
        while (block != nullptr) {
            block = GetCardTable(block, &card.position, &card.total, &card.cardId, &i);
            if (card.position == 0) { break; }
            u32 status = visit(card);
            if (status != BXD_OK) { return status; }
        }
        return BXD_OK;
    }

private:
    CardTable* first_ = nullptr;
};

}  // namespace bxd
