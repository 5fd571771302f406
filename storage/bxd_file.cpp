// SPDX-License-Identifier: MIT
#include "storage/bxd_file.h"

#include <cstdlib>
#include <cstring>

#include "storage/bxd_file_ahead.h"
#include "storage/bxd_file_errors.h"
#include "storage/bxd_file_memo.h"
#include "storage/bxd_file_names.h"
#include "storage/stdiohst.h"
#include "storage/text.h"

namespace {

constexpr u32 kFileIds = 256;
constexpr u8 kFileIdWhenFull = 252;

constexpr i32 kNoRecord = -2;   // or no write access
constexpr i32 kNotOpened = -3;  // no record could be made, or the file is barred

// The ten bytes of kind 0: size, five bytes of 0, mode.
constexpr u32 kInfoSize = 10;
constexpr u32 kInfoModeAt = 9;

constexpr char kScratchName[] = "F0:TMPBXDV1.";
constexpr u32 kScratchDigits = 3;
constexpr i32 kScratchFiles = 100;

BxdFINFO* Record(u8 fid) { return gBxdFINFOTable[fid]; }

u32 StatusOf(i32 result) { return BxdSetErrorCode(result) & 0xFFFF; }

bool MayWrite(const BxdFINFO* record) { return (record->mode & BXD_MODE_WRITE_BIT) != 0; }

// What was read ahead or is remembered does not outlive a change of the file.
void DropReads(u8 fid, u32 offset, u32 len)
{
    bxd::ReadAhead* ahead = bxd::ReadAhead::of(fid);
    if (ahead != nullptr) { ahead->forget(); }
    bxd::ReadMemo* memo = bxd::ReadMemo::of(fid);
    if (memo != nullptr) { memo->forget(offset, len); }
}

// A size that cannot be had is 0 too: whoever writes must not take such a file for an empty one.
bool IsEmpty(u8 host)
{
    u32 sizeAndPosition[2] = {};
    return FileInfoRead(host, 0, sizeAndPosition) == 0 && sizeAndPosition[0] == 0;
}

// Opens the host file of a record. One that the host lets only be read opens so, with the mode that tells it.
bool OpenHost(BxdFINFO* record, const char* name, u8 mode)
{
    i32 host = FileOpenUseCache(name, mode);
    if (host < 0 && (mode & BXD_MODE_WRITE_BIT) != 0) {
        mode = static_cast<u8>(mode & ~BXD_MODE_WRITE_BIT);
        host = FileOpenUseCache(name, mode);
    }
    if (host < 0) { return false; }
    record->mode = mode;
    record->host = static_cast<u8>(host);
    record->size = FileSize(record->host);
    if (record->size != 0 || IsEmpty(record->host)) { return true; }
    (void)FileClose(record->host);
    return false;
}

// Gives a name that fits to an owner of `name` and `nameSize`; the old one stays when memory is short.
template <typename Owner>
bool TakeName(Owner* owner, const char* name)
{
    char work[BXD_PATH_SIZE];
    u16 size = static_cast<u16>(bxd::NameKey(work, name));
    char* copy = bxd::CopyName(work, size);
    if (copy == nullptr) { return false; }
    free(owner->name);
    owner->name = copy;
    owner->nameSize = size;
    return true;
}

}  // namespace

