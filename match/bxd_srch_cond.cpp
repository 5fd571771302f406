// SPDX-License-Identifier: MIT
#include "match/bxd_srch_cond.h"

#include "match/bxd_cond_items.h"
#include "match/bxd_srch_expand.h"

namespace {

// Values have the types that items have.
static_assert(BXD_VALUE_TEXT == kItemText && BXD_VALUE_TEXT2 == kItemText2 &&
              BXD_VALUE_UTF8 == kItemTextUtf8);
static_assert(BXD_VALUE_DATE == kItemDate && BXD_VALUE_SPAN == kItemSpan && BXD_VALUE_WEEK == kItemWeekDate);
static_assert(BXD_VALUE_BITS == kItemBits && BXD_VALUE_BYTES == kCategoryItemType);
static_assert(BXD_VALUE_HALF == kItemHalf && BXD_VALUE_BYTE == kItemByte && BXD_VALUE_WORD == kItemWord);

constexpr u8 kOpens = '(';
constexpr u8 kCloses = ')';
constexpr u8 kLastOperator = BXD_OP_BLANK;

bool IsTestConnectorAt(const u8* text)
{
    return bxd::IsMarked(text, BXD_OP_AND) || bxd::IsMarked(text, BXD_OP_OR);
}
bool IsClauseConnectorAt(const u8* text)
{
    return bxd::IsMarked(text, BXD_OP_CLAUSE_AND) || bxd::IsMarked(text, BXD_OP_CLAUSE_OR);
}
// An operator that a search may have behind a connector of tests.
bool IsOperatorAt(const u8* text)
{
    if (text[0] != BXD_OP_MARK) { return false; }
    return text[1] == BXD_OP_BITS_EQUAL || text[1] == BXD_OP_BITS_DIFFER ||
           (text[1] >= BXD_OP_EQUAL && text[1] <= kLastOperator);
}

bool ConnectAndTell(const bxd::ConditionCompile& at)
{
    *at.flags |= kCondConnector;
    return at.connect();
}

// A test of a stored condition, and those that repeat it behind connectors. *next tells whether another test
// must follow.
bool CompileRun(const bxd::ConditionCompile& at, i32 nameId, bool* next)
{
    bxd::CompiledTest test = {};
    if (!bxd::CompileTest(at, nameId, &test)) { return false; }
    *next = false;
    while (IsTestConnectorAt(at.text())) {
        if (!ConnectAndTell(at)) { return false; }
        if (!test.ofText || *at.text() == BXD_OP_MARK) {
            *next = true;
            return true;
        }
        if (!bxd::RepeatTest(at, test)) { return false; }
    }
    return true;
}

// Closes the levels that end here, as far as they were opened here.
bool CloseLevels(const bxd::ConditionCompile& at, u32* depth, bool* closed)
{
    *closed = false;
    for (; *at.text() == kCloses && *depth != 0; --*depth) {
        if (!at.copy()) { return false; }
        *closed = true;
    }
    return true;
}

// The tests of one clause of a search. false for a fault; true also stands for an end without a connector,
// behind which the next clause may stand at once.
bool CompileSearchClause(const bxd::ConditionCompile& at, i32 nameId)
{
    bxd::CompiledTest test = {};
    if (!bxd::CompileTest(at, nameId, &test)) { return false; }
    while (*at.text() == BXD_OP_MARK) {
        bool endsClause = IsClauseConnectorAt(at.text());
        if (!endsClause && !IsTestConnectorAt(at.text())) { return false; }
        u8 connector = at.text()[1];
        if (!at.connect()) { return false; }
        if (connector == BXD_OP_OR || connector == BXD_OP_CLAUSE_OR) { *at.flags |= kCondConnector; }
        if (endsClause) { return true; }
        if (*at.text() != BXD_OP_MARK) {
            if (!test.ofText || !bxd::RepeatTest(at, test)) { return false; }
        } else if (IsOperatorAt(at.text())) {
            if (!bxd::CompileTest(at, nameId, &test)) { return false; }
        } else {
            // A mark that no operator follows is passed over, and a clause begins.
            at.skip(1);
            return true;
        }
    }
    return true;
}

}  // namespace

extern "C" {

u32 ConvertSearchCondition(u8 fileId, const u8* in, u8* out, i32 boxId, u32* outLen)
{
    bxd::HeapBlock table;
    u32 status = bxd::LoadConditionItems(fileId, boxId, &table);
    if (status != BXD_OK) { return status; }
    u8 expanded[kExpandedMax + kConditionSlack] = {};
    if (IsFE96(in) != 0) {
        if (ExpandFE96(fileId, expanded, in) != BXD_OK) { return BXD_ERR_CONDITION; }
        in = expanded;
    }
    u8 flags = 0;
    u8* at = out + 1;
    const u8* end = out + kConditionCodeMax;
    if (DoConvSrchCond(&in, &at, &flags, table.data(), end) != 0 || at == end) { return BXD_ERR_CONDITION; }
    *at++ = 0;
    out[0] = flags;
    *outLen = static_cast<u32>(at - out);
    return BXD_OK;
}

u32 DoConvSrchCond(const u8** in, u8** out, u8* flags, const u8* itemTable, const u8* end)
{
    const bxd::ConditionCompile at{in, out, end, flags};
    u32 depth = 0;
    while (*at.text() != 0) {
        if (*at.text() == kOpens) {
            if (!at.copy()) { return kMalformed; }
            ++depth;
            continue;
        }
        i32 nameId = 0;
        if (!bxd::CompileItem(at, itemTable, &nameId)) { return kMalformed; }
        u32 stop = DoConvSrch(in, out, flags, itemTable, nameId, end);
        bool closed = false;
        if (stop == kMalformed || !CloseLevels(at, &depth, &closed)) { return kMalformed; }
        if (*at.text() == 0) { break; }
        if (IsClauseConnectorAt(at.text())) {
            if (!ConnectAndTell(at)) { return kMalformed; }
        } else if (!closed || *at.text() == kCloses) {
            return *at.text();
        }
        // Behind a level the next clause may also stand without a connector.
    }
    return depth == 0 ? 0 : kMalformed;
}

u32 DoConvSrch(const u8** in, u8** out, u8* flags, const u8* itemTable, i32 nameId, const u8* end)
{
    (void)itemTable;  // a test names no item
    const bxd::ConditionCompile at{in, out, end, flags};
    u32 depth = 0;
    for (;;) {
        if (*at.text() == kOpens) {
            if (!at.copy()) { return kMalformed; }
            ++depth;
            continue;
        }
        bool next = false;
        if (!CompileRun(at, nameId, &next)) { return kMalformed; }
        if (next) { continue; }
        bool closed = false;
        if (!CloseLevels(at, &depth, &closed)) { return kMalformed; }
        if (closed && IsTestConnectorAt(at.text())) {
            if (!ConnectAndTell(at)) { return kMalformed; }
            continue;
        }
        // Behind a level the next test may also stand without a connector.
        bool another = closed && (*at.text() == BXD_OP_MARK || *at.text() == kOpens);
        if (another && !IsClauseConnectorAt(at.text())) { continue; }
        return depth == 0 ? *at.text() : kMalformed;
    }
}

u32 SearchConvCondition(const u8* in, u8* out, const u8* itemTable, u32 budget, u8* flags)
{
    *flags = 0;
    const bxd::ConditionCompile at{&in, &out, out + budget, flags};
    while (*in != 0) {
        i32 nameId = 0;
        if (!bxd::CompileItem(at, itemTable, &nameId) || !CompileSearchClause(at, nameId)) { return 0; }
    }
    return at.put(0) ? 1 : 0;
}
}
