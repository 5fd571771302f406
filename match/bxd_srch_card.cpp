// SPDX-License-Identifier: MIT
#include "match/bxd_srch_card.h"

#include <algorithm>

#include "box/bxd_card_read.h"
#include "box/bxd_length_walk.h"
#include "match/bxd_srch_field.h"
#include "match/bxd_srch_text.h"
#include "match/bxd_time.h"

namespace {

using bxd::StoredValue;

constexpr u32 kLocalText = 512;   // a text that needs no block of the heap
constexpr u32 kTextMax = 0xFFFF;  // bytes of a text that take part in a test
constexpr u8 kAttrItem = 1;
constexpr u32 kInfoItem = 0;  // fields of `info`
constexpr u32 kInfoOperator = 1;
constexpr u32 kInfoAttr = 2;

// A compiled test: where its parts stand.
struct Test {
    u8 kind;
    u8 op;
    u8 type;          // of the value
    const u8* value;  // null for an operator without one

    const u8* text() const { return value + kTextLengthSize; }
    SearchCompare compare(SearchCompare byLanguage) const
    {
        return kind == kTestBinary ? SearchBinCmpString : byLanguage;
    }
};

Test TakeTest(const u8** cond)
{
    const u8* at = *cond;
    Test test = {at[0], at[1], 0, nullptr};
    at += 2;
    if (!bxd::HasNoValue(test.op)) {
        test.type = *at++;
        test.value = at;
        at += PointCondEnd(at);
    }
    *cond = at;
    return test;
}

u32 CompareText(const StoredValue& card, const Test& test, SearchCompare compare)
{
    u16 len = static_cast<u16>(std::min(card.len, kTextMax));
    if (card.held != nullptr && len != 0) { return compare(card.held, test.text(), len); }
    return StringReadAndComp(card.fid, static_cast<i32>(card.addr), len, test.text(), compare);
}

// A text against an item that is shown as a text.
bool CompareRendered(const StoredValue& card, u8 type, const Test& test)
{
    u8 packed[kDateSize] = {};
    u32 size = type == kItemWeekDate ? kWeekDateSize : kDateSize;
    if (card.len != size || !card.read(0, packed, size)) { return false; }

    u8 text[bxd::kTimeTextMax] = {};  // zeros: a span gets its sign from the first byte
    const u8* end = nullptr;
    switch (type) {
    case kItemDate: end = HMSToAsc(packed, YMDToAsc(packed, text), 0); break;
    case kItemSpan: end = DHMSToAsc(packed, text); break;
    default: end = YMSYToAsc(packed, text); break;
    }
    return test.compare(SearchCmpString)(text, test.text(), static_cast<u16>(end - text)) != 0;
}

bool CompareSameType(const StoredValue& card, const Test& test)
{
    switch (test.type) {
    case kItemText:
    case kItemText2:
    case kItemTextUtf8: return CompareText(card, test, test.compare(SearchCmpString)) != 0;
    case kItemDate: return bxd::TestDate(card, test.value);
    case kItemSpan: return bxd::TestSpan(card, test.value);
    case kItemBits: return bxd::TestBits(card, test.value);
    case kItemWeekDate: return bxd::TestWeekDate(card, test.value);
    case kItemHalf: return bxd::TestNumber(card, test.value, sizeof(u16));
    case kItemByte: return bxd::TestNumber(card, test.value, sizeof(u8));
    case kCategoryItemType: return bxd::TestBytes(card, test.value);
    case kItemWord: return bxd::TestNumber(card, test.value, sizeof(u32));
    default: return false;
    }
}

bool CompareOtherType(const StoredValue& card, u8 type, const Test& test)
{
    if (!bxd::IsText(test.type)) { return false; }
    switch (type) {
    case kItemText:
    case kItemText2:
        // The two kinds of Shift-JIS text differ in how they break lines.
        return test.type != kItemTextUtf8 && CompareText(card, test, test.compare(SearchCrLfCmpString)) != 0;
    case kItemDate:
    case kItemSpan:
    case kItemWeekDate: return CompareRendered(card, type, test);
    default: return false;
    }
}

bool IsBlank(const StoredValue& card, u8 type)
{
    return type == kItemTextUtf8 ? bxd::IsBlankUtf8(card) : bxd::IsBlankSjis(card);
}

// What a call has been given.
struct Request {
    u8 fid;
    u32 otherCard;
    const u8* itemTable;
    const u8* attr;  // null where tests on item 1 read the file
    bool emptyFalse;
};

class Matcher {
public:
    Matcher(const Request& request, u32 cardAddr)
        : request_(request), walk_(request.fid, cardAddr), isCard_(bxd::IsPosition(cardAddr))
    {}

    u8 item() const { return number_; }  // of the last test
    u8 op() const { return op_; }

