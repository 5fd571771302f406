// SPDX-License-Identifier: MIT
// Room on the flash: what the file system says is free, what an operation will take of it, and how a full one
// is made to collect.
//
//   need = nodes * 794 + (bytes / 128) * 396 + reserve         in bytes of the log-structured file system
//
// A figure that cannot be had counts as plenty of room and an idle collector: a statistic that is missing
// must never stop the library.
#include "storage/bxd_file.h"
#include "storage/stdiohst.h"

#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr char kFreePath[] = "/proc/fs/jffs2/1f:03/reliable_free_size";
constexpr char kBlocksPath[] = "/proc/fs/jffs2/1f:03/gcing_blocks";
constexpr char kSignPath[] = "/proc/fs/jffs2/1f:03/effective_gc_count";
constexpr char kMergeTool[] = "/usr/sbin/nodemerge.jffs2 ";
constexpr u32 kShellWordSize = 4u * BXD_PATH_SIZE + 3;  // of a path in quotes, if all of it were quotes

constexpr u32 kFigureLength = 32;        // bytes of a statistic that are looked at
constexpr u32 kFreeUnknown = INT32_MAX;  // free space where the figure cannot be had

constexpr u32 kNodeCost = 794;      // bytes of one node operation
constexpr u32 kDataUnit = 128;      // bytes of data that ...
constexpr u32 kDataUnitCost = 396;  // ... cost so many
constexpr u32 kReserve = 163840;    // stays free of an operation that adds data
constexpr u32 kLowReserve = 16384;  // the same for one that frees space or must get through

constexpr u32 kFreeEnough = 0x4FFFF;     // above it nothing need be made
constexpr u32 kFirstWaitSeconds = 300;   // for the collector, after the merge
constexpr u32 kFreeLeast = kLowReserve;  // below it the making has failed

// The longer the second wait, the less is asked for: it ends when both figures are exceeded.
struct Patience {
    u32 free;
    u32 seconds;
    bool timed;  // false: at any time
};
constexpr Patience kPatience[] = {
    {0x67FFF, 0, false}, {0x4FFFF, 9, true}, {0x1BFFF, 179, true}, {0xBFFF, 359, true}, {0x7FFF, 419, true}};
constexpr u32 kPatienceEnd = 599;  // and then in any case

// Decimal digits up to the first other byte; a number beyond 32 bits is as good as the largest.
u32 ParseFigure(const char* text, u32 length)
{
    uint64_t value = 0;
    for (u32 i = 0; i < length && text[i] >= '0' && text[i] <= '9'; ++i) {
        value = value * 10 + static_cast<u32>(text[i] - '0');
        if (value > UINT32_MAX) { return UINT32_MAX; }
    }
    return static_cast<u32>(value);
}

// It is asked before every write of a card, so that it must stay one open, one read and one close.
u32 ReadFigure(const char* path, u32 unknown, const char* complaint)
{
    int file = open(path, O_RDONLY);
    if (file < 0) { return unknown; }
    char text[kFigureLength + 1] = {};
    ssize_t length = read(file, text, kFigureLength);
    (void)close(file);
    if (length < 0 || length > static_cast<ssize_t>(kFigureLength)) {
        BxdDebug(complaint, static_cast<int>(length));
        return unknown;
    }
    return ParseFigure(text, static_cast<u32>(length));
}

bool CollectorIsBusy(u32* blocks, u32* sign)
{
    *blocks = BxdFileGetFsGcingBlocks();
    *sign = BxdFileGetFsGcingSig();
    return *blocks != 0 || (*sign & 1) != 0;
}

bool CollectorIsBusy() { return BxdFileGetFsGcingBlocks() != 0 || (BxdFileGetFsGcingSig() & 1) != 0; }

