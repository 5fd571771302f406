// SPDX-License-Identifier: MIT
// Copying stored and system cards: to new ids, over other cards, and out into the card under edit.
#include "box/bxd_card_copy.h"

#include <bxd/bxd.h>

#include "box/bxd_card_delete.h"
#include "box/bxd_garb.h"
#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;

class CopyOfStored : public CardTest {};

// --- stored cards as source --------------------------------------------------------------------------------

class CopyStored : public CopyOfStored {
protected:
    static Values own(u32 n) { return {"name", Stuff(50 * n, n), "memo"}; }
    void SetUp() override
    {
        make();
        for (u32 n = 1; n <= 3; n++) { (void)add(own(n)); }
    }
};

TEST_F(CopyStored, ToANewIdIsASecondCard)
{
    BoxBytes want = file();
    EXPECT_EQ(4, copyNew(2));
    (void)want.addNew(4, Live(own(2)));
    want.setField(hd::unUsedCardID, 5);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(5, copyNew(3));
    (void)want.addNew(5, Live(own(3)));
    want.setField(hd::unUsedCardID, 6);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopyStored, ToAKilledIdWritesTheTableWhole)
{
    kill(1);
    BoxBytes want = file();
    EXPECT_EQ(1, copyNew(2));
    (void)want.addNew(1, Live(own(2)));
    want.setField(hd::unUsedCardID, 2);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(3u, file().cardCount());
}

TEST_F(CopyStored, ToACardThatIsThereMovesTheSlotAndKillsTheOldCard)
{
    for (const u16 target : {u16{1}, u16{3}}) {
        BoxBytes want = file();
        const u32 ram = ramGarbage();
        const u32 old = want.slot(target);
        ASSERT_EQ(BXD_OK, copy(2, target));
        want.setSlot(target, want.addCard(Card(target, Live(own(2)))));
        want.kill(old);
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(ram + want.total(old), ramGarbage());
        EXPECT_TRUE(Sound(file()));
    }
}

TEST_F(CopyStored, ToANamedIdWithoutACardIsCounted)
{
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, copy(2, 77));
    (void)want.addNew(77, Live(own(2)));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CopyStored, LeavesTheCardUnderEditAlone)
{
    edit({"in work"});
    (void)copyNew(2);
    ASSERT_EQ(BXD_OK, copy(2, 1));
    ASSERT_EQ(BXD_OK, copy(2, 65300));
    EXPECT_EQ(1, state());
    EXPECT_EQ("in work", Read(box, kEdit, "I000"));
}

TEST_F(CopyStored, CopiesCardsOfManyPieces)
{
    for (const u32 length : {7140u, 7150u, 7160u, 7168u, 14336u, 100000u, 3'000'000u}) {
        SCOPED_TRACE(length);
        const std::string value = Stuff(length);
        ASSERT_EQ(BXD_OK, Write(box, 2, "I001", value));
        const u16 id = copyNew(2);
        EXPECT_EQ(value, Read(box, id, "I001"));
        EXPECT_EQ("memo", Read(box, id, "I002"));
    }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopyStored, PiecesEndExactlyAtTheirBorders)
{
    const u32 fixed = static_cast<u32>(Card(1, Live({"name", Stuff(7000), "memo"})).size()) - 7000;
    for (u32 total = 7166; total <= 7170; total++) {
        SCOPED_TRACE(total);
        const std::string value = Stuff(total - fixed, total);
        ASSERT_EQ(BXD_OK, Write(box, 1, "I001", value));
        BoxBytes want = file();
        const u16 id = copyNew(1);
        (void)want.addNew(id, Live({"name", value, "memo"}));
        want.setField(hd::unUsedCardID, id + 1u);
        EXPECT_TRUE(Same(want, file()));
    }
}

