// SPDX-License-Identifier: MIT
// The index file: its header, and the information area, which tells what the index is of and how it is made.
//
//        0  header, 24 bytes (below)
//       24  information area: records, ended by one byte 0
// tablePos  card table, once there is one: count, entries, end mark 0xFF 0xFF; the last in the file
//
//   a record                                a card table
//   0  u8 tag, 1 to 255; 0 ends the area    0  u16 count
//   1  u16 length                           2  count entries of 4 bytes
//   3  the data                                0xFFFF
//
// The parts stand behind one another without a gap. A record that changes its length moves what is behind it,
// and tablePos follows.
#pragma once

#include <bxd/index.h>

#include "storage/bxd_file.h"

// Header fields: offset in the file.
constexpr u32 kIxFileMark = 0;     // u8, 0xFF in every file of the system
constexpr u32 kIxFileId = 2;       // u8, 27 for the master kind, 28 for the other
constexpr u32 kIxFileVersion = 3;  // u8, high nibble 3
constexpr u32 kIxTablePos = 4;     // u32, card table; all ones where there is none yet
constexpr u32 kIxInfoPos = 8;      // u32, information area: 24, or all ones where there is none
constexpr u32 kIxFileInfo = 12;    // u8, the application's
constexpr u32 kIndexHeaderSize = 24;

constexpr u8 kIndexFileIdMaster = 27;
constexpr u8 kIndexFileIdList = 28;

constexpr u32 kIxRecordLengthAt = 1;  // u16
constexpr u32 kIxRecordHead = 3;
constexpr u16 kIxTagMax = 255;

extern "C" {

// Opens an index: its file id, or less than 0 where the file cannot be opened or is no index. *kind becomes
// its file identifier, 27 or 28.
i32 IndexOpenCheck(const char* name, u8* kind, u8 mode);

// The record of a tag. 0 with the length and position of its data; 66 with those of the end record; 255 in
// an index without an information area; 71 for a record that leaves the file or is longer than one may be.
// Either out pointer may be null.
u32 SearchIndexInformation(u8 fid, u8 tag, u32* length, u32* dataPos);

// The one byte of a record; 0 where there is none, where it is not one byte long, or cannot be read.
u8 GetIndexInfo(u8 fid, u16 tag);

// Writes or replaces a record of *length bytes. *length becomes the number of bytes by which the area has
// grown, less than 0 where it shrank: a card table now stands so much higher, and the caller corrects
// tablePos.
u32 MakeIndexInfo(u8 fid, u16 tag, const void* data, i16* length);
}

namespace bxd {

// A tag and a length that a record can have.
constexpr bool IsRecord(u16 tag, u32 length)
{
    return tag != 0 && tag <= kIxTagMax && length <= BXD_INDEX_RECORD_MAX;
}

// SearchIndexInformation, which tells an index without an information area, 66 here, from one whose area
// could not be read, 71.
[[nodiscard]] u32 FindIndexRecord(u8 fid, u8 tag, u32* length, u32* dataPos);

// A card table behind the records follows them by `growth` bytes.
[[nodiscard]] u32 ShiftTable(u8 fid, i32 growth);

// Removes a record, and tablePos follows. That there is none is no failure.
[[nodiscard]] u32 CutIndexInfo(u8 fid, u16 tag);

// The name of the box with its terminator, to the 256 bytes at `out`. 66 or 255 where the index names none;
// 71 where the name is too long or cannot be read. An empty name is 0 and an empty string.
[[nodiscard]] u32 ReadIndexBoxName(u8 fid, char* out);

}  // namespace bxd
