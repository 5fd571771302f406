// SPDX-License-Identifier: MIT
// Writing an item of a card that stands in the file: the decision tables for stored and for system cards. And
// the end of the card under edit and of system cards.
#include "box/bxd_card_write.h"

#include <bxd/bxd.h>

#include "box/bxd_card_delete.h"
#include "box/bxd_garb.h"
#include "storage/heapwrapper.h"
#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;
constexpr const char* kSource = "F0:SOURCE.DAT";

class CardWrite : public CardTest {
protected:
    u32 create(u16 id = kEdit) { return _CardCreate(box, &id); }
    void source(const std::string& content) { put(B(content), kSource); }

    // The file after the stored card `id` was written anew behind the last card.
    static BoxBytes moved(BoxBytes want, u32 id, const Values& values)
    {
        const u32 old = want.slot(id);
        const u32 pos = want.addCard(Card(id, values));
        want.kill(old);
        want.setSlot(id, pos);
        return want;
    }
};

// --- a stored card: the decision table ---------------------------------------------------------------------

// Three stored cards: 1 and 2 stand before others, 3 is the last one.
class StoredCard : public CardWrite {
protected:
    void SetUp() override
    {
        make(3);
        for (u32 n = 1; n <= 3; n++) { ASSERT_EQ(n, add(own(n))); }
        ASSERT_TRUE(Sound(file()));
    }
    static Values own(u32 n) { return {"name " + std::to_string(n), Stuff(60, n), "memo"}; }
    Values with(u32 n, u32 item, const std::string& value) const
    {
        Values values = Live(own(n));
        values[4 + item] = value;
        return values;
    }
    // The last card in a new form, where it stands.
    BoxBytes last(const Values& values) const
    {
        BoxBytes want = file();
        want.replaceLast(want.slot(3), Card(3, values));
        return want;
    }
    void expectNothingMoved(const BoxBytes& want, u32 ram) const
    {
        EXPECT_TRUE(Same(want, file()));
        EXPECT_TRUE(Sound(file()));
        EXPECT_EQ(ram, ramGarbage());
    }
};

TEST_F(StoredCard, AnEmptyValueOverAnEmptyOneDoesNothing)
{
    const BoxBytes before = file();
    for (const u16 id : {u16{1}, u16{3}}) {
        ASSERT_EQ(BXD_OK, Write(box, id, "cTTM", ""));
        ASSERT_EQ(BXD_OK, WriteAt(box, id, "cTTM", "", 0));
        EXPECT_TRUE(Same(before, file()));
    }
}

TEST_F(StoredCard, AnEqualLengthIsPatchedInPlace)
{
    const u32 ram = ramGarbage();
    for (const u16 id : {u16{1}, u16{2}, u16{3}}) {
        BoxBytes want = file();
        ASSERT_EQ(BXD_OK, Write(box, id, "I001", Stuff(60, 99)));
        want.put(want.slot(id), Card(id, with(id, 1, Stuff(60, 99))));
        expectNothingMoved(want, ram);
        ASSERT_EQ(BXD_OK, Write(box, id, "I001", Stuff(60, 99)));
        expectNothingMoved(want, ram);
    }
}

TEST_F(StoredCard, ATailOfEqualLengthIsPatchedInPlace)
{
    BoxBytes want = file();
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, WriteAt(box, 1, "I001", Stuff(20, 50), 40));
    want.put(want.slot(1), Card(1, with(1, 1, Stuff(60, 1).substr(0, 40) + Stuff(20, 50))));
    expectNothingMoved(want, ram);
}

TEST_F(StoredCard, AnOffsetAtTheEndWithNothingToWriteDoesNothing)
{
    const BoxBytes before = file();
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, WriteAt(box, 1, "I001", "", 60));
    ASSERT_EQ(BXD_OK, WriteAt(box, 3, "I001", "", 60));
    expectNothingMoved(before, ram);
}

TEST_F(StoredCard, AnOffsetBehindTheOldValueIsOutOfRange)
{
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_RANGE, WriteAt(box, 1, "I001", "x", 61));
    EXPECT_EQ(BXD_ERR_RANGE, WriteAt(box, 3, "I001", "x", 61));
    EXPECT_EQ(BXD_ERR_RANGE, WriteAt(box, 3, "cTTM", "x", 1));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(StoredCard, AShorterValueShortensTheLastCardWhereItStands)
{
    const u32 ram = ramGarbage();
    for (const u32 length : {59u, 30u, 1u, 0u}) {
        const BoxBytes want = last(with(3, 1, Stuff(length, 7)));
        ASSERT_EQ(BXD_OK, Write(box, 3, "I001", Stuff(length, 7)));
        expectNothingMoved(want, ram);
    }
}

