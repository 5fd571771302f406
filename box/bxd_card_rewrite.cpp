// SPDX-License-Identifier: MIT
#include "box/bxd_card_rewrite.h"

#include <algorithm>
#include <cstring>

#include "storage/bxd_data.h"

namespace {

constexpr u32 kFilePiece = 1024;  // a source file is read in pieces of this size

// The part of the new value that does not come from the old one: bytes in memory, or the start of a file.
struct NewValue {
    const u8* data;  // null for a source file
    u8 srcFid;
    u32 count;
};

// A card on its way from its old form to its new one. Positions are those of the old card in the file.
struct CardChange {
    u8 fid;
    u32 pos;
    CardItemPlace place;
    NewValue value;
    u32 kept;  // bytes of the old value that stay in front

    u8 head[kItemCardHead];  // as it will be
    u32 oldPayload;
    u32 newPayload;
    u32 newLength;
    u32 fieldSize;

    u32 oldEnd() const { return pos + kCardHead + oldPayload; }
    u32 newTotal() const { return kCardHead + newPayload; }
    u32 keptEnd() const { return place.dataOffset + kept; }
    u32 tailStart() const { return place.dataOffset + place.dataLength; }
    u32 tailSize() const { return oldEnd() - tailStart(); }
};

// Reads the head and works the new sizes out; 71 for a card that does not hold the item.
u32 PlanChange(CardChange* change)
{
    u32 status = bxd::ReadExactly(change->fid, change->pos, change->head, kItemCardHead);
    if (status != BXD_OK) { return status; }
    const CardItemPlace& place = change->place;
    change->newLength = change->kept + change->value.count;
    change->fieldSize = bxd::LengthFieldSize(change->newLength);
    if (change->fieldSize == kNoLengthForm) { return BXD_ERR_RANGE; }

    u32 tableSize = GET_2BYTES(change->head + kLengthTableSizeAt);
    change->oldPayload = GET_4BYTES(change->head + kCardLengthAt);
    uint64_t oldEnd = static_cast<uint64_t>(change->pos) + kCardHead + change->oldPayload;
    if (!bxd::FileHolds(change->fid, oldEnd + kEndMarkSize)) { return BXD_ERR_FAIL; }
    if (change->tailStart() > change->oldEnd() || change->kept > place.dataLength) { return BXD_ERR_FAIL; }
    tableSize += change->fieldSize - place.lengthSize;
    if (tableSize > 0xFFFF) { return BXD_ERR_RANGE; }
    change->newPayload =
        change->oldPayload + change->fieldSize - place.lengthSize + change->newLength - place.dataLength;
    PUT_4BYTES(change->head + kCardLengthAt, change->newPayload);
    PUT_2BYTES(change->head + kLengthTableSizeAt, static_cast<u16>(tableSize));
    return BXD_OK;
}

// The block of a flash buffer, and the buffer over it. Data begin at `skip` in the block, so that full
// flushes of a card at the end of the file fall on pages of the flash.
class CardStream {
public:
    CardStream(u8 fid, u32 filePos, u32 skip) : block_(kFlashBlock)
    {
        u8* start = block_ ? block_.data() + skip : nullptr;
        buffer_ = {block_.data(), start, filePos, kFlashBlock - skip, kFlashBlock, skip, fid};
    }
    explicit operator bool() const { return static_cast<bool>(block_); }

    u32 put(const void* src, u32 n) { return BxdFileFlashBufferOut(&buffer_, src, n); }
    u32 copy(u32 from, u32 to) { return from < to ? CopyCardPartial(&buffer_, from, to - from) : 0; }
    u32 flush() { return BxdFlashAll(&buffer_); }

    u32 put(const NewValue& value)
    {
        if (value.data != nullptr) { return put(value.data, value.count); }
        u8 piece[kFilePiece];
        for (u32 done = 0; done < value.count;) {
            u32 n = std::min(value.count - done, kFilePiece);
            u32 status = bxd::ReadExactly(value.srcFid, done, piece, n);
            if (status == BXD_OK) { status = put(piece, n); }
            if (status != BXD_OK) { return status; }
            done += n;
        }
        return BXD_OK;
    }

