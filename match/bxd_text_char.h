// SPDX-License-Identifier: MIT
// One character at a time of a text whose end is known: the converters of bxd_sort_code look as far ahead as
// a character may reach, these not beyond the end.
//
//   Shift-JIS   .. 82 | A9         the lead byte stands alone: a byte of the caller's choice stands behind it
//   UTF-8       .. E3 81 | 82      the end cuts the character: it is 0xFFFD and takes what is left
#pragma once

#include <cstring>

#include "match/bxd_sort_code.h"

namespace bxd {

constexpr u32 kUtf8Longest = 3;

// The search code of a sort code of a Shift-JIS character.
inline u16 SearchCodeSjis(u16 sortCode)
{
    return static_cast<u16>(sortCode & mask_code_table[sortCode >> 12]);
}
inline u16 SearchCodeUtf8(u16 sortCode) { return static_cast<u16>(SearchCodeConverterUtf8(sortCode)); }

// The sort code of the Shift-JIS character at s, of which there are `left` bytes, 1 at least. Behind the last
// one stands `behind`. *used may be 2 with one byte left: the end cuts a pair.
inline u16 SortCodeSjis(const u8* s, u32 left, u8 behind, u16* used)
{
    if (left >= 2) { return static_cast<u16>(SortConvChar(s, used)); }
    const u8 alone[2] = {s[0], behind};
    return static_cast<u16>(SortConvChar(alone, used));
}

// The UTF-8 character at s through one of the two converters. *used is never more than `left`.
template <typename Converter>
u16 ConvertUtf8(Converter convert, const u8* s, u32 left, u16* used)
{
    if (left >= kUtf8Longest || GetBytesUtf8(static_cast<signed char>(*s)) <= left) {
        return static_cast<u16>(convert(s, used));
    }
    // No continuation byte follows here, so that it comes out as malformed.
    u8 cut[kUtf8Longest] = {};
    std::memcpy(cut, s, left);
    u16 code = static_cast<u16>(convert(cut, used));
    *used = static_cast<u16>(left);
    return code;
}
inline u16 SortCodeUtf8(const u8* s, u32 left, u16* used)
{
    return ConvertUtf8(SortConvCharUtf8, s, left, used);
}
inline u16 CodePointUtf8(const u8* s, u32 left, u16* used)
{
    return ConvertUtf8(SortConvCharUtf8Bin, s, left, used);
}

}  // namespace bxd
