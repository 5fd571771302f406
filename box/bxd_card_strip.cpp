// SPDX-License-Identifier: MIT
#include "box/bxd_card_strip.h"

#include <cstring>

#include "box/bxd_card_read.h"
#include "box/bxd_garb.h"
#include "storage/bxd_data.h"

namespace {

constexpr u32 kHeadWindow = 256;     // bytes of a card that its table must lie in
constexpr u32 kLargeItemMin = 3072;  // items from here on are given back

// The head and the length table of a card in memory, and the card's bytes in the file, as the items go.
// Offsets are counted from the start of the card.
class CardStrip {
public:
    CardStrip(u8 fid, u32 pos) : fid_(fid), pos_(pos) {}

    // False for a card whose table leaves the window, the card or the file: nothing is to be done with it.
    bool load()
    {
        u32 held = sizeof head_;
        if (DataReadFromFile(fid_, static_cast<i32>(pos_), head_, &held) != BXD_OK) { return false; }
        if (held < kItemCardHead) { return false; }
        tableEnd_ = kItemCardHead + GET_2BYTES(head_ + kLengthTableSizeAt);
        uint64_t total = static_cast<uint64_t>(GET_4BYTES(head_ + kCardLengthAt)) + kCardHead;
        if (tableEnd_ > held || tableEnd_ > total || !bxd::FileHolds(fid_, pos_ + total)) { return false; }
        end_ = static_cast<u32>(total);
        return fieldsFit();
    }

    u32 dropLargeItems()
    {
        u32 at = kItemCardHead;
        u32 data = tableEnd_;
        while (at < tableEnd_) {
            u32 length = 0;
            u32 fieldSize = field(at, &length);
            if (length < kLargeItemMin) {
                at += fieldSize;
                data += length;
                continue;
            }
            u32 status = dropItem(at, fieldSize, length, &data);
            if (status != BXD_OK) { return status; }
            ++at;
        }
        return BXD_OK;
    }

    // The dead card in the gap comes first: until the head is written the old length leads over it.
    u32 finish()
    {
        if (removed_ == 0) { return BXD_OK; }
        u8 dead[kCardHead];
        PUT_2BYTES(dead, CARD_ID_DEAD);
        PUT_4BYTES(dead + kCardLengthAt, removed_ - kCardHead);
        u32 status = bxd::WriteAll(fid_, pos_ + end_, dead, sizeof dead);
        if (status != BXD_OK) { return status; }

        PUT_4BYTES(head_ + kCardLengthAt, end_ - kCardHead);
        PUT_2BYTES(head_ + kLengthTableSizeAt, static_cast<u16>(tableEnd_ - kItemCardHead));
        status = bxd::WriteAll(fid_, pos_, head_, tableEnd_);
        return status == BXD_OK ? bxd::CountGarbage(fid_, static_cast<i32>(removed_)) : status;
    }

private:
    // The size of the field at `at`, and the length in it.
    u32 field(u32 at, u32* length) const
    {
        const u8* cursor = head_ + at;
        *length = GetCardItemLength(&cursor);
        return static_cast<u32>(cursor - (head_ + at));
    }

    bool fieldsFit() const
    {
        uint64_t data = tableEnd_;
        for (u32 at = kItemCardHead; at < tableEnd_;) {
            if (at + bxd::LengthFieldSizeAt(head_[at]) > tableEnd_) { return false; }
            u32 length = 0;
            at += field(at, &length);
            data += length;
        }
        return data <= end_;
    }

    // The field becomes one byte of 0, and everything behind it and behind the item closes up.
    u32 dropItem(u32 at, u32 fieldSize, u32 length, u32* data)
    {
        u32 behind = *data + length;
        u32 saved = fieldSize - 1;
        head_[at] = 0;
        if (saved != 0) {
            std::memmove(head_ + at + 1, head_ + at + fieldSize, tableEnd_ - at - fieldSize);
            u32 status = moveDown(tableEnd_, tableEnd_ - saved, *data - tableEnd_);
            if (status != BXD_OK) { return status; }
            tableEnd_ -= saved;
            *data -= saved;
        }
        u32 status = moveDown(behind, *data, end_ - behind);
        end_ -= length + saved;
        removed_ += length + saved;
        return status;
    }

    u32 moveDown(u32 from, u32 to, u32 count) const
    {
        return FlashTransferF(fid_, pos_ + from, pos_ + to, count, nullptr, 0);
    }

    u8 fid_;
    u32 pos_;
    u32 tableEnd_ = 0;
    u32 end_ = 0;      // of what the card has still to keep
    u32 removed_ = 0;  // bytes that it gave up
    u8 head_[kHeadWindow] = {};
};

}  // namespace

namespace bxd {

u32 ReadStoredAttr(u8 fid, u32 pos, u8 itemNumber, CardItemPlace* place, u8* attr)
{
    if (ReadItemData(fid, place, itemNumber, pos, sizeof *attr, attr) == 0) { return BXD_ERR_FAIL; }
    return place->dataLength != 0 ? BXD_OK : BXD_ERR_FAIL;
}

u32 MakeTombstone(u8 fid, u32 pos, const CardItemPlace& place, u8 attr)
{
    u8 dead = static_cast<u8>(attr & ~kAttrLiveBit);
    u32 status = WriteAll(fid, place.dataOffset, &dead, sizeof dead);
    return status == BXD_OK ? StripCard(fid, pos) : status;
}

u32 StripCard(u8 fid, u32 pos)
{
    CardStrip strip(fid, pos);
    if (!strip.load()) { return BXD_OK; }
    u32 status = strip.dropLargeItems();
    return status == BXD_OK ? strip.finish() : status;
}

}  // namespace bxd
