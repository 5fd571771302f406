// SPDX-License-Identifier: MIT
#include "index/bxd_indx_lifecycle.h"

#include <bxd/language.h>

#include <algorithm>
#include <cstring>

#include "index/bxd_indx_condition.h"
#include "index/bxd_indx_entries.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_registry.h"
#include "match/bxd_cond_items.h"
#include "match/bxd_sort_cond.h"
#include "match/bxd_srch_cond.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"
#include "storage/heapwrapper.h"

namespace {

constexpr i32 kNotOpened = -3;  // of an open: no record could be made, or the file is barred
constexpr u8 kOpenToRead = 1;
constexpr u8 kOpenToWrite = 3;

constexpr u8 kSortVersion = 1;
constexpr u32 kLanguageLetters = 2;
constexpr u32 kInfoBytes = 4096;     // what a change of a record may cost
constexpr u32 kDeleteBytes = 512;    // and the deletion of an index
constexpr u16 kConditionMin = 5;     // a shorter condition has no test or key
constexpr u8 kAttrKept = 70;         // bits of an entry's attribute that keep it when the type goes
constexpr i32 kBoxOfIndex = -1;      // as a box's file id: the index names it
constexpr u32 kLanguageBuffer = 32;  // a name of a language has at most four letters

u32 StatusOf(i32 result) { return BxdSetErrorCode(result) & 0xFFFF; }

// --- conditions ------------------------------------------------------------------------------------------

using ConditionCompiler = u32 (*)(u8 indexFid, const u8* text, u8* code, i32 boxFid, u32* codeLength);

// Compiles the condition and writes the record. An index that has no box yet is compiled later.
u32 WriteCompiled(ConditionCompiler compiler, u8 fid, u16 tag, const u8* text, u32 textLength)
{
    // A sort condition gets shorter, and is compiled whole before it is found too long.
    bxd::HeapBlock code(std::max(kConditionCodeMax, textLength));
    if (!code) { return BXD_ERR_FAIL; }
    u32 length = 0;
    u32 status = compiler(fid, text, code.data(), kBoxOfIndex, &length);
    if (status == BXD_ERR_NOFILE) { return BXD_OK; }
    if (status != BXD_OK) { return status; }
    return length <= kConditionCodeMax ? IndexInfoWriteSub(fid, tag, code.data(), static_cast<u16>(length))
                                       : static_cast<u32>(BXD_ERR_FAIL);
}

u32 CompileText(ConditionCompiler compiler, u8 fid, u16 tag, const u8* data, u32 length)
{
    bxd::HeapBlock text(size_t{length} + kConditionSlack);
    if (!text) { return BXD_ERR_FAIL; }
    std::memcpy(text.data(), data, length);
    std::memset(text.data() + length, 0, kConditionSlack);
    return WriteCompiled(compiler, fid, tag, text.data(), length);
}

// A search condition may refer to the sort condition, so it follows when that has changed.
u32 CompileStoredSearch(u8 fid)
{
    u32 length = 0;
    u32 pos = 0;
    u32 status = SearchIndexInformation(fid, IDXINF_SEARCH_EXP, &length, &pos);
    if (status == BXD_ERR_NOTFOUND || (status == BXD_OK && length == 0)) { return BXD_OK; }
    bxd::HeapBlock text;
    if (status == BXD_OK) { status = bxd::ReadConditionText(fid, pos, length, &text); }
    if (status != BXD_OK) { return status; }
    return WriteCompiled(ConvertSearchCondition, fid, IDXINF_SEARCH_CODE, text.data(), length);
}

// --- pieces of the exported functions --------------------------------------------------------------------

u32 WriteFirstRecords(u8 fid, u8 kindCode)
{
    const u8* header = kindCode == BXD_INDEX_LIST ? tdx_file_header : index_file_header;
    u32 status = bxd::WriteAll(fid, 0, header, kIndexHeaderSize);
    if (status != BXD_OK) { return status; }
    char language[kLanguageBuffer] = {};
    BxdGetLanguage(language);
    status = IndexInfoWriteSub(fid, IDXINF_LANGUAGE, reinterpret_cast<const u8*>(language), kLanguageLetters);
    return status == BXD_OK ? IndexInfoWriteSub(fid, IDXINF_SORT_VERSION, &kSortVersion, sizeof kSortVersion)
                            : status;
}

// No name of a box is longer: it would take the place of a good one.
bool IsBoxNameTooLong(u16 tag, u16 length) { return tag == IDXINF_BOX_NAME && length >= BXD_PATH_SIZE; }

// The record has been written: its box is told.
u32 TellBox(u8 fid, u8 fileId, const char* name, u16 tag, const u8* data, u16 length)
{
    // What the box's table takes of the data is a name or one byte.
    u8 copy[BXD_PATH_SIZE];
    u32 count = length < BXD_PATH_SIZE ? length : BXD_PATH_SIZE - 1u;
    if (count != 0) { std::memcpy(copy, data, count); }
    copy[count] = 0;
    return DoIndexInfoWrite(fid, fileId, name, tag, copy);
}

u32 InfoWrite(const char* name, u16 tag, const u8* data, u16 length, bool checked)
{
    u32 status = bxd::RequireSpace(0, kUsualNodes, kInfoBytes);
    if (status != BXD_OK) { return status; }
    u8 kind = 0;
    i32 opened = IndexOpenCheck(name, &kind, kOpenToWrite);
    if (opened < 0) { return BXD_ERR_NOFILE; }
    bxd::OpenFile index(static_cast<u8>(opened));
    if (IsBoxNameTooLong(tag, length)) { return BXD_ERR_FAIL; }
    status = IndexInfoWriteSub(index.fid(), tag, data, length);
    if (status == BXD_OK) { status = SearchSortExpCheck(index.fid(), tag, data, length); }
    if (status != BXD_OK && (checked || status != BXD_ERR_CONDITION)) { return status; }
    return TellBox(index.fid(), kind, name, tag, data, length);
}

// Registers an index by what its records say. One that names no box stays by itself.
u32 RegisterCopy(u8 fid, u8 fileId, const char* name)
{
    char boxName[BXD_PATH_SIZE];
    u32 status = bxd::ReadIndexBoxName(fid, boxName);
    if (status == BXD_ERR_NOTFOUND || status == BXD_ERR_OTHER) { return BXD_OK; }
    if (status != BXD_OK || boxName[0] == '\0') { return status; }
    return bxd::RegisterIndex(
        boxName, {name, fileId, GetIndexInfo(fid, IDXINF_TYPE), GetIndexInfo(fid, IDXINF_UPDATE_MODE)},
        bxd::BadBox::kOpen);
}

u32 FillCopy(u8 source, u8 fid, u8 fileId, const char* name, u16 tag, const u8* data, u16 length)
{
    u32 status = DataReadAndWriteFile(source, fid, BxdFileSize(source), 0);
    if (status == BXD_OK) { status = IndexInfoWriteSub(fid, tag, data, length); }
    if (status == BXD_OK) { status = SearchSortExpCheck(fid, tag, data, length); }
    if (status != BXD_OK && status != BXD_ERR_CONDITION) { return status; }
    // The copy is registered once, by all that its records say.
    return tag == IDXINF_BOX_NAME ? TellBox(fid, fileId, name, tag, data, length)
                                  : RegisterCopy(fid, fileId, name);
}

// Opens the box that an index names.
u32 OpenBoxOf(u8 indexFid, const char* indexName, bxd::OpenFile* box)
{
    char stored[BXD_PATH_SIZE];
    char full[BXD_PATH_SIZE];
    u32 status = bxd::ReadIndexBoxName(indexFid, stored);
    if (status == BXD_OK && stored[0] == '\0') { return BXD_ERR_FAIL; }
    if (status == BXD_OK) {
        status = GetFullPathBoxName(full, indexName, stored, GetNameType(stored, indexName));
    }
    u8 fid = kNoFile;
    if (status == BXD_OK) { status = CheckFileBox(full, &fid, 0); }
    if (status == BXD_OK) { box->reset(fid); }
    return status;
}

}  // namespace

