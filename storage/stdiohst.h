// SPDX-License-Identifier: MIT
// The host layer: names become paths, and ten numbered streams are read and written at positions.
//
//   "F0:ADDRESS.BOX", "F1:ADDRESS.BOX"   -->   $HOME/Applications/bxd/ADDRESS.BOX
//   "dir/ADDRESS.BOX"                    -->   dir/ADDRESS.BOX
//
//   host handle      1        2        3             10
//   fileHandleTbl  [stream] [stream] [ null ] ...  [ null ]      the lowest free row is taken first
//
// Streams are not buffered: what a procedure has written is in the file when it returns, and every open of a
// file sees at once what another has written.
//
// A process loses its write lock on a file with the first of its descriptors on that file that is closed.
// So the stream of a file that another row holds locked is not closed but parked:
//
//   FileClose(2)   row 1 holds the lock of the same file   -->  parked [stream of 2]
//   FileOpen       of that file, in the same way           -->  takes it from there again
//   FileClose(1)   the last lock goes                      -->  the parked streams are closed
#pragma once

#include <bxd/files.h>

#include <cstdio>

#include <sys/stat.h>

constexpr u8 kHostHandles = 10;  // rows of the stream table; handles run from 1 to 10

struct FileHandleSlot {
    FILE* stream;  // null when the row is free
    char path[BXD_PATH_SIZE];
    char openMode;  // 'r' for "r", '+' for "r+", 'w' for "w", 0 for a stream from elsewhere
    bool locked;    // FileLockForWrite has succeeded on this row
    dev_t device;   // which file that is; set with the lock
    ino_t inode;
};

extern "C" {

extern FileHandleSlot fileHandleTbl[kHostHandles];

// The host path of a name, at most 255 characters, to the 256 bytes at dst; returns dst. A path that would be
// longer, and a drive name without a HOME, give the empty string, which no call of the host accepts.
char* ConvPath(char* dst, const char* name);

// The lowest free row as a handle, 0 when all are taken.
u8 GetNewFileHandle();
// Fills a row. Handles of 0 or above 10 are ignored; a path is cut at 255 characters.
void LockFileHandle(u8 h, FILE* stream, const char* path);
// Frees a row without closing its stream. Handles of 0 or above 10 are ignored.
void ReleaseFileHandle(u8 h);

// The status of a host result: 68, 64, 254 and 0 for those that have one of their own, 71 for all others.
// Positive counts are not for it.
u32 BxdSetErrorCode(i32 result);
}

namespace bxd {

// Puts three texts together to the 256 bytes at dst and returns dst; the empty string when one of them is
// null or the whole has more than 255 characters.
char* JoinPath(char* dst, const char* first, const char* second, const char* third);

// Up to `len` bytes at `offset` of a stream, which keeps its position: how many have come, 0 for none or a
// failure.
u32 ReadStreamAt(u8 h, u32 offset, void* buf, u32 len);

// Whether two names lead to one file that is there.
[[nodiscard]] bool SameHostFile(const char* a, const char* b);

}  // namespace bxd
