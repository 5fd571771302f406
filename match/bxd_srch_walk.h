// SPDX-License-Identifier: MIT
// The compiled form of a search condition, and the steps along it.
//
//   condition   [ flags ][ clause ][ 86 or 87 ][ clause ] ... [ 00 ]
//   clause      [ item type ][ item number ][ test ][ 84 or 85 ][ test ] ...
//                 FF           FF             for all items of the card
//   test        [ kind ][ operator ][ value type ][ value ]
//                 15 or 95             these two not behind the operators 94, 9E, 9F
//   text value  [ u16 length of what follows ][ u16 code ] ... [ 00 00 ]     kind 15
//               [ u16 length of what follows ][ byte ] ... [ 00 ]            kind 95
//
// Behind the byte 00 that ends a condition its owner keeps kSearchSlack more of them. The walks carry no
// length: what comes from a file or from an application is held against bxd::IsSearchCondition once, before
// it is walked.
#pragma once

#include "match/bxd_sort_key.h"

constexpr u32 kSearchBudget = 4096;  // bytes of a condition, flags and end included
constexpr u32 kSearchSlack = 16;     // bytes 0 behind its end

// Flags, the first byte.
constexpr u8 kSearchNeighbour = 0x01;  // there is a test against the neighbouring card
constexpr u8 kSearchJoined = 0x02;     // there is a connector
constexpr u8 kSearchAllItems = 0x04;   // there is a clause on all items: the item table is needed

constexpr u8 kSearchEnd = 0x00;
constexpr u8 kSearchAll = 0xFF;     // item type and number of a clause on all items
constexpr u8 kSearchEscape = 0xFE;  // ahead of an operator or connector in the application's form

constexpr u8 kTestAnd = 0x84;
constexpr u8 kTestOr = 0x85;
constexpr u8 kClauseAnd = 0x86;
constexpr u8 kClauseOr = 0x87;

constexpr u8 kKindLanguage = 0x15;
constexpr u8 kKindBinary = 0x95;  // and the byte behind an escape that asks for it

constexpr u8 kOpBitsEqual = 0x88;
constexpr u8 kOpBitsDiffer = 0x89;
constexpr u8 kOpEqual = 0x90;
constexpr u8 kOpBegins = 0x91;
constexpr u8 kOpContains = 0x92;
constexpr u8 kOpNeighbour = 0x94;  // no value
constexpr u8 kOpSortKeys = 0x96;   // in the application's form only
constexpr u8 kOpUpToBegins = 0x97;
constexpr u8 kOpAtLeast = 0x98;
constexpr u8 kOpAbove = 0x99;
constexpr u8 kOpAtMost = 0x9A;
constexpr u8 kOpBelow = 0x9B;
constexpr u8 kOpNotBlank = 0x9E;  // no value
constexpr u8 kOpBlank = 0x9F;     // no value

constexpr u8 kItemBytes = 12;       // byte array, for searches only
constexpr u8 kItemHidden = 2;       // what a hidden item reads as in a clause on all items
constexpr u32 kTextLengthSize = 2;  // the length ahead of a text value

extern "C" {

// Bytes of the value that begins at `value`, by its type in the byte ahead; 0 for a type without values.
u32 PointCondEnd(const u8* value);

// From a connector 84 or 85 behind all tests that it and the ones after it lead to; any other place stays.
// The walk takes every operator but 94 to have a value, so that it loses its step at a test for blanks:
// it then takes the byte behind the operator for a type, and ends behind it. Blank tests belong at the end of
// a run. The end of the condition is never passed.
const u8* NextItemCond(const u8* p);

// The type of the item whose entry of an item table stands at the cursor, and the cursor moves to the next
// one. Items with a tag from "a" on are hidden and read as type 2, and so does an entry without a tag.
u32 NextDataID(const u8** itemCursor);

// 1 where `len` bytes at two places of the file are equal, 0 where they differ or cannot be read.
u32 CompCardData(u8 boxId, u32 addrA, u32 addrB, u16 len);
}

namespace bxd {

constexpr bool IsTestConnector(u8 byte) { return byte == kTestAnd || byte == kTestOr; }
constexpr bool IsClauseConnector(u8 byte) { return byte == kClauseAnd || byte == kClauseOr; }
// Operators that stand without type and value.
constexpr bool IsValueless(u8 op) { return op == kOpNeighbour || op == kOpNotBlank || op == kOpBlank; }

// Bytes of a value of this type that does not tell its own length; 0 for texts and for types without values.
u32 SearchValueSize(u8 type);

// Whether the `size` bytes at `cond`, which stand behind the flags, are clauses with their end 00 and can be
// walked safely: every value lies in them and every text is terminated.
bool IsSearchCondition(const u8* cond, u32 size);

// NextItemCond; false where the walk has lost its step, so that no connector is to be read at *p.
bool SkipTests(const u8** p);

// CompCardData for any length.
bool SameInFile(u8 fid, u32 addrA, u32 addrB, u32 len);

}  // namespace bxd
