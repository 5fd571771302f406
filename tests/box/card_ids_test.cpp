// SPDX-License-Identifier: MIT
// The choice of a free id.
#include "box/bxd_card_tables.h"

#include "tests/box/card_slots_case.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

// --- choosing an id ----------------------------------------------------------------------------------------

TEST_F(CardSlots, TheFirstIdOfABoxIsOneAndMovesTheHintOnly)
{
    make();
    BoxBytes want = file();
    const Choice got = search();
    EXPECT_EQ(BXD_OK, got.status);
    EXPECT_EQ(1, got.id);
    EXPECT_EQ(0u, got.reuse);
    EXPECT_EQ(72u, got.tablePos);
    want.setField(hd::unUsedCardID, 2);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardSlots, TheSearchBeginsAtTheHintAndPassesIdsInUse)
{
    boxtest::BoxBuilder b;
    for (const u32 id : {1u, 5u, 6u}) { b.card(id); }
    b.setField(hd::unUsedCardID, 5);
    start(b.build());
    const Choice got = search();
    EXPECT_EQ(BXD_OK, got.status);
    EXPECT_EQ(7, got.id);
    EXPECT_EQ(8u, file().hint());
    EXPECT_EQ(6u, file().maxId());
}

TEST_F(CardSlots, AHintThatIsNoIdCountsAsOne)
{
    for (const u32 hint : {0u, 65280u, 0xFFFFu}) {
        SCOPED_TRACE(hint);
        boxtest::BoxBuilder b;
        b.card(1);
        b.setField(hd::unUsedCardID, hint);
        start(b.build());
        const Choice got = search();
        EXPECT_EQ(BXD_OK, got.status);
        EXPECT_EQ(2, got.id);
        EXPECT_EQ(3u, file().hint());
        close();
    }
}

TEST_F(CardSlots, AKilledSlotIsFreeAndIsToldAsReuse)
{
    boxtest::BoxBuilder b;
    for (u32 id = 1; id <= 9; id++) { b.card(id); }
    b.setSlot(7, 0);
    b.setField(hd::unUsedCardID, 3);
    start(b.build());
    const Choice got = search();
    EXPECT_EQ(7, got.id);
    EXPECT_EQ(1u, got.reuse);
    EXPECT_EQ(8u, file().hint());
    EXPECT_EQ(0u, got.table[17]);
}

TEST_F(CardSlots, AKilledSlotBelowTheHintIsPassedBy)
{
    boxtest::BoxBuilder b;
    for (u32 id = 1; id <= 9; id++) { b.card(id); }
    b.setSlot(7, 0);
    start(b.build());
    const Choice got = search();
    EXPECT_EQ(10, got.id);
    EXPECT_EQ(0u, got.reuse);
}

TEST_F(CardSlots, TheLastIdOfTheDefaultTableLeavesTheHintAt501)
{
    boxtest::BoxBuilder b = filled(0, 500);
    b.setSlot(500, kNone);
    start(b.build());
    const Choice got = search();
    EXPECT_EQ(500, got.id);
    EXPECT_EQ(501u, file().hint());
    EXPECT_EQ(kNone, file().entry(511));
}

TEST_F(CardSlots, Id501MakesTheFirstAppendTableAndTheOffsetCard)
{
    for (const u32 hint : {501u, 1u, 250u}) {
        for (const u32 noCard : {kNone, 0u}) {
            SCOPED_TRACE(hint);
            boxtest::BoxBuilder b = filled(0, hint);
            b.setField(hd::offsetCard, noCard);
            start(b.build());
            const BoxBytes want = withFirstTable(file());
            const Choice got = search();
            EXPECT_EQ(BXD_OK, got.status);
            EXPECT_EQ(501, got.id);
            EXPECT_EQ(0u, got.reuse);
            EXPECT_EQ(want.entry(511), got.tablePos);
            EXPECT_TRUE(Same(want, file()));
            close();
        }
    }
}

