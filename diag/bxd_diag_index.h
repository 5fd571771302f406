// SPDX-License-Identifier: MIT
// The check of an index file (index/bxd_indx_info.h): header, records, card table, end mark, language.
//
//   | header | records ... 0 | count | entries ... | FF FF | tail
//   0        infoPos         tablePos                      tablePos + count * 4 + 4: the tail is cut
#pragma once

#include <bxd/types.h>

extern "C" {

// 0, and the file stands in the registry no longer; or the status of the fault that it was registered with.
// At level 255 the entries are looked at one by one.
u32 IndexFileDiag(u8 fileId, u8 level);
}