extern "C" {

BxdFINFO* gBxdFINFOTable[kFileIds];

// --- records ---------------------------------------------------------------------------------------------

// A whole key never equals the low half of one, so that nothing is found: every open has a record of its own.
BxdFINFO* SearchBxdFINFOFromFID(const char* name)
{
    if (!bxd::NameFits(name)) { return nullptr; }
    char work[BXD_PATH_SIZE];
    u32 key = bxd::NameKey(work, name);
    for (BxdFINFO* record : gBxdFINFOTable) {
        if (record == nullptr || record->nameSize != key) { continue; }
        if (BxdCheckFileName(record->name, work)) { return record; }
    }
    return nullptr;
}

BxdFINFO* CreateBxdFINFO()
{
    BxdFINFO* record = static_cast<BxdFINFO*>(malloc(sizeof(BxdFINFO)));
    if (record != nullptr) { *record = {}; }
    return record;
}

void DeleteBxdFINFO(BxdFINFO* record)
{
    gBxdFINFOTable[record->fid] = nullptr;
    free(record->name);
    free(record);
}

u8 GetBxdFID()
{
    for (u32 fid = 0; fid < kFileIds; ++fid) {
        if (gBxdFINFOTable[fid] == nullptr) { return static_cast<u8>(fid); }
    }
    return kFileIdWhenFull;
}

BxdFINFO* InitBxdFINFO(const char* name, u8 mode)
{
    if (!bxd::NameFits(name)) { return nullptr; }
    BxdFINFO* record = CreateBxdFINFO();
    if (record == nullptr) { return nullptr; }
    record->fid = GetBxdFID();
    if (!OpenHost(record, name, mode)) {
        DeleteBxdFINFO(record);
        return nullptr;
    }
    if (!TakeName(record, name)) {
        (void)FileClose(record->host);
        DeleteBxdFINFO(record);
        return nullptr;
    }
    record->refs = 1;
    gBxdFINFOTable[record->fid] = record;
    return record;
}

// --- open and close --------------------------------------------------------------------------------------

i32 BxdFileOpen(const char* name, u8 mode)
{
    const BxdErrorFile* bad = IsErrorFile(name);
    if (bad != nullptr && bad->status != BXD_ERRFILE_OPENABLE) { return kNotOpened; }
    return _BxdFileOpen(name, mode);
}

i32 _BxdFileOpen(const char* name, u8 mode)
{
    BxdFINFO* record = SearchBxdFINFOFromFID(name);
    if (record != nullptr) {
        ++record->refs;
        return record->fid;
    }
    record = InitBxdFINFO(name, mode);
    return record == nullptr ? kNotOpened : record->fid;
}

i32 BxdFileCreate(const char* name, u8 attr)
{
    if (!bxd::NameFits(name)) { return kNotOpened; }
    i32 host = FileCreate(name, attr);
    if (host < 0) { return host; }
    (void)FileClose(static_cast<u8>(host));  // the stream that makes a file can only write
    (void)DeleteErrorFile(name);             // what is new is not bad

    BxdFINFO* record = SearchBxdFINFOFromFID(name);
    if (record == nullptr) {
        record = InitBxdFINFO(name, BXD_MODE_CREATED);
        return record == nullptr ? kNotOpened : record->fid;
    }
    record->size = 0;
    record->refs = 1;
    record->mode = BXD_MODE_CREATED;
    return record->fid;
}

u32 BxdFileClose(u8 fid) { return BxdFileCloseCore(fid, 0); }

u32 BxdFileForceClose(u8 fid) { return BxdFileCloseCore(fid, 1); }

u32 BxdFileCloseCore(u8 fid, u32 force)
{
    BxdFINFO* record = Record(fid);
    if (record == nullptr) {
        BxdDebug("BxdFileClose: this file Id is not in open table\n");
        return BXD_ERR_NOFILE;
    }
    if (force == 0 && record->refs != 1) {
        if (record->refs > 1) { --record->refs; }
        return BXD_OK;
    }
    i32 result = FileClose(record->host);
    DeleteBxdFINFO(record);
    if (result < 0) { BxdDebug("BxdFileClose: failed to close file\n"); }
    return StatusOf(result);
}

i32 BxdFileOpenTmp(char* name)
{
    memcpy(name, kScratchName, sizeof kScratchName);
    char* digits = name + sizeof kScratchName - 1;
    for (i32 number = 0; number < kScratchFiles; ++number) {
        I2A_0nd(reinterpret_cast<u8*>(digits), number, kScratchDigits);
        if (BxdFileSearch(name, 0, 0) == BXD_OK) { continue; }
        i32 fid = BxdFileCreate(name, 0);
        if (fid >= 0) { return fid; }
        if (fid == kNotOpened) { (void)FileDelete(name); }  // made in vain, and there are only so many names
    }
    return -1;
}

u8 BxdFileOpenMode(u8 fid)
{
    const BxdFINFO* record = Record(fid);
    return record == nullptr ? u8{0} : record->mode;
}

u32 BxdFileLock(u8 fid)
{
    const BxdFINFO* record = Record(fid);
    if (record == nullptr) { return BXD_ERR_NOFILE; }
    if (FileLockForWrite(record->host) == 0) { return BXD_OK; }
    BxdDebug("failed locking %s for writing.\n", record->name);
    return BXD_ERR_OTHER;
}

// --- transfer --------------------------------------------------------------------------------------------

i32 BxdFileRead(u8 fid, i32 offset, void* buf, u32 len)
{
    const BxdFINFO* record = Record(fid);
    if (record == nullptr) {
        BxdDebug("BxdFileRead: invalid file table %x\n", fid);
        return kNoRecord;
    }
    u32 count = len > INT32_MAX ? INT32_MAX : len;  // a count must not look like a failure
    bxd::ReadAhead* ahead = bxd::ReadAhead::of(fid);
    if (ahead != nullptr && ahead->read(static_cast<u32>(offset), buf, count)) {
        return static_cast<i32>(count);
    }
    bxd::ReadMemo* memo = bxd::ReadMemo::of(fid);
    if (memo != nullptr && memo->read(static_cast<u32>(offset), buf, count)) {
        return static_cast<i32>(count);
    }
    i32 result = FileOfsRead(record->host, offset, buf, &count);
    if (result < 0) {
        BxdDebug("BxdFileRead: error in FileOfsRead %x\n", static_cast<u32>(result));
        return result;
    }
    return static_cast<i32>(count);
}

i32 BxdFileWrite(u8 fid, u32 offset, const void* buf, i32 len)
{
    BxdFINFO* record = Record(fid);
    if (record == nullptr) {
        BxdDebug("BxdFileWrite: invalid file table %x\n", fid);
        return kNoRecord;
    }
    if (len == 0) { return BxdFileCut(fid, offset) == BXD_OK ? 0 : kNoRecord; }
    if (!MayWrite(record)) { return kNoRecord; }
    DropReads(fid, offset, static_cast<u32>(len));

    u32 count = static_cast<u32>(len);
    i32 result = len < 0 ? -1 : FileOfsWrite(record->host, static_cast<i32>(offset), buf, &count);
    if (result < 0) {
        BxdDebug("BxdFileWrite: error in FileOfsWrite %x %s\n", static_cast<u32>(result), record->name);
        return result;
    }
    if (offset + count > record->size) { record->size = offset + count; }
    return len;
}

u32 DataReadFromFile(u8 fid, i32 offset, void* buf, u32* len)
{
    i32 result = BxdFileRead(fid, offset, buf, *len);
    if (result < 0) { return StatusOf(result); }
    *len = static_cast<u32>(result);
    return BXD_OK;
}

u32 DataWriteToFile(u8 fid, u32 offset, const void* buf, u32* len)
{
    i32 result = BxdFileWrite(fid, offset, buf, static_cast<i32>(*len));
    if (result < 0) { return StatusOf(result); }
    *len = static_cast<u32>(result);
    return BXD_OK;
}

u32 BxdFileCut(u8 fid, u32 offset)
{
    BxdFINFO* record = Record(fid);
    if (record == nullptr) { return BXD_ERR_NOFILE; }
    if (!MayWrite(record)) { return BXD_ERR_ACCESS; }
    DropReads(fid, offset, UINT32_MAX);
    u32 none = 0;
    i32 result = FileOfsWrite(record->host, static_cast<i32>(offset), nullptr, &none);
    if (result < 0) {
        BxdDebug("BxdFileCut: error in FileOfsWrite %x\n", static_cast<u32>(result));
        return StatusOf(result);
    }
    record->size = offset;
    return BXD_OK;
}

// --- facts -----------------------------------------------------------------------------------------------

u32 BxdFileSize(u8 fid)
{
    u8 info[kInfoSize];
    return BxdFileInfoRead(fid, 0, info) == BXD_OK ? GET_4BYTES(info) : 0;
}

u32 FileSize(u8 h)
{
    u32 words[2] = {};
    if (FileInfoRead(h, 0, words) == 0) { return words[0]; }
    BxdDebug("FileSize: error in FileInfoRead\n");
    return 0;
}

u32 BxdFileInfoRead(u8 fid, u8 kind, void* dst)
{
    const BxdFINFO* record = Record(fid);
    if (record == nullptr) { return BXD_ERR_NOFILE; }
    if (kind == 0) {
        u8* info = static_cast<u8*>(dst);
        memset(info, 0, kInfoSize);
        PUT_4BYTES(info, record->size);
        info[kInfoModeAt] = record->mode;
        return BXD_OK;
    }
    if (kind == 1) {
        memcpy(dst, record->name, record->nameSize);
        return BXD_OK;
    }
    return StatusOf(FileInfoRead(record->host, kind, dst));
}

u32 BxdFileName(u8 fid, char* dst) { return BxdFileInfoRead(fid, 1, dst); }

// --- files by name ---------------------------------------------------------------------------------------

u32 BxdFileSearch(const char* name, u32 /*unused1*/, u32 /*unused2*/) { return StatusOf(FileSearch(name)); }

u32 BxdFileDelete(const char* name)
{
    if (!bxd::NameFits(name)) { return BXD_ERR_FAIL; }
    // A bad file may be deleted under its users.
    if (DeleteErrorFile(name) != BXD_OK) {
        BxdFINFO* record = SearchBxdFINFOFromFID(name);
        if (record != nullptr && record->refs != 0) {
            BxdDebug("failed to delete %s\n", name);
            return BXD_ERR_ACCESS;
        }
        if (record != nullptr) { DeleteBxdFINFO(record); }
    }
    return StatusOf(FileDelete(name));
}

u32 BxdFileRename(const char* oldName, const char* newName)
{
    if (!bxd::NameFits(oldName) || !bxd::NameFits(newName)) { return BXD_ERR_FAIL; }
    BxdErrorFile* bad = IsErrorFile(oldName);
    if (bad != nullptr && !TakeName(bad, newName)) { return BXD_ERR_FAIL; }
    BxdFINFO* record = SearchBxdFINFOFromFID(oldName);
    if (record != nullptr && !TakeName(record, newName)) { return BXD_ERR_FAIL; }
    return StatusOf(FileRename());
}

// --- an aid ----------------------------------------------------------------------------------------------

void CheckFINFO()
{
    for (u32 fid = 0; fid < kFileIds; ++fid) {
        const BxdFINFO* record = gBxdFINFOTable[fid];
        if (record == nullptr) { continue; }
        u32 table = static_cast<u32>(reinterpret_cast<uintptr_t>(gBxdFINFOTable));
        u32 place = static_cast<u32>(reinterpret_cast<uintptr_t>(record));
        BxdDebug("CheckFINFO bxdfinfo %x %x %d\n", table, place, static_cast<int>(fid));
        return;
    }
    BxdDebug("CheckFINFO ok\n");
}
}

