// SPDX-License-Identifier: MIT
#include "box/bxd_garb_collect.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_slots.h"
#include "box/bxd_card_tables.h"
#include "box/bxd_chain_mend.h"
#include "box/bxd_garb.h"
#include "box/bxd_garb_abort.h"
#include "box/bxd_garb_image.h"
#include "box/bxd_garb_measure.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u32 kCollectNodes = 60;  // node operations that a step counts for
constexpr u32 kCardSpare = 4;      // bytes that a card's move counts for beside its own
constexpr u32 kPageMask = kFlashPage - 1;
constexpr u32 kAppendSlotsWord = 512;                  // of the new table: the slots of id 501 and above
constexpr u32 kBufferBytes = kFlashBlock + kCardHead;  // of the estimate: the buffer and a card's head
constexpr u32 kFrontBytes = kOffsetTableSize - 4;

// The new tables in one array of words, as they stand in the file: the default table, then the slots of the
// append tables one behind another. Words below 512 are free for the append tables' positions when the
// default table has been written.
class NewTable {
public:
    explicit NewTable(u16 maxId)
        : tables_(maxId <= kDefaultIds ? 0 : bxd::AppendGroup(maxId) + 1), bytes_(SizeFor(maxId))
    {
        if (bytes_) { std::memset(bytes_.data(), 0xFF, SizeFor(maxId)); }
    }

    explicit operator bool() const { return static_cast<bool>(bytes_); }
    u32 tables() const { return tables_; }
    u8* word(u32 n) const { return bytes_.data() + n * size_t{4}; }
    void set(u32 n, u32 value) { PUT_4BYTES(word(n), value); }
    void setCard(u32 cardId, u32 pos)
    {
        set(cardId <= kDefaultIds ? cardId + kFirstIdWord : cardId - kDefaultIds - 1 + kAppendSlotsWord, pos);
    }
    void clear() { bytes_.reset(nullptr); }

private:
    static u32 SizeFor(u32 maxId)
    {
        if (maxId <= kDefaultIds) { return kOffsetTableSize; }
        return kOffsetTableSize + (((maxId - kDefaultIds) >> 7) + 1) * kAppendIds * 4;
    }

    u32 tables_;
    bxd::HeapBlock bytes_;
};

class Collection {
public:
    Collection(u8 fid, const u8* header, bxd::CardList* cards, u16 maxId)
        : fid_(fid), header_(header), tablePos_(GET_4BYTES(header + kHdOffsetTable)),
          dst_(GET_4BYTES(header + kHdCardOffset)), cards_(cards), table_(maxId), block_(kFlashBlock)
    {}

    [[nodiscard]] u32 run();

private:
    [[nodiscard]] u32 survey();
    [[nodiscard]] u32 askForRoom();
    [[nodiscard]] u32 move(const CardRecord& card);
    [[nodiscard]] u32 copy(const CardRecord& card);
    [[nodiscard]] u32 nameTable(const bxd::HeaderCard& choice, u32 field) const;
    [[nodiscard]] u32 writeTables();
    [[nodiscard]] u32 fillOffsetCard();
    [[nodiscard]] u32 eraseOffsetCard() const;
    [[nodiscard]] u32 finish();
    [[nodiscard]] u32 abort(const CardRecord& card);
    [[nodiscard]] u32 fillGap(u32 gap);

    u8 fid_;
    const u8* header_;
    u32 tablePos_;
    u32 dst_;  // where the next card goes
    bxd::CardList* cards_;
    NewTable table_;
    bxd::HeapBlock block_;
    BxdFlashBuffer buffer_ = {};
    u32 roomBefore_ = 0;
    u32 roomBehind_ = 0;
    u32 systemCards_ = 0;
    u32 droppedTables_ = 0;
    bool stopped_ = false;
    bxd::HeaderCard indexTable_;
    bxd::HeaderCard offsetCard_;
    u32 offsetWordsAt_ = 0;  // payload of the moved offset card, 0 for none
};

