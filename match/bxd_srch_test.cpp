// SPDX-License-Identifier: MIT
#include "match/bxd_srch_test.h"

#include <algorithm>
#include <cstring>

#include "match/bxd_sort_code.h"
#include "storage/text.h"

namespace {

constexpr u32 kTagSize = 4;
constexpr u8 kAllItemsTag[kTagSize] = {' ', ' ', ' ', ' '};
constexpr u8 kFirstLetter = 0xA0;  // FE and a byte from here on are a character
constexpr u32 kCodeSize = 2;
constexpr u32 kCharacterMax = 3;
constexpr u32 kStepMask = 3;  // the bits of a converter's step that count
constexpr u32 kBudgetMax = 0xFFFF;

bool EndsText(const u8* s) { return s[0] == 0 || (s[0] == BXD_OP_MARK && s[1] < kFirstLetter); }

// The bytes from s on that a character may take: the terminator ends a text also within one.
u32 BytesOfText(const u8* s)
{
    u32 count = 1;
    while (count < kCharacterMax && s[count] != 0) { ++count; }
    return count;
}

// Where a compiled text goes to, and how many bytes it may still take.
struct TextRoom {
    u8* out;
    u32 left;

    [[nodiscard]] bool put(u8 byte)
    {
        if (left == 0) { return false; }
        *out++ = byte;
        --left;
        return true;
    }
    [[nodiscard]] bool putCode(u32 code)
    {
        if (left < kCodeSize) { return false; }
        PUT_2BYTES(out, static_cast<u16>(code));
        out += kCodeSize;
        left -= kCodeSize;
        return true;
    }
};

// Two bytes of Shift-JIS go together, so that the second is not taken for the end.
bool IsPairAt(const u8* s) { return s[1] != 0 && Is2byte(static_cast<u16>(s[0] | s[1] << 8)) != 0; }

bool CopyText(const u8** s, bool utf8, TextRoom* room)
{
    while (!EndsText(*s)) {
        if (!utf8 && IsPairAt(*s) && !room->put(*(*s)++)) { return false; }
        if (!room->put(*(*s)++)) { return false; }
    }
    return room->put(0);
}

bool ConvertText(const u8** s, bool utf8, TextRoom* room)
{
    while (!EndsText(*s)) {
        u16 used = 0;
        u32 count = BytesOfText(*s);
        u32 code = utf8 ? bxd::SortCodeAtUtf8(*s, count, &used) : bxd::SortCodeAt(*s, count, &used);
        if (!room->putCode(code)) { return false; }
        *s += used & kStepMask;
    }
    return room->putCode(0);
}

// The text at the cursor, behind the head of its test.
bool CompileText(const bxd::ConditionCompile& at)
{
    u32 room = std::min<u32>(kBudgetMax, static_cast<u32>(at.end - *at.out));
    return SearchConvString(at.in, at.out, static_cast<u16>(room)) != 0;
}

bool IsAttr(i32 nameId)
{
    u8 tag[kTagSize];
    PUT_4BYTES(tag, static_cast<u32>(nameId));
    return bxd::SameTag(tag, search_data_attr);
}

bool CompileFixed(const bxd::ConditionCompile& at, u32 size, bool attr)
{
    u8* value = *at.out;
    for (u32 i = 0; i < size; ++i) {
        if (!at.copy()) { return false; }
    }
    // The bit is stored the other way round than callers see it.
    if (attr && (value[0] & kAttrLiveBit) != 0) { value[1] ^= kAttrLiveBit; }
    return true;
}

}  // namespace

extern "C" {

u32 SearchConvString(const u8** in, u8** out, u16 budget)
{
    if (budget < kTextLengthSize) { return 0; }
    u8* length = *out;
    const u8* head = length - kTestHead;
    bool binary = head[kTestKind] == kTestBinary;
    bool utf8 = head[kTestValueType] == kItemTextUtf8;
    TextRoom room{length + kTextLengthSize, budget - kTextLengthSize};
    const u8* s = *in;
    if (binary ? !CopyText(&s, utf8, &room) : !ConvertText(&s, utf8, &room)) { return 0; }
    if (room.left == 0) { return 0; }
    PUT_2BYTES(length, static_cast<u16>(room.out - length - kTextLengthSize));
    *in = s;
    *out = room.out;
    return room.left;
}
}

namespace bxd {

bool ConditionCompile::put(u8 byte) const
{
    if (*out == end) { return false; }
    *(*out)++ = byte;
    return true;
}

bool ConditionCompile::copy() const
{
    if (!put(**in)) { return false; }
    ++*in;
    return true;
}

bool ConditionCompile::connect() const
{
    if (!put((*in)[1])) { return false; }
    *in += kMarkedSize;
    return true;
}

bool IsAllItems(const u8* tag) { return std::memcmp(tag, kAllItemsTag, kTagSize) == 0; }

bool CompileItem(const ConditionCompile& at, const u8* itemTable, i32* nameId)
{
    const u8* tag = at.text();
    if (std::memchr(tag, 0, kTagSize) != nullptr) { return false; }
    ItemEntry item = {};
    u8 type = kCondAllItemsMark;
    u8 number = kCondAllItemsMark;
    if (IsAllItems(tag)) {
        *at.flags |= kCondAllItems | kCondConnector;
    } else if (SearchItemNameID(tag, itemTable, &item) == BXD_OK) {
        type = item.itemType;
        number = static_cast<u8>(item.itemNumber);
    } else {
        return false;
    }
    if (!at.put(type) || !at.put(number)) { return false; }
    *nameId = static_cast<i32>(GET_4BYTES(tag));
    at.skip(kTagSize);
    return true;
}

bool CompileTest(const ConditionCompile& at, i32 nameId, CompiledTest* test)
{
    u8 kind = kTestByCode;
    if (IsMarked(at.text(), BXD_OP_BINARY)) {
        kind = kTestBinary;
        at.skip(kMarkedSize);
    }
    const u8* text = at.text();
    if (text[0] != BXD_OP_MARK || text[1] == 0) { return false; }
    u8 op = text[1];
    *test = {*at.out, false};
    if (!at.put(kind) || !at.put(op)) { return false; }
    at.skip(kMarkedSize);
    if (op == BXD_OP_NEW_VALUE) { *at.flags |= kCondNeighbour; }
    if (HasNoValue(op)) { return true; }

    u8 type = *at.text();
    u32 size = FixedValueSize(type);
    test->ofText = IsText(type);
    if ((size == 0 && !test->ofText) || !at.copy()) { return false; }
    return test->ofText ? CompileText(at) : CompileFixed(at, size, type == kItemBits && IsAttr(nameId));
}

bool RepeatTest(const ConditionCompile& at, const CompiledTest& test)
{
    for (u32 i = 0; i < kTestHead; ++i) {
        if (!at.put(test.head[i])) { return false; }
    }
    return CompileText(at);
}

}  // namespace bxd
