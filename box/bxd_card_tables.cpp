// SPDX-License-Identifier: MIT
#include "box/bxd_card_tables.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_format.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_garb.h"
#include "storage/bxd_data.h"

namespace {

constexpr u32 kNewTableBytes =
    kAppendTotal + kEndMarkSize;          // a table and the end mark behind it, in one write
constexpr u32 kOffsetCardStep = 256;      // the payload of an offset card is a multiple of it
constexpr u32 kCollectedTablesMax = 505;  // words that the walk of a first offset card gathers

constexpr u32 Steps(u32 bytes) { return bytes / kOffsetCardStep * kOffsetCardStep; }

bool IsFree(u32 slot) { return !bxd::IsPosition(slot); }

// The words of an offset card in memory, behind room for the card's head.
class OffsetCardImage {
public:
    explicit OffsetCardImage(u32 total) : block_(total)
    {
        if (block_) { std::memset(block_.data(), 0xFF, total); }
    }

    explicit operator bool() const { return static_cast<bool>(block_); }
    u8* words() const { return block_.data() + kOffsetCardWordsAt; }
    u32 word(size_t k) const { return GET_4BYTES(words() + 4 * k); }
    void setWord(size_t k, u32 value) { PUT_4BYTES(words() + 4 * k, value); }

    // Puts the card with its first `total` bytes over the end mark, and the header's fields behind it.
    [[nodiscard]] u32 publish(u8 fid, u32 total)
    {
        u32 pos = BxdFileSize(fid) - kEndMarkSize;
        u32 status = PreWriteEndMark(fid, pos + total);
        if (status != BXD_OK) { return status; }
        PUT_2BYTES(block_.data(), OFFSET_CARD_ID);
        PUT_4BYTES(block_.data() + kCardLengthAt, total - kCardHead);
        status = bxd::WriteAll(fid, pos, block_.data(), total);
        if (status != BXD_OK) { return status; }
        u32 place[2] = {pos, total};
        return bxd::WriteWords(fid, kHdOffsetCard, place, 2);
    }

private:
    bxd::HeapBlock block_;
};

// Gathers the tables of a box that has a chain of them and no offset card.
u32 CollectChain(u8 fid, OffsetCardImage* image, u32* count)
{
    // Behind each table the walk goes on at 514 bytes and not at the chain word (518): that is the table's
    // last slot, where a chain that is just being made ends at once. Kept so on purpose.
    constexpr u32 kCollectStep = 514;
    u32 pos = 0;
    u32 status = bxd::ReadWord(fid, kHdOffsetTable, &pos);
    if (status != BXD_OK) { return status; }
    pos += kChainWord * 4;
    for (*count = 0; *count < kCollectedTablesMax;) {
        u32 word = 0;
        status = bxd::ReadWord(fid, pos, &word);
        if (status != BXD_OK) { return status; }
        image->setWord((*count)++, word);
        if (word == kUnset) { break; }
        pos = word + kCollectStep;
    }
    return BXD_OK;
}

u32 MakeFirstOffsetCard(u8 fid, u32 appendPos, u32 k)
{
    if (k >= kCollectedTablesMax) { return BXD_ERR_FAIL; }
    constexpr u32 kLargest = Steps(kCardHead + 4 * kCollectedTablesMax + 250) + kCardHead;
    OffsetCardImage image(kLargest);
    if (!image) { return BXD_ERR_FAIL; }
    u32 count = 0;
    u32 status = CollectChain(fid, &image, &count);
    if (status != BXD_OK) { return status; }

    u32 total = Steps(kCardHead + 4 * count + 250) + kCardHead;
    while (kOffsetCardWordsAt + 4 * k + 4 > total) { total += kOffsetCardStep; }
    image.setWord(k, appendPos);
    return image.publish(fid, total);
}

u32 EnlargeOffsetCard(u8 fid, u32 appendPos, u32 k, const u32* place)
{
    u32 total = Steps(4 * k + kOffsetCardStep) + kCardHead;
    u32 oldPayload = place[1] - kCardHead;
    OffsetCardImage image(total);
    if (!image) { return BXD_ERR_FAIL; }
    u32 status = bxd::ReadExactly(fid, place[0] + kOffsetCardWordsAt, image.words(), oldPayload);
    if (status != BXD_OK) { return status; }
    status = DeleteCardData(fid, place[0]);
    if (status != BXD_OK) { return status; }
    image.setWord(k, appendPos);
    return image.publish(fid, total);
}

// Where an append table grows from, and what it is for.
struct NewIdSearch {
    u8 fid;
    u32* tablePos;
    u32* table;
    u16* cardId;
    u32* reuse;