TEST_F(CopyStored, ToASystemIdMakesASystemCard)
{
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, copy(2, 65300));
    want.setEntry(1, want.addCard(Card(65300, Live(own(2)))));
    EXPECT_TRUE(Same(want, file()));
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, copy(3, 65300));
    const u32 old = want.entry(1);
    const u32 pos = want.addCard(Card(65300, Live(own(3))));
    want.kill(old);
    want.setEntry(1, pos);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + want.total(old), ramGarbage());
    EXPECT_EQ(3u, file().cardCount());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopyStored, ToAnEleventhSystemIdIsRefused)
{
    for (u32 n = 0; n < 10; n++) { ASSERT_EQ(BXD_OK, copy(1, static_cast<u16>(65300 + n))); }
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_FAIL, copy(1, 65310));
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ(BXD_OK, copy(2, 65309));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopyOfStored, StoredCardsOfAppendTablesAreSourceAndTarget)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1, b.row({{"I000", B("one")}}));
    b.card(501, b.row({{"I000", B("first")}}));
    b.card(640, b.row({{"I000", B("second")}}));
    b.card(2, b.row({{"I000", B("two")}}));
    b.setField(hd::unUsedCardID, 501);
    start(b.build());
    BoxBytes want = file();
    EXPECT_EQ(502, copyNew(640));
    (void)want.addNew(502, Live({"second", "", ""}));
    want.setField(hd::unUsedCardID, 503);
    EXPECT_TRUE(Same(want, file()));

    const auto replaced = [&want](u32 target, const char* name) {
        const u32 old = want.slot(target);
        want.setSlot(target, want.addCard(Card(target, Live({name, "", ""}))));
        want.kill(old);
    };
    ASSERT_EQ(BXD_OK, copy(1, 640));
    replaced(640, "one");
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, copy(501, 2));
    replaced(2, "first");
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, copy(501, 640));
    replaced(640, "first");
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, copy(640, 65300));
    want.setEntry(1, want.addCard(Card(65300, Live({"first", "", ""}))));
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, copy(2, 641));
    (void)want.addNew(641, Live({"first", "", ""}));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

// --- system cards as source --------------------------------------------------------------------------------

class CopySystem : public CopyOfStored {
protected:
    static Values own(u32 n) { return {"name", Stuff(50 * n, n), "memo"}; }
    // Stored card 1, system card 65300, stored card 2, and `last` a system card 65301 behind it.
    void prepare(bool last)
    {
        make();
        (void)add(own(1));
        addSystem(65300, own(2));
        (void)add(own(3));
        if (last) { addSystem(65301, own(4)); }
    }
};

TEST_F(CopySystem, ToANewIdIsTheSameCardUnderThatId)
{
    prepare(false);
    BoxBytes want = file();
    const u32 ram = ramGarbage();
    const u32 source = want.entry(1);
    EXPECT_EQ(3, copyNew(65300));
    (void)want.addNew(3, Live(own(2)));
    want.setField(hd::unUsedCardID, 4);
    want.kill(source);
    want.setEntry(1, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + want.total(source), ramGarbage());
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ("status 66", Read(box, 65300, "I000"));
}

