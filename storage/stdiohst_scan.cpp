// SPDX-License-Identifier: MIT
// The scan of a directory, one name a call. Each call opens the directory anew and reads its way to the entry
// whose number the caller brings along:
//
//   index 0   1    2      3      4
//         .   ..   A.BOX  B.BOX  A.IDX
//                  |---> forward: the first that matches, from the number on
//         <--------|     backward: the same, down to 0
//
// A pattern that begins with '*' matches every entry; any other matches the one name that it is.
#include "storage/stdiohst.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <dirent.h>

namespace {

constexpr u32 kNumberEnd = UINT16_MAX;  // a caller that counts on from the last number would start over

struct Place {
    char folder[BXD_PATH_SIZE];
    char pattern[BXD_PATH_SIZE];
};

// A directory, closed with its owner.
class Directory {
public:
    explicit Directory(const char* path) : stream_(opendir(path)) {}
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory()
    {
        if (stream_ != nullptr) { (void)closedir(stream_); }
    }

    explicit operator bool() const { return stream_ != nullptr; }
    // The name of the next entry, null at the end.
    const char* next()
    {
        const dirent* entry = readdir(stream_);
        return entry == nullptr ? nullptr : entry->d_name;
    }
    // The name of entry `number`, counted from 0, null when there are not so many.
    const char* at(u32 number)
    {
        rewinddir(stream_);
        const char* name = next();
        for (; name != nullptr && number > 0; --number) { name = next(); }
        return name;
    }

private:
    DIR* stream_;
};

void Split(const char* name, Place* place)
{
    char path[BXD_PATH_SIZE] = {};
    ConvPath(path, name);
    const char* slash = strrchr(path, '/');
    if (slash == nullptr || slash == path) {
        bxd::JoinPath(place->folder, getenv("HOME"), "", "");
        bxd::JoinPath(place->pattern, path, "", "");
        return;
    }
    bxd::JoinPath(place->pattern, slash[1] == 0 ? "*" : slash + 1, "", "");
    path[slash + 1 - path] = 0;
    bxd::JoinPath(place->folder, path, "", "");
}

bool IsForward(u8 mode) { return mode == 0 || mode == 0x80; }
bool IsBackward(u8 mode) { return mode == 1 || mode == 0x81; }

// Entries whose path does not fit are passed over: no open could reach them.
bool MatchesForward(const Place& place, const char* entry, char* out)
{
    if (place.pattern[0] != '*' && strcmp(entry, place.pattern) != 0) { return false; }
    char path[BXD_PATH_SIZE];
    if (bxd::JoinPath(path, place.folder, entry, "")[0] == 0) { return false; }
    bxd::JoinPath(out, path, "", "");
    return true;
}

i32 ScanForward(Directory& directory, const Place& place, FileScanState* state, char* out)
{
    u32 number = state->index;
    for (const char* entry = directory.at(number); entry != nullptr && number < kNumberEnd; ++number) {
        if (MatchesForward(place, entry, out)) {
            state->index = static_cast<u16>(number);
            return 0;
        }
        entry = directory.next();
    }
    return BXD_HOST_NOTFOUND;
}

i32 ScanBackward(Directory& directory, const Place& place, FileScanState* state, char* out)
{
    for (u32 number = state->index;; --number) {
        const char* entry = directory.at(number);
        if (entry == nullptr) { return BXD_HOST_NOTFOUND; }
        if (strcmp(entry, place.pattern) == 0) {
            state->index = static_cast<u16>(number);
            bxd::JoinPath(out, place.pattern, "", "");
            return 0;
        }
        if (number == 0) { return BXD_HOST_NOTFOUND; }
    }
}

}  // namespace

extern "C" i32 FileIncrementSearch(const char* name, FileScanState* state, char* out)
{
    Place place = {};
    Split(name, &place);
    Directory directory(place.folder);
    if (!directory) {
        perror("opendir");
        return BXD_HOST_NODIR;
    }
    errno = 0;
    if (IsForward(state->mode)) { return ScanForward(directory, place, state, out); }
    if (IsBackward(state->mode)) { return ScanBackward(directory, place, state, out); }
    return BXD_HOST_NOTFOUND;
}
