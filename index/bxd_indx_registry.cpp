// SPDX-License-Identifier: MIT
#include "index/bxd_indx_registry.h"

#include <cstring>

namespace {

constexpr u8 kSameDirectory = 1;
constexpr u8 kSameDrive = 2;
constexpr u8 kOtherDrive = 3;

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

// Joins the first `prefix` bytes of `reference` and `rest` in a buffer for a name.
u32 JoinName(char* out, const char* reference, size_t prefix, const char* rest)
{
    size_t length = std::strlen(rest);
    if (prefix + length >= BXD_PATH_SIZE) { return BXD_ERR_FAIL; }
    std::memcpy(out, reference, prefix);
    std::memcpy(out + prefix, rest, length + 1);
    return BXD_OK;
}

}  // namespace

extern "C" {

const char* PathNamePtr(const char* s)
{
    const char* colon = std::strchr(s, ':');
    const char* path = colon != nullptr ? colon + 1 : s;
    return IsSeparator(*path) ? path : nullptr;
}

const char* BaseNamePtr(const char* s)
{
    if (const char* back = std::strrchr(s, '\\')) { return back + 1; }
    if (const char* slash = std::strrchr(s, '/')) { return slash + 1; }
    const char* colon = std::strchr(s, ':');
    return colon != nullptr ? colon + 1 : s;
}

u32 GetFullPathIndexName(char* out, const char* stored, const char* boxName, u8 nameType)
{
    out[0] = '\0';
    if (nameType == kSameDirectory) {
        size_t prefix = static_cast<size_t>(BaseNamePtr(boxName) - boxName);
        return JoinName(out, boxName, prefix, BaseNamePtr(stored));
    }
    if (nameType == kSameDrive) {
        const char* colon = std::strchr(boxName, ':');
        size_t prefix = colon != nullptr ? static_cast<size_t>(colon - boxName) + 1 : 0;
        const char* path = PathNamePtr(stored);
        return JoinName(out, boxName, prefix, path != nullptr ? path : BaseNamePtr(stored));
    }
    return nameType == kOtherDrive ? JoinName(out, "", 0, stored) : static_cast<u32>(BXD_OK);
}
}
