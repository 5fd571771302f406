/* SPDX-License-Identifier: MIT */
/*
 * Indexes: an index is a file of its own beside a box. It lists cards of the box by their ids, in an order
 * and a choice of its own, and tells in records how the list is made. A box lists the names of its indexes,
 * so that a change of a card finds them:
 *
 *     _IndexCreate("F0:ADDRESS.IDX", BXD_INDEX_MASTER);
 *     _IndexInfoWrite("F0:ADDRESS.IDX", IDXINF_BOX_NAME, (const u8*)"F0:ADDRESS.BOX", 14);
 *
 * The second call registers the index in its box. The index has no card table yet; that comes with its
 * first entry. An entry holds the card's id and a copy of its attribute, so that most walks never look at
 * the box.
 *
 * Entries have numbers from 1 on, in the order of the index. A number is a place, not a name: what is put in
 * or taken out renumbers all that stands behind it. Two more numbers serve as starting points of a walk: 0 is
 * before the first entry, 65535 behind the last. So the last entry of an index with 65,535 of them is found
 * by a walk, but is no starting point itself.
 *
 * Names are those of box.h: "F0:" or "F1:" and a file name, or a plain path, with at most 255 characters.
 * Each of the two files stores the other's name in the shortest form that leads back to it: the base name
 * for a file of the same directory, the path without the drive for one elsewhere on the drive, the full name
 * for one on another drive. So box and indexes can be moved together. An index in a directory below that of
 * its box counts as one of the same directory, and so does not find it: keep it elsewhere, or name the box
 * by the other drive.
 *
 * The indexes of a box should differ in their base names: an entry of the box's table that is a base name is
 * taken for every index of that name, and goes when one of them is deleted or registered.
 *
 * Every function opens the files by their names for the length of the call and closes them on every path.
 * Those that register an index make the box's file grow or shrink. An open handle on that box keeps its own
 * figure of the file's size: close the box first, or open it afterwards.
 */
#ifndef BXD_INDEX_H
#define BXD_INDEX_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The 24 bytes at the start of a new index, of the master kind and of the other. */
extern BXD_API const u8 index_file_header[24];
extern BXD_API const u8 tdx_file_header[24];

/* --- what an index knows of itself ----------------------------------------------------------------- */

/* The kind of an index, as _IndexCreate takes it. */
enum {
    BXD_INDEX_MASTER = 17, /* a view of the box, by convention "*.IDX"; so is every value but 18 */
    BXD_INDEX_LIST = 18    /* a list of its own, by convention "*.TDX" */
};

/*
 * Tags of the records that the library knows. A record has a tag of 1 to 255 and 0 to 32,764 bytes; those
 * of all other tags are the application's, are kept as they are and have no effect. A tag occurs once.
 */
enum {
    IDXINF_BOX_NAME = 1,      /* the name of the box, without terminator; without it the index has no box */
    IDXINF_SORT_EXP = 2,      /* sort condition, external form */
    IDXINF_SEARCH_EXP = 3,    /* search condition, external form, see condition.h */
    IDXINF_TYPE = 4,          /* 1 byte, the type bits below; missing, it counts as 0 */
    IDXINF_UPDATE_MODE = 32,  /* 1 byte, the update mode below; missing, it counts as 0 */
    IDXINF_LANGUAGE = 33,     /* 2 letters, the language of the collation when the index was made */
    IDXINF_SORT_VERSION = 34, /* 1 byte, the version of the sort codes: 1 */
    IDXINF_SEARCH_CODE = 128, /* search condition, compiled form */
    IDXINF_SORT_CODE = 129    /* sort condition, compiled form */
};

enum { BXD_INDEX_RECORD_MAX = 32764 };

/* Bits of the record IDXINF_TYPE, which act together. */
enum {
    /* With BXD_INDEX_TYPE_ADDS clear: new cards are not added, entries that are there are kept up to date. */
    BXD_INDEX_TYPE_SPECIAL = 0x80,
    BXD_INDEX_TYPE_ADDS = 0x01,
    /* _BoxSyncClear works through the index. */
    BXD_INDEX_TYPE_SYNC = 0x02,
    /* Both bits: a discharge index. It keeps the entry of a card that is deleted, and its entries tell which
     * cards have been written. */
    BXD_INDEX_TYPE_DISCHARGE = 0x82
};

