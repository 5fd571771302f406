// SPDX-License-Identifier: MIT
#include "match/bxd_srch_expand.h"

#include <algorithm>
#include <cstring>

#include "index/bxd_indx_info.h"
#include "match/bxd_srch_format.h"

namespace {

constexpr u32 kTagSize = 4;
constexpr u32 kSortKeyText = 6;  // a key of a sort condition: tag, FE, sort code
constexpr u32 kKeysMax = 255;    // the count is a byte
constexpr u8 kNewValue[] = {BXD_OP_MARK, BXD_OP_NEW_VALUE};
constexpr u8 kOr[] = {BXD_OP_MARK, BXD_OP_CLAUSE_OR};

// Where FE 96 stands, or else the terminator.
const u8* FindNewKeys(const u8* text)
{
    while (text[0] != 0) {
        if (text[0] != BXD_OP_MARK) {
            ++text;
        } else if (text[1] == BXD_OP_NEW_KEYS) {
            return text;
        } else {
            // Not behind the terminator, though.
            text += text[1] == 0 ? 1 : bxd::kMarkedSize;
        }
    }
    return text;
}

// It stands at the begin or behind FE 86, and nothing follows its count.
bool StandsAlone(const u8* condition, const u8* newKeys)
{
    const u8* count = newKeys + bxd::kMarkedSize;
    if (count[0] != 0 && count[1] != 0) { return false; }
    if (newKeys == condition) { return true; }
    return newKeys - condition >= static_cast<std::ptrdiff_t>(bxd::kMarkedSize) &&
           bxd::IsMarked(newKeys - bxd::kMarkedSize, BXD_OP_CLAUSE_AND);
}

// Reads the first `count` keys of the index's sort condition.
u32 ReadKeys(u8 indexId, u32 count, u8* keys)
{
    u32 length = 0;
    u32 pos = 0;
    u32 status = SearchIndexInformation(indexId, IDXINF_SORT_EXP, &length, &pos);
    if (status == BXD_ERR_NOTFOUND || (status == BXD_OK && length == 0)) { return BXD_ERR_CONDITION; }
    if (status != BXD_OK || count == 0) { return status; }
    // What the record does not hold stays 0, and a key that begins so is none.
    if (length < count * kSortKeyText) { count = length / kSortKeyText; }
    status =
        count == 0 ? static_cast<u32>(BXD_OK) : bxd::ReadExactly(indexId, pos, keys, count * kSortKeyText);
    return status;
}

// Appends bytes while the terminator still finds room behind them.
struct TextEnd {
    u8* at;
    u32 left;

    [[nodiscard]] bool add(const u8* bytes, size_t count)
    {
        if (count >= left) { return false; }
        std::memcpy(at, bytes, count);
        at += count;
        left -= static_cast<u32>(count);
        return true;
    }
};

bool AddTests(const u8* keys, u32 count, TextEnd* out)
{
    for (u32 i = 0; i < count; ++i, keys += kSortKeyText) {
        if (keys[0] == 0) { return false; }
        if (i != 0 && !out->add(kOr, sizeof kOr)) { return false; }
        if (!out->add(keys, kTagSize) || !out->add(kNewValue, sizeof kNewValue)) { return false; }
    }
    return true;
}

}  // namespace

extern "C" {

u32 IsFE96(const u8* condition) { return *FindNewKeys(condition) != 0 ? 1 : 0; }

u32 ExpandFE96(u8 indexId, u8* out, const u8* in)
{
    const u8* newKeys = FindNewKeys(in);
    TextEnd end{out, kExpandedMax};
    if (!end.add(in, static_cast<size_t>(newKeys - in))) { return BXD_ERR_CONDITION; }
    if (*newKeys != 0) {
        if (!StandsAlone(in, newKeys)) { return BXD_ERR_CONDITION; }
        u32 count = newKeys[bxd::kMarkedSize];
        u8 keys[kKeysMax * kSortKeyText] = {};
        u32 status = ReadKeys(indexId, count, keys);
        if (status != BXD_OK) { return status; }
        if (!AddTests(keys, count, &end)) { return BXD_ERR_CONDITION; }
    }
    *end.at = 0;
    return BXD_OK;
}
}