TEST_F(StoredCard, AShorterTailShortensTheLastCardWhereItStands)
{
    const std::string value = Stuff(60, 3).substr(0, 10) + "rest";
    const BoxBytes want = last(with(3, 1, value));
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, WriteAt(box, 3, "I001", "rest", 10));
    expectNothingMoved(want, ram);
    const BoxBytes cut = last(with(3, 1, value.substr(0, 5)));
    ASSERT_EQ(BXD_OK, WriteAt(box, 3, "I001", "", 5));
    expectNothingMoved(cut, ram);
}

TEST_F(StoredCard, AShorterSourceFileShortensTheLastCardWhereItStands)
{
    const u32 ram = ramGarbage();
    for (const u32 length : {59u, 10u, 0u}) {
        source(Stuff(length, 8));
        const BoxBytes want = last(with(3, 1, Stuff(length, 8)));
        ASSERT_EQ(BXD_OK, WriteFrom(box, 3, "I001", kSource));
        expectNothingMoved(want, ram);
    }
}

TEST_F(StoredCard, ALongerValueOnTheLastCardMovesBehindItself)
{
    const BoxBytes before = file();
    const u32 ram = ramGarbage();
    const BoxBytes want = moved(before, 3, with(3, 1, Stuff(61)));
    ASSERT_EQ(BXD_OK, Write(box, 3, "I001", Stuff(61)));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ(before.size() + before.total(before.slot(3)) + 1, file().size());
    EXPECT_EQ(before.total(before.slot(3)), file().garbage());
    EXPECT_EQ(ram + before.total(before.slot(3)), ramGarbage());
}

TEST_F(StoredCard, ALongerOrShorterValueOfAnotherCardMovesIt)
{
    for (const u32 length : {59u, 61u, 0u, 500u}) {
        const BoxBytes before = file();
        const u32 ram = ramGarbage();
        const u16 id = 1;
        ASSERT_EQ(BXD_OK, Write(box, id, "I001", Stuff(length, 5)));
        EXPECT_TRUE(Same(moved(before, id, with(id, 1, Stuff(length, 5))), file()));
        EXPECT_EQ(ram + before.total(before.slot(id)), ramGarbage());
        ASSERT_EQ(BXD_OK,
                  Write(box, 2, "I000", Stuff(length + 20, 6)));  // and card 1 is not the last one again
        EXPECT_TRUE(Sound(file()));
    }
}

