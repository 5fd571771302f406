// SPDX-License-Identifier: MIT
#include "box/bxd_box.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "box/bxd_box_handle.h"
#include "box/bxd_card_delete.h"
#include "box/bxd_card_format.h"
#include "box/bxd_card_slots.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_registry.h"
#include "storage/bxd_file_errors.h"
#include "storage/stdiohst.h"

namespace {

constexpr u32 kItemTableMax = 1 + 255 * (kItemEntryHead + 0xFFFF);

// --- opening -------------------------------------------------------------------------------------------

u32 WantedCardLimit(const u8* header)
{
    u32 limit = GET_4BYTES(header + kHdSystemCardSize);
    return limit == kUnset ? kSystemCardLimit : limit;
}

void FillDriveName(BoxRecord* record, const char* name)
{
    const char* colon = std::strchr(name, ':');
    size_t length = colon != nullptr ? static_cast<size_t>(colon - name) + 1 : 0;
    if (length >= sizeof record->driveName) { length = 0; }
    record->driveLen = static_cast<u8>(length);
    std::memcpy(record->driveName, name, length);
}

// The handle of the open box, with its item table read; null for a box without items, or with a damaged
// table of them.
BoxHandle MakeHandle(const char* name, u8 fid, const u8* header)
{
    u32 itemOffset = GET_4BYTES(header + kHdItemOffset);
    u32 itemSize = GET_4BYTES(header + kHdItemSize);
    if (itemOffset == kUnset || itemSize > kItemTableMax) { return nullptr; }
    if (!bxd::FileHolds(fid, static_cast<uint64_t>(itemOffset) + itemSize)) { return nullptr; }

    BoxHandle box =
        reinterpret_cast<BoxHandle>(NewHeapHandle(static_cast<u32>(sizeof(BoxRecord)) + itemSize));
    if (box == nullptr) { return nullptr; }
    BoxRecord* record = *box;
    *record = {};
    record->fid = fid;
    record->host = gBxdFINFOTable[fid]->host;
    record->systemCardLimit = WantedCardLimit(header);
    record->itemTable = reinterpret_cast<u8*>(record + 1);
    FillDriveName(record, name);
    if (bxd::ReadExactly(fid, itemOffset, record->itemTable, itemSize) != BXD_OK ||
        !bxd::ItemEntriesFit(record->itemTable, itemSize)) {
        DisposeHeapHandle(box);
        return nullptr;
    }
    return box;
}

// Clears the garbage bit, which speaks to older handles, and takes the lock of a box opened for writing.
u32 TakeForWriting(u8 fid, u8 garbageFlags, u32 readOnly)
{
    if ((BxdFileOpenMode(fid) & BXD_MODE_WRITE_BIT) != 0) {
        garbageFlags = static_cast<u8>(garbageFlags & ~kGarbageBit);
        u32 status = bxd::WriteAll(fid, kHdGarbageFlags, &garbageFlags, sizeof garbageFlags);
        if (status != BXD_OK) { return status; }
    }
    return readOnly != 0 ? static_cast<u32>(BXD_OK) : BxdFileLock(fid);
}

// --- by name -------------------------------------------------------------------------------------------

// A box opened by name for one operation, with its header read.
class NamedBox {
public:
    NamedBox(const char* name, u32 readOnly)
    {
        u8 fid = kNoFile;
        status_ = CheckFileBoxExRwMode(name, &fid, header_, readOnly);
        if (status_ == BXD_OK) { file_.reset(fid); }
    }
    u32 status() const { return status_; }
    u8 fid() const { return file_.fid(); }
    const u8* header() const { return header_; }

private:
    u32 status_;
    u8 header_[kHeaderSize] = {};
    bxd::OpenFile file_;
};

u32 WriteField(const char* name, u32 offset, const void* value, u32 size)
{
    NamedBox box(name, 0);
    return box.status() == BXD_OK ? bxd::WriteAll(box.fid(), offset, value, size) : box.status();
}

// Opens a box or an index file, and tells where its application byte lies.
u32 OpenWithFileInfo(const char* name, u8 mode, bxd::OpenFile* file, u32* infoOffset)
{
    i32 opened = BxdFileOpen(name, mode);
    if (opened < 0) { return BXD_ERR_NOFILE; }
    file->reset(static_cast<u8>(opened));
    u8 kind[2] = {};
    u32 status = SeekFileIder(file->fid(), kind);
    if (status != BXD_OK) { return status; }
    bool isIndex = kind[0] == kIndexFileIdMaster || kind[0] == kIndexFileIdList;
    if ((kind[0] != kBoxFileId && !isIndex) || !bxd::IsKnownVersion(kind[1])) { return BXD_ERR_NOFILE; }
    *infoOffset = isIndex ? kIxFileInfo : kHdFileInfo;
    return BXD_OK;
}

// The index table of a box by name; the caller's owner frees it.
u32 ReadIndexTableOf(const char* name, bxd::HeapBlock* table)
{
    NamedBox box(name, 1);
    if (box.status() != BXD_OK) { return box.status(); }
    u8* block = nullptr;
    u32 status = ReadIndexTable(box.fid(), &block);
    table->reset(block);
    return status;
}

}  // namespace

