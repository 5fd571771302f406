// SPDX-License-Identifier: MIT
#include "index/bxd_indx_entries.h"

#include <algorithm>
#include <cstring>

#include "index/bxd_indx_info.h"
#include "storage/bxd_data.h"
#include "storage/bxd_file_space.h"

namespace {

using bxd::EntryState;
using bxd::EntryTable;

constexpr u32 kAppendSize = kIxEntrySize + kIxEndMarkSize;
constexpr u32 kNewTableSize = kIxCountSize + kAppendSize;

// An entry without flags and the end mark behind it.
void PutLastEntry(u8* out, u16 cardId, u32 attr)
{
    PUT_2BYTES(out, cardId);
    out[kIxEntryAttr] = static_cast<u8>(attr);
    out[kIxEntryFlags] = 0;
    PUT_2BYTES(out + kIxEntrySize, END_MARK_ID);
}

// The table is complete before the header leads to it. Records could be written into a file with a table only
// where their area stands before it already.
u32 MakeTable(u8 fid, u16 cardId, u32 attr)
{
    u32 pos = BxdFileSize(fid);
    u32 endPos = 0;
    u32 found = SearchIndexInformation(fid, 0, nullptr, &endPos);
    if (found != BXD_ERR_NOTFOUND || endPos >= pos) { return BXD_ERR_FAIL; }
    u8 table[kNewTableSize];
    PUT_2BYTES(table, 1);
    PutLastEntry(table + kIxCountSize, cardId, attr);
    u32 status = bxd::WriteAll(fid, pos, table, sizeof table);
    return status == BXD_OK ? bxd::WriteWord(fid, kIxTablePos, pos) : status;
}

// The file must hold all entries that `count` tells, as an append behind its end would leave a gap. A lost
// power between the count and the entry leaves a count that is one ahead of a sound table.
u32 CountHeldEntries(u8 fid, EntryTable* table)
{
    uint64_t end = uint64_t{table->entriesPos()} + table->count * kIxEntrySize;
    if (bxd::FileHolds(fid, end)) { return BXD_OK; }
    if (table->count == 0 || !bxd::FileHolds(fid, end - kIxEntrySize + kIxEndMarkSize)) {
        return BXD_ERR_FAIL;
    }
    --table->count;
    return BXD_OK;
}

// --- passes over the table --------------------------------------------------------------------------------

// One pass over the entries of a table, a piece at a time: what is kept closes up, in the piece and then in
// the file. Nothing is written before the first entry has gone.
class Pass {
public:
    Pass(u8 fid, const EntryTable& table, bxd::EntryBuffer* buffer)
        : fid_(fid), table_(table), buffer_(buffer)
    {}

    u32 kept() const { return kept_; }
    u32 dropped() const { return dropped_; }
    u32 endPos() const { return table_.entriesPos() + kept_ * kIxEntrySize; }

    // `drops(entry, next)` tells whether an entry goes. `next` is the one behind it, null where that is not
    // in the piece; it may be changed, and is looked at afterwards.
    template <typename Drops>
    [[nodiscard]] u32 run(Drops drops)
    {
        u32 done = 0;
        while (done < table_.count && !atEnd_) {
            u32 wanted = std::min(table_.count - done, buffer_->capacity());
            u32 found = 0;
            u32 status = readPiece(done, wanted, &found);
            if (status != BXD_OK) { return status; }
            u32 stays = closeUp(found, drops);
            if (dropped_ > 0) {
                status = bxd::WriteAll(fid_, endPos(), buffer_->data(), stays * kIxEntrySize);
                if (status != BXD_OK) { return status; }
            }
            kept_ += stays;
            done += wanted;
        }
        return BXD_OK;
    }

    [[nodiscard]] u32 writeEndMark() const { return bxd::WriteHalf(fid_, endPos(), END_MARK_ID); }
    [[nodiscard]] u32 writeCount() const { return bxd::WriteHalf(fid_, table_.pos, static_cast<u16>(kept_)); }
    [[nodiscard]] u32 cut() const { return BxdFileCut(fid_, endPos() + kIxEndMarkSize); }

private:
    // *found is less than `wanted` only where the end mark follows.
    u32 readPiece(u32 done, u32 wanted, u32* found)
    {
        u32 got = wanted * kIxEntrySize;
        u32 pos = table_.entriesPos() + done * kIxEntrySize;
        u32 status = DataReadFromFile(fid_, static_cast<i32>(pos), buffer_->data(), &got);
        if (status != BXD_OK) { return status; }
        for (*found = 0; *found < wanted; ++*found) {
            u32 at = *found * kIxEntrySize;
            EntryState state = bxd::StateOfEntry(buffer_->data() + at, got > at ? got - at : 0);
            if (state == EntryState::kMissing) { return BXD_ERR_FAIL; }
            atEnd_ = state == EntryState::kEndMark;
            if (atEnd_) { break; }
        }
        return BXD_OK;
    }

