// SPDX-License-Identifier: MIT
#include "index/bxd_indx_sort_fast.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "box/bxd_card_slots.h"
#include "index/bxd_indx_insert.h"
#include "index/bxd_indx_lookup.h"
#include "index/bxd_indx_match.h"
#include "storage/bxd_file_ahead.h"

namespace {

constexpr u32 kInsertMost = 8;      // so many entries are sorted by insertion in a full sort
constexpr u32 kShortRange = 8;      // ranges below this go from the quicksort to the insertion sort
constexpr u32 kStackedRanges = 16;  // room of the quicksort's stack
constexpr u16 kHighestCard = 0xFEFF;

u8* Entry(const IndexSortContext* context, u32 n) { return context->entries + (n - 1) * kIxEntrySize; }

u32 CardPos(const IndexSortContext* context, u32 n)
{
    return context->offsets[GET_2BYTES(Entry(context, n)) - 1];
}

// Entry `source` goes to `target` before it; those between move up by one place.
void MoveEntry(const IndexSortContext* context, u32 source, u32 target)
{
    u8 moved[kIxEntrySize];
    std::memcpy(moved, Entry(context, source), kIxEntrySize);
    std::memmove(Entry(context, target + 1), Entry(context, target), (source - target) * kIxEntrySize);
    std::memcpy(Entry(context, target), moved, kIxEntrySize);
}

// Writes sorted entries back. A write that fails may have left some entries twice and others not at all: it
// is made once more before the sort fails, for the way on the file would keep such a table.
bool WriteBack(u8 indexFid, u32 pos, const u8* entries, u32 bytes)
{
    u32 status = BXD_ERR_FAIL;
    for (u32 tries = 0; tries < 2 && status != BXD_OK; ++tries) {
        status = bxd::WriteAll(indexFid, pos, entries, bytes);
    }
    return status == BXD_OK;
}

// The table of one sort for the binary insertion. Without the positions of all cards each is looked up when
// it is asked for.
class MemoryTable {
public:
    explicit MemoryTable(IndexSortContext* context) : context_(context) { cursor_.valid = kCursorNew; }

    u8 boxFid() const { return context_->boxFid; }
    u32 cardPos(u32 n)
    {
        if (context_->offsets != nullptr) { return CardPos(context_, n); }
        u16 id = GET_2BYTES(Entry(context_, n));
        return BoxSearchCheck(context_->boxFid, id, &cursor_) == BXD_OK ? cursor_.cardPos : 0;
    }
    bool move(u32 source, u32 target)
    {
        if (source < target) { return false; }
        MoveEntry(context_, source, target);
        return true;
    }

private:
    IndexSortContext* context_;
    CardSlotCursor cursor_ = {};
};

// The table in the file, for one card that is placed by its order alone: entries and cards are looked up as
// they are asked for, and those that give way are moved in memory and written at once.
class PlacingTable {
public:
    PlacingTable(u8 boxFid, u8 indexFid, u32 tablePos)
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
        u32 bytes = (source - target + 1) * kIxEntrySize;
        u32 pos = bxd::EntryPosition(tablePos_, target);
        bxd::HeapBlock entries(bytes);
        if (!entries || bxd::ReadExactly(indexFid_, pos, entries.data(), bytes) != BXD_OK) { return false; }
        u8* last = entries.data() + bytes - kIxEntrySize;
        u8 moved[kIxEntrySize];
        std::memcpy(moved, last, kIxEntrySize);
        std::memmove(entries.data() + kIxEntrySize, entries.data(), bytes - kIxEntrySize);
        std::memcpy(entries.data(), moved, kIxEntrySize);
        writeFailed_ = !WriteBack(indexFid_, pos, entries.data(), bytes);
        return !writeFailed_;
    }
    bool writeFailed() const { return writeFailed_; }

private:
    u8 boxFid_;
    u8 indexFid_;
    u32 tablePos_;
    CardSlotCursor cursor_ = {};
    bool writeFailed_ = false;
};

struct Range {
    u32 lo, hi;

    u32 entries() const { return hi - lo + 1; }
};

