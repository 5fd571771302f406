/* SPDX-License-Identifier: MIT */
/*
 * The language, and the order of texts. The language is set by the application, once at its start and before
 * the first box is opened:
 *
 *     BxdSetLanguage("ja");
 *
 * Setting it sorts nothing anew: an index keeps the language that it was made in, and the file check tells
 * an index of another one, so that it can be built anew.
 *
 * Texts are ordered and matched by codes of 16 bits, one for each character. A sort code is the place of a
 * character among all. The search code made from it is the same for all forms of one letter, be they wide or
 * narrow, capital or small, hiragana or katakana, voiced or not; texts are compared by search codes first,
 * and by sort codes where those leave no difference. Items of Shift-JIS text (types 1 and 16) and of UTF-8
 * text (type 17) have each an order of codes of their own, and the codes of one mean nothing in the other.
 * No file holds a code, but the compiled search condition of an index.
 */
#ifndef BXD_LANGUAGE_H
#define BXD_LANGUAGE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- language -------------------------------------------------------------------------------------- */

/* Bytes of a buffer that any language name fits in with its terminator. */
enum { BXD_LANGUAGE_SIZE = 8 };

/*
 * Sets the language of the process. name ends with a terminator; its first 4 characters are kept. An empty
 * name makes the language unset, as it is at the start. Texts are in the order of the Japanese tables,
 * which hold Latin text too, whatever the name.
 */
BXD_API void BxdSetLanguage(const char* name);

/*
 * The name of the language as it was set, with a terminator, to the BXD_LANGUAGE_SIZE (8) bytes at out;
 * "en" where none has been set.
 */
BXD_API void BxdGetLanguage(char* out);

/*
 * 1 if name is "ja", in capitals or not, and the language of the process is too, or if neither is; else 0.
 * So all languages but Japanese match each other, and match one that is unset.
 */
BXD_API int BxdIsLanguageMatch(const char* name);

/*
 * A debugging aid: writes the order of UTF-8 text to the file "F0:SORTCODE.LOG", through the log: one that
 * the application has open is closed. The file is UTF-16, least byte first and without a mark: for each sort
 * code from 1 to 4863 the character, behind a line feed where it begins a letter and behind a space where it
 * is another form of the one before, and its code point in parentheses. The free sort code 0x11F2 has
 * U+FFFF for a character. Figures go to the standard error stream. Without a path for the file, or where the
 * host refuses it, nothing is written.
 */
BXD_API void BxdDumpSortCode(void);

/* --- Shift-JIS text -------------------------------------------------------------------------------- */

/*
 * The sort code of the character at s; *len becomes its bytes, 1 or 2. A half-width katakana and the voicing
 * mark behind it are one character. For a first byte of 0x80 or more s[1] is read, whatever it is: behind
 * the last byte of a text must stand one that may be read. A lead byte without a trail byte that goes with
 * it is a character of one byte.
 */
BXD_API u32 SortConvChar(const u8* s, u16* len);

/*
 * The masks that make search codes: that of a sort code c is c & mask_code_table[c >> 12].
 *
 *     0x1000  control bytes
 *     0x2000  signs              low 2 bits the form: 0 half-width, 2 full-width
 *     0x3000  digits             low 3 bits the form: 0 half-width, 2 full-width
 *     0x4000  Latin letters      low 3 bits: 0 half-width, 2 full-width, and as capitals 3 and 5
 *     0x5000  kana               low 4 bits: script, width, size and voicing
 *     0x6000  Greek, Cyrillic, frames and other signs, low 2 bits the form
 *     0x7000 to 0xC000  kanji, every one a letter of its own
 *     0xD000  reserved, low bit the form
 *     0xE000 and above  the user's characters
 */
extern BXD_API const u16 mask_code_table[16];

/* The sort codes of the bytes 0x20 to 0x7F. */
extern BXD_API const u16 sort_tbl_20h[96];
/* Those of the bytes 0xA0 to 0xDF; codes of 0x5000 and above are places of kana, still to be folded. */
extern BXD_API const u16 sort_tbl_a0h[64];
/* How kana fold into letters, a byte for each place: 0x80 over the end of a row, 0x70 back, 0x0F form. */
extern BXD_API const u8 sort_kana[96];
/* Those of the bytes 0x80 to 0xFF behind 0xFC, and of 0x80 to 0x9F and 0xE0 to 0xFF behind 0xFD. */
extern BXD_API const u16 sort_tbl_fch[128];
extern BXD_API const u16 sort_tbl_fdh1[32];
extern BXD_API const u16 sort_tbl_fdh2[32];

/* --- UTF-8 text ------------------------------------------------------------------------------------ */

/*
 * The code point of the character at s, which is also its code in binary order; *len becomes the number of
 * bytes that its first byte announces, 1 to 3. 0xFFFD where a byte that should follow does not, and, as a
 * character of one byte, for a byte that no character begins with: those that lead four bytes are among
 * these. Bytes behind the first that is wrong are not read, and so none behind a terminator.
 */
BXD_API u32 SortConvCharUtf8Bin(const u8* s, u16* len);

/* The sort code of that character. */
BXD_API u32 SortConvCharUtf8(const u8* s, u16* len);

/* Makes the search code of a sort code of UTF-8 text. BxdSetLanguage sets it; it is never null. */
typedef u32 (*BxdSearchCodeConverter)(u16 sortCode);
extern BXD_API BxdSearchCodeConverter SearchCodeConverterUtf8;

/* The sort codes of U+0000 to U+00FF, U+3000 to U+30FF and U+FF00 to U+FFFF. */
extern BXD_API const u16 sortTbl_u0000_ja[256];
extern BXD_API const u16 sortTbl_u3000_ja[256];
extern BXD_API const u16 sortTbl_uff00_ja[256];
/* The search codes of the sort codes 0x0001 to 0x0152 and, from entry 338 on, 0x1153 to 0x12FF. */
extern BXD_API const u16 searchTbl_ja[767];

#ifdef __cplusplus
}
#endif

#endif
