// SPDX-License-Identifier: MIT
// The bytes of a box: length fields, card heads and the walk along them, the end mark and its mending, tags
// in the item table. At the end the tests' own builder and verifier are held against each other.
#include "box/bxd_card_read.h"

#include "tests/support/box_case.h"

using namespace boxtest;

namespace {

class CardChain : public BoxCase {};
class EndMark : public BoxCase {};
class LastCard : public BoxCase {};
class ItemTags : public ::testing::Test {};

// --- length fields -----------------------------------------------------------------------------------------

struct LengthCase {
    u32 value;
    Bytes field;
};

const LengthCase kLengths[] = {
    {0, {0x00}},
    {1, {0x01}},
    {127, {0x7F}},
    {128, {0x80, 0x80}},
    {255, {0x80, 0xFF}},
    {256, {0x81, 0x00}},
    {16383, {0xBF, 0xFF}},
    {16384, {0xC0, 0x00, 0x40, 0x00}},
    {65536, {0xC0, 0x01, 0x00, 0x00}},
    {0x123456, {0xC0, 0x12, 0x34, 0x56}},
    {0x3FFFFFFF, {0xFF, 0xFF, 0xFF, 0xFF}},
};

TEST(LengthFields, AreWrittenInTheShortestForm)
{
    for (const LengthCase& c : kLengths) {
        Bytes out(6, 0x55);
        u8* const behind = CardLengthWrite(out.data(), c.value);
        EXPECT_EQ(behind, out.data() + c.field.size()) << c.value;
        EXPECT_TRUE(SameBytes(c.field + Bytes{0x55}, Slice(out, 0, c.field.size() + 1))) << c.value;
    }
}

TEST(LengthFields, AreReadAndPassed)
{
    for (const LengthCase& c : kLengths) {
        const u8* cursor = c.field.data();
        EXPECT_EQ(GetCardItemLength(&cursor), c.value);
        EXPECT_EQ(cursor, c.field.data() + c.field.size()) << c.value;
    }
}

TEST(LengthFields, AreReadInALongerFormThanNeeded)
{
    const LengthCase longer[] = {{5, {0x80, 0x05}},
                                 {0, {0x80, 0x00}},
                                 {5, {0xC0, 0x00, 0x00, 0x05}},
                                 {0x01020304, {0xC1, 0x02, 0x03, 0x04}},
                                 {300, {0xC0, 0x00, 0x01, 0x2C}}};
    for (const LengthCase& c : longer) {
        const u8* cursor = c.field.data();
        EXPECT_EQ(GetCardItemLength(&cursor), c.value);
        EXPECT_EQ(cursor, c.field.data() + c.field.size());
    }
}

TEST(LengthFields, ComeBackAsTheyWent)
{
    for (u32 value = 0; value < 0x40000000; value = value < 70000 ? value + 7 : value * 2 + 1) {
        u8 field[4];
        const u8* const behind = CardLengthWrite(field, value);
        const u8* cursor = field;
        EXPECT_EQ(GetCardItemLength(&cursor), value);
        EXPECT_EQ(cursor, behind);
        EXPECT_EQ(Bytes(static_cast<const u8*>(field), behind), LengthField(value));
    }
}

// --- heads -------------------------------------------------------------------------------------------------

// ReadCardSize on a file of these bytes.
struct HeadRead {
    u32 status;
    CardHead head;
    Bytes after;
};

class Heads : public BoxCase {
protected:
    HeadRead read(const Bytes& file, u32 pos)
    {
        put(file);
        HeadRead out{0, {0, 0, 0}, {}};
        {
            Fid fid(kBox);
            out.status = ReadCardSize(fid.id(), static_cast<i32>(pos), &out.head);
        }
        out.after = get();
        return out;
    }
};

TEST_F(Heads, GiveIdAndLength)
{
    const Bytes file = Bytes(10, 0x11) + EncodeHead(0x1234, 0x00ABCDEF) + Bytes(5, 0);
    const HeadRead r = read(file, 10);
    EXPECT_EQ(r.status, 0u);
    EXPECT_EQ(r.head.bytesRead, 6u);
    EXPECT_EQ(r.head.cardId, 0x1234);
    EXPECT_EQ(r.head.cardLength, 0x00ABCDEFu);
    EXPECT_TRUE(SameBytes(file, r.after));
}

TEST_F(Heads, TheEndMarkIsACardOfNoLength)
{
    for (size_t behind : {0u, 1u, 2u, 3u}) {  // bytes that stand behind the mark, too few for a head
        const Bytes file = Bytes(10, 0x11) + Bytes{0xFF, 0xFF} + Bytes(behind, 0x22);
        const HeadRead r = read(file, 10);
        EXPECT_EQ(r.status, 0u) << behind;
        EXPECT_EQ(r.head.cardId, 0xFFFF);
        EXPECT_EQ(r.head.cardLength, 0u);
        EXPECT_EQ(r.head.bytesRead, 2 + behind);
        EXPECT_TRUE(SameBytes(file, r.after));
    }
}

TEST_F(Heads, ATornEndMarkIsMendedByTheFirstReaderThatMeetsIt)
{
    for (const Bytes& torn : {Bytes{0x00, 0x00}, Bytes{0xFE, 0xFF}, Bytes{0xFF, 0x00}, Bytes{0x12, 0x34}}) {
        const Bytes start(10, 0x11);
        const HeadRead first = read(start + torn, 10);
        EXPECT_EQ(first.status, 71u);
        EXPECT_TRUE(SameBytes(start + Bytes{0xFF, 0xFF}, first.after));
        const HeadRead second = read(first.after, 10);
        EXPECT_EQ(second.status, 0u);
        EXPECT_EQ(second.head.cardId, 0xFFFF);
    }
}

TEST_F(Heads, CutShortOtherwiseAreDamageThatStays)
{
    for (size_t left : {1u, 3u, 4u, 5u}) {
        const Bytes file = Bytes(10, 0x11) + Slice(EncodeHead(5, 100), 0, left);
        const HeadRead r = read(file, 10);
        EXPECT_EQ(r.status, 71u) << left;
        EXPECT_TRUE(SameBytes(file, r.after)) << left;
    }
    const Bytes half = Bytes(10, 0x11) + Bytes{0xFF};
    const HeadRead r = read(half, 10);
    EXPECT_EQ(r.status, 71u);
    EXPECT_TRUE(SameBytes(half, r.after));
}

TEST_F(Heads, AtOrBehindTheEndOfTheFileFail)
{
    const Bytes file(10, 0x11);
    for (u32 pos : {10u, 11u, 5000u, 0x7FFFFFFFu, 0x80000000u, kNone}) {
        const HeadRead r = read(file, pos);
        EXPECT_EQ(r.status, 71u) << pos;
        EXPECT_TRUE(SameBytes(file, r.after)) << pos;
    }
}

TEST_F(CardChain, ReachesEveryCardAndTheEndMark)
{
    BoxBuilder box(NumberedItems(6));
    std::vector<Link> want;
    want.push_back({box.card(1, box.row({{"I000", B("one")}})), 1, 0});
    want.push_back({box.dead(20), 0, 0});
    want.push_back({box.systemCard(4, 65400, box.row()), 65400, 0});
    want.push_back({box.extInfoCard(B("info")), 65523, 0});
    want.push_back({box.indexTable({}), 65521, 0});
    box.makeTablesFor(501);
    want.push_back({box.appendTable(0), 65520, 0});
    want.push_back({box.reserveOffsetCard(1), 65522, 0});
    want.push_back({box.editCard(box.row()), 65280, 0});
    const Bytes file = box.build();
    put(file);
    Fid fid(kBox);
    u32 pos = GetField(file, hd::cardOffset);
    for (const Link& link : want) {
        CardHead head{};
        ASSERT_EQ(ReadCardSize(fid.id(), static_cast<i32>(pos), &head), 0u);
        EXPECT_EQ(pos, link.pos);
        EXPECT_EQ(head.cardId, link.id);
        pos += head.total();
    }
    CardHead end{};
    EXPECT_EQ(ReadCardSize(fid.id(), static_cast<i32>(pos), &end), 0u);
    EXPECT_EQ(end.cardId, 0xFFFF);
    EXPECT_EQ(pos + 2, file.size());
}

// --- the end mark ------------------------------------------------------------------------------------------

struct MarkCase {
    const char* name;
    Bytes file;
    u32 pos;
    u32 status;
    Bytes after;
};

TEST_F(EndMark, IsTestedAndMended)
{
    const MarkCase cases[] = {
        {"an empty file", {}, 0, 71, {}},
        {"the mark", {1, 2, 0xFF, 0xFF}, 2, 0, {1, 2, 0xFF, 0xFF}},
        {"the mark alone", {0xFF, 0xFF}, 0, 0, {0xFF, 0xFF}},
        {"a torn mark", {1, 2, 0x00, 0xFF}, 2, 71, {1, 2, 0xFF, 0xFF}},
        {"another torn mark", {1, 2, 0xFF, 0xFE}, 2, 71, {1, 2, 0xFF, 0xFF}},
        {"a missing mark", {1, 2}, 2, 71, {1, 2, 0xFF, 0xFF}},
        {"half a mark", {1, 2, 0xFF}, 2, 71, {1, 2, 0xFF}},
        {"bytes behind the mark", {1, 2, 0xFF, 0xFF, 9}, 2, 71, {1, 2, 0xFF, 0xFF, 9}},
        {"a place behind the file", {1, 2}, 3, 71, {1, 2}},
        {"a place far behind the file", {1, 2}, kNone, 71, {1, 2}},
        {"a place that wraps to the file's size", {1, 2}, kNone - 1, 71, {1, 2}},
    };
    for (const MarkCase& c : cases) {
        put(c.file);
        {
            EXPECT_EQ(ChkEndMark(Fid(kBox).id(), c.pos), c.status) << c.name;
        }
        EXPECT_TRUE(SameBytes(c.after, get())) << c.name;
    }
}

TEST_F(EndMark, IsNotMendedWithoutTheRightToWrite)
{
    const Bytes file{1, 2, 0, 0};
    put(file);
    {
        EXPECT_EQ(ChkEndMark(Fid(kBox, BXD_MODE_READ).id(), 2), 71u);
    }
    {
        EXPECT_EQ(ChkEndMark(Fid(kBox, BXD_MODE_READ).id(), 4), 71u);
    }
    EXPECT_TRUE(SameBytes(file, get()));
}

TEST_F(EndMark, WithoutAnOpenFileFails) { EXPECT_EQ(ChkEndMark(77, 0), 71u); }

TEST_F(LastCard, IsTheOneBeforeTheEndMark)
{
    BoxBuilder box(NumberedItems(6));
    const u32 first = box.card(1);
    const u32 second = box.card(2);
    const Bytes file = box.build();
    put(file);
    Fid fid(kBox);
    EXPECT_FALSE(IsLastCard(fid.id(), first));
    EXPECT_TRUE(IsLastCard(fid.id(), second));
}

TEST_F(LastCard, IsNotOneWithADeadCardBehindIt)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1);
    box.dead(6);
    put(box.build());
    EXPECT_FALSE(IsLastCard(Fid(kBox).id(), pos));
}

