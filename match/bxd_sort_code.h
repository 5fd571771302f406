// SPDX-License-Identifier: MIT
// From the characters of a text to the codes that it is ordered and matched by.
//
//   text  --SortConvChar-->      sort code  --mask_code_table-->          search code     Shift-JIS
//   text  --SortConvCharUtf8-->  sort code  --SearchCodeConverterUtf8-->  search code     UTF-8
//         --SortConvCharUtf8Bin-->  code point, the code in binary order
//
// What the codes mean is told in <bxd/language.h>. Comparators, which know where a value ends, read it by the
// bounded forms in namespace bxd.
#pragma once

#include <bxd/language.h>

extern "C" {

extern char gLang[BXD_LANGUAGE_SIZE];  // the name as it was set; empty at the start

// Code point to sort code in the current language. Another language's tables would be attached here and at
// SearchCodeConverterUtf8; the Japanese ones are the only ones so far.
extern u32 (*SortConvCharUtf8Lang)(u32 codePoint);

// Moves a kana from its place to its letter (bxd_sort_code_tables.h). A place behind the last row stays.
u32 KanaTatami(u32 code);

// Bytes of the character that begins with `first`: 1 for a byte that none begins with.
u32 GetBytesUtf8(i8 first);

// Only the low 16 bits of the code point count.
u32 SortConvCharUtf8Ja(u32 codePoint);
u32 SearchCodeFromSortCodeUtf8Ja(u16 sortCode);
}

namespace bxd {

// The sort code of the character at s, of which `length` bytes may be read, at least 1; *used becomes the
// bytes that it takes, never more than those. A lead byte that the end cuts off is a character of one byte.
u32 SortCodeAt(const u8* s, u32 length, u16* used);

// The same in UTF-8, and the code point. A character that the end cuts off counts as U+FFFD and takes what is
// left.
u32 SortCodeAtUtf8(const u8* s, u32 length, u16* used);
u32 CodePointAtUtf8(const u8* s, u32 length, u16* used);

// The search code of a sort code of Shift-JIS text.
inline u32 SearchCode(u32 sortCode) { return sortCode & mask_code_table[(sortCode >> 12) & 0xF]; }

}  // namespace bxd
