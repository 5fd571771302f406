// SPDX-License-Identifier: MIT
// Small text helpers: Shift-JIS character predicates, number text, name comparison.
//
// A Shift-JIS character is passed as a 16-bit value: low byte the first byte of the text, high byte the next.
#pragma once

#include <bxd/files.h>

namespace bxd {

// Whether a byte can be the second of a character, behind most lead bytes.
constexpr bool IsTrail(u32 b) { return (b - 0x40 <= 0xFC - 0x40) & (b != 0x7F); }

// Whether the bytes a and b form one two-byte character.
constexpr bool FormsPair(u32 a, u32 b)
{
    if (a < 0x80 || (a >= 0xA0 && a <= 0xDF) || a == 0xFF) { return false; }
    if (a >= 0xFB) { return b >= 0x20; }
    return IsTrail(b);
}

constexpr u32 kVoiced = 0xDE;      // half-width voicing mark
constexpr u32 kHalfVoiced = 0xDF;  // half-width semi-voicing mark

// Whether a is a half-width katakana that can be voiced, and b a mark that voices it.
constexpr bool FormsVoicedPair(u32 a, u32 b)
{
    const bool both = a - 0xCA <= 0xCE - 0xCA;
    const bool one = (a == 0xB3) | (a - 0xB6 <= 0xC4 - 0xB6);
    return ((one | both) & (b == kVoiced)) | (both & (b == kHalfVoiced));
}

}  // namespace bxd

extern "C" {

// Non-zero when the pair forms one two-byte character; C_LOCAL_is_2byte_f is the opposite.
int Is2byte(u16 c);
int C_LOCAL_is_2byte_f(u16 c);

// The same, widened by half-width katakana followed by its voicing mark, so that the pair sorts as one.
int Is2byteDakuon(u16 c);
int C_LOCAL_is_2byte_dakuon_f(u16 c);

// `number` in decimal, right-aligned in `width` (at most 16) places, padded with '0', and a terminator.
// Writes width + 1 bytes. Of too many digits the lowest stay; a negative number has '-' in the first place.
void I2A_0nd(u8* out, i32 number, u32 width);
}
