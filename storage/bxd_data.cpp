// SPDX-License-Identifier: MIT
#include "storage/bxd_data.h"

#include "storage/bxd_file.h"
#include "storage/heapwrapper.h"
#include "storage/stdiohst.h"

#include <cstring>

namespace {

constexpr u8 kErased[kEndMarkSize] = {0xFF, 0xFF};
constexpr u32 kNodesOfWrite = 20;  // what the mark and the write after it may cost

u32 StatusOf(i32 result) { return BxdSetErrorCode(result) & 0xFFFF; }

u32 Smaller(u32 a, u32 b) { return a < b ? a : b; }

// Memory for a transfer: the whole in one piece where that can be had, else by halves down to 512 local
// bytes. One read and one write are what a node of the flash costs.
class TransferBuffer {
public:
    explicit TransferBuffer(u32 wanted)
    {
        for (u32 size = wanted; size > kLocalTransfer; size /= 2) {
            heap_.reset(static_cast<u8*>(malloc(size)));
            if (!heap_) { continue; }
            data_ = heap_.data();
            size_ = size;
            return;
        }
    }
    TransferBuffer(const TransferBuffer&) = delete;
    TransferBuffer& operator=(const TransferBuffer&) = delete;
    ~TransferBuffer() = default;

    u8* data() const { return data_; }
    u32 size() const { return size_; }

private:
    u8 local_[kLocalTransfer];
    bxd::HeapBlock heap_;
    u8* data_ = local_;
    u32 size_ = kLocalTransfer;
};

struct Move {
    u8 fid;
    u32 src;
    u32 dst;
    u32 count;
    const void* data;
    u32 dataLen;

    bool up() const { return src < dst; }
    uint64_t end() const { return uint64_t{dst} + count + (up() ? 0 : dataLen); }
    u32 dataPosition() const { return up() ? dst - dataLen : dst + count; }
    // What no file can be asked for: positions beyond 32 bits, or a source that is not there.
    bool fits() const
    {
        if (end() > UINT32_MAX || uint64_t{count} + dataLen > UINT32_MAX) { return false; }
        if (up() && dataLen > dst) { return false; }
        return count == 0 || uint64_t{src} + count <= BxdFileSize(fid);
    }
};

u32 SecureEnd(u8 fid, u32 end)
{
    u32 size = BxdFileSize(fid);
    if (end <= size) { return BXD_OK; }
    return end - size >= kEndMarkSize ? PreWriteEndMark(fid, end - kEndMarkSize)
                                      : PreWriteOneByte(fid, end - 1);
}

u32 MovePiece(u8 fid, u32 src, u32 dst, u8* buffer, u32 size)
{
    u32 status = bxd::ReadExactly(fid, src, buffer, size);
    return status == BXD_OK ? bxd::WriteAll(fid, dst, buffer, size) : status;
}

// Block and data go out in one write.
u32 MoveWhole(const Move& move, u8* buffer)
{
    u8* block = move.up() ? buffer + move.dataLen : buffer;
    u8* inserted = move.up() ? buffer : buffer + move.count;
    if (move.dataLen != 0) { memcpy(inserted, move.data, move.dataLen); }
    u32 status = bxd::ReadExactly(move.fid, move.src, block, move.count);
    if (status != BXD_OK) { return status; }
    u32 place = move.up() ? move.dst - move.dataLen : move.dst;
    return bxd::WriteAll(move.fid, place, buffer, move.count + move.dataLen);
}

u32 MoveFromTail(const Move& move, const TransferBuffer& buffer)
{
    u32 left = move.count;
    while (left > 0) {
        u32 piece = Smaller(left, buffer.size());
        left -= piece;
        u32 status = MovePiece(move.fid, move.src + left, move.dst + left, buffer.data(), piece);
        if (status != BXD_OK) { return status; }
    }
    return BXD_OK;
}

u32 MoveFromHead(const Move& move, const TransferBuffer& buffer)
{
    for (u32 done = 0; done < move.count;) {
        u32 piece = Smaller(move.count - done, buffer.size());
        u32 status = MovePiece(move.fid, move.src + done, move.dst + done, buffer.data(), piece);
        if (status != BXD_OK) { return status; }
        done += piece;
    }
    return BXD_OK;
}

u32 MoveInPieces(const Move& move, const TransferBuffer& buffer)
{
    bool overlaps = move.up() && uint64_t{move.src} + move.count > move.dst;
    u32 status = overlaps ? MoveFromTail(move, buffer) : MoveFromHead(move, buffer);
    // Last, since the data may go where the block was read from.
    return status == BXD_OK ? bxd::WriteAll(move.fid, move.dataPosition(), move.data, move.dataLen) : status;
}

// Makes room for a write of `length` erased bytes at pos and writes them.
i32 WriteErased(u8 fid, u32 pos, u32 length)
{
    u32 size = BxdFileSize(fid);
    u32 growth = uint64_t{pos} + length >= size ? pos + length - size : 0;
    if (BxdFileCheckFsSpace(0, kNodesOfWrite, growth) == 0) { return BXD_HOST_NOSPACE; }
    return BxdFileWrite(fid, pos, kErased, static_cast<i32>(length));
}

// --- flash buffer ----------------------------------------------------------------------------------------

void ResetBuffer(BxdFlashBuffer* b)
{
    b->cur = b->base;
    b->room = b->size;
    b->skip = 0;
}

// Writes the whole block and starts it anew, also when the write has failed.
u32 FlushFull(BxdFlashBuffer* b)
{
    u32 count = b->size > b->skip ? b->size - b->skip : 0;
    u32 status = bxd::WriteAll(b->fid, b->filePos, b->base + b->skip, count);
    if (status == BXD_OK) { b->filePos += count; }
    ResetBuffer(b);
    return status;
}

// Reads `n` bytes at src straight to where the next byte goes.
u32 Gather(BxdFlashBuffer* b, u32 src, u32 n)
{
    u32 status = bxd::ReadExactly(b->fid, src, b->cur, n);
    if (status != BXD_OK) { return status; }
    b->cur += n;
    b->room -= n;
    return BXD_OK;
}

// Makes the file end at `end`. One that does so already is not cut: that would cost more than the question.
u32 EndFileAt(u8 fid, u32 end)
{
    const BxdFINFO* record = gBxdFINFOTable[fid];
    bool endsThere = record != nullptr && record->size == end && FileSize(record->host) == end;
    return endsThere ? static_cast<u32>(BXD_OK) : BxdFileCut(fid, end);
}

}  // namespace

