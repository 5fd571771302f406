// SPDX-License-Identifier: MIT
#include "storage/bxd_file_errors.h"

#include "storage/bxd_file_names.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace {

bool BeginsWith(const char* name, const char* prefix) { return strncmp(name, prefix, strlen(prefix)) == 0; }

BxdErrorFile* LastEntry()
{
    BxdErrorFile* entry = gBxdFirstErrorFile;
    while (entry != nullptr && entry->next != nullptr) { entry = entry->next; }
    return entry;
}

// An entry for the name at the end of the list, null when memory is short or the name too long.
BxdErrorFile* AppendEntry(const char* name)
{
    if (!bxd::NameFits(name)) { return nullptr; }
    BxdErrorFile* entry = static_cast<BxdErrorFile*>(malloc(sizeof(BxdErrorFile)));
    if (entry == nullptr) { return nullptr; }
    *entry = {};
    char work[BXD_PATH_SIZE];
    entry->nameSize = static_cast<u16>(bxd::NameKey(work, name));
    entry->name = bxd::CopyName(work, entry->nameSize);
    if (entry->name == nullptr) {
        free(entry);
        return nullptr;
    }
    entry->prev = LastEntry();
    (entry->prev == nullptr ? gBxdFirstErrorFile : entry->prev->next) = entry;
    ++gBxdGlobal;
    return entry;
}

void DropEntry(BxdErrorFile* entry)
{
    (entry->prev == nullptr ? gBxdFirstErrorFile : entry->prev->next) = entry->next;
    if (entry->next != nullptr) { entry->next->prev = entry->prev; }
    free(entry->name);
    free(entry);
    --gBxdGlobal;
}

}  // namespace

extern "C" {

BxdErrorFile* gBxdFirstErrorFile = nullptr;
u32 gBxdGlobal = 0;

BxdErrorFile* IsErrorFile(const char* name)
{
    if (gBxdFirstErrorFile == nullptr || !bxd::NameFits(name)) { return nullptr; }
    char work[BXD_PATH_SIZE];
    u16 key = static_cast<u16>(bxd::NameKey(work, name));
    for (BxdErrorFile* entry = gBxdFirstErrorFile; entry != nullptr; entry = entry->next) {
        if (entry->nameSize == key && BxdCheckFileName(entry->name, work)) { return entry; }
    }
    return nullptr;
}

u32 DeleteErrorFile(const char* name)
{
    BxdErrorFile* entry = IsErrorFile(name);
    if (entry == nullptr) { return BXD_ERR_NOTFOUND; }
    DropEntry(entry);
    return BXD_OK;
}

BxdErrorFile* FindErrorDriveFile(const char* prefix)
{
    BxdErrorFile* entry = gBxdFirstErrorFile;
    while (entry != nullptr && !BeginsWith(entry->name, prefix)) { entry = entry->next; }
    return entry;
}

u32 DeleteDriveErrorFile(const char* prefix)
{
    u32 status = BXD_ERR_NOTFOUND;
    for (BxdErrorFile* entry = FindErrorDriveFile(prefix); entry != nullptr;) {
        BxdErrorFile* next = entry->next;
        if (BeginsWith(entry->name, prefix)) {
            DropEntry(entry);
            status = BXD_OK;
        }
        entry = next;
    }
    return status;
}

u32 BxdSetErrorFileName(const char* name, u16 status, u8 level, const char* format, ...)
{
    if (format != nullptr) {
        va_list args;
        va_start(args, format);
        (void)vfprintf(stderr, format, args);
        va_end(args);
    }
    BxdErrorFile* entry = IsErrorFile(name);
    u32 result = entry == nullptr ? BXD_OK : BXD_ERR_EXIST;
    if (entry == nullptr) { entry = AppendEntry(name); }
    if (entry == nullptr) { return BXD_ERR_FAIL; }
    entry->status = status;
    entry->level = level;
    entry->message = format;
    return result;
}

u32 BxdGetErrorFileNum(void) { return gBxdGlobal; }

u32 BxdGetErrorFileName(u32 n, char* dst)
{
    if (n == 0 || n > gBxdGlobal) { return BXD_ERR_NOTFOUND; }
    const BxdErrorFile* entry = gBxdFirstErrorFile;
    for (; entry != nullptr && n > 1; --n) { entry = entry->next; }
    if (entry == nullptr) { return BXD_ERR_NOTFOUND; }
    memcpy(dst, entry->name, entry->nameSize);
    return BXD_OK;
}

u32 BxdGetErrorFileInf(const char* name, u8* level, char* dst)
{
    const BxdErrorFile* entry = IsErrorFile(name);
    if (entry == nullptr) { return BXD_OK; }
    *level = entry->level;
    const char* message = entry->message == nullptr ? "" : entry->message;
    memcpy(dst, message, strlen(message) + 1);
    return entry->status;
}
}
