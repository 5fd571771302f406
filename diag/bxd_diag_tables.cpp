// SPDX-License-Identifier: MIT
#include "diag/bxd_diag_tables.h"

#include <bxd/diag.h>

#include "box/bxd_card_format.h"
#include "box/bxd_card_slots.h"

namespace {

constexpr u32 kSlotSize = 4;

// So many append tables hold all ids of normal cards; a chain with more of them goes in a circle.
constexpr u32 kAppendTablesMax = bxd::AppendGroup(CARD_ID_NORMAL_MAX) + 1;

// The offset card, which must be one and as long as the header says.
u32 CheckOffsetCardHead(const BoxDiagRun* run, u32 pos, u32 size)
{
    u8 head[kCardHead] = {};
    u32 read = bxd::ReadForDiag(run->file, pos, head, sizeof head);
    if (read != BXD_OK) { return bxd::ReportRead(run->file, read, DiagFault::kOffsetCardHead); }
    if (GET_2BYTES(head) != OFFSET_CARD_ID) { return bxd::ReportFault(run->file, DiagFault::kOffsetCardId); }
    if (uint64_t{GET_4BYTES(head + kCardLengthAt)} + kCardHead != size) {
        return bxd::ReportFault(run->file, DiagFault::kOffsetCardSize);
    }
    return BXD_OK;
}

// What a word of the offset card leads to.
u32 CheckListedTable(const BoxDiagRun* run, u32 pos)
{
    if (uint64_t{pos} + kAppendTotal >= run->size) {
        return bxd::ReportFault(run->file, DiagFault::kAppendPointer);
    }
    u8 head[kCardHead] = {};
    u32 read = bxd::ReadForDiag(run->file, pos, head, sizeof head);
    if (read != BXD_OK) { return bxd::ReportRead(run->file, read, DiagFault::kAppendIdRead); }
    if (GET_2BYTES(head) != OFFSET_TABLE_ID) { return bxd::ReportFault(run->file, DiagFault::kAppendId); }
    return BXD_OK;
}

// The chain of append tables must begin with the first table of the list, also where the list is empty.
u32 CheckFirstTable(const BoxDiagRun* run, u32 firstListed)
{
    u8 word[kSlotSize] = {};
    uint64_t pos = uint64_t{bxd::HeaderWord(run, kHdOffsetTable)} + kChainWord * kSlotSize;
    u32 read = bxd::ReadForDiag(run->file, pos, word, sizeof word);
    if (read != BXD_OK) { return bxd::ReportRead(run->file, read, DiagFault::kFirstChainRead); }
    if (GET_4BYTES(word) != firstListed) { return bxd::ReportFault(run->file, DiagFault::kFirstChain); }
    return BXD_OK;
}

// Cards by the tables.
struct SlotCounts {
    u32 normals = 0;
    u32 systems = 0;
    u32 nextId = 1;  // the card of the slot that is looked at next
};

bool IsAboveLimit(const BoxDiagRun* run, u32 slot) { return bxd::IsPosition(slot) && slot > run->limit; }

u32 CheckSystemSlots(const BoxDiagRun* run, const u8* table, SlotCounts* counts)
{
    for (u32 n = 0; n <= kSystemSlots; ++n) {
        u32 slot = GET_4BYTES(table + n * kSlotSize);
        if (IsAboveLimit(run, slot)) { return bxd::ReportFault(run->file, DiagFault::kSystemSlot); }
        if (n != 0 && bxd::IsPosition(slot)) { ++counts->systems; }
    }
    return BXD_OK;
}

// A run of slots of normal cards.
u32 CheckSlots(const BoxDiagRun* run, const u8* slots, u32 count, DiagFault fault, SlotCounts* counts)
{
    u32 unUsed = bxd::HeaderHalf(run, kHdUnUsedCardID);
    for (u32 n = 0; n < count; ++n, ++counts->nextId) {
        u32 slot = GET_4BYTES(slots + n * kSlotSize);
        if (IsAboveLimit(run, slot)) { return bxd::ReportFault(run->file, fault); }
        if (bxd::IsPosition(slot)) {
            ++counts->normals;
        } else if (run->file.level == BXD_CHECK_CARDS && counts->nextId < unUsed) {
            // The id stays out of use for a while: no harm.
            BxdDebug("未使用カードIDより小さな未使用カードがある (%d)<(%d)\n",
                     static_cast<int>(counts->nextId), static_cast<int>(unUsed));
        }
    }
    return BXD_OK;
}

u32 WalkAppendTables(const BoxDiagRun* run, u32 first, SlotCounts* counts)
{
    u32 tables = 0;
    for (u32 pos = first; pos != kUnset; ++tables) {
        u8 head[kCardHead] = {};
        u32 read = bxd::ReadForDiag(run->file, pos, head, sizeof head);
        if (read != BXD_OK) {
            return bxd::ReportRead(run->file, read, DiagFault::kAppendHeadRead, DiagFault::kAppendHeadShort);
        }
        if (GET_2BYTES(head) != OFFSET_TABLE_ID || tables == kAppendTablesMax) {
            return bxd::ReportFault(run->file, DiagFault::kAppendId);
        }
        u8 body[kAppendBody] = {};
        read = bxd::ReadForDiag(run->file, uint64_t{pos} + kAppendSlotsAt, body, sizeof body);
        if (read != BXD_OK) {
            return bxd::ReportRead(run->file, read, DiagFault::kAppendBodyRead, DiagFault::kAppendBodyShort);
        }
        u32 status = CheckSlots(run, body, kAppendIds, DiagFault::kAppendSlot, counts);
        if (status != BXD_OK) { return status; }
        pos = GET_4BYTES(body + (kAppendChainAt - kAppendSlotsAt));
    }
    return BXD_OK;
}

// What the chain has counted, against the tables and the header.
u32 CompareCounts(const BoxDiagRun* run, const SlotCounts& counts)
{
    if (run->chainNormals != counts.normals) { return bxd::ReportFault(run->file, DiagFault::kNormalCards); }
    // A card under an id that no slot of ten has room for is out of reach, and harms no other.
    if (run->chainSystems != counts.systems) {
        BxdDebug("カードチェインで数えたシステムカード数がオフセットテーブル上と違う (%d)!=(%d)\n",
                 static_cast<int>(counts.systems), static_cast<int>(run->chainSystems));
    }
    if (run->chainNormals - run->chainDead != bxd::HeaderHalf(run, kHdCardCount)) {
        return bxd::ReportFault(run->file, DiagFault::kLiveCards);
    }
    return BXD_OK;
}

}  // namespace

