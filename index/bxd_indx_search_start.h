// SPDX-License-Identifier: MIT
// Where a search goes on behind its first card: in an index that is ordered by the item of the first test it
// jumps to the first candidate, and stops where the order excludes further ones.
//
//   READ = "ka", index by READ, upwards        READ < "ka"
//
//   [a][i][e][ka][ka][ki][ku] ...              [a][i][e][ka][ka][ki][ku] ...
//    .        ^       |                         ^        |
//    start    jump    stop at the first         step by  stop at the first card that fails on "<"
//             here    card that fails           step
//
// The jump asks the first test alone, with an operator that is false up to the boundary and true behind it:
// the condition is cut behind that test for as long, and is whole again afterwards.
//
//   [ type ][ item ][ kind ][ operator ][ value type ][ value ][ next .. ]   the condition, behind its flags
//                              ^ 98 or 9A instead of 90          ^ 00 instead
#pragma once

#include "match/bxd_srch_walk.h"

// Answers of Check1stSearch.
constexpr u32 kStartByJump = 0;     // the boundary can be looked for
constexpr u32 kStartByStep = 256;   // plus an operator: the scan may stop at a card that fails on it
constexpr u8 kStopNever = 0;        // stop codes, beside those that are an operator
constexpr u8 kStopAtFailure = 255;  // the first card that fails on the item of the first test ends the scan

extern "C" {

// The entry from which a scan goes on that has looked at entry `current` of `count`, 0 for nowhere. The stop
// code is kStopNever, kStopAtFailure, or the operator whose failure ends the scan. `condition` stands behind
// its flags and is as it was when the call returns.
u32 IndexSearchPrepare(u8 boxFid, u8 indexFid, const u8* itemTable, u32 backward, u8* condition, u8 flags,
                       u16 current, u16 count, u8* stopCode);

// What a first test on the first sort key allows. Bit 0 of sortCode is turned round for a backward search.
u32 Check1stSearch(u8 testKind, u8 op, u8 valueType, u8 sortCode);

// The entry behind (backward: before) `start` from which on the first test holds, as far as a binary search
// can tell: the entry at the boundary is not looked at. 0 where there is none, the type of the value has no
// order, or a card cannot be found.
u32 SearchStartID(u8 boxFid, u8 indexFid, u8* condition, u16 start, const u8* itemTable, u32 backward,
                  u8 sortCode);

// Other than 0 if the date of the first test has a field that is a wildcard. A binary test has none.
u32 CheckWildCard(const u8* condition);

// Makes the first test one that is true on one side of its boundary only, and gives the offset of the byte
// behind it in the condition; 0 for a value type without order, with the operator as it was. The two below
// do so for texts and for the other values, given the operator's place; flip other than 0: the test is to
// be true up to the value.
u32 MoveXDataEnd(u8* condition, u8 backward, u8 sortCode);
u32 movexdatastring(u8* op, u32 flip);
u32 movexdatacommon(u8* op, u32 flip);
}
