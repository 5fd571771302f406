// SPDX-License-Identifier: MIT
#include "box/bxd_box_format.h"

#include <cctype>
#include <cstring>

#include "box/bxd_card_format.h"

extern "C" {

const u8 box_file_header[kHeaderSize] = {
    0xFF,        0x00, kBoxFileId, 0x31,  // mark, reserved, kind, version
    0xFF,        0xFF, 0xFF,       0xFF,  // cardOffset
    0xFF,        0xFF, 0xFF,       0xFF,
    0xFF,        0xFF, 0xFF,       0xFF,  // itemOffset, itemSize
    kHeaderSize, 0x00, 0x00,       0x00,  // offsetTable
    0xFF,        0xFF, 0xFF,       0xFF,
    0xFF,        0xFF, 0xFF,       0xFF,  // offsetCard, offsetCardSize
    0xFF,        0xFF, 0xFF,       0xFF,
    0xFF,        0xFF, 0xFF,       0xFF,  // indexTable, indexTableSize
    0xFF,        0xFF, 0xFF,       0xFF,  // systemCardSize
    0xFF,        0xFF, 0xFF,       0xFF,  // aplName, filled in by _BoxCreate
    0xFF,        0x00, 0xFF,       0xFF,  // syncFlag, garbageFlags, fileInfo, reserved
    0x00,        0x00, 0x00,       0x00,  // garbageSize
    0x00,        0x00, 0x01,       0x00,
    0x00,        0x00, 0xFF,       0xFF,  // cardCount, unUsedCardID, maxCardID, reserved
    0x01,        0x00, 0x00,       0x00,  // syncId
    0xFF,        0xFF, 0xFF,       0xFF,
    0xFF,        0xFF, 0xFF,       0xFF,  // reserved
};
}

namespace {

constexpr u32 kUnsetPositionMin = 0xFFFFFFFE;  // positions from here on stand for "unset"

// The position and size of a table, from a pair of header fields: 66 where it is unset, 71 where the table
// does not lie in the file.
u32 ReadTablePlace(u8 fid, u32 headerOffset, u32* pos, u32* size)
{
    u32 place[2] = {};
    u32 status = bxd::ReadWords(fid, headerOffset, place, 2);
    if (status != BXD_OK) { return status; }
    if (place[0] >= kUnsetPositionMin) { return BXD_ERR_NOTFOUND; }
    if (!bxd::FileHolds(fid, static_cast<uint64_t>(place[0]) + place[1])) { return BXD_ERR_FAIL; }
    *pos = place[0];
    *size = place[1];
    return BXD_OK;
}

// The place of an index table that was giving its last 512 bytes back when the power went: the block has its
// new length, the header has the old one, and the file may end before that.
u32 ReadShrunkTablePlace(u8 fid, u32* pos, u32* size)
{
    constexpr u32 kStep = 512;  // and the least body
    u32 place[2] = {};
    u8 head[kCardHead] = {};
    u32 status = bxd::ReadWords(fid, kHdIndexTable, place, 2);
    if (status == BXD_OK) { status = bxd::ReadExactly(fid, place[0], head, sizeof head); }
    if (status != BXD_OK) { return BXD_ERR_FAIL; }
    uint64_t total = uint64_t{GET_4BYTES(head + kCardLengthAt)} + kCardHead;
    if (GET_2BYTES(head) != INDEX_TABLE_ID || total < kStep || total + kStep != place[1] ||
        !bxd::FileHolds(fid, place[0] + total)) {
        return BXD_ERR_FAIL;
    }
    *pos = place[0];
    *size = static_cast<u32>(total);
    return BXD_OK;
}

}  // namespace

namespace bxd {

u32 ReadWords(u8 fid, u32 offset, u32* words, u32 count)
{
    u32 status = ReadExactly(fid, offset, words, count * 4);
    if (status == BXD_OK) { WordsFromFile(words, count); }
    return status;
}

u32 WriteWords(u8 fid, u32 offset, u32* words, u32 count)
{
    WordsToFile(words, count);
    u32 status = WriteAll(fid, offset, words, count * 4);
    WordsFromFile(words, count);
    return status;
}

u32 ReadBoxFront(u8 fid, u8* header, u32* tablePos, u32* table)
{
    u8 front[kNewBoxSize];
    u32 status = ReadExactly(fid, 0, front, sizeof front);
    if (status != BXD_OK) { return status; }
    std::memcpy(header, front, kHeaderSize);
    *tablePos = GET_4BYTES(header + kHdOffsetTable);
    if (*tablePos != kHeaderSize) { return ReadWords(fid, *tablePos, table, kOffsetTableSize / 4); }
    std::memcpy(table, front + kHeaderSize, kOffsetTableSize);
    WordsFromFile(table, kOffsetTableSize / 4);
    return BXD_OK;
}

bool ItemEntriesFit(const u8* table, u32 size)
{
    if (size == 0) { return false; }
    u32 pos = 1;
    for (u32 i = 0; i < table[0]; ++i) {
        if (pos + 2 > size) { return false; }
        pos += 2u + GET_2BYTES(table + pos);
    }
    return pos <= size;
}

bool IndexEntriesFit(const u8* table, u32 size)
{
    u32 pos = kCardHead;
    while (pos + 2 <= size) {
        u32 entryLength = GET_2BYTES(table + pos);
        if (entryLength == 0 || entryLength == 0xFFFF) { return true; }
        u32 end = pos + 2 + entryLength;
        if (end > size || entryLength + 2 <= kIndexEntryName) { return false; }
        if (std::memchr(table + pos + kIndexEntryName, 0, end - pos - kIndexEntryName) == nullptr) {
            return false;
        }
        pos = end;
    }
    return pos == size;
}

}  // namespace bxd

