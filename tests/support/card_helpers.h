// SPDX-License-Identifier: MIT
// What the tests of cards share: a box file edited by hand into what an operation promises, and short names
// for driving a box through the library.
//
// A test takes the file before an operation, does to it in a BoxBytes what the operation should do, and
// compares the outcome with the file byte for byte.
#pragma once

#include <bxd/bxd.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "box/bxd_box_handle.h"
#include "box/bxd_card_format.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_garb.h"
#include "storage/bxd_file.h"
#include "tests/support/box_builder.h"
#include "tests/support/box_case.h"

namespace cardtest {

using boxtest::B;
using boxtest::Bytes;
using boxtest::kNone;
using boxtest::operator+;

using Values = std::vector<std::string>;  // the values of a card's items in table order, attribute as stored

inline std::string Stuff(u32 length, u32 seed = 1) { return boxtest::Text(boxtest::Pattern(length, seed)); }

// The values of a live card: the fresh attribute, three empty stamps, and these own ones.
inline Values Live(const Values& own)
{
    Values all{"@", "", "", ""};
    all.insert(all.end(), own.begin(), own.end());
    return all;
}

inline Bytes Card(u32 id, const Values& values, u32 slack = 0)
{
    std::vector<Bytes> encoded;
    encoded.reserve(values.size());
    for (const std::string& value : values) { encoded.push_back(B(value)); }
    return boxtest::EncodeCard(id, encoded, {0, slack, 2});
}

inline Bytes AppendTable() { return Bytes{0xF0, 0xFF, 0x04, 0x02, 0x00, 0x00} + Bytes(516, 0xFF); }

// An offset card whose words begin with these.
inline Bytes OffsetCard(const std::vector<u32>& words, u32 payload)
{
    Bytes card = boxtest::EncodeHead(OFFSET_CARD_ID, payload);
    for (const u32 word : words) { boxtest::Add32(card, word); }
    card.resize(6 + payload, 0xFF);
    return card;
}

inline Bytes PlainCard(u32 id, const Bytes& body)
{
    return boxtest::EncodeHead(id, static_cast<u32>(body.size())) + body;
}

// The content of a box file, to be edited.
class BoxBytes {
public:
    BoxBytes() = default;
    explicit BoxBytes(Bytes content) : bytes_(std::move(content)) {}

    const Bytes& all() const { return bytes_; }
    u32 size() const { return static_cast<u32>(bytes_.size()); }
    bool has(u32 at, u32 count) const { return at <= size() && count <= size() - at; }

    u32 byte(u32 at) const { return has(at, 1) ? bytes_[at] : 0xEE; }
    u32 half(u32 at) const { return byte(at) | byte(at + 1) << 8; }
    u32 word(u32 at) const { return half(at) | half(at + 2) << 16; }
    Bytes part(u32 at, u32 count) const { return boxtest::Slice(bytes_, at, count); }

    void putByte(u32 at, u32 value) { bytes_.at(at) = static_cast<u8>(value); }
    void putHalf(u32 at, u32 value) { boxtest::Put16(bytes_, at, value); }
    void putWord(u32 at, u32 value) { boxtest::Put32(bytes_, at, value); }
    // Bytes over the old ones, and beyond the end where they reach so far.
    void put(u32 at, const Bytes& what)
    {
        if (size() < at + what.size()) { bytes_.resize(at + what.size(), 0xFF); }
        std::copy(what.begin(), what.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(at));
    }
    void cut(u32 newSize) { bytes_.resize(newSize); }
    // These bytes in place of `count` old ones.
    void replace(u32 at, u32 count, const Bytes& what)
    {
        const auto start = bytes_.begin() + static_cast<std::ptrdiff_t>(at);
        bytes_.insert(bytes_.erase(start, start + static_cast<std::ptrdiff_t>(count)), what.begin(),
                      what.end());
    }

    u32 field(const boxtest::Field& f) const { return boxtest::GetField(bytes_, f); }
    void setField(const boxtest::Field& f, u32 value) { boxtest::SetField(bytes_, f, value); }
    u32 cardOffset() const { return field(boxtest::hd::cardOffset); }
    u32 garbage() const { return field(boxtest::hd::garbageSize); }
    u32 cardCount() const { return field(boxtest::hd::cardCount); }
    u32 hint() const { return field(boxtest::hd::unUsedCardID); }
    u32 maxId() const { return field(boxtest::hd::maxCardID); }
    void setCounts(u32 count, u32 hintId, u32 max)
    {
        setField(boxtest::hd::cardCount, count);
        setField(boxtest::hd::unUsedCardID, hintId);
        setField(boxtest::hd::maxCardID, max);
    }
    void addGarbage(long long delta)
    {
        setField(boxtest::hd::garbageSize, static_cast<u32>(garbage() + delta));
    }

