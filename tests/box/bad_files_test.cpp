// SPDX-License-Identifier: MIT
// Files that are no boxes, or were boxes once: cut at every length, with every field of the header, every
// slot and every length wrong. Each call answers with a status and stays within the bytes that it was given;
// blocks handed in have exactly the promised size, so that a sanitizer sees every byte too many.
#include <memory>

#include "box/bxd_box_items.h"
#include "box/bxd_card_read.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_garb.h"
#include "tests/support/box_case.h"

#if defined(__SANITIZE_ADDRESS__)
#define BXD_TEST_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BXD_TEST_SANITIZED
#endif
#endif
#ifdef BXD_TEST_SANITIZED
#include <sanitizer/common_interface_defs.h>
#endif

using namespace boxtest;

namespace {

// --- shapes ------------------------------------------------------------------------------------------------

const std::vector<Item> kItems{{1, 0, "NAME", "Name"}, {12, 0, "CTGR", "Category"}};
constexpr u32 kItemCount = 6;

BoxBuilder CardsShape()
{
    BoxBuilder box(DefaultItems() + kItems);
    box.card(1, box.row({{"NAME", B("one")}, {"CTGR", {1, 2, 0xFF, 0xFF}}}));
    box.dead(20);
    box.card(2, box.row({{"NAME", Bytes(300, 'n')}}));
    return box;
}

BoxBuilder TablesShape()
{
    BoxBuilder box(DefaultItems() + kItems);
    box.card(1);
    box.makeTablesFor(501);
    box.reserveOffsetCard(2);
    box.card(501, box.row({{"NAME", B("first of a table")}}));
    box.card(640, box.row({{"NAME", B("of the second")}}));
    return box;
}

BoxBuilder SystemShape()
{
    BoxBuilder box(DefaultItems() + kItems);
    box.systemCard(1, 65300, box.row({{"NAME", B("system")}}));
    box.systemCard(10, 65301, box.row());
    box.extInfoCard(B("extended"));
    box.editCard(box.row({{"NAME", B("left")}}));
    return box;
}

BoxBuilder IndexShape()
{
    BoxBuilder box(DefaultItems() + kItems);
    box.indexTable({{"ONE.IDX", 1, 27}, {"F0:TWO.IDX", 3}});
    box.card(1);
    return box;
}

struct Shape {
    const char* name;
    Bytes (*make)();
};

void PrintTo(const Shape& shape, std::ostream* os) { *os << shape.name; }

const Shape kShapes[] = {
    {"New", [] { return NewBoxImage("TEST"); }},
    {"Items", [] { return BoxBuilder(DefaultItems() + kItems).build(); }},
    {"Cards", [] { return CardsShape().build(); }},
    {"Tables", [] { return TablesShape().build(); }},
    {"System", [] { return SystemShape().build(); }},
    {"Index", [] { return IndexShape().build(); }},
};

// --- calls -------------------------------------------------------------------------------------------------

bool IsStatus(u32 status)
{
    for (u32 known : {0u, 35u, 64u, 66u, 67u, 68u, 71u, 255u}) {
        if (status == known) { return true; }
    }
    return false;
}

// A fixed sequence of numbers for each seed.
class Rng {
public:
    explicit Rng(u32 seed) : state_(seed * 2 + 1) {}
    u32 operator()()
    {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        return static_cast<u32>(state_ >> 32);
    }

private:
    uint64_t state_;
};

#define EXPECT_STATUS(call) EXPECT_PRED1(IsStatus, (call))

// A block of exactly so many bytes of the heap.
class Room {
public:
    explicit Room(size_t size) : bytes_(new u8[size]) {}
    u8* get() const { return bytes_.get(); }
    char* text() const { return reinterpret_cast<char*>(bytes_.get()); }

private:
    std::unique_ptr<u8[]> bytes_;
};

void CallByName(const char* name)
{
    u32 word = 0, master = 0;
    u16 cards = 0, len = 20;
    u8 byte = 0;
    const Room tag(4), path(256), record(20);
    EXPECT_STATUS(_BoxCardTotal(name, &word, &cards));
    EXPECT_STATUS(_ReadAplName(name, &word));
    EXPECT_STATUS(_GetFileInfo(name, &byte));
    EXPECT_STATUS(_GetBoxGarbageSize(name, &word));
    for (u16 n : {u16{0}, u16{1}, u16{6}, u16{255}, u16{0xFFFF}}) {
        EXPECT_STATUS(_GetItemName(name, n, tag.get()));
    }
    EXPECT_STATUS(_BoxItemRead(name, Tag("NAME"), reinterpret_cast<ItemRecord*>(record.get()), &len));
    EXPECT_STATUS(_GetMasterIndex(name, path.text()));
    for (i32 n : {0, 1, 2, -1}) { EXPECT_STATUS(_GetIndexName(name, n, path.text(), 256, &master)); }
    EXPECT_STATUS(_GetIndexName(name, 1, path.text(), 3, &master));
}

void WriteByName(const char* name)
{
    EXPECT_STATUS(_WriteAplName(name, "ABCD"));
    EXPECT_STATUS(_WriteSystemcardSize(name, 3));
    EXPECT_STATUS(_WriteSystemcardSizeL(name, 3000));
    EXPECT_STATUS(_SetFileInfo(name, 9));
}

void ReadItems(BoxHandle box, u32 id)
{
    for (const char* tag : {"ATTR", "NAME", "CTGR"}) {
        const CardDescriptor key = Key(id, tag);
        const Room room(40);
        u32 len = 40;
        EXPECT_STATUS(_CardRead(box, &key, room.get(), &len));
        len = 7;
        EXPECT_STATUS(_CardOffsetRead(box, &key, room.get(), &len, 2));
        EXPECT_LE(len, 7u);
    }
    const CardDescriptor key = Key(id, "CTGR");
    const Room list(3);
    u32 count = 3;
    EXPECT_STATUS(_CardCategoryRead(box, &key, list.get(), &count));
    count = 0;
    EXPECT_STATUS(_CardCategoryRead(box, &key, nullptr, &count));
}

void CallWithHandle(const char* name, u32 readOnly)
{
    OpenBox box(name, readOnly);
    if (!box.ok()) { return; }
    EXPECT_LE(_GetItemNum(box.handle()), 255u);
    const Room record(20);
    u16 len = 20;
    EXPECT_STATUS(_BoxItemReadHeap(box.handle(), Tag("NAME"), record.get(), &len));
    for (u32 id : {0u, 1u, 2u, 500u, 501u, 640u, 65279u, 65280u, 65300u, 65301u, 65523u, 65535u}) {
        ReadItems(box.handle(), id);
    }
}

// The inner look-ups, and a walk along the chain that is held to the file's size.
void CallWithFile(const char* name)
{
    Fid file(name);
    if (!file.ok()) { return; }
    const u8 fid = file.id();
    CardSlotCursor cursor{};
    cursor.valid = kCursorNew;
    for (u32 id : {1u, 500u, 501u, 640u, 65279u}) {
        u32 pos = 0;
        EXPECT_STATUS(GetFilePtrWithoutOffsetTable(fid, static_cast<u16>(id), &pos));
        EXPECT_STATUS(BoxSearchCheckInit(fid, static_cast<u16>(id), &cursor));
        u32 table[512];
        u32 tablePos = 0;
        if (ReadOffsetTable(fid, nullptr, sizeof table, table) == 0) {
            EXPECT_STATUS(GetFilePtr(fid, static_cast<u16>(id), table, &pos, &tablePos));
        }
        for (u8 item : {u8{1}, u8{5}, u8{6}, u8{255}}) {
            CardItemPlace place{};
            const Room value(16);
            (void)ReadItemData(fid, &place, item, pos, 16, value.get());
        }
    }
    u32 chain = 0;
    u32 size = 4;
    if (DataReadFromFile(fid, 4, &chain, &size) != 0 || size != 4) { return; }
    for (size_t steps = 0; steps < 40; steps++) {
        CardHead head{};
        if (ReadCardSize(fid, static_cast<i32>(chain), &head) != 0 || head.cardId == 0xFFFF) { break; }
        (void)IsLastCard(fid, chain);
        chain += head.total();
    }
}

// All that only reads, though an end mark may be mended and a garbage bit cleared on the way.
void ReadAll()
{
    CallByName(kBox);
    CallWithHandle(kBox, 0);
    CallWithHandle(kBox, 1);
    CallWithFile(kBox);
    EXPECT_EQ(OpenFiles(), 0u);
}

// The report of a sanitizer must not be lost with the messages.
void ReportToRealStderr()
{
#ifdef BXD_TEST_SANITIZED
    static const int fd = dup(STDERR_FILENO);
    __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<intptr_t>(fd)));
