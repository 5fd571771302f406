// SPDX-License-Identifier: MIT
#include "box/bxd_card_image.h"

#include "box/bxd_card_read.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_garb.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u32 kImageReserve = 4096;
constexpr u32 kImageLengthMax = 0x3FFFFFFF;

// The ids that have no image because the box itself keeps them.
bool IsReserved(u16 cardId)
{
    return cardId == TMP_SYSTEM_CARD_ID || (cardId >= OFFSET_TABLE_ID && cardId <= OFFSET_CARD_ID);
}

bool CanBeWritten(u16 cardId)
{
    return cardId > TMP_SYSTEM_CARD_ID && cardId <= EXT_INFO_ID && !IsReserved(cardId);
}

u32 PublishImage(u8 fid, u16 cardId, u32 pos, u32 oldPos)
{
    u32 table[kSystemSlots + 1] = {};
    u32 tablePos = 0;
    u32 status = ReadOffsetTable(fid, &tablePos, kSystemSlotBytes, table);
    if (status != BXD_OK) { return status; }
    if (cardId == EXT_INFO_ID) { return bxd::WriteWord(fid, tablePos, pos); }
    return ModSystemOffsetTable(fid, tablePos, table, pos, oldPos);
}

// A card area is there: cards, or an index table alone.
bool HasEndMark(const u8* header)
{
    return bxd::IsPosition(GET_4BYTES(header + kHdCardOffset)) ||
           bxd::IsPosition(GET_4BYTES(header + kHdIndexTable));
}

// Where the new card goes: over the end mark, or at the end of a file that has none.
u32 PlaceOfNewCard(u8 fid, const u8* header)
{
    return BxdFileSize(fid) - (HasEndMark(header) ? kEndMarkSize : 0);
}

// Kills the card that the image replaces. The kill of the last card cuts the file: the new one then goes
// where it stood.
u32 KillOldImage(u8 fid, u32 oldPos, u32 length, u32* pos)
{
    u32 status = DeleteCardData(fid, oldPos);
    if (status != BXD_OK || BxdFileSize(fid) != oldPos + kEndMarkSize) { return status; }
    *pos = oldPos;
    return PreWriteEndMark(fid, oldPos + length + kCardHead);
}

u32 WriteImage(u8 fid, u16 cardId, const void* data, u32 length, u32 pos)
{
    u8 head[kCardHead];
    PUT_2BYTES(head, cardId);
    PUT_4BYTES(head + kCardLengthAt, length);
    u32 status = bxd::WriteAll(fid, pos, head, sizeof head);
    return status == BXD_OK ? bxd::WriteAll(fid, pos + kCardHead, data, length) : status;
}

// The image of a card in the box that is opened for it.
struct StoredImage {
    bxd::OpenFile file;
    u32 pos = 0;
    u32 size = 0;

    u32 find(const char* boxName, u16 cardId)
    {
        if (IsReserved(cardId)) { return BXD_ERR_OTHER; }
        u8 fid = kNoFile;
        u32 status = CheckFileBox(boxName, &fid, 1);
        if (status != BXD_OK) { return status; }
        file.reset(fid);
        u32 tablePos = 0;
        return GetCardPtrSize(fid, cardId, &pos, &size, &tablePos);
    }
};

}  // namespace

extern "C" {

u32 GetCardPtrSize(u8 fid, u16 cardId, u32* pos, u32* size, u32* tablePos)
{
    u32 table[kDefaultTableWords];
    u32 status = ReadOffsetTable(fid, tablePos, kOffsetTableSize, table);
    if (status != BXD_OK) { return status; }
    if (cardId == EXT_INFO_ID) {
        *pos = table[0];
        if (!bxd::IsPosition(*pos)) { return BXD_ERR_NOTFOUND; }
        CardHead head = {};
        status = ReadCardSize(fid, static_cast<i32>(*pos), &head);
        if (status != BXD_OK) { return status; }
        *size = head.cardLength;
        return head.cardId == EXT_INFO_ID ? BXD_OK : BXD_ERR_NOTFOUND;
    }
    if (cardId <= TMP_SYSTEM_CARD_ID) { return BXD_ERR_NOTFOUND; }
    u8 slot = 0;
    status = GetSystemCardOffset(fid, cardId, table + 1, pos, size, &slot);
    return status == BXD_OK && *pos == 0 ? static_cast<u32>(BXD_ERR_NOTFOUND) : status;
}

u32 _GetCardImageSize(const char* boxName, u16 cardId, u32* size)
{
    StoredImage image;
    u32 status = image.find(boxName, cardId);
    if (status == BXD_OK) { *size = image.size; }
    return status;
}

u32 _ReadCardImage(const char* boxName, u16 cardId, void* buffer, u32* length)
{
    StoredImage image;
    u32 status = image.find(boxName, cardId);
    if (status != BXD_OK) { return status; }

    // The last system card of a file has less than its size behind its head: what there is is read.
    u32 room = *length;
    u32 count = room < image.size ? room : image.size;
    if (count != 0) {
        status = DataReadFromFile(image.file.fid(), static_cast<i32>(image.pos + kCardHead), buffer, &count);
        if (status != BXD_OK) { return status; }
    }
    *length = image.size;
    return room < image.size ? BXD_ERR_NOSPACE : BXD_OK;
}

u32 _WriteCardImage(const char* boxName, u16 cardId, const u16* data, u32 length)
{
    if (!CanBeWritten(cardId)) { return BXD_ERR_OTHER; }
    if (length > kImageLengthMax) { return BXD_ERR_FAIL; }
    u8 fid = kNoFile;
    u8 header[kHeaderSize];
    u32 status = CheckFileBoxEx(boxName, &fid, header);
    if (status != BXD_OK) { return status; }
    bxd::OpenFile file(fid);

    u32 pos = PlaceOfNewCard(fid, header);
    status = bxd::RequireSpace(0, kUsualNodes, length + kImageReserve);
    if (status == BXD_OK) { status = PreWriteEndMark(fid, pos + length + kCardHead); }
    u32 oldPos = 0;
    u32 oldSize = 0;
    u32 tablePos = 0;
    if (status == BXD_OK) {
        status = GetCardPtrSize(fid, cardId, &oldPos, &oldSize, &tablePos);
        if (status == BXD_OK) {
            status = KillOldImage(fid, oldPos, length, &pos);
        } else if (status == BXD_ERR_NOTFOUND) {
            oldPos = 0;
            status = BXD_OK;
        }
    }
    if (status == BXD_OK) { status = WriteImage(fid, cardId, data, length, pos); }
    status = bxd::SettleEnd(fid, status, pos, pos + (HasEndMark(header) ? kEndMarkSize : 0));
    // The first card of a box begins the chain: without its position no later card would find it.
    bool beginsChain =
        !HasEndMark(header) || (cardId == EXT_INFO_ID && GET_4BYTES(header + kHdCardOffset) == kUnset);
    if (status == BXD_OK && beginsChain) { status = bxd::WriteWord(fid, kHdCardOffset, pos); }
    return status == BXD_OK ? PublishImage(fid, cardId, pos, oldPos) : status;
}
}
