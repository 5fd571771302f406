// SPDX-License-Identifier: MIT
#include "match/bxd_sort_cond.h"

#include <cstring>

#include "box/bxd_card_read.h"
#include "match/bxd_cond_items.h"

namespace {

constexpr u32 kTagSize = 4;
constexpr u8 kKeyMark = 0xFE;
constexpr u16 kBudgetSpent = 0x7FFE;  // a budget above it has gone below zero

// A key of the compiled form.
constexpr u32 kCodeType = 0;
constexpr u32 kCodeItem = 1;
constexpr u32 kCodeOrder = 2;
constexpr u32 kCodeSize = 3;

// Compiles the key at *in and moves *in behind it. A 0 within a key ends the text as well: nothing is read
// behind it.
bool CompileKey(const u8** in, const u8* itemTable, u8* code)
{
    const u8* tag = *in;
    for (u32 i = 0; i < kTagSize; ++i) {
        if (tag[i] == 0) { return false; }
    }
    ItemEntry item = {};
    if (SearchItemNameID(tag, itemTable, &item) != BXD_OK) { return false; }
    const u8* mark = tag + kTagSize;
    if (mark[0] != kKeyMark || !bxd::IsLegalSortCode(mark[1])) { return false; }
    code[kCodeType] = item.itemType;
    code[kCodeItem] = static_cast<u8>(item.itemNumber);
    code[kCodeOrder] = mark[1];
    *in = mark + 2;
    return true;
}

// A key without values.
void SetKey(SortKey* key, const u8* code)
{
    key->addr = 0;
    key->len = 0;
    std::memset(key->first, 0, sizeof key->first);
    key->tail = nullptr;
    key->type = code[kCodeType];
    key->item = code[kCodeItem];
    key->code = code[kCodeOrder];
}

// The part of a long text that the head does not hold.
bool LoadTail(u8 boxId, SortKey* key)
{
    key->tail = nullptr;
    if (key->len <= kSortHeadSize) { return true; }
    // The length comes from the card: no memory is taken for what the file does not have.
    if (!bxd::FileHolds(boxId, static_cast<uint64_t>(key->addr) + key->len)) { return false; }
    u32 rest = key->len - kSortHeadSize;
    bxd::HeapBlock tail(rest);
    if (!tail || bxd::ReadExactly(boxId, key->addr + kSortHeadSize, tail.data(), rest) != BXD_OK) {
        return false;
    }
    key->tail = tail.release();
    return true;
}

bool LoadText(u8 boxId, SortKey* key)
{
    u16 first = 0;
    if (key->len != 0) {
        first = bxd::IsSjisText(key->type) ? bxd::FirstOfSjis(key->code, key->head, key->len)
                                           : bxd::FirstOfUtf8(key->code, key->head, key->len);
    }
    std::memset(key->first, 0, sizeof key->first);
    PUT_2BYTES(key->first, first);
    return LoadTail(boxId, key);
}

bool LoadValue(u8 boxId, SortKey* key)
{
    switch (key->type) {
    case kItemText:
    case kItemText2:
    case kItemTextUtf8: return LoadText(boxId, key);
    case kItemDate:
    case kItemSpan:
    case kItemBits:
    case kItemWeekDate:
    case kItemHalf:
    case kItemByte:
    case kItemWord: std::memcpy(key->first, key->head, sizeof key->first); return true;
    default: return true;
    }
}

}  // namespace

extern "C" {

u32 ConvertSortCondition(u8 fileId, const u8* in, u8* out, i32 boxId, u32* outLen)
{
    bxd::HeapBlock table;
    u32 status = bxd::LoadConditionItems(fileId, boxId, &table);
    if (status != BXD_OK) { return status; }

    u8* end = out;
    while (*in != 0) {
        if (!CompileKey(&in, table.data(), end)) { return BXD_ERR_CONDITION; }
        end += kCodeSize;
    }
    *outLen = static_cast<u32>(end - out);
    return *outLen == 0 ? static_cast<u32>(BXD_ERR_CONDITION) : static_cast<u32>(BXD_OK);
}

u32 MakeSortPreCondition(const u8* in, SortKey* keys, u16 budget, const u8* itemTable)
{
    u32 count = 0;
    while (*in != 0) {
        budget = static_cast<u16>(budget - kSortKeyCost);
        u8 code[kCodeSize];
        if (budget > kBudgetSpent || !CompileKey(&in, itemTable, code)) { return 0; }
        SetKey(&keys[count++], code);
    }
    if (budget == 0) { return 0; }
    keys[count].type = kItemEnd;
    return count;
}

u32 MakeSortCondition(u8 boxId, i32 cardAddr, SortKey* keys)
{
    u32 address = static_cast<u32>(cardAddr);
    u32 last = 1;
    for (SortKey* key = keys; key->type != kItemEnd; ++key) {
        // Nothing of an earlier pivot is left where this value is shorter.
        std::memset(key->head, 0, sizeof key->head);
        CardItemPlace place = {};
        last = bxd::IsPosition(address)
                   ? ReadItemData(boxId, &place, key->item, address, kSortHeadSize, key->head)
                   : 0;
        if (last == 0) { return 0; }
        key->addr = last;
        key->len = place.dataLength;
        if (!LoadValue(boxId, key)) { return 0; }
    }
    return last;
}

void DisposeStrPtr(SortKey* keys)
{
    for (SortKey* key = keys; key->type != kItemEnd; ++key) {
        if (!bxd::IsText(key->type)) { continue; }
        std::free(key->tail);
        key->tail = nullptr;
    }
}
}

namespace bxd {

u32 LoadSortCode(u8 indexFid, u32 pos, u32 length, SortKey* keys)
{
    u8 code[kSortKeysMax * kCodeSize];
    if (length > sizeof code || length % kCodeSize != 0) { return BXD_ERR_CONDITION; }
    if (length != 0) {
        u32 status = ReadExactly(indexFid, pos, code, length);
        if (status != BXD_OK) { return status; }
    }
    u32 count = length / kCodeSize;
    for (u32 i = 0; i < count; ++i) { SetKey(&keys[i], code + i * kCodeSize); }
    keys[count].type = kItemEnd;
    return BXD_OK;
}

}  // namespace bxd