u32 Collection::run()
{
    if (!*cards_ || !table_ || !block_) { return BXD_ERR_FAIL; }
    u32 status = survey();
    if (status == BXD_OK) { status = askForRoom(); }
    if (status != BXD_OK) { return status; }

    u32 skip = dst_ & kPageMask;
    buffer_ = {block_.data(), block_.data() + skip, dst_, kFlashBlock - skip, kFlashBlock, skip, fid_};
    CardRecord last = {};
    status = cards_->forEach([&](const CardRecord& card) {
        last = card;
        return move(card);
    });
    if (stopped_) { return abort(last); }
    if (status == BXD_OK) { status = writeTables(); }
    if (status == BXD_OK) { status = fillOffsetCard(); }
    return status == BXD_OK ? finish() : status;
}

// What must hold before the first card moves: tables of the one size there is, and an offset card with room
// for the new ones.
u32 Collection::survey()
{
    u32 status = cards_->forEach([this](const CardRecord& card) {
        u32 at = card.position;
        if (card.cardId == INDEX_TABLE_ID) {
            indexTable_.meet(GET_4BYTES(header_ + kHdIndexTable), at, card.total);
        }
        if (card.cardId == OFFSET_CARD_ID) {
            offsetCard_.meet(GET_4BYTES(header_ + kHdOffsetCard), at, card.total);
        }
        bool isTable = card.cardId == OFFSET_TABLE_ID;
        return static_cast<u32>(isTable && card.total != kAppendTotal ? BXD_ERR_FAIL : BXD_OK);
    });
    if (status != BXD_OK || offsetCard_.pos == 0) { return status; }
    return table_.tables() <= offsetCard_.payload() / 4 ? BXD_OK : BXD_ERR_FAIL;
}

// The estimate of what the work on the tables before and behind the cards costs.
u32 Collection::askForRoom()
{
    uint64_t t = table_.tables();
    uint64_t node = BxdFileGetFsOneTimeNeed();
    u32 size = GET_4BYTES(header_ + kHdOffsetCardSize);
    uint64_t q =
        bxd::IsPosition(size) && size > kCardHead ? std::min(size, BxdFileSize(fid_)) - kCardHead : 0;
    uint64_t before = kAppendTotal * t + kBufferBytes + (t + 1) * node + kFrontBytes + kAppendIds * 4 * t + q;
    uint64_t behind = kAppendTotal * t + kOffsetTableSize + node + q + node * (q / 4) + 4 * node;
    roomBefore_ = static_cast<u32>(std::min<uint64_t>(before, kFilePositionMax));
    roomBehind_ = static_cast<u32>(std::min<uint64_t>(behind, kFilePositionMax));
    return bxd::RequireSpace(0, kCollectNodes, roomBefore_ + roomBehind_);
}

// One card of the list: it is moved, or it goes.
u32 Collection::move(const CardRecord& card)
{
    u32 room = roomBefore_ + roomBehind_ + card.total + kCardSpare;
    if (BxdFileCheckFsSpace(0, kCollectNodes, room) == 0) {
        stopped_ = true;
        return BXD_ERR_NOSPACE;
    }
    u32 status = BXD_OK;
    switch (card.cardId) {
    case TMP_SYSTEM_CARD_ID: return BXD_OK;
    case OFFSET_TABLE_ID: ++droppedTables_; return BXD_OK;
    case INDEX_TABLE_ID:
        if (card.position == indexTable_.pos) { status = nameTable(indexTable_, kHdIndexTable); }
        break;
    case OFFSET_CARD_ID:
        if (card.position != offsetCard_.pos) { break; }
        offsetWordsAt_ = dst_ + kOffsetCardWordsAt;
        status = nameTable(offsetCard_, kHdOffsetCard);
        break;
    case EXT_INFO_ID: table_.set(0, dst_); break;
    default:
        if (card.cardId <= CARD_ID_NORMAL_MAX) {
            table_.setCard(card.cardId, dst_);
        } else if (++systemCards_ <= kSystemSlots) {
            table_.set(systemCards_, dst_);
        } else {
            return BXD_OK;  // there is no slot for it
        }
    }
    return status == BXD_OK ? copy(card) : status;
}

