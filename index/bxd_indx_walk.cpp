// SPDX-License-Identifier: MIT
#include "index/bxd_indx_walk.h"

#include "index/bxd_indx_info.h"
#include "index/bxd_indx_move_check.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"

namespace {

using bxd::AttrFilter;
using bxd::EntryState;

constexpr u8 kFilteredIndex = 1;  // update mode in which the order of the entries is not free
constexpr u32 kMoveNoEntry = 1;   // what a move of an entry that is not there gives, as applications expect
constexpr u32 kMoveSpace = 512;   // room that a move asks for beyond the size of the file

// --- stepping --------------------------------------------------------------------------------------------

u32 StepForward(u8 fid, const AttrFilter& filter, u32 number, u32 pos, u16* found)
{
    u8 chunk[kLocalTransfer];
    for (;;) {
        u32 got = sizeof chunk;
        u32 status = DataReadFromFile(fid, static_cast<i32>(pos), chunk, &got);
        if (status != BXD_OK) { return status; }
        for (u32 at = 0; at < sizeof chunk; at += kIxEntrySize) {
            EntryState state = bxd::StateOfEntry(chunk + at, got > at ? got - at : 0);
            if (state == EntryState::kEndMark) { return BXD_ERR_NOTFOUND; }
            if (state == EntryState::kMissing || ++number > kIxEntriesMax) { return BXD_ERR_FAIL; }
            if (!filter.passes(chunk + at)) { continue; }
            *found = static_cast<u16>(number);
            return BXD_OK;
        }
        pos += sizeof chunk;
    }
}

// `number` is wider than an index number: behind the last entry of a full table it is 65536.
u32 StepBack(u8 fid, const AttrFilter& filter, u32 number, u32 pos, u16* found)
{
    u8 chunk[kLocalTransfer];
    while (number >= 2) {
        // Near the start of the file there are not so many bytes, only the entries that are left.
        u32 size = pos >= sizeof chunk ? static_cast<u32>(sizeof chunk) : (number - 1) * kIxEntrySize;
        if (size > pos) { return BXD_ERR_NOTFOUND; }
        pos -= size;
        u32 got = size;
        u32 status = DataReadFromFile(fid, static_cast<i32>(pos), chunk, &got);
        if (status != BXD_OK) { return status; }
        for (u32 end = size; end > 0; end -= kIxEntrySize) {
            u32 at = end - kIxEntrySize;
            if (--number == 0) { return BXD_ERR_NOTFOUND; }
            EntryState state = bxd::StateOfEntry(chunk + at, got > at ? got - at : 0);
            if (state == EntryState::kEndMark) { return BXD_ERR_NOTFOUND; }
            if (state == EntryState::kMissing) { return BXD_ERR_FAIL; }
            if (!filter.passes(chunk + at)) { continue; }
            *found = static_cast<u16>(number);
            return BXD_OK;
        }
    }
    return BXD_ERR_NOTFOUND;
}

// --- counting --------------------------------------------------------------------------------------------

// A run of entries, read at once where there is memory, else one by one.
class EntryRun {
public:
    EntryRun(u8 fid, u32 entries) : fid_(fid), size_(entries * kIxEntrySize), memory_(size_) {}

    bool inMemory() const { return static_cast<bool>(memory_); }

    [[nodiscard]] u32 begin(u32 pos)
    {
        pos_ = pos;
        return inMemory() ? DataReadFromFile(fid_, static_cast<i32>(pos), memory_.data(), &size_)
                          : u32{BXD_OK};
    }

