// SPDX-License-Identifier: MIT
#include "box/bxd_card_copy.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_delete.h"
#include "box/bxd_card_read.h"
#include "box/bxd_card_tables.h"
#include "box/bxd_card_write.h"
#include "box/bxd_garb.h"
#include "index/bxd_indx_upkeep.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u32 kCopyPiece = 7168;
constexpr u32 kCopyReserve = 4096;     // room asked for beside the card
constexpr u32 kReplaceReserve = 4102;  // and where it may take its target's place
constexpr u32 kRelabelBytes = 2560;    // and where only its id changes
constexpr u32 kHeadId = 2;             // bytes of a card's id, which a card in its target's place keeps

u32 CheckRoom(u32 bytes) { return bxd::RequireSpace(0, kUsualNodes, bytes); }

// The head of the source, and the room for a copy of it.
u32 ReadSourceHead(const BoxRecord* box, const CardCopyState* copy, CardHead* head)
{
    u32 status = bxd::ReadCardHead(box->fid, copy->sourcePos, head);
    return status == BXD_OK ? CheckRoom(head->cardLength + kCopyReserve) : status;
}

// Gets the default table back into hand, for the system slots.
u32 ReturnToDefaultTable(const BoxRecord* box, CardCopyState* copy)
{
    if (copy->topId <= kDefaultIds) { return BXD_OK; }
    u32 status = ReadOffsetTable(box->fid, &copy->tablePos, kOffsetTableSize, copy->table);
    if (status == BXD_OK) { copy->topId = kDefaultIds; }
    return status;
}

// --- preparing -----------------------------------------------------------------------------------------

u32 FindNormalSource(BoxRecord* box, u16 sourceId, CardCopyState* copy)
{
    u32 appendTable = 0;
    if (sourceId == 0) { return BXD_ERR_FAIL; }
    if (GetFilePtr(box->fid, sourceId, copy->table, &copy->sourcePos, &appendTable) != BXD_OK ||
        copy->sourcePos == 0) {
        return BXD_ERR_FAIL;
    }
    if (sourceId <= kDefaultIds) { return BXD_OK; }
    // The look-up has put an append table over the default one.
    return ReadOffsetTable(box->fid, &copy->tablePos, kOffsetTableSize, copy->table);
}

u32 FindSystemSource(BoxRecord* box, u16 sourceId, CardCopyState* copy)
{
    u8* image = bxd::ImageOf(box);
    bool isImage = GET_2BYTES(image) == sourceId;
    if (isImage && (box->tmpCardState & kTmpCardInRam) != 0) {
        copy->sourceKind = kSourceInRam;
        copy->sourceImage = image;
        return BXD_OK;
    }
    bool inFile = isImage && (box->tmpCardState & kTmpCardInFile) != 0 && copy->cardId == 0;
    if (inFile || (isImage && sourceId == TMP_SYSTEM_CARD_ID && box->tmpCardOffset != 0)) {
        u32 status = ChkTmpSysCard(box);
        if (status != BXD_OK) { return status; }
        copy->sourcePos = box->tmpCardOffset;
        copy->sourceIsEdit = true;
    } else {
        u32 total = 0;
        u8 slot = 0;
        u32 status =
            GetSystemCardOffset(box->fid, sourceId, copy->table + 1, &copy->sourcePos, &total, &slot);
        if (status != BXD_OK) { return status; }
    }
    return copy->sourcePos != 0 ? BXD_OK : BXD_ERR_NOTFOUND;
}

u32 FindSystemTarget(const BoxRecord* box, CardCopyState* copy)
{
    if (copy->cardId > SYSTEM_CARD_ID_MAX) { return BXD_ERR_FAIL; }
    u32 total = 0;
    u8 slot = 0;
    u32 status = GetSystemCardOffset(box->fid, copy->cardId, copy->table + 1, &copy->isUpdate, &total, &slot);
    if (status != BXD_OK || copy->isUpdate != 0) { return status; }
    const u32* slots = copy->table + 1;
    bool full = std::all_of(slots, slots + kSystemSlots, [](u32 word) { return bxd::IsPosition(word); });
    return full ? BXD_ERR_FAIL : BXD_OK;
}