extern "C" {

u32 SeekFileIder(u8 fid, u8* out)
{
    u8 start[4] = {};
    u32 status = bxd::ReadExactly(fid, kHdFileMark, start, sizeof start, BXD_ERR_NOTFOUND);
    if (status != BXD_OK) { return status; }
    if (start[kHdFileMark] != 0xFF) { return BXD_ERR_NOFILE; }
    out[0] = start[kHdFileId];
    out[1] = start[kHdFileVersion];
    return BXD_OK;
}

u32 CheckFileBox(const char* name, u8* fid, u32 readOnly)
{
    *fid = kNoFile;
    i32 opened = BxdFileOpen(name, readOnly != 0 ? BXD_MODE_READ : BXD_MODE_WRITE);
    if (opened < 0) { return BXD_ERR_NOFILE; }

    u8 kind[2] = {};
    u32 status = SeekFileIder(static_cast<u8>(opened), kind);
    if (status == BXD_OK && (kind[0] != kBoxFileId || !bxd::IsKnownVersion(kind[1]))) {
        status = BXD_ERR_NOFILE;
    }
    if (status != BXD_OK) {
        (void)BxdFileClose(static_cast<u8>(opened));
        return status;
    }
    *fid = static_cast<u8>(opened);
    return BXD_OK;
}

u32 CheckFileBoxExRwMode(const char* name, u8* fid, void* header, u32 readOnly)
{
    u32 status = CheckFileBox(name, fid, readOnly);
    if (status != BXD_OK) { return status; }
    status = bxd::ReadExactly(*fid, 0, header, kHeaderSize, BXD_ERR_NOTFOUND);
    if (status != BXD_OK) {
        (void)BxdFileClose(*fid);
        *fid = kNoFile;
    }
    return status;
}

u32 CheckFileBoxEx(const char* name, u8* fid, void* header)
{
    return CheckFileBoxExRwMode(name, fid, header, 0);
}

u32 ReadItemTable(u8 fid, u8** table, u32* size)
{
    u32 pos = 0;
    u32 bytes = 0;
    u32 status = ReadTablePlace(fid, kHdItemOffset, &pos, &bytes);
    if (status != BXD_OK) { return status; }

    bxd::HeapBlock block(bytes);
    if (!block) { return BXD_ERR_FAIL; }
    status = bxd::ReadExactly(fid, pos, block.data(), bytes);
    if (status != BXD_OK) { return status; }
    if (!bxd::ItemEntriesFit(block.data(), bytes)) { return BXD_ERR_FAIL; }
    *table = block.release();
    *size = bytes;
    return BXD_OK;
}

u32 ReadIndexTable(u8 fid, u8** table)
{
    *table = nullptr;
    u32 pos = 0;
    u32 bytes = 0;
    u32 status = ReadTablePlace(fid, kHdIndexTable, &pos, &bytes);
    if (status == BXD_ERR_FAIL) { status = ReadShrunkTablePlace(fid, &pos, &bytes); }
    if (status != BXD_OK) { return status; }
    if (bytes < kCardHead) { return BXD_ERR_FAIL; }

    // Two bytes of the erased state behind the table end the walk in a table that is full to the brim.
    bxd::HeapBlock block(static_cast<size_t>(bytes) + 2);
    if (!block) { return BXD_ERR_FAIL; }
    status = bxd::ReadExactly(fid, pos, block.data(), bytes);
    if (status != BXD_OK) { return status; }
    if (!bxd::IndexEntriesFit(block.data(), bytes)) { return BXD_ERR_FAIL; }
    PUT_2BYTES(block.data() + bytes, 0xFFFF);
    *table = block.release();
    return BXD_OK;
}

u32 ReadOffsetTable(u8 fid, u32* tableOffset, u32 length, u32* table)
{
    u32 pos = 0;
    u32 status = bxd::ReadWord(fid, kHdOffsetTable, &pos);
    if (status != BXD_OK) { return status; }
    if (tableOffset != nullptr) { *tableOffset = pos; }
    if (table == nullptr || length == 0) { return BXD_OK; }
    return bxd::ReadWords(fid, pos, table, length / 4);
}

u32 GetFileExtent(const char* name)
{
    const char* dot = std::strrchr(name, '.');
    if (dot == nullptr) { return kExtentOther; }
    char letters[3] = {};
    for (int i = 0; i < 3 && dot[1 + i] != '\0'; ++i) {
        letters[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(dot[1 + i])));
    }
    if (letters[2] != 'X') { return kExtentOther; }
    if (letters[0] == 'B' && letters[1] == 'O') { return kExtentBox; }
    if ((letters[0] == 'I' || letters[0] == 'T') && letters[1] == 'D') { return kExtentIndex; }
    return kExtentOther;
}
}