#endif
}

class BadFiles : public BoxCase {
protected:
    void SetUp() override
    {
        ReportToRealStderr();
        quiet_ = std::make_unique<Captured>();
    }
    void TearDown() override { quiet_.reset(); }

    // The first file on which something failed, but for its rows of 0xFF.
    void tellOnce(const Bytes& file)
    {
        if (!HasFailure() || told_) { return; }
        told_ = true;
        std::string rows;
        for (size_t at = 0; at < file.size(); at += 16) {
            const Bytes row = Slice(file, at, 16);
            if (row == Bytes(row.size(), 0xFF)) { continue; }
            rows += std::to_string(at) + ":";
            for (u8 byte : row) { rows += " " + std::to_string(byte); }
            rows += "\n";
        }
        ADD_FAILURE() << "on this file of " << file.size() << " bytes:\n" << rows;
    }

    // Every call on this file; those that change it get the file anew.
    void everything(const Bytes& file)
    {
        put(file);
        ReadAll();
        put(file);
        WriteByName(kBox);
        kill(file);
        append(file);
        put(file);
        EXPECT_STATUS(_BoxDelete(kBox));
        tellOnce(file);
    }
    void reads(const Bytes& file)
    {
        put(file);
        ReadAll();
        tellOnce(file);
    }
    void kill(const Bytes& file)
    {
        const u32 size = static_cast<u32>(file.size());
        for (u32 pos : {0u, 2120u, 2200u, size - 2, size, kNone}) {
            put(file);
            Fid open(kBox);
            ASSERT_TRUE(open.ok());
            EXPECT_STATUS(DeleteCardData(open.id(), pos));
            EXPECT_STATUS(ChkEndMark(open.id(), pos));
        }
    }
    void append(const Bytes& file)
    {
        // A box with items would have its whole schema changed, which is another call's matter.
        if (file.size() >= 12 && Get32(file, 8) != kNone) { return; }
        put(file);
        const ItemRecord record{1, 0, {'N', 'A', 'M', 'E'}, "Name"};
        u32 rewritten = 0;
        EXPECT_STATUS(_BoxItemAppend(kBox, &record, 1, &rewritten));
    }

private:
    bool told_ = false;
    std::unique_ptr<Captured> quiet_;  // the messages of thousands of calls
};