TEST_F(LastCard, IsNoneWithoutLengthOrWithoutBytes)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.raw(EncodeHead(1, 0));
    const Bytes file = box.build();
    put(file);
    Fid fid(kBox);
    EXPECT_FALSE(IsLastCard(fid.id(), pos));
    EXPECT_FALSE(IsLastCard(fid.id(), static_cast<u32>(file.size())));
    EXPECT_FALSE(IsLastCard(fid.id(), kNone));
    EXPECT_FALSE(IsLastCard(77, pos));
}

TEST_F(LastCard, IsNotOneWhoseLengthLeadsRoundToAnotherMark)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1);
    box.card(2);
    for (u32 mark : {4u, 64u, 70u}) {  // 0xFF 0xFF in the header
        Bytes file = box.build();
        Put16(file, mark, 0xFFFF);
        Put32(file, pos + 2, mark - pos - kHeadBytes);
        put(file);
        EXPECT_FALSE(IsLastCard(Fid(kBox).id(), pos)) << mark;
    }
}

// --- tags in the item table --------------------------------------------------------------------------------

TEST_F(ItemTags, AreFoundWithAllThatTheEntryHolds)
{
    const Bytes table = EncodeItemTable(DefaultItems() + std::vector<Item>{{12, 34, "CTGR", "Category"}});
    ItemEntry entry{};
    ASSERT_EQ(SearchItemNameID(Tag("CTGR"), table.data(), &entry), 0u);
    EXPECT_EQ(entry.itemNumber, 5);
    EXPECT_EQ(entry.itemType, 12);
    EXPECT_EQ(entry.itemSubType, 34);
    EXPECT_EQ(entry.entryLength, 14);
    EXPECT_EQ(entry.bytes, table.data() + 1 + 73 + 2);
    ASSERT_EQ(SearchItemNameID(Tag("ATTR"), table.data(), &entry), 0u);
    EXPECT_EQ(entry.itemNumber, 1);
    EXPECT_EQ(entry.bytes, table.data() + 3);
}

