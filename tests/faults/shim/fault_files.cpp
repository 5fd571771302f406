// SPDX-License-Identifier: MIT
// File calls: those on files below the watched root are counted and meet the plan, all others pass.
//
// A file is known by its descriptor from the open on, though the watch begins later. A torn write reaches
// the file in part, then the process ends; bytes that a stream's buffer still holds at a cut are lost, as
// they would be.
#include "tests/faults/shim/fault_plan.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

using fault::BelowRoot;
using fault::Leave;
using fault::Meet;
using fault::Next;
using fault::Verdict;

namespace {

constexpr int kDescriptors = 1024;

struct Tracked {
    bool on;
    char path[256];
};
Tracked gTracked[kDescriptors];

// The path of a watched descriptor, or null.
const char* PathOf(int fd)
{
    return fault::Watching() && fd >= 0 && fd < kDescriptors && gTracked[fd].on ? gTracked[fd].path : nullptr;
}

const char* PathOf(FILE* stream) { return fault::Watching() ? PathOf(fileno(stream)) : nullptr; }

void Track(int fd, const char* path)
{
    if (fd < 0 || fd >= kDescriptors || !fault::UnderRoot(path)) { return; }
    gTracked[fd].on = true;
    std::strncpy(gTracked[fd].path, path, sizeof gTracked[fd].path - 1);
}

void Untrack(int fd)
{
    if (fd >= 0 && fd < kDescriptors) { gTracked[fd] = Tracked{}; }
}

uint32_t PositionOf(FILE* stream)
{
    static auto* tell = Next<long(FILE*)>("ftell");
    return static_cast<uint32_t>(tell(stream));
}

// A cut inside a write: `part` bytes reach the file.
[[noreturn]] void TearWrite(const void* data, size_t part, FILE* stream)
{
    static auto* write = Next<size_t(const void*, size_t, size_t, FILE*)>("fwrite");
    write(data, 1, part, stream);
    fflush(stream);
    fault::Cut();
}

size_t WriteMet(Verdict verdict, const void* data, size_t size, size_t count, FILE* stream)
{
    static auto* write = Next<size_t(const void*, size_t, size_t, FILE*)>("fwrite");
    size_t bytes = size * count;
    switch (verdict) {
    case Verdict::kFail: errno = ENOSPC; return 0;
    case Verdict::kShort: errno = ENOSPC; return write(data, 1, bytes / 2, stream) / size;
    case Verdict::kTornOne: TearWrite(data, 1, stream);
    case Verdict::kTornHalf: TearWrite(data, bytes / 2, stream);
    case Verdict::kTornButOne: TearWrite(data, bytes - 1, stream);
    default: break;
    }
    size_t written = write(data, size, count, stream);
    Leave(verdict);
    return written;
}

int TruncateMet(int fd, off_t length)
{
    static auto* truncate = Next<int(int, off_t)>("ftruncate");
    const char* path = PathOf(fd);
    if (path == nullptr) { return truncate(fd, length); }
    Verdict verdict = Meet(kFaultTruncate, path, static_cast<uint32_t>(length));
    if (verdict == Verdict::kFail) {
        errno = EIO;
        return -1;
    }
    int result = truncate(fd, length);
    Leave(verdict);
    return result;
}

// A call on a path that gives 0 or -1.
template <typename Call>
int PathCallMet(FaultKind kind, const char* path, Call call)
{
    if (!BelowRoot(path)) { return call(); }
    Verdict verdict = Meet(kind, path);
    if (verdict == Verdict::kFail) {
        errno = EIO;
        return -1;
    }
    int result = call();
    Leave(verdict);
    return result;
}

// A call on a stream that gives 0 or -1.
template <typename Call>
auto StreamCallMet(FaultKind kind, FILE* stream, Call call) -> decltype(call())
{
    const char* path = PathOf(stream);
    if (path != nullptr && Meet(kind, path) == Verdict::kFail) {
        errno = EIO;
        return -1;
    }
    return call();
}

FILE* OpenStreamMet(const char* path, const char* mode)
{
    static auto* open_stream = Next<FILE*(const char*, const char*)>("fopen");
    uint32_t statistic = fault::StatisticOf(path);
    if (statistic != fault::kNoStatistic) {
        int fd = fault::ServeStatistic(statistic);
        return fd < 0 ? nullptr : fdopen(fd, "r");
    }
    Verdict verdict = Verdict::kPass;
    if (BelowRoot(path)) { verdict = Meet(mode[0] == 'r' ? kFaultOpen : kFaultCreate, path); }
    if (verdict == Verdict::kFail) {
        errno = EIO;
        return nullptr;
    }
    FILE* stream = open_stream(path, mode);
    Leave(verdict);
    if (stream != nullptr) { Track(fileno(stream), path); }
    return stream;
}

int OpenMet(const char* path, int flags, mode_t mode)
{
    static auto* open_file = Next<int(const char*, int, ...)>("open");
    uint32_t statistic = fault::StatisticOf(path);
    if (statistic != fault::kNoStatistic) { return fault::ServeStatistic(statistic); }
    Verdict verdict = Verdict::kPass;
    if (BelowRoot(path)) {
        verdict = Meet((flags & (O_CREAT | O_TRUNC)) != 0 ? kFaultCreate : kFaultOpen, path);
    }
    if (verdict == Verdict::kFail) {
        errno = EIO;
        return -1;
    }
    int fd = open_file(path, flags, mode);
    Leave(verdict);
    Track(fd, path);
    return fd;
}

mode_t ModeArgument(int flags, va_list list)
{
    return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(list, int)) : mode_t{0};
}

}  // namespace