/*
 * Values of the record IDXINF_UPDATE_MODE: which cards belong to the index. Any other value: all. A filtered
 * index without a search condition that can be read takes no card, and lets go of those that are written.
 */
enum {
    BXD_INDEX_ALL = 0,
    BXD_INDEX_FILTERED = 1, /* the cards that satisfy the search condition */
    BXD_INDEX_BY_HAND = 2   /* the cards that the application has put in */
};

/* --- life ------------------------------------------------------------------------------------------ */

/*
 * Makes an index without a box: header, and the records IDXINF_LANGUAGE and IDXINF_SORT_VERSION. kindCode is
 * BXD_INDEX_LIST, or any other value for the master kind.
 *
 *   0   made
 *   67  there is a file of this name; it stays as it is
 *   68  the storage is too full
 *   71  the file cannot be made or written, or the name is too long; nothing is left behind
 */
BXD_API u32 _IndexCreate(const char* name, u8 kindCode);

/*
 * Deletes an index and takes its name out of its box's table. The file is deleted whatever it holds; a status
 * other than 0 tells most often that the box was not reached, and its table then keeps the name.
 *
 *   0   deleted; the name is out of the table, unless the storage was too full for that or the box could
 *       only be read
 *   64  the index could not be opened (it may not have been there), or its box could not be
 *   66  deleted; it named no box
 *   71  deleted, and its records are damaged or the box's name in it is empty or too long; or it could not be
 *       deleted
 *   255 deleted; it had no records at all
 */
BXD_API u32 _IndexDelete(const char* name);

/*
 * Makes destName a copy of the index srcName in which one record is another: `length` bytes at data become
 * the record of that tag. A file destName is replaced. The copy is registered in its box; one that names no
 * box, or an empty name, is not. A box that can only be read is left as it is, without a word.
 *
 *   0   done
 *   64  srcName is no index or cannot be opened, or the box of the copy cannot be
 *   67  both names stand for one file; it stays as it is
 *   68  the storage is too full
 *   71  a tag or length that no record can have, destName cannot be made, a failing read or write, damage, or
 *       a name that is too long
 *
 * On a failure nothing of destName is left, except for 64 about the source, 67 and a file that could not be
 * made.
 */
BXD_API u32 _IndexCopy(const char* srcName, const char* destName, u16 tag, const u8* data, u16 length);

/* --- records --------------------------------------------------------------------------------------- */

/*
 * Writes a record: `length` bytes at data, in place of the old record of that tag or behind the others. A
 * card table moves along with the records.
 *
 * IDXINF_BOX_NAME registers the index in that box; the box that it was registered in before keeps the name.
 * IDXINF_TYPE and IDXINF_UPDATE_MODE are told to the box. To register again moves the name to the end of the
 * box's table. A box that can only be read is not told, and that is no failure. Give the box its items first:
 * a box that has an index and no items takes none any more.
 *
 * IDXINF_UPDATE_MODE that changes from BXD_INDEX_FILTERED to another removes all entries with the doubly bit.
 *
 * A sort condition, IDXINF_SORT_EXP, of five bytes or more is stored and compiled: IDXINF_SORT_CODE follows,
 * where the index knows its box. A malformed one is stored too, and the compiled form stays as it is, as it
 * does for a shorter one. The same holds for a search condition (condition.h), IDXINF_SEARCH_EXP, and its
 * compiled form, IDXINF_SEARCH_CODE. One that is there already is compiled again behind a sort condition, as
 * it may refer to the keys.
 *
 *   0   written, and the box knows
 *   64  no such index or no index; or, with the record written, its box cannot be opened
 *   68  the storage is too full
 *   71  a tag or length that no record can have, or a failing read or write, or damage: nothing is written
 *       where it shows beforehand. With the record written: the box's name is empty or too long, or its
 *       table cannot be written
 *
 * A record that has been written stays, whatever the status is.
 */
BXD_API u32 _IndexInfoWrite(const char* name, u16 tag, const u8* data, u16 length);

/*
 * The same for a condition that is to be checked: it ends with 69, BXD_ERR_CONDITION, where the one that was
 * written is malformed, or the search condition that follows a sort condition. _IndexInfoWrite goes on there.
 */
BXD_API u32 _IndexInfoWriteWithCheck(const char* name, u16 tag, const u8* data, u16 length);

