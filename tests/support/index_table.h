// SPDX-License-Identifier: MIT
// A second opinion on the card table of an index file: it puts index files together byte by byte, takes them
// apart again, and knows which entries a filter sees, without a line of the library.
//
//   IndexTable index = IndexTable::Of({{7, 0x47}, {9, 0x47, 1}});    two entries, the second hidden
//   index.mode = 1;                                                  a record 32
//   Bytes file = index.build();
//   IndexTable read = IndexTable::Load(file);                        what stands up to the end mark
#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "tests/support/box_case.h"

namespace boxtest {

constexpr const char* kIndex = "F0:TEST.IDX";
constexpr std::size_t kTablePosAt = 4;

struct TableEntry {
    std::uint32_t id = 0;
    std::uint32_t attr = 0x47;
    std::uint32_t flags = 0;

    bool operator==(const TableEntry&) const = default;
};

using TableEntries = std::vector<TableEntry>;

inline void PrintTo(const TableEntry& e, std::ostream* out)
{
    *out << e.id << "/" << std::hex << e.attr << "/" << e.flags << std::dec;
}

inline std::uint32_t WordAt(const Bytes& file, std::size_t at, unsigned size)
{
    std::uint32_t value = 0;
    for (unsigned n = 0; n < size; n++) { value |= std::uint32_t{file.at(at + n)} << (8 * n); }
    return value;
}

inline void PutAt(Bytes& file, std::size_t at, std::uint32_t value, unsigned size)
{
    for (unsigned n = 0; n < size; n++) { file.at(at + n) = static_cast<std::uint8_t>(value >> (8 * n)); }
}

struct IndexTable {
    TableEntries entries;
    bool table = true;
    std::uint8_t kind = 27;
    int mode = -1;            // record 32, -1 for none
    std::size_t filling = 0;  // bytes of a record between header and table
    std::uint32_t count = 0;  // read back: what the table says

    static IndexTable Of(TableEntries entries)
    {
        IndexTable index;
        index.entries = std::move(entries);
        return index;
    }

    // Where the table begins, or would.
    std::size_t tablePos() const
    {
        return 24 + 5 + 4 + (mode >= 0 ? 4 : 0) + (filling > 0 ? 3 + filling : 0) + 1;
    }
    // Where entry n (from 1) begins.
    std::size_t entryAt(std::size_t n) const { return tablePos() + 2 + (n - 1) * 4; }

    Bytes build() const
    {
        Bytes file = {0xFF, 0, kind, 0x30, 0xFF, 0xFF, 0xFF, 0xFF, 24, 0, 0, 0};
        file.resize(20, 0xFF);
        file[12] = 0;
        file.resize(24, 0);
        file = file + Bytes{33, 2, 0, 'e', 'n'} + Bytes{34, 1, 0, 1};
        if (mode >= 0) { file = file + Bytes{32, 1, 0, static_cast<std::uint8_t>(mode)}; }
        if (filling > 0) {
            file = file +
                   Bytes{200, static_cast<std::uint8_t>(filling), static_cast<std::uint8_t>(filling >> 8)};
            file.resize(file.size() + filling, 0x5A);
        }
        file.push_back(0);
        if (!table) { return file; }
        PutAt(file, kTablePosAt, static_cast<std::uint32_t>(file.size()), 4);
        std::size_t at = file.size();
        file.resize(at + 2 + entries.size() * 4 + 2, 0xFF);
        PutAt(file, at, static_cast<std::uint32_t>(entries.size()), 2);
        at += 2;
        for (const TableEntry& e : entries) {
            PutAt(file, at, e.id, 2);
            file[at + 2] = static_cast<std::uint8_t>(e.attr);
            file[at + 3] = static_cast<std::uint8_t>(e.flags);
            at += 4;
        }
        return file;
    }

    // The entries up to the end mark; the file must have one.
    static IndexTable Load(const Bytes& file)
    {
        IndexTable index;
        std::size_t at = WordAt(file, kTablePosAt, 4);
        index.table = at != kNone;
        if (!index.table) { return index; }
        index.count = WordAt(file, at, 2);
        for (at += 2; WordAt(file, at, 2) != 0xFFFF; at += 4) {
            index.entries.push_back({WordAt(file, at, 2), file.at(at + 2), file.at(at + 3)});
        }
        return index;
    }
};

// A filter as an application gives it, and the entries that it sees.
struct TestFilter {
    std::uint8_t mask = 0;
    std::uint8_t value = 0;
    std::uint8_t invert = 0;

    bool sees(const TableEntry& e) const
    {
        if ((e.flags & 1) != 0) { return false; }
        const std::uint32_t wanted = (mask & 0x40) != 0 ? value ^ 0x40u : value;
        const bool equal = (e.attr & mask) == wanted;
        return invert != 0 ? !equal : equal;
    }
};

inline const std::vector<TestFilter>& TestFilters()
{
    static const std::vector<TestFilter> filters = {
        {0, 0, 0},        // all
        {0, 0, 1},        // none
        {0x40, 0x40, 0},  // whose stored bit is clear
        {0x40, 0, 0},     // whose stored bit is set
        {0x40, 0, 1},     // and those for which that is not so
        {0x80, 0x80, 0},  // no bit turned round
        {0xC3, 0x41, 0},  // several bits, one of them turned round
        {0x0F, 0x07, 7},  // any value other than 0 inverts
        {0x0F, 0x40, 0},  // a value that the mask lacks lets none pass
    };
    return filters;
}

// Entries with all kinds of attributes, of which `hidden` of 16 have the doubly bit.
inline TableEntries SomeEntries(std::size_t count, unsigned hidden = 3)
{
    TableEntries entries(count);
    std::uint32_t x = 0x2545F491;
    for (std::size_t n = 0; n < count; n++) {
        x = x * 1664525u + 1013904223u;
        entries[n].id = static_cast<std::uint32_t>(n * 7 % 65279 + 1);
        entries[n].attr = (x >> 24) & 0xFF;
        entries[n].flags = ((x >> 16) & 15) < hidden ? 1 : 0;
    }
    return entries;
}

inline const std::vector<std::size_t>& TestSizes()
{
    static const std::vector<std::size_t> sizes = {0, 1, 2, 127, 128, 129, 1000, 65535};
    return sizes;
}

// Numbers that a test of a table starts from: all of a small one, the ends, the borders of the pieces that
// are read and some between of a big one; and numbers of no entry.
inline std::vector<std::uint32_t> TestNumbers(std::size_t count, std::size_t all = 130)
{
    std::vector<std::uint32_t> numbers = {0, 65534, 65535};
    const std::size_t step = count <= all ? 1 : count / 9;
    for (std::size_t n = 1; n <= count; n += step) { numbers.push_back(static_cast<std::uint32_t>(n)); }
    for (std::size_t n :
         {std::size_t{127}, std::size_t{128}, std::size_t{129}, count - 1, count, count + 1}) {
        if (n >= 1 && n < 65535) { numbers.push_back(static_cast<std::uint32_t>(n)); }
    }
    return numbers;
}

class TableCase : public BoxCase {
protected:
    void putIndex(const IndexTable& index) const { put(index.build(), kIndex); }
    void putEntries(TableEntries entries) const { putIndex(IndexTable::Of(std::move(entries))); }
    Bytes file() const { return get(kIndex); }
    IndexTable index() const { return IndexTable::Load(file()); }
    TableEntries entries() const { return index().entries; }
};

}  // namespace boxtest
