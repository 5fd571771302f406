// SPDX-License-Identifier: MIT
#include "storage/stdiohst.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr char kHomeFolder[] = "/Applications/bxd";
constexpr char kHomeFolderSlash[] = "/Applications/bxd/";
constexpr char kExternalFolder[] = "/QtPalmtop/bxd";
constexpr mode_t kFolderMode = 0755;

constexpr u8 kReadBit = 1;
constexpr u8 kWriteBit = 2;

// --- rows ------------------------------------------------------------------------------------------------

FileHandleSlot* Row(u8 h) { return h == 0 || h > kHostHandles ? nullptr : &fileHandleTbl[h - 1]; }

FILE* Stream(u8 h)
{
    FileHandleSlot* row = Row(h);
    return row == nullptr ? nullptr : row->stream;
}

bool TryLock(FILE* stream)
{
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(fileno(stream), F_SETLK, &whole) == 0;
}

bool AnyRowIsLocked()
{
    for (const FileHandleSlot& row : fileHandleTbl) {
        if (row.stream != nullptr && row.locked) { return true; }
    }
    return false;
}

bool FileIsLocked(dev_t device, ino_t inode)
{
    for (const FileHandleSlot& row : fileHandleTbl) {
        if (row.stream != nullptr && row.locked && row.device == device && row.inode == inode) {
            return true;
        }
    }
    return false;
}

// --- parked streams --------------------------------------------------------------------------------------

struct ParkedStream {
    FILE* stream;
    char openMode;
    dev_t device;
    ino_t inode;
};

// Three ways to open a file and ten rows: more are only needed where several files are locked at one time.
constexpr u32 kParkedStreams = 3 * kHostHandles;
ParkedStream parked[kParkedStreams];
u32 parkedCount = 0;

bool Park(FILE* stream, char openMode, const struct stat& file)
{
    if (parkedCount == kParkedStreams) { return false; }
    parked[parkedCount++] = {stream, openMode, file.st_dev, file.st_ino};
    return true;
}

// The host may have come to refuse what it once allowed.
bool MayStillOpen(const char* path, char openMode)
{
    int wanted = openMode == 'r' ? R_OK : openMode == 'w' ? W_OK : R_OK | W_OK;
    return faccessat(AT_FDCWD, path, wanted, AT_EACCESS) == 0;
}

bool Rewind(const ParkedStream& entry)
{
    clearerr(entry.stream);
    if (fseek(entry.stream, 0, SEEK_SET) != 0) { return false; }
    return entry.openMode != 'w' || ftruncate(fileno(entry.stream), 0) == 0;
}

// A parked stream of the file at `path`, as good as newly opened; null when there is none.
FILE* TakeParked(const char* path, char openMode)
{
    struct stat file = {};
    if (parkedCount == 0 || stat(path, &file) != 0) { return nullptr; }
    for (u32 i = 0; i < parkedCount; ++i) {
        const ParkedStream entry = parked[i];
        if (entry.openMode != openMode || entry.device != file.st_dev || entry.inode != file.st_ino) {
            continue;
        }
        if (!MayStillOpen(path, openMode) || !Rewind(entry)) { return nullptr; }
        parked[i] = parked[--parkedCount];
        return entry.stream;
    }
    return nullptr;
}

void CloseParkedOfUnlockedFiles()
{
    for (u32 i = parkedCount; i > 0; --i) {
        const ParkedStream entry = parked[i - 1];
        if (FileIsLocked(entry.device, entry.inode)) { continue; }
        parked[i - 1] = parked[--parkedCount];
        (void)fclose(entry.stream);
    }
}

void TakeLocksAnew()
{
    for (FileHandleSlot& row : fileHandleTbl) {
        if (row.stream != nullptr && row.locked) { row.locked = TryLock(row.stream); }
    }
}

// --- opening ---------------------------------------------------------------------------------------------

