// SPDX-License-Identifier: MIT
#include "storage/bxd_file_ahead.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "storage/bxd_file.h"
#include "storage/stdiohst.h"

namespace bxd {

namespace {

u32 BlocksOf(u32 size) { return size / kAheadBlock + (size % kAheadBlock != 0 ? 1 : 0); }

}  // namespace

ReadAhead* ReadAhead::active_ = nullptr;

ReadAhead::ReadAhead(u8 fid) : fid_(fid)
{
    if (active_ != nullptr) { return; }
    u32 size = BxdFileSize(fid);
    if (size == 0) { return; }
    size_t bytes = BlocksOf(size) * sizeof(u8*);
    table_.reset(static_cast<u8*>(std::malloc(bytes)));
    if (!table_) { return; }
    std::memset(table_.data(), 0, bytes);
    size_ = size;
    active_ = this;
}

ReadAhead::~ReadAhead()
{
    forget();
    if (active_ == this) { active_ = nullptr; }
}

bool ReadAhead::read(u32 offset, void* buf, u32 len)
{
    if (offset > size_ || len > size_ - offset) { return false; }
    u8* out = static_cast<u8*>(buf);
    while (len > 0) {
        const u8* from = block(offset / kAheadBlock);
        if (from == nullptr) { return false; }
        u32 at = offset % kAheadBlock;
        u32 piece = std::min(len, kAheadBlock - at);
        std::memcpy(out, from + at, piece);
        out += piece;
        offset += piece;
        len -= piece;
    }
    return true;
}

void ReadAhead::forget()
{
    u8** blocks = reinterpret_cast<u8**>(table_.data());
    for (u32 i = 0; i < BlocksOf(size_); ++i) { std::free(blocks[i]); }
    table_.reset(nullptr);
    size_ = 0;
}

const u8* ReadAhead::block(u32 number)
{
    u8** place = reinterpret_cast<u8**>(table_.data()) + number;
    if (*place != nullptr || kept_ == kAheadMost) { return *place; }
    u32 start = number * kAheadBlock;
    u32 wanted = std::min(kAheadBlock, size_ - start);
    HeapBlock bytes(wanted);
    u32 count = wanted;
    bool whole =
        bytes &&
        FileOfsRead(gBxdFINFOTable[fid_]->host, static_cast<i32>(start), bytes.data(), &count) == 0 &&
        count == wanted;
    if (!whole) { return nullptr; }
    ++kept_;
    *place = bytes.release();
    return *place;
}

}  // namespace bxd
