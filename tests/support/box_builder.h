// SPDX-License-Identifier: MIT
// A second opinion on the box file: it puts box files together byte by byte, and takes them apart again,
// without a line of the library. What the library writes is held against BoxView and FirstFault; what it
// reads comes from BoxBuilder.
//
//   BoxBuilder box(DefaultItems() + items);         header, offset table, item table
//   box.card(1, box.row({{"NAME", B("Sato")}}));     a card, its slot and its counters
//   box.dead(40);                                    40 dead bytes in the chain
//   Bytes file = box.build();                        and the end mark
//
// build() may be called at any time and leaves the builder as it was. Append tables come by themselves with
// the first id that needs them; the offset card stands last unless reserveOffsetCard gave it a place.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
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

// --- the builder -----------------------------------------------------------------------------------------

class BoxBuilder {
public:
    explicit BoxBuilder(std::vector<Item> items = DefaultItems(), std::string_view aplName = "TEST")
        : items_(std::move(items)), file_(BoxWithItems(aplName, items_)), itemEnd_(size())
    {}

    const std::vector<Item>& items() const { return items_; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(file_.size()); }
    // The number of an item, from 1; 0 for none.
    std::uint8_t itemNumber(std::string_view tag) const
    {
        for (std::size_t n = 0; n < items_.size(); ++n) {
            if (items_[n].tag == tag) { return static_cast<std::uint8_t>(n + 1); }
        }
        return 0;
    }

    // Values in item order: a live attribute, what is given by tag, and nothing else.
    std::vector<Bytes> row(const std::vector<std::pair<std::string, Bytes>>& values = {}) const
    {
        std::vector<Bytes> out(items_.size());
        if (!out.empty()) { out[0] = {0x40}; }
        for (const auto& [tag, value] : values) { out.at(itemNumber(tag) - std::size_t{1}) = value; }
        return out;
    }

    // A normal card with its slot; gives its position.
    std::uint32_t card(std::uint32_t id, const std::vector<Bytes>& values, const CardForm& form = {})
    {
        makeTablesFor(id);
        const std::uint32_t pos = raw(EncodeCard(id, values, form));
        setSlot(id, pos);
        const bool live = values.empty() || values[0].empty() || (values[0][0] & 0x40) != 0;
        countCard(id, live);
        return pos;
    }
    std::uint32_t card(std::uint32_t id) { return card(id, row()); }

    // A system card in slot 1 to 10.
    std::uint32_t systemCard(std::uint32_t slot, std::uint32_t id, const std::vector<Bytes>& values,
                             const CardForm& form = {})
    {
        const std::uint32_t pos = raw(EncodeCard(id, values, form));
        Put32(file_, DefaultWordAt(slot), pos);
        return pos;
    }
    // A card under edit that was left in the file; nothing refers to it.
    std::uint32_t editCard(const std::vector<Bytes>& values, const CardForm& form = {})
    {
        return raw(EncodeCard(kEditId, values, form));
    }
    std::uint32_t extInfoCard(const Bytes& body)
    {
        const std::uint32_t pos = raw(EncodeHead(kExtInfoId, static_cast<std::uint32_t>(body.size())) + body);
        Put32(file_, DefaultWordAt(0), pos);
        return pos;
    }
    // A dead card of `total` bytes, 6 at least.
    std::uint32_t dead(std::uint32_t total)
    {
        Bytes card = EncodeHead(0, total - kHeadBytes);
        card.resize(total, 0xDD);
        garbage_ += total;
        return raw(card);
    }
    std::uint32_t indexTable(const std::vector<IndexEntrySpec>& entries)
    {
        Bytes body;
        for (const IndexEntrySpec& entry : entries) { body = body + EncodeIndexEntry(entry); }
        body.resize((body.size() + 2 + 511) / 512 * 512, 0xFF);
        const std::uint32_t pos =
            raw(EncodeHead(kIndexTableId, static_cast<std::uint32_t>(body.size())) + body);
        SetField(file_, hd::indexTable, pos);
        SetField(file_, hd::indexTableSize, static_cast<std::uint32_t>(body.size() + kHeadBytes));
        return pos;
    }
    // Bytes of one's own in the chain.
    std::uint32_t raw(const Bytes& bytes)
    {
        const std::uint32_t pos = size();
        file_.insert(file_.end(), bytes.begin(), bytes.end());
        return pos;
    }

