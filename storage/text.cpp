// SPDX-License-Identifier: MIT
#include "storage/text.h"

namespace {

constexpr u32 kNumberWidthMax = 16;
constexpr u32 kExtensionLength = 3;

u8 First(u16 c) { return static_cast<u8>(c); }
u8 Second(u16 c) { return static_cast<u8>(c >> 8); }

// Bit 5 is what tells a capital from a small letter; it is left out for every byte, letter or not.
bool SameButForCase(u8 a, u8 b) { return ((a ^ b) & ~0x20) == 0; }

}  // namespace

extern "C" {

int Is2byte(u16 c) { return bxd::FormsPair(First(c), Second(c)) ? 1 : 0; }

int C_LOCAL_is_2byte_f(u16 c) { return Is2byte(c) != 0 ? 0 : 1; }

int Is2byteDakuon(u16 c)
{
    return bxd::FormsPair(First(c), Second(c)) || bxd::FormsVoicedPair(First(c), Second(c)) ? 1 : 0;
}

int C_LOCAL_is_2byte_dakuon_f(u16 c) { return Is2byteDakuon(c) != 0 ? 0 : 1; }

void I2A_0nd(u8* out, i32 number, u32 width)
{
    if (width > kNumberWidthMax) { width = kNumberWidthMax; }
    u32 rest = number < 0 ? 0u - static_cast<u32>(number) : static_cast<u32>(number);
    out[width] = 0;
    for (u32 place = width; place > 0; --place) {
        out[place - 1] = static_cast<u8>('0' + rest % 10);
        rest /= 10;
    }
    if (number < 0 && width > 0) { out[0] = '-'; }
}

i32 StrICmpN(const u8* a, const u8* b, u32 n)
{
    for (; n > 0; --n, ++a, ++b) {
        if (*a == 0 || *b == 0) { return 0; }
        if (!SameButForCase(*a, *b)) { return static_cast<i8>(*a) <= static_cast<i8>(*b) ? -1 : 1; }
    }
    return 0;
}

i32 FileStringCompare(const u8* a, const u8* b, u32 n)
{
    while (n > 0) {
        if (*a == *b) {
            if (*a == 0) { return 1; }
            n = *a == '.' ? kExtensionLength : n - 1;
            ++a;
            ++b;
            continue;
        }
        if (n == 1) { return 0; }
        if (*a == '.' && *b == ' ') {
            ++b;
        } else if (*a == ' ' && *b == '.') {
            ++a;
        } else {
            return 0;
        }
        --n;
    }
    return 1;
}
}
