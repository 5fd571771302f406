// SPDX-License-Identifier: MIT
#include "box/bxd_garb_measure.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "box/bxd_card_format.h"
#include "box/bxd_chain_mend.h"
#include "box/bxd_garb.h"
#include "storage/bxd_data.h"

namespace {

constexpr u32 kReadMost = 16384;  // bytes of the buffer that the walk reads through
constexpr u32 kReadLeast = 2048;  // below it the walk reads head by head

// What a walk sums up.
class Measure {
public:
    void meet(u32 pos, u32 total, u16 cardId)
    {
        if (cardId == CARD_ID_DEAD) {
            garbage_ += total;
            if (runStart_ == 0) { runStart_ = pos; }
            return;
        }
        runStart_ = 0;
        if (cardId <= CARD_ID_NORMAL_MAX) { maxId_ = std::max(maxId_, cardId); }
    }

    // The walk has ended at `end`: dead cards before it go. False when that failed; they stay then.
    bool cutTail(u8 fid, u32 end)
    {
        if (runStart_ == 0) { return true; }
        u32 status = bxd::WriteHalf(fid, runStart_, END_MARK_ID);
        if (status == BXD_OK) { status = BxdFileCut(fid, runStart_ + kEndMarkSize); }
        if (status != BXD_OK) {
            (void)bxd::WriteHalf(fid, runStart_, CARD_ID_DEAD);
            return false;
        }
        tail_ = end - runStart_;
        garbage_ -= tail_;
        return true;
    }

    u32 garbage() const { return garbage_; }

    // Hands the results out; each pointer but `tail` may be null.
    void store(u32* garbage, u32* tail, u16* maxId) const
    {
        if (garbage != nullptr) { *garbage = garbage_; }
        if (maxId != nullptr) { *maxId = maxId_; }
        *tail = tail_;
    }

private:
    u32 garbage_ = 0;
    u32 tail_ = 0;
    u32 runStart_ = 0;  // first card of the dead run that the walk is in, 0 outside of one
    u16 maxId_ = 0;
};

// The heads of the chain through one buffer: a body that passes the buffer's end is not read.
class HeadReader {
public:
    HeadReader(u8 fid, u32 start, u32 end) : fid_(fid), start_(start), end_(end)
    {
        size_ = std::min(end - start, kReadMost);
        buffer_.reset(static_cast<u8*>(std::malloc(size_)));
        while (!buffer_ && size_ / 2 >= kReadLeast) {
            size_ /= 2;
            buffer_.reset(static_cast<u8*>(std::malloc(size_)));
        }
    }

    explicit operator bool() const { return static_cast<bool>(buffer_); }

    // The bytes of the file at `pos`: the six of a head, or as many as there are.
    u32 at(u32 pos, const u8** bytes, u32* count)
    {
        *count = std::min(kCardHead, end_ - pos);
        u32 status = pos - start_ + *count > have_ ? refill(pos) : u32{BXD_OK};
        *bytes = buffer_.data() + (pos - start_);
        return status;
    }

private:
    // Reads on at `pos`. Bytes of it that are in hand move to the buffer's start.
    u32 refill(u32 pos)
    {
        u32 kept = pos - start_ < have_ ? have_ - (pos - start_) : 0;
        if (kept > 0) { std::memmove(buffer_.data(), buffer_.data() + (pos - start_), kept); }
        u32 more = std::min(size_ - kept, end_ - pos - kept);
        start_ = pos;
        have_ = kept;
        u32 status = bxd::ReadExactly(fid_, pos + kept, buffer_.data() + kept, more);
        if (status == BXD_OK) { have_ += more; }
        return status;
    }

    u8 fid_;
    u32 start_;  // position of the buffer's first byte
    u32 end_;    // of the file
    u32 size_ = 0;
    u32 have_ = 0;
    bxd::HeapBlock buffer_;
};

// Puts the cards of a walk into a list, where one is wanted.
class Lister {
public:
    // False without memory.
    bool begin(bool wanted)
    {
        if (wanted) { *list_.out() = block_ = CreateCardTable(); }
        return !wanted || block_ != nullptr;
    }
    bool add(u32 pos, u32 total, u16 cardId)
    {
        if (!list_) { return true; }
        block_ = PutCardTable(block_, pos, total, cardId, &next_);
        return block_ != nullptr;
    }
    // Gives the list up.
    CardTable* release() { return std::exchange(*list_.out(), nullptr); }

private:
    bxd::CardList list_;
    CardTable* block_ = nullptr;
    u32 next_ = 0;
};

// The walk ends at the end mark, or where the file ends behind a card. *end is where.
u32 WalkChain(HeadReader* heads, u32 start, u32 fileSize, Measure* sums, Lister* list, u32* end)
{
    for (u32 pos = start;;) {
        const u8* head = nullptr;
        u32 count = 0;
        u32 status = heads->at(pos, &head, &count);
        if (status != BXD_OK) { return status; }
        *end = pos;
        if (count >= kEndMarkSize && GET_2BYTES(head) == END_MARK_ID) { return BXD_OK; }
        if (count < kCardHead) { return BXD_ERR_FAIL; }

        u16 cardId = GET_2BYTES(head);
        uint64_t next = static_cast<uint64_t>(pos) + kCardHead + GET_4BYTES(head + kCardLengthAt);
        if (next > fileSize) { return BXD_ERR_FAIL; }
        u32 total = static_cast<u32>(next) - pos;
        sums->meet(pos, total, cardId);
        if (cardId != CARD_ID_DEAD && !list->add(pos, total, cardId)) { return BXD_ERR_FAIL; }
        pos = *end = static_cast<u32>(next);
        if (pos == fileSize) { return BXD_OK; }
    }
}

// Head by head, and the sum to the header: there is no list of the cards then.
u32 MeasureSlowly(u8 fid, u32* garbage, u32* tail, u32 start, u16* maxId)
{
    u32 sum = 0;
    u32 status = GetGarbageSize(fid, &sum, tail, start, maxId);
    if (status != BXD_OK) { return status; }
    if (garbage != nullptr) { *garbage = sum; }
    return WriteBoxGarbageSize(fid, sum);
}

// No card lies before the end of an empty box, nor behind the end of the file.
bool CanStartAt(u32 start, u32 fileSize) { return start >= kNewBoxSize && start < fileSize; }

}  // namespace

