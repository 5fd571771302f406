// SPDX-License-Identifier: MIT
#include "box/bxd_card_tables.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_format.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_garb.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"

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
        if (status != BXD_OK) { return bxd::SettleEnd(fid, status, pos, pos + kEndMarkSize); }
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

// A card that an attempt before has killed is not killed, and counted, again.
u32 KillUnlessDead(u8 fid, u32 pos)
{
    u16 id = 0;
    u32 status = bxd::ReadHalf(fid, pos, &id);
    return status == BXD_OK && id != CARD_ID_DEAD ? DeleteCardData(fid, pos) : status;
}

u32 EnlargeOffsetCard(u8 fid, u32 appendPos, u32 k, const u32* place)
{
    u32 total = Steps(4 * k + kOffsetCardStep) + kCardHead;
    u32 oldPayload = place[1] - kCardHead;
    OffsetCardImage image(total);
    if (!image) { return BXD_ERR_FAIL; }
    u32 status = bxd::ReadExactly(fid, place[0] + kOffsetCardWordsAt, image.words(), oldPayload);
    if (status != BXD_OK) { return status; }
    status = bxd::RequireSpace(0, kUsualNodes, total);
    if (status == BXD_OK) { status = KillUnlessDead(fid, place[0]); }
    if (status != BXD_OK) { return status; }
    image.setWord(k, appendPos);
    return image.publish(fid, total);
}

// The append table that the offset card has for `group`: 0 for none.
u32 TableOfGroup(u8 fid, u32 group, u32* tablePos)
{
    *tablePos = 0;
    u32 place[2] = {};
    u32 status = bxd::ReadWords(fid, kHdOffsetCard, place, 2);
    if (status != BXD_OK || !bxd::OffsetCardHolds(place[0], place[1], group)) { return status; }
    u32 word = 0;
    status = bxd::ReadWord(fid, place[0] + kOffsetCardWordsAt + 4 * group, &word);
    if (status == BXD_OK && bxd::IsPosition(word)) { *tablePos = word; }
    return status;
}

// What a search for a new id goes by, and what it finds.
struct NewIdSearch {
    u8 fid;
    u32 defaultTable;  // its position
    u16 storedMax;     // maxCardID of the header
    u32* tablePos;
    u32* table;
    u16* cardId;
    u32* reuse;

    u32 firstChainWord() const { return defaultTable + kChainWord * 4; }
    [[nodiscard]] u32 grow(u32 linkPos, u32 id) const;
    [[nodiscard]] u32 inTables(u32 appendPos, u32 firstId) const;
};

// The hint, and the highest id where it rises: the two stand side by side in the header.
u32 StoreNewId(u8 fid, u16 id, u16 storedMax)
{
    if (id <= storedMax) { return WriteUnUsedCardID(fid, static_cast<u16>(id + 1)); }
    static_assert(kHdMaxCardID == kHdUnUsedCardID + 2);
    u8 fields[4];
    PUT_2BYTES(fields, id < CARD_ID_NORMAL_MAX ? static_cast<u16>(id + 1) : u16{1});
    PUT_2BYTES(fields + 2, id);
    return bxd::WriteAll(fid, kHdUnUsedCardID, fields, sizeof fields);
}

// Reads an append table, head and all, and hands its slots and chain word out.
u32 ReadAppendTable(u8 fid, u32 pos, u32* words)
{
    u8 card[kAppendTotal];
    u32 count = sizeof card;
    u32 status = DataReadFromFile(fid, static_cast<i32>(pos), card, &count);
    if (status != BXD_OK) { return status; }
    if (count < sizeof card || GET_2BYTES(card) != OFFSET_TABLE_ID) { return BXD_ERR_FAIL; }
    std::memcpy(words, card + kAppendSlotsAt, kAppendBody);
    bxd::WordsFromFile(words, kAppendBody / 4);
    return BXD_OK;
}

// The first free slot from firstId on, in the table at appendPos or one behind it in the chain.
u32 NewIdSearch::inTables(u32 appendPos, u32 firstId) const
{
    u32 id = firstId;
    u32 current = appendPos;
    for (u32 first = bxd::AppendSlot(id);; first = 0) {
        u32 status = ReadAppendTable(fid, current, table);
        if (status != BXD_OK) { return status; }
        for (u32 j = first; j < kAppendIds; ++j, ++id) {
            if (!IsFree(table[j])) { continue; }
            if (id > CARD_ID_NORMAL_MAX) { return BXD_ERR_FAIL; }
            *cardId = static_cast<u16>(id);
            *tablePos = current;
            *reuse = table[j] == 0 ? 1 : 0;
            return StoreNewId(fid, *cardId, storedMax);
        }
        if (id > CARD_ID_NORMAL_MAX) { return BXD_ERR_FAIL; }
        u32 chain = table[kAppendIds];
        if (chain == kUnset) { return grow(current + kAppendChainAt, id); }
        current = chain;
    }
}

