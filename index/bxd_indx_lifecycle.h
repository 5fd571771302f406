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

// After a condition of at least five bytes was written: its compiled form follows, unless the index has no
// box yet. The search condition is compiled again behind the sort condition, whose keys it may refer to. 69
// for one that is malformed; the old compiled form stays then, and is the one in force.
u32 SearchSortExpCheck(u8 indexFid, u16 tag, const u8* data, u16 length);

// After a record was written: where the box keeps a copy of it, its table follows. `data` ends with a
// terminator.
u32 DoIndexInfoWrite(u8 indexFid, u8 indexFileId, const char* indexName, u16 tag, const u8* data);
}