u32 Collection::copy(const CardRecord& card)
{
    u32 status = BXD_OK;
    if (card.position == dst_) {
        buffer_.filePos += card.total;
    } else {
        status = CopyCardPartial(&buffer_, card.position, card.total);
    }
    dst_ += card.total;
    return status;
}

// A field of the header follows its card, and so does the size behind it where the field led elsewhere.
u32 Collection::nameTable(const bxd::HeaderCard& choice, u32 field) const
{
    u32 status = bxd::WriteWord(fid_, field, dst_);
    return status == BXD_OK && !choice.named ? bxd::WriteWord(fid_, field + 4, choice.total) : status;
}

// The default table, and behind the last card the append tables and the end mark.
u32 Collection::writeTables()
{
    u32 tables = table_.tables();
    if (tables > 0) { table_.set(kChainWord, dst_); }
    u32 status = bxd::WriteAll(fid_, tablePos_, table_.word(0), kOffsetTableSize);
    for (u32 k = 0; k < tables && status == BXD_OK; ++k) {
        table_.set(k, dst_);
        u8 card[kAppendTotal];
        std::memcpy(card, offset_table_header, sizeof offset_table_header);
        std::memcpy(card + kAppendSlotsAt, table_.word(kAppendSlotsWord + k * kAppendIds), kAppendIds * 4);
        dst_ += kAppendTotal;
        PUT_4BYTES(card + kAppendChainAt, k + 1 < tables ? dst_ : kUnset);
        status = BxdFileFlashBufferOut(&buffer_, card, sizeof card);
    }
    if (status != BXD_OK) { return status; }
    u8 mark[kEndMarkSize];
    PUT_2BYTES(mark, END_MARK_ID);
    status = BxdFileFlashBufferOut(&buffer_, mark, sizeof mark);
    return status == BXD_OK ? BxdFlashAll(&buffer_) : status;
}

// The positions of the append tables, and all ones behind them to the end of the offset card.
u32 Collection::fillOffsetCard()
{
    u32 tables = table_.tables();
    if (tables == 0) {
        u32 status = Reset1stOffsetChain(fid_);
        return status == BXD_OK && offsetWordsAt_ != 0 ? eraseOffsetCard() : status;
    }
    if (offsetWordsAt_ == 0) { return BXD_OK; }
    std::memset(block_.data(), 0xFF, kFlashBlock);
    std::memcpy(block_.data(), table_.word(0), tables * size_t{4});
    for (u32 done = 0; done < offsetCard_.payload();) {
        u32 piece = std::min(offsetCard_.payload() - done, kFlashBlock);
        u32 status = bxd::WriteAll(fid_, offsetWordsAt_ + done, block_.data(), piece);
        if (status != BXD_OK) { return status; }
        std::memset(block_.data(), 0xFF, tables * size_t{4});
        done += piece;
    }
    return BXD_OK;
}

// The offset card of a box without append tables stays, empty.
u32 Collection::eraseOffsetCard() const
{
    u32 length = 0;
    u32 status = bxd::ReadWord(fid_, offsetWordsAt_ - kCardHead + kCardLengthAt, &length);
    if (status == BXD_OK && length != offsetCard_.payload()) { status = BXD_ERR_FAIL; }
    for (u32 done = 0; status == BXD_OK && done + 4 <= length; done += 4) {
        status = bxd::WriteWord(fid_, offsetWordsAt_ + done, kUnset);
    }
    return status;
}

u32 Collection::finish()
{
    u32 status = WriteBoxGarbageSize(fid_, 0);
    if (status == BXD_OK) { status = BxdFileCut(fid_, buffer_.filePos); }
    if (status != BXD_OK || systemCards_ == 0) { return status; }
    u8 flags = static_cast<u8>(header_[kHdGarbageFlags] | kGarbageBit);
    return bxd::WriteAll(fid_, kHdGarbageFlags, &flags, sizeof flags);
}