u32 FindTarget(BoxRecord* box, CardCopyState* copy)
{
    if (copy->cardId == 0) {
        return bxd::SearchNewId(box->fid, copy->header, &copy->tablePos, copy->table, &copy->cardId,
                                &copy->slotKilled);
    }
    if (copy->cardId == TMP_SYSTEM_CARD_ID) {
        copy->targetKind = kTargetEdit;
        copy->targetImage = bxd::ImageOf(box);
        return BXD_OK;
    }
    if (copy->cardId > TMP_SYSTEM_CARD_ID) { return FindSystemTarget(box, copy); }
    if (GetFilePtr(box->fid, copy->cardId, copy->table, &copy->isUpdate, &copy->tablePos) != BXD_OK) {
        return BXD_ERR_FAIL;
    }
    if (copy->isUpdate == 0) {
        copy->targetKind = kTargetNew;
        return BXD_OK;
    }
    bool dead = false;
    u32 status = bxd::CheckSlotCard(box->fid, copy->isUpdate, copy->cardId, &dead);
    if (dead) { copy->isUpdate = 0; }  // its bytes are garbage already; only the slot is left to be moved
    return status;
}

// Where the target goes: over the end mark, or at the end of a file that has no card yet.
void FindPlace(const BoxRecord* box, CardCopyState* copy)
{
    copy->cardPos = BxdFileSize(box->fid) - kEndMarkSize;
    bool hasCards = bxd::IsPosition(GET_4BYTES(copy->header + kHdCardOffset));
    copy->startsCardArea = copy->sourceKind == kSourceInRam && !hasCards;
    if (copy->startsCardArea) { copy->cardPos += kEndMarkSize; }
}

u32 ReadSourceAttr(BoxRecord* box, CardCopyState* copy)
{
    ItemEntry item = {};
    u32 status = SearchItemNameID(search_data_attr, box->itemTable, &item);
    if (status != BXD_OK) { return status; }
    if (copy->sourceKind == kSourceInRam) {
        u8* data = nullptr;
        u8* field = nullptr;
        (void)MoveXItemNumberRam(copy->sourceImage, item.itemNumber, box, &data, &field);
        if (data == nullptr) { return BXD_ERR_FAIL; }
        copy->attr = *data;
        return BXD_OK;
    }
    CardItemPlace place = {};
    u32 at =
        ReadItemData(box->fid, &place, static_cast<u8>(item.itemNumber), copy->sourcePos, 1, &copy->attr);
    return at != 0 ? BXD_OK : BXD_ERR_FAIL;
}

// --- publishing ----------------------------------------------------------------------------------------

u32 PublishNormal(const BoxRecord* box, CardCopyState* copy)
{
    if (copy->targetKind != kTargetNew) {
        return ModOffsetTable(box->fid, copy->tablePos, copy->cardPos, copy->cardId);
    }
    return ModOffsetTableNew(box->fid, copy->tablePos, copy->cardPos, copy->cardId, copy->slotKilled,
                             copy->table);
}

u32 KillReplaced(const BoxRecord* box, const CardCopyState* copy)
{
    return copy->isUpdate != 0 ? DeleteCardData(box->fid, copy->isUpdate) : static_cast<u32>(BXD_OK);
}

// The counters, and the indexes of the box. The card is in the chain by now: the highest id counts it, also
// where an index could not follow.
u32 FinishNormal(BoxRecord* box, CardCopyState* copy)
{
    if (copy->cardId >= TMP_SYSTEM_CARD_ID) { return BXD_OK; }
    u32 status = UpdateIndexFile(box, copy);
    u32 counted = UpdateMaxCardID(box->fid, copy->cardId);
    return status != BXD_OK ? status : counted;
}

// The source has become the system card of the target's id where it stands. Where it stood in a slot
// before, that slot stays, and only the one of the card that it replaces is left to be cleared.
u32 PublishSystemInPlace(const BoxRecord* box, CardCopyState* copy)
{
    const u32* slots = copy->table + 1;
    if (std::find(slots, slots + kSystemSlots, copy->sourcePos) == slots + kSystemSlots) {
        return ModSystemOffsetTable(box->fid, copy->tablePos, copy->table, copy->sourcePos, copy->isUpdate);
    }
    if (copy->isUpdate == 0) { return BXD_OK; }
    return DeleteSystemOffset(box->fid, copy->tablePos, copy->table, copy->isUpdate);
}

// --- the target's old place ----------------------------------------------------------------------------

