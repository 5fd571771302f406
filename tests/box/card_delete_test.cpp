// SPDX-License-Identifier: MIT
// Deleting one stored card of a box without indexes: the two deaths, and the way to the card's slot.
#include "box/bxd_card_delete.h"

#include "box/bxd_card_read.h"
#include "box/bxd_card_strip.h"
#include "box/bxd_sync.h"
#include "tests/support/card_delete_case.h"

namespace {

using namespace cardtest;
using boxtest::BoxBuilder;
using boxtest::CheckRules;
namespace hd = boxtest::hd;

class CardDelete : public DeleteCase {
protected:
    void startOf(u32 count) { start(boxOf(count).build()); }
    void expectStatusAndNoChange(u32 status, u16 id)
    {
        const BoxBytes before = file();
        EXPECT_EQ(status, _CardDelete(box, id)) << id;
        EXPECT_TRUE(Same(before, file()));
    }
};

// --- physical ----------------------------------------------------------------------------------------------

TEST_F(CardDelete, APhysicalDeletionClearsTheIdAndTheSlotInPlace)
{
    startOf(3);
    const BoxBytes want = withoutCard(file(), 2);
    const u32 ram = ramGarbage();
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ(ram + want.garbage(), ramGarbage());
    EXPECT_EQ("status 66", Read(box, 2, "I000"));
    EXPECT_EQ("card 3", Read(box, 3, "I000"));
}

TEST_F(CardDelete, TheLastCardShortensTheFileAndAddsNoGarbage)
{
    startOf(3);
    BoxBytes want = file();
    want.cutCard(want.slot(3));
    want.setSlot(3, 0);
    want.setCounts(2, 3, 3);
    const u32 ram = ramGarbage();
    EXPECT_EQ(BXD_OK, _CardDelete(box, 3));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ(ram, ramGarbage());
}

TEST_F(CardDelete, DeadCardsBehindTheLastOneGoWithItAndThoseBeforeItStay)
{
    BoxBuilder b = boxOf(2);
    b.dead(50);
    b.card(3, rowOf(b, 3));
    b.dead(40);
    b.dead(30);
    start(b.build());
    BoxBytes want = file();
    want.cutCard(want.slot(3));
    want.addGarbage(-70);
    want.setSlot(3, 0);
    want.setCounts(2, 3, 3);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 3));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(50u, file().garbage());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardDelete, ANewCardTakesTheIdAndTheTableIsRewritten)
{
    startOf(9);
    ASSERT_EQ(BXD_OK, _CardDelete(box, 3));
    ASSERT_EQ(BXD_OK, _CardDelete(box, 7));
    EXPECT_EQ(3u, file().hint());
    EXPECT_EQ(0u, file().slot(3));
    EXPECT_EQ(0u, file().slot(7));
    EXPECT_EQ(3u, add({"new"}));
    EXPECT_EQ(kNone, file().slot(7));  // one reuse brings all killed slots of the table back
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ("new", Read(box, 3, "I000"));
}

TEST_F(CardDelete, TheHintFallsToTheIdAndDoesNotRise)
{
    startOf(40);
    ASSERT_EQ(41u, file().hint());
    ASSERT_EQ(BXD_OK, _CardDelete(box, 7));
    EXPECT_EQ(7u, file().hint());
    ASSERT_EQ(BXD_OK, _CardDelete(box, 30));
    EXPECT_EQ(7u, file().hint());
    ASSERT_EQ(BXD_OK, _CardDelete(box, 3));
    EXPECT_EQ(3u, file().hint());
    EXPECT_EQ(40u, file().maxId());
}

TEST_F(CardDelete, ACountOfZeroStaysZero)
{
    startOf(2);
    PokeHalf(fid(), hd::cardCount.at, 0);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 1));
    EXPECT_EQ(0u, file().cardCount());
    EXPECT_EQ("status 66", Read(box, 1, "I000"));
}

TEST_F(CardDelete, ADeadBoxHandleIsRefused)
{
    startOf(1);
    EXPECT_EQ(BXD_ERR_FAIL, _CardDelete(nullptr, 1));
    EXPECT_EQ(BXD_ERR_FAIL, _CardDeletePMSC(nullptr, 1));
    EXPECT_EQ(BXD_ERR_FAIL, _CardDeletePMSCWithIndex(nullptr, 1));
}