TEST_F(ItemTags, DifferInTheCaseOfLaterLettersOnly)
{
    const Bytes table = EncodeItemTable(DefaultItems());
    ItemEntry entry{};
    for (const char* tag : {"ATTR", "aTTR", "cTTM", "CTTM", "SYID"}) {
        EXPECT_EQ(SearchItemNameID(Tag(tag), table.data(), &entry), 0u) << tag;
    }
    for (const char* tag : {"AtTR", "ATtR", "ATTr", "attr", "cttm", "BTTR", "XXXX"}) {
        EXPECT_EQ(SearchItemNameID(Tag(tag), table.data(), &entry), 66u) << tag;
    }
}

TEST_F(ItemTags, IgnoreBitFiveOfTheFirstCharacterWhateverItIs)
{
    const Bytes table = EncodeItemTable({{1, 0,
                                          "\x10"
                                          "BCD",
                                          ""},
                                         {1, 0, "[BCD", ""}});
    ItemEntry entry{};
    EXPECT_EQ(SearchItemNameID(Tag("0BCD"), table.data(), &entry), 0u);
    EXPECT_EQ(entry.itemNumber, 1);
    EXPECT_EQ(SearchItemNameID(Tag("{BCD"), table.data(), &entry), 0u);
    EXPECT_EQ(entry.itemNumber, 2);
}

