// SPDX-License-Identifier: MIT
// The steps along a compiled search condition (bxd_srch_format.h).
//
// Behind the byte 00 that ends a condition its owner keeps kConditionSlack more of them. The walks carry no
// length: what comes from a file or from an application is held against bxd::IsSearchCondition once, before
// it is walked.
#pragma once

#include "match/bxd_srch_format.h"

constexpr u8 kItemHidden = 2;  // what a hidden item reads as in a clause on all items

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

constexpr bool IsTestConnector(u8 byte) { return byte == BXD_OP_AND || byte == BXD_OP_OR; }
constexpr bool IsClauseConnector(u8 byte) { return byte == BXD_OP_CLAUSE_AND || byte == BXD_OP_CLAUSE_OR; }

// Whether the `size` bytes at `cond`, which stand behind the flags, are clauses with their end 00 and can be
// walked safely: every value lies in them and every text is terminated.
bool IsSearchCondition(const u8* cond, u32 size);

// NextItemCond; false where the walk has lost its step, so that no connector is to be read at *p.
bool SkipTests(const u8** p);

// CompCardData for any length.
bool SameInFile(u8 fid, u32 addrA, u32 addrB, u32 len);

}  // namespace bxd