    // The entry `place` places behind the first. 66 where the end mark stands; 71 where the file has ended.
    [[nodiscard]] u32 at(u32 place, const u8** entry)
    {
        u32 offset = place * kIxEntrySize;
        u32 available = size_ > offset ? size_ - offset : 0;
        *entry = memory_.data() + offset;
        if (!inMemory()) {
            available = sizeof one_;
            u32 status = DataReadFromFile(fid_, static_cast<i32>(pos_ + offset), one_, &available);
            if (status != BXD_OK) { return status; }
            *entry = one_;
        }
        switch (bxd::StateOfEntry(*entry, available)) {
        case EntryState::kEntry: return BXD_OK;
        case EntryState::kEndMark: return BXD_ERR_NOTFOUND;
        default: return BXD_ERR_FAIL;
        }
    }

private:
    u8 fid_;
    u32 size_;
    bxd::HeapBlock memory_;
    u8 one_[kIxEntrySize] = {};
    u32 pos_ = 0;
};

// Entries that a search passes over, in ascending order.
struct Span {
    u32 pos;
    u32 first;
    u32 count;
};

u32 FindSpan(u8 fid, bool backward, u16 indexNo, Span* span)
{
    if (indexNo == (backward ? kIxBeforeFirst : kIxBehindLast)) { return BXD_ERR_NOTFOUND; }
    IndexEntryPos start{};
    u32 status = SearchIndexID(fid, indexNo, &start);
    if (status == BXD_ERR_RANGE) {
        *span = {start.pos + kIxCountSize, 1, start.count};
        return BXD_OK;
    }
    if (status != BXD_OK) { return status; }
    if (backward) {
        *span = {start.pos - (indexNo - 1u) * kIxEntrySize, 1, indexNo - 1u};
    } else {
        // One more than remain, so that the end mark is met.
        *span = {start.pos + kIxEntrySize, indexNo + 1u, start.count + 1u - indexNo};
    }
    return BXD_OK;
}

u32 FindNth(u8 fid, const Span& span, bool backward, const AttrFilter& filter, u16 number, u16* indexNo)
{
    if (span.count == 0) { return BXD_ERR_NOTFOUND; }
    EntryRun run(fid, span.count);
    u32 status = run.begin(span.pos);
    if (status != BXD_OK) { return status; }
    u32 passed = 0;
    for (u32 step = 0; step < span.count; ++step) {
        u32 place = backward ? span.count - 1 - step : step;
        const u8* entry = nullptr;
        status = run.at(place, &entry);
        if (status != BXD_OK) { return status; }
        if (span.first + place > kIxEntriesMax) { return BXD_ERR_FAIL; }
        if (!filter.passes(entry) || ++passed != number) { continue; }
        *indexNo = static_cast<u16>(span.first + place);
        return BXD_OK;
    }
    return BXD_ERR_NOTFOUND;
}

u32 CountPassing(EntryRun* run, u32 entries, const AttrFilter& filter, u16* number)
{
    u32 passed = 0;
    for (u32 place = 0; place < entries; ++place) {
        const u8* entry = nullptr;
        u32 status = run->at(place, &entry);
        if (status == BXD_ERR_NOTFOUND) { break; }
        if (status != BXD_OK) { return status; }
        passed += filter.passes(entry) ? 1 : 0;
    }
    *number = static_cast<u16>(passed);
    return passed == 0 ? static_cast<u32>(BXD_ERR_NOTFOUND) : static_cast<u32>(BXD_OK);
}

// --- moving ----------------------------------------------------------------------------------------------

// In a filtered index a move must keep the sort order. Behind the last of 65535 entries there is no number:
// only the last entry "goes" there, and stays.
u32 CheckMove(u8 fid, const char* name, u16 from, u32 to)
{
    if (GetIndexInfo(fid, IDXINF_UPDATE_MODE) != kFilteredIndex || from + 1u == to) { return BXD_OK; }
    return to > kIxEntriesMax ? u32{BXD_ERR_NOTFOUND}
                              : CheckMoveIndexNo(fid, name, from, static_cast<u16>(to));
}

// Moves the entry in front of entry `to`, which may be one more than there are. *moved is its new number.
u32 MoveEntry(u8 fid, u32 pos, u32 from, u32 to, u16* moved)
{
    u8 entry[kIxEntrySize];
    u32 status = bxd::ReadExactly(fid, pos, entry, sizeof entry);
    if (status != BXD_OK) { return status; }
    u32 target = to;
    if (from < to) {
        u32 between = (to - from - 1) * kIxEntrySize;
        status = FlashTransferF(fid, pos + kIxEntrySize, pos, between, entry, sizeof entry);
        target = to - 1;
    } else {
        u32 between = (from - to) * kIxEntrySize;
        u32 place = pos - between;
        status = FlashTransferF(fid, place, place + kIxEntrySize, between, entry, sizeof entry);
    }
    if (status == BXD_OK) { *moved = static_cast<u16>(target); }
    return status;
}

}  // namespace

