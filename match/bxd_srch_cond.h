// SPDX-License-Identifier: MIT
// Search conditions: from the form that an application writes to the one that is matched with cards. The
// bytes of both are in bxd_srch_format.h.
//
//   stored with an index     ConvertSearchCondition    flags, clauses, 0      record 128
//   of one search or count   SearchConvCondition       clauses, 0; flags beside
//
// The two read the same language, with small differences that are told at each. They work along two cursors,
// into the text and into the compiled form, and never write beyond the end that the caller gives. Nothing is
// read behind the terminator but for a value of fixed size that it cuts: a condition of unknown origin is
// handed over with kConditionSlack bytes 0 behind it.
#pragma once

#include "match/bxd_srch_test.h"

// What a compile gives besides the byte at which it stopped: a fault, whatever stands there.
constexpr u32 kMalformed = 0x100;

extern "C" {

// External to compiled form, of at most kConditionCodeMax bytes at `out`; *outLen becomes their number, flags
// and terminator included. `boxId` is an open box, or negative for the box that the index `fileId` names. The
// flag kCondConnector tells of any connector. 69 for a condition that is malformed, names an item that the
// box lacks or gets too long; 64 for an index that names no box, or one that cannot be opened; 66 where that
// name is empty, or the box has no items; 71 for no memory; else the status of the read that failed. *outLen
// is set for 0 only.
u32 ConvertSearchCondition(u8 fileId, const u8* in, u8* out, i32 boxId, u32* outLen);

// The same for a condition that comes with a search: `itemTable` is in memory, at most `budget` bytes go to
// `out`, terminator included, and the flags to *flags. kCondConnector tells of a connector OR and of a clause
// on all items only. Not 0 on success.
u32 SearchConvCondition(const u8* in, u8* out, const u8* itemTable, u32 budget, u8* flags);

// Clauses up to the end of the text or of a nested level. The byte at which the compile stopped: 0 for all of
// it, ')' for the end of a level that was not opened here, any other or kMalformed for a fault. `end` is that
// of the room at *out.
u32 DoConvSrchCond(const u8** in, u8** out, u8* flags, const u8* itemTable, const u8* end);

// The tests of one clause. As above; 0xFE stands where a connector of clauses follows. `nameId` is the tag of
// the clause's item, as GET_4BYTES reads it.
u32 DoConvSrch(const u8** in, u8** out, u8* flags, const u8* itemTable, i32 nameId, const u8* end);
}
