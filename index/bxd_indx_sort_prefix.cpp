// SPDX-License-Identifier: MIT
#include "index/bxd_indx_sort_prefix.h"

#include <algorithm>

#include "box/bxd_card_read.h"
#include "index/bxd_indx_lookup.h"

namespace {

using u64 = uint64_t;

constexpr u32 kCharacters = 3;  // of a UTF-8 text
constexpr u32 kCharacterBits = 17;
constexpr u16 kMalformed = 0xFFFD;

// The value of a card's item.
struct Value {
    u32 length;
    u8 head[kSortHeadSize];
};

// Each gives false for a value whose order only a compare tells.

bool Utf8Prefix(u8 code, const Value& value, u64* prefix)
{
    const u8* s = value.head;
    u32 left = std::min(value.length, kSortHeadSize);
    *prefix = 0;
    for (u32 i = 0; i < kCharacters; ++i) {
        u64 character = 0;
        if (left != 0) {
            u16 used = 0;
            u16 point = bxd::CodePointUtf8(s, left, &used);
            if (point == kMalformed) { return false; }
            character = point + 1U;
            if (!bxd::IsBinaryOrder(code)) {
                character = bxd::SearchCodeUtf8(bxd::SortCodeUtf8(s, left, &used)) + 1U;
            }
            s += used;
            left -= used;
        }
        *prefix = *prefix << kCharacterBits | character;
    }
    return true;
}

// The first character decides, and behind it each order has rules of its own.
bool SjisPrefix(u8 code, const Value& value, u64* prefix)
{
    *prefix = 0;
    if (value.length == 0) { return true; }
    u16 first = bxd::FirstOfSjis(code, value.head, std::min(value.length, kSortHeadSize));
    *prefix = (bxd::IsBinaryOrder(code) ? first : bxd::SearchCodeSjis(first)) + 1U;
    return true;
}

// A value of another size counts as 0. Of four bytes the lower two are compared.
bool NumberPrefix(u32 size, const Value& value, u64* prefix)
{
    *prefix = 0;
    if (value.length == size) { *prefix = size == 1 ? value.head[0] : GET_2BYTES(value.head); }
    return true;
}

bool Prefix(const SortKey& key, const Value& value, u64* prefix)
{
    bool down = bxd::IsDownwards(key.code);
    bool known = false;
    switch (key.type) {
    case kItemTextUtf8: known = Utf8Prefix(key.code, value, prefix); break;
    case kItemText:
    case kItemText2: known = SjisPrefix(key.code, value, prefix); break;
    case kItemByte: known = NumberPrefix(1, value, prefix); break;
    case kItemHalf: known = NumberPrefix(2, value, prefix); break;
    case kItemWord: known = NumberPrefix(4, value, prefix); break;
    default: return false;
    }
    if (down || (bxd::IsText(key.type) && key.code == kSortBinTextDown)) { *prefix = ~*prefix; }
    return known;
}

// The values of all keys can be loaded, so that the card may be a pivot; the first one comes back.
bool ReadValues(u8 boxFid, u32 cardPos, const SortKey* keys, Value* first)
{
    if (!bxd::IsPosition(cardPos)) { return false; }
    for (const SortKey* key = keys; key->type != kItemEnd; ++key) {
        CardItemPlace place = {};
        u32 want = key == keys ? kSortHeadSize : 0;
        u32 at = ReadItemData(boxFid, &place, key->item, cardPos, want, first->head);
        if (at == 0 || !bxd::FileHolds(boxFid, static_cast<u64>(at) + place.dataLength)) { return false; }
        if (key == keys) { first->length = place.dataLength; }
    }
    return true;
}

}  // namespace

namespace bxd {

bool SortPrefixes::load(u8 boxFid, const u8* entries, u32 count, const u32* offsets, const SortKey* keys,
                        u16 maxId)
{
    if (keys->type == kItemEnd) { return false; }
    size_t bytes = maxId * sizeof(u64);
    memory_.reset(static_cast<u8*>(std::malloc(bytes)));
    if (!memory_) { return false; }
    u64* prefixes = reinterpret_cast<u64*>(memory_.data());
    for (u32 n = 0; n < count; ++n) {
        u32 place = GET_2BYTES(entries + n * kIxEntrySize) - 1U;
        Value value = {};
        if (!ReadValues(boxFid, offsets[place], keys, &value) || !Prefix(*keys, value, &prefixes[place])) {
            return false;
        }
    }
    return true;
}

}  // namespace bxd