TEST_F(StoredCard, ATailOfAnotherLengthMovesTheCard)
{
    BoxBytes before = file();
    ASSERT_EQ(BXD_OK, WriteAt(box, 1, "I001", "shorter", 10));
    EXPECT_TRUE(Same(moved(before, 1, with(1, 1, Stuff(60, 1).substr(0, 10) + "shorter")), file()));
    before = file();
    ASSERT_EQ(BXD_OK, WriteAt(box, 2, "I001", Stuff(30), 60));
    EXPECT_TRUE(Same(moved(before, 2, with(2, 1, Stuff(60, 2) + Stuff(30))), file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(StoredCard, ASourceFileOfEqualLengthMovesTheCardAllTheSame)
{
    source(Stuff(60, 8));
    for (const u16 id : {u16{1}, u16{3}}) {
        const BoxBytes before = file();
        ASSERT_EQ(BXD_OK, WriteFrom(box, id, "I001", kSource));
        EXPECT_TRUE(Same(moved(before, id, with(id, 1, Stuff(60, 8))), file()));
        EXPECT_TRUE(Sound(file()));
    }
}

TEST_F(StoredCard, ASourceFileOfAnotherLengthMovesACardThatIsNotTheLast)
{
    for (const u32 length : {10u, 200u, 0u}) {
        source(Stuff(length, 8));
        const BoxBytes before = file();
        ASSERT_EQ(BXD_OK, WriteFrom(box, 1, "I001", kSource));
        EXPECT_TRUE(Same(moved(before, 1, with(1, 1, Stuff(length, 8))), file()));
        ASSERT_EQ(BXD_OK, Write(box, 2, "I000", Stuff(length + 9)));
        EXPECT_TRUE(Sound(file()));
    }
}

TEST_F(StoredCard, ALongerSourceFileMovesTheLastCard)
{
    source(Stuff(40000, 8));
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, WriteFrom(box, 3, "I001", kSource));
    EXPECT_TRUE(Same(moved(before, 3, with(3, 1, Stuff(40000, 8))), file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(StoredCard, AnEmptySourceFileOverAnEmptyValueMovesTheCard)
{
    source("");
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, WriteFrom(box, 3, "cTTM", kSource));
    EXPECT_TRUE(Same(moved(before, 3, Live(own(3))), file()));
}

TEST_F(StoredCard, ACardThatIsNotThereIsAFailure)
{
    source("x");
    const BoxBytes before = file();
    for (const u16 id : {u16{4}, u16{500}, u16{501}, u16{65279}}) {
        EXPECT_EQ(BXD_ERR_FAIL, Write(box, id, "I000", "x"));
        EXPECT_EQ(BXD_ERR_FAIL, WriteFrom(box, id, "I000", kSource));
    }
    kill(2);
    const BoxBytes killed = file();
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, 2, "I000", "x"));
    EXPECT_TRUE(Same(killed, file()));
}

TEST_F(StoredCard, AWriteLeavesTheCountersOfIdsAlone)
{
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, Write(box, 1, "I000", "a longer name"));
    ASSERT_EQ(BXD_OK, Write(box, 3, "I000", ""));
    const BoxBytes after = file();
    EXPECT_EQ(before.cardCount(), after.cardCount());
    EXPECT_EQ(before.hint(), after.hint());
    EXPECT_EQ(before.maxId(), after.maxId());
}

TEST_F(StoredCard, TheCardUnderEditStaysThroughAWriteToAStoredCard)
{
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "in work"));
    ASSERT_EQ(BXD_OK, Write(box, 1, "I000", "a longer name"));
    EXPECT_EQ("in work", Read(box, kEdit, "I000"));
    EXPECT_EQ(1, state());
}

TEST_F(StoredCard, TheAttributeIsPatchedWithAllItsBits)
{
    BoxBytes want = file();
    const u32 attrAt = want.slot(1) + 17;
    ASSERT_EQ(BXD_OK, Write(box, 1, "ATTR", "\x37"));
    want.putByte(attrAt, 0x77);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ("\x37", Read(box, 1, "ATTR"));
    ASSERT_EQ(BXD_OK, Write(box, 1, "ATTR", "\x48"));
    want.putByte(attrAt, 0x08);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(StoredCard, BytesBehindTheKeyThatSpellTheTagKeepTheLowBitsOfTheAttribute)
{
    BoxBytes want = file();
    const u32 attrAt = want.slot(1) + 17;
    ASSERT_EQ(BXD_OK, Write(box, 1, "ATTR", "\x05"));  // stored 0x45
    const u8 value = 0x13;                             // flipped 0x53
    for (const char* patchTag : {"ATTR", "aTTR"}) {
        const CardDescriptor key = PatchKey(1, "ATTR", patchTag);
        ASSERT_EQ(BXD_OK, _CardWrite(box, &key, &value, 1));
        want.putByte(attrAt, 0x55);
        EXPECT_TRUE(Same(want, file())) << patchTag;
    }
    for (const char* patchTag : {"ATTr", "CTGR", "\0\0\0\0"}) {
        const CardDescriptor key = PatchKey(1, "ATTR", std::string(patchTag, 4));
        ASSERT_EQ(BXD_OK, _CardWrite(box, &key, &value, 1));
        want.putByte(attrAt, 0x53);
        EXPECT_TRUE(Same(want, file())) << patchTag;
        ASSERT_EQ(BXD_OK, Write(box, 1, "ATTR", "\x05"));
    }
}

TEST_F(StoredCard, BytesBehindTheKeyMeanNothingForOtherItems)
{
    const CardDescriptor key = PatchKey(1, "I002", "ATTR");
    ASSERT_EQ(BXD_OK, _CardWrite(box, &key, Data("MEMO"), 4));
    EXPECT_EQ("MEMO", Read(box, 1, "I002"));
    const CardDescriptor editKey = PatchKey(kEdit, "ATTR", "ATTR");
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "ATTR", "\x05"));
    const u8 value = 0x13;
    ASSERT_EQ(BXD_OK, _CardWrite(box, &editKey, &value, 1));
    EXPECT_EQ("\x13", Read(box, kEdit, "ATTR"));
}

