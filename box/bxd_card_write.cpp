// SPDX-License-Identifier: MIT
#include "box/bxd_card_write.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_read.h"
#include "box/bxd_card_rewrite.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_garb.h"
#include "index/bxd_indx_upkeep.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u32 kImageMin = 1024;              // an image's block is never smaller
constexpr u32 kImageMax = 16 * 1024 * 1024;  // nor larger; a card beyond that lies in the file
constexpr u32 kImageReserve = 4;             // bytes of the block that a card leaves free
constexpr u32 kItemWriteReserve = 1024;
constexpr u8 kHighNibble = 0xF0;

// One item write, as _CardOffsetWrite has understood it.
struct ItemWrite {
    const CardDescriptor* key;
    u16 itemNumber;
    const u8* data;  // null when the value comes from a file
    u8 srcFid;
    u32 newLength;
    u32 offset;
    bool isAttr;

    u32 count() const { return newLength - offset; }
    bool fromFile() const { return data == nullptr; }
};

// --- the image in RAM ----------------------------------------------------------------------------------

// An item in the image, and what of the image a new length changes.
struct ImageItem {
    u8* image;
    u8* data;
    u8* field;
    u32 length;
    u32 fieldSize;

    u32 payload() const { return GET_4BYTES(image + kCardLengthAt); }
    u32 tableSize() const { return GET_2BYTES(image + kLengthTableSizeAt); }
    u8* end() const { return image + kCardHead + payload(); }
};

// Gives the item's field the size for `newLength` and stores the new sizes; the item's bytes keep their
// length. `behind` is where the image ends before.
void ResizeField(ImageItem* item, u32 newLength, const u8* behind)
{
    u32 newField = bxd::LengthFieldSize(newLength);
    u32 payload = item->payload() + newField - item->fieldSize + newLength - item->length;
    if (newField != item->fieldSize) {
        u8* rest = item->field + item->fieldSize;
        std::memmove(item->field + newField, rest, static_cast<size_t>(behind - rest));
        PUT_2BYTES(item->image + kLengthTableSizeAt,
                   static_cast<u16>(item->tableSize() + newField - item->fieldSize));
    }
    item->data += static_cast<i32>(newField) - static_cast<i32>(item->fieldSize);
    CardLengthWrite(item->field, newLength);
    PUT_4BYTES(item->image + kCardLengthAt, payload);
    item->fieldSize = newField;
}

// Writes the image with the new value merged in to the end of the file. The head brings it into the chain
// with the first write, up to an end mark that stands already; no table refers to it.
u32 SystemCardRamToFlash(BoxRecord* box, const ImageItem& item, const ItemWrite& write, u32 oldLength)
{
    u32 cardOffset = 0;
    u32 status = bxd::ReadWord(box->fid, kHdCardOffset, &cardOffset);
    if (status != BXD_OK) { return status; }
    bool hasCards = bxd::IsPosition(cardOffset);
    u32 oldSize = BxdFileSize(box->fid);
    u32 destination = oldSize - (hasCards ? kEndMarkSize : 0);
    status = PreWriteEndMark(box->fid, destination + bxd::ImageTotal(item.image));
    if (status != BXD_OK) { return status; }

    u32 front = static_cast<u32>(item.data - item.image) + write.offset;
    u32 rest = bxd::ImageTotal(item.image) - front - write.count();
    status = bxd::WriteAll(box->fid, destination, item.image, front);
    if (status == BXD_OK) {
        status = write.fromFile()
                     ? DataReadAndWriteFile(write.srcFid, box->fid, write.count(), destination + front)
                     : bxd::WriteAll(box->fid, destination + front, write.data, write.count());
    }
    if (status == BXD_OK) {
        status = bxd::WriteAll(box->fid, destination + front + write.count(), item.data + oldLength, rest);
    }
    if (status == BXD_OK && !hasCards) { status = bxd::WriteWord(box->fid, kHdCardOffset, destination); }
    if (status != BXD_OK) { return bxd::SettleEnd(box->fid, status, destination, oldSize); }

    box->tmpCardState = static_cast<u8>((box->tmpCardState & ~kTmpCardInRam) | kTmpCardInFile);
    box->tmpCardOffset = destination;
    return BXD_OK;
}