extern "C" {

u32 BxdSetupDriveWork(u8 drive)
{
    (void)DeleteDriveErrorFile(drive == 0 ? "F0:" : "F1:");
    return _GetAllBoxGarbageSize();
}

u32 _BxdnInit()
{
    u32 builtin = BxdSetupDriveWork(0);
    u32 external = BxdSetupDriveWork(1);
    return builtin != BXD_OK ? builtin : external;
}

u32 _BoxCreate(const char* name, u32 aplName)
{
    u32 found = BxdFileSearch(name, 0, 0);
    if (found != BXD_ERR_NOFILE) { return found == BXD_OK ? static_cast<u32>(BXD_ERR_EXIST) : found; }
    i32 created = BxdFileCreate(name, 0);
    if (created < 0) {
        (void)BxdFileDelete(name);  // it was not there before, and nothing of it stays
        return BxdSetErrorCode(created) & 0xFFFF;
    }

    u8 fid = static_cast<u8>(created);
    bxd::HeapBlock box(kNewBoxSize);
    u32 status = BXD_ERR_FAIL;
    if (box) {
        std::memcpy(box.data(), box_file_header, kHeaderSize);
        PUT_4BYTES(box.data() + kHdAplName, aplName);
        std::memset(box.data() + kHeaderSize, 0xFF, kOffsetTableSize);
        status = bxd::WriteAll(fid, 0, box.data(), kNewBoxSize);
    }
    (void)BxdFileClose(fid);
    if (status != BXD_OK) { (void)BxdFileDelete(name); }
    return status;
}

BoxHandle _BoxOpen(const char* name) { return _BoxOpenRwMode(name, 0); }

BoxHandle _BoxOpenRwMode(const char* name, u32 readOnly)
{
    u8 fid = kNoFile;
    u8 header[kHeaderSize];
    u32 status = CheckFileBoxExRwMode(name, &fid, header, readOnly);
    if (status != BXD_OK) {
        BxdDebug("CheckFileBoxEx error %s %x\n", name, status);
        return nullptr;
    }
    bxd::OpenFile file(fid);
    BoxHandle box = MakeHandle(name, fid, header);
    if (box == nullptr) { return nullptr; }
    if (TakeForWriting(fid, header[kHdGarbageFlags], readOnly) != BXD_OK) {
        DisposeHeapHandle(box);
        return nullptr;
    }
    (void)file.release();
    bxd::RegisterBoxHandle(box);
    return box;
}

u32 _BoxClose(BoxHandle box) { return _BoxCloseEx(box, 0); }

u32 _BoxCloseEx(BoxHandle box, u32 force)
{
    if (BoxHdCheck(box) != BXD_OK) {
        BxdDebug("BoxClose: bad boxHandle\n");
        return BXD_ERR_FAIL;
    }
    BoxRecord* record = *box;
    u32 dropped = BXD_OK;
    if (record->tmpCardState == kTmpCardInFile) {
        dropped = CardDeleteSub(record, static_cast<u16>(record->tmpCardId), 0);
    }
    u32 closed = force != 0 ? BxdFileForceClose(record->fid) : BxdFileClose(record->fid);
    bxd::DisposeBoxHandle(box);
    return dropped != BXD_OK ? dropped : closed;
}

u32 CalcBoxCard(u8 fid, const u8* header, u16* systemCards, u16* cards)
{
    u32 table[kDefaultTableWords];
    u32 status = ReadOffsetTable(fid, nullptr, kOffsetTableSize, table);
    if (status != BXD_OK) { return status; }
    *systemCards = static_cast<u16>(std::count_if(table + 1, table + 1 + kSystemSlots, bxd::IsPosition));
    *cards = GET_2BYTES(header + kHdCardCount);
    return BXD_OK;
}

u32 _BoxCardTotal(const char* name, u32* bytes, u16* cards)
{
    NamedBox box(name, 1);
    if (box.status() != BXD_OK) { return box.status(); }
    *bytes = 0;
    *cards = 0;
    u32 cardOffset = GET_4BYTES(box.header() + kHdCardOffset);
    if (cardOffset == kUnset) { return BXD_OK; }
    u16 systemCards = 0;
    u32 status = CalcBoxCard(box.fid(), box.header(), &systemCards, cards);
    if (status != BXD_OK) { return status; }
    // A missing index table counts with its unset size, all ones: one byte more.
    *bytes = BxdFileSize(box.fid()) - cardOffset - GET_4BYTES(box.header() + kHdIndexTableSize);
    return BXD_OK;
}

u32 _ReadAplName(const char* name, u32* out)
{
    NamedBox box(name, 1);
    if (box.status() == BXD_OK) { *out = GET_4BYTES(box.header() + kHdAplName); }
    return box.status();
}

u32 _WriteAplName(const char* name, const void* value) { return WriteField(name, kHdAplName, value, 4); }

u32 _WriteSystemcardSize(const char* name, u8 code)
{
    constexpr u32 kKiB = 1024;
    constexpr u8 kFirstLarge = 251;  // 251 to 254 are 450 down to 300 KiB
    if (code == 0 || code == 0xFF) { return _WriteSystemcardSizeL(name, kSystemCardLimit); }
    if (code < kFirstLarge) { return _WriteSystemcardSizeL(name, code * kKiB); }
    return _WriteSystemcardSizeL(name, (450 - 50u * (code - kFirstLarge)) * kKiB);
}

u32 _WriteSystemcardSizeL(const char* name, u32 size)
{
    u8 value[4];
    PUT_4BYTES(value, size);
    return WriteField(name, kHdSystemCardSize, value, sizeof value);
}

u32 _GetFileInfo(const char* name, u8* out)
{
    bxd::OpenFile file;
    u32 offset = 0;
    u32 status = OpenWithFileInfo(name, BXD_MODE_READ, &file, &offset);
    return status == BXD_OK ? bxd::ReadExactly(file.fid(), offset, out, 1) : status;
}

u32 _SetFileInfo(const char* name, u8 value)
{
    bxd::OpenFile file;
    u32 offset = 0;
    u32 status = OpenWithFileInfo(name, BXD_MODE_WRITE, &file, &offset);
    return status == BXD_OK ? bxd::WriteAll(file.fid(), offset, &value, sizeof value) : status;
}

u32 _GetItemNum(BoxHandle box)
{
    bxd::BoxLease lease(box);
    return lease ? bxd::ItemCount(lease.record()) : lease.status();
}

u32 _GetItemName(const char* name, u16 number, u8* tag)
{
    NamedBox box(name, 1);
    if (box.status() != BXD_OK) { return box.status(); }
    u8* table = nullptr;
    u32 size = 0;
    u32 status = ReadItemTable(box.fid(), &table, &size);
    if (status != BXD_OK) { return status; }
    bxd::HeapBlock owned;
    owned.reset(table);
    if (number == 0 || number > table[0]) { return BXD_ERR_NOTFOUND; }

    const u8* entry = table + 1;
    for (u16 i = 1; i < number; ++i) { entry = bxd::NextItemEntry(entry); }
    if (GET_2BYTES(entry) < kItemEntryWithTag) { return BXD_ERR_NOTFOUND; }
    std::transform(entry + kItemEntryTag, entry + kItemEntryName, tag,
                   [](u8 c) { return static_cast<u8>(std::toupper(c)); });
    return BXD_OK;
}

u32 _GetMasterIndex(const char* name, char* out)
{
    bxd::HeapBlock table;
    u32 status = ReadIndexTableOf(name, &table);
    if (status != BXD_OK) { return status; }
    for (bxd::IndexTableWalk entry(table.data()); !entry.atEnd(); entry.next()) {
        if (entry.fileId() != kIndexFileIdMaster) { continue; }
        size_t length = std::strlen(entry.name());
        if (length >= BXD_PATH_SIZE) { return BXD_ERR_FAIL; }
        std::memcpy(out, entry.name(), length + 1);
        return BXD_OK;
    }
    return BXD_ERR_NOTFOUND;
}

u32 _GetIndexName(const char* name, i32 number, char* out, u32 outSize, u32* isMaster)
{
    bxd::HeapBlock table;
    u32 status = ReadIndexTableOf(name, &table);
    if (status != BXD_OK) { return status; }
    i32 at = 1;
    for (bxd::IndexTableWalk entry(table.data()); !entry.atEnd(); entry.next(), ++at) {
        if (at != number) { continue; }
        char full[BXD_PATH_SIZE];
        status = GetFullPathIndexName(full, entry.name(), name, entry.nameType());
        if (status != BXD_OK) { return status; }
        *isMaster = entry.fileId() == kIndexFileIdMaster ? 1 : 0;
        size_t length = std::strlen(full);
        if (outSize <= length) { return BXD_ERR_NOSPACE; }
        std::memcpy(out, full, length + 1);
        return BXD_OK;
    }
    return BXD_ERR_NOTFOUND;
}
}
