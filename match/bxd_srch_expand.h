// SPDX-License-Identifier: MIT
// The operator 0x96, "a card whose sort keys are new": at the end of a condition it stands for tests on the
// first n keys of the index's sort condition.
//
//   ... FE 86 FE 96 02 00   sorted by READ and NUMB   ->   ... FE 86 R E A D FE 94 FE 87 N U M B FE 94 00
#pragma once

#include <bxd/types.h>

// Room for an expanded condition with its terminator. No longer one has a compiled form that fits: a clause
// takes at most twice as many bytes as its compiled form.
constexpr u32 kExpandedMax = 8192;

extern "C" {

// 1 where FE 96 stands in a condition, in a value too. Each FE takes the byte behind it along; the first byte
// 0 ends the look.
u32 IsFE96(const u8* condition);

// Copies the condition to `out`, of kExpandedMax bytes, with the operator replaced by what it stands for. 69
// where it is elsewhere than at the begin or behind FE 86, where anything follows its count, where the index
// has fewer keys, or where the room does not do; else the status of the look-up or read that failed. A count
// of 0 leaves nothing in its place.
u32 ExpandFE96(u8 indexId, u8* out, const u8* in);
}
