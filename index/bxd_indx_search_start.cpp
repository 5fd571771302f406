// SPDX-License-Identifier: MIT
#include "index/bxd_indx_search_start.h"

#include <bxd/index.h>

#include "box/bxd_card_read.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_lookup.h"
#include "match/bxd_srch_card.h"
#include "match/bxd_time.h"

namespace {

// A condition from its first clause on.
constexpr u32 kClauseItem = 1;
constexpr u32 kTestKind = 2;
constexpr u32 kTestOperator = 3;
constexpr u32 kTestType = 4;
constexpr u32 kTestValue = 5;
constexpr u32 kValueBehindOperator = kTestValue - kTestOperator;

constexpr u8 kItemHalf2 = 10;  // two bytes too; the compilers take no such value

// The first key of a sort condition in the application's form.
constexpr u32 kKeyEscape = 4;
constexpr u32 kKeyCode = 5;
constexpr u32 kKeySize = 6;

constexpr u8 kTurnOrder = 0x01;  // bit of a sort code: downwards

bool IsAtMost(u8 op) { return op == kOpAtMost || op == kOpBelow; }
bool IsAtLeast(u8 op) { return op == kOpAtLeast || op == kOpAbove; }

// A scan in an order that excludes what lies behind the first failure of these operators begins at once; for
// the others the boundary is looked for.
u32 StepOrJump(bool steps, u8 op) { return steps ? kStartByStep + op : kStartByJump; }

u32 CheckBinaryText(u8 op, u8 sortCode)
{
    if (op == kOpContains || sortCode < kSortBinUp) { return kStartByStep; }
    return StepOrJump(sortCode == kSortBinUp ? IsAtMost(op) : IsAtLeast(op), op);
}

u32 CheckText(u8 op, u8 sortCode)
{
    if (op == kOpContains || sortCode >= kSortBinUp) { return kStartByStep; }
    return StepOrJump(sortCode == kSortDown ? IsAtLeast(op) : IsAtMost(op), op);
}

u32 CheckOther(u8 op, u8 valueType, u8 sortCode)
{
    if (sortCode < kSortUp || valueType == kItemBits) { return kStartByStep; }
    bool up = sortCode == kSortUp || sortCode == kSortBinUp;
    return StepOrJump(up ? IsAtMost(op) : IsAtLeast(op), op);
}

// The begin of an index's sort condition.
enum class FirstKey { kNone, kEmpty, kThere };

FirstKey ReadFirstKey(u8 indexFid, u8* key)
{
    u32 length = 0;
    u32 pos = 0;
    if (SearchIndexInformation(indexFid, IDXINF_SORT_EXP, &length, &pos) != BXD_OK) {
        return FirstKey::kNone;
    }
    if (length == 0) { return FirstKey::kEmpty; }
    u32 size = length < kKeySize ? length : kKeySize;
    return bxd::ReadExactly(indexFid, pos, key, size) == BXD_OK ? FirstKey::kThere : FirstKey::kNone;
}

// The span of a binary search, by index number, both ends included.
struct SearchSpan {
    u32 lo;
    u32 hi;

    bool isEmpty() const { return lo > hi || hi == 0; }
};

SearchSpan SpanBehind(u16 start, u16 count, bool backward)
{
    if (backward) { return {1, start > 0 ? start - 1U : 0U}; }
    return {start + 1U, count};
}

// Asks one test of the cards of an index; the condition is cut behind it meanwhile.
class BoundarySearch {
public:
    BoundarySearch(u8 boxFid, u8 indexFid, u32 entriesPos, u8* condition, u32 end, const u8* itemTable)
        : boxFid_(boxFid), indexFid_(indexFid), entriesPos_(entriesPos), condition_(condition), end_(end),
          next_(condition[end]), itemTable_(itemTable)
    {
        condition_[end_] = kSearchEnd;
        cursor_.valid = kCursorNew;
    }
    BoundarySearch(const BoundarySearch&) = delete;
    BoundarySearch& operator=(const BoundarySearch&) = delete;
    ~BoundarySearch() { condition_[end_] = next_; }

    u32 run(SearchSpan span, bool backward)
    {
        u32 step = backward ? 1 : 0;
        while (span.lo < span.hi) {
            u32 middle = (span.lo + span.hi) / 2 + step;
            u32 cardPos =
                IndexNoToCardAdr(boxFid_, indexFid_, entriesPos_, static_cast<u16>(middle), &cursor_);
            if (cardPos == 0) { return 0; }
            bool holds = SearchCmpCardCore(boxFid_, static_cast<i32>(cardPos), condition_, 0, itemTable_,
                                           nullptr, 0, 0) != 0;
            if (backward) {
                (holds ? span.lo : span.hi) = holds ? middle : middle - 1;
            } else {
                (holds ? span.hi : span.lo) = holds ? middle : middle + 1;
            }
        }
        return span.lo;
    }

private:
    u8 boxFid_;
    u8 indexFid_;
    u32 entriesPos_;
    u8* condition_;
    u32 end_;
    u8 next_;
    const u8* itemTable_;
    CardSlotCursor cursor_ = {};
};

u32 NextEntry(u16 current, u16 count, bool backward)
{
    if (backward) { return current > 0 ? current - 1U : 0U; }
    return current < count ? current + 1U : 0U;
}

// The jump, where the index is ordered by the item of the first test: the entry, or 0 for a scan step by
// step.
u32 Jump(u8 boxFid, u8 indexFid, const u8* itemTable, bool backward, u8* condition, u8 sortCode, u16 current,
         u8* stopCode)
{
    u8 order = backward ? static_cast<u8>(sortCode ^ kTurnOrder) : sortCode;
    u32 answer = Check1stSearch(condition[kTestKind], condition[kTestOperator], condition[kTestType], order);
    if (answer != kStartByJump) {
        *stopCode = static_cast<u8>(answer);
        return 0;
    }
    u32 found = SearchStartID(boxFid, indexFid, condition, current, itemTable, backward ? 1 : 0, sortCode);
    if (found != 0) { *stopCode = kStopAtFailure; }
    return found;
}

}  // namespace

