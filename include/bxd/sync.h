/* SPDX-License-Identifier: MIT */
/*
 * Synchronisation: what the library keeps for a partner, a program on another machine as a rule, that
 * exchanges cards with a box from time to time. The exchange itself is the application's. The library keeps
 * what the partner wants to know: which cards are new, which have changed, and which have been deleted since
 * the last time. It keeps that in indexes of the box, one for each partner, in the low four bits of the
 * attribute of every entry:
 *
 *     BXD_SYNC_CHANGED   the card is new, or has been written
 *     BXD_SYNC_PRESENT   the card is there; clear, it has been deleted: it is discharged
 *     BXD_SYNC_STANDS    goes with BXD_SYNC_PRESENT: a discharged entry has neither
 *     BXD_SYNC_FREE      not looked at by the library; a new entry takes it from the card's attribute
 *
 * The type of an index (its record IDXINF_TYPE as it was when the index was registered, index.h) says what
 * it does:
 *
 *     BXD_INDEX_TYPE_DISCHARGE  both bits: the entry of a card that is deleted stays, discharged, and one of
 *                               a card that is written is marked as changed. With BXD_INDEX_TYPE_ADDS as well
 *                               (0x83) new cards come in; without it they do not
 *     BXD_INDEX_TYPE_SYNC       _BoxSyncClear works through the index, and deletes it
 *
 * Marks are set whether or not a synchronisation runs. What a running one decides is how _CardDelete and
 * _CardAllDelete delete (card.h): the card stays as a tombstone, whose small items can still be read. A whole
 * exchange:
 *
 *     _BoxSyncStart("F0:ADDRESS.BOX");           from now on deleted cards stay as tombstones
 *     ... _IndexCreate, _IndexInfoWrite and so on make a discharge index with the cards of the box
 *     BoxHandle box = _BoxOpen("F0:ADDRESS.BOX");
 *     ...                                        cards are read, written, added, deleted
 *     BxdIndexHandle index = _BxdIndexOpen("F0:SYNC.TDX");
 *     for (n = 1; _BxdGetIndexSyncAttrPMSC(index, n, &attr) == BXD_OK; n++) {
 *         if (attr & BXD_SYNC_CHANGED) {
 *             ...                                tell the partner of the card of entry n
 *             _BxdSetIndexSyncAttrPMSC(index, n, BXD_SYNC_CHANGED, 0);
 *         }
 *         if (!(attr & BXD_SYNC_PRESENT)) { ... } it has been deleted
 *     }
 *     _BxdIndexClose(index);
 *     BxdUpdateSyncId(box);
 *     _BoxClose(box);
 *     _BoxSyncClear("F0:ADDRESS.BOX");           the tombstones go, and the sync indexes
 *
 * The state is in the file of the box: a synchronisation that runs goes on when the box is closed, when the
 * power is lost and when the program starts anew. It is no lock, and needs no handle.
 */
#ifndef BXD_SYNC_H
#define BXD_SYNC_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { BXD_SYNC_CHANGED = 1, BXD_SYNC_PRESENT = 2, BXD_SYNC_STANDS = 4, BXD_SYNC_FREE = 8 };

/* --- a synchronisation of a box --------------------------------------------------------------------- */

/* By name. They may be used beside a handle that is open on the box. */

/*
 * Starts a synchronisation, by a write of one byte; one that runs goes on, and nothing is written.
 *
 *   0    it runs
 *   255  the file cannot be opened, is no box, or cannot be written
 */
BXD_API u32 _BoxSyncStart(const char* boxName);

