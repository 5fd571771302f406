// SPDX-License-Identifier: MIT
// The counters of the header, the slots of stored and system cards, the tables as one array.
#include "box/bxd_card_slots.h"

#include "tests/box/card_slots_case.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

// --- counters ----------------------------------------------------------------------------------------------

TEST_F(CardSlots, AHintOfZeroOrAboveTheLastIdIsStoredAsOne)
{
    make();
    BoxBytes want = file();
    const std::vector<std::pair<u32, u32>> cases{{40, 40}, {0, 1}, {65279, 65279}, {65280, 1}, {0xFFFF, 1}};
    for (const auto& [given, stored] : cases) {
        ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 9));
        ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), static_cast<u16>(given)));
        want.setField(hd::unUsedCardID, stored);
        EXPECT_TRUE(Same(want, file())) << given;
    }
}

TEST_F(CardSlots, AFreedIdLowersTheHintAndNeverRaisesIt)
{
    make();
    ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 40));
    ASSERT_EQ(BXD_OK, UpdateUnUsedCardID(fid(), 41));
    EXPECT_EQ(40u, file().hint());
    ASSERT_EQ(BXD_OK, UpdateUnUsedCardID(fid(), 7));
    EXPECT_EQ(7u, file().hint());
    ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 3));
    ASSERT_EQ(BXD_OK, UpdateUnUsedCardID(fid(), 7));
    EXPECT_EQ(3u, file().hint());
    ASSERT_EQ(BXD_OK, UpdateUnUsedCardID(fid(), 65280));
    EXPECT_EQ(1u, file().hint());
    ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 3));
    ASSERT_EQ(BXD_OK, UpdateUnUsedCardID(fid(), 0));
    EXPECT_EQ(1u, file().hint());
}

TEST_F(CardSlots, TheHighestIdRisesByUpdateAndFallsByWriteOnly)
{
    make();
    ASSERT_EQ(BXD_OK, UpdateMaxCardID(fid(), 12));
    EXPECT_EQ(12u, file().maxId());
    ASSERT_EQ(BXD_OK, UpdateMaxCardID(fid(), 11));
    EXPECT_EQ(12u, file().maxId());
    ASSERT_EQ(BXD_OK, WriteMaxCardID(fid(), 5));
    EXPECT_EQ(5u, file().maxId());
    ASSERT_EQ(BXD_OK, WriteMaxCardID(fid(), 65279));
    EXPECT_EQ(65279u, file().maxId());
}

TEST_F(CardSlots, TheCountStopsAtZeroDownwardsAndHasNoGuardUpwards)
{
    make();
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, DecCardCount(fid()));
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, IncCardCount(fid()));
    ASSERT_EQ(BXD_OK, IncCardCount(fid()));
    want.setField(hd::cardCount, 2);
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, DecCardCount(fid()));
    EXPECT_EQ(1u, file().cardCount());
    ASSERT_EQ(BXD_OK, WriteCardCount(fid(), 0xFFFF));
    EXPECT_EQ(0xFFFFu, file().cardCount());
    ASSERT_EQ(BXD_OK, IncCardCount(fid()));
    want.setField(hd::cardCount, 0);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardSlots, CountersOfAFileWithoutWriteAccessStay)
{
    make();
    const BoxBytes before = file();
    const i32 reader = BxdFileOpen(kName, BXD_MODE_READ);
    ASSERT_GE(reader, 0);
    const u8 id = static_cast<u8>(reader);
    EXPECT_EQ(BXD_ERR_FAIL, WriteCardCount(id, 3));
    EXPECT_EQ(BXD_ERR_FAIL, IncCardCount(id));
    EXPECT_EQ(BXD_ERR_FAIL, WriteUnUsedCardID(id, 3));
    EXPECT_EQ(BXD_ERR_FAIL, UpdateMaxCardID(id, 3));
    EXPECT_EQ(BXD_ERR_FAIL, ModOffsetTable(id, 72, 4711, 3));
    EXPECT_EQ(BXD_OK, BxdFileClose(id));
    EXPECT_TRUE(Same(before, file()));
}

// --- the last card -----------------------------------------------------------------------------------------

