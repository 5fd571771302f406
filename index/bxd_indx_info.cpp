// SPDX-License-Identifier: MIT
#include "index/bxd_indx_info.h"

#include <cstring>

#include "box/bxd_box_format.h"
#include "storage/bxd_data.h"
#include "storage/heapwrapper.h"

extern "C" {

// clang-format off
const u8 index_file_header[kIndexHeaderSize] = {
    0xFF, 0x00, kIndexFileIdMaster, 0x30,  // mark, reserved, kind, version
    0xFF, 0xFF, 0xFF, 0xFF,                // tablePos
    0xFF, 0xFF, 0xFF, 0xFF,                // infoPos
    0x00, 0xFF, 0xFF, 0xFF,                // fileInfo, reserved
    0xFF, 0xFF, 0xFF, 0xFF,
    0x00, 0x00, 0x00, 0x00,
};
const u8 tdx_file_header[kIndexHeaderSize] = {
    0xFF, 0x00, kIndexFileIdList, 0x30,
    0xFF, 0xFF, 0xFF, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF,
    0x00, 0xFF, 0xFF, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF,
    0x00, 0x00, 0x00, 0x00,
};
// clang-format on
}

namespace {

constexpr u32 kEndByte = 1;  // the byte that ends the area
constexpr u8 kEndTag = 0;

void Store(u32* out, u32 value)
{
    if (out != nullptr) { *out = value; }
}

// A record as a change finds it.
struct RecordPlace {
    u32 pos;    // of its tag, or of the end record where it is to be appended
    u32 total;  // its bytes with the head; 0 where there is none
};

// The record that is to be changed: 0, 66 or 255 as of SearchIndexInformation. All else changes nothing: a
// header whose positions are wrong, a card table without an area before it, records that reach into the
// table.
u32 FindForChange(u8 fid, u16 tag, RecordPlace* out)
{
    u32 front[2] = {};
    u32 status = bxd::ReadWords(fid, kIxTablePos, front, 2);
    if (status != BXD_OK) { return status; }
    const u32 tablePos = front[0];
    const u32 infoPos = front[1];
    bool hasTable = tablePos != kUnset;
    bool hasArea = infoPos == kIndexHeaderSize;
    if (!bxd::FileHolds(fid, kIndexHeaderSize) || (!hasArea && (infoPos != kUnset || hasTable)) ||
        (hasTable && !bxd::FileHolds(fid, tablePos))) {
        return BXD_ERR_FAIL;
    }
    *out = {kIndexHeaderSize, 0};
    if (!hasArea) { return BXD_ERR_OTHER; }

    u32 length = 0;
    u32 pos = 0;
    if (hasTable) {
        status = SearchIndexInformation(fid, kEndTag, &length, &pos);
        bool ends = status == BXD_ERR_NOTFOUND && uint64_t{pos} + kEndByte <= tablePos;
        if (!ends) { return BXD_ERR_FAIL; }
    }
    status = SearchIndexInformation(fid, static_cast<u8>(tag), &length, &pos);
    if (status == BXD_ERR_OTHER) { return BXD_ERR_FAIL; }  // the read has failed: there is an area
    *out = {pos, 0};
    if (status == BXD_OK) { *out = {pos - kIxRecordHead, length + kIxRecordHead}; }
    return status;
}

// Head and data, and the byte that ends the area, in one write; in pieces where there is no memory, so that
// a full heap keeps no record from being stored.
u32 WriteRecord(u8 fid, u32 pos, u16 tag, const void* data, u32 length, bool endsArea)
{
    u8 head[kIxRecordHead] = {static_cast<u8>(tag)};
    PUT_2BYTES(head + kIxRecordLengthAt, static_cast<u16>(length));
    bxd::HeapBlock block(kIxRecordHead + length + kEndByte);
    if (block) {
        std::memcpy(block.data(), head, sizeof head);
        if (length != 0) { std::memcpy(block.data() + kIxRecordHead, data, length); }
        block.data()[kIxRecordHead + length] = kEndTag;
        return bxd::WriteAll(fid, pos, block.data(), kIxRecordHead + length + (endsArea ? kEndByte : 0));
    }
    u32 status = bxd::WriteAll(fid, pos, head, sizeof head);
    if (status == BXD_OK) { status = bxd::WriteAll(fid, pos + kIxRecordHead, data, length); }
    if (status != BXD_OK || !endsArea) { return status; }
    return bxd::WriteAll(fid, pos + kIxRecordHead + length, &kEndTag, sizeof kEndTag);
}

// Makes a record at `pos` longer or shorter by moving what is behind it.
u32 Resize(u8 fid, u32 pos, i32 growth)
{
    if (growth == 0) { return BXD_OK; }
    return growth > 0 ? ExtendTransfer(fid, pos, static_cast<u32>(growth))
                      : CutTransfer(fid, pos, static_cast<u32>(-growth));
}

}  // namespace