    template <typename Drops>
    u32 closeUp(u32 found, Drops& drops)
    {
        u8* end = buffer_->data() + found * kIxEntrySize;
        u8* place = buffer_->data();
        for (u8* entry = place; entry < end; entry += kIxEntrySize) {
            u8* next = entry + kIxEntrySize < end ? entry + kIxEntrySize : nullptr;
            if (drops(entry, next)) {
                ++dropped_;
                continue;
            }
            if (place != entry) { memcpy(place, entry, kIxEntrySize); }
            place += kIxEntrySize;
        }
        return static_cast<u32>(place - buffer_->data()) / kIxEntrySize;
    }

    u8 fid_;
    EntryTable table_;
    bxd::EntryBuffer* buffer_;
    u32 kept_ = 0;
    u32 dropped_ = 0;
    bool atEnd_ = false;
};

// A pass that ends the table, cuts the file and tells the count.
template <typename Drops>
u32 DropEntries(u8 fid, Drops drops)
{
    EntryTable table{};
    u32 status = bxd::FindTableToChange(fid, &table);
    if (status != BXD_OK || table.count == 0) { return status; }
    bxd::EntryBuffer buffer(table.count);
    if (!buffer) { return BXD_ERR_FAIL; }
    Pass pass(fid, table, &buffer);
    status = pass.run(drops);
    if (status != BXD_OK || pass.dropped() == 0) { return status; }
    status = pass.writeEndMark();
    if (status == BXD_OK) { status = pass.cut(); }
    return status == BXD_OK ? pass.writeCount() : status;
}

// --- removal by card ids ----------------------------------------------------------------------------------

struct IdList {
    const u16* cardIds;
    u16 n;

    bool has(u32 removed, const u8* entry) const
    {
        return CheckDeleteCardID(n, static_cast<u16>(removed), cardIds, GET_2BYTES(entry)) != 0;
    }
};

// `whole` has room for the whole table: count, entries, end mark. What is left of it goes out in one write.
u32 RemoveInMemory(u8 fid, const EntryTable& table, const IdList& list, u8* whole)
{
    u8* entries = whole + kIxCountSize;
    u32 got = table.count * kIxEntrySize;
    u32 status = DataReadFromFile(fid, static_cast<i32>(table.entriesPos()), entries, &got);
    if (status != BXD_OK) { return status; }

    u32 removed = 0;
    u8* place = entries;
    for (u32 n = 0; n < table.count; ++n) {
        const u8* entry = entries + n * kIxEntrySize;
        EntryState state = bxd::StateOfEntry(entry, got > n * kIxEntrySize ? got - n * kIxEntrySize : 0);
        if (state == EntryState::kMissing) { return BXD_ERR_FAIL; }
        if (state == EntryState::kEndMark) { break; }
        if (list.has(removed, entry)) {
            ++removed;
            continue;
        }
        if (place != entry) { memcpy(place, entry, kIxEntrySize); }
        place += kIxEntrySize;
    }
    if (removed == 0) { return BXD_OK; }

    u32 kept = static_cast<u32>(place - entries) / kIxEntrySize;
    PUT_2BYTES(whole, static_cast<u16>(kept));
    PUT_2BYTES(place, END_MARK_ID);
    u32 size = kIxCountSize + kept * kIxEntrySize + kIxEndMarkSize;
    status = bxd::WriteAll(fid, table.pos, whole, size);
    return status == BXD_OK ? BxdFileCut(fid, table.pos + size) : status;
}

u32 RemoveInPieces(u8 fid, const EntryTable& table, const IdList& list)
{
    bxd::EntryBuffer buffer(table.count, kIxEndMarkSize);
    if (!buffer) { return BXD_ERR_FAIL; }
    Pass pass(fid, table, &buffer);
    u32 status =
        pass.run([&](const u8* entry, const u8* /*next*/) { return list.has(pass.dropped(), entry); });
    if (status != BXD_OK || pass.dropped() == 0) { return status; }
    status = pass.writeEndMark();
    if (status == BXD_OK) { status = pass.writeCount(); }
    return status == BXD_OK ? pass.cut() : status;
}

}  // namespace

namespace bxd {

u32 FindTableToChange(u8 fid, EntryTable* table)
{
    u32 status = FindEntryTable(fid, table);
    if (status != BXD_OK || table->pos == kUnset) { return status; }
    u32 endPos = 0;
    status = SearchIndexInformation(fid, 0, nullptr, &endPos);
    if (status == BXD_ERR_OTHER) {  // no records, or a read that has failed
        status = ReadWord(fid, kIxInfoPos, &endPos);
        return status == BXD_OK && endPos != kUnset ? static_cast<u32>(BXD_ERR_FAIL) : status;
    }
    bool isBehind = status == BXD_ERR_NOTFOUND && endPos < table->pos;
    return isBehind ? static_cast<u32>(BXD_OK) : u32{BXD_ERR_FAIL};
}

u32 TakeEntryOut(u8 fid, u32 entryPos, u16 count)
{
    EntryTable table{};
    u32 status = FindTableToChange(fid, &table);
    if (status == BXD_OK) { status = CutTransfer(fid, entryPos, kIxEntrySize); }
    return status == BXD_OK ? WriteHalf(fid, table.pos, static_cast<u16>(count - 1)) : status;
}

u32 RemoveEntry(u8 fid, u32 entryPos, u16 count)
{
    u32 status = TakeEntryOut(fid, entryPos, count);
    return status == BXD_OK ? DeleteDoublyBit(fid, entryPos) : status;
}

}  // namespace bxd

