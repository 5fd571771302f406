// SPDX-License-Identifier: MIT
#include "index/bxd_indx_search.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "box/bxd_card_slots.h"
#include "index/bxd_indx_home.h"
#include "index/bxd_indx_lookup.h"
#include "index/bxd_indx_search_start.h"
#include "match/bxd_srch_card.h"
#include "match/bxd_srch_cond.h"
#include "match/bxd_srch_expand.h"
#include "storage/bxd_file_ahead.h"
#include "storage/bxd_file_memo.h"

namespace {

constexpr u32 kPieceEntries = 128;
constexpr u32 kAheadAfter = 24;      // cards that a scan looks at before it reads the box ahead
constexpr i32 kFromBehind = 0xFFFE;  // the entry before the number behind the last: it is the last
constexpr u32 kInfoItem = 0;         // what the matcher tells of the last test
constexpr u32 kInfoOperator = 1;
constexpr u32 kInfoAttr = kIxEntryAttr;
constexpr u32 kInfoSize = 4;

struct Direction {
    bool backward;
    bxd::AttrFilter filter;
};

// A condition for one search. The scan and the jump work on the clauses.
struct Condition {
    u8 clauses[kConditionCodeMax + kConditionSlack] = {};
    u8 flags = 0;

    // False for what no search takes: nothing, what cannot be compiled, and what needs a neighbour.
    bool compile(const u8* text, const u8* itemTable)
    {
        if (text == nullptr || *text == kCondEnd || IsFE96(text) != 0) { return false; }
        return SearchConvCondition(text, clauses, itemTable, kConditionCodeMax, &flags) != 0 &&
               (flags & kCondNeighbour) == 0;
    }
    u8 firstItem() const { return clauses[1]; }
};

// The entries of a table, read in pieces in the direction of a walk.
class EntryPieces {
public:
    EntryPieces(u8 fid, u32 entriesPos, bool backward)
        : fid_(fid), entriesPos_(entriesPos), backward_(backward)
    {}

    // Entry n: 66 for the end mark, 71 where the file ends before it.
    u32 at(u32 n, const u8** entry)
    {
        if (n < first_ || n >= first_ + kPieceEntries || first_ == 0) {
            u32 status = read(n);
            if (status != BXD_OK) { return status; }
        }
        u32 offset = (n - first_) * kIxEntrySize;
        *entry = piece_ + offset;
        switch (bxd::StateOfEntry(*entry, got_ > offset ? got_ - offset : 0)) {
        case bxd::EntryState::kEntry: return BXD_OK;
        case bxd::EntryState::kEndMark: return BXD_ERR_NOTFOUND;
        default: return BXD_ERR_FAIL;
        }
    }

private:
    u32 read(u32 n)
    {
        u32 first = !backward_ ? n : n > kPieceEntries ? n - kPieceEntries + 1 : 1;
        uint64_t pos = uint64_t{entriesPos_} + (first - 1) * kIxEntrySize;
        first_ = 0;
        if (pos > kFilePositionMax) { return BXD_ERR_FAIL; }
        got_ = sizeof piece_;
        u32 status = DataReadFromFile(fid_, static_cast<i32>(pos), piece_, &got_);
        if (status == BXD_OK) { first_ = first; }
        return status;
    }

    u8 fid_;
    u32 entriesPos_;
    bool backward_;
    u32 first_ = 0;  // number of the first entry of the piece, 0 for none
    u32 got_ = 0;
    u8 piece_[kPieceEntries * kIxEntrySize];
};

// The status of a look-up that has failed: its own where the box could not be read, else 66.
u32 SettleLookup(u8 boxFid, u16 cardId, u32 status)
{
    if (status == BXD_ERR_NOTFOUND) { return BXD_ERR_NOTFOUND; }
    u32 slot = 0;
    u32 nextSlot = 0;
    u32 slotsLeft = 0;
    u32 again = GetCardOffset(boxFid, cardId, &slot, &nextSlot, &slotsLeft);
    if (again != BXD_OK) { return again; }
    if (!bxd::IsPosition(slot)) { return BXD_ERR_NOTFOUND; }
    u16 id = 0;
    again = bxd::ReadHalf(boxFid, slot, &id);
    if (again != BXD_OK) { return again; }
    return id == cardId ? status : u32{BXD_ERR_NOTFOUND};
}

// One search in an open index.
class Search {
public:
    Search(const bxd::IndexHome& home, u8 indexFid, const bxd::EntryTable& table, Direction direction,
           Condition* condition)
        : home_(home), indexFid_(indexFid), table_(table), direction_(direction), condition_(condition),
          entries_(indexFid, table.entriesPos(), direction.backward)
    {}

    u32 run(u16 current, u16* indexNo)
    {
        bool found = false;
        u32 status = lookAtFirst(current, &found);
        if (status != BXD_OK) { return status; }
        if (found) {
            *indexNo = current;
            return BXD_OK;
        }
        u32 next = IndexSearchPrepare(home_.fid(), indexFid_, home_.itemTable(), direction_.backward ? 1 : 0,
                                      condition_->clauses, condition_->flags, current, table_.count, &stop_);
        return next == 0 ? u32{BXD_ERR_NOTFOUND} : scan(next, indexNo);
    }

private:
    // What the matcher says of the card; `info` as it leaves it.
    bool matches(u32 cardPos, u8* info) const
    {
        return SearchCmpCardCore(home_.fid(), static_cast<i32>(cardPos), condition_->clauses, 0,
                                 home_.itemTable(), info, 0, 0) != 0;
    }