/*
 * Ends a synchronisation. Then, also where none was running, the box's sync indexes, those registered with
 * BXD_INDEX_TYPE_SYNC in their type, are worked through one after another: each card with a discharged entry
 * is ended, the file of the index is deleted, and its name leaves the box. The bytes of the cards become dead
 * space, which _BoxGarbageCollect gives back.
 *
 * An entry is taken at its word. Its card is ended whether it is a tombstone or not, and is not counted off:
 * that was done when it became one. So:
 *   - A card that was discharged through its index only (_IndexNoDeletePMSC with a list of the type 130, or
 *     _BxdSetIndexSyncAttrPMSC) goes now, still counts, and other indexes keep its entry.
 *   - An index that was filled by _IndexUnGroup has the marks of the cards' attributes, which are none as a
 *     rule: set those of its entries before, or all its cards go. Entries that come in with a new card, or by
 *     _IndexNoAppend, have them.
 *   - Where a card was deleted by _CardDeletePMSC, its id may have been given to a new card while the old
 *     entry still stands. _CardDeletePMSCWithIndex takes the entry out and is the one to use.
 * An entry whose card is gone is passed by. A tombstone that no sync index lists stays.
 *
 * A call that was broken off, by a failure or a lost power, has ended the synchronisation and the cards up to
 * there. Calling again does the rest; only the dead bytes of the first part are not counted, until the box is
 * measured.
 *
 *   0    done
 *   64   no such file, or not a box
 *   66   the file is shorter than the header of a box
 *   68   the storage is too full even for that
 *   71   the index table of the box is damaged, memory is short, or a read or write at the start failed
 *   255  a sync index could not be read to its end or deleted, or its name not taken out; it stays then, as
 *        do those behind it. Or the file of a sync index was missing: its name has left the box, and all
 *        others were worked through
 */
BXD_API u32 _BoxSyncClear(const char* boxName);

/*
 * *running becomes 1 where a synchronisation runs, else 0, which it also is after every failure.
 *
 *   0    *running tells
 *   64   no such file, or not a box
 *   255  it cannot be read, or is shorter than the header of a box
 */
BXD_API u32 _BoxSyncCheck(const char* boxName, u32* running);

/* The same; it does not tell of a failure of the closing. */
BXD_API u32 _RmtxBoxSyncCheck(const char* boxName, u32* running);

/* --- the change counter ----------------------------------------------------------------------------- */

/* A counter of the box that belongs to the partner: it is 1 in a new box and changes by request only. */

/* The counter; 0 for a bad handle and where it cannot be read. It is no status. */
BXD_API u32 BxdGetSyncId(BoxHandle box);

/* Adds 1; 1 follows 0xFFFFFFFF. 0; 71 for a bad handle, or where a read or write fails. */
BXD_API u32 BxdUpdateSyncId(BoxHandle box);

/* --- a prediction ----------------------------------------------------------------------------------- */

/*
 * The id that the next new card is likely to get, to *cardId. Nothing is changed and nothing reserved. Where
 * the search for a free id has come to a table that is not there, _CardCopy may go back to the lowest ids and
 * choose another.
 *
 *   0    *cardId tells
 *   71   a bad handle, or the tables of the box are damaged; or no id is left. *cardId stays
 */
BXD_API u32 _ExpectNewCardID(BoxHandle box, u16* cardId);

/* --- marks of entries ------------------------------------------------------------------------------- */

/* An index that is open for its marks. What it points to belongs to the library. */
typedef u8** BxdIndexHandle;

/*
 * Opens an index file for reading and writing. Gives null where it cannot be opened or memory is short. What
 * the file holds is not looked at: it must be an index. A handle takes one of the ten streams.
 */
BXD_API BxdIndexHandle _BxdIndexOpen(const char* indexName);

/* Closes it and frees the handle, which must not be used again. 0; 71 for null. */
BXD_API u32 _BxdIndexClose(BxdIndexHandle index);

/*
 * The low four bits of the attribute of entry `indexNo`, counted from 1 and with hidden entries, to *attr.
 * 0; 66 where there is no such entry, or it cannot be read: *attr is 0 then.
 */
BXD_API u32 _BxdGetIndexSyncAttrPMSC(BxdIndexHandle index, u16 indexNo, u8* attr);

/*
 * Sets those of the four bits that `mask` has to what they are in `value`; all other bits of both are not
 * looked at. One byte is written, also where nothing changes.
 *
 * 0; 66 where there is no such entry, or it cannot be read; any other status where it cannot be written.
 */
BXD_API u32 _BxdSetIndexSyncAttrPMSC(BxdIndexHandle index, u16 indexNo, u8 mask, u8 value);

#ifdef __cplusplus
}
#endif

#endif
