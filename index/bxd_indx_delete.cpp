// SPDX-License-Identifier: MIT
#include "index/bxd_indx_delete.h"

#include <algorithm>
#include <cstring>

#include "index/bxd_indx_entries.h"
#include "index/bxd_indx_info.h"
#include "index/bxd_indx_of_box.h"
#include "storage/bxd_data.h"

namespace {

u8 Discharged(u8 attr) { return static_cast<u8>(attr & ~kIxPresenceBits); }

// --- one entry goes --------------------------------------------------------------------------------------

// An index file in memory.
class IndexImage {
public:
    explicit IndexImage(u8 fid) : fid_(fid), size_(BxdFileSize(fid)), file_(size_) {}

    u32 load()
    {
        if (!file_ || size_ < kIxTablePos + 4) { return BXD_ERR_FAIL; }
        u32 status = bxd::ReadExactly(fid_, 0, file_.data(), size_);
        if (status != BXD_OK) { return status; }
        bxd::EntryTable table = {};
        status = bxd::FindTableToChange(fid_, &table);
        if (status != BXD_OK || table.pos == kUnset) { return status; }
        if (uint64_t{table.pos} + kIxCountSize > size_) { return BXD_ERR_FAIL; }
        tablePos_ = table.pos;
        count_ = table.count;
        return BXD_OK;
    }

    // The place of a card's entry; 66 where there is none.
    u32 find(u16 cardId, u32* at) const
    {
        *at = tablePos_ + kIxCountSize;
        for (u32 n = 0; n < count_; ++n, *at += kIxEntrySize) {
            bxd::EntryState state = stateAt(*at);
            if (state == bxd::EntryState::kMissing) { return BXD_ERR_FAIL; }
            if (state == bxd::EntryState::kEndMark) { return BXD_ERR_NOTFOUND; }
            if (GET_2BYTES(file_.data() + *at) == cardId) { return BXD_OK; }
        }
        return BXD_ERR_NOTFOUND;
    }

    // Closes the entry up, and writes the file. What a visible entry has hidden behind it comes to light.
    u32 remove(u32 at)
    {
        u8* entry = file_.data() + at;
        u32 next = at + kIxEntrySize;
        bool isLast =
            next >= bxd::EntryPosition(tablePos_, count_ + 1u) || stateAt(next) != bxd::EntryState::kEntry;
        if (!bxd::IsDoubly(entry) && !isLast) {
            u8* flags = file_.data() + next + kIxEntryFlags;
            *flags = static_cast<u8>(*flags & ~kIxDoublyBit);
        }
        std::memmove(entry, entry + kIxEntrySize, size_ - next);
        PUT_2BYTES(file_.data() + tablePos_, static_cast<u16>(count_ - 1));
        size_ -= kIxEntrySize;
        u32 status = bxd::WriteAll(fid_, 0, file_.data(), size_);
        return status == BXD_OK ? BxdFileCut(fid_, size_) : status;
    }

    // After a failed write: the table in the file is the old one.
    bool isUntouched() const
    {
        u16 count = 0;
        return bxd::ReadHalf(fid_, tablePos_, &count) == BXD_OK && count == count_;
    }

private:
    bxd::EntryState stateAt(u32 at) const
    {
        return bxd::StateOfEntry(file_.data() + at, at < size_ ? size_ - at : 0);
    }