extern "C" {

u32 AddLastIndex(u8 fid, u16 cardId, u32 attr)
{
    EntryTable table{};
    u32 status = bxd::FindTableToChange(fid, &table);
    if (status != BXD_OK) { return status; }
    if (table.pos == kUnset) { return MakeTable(fid, cardId, attr); }
    status = CountHeldEntries(fid, &table);
    if (status != BXD_OK) { return status; }
    if (table.count == kIxEntriesMax) { return BXD_ERR_FAIL; }

    status = bxd::WriteHalf(fid, table.pos, static_cast<u16>(table.count + 1));
    if (status != BXD_OK) { return status; }
    u8 last[kAppendSize];
    PutLastEntry(last, cardId, attr);
    u32 pos = bxd::EntryPosition(table.pos, table.count + 1u);
    status = bxd::WriteAll(fid, pos, last, sizeof last);
    return status == BXD_OK ? BxdFileCut(fid, pos + kAppendSize) : status;
}

u32 DeleteDoublyBit(u8 fid, u32 entryPos)
{
    u8 entry[kIxEntrySize] = {};
    u32 got = sizeof entry;
    u32 status = DataReadFromFile(fid, static_cast<i32>(entryPos), entry, &got);
    if (status != BXD_OK) { return status; }
    EntryState state = bxd::StateOfEntry(entry, got);
    if (state == EntryState::kMissing) { return BXD_ERR_FAIL; }
    if (state == EntryState::kEndMark || !bxd::IsDoubly(entry)) { return BXD_OK; }
    const u8 visible = 0;  // all flags go, not the one bit alone
    return bxd::WriteAll(fid, entryPos + kIxEntryFlags, &visible, sizeof visible);
}

u32 DeleteDoublyCardData(u8 fid)
{
    return DropEntries(fid, [](const u8* entry, const u8* /*next*/) { return bxd::IsDoubly(entry); });
}

u32 DeleteAttrIndex(u8 indexFid, u8 mask, u8 value, u8 negate)
{
    const bxd::AttrFilter filter = {mask, value, negate};
    return DropEntries(indexFid, [&](const u8* entry, u8* next) {
        if (!filter.passes(entry)) { return false; }
        if (next != nullptr) { next[kIxEntryFlags] &= static_cast<u8>(~kIxDoublyBit); }
        return true;
    });
}

u32 CheckDeleteCardID(u32 n, u16 removed, const u16* cardIds, u16 cardId)
{
    if (n <= removed) { return 0; }
    return std::find(cardIds, cardIds + n, cardId) != cardIds + n ? 1 : 0;
}

u32 DecIndexCount(u8 fid)
{
    EntryTable table{};
    u32 status = bxd::FindTableToChange(fid, &table);
    if (status != BXD_OK || table.count == 0) { return status; }
    return bxd::WriteHalf(fid, table.pos, static_cast<u16>(table.count - 1));
}

u32 _IndexNoDelete(const char* name, u16 indexNo)
{
    bxd::OpenFile file;
    u32 status = bxd::OpenIndex(name, kIxModeWrite, &file);
    if (status != BXD_OK) { return status; }
    u8 fid = file.fid();
    status = bxd::RequireSpace(1, kUsualNodes, BxdFileSize(fid));
    if (status != BXD_OK) { return status; }

    IndexEntryPos found{};
    if (SearchIndexID(fid, indexNo, &found) != BXD_OK) { return BXD_ERR_NOTFOUND; }
    return bxd::RemoveEntry(fid, found.pos, found.count);
}

u32 _IndexNoDeleteWithNum(const char* name, const u16* cardIds, u16 n)
{
    if (cardIds == nullptr || n == 0) { return BXD_ERR_RANGE; }
    bxd::OpenFile file;
    u32 status = bxd::OpenIndex(name, kIxModeWrite, &file);
    if (status != BXD_OK) { return status; }
    u8 fid = file.fid();
    EntryTable table{};
    status = bxd::FindTableToChange(fid, &table);
    if (status != BXD_OK || table.count == 0) { return status; }
    status = bxd::RequireSpace(1, kUsualNodes, BxdFileSize(fid));
    if (status != BXD_OK) { return status; }

    const IdList list = {cardIds, n};
    bxd::HeapBlock whole(kIxCountSize + table.count * kIxEntrySize + kIxEndMarkSize);
    return whole ? RemoveInMemory(fid, table, list, whole.data()) : RemoveInPieces(fid, table, list);
}
}