namespace bxd {

u32 SettleEnd(u8 fid, u32 status, u32 pos, u32 oldSize)
{
    constexpr u8 kMark[kEndMarkSize] = {0xFF, 0xFF};
    if (status == BXD_OK || status == BXD_ERR_NOSPACE) { return status; }
    if (pos > oldSize || oldSize - pos > kEndMarkSize) { return status; }
    // Without its end mark the file must not be cut: the chain may end at the new mark by now.
    if (pos == oldSize || WriteAll(fid, pos, kMark, sizeof kMark) == BXD_OK) {
        (void)BxdFileCut(fid, oldSize);
    }
    return status;
}

u32 PlaceEndMark(u8 fid, u32 pos)
{
    i32 written = WriteErased(fid, pos, kEndMarkSize);
    return written < static_cast<i32>(kEndMarkSize) ? StatusOf(written) : u32{BXD_OK};
}

}  // namespace bxd

extern "C" {

u32 FlashTransferF(u8 fid, u32 src, u32 dst, u32 count, const void* data, u32 dataLen)
{
    if (src == dst) { return BXD_OK; }
    const Move move = {fid, src, dst, count, data, dataLen};
    if (!move.fits()) { return BXD_ERR_FAIL; }
    u32 status = SecureEnd(fid, static_cast<u32>(move.end()));
    if (status != BXD_OK) { return status; }
    TransferBuffer buffer(count + dataLen);
    bool whole = count > 0 && count + dataLen <= buffer.size();
    return whole ? MoveWhole(move, buffer.data()) : MoveInPieces(move, buffer);
}

u32 ExtendTransfer(u8 fid, u32 pos, u32 gap)
{
    if (gap == 0) { return BXD_OK; }
    u32 size = BxdFileSize(fid);
    if (size <= pos || gap > UINT32_MAX - pos) { return BXD_ERR_FAIL; }
    return FlashTransferF(fid, pos, pos + gap, size - pos, nullptr, 0);
}

u32 CutTransfer(u8 fid, u32 pos, u32 cut)
{
    if (cut == 0) { return BXD_OK; }
    u32 size = BxdFileSize(fid);
    if (size <= uint64_t{pos} + cut) { return BXD_ERR_FAIL; }
    u32 status = FlashTransferF(fid, pos + cut, pos, size - pos - cut, nullptr, 0);
    return status == BXD_OK ? BxdFileCut(fid, size - cut) : status;
}

u32 DataReadAndWriteFile(u8 srcFid, u8 dstFid, u32 count, u32 dstOffset)
{
    if (count == 0) { return BXD_OK; }
    // The source's size bounds the buffer, not the copy: a count from a damaged file must not ask for memory.
    TransferBuffer buffer(Smaller(count, BxdFileSize(srcFid)));
    for (u32 done = 0; done < count;) {
        i32 got =
            BxdFileRead(srcFid, static_cast<i32>(done), buffer.data(), Smaller(count - done, buffer.size()));
        if (got < 1) { return BXD_ERR_FAIL; }
        i32 put = BxdFileWrite(dstFid, dstOffset + done, buffer.data(), got);
        if (put < 1) { return BXD_ERR_FAIL; }
        done += static_cast<u32>(put);
    }
    return BXD_OK;
}

u32 PreWriteOneByte(u8 fid, u32 pos)
{
    i32 written = WriteErased(fid, pos, 1);
    if (written == 0) { return BXD_ERR_NOSPACE; }
    return written < 0 ? StatusOf(written) : EndFileAt(fid, pos + 1);
}

u32 PreWriteEndMark(u8 fid, u32 pos)
{
    u32 status = bxd::PlaceEndMark(fid, pos);
    return status == BXD_OK ? EndFileAt(fid, pos + kEndMarkSize) : status;
}

u32 BxdFileFlashBufferOut(BxdFlashBuffer* b, const void* src, u32 n)
{
    const u8* from = static_cast<const u8*>(src);
    if (b->size == 0 && n > 0) { return BXD_ERR_FAIL; }
    while (n > b->room) {
        u32 piece = b->room;
        memcpy(b->cur, from, piece);
        from += piece;
        n -= piece;
        u32 status = FlushFull(b);
        if (status != BXD_OK) { return status; }
    }
    if (n == 0) { return BXD_OK; }
    memcpy(b->cur, from, n);
    b->cur += n;
    b->room -= n;
    return BXD_OK;
}

u32 BxdFlashAll(BxdFlashBuffer* b)
{
    if (b->size <= uint64_t{b->room} + b->skip) { return BXD_OK; }
    u32 count = b->size - b->room - b->skip;
    u32 status = bxd::WriteAll(b->fid, b->filePos, b->base + b->skip, count);
    if (status != BXD_OK) { return status; }
    b->filePos += count;
    ResetBuffer(b);
    return BXD_OK;
}

u32 CopyCardPartial(BxdFlashBuffer* b, u32 src, u32 n)
{
    while (n > 0) {
        u32 piece = Smaller(n, b->room);
        u32 status = Gather(b, src, piece);
        if (status != BXD_OK) { return status; }
        src += piece;
        n -= piece;
        if (b->room > 0) { continue; }
        status = CopyCardPartialSub(b, src);
        if (status != BXD_OK) { return status; }
        if (b->room == 0) { return BXD_ERR_FAIL; }  // a block without room for data would never move on
    }
    return BXD_OK;
}

u32 CopyCardPartialSub(BxdFlashBuffer* b, u32 readPos)
{
    u32 gathered = b->size > b->skip ? b->size - b->skip : 0;
    if (b->filePos >= readPos || uint64_t{b->filePos} + gathered <= readPos) {
        b->room = 0;
        return BxdFlashAll(b);
    }
    // The file is being rewritten onto itself: what lies behind readPos is not read yet.
    u32 count = readPos - b->filePos;
    u32 kept = gathered - count;
    u32 status = bxd::WriteAll(b->fid, b->filePos, b->base + b->skip, count);
    if (status != BXD_OK) { return status; }
    memmove(b->base, b->base + b->skip + count, kept);
    b->filePos += count;
    b->cur = b->base + kept;
    b->room = count + b->skip;
    b->skip = 0;
    return BXD_OK;
}
}