TEST_F(StoredCard, AnAttributeBehindAnOffsetIsRefused)
{
    const BoxBytes before = file();
    EXPECT_NE(BXD_OK, WriteAt(box, 1, "ATTR", "x", 2));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(StoredCard, LengthFormsChangeAtTheirBordersInTheFile)
{
    Values values = Live(own(1));
    for (const u32 length : {127u, 128u, 16383u, 16384u, 16383u, 128u, 127u, 0u, 16384u, 1u}) {
        SCOPED_TRACE(length);
        values[5] = Stuff(length, length);
        BoxBytes want = file();
        want = moved(want, 1, values);
        ASSERT_EQ(BXD_OK, Write(box, 1, "I001", values[5]));
        EXPECT_TRUE(Same(want, file()));
        ASSERT_EQ(BXD_OK, Write(box, 2, "I000", Stuff(length % 100 + 30, 1)));
        ASSERT_EQ(BXD_OK, Write(box, 2, "I000", Stuff(length % 100 + 31, 1)));
    }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(StoredCard, LengthFormsShrinkOnTheLastCard)
{
    Values values = Live(own(3));
    values[5] = Stuff(40000, 1);
    ASSERT_EQ(BXD_OK, Write(box, 3, "I001", values[5]));
    for (const u32 length : {16384u, 16383u, 128u, 127u, 1u}) {
        SCOPED_TRACE(length);
        values[5] = Stuff(length, length);
        const BoxBytes want = last(values);
        ASSERT_EQ(BXD_OK, Write(box, 3, "I001", values[5]));
        EXPECT_TRUE(Same(want, file()));
    }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(StoredCard, ValuesOfSeveralMegabytesAreWrittenAndRead)
{
    const std::string large = Stuff(3'000'000, 1);
    const std::string larger = Stuff(4'500'000, 2);
    BoxBytes want = moved(file(), 1, with(1, 1, large));
    ASSERT_EQ(BXD_OK, Write(box, 1, "I001", large));
    EXPECT_TRUE(Same(want, file()));
    source(larger);
    want = moved(want, 2, with(2, 1, larger));
    ASSERT_EQ(BXD_OK, WriteFrom(box, 2, "I001", kSource));
    EXPECT_TRUE(Same(want, file()));
    want.replaceLast(want.slot(2), Card(2, with(2, 1, large)));
    source(large);
    ASSERT_EQ(BXD_OK, WriteFrom(box, 2, "I001", kSource));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(large, Read(box, 2, "I001"));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardWrite, ACardOfAnAppendTableHasItsSlotThere)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    for (const u32 id : {1u, 501u, 628u, 629u, 700u}) { b.card(id, b.row({{"I000", B("name")}})); }
    b.card(2);
    start(b.build());
    for (const u32 id : {501u, 628u, 629u, 700u}) {
        SCOPED_TRACE(id);
        const BoxBytes before = file();
        ASSERT_EQ(BXD_OK, Write(box, static_cast<u16>(id), "I000", "a longer name"));
        EXPECT_TRUE(Same(moved(before, id, Live({"a longer name", "", ""})), file()));
        EXPECT_EQ("a longer name", Read(box, static_cast<u16>(id), "I000"));
    }
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, 630, "I000", "x"));
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, 757, "I000", "x"));
    boxtest::CheckRules rules;
    rules.hint = false;
    EXPECT_TRUE(Sound(file(), rules));
}

TEST_F(CardWrite, ACardWithSlackKeepsItWhenItMoves)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1, b.row({{"I000", B("name")}, {"I002", B("memo")}}), {0, 9, 2});
    b.card(2);
    start(b.build());
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, Write(box, 1, "I000", "a longer name"));
    BoxBytes want = before;
    const u32 pos = want.addCard(Card(1, Live({"a longer name", "", "memo"}), 9));
    want.kill(before.slot(1));
    want.setSlot(1, pos);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ("memo", Read(box, 1, "I002"));
}