TEST_F(CopySystem, TheLastCardTakesANewIdWhereItStands)
{
    prepare(true);
    BoxBytes want = file();
    const u32 source = want.entry(2);
    EXPECT_EQ(3, copyNew(65301));
    want.putHalf(source, 3);
    want.setSlot(3, source);
    want.setEntry(2, 0);
    want.setCounts(3, 4, 3);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopySystem, TheLastCardTakesANewIdAbove500AndItsSlotInTheDefaultTableGoes)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1);
    b.card(501);
    const u32 first = b.systemCard(1, 65300, b.row({{"I000", B("first")}}));
    b.card(2);
    b.setField(hd::unUsedCardID, 502);
    b.reserveOffsetCard(1);
    const u32 last = b.systemCard(2, 65301, b.row({{"I000", B("last")}}));
    start(b.build());
    BoxBytes want = file();
    ASSERT_TRUE(want.isLast(last));
    EXPECT_EQ(502, copyNew(65301));
    want.putHalf(last, 502);
    want.setSlot(502, last);
    want.setEntry(2, 0);
    want.setCounts(4, 503, 502);
    EXPECT_TRUE(Same(want, file()));

    EXPECT_EQ(503, copyNew(65300));
    (void)want.addNew(503, Live({"first", "", ""}));
    want.setField(hd::unUsedCardID, 504);
    want.kill(first);
    want.setEntry(1, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopySystem, OverAStoredCardFromTheMiddleKillsBoth)
{
    prepare(true);
    BoxBytes want = file();
    const u32 source = want.entry(1);
    const u32 old = want.slot(1);
    ASSERT_EQ(BXD_OK, copy(65300, 1));
    want.setSlot(1, want.addCard(Card(1, Live(own(2)))));
    want.kill(old);
    want.kill(source);
    want.setEntry(1, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopySystem, OverAStoredCardFromTheEndTakesTheSlot)
{
    prepare(true);
    BoxBytes want = file();
    const u32 source = want.entry(2);
    const u32 old = want.slot(1);
    ASSERT_EQ(BXD_OK, copy(65301, 1));
    want.putHalf(source, 1);
    want.setSlot(1, source);
    want.kill(old);
    want.setEntry(2, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopySystem, OverTheStoredCardBeforeItSlidesDown)
{
    prepare(true);
    BoxBytes want = file();
    const u32 old = want.slot(2);
    ASSERT_EQ(BXD_OK, copy(65301, 2));
    want.cut(old);
    want.put(old, Card(2, Live(own(4))) + Bytes{0xFF, 0xFF});
    want.setEntry(2, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopySystem, OverALargerStoredCardMovesIn)
{
    make();
    (void)add({"name", Stuff(300, 1), "memo"});
    (void)add({"between", "", ""});
    addSystem(65300, {"name", Stuff(200, 2), "memo"});
    BoxBytes want = file();
    const u32 room = want.total(want.slot(1));
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, copy(65300, 1));
    const Bytes card = Card(1, Live({"name", Stuff(200, 2), "memo"}));
    const u32 total = static_cast<u32>(card.size());
    want.cutCard(want.entry(1));
    want.put(want.slot(1), card);
    want.putHalf(want.slot(1) + total, 0);
    want.putWord(want.slot(1) + total + 2, room - total - 6);
    want.addGarbage(room - total);
    want.setEntry(1, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + room - total, ramGarbage());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopySystem, ToAnotherSystemIdFromTheMiddle)
{
    prepare(false);
    BoxBytes want = file();
    const u32 source = want.entry(1);
    ASSERT_EQ(BXD_OK, copy(65300, 65310));
    const u32 pos = want.addCard(Card(65310, Live(own(2))));
    want.setEntry(2, pos);
    want.kill(source);
    want.setEntry(1, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopySystem, ToAnotherSystemIdAtTheEndChangesTwoBytes)
{
    prepare(true);
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, copy(65301, 65310));
    want.putHalf(want.entry(2), 65310);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopySystem, DropsACardUnderEditThatIsNotTheSource)
{
    prepare(true);
    edit({"in work"});
    EXPECT_EQ(3, copyNew(65301));
    expectNoEdit();
    EXPECT_EQ("status 66", Read(box, kEdit, "I000"));
}

TEST_F(CopySystem, RewrittenWhileACardUnderEditLiesInTheFileIsStillASystemCard)
{
    prepare(true);
    (void)spill();
    const u32 lost = (*box)->tmpCardOffset;
    ASSERT_EQ(BXD_OK,
              Write(box, 65300, "I001", "another length"));  // the remembered place is this card's now
    (void)copyNew(1);
    BoxBytes want = file();
    const u32 source = want.entry(1);
    ASSERT_EQ(source, (*box)->tmpCardOffset);
    EXPECT_EQ(4, copyNew(65300));
    (void)want.addNew(4, Live({"name", "another length", "memo"}));
    want.setField(hd::unUsedCardID, 5);
    want.kill(source);
    want.setEntry(1, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(kEdit, file().half(lost));
    expectNoEdit();
    EXPECT_TRUE(Sound(file()));
}

// --- to the card under edit --------------------------------------------------------------------------------

class CopyToEdit : public CopyOfStored {
protected:
    // The length of own item 1 that makes `cardLength` this.
    static u32 valueFor(u32 cardLength)
    {
        return cardLength - (static_cast<u32>(Card(1, Live({"", Stuff(500), ""})).size()) - 6 - 500);
    }
};

TEST_F(CopyToEdit, AStoredCardComesOutIntoRam)
{
    make();
    const u16 id = add({"name", Stuff(400), "memo"});
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, copy(id, kEdit));
    EXPECT_EQ(1, state());
    EXPECT_EQ(kEdit, (*box)->tmpCardId);
    EXPECT_EQ(Card(kEdit, Live({"name", Stuff(400), "memo"})), EditImage(box));
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ(Stuff(400), Read(box, kEdit, "I001"));
    EXPECT_EQ(2, copyNew(kEdit));
    EXPECT_EQ(Stuff(400), Read(box, 2, "I001"));
}

TEST_F(CopyToEdit, ASystemCardComesOutAndStays)
{
    make();
    addSystem(65300, {"system", "", ""});
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, copy(65300, kEdit));
    EXPECT_EQ(Card(kEdit, Live({"system", "", ""})), EditImage(box));
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ("system", Read(box, 65300, "I000"));
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I000", "SYSTEM"));
    ASSERT_EQ(BXD_OK, copy(kEdit, 65300));
    EXPECT_EQ("SYSTEM", Read(box, 65300, "I000"));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopyToEdit, ACardOfAnAppendTableComesOut)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1);
    b.card(700, b.row({{"I000", B("far")}}));
    start(b.build());
    ASSERT_EQ(BXD_OK, copy(700, kEdit));
    EXPECT_EQ("far", Read(box, kEdit, "I000"));
}