extern "C" {

u32 BoxFileDiagSub_OffsetCard(BoxDiagRun* run)
{
    if (!bxd::HasOffsetCard(run)) { return BXD_OK; }
    u32 pos = bxd::HeaderWord(run, kHdOffsetCard);
    u32 size = bxd::HeaderWord(run, kHdOffsetCardSize);
    u32 status = CheckOffsetCardHead(run, pos, size);
    if (status != BXD_OK) { return status; }
    if (!bxd::FileHasAll(run, pos, size)) { return bxd::ReportFault(run->file, DiagFault::kOffsetCardShort); }
    bxd::HeapBlock card(size);
    if (!card) { return bxd::ReportFault(run->file, DiagFault::kOffsetCardHeap); }
    u32 read = bxd::ReadForDiag(run->file, pos, card.data(), size);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kOffsetCardRead, DiagFault::kOffsetCardShort);
    }

    u32 words = (size - kOffsetCardWordsAt) / kSlotSize;
    const u8* list = card.data() + kOffsetCardWordsAt;
    for (u32 n = 0; n < words; ++n) {
        u32 table = GET_4BYTES(list + n * kSlotSize);
        if (!bxd::IsPosition(table)) { break; }
        status = CheckListedTable(run, table);
        if (status != BXD_OK) { return status; }
    }
    return CheckFirstTable(run, words == 0 ? kUnset : GET_4BYTES(list));
}

u32 BoxFileDiagSub_OffsetTable(BoxDiagRun* run)
{
    bool deep = run->file.level == BXD_CHECK_CARDS;
    if ((!deep && run->file.level != BXD_CHECK_TABLES) || run->cardOffset == kUnset) { return BXD_OK; }

    u32 pos = bxd::HeaderWord(run, kHdOffsetTable);
    if (!bxd::FileHasAll(run, pos, kOffsetTableSize)) {
        return bxd::ReportFault(run->file, DiagFault::kTableShort);
    }
    bxd::HeapBlock table(kOffsetTableSize);
    if (!table) { return bxd::ReportFault(run->file, DiagFault::kTableHeap); }
    u32 read = bxd::ReadForDiag(run->file, pos, table.data(), kOffsetTableSize);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kTableRead, DiagFault::kTableShort);
    }

    SlotCounts counts;
    u32 status = CheckSystemSlots(run, table.data(), &counts);
    if (status == BXD_OK) {
        const u8* slots = table.data() + (kFirstIdWord + 1) * kSlotSize;
        status = CheckSlots(run, slots, kDefaultIds, DiagFault::kCardSlot, &counts);
    }
    if (status == BXD_OK) {
        u32 first = GET_4BYTES(table.data() + kChainWord * kSlotSize);
        status = WalkAppendTables(run, first, &counts);
    }
    return status == BXD_OK && deep ? CompareCounts(run, counts) : status;
}
}