    u32 findCard(u16 cardId, bool first, CardSlotCursor* cursor) const
    {
        if (cardId == CARD_ID_DEAD || cardId > CARD_ID_NORMAL_MAX) { return BXD_ERR_NOTFOUND; }
        u32 status = first ? BoxSearchCheckInit(home_.fid(), cardId, cursor)
                           : BoxSearchCheck(home_.fid(), cardId, cursor);
        return status == BXD_OK ? status : SettleLookup(home_.fid(), cardId, status);
    }

    u32 lookAtFirst(u16 current, bool* found)
    {
        const u8* entry = nullptr;
        u32 status = entries_.at(current, &entry);
        if (status != BXD_OK || !direction_.filter.passes(entry)) { return status; }
        CardSlotCursor cursor = {};
        cursor.valid = kCursorNew;
        status = findCard(GET_2BYTES(entry), true, &cursor);
        if (status == BXD_OK) { *found = matches(cursor.cardPos, nullptr); }
        return status;
    }

    // A card that fails in such a way ends the scan: the order excludes all that follow. Of a card that
    // cannot be read no test was made, which the operator 0 tells.
    bool stopsAt(const u8* info) const
    {
        u8 op = info[kInfoOperator];
        return stop_ != kStopNever && op != 0 && info[kInfoItem] == condition_->firstItem() &&
               (stop_ == kStopAtFailure || stop_ == op) && op != BXD_OP_CONTAINS;
    }

    u32 scan(u32 next, u16* indexNo)
    {
        std::optional<bxd::ReadAhead> ahead;
        CardSlotCursor cursor = {};
        cursor.valid = kCursorNew;
        u32 looked = 0;
        for (u32 n = next; n >= 1 && n <= table_.count; direction_.backward ? --n : ++n) {
            const u8* entry = nullptr;
            u32 status = entries_.at(n, &entry);
            if (status != BXD_OK) { return status; }
            if (!direction_.filter.passes(entry)) { continue; }
            if (++looked == kAheadAfter) { ahead.emplace(home_.fid()); }
            status = findCard(GET_2BYTES(entry), false, &cursor);
            if (status != BXD_OK) { return status; }
            u8 info[kInfoSize] = {};
            info[kInfoAttr] = entry[kIxEntryAttr];
            if (matches(cursor.cardPos, info)) {
                *indexNo = static_cast<u16>(n);
                return BXD_OK;
            }
            if (stopsAt(info)) { return BXD_ERR_NOTFOUND; }
        }
        return BXD_ERR_NOTFOUND;
    }

    const bxd::IndexHome& home_;
    u8 indexFid_;
    bxd::EntryTable table_;
    Direction direction_;
    Condition* condition_;
    EntryPieces entries_;
    u8 stop_ = kStopNever;
};

// The number of the first entry to look at; 66 where there is none. From 65533 forward it is the last one,
// as backward from 65535.
u32 FindFirst(u8 indexFid, u16 start, bool backward, bxd::EntryTable* table, u16* first)
{
    i32 current = backward ? start - 1 : start + 1;
    if (current <= 0) { return BXD_ERR_NOTFOUND; }
    u32 status = bxd::FindEntryTable(indexFid, table);
    if (status != BXD_OK) { return status; }
    if (table->pos == kUnset) { return BXD_ERR_NOTFOUND; }
    if (current == kFromBehind) { current = table->count; }
    *first = static_cast<u16>(current);
    return current > 0 && current <= table->count ? u32{BXD_OK} : u32{BXD_ERR_NOTFOUND};
}

}  // namespace

extern "C" {

u32 _IndexSearch(const char* name, BoxHandle box, const u8* condition, u8 backward, u8 mask, u8 value,
                 u8 invert, u16 start, u16* indexNo)
{
    if (box == nullptr) {
        return __IndexSearch(name, nullptr, condition, backward, mask, value, invert, start, indexNo);
    }
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    return __IndexSearch(name, box, condition, backward, mask, value, invert, start, indexNo);
}

u32 __IndexSearch(const char* name, BoxHandle box, const u8* condition, u8 backward, u8 mask, u8 value,
                  u8 invert, u16 start, u16* indexNo)
{
    const Direction direction = {backward != 0, bxd::AttrFilter::ForCaller(mask, value, invert)};
    bxd::OpenFile index;
    u32 status = bxd::OpenIndex(name, kIxModeRead, &index);
    if (status != BXD_OK) { return status; }
    bxd::ReadMemo indexMemo(index.fid());
    bxd::IndexHome home;
    status = home.open(index.fid(), name, box);
    if (status != BXD_OK) { return status; }
    bxd::ReadMemo boxMemo(home.fid());

    Condition compiled;
    if (!compiled.compile(condition, home.itemTable())) { return BXD_ERR_NOTFOUND; }
    bxd::EntryTable table = {};
    u16 first = 0;
    status = FindFirst(index.fid(), start, direction.backward, &table, &first);
    if (status != BXD_OK) { return status; }
    Search search(home, index.fid(), table, direction, &compiled);
    return search.run(first, indexNo);
}
}
