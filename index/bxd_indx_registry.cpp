// SPDX-License-Identifier: MIT
#include "index/bxd_indx_registry.h"

#include <bxd/card.h>

#include <algorithm>
#include <cstring>

#include "box/bxd_garb.h"
#include "index/bxd_indx_info.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_errors.h"
#include "storage/bxd_file_names.h"

namespace {

constexpr u32 kTableStep = 512;
constexpr u32 kFirstBody = 512;
constexpr u32 kFirstBlock = kCardHead + kFirstBody;
constexpr u32 kShrinkAbove = 1024;  // unused bytes behind what was written
constexpr u32 kLengthWord = 2;

bool IsEnd(u32 entryLength) { return entryLength == 0 || entryLength == 0xFFFF; }

// --- the block in memory ---------------------------------------------------------------------------------

// The index table of a box while it is changed. `bytes` holds the block and two bytes more.
struct TableBlock {
    u32 pos = 0;
    u32 body = 0;  // its body length
    bool dead = false;
    bxd::HeapBlock bytes;

    u32 size() const { return kCardHead + body; }
    u8* at(u32 offset) const { return bytes.data() + offset; }
};

// Takes the memory of a block without entries, which is to stand at `pos`.
u32 PrepareEmptyBlock(u32 pos, TableBlock* block)
{
    block->bytes.reset(static_cast<u8*>(std::malloc(kFirstBlock + kEndMarkSize)));
    if (!block->bytes) { return BXD_ERR_FAIL; }
    std::memset(block->at(0), 0xFF, kFirstBlock + kEndMarkSize);
    std::memcpy(block->at(0), idx_name_tbl_data, kCardHead);
    block->pos = pos;
    block->body = kFirstBody;
    return BXD_OK;
}

// Writes it over the end mark, with its own behind it, and cuts the file there.
u32 WriteEmptyBlock(u8 fid, const TableBlock& block)
{
    u32 status = bxd::WriteAll(fid, block.pos, block.at(0), kFirstBlock + kEndMarkSize);
    return status == BXD_OK ? BxdFileCut(fid, block.pos + kFirstBlock + kEndMarkSize) : status;
}

// A lost power may have left the position of a chain of cards that was never begun: nothing stands there, or
// the room for a first index table, without a byte of it.
bool ChainWasBegun(u8 fid, u32 cardOffset, u32 fileSize)
{
    if (cardOffset == fileSize) { return false; }
    if (uint64_t{cardOffset} + kFirstBlock + kEndMarkSize != fileSize) { return true; }
    u8 room[kFirstBlock] = {};
    return bxd::ReadExactly(fid, cardOffset, room, sizeof room) != BXD_OK ||
           std::any_of(room, room + sizeof room, [](u8 byte) { return byte != 0; });
}

// A box gets its first index table. In one without a card area it begins the chain of cards.
u32 MakeTable(u8 fid, TableBlock* block)
{
    u32 cardOffset = 0;
    u32 status = bxd::ReadWord(fid, kHdCardOffset, &cardOffset);
    if (status != BXD_OK) { return status; }
    const u32 oldSize = BxdFileSize(fid);
    bool beginsChain = !bxd::IsPosition(cardOffset);
    u32 pos = oldSize;
    if (!beginsChain) {
        bool begun = ChainWasBegun(fid, cardOffset, oldSize);
        if (begun && oldSize < kEndMarkSize) { return BXD_ERR_FAIL; }
        pos = begun ? oldSize - kEndMarkSize : cardOffset;
    }

    status = PrepareEmptyBlock(pos, block);
    if (status != BXD_OK) { return status; }

    if (beginsChain) { status = bxd::WriteWord(fid, kHdCardOffset, pos); }
    if (status == BXD_OK) { status = PreWriteEndMark(fid, pos + kFirstBlock); }
    if (status == BXD_OK) {
        u32 place[2] = {pos, kFirstBlock};
        u32 none[2] = {kUnset, kUnset};
        status = bxd::WriteWords(fid, kHdIndexTable, place, 2);
        if (status == BXD_OK) { status = WriteEmptyBlock(fid, *block); }
        if (status != BXD_OK) {
            // The chain ends where it did, and so must the file: the next card would stand behind a gap.
            (void)bxd::WriteWords(fid, kHdIndexTable, none, 2);
            (void)bxd::SettleEnd(fid, BXD_ERR_FAIL, pos, oldSize);
        }
    } else {
        status = bxd::SettleEnd(fid, status, pos, oldSize);
    }
    if (status != BXD_OK && beginsChain) { (void)bxd::WriteWord(fid, kHdCardOffset, kUnset); }
    return status;
}

// Reads the table, and mends what a lost power can leave: a block that the header names and that was never
// written, and a header that has not followed the block as it gave bytes back. 66 where the box has none.
u32 LoadTable(u8 fid, TableBlock* block)
{
    u8* bytes = nullptr;
    u32 status = ReadIndexTable(fid, &bytes);
    block->bytes.reset(bytes);
    u32 place[2] = {};
    if (status == BXD_OK) { status = bxd::ReadWords(fid, kHdIndexTable, place, 2); }
    if (status != BXD_OK) { return status; }

    block->pos = place[0];
    block->body = GET_4BYTES(block->at(kCardLengthAt));
    u32 id = GET_2BYTES(block->at(0));
    block->dead = id == CARD_ID_DEAD;
    if (block->body == 0 && place[1] == kFirstBlock &&
        BxdFileSize(fid) == block->pos + kFirstBlock + kEndMarkSize) {
        block->dead = false;
        status = PrepareEmptyBlock(block->pos, block);
        return status == BXD_OK ? WriteEmptyBlock(fid, *block) : status;
    }
    if ((id != INDEX_TABLE_ID && !block->dead) || block->body < kFirstBody) { return BXD_ERR_FAIL; }
    const uint64_t size = uint64_t{kCardHead} + block->body;
    if (size == place[1]) { return BXD_OK; }
    if (size + kTableStep != place[1]) { return BXD_ERR_FAIL; }
    return bxd::WriteWord(fid, kHdIndexTableSize, block->size());
}

// Where the closing word stands, counted from the block; 0 where an entry leaves the body.
u32 EndOfEntries(const TableBlock& block)
{
    u32 at = kCardHead;
    while (at + kLengthWord <= block.size()) {
        u32 entryLength = GET_2BYTES(block.at(at));
        if (IsEnd(entryLength)) { break; }
        if (kLengthWord + entryLength > block.size() - at) { return 0; }
        at += kLengthWord + entryLength;
    }
    return at;
}

// --- entries ---------------------------------------------------------------------------------------------

struct NewEntry {
    const char* name;  // as it is stored
    u8 nameType;
    u8 fileId;
    u8 flags;
    u8 updateMode;

