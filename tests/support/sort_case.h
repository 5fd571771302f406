// SPDX-License-Identifier: MIT
// What the tests of sorting share: a box of cards with a reading, an index of it put there byte by byte, and
// the entries taken back.
#pragma once

#include <array>

#include "tests/support/box_case.h"
#include "tests/support/index_builder.h"

namespace sorttest {

using namespace boxtest;

constexpr const char* kIndex = "F0:TEST.IDX";

// Numbers of the items behind those that every box has, and their types.
constexpr u8 kNameItem = 5;
constexpr u8 kReadItem = 6;
constexpr u8 kNumbItem = 7;
constexpr u8 kSjis = 1;
constexpr u8 kUtf8 = 17;
constexpr u8 kHalf = 8;
constexpr u8 kAscending = 0x82;  // in binary order
constexpr u8 kDescending = 0x83;

inline std::vector<Item> SortItems()
{
    return DefaultItems() + std::vector<Item>{{kSjis, 0, "NAME", "name"},
                                              {kUtf8, 0, "READ", "reading"},
                                              {kHalf, 0, "NUMB", "number"}};
}

// Sort conditions, compiled and as an application gives them.
inline const Bytes kByReading{kUtf8, kReadItem, kAscending};
inline const Bytes kByReadingDown{kUtf8, kReadItem, kDescending};
inline const Bytes kByReadingText = B("READ") + Bytes{0xFE, kAscending, 0};

inline Bytes Half(u32 value) { return {static_cast<u8>(value), static_cast<u8>(value >> 8)}; }

// A reading that stands where `n` does: digits of one width.
inline std::string Reading(u32 n)
{
    std::string digits = std::to_string(n);
    return std::string(8 - digits.size(), '0') + digits;
}

inline std::vector<std::string> Readings(const std::vector<u32>& values)
{
    std::vector<std::string> out;
    for (u32 value : values) { out.push_back(Reading(value)); }
    return out;
}

// Card n has the reading number n - 1, the attribute 0x40 + n mod 16 and the number n.
inline BoxBuilder BoxOf(const std::vector<std::string>& readings)
{
    BoxBuilder box(SortItems());
    if (readings.size() > 500) {
        box.reserveOffsetCard(AppendGroupOf(static_cast<u32>(readings.size())) + 1);
    }
    u32 id = 0;
    for (const std::string& reading : readings) {
        ++id;
        const Bytes attr{static_cast<u8>(0x40 + id % 16)};
        box.card(id, box.row({{"ATTR", attr}, {"READ", B(reading)}, {"NUMB", Half(id)}}));
    }
    return box;
}

// Entries of the cards, visible, each with an attribute of its own.
inline std::vector<IndexEntry> EntriesOf(const std::vector<u32>& ids)
{
    std::vector<IndexEntry> out;
    for (u32 id : ids) { out.push_back({id, static_cast<u8>(id * 7), 0}); }
    return out;
}

inline std::vector<u32> IdsTo(u32 last)
{
    std::vector<u32> out;
    for (u32 id = 1; id <= last; ++id) { out.push_back(id); }
    return out;
}

class SortCase : public BoxCase {
protected:
    void makeBox(const std::vector<std::string>& readings) const { put(BoxOf(readings).build()); }

    // An index of the box with a compiled condition; an empty one is left out.
    static IndexBuilder indexBy(const Bytes& compiled)
    {
        IndexBuilder index;
        index.created().record(1, "TEST.BOX");
        if (!compiled.empty()) { index.record(129, compiled); }
        return index;
    }
    void putIndex(const IndexBuilder& index) const { put(index.build(), kIndex); }
    void putIndex(const std::vector<IndexEntry>& entries, const Bytes& compiled = kByReading) const
    {
        putIndex(indexBy(compiled).entries(entries));
    }

    IndexView view() const
    {
        IndexView taken(get(kIndex));
        EXPECT_EQ(taken.fault(), "");
        return taken;
    }
    std::vector<u32> order() const { return view().cardIds(); }
    std::vector<IndexEntry> entries() const { return view().entries(); }
};

}  // namespace sorttest
