/* SPDX-License-Identifier: MIT */
/*
 * Cards: reading, creating, writing, copying and deleting them.
 *
 * A new card is built in memory as the card under edit, whose id is TMP_SYSTEM_CARD_ID (65280), and gets
 * its place in the box with _CardCopy:
 *
 *     u16 edit = TMP_SYSTEM_CARD_ID, id = 0;
 *     CardDescriptor key = {TMP_SYSTEM_CARD_ID, {'N', 'A', 'M', 'E'}, {0}, {0}};
 *     _CardCreate(box, &edit);
 *     _CardWrite(box, &key, (const u8*)"Sato", 4);
 *     _CardCopy(box, edit, &id);                     id is now the new card's id
 *
 * A stored card may be written item by item, or copied to 65280, changed there and copied back.
 * Every function gives 71 for a bad handle.
 */
#ifndef BXD_CARD_H
#define BXD_CARD_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- reading --------------------------------------------------------------------------------------- */

/*
 * Reads an item of a card. *len is the room in buf; it becomes the item's length in bytes, and at most the
 * room is written. Text has no terminator. The item "ATTR" is one byte, 0 in a new card.
 *
 *   0   all of it is in buf
 *   66  the box has no such item, or there is no such card (never used, or deleted)
 *   68  the room was too small (0 is the way to ask for the length); the first part is in buf
 *   71  the card cannot be read, is damaged, or has an id beyond what the box's tables reach
 *   255 the card under edit lay in the file and a collection has taken it
 */
BXD_API u32 _CardRead(BoxHandle box, const CardDescriptor* key, u8* buf, u32* len);

/*
 * Reads *len bytes from `offset` within the item; *len becomes the number delivered, which is less at the
 * item's end. A *len of 0 gives 0 and tests nothing. 35 when the offset is at or behind the item's end;
 * otherwise as _CardRead.
 */
BXD_API u32 _CardOffsetRead(BoxHandle box, const CardDescriptor* key, u8* buf, u32* len, u32 offset);

/*
 * The category numbers (1 to 254) of a card, in stored order, from an item of type 12. *count is the room
 * in out, in bytes; it becomes the number of categories, or of those copied.
 *
 *   0   all are in out
 *   68  the room was too small; with a *count of 0 it becomes the number that there are
 *   71  the item is not there or not of type 12
 *
 * A failure to read the item is as with _CardRead, and *count is then the item's length, or 260.
 */
BXD_API u32 _CardCategoryRead(BoxHandle box, const CardDescriptor* key, u8* out, u32* count);

/* --- creating and writing -------------------------------------------------------------------------- */

/*
 * Begins a card under edit with all items empty and the attribute 0. *cardId is 65280 or above, as a rule
 * TMP_SYSTEM_CARD_ID. One handle has one card under edit at a time.
 *
 *   0   begun; nothing is written but a flag in the header
 *   68  the storage is too full
 *   71  bad id, a card is under edit already, the box is open for reading only, or memory is short
 */
BXD_API u32 _CardCreate(BoxHandle box, u16* cardId);

/*
 * Gives an item the value of `size` bytes at data. A value of "ATTR" is one byte.
 *
 *   0   written
 *   35  the value is too long for the format
 *   66  the box has no such item, or there is no such system card
 *   68  the storage is too full; the card is as it was
 *   71  no such card, data null or size other than 1 for "ATTR", a failing read or write, or damage; also
 *       where an index of the box cannot be opened or written: the value of the stored card is written
 *   255 the card under edit lay in the file and a collection has taken it
 */
BXD_API u32 _CardWrite(BoxHandle box, const CardDescriptor* key, const u8* data, i32 size);

/*
 * The same behind `offset` bytes of the old value, which stay; what the old value held behind that is
 * gone, so that the item's new length is offset + size. 35 when the old value is shorter than offset. A
 * data of null makes `size` the file id (BxdFileOpen) of a file whose whole content is the new value.
 */
BXD_API u32 _CardOffsetWrite(BoxHandle box, const CardDescriptor* key, const u8* data, u32 size, u32 offset);

/*
 * Gives an item the content of a file. 66 when the file cannot be opened, 71 for the item "ATTR";
 * otherwise as _CardWrite.
 */
BXD_API u32 _CardWriteFromFile(BoxHandle box, const char* fileName, const CardDescriptor* key);

/* --- copying --------------------------------------------------------------------------------------- */

/*
 * Copies a card. The card under edit and other system cards are moved: the source is gone afterwards, as
 * is any card under edit. A stored card stays.
 *
 * The indexes of the box follow a stored target within the call: it comes in, goes to its place or leaves, as
 * update mode, search condition and sort condition of each have it (index.h).
 *
 *   *targetId 0              a new card: the next free id is chosen and stored in *targetId
 *   *targetId 1 to 65279     takes the place of that card, or becomes it where there is none
 *   *targetId 65280          loads the source as the card under edit, and ends one that was there
 *   *targetId 65281 - 65519  becomes that system card, of which a box holds ten
 *
 *   0   done; also when source and target are the same, where nothing happens
 *   66  the source is not there
 *   68  the storage is too full; no card has changed (for a new card, its id's table may have been made)
 *   71  no such source, a target above 65519, all ten system cards taken, memory short, a failing read
 *       or write, or damage; also for a stored target where an index of the box cannot be opened or can take
 *       no more entries: the card is stored, and that index and those behind it have not followed
 *   255 the card under edit lay in the file and a collection has taken it
 */