    // Gives the offset card its place here, with room for so many append tables.
    std::uint32_t reserveOffsetCard(std::uint32_t tables)
    {
        const std::uint32_t payload = std::max(256u, (tables * 4 + 255) / 256 * 256);
        Bytes card = EncodeHead(kOffsetCardId, payload);
        card.resize(kHeadBytes + payload, 0xFF);
        offsetCardSize_ = payload + kHeadBytes;
        offsetCard_ = raw(card);
        return offsetCard_;
    }
    // The append tables that id needs, now.
    void makeTablesFor(std::uint32_t id)
    {
        if (id <= kIdsInDefaultTable || id > kLastNormalId) { return; }
        while (tables_.size() <= AppendGroupOf(id)) { makeTable(); }
    }
    std::uint32_t appendTable(std::size_t group) const { return tables_.at(group); }
    std::size_t appendTables() const { return tables_.size(); }

    // The place of an id's slot, whose table must be there.
    std::uint32_t slotAt(std::uint32_t id) const
    {
        if (id <= kIdsInDefaultTable) { return DefaultWordAt(id + 10); }
        return tables_.at(AppendGroupOf(id)) + kHeadBytes + 4 * AppendSlotOf(id);
    }
    void setSlot(std::uint32_t id, std::uint32_t value) { Put32(file_, slotAt(id), value); }
    // An id that was in use and is free.
    void killSlot(std::uint32_t id)
    {
        makeTablesFor(id);
        setSlot(id, 0);
        maxId_ = std::max(maxId_, id);
    }
    void setField(const Field& f, std::uint32_t value) { overrides_[f.at] = {f, value}; }

    Bytes build() const
    {
        BoxBuilder done = *this;
        if (!done.tables_.empty() && done.offsetCard_ == kNone) {
            done.reserveOffsetCard(static_cast<std::uint32_t>(done.tables_.size()));
        }
        return done.finish();
    }

private:
    void makeTable()
    {
        Bytes table = EncodeHead(kAppendTableId, kAppendTableBytes - kHeadBytes);
        table.resize(kAppendTableBytes, 0xFF);
        const std::uint32_t pos = raw(table);
        const std::uint32_t link = tables_.empty() ? DefaultWordAt(511) : tables_.back() + 518;
        Put32(file_, link, pos);
        tables_.push_back(pos);
    }

    void countCard(std::uint32_t id, bool live)
    {
        maxId_ = std::max(maxId_, id);
        cardCount_ += live ? 1 : 0;
    }

    Bytes finish()
    {
        if (offsetCard_ != kNone) {
            SetField(file_, hd::offsetCard, offsetCard_);
            SetField(file_, hd::offsetCardSize, offsetCardSize_);
            for (std::uint32_t g = 0; g < tables_.size(); ++g) {
                Put32(file_, offsetCard_ + kHeadBytes + 4 * g, tables_[g]);
            }
        }
        if (size() > itemEnd_) {
            SetField(file_, hd::cardOffset, itemEnd_);
            Add16(file_, kEndMark);
        }
        SetField(file_, hd::garbageSize, garbage_);
        SetField(file_, hd::cardCount, cardCount_);
        SetField(file_, hd::maxCardID, maxId_);
        SetField(file_, hd::unUsedCardID, maxId_ + 1);
        for (const auto& [at, fieldAndValue] : overrides_) {
            SetField(file_, fieldAndValue.first, fieldAndValue.second);
        }
        return std::move(file_);
    }

    std::vector<Item> items_;
    Bytes file_;
    std::uint32_t itemEnd_;
    std::vector<std::uint32_t> tables_;
    std::uint32_t offsetCard_ = kNone;
    std::uint32_t offsetCardSize_ = 0;
    std::uint32_t garbage_ = 0;
    std::uint32_t cardCount_ = 0;
    std::uint32_t maxId_ = 0;
    std::map<std::uint32_t, std::pair<Field, std::uint32_t>> overrides_;
};