/*
 * Reads a record. *length is the room at buffer, in bytes; it becomes the length of the record, and at most
 * the room is written. With a room of 0 only the length is told. A record that is longer than the room is
 * no failure: *length comes back larger than it was.
 *
 *   0   done
 *   64  no such index, or no index
 *   66  it has no record of this tag
 *   71  it has no records at all, a failing read, or damage
 */
BXD_API u32 _IndexInfoRead(const char* name, u16 tag, void* buffer, u16* length);

/*
 * Removes a record; that there is none is no failure. Without IDXINF_TYPE the type is 0, of which the box is
 * told, and then all entries are removed whose attribute has none of the bits 1, 2 and 6 set. Without
 * IDXINF_UPDATE_MODE the mode is 0; the box is told, and the doubly bits stay. Without IDXINF_BOX_NAME the
 * index has no box, whose table keeps its name.
 *
 *   0   done
 *   64  no such index or no index; or, with the record removed, its box cannot be opened
 *   68  the storage is too full
 *   71  a failing read or write, or damage
 */
BXD_API u32 _IndexInfoDelete(const char* name, u16 tag);

/* --- stepping and numbering ------------------------------------------------------------------------ */

/*
 * Filters. Functions with mask, value and invert see only the entries with (attribute & mask) == value, or,
 * with invert other than 0, those for which that does not hold. Bits of value that mask lacks let nothing
 * pass. The attribute is a byte of the entry: in its high four bits those of the card's attribute, in the low
 * four the marks of synchronisation. Its bit 0x40 is stored the other way round than mask and value have it,
 * as is that of the card: an entry whose stored bit is clear passes mask 0x40 with value 0x40. All three 0
 * let every entry pass.
 *
 * Hidden entries: an index with a search condition that asks for one card of each value keeps the other cards
 * too, hidden. No filter lets them pass, and they keep their numbers.
 */

/*
 * The card of an entry, to *cardId. 0; 66 when there is no such entry, no table, or the entry cannot be read.
 */
BXD_API u32 _IndexNoToCardID(const char* name, u16 indexNo, u16* cardId);

/*
 * The number of a card's entry, hidden or not, to *indexNo. The table is searched from its start. 0; 66 when
 * the card is not in the index, and for every failure of the search.
 */
BXD_API u32 _CardIDToIndexNo(const char* name, u16 cardId, u16* indexNo);

/*
 * The next entry behind *indexNo that passes: its number to *indexNo. Start with 0 for the first.
 *
 *   0   found
 *   66  there is none, or *indexNo is no starting point: neither 0 nor the number of an entry below 65535
 *   71  a read failed, or the file ends before its end mark
 *
 * *indexNo stays as it is but for 0.
 */
BXD_API u32 _NextIndexNo(const char* name, u8 mask, u8 value, u8 invert, u16* indexNo);

/*
 * The entry before *indexNo that passes: its number to *indexNo. Start with 65535 for the last. Statuses as
 * above, with 65535 for 0. A walk from 65535 that finds nothing leaves the number behind the last entry in
 * *indexNo, which is 65535 itself in an index of 65,535 entries; other failures leave *indexNo as it is.
 */
BXD_API u32 _PrevIndexNo(const char* name, u8 mask, u8 value, u8 invert, u16* indexNo);

/*
 * The number of the entry that is `number` passing entries away from *indexNo, to *indexNo. The starting
 * entry does not count and need not pass: 1 is the next one. backward other than 0 looks towards the start.
 *
 *   0   found
 *   66  there are not so many; `number` is 0; or the search would start at the end that it goes to: at 65535
 *       forward, at 0 or 1 backward
 *   71  *indexNo is above the number of entries, the index has no table, a read failed, or the file ends
 *       before its end mark
 *
 * *indexNo stays as it is but for 0.
 */
BXD_API u32 _NumberToIndexNo(const char* name, u32 backward, u8 mask, u8 value, u8 invert, u16* indexNo,
                             u16 number);

/*
 * Counts the passing entries behind entry `from` up to and with entry `to`, to *number: the number that leads
 * _NumberToIndexNo from `from` to `to`. 0 as `from` counts from the first entry; a `to` behind the last entry
 * counts to the last.
 *
 *   0   one or more
 *   66  none, and *number is 0; or `from` is 65535 or `to` not behind it, and *number stays
 *   71  there is no entry `from`, or none at all; the index has no table; a read failed; the file ends before
 *       its end mark. *number stays
 *
 * Where memory for the span is short, the count is made entry by entry and shifted by one: it begins with the
 * entry `from` (unless that is 0) and ends before `to`.
 */
