// SPDX-License-Identifier: MIT
#include "diag/bxd_diag_index.h"

#include <bxd/diag.h>
#include <bxd/language.h>

#include <cstring>

#include "box/bxd_box_format.h"
#include "diag/bxd_diag_faults.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_lookup.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"

namespace {

constexpr u8 kSortVersion = 1;
constexpr u32 kLanguageLength = 2;

constexpr u32 kEntryIds = 65280;             // ids that an entry may have: 1 to this
constexpr u32 kIdTableSize = kEntryIds / 8;  // a bit for each

// An index under check.
struct IndexRun {
    DiagRun file;
    u32 size;
    u32 tablePos;
    u32 infoPos;
    char language[kLanguageLength + 1];
    u8 sortVersion;
    u32 count;  // entries; 0 where there is no card table
};

u32 CheckHeader(IndexRun* run)
{
    u8 header[kIndexHeaderSize] = {};
    u32 read = bxd::ReadForDiag(run->file, 0, header, sizeof header);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kIndexHeaderRead, DiagFault::kIndexHeaderShort);
    }
    run->size = BxdFileSize(run->file.fid);
    if (run->size == 0) { return bxd::ReportFault(run->file, DiagFault::kIndexSize); }

    run->tablePos = GET_4BYTES(header + kIxTablePos);
    run->infoPos = GET_4BYTES(header + kIxInfoPos);
    if (run->tablePos != kUnset && run->tablePos > run->size) {
        return bxd::ReportFault(run->file, DiagFault::kTablePos);
    }
    if (run->infoPos != kUnset && (run->infoPos > run->size || run->infoPos >= run->tablePos)) {
        return bxd::ReportFault(run->file, DiagFault::kInfoPos);
    }
    return BXD_OK;
}

// Walks the records and keeps those of the language. One byte, the end tag, must be left.
u32 CheckRecords(IndexRun* run, const u8* area, u32 length)
{
    u32 pos = 0;
    while (pos < length && area[pos] != 0) {
        if (pos + kIxRecordHead > length) { return bxd::ReportFault(run->file, DiagFault::kInfoRecord); }
        u32 dataLength = GET_2BYTES(area + pos + kIxRecordLengthAt);
        const u8* data = area + pos + kIxRecordHead;
        if (pos + kIxRecordHead + dataLength > length) {
            return bxd::ReportFault(run->file, DiagFault::kInfoRecord);
        }
        if (area[pos] == IDXINF_LANGUAGE && dataLength == kLanguageLength) {
            std::memcpy(run->language, data, kLanguageLength);
        }
        if (area[pos] == IDXINF_SORT_VERSION && dataLength == sizeof run->sortVersion) {
            run->sortVersion = data[0];
        }
        pos += kIxRecordHead + dataLength;
    }
    if (pos + 1 != length) { return bxd::ReportFault(run->file, DiagFault::kInfoRecord); }
    return BXD_OK;
}

u32 CheckInformation(IndexRun* run)
{
    u32 end = run->tablePos != kUnset ? run->tablePos : run->size;
    u32 length = static_cast<u16>(end - run->infoPos);  // records are bound to 16 bits
    bxd::HeapBlock area(length);
    if (!area) { return bxd::ReportFault(run->file, DiagFault::kInfoHeap); }
    u32 read = bxd::ReadForDiag(run->file, run->infoPos, area.data(), length);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kInfoRead, DiagFault::kInfoShort);
    }
    return CheckRecords(run, area.data(), length);
}

// The card table must end with the file; a file that is longer is cut.
u32 CheckTable(IndexRun* run)
{
    u8 count[kIxCountSize] = {};
    u32 read = bxd::ReadForDiag(run->file, run->tablePos, count, sizeof count);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kCountRead, DiagFault::kCountShort);
    }
    run->count = GET_2BYTES(count);

    uint64_t end = uint64_t{run->tablePos} + kIxCountSize + run->count * kIxEntrySize + kEndMarkSize;
    if (end > run->size) { return bxd::ReportFault(run->file, DiagFault::kIndexTooShort); }
    if (end < run->size) {
        u32 status = BxdFileCut(run->file.fid, static_cast<u32>(end));
        if (status != BXD_OK) { return bxd::ReportFault(run->file, DiagFault::kIndexTail, status); }
        run->size = static_cast<u32>(end);
    }

    u8 mark[kEndMarkSize] = {};
    read = bxd::ReadForDiag(run->file, run->size - kEndMarkSize, mark, sizeof mark);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kIndexEndRead, DiagFault::kIndexEndShort);
    }
    if (GET_2BYTES(mark) != END_MARK_ID) { return bxd::ReportFault(run->file, DiagFault::kIndexEndMark); }
    return BXD_OK;
}

u32 CheckEntries(IndexRun* run)
{
    if (run->count == 0) { return BXD_OK; }
    // A table of more entries than there are ids holds one twice for certain; its first entry alone is read.
    u32 count = run->count > kEntryIds ? 1 : run->count;
    bxd::HeapBlock met(kIdTableSize);
    bxd::HeapBlock entries(size_t{count} * kIxEntrySize);
    if (!met || !entries) { return bxd::ReportFault(run->file, DiagFault::kEntriesHeap); }
    std::memset(met.data(), 0, kIdTableSize);
    u32 read = bxd::ReadForDiag(run->file, uint64_t{run->tablePos} + kIxCountSize, entries.data(),
                                count * kIxEntrySize);
    if (read != BXD_OK) { return bxd::ReportRead(run->file, read, DiagFault::kEntriesRead); }

    bool mayHide = GetIndexInfo(run->file.fid, IDXINF_UPDATE_MODE) == BXD_INDEX_FILTERED;
    for (u32 n = 0; n < count; ++n) {
        const u8* entry = entries.data() + n * kIxEntrySize;
        u32 id = GET_2BYTES(entry);
        if (id == 0 || id > kEntryIds) { return bxd::ReportFault(run->file, DiagFault::kEntryId); }
        u8* byte = met.data() + (id - 1) / 8;
        u8 bit = static_cast<u8>(1u << ((id - 1) % 8));
        *byte ^= bit;
        if ((*byte & bit) == 0) { return bxd::ReportFault(run->file, DiagFault::kEntryTwice); }
        if (!mayHide && bxd::IsDoubly(entry)) { return bxd::ReportFault(run->file, DiagFault::kEntryHidden); }
    }
    return BXD_OK;
}

// An index without the two records is as one of another language: it has to be made anew.
u32 CheckLanguage(const IndexRun& run)
{
    if (BxdIsLanguageMatch(run.language) != 0 && run.sortVersion == kSortVersion) { return BXD_OK; }
    BxdDebug("BXD_LANGUAGE_ERR %s %s %d\n", run.file.name, run.language, run.sortVersion);
    return bxd::ReportFault(run.file, DiagFault::kLanguage);
}

}  // namespace

extern "C" {

u32 IndexFileDiag(u8 fileId, u8 level)
{
    IndexRun run = {};
    bxd::BeginDiag(&run.file, fileId, level);
    u32 status = CheckHeader(&run);
    if (status == BXD_OK && run.infoPos != kUnset) {
        status = CheckInformation(&run);
        if (status == BXD_OK && run.tablePos != kUnset) { status = CheckTable(&run); }
    }
    if (status == BXD_OK && level == BXD_CHECK_CARDS) { status = CheckEntries(&run); }
    if (status == BXD_OK) { status = CheckLanguage(run); }
    if (status == BXD_OK) { (void)DeleteErrorFile(run.file.name); }
    return status;
}
}