// --- taking a box apart ----------------------------------------------------------------------------------

// A card of the chain.
struct Link {
    std::uint32_t pos;
    std::uint32_t id;
    std::uint32_t length;

    std::uint32_t total() const { return length + kHeadBytes; }
    std::uint32_t end() const { return pos + total(); }
};

// A card's body taken apart; `fault` says why it could not be.
struct CardBody {
    std::string fault;
    std::vector<Bytes> values;
    std::uint32_t slack = 0;
};

// The chain of cards; `fault` says why it does not reach an end mark, `end` is where that mark stands.
struct Chain {
    std::string fault;
    std::vector<Link> links;
    std::uint32_t end = 0;
};

inline std::string At(std::string_view what, std::uint32_t pos)
{
    return std::string(what) + " at " + std::to_string(pos);
}

inline Chain WalkChain(const Bytes& file)
{
    Chain out;
    std::size_t pos = GetField(file, hd::cardOffset);
    for (;;) {
        const std::uint32_t at = static_cast<std::uint32_t>(pos);
        if (pos + 2 > file.size()) {
            out.fault = At("the chain leaves the file", at);
            return out;
        }
        if (Get16(file, pos) == kEndMark) {
            out.end = at;
            return out;
        }
        if (pos + kHeadBytes > file.size()) {
            out.fault = At("the file ends in a card's head", at);
            return out;
        }
        const Link link{at, Get16(file, pos), Get32(file, pos + 2)};
        if (link.length > file.size() || pos + link.total() + 2 > file.size()) {
            out.fault = At("card " + std::to_string(link.id) + " is longer than the file", at);
            return out;
        }
        out.links.push_back(link);
        pos += link.total();
    }
}

// The length field at `pos`, which moves behind it; false when it leaves `end`.
inline bool TakeLength(const Bytes& file, std::size_t& pos, std::size_t end, std::uint32_t& length)
{
    if (pos >= end) { return false; }
    const std::uint32_t first = file.at(pos);
    const std::size_t width = first < 0x80 ? 1 : first < 0xC0 ? 2 : 4;
    if (pos + width > end) { return false; }
    length = width == 1 ? first : first & 63;
    for (std::size_t n = 1; n < width; ++n) { length = length << 8 | file.at(pos + n); }
    pos += width;
    return true;
}

// Takes apart an item card that lies in the file whole.
inline CardBody DecodeCard(const Bytes& file, const Link& link, std::size_t itemCount)
{
    CardBody out;
    if (link.length < 4) {
        out.fault = At("a card without a length table", link.pos);
        return out;
    }
    const std::size_t end = link.end();
    std::size_t pos = link.pos + std::size_t{10};
    const std::size_t tableEnd = pos + Get16(file, link.pos + std::size_t{8});
    if (Get16(file, link.pos + std::size_t{6}) != 2) {
        out.fault = At("a headSize other than 2 in the card", link.pos);
    }
    if (tableEnd > end) {
        out.fault = At("the length table leaves the card", link.pos);
        return out;
    }
    std::size_t data = tableEnd;
    for (std::size_t n = 0; n < itemCount; ++n) {
        std::uint32_t length = 0;
        if (!TakeLength(file, pos, tableEnd, length) || length > end - data) {
            out.fault = At("item " + std::to_string(n + 1) + " leaves the card", link.pos);
            return out;
        }
        out.values.push_back(Slice(file, data, length));
        data += length;
    }
    if (pos != tableEnd) { out.fault = At("bytes behind the last length of the card", link.pos); }
    out.slack = static_cast<std::uint32_t>(end - data);
    return out;
}

// The items of a box. `fault` is empty when the entries fill the table.
struct ItemList {
    std::string fault;
    std::vector<Item> items;
};