BXD_API u32 _IndexNoToNumber(const char* name, u8 mask, u8 value, u8 invert, u16 from, u16 to, u16* number);

/*
 * Moves entry `from` to stand directly in front of what is entry *to now; 0 stands for the first entry, 65535
 * or any number above the last for the end. *to becomes the number that the moved entry has then. Its hidden
 * state goes along.
 *
 *   0    moved; or nothing was to be moved, as *to led to `from` itself
 *   1    there is no entry `from`
 *   68   the storage is too full
 *   71   a read or write failed, memory is short, or the file ends within the entries to be moved. What was
 *        moved stays moved
 *   255  the index is filtered (update mode 1), where the order follows from the sort condition: it refuses
 *        every move that changes the order
 *
 * *to stays as it is where the result is not 0.
 */
BXD_API u32 _MoveIndexNo(const char* name, u16 from, u16* to);

/* --- entries --------------------------------------------------------------------------------------- */

/* Only _IndexNoDeletePMSC touches the card itself. */

/*
 * Takes one entry out. The entry that moves into its place becomes visible if it was hidden.
 *
 *   0   done
 *   66  there is no such entry
 *   68  the storage is too full
 *   71  a read or write failed, the file ends with the entry, or the table begins among the records. What
 *       was done stays
 */
BXD_API u32 _IndexNoDelete(const char* name, u16 indexNo);

/*
 * Takes out the entries of the `n` cards at cardIds, in one pass over the table. The scan ends early when n
 * entries have gone; an id that stands there twice removes one entry, and hidden entries stay hidden.
 *
 *   0   done, also where none of the cards is in the index
 *   35  cardIds is null, or n is 0
 *   68  the storage is too full
 *   71  a read or write failed, there is not even memory for one entry, the file ends before its end mark, or
 *       the table begins among the records
 *
 * Where memory for the whole table is short the pass works in pieces, and a failure in the midst of it may
 * leave entries twice in the index.
 */
BXD_API u32 _IndexNoDeleteWithNum(const char* name, const u16* cardIds, u16 n);

/*
 * Deletes through an index of `box`, which must be open: what becomes of the card of entry indexNo follows
 * from the index.
 *
 *   an IDX; any index whose type has all bits of 0x83     the card is deleted as by _CardDelete
 *   a TDX of exactly the type 130                         the entry is marked as discharged, bits 1 and 2 of
 *                                                         its attribute; the card stays
 *   any other TDX                                         the entry goes; the card is deleted as by
 *                                                         _CardDelete when no index of the box holds it now.
 *                                                         It stays in a box that knows of no index at all
 *
 * An entry that stands hidden behind one that goes stays hidden in the last case.
 *
 *   0   done
 *   35  indexNo is 0 or 65535
 *   64  the index cannot be opened
 *   66  the index leads to a card that is not there
 *   71  a bad handle; there is no such entry; or as _CardDelete
 *   255 the index has no information area
 *
 * Other statuses are those of _CardDelete.
 */
BXD_API u32 _IndexNoDeletePMSC(const char* name, u16 indexNo, BoxHandle box);

/*
 * Lowers the count of entries of an open index (a file id of BxdFileOpen) by one; a count of 0 and an index
 * without a table stay as they are. No entry goes: that is the caller's work. 0; 71 when a read or write
 * fails.
 */
BXD_API u32 DecIndexCount(u8 fid);

/* --- searching ------------------------------------------------------------------------------------- */

