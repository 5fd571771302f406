// SPDX-License-Identifier: MIT
#include "storage/bxd_file_names.h"

#include <cstdlib>
#include <cstring>

namespace {

// Keys lie above every 16-bit number, while a record keeps the low 16 bits of one, which are the size of its
// name. So a lookup that compares whole keys (the table of open files) finds nothing, and one that compares
// 16 bits on both sides (the registry of bad files) finds every name it holds, on every host alike.
constexpr u32 kKeyBase = 0x10000;

}  // namespace

namespace bxd {

bool NameFits(const char* name) { return strnlen(name, BXD_PATH_SIZE) < BXD_PATH_SIZE; }

u32 NameKey(char* work, const char* name)
{
    return kKeyBase + static_cast<u32>(strlen(TrimBlank(work, name))) + 1;
}

char* CopyName(const char* name, u32 size)
{
    char* copy = static_cast<char*>(malloc(size));
    if (copy != nullptr) { memcpy(copy, name, size); }
    return copy;
}

}  // namespace bxd

extern "C" {

bool BxdCheckFileName(const char* a, const char* b) { return strcmp(a, b) == 0; }

char* BxdStripDriveName(char* s)
{
    char* colon = strchr(s, ':');
    return colon == nullptr ? s : colon + 1;
}

char* BxdGetBaseNamePtr(char* s)
{
    char* slash = strrchr(s, '/');
    if (slash != nullptr) { return slash + 1; }
    char* colon = strchr(s, ':');
    return colon == nullptr ? nullptr : colon + 1;
}

char* AddDriveName(char* dst, char* reference, const char* name)
{
    const char* base = BxdGetBaseNamePtr(reference);
    size_t before = base == nullptr ? 0 : static_cast<size_t>(base - reference);
    const char* colon = strchr(name, ':');
    const char* bare = colon == nullptr ? name : colon + 1;
    size_t length = strlen(bare);
    if (before + length >= BXD_PATH_SIZE) {
        dst[0] = 0;
        return dst;
    }
    memcpy(dst, reference, before);
    memcpy(dst + before, bare, length + 1);
    return dst + before;
}

char* TrimBlank(char* dst, const char* src)
{
    memcpy(dst, src, strlen(src) + 1);
    return dst;
}
}
