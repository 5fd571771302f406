// SPDX-License-Identifier: MIT
// Allocations of the library: counted, refused, and watched until they are given back.
//
// A call counts when its return address lies in the library's own code, so that neither the tests' blocks
// nor those that the C library takes for itself disturb the numbers. In an executable that has its own
// malloc ahead of this object (a sanitizer linked in statically) nothing is counted.
#include "tests/faults/shim/fault_plan.h"

#include <link.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

using Malloc = void*(size_t);
using Calloc = void*(size_t, size_t);
using Realloc = void*(void*, size_t);
using Free = void(void*);

Malloc* gMalloc;
Calloc* gCalloc;
Realloc* gRealloc;
Free* gFree;
bool gResolving;

// dlsym may itself want memory before the functions are known; it gets this, which is never given back.
alignas(16) char gArena[16384];
size_t gArenaUsed;

bool InArena(const void* p) { return p >= gArena && p < gArena + sizeof gArena; }

void* TakeArena(size_t size)
{
    size_t need = (size + 15) & ~size_t{15};
    if (gArenaUsed + need > sizeof gArena) { return nullptr; }
    void* taken = gArena + gArenaUsed;
    gArenaUsed += need;
    return taken;
}

bool Resolve()
{
    if (gFree != nullptr) { return true; }
    if (gResolving) { return false; }
    gResolving = true;
    gMalloc = fault::Next<Malloc>("malloc");
    gCalloc = fault::Next<Calloc>("calloc");
    gRealloc = fault::Next<Realloc>("realloc");
    gFree = fault::Next<Free>("free");
    gResolving = false;
    return true;
}

void* GrowArena(const void* old, size_t size)
{
    void* p = TakeArena(size);
    if (p == nullptr || old == nullptr) { return p; }
    auto behind = static_cast<size_t>(gArena + sizeof gArena - static_cast<const char*>(old));
    std::memmove(p, old, size < behind ? size : behind);
    return p;
}

// The code of the library, found at the first watched allocation.
uintptr_t gCodeStart;
uintptr_t gCodeEnd;

int FindLibrary(dl_phdr_info* info, size_t, void*)
{
    const char* slash = std::strrchr(info->dlpi_name, '/');
    if (std::strncmp(slash != nullptr ? slash + 1 : info->dlpi_name, "libbxd", 6) != 0) { return 0; }
    for (int i = 0; i < info->dlpi_phnum; i++) {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0) {
            gCodeStart = info->dlpi_addr + segment.p_vaddr;
            gCodeEnd = gCodeStart + segment.p_memsz;
        }
    }
    return 1;
}

bool FromLibrary(const void* caller)
{
    if (!fault::Watching()) { return false; }
    if (gCodeEnd == 0) { dl_iterate_phdr(FindLibrary, nullptr); }
    auto address = reinterpret_cast<uintptr_t>(caller);
    return address >= gCodeStart && address < gCodeEnd;
}

// Blocks of the library that are out: an open hash table, in which a block given back leaves a mark. The
// addresses are kept inverted, so that a leak checker that looks for pointers does not take them for owners.
constexpr uint32_t kBlockRows = 1 << 14;
constexpr uintptr_t kEmptyRow = 0;
constexpr uintptr_t kGoneRow = 1;
uintptr_t gBlocks[kBlockRows];
bool gRowsTaken;  // since the table was cleared
uint32_t gBlockCount;

uintptr_t RowMark(const void* p) { return ~reinterpret_cast<uintptr_t>(p); }
uint32_t FirstRow(uintptr_t mark) { return static_cast<uint32_t>((mark >> 4) * 2654435761u) % kBlockRows; }

void NoteBlock(const void* p)
{
    if (p == nullptr || gBlockCount >= kBlockRows / 2) { return; }
    uint32_t row = FirstRow(RowMark(p));
    while (gBlocks[row] != kEmptyRow && gBlocks[row] != kGoneRow) { row = (row + 1) % kBlockRows; }
    gBlocks[row] = RowMark(p);
    gRowsTaken = true;
    gBlockCount++;
}

bool DropBlock(const void* p)
{
    if (gBlockCount == 0 || p == nullptr) { return false; }
    uint32_t row = FirstRow(RowMark(p));
    for (uint32_t step = 0; step < kBlockRows && gBlocks[row] != kEmptyRow; step++) {
        if (gBlocks[row] == RowMark(p)) {
            gBlocks[row] = kGoneRow;
            gBlockCount--;
            return true;
        }
        row = (row + 1) % kBlockRows;
    }
    return false;
}

uint32_t gLargestBlock = UINT32_MAX;

bool Refused(bool library, size_t size)
{
    if (!library) { return false; }
    if (fault::Meet(kFaultAlloc) == fault::Verdict::kPass && size <= gLargestBlock) { return false; }
    errno = ENOMEM;
    return true;
}

}  // namespace

namespace fault {

uint32_t LibraryBlocks() { return gBlockCount; }

void LimitBlocks(uint32_t largest) { gLargestBlock = largest; }

void ForgetBlocks()
{
    // Most children of a test come here with a clean table, and should not copy its pages.
    if (gRowsTaken) { std::memset(gBlocks, 0, sizeof gBlocks); }
    gRowsTaken = false;
    gBlockCount = 0;
}

}  // namespace fault

extern "C" {

void* malloc(size_t size) noexcept
{
    bool library = FromLibrary(__builtin_return_address(0));
    if (Refused(library, size)) { return nullptr; }
    void* p = Resolve() ? gMalloc(size) : TakeArena(size);
    if (library) { NoteBlock(p); }
    return p;
}

void* calloc(size_t count, size_t size) noexcept
{
    bool library = FromLibrary(__builtin_return_address(0));
    if (Refused(library, count * size)) { return nullptr; }
    void* p = Resolve() ? gCalloc(count, size) : TakeArena(count * size);
    if (library) { NoteBlock(p); }
    return p;
}

void* realloc(void* old, size_t size) noexcept
{
    bool library = FromLibrary(__builtin_return_address(0));
    if (Refused(library, size)) { return nullptr; }
    if (!Resolve() || InArena(old)) { return GrowArena(old, size); }
    bool known = DropBlock(old);
    void* p = gRealloc(old, size);
    if (p == nullptr && known && size != 0) { NoteBlock(old); }
    if (library || known) { NoteBlock(p); }
    return p;
}

void free(void* p) noexcept
{
    if (p == nullptr || InArena(p) || !Resolve()) { return; }
    DropBlock(p);
    gFree(p);
}
}