extern "C" {

i32 IndexOpenCheck(const char* name, u8* kind, u8 mode)
{
    i32 opened = BxdFileOpen(name, mode);
    if (opened < 0) { return opened; }
    bxd::OpenFile index(static_cast<u8>(opened));
    u8 told[2] = {};
    if (SeekFileIder(index.fid(), told) != BXD_OK || !bxd::IsKnownVersion(told[1]) ||
        (told[0] != kIndexFileIdMaster && told[0] != kIndexFileIdList)) {
        return BXD_HOST_NOTFOUND;
    }
    *kind = told[0];
    return index.release();
}

u32 SearchIndexInformation(u8 fid, u8 tag, u32* length, u32* dataPos)
{
    u32 pos = kUnset;
    if (bxd::ReadWord(fid, kIxInfoPos, &pos) != BXD_OK || pos == kUnset) { return BXD_ERR_OTHER; }

    for (;;) {
        u8 head[kIxRecordHead] = {};
        u32 count = sizeof head;
        u32 status = DataReadFromFile(fid, static_cast<i32>(pos), head, &count);
        if (status != BXD_OK) { return status; }
        // Only the end of the file cuts a head short; a read that does must not hide the records behind it.
        if (count < sizeof head && bxd::FileHolds(fid, uint64_t{pos} + sizeof head)) { return BXD_ERR_FAIL; }
        u32 dataLength = GET_2BYTES(head + kIxRecordLengthAt);
        if (head[0] == 0 || count < sizeof head) {
            Store(length, dataLength);
            Store(dataPos, pos);
            return BXD_ERR_NOTFOUND;
        }
        if (head[0] != tag) {
            pos += kIxRecordHead + dataLength;
            continue;
        }
        if (dataLength > BXD_INDEX_RECORD_MAX ||
            !bxd::FileHolds(fid, static_cast<uint64_t>(pos) + kIxRecordHead + dataLength)) {
            return BXD_ERR_FAIL;
        }
        Store(length, dataLength);
        Store(dataPos, pos + kIxRecordHead);
        return BXD_OK;
    }
}

u8 GetIndexInfo(u8 fid, u16 tag)
{
    u32 length = 0;
    u32 pos = 0;
    u8 value = 0;
    if (!bxd::IsRecord(tag, 0) ||
        SearchIndexInformation(fid, static_cast<u8>(tag), &length, &pos) != BXD_OK || length != 1) {
        return 0;
    }
    return bxd::ReadExactly(fid, pos, &value, sizeof value) == BXD_OK ? value : u8{0};
}

u32 MakeIndexInfo(u8 fid, u16 tag, const void* data, i16* length)
{
    const i32 size = *length;
    *length = 0;
    if (size < 0 || !bxd::IsRecord(tag, static_cast<u32>(size)) || (data == nullptr && size != 0)) {
        return BXD_ERR_FAIL;
    }
    RecordPlace place = {};
    u32 status = FindForChange(fid, tag, &place);
    bool beginsArea = status == BXD_ERR_OTHER;
    i32 growth = static_cast<i32>(kIxRecordHead) + size - static_cast<i32>(place.total);
    if (beginsArea) {
        status = bxd::WriteWord(fid, kIxInfoPos, kIndexHeaderSize);
    } else if (status == BXD_OK || status == BXD_ERR_NOTFOUND) {
        status = Resize(fid, place.pos, growth);
    }
    if (status != BXD_OK) { return status; }
    *length = static_cast<i16>(growth);
    return WriteRecord(fid, place.pos, tag, data, static_cast<u32>(size), beginsArea);
}
}

namespace bxd {

u32 FindIndexRecord(u8 fid, u8 tag, u32* length, u32* dataPos)
{
    u32 status = SearchIndexInformation(fid, tag, length, dataPos);
    if (status != BXD_ERR_OTHER) { return status; }
    u32 infoPos = 0;
    status = ReadWord(fid, kIxInfoPos, &infoPos);
    if (status != BXD_OK) { return status; }
    return infoPos == kUnset ? u32{BXD_ERR_NOTFOUND} : u32{BXD_ERR_FAIL};
}

u32 ShiftTable(u8 fid, i32 growth)
{
    if (growth == 0) { return BXD_OK; }
    u32 tablePos = 0;
    u32 status = ReadWord(fid, kIxTablePos, &tablePos);
    if (status != BXD_OK || tablePos == kUnset) { return status; }
    return WriteWord(fid, kIxTablePos, tablePos + static_cast<u32>(growth));
}

u32 CutIndexInfo(u8 fid, u16 tag)
{
    RecordPlace place = {};
    u32 status = IsRecord(tag, 0) ? FindForChange(fid, tag, &place) : static_cast<u32>(BXD_ERR_NOTFOUND);
    if (status == BXD_ERR_NOTFOUND || status == BXD_ERR_OTHER) { return BXD_OK; }
    i32 growth = -static_cast<i32>(place.total);
    if (status == BXD_OK) { status = Resize(fid, place.pos, growth); }
    return status == BXD_OK ? ShiftTable(fid, growth) : status;
}

u32 ReadIndexBoxName(u8 fid, char* out)
{
    out[0] = '\0';
    u32 length = 0;
    u32 pos = 0;
    u32 status = SearchIndexInformation(fid, IDXINF_BOX_NAME, &length, &pos);
    if (status != BXD_OK) { return status; }
    if (length >= BXD_PATH_SIZE) { return BXD_ERR_FAIL; }
    status = ReadExactly(fid, pos, out, length);
    out[status == BXD_OK ? length : 0] = '\0';
    return status;
}

}  // namespace bxd
