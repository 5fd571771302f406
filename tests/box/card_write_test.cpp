// SPDX-License-Identifier: MIT
// Writing an item of a stored card: the decision table.
#include "box/bxd_card_write.h"

#include <bxd/bxd.h>

#include "storage/heapwrapper.h"
#include "tests/box/card_write_case.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

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

}  // namespace
