// SPDX-License-Identifier: MIT
// The life of an index file, and its records by name: each change of a record that the box keeps a copy of is
// told to the box.
//
//   created      header, language, version of the sort codes     no box knows it
//   bound        the box's name                                  an entry of the box's table
//   filled       a card table
//
//   writing a record:   the record  ->  compiled forms of a condition  ->  the box's table
#pragma once

#include <bxd/index.h>

extern "C" {

// Writes a record by MakeIndexInfo, corrects tablePos, and removes the doubly entries where the update mode
// leaves 1.
u32 IndexInfoWriteSub(u8 fid, u16 tag, const u8* data, u16 length);

// After a condition was written: its compiled form follows. 69 for one that is malformed.
u32 SearchSortExpCheck(u8 indexFid, u16 tag, const u8* data, u16 length);

// After a record was written: where the box keeps a copy of it, its table follows. `data` ends with a
// terminator.
u32 DoIndexInfoWrite(u8 indexFid, u8 indexFileId, const char* indexName, u16 tag, const u8* data);
}

namespace bxd {

// Turns a condition, which ends with a terminator, into its compiled form of at most kConditionCodeMax bytes.
// 69 where it is malformed, 64 where the index has no box yet.
using ConditionCompiler = u32 (*)(u8 indexFid, const u8* text, u8* code, i32 boxFid, u32* codeLength);

constexpr u32 kConditionCodeMax = 4096;

// Either may be null: such conditions are stored and not compiled.
struct ConditionCompilers {
    ConditionCompiler sort;
    ConditionCompiler search;
};

// SearchSortExpCheck with these compilers.
[[nodiscard]] u32 CompileCondition(const ConditionCompilers& compilers, u8 indexFid, u16 tag, const u8* data,
                                   u16 length);

}  // namespace bxd