// The room that a replaced card leaves: itself and the dead cards directly behind it.
struct OldPlace {
    u32 pos;
    u32 room;       // of the card and the dead ones
    u32 deadBytes;  // of the dead ones, which are counted already
    bool isLast;    // the end mark follows

    u32 end() const { return pos + room; }
    // A card of this size fills it, alone or with a dead card's head behind it.
    bool takes(u32 total) const { return room == total || room >= total + kCardHead; }
    // Bytes that are dead afterwards and were not before; less than 0 where dead ones came to life.
    i32 deadAfter(u32 total) const { return static_cast<i32>(room - total) - static_cast<i32>(deadBytes); }
};

u32 MeasureOldPlace(u8 fid, u32 pos, OldPlace* place)
{
    CardHead head = {};
    u32 status = bxd::ReadCardHead(fid, pos, &head);
    if (status != BXD_OK) { return status; }
    place->pos = pos;
    status = bxd::MeasureDeadRun(fid, pos + head.total(), &place->deadBytes, &place->isLast);
    place->room = head.total() + place->deadBytes;
    return status;
}

// Writes a card of `total` bytes into the place, all but its id, which stays the target's. What is left of
// the place becomes a dead card, whose head goes out in the same write: the chain holds at every moment.
// `card` has kImageSpare bytes behind it.
u32 FillOldPlace(u8 fid, const OldPlace& place, u8* card, u32 total)
{
    u32 bytes = total;
    if (place.room > total) {
        PUT_2BYTES(card + total, CARD_ID_DEAD);
        PUT_4BYTES(card + total + kCardLengthAt, place.room - total - kCardHead);
        bytes += kCardHead;
    }
    u32 status = bxd::WriteAll(fid, place.pos + kHeadId, card + kHeadId, bytes - kHeadId);
    return status == BXD_OK ? bxd::CountGarbage(fid, place.deadAfter(total)) : status;
}

// The same for a place at the end of the file: the card goes out with an end mark behind it. What is left
// of the place is then behind the end of the chain, and is still to be cut off.
u32 FillLastPlace(u8 fid, const OldPlace& place, u8* card, u32 total)
{
    u32 status = total > place.room ? PreWriteEndMark(fid, place.pos + total) : CheckRoom(0);
    if (status != BXD_OK) { return status; }
    PUT_2BYTES(card + total, END_MARK_ID);
    return bxd::WriteAll(fid, place.pos + kHeadId, card + kHeadId, total - kHeadId + kEndMarkSize);
}

// Cuts the file behind a card that has taken the place at its end. The dead cards of the place have gone.
u32 CutLastPlace(u8 fid, const OldPlace& place, u32 total)
{
    u32 status =
        total < place.room ? BxdFileCut(fid, place.pos + total + kEndMarkSize) : static_cast<u32>(BXD_OK);
    return status == BXD_OK ? bxd::CountGarbage(fid, -static_cast<i32>(place.deadBytes)) : status;
}

// The image in RAM takes the target's old place; *done says whether it could.
u32 ReplaceByImage(BoxRecord* box, CardCopyState* copy, u32 total, bool* done)
{
    OldPlace place = {};
    u32 status = MeasureOldPlace(box->fid, copy->isUpdate, &place);
    if (status != BXD_OK) { return status; }
    *done = place.isLast || place.takes(total);
    if (!*done) { return BXD_OK; }
    if (place.isLast) {
        u32 oldLength = place.room - place.deadBytes - kCardHead;
        status = FillLastPlace(box->fid, place, copy->sourceImage, total);
        status = bxd::SettleGrowth(box->fid, status, place.pos, oldLength, place.end());
        if (status == BXD_OK) { status = CutLastPlace(box->fid, place, total); }
    } else {
        status = FillOldPlace(box->fid, place, copy->sourceImage, total);
    }
    if (status == BXD_OK) { copy->cardPos = copy->isUpdate; }
    return status;
}

