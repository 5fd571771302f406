// SPDX-License-Identifier: MIT
#include "box/bxd_garb_image.h"

#include <cstring>

#include "box/bxd_card_slots.h"
#include "box/bxd_chain_mend.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u32 kTablesMax = 510;  // append tables of a box
constexpr u32 kImageNodes = 2;   // the write and the cut
constexpr u32 kImageWrites = 2;  // tries, as the old bytes are gone from memory

class Image {
public:
    Image(u8 fid, const u8* header)
        : fid_(fid), size_(BxdFileSize(fid)), cardOffset_(GET_4BYTES(header + kHdCardOffset)),
          tablePos_(GET_4BYTES(header + kHdOffsetTable)), bytes_(size_)
    {}

    explicit operator bool() const { return static_cast<bool>(bytes_); }
    u32 deadBytes() const { return deadBytes_; }
    bool changed() const { return end_ + kEndMarkSize != oldEnd_; }
    // The chain may not be all of the box (bxd_chain_mend.h).
    bool isSuspect() const { return doubles_ || oldEnd_ != size_; }
    u32 chainEnd() const { return oldEnd_ - kEndMarkSize; }

    [[nodiscard]] u32 read();
    [[nodiscard]] u32 closeUp();
    [[nodiscard]] u32 fillTables();
    [[nodiscard]] u32 write(bool* written);

private:
    u8* at(u32 pos) const { return bytes_.data() + pos; }
    u8* slot(u32 word) const { return at(tablePos_ + word * 4); }

    // A card of the chain on its way to `end_`.
    struct Moved {
        u32 from;
        u32 total;
    };
    void keep(const Moved& card)
    {
        if (card.from != end_) { std::memmove(at(end_), at(card.from), card.total); }
        end_ += card.total;
    }
    [[nodiscard]] u32 take(u16 cardId, const Moved& card);
    [[nodiscard]] u32 takeTable(const Moved& card);
    void takeNamed(bxd::HeaderCard* choice, u32* newPos, u32 field, const Moved& card);
    void putNamed(const bxd::HeaderCard& choice, u32 newPos, u32 field) const;
    [[nodiscard]] u32 fillOffsetCard() const;

    u8 fid_;
    u32 size_;
    u32 cardOffset_;
    u32 tablePos_;
    bxd::HeapBlock bytes_;
    u32 end_ = 0;     // of what is kept so far
    u32 oldEnd_ = 0;  // behind the end mark as it was
    u32 linkPos_ = 0;
    u32 deadBytes_ = 0;
    bxd::IdSet ids_;
    bool doubles_ = false;
    u32 systemCards_ = 0;
    u32 tables_ = 0;
    u32 tableAt_[kTablesMax] = {};
    bxd::HeaderCard indexTable_;  // where they stood, and below where they stand
    bxd::HeaderCard offsetCard_;
    u32 indexTableAt_ = 0;
    u32 offsetCardAt_ = 0;
};

u32 Image::read() { return bxd::ReadExactly(fid_, 0, bytes_.data(), size_); }

// Leaves out what is dead, and gathers what the tables will need.
u32 Image::closeUp()
{
    PUT_4BYTES(at(kHdGarbageSize), 0);
    std::memset(at(tablePos_), 0xFF, kOffsetTableSize);
    linkPos_ = tablePos_ + kChainWord * 4;
    end_ = cardOffset_;
    for (uint64_t from = cardOffset_;;) {
        if (from + kEndMarkSize > size_) { return BXD_ERR_FAIL; }
        u32 pos = static_cast<u32>(from);
        u16 cardId = GET_2BYTES(at(pos));
        oldEnd_ = pos + kEndMarkSize;
        if (cardId == END_MARK_ID) { return BXD_OK; }
        if (from + kCardHead > size_) { return BXD_ERR_FAIL; }
        from += uint64_t{kCardHead} + GET_4BYTES(at(pos + kCardLengthAt));
        if (from > size_) { return BXD_ERR_FAIL; }
        u32 status = take(cardId, {pos, static_cast<u32>(from) - pos});
        if (status != BXD_OK) { return status; }
    }
}

u32 Image::take(u16 cardId, const Moved& card)
{
    switch (cardId) {
    case CARD_ID_DEAD: deadBytes_ += card.total; return BXD_OK;
    case TMP_SYSTEM_CARD_ID: return BXD_OK;
    case OFFSET_TABLE_ID: return takeTable(card);
    case INDEX_TABLE_ID: takeNamed(&indexTable_, &indexTableAt_, kHdIndexTable, card); break;
    case OFFSET_CARD_ID: takeNamed(&offsetCard_, &offsetCardAt_, kHdOffsetCard, card); break;
    case EXT_INFO_ID: PUT_4BYTES(slot(0), end_); break;
    default:
        if (cardId <= CARD_ID_NORMAL_MAX) {
            doubles_ = !ids_.insert(cardId) || doubles_;
            break;
        }
        if (systemCards_ == kSystemSlots) { return BXD_OK; }  // there is no slot for it
        PUT_4BYTES(slot(++systemCards_), end_);
    }
    keep(card);
    return BXD_OK;
}

// An append table stays, without its slots: the second pass fills them.
u32 Image::takeTable(const Moved& card)
{
    if (card.total != kAppendTotal || tables_ == kTablesMax) { return BXD_ERR_FAIL; }
    u32 pos = end_;
    keep(card);
    std::memset(at(pos + kAppendSlotsAt), 0xFF, kAppendBody);
    PUT_4BYTES(at(linkPos_), pos);
    linkPos_ = pos + kAppendChainAt;
    tableAt_[tables_++] = pos;
    return BXD_OK;
}

