// SPDX-License-Identifier: MIT
// What a card is, byte by byte, and the walk along the chain of cards.
//
//   every card                        an item card
//   0  u16 cardId                      0  u16 cardId
//   2  u32 cardLength                  2  u32 cardLength
//   6  cardLength bytes                6  u16 headSize, always 2
//                                      8  u16 lengthTableSize
//   the next card's head follows;     10  length table: a length field for each item of the box
//   an id of 0xFFFF ends the chain        the items' bytes in the same order
//
//   a length field            first byte     value
//   1 byte                    0x00 - 0x7F    0 to 127
//   2 bytes, high byte first  0x80 - 0xBF    14 bits
//   4 bytes, high byte first  0xC0 - 0xFF    30 bits
//
//   an item table: u8 count, then entries
//   0  u16 entryLength, the bytes behind this field
//   2  u8 itemType, u8 itemSubType, 4 bytes tag, name without terminator
#pragma once

#include "box/bxd_box_format.h"

constexpr u32 kCardHead = 6;  // cardId and cardLength
constexpr u32 kCardLengthAt = 2;
constexpr u32 kItemCardHead = 10;  // and headSize, lengthTableSize
constexpr u32 kLengthTableSizeAt = 8;
constexpr u32 kLengthFieldMax = 4;
constexpr u32 kNoLengthForm = 5;   // the "size" of a length that no field can hold
constexpr u8 kAttrLiveBit = 0x40;  // set in the stored attribute of a live card; the caller sees it flipped
constexpr u32 kTagMask = 0xDFFFFFFF;  // the case of a tag's first letter does not count
constexpr u8 kCategoryItemType = 12;

// An entry of an item table.
constexpr u32 kItemEntryHead = 2;  // entryLength
constexpr u32 kItemEntryType = 2;
constexpr u32 kItemEntrySubType = 3;
constexpr u32 kItemEntryTag = 4;
constexpr u32 kItemEntryName = 8;
constexpr u32 kItemEntryWithTag = 6;  // least entryLength of an entry that has a tag

// The head of a card as ReadCardSize found it.
struct CardHead {
    u32 bytesRead;
    u16 cardId;
    u32 cardLength;

    u32 total() const { return cardLength + kCardHead; }
};

// An entry of an item table.
struct ItemEntry {
    const u8* bytes;  // the entry behind its entryLength: type, subtype, tag, name
    u16 entryLength;
    u16 itemNumber;  // from 1
    u8 itemType;
    u8 itemSubType;
};

// Where an item of a card lies in the file.
struct CardItemPlace {
    u32 dataOffset;
    u32 dataLength;
    u32 lengthSize;
    u32 lengthOffset;
};

extern "C" {

extern const u8 search_data_attr[];      // "ATTR" first
extern const u8 search_data_category[];  // "CTGR" first

// The head at `pos`. 0 also where the end mark stands there (cardId 0xFFFF, cardLength 0); 71 at the torn
// end of a file, which it mends.
u32 ReadCardSize(u8 fid, i32 pos, CardHead* out);

// True when the card at `pos` is followed by the end mark.
u32 IsLastCard(u8 fid, u32 pos);

// The first entry of the tag; 66 if there is none.
u32 SearchItemNameID(const u8* tag, const u8* itemTable, ItemEntry* out);

// Decodes the length field at *cursor and moves *cursor behind it.
u32 GetCardItemLength(const u8** cursor);
// Stores a length field and gives the address behind it.
u8* CardLengthWrite(u8* dst, u32 length);
}

namespace bxd {

// Bytes of the field for a length: 1, 2, 4, or kNoLengthForm.
constexpr u32 LengthFieldSize(u32 length)
{
    if (length < 0x80) { return 1; }
    if (length < 0x4000) { return 2; }
    return length < 0x40000000 ? 4 : kNoLengthForm;
}

// Bytes of the field that begins with this byte.
constexpr u32 LengthFieldSizeAt(u8 first) { return first < 0x80 ? 1 : first < 0xC0 ? 2 : 4; }

// The entry behind this one.
inline const u8* NextItemEntry(const u8* entry) { return entry + kItemEntryHead + GET_2BYTES(entry); }

// Two tags are the same but for the case of the first letter.
bool SameTag(const u8* a, const u8* b);

// After a write that was to lengthen the card at `pos` has failed: where its head still has the old
// length, the chain ends at `oldEnd` again. The result is `status`.
[[nodiscard]] u32 SettleGrowth(u8 fid, u32 status, u32 pos, u32 oldLength, u32 oldEnd);

// The head of the live or dead card at `pos`, which must lie in the file whole: otherwise 71.
[[nodiscard]] u32 ReadCardHead(u8 fid, u32 pos, CardHead* out);

// Calls visit(pos, head) for each card of the chain that begins at `start`, until one gives another status
// than 0.
template <typename Visit>
[[nodiscard]] u32 ForEachCard(u8 fid, u32 start, Visit visit)
{
    for (u32 pos = start; pos < BxdFileSize(fid);) {
        CardHead head = {};
        u32 status = ReadCardHead(fid, pos, &head);
        if (head.cardId == END_MARK_ID) { return BXD_OK; }
        if (status == BXD_OK) { status = visit(pos, head); }
        if (status != BXD_OK) { return status; }
        pos += head.total();
    }
    return BXD_OK;
}

}  // namespace bxd