    u8 fid_;
    u32 size_;
    bxd::HeapBlock file_;
    u32 tablePos_ = kUnset;
    u16 count_ = 0;
};

// *retry says that the file is as it was.
u32 RemoveInMemory(u8 fid, u16 cardId, bool* retry)
{
    *retry = true;
    IndexImage index(fid);
    u32 status = index.load();
    if (status != BXD_OK) { return status; }
    u32 at = 0;
    status = index.find(cardId, &at);
    if (status == BXD_ERR_NOTFOUND) { return BXD_OK; }
    if (status != BXD_OK) { return status; }
    status = index.remove(at);
    if (status != BXD_OK) { *retry = index.isUntouched(); }
    return status;
}

u32 RemoveInFile(u8 fid, u16 cardId)
{
    IndexCardPos found = {};
    u32 status = SearchIndexCardID(fid, cardId, &found);
    if (status != BXD_OK) { return status; }
    bxd::EntryTable table = {};
    status = bxd::FindTableToChange(fid, &table);
    if (status != BXD_OK || table.count == 0) { return status; }
    status = bxd::WriteHalf(fid, table.pos, static_cast<u16>(table.count - 1));
    if (status != BXD_OK) { return status; }

    u32 size = BxdFileSize(fid);
    u32 behind = found.pos + kIxEntrySize;
    if (behind > size) { return BXD_ERR_FAIL; }
    status = FlashTransferF(fid, behind, found.pos, size - behind, nullptr, 0);
    if (status == BXD_OK) { status = DeleteDoublyBit(fid, found.pos); }
    return status == BXD_OK ? BxdFileCut(fid, size - kIxEntrySize) : status;
}

// --- the indexes of a box ----------------------------------------------------------------------------------

enum class IndexKinds { kAll, kDischarge };

// Calls work(fid, isDischarge) with each index of the box open, or with each that is of these kinds. A 66 of
// it means that an index holds nothing of what is looked for; any other failure ends the walk.
template <typename Work>
u32 WithEachIndex(const BoxRecord* box, Work work, IndexKinds kinds = IndexKinds::kAll)
{
    bxd::BoxIndexes indexes;
    u32 status = indexes.load(box);
    if (status != BXD_OK) { return status == BXD_ERR_NOTFOUND ? static_cast<u32>(BXD_OK) : status; }
    for (; !indexes.atEnd(); indexes.next()) {
        if (kinds == IndexKinds::kDischarge && !indexes.isDischarge()) { continue; }
        bxd::OpenFile index;
        status = indexes.open(BXD_MODE_WRITE, &index);
        if (status == BXD_OK) { status = work(index.fid(), indexes.isDischarge()); }
        if (status != BXD_OK && status != BXD_ERR_NOTFOUND) { return status; }
    }
    return BXD_OK;
}

u32 DischargeCard(u8 indexFid, u16 cardId)
{
    IndexCardPos found = {};
    u32 status = SearchIndexCardID(indexFid, cardId, &found);
    if (status != BXD_OK || (found.attr & kIxPresentBit) == 0) { return status; }
    bxd::EntryTable table = {};
    status = bxd::FindTableToChange(indexFid, &table);
    return status == BXD_OK ? ModifyAttrPimDischarge(indexFid, found.pos + kIxEntryAttr) : status;
}

// --- many entries are marked -----------------------------------------------------------------------------

// Marks the selected entries among `entries`, of which `got` bytes were read. *used becomes the bytes before
// the end mark.
u32 DischargeEntries(u8* piece, u32 entries, u32 got, const bxd::AttrFilter& selected, u32* used, bool* ended)
{
    *ended = false;
    for (*used = 0; *used < entries * kIxEntrySize; *used += kIxEntrySize) {
        u8* entry = piece + *used;
        u32 left = got > *used ? got - *used : 0;
        bxd::EntryState state = bxd::StateOfEntry(entry, left);
        if (state == bxd::EntryState::kMissing) { return BXD_ERR_FAIL; }
        *ended = state == bxd::EntryState::kEndMark;
        if (*ended) { return BXD_OK; }
        if (!selected.passes(entry)) { continue; }
        entry[kIxEntryAttr] = Discharged(entry[kIxEntryAttr]);
        u8* next = entry + kIxEntrySize;
        if (*used + 2 * kIxEntrySize <= std::min(got, entries * kIxEntrySize) &&
            bxd::StateOfEntry(next, left - kIxEntrySize) == bxd::EntryState::kEntry) {
            next[kIxEntryFlags] = static_cast<u8>(next[kIxEntryFlags] & ~kIxDoublyBit);
        }
    }
    return BXD_OK;
}

}  // namespace

extern "C" {

u32 FastDeleteCardID(u8 indexFid, u16 cardId)
{
    bool retry = false;
    return RemoveInMemory(indexFid, cardId, &retry);
}

u32 CardidDeleteFromIndex(u8 indexFid, u16 cardId)
{
    bool retry = false;
    u32 status = RemoveInMemory(indexFid, cardId, &retry);
    return status == BXD_OK || !retry ? status : RemoveInFile(indexFid, cardId);
}

u32 ModifyAttrPimDischarge(u8 indexFid, u32 attrPos)
{
    u8 attr = 0;
    u32 status = bxd::ReadExactly(indexFid, attrPos, &attr, sizeof attr);
    if (status != BXD_OK || (attr & kIxPresentBit) == 0) { return status; }
    attr = Discharged(attr);
    return bxd::WriteAll(indexFid, attrPos, &attr, sizeof attr);
}

u32 SetPimDiscIndex(u8 indexFid, u8 mask, u8 value, u8 negate)
{
    bxd::EntryTable table = {};
    u32 status = bxd::FindTableToChange(indexFid, &table);
    if (status != BXD_OK || table.count == 0) { return status; }
    bxd::EntryBuffer buffer(table.count);
    if (!buffer) { return BXD_ERR_FAIL; }

    bxd::AttrFilter selected = {mask, value, negate};
    u32 pos = table.entriesPos();
    bool ended = false;
    for (u32 left = table.count; left > 0 && !ended;) {
        u32 entries = std::min(left, buffer.capacity());
        u32 got = entries * kIxEntrySize;
        status = DataReadFromFile(indexFid, static_cast<i32>(pos), buffer.data(), &got);
        if (status != BXD_OK) { return status; }
        u32 used = 0;
        status = DischargeEntries(buffer.data(), entries, got, selected, &used, &ended);
        if (status == BXD_OK) { status = bxd::WriteAll(indexFid, pos, buffer.data(), used); }
        if (status != BXD_OK) { return status; }
        pos += used;
        left -= entries;
    }
    return BXD_OK;
}

u32 CardDeleteFromIndex(const BoxRecord* box, u16 cardId)
{
    if (cardId == 0 || cardId > CARD_ID_NORMAL_MAX) { return BXD_ERR_NOTFOUND; }
    return WithEachIndex(
        box, [cardId](u8 indexFid, bool /*discharge*/) { return CardidDeleteFromIndex(indexFid, cardId); },
        IndexKinds::kDischarge);
}
}

namespace bxd {

u32 RemoveFromIndexes(const BoxRecord* box, u16 cardId)
{
    return WithEachIndex(box, [cardId](u8 indexFid, bool discharge) {
        return discharge ? DischargeCard(indexFid, cardId) : CardidDeleteFromIndex(indexFid, cardId);
    });
}

u32 RemoveSelectedFromIndexes(const BoxRecord* box, u8 mask, u8 value, u8 negate)
{
    return WithEachIndex(box, [=](u8 indexFid, bool discharge) {
        return discharge ? SetPimDiscIndex(indexFid, mask, value, negate)
                         : DeleteAttrIndex(indexFid, mask, value, negate);
    });
}

}  // namespace bxd
