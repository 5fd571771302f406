/* SPDX-License-Identifier: MIT */
/*
 * The file check: can a box or an index be trusted? A check walks what the file says of itself. It stops at
 * the first fault, gives a status for it, writes a message in Japanese (UTF-8) to standard error, and enters
 * the file with status, level and message in the registry of bad files (files.h). BxdFileOpen, and with it
 * every function that goes by a name, refuses a file that stands there, so that a damaged file is not damaged
 * further. A later check that finds nothing takes the file out of the registry, as do its deletion and a new
 * start of the library.
 *
 *     if (_BXDFileCheckLevel("F0:ADDRESS.BOX") != BXD_OK) { ... tell the user, or make the file anew ... }
 *
 * A check has a level:
 *
 *     level               what of a box is looked at
 *     BXD_CHECK_USUAL     header, item table, end mark, offset card, index table
 *     BXD_CHECK_TABLES    and the positions of all cards: default offset table and append tables
 *     BXD_CHECK_CARDS     and the cards: the chain from one to the next, the table of lengths in each, and
 *                         whether chain, tables and header agree on how many there are
 *     any other           what BXD_CHECK_USUAL looks at
 *
 * The third reads every card of the box, the others a few tables. An index is looked at in one way, whatever
 * the level: header, records, size, end mark, language; what is found there is entered with level 3.
 *
 * A file that stands in the registry is not looked at again by a check that is no deeper than the one that
 * found it: the status of the entry is the answer, also one that an application has entered. A check that is
 * less deep runs, and where it finds nothing the entry goes. From shallow to deep the levels are: any other,
 * BXD_CHECK_USUAL, BXD_CHECK_TABLES, BXD_CHECK_CARDS.
 *
 * Some things are mended rather than reported:
 *
 *     a box's end mark that is not FF FF               is written
 *     bytes behind the last card, at BXD_CHECK_CARDS   are cut off, unless cards in use are among them
 *     bytes behind an index's card table               are cut off
 *     a name in the box's index table whose index      is taken out, if the storage has the room for it
 *     cannot be opened (missing, barred, no index)
 *
 * Cards in use behind the end of the chain, as a lost power may leave them, are reported (130) and stay: pass
 * the box by a check that is less deep, and collect it (_BoxGarbageCollect).
 *
 * Nothing else changes a file. Both bytes of the end mark missing is the trace of a write that was cut short:
 * at BXD_CHECK_CARDS they are written too, and the check still reports the file, which the next check that
 * is less deep finds good.
 *
 * The file must not be open for writing anywhere. What a name is, is told in box.h.
 *
 *   0    nothing found; the file stands in the registry no longer
 *   35   BXD_ERR_RANGE: the file is neither box nor index
 *   64   the file cannot be opened, and nothing is registered; or, registered, the first byte is not that
 *        of any file of the system
 *   66   the file ends before a part of it does
 *   71   a failing read or write, memory short, or a chain of cards that breaks off
 *   128  BXD_DIAG_VERSION: a version that this library does not know
 *   130  BXD_DIAG_DAMAGED: positions, lengths, ids or counts that do not go together; or the extension of
 *        the name (box: "BOX", index: "IDX", "TDX", in either case) is not that of the kind of the file
 *   134  BXD_DIAG_BADID: an id out of its range, a table of lengths that is broken, an index of a wrong size
 *   135  BXD_DIAG_INDEX: an index of another language or another order of texts: make it anew
 *   any  the status of the entry of a file that was not looked at again
 *
 * Memory that is short for the entry itself leaves the file out of the registry; the status is the same.
 */
#ifndef BXD_DIAG_H
#define BXD_DIAG_H

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* How deep a check goes; see above. */
enum { BXD_CHECK_USUAL = 3, BXD_CHECK_TABLES = 2, BXD_CHECK_CARDS = 255 };

/* Checks the file `name` at BXD_CHECK_USUAL, the level for every start of an application. */
BXD_API u32 _BXDFileCheck(const char* name);

/* Checks it at BXD_CHECK_TABLES, always. */
BXD_API u32 _BXDFileCheckLevel(const char* name);

/*
 * The same, and a box is stamped first: the four bytes of appliId, lowest first, become the name of its
 * application, as by _WriteAplName. They are written as soon as the file is known for a box by identifier,
 * extension and version, whatever the check then finds; a file that is not looked at again is not stamped.
 * appliId of 0 stamps nothing, and an index is never stamped. `unused` has no meaning.
 */
BXD_API u32 _BXDFileCheckAppliID(const char* name, u32 unused, u32 appliId);

/* Checks the file at any level, and stamps it if appliId is not 0. */
BXD_API u32 BXDFileCheckSub(const char* name, u8 level, u32 appliId);

#ifdef __cplusplus
}
#endif

#endif
