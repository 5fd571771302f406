// SPDX-License-Identifier: MIT
#include "index/bxd_indx_sync.h"

#include "box/bxd_card_read.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_garb.h"
#include "box/bxd_sync.h"
#include "index/bxd_indx_delete.h"
#include "index/bxd_indx_of_box.h"
#include "storage/bxd_file_space.h"

namespace {

constexpr u8 kIxSyncBits = BXD_SYNC_CHANGED | BXD_SYNC_PRESENT | BXD_SYNC_STANDS | BXD_SYNC_FREE;
constexpr u32 kKillBytes = 1;
constexpr u32 kNameBytes = 512;  // what taking a name out of the index table may need

// --- the purge -------------------------------------------------------------------------------------------

class Purge {
public:
    explicit Purge(u8 boxFid) : boxFid_(boxFid) { cursor_.valid = kCursorNew; }

    // The cards of one sync index, which is deleted then. A file that is gone already, as a lost power leaves
    // it, is passed over, and the end of the purge tells of it.
    u32 clear(const char* indexName)
    {
        bxd::OpenFile index;
        u32 status = bxd::OpenIndex(indexName, kIxModeRead, &index);
        if (status != BXD_OK) {
            missing_ = BxdFileSearch(indexName, 0, 0) != BXD_OK;
            return missing_ ? takeNameOut(indexName) : status;
        }
        status = endDischarged(index.fid());
        if (status == BXD_OK) { status = index.close(); }
        if (status == BXD_OK) { status = BxdFileDelete(indexName); }
        return status == BXD_OK ? takeNameOut(indexName) : status;
    }

    bool noSpace() const { return noSpace_; }
    bool missing() const { return missing_; }
    u32 deadBytes() const { return deadBytes_; }

private:
    // Up to the end mark, whatever the table's count says.
    u32 endDischarged(u8 indexFid)
    {
        bxd::EntryTable table = {};
        u32 status = bxd::FindEntryTable(indexFid, &table);
        if (status != BXD_OK || table.pos == kUnset) { return status; }
        for (u32 pos = table.entriesPos();; pos += kIxEntrySize) {
            u8 entry[kIxEntrySize] = {};
            u32 got = sizeof entry;
            status = DataReadFromFile(indexFid, static_cast<i32>(pos), entry, &got);
            if (status != BXD_OK) { return status; }
            bxd::EntryState state = bxd::StateOfEntry(entry, got);
            if (state == bxd::EntryState::kEndMark) { return BXD_OK; }
            if (state == bxd::EntryState::kMissing) { return BXD_ERR_FAIL; }
            if ((entry[kIxEntryAttr] & kIxPresentBit) != 0) { continue; }
            status = endCard(GET_2BYTES(entry));
            if (status != BXD_OK) { return status; }
        }
    }

    // The tables of the box and the bytes before its cards never die, wherever an entry or a slot leads.
    bool findCard(u16 cardId)
    {
        if (cardId == CARD_ID_DEAD || cardId > CARD_ID_NORMAL_MAX) { return false; }
        return BoxSearchCheck(boxFid_, cardId, &cursor_) == BXD_OK && cursor_.slotPos >= kHeaderSize &&
               cursor_.cardPos >= kNewBoxSize;
    }

    u32 endCard(u16 cardId)
    {
        if (!findCard(cardId)) { return BXD_OK; }
        CardHead head = {};
        u32 status = bxd::ReadCardHead(boxFid_, cursor_.cardPos, &head);
        if (status != BXD_OK) { return status; }
        status = bxd::RequireSpace(1, kUsualNodes, kKillBytes);
        noSpace_ = status != BXD_OK;
        if (status == BXD_OK) { status = bxd::WriteHalf(boxFid_, cursor_.cardPos, CARD_ID_DEAD); }
        if (status == BXD_OK) { status = bxd::WriteWord(boxFid_, cursor_.slotPos, 0); }
        if (status == BXD_OK) { deadBytes_ += head.total(); }
        return status;
    }

    u32 takeNameOut(const char* indexName) const
    {
        u32 status = bxd::RequireSpace(1, kUsualNodes, kNameBytes);
        return status == BXD_OK ? DeleteIndexName(boxFid_, indexName) : status;
    }