TEST_F(CardWrite, ALongerFormOfALengthThanItNeedsIsReadAndGivenUpWithTheItem)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    for (const u32 id : {1u, 2u, 3u}) {
        b.card(id, b.row({{"I000", B("name")}, {"I001", B("value")}, {"I002", B("memo")}}), {4, 0, 2});
    }
    start(b.build());
    // The fields of a card of four-byte lengths, of which own item 1 has become a short one.
    const auto mixed = [](u32 id, const std::string& value) {
        Bytes table;
        for (const u32 length : {1u, 0u, 0u, 0u, 4u}) { table = table + boxtest::LengthField(length, 4); }
        table = table + boxtest::LengthField(static_cast<u32>(value.size())) + boxtest::LengthField(4, 4);
        const Bytes data = B("@name" + value + "memo");
        Bytes card = boxtest::EncodeHead(id, static_cast<u32>(4 + table.size() + data.size()));
        boxtest::Add16(card, 2);
        boxtest::Add16(card, static_cast<u32>(table.size()));
        return card + table + data;
    };
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, Write(box, 1, "I001", "VALUE"));  // a patch leaves the form
    want.put(want.slot(1) + 10 + 28 + 5, B("VALUE"));
    EXPECT_TRUE(Same(want, file()));

    ASSERT_EQ(BXD_OK, Write(box, 1, "I001", "longer value"));
    const u32 old = want.slot(1);
    want.setSlot(1, want.addCard(mixed(1, "longer value")));
    want.kill(old);
    EXPECT_TRUE(Same(want, file()));

    ASSERT_EQ(BXD_OK, Write(box, 2, "I001", "val"));
    const u32 second = want.slot(2);
    want.setSlot(2, want.addCard(mixed(2, "val")));
    want.kill(second);
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, Write(box, 2, "I001", "v"));
    want.replaceLast(want.slot(2), mixed(2, "v"));
    EXPECT_TRUE(Same(want, file()));

    ASSERT_EQ(BXD_OK, copy(3, kEdit));
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", "eulav"));
    EXPECT_EQ(mixed(kEdit, "eulav"), EditImage(box));
    EXPECT_EQ("memo", Read(box, kEdit, "I002"));
}

// --- a system card in the file: the decision table ---------------------------------------------------------

// Stored card 1, system card 65300 in the middle, stored card 2, system card 65301 at the end.
class SystemCardWrite : public CardWrite {
protected:
    static constexpr u16 kMiddle = 65300;
    static constexpr u16 kLast = 65301;

    void SetUp() override
    {
        make(3);
        (void)add({"one", "", ""});
        addSystem(kMiddle, own());
        (void)add({"two", "", ""});
        addSystem(kLast, own());
        ASSERT_TRUE(Sound(file()));
        ASSERT_TRUE(file().isLast(file().entry(2)));
    }
    static Values own() { return {"name", Stuff(60, 1), "memo"}; }
    static Values with(const std::string& value) { return Live({"name", value, "memo"}); }
    BoxBytes last(const Values& values) const
    {
        BoxBytes want = file();
        want.replaceLast(want.entry(2), Card(kLast, values));
        return want;
    }
    BoxBytes movedSystem(u16 id, u32 slot, const Values& values) const
    {
        BoxBytes want = file();
        const u32 pos = want.addCard(Card(id, values));
        want.kill(want.entry(slot));
        want.setEntry(slot, pos);
        return want;
    }
};

TEST_F(SystemCardWrite, AnEqualLengthIsPatchedInPlace)
{
    for (const auto& [id, slot] : {std::pair{kMiddle, 1u}, std::pair{kLast, 2u}}) {
        BoxBytes want = file();
        ASSERT_EQ(BXD_OK, Write(box, id, "I001", Stuff(60, 9)));
        want.put(want.entry(slot), Card(id, with(Stuff(60, 9))));
        EXPECT_TRUE(Same(want, file()));
        ASSERT_EQ(BXD_OK, WriteAt(box, id, "I001", "end", 57));
        want.put(want.entry(slot), Card(id, with(Stuff(60, 9).substr(0, 57) + "end")));
        EXPECT_TRUE(Same(want, file()));
        ASSERT_EQ(BXD_OK, WriteAt(box, id, "I001", "", 60));
        ASSERT_EQ(BXD_OK, Write(box, id, "cTTM", ""));
        EXPECT_TRUE(Same(want, file()));
    }
}