extern "C" {

u32 IndexSearchPrepare(u8 boxFid, u8 indexFid, const u8* itemTable, u32 backward, u8* condition, u8 flags,
                       u16 current, u16 count, u8* stopCode)
{
    *stopCode = kStopNever;
    const bool back = backward != 0;
    const u32 next = NextEntry(current, count, back);
    if ((flags & kSearchJoined) != 0 || CheckWildCard(condition) != 0) { return next; }

    u8 key[kKeySize] = {};
    FirstKey there = ReadFirstKey(indexFid, key);
    if (there == FirstKey::kNone) { return 0; }
    ItemEntry item = {};
    bool isKey = there == FirstKey::kThere && SearchItemNameID(key, itemTable, &item) == BXD_OK &&
                 item.itemNumber == condition[kClauseItem];
    if (!isKey) { return next; }
    if (key[kKeyEscape] != kSearchEscape) { return 0; }
    u32 found = Jump(boxFid, indexFid, itemTable, back, condition, key[kKeyCode], current, stopCode);
    return found != 0 ? found : next;
}

u32 Check1stSearch(u8 testKind, u8 op, u8 valueType, u8 sortCode)
{
    if (!bxd::IsText(valueType)) { return CheckOther(op, valueType, sortCode); }
    return testKind == kKindBinary ? CheckBinaryText(op, sortCode) : CheckText(op, sortCode);
}

u32 SearchStartID(u8 boxFid, u8 indexFid, u8* condition, u16 start, const u8* itemTable, u32 backward,
                  u8 sortCode)
{
    bxd::EntryTable table = {};
    if (bxd::FindEntryTable(indexFid, &table) != BXD_OK || table.pos == kUnset) { return 0; }
    const bool back = backward != 0;
    SearchSpan span = SpanBehind(start, table.count, back);
    if (span.isEmpty()) { return 0; }

    u8 op = condition[kTestOperator];
    u32 end = MoveXDataEnd(condition, back ? 1 : 0, sortCode);
    if (end == 0) { return 0; }
    u32 found = 0;
    {
        BoundarySearch search(boxFid, indexFid, table.entriesPos(), condition, end, itemTable);
        found = search.run(span, back);
    }
    condition[kTestOperator] = op;
    return found;
}

u32 CheckWildCard(const u8* condition)
{
    if (condition[kTestKind] == kKindBinary) { return 0; }
    switch (condition[kTestType]) {
    case kItemDate: return CheckWildCardTime(condition + kTestValue);
    case kItemWeekDate: return CheckWildCardWeek(condition + kTestValue);
    default: return 0;
    }
}

u32 MoveXDataEnd(u8* condition, u8 backward, u8 sortCode)
{
    u32 flip = (sortCode & kTurnOrder) ^ (backward != 0 ? 1U : 0U);
    u8* op = condition + kTestOperator;
    u8 type = condition[kTestType];
    if (bxd::IsText(type)) { return kTestOperator + movexdatastring(op, flip); }
    bool ordered = type == kItemDate || type == kItemSpan || type == kItemWeekDate || type == kItemHalf ||
                   type == kItemHalf2;
    return ordered ? kTestOperator + movexdatacommon(op, flip) : 0;
}

u32 movexdatastring(u8* op, u32 flip)
{
    if (*op == kOpEqual) {
        *op = flip != 0 ? kOpAtMost : kOpAtLeast;
    } else if (*op == kOpBegins) {
        *op = flip != 0 ? kOpUpToBegins : kOpAtLeast;
    }
    return kValueBehindOperator + kTextLengthSize + GET_2BYTES(op + kValueBehindOperator);
}

u32 movexdatacommon(u8* op, u32 flip)
{
    if (*op == kOpEqual) { *op = flip != 0 ? kOpAtMost : kOpAtLeast; }
    switch (op[kTestType - kTestOperator]) {
    case kItemDate:
    case kItemSpan: return kValueBehindOperator + kDateSize;
    case kItemWeekDate: return kValueBehindOperator + kWeekDateSize;
    default: return kValueBehindOperator + sizeof(u16);
    }
}
}