    bool run(const u8* cond)
    {
        cond_ = cond;
        while (*cond_ != kCondEnd) {
            if (!clause()) { return false; }
            if (!inStep_ || *cond_ != (result_ ? BXD_OP_CLAUSE_AND : BXD_OP_CLAUSE_OR)) { break; }
            ++cond_;
        }
        return result_;
    }

private:
    // Each of these leaves cond_ behind what it has taken; false where the card is not selected whatever
    // stands behind.
    bool clause()
    {
        type_ = *cond_++;
        all_ = type_ == kCondAllItemsMark;
        if (all_) { return allItems(); }
        number_ = *cond_++;
        return locate() && (tests(), true);
    }

    bool allItems()
    {
        const u8* items = request_.itemTable;
        u32 count = items != nullptr ? items[0] : 0;
        number_ = 0;
        if (count == 0) {
            op_ = 0;
            return false;
        }
        ++items;
        ++cond_;
        const u8* restart = cond_;
        do {
            cond_ = restart;
            type_ = static_cast<u8>(NextDataID(&items));
            ++number_;
            if (!locate()) { return false; }
            tests();
        } while (!result_ && number_ < count);
        return true;
    }

    bool locate()
    {
        if (!open_ && (!isCard_ || !walk_.open())) { return false; }
        open_ = true;
        if (!walk_.find(number_, &place_)) { return false; }
        value_ = {request_.fid, place_.dataOffset, place_.dataLength, walk_.peek(place_, place_.dataLength)};
        return true;
    }

    void tests()
    {
        inStep_ = true;
        for (;;) {
            Test test = TakeTest(&cond_);
            op_ = test.op;
            result_ = holds(test);
            if (*cond_ != (result_ ? BXD_OP_AND : BXD_OP_OR)) { break; }
            ++cond_;
        }
        if (bxd::IsTestConnector(*cond_)) { inStep_ = bxd::SkipTests(&cond_); }
    }

    bool holds(const Test& test) const
    {
        if (!all_ && number_ == kAttrItem && request_.attr != nullptr) {
            return test.value != nullptr && bxd::MatchBits(*request_.attr, test.value, test.op);
        }
        switch (test.op) {
        case BXD_OP_NEW_VALUE: return differs();
        case BXD_OP_NOT_BLANK: return !isHidden() && isFilled(test.kind);
        case BXD_OP_BLANK: return !isHidden() && !isFilled(test.kind);
        default: break;
        }
        return test.type == type_ ? CompareSameType(value_, test) : CompareOtherType(value_, type_, test);
    }

    bool isHidden() const { return all_ && type_ == kItemHidden; }

    bool isFilled(u8 kind) const
    {
        if (value_.len == 0) { return !request_.emptyFalse; }
        return kind == kTestBinary || !bxd::IsText(type_) || !IsBlank(value_, type_);
    }

    // The same item of the neighbour has other bytes. What cannot be read counts as other bytes.
    bool differs() const
    {
        if (request_.otherCard == 0) { return true; }
        CardItemPlace other = {};
        return MoveXItemData(request_.fid, &other, number_, request_.otherCard) == 0 ||
               other.dataLength != value_.len ||
               !bxd::SameInFile(request_.fid, value_.addr, other.dataOffset, value_.len);
    }

    Request request_;
    bxd::LengthWalk walk_;
    bool isCard_;
    const u8* cond_ = nullptr;
    StoredValue value_ = {};  // the item that the present clause is at
    CardItemPlace place_ = {};
    u8 type_ = 0;
    u8 number_ = 0;
    u8 op_ = 0;
    bool all_ = false;
    bool open_ = false;
    bool inStep_ = true;
    bool result_ = false;
};

}  // namespace

extern "C" {

u32 SearchCmpCardCore(u8 boxId, i32 cardAddr, const u8* cond, u32 otherCard, const u8* itemTable, u8* info,
                      u32 useAttr, u32 emptyFalse)
{
    u8 attr = info != nullptr ? info[kInfoAttr] : u8{0};
    bool fromCaller = info != nullptr && useAttr != 0;
    Request request = {boxId, otherCard, itemTable, fromCaller ? &attr : nullptr, emptyFalse != 0};
    Matcher matcher(request, static_cast<u32>(cardAddr));
    u32 result = matcher.run(cond) ? 1 : 0;
    if (info != nullptr) {
        info[kInfoItem] = matcher.item();
        info[kInfoOperator] = matcher.op();
    }
    return result;
}

u32 SearchCmpAttr(u8 attr, const u8* value, u8 op) { return bxd::MatchBits(attr, value, op) ? 1 : 0; }

u32 StringReadAndComp(u8 boxId, i32 addr, u16 len, const u8* value, SearchCompare compare)
{
    if (len == 0) { return compare(nullptr, value, 0); }
    u8 local[kLocalText + 1];
    bxd::HeapBlock block;
    u8* text = local;
    if (len > kLocalText) {
        block.reset(static_cast<u8*>(std::malloc(len + size_t{1})));
        text = block.data();
    }
    if (text == nullptr || bxd::ReadExactly(boxId, static_cast<u32>(addr), text, len) != BXD_OK) { return 0; }
    text[len] = 0;
    return compare(text, value, len);
}
}