extern "C" {

u32 NextIndexAddress(u8 fid, u8 mask, u8 value, u8 invert, u16* indexNo, u32 pos)
{
    return StepForward(fid, {mask, value, invert}, *indexNo, pos, indexNo);
}

u32 PrevIndexAddress(u8 fid, u8 mask, u8 value, u8 invert, u16* indexNo, u32 pos)
{
    return StepBack(fid, {mask, value, invert}, *indexNo, pos, indexNo);
}

u32 _NextIndexNo(const char* name, u8 mask, u8 value, u8 invert, u16* indexNo)
{
    const AttrFilter filter = AttrFilter::ForCaller(mask, value, invert);
    bxd::OpenFile file;
    u32 status = bxd::OpenIndex(name, kIxModeRead, &file);
    if (status != BXD_OK) { return status; }

    IndexEntryPos start{};
    status = SearchIndexID(file.fid(), *indexNo, &start);
    u32 pos = start.pos + kIxEntrySize;
    if (status == BXD_ERR_RANGE && *indexNo == kIxBeforeFirst) {
        pos = start.pos + kIxCountSize;
    } else if (status != BXD_OK) {
        return BXD_ERR_NOTFOUND;
    }
    return NextIndexAddress(file.fid(), filter.mask, filter.value, filter.invert, indexNo, pos);
}

u32 _PrevIndexNo(const char* name, u8 mask, u8 value, u8 invert, u16* indexNo)
{
    const AttrFilter filter = AttrFilter::ForCaller(mask, value, invert);
    bxd::OpenFile file;
    u32 status = bxd::OpenIndex(name, kIxModeRead, &file);
    if (status != BXD_OK) { return status; }

    IndexEntryPos start{};
    status = SearchIndexID(file.fid(), *indexNo, &start);
    if (status == BXD_OK) {
        return PrevIndexAddress(file.fid(), filter.mask, filter.value, filter.invert, indexNo, start.pos);
    }
    if (status != BXD_ERR_RANGE || *indexNo != kIxBehindLast) { return BXD_ERR_NOTFOUND; }
    u32 behind = start.count + 1u;
    if (behind <= kIxEntriesMax) { *indexNo = static_cast<u16>(behind); }
    return StepBack(file.fid(), filter, behind, bxd::EntryPosition(start.pos, behind), indexNo);
}

u32 _NumberToIndexNo(const char* name, u32 backward, u8 mask, u8 value, u8 invert, u16* indexNo, u16 number)
{
    const AttrFilter filter = AttrFilter::ForCaller(mask, value, invert);
    bxd::OpenFile file;
    u32 status = bxd::OpenIndex(name, kIxModeRead, &file);
    if (status != BXD_OK) { return status; }
    Span span{};
    status = FindSpan(file.fid(), backward != 0, *indexNo, &span);
    if (status != BXD_OK) { return status; }
    return FindNth(file.fid(), span, backward != 0, filter, number, indexNo);
}

u32 _IndexNoToNumber(const char* name, u8 mask, u8 value, u8 invert, u16 from, u16 to, u16* number)
{
    const AttrFilter filter = AttrFilter::ForCaller(mask, value, invert);
    bxd::OpenFile file;
    u32 status = bxd::OpenIndex(name, kIxModeRead, &file);
    if (status != BXD_OK) { return status; }

    IndexEntryPos start{};
    status = SearchIndexID(file.fid(), from == kIxBeforeFirst ? u16{1} : from, &start);
    if (status != BXD_OK) { return status == BXD_ERR_RANGE ? static_cast<u32>(BXD_ERR_NOTFOUND) : status; }
    u32 last = to > start.count + 1u ? start.count + 1u : to;
    if (last <= from) { return BXD_ERR_NOTFOUND; }

    EntryRun run(file.fid(), last - from);
    // Without memory the count begins at `from` itself and ends before `to`: applications know it so.
    u32 first = run.inMemory() && from != kIxBeforeFirst ? start.pos + kIxEntrySize : start.pos;
    status = run.begin(first);
    return status == BXD_OK ? CountPassing(&run, last - from, filter, number) : status;
}

u32 _MoveIndexNo(const char* name, u16 from, u16* to)
{
    bxd::OpenFile file;
    u32 status = bxd::OpenIndex(name, kIxModeWrite, &file);
    if (status != BXD_OK) { return status; }
    u8 fid = file.fid();
    status = bxd::RequireSpace(0, kUsualNodes, BxdFileSize(fid) + kMoveSpace);
    if (status != BXD_OK) { return status; }

    IndexEntryPos found{};
    if (SearchIndexID(fid, from, &found) != BXD_OK) { return kMoveNoEntry; }
    if (*to == from) { return BXD_OK; }
    u32 target = *to == 0 ? 1 : *to;
    if (*to == kIxBehindLast || target > found.count) { target = found.count + 1u; }
    if (target == from) {
        *to = static_cast<u16>(target);
        return BXD_OK;
    }
    status = CheckMove(fid, name, from, target);
    return status == BXD_OK ? MoveEntry(fid, found.pos, from, target, to) : static_cast<u32>(BXD_ERR_OTHER);
}
}
