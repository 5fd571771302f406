// SPDX-License-Identifier: MIT
#include "index/bxd_indx_ungroup.h"

#include "box/bxd_card_read.h"
#include "box/bxd_card_slots.h"
#include "index/bxd_indx_home.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_lookup.h"
#include "storage/bxd_file_ahead.h"

namespace {

constexpr u32 kBufferSize = 2048;
constexpr u32 kFirstTableSize = (kDefaultIds + 1) * 4;     // slots and link of the default table
constexpr u32 kAppendTableAt = kBufferSize - kAppendBody;  // place of an append table in the buffer
constexpr u32 kAppendTablesMax = bxd::AppendGroup(CARD_ID_NORMAL_MAX) + 1;

// Tells what failed on the standard error stream.
u32 Report(u32 status, const char* message)
{
    if (status != BXD_OK) { BxdDebug("%s", message); }
    return status;
}

// One filling of a card table.
class TableFill {
public:
    TableFill(u8 boxFid, u8 indexFid, u8 attrItem, u32 tablePos)
        : boxFid_(boxFid), indexFid_(indexFid), attrItem_(attrItem), tablePos_(tablePos),
          writePos_(tablePos + kIxCountSize)
    {}

    // Walks the offset tables of the box, from the default one on. 225 where no slot leads to a card.
    u32 run(u32 offsetTable)
    {
        u32 status =
            Report(bxd::ReadExactly(boxFid_, bxd::SlotPosition(offsetTable, 1), buffer_, kFirstTableSize),
                   "IndexUnGroup: reading offset table error\n");
        if (status == BXD_OK) { status = takeSlots(buffer_, kDefaultIds); }
        u32 link = GET_4BYTES(buffer_ + kDefaultIds * 4);
        for (u32 tables = 0; status == BXD_OK && link != kUnset; ++tables) {
            // More tables than there are ids for: the chain runs in a circle.
            if (tables == kAppendTablesMax) { return BXD_ERR_FAIL; }
            status = loadAppendTable(link);
            if (status == BXD_OK) { status = takeSlots(buffer_ + kAppendTableAt, kAppendIds); }
            link = GET_4BYTES(buffer_ + kAppendTableAt + kAppendIds * 4);
        }
        return status == BXD_OK ? finish() : status;
    }

private:
    u32 loadAppendTable(u32 link)
    {
        u16 id = 0;
        u32 status = Report(bxd::ReadHalf(boxFid_, link, &id), "IndexUnGroup: could not read CardId error\n");
        if (status != BXD_OK) { return status; }
        if (id != OFFSET_TABLE_ID) { return Report(BXD_ERR_FAIL, "IndexUnGroup: OFFSET_TABLE_ID error\n"); }
        if (filled_ > kAppendTableAt) { status = flush(); }
        if (status != BXD_OK) { return status; }
        return Report(bxd::ReadExactly(boxFid_, link + kAppendSlotsAt, buffer_ + kAppendTableAt, kAppendBody),
                      "IndexUnGroup: reading offset table error\n");
    }

    // Makes entries of the next `slots` ids. The entries never overtake the slots.
    u32 takeSlots(const u8* slots, u32 count)
    {
        for (u32 i = 0; i < count; ++i) {
            u32 pos = GET_4BYTES(slots + i * 4);
            ++cardId_;
            if (!bxd::IsPosition(pos)) { continue; }
            u8* entry = buffer_ + filled_;
            CardItemPlace place = {};
            bool found = cardId_ <= CARD_ID_NORMAL_MAX &&
                         ReadItemData(boxFid_, &place, attrItem_, pos, 1, entry + kIxEntryAttr) != 0 &&
                         place.dataLength == 1;
            if (!found) { return Report(BXD_ERR_FAIL, "IndexUnGroup: ReadItemData error\n"); }
            PUT_2BYTES(entry, static_cast<u16>(cardId_));
            entry[kIxEntryFlags] = 0;
            filled_ += kIxEntrySize;
            ++cards_;
        }
        return BXD_OK;
    }