class BadFilesOf : public BadFiles, public ::testing::WithParamInterface<Shape> {};

INSTANTIATE_TEST_SUITE_P(Shapes, BadFilesOf, ::testing::ValuesIn(kShapes),
                         [](const auto& shape) { return shape.param.name; });

// Values that a field of four bytes may be given: corners, and what makes sense in this file.
std::vector<u32> Values(const Bytes& file, u32 seed, size_t random)
{
    const u32 size = static_cast<u32>(file.size());
    std::vector<u32> out{0,         1,         2,         5,          6,          71,          72,
                         255,       256,       511,       2119,       2120,       2121,        size - 7,
                         size - 6,  size - 3,  size - 2,  size - 1,   size,       size + 1,    0x7FFF,
                         0x8000,    0xFFFF,    0x10000,   0x7FFFFFFF, 0x80000000, kNone - 283, kNone - 20,
                         kNone - 7, kNone - 5, kNone - 2, kNone - 1,  kNone};
    Rng rng(seed);
    for (size_t n = 0; n < random; n++) { out.push_back(rng()); }
    for (size_t n = 0; n < random; n++) { out.push_back(rng() % (size + 16)); }
    return out;
}

// --- what must hold on the sound files ---------------------------------------------------------------------

TEST_P(BadFilesOf, TheSoundShapeIsSound)
{
    const Bytes file = GetParam().make();
    EXPECT_TRUE(IsSound(file));
    everything(file);
    reads(file);
    EXPECT_TRUE(SameBytes(file, get()));
}