TEST_F(SystemCardWrite, TheLastCardGrowsAndShrinksWhereItStands)
{
    const u32 ram = ramGarbage();
    for (const u32 length : {61u, 500u, 40000u, 16383u, 128u, 127u, 0u, 300u}) {
        SCOPED_TRACE(length);
        const BoxBytes want = last(with(Stuff(length, 4)));
        ASSERT_EQ(BXD_OK, Write(box, kLast, "I001", Stuff(length, 4)));
        EXPECT_TRUE(Same(want, file()));
    }
    EXPECT_EQ(ram, ramGarbage());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, TheLastCardTakesASourceFileWhereItStands)
{
    for (const u32 length : {60u, 61u, 70000u, 70000u, 200u, 0u, 10u}) {
        SCOPED_TRACE(length);
        source(Stuff(length, length + 1));
        const BoxBytes want = last(with(Stuff(length, length + 1)));
        ASSERT_EQ(BXD_OK, WriteFrom(box, kLast, "I001", kSource));
        EXPECT_TRUE(Same(want, file()));
    }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, TheLastCardTakesATailWhereItStands)
{
    BoxBytes want = last(with(Stuff(60, 1).substr(0, 20) + Stuff(300, 2)));
    ASSERT_EQ(BXD_OK, WriteAt(box, kLast, "I001", Stuff(300, 2), 20));
    EXPECT_TRUE(Same(want, file()));
    want = last(with(Stuff(60, 1).substr(0, 20) + "x"));
    ASSERT_EQ(BXD_OK, WriteAt(box, kLast, "I001", "x", 20));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(BXD_ERR_RANGE, WriteAt(box, kLast, "I001", "x", 22));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemCardWrite, AnotherCardMovesAndItsSlotWithIt)
{
    for (const u32 length : {61u, 59u, 0u, 40000u}) {
        SCOPED_TRACE(length);
        const u32 ram = ramGarbage();
        const BoxBytes before = file();
        const BoxBytes want = movedSystem(kMiddle, 1, with(Stuff(length, 4)));
        ASSERT_EQ(BXD_OK, Write(box, kMiddle, "I001", Stuff(length, 4)));
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(want.entry(1), (*box)->tmpCardOffset);
        EXPECT_EQ(ram + before.total(before.entry(1)), ramGarbage());
        ASSERT_EQ(BXD_OK,
                  Write(box, 1, "I000", Stuff(length % 100 + 40)));  // the middle card is in the middle again
    }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, AnotherCardMovesForASourceFileOfAnyLength)
{
    for (const u32 length : {60u, 61u, 5u, 40000u, 0u}) {
        SCOPED_TRACE(length);
        source(Stuff(length, 4));
        const BoxBytes want = movedSystem(kMiddle, 1, with(Stuff(length, 4)));
        ASSERT_EQ(BXD_OK, WriteFrom(box, kMiddle, "I001", kSource));
        EXPECT_TRUE(Same(want, file()));
        ASSERT_EQ(BXD_OK, Write(box, 1, "I000", Stuff(length % 100 + 40)));
    }
}

TEST_F(SystemCardWrite, TheAttributeOfASystemCardTakesAllBitsWhateverTheKeySpells)
{
    BoxBytes want = file();
    const CardDescriptor key = PatchKey(kMiddle, "ATTR", "ATTR");
    const u8 value = 0x13;
    ASSERT_EQ(BXD_OK, Write(box, kMiddle, "ATTR", "\x05"));
    ASSERT_EQ(BXD_OK, _CardWrite(box, &key, &value, 1));
    want.putByte(want.entry(1) + 17, 0x53);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemCardWrite, ACardThatIsNotThereIsNotFound)
{
    const BoxBytes before = file();
    for (const u16 id : {u16{65280}, u16{65281}, u16{65519}, u16{65535}}) {
        EXPECT_EQ(BXD_ERR_NOTFOUND, Write(box, id, "I001", "x"));
    }
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(SystemCardWrite, TheTenthSlotIsWrittenToo)
{
    for (u32 n = 2; n < 10; n++) { addSystem(static_cast<u16>(65300 + n), own()); }
    (void)add({"behind", "", ""});
    const BoxBytes want = movedSystem(65309, 10, with("changed"));
    ASSERT_EQ(BXD_OK, Write(box, 65309, "I001", "changed"));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ("changed", Read(box, 65309, "I001"));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, RewritingAnotherSystemCardLosesTheCardUnderEditInTheFile)
{
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    ASSERT_EQ(BXD_OK, Write(box, kMiddle, "I001", "changed"));
    EXPECT_EQ(file().entry(1), (*box)->tmpCardOffset);
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, kEdit, "I001", Stuff(12000)));
    EXPECT_EQ("status 71", Read(box, kEdit, "I001"));
    u16 id = 0;
    EXPECT_EQ(BXD_ERR_FAIL, _CardCopy(box, kEdit, &id));
    // Closing cannot delete it either; it is left for the collector.
    EXPECT_EQ(BXD_ERR_FAIL, _BoxClose(box));
    box = nullptr;
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, AnySystemIdReadsTheCardUnderEditThatLiesInTheFile)
{
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    EXPECT_EQ(Stuff(12000), Read(box, kMiddle, "I001"));
    EXPECT_EQ(Stuff(12000), Read(box, 65519, "I001"));
    EXPECT_EQ(BXD_OK, Write(box, kMiddle, "I001", Stuff(60, 8)));  // a write goes to the card itself
    EXPECT_EQ(B(Stuff(60, 8)), B(file().valuesAt(file().entry(1))[5]));
}