inline ItemList DecodeItems(const Bytes& file)
{
    ItemList out;
    std::size_t pos = GetField(file, hd::itemOffset);
    const std::size_t end = pos + GetField(file, hd::itemSize);
    if (end > file.size() || pos >= end) {
        out.fault = "the item table leaves the file";
        return out;
    }
    const std::size_t count = file.at(pos++);
    for (std::size_t n = 0; n < count; ++n) {
        if (pos + 2 > end || pos + 2 + Get16(file, pos) > end) {
            out.fault = "item " + std::to_string(n + 1) + " leaves the item table";
            return out;
        }
        const std::size_t length = Get16(file, pos);
        Item item{0, 0, "", ""};
        if (length > 5) {
            item = {file.at(pos + 2), file.at(pos + 3), Text(Slice(file, pos + 4, 4)),
                    Text(Slice(file, pos + 8, length - 6))};
        }
        out.items.push_back(item);
        pos += 2 + length;
    }
    if (pos != end) { out.fault = "the items do not fill the item table"; }
    return out;
}

// What of a sound box is asked for. Each switch names a state that an orderly order of writes can leave
// behind when it is cut off, so that the tests of lost power can say which of them they accept.
struct CheckRules {
    bool garbageSize = true;       // equals the dead bytes
    bool cardCount = true;         // equals the live cards
    bool hint = true;              // unUsedCardID is neither 0 nor above maxCardID + 1
    bool maxCardID = true;         // no card's id is above it
    bool endIsLast = true;         // nothing behind the end mark
    bool slotsLive = true;         // no slot leads to a dead card
    bool allReferenced = true;     // every card and table of the chain is referred to
    bool offsetCard = true;        // the offset card lists the chain of append tables
    bool offsetCardLength = true;  // its cardLength agrees with offsetCardSize
    bool zeroOffsetWords = false;  // 0 in place of all ones behind its last table
    bool editCard = true;          // a card under edit may lie in the file
    bool reservedBytes = true;     // the header's reserved bytes are those of a new box
};

class BoxCheck {
public:
    BoxCheck(const Bytes& file, const CheckRules& rules) : file_(file), rules_(rules) {}

    std::string run()
    {
        for (auto step :
             {&BoxCheck::header, &BoxCheck::itemTable, &BoxCheck::chain, &BoxCheck::bodies,
              &BoxCheck::systemSlots, &BoxCheck::appendChain, &BoxCheck::normalSlots, &BoxCheck::offsetCard,
              &BoxCheck::indexTable, &BoxCheck::references, &BoxCheck::counters}) {
            const std::string fault = (this->*step)();
            if (!fault.empty()) { return fault; }
        }
        return "";
    }

private:
    std::uint32_t field(const Field& f) const { return GetField(file_, f); }

    std::string header()
    {
        if (file_.size() < kEmptyBoxBytes) { return "the file is shorter than an empty box"; }
        if (field(hd::fileMark) != 0xFF || field(hd::fileId) != 16 || field(hd::fileVersion) >> 4 != 3) {
            return "the first four bytes are not those of a box";
        }
        if (field(hd::offsetTable) != kHeaderBytes) { return "offsetTable is not 72"; }
        if (!rules_.reservedBytes) { return ""; }
        const Bytes fresh = NewBoxImage("....");
        for (const Field& f :
             {hd::reserved1, hd::reserved47, hd::reserved58, hd::reserved64, hd::reserved68}) {
            if (field(f) != GetField(fresh, f)) { return std::string(f.name) + " has changed"; }
        }
        return "";
    }

    std::string itemTable()
    {
        if (field(hd::itemOffset) == kNone) {
            return file_.size() == kEmptyBoxBytes ? ""
                                                  : "bytes behind the offset table of a box without items";
        }
        if (field(hd::itemOffset) != kEmptyBoxBytes) { return "itemOffset is not 2120"; }
        ItemList list = DecodeItems(file_);
        items_ = std::move(list.items);
        return list.fault;
    }

    std::string chain()
    {
        const std::uint32_t itemEnd =
            field(hd::itemOffset) == kNone ? kEmptyBoxBytes : kEmptyBoxBytes + field(hd::itemSize);
        if (field(hd::cardOffset) == kNone) {
            if (rules_.endIsLast && file_.size() != itemEnd) {
                return "bytes behind a box without a card area";
            }
            return "";
        }
        if (field(hd::cardOffset) < itemEnd) { return "the card area begins inside the tables before it"; }
        Chain walked = WalkChain(file_);
        if (!walked.fault.empty()) { return walked.fault; }
        if (rules_.endIsLast && walked.end + 2 != file_.size()) {
            return At("the end mark is not the end of the file, it stands", walked.end);
        }
        links_ = std::move(walked.links);
        for (const Link& link : links_) { byPos_[link.pos] = link; }
        return "";
    }