    u32 flush()
    {
        u32 status = bxd::WriteAll(indexFid_, writePos_, buffer_, filled_);
        writePos_ += filled_;
        filled_ = 0;
        return status;
    }

    u32 finish()
    {
        u32 status = flush();
        if (status != BXD_OK) { return status; }
        if (cards_ == 0) {
            status = bxd::WriteWord(indexFid_, kIxTablePos, kUnset);
            return status == BXD_OK ? u32{BXD_ERR_EMPTY} : status;
        }
        status = bxd::WriteHalf(indexFid_, writePos_, END_MARK_ID);
        if (status == BXD_OK) { status = bxd::WriteHalf(indexFid_, tablePos_, static_cast<u16>(cards_)); }
        return status == BXD_OK ? BxdFileCut(indexFid_, writePos_ + kIxEndMarkSize) : status;
    }

    u8 boxFid_;
    u8 indexFid_;
    u8 attrItem_;
    u32 tablePos_;
    u32 writePos_;    // in the index, of what is gathered
    u32 filled_ = 0;  // bytes of entries in the buffer
    u32 cardId_ = 0;  // of the slot looked at
    u32 cards_ = 0;
    u8 buffer_[kBufferSize] = {};
};

// Throws the old table away: 0 with the place of the new one, to which tablePos leads once it is to be
// filled.
u32 ClearTable(u8 indexFid, u32* tablePos, bool* hadTable)
{
    u32 status = bxd::ReadWord(indexFid, kIxTablePos, tablePos);
    if (status != BXD_OK) { return status; }
    *hadTable = *tablePos != kUnset;
    if (!*hadTable) { return BXD_OK; }
    if (*tablePos < kIndexHeaderSize || !bxd::FileHolds(indexFid, *tablePos)) { return BXD_ERR_FAIL; }
    return BxdFileCut(indexFid, *tablePos);
}

u32 FillTable(const bxd::IndexHome& home, u8 indexFid)
{
    ItemEntry item = {};
    u32 status = SearchItemNameID(search_data_attr, home.itemTable(), &item);
    if (status != BXD_OK) { return status; }
    u32 tablePos = 0;
    bool hadTable = false;
    status = Report(ClearTable(indexFid, &tablePos, &hadTable),
                    "IndexUnGroup: DataReadFromFile or BxdFileCut error\n");
    if (status != BXD_OK) { return status; }
    u32 offsetTable = 0;
    status = Report(bxd::ReadWord(home.fid(), kHdOffsetTable, &offsetTable),
                    "IndexUnGroup: DataReadFromFile error\n");
    if (status != BXD_OK) { return status; }
    if (!bxd::IsPosition(offsetTable)) {
        return Report(BXD_ERR_FAIL, "IndexUnGroup: reading offset table error\n");
    }
    if (!hadTable) {
        tablePos = BxdFileSize(indexFid);
        status = bxd::WriteWord(indexFid, kIxTablePos, tablePos);
        if (status != BXD_OK) { return status; }
    }
    bxd::ReadAhead ahead(home.fid());
    TableFill fill(home.fid(), indexFid, static_cast<u8>(item.itemNumber), tablePos);
    return fill.run(offsetTable);
}

}  // namespace

extern "C" {

u32 _IndexUnGroup(const char* name, BoxHandle box)
{
    return bxd::WithHandle(box, [&] { return __IndexUnGroup(name, box); });
}

u32 __IndexUnGroup(const char* name, BoxHandle box)
{
    bxd::OpenFile index;
    u32 status = bxd::OpenIndex(name, kIxModeWrite, &index);
    if (status != BXD_OK) { return status; }
    bxd::IndexHome home;
    status = home.open(index.fid(), name, box);
    if (status == BXD_OK) { status = FillTable(home, index.fid()); }
    // A host that fails without a number of its own is no refusal to the caller.
    return status == BXD_ERR_OTHER ? u32{BXD_ERR_FAIL} : status;
}
}