// The value goes to its place in the image; what stands behind the item moves to its own.
void MergeIntoImage(const ImageItem& item, const ItemWrite& write, u32 oldLength)
{
    u8* tail = item.data + oldLength;
    u8* newTail = item.data + write.newLength;
    if (newTail != tail) { std::memmove(newTail, tail, static_cast<size_t>(item.end() - newTail)); }
    if (write.count() != 0) { std::memcpy(item.data + write.offset, write.data, write.count()); }
}

// The whole of a source file, read before anything of the image moves, so that a failing read leaves the
// image as it was.
u32 LoadSource(ItemWrite* write, bxd::HeapBlock* block)
{
    bxd::HeapBlock loaded(write->newLength);
    if (!loaded) { return BXD_ERR_FAIL; }
    if (write->newLength != 0) {
        u32 status = bxd::ReadExactly(write->srcFid, 0, loaded.data(), write->newLength);
        if (status != BXD_OK) { return status; }
    }
    block->reset(loaded.release());
    write->data = block->data();
    return BXD_OK;
}

u32 RamSystemCardOffsetWrite(BoxRecord* box, ItemWrite write)
{
    if (box->tmpCardWork == nullptr) { return BXD_ERR_FAIL; }
    ImageItem item = {bxd::ImageOf(box), nullptr, nullptr, 0, 0};
    item.length = MoveXItemNumberRam(item.image, write.itemNumber, box, &item.data, &item.field);
    if (item.data == nullptr) { return BXD_ERR_FAIL; }
    if (item.length < write.offset) { return BXD_ERR_RANGE; }
    u32 newField = bxd::LengthFieldSize(write.newLength);
    if (newField == kNoLengthForm) { return BXD_ERR_FAIL; }

    item.fieldSize = bxd::LengthFieldSizeAt(*item.field);
    u32 oldLength = item.length;
    u32 newTotal = bxd::ImageTotal(item.image) + newField - item.fieldSize + write.newLength - oldLength;
    bool outgrown = write.newLength > oldLength && newTotal > box->tmpCardWorkSize - kImageReserve;
    bxd::HeapBlock source;
    if (write.fromFile() && !outgrown) {
        u32 status = LoadSource(&write, &source);
        if (status != BXD_OK) { return status; }
    }

    ResizeField(&item, write.newLength, item.end());
    if (!outgrown) {
        MergeIntoImage(item, write, oldLength);
        return BXD_OK;
    }
    u32 status = SystemCardRamToFlash(box, item, write, oldLength);
    if (status != BXD_OK) {
        // The image is as it was before: the field takes its old length again.
        const u8* behind = item.image + newTotal - write.newLength + oldLength;
        item.length = write.newLength;
        ResizeField(&item, oldLength, behind);
    }
    return status;
}

// --- a card in the file --------------------------------------------------------------------------------

// The value in place, where the length stays. Of the attribute only the high nibble may come from the
// caller: that is so where the caller's key names it a second time.
u32 PatchValue(u8 fid, const CardItemPlace& place, const ItemWrite& write)
{
    if (!write.isAttr || write.newLength != 1) {
        return bxd::WriteAll(fid, place.dataOffset + write.offset, write.data, write.count());
    }
    u8 stored = 0;
    u32 status = bxd::ReadExactly(fid, place.dataOffset, &stored, sizeof stored);
    if (status != BXD_OK) { return status; }
    u8 value = write.data[0];
    if (bxd::SameTag(write.key->patchTag, search_data_attr)) {
        value = static_cast<u8>((value & kHighNibble) | (stored & ~kHighNibble));
    }
    return bxd::WriteAll(fid, place.dataOffset, &value, sizeof value);
}

u32 RewriteBehind(u8 fid, u32* pos, const CardItemPlace& place, const ItemWrite& write)
{
    if (write.fromFile()) { return FlashCardModifyFF(fid, write.srcFid, pos, &place, write.newLength); }
    return RenewCardItem(fid, pos, &place, write.data, write.newLength, write.offset);
}