TEST_F(CardSlots, OnlyTheCardBeforeTheEndMarkIsTheLastOne)
{
    boxtest::BoxBuilder b;
    const u32 first = b.card(1);
    const u32 empty = b.raw(PlainCard(70, {}));
    const u32 last = b.card(2);
    start(b.build());
    EXPECT_FALSE(IsLastCard(fid(), first));
    EXPECT_FALSE(IsLastCard(fid(), empty));
    EXPECT_TRUE(IsLastCard(fid(), last));
    EXPECT_FALSE(IsLastCard(fid(), file().size()));
    EXPECT_FALSE(IsLastCard(fid(), file().size() + 5000));
}

TEST_F(CardSlots, ACardWithAnEmptyBodyIsNeverTheLastOne)
{
    boxtest::BoxBuilder b;
    b.card(1);
    const u32 empty = b.raw(PlainCard(70, {}));
    start(b.build());
    EXPECT_FALSE(IsLastCard(fid(), empty));
}

TEST_F(CardSlots, ACardWithOnlyDeadCardsBehindItIsNotTheLastOne)
{
    boxtest::BoxBuilder b;
    const u32 card = b.card(1);
    const u32 dead = b.dead(30);
    start(b.build());
    EXPECT_FALSE(IsLastCard(fid(), card));
    EXPECT_TRUE(IsLastCard(fid(), dead));
}

// --- publishing a slot -------------------------------------------------------------------------------------

TEST_F(CardSlots, ASlotIsWrittenInPlace)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(629);
    start(b.build());
    BoxBytes want = file();
    const std::vector<u32> tables = want.appendTables();
    const std::vector<std::pair<u32, u32>> cases{{2, 72},          {500, 72},        {501, tables[0]},
                                                 {628, tables[0]}, {629, tables[1]}, {756, tables[1]}};
    for (const auto& [id, table] : cases) {
        ASSERT_EQ(BXD_OK, ModOffsetTable(fid(), table, 0x1000 + id, static_cast<u16>(id)));
        want.setSlot(id, 0x1000 + id);
        EXPECT_TRUE(Same(want, file())) << id;
    }
    ASSERT_EQ(BXD_OK, ModOffsetTable(fid(), 72, 4711, 2));
    want.setSlot(2, 4711);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardSlots, ReusingAKilledSlotHealsTheWholeDefaultTable)
{
    boxtest::BoxBuilder b;
    for (u32 id = 1; id <= 20; id++) { b.card(id); }
    BoxBytes content(b.build());
    for (const u32 entry : {0u, 3u, 9u, 10u, 15u, 17u, 30u, 200u, 510u, 511u}) { content.setEntry(entry, 0); }
    start(content);
    std::vector<u32> table(512);
    ASSERT_EQ(BXD_OK, ReadOffsetTable(fid(), nullptr, 2048, table.data()));
    ASSERT_EQ(BXD_OK, ModOffsetTableNew(fid(), 72, 0x4444, 7, 1, table.data()));
    content.setSlot(7, 0x4444);
    for (const u32 entry : {10u, 15u, 30u, 200u, 510u, 511u}) { content.setEntry(entry, kNone); }
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardSlots, ReusingAKilledSlotHealsTheWholeAppendTable)
{
    boxtest::BoxBuilder b;
    for (u32 id = 501; id <= 520; id++) { b.card(id); }
    b.card(1);
    b.killSlot(2);
    for (const u32 id : {505u, 507u, 600u, 628u}) { b.killSlot(id); }
    start(b.build());
    BoxBytes want = file();
    const u32 pos = want.entry(511);
    std::vector<u32> table(512);
    for (u32 n = 0; n < 128; n++) { table[n] = want.word(pos + 6 + 4 * n); }
    for (const u32 chain : {kNone, 0u, 0x12345678u}) {
        table[128] = chain;
        ASSERT_EQ(BXD_OK, ModOffsetTableNew(fid(), pos, 0x4444, 507, 1, table.data()));
        want.setSlot(507, 0x4444);
        for (const u32 id : {505u, 600u, 628u}) { want.setSlot(id, kNone); }
        want.putWord(pos + 518, chain);
        EXPECT_TRUE(Same(want, file()));
    }
}