    // Where the next card goes: over the end mark, or behind the item table in a box without cards.
    u32 end() const { return cardOffset() == kNone ? size() : size() - 2; }
    // A card at the end, with a new end mark behind it.
    u32 addCard(const Bytes& card)
    {
        const u32 pos = end();
        setField(boxtest::hd::cardOffset, std::min(pos, cardOffset()));
        cut(pos);
        put(pos, card + Bytes{0xFF, 0xFF});
        return pos;
    }
    u32 total(u32 pos) const { return word(pos + 2) + 6; }
    bool isLast(u32 pos) const { return pos + total(pos) + 2 == size(); }
    // A new card `id` at the end, in its slot, counted; gives its position.
    u32 addNew(u32 id, const Values& values)
    {
        const u32 pos = addCard(Card(id, values));
        setSlot(id, pos);
        setCounts(cardCount() + 1, hint(), std::max(maxId(), id));
        return pos;
    }
    // What the kill of a card leaves that is not the last one.
    void kill(u32 pos)
    {
        addGarbage(total(pos));
        putHalf(pos, 0);
    }
    // What the kill of the last card leaves.
    void cutCard(u32 pos)
    {
        putHalf(pos, 0xFFFF);
        cut(pos + 2);
    }
    // The card at `pos`, which is the last one, in a new form.
    void replaceLast(u32 pos, const Bytes& card)
    {
        cut(pos);
        put(pos, card + Bytes{0xFF, 0xFF});
    }

    u32 wordAt(u32 entry) const { return boxtest::DefaultWordAt(entry); }
    u32 entry(u32 n) const { return word(wordAt(n)); }
    void setEntry(u32 n, u32 value) { putWord(wordAt(n), value); }
    std::vector<u32> appendTables() const
    {
        std::vector<u32> found;
        for (u32 pos = entry(511); boxtest::IsSet(pos) && found.size() < 600; pos = word(pos + 518)) {
            found.push_back(pos);
        }
        return found;
    }
    // The place of an id's slot; 0 where no table has one.
    u32 slotAt(u32 id) const
    {
        if (id <= 500) { return wordAt(id + 10); }
        const std::vector<u32> tables = appendTables();
        const u32 group = boxtest::AppendGroupOf(id);
        return group < tables.size() ? tables[group] + 6 + 4 * boxtest::AppendSlotOf(id) : 0;
    }
    u32 slot(u32 id) const { return slotAt(id) == 0 ? kNone : word(slotAt(id)); }
    void setSlot(u32 id, u32 value) { putWord(slotAt(id), value); }

    Values valuesAt(u32 pos) const
    {
        const std::vector<Bytes> raw = boxtest::BoxView(bytes_).valuesAt(pos);
        Values found;
        for (const Bytes& value : raw) { found.push_back(boxtest::Text(value)); }
        return found;
    }

private:
    Bytes bytes_;
};

// Where two files differ, for a failing test's message.
inline ::testing::AssertionResult Same(const BoxBytes& want, const BoxBytes& got)
{
    if (want.all() == got.all()) { return ::testing::AssertionSuccess(); }
    auto told = ::testing::AssertionFailure();
    if (want.size() != got.size()) { told << "size: want " << want.size() << ", got " << got.size() << "; "; }
    u32 shown = 0;
    for (u32 at = 0; at < std::min(want.size(), got.size()) && shown < 16; at++) {
        if (want.byte(at) == got.byte(at)) { continue; }
        char line[64];
        (void)std::snprintf(line, sizeof line, "at %u: want %02x, got %02x; ", at, want.byte(at),
                            got.byte(at));
        told << line;
        shown++;
    }
    return told;
}

inline ::testing::AssertionResult Sound(const BoxBytes& file, const boxtest::CheckRules& rules = {})
{
    const std::string fault = boxtest::FirstFault(file.all(), rules);
    if (fault.empty()) { return ::testing::AssertionSuccess(); }
    return ::testing::AssertionFailure() << fault;
}

// The id that the search for a free one must choose in this box; 0 where it must fail.
class NewIdSearch {
public:
    explicit NewIdSearch(const BoxBytes& file) : file_(file) {}