TEST_F(CardDelete, ACardUnderEditInRamIsReleasedWithoutTouchingTheFile)
{
    startOf(2);
    edit({"gone"});
    const BoxBytes before = file();
    EXPECT_EQ(BXD_OK, _CardDeletePMSC(box, TMP_SYSTEM_CARD_ID));
    EXPECT_EQ(0, state());
    EXPECT_EQ(nullptr, (*box)->tmpCardWork);
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardDelete, AStoredCardLeavesTheCardUnderEditAlone)
{
    startOf(3);
    edit({"kept"});
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_EQ("kept", Read(box, TMP_SYSTEM_CARD_ID, "I000"));
}

TEST_F(CardDelete, ASystemCardIsDeletedAndThenFoundInNoIndex)
{
    startOf(2);
    addSystem(65300, {"system"});
    EXPECT_EQ(BXD_ERR_NOTFOUND, _CardDeletePMSCWithIndex(box, 65300));
    EXPECT_EQ("status 66", Read(box, 65300, "I000"));
    EXPECT_EQ(2u, file().cardCount());
    EXPECT_TRUE(Sound(file()));
}

// --- while a synchronisation runs --------------------------------------------------------------------------

TEST_F(CardDelete, ATombstoneKeepsIdSlotAndItems)
{
    startOf(3);
    setSync(true);
    const BoxBytes want = withTombstone(file(), 2);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ("card 2", Read(box, 2, "I000"));
    EXPECT_EQ("\x40", Read(box, 2, "ATTR"));  // turned round for the caller
    EXPECT_EQ(0u, file().garbage());
}

TEST_F(CardDelete, ATombstoneKeepsTheOtherBitsOfItsAttribute)
{
    BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1, rowOf(b, 1, 0xFB));
    start(b.build());
    setSync(true);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 1));
    EXPECT_EQ("\xBB", file().valuesAt(file().slot(1))[0]);
}

TEST_F(CardDelete, ATombstonesIdIsNotHandedOutThoughTheHintIsLow)
{
    startOf(5);
    setSync(true);
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_EQ(2u, file().hint());
    EXPECT_EQ(6u, add({"new"}));
    EXPECT_EQ("card 2", Read(box, 2, "I000"));
}

TEST_F(CardDelete, OnlyTheFlagOfZeroMeansThatASynchronisationRuns)
{
    startOf(3);
    Poke(fid(), hd::syncFlag.at, {1});
    u32 running = 7;
    EXPECT_EQ(BXD_OK, ChkCardAttrPimSync(fid(), &running));
    EXPECT_EQ(0u, running);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_EQ(0u, file().slot(2));
    setSync(true);
    EXPECT_EQ(BXD_OK, ChkCardAttrPimSync(fid(), &running));
    EXPECT_EQ(1u, running);
}

TEST_F(CardDelete, ASecondSoftDeletionCountsTheCardOffAgain)
{
    startOf(3);
    setSync(true);
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    const BoxBytes want = withTombstone(file(), 2);
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(1u, file().cardCount());
}

TEST_F(CardDelete, APhysicalDeletionDuringASynchronisationIsPhysical)
{
    startOf(3);
    setSync(true);
    const BoxBytes want = withoutCard(file(), 2);
    EXPECT_EQ(BXD_OK, _CardDeletePMSC(box, 2));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardDelete, ATombstoneThatDiesIsNotCountedOffAgain)
{
    startOf(4);
    setSync(true);
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    ASSERT_EQ(3u, file().cardCount());
    EXPECT_EQ(BXD_OK, _CardDeletePMSC(box, 2));
    EXPECT_EQ(3u, file().cardCount());
    EXPECT_EQ(0u, file().slot(2));
    EXPECT_TRUE(Sound(file()));

    ASSERT_EQ(BXD_OK, _CardDelete(box, 3));
    setSync(false);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 3));  // and so is one that outlives its synchronisation
    EXPECT_EQ(2u, file().cardCount());
    EXPECT_TRUE(Sound(file()));
}

