// SPDX-License-Identifier: MIT
#include "box/bxd_chain_mend.h"

#include <algorithm>

#include "box/bxd_card_read.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_garb.h"
#include "storage/bxd_data.h"

namespace {

constexpr u32 kTablesMax = 510;  // append tables of a box

// The first card behind the chain's end to which something in the box leads.
class CardBehind {
public:
    CardBehind(u8 fid, u32 end) : fid_(fid), end_(end) {}

    u32 first() const { return first_; }  // kUnset: there is none

    // A place that leads to a card of the ids `least` to `most`.
    void meet(u32 pos, u16 least, u16 most)
    {
        if (!bxd::IsPosition(pos) || pos <= end_ || pos >= first_) { return; }
        CardHead head = {};
        if (bxd::ReadCardHead(fid_, pos, &head) != BXD_OK) { return; }
        if (head.cardId >= least && head.cardId <= most) { first_ = pos; }
    }
    void meet(u32 pos, u16 cardId) { meet(pos, cardId, cardId); }

    [[nodiscard]] u32 meetDefaultTable(u32 tablePos, u32* appendTable)
    {
        u32 words[kDefaultTableWords];
        u32 status = bxd::ReadWords(fid_, tablePos, words, kDefaultTableWords);
        if (status != BXD_OK) { return status; }
        meet(words[0], EXT_INFO_ID);
        for (u32 n = 1; n <= kSystemSlots; ++n) {
            meet(words[n], CARD_ID_NORMAL_MAX + 1, OFFSET_TABLE_ID - 1);
        }
        for (u32 id = 1; id <= kDefaultIds; ++id) { meet(words[id + kFirstIdWord], static_cast<u16>(id)); }
        *appendTable = words[kChainWord];
        return BXD_OK;
    }

    // Follows the tables as far as they are whole.
    [[nodiscard]] u32 meetAppendTables(u32 table)
    {
        u32 id = kDefaultIds + 1;
        for (u32 k = 0; k < kTablesMax; ++k) {
            CardHead head = {};
            if (!bxd::IsPosition(table) || bxd::ReadCardHead(fid_, table, &head) != BXD_OK ||
                head.cardId != OFFSET_TABLE_ID || head.total() != kAppendTotal) {
                break;
            }
            meet(table, OFFSET_TABLE_ID);
            u32 words[kAppendIds + 1];
            u32 status = bxd::ReadWords(fid_, table + kAppendSlotsAt, words, kAppendIds + 1);
            if (status != BXD_OK) { return status; }
            for (u32 n = 0; n < kAppendIds; ++n) { meet(words[n], static_cast<u16>(id++)); }
            table = words[kAppendIds];
        }
        return BXD_OK;
    }

private:
    u8 fid_;
    u32 end_;
    u32 first_ = kUnset;
};

// Where the first card of an id stands in the chain.
u32 FirstOfId(u8 fid, u32 cardOffset, u16 cardId, u32* out)
{
    *out = kUnset;
    return bxd::ForEachCard(fid, cardOffset, [&](u32 pos, const CardHead& head) {
        if (head.cardId == cardId) { *out = std::min(*out, pos); }
        return static_cast<u32>(BXD_OK);
    });
}

// A second card of an id has been met at `pos`.
u32 SettleDouble(u8 fid, u32 cardOffset, u32 pos, u16 cardId)
{
    u32 slot = 0;
    if (GetFilePtrWithoutOffsetTable(fid, cardId, &slot) != BXD_OK) { return BXD_OK; }
    u32 first = 0;
    u32 status = FirstOfId(fid, cardOffset, cardId, &first);
    if (status != BXD_OK) { return status; }
    if (slot == pos) { return DeleteCardData(fid, first); }
    return slot == first ? DeleteCardData(fid, pos) : static_cast<u32>(BXD_OK);
}

}  // namespace

namespace bxd {

u32 FindCardBehind(u8 fid, u32 end, u32* pos)
{
    *pos = kUnset;
    u8 header[kHeaderSize];
    u32 status = ReadExactly(fid, 0, header, sizeof header);
    if (status != BXD_OK) { return status; }
    CardBehind behind(fid, end);
    behind.meet(GET_4BYTES(header + kHdIndexTable), INDEX_TABLE_ID);
    behind.meet(GET_4BYTES(header + kHdOffsetCard), OFFSET_CARD_ID);
    u32 appendTable = kUnset;
    status = behind.meetDefaultTable(GET_4BYTES(header + kHdOffsetTable), &appendTable);
    if (status == BXD_OK) { status = behind.meetAppendTables(appendTable); }
    if (status == BXD_OK) { *pos = behind.first(); }
    return status;
}

u32 RejoinChain(u8 fid, u32 end, bool* joined)
{
    *joined = false;
    u32 first = kUnset;
    u32 status = FindCardBehind(fid, end, &first);
    if (status != BXD_OK || first == kUnset) { return status; }

    if (first - end < kCardHead) { return BXD_ERR_FAIL; }
    u8 dead[kCardHead];
    PUT_2BYTES(dead, CARD_ID_DEAD);
    PUT_4BYTES(dead + kCardLengthAt, first - end - kCardHead);
    status = WriteAll(fid, end, dead, sizeof dead);
    *joined = status == BXD_OK;
    return status;
}

u32 SettleDoubles(u8 fid, u32 cardOffset)
{
    IdSet met;
    return ForEachCard(fid, cardOffset, [&](u32 pos, const CardHead& head) {
        bool isStored = head.cardId != CARD_ID_DEAD && head.cardId <= CARD_ID_NORMAL_MAX;
        bool isDouble = isStored && !met.insert(head.cardId);
        return isDouble ? SettleDouble(fid, cardOffset, pos, head.cardId) : static_cast<u32>(BXD_OK);
    });
}

u32 TakeBackOffsetCard(u8 fid, const u8* header)
{
    u32 field = GET_4BYTES(header + kHdOffsetCard);
    u32 size = GET_4BYTES(header + kHdOffsetCardSize);
    u16 cardId = 0;
    if (!IsPosition(field) || !FileHolds(fid, uint64_t{field} + kCardHead)) { return BXD_OK; }
    u32 status = ReadHalf(fid, field, &cardId);
    if (status != BXD_OK || cardId != CARD_ID_DEAD) { return status; }

    // A card that gave bytes back before may be longer than the header says.
    u32 total = 0;
    bool another = false;
    status = ForEachCard(fid, GET_4BYTES(header + kHdCardOffset), [&](u32 pos, const CardHead& head) {
        if (pos == field && head.total() >= size) { total = head.total(); }
        another = another || head.cardId == OFFSET_CARD_ID;
        return static_cast<u32>(BXD_OK);
    });
    if (status != BXD_OK || total == 0 || another) { return status; }
    status = AddBoxGarbageSize(fid, -static_cast<i32>(total));
    return status == BXD_OK ? WriteHalf(fid, field, OFFSET_CARD_ID) : status;
}

}  // namespace bxd
