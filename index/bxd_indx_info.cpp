// SPDX-License-Identifier: MIT
#include "index/bxd_indx_info.h"

namespace {

void Store(u32* out, u32 value)
{
    if (out != nullptr) { *out = value; }
}

}  // namespace

extern "C" {

u32 SearchIndexInformation(u8 fid, u8 tag, u32* length, u32* dataPos)
{
    u8 word[4];
    if (bxd::ReadExactly(fid, kIxInfoPos, word, sizeof word) != BXD_OK) { return BXD_ERR_OTHER; }
    u32 pos = GET_4BYTES(word);
    if (pos == 0xFFFFFFFF) { return BXD_ERR_OTHER; }

    for (;;) {
        u8 head[kIxRecordHead] = {};
        u32 count = sizeof head;
        u32 status = DataReadFromFile(fid, static_cast<i32>(pos), head, &count);
        if (status != BXD_OK) { return status; }
        u32 dataLength = GET_2BYTES(head + 1);
        bool atEnd = head[0] == 0 || count < sizeof head;
        if (!atEnd && head[0] != tag) {
            pos += kIxRecordHead + dataLength;
            continue;
        }
        Store(length, dataLength);
        Store(dataPos, atEnd ? pos : pos + kIxRecordHead);
        return atEnd ? BXD_ERR_NOTFOUND : BXD_OK;
    }
}
}