// There is no room for `card`, which with all behind it stands where it stood.
u32 Collection::abort(const CardRecord& card)
{
    // Asked and not heeded: with or without room the box is put in order.
    (void)BxdFileCheckFsSpace(1, kUsualNodes, roomBefore_);
    u32 p = card.position;
    cards_->clear();
    table_.clear();
    if (p == dst_) { return BXD_ERR_NOSPACE; }
    u32 status = BxdFlashAll(&buffer_);
    if (status == BXD_OK) { status = fillGap(p - buffer_.filePos); }
    block_.reset(nullptr);  // the tables need memory
    if (status == BXD_OK) { status = SetTableAndMakeChain(fid_); }
    return status == BXD_OK ? static_cast<u32>(BXD_ERR_NOSPACE) : status;
}

u32 Collection::fillGap(u32 gap)
{
    if (droppedTables_ == 0) { return bxd::CloseGap(fid_, buffer_.filePos, gap); }
    u32 tableBytes = droppedTables_ * kAppendTotal;
    // One dead card of any size closes a gap: what is beyond the largest that is filled with the tables.
    bool large = gap > tableBytes && gap - tableBytes - kCardHead > kGapCardMax;
    u32 status = GarbageCollectAbort(&buffer_, large ? tableBytes : gap, droppedTables_);
    if (status == BXD_OK && large) { status = bxd::CloseGap(fid_, buffer_.filePos, gap - tableBytes); }
    return status == BXD_OK ? SetOffsetTableChain(fid_) : status;
}

// The second way. *reclaimed receives what was dead and what the measure has cut off.
u32 CollectInFile(u8 fid, u32* reclaimed, const u8* header)
{
    u32 tail = 0;
    u16 maxId = 0;
    bxd::CardList cards;
    u32 cardOffset = GET_4BYTES(header + kHdCardOffset);
    u32 status = bxd::SettleDoubles(fid, cardOffset);
    if (status == BXD_OK) {
        status = FastGetGarbageSize(fid, reclaimed, &tail, cardOffset, &maxId, cards.out());
    }
    if (status != BXD_OK) { return status; }
    bool nothingLeft = *reclaimed == 0;
    *reclaimed += tail;
    if (nothingLeft) { return BXD_OK; }
    return Collection(fid, header, &cards, maxId).run();
}

}  // namespace

extern "C" {

u32 BoxGarbageCollectSub(const char* name, u32* reclaimed)
{
    u8 fid = kNoFile;
    u8 header[kHeaderSize];
    *reclaimed = 0;
    u32 status = CheckFileBoxEx(name, &fid, header);
    if (status != BXD_OK) { return status; }
    bxd::OpenFile file(fid);
    if (GET_4BYTES(header + kHdCardOffset) == kUnset) { return BXD_OK; }
    if (!bxd::FrontFits(header, BxdFileSize(fid))) { return BXD_ERR_FAIL; }

    status = bxd::TakeBackOffsetCard(fid, header);
    if (status != BXD_OK) { return status; }
    bool written = false;
    status = bxd::CollectInMemory(fid, reclaimed, header, &written);
    if (status == BXD_OK || status == BXD_ERR_HOST || written) { return status; }
    return CollectInFile(fid, reclaimed, header);
}

u32 _BoxGarbageCollect(const char* name)
{
    u32 reclaimed = 0;
    u32 status = BoxGarbageCollectSub(name, &reclaimed);
    if (status == BXD_OK) { SubGarbageSize(name, reclaimed); }
    return status;
}

u32 _GarbageCollectAll(i8 drive)
{
    u32* counter = drive != 0 ? &card_garbage_size_buf : &garbage_size_buf;
    if (*counter == 0) { return BXD_OK; }
    const char* pattern = drive != 0 ? "F1:????????.BOX" : "F0:????????.BOX";
    u32 status = BxdFileSearch(pattern, 0, 0);
    u32 reclaimed = 0;
    if (status == BXD_OK) { status = BoxGarbageCollectSub(pattern, &reclaimed); }
    // One file at most bears the pattern as its name, so that the search ends behind it.
    if (status != BXD_OK && status != BXD_ERR_NOFILE) { return status; }
    *counter = 0;
    return BXD_OK;
}
}