TEST_F(CardSlots, AnErasedSlotIsPublishedWithoutTouchingTheRestOfTheTable)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.killSlot(2);
    b.killSlot(502);
    start(b.build());
    BoxBytes want = file();
    std::vector<u32> table(512, 0x11111111);
    ASSERT_EQ(BXD_OK, ModOffsetTableNew(fid(), 72, 0x4444, 3, 0, table.data()));
    ASSERT_EQ(BXD_OK, ModOffsetTableNew(fid(), want.entry(511), 0x5555, 503, 0, table.data()));
    want.setSlot(3, 0x4444);
    want.setSlot(503, 0x5555);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardSlots, ModifyOffsetTableFindsTheOwnerItself)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(757);
    start(b.build());
    BoxBytes want = file();
    for (const u32 id : {1u, 500u, 501u, 628u, 629u, 756u, 757u, 884u}) {
        ASSERT_EQ(BXD_OK, ModifyOffsetTable(*box, 0x2000 + id, static_cast<u16>(id)));
        want.setSlot(id, 0x2000 + id);
        EXPECT_TRUE(Same(want, file())) << id;
    }
    EXPECT_EQ(BXD_ERR_FAIL, ModifyOffsetTable(*box, 4711, 0));
    EXPECT_EQ(BXD_ERR_FAIL, ModifyOffsetTable(*box, 4711, 885));
    EXPECT_EQ(BXD_ERR_FAIL, ModifyOffsetTable(*box, 4711, 8693));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardSlots, ModifyOffsetTableWithoutTablesIsRefused)
{
    boxtest::BoxBuilder b;
    b.card(1);
    start(b.build());
    for (const u32 word : {0u, kNone}) {
        PokeWord(fid(), boxtest::DefaultWordAt(511), word);
        EXPECT_EQ(BXD_ERR_FAIL, ModifyOffsetTable(*box, 4711, 501));
        PokeWord(fid(), hd::offsetTable.at, word);
        EXPECT_EQ(BXD_ERR_NOTFOUND, ModifyOffsetTable(*box, 4711, 1));
        PokeWord(fid(), hd::offsetTable.at, 72);
    }
}

TEST_F(CardSlots, OnlyIdsBehindTheFirstAppendTableNeedTheOffsetCard)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(629);
    BoxBytes content(b.build());
    content.putWord(content.field(hd::offsetCard) + 6, 0);
    content.putWord(content.field(hd::offsetCard) + 10, 0);
    start(content);
    EXPECT_EQ(BXD_OK, ModifyOffsetTable(*box, 4711, 510));
    EXPECT_EQ(BXD_ERR_FAIL, ModifyOffsetTable(*box, 4711, 630));
    content.setSlot(510, 4711);
    EXPECT_TRUE(Same(content, file()));
}

// --- system slots ------------------------------------------------------------------------------------------

class SystemSlots : public CardSlots {
protected:
    // A box with these words in the system slots.
    void startWith(const std::vector<u32>& words)
    {
        boxtest::BoxBuilder b;
        b.card(1);
        BoxBytes content(b.build());
        for (u32 n = 0; n < words.size(); n++) { content.setEntry(n + 1, words[n]); }
        start(content);
        table.assign(512, 0);
        ASSERT_EQ(BXD_OK, ReadOffsetTable(fid(), nullptr, 44, table.data()));
    }
    BoxBytes with(const std::vector<u32>& words) const
    {
        BoxBytes want = file();
        for (u32 n = 0; n < 10; n++) { want.setEntry(n + 1, n < words.size() ? words[n] : kNone); }
        return want;
    }

    std::vector<u32> table;
};