TEST_F(CardSlots, AHintBehind501InABoxWithoutOffsetCardFallsBackToTheFirstId)
{
    for (const u32 hint : {502u, 700u, 900u, 65279u}) {
        SCOPED_TRACE(hint);
        boxtest::BoxBuilder b;
        b.card(1);
        b.setField(hd::unUsedCardID, hint);
        start(b.build());
        BoxBytes want = file();
        const Choice got = search();
        EXPECT_EQ(2, got.id);
        want.setField(hd::unUsedCardID, 3);
        EXPECT_TRUE(Same(want, file()));
        close();
    }
}

TEST_F(CardSlots, AHintInTheTableBehindTheLastOneMakesThatTableWithTheHintAsId)
{
    boxtest::BoxBuilder b;
    b.reserveOffsetCard(1);
    b.card(1);
    b.card(501);
    b.setField(hd::unUsedCardID, 700);
    start(b.build());
    BoxBytes want = file();
    const Choice got = search();
    EXPECT_EQ(BXD_OK, got.status);
    EXPECT_EQ(700, got.id);
    EXPECT_EQ(0u, got.reuse);

    const u32 table = want.addCard(AppendTable());
    want.putWord(want.field(hd::offsetCard) + 10, table);
    want.putWord(want.entry(511) + 518, table);
    want.setCounts(2, 701, 700);
    EXPECT_EQ(table, got.tablePos);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardSlots, AHintTwoTablesAheadFallsBackToTheFirstId)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.card(501);
    b.setField(hd::unUsedCardID, 900);
    start(b.build());
    BoxBytes want = file();
    EXPECT_EQ(2, search().id);
    want.setField(hd::unUsedCardID, 3);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardSlots, AHintBehindTheOffsetCardFallsBackToTheFirstId)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.card(501);
    b.setField(hd::unUsedCardID, 8693);
    start(b.build());
    EXPECT_EQ(2, search().id);
    EXPECT_EQ(3u, file().hint());
}

TEST_F(CardSlots, WithAnEmptyOffsetCardOnlyAHintOf501MakesTheFirstTable)
{
    for (const u32 word : {kNone, 0u}) {
        boxtest::BoxBuilder b;
        const u32 card = b.reserveOffsetCard(1);
        b.card(1);
        b.setField(hd::unUsedCardID, 600);
        BoxBytes content(b.build());
        content.putWord(card + 6, word);
        start(content);
        EXPECT_EQ(2, search().id);
        ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 501));
        BoxBytes want = file();
        const Choice got = search();
        EXPECT_EQ(501, got.id);
        const u32 table = want.addCard(AppendTable());
        want.putWord(card + 6, table);
        want.setEntry(511, table);
        want.setCounts(1, 502, 501);
        EXPECT_TRUE(Same(want, file()));
        close();
    }
}

TEST_F(CardSlots, AHintInsideAnAppendTableIsSearchedFromThere)
{
    boxtest::BoxBuilder b;
    b.card(1);
    for (const u32 id : {501u, 600u, 601u}) { b.card(id); }
    b.setField(hd::unUsedCardID, 600);
    start(b.build());
    BoxBytes want = file();
    const Choice got = search();
    EXPECT_EQ(BXD_OK, got.status);
    EXPECT_EQ(602, got.id);
    EXPECT_EQ(0u, got.reuse);
    EXPECT_EQ(want.entry(511), got.tablePos);
    want.setCounts(4, 603, 602);
    EXPECT_TRUE(Same(want, file()));
    for (u32 n = 0; n < 129; n++) { EXPECT_EQ(want.word(got.tablePos + 6 + 4 * n), got.table[n]) << n; }
}

TEST_F(CardSlots, AFreeIdBelowTheHighestLeavesTheHighestAlone)
{
    boxtest::BoxBuilder b;
    for (const u32 id : {1u, 501u, 502u, 510u}) { b.card(id); }
    b.killSlot(502);
    b.setField(hd::unUsedCardID, 501);
    start(b.build());
    const Choice got = search();
    EXPECT_EQ(502, got.id);
    EXPECT_EQ(1u, got.reuse);
    EXPECT_EQ(503u, file().hint());
    EXPECT_EQ(510u, file().maxId());
}

