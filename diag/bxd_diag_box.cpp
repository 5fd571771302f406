// SPDX-License-Identifier: MIT
#include "diag/bxd_diag_box.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_card_format.h"
#include "diag/bxd_diag.h"
#include "diag/bxd_diag_chain.h"
#include "diag/bxd_diag_tables.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_names.h"
#include "index/bxd_indx_registry.h"
#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"

namespace {

constexpr u32 kAreaEnd = 8;   // no head of a card, with the end mark behind it, begins behind size - 8
constexpr u32 kBareCard = 4;  // bytes of a card with no values, beyond its head and one for each item

// Results of IndexCardCounter that are no count.
constexpr i32 kNotRead = -2;
constexpr i32 kNotOpened = -3;

// A name goes out of the index table only where there is room for the table to be written.
constexpr u32 kRemovalReserve = 1;
constexpr u32 kRemovalNodes = 20;
constexpr u32 kRemovalBytes = 512;

constexpr u8 kDischarge = BXD_INDEX_TYPE_SPECIAL | BXD_INDEX_TYPE_SYNC;

bool IsBelow(u32 pos, int64_t bound) { return pos == kUnset || pos < bound; }

// A table of which the header has the size beside the position.
bool TableIsInside(const BoxDiagRun* run, u32 pos, u32 len)
{
    return pos == kUnset || (pos < run->limit && uint64_t{pos} + len < run->size);
}

bool PositionsAreSane(const BoxDiagRun* run)
{
    using bxd::HeaderWord;
    return IsBelow(run->cardOffset, run->limit) && IsBelow(HeaderWord(run, kHdItemOffset), run->size) &&
           IsBelow(HeaderWord(run, kHdOffsetTable), run->size) &&
           (!bxd::HasOffsetCard(run) ||
            TableIsInside(run, HeaderWord(run, kHdOffsetCard), HeaderWord(run, kHdOffsetCardSize))) &&
           TableIsInside(run, HeaderWord(run, kHdIndexTable), HeaderWord(run, kHdIndexTableSize));
}

// The items of a table that is in memory whole: each must end in it, and the last at its end.
u32 CheckItems(BoxDiagRun* run, const u8* table, u32 size)
{
    if (size == 0) { return bxd::ReportFault(run->file, DiagFault::kItemTotal); }
    uint64_t pos = 1;
    for (u32 i = 0; i < table[0]; ++i) {
        if (pos + kItemEntryHead > size) { return bxd::ReportFault(run->file, DiagFault::kItemLength); }
        pos += kItemEntryHead + GET_2BYTES(table + pos);
        if (pos > size) { return bxd::ReportFault(run->file, DiagFault::kItemLength); }
    }
    if (pos != size) { return bxd::ReportFault(run->file, DiagFault::kItemTotal); }
    run->limit -= kBareCard + table[0];
    return BXD_OK;
}

// One entry of the index table.
void LookAtIndex(BoxDiagRun* run, const bxd::IndexTableWalk& entry)
{
    char name[BXD_PATH_SIZE];
    (void)GetFullPathIndexName(name, entry.name(), run->file.name, entry.nameType());
    i32 count = IndexCardCounter(name);
    if (count == kNotOpened) {
        if (run->repair && BxdFileCheckFsSpace(kRemovalReserve, kRemovalNodes, kRemovalBytes) != 0) {
            (void)DeleteIndexName(run->file.fid, name);
        }
        return;
    }
    // A discharge index keeps entries of cards that are gone: its size says nothing of the box.
    if (count < 0 || (entry.flags() & kDischarge) == kDischarge) { return; }
    run->largestIndex = std::max(run->largestIndex, static_cast<u32>(count));
}

}  // namespace