// The ranges that wait. The larger part of each split waits, so that what is gone on with halves every time:
// of 65535 entries never more than 13 ranges gather.
class RangeStack {
public:
    bool push(Range range)
    {
        if (depth_ == kStackedRanges) { return false; }
        ranges_[depth_++] = range;
        return true;
    }
    bool pop(Range* range)
    {
        if (depth_ == 0) { return false; }
        *range = ranges_[--depth_];
        return true;
    }

private:
    Range ranges_[kStackedRanges];
    u32 depth_ = 0;
};

u32 SortShort(const IndexSortContext* context, Range range)
{
    IndexSortContext part = *context;
    part.lo = static_cast<u16>(range.lo);
    part.hi = static_cast<u16>(range.hi);
    return BxdSimpleSort(&part);
}

u32 CompareCard(const IndexSortContext* context, u32 pos)
{
    return bxd::IsPosition(pos)
               ? static_cast<u32>(SortCmpCard(context->boxFid, static_cast<i32>(pos), context->keys))
               : 0;
}

// The entry that others are compared with. Where the prefixes of the cards are known it is loaded into the
// keys with the first compare that they do not decide.
class EntryPivot {
public:
    EntryPivot(const IndexSortContext* context, u32 n)
        : context_(context), card_(GET_2BYTES(Entry(context, n)))
    {
        if (context->prefixes == nullptr) {
            load();
        } else {
            prefix_ = context->prefixes->of(card_);
        }
    }
    EntryPivot(const EntryPivot&) = delete;
    EntryPivot& operator=(const EntryPivot&) = delete;
    ~EntryPivot()
    {
        if (asked_) { DisposeStrPtr(context_->keys); }
    }

    // It could not be loaded.
    bool failed() const { return asked_ && !loaded_; }

    u32 compare(u32 n)
    {
        u16 card = GET_2BYTES(Entry(context_, n));
        if (context_->prefixes != nullptr) {
            uint64_t prefix = context_->prefixes->of(card);
            if (prefix != prefix_) { return prefix < prefix_ ? BXD_CMP_BELOW : BXD_CMP_ABOVE; }
            if (card == card_) { return BXD_CMP_EQUAL; }
            if (!asked_) { load(); }
        }
        return loaded_ ? CompareCard(context_, context_->offsets[card - 1]) : 0;
    }

private:
    void load()
    {
        u32 pos = context_->offsets[card_ - 1];
        asked_ = true;
        loaded_ = bxd::IsPosition(pos) &&
                  MakeSortCondition(context_->boxFid, static_cast<i32>(pos), context_->keys) != 0;
    }

    const IndexSortContext* context_;
    u16 card_;
    uint64_t prefix_ = 0;
    bool asked_ = false;
    bool loaded_ = false;
};

// Splits a range of two entries or more at its middle entry: what is above stands from *split on, and neither
// part is empty. A compare that fails ends a step like an equal card. False without a pivot, and where the
// answers contradict each other so far that a part would be empty.
bool Partition(IndexSortContext* context, Range range, u32* split)
{
    EntryPivot pivot(context, (range.lo + range.hi) / 2);
    if (pivot.failed()) { return false; }
    u32 i = range.lo;
    u32 j = range.hi;
    do {
        u32 low = 0;
        u32 high = 0;
        while (i <= range.hi && (low = pivot.compare(i)) == BXD_CMP_BELOW) { ++i; }
        while (j >= range.lo && (high = pivot.compare(j)) == BXD_CMP_ABOVE) { --j; }
        if (i >= j) { break; }
        if (low != BXD_CMP_EQUAL || high != BXD_CMP_EQUAL) {
            BxdSwap(context, static_cast<u16>(i), static_cast<u16>(j));
        }
        ++i;
        --j;
    } while (i <= j);
    *split = i;
    return !pivot.failed() && i > range.lo && i <= range.hi;
}

