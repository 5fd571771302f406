// SPDX-License-Identifier: MIT
#include "box/bxd_garb_abort.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_format.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_card_tables.h"
#include "box/bxd_garb_image.h"
#include "storage/bxd_data.h"

namespace {

constexpr u32 kGapPieceLength = kGapCardMax - kCardHead;  // cardLength of the dead cards of a large gap

void PutDeadHead(u8* head, u32 cardLength)
{
    PUT_2BYTES(head, CARD_ID_DEAD);
    PUT_4BYTES(head + kCardLengthAt, cardLength);
}

u32 WriteDeadHead(u8 fid, u32 pos, u32 cardLength)
{
    u8 head[kCardHead];
    PutDeadHead(head, cardLength);
    return bxd::WriteAll(fid, pos, head, sizeof head);
}

u32 PutEmptyTable(BxdFlashBuffer* buffer)
{
    u8 table[kAppendTotal];
    std::memset(table, 0xFF, sizeof table);
    std::memcpy(table, offset_table_header, sizeof offset_table_header);
    return BxdFileFlashBufferOut(buffer, table, sizeof table);
}

// The heads of a gap beyond 16 MiB. The body of the first is not stepped over, and the last gets what the
// pieces before it leave: kept so on purpose, and nobody in the library asks for it.
u32 FillLargeGap(BxdFlashBuffer* buffer, u32 gap)
{
    u32 rest = gap - kGapCardMax;
    u32 status = BXD_OK;
    while (rest > kGapCardMax) {
        rest -= kGapPieceLength;
        status = WriteDeadHead(buffer->fid, buffer->filePos, kGapPieceLength);
        if (status != BXD_OK) { return status; }
        buffer->filePos += kGapCardMax;
    }
    status = WriteDeadHead(buffer->fid, buffer->filePos, rest);
    if (status == BXD_OK) { buffer->filePos += kCardHead + rest; }
    return status;
}

// All tables of a box as its chain of cards makes them.
class Tables {
public:
    Tables(u8 fid, const u8* header)
        : fid_(fid), header_(header), tablePos_(GET_4BYTES(header + kHdOffsetTable)),
          capacity_(CapacityOf(GET_2BYTES(header + kHdMaxCardID))),
          positions_(capacity_ * 4 + kSystemSlotBytes)
    {
        std::memset(front_, 0xFF, sizeof front_);
        if (positions_) { std::memset(positions_.data(), 0xFF, capacity_ * 4 + kSystemSlotBytes); }
    }

    explicit operator bool() const { return static_cast<bool>(positions_); }

    [[nodiscard]] u32 run()
    {
        u32 status = bxd::ReadWord(fid_, tablePos_ + kChainWord * 4, &firstTable_);
        if (status != BXD_OK) { return status; }
        status = bxd::ForEachCard(fid_, GET_4BYTES(header_ + kHdCardOffset),
                                  [this](u32 pos, const CardHead& card) {
                                      return card.cardId > CARD_ID_NORMAL_MAX ? meetOther(pos, card.cardId)
                                                                              : meet(pos, card.cardId);
                                  });
        if (status == BXD_OK) { status = write(); }
        if (status != BXD_OK) { return status; }
        return systemCards_ > kSystemSlots ? BXD_ERR_FAIL : BXD_OK;
    }

private:
    // Ids that the array has room for: those of whole tables.
    static u32 CapacityOf(u32 maxCardId)
    {
        if (maxCardId <= kDefaultIds) { return kDefaultIds; }
        return bxd::AppendGroup(maxCardId) * kAppendIds + kDefaultIds + kAppendIds;
    }

    u32 meetOther(u32 pos, u16 cardId)
    {
        switch (cardId) {
        case OFFSET_TABLE_ID:
        case INDEX_TABLE_ID:
        case OFFSET_CARD_ID:
        case TMP_SYSTEM_CARD_ID: return BXD_OK;
        case EXT_INFO_ID: PUT_4BYTES(front_, pos); return BXD_OK;
        default:
            if (++systemCards_ <= kSystemSlots) { PUT_4BYTES(front_ + 4 * systemCards_, pos); }
            return BXD_OK;
        }
    }

    u32 meet(u32 pos, u16 cardId)
    {
        if (cardId == CARD_ID_DEAD) { return BXD_OK; }
        highest_ = std::max(highest_, u32{cardId});
        if (cardId > capacity_) { return writeSlot(pos, cardId); }
        PUT_4BYTES(positions_.data() + (cardId - 1) * 4, pos);
        return BXD_OK;
    }

    // An id beyond what the header tells: its slot is written where it stands.
    u32 writeSlot(u32 pos, u16 cardId)
    {
        u32 table = firstTable_;
        for (u32 k = bxd::AppendGroup(cardId);; --k) {
            if (!bxd::IsPosition(table)) { return BXD_ERR_FAIL; }
            if (k == 0) { break; }
            u32 status = bxd::ReadWord(fid_, table + kAppendChainAt, &table);
            if (status != BXD_OK) { return status; }
        }
        u32 status = requireTable(table);
        return status == BXD_OK ? ModOffsetTable(fid_, table, pos, cardId) : status;
    }

