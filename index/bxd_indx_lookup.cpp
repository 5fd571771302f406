// SPDX-License-Identifier: MIT
#include "index/bxd_indx_lookup.h"

#include <algorithm>

#include "index/bxd_indx_info.h"

namespace {

// Looks for a card among the `left` entries at `pos`, a buffer of them at a time. The number of the entry,
// from 1, in *indexNo and its attribute in *attr.
u32 ScanForCard(u8 fid, u32 pos, u32 left, u16 cardId, IndexCardPos* out)
{
    bxd::EntryBuffer buffer(left, kIxEndMarkSize);
    if (!buffer) { return BXD_ERR_FAIL; }
    u32 number = 0;
    while (left > 0) {
        u32 entries = std::min(left, buffer.capacity());
        u32 got = entries * kIxEntrySize;
        u32 status = DataReadFromFile(fid, static_cast<i32>(pos), buffer.data(), &got);
        if (status != BXD_OK) { return status; }
        for (u32 at = 0; at < entries * kIxEntrySize; at += kIxEntrySize) {
            const u8* entry = buffer.data() + at;
            bxd::EntryState state = bxd::StateOfEntry(entry, got > at ? got - at : 0);
            if (state == bxd::EntryState::kEndMark) { return BXD_ERR_NOTFOUND; }
            if (state == bxd::EntryState::kMissing) { return BXD_ERR_FAIL; }
            ++number;
            if (GET_2BYTES(entry) != cardId) { continue; }
            out->pos = pos + at;
            out->indexNo = static_cast<u16>(number);
            out->attr = entry[kIxEntryAttr];
            return BXD_OK;
        }
        pos += entries * kIxEntrySize;
        left -= entries;
    }
    return BXD_ERR_NOTFOUND;
}

}  // namespace

namespace bxd {

u32 OpenIndex(const char* name, u8 mode, OpenFile* file)
{
    u8 kind = 0;
    i32 fid = IndexOpenCheck(name, &kind, mode);
    if (fid < 0) { return BXD_ERR_NOFILE; }
    file->reset(static_cast<u8>(fid));
    return BXD_OK;
}

u32 FindEntryTable(u8 fid, EntryTable* table)
{
    *table = {kUnset, 0};
    u32 status = ReadWord(fid, kIxTablePos, &table->pos);
    if (status != BXD_OK || table->pos == kUnset) { return status; }
    if (table->pos < kIndexHeaderSize) { return BXD_ERR_FAIL; }
    return ReadHalf(fid, table->pos, &table->count);
}

}  // namespace bxd

extern "C" {

u32 SearchIndexID(u8 fid, u16 indexNo, IndexEntryPos* out)
{
    bxd::EntryTable table{};
    u32 status = bxd::FindEntryTable(fid, &table);
    *out = {table.pos, table.count, 0, 0, 0};
    if (status != BXD_OK) { return status; }
    if (table.pos == kUnset) { return BXD_ERR_FAIL; }
    if (indexNo == kIxBeforeFirst || indexNo == kIxBehindLast) { return BXD_ERR_RANGE; }
    if (indexNo > table.count) { return BXD_ERR_FAIL; }

    out->pos = bxd::EntryPosition(table.pos, indexNo);
    u8 entry[kIxEntrySize] = {};
    status = bxd::ReadExactly(fid, out->pos, entry, sizeof entry);
    if (status != BXD_OK) { return status; }
    out->cardId = GET_2BYTES(entry);
    out->attr = entry[kIxEntryAttr];
    out->flags = entry[kIxEntryFlags];
    return out->cardId > CARD_ID_NORMAL_MAX ? static_cast<u32>(BXD_ERR_FAIL) : static_cast<u32>(BXD_OK);
}

u32 SearchIndexCardID(u8 fid, u16 cardId, IndexCardPos* out)
{
    *out = {};
    bxd::EntryTable table{};
    u32 status = bxd::FindEntryTable(fid, &table);
    if (status != BXD_OK) { return status; }
    out->count = table.count;
    return table.count == 0 ? static_cast<u32>(BXD_ERR_NOTFOUND)
                            : ScanForCard(fid, table.entriesPos(), table.count, cardId, out);
}

u32 IndexNoToCardAdr(u8 boxFid, u8 indexFid, u32 entriesPos, u16 indexNo, CardSlotCursor* state)
{
    if (indexNo == kIxBeforeFirst) { return 0; }
    uint64_t pos = entriesPos + uint64_t{indexNo - 1u} * kIxEntrySize;
    u16 cardId = 0;
    if (pos > kFilePositionMax || bxd::ReadHalf(indexFid, static_cast<u32>(pos), &cardId) != BXD_OK) {
        return 0;
    }
    // The end mark, and what else is no stored card, must not lead into the tables of the box.
    if (cardId == CARD_ID_DEAD || cardId > CARD_ID_NORMAL_MAX) { return 0; }
    return BoxSearchCheck(boxFid, cardId, state) == BXD_OK ? state->cardPos : 0;
}

u32 _IndexNoToCardID(const char* name, u16 indexNo, u16* cardId)
{
    bxd::OpenFile file;
    u32 status = bxd::OpenIndex(name, kIxModeRead, &file);
    if (status != BXD_OK) { return status; }
    IndexEntryPos found{};
    if (SearchIndexID(file.fid(), indexNo, &found) != BXD_OK) { return BXD_ERR_NOTFOUND; }
    *cardId = found.cardId;
    return BXD_OK;
}

u32 _CardIDToIndexNo(const char* name, u16 cardId, u16* indexNo)
{
    bxd::OpenFile file;
    u32 status = bxd::OpenIndex(name, kIxModeRead, &file);
    if (status != BXD_OK) { return status; }
    IndexCardPos found{};
    if (SearchIndexCardID(file.fid(), cardId, &found) != BXD_OK) { return BXD_ERR_NOTFOUND; }
    *indexNo = found.indexNo;
    return BXD_OK;
}
}