// Sorts what is short of the two parts and gives the long one that is left in *range, with the larger of two
// waiting. False when it is done or has failed; *result tells which.
bool SortParts(IndexSortContext* context, Range left, Range right, RangeStack* waiting, Range* range,
               u32* result)
{
    bool leftShort = left.entries() < kShortRange;
    bool rightShort = right.entries() <= kShortRange;
    *result = 1;
    if (leftShort) { *result = SortShort(context, left); }
    if (rightShort && *result != 0) { *result = SortShort(context, right); }
    if (*result == 0) { return false; }
    if (leftShort && rightShort) { return waiting->pop(range); }
    if (leftShort || rightShort) {
        *range = leftShort ? right : left;
        return true;
    }
    bool leftLarger = left.entries() > right.entries();
    *range = leftLarger ? right : left;
    *result = waiting->push(leftLarger ? left : right) ? 1 : 0;
    return *result != 0;
}

// The highest card id of the table; 0 where an entry has an id that no card has.
u16 HighestCard(const u8* entries, u32 count)
{
    // All of a table in a loop without a way out: compilers take many entries at a time.
    i32 highest = 0;
    i32 lowest = kHighestCard;
    for (u32 n = 0; n < count; ++n) {
        i32 id = GET_2BYTES(entries + n * kIxEntrySize);
        highest = std::max(highest, id);
        lowest = std::min(lowest, id);
    }
    if (lowest != 0 && highest <= kHighestCard) { return static_cast<u16>(highest); }
    BxdDebug("FastSort: unexpected max card id %d %d\n", lowest == 0 ? 0 : highest, count);
    return 0;
}

// Bytes of the array that ReadLinearTable fills for the cards 1 to maxId.
u32 LinearTableSize(u16 maxId)
{
    constexpr u32 kFirst = (kDefaultIds + 1) * 4;
    if (maxId <= kDefaultIds) { return kFirst; }
    return kFirst + kAppendIds * 4 * (bxd::AppendGroup(maxId) + 1);
}

// Some twenty compares a card would be as many reads: the box is read ahead, and most compares need no card.
u32 SortAll(IndexSortContext* context, u16 count, u16 maxId)
{
    bxd::ReadAhead ahead(context->boxFid);
    bxd::SortPrefixes prefixes;
    bool known =
        prefixes.load(context->boxFid, context->entries, count, context->offsets, context->keys, maxId);
    context->prefixes = known ? &prefixes : nullptr;
    context->lo = 1;
    context->hi = count;
    u32 result = BxdQSort(context);
    context->prefixes = nullptr;
    return result;
}

// The positions of the cards 1 to maxId.
bool LoadOffsets(u8 boxFid, u16 maxId, bxd::HeapBlock* linear)
{
    linear->reset(static_cast<u8*>(std::malloc(LinearTableSize(maxId))));
    if (!*linear) {
        BxdDebug("FastSort: could not allocate memory for offset table\n");
        return false;
    }
    if (ReadLinearTable(boxFid, reinterpret_cast<u32*>(linear->data()), maxId) != BXD_OK) {
        BxdDebug("FastSort: could not read offset table\n");
        return false;
    }
    return true;
}

// Puts the entries from `first` on in their places. A card of which only the neighbours can tell whether it
// is visible hides one of them, or is hidden.
u32 InsertAll(IndexSortContext* context, u16 count, u32 sortedEnd, u32 first, i32 match)
{
    MemoryTable table(context);
    u32 place = bxd::InsertEntries(table, context->keys, count, sortedEnd, first);
    if (place == 0 || match >= 0) { return place; }
    u32 hidden = bxd::HiddenByPlacing(context->indexFid, table, place, count);
    if (hidden != 0) { Entry(context, hidden)[kIxEntryFlags] |= kIxDoublyBit; }
    return place;
}

u32 SortEntries(IndexSortContext* context, u16 count, u16 maxId, u16 sortedEnd, u16 first, i32 match)
{
    bool full = sortedEnd == 0;
    if (full && count > kInsertMost) { return SortAll(context, count, maxId); }
    return InsertAll(context, count, full ? 1U : sortedEnd, full ? 2U : first, match);
}

}  // namespace