TEST_F(CardSlots, AFullDefaultTableLeadsToTheFirstFreeIdOfTheAppendTables)
{
    boxtest::BoxBuilder b = filled(2, 1);
    b.setSlot(650, kNone);
    b.setSlot(640, 0);
    start(b.build());
    const BoxBytes before = file();
    const Choice got = search();
    EXPECT_EQ(640, got.id);
    EXPECT_EQ(1u, got.reuse);
    EXPECT_EQ(before.appendTables()[1], got.tablePos);
    EXPECT_EQ(641u, file().hint());
}

TEST_F(CardSlots, FullTablesGrowByOneBehindTheLast)
{
    for (const u32 hint : {1u, 501u, 628u, 629u, 756u, 757u}) {
        SCOPED_TRACE(hint);
        start(filled(2, hint).build());
        BoxBytes want = file();
        const Choice got = search();
        EXPECT_EQ(BXD_OK, got.status);
        EXPECT_EQ(757, got.id);
        EXPECT_EQ(0u, got.reuse);
        const u32 table = want.addCard(AppendTable());
        want.putWord(want.field(hd::offsetCard) + 6 + 8, table);
        want.putWord(want.appendTables()[1] + 518, table);
        want.setCounts(1, 758, 757);
        EXPECT_EQ(table, got.tablePos);
        EXPECT_TRUE(Same(want, file()));
        close();
    }
}

TEST_F(CardSlots, AChainWordOfZeroIsDamage)
{
    boxtest::BoxBuilder b = filled(0, 1);
    BoxBytes content(b.build());
    content.setEntry(511, 0);
    start(content);
    EXPECT_EQ(BXD_ERR_FAIL, search().status);
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardSlots, AChainThatLeadsToAnotherCardIsDamage)
{
    boxtest::BoxBuilder b = filled(1, 1);
    BoxBytes content(b.build());
    content.setEntry(511, content.cardOffset());
    start(content);
    EXPECT_EQ(BXD_ERR_FAIL, search().status);
    content.setEntry(511, content.size() + 100);
    close();
    start(content);
    EXPECT_EQ(BXD_ERR_FAIL, search().status);
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardSlots, AChainOfFullTablesThatRunsInACircleEnds)
{
    BoxBytes content(filled(2, 1).build());
    content.putWord(content.appendTables()[1] + 518, content.appendTables()[0]);
    start(content);
    EXPECT_EQ(BXD_ERR_FAIL, search().status);
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardSlots, AnAppendTableThatTheFileCutsShortIsDamage)
{
    BoxBytes content(filled(1, 501).build());
    content.cut(content.entry(511) + 300);
    start(content);
    EXPECT_NE(BXD_OK, search().status);
    EXPECT_TRUE(Same(content, file()));
}

// A box whose only append table is number 506, the last one that holds ids of stored cards.
class CardSlotsAtTheTop : public CardSlots {
protected:
    void startWith(u32 firstFree)
    {
        boxtest::BoxBuilder b = filled(0, 65270);
        const u32 table = b.raw(AppendTable());
        BoxBytes content(b.build());
        std::vector<u32> words(506, kUsed);
        words.push_back(table);
        const u32 card = content.addCard(OffsetCard(words, 2048));
        content.setField(hd::offsetCard, card);
        content.setField(hd::offsetCardSize, 2054);
        content.setEntry(511, table);
        content.setField(hd::maxCardID, 65279);
        for (u32 id = 65269; id < firstFree; id++) { content.putWord(table + 6 + (id - 65269) * 4, kUsed); }
        start(content);
    }
};

TEST_F(CardSlotsAtTheTop, TheHighestIdIsHandedOutAndTheHintWraps)
{
    startWith(65279);
    const Choice got = search();
    EXPECT_EQ(BXD_OK, got.status);
    EXPECT_EQ(65279, got.id);
    EXPECT_EQ(1u, file().hint());
    EXPECT_EQ(65279u, file().maxId());
}

TEST_F(CardSlotsAtTheTop, NoIdAbove65279IsHandedOutAndNoCounterMoves)
{
    for (const u32 firstFree : {65280u, 65397u}) {
        startWith(firstFree);
        const BoxBytes before = file();
        EXPECT_EQ(BXD_ERR_FAIL, search().status);
        EXPECT_TRUE(Same(before, file()));
        close();
    }
}

}  // namespace