BXD_API u32 _CardCopy(BoxHandle box, u16 sourceId, u16* targetId);

/* --- deleting -------------------------------------------------------------------------------------- */

/*
 * A stored card is deleted in one of two ways. Physically it dies at once: its id can be handed out again,
 * and its bytes are dead space that a collection takes out (box.h); those of the last card of the file, and
 * of dead cards behind it, are given back at once. While a synchronisation runs (_BoxSyncStart, sync.h)
 * it becomes a tombstone, so that the partner can be told that it went: it keeps its id and its items below
 * 3072 bytes, bit 0x40 of its attribute turns, larger items become empty, and it is no longer counted. A
 * tombstone can still be read. (A card whose lengths take more than 246 bytes keeps its large items.)
 *
 * The indexes of the box follow: the card's entry goes, and the entry hidden behind it becomes visible. In a
 * discharge index, one that the box knows with both bits of the type 130, the entry stays and bits 1 and 2
 * of its attribute are cleared.
 */

/*
 * Ends the card under edit (its id, as a rule 65280), deletes a system card, or deletes a stored card:
 * physically, or into a tombstone while a synchronisation runs. To delete a tombstone again while one runs
 * lowers the count of cards again.
 *
 *   0   done
 *   66  an id of 0, or there is no such card. What a lost power kept from being done when it was deleted has
 *       been done: nothing leads to it any more, and the indexes have followed; else nothing has changed
 *   68  the storage is too full even for that
 *   71  the card is damaged; an index of the box cannot be opened; memory is short; or a read or write
 *       failed. Where it was an index, the card is gone, and that index and those behind it in the index
 *       table keep their entries
 *   255 the card under edit lay in the file and a collection has taken it
 */
BXD_API u32 _CardDelete(BoxHandle box, u16 cardId);

/* The same, but physical whatever synchronisation runs; it ends a tombstone as well. */
BXD_API u32 _CardDeletePMSC(BoxHandle box, u16 cardId);

/*
 * _CardDeletePMSC, and after it the card's entries leave the discharge indexes too. 66 also for a system card
 * and the card under edit, which have been deleted then: they stand in no index.
 */
BXD_API u32 _CardDeletePMSCWithIndex(BoxHandle box, u16 cardId);

/*
 * Deletes all stored cards that their attribute selects: those with (attribute & mask) equal to value, or,
 * with negate other than 0, those for which that does not hold. Three times 0 selects every card. The
 * attribute is as _CardRead gives it: mask 0x40 with value 0 selects the cards that are no tombstones.
 * Physical, or into tombstones while a synchronisation runs; the indexes follow by the attribute in their
 * entries, of which hidden ones are not looked at. An id whose card is dead already, or gone, is free after
 * that whatever is selected, and its entries have left the indexes.
 *
 * The flash is made to collect first, for which the file of the box is closed, opened and locked again: that
 * takes a second at least, and up to five minutes on a busy one. The handle stays good. Should the file not
 * open again (68), the handle is gone as after _BoxClose.
 *
 *   0   done, also for a box without cards
 *   66  the box has no item "ATTR", or its tables are damaged
 *   68  the storage is too full
 *   71  a card is damaged; an index cannot be opened; memory is short; or a read or write failed
 *
 * A failure on the way leaves the cards before it deleted, and where they died within one table (the ids 1 to
 * 500, then each 128) the ids of these lead to dead cards. Counts and indexes have not followed.
 */
BXD_API u32 _CardAllDelete(BoxHandle box, u8 mask, u8 value, u8 negate);

/* --- images of system cards ------------------------------------------------------------------------ */

/*
 * They move the bytes behind a card's head, by the name of the box: of the system cards 65281 to 65519 and
 * of the extended information card, EXT_INFO_ID. 255 for the ids 65280 and 65520 to 65522; 64 or 66 for
 * a file that is no box; 66 where there is no such card, which is so for every id of a stored card.
 */

/*
 * Bytes that _ReadCardImage wants. For a system card it is six more than the image has; the last six then
 * are what stands behind the card.
 */
BXD_API u32 _GetCardImageSize(const char* boxName, u16 cardId, u32* size);

/*
 * Reads the image to buffer. *length is its room; it becomes the size that _GetCardImageSize tells. 68
 * when the room is less, with so many bytes read.
 */
BXD_API u32 _ReadCardImage(const char* boxName, u16 cardId, void* buffer, u32* length);

/*
 * Writes an image of `length` bytes as that card, in place of the one that is there. 255 for every id
 * below 65281, above 65523, and 65520 to 65522, before anything is written; 68 when the storage is too
 * full; 71 when all ten system cards are taken, or a read or write fails.
 */
BXD_API u32 _WriteCardImage(const char* boxName, u16 cardId, const u16* data, u32 length);

/* --- primitives for tools -------------------------------------------------------------------------- */

/*
 * Kills the card at position pos of the open file fid (BxdFileOpen): its id becomes 0 and its bytes are
 * counted as dead; the last card of the file is cut off instead. No table, count or index is told.
 */
BXD_API u32 DeleteCardData(u8 fid, u32 pos);

/*
 * Tests that the end mark of a box stands at position pos of the open file fid, and mends a missing or
 * torn one. 0 when it stood there; 71 otherwise, also when it was mended.
 */
BXD_API u32 ChkEndMark(u8 fid, u32 pos);

#ifdef __cplusplus
}
#endif

#endif