    u32 firstChainWord() const { return *tablePos + kChainWord * 4; }
    [[nodiscard]] u32 grow(u32 linkPos, u16 id) const
    {
        return MakeNewAppendTable(fid, linkPos, tablePos, id, cardId, reuse);
    }
};

// A free id in the default table from `first` on, else in the append tables.
u32 SearchFromDefaultTable(const NewIdSearch& search, u16 first)
{
    for (u16 id = first; id <= kDefaultIds; ++id) {
        u32 slot = search.table[id + kFirstIdWord];
        if (!IsFree(slot)) { continue; }
        *search.cardId = id;
        *search.reuse = slot == 0 ? 1 : 0;
        return WriteUnUsedCardID(search.fid, static_cast<u16>(id + 1));
    }
    u32 chain = search.table[kChainWord];
    if (chain == kUnset) { return search.grow(search.firstChainWord(), kDefaultIds + 1); }
    return SearchAppendTable(search.fid, chain, search.tablePos, kDefaultIds + 1, search.cardId, search.reuse,
                             search.table);
}

// A hint above 500: the append table that it falls in, or the one that it would begin. A hint that the
// tables do not reach falls back to a search from id 1, not to a new table.
u32 SearchFromHint(const NewIdSearch& search, u16 hint)
{
    u32 place[2] = {};
    u32 status = bxd::ReadWords(search.fid, kHdOffsetCard, place, 2);
    if (status != BXD_OK) { return status; }
    bool beginsTheFirst = hint == kDefaultIds + 1;
    if (!bxd::IsPosition(place[0])) {
        return beginsTheFirst ? search.grow(search.firstChainWord(), hint)
                              : SearchFromDefaultTable(search, 1);
    }

    u32 k = bxd::AppendGroup(hint);
    if (!bxd::OffsetCardHolds(place[0], place[1], k)) { return SearchFromDefaultTable(search, 1); }
    u32 wordPos = place[0] + kOffsetCardWordsAt + 4 * k;
    u32 owner = 0;
    status = bxd::ReadWord(search.fid, wordPos, &owner);
    if (status != BXD_OK) { return status; }
    if (bxd::IsPosition(owner)) {
        return SearchAppendTable(search.fid, owner, search.tablePos, hint, search.cardId, search.reuse,
                                 search.table);
    }
    if (k == 0) {
        return beginsTheFirst ? search.grow(search.firstChainWord(), hint)
                              : SearchFromDefaultTable(search, 1);
    }
    status = bxd::ReadWord(search.fid, wordPos - 4, &owner);
    if (status != BXD_OK) { return status; }
    if (!bxd::IsPosition(owner)) { return SearchFromDefaultTable(search, 1); }
    return search.grow(owner + kAppendChainAt, hint);
}

// The highest slot in use of an append table: -1 for none.
u32 HighestLiveSlot(u8 fid, u32 tablePos, i32* slot)
{
    u32 table[kAppendIds];
    u32 status = bxd::ReadWords(fid, tablePos + kAppendSlotsAt, table, kAppendIds);
    if (status != BXD_OK) { return status; }
    for (*slot = kAppendIds - 1; *slot >= 0 && IsFree(table[*slot]); --*slot) {}
    return BXD_OK;
}

// What is left of the tables after the empty ones at the end have gone.
struct LiveTables {
    bool any;
    bool changed;  // words of the image were cleared
    u32 table;     // the last one with a card in it
    u32 position;
    u16 highestId;
};

u32 ReleaseEmptyTables(u8 fid, OffsetCardImage* image, u32 words, LiveTables* live)
{
    *live = {};
    for (u32 t = words; t-- > 0;) {
        u32 tablePos = image->word(t);
        if (!bxd::IsPosition(tablePos)) { continue; }
        i32 slot = -1;
        u32 status = HighestLiveSlot(fid, tablePos, &slot);
        if (status != BXD_OK) { return status; }
        if (slot >= 0) {
            live->any = true;
            live->table = t;
            live->position = tablePos;
            live->highestId = static_cast<u16>(kDefaultIds + 1 + kAppendIds * t + static_cast<u32>(slot));
            return BXD_OK;
        }
        status = DeleteCardData(fid, tablePos);
        if (status != BXD_OK) { return status; }
        image->setWord(t, 0);
        live->changed = true;
    }
    return BXD_OK;
}

u32 DropOffsetCard(u8 fid, u32 offsetCard)
{
    u32 status = DeleteCardData(fid, offsetCard);
    if (status == BXD_OK) { status = bxd::WriteWord(fid, kHdOffsetCard, kUnset); }
    if (status == BXD_OK) { status = Reset1stOffsetChain(fid); }
    // The highest id counts as 500 from here on, whichever ids up to it are in use.
    return status == BXD_OK ? WriteMaxCardID(fid, kDefaultIds) : status;
}

// Splits the end of the offset card off as a dead card. The card's own cardLength stays as it was, so that
// a walk along the chain steps over the dead card with it; only where nothing but dead cards follows, and
// the file is cut with it, does the card get its new length first.
u32 ShrinkOffsetCard(u8 fid, const u32* card, u32 newPayload, OffsetCardImage* image)
{
    u32 position = card[0];
    u32 oldTotal = card[1];
    u32 newTotal = newPayload + kCardHead;
    PUT_4BYTES(image->words() + newPayload + kCardLengthAt, oldTotal - newTotal - kCardHead);
    u32 status = bxd::WriteAll(fid, position + kOffsetCardWordsAt, image->words(), newTotal);
    if (status != BXD_OK) { return status; }

    u32 deadBehind = 0;
    bool atEnd = false;
    status = bxd::MeasureDeadRun(fid, position + oldTotal, &deadBehind, &atEnd);
    if (status == BXD_OK && atEnd) { status = bxd::WriteWord(fid, position + kCardLengthAt, newPayload); }
    if (status == BXD_OK) { status = bxd::WriteWord(fid, kHdOffsetCardSize, newTotal); }
    return status == BXD_OK ? DeleteCardData(fid, position + newTotal) : status;
}

}  // namespace