// The image goes behind the last card, the slot follows, and what it replaces dies.
u32 AppendImage(BoxRecord* box, CardCopyState* copy)
{
    u32 status = SystemCardToFlash(box->fid, copy->cardPos, copy->sourceImage, copy->cardId);
    if (status == BXD_OK && copy->startsCardArea) {
        status = bxd::WriteWord(box->fid, kHdCardOffset, copy->cardPos);
    }
    if (status != BXD_OK) { return status; }
    bool isSystemTarget = copy->cardId >= TMP_SYSTEM_CARD_ID;
    status = isSystemTarget
                 ? ModSystemOffsetTable(box->fid, copy->tablePos, copy->table, copy->cardPos, copy->isUpdate)
                 : ModOffsetTableNew(box->fid, copy->tablePos, copy->cardPos, copy->cardId, copy->slotKilled,
                                     copy->table);
    return status == BXD_OK ? KillReplaced(box, copy) : status;
}

// The last card of the file takes the target's old place, and the file ends where it stood; *done says
// whether it could. Without memory for the card it stays where it is, which is as good but for the room.
u32 ReplaceByLastCard(BoxRecord* box, CardCopyState* copy, u32 total, bool* done)
{
    OldPlace place = {};
    u32 status = MeasureOldPlace(box->fid, copy->isUpdate, &place);
    if (status != BXD_OK) { return status; }
    bool adjoins = place.end() == copy->sourcePos;
    if (!adjoins && !place.takes(total)) { return BXD_OK; }
    bxd::HeapBlock card(static_cast<size_t>(total) + bxd::kImageSpare);
    if (!card) { return BXD_OK; }
    status = bxd::ReadExactly(box->fid, copy->sourcePos, card.data(), total);
    if (status != BXD_OK) { return status; }

    // The source's slot goes when the card stands in its new place, and the bytes of the source last.
    *done = true;
    if (adjoins) { place.room += total; }  // source and place are one run up to the end of the file
    status = adjoins ? FillLastPlace(box->fid, place, card.data(), total)
                     : FillOldPlace(box->fid, place, card.data(), total);
    if (status == BXD_OK) { status = DelSrcSystemCard(box, copy); }
    if (adjoins) {
        if (status == BXD_OK) { status = CutLastPlace(box->fid, place, total); }
    } else {
        if (status == BXD_OK) { status = bxd::WriteHalf(box->fid, copy->sourcePos, END_MARK_ID); }
        if (status == BXD_OK) { status = BxdFileCut(box->fid, copy->sourcePos + kEndMarkSize); }
    }
    if (status == BXD_OK) { copy->cardPos = copy->isUpdate; }
    return status;
}

// The card under edit, in the file, takes its new id where it stands.
u32 RelabelEdit(BoxRecord* box, CardCopyState* copy)
{
    u32 status = CheckRoom(kRelabelBytes);
    if (status == BXD_OK) { status = bxd::WriteHalf(box->fid, box->tmpCardOffset, copy->cardId); }
    if (status != BXD_OK) { return status; }
    copy->cardPos = box->tmpCardOffset;
    return PublishNormal(box, copy);
}

u32 MoveSystemCard(BoxRecord* box, CardCopyState* copy)
{
    CardHead head = {};
    u32 status = ReadSourceHead(box, copy, &head);
    if (status != BXD_OK) { return status; }
    if (IsLastCard(box->fid, copy->sourcePos) != 0) { return SlimCopyCard(box, copy); }
    status = MakeTargetCard(box, copy);
    if (status == BXD_OK) { status = DeleteCardData(box->fid, copy->sourcePos); }
    return status == BXD_OK ? DelSrcSystemCard(box, copy) : status;
}

// Reads the source into the image; a card whose tables do not fit it is refused, as nothing could be
// looked up in its image.
u32 LoadImage(BoxRecord* box, const CardCopyState* copy, const CardHead& head)
{
    u8* image = bxd::ImageOf(box);
    u32 status = bxd::ReadExactly(box->fid, copy->sourcePos, image, head.total(), BXD_ERR_NOTFOUND);
    if (status == BXD_OK && !bxd::ImageFits(image, head.total(), bxd::ItemCount(box))) {
        status = BXD_ERR_FAIL;
    }
    if (status != BXD_OK) {
        bxd::DropEdit(box);
        return status;
    }
    PUT_2BYTES(image, TMP_SYSTEM_CARD_ID);
    return BXD_OK;
}

}  // namespace

