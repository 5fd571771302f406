// SPDX-License-Identifier: MIT
// The release of tables that a mass deletion left empty, and of the offset card behind them.
#include "box/bxd_card_tables.h"

#include "tests/box/card_slots_case.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

// --- shrinking ---------------------------------------------------------------------------------------------

TEST_F(CardTables, ABoxWithoutOffsetCardHasNothingToRelease)
{
    for (const u32 none : {kNone, 0u}) {
        boxtest::BoxBuilder b;
        b.card(1);
        b.setField(hd::offsetCard, none);
        start(b.build());
        const BoxBytes before = file();
        EXPECT_EQ(BXD_OK, UpdateOffsetCard(fid()));
        EXPECT_TRUE(Same(before, file()));
        close();
    }
}

TEST_F(CardTables, AnEmptyTableAtTheEndOfTheChainIsReleased)
{
    boxtest::BoxBuilder b;
    const u32 card = b.reserveOffsetCard(2);
    b.card(1);
    b.card(510);
    b.killSlot(629);
    b.card(2);
    start(b.build());
    BoxBytes want = file();
    const std::vector<u32> tables = want.appendTables();
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    want.kill(tables[1]);
    want.putWord(tables[0] + 518, kNone);
    want.putWord(card + 10, 0);
    want.setField(hd::maxCardID, 510);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + 522, ramGarbage());
}

TEST_F(CardTables, AnEmptyTableThatIsTheLastCardIsCutOff)
{
    boxtest::BoxBuilder b;
    const u32 card = b.reserveOffsetCard(2);
    b.card(510);
    b.makeTablesFor(629);
    start(b.build());
    BoxBytes want = file();
    const std::vector<u32> tables = want.appendTables();
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    want.cutCard(tables[1]);
    want.putWord(tables[0] + 518, kNone);
    want.putWord(card + 10, 0);
    want.setField(hd::maxCardID, 510);
    EXPECT_TRUE(Same(want, file()));
    boxtest::CheckRules rules;
    rules.zeroOffsetWords = true;
    rules.hint = false;
    EXPECT_TRUE(Sound(file(), rules));
}

TEST_F(CardTables, SeveralEmptyTablesAreReleasedDownToTheLastLiveSlot)
{
    boxtest::BoxBuilder b;
    const u32 card = b.reserveOffsetCard(4);
    b.card(501);
    b.card(640);
    b.makeTablesFor(885);
    b.card(2);
    start(b.build());
    BoxBytes want = file();
    const std::vector<u32> tables = want.appendTables();
    ASSERT_EQ(4u, tables.size());
    std::vector<u32> place{card, 262};
    ASSERT_EQ(BXD_OK, UpdateOffsetCardSub(fid(), place.data()));
    for (const u32 k : {2u, 3u}) {
        want.kill(tables[k]);
        want.putWord(card + 6 + 4 * k, 0);
    }
    want.putWord(tables[1] + 518, kNone);
    want.setField(hd::maxCardID, 640);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardTables, AnEmptyTableBeforeALiveOneStays)
{
    boxtest::BoxBuilder b;
    b.reserveOffsetCard(2);
    b.card(1);
    b.card(640);
    start(b.build());
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardTables, TheHighestLiveIdIsFoundFromTheEndOfTheTable)
{
    for (const u32 id : {501u, 577u, 628u}) {
        boxtest::BoxBuilder b;
        b.card(501);
        b.card(id);
        b.setField(hd::maxCardID, 9999);
        start(b.build());
        ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
        EXPECT_EQ(id, file().maxId());
        close();
    }
}

TEST_F(CardTables, ALinkBehindTheLastTableOfTheOffsetCardIsCutOff)
{
    boxtest::BoxBuilder b;
    b.reserveOffsetCard(2);
    b.card(501);
    b.card(640);
    BoxBytes content(b.build());
    const std::vector<u32> tables = content.appendTables();
    content.putWord(content.field(hd::offsetCard) + 10, kNone);
    start(content);
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    content.putWord(tables[0] + 518, kNone);
    content.setField(hd::maxCardID, 501);
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardTables, WithoutALiveSlotTheOffsetCardGoesTooAndTheHighestIdIs500)
{
    boxtest::BoxBuilder b;
    const u32 card = b.reserveOffsetCard(2);
    b.card(3);
    b.killSlot(501);
    b.killSlot(630);
    b.card(2);
    b.setField(hd::unUsedCardID, 77);
    start(b.build());
    BoxBytes want = file();
    const std::vector<u32> tables = want.appendTables();
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    for (const u32 pos : {tables[1], tables[0], card}) { want.kill(pos); }
    want.setField(hd::offsetCard, kNone);
    want.setEntry(511, kNone);
    want.setCounts(2, 77, 500);
    EXPECT_EQ(262u, want.field(hd::offsetCardSize));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardTables, WithoutALiveSlotTablesAtTheEndOfTheFileAreCutOff)
{
    boxtest::BoxBuilder b;
    b.card(3);
    b.makeTablesFor(629);
    start(b.build());
    BoxBytes want = file();
    const std::vector<u32> tables = want.appendTables();
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    // The offset card is last, so the tables die as dead cards before it; it takes nothing along but itself.
    want.cutCard(want.field(hd::offsetCard));
    want.kill(tables[1]);
    want.kill(tables[0]);
    want.setField(hd::offsetCard, kNone);
    want.setEntry(511, kNone);
    want.setField(hd::maxCardID, 500);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardTables, AZeroAmongTheTablesIsPassedOver)
{
    boxtest::BoxBuilder b;
    const u32 card = b.reserveOffsetCard(3);
    b.card(505);
    b.makeTablesFor(757);
    b.card(2);
    BoxBytes content(b.build());
    const std::vector<u32> tables = content.appendTables();
    content.putWord(card + 10, 0);
    start(content);
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    content.kill(tables[2]);
    content.putWord(card + 14, 0);
    content.putWord(tables[0] + 518, kNone);
    content.setField(hd::maxCardID, 505);
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardTables, AWordThatLeadsOutOfTheFileEndsTheRelease)
{
    boxtest::BoxBuilder b;
    b.card(505);
    start(b.build());
    PokeWord(fid(), file().field(hd::offsetCard) + 10, file().size() + 50);
    const BoxBytes before = file();
    EXPECT_NE(BXD_OK, UpdateOffsetCard(fid()));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardTables, TheReset1stOffsetChainErasesTheLinkToTheFirstTable)
{
    boxtest::BoxBuilder b;
    b.card(505);
    start(b.build());
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, Reset1stOffsetChain(fid()));
    want.setEntry(511, kNone);
    EXPECT_TRUE(Same(want, file()));
}