// --- cut ---------------------------------------------------------------------------------------------------

TEST_P(BadFilesOf, CutAtEveryLength)
{
    const Bytes file = GetParam().make();
    // Inside the offset table the shapes differ in the header alone: all lengths of one, every seventh of the
    // others.
    const bool all = GetParam().make == kShapes[2].make;
    for (size_t size = 0; size < file.size(); size += !all && size > 100 && size < 2080 ? 7 : 1) {
        reads(Slice(file, 0, size));
    }
}

TEST_P(BadFilesOf, CutShortAndThenChanged)
{
    const Bytes file = GetParam().make();
    for (size_t size : {0u, 1u, 3u, 4u, 11u, 12u, 35u, 36u, 45u, 46u, 47u, 71u, 72u, 73u, 2119u}) {
        everything(Slice(file, 0, std::min(size_t{size}, file.size())));
    }
    for (size_t size = 2120; size < file.size(); size += 13) { everything(Slice(file, 0, size)); }
}

// --- the header --------------------------------------------------------------------------------------------

TEST_P(BadFilesOf, WithEveryHeaderFieldWrong)
{
    const Bytes file = GetParam().make();
    u32 seed = 1;
    for (const Field& f : hd::kAll) {
        for (u32 value : Values(file, seed++, 6)) {
            Bytes bad = file;
            SetField(bad, f, value);
            reads(bad);
        }
    }
}

TEST_P(BadFilesOf, WithEveryHeaderFieldWrongAndThenChanged)
{
    const Bytes file = GetParam().make();
    for (const Field& f : hd::kAll) {
        for (u32 value :
             {0u, 1u, static_cast<u32>(file.size()) - 2, 0x7FFFFFFFu, 0x80000000u, kNone - 1, kNone}) {
            Bytes bad = file;
            SetField(bad, f, value);
            everything(bad);
        }
    }
}

// Place and size that only together lead over the end.
TEST_P(BadFilesOf, WithPairsOfHeaderFieldsWrong)
{
    const Bytes file = GetParam().make();
    const std::pair<Field, Field> pairs[] = {{hd::itemOffset, hd::itemSize},
                                             {hd::offsetCard, hd::offsetCardSize},
                                             {hd::indexTable, hd::indexTableSize}};
    Rng rng(7);
    for (const auto& [place, size] : pairs) {
        for (int n = 0; n < 40; n++) {
            Bytes bad = file;
            const u32 at = n % 4 == 0 ? rng() : rng() % static_cast<u32>(file.size() + 4);
            const u32 room = static_cast<u32>(file.size()) - at;
            SetField(bad, place, at);
            SetField(bad, size, n % 3 == 0 ? room : n % 3 == 1 ? room + 1 : 0u - at);
            reads(bad);
        }
    }
}

// --- the item table ----------------------------------------------------------------------------------------

TEST_F(BadFiles, WithAWrongNumberOfItems)
{
    const Bytes file = CardsShape().build();
    for (u32 count = 0; count < 256; count++) {
        Bytes bad = file;
        bad[2120] = static_cast<u8>(count);
        reads(bad);
    }
}

TEST_F(BadFiles, WithWrongLengthsOfItems)
{
    const Bytes file = CardsShape().build();
    const u32 tableSize = GetField(file, hd::itemSize);
    u32 at = 2121;
    for (u32 item = 0; item < kItemCount; item++) {
        const u32 sound = Get16(file, at);
        for (u32 value : {0u, 1u, 5u, 6u, sound - 1, sound + 1, sound + 7, 255u, tableSize, 0x7FFFu, 0x8000u,
                          0xFFFEu, 0xFFFFu}) {
            Bytes bad = file;
            Put16(bad, at, value);
            reads(bad);
        }
        at += 2 + sound;
    }
    for (u32 size = 0; size < tableSize; size++) {
        Bytes bad = file;
        SetField(bad, hd::itemSize, size);
        reads(bad);
    }
}