/*
 * Finds the next card that passes the filter (see "stepping and numbering") and satisfies a search condition
 * (condition.h), behind entry `start`, or with backward other than 0 before it: its number to *indexNo. 0
 * forward begins with the first entry, 65535 backward with the last; so does 65533 forward. `condition` is
 * in the application's form, ended by a byte 0. `box` is an open handle or null. The handle is used where it
 * is that of the index's own box; otherwise the box is opened for the length of the call.
 *
 *   0   found
 *   64  the index cannot be opened or is none; its box is not named or cannot be opened
 *   66  there is none; `start` is no starting point, or there is no table. Also for a condition that is null,
 *       empty or malformed, names an item that the box lacks, or has one of the operators 0x94 and 0x96,
 *       which need the order of an index; and where the search meets an entry whose card is not there
 *   71  a bad handle, a read has failed, or the file ends before its end mark
 *
 * Other statuses are those of a failed reading of the box's items. *indexNo is written on success only.
 *
 * The order of the index makes it fast: where the first test is about the first item of IDXINF_SORT_EXP, the
 * search jumps to the first candidate and ends where no further one can come. It takes the order of the index
 * for granted. What it relies on:
 *
 *   - The index has a record IDXINF_SORT_EXP, which may be empty. Without one only the first entry is looked
 *     at, unless the condition has an OR, a clause on all items, or begins with a date that has wildcards.
 *   - All tests of the first clause agree with the order: a search for what is at least "b" and begins with
 *     "d" ends at the first card that does not begin so. Tests of "contains" (0x92) end nothing, and tests of
 *     other items are free.
 *   - The first test is not 0x97 in a search that goes upwards through the texts, nor a binary "begins with"
 *     (0x95 0x91) in one that goes downwards; and the sort code of the first key is one of 0x80 to 0x83.
 *   - Text of Shift-JIS: the letters of the condition are spelled as in the cards. The order tells small from
 *     capital letters and the two kanas apart where everything else is equal; an equality test does not.
 *   - Numbers: every card has a value, and those of four bytes are below 65536.
 */
BXD_API u32 _IndexSearch(const char* name, BoxHandle box, const u8* condition, u8 backward, u8 mask, u8 value,
                         u8 invert, u16 start, u16* indexNo);

/* --- order and filling ----------------------------------------------------------------------------- */

/*
 * Each of these takes the name of the index and, in `box`, an open handle or null. The handle is used where
 * it is that of the index's own box, and its item table with it; otherwise the box is opened for the length
 * of the call. A handle that is none gives 71.
 */

/*
 * Sorts an index by its sort condition. The condition must stand there compiled, as a write of the condition
 * with _IndexInfoWrite leaves it once the index knows its box. Equal cards may change places where the index
 * has nine entries or more. Entries that the sort exchanges become visible.
 *
 *   0    sorted; or the condition is empty and there is no order to make
 *   64   the index cannot be opened or is none; its box is not named or cannot be opened
 *   66   the index has no sort condition, or the box has no items
 *   68   the storage is too full
 *   69   the condition stands there in the application's form only, or has more than twelve keys
 *   71   a card could not be compared (damaged, or no memory for a long text), the table does not lie in the
 *        file, or a read or write failed. Every entry is still in the table once, unless the write of the
 *        sorted table failed twice: then some entries may stand there twice and others not at all
 *   225  the index has no table or no entry
 *   254  the sort has failed at a value without a place in the box, and the index is barred: it cannot be
 *        opened any more
 */
BXD_API u32 _IndexSort(const char* name, BoxHandle box);

/*
 * Takes a card into an index by hand, whatever the index's search condition says, and to its place in the
 * order: behind all cards that are equal to it. *position receives the number of the entry; in an index
 * without a sort condition the card goes to the end and *position stays as it is. The entry's attribute has
 * the high four bits of the card's and 7 in the low ones.
 *
 *   0   done
 *   64  the index cannot be opened or is none; its box is not named or cannot be opened
 *   66  there is no such card
 *   68  the storage is too full
 *   69  the sort condition is malformed; the card is in the index, at its end
 *   71  a read or write failed, the card is damaged, the index has 65,535 entries or no information area, or
 *       its table begins among its records. Where the card could be appended but not placed it is in the
 *       index, at its end
 *   72  the card is in the index already
 */
BXD_API u32 _IndexNoAppend(const char* name, BoxHandle box, u16 cardId, u16* position);

/*
 * Throws the card table of an index away and fills it with all cards of its box, in the order of their ids.
 * Every entry is visible and has the attribute byte of its card. Sort it with _IndexSort.
 *
 *   0    filled
 *   64   the index cannot be opened or is none; its box is not named or cannot be opened
 *   66   the box has no items, or no item ATTR; the table is as it was
 *   71   a read or write failed, or the tables or a card of the box are damaged. The index has no usable
 *        table then and needs another call
 *   225  the box has no cards; the index has no table
 */
BXD_API u32 _IndexUnGroup(const char* name, BoxHandle box);

#ifdef __cplusplus
}
#endif

#endif