void Image::takeNamed(bxd::HeaderCard* choice, u32* newPos, u32 field, const Moved& card)
{
    if (choice->meet(GET_4BYTES(at(field)), card.from, card.total)) { *newPos = end_; }
}

// A field of the header follows its card, and so does the size behind it where the field led elsewhere.
void Image::putNamed(const bxd::HeaderCard& choice, u32 newPos, u32 field) const
{
    if (choice.pos == 0 || choice.pos == newPos) { return; }
    PUT_4BYTES(at(field), newPos);
    if (!choice.named) { PUT_4BYTES(at(field + 4), choice.total); }
}

u32 Image::fillTables()
{
    PUT_2BYTES(at(end_), END_MARK_ID);
    putNamed(indexTable_, indexTableAt_, kHdIndexTable);
    putNamed(offsetCard_, offsetCardAt_, kHdOffsetCard);
    for (u32 pos = cardOffset_; pos != end_; pos += kCardHead + GET_4BYTES(at(pos + kCardLengthAt))) {
        u16 cardId = GET_2BYTES(at(pos));
        if (cardId > CARD_ID_NORMAL_MAX) { continue; }
        if (cardId <= kDefaultIds) {
            PUT_4BYTES(slot(cardId + kFirstIdWord), pos);
            continue;
        }
        u32 table = bxd::AppendGroup(cardId);
        if (table >= tables_) { return BXD_ERR_FAIL; }
        PUT_4BYTES(at(bxd::SlotPosition(tableAt_[table], cardId)), pos);
    }
    return fillOffsetCard();
}

u32 Image::fillOffsetCard() const
{
    if (offsetCard_.pos == 0) { return BXD_OK; }
    u32 payload = offsetCard_.payload();
    if (tables_ > payload / 4) { return BXD_ERR_FAIL; }
    u8* words = at(offsetCardAt_ + kOffsetCardWordsAt);
    std::memset(words, 0xFF, payload);
    for (u32 k = 0; k < tables_; ++k) { PUT_4BYTES(words + 4 * k, tableAt_[k]); }
    return BXD_OK;
}

u32 Image::write(bool* written)
{
    u32 newSize = end_ + kEndMarkSize;
    u32 status = bxd::RequireSpace(1, kImageNodes, newSize);
    if (status != BXD_OK) { return status; }
    *written = true;
    for (u32 n = 0; n < kImageWrites; ++n) {
        status = bxd::WriteAll(fid_, 0, bytes_.data(), newSize);
        if (status == BXD_OK) { break; }
    }
    bytes_.reset(nullptr);
    return status == BXD_OK ? BxdFileCut(fid_, newSize) : status;
}

u32 Mend(u8 fid, const u8* header, u32 chainEnd)
{
    bool joined = false;
    u32 status = bxd::RejoinChain(fid, chainEnd, &joined);
    return status == BXD_OK ? bxd::SettleDoubles(fid, GET_4BYTES(header + kHdCardOffset)) : status;
}

// With `suspect`, a chain that may not be all of the box is mended and not collected, and *suspect stays
// true.
u32 Collect(u8 fid, u32* reclaimed, const u8* header, bool* written, bool* suspect)
{
    *written = false;
    if (!bxd::FrontFits(header, BxdFileSize(fid))) { return BXD_ERR_FAIL; }
    Image image(fid, header);
    if (!image) { return BXD_ERR_FAIL; }
    u32 status = image.read();
    if (status == BXD_OK) { status = image.closeUp(); }
    if (status != BXD_OK) { return status; }
    if (suspect != nullptr) {
        *suspect = image.isSuspect();
        if (*suspect) { return Mend(fid, header, image.chainEnd()); }
    }
    *reclaimed = image.deadBytes();
    if (!image.changed()) { return BXD_OK; }
    status = image.fillTables();
    return status == BXD_OK ? image.write(written) : status;
}

}  // namespace

namespace bxd {

bool FrontFits(const u8* header, u32 fileSize)
{
    u32 cardOffset = GET_4BYTES(header + kHdCardOffset);
    u32 tablePos = GET_4BYTES(header + kHdOffsetTable);
    u32 itemOffset = GET_4BYTES(header + kHdItemOffset);
    if (fileSize > kFilePositionMax || cardOffset > fileSize) { return false; }
    if (tablePos < kHeaderSize || uint64_t{tablePos} + kOffsetTableSize > cardOffset) { return false; }
    if (itemOffset == kUnset) { return true; }
    return itemOffset >= tablePos + kOffsetTableSize &&
           uint64_t{itemOffset} + GET_4BYTES(header + kHdItemSize) <= cardOffset;
}

u32 CollectInMemory(u8 fid, u32* reclaimed, const u8* header, bool* written)
{
    bool suspect = true;
    u32 status = Collect(fid, reclaimed, header, written, &suspect);
    // It is mended once; what is still suspect then has nothing that tells better.
    return status == BXD_OK && suspect ? Collect(fid, reclaimed, header, written, nullptr) : status;
}

}  // namespace bxd

extern "C" {

u32 FastestGarbageCollect(u8 fid, u32* reclaimed, const u8* header)
{
    bool written = false;
    return bxd::CollectInMemory(fid, reclaimed, header, &written);
}
}
