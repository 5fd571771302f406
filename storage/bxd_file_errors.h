// SPDX-License-Identifier: MIT The registry of bad files: what the file check, or an application, has found
// bad is barred from being opened.
//
//   gBxdFirstErrorFile --> [ oldest ] <--> [ ... ] <--> [ newest ]        gBxdGlobal = how many
//
// It lives in memory: a new process starts with an empty one. An entry goes when its file is created anew, is
// deleted or is found good, and when the drive's entries are removed.
#pragma once

#include <bxd/files.h>

struct BxdErrorFile {
    BxdErrorFile* prev;
    BxdErrorFile* next;
    char* name;           // the library name, in a block of its own
    u16 nameSize;         // the low 16 bits of the name's key, which are the size of that block
    u16 status;           // what was found; BXD_ERRFILE_OPENABLE does not bar the file
    const char* message;  // the format that came with it, not a copy; null when there was none
    u8 level;             // of the check that found it
};

extern "C" {

extern BxdErrorFile* gBxdFirstErrorFile;
extern u32 gBxdGlobal;

// The entry of a name, or null.
BxdErrorFile* IsErrorFile(const char* name);

// Removes the entry of a name; 66 when there is none.
u32 DeleteErrorFile(const char* name);

// The first entry whose name begins with `prefix`, or null.
BxdErrorFile* FindErrorDriveFile(const char* prefix);

// Removes every entry whose name begins with `prefix`; 66 when there is none.
u32 DeleteDriveErrorFile(const char* prefix);
}
