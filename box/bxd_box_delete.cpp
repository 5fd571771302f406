// SPDX-License-Identifier: MIT
// Deleting a box together with its index files.
//
//   the box can be read     the indexes of its index table go, then the box
//   it cannot, or is gone   the box goes; then the directory is searched for index files that name it
#include <bxd/box.h>

#include <cstring>
#include <strings.h>

#include "box/bxd_box_format.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_registry.h"
#include "storage/bxd_file_names.h"

namespace {

void DeleteRegisteredIndexes(const u8* table, const char* boxName)
{
    for (bxd::IndexTableWalk entry(table); !entry.atEnd(); entry.next()) {
        char indexName[BXD_PATH_SIZE];
        if (GetFullPathIndexName(indexName, entry.name(), boxName, entry.nameType()) == BXD_OK &&
            indexName[0] != '\0') {
            (void)BxdFileDelete(indexName);
        }
    }
}

// The first dot of the whole path decides, so that a path with a dot in a directory's name never matches.
bool LooksLikeIndex(const char* path)
{
    const char* dot = std::strchr(path, '.');
    return dot != nullptr && (strcasecmp(dot + 1, "IDX") == 0 || strcasecmp(dot + 1, "TDX") == 0);
}

// True when the index file names this box as its own. An index that names none belongs to nobody.
bool BelongsToBox(const char* indexPath, const char* boxBaseName)
{
    i32 opened = BxdFileOpen(indexPath, BXD_MODE_READ);
    if (opened < 0) { return false; }
    bxd::OpenFile index(static_cast<u8>(opened));
    u32 length = 0;
    u32 pos = 0;
    if (SearchIndexInformation(index.fid(), IDXINF_BOX_NAME, &length, &pos) != BXD_OK) { return false; }
    char stored[BXD_PATH_SIZE];
    if (length == 0 || length > sizeof stored || length > std::strlen(boxBaseName) + 1) { return false; }
    if (bxd::ReadExactly(index.fid(), pos, stored, length) != BXD_OK) { return false; }
    return std::memcmp(stored, boxBaseName, length) == 0;
}

// This way reports 64 whatever it has deleted: the box could not be read.
u32 DeleteOrphanIndexes(const char* name)
{
    constexpr char kEveryFile[] = "*.*";
    char boxName[BXD_PATH_SIZE];
    char pattern[BXD_PATH_SIZE + sizeof kEveryFile];
    size_t length = std::strlen(name);
    if (length >= sizeof boxName) { return BXD_ERR_NOFILE; }
    std::memcpy(boxName, name, length + 1);
    AddDriveName(pattern, boxName, kEveryFile);

    FileScanState scan = {};
    char found[2 * BXD_PATH_SIZE];
    for (; FileIncrementSearch(pattern, &scan, found) == 0; ++scan.index) {
        if (!LooksLikeIndex(found)) { continue; }
        BxdDebug("BoxDelete found idx %s\n", found);
        if (!BelongsToBox(found, BaseNamePtr(name))) { continue; }
        BxdDebug("referenced box name is same %s\n", found);
        // The directory has one entry less, and the next one stands where this one stood.
        if (BxdFileDelete(found) == BXD_OK) { --scan.index; }
    }
    BxdDebug("BoxDelete not found idx %s\n", name);
    return BXD_ERR_NOFILE;
}

}  // namespace

extern "C" {

u32 _BoxDelete(const char* name)
{
    i32 opened = BxdFileOpen(name, BXD_MODE_READ);
    if (opened >= 0) {
        u8* table = nullptr;
        u32 read = ReadIndexTable(static_cast<u8>(opened), &table);
        bxd::HeapBlock owned;
        owned.reset(table);
        if (read == BXD_OK) { DeleteRegisteredIndexes(table, name); }
        (void)BxdFileClose(static_cast<u8>(opened));
        if (read == BXD_OK || read == BXD_ERR_NOTFOUND) { return BxdFileDelete(name); }
    }
    u32 status = BxdFileDelete(name);
    if (status != BXD_OK && status != BXD_ERR_NOFILE) { return status; }
    return DeleteOrphanIndexes(name);
}
}