    u32 run() const
    {
        const u32 hint = file_.hint() == 0 || file_.hint() > CARD_ID_NORMAL_MAX ? 1 : file_.hint();
        if (hint <= 500) { return scanDefault(hint); }
        const u32 card = file_.field(boxtest::hd::offsetCard);
        if (!boxtest::IsSet(card)) { return hint == 501 ? 501 : scanDefault(1); }
        const u32 k = boxtest::AppendGroupOf(hint);
        if (4 * k + 4 > file_.field(boxtest::hd::offsetCardSize) - 6) { return scanDefault(1); }
        const u32 table = file_.word(card + 6 + 4 * k);
        if (boxtest::IsSet(table)) { return scanTables(table, hint); }
        if (k == 0) { return hint == 501 ? 501 : scanDefault(1); }
        return boxtest::IsSet(file_.word(card + 6 + 4 * (k - 1))) ? hint : scanDefault(1);
    }

private:
    u32 scanDefault(u32 first) const
    {
        for (u32 id = first; id <= 500; id++) {
            if (!boxtest::IsSet(file_.entry(id + 10))) { return id; }
        }
        return file_.entry(511) == kNone ? 501 : scanTables(file_.entry(511), 501);
    }
    u32 scanTables(u32 table, u32 first) const
    {
        u32 id = first;
        for (u32 rounds = 0; rounds < 600 && file_.half(table) == OFFSET_TABLE_ID; rounds++) {
            for (u32 j = boxtest::AppendSlotOf(id); j < 128; j++, id++) {
                if (!boxtest::IsSet(file_.word(table + 6 + 4 * j))) { return within(id); }
            }
            table = file_.word(table + 518);
            if (table == kNone) { return within(id); }
        }
        return 0;
    }
    static u32 within(u32 id) { return id <= CARD_ID_NORMAL_MAX ? id : 0; }

    const BoxBytes& file_;
};

inline CardDescriptor Key(u16 id, const std::string& tag)
{
    CardDescriptor key{};
    key.cardId = id;
    std::copy(tag.begin(), tag.begin() + 4, key.itemNameId);
    return key;
}

// A key whose bytes 12 to 15 spell a tag as well.
inline CardDescriptor PatchKey(u16 id, const std::string& tag, const std::string& patchTag)
{
    CardDescriptor key = Key(id, tag);
    std::copy(patchTag.begin(), patchTag.begin() + 4, key.patchTag);
    return key;
}

inline const u8* Data(const std::string& value) { return reinterpret_cast<const u8*>(value.data()); }

inline u32 Write(BoxHandle box, u16 id, const std::string& tag, const std::string& value)
{
    const CardDescriptor key = Key(id, tag);
    return _CardWrite(box, &key, Data(value), static_cast<i32>(value.size()));
}

inline u32 WriteAt(BoxHandle box, u16 id, const std::string& tag, const std::string& value, u32 offset)
{
    const CardDescriptor key = Key(id, tag);
    return _CardOffsetWrite(box, &key, Data(value), static_cast<u32>(value.size()), offset);
}

inline u32 WriteFrom(BoxHandle box, u16 id, const std::string& tag, const std::string& fileName)
{
    const CardDescriptor key = Key(id, tag);
    return _CardWriteFromFile(box, fileName.c_str(), &key);
}

// An item's value, or "status N" where it cannot be read.
inline std::string Read(BoxHandle box, u16 id, const std::string& tag)
{
    const CardDescriptor key = Key(id, tag);
    u32 length = 0;
    const u32 asked = _CardRead(box, &key, nullptr, &length);
    if (asked == BXD_OK) { return {}; }
    if (asked != BXD_ERR_NOSPACE) { return "status " + std::to_string(asked); }
    std::string value(length, '\0');
    const u32 status = _CardRead(box, &key, reinterpret_cast<u8*>(value.data()), &length);
    return status == BXD_OK ? value : "status " + std::to_string(status);
}

// The image of the card under edit, so many bytes as its head tells.
inline Bytes EditImage(BoxHandle box)
{
    if ((*box)->tmpCardWork == nullptr) { return {}; }
    const u8* image = *(*box)->tmpCardWork;
    return Bytes(image, image + GET_4BYTES(image + 2) + 6);
}

// A value written to bytes of an open file, as another process's tool would.
inline void Poke(u8 fid, u32 at, const Bytes& bytes)
{
    u32 length = static_cast<u32>(bytes.size());
    ASSERT_EQ(BXD_OK, DataWriteToFile(fid, at, bytes.data(), &length));
}
inline void PokeHalf(u8 fid, u32 at, u32 value)
{
    Bytes bytes;
    boxtest::Add16(bytes, value);
    Poke(fid, at, bytes);
}
inline void PokeWord(u8 fid, u32 at, u32 value)
{
    Bytes bytes;
    boxtest::Add32(bytes, value);
    Poke(fid, at, bytes);
}

// A box, made by the library or put together by hand, and open.
class CardTest : public boxtest::BoxCase {
protected:
    static constexpr const char* kName = "F0:CARDS.BOX";

    ~CardTest() override
    {
        if (box != nullptr) { EXPECT_EQ(BXD_OK, _BoxClose(box)); }
    }

