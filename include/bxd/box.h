/* SPDX-License-Identifier: MIT */
/*
 * Boxes: a box is one file that holds the cards of one application, each made of the items that the box's
 * item table names. A box is created, given its items, and can then be opened:
 *
 *     _BoxCreate("F0:ADDRESS.BOX", GET_4BYTES("ADDR"));
 *     _BoxItemAppend("F0:ADDRESS.BOX", items, 3, &rewritten);
 *     BoxHandle box = _BoxOpen("F0:ADDRESS.BOX");
 *     ...
 *     _BoxClose(box);
 *
 * Names are "F0:" or "F1:" and a file name, which stands for a file in $HOME/Applications/bxd/, or a plain
 * path of the host without a colon. They end with a terminator and their path has at most 255 bytes; a
 * longer one is refused with the status of a file that cannot be opened or made.
 *
 * Functions that take a name open the file for the length of the call and close it on every path. They may
 * be used beside an open handle on the same box, but not to make the file grow or shrink meanwhile: every
 * open keeps its own figure of the file's size.
 */
#ifndef BXD_BOX_H
#define BXD_BOX_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The 72 bytes at the start of a new box; _BoxCreate fills in the application's name at offset 40. */
extern BXD_API const u8 box_file_header[72];
/* The entries of the four items that stand first in every box: ATTR, cTTM, mDTM, sYID. */
extern BXD_API const u8 default_item_table[73];
/* Heads of the two kinds of table that lie among the cards: append table, index table. */
extern BXD_API const u8 offset_table_header[6];
extern BXD_API const u8 idx_name_tbl_data[6];

/* --- start ----------------------------------------------------------------------------------------- */

/*
 * Starts the library: empties the registry of bad files for both drives. Call it once, before the first
 * box is opened. Gives 0.
 */
BXD_API u32 _BxdnInit(void);

/* The same for one drive: 0 is "F0:", any other value "F1:". Gives 0. */
BXD_API u32 BxdSetupDriveWork(u8 drive);

/* --- creation and deletion ------------------------------------------------------------------------- */

/*
 * Makes a box of 2120 bytes: header and empty offset table. It cannot be opened before its first
 * _BoxItemAppend. aplName is four bytes that name the owning application, the first letter in the lowest
 * byte. The directory $HOME/Applications must exist for a name on a drive.
 *
 *   0   made
 *   67  there is a file of this name; it stays as it is
 *   68  the storage is too full
 *   71  the file cannot be made or written, or memory is short; nothing is left behind
 */
BXD_API u32 _BoxCreate(const char* name, u32 aplName);

/*
 * Deletes a box and the index files that are registered in it.
 *
 *   0   deleted
 *   71  the file does not exist or cannot be deleted
 *   64  the box could not be read as one: it was deleted, and with it those index files of its directory
 *       that name it as their box
 */
BXD_API u32 _BoxDelete(const char* name);

/* --- open and close -------------------------------------------------------------------------------- */

/*
 * Opens a box for reading and writing and locks its file against other processes until it is closed.
 * Gives the handle, or null: no such file, not a box, a box without items or with a damaged item table, a
 * box that another process holds open for writing, memory short, or all ten streams in use. A file that
 * the host lets only be read cannot be locked for writing and gives null too. The process may open one box
 * more than once; each handle has a card under edit and a figure of the file's size of its own.
 */
BXD_API BoxHandle _BoxOpen(const char* name);

/*
 * The same, and with readOnly other than 0 for reading only: no lock is taken, none stands in the way,
 * and calls that would write give 71.
 */
BXD_API BoxHandle _BoxOpenRwMode(const char* name, u32 readOnly);

/*
 * Closes a box and frees its handle, which must not be used again, whatever the result is. A card under
 * edit is dropped. 0; 71 for a bad handle, with nothing freed; else the status of the first step that
 * failed.
 */
BXD_API u32 _BoxClose(BoxHandle box);