// --- the slot ----------------------------------------------------------------------------------------------

TEST_F(CardDelete, CardsOfAppendTablesAreFoundAlongTheChain)
{
    startOf(760);
    for (const u16 id : std::vector<u16>{500, 501, 628, 629, 756, 757}) {
        const BoxBytes want = withoutCard(file(), id);
        EXPECT_EQ(BXD_OK, _CardDelete(box, id)) << id;
        EXPECT_TRUE(Same(want, file())) << id;
    }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardDelete, WhatIsNotThereIsNotFound)
{
    startOf(3);
    expectStatusAndNoChange(BXD_ERR_NOTFOUND, 0);
    expectStatusAndNoChange(BXD_ERR_NOTFOUND, 4);
    expectStatusAndNoChange(BXD_ERR_NOTFOUND, 500);
    expectStatusAndNoChange(BXD_ERR_NOTFOUND, 501);
    expectStatusAndNoChange(BXD_ERR_NOTFOUND, 65279);
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    expectStatusAndNoChange(BXD_ERR_NOTFOUND, 2);
}

TEST_F(CardDelete, ABoxWithoutCardsHasNothingToDelete)
{
    make();
    expectStatusAndNoChange(BXD_ERR_NOTFOUND, 1);
}

TEST_F(CardDelete, AMissingOffsetTableLeadsToNoCard)
{
    startOf(3);
    for (const u32 pos : {0u, kNone}) {
        PokeWord(fid(), hd::offsetTable.at, pos);
        expectStatusAndNoChange(BXD_ERR_NOTFOUND, 1);
    }
    PokeWord(fid(), hd::offsetTable.at, 72);
}

TEST_F(CardDelete, ABrokenChainOfTablesLeadsToNoCard)
{
    startOf(640);
    const std::vector<u32> tables = file().appendTables();
    const u32 link = tables[0] + 518;
    for (const u32 word : {0u, kNone, file().slot(3)}) {
        PokeWord(fid(), link, word);
        expectStatusAndNoChange(BXD_ERR_NOTFOUND, 629);
    }
    PokeWord(fid(), link, 0x7FFFFFF0);
    expectStatusAndNoChange(BXD_ERR_FAIL, 629);
    PokeWord(fid(), link, tables[1]);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 629));
}

TEST_F(CardDelete, AnOffsetCardLeadsOnlyWhereItsSizeReachesBeyondItsPosition)
{
    startOf(640);
    const u32 offsetCard = file().field(hd::offsetCard);
    const u32 enough = offsetCard + 4 * 1 + 10 + 6;
    PokeWord(fid(), file().appendTables()[0] + 518, kNone);  // the chain does not lead to the table of 629

    PokeWord(fid(), hd::offsetCardSize.at, enough - 1);
    expectStatusAndNoChange(BXD_ERR_NOTFOUND, 629);
    PokeWord(fid(), hd::offsetCardSize.at, enough);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 629));
    EXPECT_EQ(0u, file().word(file().word(offsetCard + 6 + 4) + 6));

    for (const u32 word : {0u, kNone}) {
        PokeWord(fid(), offsetCard + 6 + 4, word);
        expectStatusAndNoChange(BXD_ERR_NOTFOUND, 630);
    }
}

TEST_F(CardDelete, ASlotThatLeadsToADeadCardIsClearedAndNothingDiesTwice)
{
    startOf(3);
    PokeHalf(fid(), file().slot(2), 0);  // where a lost power has ended a deletion
    BoxBytes want = file();
    want.setSlot(2, 0);
    want.setCounts(2, 2, 3);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardDelete, ASlotThatLeadsToADeadCardIsClearedDuringASynchronisationToo)
{
    startOf(3);
    setSync(true);
    PokeHalf(fid(), file().slot(2), 0);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_EQ(0u, file().slot(2));
    EXPECT_EQ(2u, file().cardCount());
}

