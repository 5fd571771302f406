// SPDX-License-Identifier: MIT
#include "diag/bxd_diag_chain.h"

#include <algorithm>

#include <bxd/diag.h>

#include "box/bxd_card_format.h"
#include "box/bxd_chain_mend.h"
#include "storage/bxd_data.h"

namespace {

constexpr u32 kPiece = 512;        // of a card's length table; nearly every table lies in one
constexpr u32 kBeforeLengths = 4;  // headSize and lengthTableSize, which count in cardLength

// Bytes of a card from its length table's size on, read in pieces.
class CardBytes {
public:
    CardBytes(u8 fid, uint64_t pos) : fid_(fid), begin_(pos) {}

    // `n` bytes from `at` on, counted from where the table's size stands; false where the file ends or a
    // read fails.
    bool take(u32 at, u8* out, u32 n)
    {
        for (u32 i = 0; i < n; ++i) {
            if (!holds(at + i) && !fetch(at + i)) { return false; }
            out[i] = piece_[at + i - first_];
        }
        return true;
    }

private:
    bool holds(u32 at) const { return at >= first_ && at - first_ < count_; }

    bool fetch(u32 at)
    {
        uint64_t pos = begin_ + at;
        if (pos > kFilePositionMax) { return false; }
        first_ = at;
        count_ = kPiece;
        if (DataReadFromFile(fid_, static_cast<i32>(pos), piece_, &count_) != BXD_OK) { count_ = 0; }
        return count_ != 0;
    }