TEST_F(SystemSlots, TheFirstFreeSlotTakesTheCardAndKilledSlotsAreRestored)
{
    startWith({100, 0, 200, 0, kNone});
    const BoxBytes want = with({100, 555, 200});
    ASSERT_EQ(BXD_OK, ModSystemOffsetTable(fid(), 72, table.data(), 555, 0));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemSlots, TheSlotOfTheOldPositionIsFreed)
{
    startWith({100, 200, 300});
    const BoxBytes want = with({100, 555, 300});
    ASSERT_EQ(BXD_OK, ModSystemOffsetTable(fid(), 72, table.data(), 555, 200));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemSlots, AFreeSlotBeforeTheOldOneTakesTheCardFirst)
{
    startWith({0, 100, 200});
    const BoxBytes want = with({555, 100, kNone});
    ASSERT_EQ(BXD_OK, ModSystemOffsetTable(fid(), 72, table.data(), 555, 200));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemSlots, APositionThatIsInTheTableIsNotWrittenAgain)
{
    startWith({100, 0, 555, 200});
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, ModSystemOffsetTable(fid(), 72, table.data(), 555, 200));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(SystemSlots, TenCardsAreAllThatABoxHolds)
{
    startWith({1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000, 9500});
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_FAIL, ModSystemOffsetTable(fid(), 72, table.data(), 555, 0));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(SystemSlots, TheLastOfTheTenSlotsIsUsedToo)
{
    startWith({1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000});
    const BoxBytes want = with({1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000, 555});
    EXPECT_EQ(BXD_OK, ModSystemOffsetTable(fid(), 72, table.data(), 555, 0));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemSlots, DeletingClearsTheSlotInPlace)
{
    startWith({100, 0, 300, 9999});
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, DeleteSystemOffset(fid(), 72, table.data(), 300));
    want.setEntry(3, 0);
    EXPECT_TRUE(Same(want, file()));
    ASSERT_EQ(BXD_OK, DeleteSystemOffset(fid(), 72, table.data(), 123456));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SystemSlots, TheSlotOfTheExtendedInformationIsNoSystemSlot)
{
    startWith({100});
    PokeWord(fid(), boxtest::DefaultWordAt(0), 4321);
    table[0] = 4321;
    const BoxBytes before = file();
    ASSERT_EQ(BXD_OK, DeleteSystemOffset(fid(), 72, table.data(), 4321));
    EXPECT_TRUE(Same(before, file()));
    const BoxBytes want = with({100, 555});
    ASSERT_EQ(BXD_OK, ModSystemOffsetTable(fid(), 72, table.data(), 555, 4321));
    EXPECT_TRUE(Same(want, file()));
}

// --- reading the tables ------------------------------------------------------------------------------------

TEST_F(CardSlots, TheLinearTableHasThePositionOfEachCardAtItsIdLessOne)
{
    boxtest::BoxBuilder b;
    for (const u32 id : {1u, 3u, 500u, 501u, 628u, 629u, 757u, 800u}) { b.card(id); }
    b.killSlot(2);
    b.killSlot(502);
    start(b.build());
    const BoxBytes content = file();
    for (const u32 maxId : {1u, 500u, 501u, 628u, 629u, 756u, 757u, 884u}) {
        SCOPED_TRACE(maxId);
        std::vector<u32> table(1200, 0x77777777);
        ASSERT_EQ(BXD_OK, ReadLinearTable(fid(), table.data(), static_cast<u16>(maxId)));
        for (u32 id = 1; id <= std::max(maxId, 500u); id++) {
            EXPECT_EQ(content.slot(id), table[id - 1]) << id;
        }
        const u32 end = maxId <= 500 ? 500 : 500 + (maxId - 500 + 127) / 128 * 128;
        const u32 link =
            end == 500 ? content.entry(511) : content.word(content.appendTables()[(end - 628) / 128] + 518);
        EXPECT_EQ(link, table[end]);
        EXPECT_EQ(0x77777777u, table[end + 1]);
    }
}

TEST_F(CardSlots, ALinearTableBeyondTheLastAppendTableIsRefused)
{
    boxtest::BoxBuilder b;
    b.card(501);
    start(b.build());
    std::vector<u32> table(1200);
    EXPECT_EQ(BXD_OK, ReadLinearTable(fid(), table.data(), 628));
    EXPECT_EQ(BXD_ERR_FAIL, ReadLinearTable(fid(), table.data(), 629));
}