// The last card of the file has gone, and its slot leads to the end mark, or to the card that came next, or,
// when still more was cut off, behind the file.
TEST_F(CardDelete, ASlotThatLeadsToNoCardIsClearedAndTheCardIsNotFound)
{
    for (const bool running : {false, true}) {
        startOf(3);
        setSync(running);
        const u32 ram = ramGarbage();
        for (const u32 pos : {file().slot(3), file().end(), file().size() - 1, file().size() + 100,
                              0x7FFFFFF0u, 0xFFFFFFF0u}) {
            PokeWord(fid(), file().slotAt(2), pos);
            PokeHalf(fid(), hd::cardCount.at, 3);
            BoxBytes want = file();
            want.setSlot(2, 0);
            want.setCounts(2, 2, 3);
            EXPECT_EQ(BXD_ERR_NOTFOUND, _CardDelete(box, 2)) << pos;
            EXPECT_TRUE(Same(want, file())) << pos;
            expectStatusAndNoChange(BXD_ERR_NOTFOUND, 2);  // and that is all
        }
        EXPECT_EQ(ram, ramGarbage());
        EXPECT_EQ("card 3", Read(box, 3, "I000"));
        close();
    }
}

TEST_F(CardDelete, ALostDeletionOfTheLastCardIsDoneByTheNext)
{
    startOf(3);
    const u32 last = file().slot(3);
    BoxBytes want = file();
    want.cutCard(last);
    want.setSlot(3, 0);
    want.setCounts(2, 3, 3);
    ASSERT_EQ(BXD_OK, DeleteCardData(fid(), last));  // and the power goes
    EXPECT_EQ(BXD_ERR_NOTFOUND, _CardDelete(box, 3));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ(3u, add({"new"}));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardDelete, ACardWithoutAnAttributeIsDamage)
{
    BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1, b.row({{"ATTR", Bytes{}}}));
    b.card(2);
    start(b.build());
    expectStatusAndNoChange(BXD_ERR_FAIL, 1);
    setSync(true);
    expectStatusAndNoChange(BXD_ERR_FAIL, 1);
}

TEST_F(CardDelete, ABoxWithoutAnAttributeItemDeletesNoStoredCard)
{
    BoxBuilder b({{1, 0, "NAME", "name"}});
    b.card(1, {B("x")});
    b.card(2, {B("y")});
    start(b.build());
    expectStatusAndNoChange(BXD_ERR_NOTFOUND, 1);
}

TEST_F(CardDelete, ACardWhoseLengthLeavesTheFileIsDamage)
{
    startOf(3);
    PokeWord(fid(), file().slot(2) + 2, 0x7FFFFFF0);
    expectStatusAndNoChange(BXD_ERR_FAIL, 2);
    PokeWord(fid(), file().slot(2) + 2, 100000);
    expectStatusAndNoChange(BXD_ERR_FAIL, 2);
}

// --- the attribute of a card -------------------------------------------------------------------------------

TEST_F(CardDelete, TheAttributeOfAStoredCardIsReadByItsId)
{
    BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1, rowOf(b, 1, 0x53));
    b.card(2, b.row({{"ATTR", Bytes{}}}));
    b.card(3, b.row({{"ATTR", Bytes{1, 2}}}));
    b.systemCard(10, 65300, b.row());
    start(b.build());
    u8 attr = 0;
    const u8* items = (*box)->itemTable;
    EXPECT_EQ(BXD_OK, SearchAttr(fid(), items, 1, &attr));
    EXPECT_EQ(0x53, attr);
    EXPECT_EQ(BXD_ERR_FAIL, SearchAttr(fid(), items, 2, &attr));
    EXPECT_EQ(BXD_ERR_FAIL, SearchAttr(fid(), items, 3, &attr));
    EXPECT_EQ(BXD_ERR_NOTFOUND, SearchAttr(fid(), items, 4, &attr));
    EXPECT_EQ(BXD_ERR_NOTFOUND, SearchAttr(fid(), items, 0, &attr));
    EXPECT_EQ(BXD_ERR_FAIL, SearchAttr(fid(), items, 501, &attr));
    const u8 noItems[] = {0};
    EXPECT_EQ(BXD_ERR_NOTFOUND, SearchAttr(fid(), noItems, 1, &attr));
}

}  // namespace