    std::string bodies()
    {
        std::uint32_t edits = 0;
        for (const Link& link : links_) {
            if (!IsItemCardId(link.id)) { continue; }
            edits += link.id == kEditId ? 1 : 0;
            const CardBody body = DecodeCard(file_, link, items_.size());
            if (!body.fault.empty()) { return body.fault; }
            const bool attr = !items_.empty() && items_[0].tag == "ATTR";
            if (attr && body.values[0].size() != 1) {
                return At("an attribute that is not one byte in the card", link.pos);
            }
            if (link.id > kLastNormalId) { continue; }
            normal_[link.id].push_back(link.pos);
            live_ += attr && (body.values[0][0] & 0x40) != 0 ? 1 : 0;
        }
        if (edits > (rules_.editCard ? 1u : 0u)) { return "a card under edit is left in the file"; }
        return "";
    }

    // A slot must lead to a card of the chain; `ok` says whether its id is right.
    template <typename Test>
    std::string slot(std::uint32_t at, const std::string& name, Test ok)
    {
        const std::uint32_t pos = Get32(file_, at);
        if (!IsSet(pos)) { return ""; }
        const auto found = byPos_.find(pos);
        if (found == byPos_.end()) { return At(name + " leads to no card,", pos); }
        if (found->second.id == 0) { return rules_.slotsLive ? At(name + " leads to a dead card", pos) : ""; }
        if (!ok(found->second.id)) {
            return At(name + " leads to a card of id " + std::to_string(found->second.id), pos);
        }
        if (!referenced_.insert(pos).second) { return At(name + " leads to a card of another slot", pos); }
        return "";
    }

    std::string systemSlots()
    {
        std::string fault = slot(DefaultWordAt(0), "the slot of the extended information",
                                 [](std::uint32_t id) { return id == kExtInfoId; });
        std::set<std::uint32_t> seen;
        for (std::uint32_t n = 1; n <= 10 && fault.empty(); ++n) {
            const std::string name = "system slot " + std::to_string(n);
            fault = slot(DefaultWordAt(n), name,
                         [&seen](std::uint32_t id) { return IsSystemId(id) && seen.insert(id).second; });
        }
        return fault;
    }

    std::string appendChain()
    {
        std::uint32_t pos = Get32(file_, DefaultWordAt(511));
        while (pos != kNone) {
            const auto found = byPos_.find(pos);
            const std::string name = "append table " + std::to_string(tables_.size());
            if (found == byPos_.end()) { return At(name + " is no card,", pos); }
            if (found->second.id != kAppendTableId) { return At(name + " does not bear its id", pos); }
            if (found->second.total() != kAppendTableBytes) {
                return At(name + " is not 522 bytes long", pos);
            }
            if (!referenced_.insert(pos).second) { return At(name + " stands in the chain twice,", pos); }
            tables_.push_back(pos);
            pos = Get32(file_, pos + std::size_t{518});
        }
        return "";
    }

    std::string normalSlots()
    {
        const std::uint32_t ids =
            kIdsInDefaultTable + kIdsInAppendTable * static_cast<std::uint32_t>(tables_.size());
        for (std::uint32_t id = 1; id <= ids; ++id) {
            const std::uint32_t at = id <= kIdsInDefaultTable
                                         ? DefaultWordAt(id + 10)
                                         : tables_[AppendGroupOf(id)] + kHeadBytes + 4 * AppendSlotOf(id);
            const std::string fault = slot(at, "the slot of id " + std::to_string(id),
                                           [id](std::uint32_t found) { return found == id; });
            if (!fault.empty()) { return fault; }
        }
        return "";
    }

