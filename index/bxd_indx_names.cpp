// SPDX-License-Identifier: MIT
#include "index/bxd_indx_names.h"

#include <bxd/status.h>

#include <cstring>

namespace {

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

const char* DriveNamePtr(const char* s) { return std::strchr(s, ':') != nullptr ? s : nullptr; }

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

u8 GetNameType(const char* target, const char* reference)
{
    const char* base = BaseNamePtr(target);
    if (base == target) { return kNameSameDirectory; }
    const char* at = target;
    const char* beside = reference;
    if (DriveNamePtr(target) != nullptr) {
        size_t drive = static_cast<size_t>(std::strchr(target, ':') - target) + 1;
        if (std::strncmp(target, reference, drive) != 0) { return kNameOtherDrive; }
        at += drive;
        beside += drive;
    } else {
        at = PathNamePtr(target);
        beside = PathNamePtr(reference);
        if (at == nullptr) { return kNameSameDirectory; }
        if (beside == nullptr) { return kNameSameDrive; }
    }
    // As far as the base name of the target: what the reference has behind that does not matter.
    for (; at < base; ++at, ++beside) {
        if (*at != *beside) { return kNameSameDrive; }
    }
    return kNameSameDirectory;
}

u32 GetFullPathIndexName(char* out, const char* stored, const char* boxName, u8 nameType)
{
    out[0] = '\0';
    if (nameType == kNameSameDirectory) {
        size_t prefix = static_cast<size_t>(BaseNamePtr(boxName) - boxName);
        return JoinName(out, boxName, prefix, BaseNamePtr(stored));
    }
    if (nameType == kNameSameDrive) {
        const char* colon = std::strchr(boxName, ':');
        size_t prefix = colon != nullptr ? static_cast<size_t>(colon - boxName) + 1 : 0;
        const char* path = PathNamePtr(stored);
        return JoinName(out, boxName, prefix, path != nullptr ? path : BaseNamePtr(stored));
    }
    return nameType == kNameOtherDrive ? JoinName(out, "", 0, stored) : static_cast<u32>(BXD_OK);
}

u32 GetFullPathBoxName(char* out, const char* indexName, const char* stored, u8 nameType)
{
    return GetFullPathIndexName(out, stored, indexName, nameType);
}
}
