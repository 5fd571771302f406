// SPDX-License-Identifier: MIT
// One test of a search condition on one text in memory.
//
//   the card     a  b  c             its bytes, converted character by character as the walk proceeds
//   value        [code][code][00 00] the text of the condition, sort codes already; bytes and a 00 in binary
//
//   shape A   equality and prefix      SearchCmpStringSubA  ..SubAUtf8   SearchCrLf..SubA   SearchBin..SubA
//   shape B   is the text contained    SearchCmpStringSubB  ..SubBUtf8   SearchCrLf..SubB   SearchBin..SubB
//   shape C   order, with a tie-break  SearchCmpStringSubC  ..SubCUtf8   SearchCrLf..SubC   (A in binary)
//
// Shapes A and C give a number from the card's point of view:
//   126, 130   the first character that differs is lower, or higher
//   127        the card ended and the condition goes on; in shape C also: equal, but lower in the tie
//   128        equal
//   129        the condition ended and the card goes on; in shape C also: equal, but higher in the tie
// Shape B gives 1 or 0. The tie is the first pair of different sort codes with one search code; UTF-8 has
// none, so that 0x98 and 0x9A take all variants of a letter for equal there.
//
// Of the text only its `len` bytes are read, and null is good for none; a character that the end cuts counts
// as one that is malformed. Of the value all is read up to its terminator. None of them fails.
#pragma once

#include <bxd/types.h>

extern "C" {

u32 SearchCmpStringSubA(const u8* text, const u8* value, u16 len);
u32 SearchCmpStringSubB(const u8* text, const u8* value, u16 len);
u32 SearchCmpStringSubC(const u8* text, const u8* value, u16 len);
u32 SearchCmpStringSubAUtf8(const u8* text, const u8* value, u16 len);
u32 SearchCmpStringSubBUtf8(const u8* text, const u8* value, u16 len);
u32 SearchCmpStringSubCUtf8(const u8* text, const u8* value, u16 len);
// A line break may be CR LF or CR on either side; a bare LF stays a character of its own.
u32 SearchCrLfCmpStringSubA(const u8* text, const u8* value, u16 len);
u32 SearchCrLfCmpStringSubB(const u8* text, const u8* value, u16 len);
u32 SearchCrLfCmpStringSubC(const u8* text, const u8* value, u16 len);
u32 SearchBinCmpStringSubA(const u8* text, const u8* value, u16 len);
// A text of no bytes contains everything here, and by language nothing but the empty text.
u32 SearchBinCmpStringSubB(const u8* text, const u8* value, u16 len);

// The operator stands at value[-4], the type of the value, 17 for UTF-8, at value[-3]. 1 for true, 0 for
// false and for an operator without a meaning for texts, which the first one reports on standard error.
u32 SearchCmpString(const u8* text, const u8* value, u16 len);
u32 SearchCrLfCmpString(const u8* text, const u8* value, u16 len);
u32 SearchBinCmpString(const u8* text, const u8* value, u16 len);

// Behind a CR, step over an LF: one of the `remaining` bytes of a card's text, or a code of a condition.
void SkipLfStr(u16 code, const u8** text, u16* remaining);
void SkipLfCode(u16 code, const u8** value);
}
