// SPDX-License-Identifier: MIT
// One character at a time of a text whose end is known: the converters of bxd_sort_code look as far ahead as
// a character may reach, these not beyond the end.
//
//   Shift-JIS   .. 82 | A9         the lead byte stands alone: a byte of the caller's choice stands behind it
//   UTF-8       .. E3 81 | 82      the end cuts the character: it is 0xFFFD and takes what is left
#pragma once

#include "match/bxd_sort_code.h"

namespace bxd {

constexpr u32 kUtf8Longest = 3;

// The search code of a sort code of a Shift-JIS character.
inline u16 SearchCodeSjis(u16 sortCode) { return static_cast<u16>(SearchCode(sortCode)); }
inline u16 SearchCodeUtf8(u16 sortCode) { return static_cast<u16>(SearchCodeConverterUtf8(sortCode)); }

// The sort code of the Shift-JIS character at s, of which there are `left` bytes, 1 at least. Behind the last
// one stands `behind`. *used may be 2 with one byte left: the end cuts a pair.
inline u16 SortCodeSjis(const u8* s, u32 left, u8 behind, u16* used)
{
    if (left >= 2) { return static_cast<u16>(SortConvChar(s, used)); }
    const u8 alone[2] = {s[0], behind};
    return static_cast<u16>(SortConvChar(alone, used));
}

// The UTF-8 character at s, of which there are `left` bytes, 1 at least. *used is never more than those.
inline u16 SortCodeUtf8(const u8* s, u32 left, u16* used)
{
    return static_cast<u16>(SortCodeAtUtf8(s, left, used));
}
inline u16 CodePointUtf8(const u8* s, u32 left, u16* used)
{
    return static_cast<u16>(CodePointAtUtf8(s, left, used));
}

}  // namespace bxd