    u8 boxFid_;
    CardSlotCursor cursor_ = {};
    u32 deadBytes_ = 0;
    bool noSpace_ = false;
    bool missing_ = false;
};

u32 PurgeIndexes(u8 boxFid)
{
    bxd::BoxIndexes indexes;
    u32 status = indexes.load(boxFid);
    if (status != BXD_OK) { return status; }
    Purge purge(boxFid);
    for (; !indexes.atEnd(); indexes.next()) {
        if ((indexes.entry().flags() & BXD_INDEX_TYPE_SYNC) == 0) { continue; }
        char name[BXD_PATH_SIZE];
        status = indexes.fullName(name);
        if (status == BXD_OK) { status = purge.clear(name); }
        if (status != BXD_OK) { return purge.noSpace() ? BXD_ERR_NOSPACE : BXD_ERR_OTHER; }
    }
    // The cards are gone, whether or not they can be counted; a measure finds what was not.
    if (purge.deadBytes() != 0) { (void)bxd::CountGarbage(boxFid, static_cast<i32>(purge.deadBytes())); }
    return purge.missing() ? static_cast<u32>(BXD_ERR_OTHER) : static_cast<u32>(BXD_OK);
}

// --- an index handle -------------------------------------------------------------------------------------

u8 FidOf(BxdIndexHandle index) { return **index; }

u32 FindEntry(BxdIndexHandle index, u16 indexNo, IndexEntryPos* found)
{
    bool isThere = index != nullptr && SearchIndexID(FidOf(index), indexNo, found) == BXD_OK;
    return isThere ? static_cast<u32>(BXD_OK) : static_cast<u32>(BXD_ERR_NOTFOUND);
}

}  // namespace

extern "C" {

u32 _BoxSyncClear(const char* boxName)
{
    u8 fid = kNoFile;
    u8 header[kHeaderSize];
    u32 status = CheckFileBoxEx(boxName, &fid, header);
    if (status != BXD_OK) { return status; }
    bxd::OpenFile box(fid);
    if (header[kHdSyncFlag] == kSyncRunning) {
        status = bxd::WriteSyncFlag(fid, kSyncNone);
        if (status != BXD_OK) { return status; }
    }
    return GET_4BYTES(header + kHdIndexTable) == kUnset ? static_cast<u32>(BXD_OK) : PurgeIndexes(fid);
}

BxdIndexHandle _BxdIndexOpen(const char* indexName)
{
    constexpr u32 kHandleBytes = 4;  // the file id comes first
    BxdIndexHandle index = reinterpret_cast<BxdIndexHandle>(NewHeapHandle(kHandleBytes));
    if (index == nullptr) { return nullptr; }
    i32 opened = BxdFileOpen(indexName, BXD_MODE_WRITE);
    if (opened < 0) {
        DisposeHeapHandle(index);
        return nullptr;
    }
    **index = static_cast<u8>(opened);
    return index;
}

u32 _BxdIndexClose(BxdIndexHandle index)
{
    if (index == nullptr) { return BXD_ERR_FAIL; }
    (void)BxdFileClose(FidOf(index));
    DisposeHeapHandle(index);
    return BXD_OK;
}

u32 _BxdGetIndexSyncAttrPMSC(BxdIndexHandle index, u16 indexNo, u8* attr)
{
    *attr = 0;
    IndexEntryPos found = {};
    u32 status = FindEntry(index, indexNo, &found);
    if (status == BXD_OK) { *attr = found.attr & kIxSyncBits; }
    return status;
}

u32 _BxdSetIndexSyncAttrPMSC(BxdIndexHandle index, u16 indexNo, u8 mask, u8 value)
{
    IndexEntryPos found = {};
    u32 status = FindEntry(index, indexNo, &found);
    if (status != BXD_OK) { return status; }
    mask &= kIxSyncBits;
    u8 attr = static_cast<u8>((found.attr & ~mask) | (value & mask));
    return bxd::WriteAll(FidOf(index), found.pos + kIxEntryAttr, &attr, sizeof attr);
}
}