TEST_F(ItemTags, OfDoublesTheFirstIsFound)
{
    const Bytes table = EncodeItemTable({{1, 0, "AAAA", "x"}, {2, 0, "aAAA", "y"}});
    ItemEntry entry{};
    ASSERT_EQ(SearchItemNameID(Tag("aAAA"), table.data(), &entry), 0u);
    EXPECT_EQ(entry.itemNumber, 1);
}

TEST_F(ItemTags, ShortEntriesCountAsPlacesAndAreNeverFound)
{
    // Entries of 5, 0 and 6 bytes; the first holds what looks like a tag but for its last letter.
    const Bytes table{3, 5, 0, 1, 0, 'A', 'B', 'C', 0, 0, 6, 0, 1, 0, 'A', 'B', 'C', 0};
    ItemEntry entry{};
    ASSERT_EQ(SearchItemNameID(Tag("ABC\0"), table.data(), &entry), 0u);
    EXPECT_EQ(entry.itemNumber, 3);
}

TEST_F(ItemTags, OfAnEmptyTableAreNotFound)
{
    const Bytes table{0};
    ItemEntry entry{};
    EXPECT_EQ(SearchItemNameID(Tag("ATTR"), table.data(), &entry), 66u);
}

TEST_F(ItemTags, TwoHaveNamesOfTheirOwn)
{
    EXPECT_EQ(std::memcmp(search_data_attr, "ATTR", 4), 0);
    EXPECT_EQ(std::memcmp(search_data_category, "CTGR", 4), 0);
}

// --- builder and verifier ----------------------------------------------------------------------------------

// A box with one of everything.
BoxBuilder FullBox()
{
    BoxBuilder box(NumberedItems(6));
    box.card(1, box.row({{"I000", B("one")}}));
    box.dead(40);
    box.card(500);
    box.card(501, box.row({{"I001", Bytes(300, 'x')}}));
    box.card(700, box.row({{"ATTR", {0x00}}}));
    box.systemCard(2, 65281, box.row());
    box.systemCard(10, 65519, box.row());
    box.extInfoCard(B("extended"));
    box.indexTable({{"ONE.IDX"}, {"TWO.IDX"}});
    box.editCard(box.row());
    return box;
}

TEST(BoxVerifier, FindsNoFaultInSoundBoxes)
{
    EXPECT_TRUE(IsSound(NewBoxImage("TEST")));
    EXPECT_TRUE(IsSound(BoxBuilder().build()));
    EXPECT_TRUE(IsSound(FullBox().build()));
    BoxBuilder many(NumberedItems(5));
    for (u32 id = 1; id <= 9000; id++) { many.card(id); }  // 67 append tables, more than 256 bytes of words
    EXPECT_TRUE(IsSound(many.build()));
    EXPECT_EQ(GetField(many.build(), hd::offsetCardSize), 518u);
}