    u32 requireTable(u32 table) const
    {
        if (!bxd::IsPosition(table)) { return BXD_ERR_FAIL; }
        CardHead head = {};
        u32 status = bxd::ReadCardHead(fid_, table, &head);
        bool isTable = head.cardId == OFFSET_TABLE_ID && head.total() == kAppendTotal;
        return status == BXD_OK && !isTable ? static_cast<u32>(BXD_ERR_FAIL) : status;
    }

    u32 write()
    {
        u32 status = bxd::WriteAll(fid_, tablePos_, front_, sizeof front_);
        if (status != BXD_OK) { return status; }
        status = bxd::WriteAll(fid_, tablePos_ + sizeof front_, positions_.data(), kDefaultIds * 4);
        if (status != BXD_OK) { return status; }
        if (highest_ > kDefaultIds) {
            status = writeAppendTables();
            if (status != BXD_OK) { return status; }
            return RemakeOffsetCard(fid_, header_) == BXD_OK ? BXD_OK : BXD_ERR_FAIL;
        }
        bool hasOffsetCard = bxd::IsPosition(GET_4BYTES(header_ + kHdOffsetCard)) &&
                             bxd::IsPosition(GET_4BYTES(header_ + kHdOffsetCardSize));
        return hasOffsetCard ? RemakeOffsetCard(fid_, header_) : u32{BXD_OK};
    }

    u32 writeAppendTables()
    {
        u32 table = firstTable_;
        u32 last = std::min(highest_, capacity_);
        for (u32 done = kDefaultIds; done < last; done += kAppendIds) {
            u32 status = requireTable(table);
            if (status != BXD_OK) { return status; }
            status =
                bxd::WriteAll(fid_, table + kAppendSlotsAt, positions_.data() + done * 4, kAppendIds * 4);
            if (status == BXD_OK) { status = bxd::ReadWord(fid_, table + kAppendChainAt, &table); }
            if (status != BXD_OK) { return status; }
        }
        return BXD_OK;
    }

    u8 fid_;
    const u8* header_;
    u32 tablePos_;
    u32 capacity_;
    bxd::HeapBlock positions_;    // of the cards 1, 2, 3 ..., as they stand in the file
    u8 front_[kSystemSlotBytes];  // extended information card and system cards
    u32 firstTable_ = kUnset;
    u32 highest_ = 0;
    u32 systemCards_ = 0;
};

}  // namespace

namespace bxd {

u32 CloseGap(u8 fid, u32 pos, u32 gap)
{
    return gap < kCardHead ? static_cast<u32>(BXD_ERR_FAIL) : WriteDeadHead(fid, pos, gap - kCardHead);
}

}  // namespace bxd

extern "C" {

u32 GarbageCollectAbort(BxdFlashBuffer* buffer, u32 gap, u32 tables)
{
    if (static_cast<uint64_t>(tables) * kAppendTotal > gap) { return BXD_ERR_FAIL; }
    gap -= tables * kAppendTotal;
    u32 status = BXD_OK;
    for (; tables > 0; --tables) {
        status = PutEmptyTable(buffer);
        if (status != BXD_OK) { return status; }
    }
    if (gap == 0) { return BxdFlashAll(buffer); }
    if (gap < kCardHead) { return BXD_ERR_FAIL; }

    bool oneCard = gap - kCardHead <= kGapCardMax;
    u8 head[kCardHead];
    PutDeadHead(head, oneCard ? gap - kCardHead : kGapPieceLength);
    status = BxdFileFlashBufferOut(buffer, head, sizeof head);
    if (status == BXD_OK) { status = BxdFlashAll(buffer); }
    return status == BXD_OK && !oneCard ? FillLargeGap(buffer, gap) : status;
}

u32 SetOffsetTableChain(u8 fid)
{
    u8 header[kHeaderSize];
    u32 status = bxd::ReadExactly(fid, 0, header, sizeof header);
    if (status != BXD_OK) { return status; }
    if (!bxd::FrontFits(header, BxdFileSize(fid))) { return BXD_ERR_FAIL; }
    u32 cardOffset = GET_4BYTES(header + kHdCardOffset);
    u32 linkPos = GET_4BYTES(header + kHdOffsetTable) + kChainWord * 4;
    status = bxd::ForEachCard(fid, cardOffset, [fid, &linkPos](u32 pos, const CardHead& card) {
        if (card.cardId != OFFSET_TABLE_ID) { return static_cast<u32>(BXD_OK); }
        if (card.total() != kAppendTotal) { return static_cast<u32>(BXD_ERR_FAIL); }
        u32 linked = bxd::WriteWord(fid, linkPos, pos);
        linkPos = pos + kAppendChainAt;
        return linked;
    });
    return status == BXD_OK ? bxd::WriteWord(fid, linkPos, kUnset) : status;
}

u32 SetTableAndMakeChain(u8 fid)
{
    u8 header[kHeaderSize];
    u32 status = bxd::ReadExactly(fid, 0, header, sizeof header);
    if (status != BXD_OK) { return status; }
    if (GET_4BYTES(header + kHdCardOffset) == kUnset) { return BXD_OK; }
    if (!bxd::FrontFits(header, BxdFileSize(fid))) { return BXD_ERR_FAIL; }
    Tables tables(fid, header);
    return tables ? tables.run() : static_cast<u32>(BXD_ERR_FAIL);
}
}