/* The same; with force other than 0 the file is closed even where more than one open counts on it. */
BXD_API u32 _BoxCloseEx(BoxHandle box, u32 force);

/* --- figures and small fields ---------------------------------------------------------------------- */

/* Each gives 64 for a file that cannot be opened or is no box, 66 for one shorter than a header, 71 when
 * a read or write fails, and 0 when it has done its work. */

/*
 * *cards is the number of live cards, *bytes the size of the card area: the file's size less the position
 * of the first card less the size of the index table. In a box without an index table the latter counts
 * as all ones, so that *bytes is one more. Both are 0 in a box without a card area.
 */
BXD_API u32 _BoxCardTotal(const char* name, u32* bytes, u16* cards);

/* The four bytes that name the application, first letter in the lowest byte of *out. */
BXD_API u32 _ReadAplName(const char* name, u32* out);

/* Replaces them by the four bytes at value. */
BXD_API u32 _WriteAplName(const char* name, const void* value);

/*
 * Sets the memory that a card under edit may take before it moves to the file, for opens to come:
 * 1 to 250 are so many KiB; 251 is 450, 252 is 400, 253 is 350 and 254 is 300 KiB; 0 and 255 are 10 KiB.
 */
BXD_API u32 _WriteSystemcardSize(const char* name, u8 code);

/* The same in bytes. 0xFFFFFFFF leaves it to the library (10240). */
BXD_API u32 _WriteSystemcardSizeL(const char* name, u32 size);

/* One byte free for the application, in a box or an index file. */
BXD_API u32 _GetFileInfo(const char* name, u8* out);
BXD_API u32 _SetFileInfo(const char* name, u8 value);

/* The number of items of an open box, 0 to 255; 71 also stands for a bad handle. */
BXD_API u32 _GetItemNum(BoxHandle box);

/*
 * The tag of item `number`, counted from 1: four bytes at tag, small letters made capitals.
 * 66 when the box has no items or not so many.
 */
BXD_API u32 _GetItemName(const char* name, u16 number, u8* tag);

/*
 * The stored name of the first index of the master kind, copied to out with its terminator; it may be a
 * base name, so out should hold 256 bytes. 66 when the box has none.
 */
BXD_API u32 _GetMasterIndex(const char* name, char* out);

/*
 * The full name of index `number` of the box, counted from 1, copied to out when outSize is above its
 * length; *isMaster is 1 for an index of the master kind, else 0.
 *   66  the box has no such index
 *   68  outSize is too small; *isMaster is set
 */
BXD_API u32 _GetIndexName(const char* name, i32 number, char* out, u32 outSize, u32* isMaster);

/* --- items ----------------------------------------------------------------------------------------- */

/*
 * Gives a box without items its first ones: the four that every box has, then `count` items of the caller.
 * An item whose tag has a character other than 0-9, A-Z, a-z, or is one of the four's, is left out without
 * a word, as are items beyond 251; a name is cut at 38 bytes. *rewritten becomes 1.
 *
 *   0   done; the box can be opened
 *   64  no such file, or not a box
 *   66  the file is shorter than the header of a box
 *   71  memory is short, a read or write failed, the box has items already, or it holds a card where they
 *       would go
 */
BXD_API u32 _BoxItemAppend(const char* name, const ItemRecord* items, u16 count, u32* rewritten);

/*
 * The record of the item with this tag (four bytes; the case of the first letter does not count): type,
 * subtype, tag and name with a terminator, of which at most *len bytes are written to out. A name of 38
 * bytes makes 45 of them: one more than an ItemRecord has. *len becomes the length of the whole,
 * terminator included.
 *
 *   0   the whole record is in out
 *   64  no such file, or not a box
 *   66  the box has no such item, or no items
 *   68  *len was too small; with a *len of 0 nothing is written, otherwise what fits, with a terminator
 *   71  memory is short, a read failed, or the item table is damaged
 */