extern "C" {

u32 SearchNewCardID(u8 fid, u32* tablePos, u32* table, u16* cardId, u32* reuse)
{
    u16 hint = 0;
    u32 status = bxd::ReadHalf(fid, kHdUnUsedCardID, &hint);
    if (status != BXD_OK) { return status; }
    *reuse = 0;
    if (hint == 0 || hint > CARD_ID_NORMAL_MAX) { hint = 1; }
    NewIdSearch search = {fid, tablePos, table, cardId, reuse};
    return hint <= kDefaultIds ? SearchFromDefaultTable(search, hint) : SearchFromHint(search, hint);
}

u32 SearchAppendTable(u8 fid, u32 appendPos, u32* tablePos, i32 firstId, u16* cardId, u32* reuse, u32* buf)
{
    u32 id = static_cast<u32>(firstId);
    u32 current = appendPos;
    for (u32 first = bxd::AppendSlot(id);; first = 0) {
        CardHead head = {};
        u32 status = ReadCardSize(fid, static_cast<i32>(current), &head);
        if (status != BXD_OK) { return status; }
        if (head.cardId != OFFSET_TABLE_ID) { return BXD_ERR_FAIL; }
        status = bxd::ReadWords(fid, current + kAppendSlotsAt, buf, kAppendBody / 4);
        if (status != BXD_OK) { return status; }

        for (u32 j = first; j < kAppendIds; ++j, ++id) {
            if (!IsFree(buf[j])) { continue; }
            if (id > CARD_ID_NORMAL_MAX) { return BXD_ERR_FAIL; }
            *cardId = static_cast<u16>(id);
            *tablePos = current;
            *reuse = buf[j] == 0 ? 1 : 0;
            status = UpdateMaxCardID(fid, *cardId);
            return status == BXD_OK ? WriteUnUsedCardID(fid, static_cast<u16>(id + 1)) : status;
        }
        if (id > CARD_ID_NORMAL_MAX) { return BXD_ERR_FAIL; }

        u32 chain = buf[kAppendIds];
        if (chain == kUnset) {
            return MakeNewAppendTable(fid, current + kAppendChainAt, tablePos, static_cast<u16>(id), cardId,
                                      reuse);
        }
        current = chain;
    }
}

u32 MakeNewAppendTable(u8 fid, u32 linkPos, u32* tablePos, u16 cardId, u16* cardIdOut, u32* reuse)
{
    if (cardId > CARD_ID_NORMAL_MAX) { return BXD_ERR_FAIL; }
    u32 cardOffset = 0;
    u32 status = bxd::ReadWord(fid, kHdCardOffset, &cardOffset);
    if (status != BXD_OK) { return status; }
    if (!bxd::IsPosition(cardOffset)) { return BXD_ERR_FAIL; }

    *cardIdOut = cardId;
    *tablePos = BxdFileSize(fid) - kEndMarkSize;
    u8 table[kNewTableBytes];
    std::memset(table, 0xFF, sizeof table);
    std::memcpy(table, offset_table_header, sizeof offset_table_header);
    status = bxd::WriteAll(fid, *tablePos, table, sizeof table);
    if (status == BXD_OK) { status = WriteOffsetCard(fid, *tablePos, cardId); }
    if (status != BXD_OK) { return status; }

    *reuse = 0;
    status = bxd::WriteWord(fid, linkPos, *tablePos);
    if (status == BXD_OK) { status = WriteMaxCardID(fid, cardId); }
    return status == BXD_OK ? WriteUnUsedCardID(fid, static_cast<u16>(cardId + 1)) : status;
}

u32 WriteOffsetCard(u8 fid, u32 appendPos, u16 cardId)
{
    u32 place[2] = {};
    u32 status = bxd::ReadWords(fid, kHdOffsetCard, place, 2);
    if (status != BXD_OK) { return status; }
    u32 k = bxd::AppendGroup(cardId);
    if (!bxd::IsPosition(place[0])) { return MakeFirstOffsetCard(fid, appendPos, k); }
    if (!bxd::OffsetCardFits(fid, place)) { return BXD_ERR_FAIL; }
    if (bxd::OffsetCardHolds(place[0], place[1], k)) {
        return bxd::WriteWord(fid, place[0] + kOffsetCardWordsAt + 4 * k, appendPos);
    }
    return EnlargeOffsetCard(fid, appendPos, k, place);
}

u32 RemakeOffsetCard(u8 fid, const u8* header)
{
    u32 place[2] = {GET_4BYTES(header + kHdOffsetCard), GET_4BYTES(header + kHdOffsetCardSize)};
    if (!bxd::IsPosition(place[0]) || !bxd::OffsetCardFits(fid, place)) { return BXD_ERR_FAIL; }
    OffsetCardImage image(place[1]);
    if (!image) { return BXD_ERR_FAIL; }

    u32 words = (place[1] - kCardHead) / 4;
    u32 linkPos = GET_4BYTES(header + kHdOffsetTable) + kChainWord * 4;
    for (u32 k = 0;; ++k) {
        u32 tablePos = 0;
        u32 status = bxd::ReadWord(fid, linkPos, &tablePos);
        if (status != BXD_OK) { return status; }
        if (tablePos == kUnset) { break; }
        if (k == words) { return BXD_ERR_FAIL; }
        image.setWord(k, tablePos);
        linkPos = tablePos + kAppendChainAt;
    }
    return bxd::WriteAll(fid, place[0] + kOffsetCardWordsAt, image.words(), place[1] - kCardHead);
}

u32 Reset1stOffsetChain(u8 fid)
{
    u32 tablePos = 0;
    u32 status = bxd::ReadWord(fid, kHdOffsetTable, &tablePos);
    return status == BXD_OK ? bxd::WriteWord(fid, tablePos + kChainWord * 4, kUnset) : status;
}

u32 UpdateOffsetCard(u8 fid)
{
    u32 place[2] = {};
    u32 status = bxd::ReadWords(fid, kHdOffsetCard, place, 2);
    if (status != BXD_OK || !bxd::IsPosition(place[0])) { return status; }
    return UpdateOffsetCardSub(fid, place);
}

u32 UpdateOffsetCardSub(u8 fid, u32* card)
{
    if (!bxd::OffsetCardFits(fid, card)) { return BXD_ERR_FAIL; }
    OffsetCardImage image(card[1]);
    if (!image) { return BXD_ERR_FAIL; }
    u32 payload = card[1] - kCardHead;
    u32 status = bxd::ReadExactly(fid, card[0] + kOffsetCardWordsAt, image.words(), payload);
    if (status != BXD_OK) { return status; }

    LiveTables live = {};
    status = ReleaseEmptyTables(fid, &image, payload / 4, &live);
    if (status != BXD_OK) { return status; }
    if (!live.any) { return DropOffsetCard(fid, card[0]); }

    // The last table ends the chain, whatever its chain word held.
    status = bxd::WriteWord(fid, live.position + kAppendChainAt, kUnset);
    if (status != BXD_OK) { return status; }

    u32 newPayload = payload;
    while (newPayload > 4 * live.table + 2 * kOffsetCardStep) { newPayload -= kOffsetCardStep; }
    if (newPayload != payload) {
        status = ShrinkOffsetCard(fid, card, newPayload, &image);
        if (status != BXD_OK) { return status; }
    }
    if (live.changed) {
        status = bxd::WriteAll(fid, card[0] + kOffsetCardWordsAt, image.words(), newPayload);
        if (status != BXD_OK) { return status; }
    }
    return WriteMaxCardID(fid, live.highestId);
}
}