FILE* OpenStream(const char* path, char openMode)
{
    FILE* stream = TakeParked(path, openMode);
    if (stream != nullptr) { return stream; }
    stream = fopen(path, openMode == 'r' ? "r" : openMode == 'w' ? "w" : "r+");
    if (stream != nullptr) { (void)setvbuf(stream, nullptr, _IONBF, 0); }
    return stream;
}

void FillRow(u8 h, FILE* stream, const char* path, char openMode)
{
    LockFileHandle(h, stream, path);
    Row(h)->openMode = openMode;
}

// A process that has root's rights for a time must not leave files that its user cannot touch.
bool ActsForItsUser() { return geteuid() == 0 && getuid() != 0; }

void MakeHomeFolder()
{
    char path[BXD_PATH_SIZE];
    bxd::JoinPath(path, getenv("HOME"), kHomeFolderSlash, "");
    (void)mkdir(path, kFolderMode);
    if (ActsForItsUser()) { [[maybe_unused]] int result = chown(path, getuid(), getgid()); }
}

// The count that was moved goes to *len when it is not the count asked for.
i32 ShortTransfer(size_t moved, u32* len)
{
    if (moved == 0) { return -1; }
    *len = static_cast<u32>(moved);
    return 0;
}

// One more try after a failed seek; the place it has come to decides, whatever it says.
bool SeekAgain(FILE* stream, int failed, i32 offset)
{
    BxdDebug("FileOfsRead: fseek Error %d %d %d\n", failed, errno, offset);
    int again = fseek(stream, offset, SEEK_SET);
    long place = ftell(stream);
    BxdDebug("FileOfsRead: fseek again %d %d %d %d\n", again, errno, offset, static_cast<int>(place));
    return again == 0 && place == offset;
}

}  // namespace

