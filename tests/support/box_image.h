// SPDX-License-Identifier: MIT
// The box file as the tests know it, without a line of the library: bytes, where things stand, and the pieces
// that a file is made of.
//
//    0  header, 72 bytes       the fields of hd
//   72  default offset table   512 words: extended information, 10 system slots, the ids 1 to 500, a link
// 2120  item table             u8 count, entries
//       chain of cards         u16 id, u32 length, body; ... end mark FF FF
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace boxtest {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kNone = 0xFFFFFFFF;

// --- bytes -----------------------------------------------------------------------------------------------

inline Bytes B(std::string_view text)
{
    Bytes out;
    out.reserve(text.size());
    for (char c : text) { out.push_back(static_cast<std::uint8_t>(c)); }
    return out;
}

inline std::string Text(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

inline Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// `n` bytes that differ from place to place and from seed to seed.
inline Bytes Pattern(std::size_t n, std::uint32_t seed = 1)
{
    Bytes out(n);
    std::uint32_t x = seed * 2654435761u + 12345u;
    for (std::uint8_t& b : out) {
        x = x * 1664525u + 1013904223u;
        b = static_cast<std::uint8_t>(x >> 24);
    }
    return out;
}

inline std::uint32_t Get16(const Bytes& b, std::size_t at)
{
    return static_cast<std::uint32_t>(b.at(at)) | static_cast<std::uint32_t>(b.at(at + 1)) << 8;
}

inline std::uint32_t Get32(const Bytes& b, std::size_t at) { return Get16(b, at) | Get16(b, at + 2) << 16; }

inline void Put16(Bytes& b, std::size_t at, std::uint32_t value)
{
    b.at(at) = static_cast<std::uint8_t>(value);
    b.at(at + 1) = static_cast<std::uint8_t>(value >> 8);
}

inline void Put32(Bytes& b, std::size_t at, std::uint32_t value)
{
    Put16(b, at, value);
    Put16(b, at + 2, value >> 16);
}

inline void Add16(Bytes& b, std::uint32_t value)
{
    b.push_back(static_cast<std::uint8_t>(value));
    b.push_back(static_cast<std::uint8_t>(value >> 8));
}

inline void Add32(Bytes& b, std::uint32_t value)
{
    Add16(b, value);
    Add16(b, value >> 16);
}

inline Bytes Slice(const Bytes& b, std::size_t at, std::size_t n)
{
    if (at > b.size()) { return {}; }
    const std::size_t end = at + std::min(n, b.size() - at);
    return Bytes(b.begin() + static_cast<std::ptrdiff_t>(at), b.begin() + static_cast<std::ptrdiff_t>(end));
}

// --- where things stand ----------------------------------------------------------------------------------

// A field of the header: its place and width.
struct Field {
    std::uint32_t at;
    std::uint32_t width;
    const char* name;
};

namespace hd {
constexpr Field fileMark{0, 1, "fileMark"};
constexpr Field reserved1{1, 1, "reserved at 1"};
constexpr Field fileId{2, 1, "fileId"};
constexpr Field fileVersion{3, 1, "fileVersion"};
constexpr Field cardOffset{4, 4, "cardOffset"};
constexpr Field itemOffset{8, 4, "itemOffset"};
constexpr Field itemSize{12, 4, "itemSize"};
constexpr Field offsetTable{16, 4, "offsetTable"};
constexpr Field offsetCard{20, 4, "offsetCard"};
constexpr Field offsetCardSize{24, 4, "offsetCardSize"};
constexpr Field indexTable{28, 4, "indexTable"};
constexpr Field indexTableSize{32, 4, "indexTableSize"};
constexpr Field systemCardSize{36, 4, "systemCardSize"};
constexpr Field aplName{40, 4, "aplName"};
constexpr Field syncFlag{44, 1, "syncFlag"};
constexpr Field garbageFlags{45, 1, "garbageFlags"};
constexpr Field fileInfo{46, 1, "fileInfo"};
constexpr Field reserved47{47, 1, "reserved at 47"};
constexpr Field garbageSize{48, 4, "garbageSize"};
constexpr Field cardCount{52, 2, "cardCount"};
constexpr Field unUsedCardID{54, 2, "unUsedCardID"};
constexpr Field maxCardID{56, 2, "maxCardID"};
constexpr Field reserved58{58, 2, "reserved at 58"};
constexpr Field syncId{60, 4, "syncId"};
constexpr Field reserved64{64, 4, "reserved at 64"};
constexpr Field reserved68{68, 4, "reserved at 68"};

constexpr std::array<Field, 26> kAll{
    fileMark,    reserved1,    fileId,         fileVersion, cardOffset,     itemOffset,     itemSize,
    offsetTable, offsetCard,   offsetCardSize, indexTable,  indexTableSize, systemCardSize, aplName,
    syncFlag,    garbageFlags, fileInfo,       reserved47,  garbageSize,    cardCount,      unUsedCardID,
    maxCardID,   reserved58,   syncId,         reserved64,  reserved68};
}  // namespace hd

constexpr std::uint32_t kHeaderBytes = 72;
constexpr std::uint32_t kDefaultTableBytes = 2048;
constexpr std::uint32_t kEmptyBoxBytes = kHeaderBytes + kDefaultTableBytes;
constexpr std::uint32_t kHeadBytes = 6;
constexpr std::uint32_t kAppendTableBytes = 522;
constexpr std::uint32_t kIdsInDefaultTable = 500;
constexpr std::uint32_t kIdsInAppendTable = 128;
constexpr std::uint32_t kLastNormalId = 65279;
constexpr std::uint32_t kEditId = 65280;
constexpr std::uint32_t kFirstSystemId = 65281;
constexpr std::uint32_t kAppendTableId = 0xFFF0;
constexpr std::uint32_t kIndexTableId = 0xFFF1;
constexpr std::uint32_t kOffsetCardId = 0xFFF2;
constexpr std::uint32_t kExtInfoId = 0xFFF3;
constexpr std::uint32_t kEndMark = 0xFFFF;

inline std::uint32_t GetField(const Bytes& file, const Field& f)
{
    if (f.width == 1) { return file.at(f.at); }
    return f.width == 2 ? Get16(file, f.at) : Get32(file, f.at);
}

inline void SetField(Bytes& file, const Field& f, std::uint32_t value)
{
    if (f.width == 4) {
        Put32(file, f.at, value);
    } else if (f.width == 2) {
        Put16(file, f.at, value);
    } else {
        file.at(f.at) = static_cast<std::uint8_t>(value);
    }
}

inline bool IsSet(std::uint32_t word) { return word != 0 && word != kNone; }
inline bool IsSystemId(std::uint32_t id)
{
    return (id >= kFirstSystemId && id < kAppendTableId) || (id > kExtInfoId && id < kEndMark);
}
inline bool IsItemCardId(std::uint32_t id)
{
    return (id >= 1 && id <= kLastNormalId) || id == kEditId || IsSystemId(id);
}

// The place of word `n` of the default offset table, and of the word of a normal id that is at most 500.
inline std::uint32_t DefaultWordAt(std::uint32_t n) { return kHeaderBytes + 4 * n; }
inline std::uint32_t AppendGroupOf(std::uint32_t id) { return (id - 501) / 128; }
inline std::uint32_t AppendSlotOf(std::uint32_t id) { return (id - 501) % 128; }

// --- pieces ----------------------------------------------------------------------------------------------

// A length field; `form` is 1, 2 or 4 bytes, or 0 for the shortest.
inline Bytes LengthField(std::uint32_t value, int form = 0)
{
    if (form == 0) { form = value < 0x80 ? 1 : value < 0x4000 ? 2 : 4; }
    if (form == 1) { return {static_cast<std::uint8_t>(value & 0x7F)}; }
    if (form == 2) {
        return {static_cast<std::uint8_t>(0x80 | ((value >> 8) & 63)), static_cast<std::uint8_t>(value)};
    }
    return {static_cast<std::uint8_t>(0xC0 | ((value >> 24) & 63)), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

struct Item {
    std::uint8_t type;
    std::uint8_t subType;
    std::string tag;   // four characters
    std::string name;  // at most 38 bytes
};

inline std::vector<Item> DefaultItems()
{
    return {{6, 10, "ATTR", "attribute"},
            {4, 6, "cTTM", "created time"},
            {4, 6, "mDTM", "modified time"},
            {18, 15, "sYID", "sync id"}};
}

inline std::vector<Item> operator+(std::vector<Item> a, const std::vector<Item>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The default items and text items "I000", "I001", ... up to `total` in all; fewer than four are cut.
inline std::vector<Item> NumberedItems(std::size_t total)
{
    std::vector<Item> out = DefaultItems();
    out.resize(std::min(total, out.size()));
    for (std::size_t n = 0; out.size() < total; ++n) {
        std::string digits = std::to_string(1000 + n);
        out.push_back({1, 0, "I" + digits.substr(1), "item " + digits.substr(1)});
    }
    return out;
}

inline Bytes EncodeItemEntry(const Item& item)
{
    Bytes out;
    Add16(out, static_cast<std::uint32_t>(item.name.size() + 6));
    out.push_back(item.type);
    out.push_back(item.subType);
    return out + B(item.tag) + B(item.name);
}

inline Bytes EncodeItemTable(const std::vector<Item>& items)
{
    Bytes out{static_cast<std::uint8_t>(items.size())};
    for (const Item& item : items) { out = out + EncodeItemEntry(item); }
    return out;
}

// Deviations of a card from the plain form.
struct CardForm {
    int lengthForm = 0;     // form of every length field; 0 for the shortest of each
    std::size_t slack = 0;  // bytes behind the data that belong to no item
    std::uint32_t headSize = 2;
};

inline Bytes EncodeHead(std::uint32_t id, std::uint32_t length)
{
    Bytes out;
    Add16(out, id);
    Add32(out, length);
    return out;
}

inline Bytes EncodeCard(std::uint32_t id, const std::vector<Bytes>& values, const CardForm& form = {})
{
    Bytes table;
    Bytes data;
    for (const Bytes& value : values) {
        table = table + LengthField(static_cast<std::uint32_t>(value.size()), form.lengthForm);
        data.insert(data.end(), value.begin(), value.end());
    }
    data.insert(data.end(), form.slack, 0xEE);
    Bytes out = EncodeHead(id, static_cast<std::uint32_t>(4 + table.size() + data.size()));
    Add16(out, form.headSize);
    Add16(out, static_cast<std::uint32_t>(table.size()));
    out = out + table;
    out.insert(out.end(), data.begin(), data.end());
    return out;
}

// An entry of an index table.
struct IndexEntrySpec {
    std::string name;
    std::uint8_t nameType = 1;
    std::uint8_t indexFileId = 28;
    std::uint8_t flags = 0;
    std::uint8_t flags2 = 0;
};

inline Bytes EncodeIndexEntry(const IndexEntrySpec& entry)
{
    const std::uint32_t length = static_cast<std::uint32_t>((entry.name.size() + 12) & ~std::size_t{1});
    Bytes out;
    Add16(out, length);
    out.push_back(entry.nameType);
    out.push_back(entry.indexFileId);
    out.push_back(entry.flags);
    out.push_back(entry.flags2);
    out.resize(12, 0xFF);
    out = out + B(entry.name);
    out.push_back(0);
    out.resize(length + 2, 0xFF);
    return out;
}

// A new box, byte for byte: 72 bytes of header and 2048 of 0xFF.
inline Bytes NewBoxImage(std::string_view aplName)
{
    Bytes out{0xFF, 0x00, 0x10, 0x31};
    for (int n = 0; n < 3; ++n) { Add32(out, kNone); }
    Add32(out, kHeaderBytes);
    for (int n = 0; n < 5; ++n) { Add32(out, kNone); }
    out = out + B(aplName);
    out = out + Bytes{0xFF, 0x00, 0xFF, 0xFF};  // syncFlag, garbageFlags, fileInfo, reserved
    Add32(out, 0);                              // garbageSize
    Add16(out, 0);                              // cardCount
    Add16(out, 1);                              // unUsedCardID
    Add16(out, 0);                              // maxCardID
    Add16(out, 0xFFFF);
    Add32(out, 1);  // syncId
    out.resize(kEmptyBoxBytes, 0xFF);
    return out;
}

// A table of items behind a new box: what the first _BoxItemAppend leaves.
inline Bytes BoxWithItems(std::string_view aplName, const std::vector<Item>& items)
{
    Bytes out = NewBoxImage(aplName);
    const Bytes table = EncodeItemTable(items);
    SetField(out, hd::itemOffset, kEmptyBoxBytes);
    SetField(out, hd::itemSize, static_cast<std::uint32_t>(table.size()));
    return out + table;
}

}  // namespace boxtest