u32 bxd::SortInMemory(u8 boxFid, u8 indexFid, u16 count, SortKey* keys, u32 tablePos, u16 sortedEnd,
                      u16 first, i32 fullSort, i32 match, bool* torn)
{
    *torn = false;
    bool placesOne = sortedEnd != 0 && first == count;
    if (placesOne && match >= 0) {
        PlacingTable table(boxFid, indexFid, tablePos);
        u32 place = bxd::InsertEntries(table, keys, count, sortedEnd, first);
        *torn = table.writeFailed();
        if (*torn) { BxdDebug("FastSort: could not write card id table\n"); }
        if (place != 0 || *torn) { return place; }
    }
    u32 bytes = count * kIxEntrySize;
    bxd::HeapBlock entries(bytes + kIxEndMarkSize);
    if (!entries) {
        BxdDebug("FastSort: unexpected NULL trans_ptr\n");
        return 0;
    }
    if (bxd::ReadExactly(indexFid, tablePos + kIxCountSize, entries.data(), bytes) != BXD_OK) {
        BxdDebug("FastSort: could not read card id table\n");
        return 0;
    }
    u16 maxId = HighestCard(entries.data(), count);
    if (maxId == 0) { return 0; }
    IndexSortContext context = {entries.data(), nullptr, keys, fullSort, 0, 0, boxFid, indexFid, nullptr};
    u32 place = placesOne ? InsertAll(&context, count, sortedEnd, first, match) : 0;
    if (place == 0) {
        bxd::HeapBlock linear;
        if (!LoadOffsets(boxFid, maxId, &linear)) { return 0; }
        context.offsets = reinterpret_cast<const u32*>(linear.data());
        place = SortEntries(&context, count, maxId, sortedEnd, first, match);
    }
    u32 changed = placesOne ? place : 1;
    if (place == 0 || WriteBack(indexFid, bxd::EntryPosition(tablePos, changed), Entry(&context, changed),
                                (count - changed + 1) * kIxEntrySize)) {
        return place;
    }
    *torn = true;
    if (sortedEnd != 0 || count <= kInsertMost) { BxdDebug("FastSort: could not write card id table\n"); }
    return 0;
}

extern "C" {

u32 FastSort(u8 boxFid, u8 indexFid, u16 count, SortKey* keys, u32 tablePos, u16 sortedEnd, u16 first,
             i32 fullSort, i32 match)
{
    bool torn = false;
    return bxd::SortInMemory(boxFid, indexFid, count, keys, tablePos, sortedEnd, first, fullSort, match,
                             &torn);
}

u32 BxdQSort(IndexSortContext* context)
{
    Range range = {context->lo, context->hi};
    if (range.lo >= range.hi) { return 1; }
    if (range.entries() <= kShortRange) { return BxdSimpleSort(context); }

    RangeStack waiting;
    u32 result = 1;
    u32 split = 0;
    do {
        if (!Partition(context, range, &split)) { return 0; }
    } while (SortParts(context, {range.lo, split - 1}, {split, range.hi}, &waiting, &range, &result));
    return result;
}

u32 BxdSimpleSort(IndexSortContext* context)
{
    for (u32 n = context->lo + 1U; n <= context->hi; ++n) {
        EntryPivot pivot(context, n);
        u32 place = n;
        while (place > context->lo && pivot.compare(place - 1) == BXD_CMP_ABOVE) { --place; }
        if (pivot.failed()) { return 0; }
        if (place != n) { MoveEntry(context, n, place); }
    }
    return 1;
}

void BxdSwap(IndexSortContext* context, u16 a, u16 b)
{
    u8* first = Entry(context, a);
    u8* second = Entry(context, b);
    std::swap_ranges(first, first + kIxEntrySize, second);
    first[kIxEntryFlags] &= static_cast<u8>(~kIxDoublyBit);
    second[kIxEntryFlags] &= static_cast<u8>(~kIxDoublyBit);
}

u32 BxdComp(IndexSortContext* context, u16 n, u16 mode)
{
    u32 result = CompareCard(context, CardPos(context, n));
    switch (mode) {
    case kCompBelow: return result == BXD_CMP_BELOW;
    case kCompAbove: return result == BXD_CMP_ABOVE;
    case kCompEqual: return result == BXD_CMP_EQUAL;
    case kCompNotAbove: return result < BXD_CMP_ABOVE;
    case kCompTopBit: return (result & 0x80) != 0;
    default: return 0;
    }
}
}