    u32 length() const { return static_cast<u32>(std::strlen(name) + kIndexEntryName) & ~1u; }
    u32 size() const { return length() + 2 * kLengthWord; }  // with its length word and a closing one
};

constexpr u32 kEntrySizeMax = BXD_PATH_SIZE + kIndexEntryName + 2 * kLengthWord;

// The entry and a closing word behind it. What an entry leaves open stays as it is.
void PlaceEntry(u8* at, const NewEntry& entry)
{
    PUT_2BYTES(at, static_cast<u16>(entry.length()));
    at[kIndexEntryType] = entry.nameType;
    at[kIndexEntryFileId] = entry.fileId;
    at[kIndexEntryFlags] = entry.flags;
    at[kIndexEntryUpdateMode] = entry.updateMode;
    std::memcpy(at + kIndexEntryName, entry.name, std::strlen(entry.name) + 1);
    PUT_2BYTES(at + kLengthWord + entry.length(), 0);
}

// Whether the chain of cards ends behind the block at `pos`, and the file goes on: what a card that died
// there at the end of the chain would cut off is then not its own.
bool FileOutlastsChain(u8 fid, u32 pos, u32 size)
{
    u32 dead = 0;
    bool atEnd = false;
    if (bxd::MeasureDeadRun(fid, pos + size, &dead, &atEnd) != BXD_OK || !atEnd) { return false; }
    return bxd::FileHolds(fid, uint64_t{pos} + size + dead + kEndMarkSize + 1);
}

// The old block dies in favour of one further up.
u32 KillBlock(u8 fid, const TableBlock& block)
{
    if (!FileOutlastsChain(fid, block.pos, block.size())) { return DeleteCardData(fid, block.pos); }
    u32 status = bxd::WriteHalf(fid, block.pos, CARD_ID_DEAD);
    return status == BXD_OK ? bxd::CountGarbage(fid, static_cast<i32>(block.size())) : status;
}

// The table moves to the end of the file, 512 bytes longer and with the entry behind its `used` bytes. The
// old block dies when the new one is complete; one that is dead already is the rest of a move that was cut
// off between that and the header.
u32 MoveTable(u8 fid, const TableBlock& block, u32 used, const NewEntry& entry)
{
    const u32 oldSize = BxdFileSize(fid);
    const u32 pos = oldSize - kEndMarkSize;
    const uint64_t end = static_cast<uint64_t>(pos) + block.size() + kTableStep;
    if (oldSize < kEndMarkSize || end > kFilePositionMax) { return BXD_ERR_FAIL; }
    u8 last[kEntrySizeMax];
    std::memset(last, 0xFF, sizeof last);
    PlaceEntry(last, entry);
    PUT_2BYTES(block.at(0), INDEX_TABLE_ID);
    PUT_4BYTES(block.at(kCardLengthAt), block.body + kTableStep);

    const u32 mark = static_cast<u32>(end);
    u32 status = PreWriteEndMark(fid, mark);
    if (status == BXD_OK) { status = bxd::WriteAll(fid, pos, block.at(0), used); }
    if (status == BXD_OK) { status = bxd::WriteAll(fid, pos + used, last, entry.size()); }
    if (status != BXD_OK) { return bxd::SettleEnd(fid, status, pos, oldSize); }

    if (!block.dead) { status = KillBlock(fid, block); }
    u32 place[2] = {pos, block.size() + kTableStep};
    if (status == BXD_OK) { status = bxd::WriteWords(fid, kHdIndexTable, place, 2); }
    if (status == BXD_OK) { status = bxd::WriteHalf(fid, mark, END_MARK_ID); }
    return status == BXD_OK ? BxdFileCut(fid, mark + kEndMarkSize) : status;
}

// The entry that leads to the index, counted from the block; `end` where there is none.
u32 FindEntry(const TableBlock& block, u32 end, const char* name)
{
    u32 at = kCardHead;
    for (; at < end; at += kLengthWord + GET_2BYTES(block.at(at))) {
        char full[BXD_PATH_SIZE];
        const char* stored = reinterpret_cast<const char*>(block.at(at + kIndexEntryName));
        // Beside the index itself: a name without a directory leads to the index wherever the box lies.
        if (GetFullPathIndexName(full, stored, name, *block.at(at + kIndexEntryType)) == BXD_OK &&
            std::strcmp(full, name) == 0) {
            break;
        }
    }
    return at;
}

// The block gives up its last 512 bytes: they become a card, the block ends before it, the card dies.
u32 GiveBytesBack(u8 fid, const TableBlock& block)
{
    const u32 size = block.size() - kTableStep;
    u8 head[kCardHead];
    PUT_2BYTES(head, INDEX_TABLE_ID);
    PUT_4BYTES(head + kCardLengthAt, kTableStep - kCardHead);
    u32 status = bxd::WriteAll(fid, block.pos + size, head, sizeof head);
    if (status == BXD_OK) {
        status = bxd::WriteWord(fid, block.pos + kCardLengthAt, block.body - kTableStep);
    }
    if (status == BXD_OK) { status = DeleteCardData(fid, block.pos + size); }
    return status == BXD_OK ? bxd::WriteWord(fid, kHdIndexTableSize, size) : status;
}

}  // namespace

