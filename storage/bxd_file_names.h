// SPDX-License-Identifier: MIT
// Library names: a drive name and a file name, or a plain path of the host.
//
//   F0:ADDRESS.BOX          /home/u/notes/ADDRESS.BOX
//   |  +-- base name                      +-- base name
//   +-- drive name
#pragma once

#include <bxd/files.h>

extern "C" {

// Whether the two strings are the same.
bool BxdCheckFileName(const char* a, const char* b);

// Behind the first ':', or s itself.
char* BxdStripDriveName(char* s);

// Behind the last '/', else behind the first ':', else null.
char* BxdGetBaseNamePtr(char* s);

// Puts to the 256 bytes at dst what stands before the base name of `reference` (nothing when it has none),
// then `name` without its drive name, and returns where that begins in dst. A name that would have more
// than 255 characters leaves dst empty and returns dst.
char* AddDriveName(char* dst, char* reference, const char* name);

// Copies a name of at most 255 characters to the 256 bytes at dst and returns dst. The length is the caller's
// business (bxd::NameFits). Names reach the library without padding, so that there is nothing to trim.
char* TrimBlank(char* dst, const char* src);
}

namespace bxd {

// Whether a name has at most 255 characters. Longer ones are refused before anything is done with them.
[[nodiscard]] bool NameFits(const char* name);

// The key under which a name is looked up: 0x10000 + the bytes of the name with its terminator.
// `work` receives the name and has 256 bytes; the name must fit.
[[nodiscard]] u32 NameKey(char* work, const char* name);

// A copy of the name in its own block of `size` bytes, or null.
[[nodiscard]] char* CopyName(const char* name, u32 size);

}  // namespace bxd
