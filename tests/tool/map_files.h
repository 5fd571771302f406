// SPDX-License-Identifier: MIT
// Files for the tests of the map, put together byte by byte, and bytes in memory to map.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/box_builder.h"
#include "tools/bxd/file_map.h"

namespace tool_test {

using boxtest::Bytes;
using boxtest::operator+;

// A box that has every part, one or more of each.
inline boxtest::BoxBuilder FullBox()
{
    boxtest::BoxBuilder box(boxtest::DefaultItems());
    box.card(1, box.row({{"cTTM", boxtest::B("12345")}}));
    box.dead(40);
    box.card(2);
    box.dead(6);
    box.systemCard(1, SYSTEM_CARD_ID_MIN, box.row());
    box.indexTable({{"W.IDX", 1, 27}});
    box.extInfoCard(boxtest::Pattern(33));
    box.card(700);
    box.editCard(box.row());
    return box;
}

struct IndexRecord {
    u8 tag;
    std::string data;
};

struct IndexEntry {
    u16 card;
    u8 flags = 0;
};

// An index file as it is when it has a card table.
inline Bytes IndexFile(u8 fileId, const std::vector<IndexRecord>& records,
                       const std::vector<IndexEntry>& entries)
{
    Bytes info;
    for (const IndexRecord& record : records) {
        info.push_back(record.tag);
        boxtest::Add16(info, static_cast<u32>(record.data.size()));
        info = info + boxtest::B(record.data);
    }
    info.push_back(0);
    Bytes file = {0xFF, 0x00, fileId, 0x30};
    boxtest::Add32(file, static_cast<u32>(24 + info.size()));
    boxtest::Add32(file, 24);
    file = file + Bytes{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0} + info;
    boxtest::Add16(file, static_cast<u32>(entries.size()));
    for (const IndexEntry& entry : entries) {
        boxtest::Add16(file, entry.card);
        file.push_back(0x47);
        file.push_back(entry.flags);
    }
    boxtest::Add16(file, 0xFFFF);
    return file;
}

inline Bytes FullIndex()
{
    return IndexFile(
        27, {{33, "en"}, {34, "\x01"}, {1, "w.box"}, {4, "\x82"}, {32, "\x01"}, {200, ""}, {3, "condition"}},
        {{5}, {7, 1}, {9}});
}

class MemorySource : public tool::ByteSource {
public:
    explicit MemorySource(Bytes bytes) : bytes_(std::move(bytes)) {}
    uint64_t Size() const override { return bytes_.size(); }
    std::size_t Read(uint64_t at, u8* to, std::size_t count) override
    {
        if (at >= bytes_.size()) { return 0; }
        const std::size_t part = std::min(count, bytes_.size() - at);
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(at), part, to);
        return part;
    }

private:
    Bytes bytes_;
};

inline tool::FileMap MapOf(const Bytes& bytes)
{
    MemorySource source(bytes);
    return tool::MapBytes(&source);
}

}  // namespace tool_test