    std::string offsetCard()
    {
        const std::uint32_t pos = field(hd::offsetCard);
        if (!IsSet(pos)) {
            return rules_.offsetCard && !tables_.empty() ? "append tables without an offset card" : "";
        }
        const auto found = byPos_.find(pos);
        if (found == byPos_.end()) { return At("offsetCard leads to no card,", pos); }
        if (found->second.id == 0 && !rules_.slotsLive) { return ""; }
        if (found->second.id != kOffsetCardId) { return At("offsetCard leads to another card", pos); }
        referenced_.insert(pos);
        const std::uint32_t size = field(hd::offsetCardSize);
        if (rules_.offsetCardLength && size != found->second.total()) {
            return "offsetCardSize is not the card's size";
        }
        if (size < kHeadBytes || size > found->second.total() || (size - kHeadBytes) % 256 != 0) {
            return "offsetCardSize is not 6 and a multiple of 256";
        }
        return rules_.offsetCard ? offsetWords(pos, (size - kHeadBytes) / 4) : "";
    }

    std::string offsetWords(std::uint32_t pos, std::uint32_t words)
    {
        if (words < tables_.size()) { return "the offset card has no room for all append tables"; }
        for (std::uint32_t g = 0; g < words; ++g) {
            const std::uint32_t word = Get32(file_, pos + std::size_t{6} + std::size_t{4} * g);
            if (g < tables_.size() ? word == tables_[g] : word == kNone) { continue; }
            if (g >= tables_.size() && word == 0 && rules_.zeroOffsetWords) { continue; }
            return "word " + std::to_string(g) + " of the offset card is " + std::to_string(word);
        }
        return "";
    }

    std::string indexTable()
    {
        const std::uint32_t pos = field(hd::indexTable);
        if (pos == kNone) { return ""; }
        const auto found = byPos_.find(pos);
        if (found == byPos_.end() || found->second.id != kIndexTableId) {
            return At("indexTable leads to no index table", pos);
        }
        if (found->second.total() != field(hd::indexTableSize)) {
            return "indexTableSize is not the card's size";
        }
        referenced_.insert(pos);
        std::size_t at = pos + std::size_t{kHeadBytes};
        const std::size_t end = found->second.end();
        for (;;) {
            if (at + 2 > end) { return at == end ? "" : "the index table has no end"; }
            const std::uint32_t length = Get16(file_, at);
            if (length == 0 || length == 0xFFFF) { return ""; }
            if (length < 12 || at + 2 + length > end) {
                return At("an index entry leaves the index table", pos);
            }
            const Bytes name = Slice(file_, at + 12, length - 10);
            if (std::find(name.begin(), name.end(), 0) == name.end()) {
                return "an index name without terminator";
            }
            at += 2 + length;
        }
    }

    std::string references()
    {
        if (!rules_.allReferenced) { return ""; }
        for (const Link& link : links_) {
            if (link.id == 0 || link.id == kEditId || referenced_.count(link.pos) != 0) { continue; }
            return At("nothing refers to the card of id " + std::to_string(link.id), link.pos);
        }
        return "";
    }

    std::string counters()
    {
        std::uint32_t deadBytes = 0;
        for (const Link& link : links_) { deadBytes += link.id == 0 ? link.total() : 0; }
        const std::uint32_t stored = field(hd::garbageSize) == kNone ? 0 : field(hd::garbageSize);
        if (rules_.garbageSize && stored != deadBytes) {
            return "garbageSize is " + std::to_string(stored) + ", dead bytes are " +
                   std::to_string(deadBytes);
        }
        if (rules_.cardCount && field(hd::cardCount) != live_) {
            return "cardCount is " + std::to_string(field(hd::cardCount)) + ", live cards are " +
                   std::to_string(live_);
        }
        const std::uint32_t highest = normal_.empty() ? 0 : normal_.rbegin()->first;
        if (rules_.maxCardID && field(hd::maxCardID) < highest) {
            return "maxCardID is " + std::to_string(field(hd::maxCardID)) + ", a card has id " +
                   std::to_string(highest);
        }
        const std::uint32_t hint = field(hd::unUsedCardID);
        if (rules_.hint && (hint == 0 || hint > field(hd::maxCardID) + 1)) {
            return "unUsedCardID is " + std::to_string(hint) + ", maxCardID " +
                   std::to_string(field(hd::maxCardID));
        }
        return "";
    }