TEST_F(BadFiles, WithAnItemTableOfWrongCountAtTheEndOfTheFile)
{
    const Bytes sound = BoxBuilder(DefaultItems() + kItems).build();  // the table ends with the file
    for (u32 count : {7u, 8u, 254u, 255u}) {
        Bytes bad = sound;
        bad[2120] = static_cast<u8>(count);
        everything(bad);
    }
    Bytes bad = sound;
    Put16(bad, bad.size() - 8 - 8, 0xFFF0);  // the last entry's length
    everything(bad);
}

// --- slots and tables --------------------------------------------------------------------------------------

TEST_F(BadFiles, WithSlotsThatLeadAnywhere)
{
    const Bytes file = CardsShape().build();
    for (u32 pos = 0; pos<file.size() + 12; pos += pos> 200 && pos < 2080 ? 32 : 1) {
        Bytes bad = file;
        for (u32 word : {0u, 1u, 10u, 11u, 511u}) { Put32(bad, DefaultWordAt(word), pos); }
        reads(bad);
    }
}

TEST_F(BadFiles, WithEachSlotLeadingToOddPlaces)
{
    for (const Bytes& file : {TablesShape().build(), SystemShape().build()}) {
        u32 seed = 50;
        for (u32 word : {0u, 1u, 2u, 10u, 11u, 510u, 511u}) {
            for (u32 value : Values(file, seed++, 5)) {
                Bytes bad = file;
                Put32(bad, DefaultWordAt(word), value);
                reads(bad);
            }
        }
    }
}

TEST_F(BadFiles, WithAppendTablesAndOffsetCardsWrong)
{
    BoxBuilder box = TablesShape();
    const Bytes file = box.build();
    const u32 offsetCard = GetField(file, hd::offsetCard);
    const u32 first = box.appendTable(0), second = box.appendTable(1);
    u32 seed = 90;
    for (u32 at : {first, first + 2, first + 6, first + 518, second + 2, second + 6 + 11 * 4, second + 518,
                   offsetCard, offsetCard + 2, offsetCard + 6, offsetCard + 10}) {
        for (u32 value : Values(file, seed++, 4)) {
            Bytes bad = file;
            Put32(bad, at, value);
            reads(bad);
        }
    }
}

TEST_F(BadFiles, WithIndexTablesWrong)
{
    const Bytes file = IndexShape().build();
    const u32 table = GetField(file, hd::indexTable);
    for (u32 at : {table, table + 2, table + 6, table + 8, table + 18, table + 6 + 20}) {
        for (u32 value :
             {0u, 1u, 2u, 11u, 12u, 13u, 511u, 512u, 513u, 0x0101FFFEu, 0xFFFEFFFEu, 0x0201FFFFu, kNone}) {
            Bytes bad = file;
            Put32(bad, at, value);
            everything(bad);
        }
    }
    Bytes bad = file;  // a name without an end, up to the table's end and beyond
    std::fill(bad.begin() + static_cast<std::ptrdiff_t>(table + 18),
              bad.begin() + static_cast<std::ptrdiff_t>(table + 518), u8{'x'});
    Put16(bad, table + 6, 510);
    everything(bad);
    SetField(bad, hd::indexTableSize, 519);
    everything(bad);
    for (u32 size = 0; size < 40; size++) {
        Bytes small = file;
        SetField(small, hd::indexTableSize, size);
        everything(small);
    }
}

// --- cards -------------------------------------------------------------------------------------------------

TEST_F(BadFiles, WithLengthTablesThatLie)
{
    const Bytes file = CardsShape().build();
    const BoxView view(file);
    for (u32 id : {1u, 2u}) {
        const u32 pos = view.find(id);
        for (u32 value : Values(file, id, 10)) {
            Bytes bad = file;
            Put16(bad, pos + 8, value);
            reads(bad);
            bad = file;
            Put32(bad, pos + 2, value);
            reads(bad);
            bad = file;
            Put32(bad, pos, value);
            reads(bad);
        }
        for (u32 field = 0; field < kItemCount; field++) {
            for (u32 value : {0u, 1u, 2u, 0x7Fu, 0x80u, 0x81u, 0xBFu, 0xC0u, 0xC1u, 0xFFu}) {
                Bytes bad = file;
                bad[pos + 10 + field] = static_cast<u8>(value);
                reads(bad);
            }
        }
    }
}

