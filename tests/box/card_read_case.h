// SPDX-License-Identifier: MIT
// What the tests of reading share: boxes whose cards tell their ids, and a read with its answer in one value.
#pragma once

#include <algorithm>
#include <ostream>

#include "storage/heapwrapper.h"
#include "tests/support/box_case.h"

namespace boxtest {

// What a read gave.
struct Got {
    u32 status;
    u32 len;
    Bytes data;  // what was delivered

    bool operator==(const Got&) const = default;
};

inline void PrintTo(const Got& got, std::ostream* os)
{
    *os << "status " << got.status << ", length " << got.len << ", data \"" << Text(Slice(got.data, 0, 40))
        << "\"";
}

inline constexpr u8 kUntouched = 0xA7;

// Reads with so much room, in a block of exactly that size.
inline Got Read(BoxHandle box, u32 id, const char* tag, u32 room)
{
    const CardDescriptor key = Key(id, tag);
    Got got{0, room, Bytes(room, kUntouched)};
    got.status = _CardRead(box, &key, got.data.data(), &got.len);
    got.data.resize(std::min(got.len, room));
    return got;
}

inline Got ReadAt(BoxHandle box, u32 id, const char* tag, u32 want, u32 offset)
{
    const CardDescriptor key = Key(id, tag);
    Got got{0, want, Bytes(want, kUntouched)};
    got.status = _CardOffsetRead(box, &key, got.data.data(), &got.len, offset);
    got.data.resize(std::min(got.len, want));
    return got;
}

inline Got Whole(const Bytes& value) { return {0, static_cast<u32>(value.size()), value}; }

// The status of a read that fails.
inline u32 Status(BoxHandle box, u32 id, const char* tag = "I000") { return Read(box, id, tag, 64).status; }

// The value that card `id` of a numbered box has in its fifth item.
inline Bytes Numbered(u32 id) { return B("card " + std::to_string(id)); }

// Cards 1 to `count`, each with a value that tells its id.
inline BoxBuilder NumberedBox(u32 count)
{
    BoxBuilder box(NumberedItems(6));
    for (u32 id = 1; id <= count; id++) {
        box.card(id, box.row({{"I000", Numbered(id)}, {"I001", B("tail")}}));
    }
    return box;
}

// One card, id 1, with these values.
inline BoxBuilder OneCard(const std::vector<std::pair<std::string, Bytes>>& values, const CardForm& form = {})
{
    BoxBuilder box(NumberedItems(7));
    box.card(1, box.row(values), form);
    return box;
}

// Gives an open box a card under edit in memory.
inline void LoadImage(BoxRecord* record, u32 id, const Bytes& image)
{
    record->tmpCardWork = reinterpret_cast<u8**>(NewHeapHandle(static_cast<u32>(image.size())));
    record->tmpCardWorkSize = static_cast<u32>(image.size());
    std::memcpy(*record->tmpCardWork, image.data(), image.size());
    record->tmpCardId = id;
    record->tmpCardState = kTmpCardInRam;
}

}  // namespace boxtest