    const Bytes& file_;
    CheckRules rules_;
    std::vector<Item> items_;
    std::vector<Link> links_;
    std::map<std::uint32_t, Link> byPos_;
    std::map<std::uint32_t, std::vector<std::uint32_t>> normal_;
    std::set<std::uint32_t> referenced_;
    std::vector<std::uint32_t> tables_;
    std::uint32_t live_ = 0;
};

// What is wrong with a box file, in words; empty when it is sound.
inline std::string FirstFault(const Bytes& file, const CheckRules& rules = {})
{
    return BoxCheck(file, rules).run();
}

// Questions to a box file that is sound.
class BoxView {
public:
    explicit BoxView(Bytes file) : file_(std::move(file)), items_(DecodeItems(file_).items)
    {
        if (field(hd::cardOffset) != kNone) { links_ = WalkChain(file_).links; }
    }

    std::uint32_t field(const Field& f) const { return GetField(file_, f); }
    const std::vector<Item>& items() const { return items_; }
    const Bytes& file() const { return file_; }
    const std::vector<Link>& links() const { return links_; }
    std::uint32_t word(std::uint32_t n) const { return Get32(file_, DefaultWordAt(n)); }

    // The word in the slot of a normal id; all ones where there is no table for it.
    std::uint32_t slot(std::uint32_t id) const
    {
        if (id <= kIdsInDefaultTable) { return word(id + 10); }
        std::uint32_t table = word(511);
        for (std::uint32_t g = AppendGroupOf(id); g > 0 && IsSet(table); --g) {
            table = Get32(file_, table + std::size_t{518});
        }
        return IsSet(table)
                   ? Get32(file_, table + std::size_t{kHeadBytes} + std::size_t{4} * AppendSlotOf(id))
                   : kNone;
    }
    // The position of a normal card by its slot, or of a system card by its head; 0 for none.
    std::uint32_t find(std::uint32_t id) const
    {
        if (id <= kLastNormalId) { return IsSet(slot(id)) ? slot(id) : 0; }
        for (std::uint32_t n = 0; n <= 10; ++n) {
            if (IsSet(word(n)) && Get16(file_, word(n)) == id) { return word(n); }
        }
        return 0;
    }
    // The values of the card at `pos` in item order; none when it cannot be taken apart.
    std::vector<Bytes> valuesAt(std::uint32_t pos) const
    {
        const Link link{pos, Get16(file_, pos), Get32(file_, pos + std::size_t{2})};
        const CardBody body = DecodeCard(file_, link, items_.size());
        return body.fault.empty() ? body.values : std::vector<Bytes>{};
    }
    std::vector<Bytes> values(std::uint32_t id) const
    {
        const std::uint32_t pos = find(id);
        return pos == 0 ? std::vector<Bytes>{} : valuesAt(pos);
    }
    // One stored value, as it stands in the file.
    Bytes value(std::uint32_t id, std::string_view tag) const
    {
        const std::vector<Bytes> all = values(id);
        for (std::size_t n = 0; n < all.size(); ++n) {
            if (items_[n].tag == tag) { return all[n]; }
        }
        return {};
    }
    std::size_t appendTables() const
    {
        std::size_t count = 0;
        for (std::uint32_t pos = word(511); IsSet(pos) && count < 600;
             pos = Get32(file_, pos + std::size_t{518})) {
            ++count;
        }
        return count;
    }
    std::uint32_t deadBytes() const
    {
        std::uint32_t sum = 0;
        for (const Link& link : links_) { sum += link.id == 0 ? link.total() : 0; }
        return sum;
    }
    // A line for each card of the chain, for the message of a failed test.
    std::string map() const
    {
        std::string out;
        for (const Link& link : links_) {
            out += std::to_string(link.pos) + ": id " + std::to_string(link.id) + ", " +
                   std::to_string(link.total()) + " bytes\n";
        }
        return out;
    }

private:
    Bytes file_;
    std::vector<Item> items_;
    std::vector<Link> links_;
};

}  // namespace boxtest
