// SPDX-License-Identifier: MIT
#include "storage/bxd_file_memo.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "storage/bxd_file.h"
#include "storage/stdiohst.h"

namespace bxd {

ReadMemo* ReadMemo::first_ = nullptr;

ReadMemo::ReadMemo(u8 fid) : fid_(fid)
{
    std::memset(windows_, 0, sizeof windows_);
    if (of(fid) != nullptr) { return; }
    active_ = true;
    next_ = first_;
    first_ = this;
}

ReadMemo::~ReadMemo()
{
    if (!active_) { return; }
    ReadMemo** link = &first_;
    while (*link != this) { link = &(*link)->next_; }
    *link = next_;
}

void ReadMemo::forget(u32 offset, u32 len)
{
    for (Window& window : windows_) {
        // What is behind the end of the file now may have been in it.
        bool touched = uint64_t{window.start} + kMemoWindow > offset && window.start < uint64_t{offset} + len;
        if (touched) { window.size = 0; }
    }
}

bool ReadMemo::read(u32 offset, void* buf, u32 len)
{
    if (len > kMemoWindow - kMemoAlign) { return false; }
    const Window* window = find(offset, len);
    if (window == nullptr) { window = fetch(offset); }
    if (window == nullptr || offset + len > window->start + window->size) { return false; }
    std::memcpy(buf, bytesOf(*window) + (offset - window->start), len);
    return true;
}

const ReadMemo::Window* ReadMemo::find(u32 offset, u32 len) const
{
    auto holds = [=](const Window& window) {
        u32 at = offset - window.start;  // beyond the size for an offset below the start
        return at < window.size && len <= window.size - at;
    };
    if (holds(*latest_)) { return latest_; }
    auto* found = std::find_if(windows_, windows_ + kMemoWindows, holds);
    return found != windows_ + kMemoWindows ? found : nullptr;
}

const ReadMemo::Window* ReadMemo::fetch(u32 offset)
{
    u32 start = offset - offset % kMemoAlign;
    if (!bytes_) { bytes_.reset(static_cast<u8*>(std::malloc(kMemoWindows * kMemoWindow))); }
    if (!bytes_) { return nullptr; }
    Window& window = windows_[oldest_];
    oldest_ = (oldest_ + 1) % kMemoWindows;
    window = {};
    u8* bytes = bytes_.data() + static_cast<u32>(&window - windows_) * kMemoWindow;
    u32 count = ReadStreamAt(gBxdFINFOTable[fid_]->host, start, bytes, kMemoWindow);
    if (count == 0) { return nullptr; }
    window = {start, count};
    latest_ = &window;
    return &window;
}

}  // namespace bxd