u32 ModifyLast(u8 fid, u32 pos, const CardItemPlace& place, const ItemWrite& write)
{
    if (write.fromFile()) { return ModifyCardItemFromFile(fid, write.srcFid, pos, &place, write.newLength); }
    return ModifyCardItem(fid, pos, &place, write.data, write.newLength, write.offset);
}

// What a write asks of a stored item: 71 where the item leaves the file; 35 where the old value is shorter
// than the part to be kept, or the new one has no length form.
u32 CheckNewLength(u8 fid, const CardItemPlace& place, const ItemWrite& write)
{
    if (!bxd::FileHolds(fid, static_cast<uint64_t>(place.dataOffset) + place.dataLength)) {
        return BXD_ERR_FAIL;
    }
    bool fits = write.offset <= place.dataLength && bxd::LengthFieldSize(write.newLength) != kNoLengthForm;
    return fits ? BXD_OK : BXD_ERR_RANGE;
}

// The old value and the new one are the same length and come from memory: the card stays where it is.
bool IsPatch(const CardItemPlace& place, const ItemWrite& write)
{
    return !write.fromFile() && write.newLength == place.dataLength;
}

u32 NormalCardOffsetWrite(BoxRecord* box, const ItemWrite& write)
{
    u16 id = write.key->cardId;
    u32 table[kDefaultTableWords];
    u32 tablePos = 0;
    u32 pos = 0;
    CardItemPlace place = {};
    u32 status = ReadOffsetTable(box->fid, &tablePos, kOffsetTableSize, table);
    if (status == BXD_OK) { status = GetFilePtr(box->fid, id, table, &pos, &tablePos); }
    if (status != BXD_OK) { return status; }
    if (pos == 0) { return BXD_ERR_FAIL; }
    bool dead = false;
    status = bxd::CheckSlotCard(box->fid, pos, id, &dead);
    if (status != BXD_OK) { return status; }
    if (MoveXItemData(box->fid, &place, static_cast<u8>(write.itemNumber), pos) == 0) { return BXD_ERR_FAIL; }
    status = CheckNewLength(box->fid, place, write);
    if (status != BXD_OK) { return status; }

    if (!dead && IsPatch(place, write)) {
        if (write.count() == 0) { return BXD_OK; }
        status = PatchValue(box->fid, place, write);
    } else if (!dead && write.newLength < place.dataLength && IsLastCard(box->fid, pos) != 0) {
        status = ModifyLast(box->fid, pos, place, write);
    } else {
        // The new copy is complete before the old card dies; the slot follows at once.
        u32 oldPos = pos;
        status = RewriteBehind(box->fid, &pos, place, write);
        if (status == BXD_OK) {
            status = dead ? bxd::WriteHalf(box->fid, pos, id) : DeleteCardData(box->fid, oldPos);
        }
        if (status == BXD_OK) { status = ModOffsetTable(box->fid, tablePos, pos, id); }
    }
    if (status != BXD_OK) { return status; }
    u8 first = !write.fromFile() && write.count() != 0 ? write.data[0] : 0;
    return NormalCardWriteEnd(box, id, write.isAttr ? 1 : 0, first);
}

// Where a system card lies: the one under edit, or a card of the ten slots.
struct SystemCardPlace {
    u32 pos;
    u32 tablePos;
    u32 slots[kSystemSlots + 1];
    u8 slot;  // 0 for the card under edit
};

u32 FindSystemCard(const BoxRecord* box, u16 id, SystemCardPlace* found)
{
    if ((box->tmpCardState & kTmpCardInFile) != 0 && id == TMP_SYSTEM_CARD_ID) {
        found->slot = 0;
        found->pos = box->tmpCardOffset;
        return ChkTmpSysCard(box);
    }
    u32 status = ReadOffsetTable(box->fid, &found->tablePos, kSystemSlotBytes, found->slots);
    if (status != BXD_OK) { return status; }
    u32 total = 0;
    status = GetSystemCardOffset(box->fid, id, found->slots + 1, &found->pos, &total, &found->slot);
    return status == BXD_OK && found->pos == 0 ? static_cast<u32>(BXD_ERR_NOTFOUND) : status;
}