extern "C" {

u32 AddIndexName(u8 boxFid, const char* name, u8 indexFlags, u8 indexFileId, u8 indexFlags2, u8 nameType)
{
    NewEntry entry = {BaseNamePtr(name), nameType, indexFileId, indexFlags, indexFlags2};
    if (nameType == kNameOtherDrive) { entry.name = name; }
    if (nameType == kNameSameDrive && PathNamePtr(name) != nullptr) { entry.name = PathNamePtr(name); }
    if (!bxd::NameFits(entry.name)) { return BXD_ERR_FAIL; }

    TableBlock block;
    u32 status = LoadTable(boxFid, &block);
    if (status == BXD_ERR_NOTFOUND) { status = MakeTable(boxFid, &block); }
    if (status != BXD_OK) { return status; }
    const u32 end = EndOfEntries(block);
    if (end == 0) { return BXD_ERR_FAIL; }
    if (block.dead || entry.size() > block.size() - end) { return MoveTable(boxFid, block, end, entry); }
    PlaceEntry(block.at(end), entry);
    return bxd::WriteAll(boxFid, block.pos + end, block.at(end), entry.size());
}

u32 DeleteIndexName(u8 boxFid, const char* name)
{
    TableBlock block;
    u32 status = LoadTable(boxFid, &block);
    if (status != BXD_OK) { return status == BXD_ERR_NOTFOUND ? static_cast<u32>(BXD_OK) : status; }
    const u32 end = EndOfEntries(block);
    if (end == 0) { return BXD_ERR_FAIL; }
    const u32 at = FindEntry(block, end, name);
    if (at == end) { return BXD_OK; }

    const u32 next = at + kLengthWord + GET_2BYTES(block.at(at));
    const u32 stretch = end - next + kLengthWord;
    PUT_2BYTES(block.at(end), 0);
    std::memmove(block.at(at), block.at(next), stretch);
    status = bxd::WriteAll(boxFid, block.pos + at, block.at(at), stretch);
    if (status != BXD_OK || block.dead || block.size() - at - stretch <= kShrinkAbove ||
        FileOutlastsChain(boxFid, block.pos, block.size())) {
        return status;
    }
    return GiveBytesBack(boxFid, block);
}

u32 AddIndexType(u8 indexFid, const char* indexName, u8 indexFlags, u8 indexFileId, u8 indexFlags2)
{
    char boxName[BXD_PATH_SIZE];
    u32 status = bxd::ReadIndexBoxName(indexFid, boxName);
    if (status == BXD_ERR_NOTFOUND || status == BXD_ERR_OTHER) { return BXD_OK; }
    if (status != BXD_OK) { return status; }
    if (boxName[0] == '\0') { return BXD_ERR_FAIL; }
    return bxd::RegisterIndex(boxName, {indexName, indexFileId, indexFlags, indexFlags2},
                              bxd::BadBox::kRefuse);
}

i32 SearchIndexToBox(u8 indexFid, const char* indexName, BoxHandle boxHandle, u32* sameAsHandle)
{
    *sameAsHandle = 0;
    char stored[BXD_PATH_SIZE];
    u32 status = bxd::ReadIndexBoxName(indexFid, stored);
    if (status == BXD_ERR_NOTFOUND || status == BXD_ERR_OTHER || (status == BXD_OK && stored[0] == '\0') ||
        (boxHandle != nullptr && *boxHandle == nullptr)) {
        return BXD_HOST_NOTFOUND;
    }
    char boxName[BXD_PATH_SIZE];
    if (status != BXD_OK ||
        GetFullPathBoxName(boxName, indexName, stored, GetNameType(stored, indexName)) != BXD_OK) {
        return BXD_HOST_BOXGONE;
    }
    char open[BXD_PATH_SIZE] = {};
    if (boxHandle != nullptr && BxdFileName((*boxHandle)->fid, open) == BXD_OK &&
        std::strcmp(open, boxName) == 0) {
        *sameAsHandle = 1;
        return (*boxHandle)->fid;
    }
    u8 fid = kNoFile;
    return CheckFileBox(boxName, &fid, 0) == BXD_OK ? fid : BXD_HOST_BOXGONE;
}
}