extern "C" {

u32 BoxFileDiag(u8 fileId, u8 level, u32 repair)
{
    BoxDiagRun run = {};
    bxd::BeginDiag(&run.file, fileId, level);
    run.repair = repair != 0;

    u32 status = BoxFileDiagSub_Header(&run);
    for (auto step : {BoxFileDiagSub_ItemTable, BoxFileDiagSub_Card, BoxFileDiagSub_OffsetCard,
                      BoxFileDiagSub_OffsetTable, BoxFileDiagSub_NumIndex}) {
        if (status != BXD_OK) { return status; }
        status = step(&run);
    }
    if (status == BXD_OK) { (void)DeleteErrorFile(run.file.name); }
    return status;
}

u32 BoxFileDiagSub_Header(BoxDiagRun* run)
{
    u32 read = bxd::ReadForDiag(run->file, 0, run->header, kHeaderSize);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kBoxHeaderRead, DiagFault::kBoxHeaderShort);
    }
    run->size = BxdFileSize(run->file.fid);
    if (run->size == 0) { return bxd::ReportFault(run->file, DiagFault::kBoxSize); }
    run->limit = int64_t{run->size} - kAreaEnd;

    run->cardOffset = bxd::HeaderWord(run, kHdCardOffset);
    if (bxd::HeaderHalf(run, kHdCardCount) == 0 && bxd::IsPosition(run->cardOffset) &&
        bxd::HeaderWord(run, kHdIndexTable) == kUnset) {
        run->cardOffset = kUnset;
    }
    if (!PositionsAreSane(run)) { return bxd::ReportFault(run->file, DiagFault::kBoxPointer); }

    u32 unUsed = bxd::HeaderHalf(run, kHdUnUsedCardID);
    if (unUsed == 0 || unUsed > bxd::HeaderHalf(run, kHdMaxCardID) + 1u) {
        return bxd::ReportFault(run->file, DiagFault::kUnUsedCardId);
    }
    return BXD_OK;
}

u32 BoxFileDiagSub_ItemTable(BoxDiagRun* run)
{
    u32 pos = bxd::HeaderWord(run, kHdItemOffset);
    u32 size = bxd::HeaderWord(run, kHdItemSize);
    if (pos == kUnset) { return BXD_OK; }
    if (!bxd::FileHasAll(run, pos, size)) { return bxd::ReportFault(run->file, DiagFault::kItemShort); }

    bxd::HeapBlock table(size);
    if (!table) { return bxd::ReportFault(run->file, DiagFault::kItemHeap); }
    u32 read = bxd::ReadForDiag(run->file, pos, table.data(), size);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kItemRead, DiagFault::kItemShort);
    }
    return CheckItems(run, table.data(), size);
}

u32 BoxFileDiagSub_NumIndex(BoxDiagRun* run)
{
    u32 pos = bxd::HeaderWord(run, kHdIndexTable);
    u32 size = bxd::HeaderWord(run, kHdIndexTableSize);
    if (pos == kUnset) { return BXD_OK; }
    if (size < kCardHead || !bxd::FileHasAll(run, pos, size)) {
        return bxd::ReportFault(run->file, DiagFault::kIndexTableShort);
    }
    // Two bytes of the erased state end the walk in a table that is full to the brim.
    bxd::HeapBlock table(size_t{size} + sizeof(u16));
    if (!table) { return bxd::ReportFault(run->file, DiagFault::kIndexTableHeap); }
    u32 read = bxd::ReadForDiag(run->file, pos, table.data(), size);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kIndexTableRead, DiagFault::kIndexTableShort);
    }
    PUT_2BYTES(table.data() + size, 0xFFFF);
    if (GET_2BYTES(table.data()) != INDEX_TABLE_ID) {
        return bxd::ReportFault(run->file, DiagFault::kIndexTableId);
    }
    // No walk along entries that leave the table.
    if (!bxd::IndexEntriesFit(table.data(), size)) {
        return bxd::ReportFault(run->file, DiagFault::kIndexTableShort);
    }
    for (bxd::IndexTableWalk entry(table.data()); !entry.atEnd(); entry.next()) { LookAtIndex(run, entry); }
    return BXD_OK;
}

i32 IndexCardCounter(const char* name)
{
    u8 kind = 0;
    i32 opened = IndexOpenCheck(name, &kind, 1);
    if (opened < 0) { return kNotOpened; }
    bxd::OpenFile index(static_cast<u8>(opened));

    for (u32 field : {kIxInfoPos, kIxTablePos}) {
        u32 pos = 0;
        if (bxd::ReadWord(index.fid(), field, &pos) != BXD_OK) { return kNotRead; }
        if (pos == kUnset) { return 0; }
        if (field != kIxTablePos) { continue; }
        u16 count = 0;
        return bxd::ReadHalf(index.fid(), pos, &count) == BXD_OK ? count : kNotRead;
    }
    return kNotRead;
}
}