u32 FlashSystemCardOffsetWrite(BoxRecord* box, const ItemWrite& write)
{
    SystemCardPlace card = {};
    u32 status = FindSystemCard(box, write.key->cardId, &card);
    if (status != BXD_OK) { return status; }
    CardItemPlace place = {};
    if (MoveXItemData(box->fid, &place, static_cast<u8>(write.itemNumber), card.pos) == 0) {
        return BXD_ERR_FAIL;
    }
    status = CheckNewLength(box->fid, place, write);
    if (status != BXD_OK) { return status; }

    if (IsPatch(place, write)) {
        return bxd::WriteAll(box->fid, place.dataOffset + write.offset, write.data, write.count());
    }
    if (IsLastCard(box->fid, card.pos) != 0) { return ModifyLast(box->fid, card.pos, place, write); }

    u32 oldPos = card.pos;
    status = RewriteBehind(box->fid, &card.pos, place, write);
    if (status == BXD_OK) { status = DeleteCardData(box->fid, oldPos); }
    if (status != BXD_OK) { return status; }
    // Any system card that moves takes the remembered place of the card under edit with it. Where another
    // card was meant, the next use of the card under edit is refused, as its id no longer stands there.
    box->tmpCardOffset = card.pos;
    if (card.slot == 0) { return BXD_OK; }
    card.slots[card.slot] = card.pos;
    return bxd::WriteWords(box->fid, card.tablePos, card.slots, kSystemSlots + 1);
}

// The value that a write of the attribute stores: one byte, with its life bit the other way round.
u32 TurnAttribute(const u8* data, u32 size, u32 offset, u8* stored)
{
    if (data == nullptr || size != 1 || offset != 0) { return BXD_ERR_FAIL; }
    *stored = data[0] ^ kAttrLiveBit;
    return BXD_OK;
}

// The source of a value must be an open file other than the box itself.
bool IsSourceFile(const BoxRecord* box, u32 fid)
{
    return fid < kNoFile && gBxdFINFOTable[fid] != nullptr && fid != box->fid;
}

}  // namespace

namespace bxd {

void DropEdit(BoxRecord* box)
{
    box->tmpCardState = kTmpCardNone;
    box->tmpCardId = 0;
    DisposeHeapHandle(box->tmpCardWork);
    box->tmpCardWork = nullptr;
}

bool ImageFits(const u8* image, u32 total, u32 items)
{
    if (total < kItemCardHead) { return false; }
    uint64_t dataAt = kItemCardHead + GET_2BYTES(image + kLengthTableSizeAt);
    if (dataAt > total) { return false; }
    const u8* cursor = image + kItemCardHead;
    const u8* tableEnd = image + dataAt;
    for (u32 i = 0; i < items; ++i) {
        if (cursor >= tableEnd || cursor + LengthFieldSizeAt(*cursor) > tableEnd) { return false; }
        dataAt += GetCardItemLength(&cursor);
    }
    return dataAt <= total;
}

}  // namespace bxd