bool IsOrdinaryPath(const char* path)
{
    constexpr char kOrdinary[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz/._-+,:@%";
    return path[0] != 0 && path[strspn(path, kOrdinary)] == 0;
}

// A path as the shell takes it for one word: as it is where that is safe, else in quotes.
// A quote inside of quotes ends them, stands by itself behind a backslash, and begins them again.
// `out` has room for four times its length and three bytes.
void PutShellWord(char* out, const char* path)
{
    constexpr char kQuoteInQuotes[] = {'\'', '\\', '\''};
    bool quoted = !IsOrdinaryPath(path);
    if (quoted) { *out++ = '\''; }
    for (; *path != 0; ++path) {
        if (*path == '\'') {
            memcpy(out, kQuoteInQuotes, sizeof kQuoteInQuotes);
            out += sizeof kQuoteInQuotes;
        }
        *out++ = *path;
    }
    if (quoted) { *out++ = '\''; }
    *out = 0;
}

void MergeNodes(const char* name)
{
    char path[BXD_PATH_SIZE];
    char command[sizeof kMergeTool + kShellWordSize];
    ConvPath(path, name);
    memcpy(command, kMergeTool, sizeof kMergeTool);
    PutShellWord(command + sizeof kMergeTool - 1, path);
    [[maybe_unused]] int result = system(command);
}

struct MakerTexts {
    const char* noReopen;
    const char* longWait;
    const char* failed;
    const char* made;
};

constexpr MakerTexts kDynTexts = {
    "MakeFsSpace: ERROR! Can not reopen!\n",
    "MakeFsSpace: long gcing... gcing_blocks=%d gcing_sig=%d times=%d\n",
    "MakeFsSpace: ERROR! Can not make! avail=%d times=%d\n",
    "MakeFsSpace: Made! avail=%d times=%d\n",
};
constexpr MakerTexts kFixTexts = {
    "MakeFsSpaceFix: ERROR! Can not reopen!\n",
    "MakeFsSpaceFix: long gcing... gcing_blocks=%d gcing_sig=%d times=%d\n",
    "MakeFsSpaceFix: ERROR! Can not make! avail=%d times=%d\n",
    "MakeFsSpaceFix: Made! avail=%d times=%d\n",
};

// Merges the nodes of a file, which must be closed meanwhile, and opens it again under a new id.
bool MergeFile(u8* fid, const MakerTexts& texts)
{
    char name[BXD_PATH_SIZE] = "";
    u8 mode = BxdFileOpenMode(*fid);
    bool known = BxdFileName(*fid, name) == BXD_OK;
    (void)BxdFileClose(*fid);
    *fid = kNoFile;
    if (known) { MergeNodes(name); }
    i32 opened = known ? BxdFileOpen(name, mode) : -1;
    if (opened < 0) {
        BxdDebug("%s", texts.noReopen);
        return false;
    }
    *fid = static_cast<u8>(opened);
    if ((mode & BXD_MODE_WRITE_BIT) != 0) { (void)BxdFileLock(*fid); }
    return true;
}

// Waits until the collector is idle, or long enough; the seconds that it took.
u32 FirstWait(const MakerTexts& texts)
{
    (void)sleep(1);
    u32 times = 0;
    u32 blocks = 0;
    u32 sign = 0;
    while (CollectorIsBusy(&blocks, &sign)) {
        if (times > kFirstWaitSeconds) {
            BxdDebug(texts.longWait, static_cast<int>(blocks), static_cast<int>(sign),
                     static_cast<int>(times));
            break;
        }
        (void)sleep(1);
        ++times;
    }
    return times;
}

bool PatienceEnds(u32 free, u32 times)
{
    for (const Patience& step : kPatience) {
        if (free > step.free && (!step.timed || times > step.seconds)) { return true; }
    }
    return times > kPatienceEnd;
}

u32 SecondWait()
{
    u32 times = 0;
    while (CollectorIsBusy() && !PatienceEnds(BxdFileGetFsAvail(), times)) {
        (void)sleep(1);
        ++times;
    }
    return times;
}

u32 Outcome(const MakerTexts& texts, u32 need, u32 times)
{
    u32 free = BxdFileGetFsAvail();
    bool made = free >= need;
    BxdDebug(made ? texts.made : texts.failed, static_cast<int>(free), static_cast<int>(times));
    return made ? 1 : 0;
}

}  // namespace

extern "C" {

u32 BxdFileGetFsAvail(void)
{
    return ReadFigure(kFreePath, kFreeUnknown, "BxdFileGetFsAvail: read len is not avail %d\n");
}

u32 BxdFileGetFsGcingBlocks(void)
{
    return ReadFigure(kBlocksPath, 0, "BxdFileGetFsGcingBlocks: read len is not avail %d\n");
}

u32 BxdFileGetFsGcingSig(void)
{
    return ReadFigure(kSignPath, 0, "BxdFileGetFsGcingSig: read len is not avail %d\n");
}

u32 BxdFileGetFsOneTimeNeed(void) { return kNodeCost; }

u32 BxdFileCalcFsAvailNeed(u32 lowReserve, u32 nodes, u32 bytes)
{
    u32 reserve = lowReserve != 0 ? kLowReserve : kReserve;
    return nodes * BxdFileGetFsOneTimeNeed() + bytes / kDataUnit * kDataUnitCost + reserve;
}

u32 BxdFileCheckFsSpace(u32 lowReserve, u32 nodes, u32 bytes)
{
    u32 free = BxdFileGetFsAvail();
    return free == kFreeUnknown || free >= BxdFileCalcFsAvailNeed(lowReserve, nodes, bytes) ? 1 : 0;
}

u32 BxdFileMakeFsSpaceDyn(u8* fid)
{
    u32 free = BxdFileGetFsAvail();
    if (free > kFreeEnough) { return 1; }
    BxdDebug("MakeFsSpace: Making! avail=%d\n", static_cast<int>(free));
    if (!MergeFile(fid, kDynTexts)) { return 0; }
    (void)FirstWait(kDynTexts);
    u32 times = SecondWait();
    return Outcome(kDynTexts, kFreeLeast, times);
}

u32 BxdFileMakeFsSpaceFix(u8* fid, u32 need)
{
    if (!MergeFile(fid, kFixTexts)) { return 0; }
    u32 times = FirstWait(kFixTexts);
    return Outcome(kFixTexts, need, times);
}
}