TEST_F(CopyToEdit, ACardThatLeavesLessThanNineBytesOfTheImageGoesToTheFile)
{
    make();
    (void)add({"one", "", ""});
    for (const u32 length : {10230u, 10231u, 10232u, 10233u, 16000u}) {
        SCOPED_TRACE(length);
        const std::string value = Stuff(valueFor(length));
        ASSERT_EQ(BXD_OK, Write(box, 1, "I000", ""));
        ASSERT_EQ(BXD_OK, Write(box, 1, "I001", value));
        ASSERT_EQ(length + 6, file().total(file().slot(1)));
        BoxBytes want = file();
        ASSERT_EQ(BXD_OK, copy(1, kEdit));
        if (length <= 10231) {
            EXPECT_EQ(1, state());
            EXPECT_EQ(Card(kEdit, Live({"", value, ""})), EditImage(box));
        } else {
            EXPECT_EQ(2, state());
            EXPECT_EQ(want.addCard(Card(kEdit, Live({"", value, ""}))), (*box)->tmpCardOffset);
        }
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(value, Read(box, kEdit, "I001"));
        EXPECT_TRUE(Sound(file()));
        ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, 0));
    }
}

TEST_F(CopyToEdit, ALargeCardIsChangedInTheFileAndGoesBack)
{
    make();
    (void)add({"one", Stuff(50), ""});
    ASSERT_EQ(BXD_OK, Write(box, 1, "I001", Stuff(50000)));
    ASSERT_EQ(BXD_OK, copy(1, kEdit));
    ASSERT_EQ(2, state());
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "I001", Stuff(60000, 3)));
    ASSERT_EQ(BXD_OK, copy(kEdit, 1));
    EXPECT_EQ(Stuff(60000, 3), Read(box, 1, "I001"));
    EXPECT_EQ("one", Read(box, 1, "I000"));
    EXPECT_EQ(1u, file().cardCount());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopyToEdit, ACardUnderEditInRamIsReplaced)
{
    make();
    const u16 id = add({"stored", "", ""});
    const BoxBytes before = file();
    edit({"lost", "", ""});
    ASSERT_EQ(BXD_OK, copy(id, kEdit));
    EXPECT_EQ(Card(kEdit, Live({"stored", "", ""})), EditImage(box));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CopyToEdit, ACardUnderEditInTheFileIsKilledFirst)
{
    make();
    const u16 id = add({"stored", "", ""});
    const BoxBytes before = file();
    (void)spill();
    ASSERT_EQ(BXD_OK, copy(id, kEdit));
    EXPECT_EQ(1, state());
    EXPECT_TRUE(Same(before, file()));

    // And a large card that comes out stands where the file ends after that.
    ASSERT_EQ(BXD_OK, CardDeleteSub(*box, kEdit, 0));
    ASSERT_EQ(BXD_OK, Write(box, id, "I001", Stuff(30000)));
    BoxBytes want = file();
    (void)spill();
    ASSERT_EQ(BXD_OK, copy(id, kEdit));
    EXPECT_EQ(2, state());
    EXPECT_EQ(want.addCard(Card(kEdit, Live({"stored", Stuff(30000), ""}))), (*box)->tmpCardOffset);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CopyToEdit, ACardUnderEditIsKeptWhenTheSourceIsMissing)
{
    make();
    (void)add({"stored"});
    edit({"kept"});
    EXPECT_EQ(BXD_ERR_FAIL, copy(9, kEdit));
    EXPECT_EQ(BXD_ERR_NOTFOUND, copy(65300, kEdit));
    EXPECT_EQ("kept", Read(box, kEdit, "I000"));
}

TEST_F(CopyToEdit, ACardUnderAnotherIdIsTheSourceOfACopy)
{
    make();
    (void)add({"stored"});
    u16 id = 65310;
    ASSERT_EQ(BXD_OK, _CardCreate(box, &id));
    ASSERT_EQ(BXD_OK, Write(box, 65310, "I000", "settings"));
    ASSERT_EQ(BXD_OK, copy(65310, 65311));
    EXPECT_EQ("settings", Read(box, 65311, "I000"));
    expectNoEdit();
    EXPECT_TRUE(Sound(file()));
}

}  // namespace
