// SPDX-License-Identifier: MIT
#include "match/bxd_srch_walk.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_format.h"
#include "match/bxd_time.h"

namespace {

constexpr u32 kSlice = 256;       // bytes that a compare of two places reads at a time
constexpr u32 kClauseHead = 2;    // item type, item number
constexpr u32 kBareTestHead = 2;  // kind, operator
constexpr u32 kConnectorSize = 1;
constexpr u8 kHiddenTagMin = 'a';

// Bytes of the value behind a type byte, of which `left` may be looked at; false where it does not lie in
// them or is a text without its end.
bool TakeValue(const u8* value, u32 left, u8 kind, u32* size)
{
    *size = bxd::FixedValueSize(value[-1]);
    if (!bxd::IsText(value[-1])) { return *size <= left; }
    if (left < kTextLengthSize) { return false; }
    u32 length = GET_2BYTES(value);
    *size = kTextLengthSize + length;
    if (*size > left) { return false; }
    const u8* end = value + *size;
    if (kind == kTestBinary) { return length >= 1 && end[-1] == 0; }
    return length >= 2 && length % 2 == 0 && GET_2BYTES(end - 2) == 0;
}

// One test, with *at behind its operator, type and value afterwards.
bool TakeTest(const u8* cond, u32 size, u32* at)
{
    if (size - *at < kBareTestHead) { return false; }
    u8 kind = cond[*at];
    u8 op = cond[*at + 1];
    *at += kBareTestHead;
    if (bxd::HasNoValue(op)) { return true; }
    if (*at == size) { return false; }
    ++*at;
    u32 value = 0;
    if (!TakeValue(cond + *at, size - *at, kind, &value)) { return false; }
    *at += value;
    return true;
}

}  // namespace

extern "C" {

u32 PointCondEnd(const u8* value)
{
    u8 type = value[-1];
    return bxd::IsText(type) ? kTextLengthSize + GET_2BYTES(value) : bxd::FixedValueSize(type);
}

const u8* NextItemCond(const u8* p)
{
    (void)bxd::SkipTests(&p);
    return p;
}

u32 NextDataID(const u8** itemCursor)
{
    const u8* entry = *itemCursor;
    *itemCursor = bxd::NextItemEntry(entry);
    bool hidden = GET_2BYTES(entry) < kItemEntryWithTag || entry[kItemEntryTag] >= kHiddenTagMin;
    return hidden ? kItemHidden : entry[kItemEntryType];
}

u32 CompCardData(u8 boxId, u32 addrA, u32 addrB, u16 len)
{
    return bxd::SameInFile(boxId, addrA, addrB, len) ? 1 : 0;
}
}

namespace bxd {

bool IsSearchCondition(const u8* cond, u32 size)
{
    u32 at = 0;
    while (at < size && cond[at] != kCondEnd) {
        if (size - at < kClauseHead) { return false; }
        at += kClauseHead;
        u8 connector = 0;
        do {
            if (!TakeTest(cond, size, &at) || at == size) { return false; }
            connector = cond[at];
            if (IsTestConnector(connector)) { at += kConnectorSize; }
        } while (IsTestConnector(connector));
        // What stands behind no connector is never walked.
        if (!IsClauseConnector(connector)) { return true; }
        at += kConnectorSize;
    }
    return at < size;
}

bool SkipTests(const u8** p)
{
    const u8* at = *p;
    bool inStep = true;
    while (inStep && IsTestConnector(*at)) {
        u8 op = at[kConnectorSize + 1];
        at += kConnectorSize + kBareTestHead;
        if (op == BXD_OP_NEW_VALUE) { continue; }
        inStep = !HasNoValue(op);
        if (*at == kCondEnd) { break; }
        ++at;
        if (inStep) { at += PointCondEnd(at); }
    }
    *p = at;
    return inStep;
}

bool SameInFile(u8 fid, u32 addrA, u32 addrB, u32 len)
{
    u8 a[kSlice];
    u8 b[kSlice];
    for (u32 done = 0; done < len;) {
        u32 count = std::min(len - done, kSlice);
        if (ReadExactly(fid, addrA + done, a, count) != BXD_OK ||
            ReadExactly(fid, addrB + done, b, count) != BXD_OK || std::memcmp(a, b, count) != 0) {
            return false;
        }
        done += count;
    }
    return true;
}

}  // namespace bxd
