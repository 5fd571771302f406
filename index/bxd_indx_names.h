// SPDX-License-Identifier: MIT
// How an index and its box name each other: each stores the other's name in the shortest form that leads
// there from its own.
//
//   form   the other file lies           stored is                    full is
//   1      in the same directory         its base name                own name up to the base name, stored
//   2      elsewhere on the same drive   its path without the drive   own drive with its colon, stored
//   3      on another drive              its name as it was given     stored
//
//   F0:/dir/NAME.BOX        both '\' and '/' separate; a name without a drive has no colon
//   |  |    +-- base name
//   |  +-- path
//   +-- drive
#pragma once

#include <bxd/types.h>

constexpr u8 kNameSameDirectory = 1;
constexpr u8 kNameSameDrive = 2;
constexpr u8 kNameOtherDrive = 3;

extern "C" {

const char* DriveNamePtr(const char* s);  // `s` where it has a drive, else null
const char* PathNamePtr(const char* s);   // the path behind the drive, or null where no separator begins it
const char* BaseNamePtr(const char* s);   // the last part of a name

// The form in which `target` is stored beside `reference`.
u8 GetNameType(const char* target, const char* reference);

// The full name of a box, from what the index `indexName` stores, and of an index, from what the table of
// the box `boxName` stores. `out` holds 256 bytes; 71 where the name would not fit, and then `out` is empty,
// as it is for a form that does not exist.
u32 GetFullPathBoxName(char* out, const char* indexName, const char* stored, u8 nameType);
u32 GetFullPathIndexName(char* out, const char* stored, const char* boxName, u8 nameType);
}
