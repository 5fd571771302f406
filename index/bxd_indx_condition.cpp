// SPDX-License-Identifier: MIT
#include "index/bxd_indx_condition.h"

#include <cstring>

#include "index/bxd_indx_info.h"
#include "match/bxd_cond_items.h"
#include "match/bxd_srch_cond.h"

namespace {

// Which of its records a log line is about: told apart by numbers.
constexpr u32 kNoRecord = 2074;
constexpr u32 kEmptyRecord = 2087;

u32 NoCondition(u32 cause)
{
    BxdDebug("ReadSearchCondition: %d\n", static_cast<int>(cause));
    return BXD_ERR_NOTFOUND;
}

// No record, or no records at all.
bool IsAbsent(u32 status) { return status == BXD_ERR_NOTFOUND || status == BXD_ERR_OTHER; }

// The last byte of the room is a terminator whatever the record holds.
u32 ReadCompiled(u8 indexFid, u32 pos, u32 length, u8* out)
{
    if (length > kConditionCodeMax) { return BXD_ERR_CONDITION; }
    u32 status = bxd::ReadExactly(indexFid, pos, out, length);
    if (status != BXD_OK) { return status; }
    return out[kConditionCodeMax - 1] == 0 ? static_cast<u32>(BXD_OK) : static_cast<u32>(BXD_ERR_CONDITION);
}

}  // namespace

namespace bxd {

u32 ReadConditionText(u8 indexFid, u32 pos, u32 length, HeapBlock* text)
{
    HeapBlock bytes(size_t{length} + kConditionSlack);
    if (!bytes) { return BXD_ERR_FAIL; }
    u32 status = length == 0 ? static_cast<u32>(BXD_OK) : ReadExactly(indexFid, pos, bytes.data(), length);
    if (status != BXD_OK) { return status; }
    std::memset(bytes.data() + length, 0, kConditionSlack);
    text->reset(bytes.release());
    return BXD_OK;
}

}  // namespace bxd

extern "C" {

u32 ReadSearchCondition(u8 boxFid, u8 indexFid, u8* out)
{
    std::memset(out, 0, kConditionCodeMax);
    u32 length = 0;
    u32 pos = 0;
    u32 status = SearchIndexInformation(indexFid, IDXINF_SEARCH_CODE, &length, &pos);
    if (status == BXD_OK) {
        return length != 0 ? ReadCompiled(indexFid, pos, length, out) : NoCondition(kEmptyRecord);
    }
    if (!IsAbsent(status)) { return status; }
    status = SearchIndexInformation(indexFid, IDXINF_SEARCH_EXP, &length, &pos);
    if (IsAbsent(status) || (status == BXD_OK && length == 0)) { return NoCondition(kNoRecord); }
    bxd::HeapBlock text;
    if (status == BXD_OK) { status = bxd::ReadConditionText(indexFid, pos, length, &text); }
    u32 written = 0;
    return status == BXD_OK ? ConvertSearchCondition(indexFid, text.data(), out, boxFid, &written) : status;
}
}