extern "C" {

CardTable* CreateCardTable() { return static_cast<CardTable*>(std::calloc(1, sizeof(CardTable))); }

CardTable* PutCardTable(CardTable* block, u32 pos, u32 total, u16 cardId, u32* i)
{
    if (*i >= kCardRecords) {
        block->next = CreateCardTable();
        if (block->next == nullptr) { return nullptr; }
        block = block->next;
        *i = 0;
    }
    block->records[(*i)++] = {pos, total, cardId};
    return block;
}

CardTable* GetCardTable(CardTable* block, u32* pos, u32* total, u16* cardId, u32* i)
{
    if (*i >= kCardRecords) {
        block = block->next;
        if (block == nullptr) {
            *pos = 0;
            return nullptr;
        }
        *i = 0;
    }
    const CardRecord& record = block->records[(*i)++];
    *pos = record.position;
    *total = record.total;
    *cardId = record.cardId;
    return block;
}

void DisposeCardTable(CardTable* table)
{
    while (table != nullptr) {
        CardTable* next = table->next;
        std::free(table);
        table = next;
    }
}

u32 GetGarbageSize(u8 fid, u32* garbage, u32* tail, u32 start, u16* maxId)
{
    Measure sums;
    u32 fileSize = BxdFileSize(fid);
    if (start != kUnset && !CanStartAt(start, fileSize)) { return BXD_ERR_FAIL; }
    u32 pos = start;
    while (pos < fileSize) {
        CardHead head = {};
        u32 status = bxd::ReadCardHead(fid, pos, &head);
        if (head.cardId == END_MARK_ID) { break; }
        if (status != BXD_OK) { return status; }
        sums.meet(pos, head.total(), head.cardId);
        pos += head.total();
    }
    (void)sums.cutTail(fid, pos);
    sums.store(garbage, tail, maxId);
    return BXD_OK;
}

u32 FastGetGarbageSize(u8 fid, u32* garbage, u32* tail, u32 start, u16* maxId, CardTable** table)
{
    u32 fileSize = BxdFileSize(fid);
    if (start != kUnset && !CanStartAt(start, fileSize)) { return BXD_ERR_FAIL; }
    if (start == kUnset) { return MeasureSlowly(fid, garbage, tail, start, maxId); }
    HeadReader heads(fid, start, fileSize);
    if (!heads) { return MeasureSlowly(fid, garbage, tail, start, maxId); }

    Lister list;
    if (!list.begin(table != nullptr)) { return BXD_ERR_FAIL; }
    Measure sums;
    u32 end = 0;
    u32 status = WalkChain(&heads, start, fileSize, &sums, &list, &end);
    if (status != BXD_OK) { return status; }
    if (uint64_t{end} + kEndMarkSize < fileSize) {
        bool joined = false;
        status = bxd::RejoinChain(fid, end, &joined);
        if (status != BXD_OK) { return status; }
        if (joined) { return FastGetGarbageSize(fid, garbage, tail, start, maxId, table); }
    }
    bool settled = sums.cutTail(fid, end);
    sums.store(garbage, tail, maxId);
    if (table != nullptr && settled) { *table = list.release(); }
    return WriteBoxGarbageSize(fid, sums.garbage());
}

u32 UpdateBoxGarbageSize(u8 fid, u32 drive)
{
    u8 header[kHeaderSize];
    u32 status = bxd::ReadExactly(fid, 0, header, sizeof header);
    if (status != BXD_OK) { return status; }
    u32 cardOffset = GET_4BYTES(header + kHdCardOffset);
    if (cardOffset == kUnset) { return BXD_OK; }

    u32 before = GET_4BYTES(header + kHdGarbageSize);
    if (before == kUnset) { before = 0; }
    u32 now = 0;
    u32 tail = 0;
    status = FastGetGarbageSize(fid, &now, &tail, cardOffset, nullptr, nullptr);
    if (status != BXD_OK) { return status; }
    u32* counter = drive != 0 ? &card_garbage_size_buf : &garbage_size_buf;
    *counter = bxd::Lowered(*counter, before) + now;
    return BXD_OK;
}

u32 CutTailGarbage(const BoxRecord* box, u32 start)
{
    u32 tail = 0;
    u32 status = FastGetGarbageSize(box->fid, nullptr, &tail, start, nullptr, nullptr);
    if (status != BXD_OK) { return status; }
    bool builtIn = box->driveLen == 3 && std::memcmp(box->driveName, "F0:", 3) == 0;
    u32* counter = builtIn ? &garbage_size_buf : &card_garbage_size_buf;
    *counter = bxd::Lowered(*counter, tail);
    return BXD_OK;
}
}