TEST_F(CardSlots, GetCardOffsetGivesTheSlotAndWhereTheScanGoesOn)
{
    boxtest::BoxBuilder b;
    for (const u32 id : {1u, 500u, 501u, 628u, 629u}) { b.card(id); }
    b.killSlot(2);
    start(b.build());
    const BoxBytes content = file();
    for (const u32 id : {1u, 2u, 3u, 499u, 500u, 501u, 502u, 628u, 629u, 700u, 756u}) {
        SCOPED_TRACE(id);
        u32 slot = 1;
        u32 next = 1;
        u32 left = 1;
        ASSERT_EQ(BXD_OK, GetCardOffset(fid(), static_cast<u16>(id), &slot, &next, &left));
        EXPECT_EQ(content.slot(id), slot);
        EXPECT_EQ(content.slotAt(id) + 4, next);
        EXPECT_EQ(id <= 500 ? 500 - id : 127 - (id - 501) % 128, left);
    }
}

TEST_F(CardSlots, GetCardOffsetBeyondTheTables)
{
    boxtest::BoxBuilder b;
    b.card(501);
    start(b.build());
    const auto ask = [this](u16 id) {
        u32 slot = 1;
        u32 next = 1;
        u32 left = 1;
        EXPECT_EQ(BXD_OK, GetCardOffset(fid(), id, &slot, &next, &left));
        EXPECT_EQ(0u, next);
        EXPECT_EQ(0u, left);
        return slot;
    };
    EXPECT_EQ(kNone, ask(629));
    EXPECT_EQ(kNone, ask(8693));
    for (const u32 word : {0u, kNone}) {
        PokeWord(fid(), file().field(hd::offsetCard) + 10, word);
        EXPECT_EQ(kNone, ask(629));
    }
    for (const u32 word : {0u, kNone}) {
        PokeWord(fid(), hd::offsetCard.at, word);
        EXPECT_EQ(0u, ask(501));
    }
}

// --- the road of an id -------------------------------------------------------------------------------------

TEST_F(CardSlots, AFreedIdIsUsedAgainAndTheTableIsWrittenWhole)
{
    make(1);
    for (u32 n = 0; n < 45; n++) { (void)add({"v"}); }
    for (const u16 id : {u16{7}, u16{20}, u16{31}}) { kill(id); }
    EXPECT_EQ(7u, file().hint());
    EXPECT_EQ(0u, file().slot(20));
    EXPECT_EQ(7, add({"again"}));
    const BoxBytes got = file();
    EXPECT_EQ(kNone, got.slot(20));
    EXPECT_EQ(kNone, got.slot(31));
    EXPECT_EQ(8u, got.hint());
    EXPECT_EQ(45u, got.maxId());
    EXPECT_EQ(43u, got.cardCount());
    EXPECT_EQ("again", Read(box, 7, "I000"));
    EXPECT_EQ(20, add({"next"}));
    EXPECT_EQ(31, add({"next"}));
    EXPECT_EQ(46, add({"next"}));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardSlots, TheRoadPast500And628)
{
    make(1);
    for (u32 id = 1; id <= 500; id++) { ASSERT_EQ(id, add({"v"})); }
    EXPECT_EQ(501u, file().hint());
    EXPECT_EQ(500u, file().maxId());
    EXPECT_EQ(kNone, file().field(hd::offsetCard));
    EXPECT_EQ(501, add({"v"}));
    EXPECT_EQ(502u, file().hint());
    EXPECT_EQ(501u, file().maxId());
    EXPECT_EQ(262u, file().field(hd::offsetCardSize));
    for (u32 id = 502; id <= 630; id++) { ASSERT_EQ(id, add({"v"})); }
    const BoxBytes got = file();
    EXPECT_EQ(2u, got.appendTables().size());
    EXPECT_EQ(630u, got.cardCount());
    EXPECT_TRUE(Sound(got));
    kill(510);
    kill(629);
    EXPECT_EQ(510, add({"v"}));
    EXPECT_EQ(629, add({"v"}));
    EXPECT_EQ(631, add({"v"}));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardSlots, ABoxWithAHintOf501AndNoCardsIsRefused)
{
    make(1);
    ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 501));
    const BoxBytes before = file();
    const Choice got = search();
    EXPECT_EQ(BXD_ERR_FAIL, got.status);
    EXPECT_TRUE(Same(before, file()));
}

}  // namespace