    // Everything of the new card behind its head, up to the items behind the changed one.
    u32 putFront(const CardChange& change)
    {
        u8 field[kLengthFieldMax];
        u32 fieldSize = static_cast<u32>(CardLengthWrite(field, change.newLength) - field);
        u32 status = copy(change.pos + kItemCardHead, change.place.lengthOffset);
        if (status == BXD_OK) { status = put(field, fieldSize); }
        if (status == BXD_OK) {
            status = copy(change.place.lengthOffset + change.place.lengthSize, change.keptEnd());
        }
        return status == BXD_OK ? put(change.value) : status;
    }

private:
    bxd::HeapBlock block_;
    BxdFlashBuffer buffer_;
};

// --- behind the last card ------------------------------------------------------------------------------

u32 RenewCard(CardChange* change, u32* pos)
{
    u32 status = PlanChange(change);
    if (status != BXD_OK) { return status; }
    u32 destination = BxdFileSize(change->fid) - kEndMarkSize;
    CardStream stream(change->fid, destination, destination % kFlashPage);
    if (!stream) { return BXD_ERR_FAIL; }

    status = PreWriteEndMark(change->fid, destination + change->newTotal());
    if (status == BXD_OK) { status = stream.put(change->head, kItemCardHead); }
    if (status == BXD_OK) { status = stream.putFront(*change); }
    if (status == BXD_OK) { status = stream.copy(change->tailStart(), change->oldEnd()); }
    if (status == BXD_OK) { status = stream.flush(); }
    if (status == BXD_OK) { *pos = destination; }
    return bxd::SettleEnd(change->fid, status, destination, destination + kEndMarkSize);
}

// Moves a piece of the old card to *at in the new one, which lies apart from it.
u32 MovePiece(u8 fid, u32 from, u32 to, u32* at)
{
    if (from >= to) { return BXD_OK; }
    u32 status = FlashTransferF(fid, from, *at, to - from, nullptr, 0);
    *at += to - from;
    return status;
}

// --- where it stands -----------------------------------------------------------------------------------

// A block that pieces of the old card are read into, one behind the other.
class CardBlock {
public:
    CardBlock() : block_(kFlashBlock + kEndMarkSize) {}
    explicit operator bool() const { return static_cast<bool>(block_); }
    const u8* data() const { return block_.data(); }

    u8* next(u32 n)
    {
        u8* place = block_.data() + used_;
        used_ += n;
        return place;
    }
    u32 read(u8 fid, u32 from, u32 to)
    {
        if (from >= to) { return BXD_OK; }
        if (to - from > kFlashBlock - used_) { return BXD_ERR_FAIL; }
        return bxd::ReadExactly(fid, from, next(to - from), to - from);
    }

private:
    bxd::HeapBlock block_;
    u32 used_ = 0;
};

// The new card whole, head to end mark, in one block. The card as a whole fits it.
u32 AssembleCard(const CardChange& change, CardBlock* block)
{
    u8 fid = change.fid;
    std::memcpy(block->next(kItemCardHead), change.head, kItemCardHead);
    u32 status = block->read(fid, change.pos + kItemCardHead, change.place.lengthOffset);
    if (status != BXD_OK) { return status; }
    (void)CardLengthWrite(block->next(change.fieldSize), change.newLength);
    status = block->read(fid, change.place.lengthOffset + change.place.lengthSize, change.keptEnd());
    if (status != BXD_OK) { return status; }

    const NewValue& value = change.value;
    if (value.data == nullptr) {
        status = block->read(value.srcFid, 0, value.count);
    } else if (value.count != 0) {
        std::memcpy(block->next(value.count), value.data, value.count);
    }
    if (status == BXD_OK) { status = block->read(fid, change.tailStart(), change.oldEnd()); }
    if (status == BXD_OK) { PUT_2BYTES(block->next(kEndMarkSize), END_MARK_ID); }
    return status;
}

u32 CutBehindCard(const CardChange& change)
{
    return BxdFileCut(change.fid, change.pos + change.newTotal() + kEndMarkSize);
}

// A card that fits the block goes out with its end mark in one write: old or new, never something between.
u32 ModifyWhole(const CardChange& change)
{
    CardBlock block;
    if (!block) { return BXD_ERR_FAIL; }
    u32 status = AssembleCard(change, &block);
    if (status != BXD_OK) { return status; }
    bool grows = change.newPayload > change.oldPayload;
    if (grows) { status = PreWriteEndMark(change.fid, change.pos + change.newTotal()); }
    if (status == BXD_OK) {
        status = bxd::WriteAll(change.fid, change.pos, block.data(), change.newTotal() + kEndMarkSize);
    }
    if (grows) {
        return bxd::SettleGrowth(change.fid, status, change.pos, change.oldPayload, change.oldEnd());
    }
    return status == BXD_OK ? CutBehindCard(change) : status;
}

// Only the field and the value of a card whose tail stands in its new place already.
u32 PatchItem(const CardChange& change)
{
    u8 field[kLengthFieldMax];
    u32 fieldSize = static_cast<u32>(CardLengthWrite(field, change.newLength) - field);
    u32 status = bxd::WriteAll(change.fid, change.place.lengthOffset, field, fieldSize);
    if (status != BXD_OK) { return status; }
    return bxd::WriteAll(change.fid, change.keptEnd(), change.value.data, change.value.count);
}

// A large card that grows: the head reaches the new end mark first, then the items behind move up, then
// the front is written. The buffer never overtakes what it has still to read.
u32 GrowLarge(const CardChange& change)
{
    CardStream stream(change.fid, change.pos, 0);
    if (!stream) { return BXD_ERR_FAIL; }
    u32 status = PreWriteEndMark(change.fid, change.pos + change.newTotal());
    if (status == BXD_OK) {
        status = bxd::WriteWord(change.fid, change.pos + kCardLengthAt, change.newPayload);
    }
    if (status == BXD_OK && change.tailSize() != 0) {
        u32 tailPos = change.tailStart() + change.newPayload - change.oldPayload;
        status = FlashTransferF(change.fid, change.tailStart(), tailPos, change.tailSize(), nullptr, 0);
    }
    if (status != BXD_OK) { return status; }

    bool fieldStays = change.fieldSize == change.place.lengthSize && change.newLength != 0;
    if (fieldStays && change.value.data != nullptr) { return PatchItem(change); }
    status = stream.put(change.head, kItemCardHead);
    if (status == BXD_OK) { status = stream.putFront(change); }
    return status == BXD_OK ? stream.flush() : status;
}

// A large card that gets shorter: the body moves down under the old head, which still reaches the old end
// mark; then the new mark inside the old body, then the head, then the cut.
u32 ShrinkLarge(const CardChange& change)
{
    CardStream stream(change.fid, change.pos + kItemCardHead, 0);
    if (!stream) { return BXD_ERR_FAIL; }
    u32 status = stream.putFront(change);
    if (status == BXD_OK) { status = stream.copy(change.tailStart(), change.oldEnd()); }
    if (status == BXD_OK) { status = stream.flush(); }
    if (status == BXD_OK) {
        status = bxd::WriteHalf(change.fid, change.pos + change.newTotal(), END_MARK_ID);
    }
    if (status == BXD_OK) { status = bxd::WriteAll(change.fid, change.pos, change.head, kItemCardHead); }
    return status == BXD_OK ? CutBehindCard(change) : status;
}

u32 ModifyInPlace(CardChange* change)
{
    u32 status = PlanChange(change);
    if (status != BXD_OK) { return status; }
    if (change->newTotal() <= kFlashBlock) { return ModifyWhole(*change); }
    return change->newPayload > change->oldPayload ? GrowLarge(*change) : ShrinkLarge(*change);
}

CardChange ChangeOf(u8 fid, u32 pos, const CardItemPlace* place, const NewValue& value, u32 kept)
{
    return {fid, pos, *place, value, kept, {}, 0, 0, 0, 0};
}

}  // namespace