TEST_F(BadFiles, WithACardsLengthsAllAtOnceAtTheEndOfTheFile)
{
    for (u32 fill : {0x00u, 0x7Fu, 0x80u, 0xBFu, 0xC0u, 0xFFu}) {
        for (u32 tableSize : {0u, 1u, 5u, 6u, 7u, 300u, 0x7FFFu, 0xFFFFu}) {
            BoxBuilder box(DefaultItems() + kItems);
            Bytes card = EncodeCard(1, std::vector<Bytes>(kItemCount, Bytes{1}));
            std::fill(card.begin() + 10, card.end(), static_cast<u8>(fill));
            Put16(card, 8, tableSize);
            const u32 pos = box.raw(card);
            box.setSlot(1, pos);
            everything(box.build());
        }
    }
}

TEST_F(BadFiles, WithACardUnderEditThatLies)
{
    BoxBuilder builder(DefaultItems() + kItems);
    const u32 pos = builder.editCard(builder.row({{"NAME", B("left")}}));
    const Bytes file = builder.build();
    for (u32 value : Values(file, 11, 10)) {
        for (u32 at : {pos + 2, pos + 8, pos + 10, pos + 14}) {
            Bytes bad = file;
            Put16(bad, at, value);
            put(bad);
            OpenBox box(kBox);
            ASSERT_TRUE(box.ok());
            box.record()->tmpCardState = kTmpCardInFile;
            box.record()->tmpCardId = kEditId;
            box.record()->tmpCardOffset = pos;
            ReadItems(box.handle(), kEditId);
            box.record()->tmpCardOffset = value;
            ReadItems(box.handle(), kEditId);
            box.record()->tmpCardState = kTmpCardNone;
        }
    }
}

// A chain that steps back or stands still would never end.
TEST_F(BadFiles, WithAChainThatDoesNotAdvance)
{
    BoxBuilder builder = CardsShape();
    const Bytes file = builder.build();
    const u32 pos = BoxView(file).find(1);
    const u32 next = pos + BoxView(file).links()[0].total();
    for (u32 length :
         {kNone - 5, kNone - 6, kNone - 11, 0u - (next - pos) - 6, 0u - next - 6, 0x7FFFFFFFu, 0x80000000u}) {
        Bytes bad = file;
        Put32(bad, next + 2, length);  // the dead card behind card 1
        put(bad);
        {
            Fid open(kBox);
            EXPECT_EQ(DeleteCardData(open.id(), pos), 71u) << length;
        }
        everything(bad);
    }
}

TEST_F(BadFiles, OfRandomBytes)
{
    for (u32 seed = 0; seed < 150; seed++) {
        Bytes file = Pattern(seed * 29 % 4000, seed);
        if (seed % 2 == 0 && file.size() > 4) {
            const Bytes head{0xFF, 0x00, 0x10, 0x31};
            std::copy(head.begin(), head.end(), file.begin());
        }
        everything(file);
    }
}

TEST_F(BadFiles, WithRandomWordsInSoundOnes)
{
    Rng rng(2024);
    std::vector<Bytes> sound;
    for (const Shape& shape : kShapes) { sound.push_back(shape.make()); }
    for (u32 n = 0; n < 1500; n++) {
        Bytes bad = sound[n % sound.size()];
        const u32 changes = 1 + rng() % 3;
        for (u32 k = 0; k < changes; k++) {
            // Mostly among the header and what stands behind the offset table.
            const u32 behind = static_cast<u32>(bad.size()) - 2120;
            const u32 at = rng() % 3 == 0 ? rng() % 68 : 2116 + rng() % (behind + 1);
            Put32(bad, at, rng() % 2 == 0 ? rng() : rng() % static_cast<u32>(bad.size() + 8));
        }
        reads(bad);
    }
}

}  // namespace