    // A box of the four first items and `own` more: "I000", "I001" and so on.
    void make(u32 own = 3, u32 editLimit = 0)
    {
        std::vector<ItemRecord> records(own);
        const std::vector<boxtest::Item> items = boxtest::NumberedItems(own + 4);
        for (u32 n = 0; n < own; n++) {
            records[n].itemType = items[n + 4].type;
            std::copy_n(items[n + 4].tag.begin(), 4, records[n].itemNameId);
            std::copy(items[n + 4].name.begin(), items[n + 4].name.end(), records[n].name);
        }
        u32 rewritten = 0;
        ASSERT_EQ(BXD_OK, _BoxCreate(kName, GET_4BYTES("TEST")));
        ASSERT_EQ(BXD_OK, _BoxItemAppend(kName, records.data(), static_cast<u16>(own), &rewritten));
        if (editLimit != 0) { ASSERT_EQ(BXD_OK, _WriteSystemcardSizeL(kName, editLimit)); }
        open();
    }
    // A box of these bytes.
    void start(const Bytes& content)
    {
        put(content, kName);
        open();
    }
    void start(const BoxBytes& content) { start(content.all()); }
    void open()
    {
        box = _BoxOpen(kName);
        ASSERT_NE(nullptr, box);
    }
    void close()
    {
        EXPECT_EQ(BXD_OK, _BoxClose(box));
        box = nullptr;
    }
    void reopen()
    {
        close();
        open();
    }

    BoxBytes file(const char* name = kName) const
    {
        std::ifstream in(path(name), std::ios::binary | std::ios::ate);
        Bytes content(in.good() ? static_cast<size_t>(in.tellg()) : 0);
        in.seekg(0);
        in.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
        return BoxBytes(std::move(content));
    }
    u8 fid() const { return (*box)->fid; }

    // Begins a card under edit and writes these own values to it.
    void edit(const Values& own)
    {
        u16 id = TMP_SYSTEM_CARD_ID;
        ASSERT_EQ(BXD_OK, _CardCreate(box, &id));
        setOwn(TMP_SYSTEM_CARD_ID, own);
    }
    void setOwn(u16 id, const Values& own)
    {
        for (u32 n = 0; n < own.size(); n++) {
            if (!own[n].empty()) { ASSERT_EQ(BXD_OK, Write(box, id, tag(n), own[n])); }
        }
    }
    // A new card through the card under edit.
    u16 add(const Values& own)
    {
        edit(own);
        u16 id = 0;
        EXPECT_EQ(BXD_OK, _CardCopy(box, TMP_SYSTEM_CARD_ID, &id));
        return id;
    }
    // A card under edit that has moved to the file, and its values.
    Values spill(const Values& own = {"name", "", "memo"})
    {
        edit(own);
        EXPECT_EQ(BXD_OK, Write(box, TMP_SYSTEM_CARD_ID, "I001", Stuff(12000)));
        EXPECT_EQ(2, state());
        Values values = Live(own);
        values[5] = Stuff(12000);
        return values;
    }
    u8 state() const { return (*box)->tmpCardState; }
    void expectNoEdit() const
    {
        EXPECT_EQ(0, state());
        EXPECT_EQ(0u, (*box)->tmpCardId);
        EXPECT_EQ(nullptr, (*box)->tmpCardWork);
    }
    u32 copy(u16 source, u16 target) const { return _CardCopy(box, source, &target); }
    // A new card from `source`; gives its id.
    u16 copyNew(u16 source) const
    {
        u16 id = 0;
        EXPECT_EQ(BXD_OK, _CardCopy(box, source, &id));
        return id;
    }
    // A system card the same way.
    void addSystem(u16 id, const Values& own)
    {
        edit(own);
        EXPECT_EQ(BXD_OK, _CardCopy(box, TMP_SYSTEM_CARD_ID, &id));
    }
    // Kills a stored card as a physical deletion does: the card, its slot, the count, the hint.
    void kill(u16 id)
    {
        u32 pos = 0;
        u32 behindSlot = 0;
        u32 left = 0;
        ASSERT_EQ(BXD_OK, GetCardOffset(fid(), id, &pos, &behindSlot, &left));
        ASSERT_TRUE(boxtest::IsSet(pos));
        ASSERT_EQ(BXD_OK, DeleteCardData(fid(), pos));
        PokeWord(fid(), behindSlot - 4, 0);
        ASSERT_EQ(BXD_OK, DecCardCount(fid()));
        ASSERT_EQ(BXD_OK, UpdateUnUsedCardID(fid(), id));
    }

    // Dead bytes that this process has seen.
    static u32 ramGarbage() { return _ReadGarbageSize(0); }
    static std::string tag(u32 own) { return "I" + std::to_string(1000 + own).substr(1); }

    BoxHandle box = nullptr;
};

}  // namespace cardtest