extern "C" {

u32 RenewCardItem(u8 fid, u32* pos, const CardItemPlace* place, const u8* data, u32 newLength, u32 offset)
{
    CardChange change = ChangeOf(fid, *pos, place, {data, kNoFile, newLength - offset}, offset);
    return RenewCard(&change, pos);
}

u32 FlashCardModifyFF(u8 fid, u8 srcFid, u32* pos, const CardItemPlace* place, u32 newLength)
{
    CardChange change = ChangeOf(fid, *pos, place, {nullptr, srcFid, newLength}, 0);
    u32 status = PlanChange(&change);
    if (status != BXD_OK) { return status; }
    u32 destination = BxdFileSize(fid) - kEndMarkSize;
    status = PreWriteEndMark(fid, destination + change.newTotal());
    if (status == BXD_OK) { status = bxd::WriteAll(fid, destination, change.head, kItemCardHead); }

    u8 field[kLengthFieldMax];
    u32 fieldSize = static_cast<u32>(CardLengthWrite(field, newLength) - field);
    u32 at = destination + kItemCardHead;
    if (status == BXD_OK) { status = MovePiece(fid, *pos + kItemCardHead, place->lengthOffset, &at); }
    if (status == BXD_OK) { status = bxd::WriteAll(fid, at, field, fieldSize); }
    at += fieldSize;
    if (status == BXD_OK) {
        status = MovePiece(fid, place->lengthOffset + place->lengthSize, place->dataOffset, &at);
    }
    if (status == BXD_OK) { status = DataReadAndWriteFile(srcFid, fid, newLength, at); }
    at += newLength;
    if (status == BXD_OK) { status = MovePiece(fid, change.tailStart(), change.oldEnd(), &at); }
    if (status == BXD_OK) { *pos = destination; }
    return bxd::SettleEnd(fid, status, destination, destination + kEndMarkSize);
}

u32 ModifyCardItem(u8 fid, u32 pos, const CardItemPlace* place, const u8* data, u32 newLength, u32 offset)
{
    CardChange change = ChangeOf(fid, pos, place, {data, kNoFile, newLength - offset}, offset);
    return ModifyInPlace(&change);
}

u32 ModifyCardItemFromFile(u8 fid, u8 srcFid, u32 pos, const CardItemPlace* place, u32 newLength)
{
    if (newLength == place->dataLength) {
        return DataReadAndWriteFile(srcFid, fid, newLength, place->dataOffset);
    }
    CardChange change = ChangeOf(fid, pos, place, {nullptr, srcFid, newLength}, 0);
    return ModifyInPlace(&change);
}

u32 InsertLastCardItem(u8 fid, u32 pos, const CardItemPlace* place, const void* data, u32 extra)
{
    CardChange change =
        ChangeOf(fid, pos, place, {static_cast<const u8*>(data), kNoFile, extra}, place->dataLength);
    return ModifyInPlace(&change);
}
}
