// SPDX-License-Identifier: MIT
// The information area of an index file: what the index is of, and how it is made.
//
//   an index file                           a record of the information area
//    0  0xFF                                 0  u8 tag, 1 to 255; 0 ends the area
//    2  u8 file id, 27 or 28                 1  u16 length
//    3  u8 version, high nibble 3            3  the data
//    4  u32 tablePos, the card table
//    8  u32 infoPos, the information area; 24 where there is one
//   12  u8 the application's byte
#pragma once

#include <bxd/types.h>

#include "storage/bxd_file.h"

constexpr u32 kIxInfoPos = 8;
constexpr u32 kIxRecordHead = 3;

// Tags of the records that the library knows.
constexpr u8 IDXINF_BOX_NAME = 1;

extern "C" {

// The record of a tag. 0 with the length and position of its data; 66 with those of the end record; 255 in
// an index without an information area. Either out pointer may be null.
u32 SearchIndexInformation(u8 fid, u8 tag, u32* length, u32* dataPos);
}
