// SPDX-License-Identifier: MIT
// The box file: its header, and the tables that hang on it.
//
//        0  header, 72 bytes (below)
//       72  default offset table, 2048 bytes: 512 words (bxd_card_slots.h)
//     2120  item table, itemSize bytes, once the box has items
//           card area: a chain of cards, from cardOffset on, once there is a card or an index
//  end - 2  end mark 0xFF 0xFF, with the card area
//
// All integers are little-endian. In every field that holds a file position, 0xFFFFFFFF means unset.
#pragma once

#include <bxd/box.h>

#include "storage/bxd_file.h"
#include "storage/heapwrapper.h"

constexpr u32 kUnset = 0xFFFFFFFF;
constexpr u32 kFilePositionMax = 0x7FFFFFFF;  // positions are handed to the host as signed numbers
constexpr u8 kBoxFileId = 16;

// Header fields: offset in the file.
constexpr u32 kHdFileMark = 0;         // u8, 0xFF in every file of the system
constexpr u32 kHdFileId = 2;           // u8, 16 box, 27 and 28 index files
constexpr u32 kHdFileVersion = 3;      // u8, high nibble 3
constexpr u32 kHdCardOffset = 4;       // u32, first card of the chain
constexpr u32 kHdItemOffset = 8;       // u32, item table
constexpr u32 kHdItemSize = 12;        // u32, its bytes
constexpr u32 kHdOffsetTable = 16;     // u32, default offset table
constexpr u32 kHdOffsetCard = 20;      // u32, offset card; 0 too means that there is none
constexpr u32 kHdOffsetCardSize = 24;  // u32, its bytes with the head
constexpr u32 kHdIndexTable = 28;      // u32, index table card
constexpr u32 kHdIndexTableSize = 32;  // u32, its bytes with the head
constexpr u32 kHdSystemCardSize = 36;  // u32, memory for the card under edit; unset means 10240
constexpr u32 kHdAplName = 40;         // 4 bytes
constexpr u32 kHdSyncFlag = 44;        // u8, 0 while a synchronisation runs
constexpr u32 kHdGarbageFlags = 45;    // u8, bit 0 the garbage bit
constexpr u32 kHdFileInfo = 46;        // u8, the application's
constexpr u32 kHdGarbageSize = 48;     // u32, dead bytes in the card area
constexpr u32 kHdCardCount = 52;       // u16, live cards
constexpr u32 kHdUnUsedCardID = 54;    // u16, where the search for a free id begins
constexpr u32 kHdMaxCardID = 56;       // u16, highest id in use
constexpr u32 kHdSyncId = 60;          // u32, change counter
constexpr u32 kHeaderSize = 72;

constexpr u32 kOffsetTableSize = 2048;                       // bytes of the default offset table
constexpr u32 kNewBoxSize = kHeaderSize + kOffsetTableSize;  // a box without items; the item table's place
constexpr u32 kSystemSlotBytes = 44;  // its first eleven words: entry 0 and the system slots

// An entry of the index table, behind the card's head; an entryLength of 0 or 0xFFFF ends the table.
constexpr u32 kIndexEntryType = 2;        // u8, form of the name
constexpr u32 kIndexEntryFileId = 3;      // u8, 27 for an index of the master kind
constexpr u32 kIndexEntryFlags = 4;       // u8, type of the index
constexpr u32 kIndexEntryUpdateMode = 5;  // u8
constexpr u32 kIndexEntryName = 12;       // the name with its terminator

constexpr u8 kGarbageBit = 0x01;  // in garbageFlags

// What GetFileExtent tells from the three letters behind the last dot.
constexpr u32 kExtentOther = 0;
constexpr u32 kExtentBox = 1;
constexpr u32 kExtentIndex = 2;

namespace bxd {

// A position that leads somewhere: neither unset nor 0.
constexpr bool IsPosition(u32 word) { return word != 0 && word != kUnset; }

// The version byte of a file: only its high nibble counts.
constexpr bool IsKnownVersion(u8 version) { return (version & 0xF0) == 0x30; }

// Words of a file to words of the host and back, in place.
inline void WordsFromFile(u32* words, u32 count)
{
    for (u32 i = 0; i < count; ++i) { words[i] = GET_4BYTES(&words[i]); }
}
inline void WordsToFile(u32* words, u32 count)
{
    for (u32 i = 0; i < count; ++i) { PUT_4BYTES(&words[i], words[i]); }
}

// Runs of words; a write leaves `words` as they were.
[[nodiscard]] u32 ReadWords(u8 fid, u32 offset, u32* words, u32 count);
[[nodiscard]] u32 WriteWords(u8 fid, u32 offset, u32* words, u32 count);

// The header and the default offset table, which stand behind one another, in one read.
[[nodiscard]] u32 ReadBoxFront(u8 fid, u8* header, u32* tablePos, u32* table);

// The entries of an item table lie within its `size` bytes.
bool ItemEntriesFit(const u8* table, u32 size);

// The entries of an index table lie within its `size` bytes, head included, and their names end in them.
bool IndexEntriesFit(const u8* table, u32 size);

}  // namespace bxd

extern "C" {

// `out` receives the file id byte and the version byte. 64 where the file mark is wrong, 66 for a file of
// one to three bytes.
u32 SeekFileIder(u8 fid, u8* out);

// Open a box for one operation. On success *fid is open and the caller closes it; on failure it is closed
// and *fid is 255. 64 for what cannot be opened or is no box; the Ex forms read the 72 bytes of the header
// and give 66 where there are fewer.
u32 CheckFileBox(const char* name, u8* fid, u32 readOnly);
u32 CheckFileBoxExRwMode(const char* name, u8* fid, void* header, u32 readOnly);
u32 CheckFileBoxEx(const char* name, u8* fid, void* header);

// Read a table into a block that the caller frees. 66 for an unset position; 71 for a table that does not
// lie in the file whole, for an item table whose entries leave it, and for no memory. The index table
// comes with its head; *table is null on every failure of it.
u32 ReadItemTable(u8 fid, u8** table, u32* size);
u32 ReadIndexTable(u8 fid, u8** table);

// The default offset table's position and its first `length` bytes, as words of the host. Either pointer
// may be null.
u32 ReadOffsetTable(u8 fid, u32* tableOffset, u32 length, u32* table);

// What the name says of the file's kind: box for "BOX", index for "IDX" and "TDX", in either case.
u32 GetFileExtent(const char* name);
}
