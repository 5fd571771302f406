// SPDX-License-Identifier: MIT
#include "index/bxd_indx_sort_keys.h"

#include <cstdlib>

#include "index/bxd_indx_info.h"

namespace {

constexpr u32 kTextKey = 6;  // bytes of a key in the application's form

// A record with data: 66 where it is absent or empty.
u32 FindRecord(u8 indexFid, u8 tag, u32* length, u32* pos)
{
    u32 status = bxd::FindIndexRecord(indexFid, tag, length, pos);
    return status == BXD_OK && *length == 0 ? u32{BXD_ERR_NOTFOUND} : status;
}

}  // namespace

namespace bxd {

u32 ReadCompiledSort(u8 indexFid, SortKeys* out)
{
    u32 length = 0;
    u32 pos = 0;
    u32 status = FindRecord(indexFid, IDXINF_SORT_CODE, &length, &pos);
    if (status != BXD_OK) { return status; }
    return LoadSortCode(indexFid, pos, length, out->keys);
}

u32 SortText::read(u8 indexFid)
{
    u32 length = 0;
    u32 pos = 0;
    u32 status = FindRecord(indexFid, IDXINF_SORT_EXP, &length, &pos);
    if (status != BXD_OK) { return status; }

    // A key that the record's end cuts runs into zeros, and is malformed.
    u8* text = static_cast<u8*>(std::calloc(length + kTextKey, 1));
    if (text == nullptr) { return BXD_ERR_FAIL; }
    text_.reset(text);
    return ReadExactly(indexFid, pos, text, length);
}

bool SortText::makeKeys(const u8* itemTable, SortKeys* out) const
{
    return MakeSortPreCondition(text_.data(), out->keys, kSortBudget, itemTable) != 0;
}

u32 ReadSortKeys(u8 indexFid, const u8* itemTable, u32 malformed, SortKeys* out, bool* ordered)
{
    *ordered = true;
    u32 status = ReadCompiledSort(indexFid, out);
    if (status != BXD_ERR_NOTFOUND) { return status; }

    SortText text;
    status = text.read(indexFid);
    if (status != BXD_OK) { return status; }
    if (text.isUnordered()) {
        *ordered = false;
        return BXD_OK;
    }
    return text.makeKeys(itemTable, out) ? u32{BXD_OK} : malformed;
}

}  // namespace bxd