// --- deletion of the card under edit and of system cards ---------------------------------------------------

TEST_F(SystemCardWrite, CardZeroCannotBeDeleted)
{
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, 0, 0));
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, 0, 1));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(SystemCardWrite, DeletingTheCardUnderEditInRamTouchesNoFile)
{
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "gone"));
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, 0));
    EXPECT_EQ(0, state());
    EXPECT_EQ(nullptr, (*box)->tmpCardWork);
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ("status 66", Read(box, kEdit, "I000"));
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, kEdit, 0));
    EXPECT_EQ(BXD_OK, create());
}

TEST_F(SystemCardWrite, DeletingTheCardUnderEditInTheFileKillsIt)
{
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, 1));
    EXPECT_EQ(0, state());
    EXPECT_EQ(nullptr, (*box)->tmpCardWork);
    EXPECT_TRUE(Same(before, file()));

    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    const u32 pos = (*box)->tmpCardOffset;
    u16 copy = 0;
    ASSERT_EQ(BXD_OK, _CardCopy(box, 1, &copy));
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, 0));
    want.kill(pos);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SystemCardWrite, ACardUnderEditThatTheCollectorTookKeepsItsState)
{
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(12000)));
    Poke(fid(), hd::garbageFlags.at, {0x01});
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_OTHER, CardDeleteSub(*box, kEdit, 0));
    EXPECT_EQ(2, state());
    EXPECT_NE(nullptr, (*box)->tmpCardWork);
    EXPECT_TRUE(Same(before, file()));
    Poke(fid(), hd::garbageFlags.at, {0x00});
}

TEST_F(SystemCardWrite, AStateWithoutAnImageIsRefused)
{
    ASSERT_EQ(BXD_OK, create());
    DisposeHeapHandle((*box)->tmpCardWork);
    (*box)->tmpCardWork = nullptr;
    EXPECT_EQ(BXD_ERR_FAIL, CardDeleteSub(*box, kEdit, 0));
    EXPECT_EQ(BXD_ERR_FAIL, CardDeleteSub(*box, kMiddle, 0));
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, kEdit, "I000", "x"));
    EXPECT_EQ("status 71", Read(box, kEdit, "I000"));
    (*box)->tmpCardState = 0;
}

TEST_F(SystemCardWrite, DeletingASystemCardKillsItAndItsSlot)
{
    BoxBytes want = file();
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kMiddle, 0));
    const u32 total = want.total(want.entry(1));
    want.kill(want.entry(1));
    want.setEntry(1, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + total, ramGarbage());
    EXPECT_EQ("status 66", Read(box, kMiddle, "I000"));

    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kLast, 1));
    want.cutCard(want.entry(2));
    want.setEntry(2, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + total, ramGarbage());
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, kLast, 0));
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteSub(*box, 65520, 0));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemCardWrite, DeletingASystemCardKeepsTheCardUnderEdit)
{
    ASSERT_EQ(BXD_OK, create());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "kept"));
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kMiddle, 0));
    EXPECT_EQ("kept", Read(box, kEdit, "I000"));
    EXPECT_EQ(1, state());
    EXPECT_EQ(0u, file().entry(1));
}

TEST_F(SystemCardWrite, TheSlotOfADeletedSystemCardIsUsedAgain)
{
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kMiddle, 0));
    addSystem(65310, {"new", "", ""});
    EXPECT_EQ(65310u, file().half(file().entry(1)));
    EXPECT_EQ("new", Read(box, 65310, "I000"));
    EXPECT_TRUE(Sound(file()));
}

}  // namespace