extern "C" {

u32 GetCardCopyWork(BoxRecord* box, u16 sourceId, u16 targetId, CardCopyState* copy)
{
    u32 status = bxd::ReadBoxFront(box->fid, copy->header, &copy->tablePos, copy->table);
    if (status != BXD_OK) { return status; }
    copy->topId = kDefaultIds;
    copy->sourceKind = kSourceInFile;
    copy->targetKind = targetId != 0 ? kTargetNamed : kTargetNew;
    copy->cardId = targetId;

    bool isSystem = sourceId >= TMP_SYSTEM_CARD_ID || targetId >= TMP_SYSTEM_CARD_ID;
    if (isSystem && box->tmpCardWork == nullptr && GetSystemCardWork(box) == nullptr) { return BXD_ERR_FAIL; }

    status = sourceId < TMP_SYSTEM_CARD_ID ? FindNormalSource(box, sourceId, copy)
                                           : FindSystemSource(box, sourceId, copy);
    if (status == BXD_OK) { status = FindTarget(box, copy); }
    if (status != BXD_OK) { return status; }
    FindPlace(box, copy);
    if (copy->cardId < TMP_SYSTEM_CARD_ID) { copy->topId = std::max(copy->topId, copy->cardId); }
    return ReadSourceAttr(box, copy);
}

u32 CopyWithEndMark(u8 fid, u32 dst, u32 src, u16 cardId)
{
    CardHead head = {};
    u32 status = bxd::ReadCardHead(fid, src, &head);
    if (status == BXD_OK && src < dst) { status = PreWriteEndMark(fid, dst + head.total()); }

    u8 piece[kCopyPiece];
    for (u32 done = 0; status == BXD_OK && done < head.total();) {
        u32 n = std::min(head.total() - done, kCopyPiece);
        status = bxd::ReadExactly(fid, src + done, piece, n);
        if (done == 0) { PUT_2BYTES(piece, cardId); }
        if (status == BXD_OK) { status = bxd::WriteAll(fid, dst + done, piece, n); }
        done += n;
    }
    return bxd::SettleEnd(fid, status, dst, dst + kEndMarkSize);
}

u32 DelSrcSystemCard(BoxRecord* box, CardCopyState* copy)
{
    u32 status = ReturnToDefaultTable(box, copy);
    return status == BXD_OK ? DeleteSystemOffset(box->fid, copy->tablePos, copy->table, copy->sourcePos)
                            : status;
}

u32 MakeTargetCard(BoxRecord* box, CardCopyState* copy)
{
    u8 fid = box->fid;
    if (copy->cardId < TMP_SYSTEM_CARD_ID) {
        // The slot moves first and the old card dies after: nothing leads to it by then.
        u32 status = CopyWithEndMark(fid, copy->cardPos, copy->sourcePos, copy->cardId);
        if (status == BXD_OK) { status = PublishNormal(box, copy); }
        return status == BXD_OK ? KillReplaced(box, copy) : status;
    }
    u32 status = ReturnToDefaultTable(box, copy);
    if (status == BXD_OK) { status = CopyWithEndMark(fid, copy->cardPos, copy->sourcePos, copy->cardId); }
    if (status == BXD_OK && copy->isUpdate != 0) {
        status = DeleteCardData(fid, copy->isUpdate);
        if (status == BXD_OK) {
            status = DeleteSystemOffset(fid, copy->tablePos, copy->table, copy->isUpdate);
        }
    }
    if (status != BXD_OK) { return status; }
    return ModSystemOffsetTable(fid, copy->tablePos, copy->table, copy->cardPos, copy->isUpdate);
}

u32 NormalCardCopy(BoxRecord* box, CardCopyState* copy)
{
    CardHead head = {};
    u32 status = ReadSourceHead(box, copy, &head);
    if (status == BXD_OK) { status = MakeTargetCard(box, copy); }
    return status == BXD_OK ? FinishNormal(box, copy) : status;
}

u32 SlimRamCopyCard(BoxRecord* box, CardCopyState* copy)
{
    u32 total = bxd::ImageTotal(copy->sourceImage);
    u32 payload = total - kCardHead;
    if (copy->isUpdate != 0) {
        bool done = false;
        u32 status = CheckRoom(payload + kReplaceReserve);
        if (status == BXD_OK) { status = ReplaceByImage(box, copy, total, &done); }
        if (status != BXD_OK || done) { return status; }
    }
    u32 status = CheckRoom(payload + kCopyReserve);
    if (status == BXD_OK) { status = AppendImage(box, copy); }
    // Until all of it is done the image is still the card under edit, under its own id.
    if (status != BXD_OK) { PUT_2BYTES(copy->sourceImage, static_cast<u16>(box->tmpCardId)); }
    return status;
}

u32 SlimCopyCard(BoxRecord* box, CardCopyState* copy)
{
    CardHead head = {};
    u32 status = bxd::ReadCardHead(box->fid, copy->sourcePos, &head);
    if (status != BXD_OK) { return status; }
    if (copy->isUpdate != 0) {
        bool done = false;
        status = ReplaceByLastCard(box, copy, head.total(), &done);
        if (status != BXD_OK || done) { return status; }
    }

    copy->cardPos = copy->sourcePos;
    status = bxd::WriteHalf(box->fid, copy->sourcePos, copy->cardId);
    if (status != BXD_OK) { return status; }
    if (copy->cardId >= TMP_SYSTEM_CARD_ID) {
        status = KillReplaced(box, copy);
        return status == BXD_OK ? PublishSystemInPlace(box, copy) : status;
    }
    status = ModOffsetTable(box->fid, copy->tablePos, copy->cardPos, copy->cardId);
    if (status == BXD_OK) { status = KillReplaced(box, copy); }
    return status == BXD_OK ? DelSrcSystemCard(box, copy) : status;
}

u32 SystemCardCopy(BoxRecord* box, CardCopyState* copy)
{
    if (box->tmpCardWork == nullptr) { return BXD_ERR_FAIL; }
    u32 status = copy->sourceKind == kSourceInRam                       ? SlimRamCopyCard(box, copy)
                 : copy->sourceIsEdit && copy->targetKind == kTargetNew ? RelabelEdit(box, copy)
                                                                        : MoveSystemCard(box, copy);
    if (status != BXD_OK) { return status; }
    // A card under edit that was not the source goes with it: this step knows no difference.
    bxd::DropEdit(box);
    return FinishNormal(box, copy);
}

u32 CardCopyToRam(BoxHandle box, CardCopyState* copy)
{
    BoxRecord* record = *box;
    if (copy->sourceKind == kSourceInRam) { return BXD_ERR_FAIL; }
    CardHead head = {};
    u32 status = ReadSourceHead(record, copy, &head);
    if (status == BXD_OK && record->tmpCardState != kTmpCardNone) {
        status = CardDeleteSub(record, TMP_SYSTEM_CARD_ID, 0);
    }
    if (status != BXD_OK) { return status; }

    u16 editId = TMP_SYSTEM_CARD_ID;
    status = _CardCreate(box, &editId);
    if (status != BXD_OK) { return status; }
    copy->targetImage = bxd::ImageOf(record);
    if (record->tmpCardWorkSize > head.cardLength + kCardHead + kEndMarkSize) {
        return LoadImage(record, copy, head);
    }

    // Ending the card that was under edit may have moved the end of the file.
    copy->cardPos = BxdFileSize(record->fid) - kEndMarkSize;
    status = CopyWithEndMark(record->fid, copy->cardPos, copy->sourcePos, TMP_SYSTEM_CARD_ID);
    if (status != BXD_OK) {
        bxd::DropEdit(record);
        return status;
    }
    record->tmpCardOffset = copy->cardPos;
    record->tmpCardState = kTmpCardInFile;
    return BXD_OK;
}

u32 _CardCopy(BoxHandle box, u16 sourceId, u16* targetId)
{
    if (*targetId == sourceId) { return BXD_OK; }
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    CardCopyState copy = {};
    u32 status = GetCardCopyWork(lease.record(), sourceId, *targetId, &copy);
    if (status != BXD_OK) {
        // The search may have chosen an id by then, and stepped over it.
        if (*targetId == 0 && copy.cardId != 0) { (void)WriteUnUsedCardID(lease->fid, copy.cardId); }
        return status;
    }
    *targetId = copy.cardId;

    if (copy.cardId == TMP_SYSTEM_CARD_ID) { return CardCopyToRam(box, &copy); }
    status = sourceId < TMP_SYSTEM_CARD_ID ? NormalCardCopy(lease.record(), &copy)
                                           : SystemCardCopy(lease.record(), &copy);
    // The chosen id goes back to the search.
    if (status != BXD_OK && copy.targetKind == kTargetNew) {
        (void)WriteUnUsedCardID(lease->fid, copy.cardId);
    }
    return status;
}
}