namespace bxd {

u32 ReadExactly(u8 fid, u32 offset, void* buf, u32 len, u32 shortStatus)
{
    if (len == 0) { return BXD_OK; }
    u32 count = len;
    u32 status = DataReadFromFile(fid, static_cast<i32>(offset), buf, &count);
    if (status != BXD_OK) { return status; }
    return count == len ? u32{BXD_OK} : shortStatus;
}

u32 WriteAll(u8 fid, u32 offset, const void* buf, u32 len)
{
    if (len == 0) { return BXD_OK; }
    u32 count = len;
    u32 status = DataWriteToFile(fid, offset, buf, &count);
    if (status != BXD_OK) { return status; }
    return count == len ? BXD_OK : BXD_ERR_FAIL;
}

u32 ReadWord(u8 fid, u32 offset, u32* value)
{
    u8 bytes[4] = {};
    u32 status = ReadExactly(fid, offset, bytes, sizeof bytes);
    if (status == BXD_OK) { *value = GET_4BYTES(bytes); }
    return status;
}

u32 WriteWord(u8 fid, u32 offset, u32 value)
{
    u8 bytes[4];
    PUT_4BYTES(bytes, value);
    return WriteAll(fid, offset, bytes, sizeof bytes);
}

u32 ReadHalf(u8 fid, u32 offset, u16* value)
{
    u8 bytes[2] = {};
    u32 status = ReadExactly(fid, offset, bytes, sizeof bytes);
    if (status == BXD_OK) { *value = GET_2BYTES(bytes); }
    return status;
}

bool FileHolds(u8 fid, uint64_t end)
{
    const BxdFINFO* record = gBxdFINFOTable[fid];
    return record != nullptr && (end <= record->size || end <= FileSize(record->host));
}

u32 WriteHalf(u8 fid, u32 offset, u16 value)
{
    u8 bytes[2];
    PUT_2BYTES(bytes, value);
    return WriteAll(fid, offset, bytes, sizeof bytes);
}

}  // namespace bxd