// An offset card that is larger than its tables need by more than two steps.
class ShrunkenOffsetCard : public CardTables {
protected:
    // Payload of 768 bytes, two tables, the second with a live card; what stands behind it is the test's.
    static boxtest::BoxBuilder withLargeCard()
    {
        boxtest::BoxBuilder b;
        b.card(505);
        b.card(640);
        b.reserveOffsetCard(192);
        return b;
    }
};

TEST_F(ShrunkenOffsetCard, SplitsIntoAShorterCardAndADeadFiller)
{
    boxtest::BoxBuilder b = withLargeCard();
    b.card(2);
    start(b.build());
    BoxBytes want = file();
    const u32 card = want.field(hd::offsetCard);
    ASSERT_EQ(774u, want.field(hd::offsetCardSize));
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));

    want.setField(hd::offsetCardSize, 518);
    want.putHalf(card + 518, 0);
    want.putWord(card + 520, 250);
    want.addGarbage(256);
    EXPECT_EQ(768u, file().word(card + 2));  // the card's own length stays: a walk steps over the filler
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram + 256, ramGarbage());
}

TEST_F(ShrunkenOffsetCard, AsTheLastCardIsShortenedBeforeItsTailIsCutOff)
{
    start(withLargeCard().build());
    BoxBytes want = file();
    const u32 card = want.field(hd::offsetCard);
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    want.setField(hd::offsetCardSize, 518);
    want.putWord(card + 2, 512);
    want.cutCard(card + 518);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram, ramGarbage());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(ShrunkenOffsetCard, WithOnlyDeadCardsBehindTakesThemAlong)
{
    boxtest::BoxBuilder b = withLargeCard();
    b.dead(40);
    b.dead(60);
    start(b.build());
    BoxBytes want = file();
    const u32 card = want.field(hd::offsetCard);
    garbage_size_buf += 1000;
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    want.setField(hd::offsetCardSize, 518);
    want.putWord(card + 2, 512);
    want.cutCard(card + 518);
    want.addGarbage(-100);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram - 100, ramGarbage());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(ShrunkenOffsetCard, LosesReleasedTablesInTheSameCall)
{
    boxtest::BoxBuilder b;
    b.card(505);
    b.makeTablesFor(629);
    const u32 card = b.reserveOffsetCard(192);
    b.card(2);
    start(b.build());
    BoxBytes want = file();
    const std::vector<u32> tables = want.appendTables();
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    want.kill(tables[1]);
    want.putWord(tables[0] + 518, kNone);
    want.putWord(card + 10, 0);
    want.setField(hd::offsetCardSize, 518);
    want.putHalf(card + 518, 0);
    want.putWord(card + 520, 250);
    want.addGarbage(256);
    want.setField(hd::maxCardID, 505);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(ShrunkenOffsetCard, OfTwoStepsStaysAsItIs)
{
    boxtest::BoxBuilder b;
    b.card(505);
    b.reserveOffsetCard(128);
    b.card(2);
    start(b.build());
    BoxBytes want = file();
    ASSERT_EQ(518u, want.field(hd::offsetCardSize));
    ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(ShrunkenOffsetCard, FallsInStepsUntilTwoAreLeftBeyondTheLastTable)
{
    struct Case {
        u32 reserved;
        u32 lastTable;
        u32 payload;
    };
    // The payload falls by 256 while it is more than 512 above 4 bytes for each table before the last.
    for (const Case& c : {Case{256, 0, 512}, Case{320, 1, 768 - 256}, Case{320, 64, 768},
                          Case{320, 65, 1280 - 512}, Case{192, 64, 768}}) {
        SCOPED_TRACE(c.reserved * 1000 + c.lastTable);
        boxtest::BoxBuilder b;
        const u32 card = b.reserveOffsetCard(c.reserved);
        b.card(501 + 128 * c.lastTable);
        b.card(2);
        start(b.build());
        BoxBytes want = file();
        const u32 old = want.field(hd::offsetCardSize);
        ASSERT_EQ(BXD_OK, UpdateOffsetCard(fid()));
        if (c.payload + 6 != old) {
            want.setField(hd::offsetCardSize, c.payload + 6);
            want.putHalf(card + 6 + c.payload, 0);
            want.putWord(card + 8 + c.payload, old - c.payload - 12);
            want.addGarbage(old - c.payload - 6);
        }
        EXPECT_TRUE(Same(want, file()));
        close();
    }
}

}  // namespace