extern "C" {

u8** GetSystemCardWork(BoxRecord* box)
{
    u32 size = std::min(std::max(box->systemCardLimit, kImageMin), kImageMax);
    for (; size >= kImageMin; size /= 2) {
        u8** work = reinterpret_cast<u8**>(NewHeapHandle(size + bxd::kImageSpare));
        if (work == nullptr) { continue; }
        std::memset(*work, 0, size + bxd::kImageSpare);
        box->tmpCardWorkSize = size;
        box->tmpCardWork = work;
        return work;
    }
    return nullptr;
}

u32 SystemCardToFlash(u8 fid, u32 pos, u8* card, u16 cardId)
{
    u32 total = bxd::ImageTotal(card);
    u32 oldSize = BxdFileSize(fid);
    u32 status = PreWriteEndMark(fid, pos + total);
    if (status == BXD_OK) {
        u16 imageId = GET_2BYTES(card);
        PUT_2BYTES(card, cardId);
        status = bxd::WriteAll(fid, pos, card, total);
        if (status != BXD_OK) { PUT_2BYTES(card, imageId); }
    }
    return bxd::SettleEnd(fid, status, pos, oldSize);
}

u32 _CardCreate(BoxHandle box, u16* cardId)
{
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    if (lease->tmpCardState != kTmpCardNone) { return BXD_ERR_FAIL; }
    if (*cardId < TMP_SYSTEM_CARD_ID || *cardId > SYSTEM_CARD_ID_MAX) { return BXD_ERR_FAIL; }
    if ((BxdFileOpenMode(lease->fid) & BXD_MODE_WRITE_BIT) == 0) { return BXD_ERR_FAIL; }
    u32 status = bxd::RequireSpace(0, kUsualNodes, 1);
    if (status != BXD_OK) { return status; }
    if (lease->tmpCardWork == nullptr && GetSystemCardWork(lease.record()) == nullptr) {
        return BXD_ERR_FAIL;
    }

    // All items empty but the first, the attribute, which is one byte and says that the card lives.
    u8* image = bxd::ImageOf(lease.record());
    u32 items = bxd::ItemCount(lease.record());
    PUT_2BYTES(image, *cardId);
    PUT_4BYTES(image + kCardLengthAt, items + (kItemCardHead - kCardHead) + 1);
    PUT_2BYTES(image + kCardHead, 2);
    PUT_2BYTES(image + kLengthTableSizeAt, static_cast<u16>(items));
    std::memset(image + kItemCardHead, 0, items);
    if (items > 0) { image[kItemCardHead] = 1; }
    image[kItemCardHead + items] = kAttrLiveBit;

    lease->tmpCardId = *cardId;
    lease->tmpCardState = kTmpCardInRam;
    return ResetGarbageInfo(lease->fid);
}

u32 _CardWrite(BoxHandle box, const CardDescriptor* key, const u8* data, i32 size)
{
    return _CardOffsetWrite(box, key, data, static_cast<u32>(size), 0);
}

u32 _CardOffsetWrite(BoxHandle box, const CardDescriptor* key, const u8* data, u32 size, u32 offset)
{
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    ItemWrite write = {key, 0, data, kNoFile, size + offset, offset, false};
    u8 stored = 0;
    if (bxd::SameTag(key->itemNameId, search_data_attr)) {
        u32 status = TurnAttribute(data, size, offset, &stored);
        if (status != BXD_OK) { return status; }
        write.isAttr = true;
        write.data = &stored;
    }

    ItemEntry item = {};
    u32 status = SearchItemNameID(key->itemNameId, lease->itemTable, &item);
    if (status != BXD_OK) { return status; }
    write.itemNumber = item.itemNumber;
    if (write.fromFile()) {
        if (!IsSourceFile(lease.record(), size) || offset != 0) { return BXD_ERR_FAIL; }
        write.srcFid = static_cast<u8>(size);
        write.newLength = BxdFileSize(write.srcFid);
    } else if (write.newLength < offset) {
        return BXD_ERR_FAIL;
    }
    // With a source file it is the file id that stands here: the length to be copied does not enter.
    status = bxd::RequireSpace(0, kUsualNodes, size + kItemWriteReserve);
    if (status != BXD_OK) { return status; }

    if (key->cardId < TMP_SYSTEM_CARD_ID) { return NormalCardOffsetWrite(lease.record(), write); }
    if (bxd::IsInRam(lease.record(), key->cardId)) { return RamSystemCardOffsetWrite(lease.record(), write); }
    return FlashSystemCardOffsetWrite(lease.record(), write);
}

u32 _CardWriteFromFile(BoxHandle box, const char* fileName, const CardDescriptor* key)
{
    if (bxd::SameTag(key->itemNameId, search_data_attr)) { return BXD_ERR_FAIL; }
    i32 opened = BxdFileOpen(fileName, BXD_MODE_READ);
    if (opened < 0) { return BXD_ERR_NOTFOUND; }
    bxd::OpenFile file(static_cast<u8>(opened));
    return _CardOffsetWrite(box, key, nullptr, file.fid(), 0);
}
}