BXD_API u32 _BoxItemRead(const char* name, const u8* tag, ItemRecord* out, u16* len);

/* The same from the item table of an open box, without a look at the file. 71 for a bad handle. */
BXD_API u32 _BoxItemReadHeap(BoxHandle box, const u8* tag, void* out, u16* len);

/* --- dead space ------------------------------------------------------------------------------------ */

/* Bytes of dead cards in a box. 0; 64 for what cannot be opened or is no box; 66 for a short file. */
BXD_API u32 _GetBoxGarbageSize(const char* name, u32* size);

/* Bytes that have died in this process in boxes of "F0:" (drive 0) or of "F1:" (any other). No status. */
BXD_API u32 _ReadGarbageSize(i8 drive);

/*
 * Collects the dead space of a box: its cards close up, its tables are made anew, and the file gets shorter.
 * Every card keeps its id and its items, and index files stay as they are. A card under edit that lies in
 * the file goes, and of more than ten system cards those behind the tenth. A handle that is open on the box
 * meanwhile must be closed then: its figure of the file's size is no longer true.
 *
 * The box is closed up in memory and written back in one write, if there is memory and room for all of it.
 * Otherwise its cards move one after another; where the room runs out on the way, the box is put in order,
 * and a later call goes on from there. The bytes gained leave the count of _ReadGarbageSize.
 *
 *   0   done, also where nothing was dead: the file is left as it was then
 *   64  what cannot be opened or is no box
 *   66  the file is shorter than the header of a box
 *   68  the storage is too full; all cards can be read
 *   71  the chain of cards is damaged and was left alone; memory is short; or a read or write failed, in
 *       which case the box may need the file check
 */
BXD_API u32 _BoxGarbageCollect(const char* name);

/*
 * Collects on a drive, 0 "F0:" or any other "F1:", if anything has died there since the process began. Boxes
 * are looked for as files of the literal name "F0:????????.BOX" (or "F1:..."), so as a rule none is found and
 * only the count of the drive goes to 0: collect a box by its name. Gives 0, or the status of a collection.
 */
BXD_API u32 _GarbageCollectAll(i8 drive);

/* Kept for applications that call them at start; they do nothing and give 0. */
BXD_API u32 _GetAllBoxGarbageSize(void);
BXD_API u32 _GarbageCheck(void);

/* --- measures of dead space, for tools ------------------------------------------------------------- */

/* A list of cards that the library makes for itself. */
struct CardTable;

/*
 * Walks the cards of the box fid (BxdFileOpen for writing) from position `start`, where a card stands, to the
 * end mark, and sums up the bytes of the dead ones. Dead cards directly before the end mark are cut off with
 * the file; their bytes go to *tail and not into the sum. The sum goes to *garbage and into the header of the
 * box; the highest card id up to 65279 to *maxId, 0 for none. garbage and maxId may be null. table must be
 * null. A start of 0xFFFFFFFF, as in a box without cards, gives 0 for all.
 *
 *   0   done
 *   71  the chain of cards is damaged, and the file is left as it was; memory is short; or a read, or the
 *       write of the sum, failed
 */
BXD_API u32 FastGetGarbageSize(u8 fid, u32* garbage, u32* tail, u32 start, u16* maxId,
                               struct CardTable** table);

/*
 * Measures the box fid so, and carries the change over to what _ReadGarbageSize tells for the drive: 0 "F0:",
 * any other "F1:". A box without cards is left alone. Statuses as above.
 */
BXD_API u32 UpdateBoxGarbageSize(u8 fid, u32 drive);

/*
 * Measures an open box, given as what its handle points to (*handle), from `start` on, and takes the bytes
 * that were cut off the count of _ReadGarbageSize. Statuses as above.
 */
BXD_API u32 CutTailGarbage(const struct BoxRecord* box, u32 start);

#ifdef __cplusplus
}
#endif

#endif