namespace bxd {

u32 RegisterIndex(const char* boxName, const IndexRegistration& index, BadBox bad)
{
    const u8 nameType = GetNameType(boxName, index.name);
    char full[BXD_PATH_SIZE];
    u32 status = GetFullPathBoxName(full, index.name, boxName, nameType);
    if (status != BXD_OK) { return status; }

    const BxdErrorFile* entry = bad == BadBox::kRefuse ? nullptr : IsErrorFile(full);
    bool mayOpen = entry != nullptr && entry->status == BXD_ERRFILE_OPENABLE;
    u8 fid = kNoFile;
    status = CheckFileBox(full, &fid, 0);
    bool acquitted = mayOpen && (status != BXD_OK || bad == BadBox::kOpenAndAcquit);
    if (status != BXD_OK) {
        if (!mayOpen) { return status; }
        i32 opened = _BxdFileOpen(full, BXD_MODE_CREATED);
        if (opened < 0) { return BXD_ERR_NOFILE; }
        fid = static_cast<u8>(opened);
    }
    OpenFile box(fid);
    bool writable = (BxdFileOpenMode(fid) & BXD_MODE_WRITE_BIT) != 0;
    acquitted = acquitted && (writable || bad == BadBox::kOpenAndAcquit);
    if (writable) {
        status = DeleteIndexName(fid, index.name);
        if (status == BXD_OK) {
            status = AddIndexName(fid, index.name, index.type, index.fileId, index.updateMode, nameType);
        }
    } else {
        status = BXD_OK;
    }
    (void)box.close();
    if (status == BXD_OK && acquitted) { (void)DeleteErrorFile(full); }
    return status;
}

}  // namespace bxd