extern "C" {

FILE* fopen(const char* path, const char* mode) { return OpenStreamMet(path, mode); }
FILE* fopen64(const char* path, const char* mode) { return OpenStreamMet(path, mode); }

int open(const char* path, int flags, ...)
{
    va_list list;
    va_start(list, flags);
    mode_t mode = ModeArgument(flags, list);
    va_end(list);
    return OpenMet(path, flags, mode);
}

int open64(const char* path, int flags, ...)
{
    va_list list;
    va_start(list, flags);
    mode_t mode = ModeArgument(flags, list);
    va_end(list);
    return OpenMet(path, flags, mode);
}

int fclose(FILE* stream)
{
    static auto* close_stream = Next<int(FILE*)>("fclose");
    const char* path = PathOf(stream);
    bool failed = path != nullptr && Meet(kFaultClose, path) == Verdict::kFail;
    Untrack(fileno(stream));
    int result = close_stream(stream);
    if (failed) { errno = EIO; }
    return failed ? EOF : result;
}

int close(int fd)
{
    static auto* close_file = Next<int(int)>("close");
    const char* path = PathOf(fd);
    bool failed = path != nullptr && Meet(kFaultClose, path) == Verdict::kFail;
    Untrack(fd);
    int result = close_file(fd);
    if (failed) { errno = EIO; }
    return failed ? -1 : result;
}

size_t fread(void* data, size_t size, size_t count, FILE* stream)
{
    static auto* read_stream = Next<size_t(void*, size_t, size_t, FILE*)>("fread");
    const char* path = PathOf(stream);
    size_t bytes = size * count;
    if (path == nullptr || bytes == 0) { return read_stream(data, size, count, stream); }
    switch (Meet(kFaultRead, path)) {
    case Verdict::kFail: errno = EIO; return 0;
    case Verdict::kShort: return read_stream(data, 1, bytes / 2, stream) / size;
    default: return read_stream(data, size, count, stream);
    }
}

ssize_t pread(int fd, void* data, size_t bytes, off_t offset)
{
    static auto* read_at = Next<ssize_t(int, void*, size_t, off_t)>("pread");
    const char* path = PathOf(fd);
    if (path == nullptr || bytes == 0) { return read_at(fd, data, bytes, offset); }
    switch (Meet(kFaultRead, path)) {
    case Verdict::kFail: errno = EIO; return -1;
    case Verdict::kShort: return read_at(fd, data, bytes / 2, offset);
    default: return read_at(fd, data, bytes, offset);
    }
}

size_t fwrite(const void* data, size_t size, size_t count, FILE* stream)
{
    static auto* write_stream = Next<size_t(const void*, size_t, size_t, FILE*)>("fwrite");
    const char* path = PathOf(stream);
    size_t bytes = size * count;
    if (path == nullptr || bytes == 0) { return write_stream(data, size, count, stream); }
    Verdict verdict = Meet(kFaultWrite, path, PositionOf(stream), static_cast<uint32_t>(bytes));
    return WriteMet(verdict, data, size, count, stream);
}

int fseek(FILE* stream, long offset, int whence)
{
    static auto* seek = Next<int(FILE*, long, int)>("fseek");
    return StreamCallMet(kFaultSeek, stream, [&] { return seek(stream, offset, whence); });
}

int fseeko(FILE* stream, off_t offset, int whence)
{
    static auto* seek = Next<int(FILE*, off_t, int)>("fseeko");
    return StreamCallMet(kFaultSeek, stream, [&] { return seek(stream, offset, whence); });
}

long ftell(FILE* stream)
{
    static auto* tell = Next<long(FILE*)>("ftell");
    return StreamCallMet(kFaultTell, stream, [&] { return tell(stream); });
}

int ftruncate(int fd, off_t length) noexcept { return TruncateMet(fd, length); }

int unlink(const char* path) noexcept
{
    static auto* remove_file = Next<int(const char*)>("unlink");
    return PathCallMet(kFaultDelete, path, [&] { return remove_file(path); });
}

int rename(const char* from, const char* to) noexcept
{
    static auto* rename_file = Next<int(const char*, const char*)>("rename");
    return PathCallMet(kFaultRename, from, [&] { return rename_file(from, to); });
}

int mkdir(const char* path, mode_t mode) noexcept
{
    static auto* make = Next<int(const char*, mode_t)>("mkdir");
    return PathCallMet(kFaultMakeDir, path, [&] { return make(path, mode); });
}

int stat(const char* path, struct stat* out) noexcept
{
    static auto* ask = Next<int(const char*, struct stat*)>("stat");
    return PathCallMet(kFaultStat, path, [&] { return ask(path, out); });
}

int fstat(int fd, struct stat* out) noexcept
{
    static auto* ask = Next<int(int, struct stat*)>("fstat");
    const char* path = PathOf(fd);
    if (path != nullptr && Meet(kFaultStat, path) == Verdict::kFail) {
        errno = EIO;
        return -1;
    }
    return ask(fd, out);
}

int fcntl(int fd, int command, ...)
{
    static auto* control = Next<int(int, int, ...)>("fcntl");
    va_list list;
    va_start(list, command);
    void* argument = va_arg(list, void*);
    va_end(list);
    bool lock = command == F_SETLK || command == F_SETLKW;
    const char* path = lock ? PathOf(fd) : nullptr;
    if (path != nullptr && Meet(kFaultLock, path) == Verdict::kFail) {
        errno = EAGAIN;
        return -1;
    }
    return control(fd, command, argument);
}
}
