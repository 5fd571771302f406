// SPDX-License-Identifier: MIT
#include "box/bxd_card_format.h"

#include <bxd/card.h>

#include <cstring>

#include "storage/bxd_data.h"

namespace {

constexpr u8 kEndMark[kEndMarkSize] = {0xFF, 0xFF};

u32 Tag(const u8* tag)
{
    u32 word = static_cast<u32>(tag[0]) << 24 | static_cast<u32>(tag[1]) << 16 |
               static_cast<u32>(tag[2]) << 8 | tag[3];
    return word & kTagMask;
}

}  // namespace

extern "C" {

// clang-format off
const u8 default_item_table[73] = {
    15, 0, 6, 10, 'A', 'T', 'T', 'R', 'a', 't', 't', 'r', 'i', 'b', 'u', 't', 'e',
    18, 0, 4, 6, 'c', 'T', 'T', 'M', 'c', 'r', 'e', 'a', 't', 'e', 'd', ' ', 't', 'i', 'm', 'e',
    19, 0, 4, 6, 'm', 'D', 'T', 'M', 'm', 'o', 'd', 'i', 'f', 'i', 'e', 'd', ' ', 't', 'i', 'm', 'e',
    13, 0, 18, 15, 's', 'Y', 'I', 'D', 's', 'y', 'n', 'c', ' ', 'i', 'd',
};
// clang-format on

const u8 offset_table_header[kCardHead] = {0xF0, 0xFF, 0x04, 0x02, 0x00, 0x00};
const u8 idx_name_tbl_data[kCardHead] = {0xF1, 0xFF, 0x00, 0x02, 0x00, 0x00};

const u8 search_data_attr[] = {'A', 'T', 'T', 'R'};
const u8 search_data_category[] = {'C', 'T', 'G', 'R'};

u32 ChkEndMark(u8 fid, u32 pos)
{
    u32 size = BxdFileSize(fid);
    if (size == 0) { return BXD_ERR_FAIL; }
    if (size == pos + kEndMarkSize) {
        u8 mark[kEndMarkSize] = {};
        u32 status = bxd::ReadExactly(fid, pos, mark, sizeof mark);
        if (status == BXD_OK && std::memcmp(mark, kEndMark, sizeof mark) == 0) { return BXD_OK; }
        (void)bxd::WriteAll(fid, pos, kEndMark, sizeof kEndMark);
        return BXD_ERR_FAIL;
    }
    if (size == pos) { (void)bxd::WriteAll(fid, pos, kEndMark, sizeof kEndMark); }
    return BXD_ERR_FAIL;
}

u32 ReadCardSize(u8 fid, i32 pos, CardHead* out)
{
    u8 head[kCardHead] = {};
    u32 count = sizeof head;
    u32 status = DataReadFromFile(fid, pos, head, &count);
    if (status != BXD_OK) { return status; }

    out->bytesRead = count;
    out->cardId = GET_2BYTES(head);
    out->cardLength = GET_4BYTES(head + kCardLengthAt);
    if (count == sizeof head) { return BXD_OK; }
    if (count < kEndMarkSize || out->cardId < END_MARK_ID) {
        (void)ChkEndMark(fid, static_cast<u32>(pos));
        return BXD_ERR_FAIL;
    }
    out->cardLength = 0;
    return BXD_OK;
}

u32 IsLastCard(u8 fid, u32 pos)
{
    u32 cardLength = 0;
    if (bxd::ReadWord(fid, pos + kCardLengthAt, &cardLength) != BXD_OK || cardLength == 0) { return 0; }
    uint64_t end = static_cast<uint64_t>(pos) + kCardHead + cardLength;
    u16 next = 0;
    if (end > kFilePositionMax || bxd::ReadHalf(fid, static_cast<u32>(end), &next) != BXD_OK) { return 0; }
    return next == END_MARK_ID ? 1 : 0;
}

u32 SearchItemNameID(const u8* tag, const u8* itemTable, ItemEntry* out)
{
    const u8* entry = itemTable + 1;
    for (u16 number = 1; number <= itemTable[0]; ++number, entry = bxd::NextItemEntry(entry)) {
        u16 entryLength = GET_2BYTES(entry);
        // An entry too short for a tag is a place without a name: it counts, and is never found.
        if (entryLength < kItemEntryWithTag || !bxd::SameTag(tag, entry + kItemEntryTag)) { continue; }
        *out = {entry + kItemEntryHead, entryLength, number, entry[kItemEntryType], entry[kItemEntrySubType]};
        return BXD_OK;
    }
    return BXD_ERR_NOTFOUND;
}

u32 GetCardItemLength(const u8** cursor)
{
    const u8* b = *cursor;
    u32 fieldSize = bxd::LengthFieldSizeAt(b[0]);
    *cursor = b + fieldSize;
    if (fieldSize == 1) { return b[0]; }
    u32 high = b[0] & 0x3Fu;
    if (fieldSize == 2) { return high << 8 | b[1]; }
    return high << 24 | static_cast<u32>(b[1]) << 16 | static_cast<u32>(b[2]) << 8 | b[3];
}

u8* CardLengthWrite(u8* dst, u32 length)
{
    if (length < 0x80) {
        *dst++ = static_cast<u8>(length);
        return dst;
    }
    if (length < 0x4000) {
        *dst++ = static_cast<u8>(0x80 | length >> 8);
        *dst++ = static_cast<u8>(length);
        return dst;
    }
    *dst++ = static_cast<u8>(0xC0 | length >> 24);
    *dst++ = static_cast<u8>(length >> 16);
    *dst++ = static_cast<u8>(length >> 8);
    *dst++ = static_cast<u8>(length);
    return dst;
}
}

namespace bxd {

bool SameTag(const u8* a, const u8* b) { return Tag(a) == Tag(b); }

u32 SettleGrowth(u8 fid, u32 status, u32 pos, u32 oldLength, u32 oldEnd)
{
    u32 length = 0;
    if (status == BXD_OK || ReadWord(fid, pos + kCardLengthAt, &length) != BXD_OK || length != oldLength) {
        return status;
    }
    return SettleEnd(fid, status, oldEnd, oldEnd + kEndMarkSize);
}

u32 ReadCardHead(u8 fid, u32 pos, CardHead* out)
{
    u32 status = ReadCardSize(fid, static_cast<i32>(pos), out);
    if (status != BXD_OK) { return status; }
    uint64_t end = static_cast<uint64_t>(pos) + out->cardLength + kCardHead;
    return out->bytesRead == kCardHead && FileHolds(fid, end) ? BXD_OK : BXD_ERR_FAIL;
}

}  // namespace bxd