namespace bxd {

char* JoinPath(char* dst, const char* first, const char* second, const char* third)
{
    dst[0] = 0;
    if (first == nullptr || second == nullptr || third == nullptr) { return dst; }
    size_t lengths[3] = {strlen(first), strlen(second), strlen(third)};
    if (lengths[0] + lengths[1] + lengths[2] >= BXD_PATH_SIZE) { return dst; }
    memcpy(dst, first, lengths[0]);
    memcpy(dst + lengths[0], second, lengths[1]);
    memcpy(dst + lengths[0] + lengths[1], third, lengths[2] + 1);
    return dst;
}

u32 ReadStreamAt(u8 h, u32 offset, void* buf, u32 len)
{
    FILE* stream = Stream(h);
    if (stream == nullptr) { return 0; }
    ssize_t count = pread(fileno(stream), buf, len, static_cast<off_t>(offset));
    return count > 0 ? static_cast<u32>(count) : 0;
}

bool SameHostFile(const char* a, const char* b)
{
    char first[BXD_PATH_SIZE];
    char second[BXD_PATH_SIZE];
    struct stat one = {};
    struct stat other = {};
    if (stat(ConvPath(first, a), &one) != 0) { return false; }
    if (strcmp(first, ConvPath(second, b)) == 0) { return true; }
    return stat(second, &other) == 0 && one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace bxd

extern "C" {

FileHandleSlot fileHandleTbl[kHostHandles];

// --- names and paths -------------------------------------------------------------------------------------

// Both drives are one folder on purpose, so that the drive's name is not looked at.
char* ConvPath(char* dst, const char* name)
{
    const char* colon = strchr(name, ':');
    if (colon == nullptr) { return bxd::JoinPath(dst, name, "", ""); }
    return bxd::JoinPath(dst, getenv("HOME"), kHomeFolderSlash, colon + 1);
}

char* FileGetRealPath(char* dst, const char* name) { return ConvPath(dst, name); }

char* GetBuiltinStorageBxdPath(char* dst) { return bxd::JoinPath(dst, getenv("HOME"), kHomeFolder, ""); }

char* GetExternalStorageBxdPath(char* dst)
{
    memcpy(dst, kExternalFolder, sizeof kExternalFolder);
    return dst;
}

// --- rows ------------------------------------------------------------------------------------------------

u8 GetNewFileHandle()
{
    for (u8 h = 1; h <= kHostHandles; ++h) {
        if (fileHandleTbl[h - 1].stream == nullptr) { return h; }
    }
    return 0;
}

void LockFileHandle(u8 h, FILE* stream, const char* path)
{
    FileHandleSlot* row = Row(h);
    if (row == nullptr) { return; }
    *row = {};
    row->stream = stream;
    memcpy(row->path, path, strnlen(path, BXD_PATH_SIZE - 1));
}

void ReleaseFileHandle(u8 h)
{
    FileHandleSlot* row = Row(h);
    if (row == nullptr) { return; }
    row->stream = nullptr;
    row->locked = false;
}

FILE* FileHdlToFile(u8 h) { return Stream(h); }

char* FileHdlToFName(u8 h)
{
    FileHandleSlot* row = Row(h);
    return row == nullptr ? nullptr : row->path;
}

// --- open and close --------------------------------------------------------------------------------------

i32 FileCreate(const char* name, u8 /*attr*/)
{
    MakeHomeFolder();
    char path[BXD_PATH_SIZE];
    ConvPath(path, name);
    u8 h = GetNewFileHandle();
    if (h == 0) { return -1; }
    FILE* stream = OpenStream(path, 'w');
    if (stream == nullptr) { return -1; }
    FillRow(h, stream, path, 'w');
    if (ActsForItsUser()) { [[maybe_unused]] int result = fchown(fileno(stream), getuid(), getgid()); }
    return h;
}

i32 FileOpen(const char* name, u8 mode)
{
    if ((mode & (kReadBit | kWriteBit)) == 0) { return -1; }
    char path[BXD_PATH_SIZE];
    ConvPath(path, name);
    u8 h = GetNewFileHandle();
    if (h == 0) { return -1; }
    char openMode = (mode & kWriteBit) != 0 ? '+' : 'r';
    FILE* stream = OpenStream(path, openMode);
    if (stream == nullptr) { return -1; }
    FillRow(h, stream, path, openMode);
    return h;
}

// The door where a cache of file pages may come in one day.
i32 FileOpenUseCache(const char* name, u8 mode) { return FileOpen(name, mode); }

i32 FileClose(u8 h)
{
    FILE* stream = Stream(h);
    if (stream == nullptr) { return -1; }
    char openMode = Row(h)->openMode;
    ReleaseFileHandle(h);

    bool dropsLock = false;
    if (AnyRowIsLocked()) {
        struct stat file = {};
        bool known = fstat(fileno(stream), &file) == 0;
        dropsLock = !known || FileIsLocked(file.st_dev, file.st_ino);
        if (known && dropsLock && Park(stream, openMode, file)) { return 0; }
    }
    (void)fclose(stream);
    if (dropsLock) { TakeLocksAnew(); }
    CloseParkedOfUnlockedFiles();
    return 0;
}

i32 FileLockForWrite(u8 h)
{
    FILE* stream = Stream(h);
    if (stream == nullptr || !TryLock(stream)) { return -1; }
    FileHandleSlot* row = Row(h);
    struct stat file = {};
    if (fstat(fileno(stream), &file) != 0) { return -1; }
    row->locked = true;
    row->device = file.st_dev;
    row->inode = file.st_ino;
    return 0;
}

// --- files by name ---------------------------------------------------------------------------------------

i32 FileDelete(const char* name)
{
    char path[BXD_PATH_SIZE];
    return unlink(ConvPath(path, name));
}

i32 FileSearch(const char* name)
{
    char path[BXD_PATH_SIZE];
    struct stat file = {};
    return stat(ConvPath(path, name), &file) == 0 ? 0 : BXD_HOST_NOTFOUND;
}

// The library never gives a file of the host another name.
i32 FileRename(void) { return -1; }

i32 FileMakeDir(const char* name)
{
    char path[BXD_PATH_SIZE];
    return mkdir(ConvPath(path, name), kFolderMode) == 0 ? 0 : BXD_HOST_DIRFAIL;
}

i32 FileRemoveDir(const char* name)
{
    char path[BXD_PATH_SIZE];
    if (rmdir(ConvPath(path, name)) == 0) { return 0; }
    return errno == ENOENT ? BXD_HOST_NODIR : BXD_HOST_DIRFAIL;
}

i32 FlashDevDefaultFree(void) { return 0; }

// --- facts of an open file -------------------------------------------------------------------------------

i32 FileInfoRead(u8 h, u8 kind, void* dst)
{
    FILE* stream = Stream(h);
    if (stream == nullptr) { return -1; }
    if (kind == 1) {
        const char* path = Row(h)->path;
        memcpy(dst, path, strlen(path) + 1);
        return 0;
    }
    if (kind != 0) { return -1; }

    struct stat file = {};
    if (fstat(fileno(stream), &file) != 0) { return -1; }
    long place = ftell(stream);
    if (place < 0) { return -1; }
    // A file beyond the reach of the words is one whose end no position names.
    u32 words[2] = {file.st_size > UINT32_MAX ? UINT32_MAX : static_cast<u32>(file.st_size),
                    static_cast<u32>(place)};
    memcpy(dst, words, sizeof words);
    return 0;
}

// --- transfer --------------------------------------------------------------------------------------------

i32 FileOfsRead(u8 h, i32 offset, void* buf, u32* len)
{
    FILE* stream = Stream(h);
    if (stream == nullptr) { return -1; }
    int failed = fseek(stream, offset, SEEK_SET);
    if (failed != 0 && !SeekAgain(stream, failed, offset)) { return -1; }
    size_t count = fread(buf, 1, *len, stream);
    return count == *len ? 0 : ShortTransfer(count, len);
}

// A short write is a failure, where a short read is none.
i32 FileOfsWrite(u8 h, i32 offset, const void* buf, u32* len)
{
    FILE* stream = Stream(h);
    if (stream == nullptr || fseek(stream, offset, SEEK_SET) != 0) { return -1; }
    if (*len == 0) { return ftruncate(fileno(stream), offset) == 0 ? 0 : -1; }
    size_t count = fwrite(buf, 1, *len, stream);
    if (count == *len) { return 0; }
    (void)ShortTransfer(count, len);
    return -1;
}

i32 FileBlockRead(u8 h, u32 /*unused*/, void* buf, u32* len)
{
    FILE* stream = Stream(h);
    return stream == nullptr ? -1 : ShortTransfer(fread(buf, 1, *len, stream), len);
}

i32 FileBlockWrite(u8 h, const void* buf, u32* len)
{
    FILE* stream = Stream(h);
    return stream == nullptr ? -1 : ShortTransfer(fwrite(buf, 1, *len, stream), len);
}

i32 FileByteRead(u8 h, u8 unused, void* dst)
{
    u32 len = 1;
    return FileBlockRead(h, unused, dst, &len);
}

i32 FileByteWrite(u8 h, u8 value)
{
    u32 len = 1;
    return FileBlockWrite(h, &value, &len);
}

i32 FileNdRead(u8 h, u32 unused, u8* dst)
{
    u32 len = 1;
    if (FileBlockRead(h, unused, dst, &len) != 0) { return -1; }
    return ungetc(*dst, Stream(h)) == EOF ? -1 : 0;
}

// --- results ---------------------------------------------------------------------------------------------

u32 BxdSetErrorCode(i32 result)
{
    switch (result) {
    case 0: return BXD_OK;
    case BXD_HOST_NOSPACE: return BXD_ERR_NOSPACE;
    case BXD_HOST_NOTFOUND:
    case BXD_HOST_NOFILE2: return BXD_ERR_NOFILE;
    case BXD_HOST_PASS: return BXD_ERR_HOST;
    default: return BXD_ERR_FAIL;
    }
}
}