extern "C" {

u32 IndexInfoWriteSub(u8 fid, u16 tag, const u8* data, u16 length)
{
    if (!bxd::IsRecord(tag, length)) { return BXD_ERR_FAIL; }
    u8 oldMode = GetIndexInfo(fid, IDXINF_UPDATE_MODE);
    i16 growth = static_cast<i16>(length);
    u32 status = MakeIndexInfo(fid, tag, data, &growth);
    // The card table has moved by then, also where the record itself could not be written.
    u32 shifted = bxd::ShiftTable(fid, growth);
    if (status == BXD_OK) { status = shifted; }
    if (status != BXD_OK) { return status; }
    bool leavesFiltered = tag == IDXINF_UPDATE_MODE && oldMode == BXD_INDEX_FILTERED &&
                          (length == 0 || data[0] != BXD_INDEX_FILTERED);
    return leavesFiltered ? DeleteDoublyCardData(fid) : static_cast<u32>(BXD_OK);
}

u32 SearchSortExpCheck(u8 indexFid, u16 tag, const u8* data, u16 length)
{
    // A shorter condition leaves the compiled form of the one before it, which stays the one in force.
    if (length < kConditionMin) { return BXD_OK; }
    if (tag == IDXINF_SEARCH_EXP) {
        return CompileText(ConvertSearchCondition, indexFid, IDXINF_SEARCH_CODE, data, length);
    }
    if (tag != IDXINF_SORT_EXP) { return BXD_OK; }
    u32 status = CompileText(ConvertSortCondition, indexFid, IDXINF_SORT_CODE, data, length);
    return status == BXD_OK ? CompileStoredSearch(indexFid) : status;
}

u32 DoIndexInfoWrite(u8 indexFid, u8 indexFileId, const char* indexName, u16 tag, const u8* data)
{
    switch (tag) {
    case IDXINF_BOX_NAME:
        return bxd::RegisterIndex(reinterpret_cast<const char*>(data),
                                  {indexName, indexFileId, GetIndexInfo(indexFid, IDXINF_TYPE),
                                   GetIndexInfo(indexFid, IDXINF_UPDATE_MODE)},
                                  bxd::BadBox::kOpenAndAcquit);
    case IDXINF_TYPE:
        return AddIndexType(indexFid, indexName, data[0], indexFileId,
                            GetIndexInfo(indexFid, IDXINF_UPDATE_MODE));
    case IDXINF_UPDATE_MODE:
        return AddIndexType(indexFid, indexName, GetIndexInfo(indexFid, IDXINF_TYPE), indexFileId, data[0]);
    default: return BXD_OK;
    }
}

u32 _IndexCreate(const char* name, u8 kindCode)
{
    u32 found = BxdFileSearch(name, 0, 0);
    if (found != BXD_ERR_NOFILE) { return found == BXD_OK ? static_cast<u32>(BXD_ERR_EXIST) : found; }
    i32 created = BxdFileCreate(name, 0);
    if (created < 0) {
        (void)BxdFileDelete(name);  // it was not there before, and nothing of it stays
        return StatusOf(created);
    }
    bxd::OpenFile index(static_cast<u8>(created));
    u32 status = WriteFirstRecords(index.fid(), kindCode);
    (void)index.close();
    if (status != BXD_OK) { (void)BxdFileDelete(name); }
    return status;
}

u32 _IndexDelete(const char* name)
{
    // Past the registry of bad files: a bad index may be deleted.
    i32 opened = _BxdFileOpen(name, BXD_MODE_READ);
    if (opened < 0) {
        (void)BxdFileDelete(name);
        return opened == kNotOpened ? static_cast<u32>(BXD_ERR_NOFILE) : StatusOf(opened);
    }
    bxd::OpenFile index(static_cast<u8>(opened));
    bxd::OpenFile box;
    u32 orphan = OpenBoxOf(index.fid(), name, &box);
    // Without room the name stays in the table, and is found to lead nowhere.
    if (orphan == BXD_OK && BxdFileCheckFsSpace(1, kUsualNodes, kDeleteBytes) != 0) {
        (void)DeleteIndexName(box.fid(), name);
    }
    (void)box.close();
    (void)index.close();
    u32 deleted = BxdFileDelete(name);
    return orphan != BXD_OK ? orphan : deleted;
}

u32 _IndexCopy(const char* srcName, const char* destName, u16 tag, const u8* data, u16 length)
{
    u8 kind = 0;
    i32 opened = IndexOpenCheck(srcName, &kind, kOpenToWrite);
    if (opened < 0) { return BXD_ERR_NOFILE; }
    bxd::OpenFile source(static_cast<u8>(opened));
    // To make the copy would empty the source.
    if (bxd::SameHostFile(srcName, destName)) { return BXD_ERR_EXIST; }
    if (!bxd::IsRecord(tag, length) || IsBoxNameTooLong(tag, length) || (data == nullptr && length != 0)) {
        return BXD_ERR_FAIL;
    }
    i32 created = BxdFileCreate(destName, 0);
    if (created < 0) {
        if (created == kNotOpened) { (void)BxdFileDelete(destName); }  // made, and empty
        return BXD_ERR_FAIL;
    }
    bxd::OpenFile copy(static_cast<u8>(created));
    u32 status = FillCopy(source.fid(), copy.fid(), kind, destName, tag, data, length);
    (void)copy.close();
    (void)source.close();
    if (status != BXD_OK) { (void)BxdFileDelete(destName); }
    return status;
}

u32 _IndexInfoWrite(const char* name, u16 tag, const u8* data, u16 length)
{
    return InfoWrite(name, tag, data, length, false);
}

u32 _IndexInfoWriteWithCheck(const char* name, u16 tag, const u8* data, u16 length)
{
    return InfoWrite(name, tag, data, length, true);
}

u32 _IndexInfoRead(const char* name, u16 tag, void* buffer, u16* length)
{
    u8 kind = 0;
    i32 opened = IndexOpenCheck(name, &kind, kOpenToRead);
    if (opened < 0) { return BXD_ERR_NOFILE; }
    bxd::OpenFile index(static_cast<u8>(opened));
    if (!bxd::IsRecord(tag, 0)) { return BXD_ERR_NOTFOUND; }
    u32 stored = 0;
    u32 pos = 0;
    u32 status = SearchIndexInformation(index.fid(), static_cast<u8>(tag), &stored, &pos);
    if (status != BXD_OK) { return status == BXD_ERR_OTHER ? static_cast<u32>(BXD_ERR_FAIL) : status; }
    u32 count = *length < stored ? *length : stored;
    *length = static_cast<u16>(stored);
    return bxd::ReadExactly(index.fid(), pos, buffer, count);
}

u32 _IndexInfoDelete(const char* name, u16 tag)
{
    u32 status = bxd::RequireSpace(1, kUsualNodes, kInfoBytes);
    if (status != BXD_OK) { return status; }
    u8 kind = 0;
    i32 opened = IndexOpenCheck(name, &kind, kOpenToWrite);
    if (opened < 0) { return BXD_ERR_NOFILE; }
    bxd::OpenFile index(static_cast<u8>(opened));
    status = bxd::CutIndexInfo(index.fid(), tag);
    if (status != BXD_OK) { return status; }
    if (tag == IDXINF_TYPE) {
        status = AddIndexType(index.fid(), name, 0, kind, GetIndexInfo(index.fid(), IDXINF_UPDATE_MODE));
        return status == BXD_OK ? DeleteAttrIndex(index.fid(), kAttrKept, 0, 0) : status;
    }
    if (tag != IDXINF_UPDATE_MODE) { return BXD_OK; }
    return AddIndexType(index.fid(), name, GetIndexInfo(index.fid(), IDXINF_TYPE), kind, 0);
}
}