TEST(BoxVerifier, NamesTheFirstFaultOfADamagedBox)
{
    BoxBuilder box = FullBox();
    const Bytes sound = box.build();
    const u32 card = Get32(sound, box.slotAt(1));
    const u32 offsetCard = GetField(sound, hd::offsetCard);
    const u32 size = static_cast<u32>(sound.size());
    struct Damage {
        const char* fault;  // how the description begins
        u32 at;
        u32 word;
    };
    const Damage damages[] = {
        {"the first four bytes", 0, 0},
        {"offsetTable", 16, 73},
        {"syncFlag or reserved", 64, 0},
        {"itemOffset", 8, 2121},
        {"items", 2120, Get32(sound, 2120) - 1},
        {"the card area begins", 4, 2120},
        {"chain", card + 2, 0x00FFFFFF},
        {"last word of the offset card", size - 2 - 4, 0},
        {"headSize", card + 6, Get32(sound, card + 6) + 1},
        {"slot of another card", DefaultWordAt(12), card},
        {"slot to nowhere", DefaultWordAt(12), card + 1},
        {"slot of a dead card", DefaultWordAt(12), BoxView(sound).links()[1].pos},
        {"unreferenced", DefaultWordAt(11), kNone},
        {"system slot", DefaultWordAt(2), card},
        {"extended information", DefaultWordAt(0), card},
        {"chain of tables", DefaultWordAt(511), 0},
        {"second table", box.appendTable(0) + 518, kNone},
        {"offset card word", offsetCard + 6, kNone},
        {"offset card behind its words", offsetCard + 6 + 8, 0},
        {"offsetCardSize", hd::offsetCardSize.at, 518},
        {"indexTableSize", hd::indexTableSize.at, 1030},
        {"garbageSize", hd::garbageSize.at, 41},
        {"cardCount", hd::cardCount.at, Get32(sound, 52) + 1},
        {"maxCardID", hd::maxCardID.at, 0xFFFF0000u | 699},
        {"unUsedCardID", hd::unUsedCardID.at, 0},
    };
    for (const Damage& d : damages) {
        Bytes file = sound;
        ASSERT_LE(d.at + 4, file.size()) << d.fault;
        const u32 kept = d.at == hd::unUsedCardID.at ? Get32(sound, d.at) & 0xFFFF0000u : 0;
        Put32(file, d.at, d.word | kept);
        EXPECT_NE(FirstFault(file), "") << d.fault;
    }
    EXPECT_NE(FirstFault(Slice(sound, 0, size - 1)), "");
    EXPECT_NE(FirstFault(Slice(sound, 0, size - 2)), "");
    EXPECT_NE(FirstFault(sound + Bytes{0}), "");
}

TEST(BoxVerifier, PassesOverWhatItIsToldToAccept)
{
    Bytes file = FullBox().build();
    SetField(file, hd::garbageSize, 7);
    EXPECT_EQ(FirstFault(file), "garbageSize is 7, dead bytes are 40");
    CheckRules rules;
    rules.garbageSize = false;
    EXPECT_EQ(FirstFault(file, rules), "");
    const Bytes longer = file + Bytes(9, 0xFF);
    EXPECT_NE(FirstFault(longer, rules), "");
    rules.endIsLast = false;
    EXPECT_EQ(FirstFault(longer, rules), "");
    rules.editCard = false;
    EXPECT_EQ(FirstFault(longer, rules), "a card under edit is left in the file");
}

TEST(BoxVerifier, ReadsValuesBack)
{
    const BoxView view(FullBox().build());
    EXPECT_EQ(Text(view.value(1, "I000")), "one");
    EXPECT_EQ(view.value(501, "I001"), Bytes(300, 'x'));
    EXPECT_EQ(view.value(700, "ATTR"), Bytes{0x00});
    EXPECT_TRUE(view.values(2).empty());
    EXPECT_FALSE(view.values(65519).empty());
    EXPECT_EQ(view.deadBytes(), 40u);
    EXPECT_EQ(view.items().size(), 6u);
}

}  // namespace