    u8 fid_;
    uint64_t begin_;
    u32 first_ = 0;
    u32 count_ = 0;
    u8 piece_[kPiece] = {};
};

// The sum of the lengths of a table of `size` bytes; false where the last one leaves it or a read fails.
bool SumLengths(CardBytes* card, u32 begin, u32 size, uint64_t* sum)
{
    u32 at = begin;
    while (at < begin + size) {
        u8 field[kLengthFieldMax];
        if (!card->take(at, field, 1)) { return false; }
        u32 width = bxd::LengthFieldSizeAt(field[0]);
        if (at + width > begin + size || !card->take(at, field, width)) { return false; }
        const u8* cursor = field;
        *sum += GetCardItemLength(&cursor);
        at += width;
    }
    return true;
}

// A card of the chain; 0 or the status of its fault.
u32 CheckCard(BoxDiagRun* run, u32 pos, const CardHead& head)
{
    if (head.cardId >= SYSTEM_CARD_ID_MIN && head.cardId <= SYSTEM_CARD_ID_MAX) { ++run->chainSystems; }
    if (head.cardId == CARD_ID_DEAD || head.cardId > CARD_ID_NORMAL_MAX) { return BXD_OK; }
    ++run->chainNormals;
    if (head.cardId > bxd::HeaderHalf(run, kHdMaxCardID)) {
        return bxd::ReportFault(run->file, DiagFault::kChainId);
    }
    if (DataLengthCheck(run->file.fid, pos, head.cardLength, &run->chainDead) != BXD_OK) {
        return bxd::ReportFault(run->file, DiagFault::kLengthTable);
    }
    return BXD_OK;
}

// Where header and tables before the card area end. A chain that ends before that is none.
uint64_t EndOfFront(const BoxDiagRun* run)
{
    uint64_t end = kHeaderSize;
    u32 table = bxd::HeaderWord(run, kHdOffsetTable);
    u32 items = bxd::HeaderWord(run, kHdItemOffset);
    if (table != kUnset) { end = std::max(end, uint64_t{table} + kOffsetTableSize); }
    if (items != kUnset) { end = std::max(end, uint64_t{items} + bxd::HeaderWord(run, kHdItemSize)); }
    return end;
}

// A lost power may leave a chain that ends before the file, and cards that were added behind it since: they
// are good, and a collection joins them to the chain.
bool LeadsBehind(const BoxDiagRun* run, u32 end)
{
    u32 card = kUnset;
    return bxd::FindCardBehind(run->file.fid, end, &card) != BXD_OK || card != kUnset;
}

// The chain ends at `pos`: what the file has behind its end mark goes.
u32 CutTail(BoxDiagRun* run, u32 pos)
{
    u32 end = pos + kEndMarkSize;
    if (run->size <= end) { return BXD_OK; }
    if (pos < EndOfFront(run) || LeadsBehind(run, pos)) {
        return bxd::ReportFault(run->file, DiagFault::kBoxTail);
    }
    u32 status = BxdFileCut(run->file.fid, end);
    if (!run->repair) { return bxd::ReportFault(run->file, DiagFault::kBoxTail); }
    if (status != BXD_OK) { return bxd::ReportFault(run->file, DiagFault::kBoxTail, status); }
    run->limit -= run->size - end;  // what a slot may lead to ends earlier, too
    run->size = end;
    return BXD_OK;
}

u32 WalkChain(BoxDiagRun* run)
{
    uint64_t pos = run->cardOffset;
    for (;;) {
        CardHead head = {};
        u32 status = pos > kFilePositionMax ? static_cast<u32>(BXD_ERR_FAIL)
                                            : ReadCardSize(run->file.fid, static_cast<i32>(pos), &head);
        if (status != BXD_OK) { return bxd::ReportFault(run->file, DiagFault::kChainHead, status); }
        if (head.cardId == END_MARK_ID) { return CutTail(run, static_cast<u32>(pos)); }
        status = CheckCard(run, static_cast<u32>(pos), head);
        if (status != BXD_OK) { return status; }
        pos += uint64_t{head.cardLength} + kCardHead;
    }
}

// A box without a card area ends in its items, and there is no mark to look for.
bool HasEndMark(const BoxDiagRun* run)
{
    u32 cards = bxd::HeaderWord(run, kHdCardOffset);
    return bxd::IsPosition(cards) && uint64_t{cards} + kEndMarkSize <= run->size;
}

u32 CheckEndMark(BoxDiagRun* run)
{
    u8 mark[kEndMarkSize] = {};
    u32 pos = run->size - kEndMarkSize;
    u32 read = bxd::ReadForDiag(run->file, pos, mark, sizeof mark);
    if (read != BXD_OK) {
        return bxd::ReportRead(run->file, read, DiagFault::kBoxEndRead, DiagFault::kBoxEndShort);
    }
    if (GET_2BYTES(mark) == END_MARK_ID) { return BXD_OK; }
    if (!run->repair) { return bxd::ReportFault(run->file, DiagFault::kBoxEndMark); }
    u32 status = bxd::WriteHalf(run->file.fid, pos, END_MARK_ID);
    return status == BXD_OK ? status : bxd::ReportFault(run->file, DiagFault::kBoxEndMark, status);
}

}  // namespace

extern "C" {

u32 BoxFileDiagSub_Card(BoxDiagRun* run)
{
    if (run->file.level == BXD_CHECK_CARDS && run->cardOffset != kUnset) {
        u32 status = WalkChain(run);
        if (status != BXD_OK) { return status; }
    }
    return HasEndMark(run) ? CheckEndMark(run) : static_cast<u32>(BXD_OK);
}

u32 DataLengthCheck(u8 fileId, u32 cardPos, u32 cardLength, u32* dead)
{
    CardBytes card(fileId, uint64_t{cardPos} + kLengthTableSizeAt);
    u8 sizeField[sizeof(u16)];
    if (!card.take(0, sizeField, sizeof sizeField)) { return BXD_ERR_FAIL; }
    u32 size = GET_2BYTES(sizeField);
    uint64_t total = uint64_t{size} + kBeforeLengths;
    if (total > cardLength || !SumLengths(&card, sizeof sizeField, size, &total) || total > cardLength) {
        return BXD_ERR_FAIL;
    }
    // The attribute is the first value of every card.
    u8 attribute = 0;
    if (!card.take(sizeof sizeField + size, &attribute, 1)) { return BXD_ERR_FAIL; }
    if ((attribute & kAttrLiveBit) == 0) { ++*dead; }
    return BXD_OK;
}
}
