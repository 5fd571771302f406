// SPDX-License-Identifier: MIT
// The constants of the order of texts. They stand in <bxd/language.h>, with what each is indexed by.
//
// Kana of Shift-JIS are laid out in places, eight to a row, in the order of the character code:
//
//   code of a place   0x50 + row | 0x40 + 0x10 * column + form     ぁ is 0x5043, あ 0x5053, が 0x5173
//   form              0 half-width, 1 and 2 variant kata- and hiragana, 3 hiragana, 4 katakana
//
// sort_kana holds for each place how far it moves back to the place of its letter, and what that adds to the
// form. が has 0x15: 0x10 back and 5 on to the form, which gives 0x5168, in the letter of か at 0x5163.
//
// Sort codes of UTF-8 have gaps between the tables, which the ranges without a table fill:
//
//   0x0001  signs          sortTbl_*_ja        0x1300  U+0100 to U+1FFF
//   0x0153  U+2000 to U+2FFF                   0x3200  U+3100 to U+FEFF
//   0x1153  digits, Latin, kana  sortTbl_*_ja
#pragma once

#include <bxd/language.h>

constexpr u32 kKanaRows = 12;
constexpr u32 kKanaPlacesInRow = 8;

constexpr u32 kSignCodeMin = 0x0001;  // sort codes of UTF-8 that have an entry in searchTbl_ja
constexpr u32 kSignCodeMax = 0x0152;
constexpr u32 kLetterCodeMin = 0x1153;
constexpr u32 kLetterCodeMax = 0x12FF;