// Lengthens the chain by the table of an id. A lost power may have left that table entered in the offset
// card and not yet linked: it is linked now, as ids of it may be in use.
u32 NewIdSearch::grow(u32 linkPos, u32 id) const
{
    u32 unlinked = 0;
    u32 status = TableOfGroup(fid, bxd::AppendGroup(id), &unlinked);
    if (status != BXD_OK) { return status; }
    if (unlinked == 0) {
        return MakeNewAppendTable(fid, linkPos, tablePos, static_cast<u16>(id), cardId, reuse);
    }
    status = bxd::WriteWord(fid, linkPos, unlinked);
    return status == BXD_OK ? inTables(unlinked, id) : status;
}

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
    return search.inTables(chain, kDefaultIds + 1);
}

// A table without a card may be one that a lost power has left unlinked: then it is linked now.
u32 LinkEmptyTable(const NewIdSearch& search, u32 owner, u32 linkPos)
{
    bool isEmpty =
        std::all_of(search.table, search.table + kAppendIds, [](u32 slot) { return slot == kUnset; });
    if (*search.tablePos != owner || !isEmpty) { return BXD_OK; }
    u32 link = 0;
    u32 status = bxd::ReadWord(search.fid, linkPos, &link);
    return status == BXD_OK && link == kUnset ? bxd::WriteWord(search.fid, linkPos, owner) : status;
}

// A hint above 500: the append table that it falls in, or the one that it would begin. A hint that the
// tables do not reach falls back to a search from id 1, not to a new table.
u32 SearchFromHint(const NewIdSearch& search, const u32* place, u16 hint)
{
    bool beginsTheFirst = hint == kDefaultIds + 1;
    u32 k = bxd::AppendGroup(hint);
    if (!bxd::OffsetCardHolds(place[0], place[1], k)) {
        bool grows = beginsTheFirst && !bxd::IsPosition(place[0]);
        return grows ? search.grow(search.firstChainWord(), hint) : SearchFromDefaultTable(search, 1);
    }

    // Word k, and the word before it, which says where the table of word k is linked.
    u32 words[2] = {0, 0};
    u32 wordPos = place[0] + kOffsetCardWordsAt + 4 * k;
    u32 status = k > 0 ? bxd::ReadWords(search.fid, wordPos - 4, words, 2)
                       : bxd::ReadWord(search.fid, wordPos, words + 1);
    if (status != BXD_OK) { return status; }
    bool linked = k == 0 || bxd::IsPosition(words[0]);
    u32 linkPos = k == 0 ? search.firstChainWord() : words[0] + kAppendChainAt;
    if (bxd::IsPosition(words[1])) {
        status = search.inTables(words[1], hint);
        return status == BXD_OK && linked ? LinkEmptyTable(search, words[1], linkPos) : status;
    }
    bool grows = k == 0 ? beginsTheFirst : linked;
    return grows ? search.grow(linkPos, hint) : SearchFromDefaultTable(search, 1);
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

namespace bxd {

u32 SearchNewId(u8 fid, const u8* header, u32* tablePos, u32* table, u16* cardId, u32* reuse)
{
    u16 hint = WrappedId(GET_2BYTES(header + kHdUnUsedCardID));
    *reuse = 0;
    u16 storedMax = GET_2BYTES(header + kHdMaxCardID);
    NewIdSearch search = {fid, *tablePos, storedMax, tablePos, table, cardId, reuse};
    if (hint <= kDefaultIds) { return SearchFromDefaultTable(search, hint); }
    u32 place[2] = {GET_4BYTES(header + kHdOffsetCard), GET_4BYTES(header + kHdOffsetCardSize)};
    return SearchFromHint(search, place, hint);
}

}  // namespace bxd

extern "C" {

u32 SearchNewCardID(u8 fid, u32* tablePos, u32* table, u16* cardId, u32* reuse)
{
    u8 header[kHeaderSize];
    u32 status = bxd::ReadExactly(fid, 0, header, sizeof header);
    return status == BXD_OK ? bxd::SearchNewId(fid, header, tablePos, table, cardId, reuse) : status;
}

u32 SearchAppendTable(u8 fid, u32 appendPos, u32* tablePos, i32 firstId, u16* cardId, u32* reuse, u32* buf)
{
    u16 storedMax = 0;
    u32 status = bxd::ReadHalf(fid, kHdMaxCardID, &storedMax);
    if (status != BXD_OK) { return status; }
    NewIdSearch search = {fid, 0, storedMax, tablePos, buf, cardId, reuse};
    return search.inTables(appendPos, static_cast<u32>(firstId));
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
