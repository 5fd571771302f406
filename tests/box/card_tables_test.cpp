// SPDX-License-Identifier: MIT
// Append tables and the offset card: growth by one table, and by one offset card.
#include "box/bxd_card_tables.h"

#include "tests/box/card_slots_case.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

// --- append tables -----------------------------------------------------------------------------------------

TEST_F(CardTables, ANewAppendTableStandsOverTheEndMarkWithItsOwnBehind)
{
    boxtest::BoxBuilder b;
    b.card(1);
    start(b.build());
    BoxBytes want = file();
    u32 pos = 0;
    u16 id = 0;
    u32 reuse = 9;
    ASSERT_EQ(BXD_OK, MakeNewAppendTable(fid(), want.wordAt(511), &pos, 501, &id, &reuse));
    EXPECT_EQ(want.size() - 2, pos);
    EXPECT_EQ(501, id);
    EXPECT_EQ(0u, reuse);

    EXPECT_EQ(pos, want.addCard(AppendTable()));
    setOffsetCard(&want, want.addCard(OffsetCard({pos}, 256)), 262);
    want.setEntry(511, pos);
    want.setCounts(1, 502, 501);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardTables, ANewAppendTableTakesAnyIdOfItsRange)
{
    boxtest::BoxBuilder b;
    b.reserveOffsetCard(3);
    b.card(501);
    start(b.build());
    BoxBytes want = file();
    u32 pos = 0;
    u16 id = 0;
    u32 reuse = 9;
    ASSERT_EQ(BXD_OK, MakeNewAppendTable(fid(), want.entry(511) + 518, &pos, 700, &id, &reuse));
    EXPECT_EQ(700, id);
    want.putWord(want.entry(511) + 518, want.addCard(AppendTable()));
    want.putWord(want.field(hd::offsetCard) + 10, pos);
    want.setCounts(1, 701, 700);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardTables, ABoxWithoutACardAreaGetsNoAppendTable)
{
    make();
    const BoxBytes before = file();
    u32 pos = 0;
    u16 id = 0;
    u32 reuse = 0;
    EXPECT_EQ(BXD_ERR_FAIL, MakeNewAppendTable(fid(), before.wordAt(511), &pos, 501, &id, &reuse));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardTables, NoAppendTableIsMadeForAnIdOfSystemCards)
{
    boxtest::BoxBuilder b;
    b.card(501);
    start(b.build());
    const BoxBytes before = file();
    u32 pos = 0;
    u16 id = 0;
    u32 reuse = 0;
    EXPECT_EQ(BXD_ERR_FAIL, MakeNewAppendTable(fid(), before.entry(511) + 518, &pos, 65397, &id, &reuse));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardTables, ASearchInTheTablesFindsTheFirstFreeSlotFromTheGivenId)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(757);
    for (u32 id = 501; id <= 700; id++) { b.setSlot(id, kUsed); }
    b.setSlot(520, 0);
    b.setField(hd::maxCardID, 700);
    start(b.build());
    const std::vector<u32> tables = file().appendTables();
    struct Case {
        u32 table;
        i32 first;
        u16 id;
        u32 reuse;
        u32 owner;
    };
    for (const Case& c : {Case{tables[0], 501, 520, 1, tables[0]}, Case{tables[0], 520, 520, 1, tables[0]},
                          Case{tables[0], 521, 701, 0, tables[1]}, Case{tables[1], 629, 701, 0, tables[1]},
                          Case{tables[1], 750, 750, 0, tables[1]}, Case{tables[2], 757, 757, 0, tables[2]},
                          Case{tables[2], 884, 884, 0, tables[2]}}) {
        SCOPED_TRACE(c.first);
        BoxBytes want = file();
        std::vector<u32> buf(512);
        u32 pos = 0;
        u16 id = 0;
        u32 reuse = 9;
        ASSERT_EQ(BXD_OK, SearchAppendTable(fid(), c.table, &pos, c.first, &id, &reuse, buf.data()));
        EXPECT_EQ(c.id, id);
        EXPECT_EQ(c.reuse, reuse);
        EXPECT_EQ(c.owner, pos);
        want.setCounts(1, c.id + 1u, std::max<u32>(want.maxId(), c.id));
        EXPECT_TRUE(Same(want, file()));
        for (u32 n = 0; n < 129; n++) { EXPECT_EQ(want.word(pos + 6 + 4 * n), buf[n]) << n; }
    }
}

TEST_F(CardTables, ASearchThatStartsAtAnotherCardIsRefused)
{
    boxtest::BoxBuilder b;
    const u32 card = b.card(1);
    b.makeTablesFor(501);
    start(b.build());
    const BoxBytes before = file();
    std::vector<u32> buf(512);
    u32 pos = 0;
    u16 id = 0;
    u32 reuse = 0;
    EXPECT_EQ(BXD_ERR_FAIL, SearchAppendTable(fid(), card, &pos, 501, &id, &reuse, buf.data()));
    EXPECT_EQ(BXD_ERR_FAIL, SearchAppendTable(fid(), 0, &pos, 501, &id, &reuse, buf.data()));
    EXPECT_EQ(BXD_ERR_FAIL, SearchAppendTable(fid(), before.size() + 10, &pos, 501, &id, &reuse, buf.data()));
    EXPECT_TRUE(Same(before, file()));
}

// --- the offset card: the first one ------------------------------------------------------------------------

TEST_F(CardTables, TheFirstOffsetCardHasRoomFor64Tables)
{
    for (const u32 none : {kNone, 0u}) {
        boxtest::BoxBuilder b;
        b.card(1);
        const u32 table = b.raw(AppendTable());
        b.setField(hd::offsetCard, none);
        start(b.build());
        BoxBytes want = file();
        ASSERT_EQ(BXD_OK, WriteOffsetCard(fid(), table, 628));
        setOffsetCard(&want, want.addCard(OffsetCard({table}, 256)), 262);
        EXPECT_TRUE(Same(want, file()));
        close();
    }
}

TEST_F(CardTables, TheFirstOffsetCardIsAsLargeAsItsTableNumberNeeds)
{
    struct Case {
        u16 id;
        u32 group;
        u32 payload;
    };
    for (const Case& c :
         {Case{8692, 63, 256}, Case{8693, 64, 512}, Case{13429, 101, 512}, Case{65013, 504, 2048}}) {
        SCOPED_TRACE(c.id);
        boxtest::BoxBuilder b;
        b.card(1);
        start(b.build());
        BoxBytes want = file();
        ASSERT_EQ(BXD_OK, WriteOffsetCard(fid(), 4711, c.id));
        std::vector<u32> words(c.group, kNone);
        words.push_back(4711);
        setOffsetCard(&want, want.addCard(OffsetCard(words, c.payload)), c.payload + 6);
        EXPECT_TRUE(Same(want, file()));
        close();
    }
}

TEST_F(CardTables, ATableNumberBeyondTheWorkAreaOfTheFirstOffsetCardIsRefused)
{
    boxtest::BoxBuilder b;
    b.card(1);
    start(b.build());
    const BoxBytes before = file();
    for (const u32 id : {65141u, 65269u}) {
        EXPECT_EQ(BXD_ERR_FAIL, WriteOffsetCard(fid(), 4711, static_cast<u16>(id)));
        EXPECT_TRUE(Same(before, file()));
    }
}

TEST_F(CardTables, AChainWithoutOffsetCardIsCollectedUpToAnErasedLastSlot)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(629);
    BoxBytes content(b.build());
    setOffsetCard(&content, kNone, kNone);
    start(content);
    const std::vector<u32> tables = content.appendTables();
    // The walk looks at the last slot of the first table and not at its link: the second table is not met.
    ASSERT_EQ(BXD_OK, WriteOffsetCard(fid(), 4711, 757));
    setOffsetCard(&content, content.addCard(OffsetCard({tables[0], kNone, 4711}, 256)), 262);
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardTables, AChainWithoutOffsetCardIsCollectedThroughAUsedLastSlot)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(501);
    // The word 514 bytes behind the card in the last slot ends the walk.
    const u32 card = b.raw(PlainCard(628, Bytes(600, 0xFF)));
    b.setSlot(628, card);
    const u32 table = b.appendTable(0);
    BoxBytes content(b.build());
    setOffsetCard(&content, kNone, kNone);
    start(content);
    ASSERT_EQ(BXD_OK, WriteOffsetCard(fid(), 4711, 757));
    BoxBytes want = content;
    setOffsetCard(&want, want.addCard(OffsetCard({table, card, 4711}, 256)), 262);
    EXPECT_TRUE(Same(want, file()));
    close();
    start(content);
    ASSERT_EQ(BXD_OK, WriteOffsetCard(fid(), 4711, 629));
    want = content;
    setOffsetCard(&want, want.addCard(OffsetCard({table, 4711}, 256)), 262);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardTables, AWalkThroughAKilledLastSlotEndsInTheErasedDefaultTable)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.killSlot(628);
    const u32 table = b.appendTable(0);
    BoxBytes content(b.build());
    setOffsetCard(&content, kNone, kNone);
    start(content);
    ASSERT_EQ(BXD_OK, WriteOffsetCard(fid(), 4711, 757));
    setOffsetCard(&content, content.addCard(OffsetCard({table, 0, 4711}, 256)), 262);
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardTables, AWalkInACircleEndsWithTheWorkArea)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(501);
    b.setSlot(628, b.appendTable(0));
    BoxBytes content(b.build());
    setOffsetCard(&content, kNone, kNone);
    start(content);
    const u32 status = WriteOffsetCard(fid(), 4711, 629);
    EXPECT_TRUE(status == BXD_OK || status == BXD_ERR_FAIL) << status;
    const boxtest::Chain chain = boxtest::WalkChain(file().all());
    EXPECT_EQ("", chain.fault);
    EXPECT_EQ(file().size() - 2, chain.end);
}

// --- the offset card: entries and growth -------------------------------------------------------------------

TEST_F(CardTables, ATableIsEnteredInTheOffsetCardInPlace)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(501);
    start(b.build());
    BoxBytes want = file();
    const u32 card = want.field(hd::offsetCard);
    for (const u32 group : {1u, 2u, 63u}) {
        ASSERT_EQ(BXD_OK, WriteOffsetCard(fid(), 1000 + group, static_cast<u16>(501 + 128 * group)));
        want.putWord(card + 6 + 4 * group, 1000 + group);
        EXPECT_TRUE(Same(want, file())) << group;
    }
}

TEST_F(CardTables, AnOffsetCardThatIsFullIsReplacedByALargerOne)
{
    boxtest::BoxBuilder b;
    b.reserveOffsetCard(64);
    b.card(1);
    b.makeTablesFor(8692);
    b.card(8692);
    start(b.build());
    BoxBytes want = file();
    std::vector<u32> words = want.appendTables();
    ASSERT_EQ(64u, words.size());
    const u32 ram = ramGarbage();
    u32 pos = 0;
    u16 id = 0;
    u32 reuse = 9;
    ASSERT_EQ(BXD_OK, MakeNewAppendTable(fid(), words[63] + 518, &pos, 8693, &id, &reuse));

    words.push_back(want.addCard(AppendTable()));
    want.putWord(words[63] + 518, words[64]);
    want.kill(want.field(hd::offsetCard));
    setOffsetCard(&want, want.addCard(OffsetCard(words, 512)), 518);
    want.setCounts(2, 8694, 8693);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(262u, want.garbage());
    EXPECT_EQ(ram + 262, ramGarbage());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardTables, AReplacedOffsetCardThatIsTheLastCardGivesItsPlace)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(8692);
    start(b.build());
    BoxBytes want = file();
    const u32 old = want.field(hd::offsetCard);
    std::vector<u32> words = want.appendTables();
    const u32 ram = ramGarbage();
    ASSERT_EQ(BXD_OK, WriteOffsetCard(fid(), 4711, 8693));
    words.push_back(4711);
    want.cut(old + 2);
    EXPECT_EQ(old, want.addCard(OffsetCard(words, 512)));
    setOffsetCard(&want, old, 518);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram, ramGarbage());
}

TEST_F(CardTables, ALargerOffsetCardIsAsLargeAsItsTableNumberNeeds)
{
    struct Case {
        u32 group;
        u32 payload;
    };
    for (const Case& c : {Case{64, 512}, Case{127, 512 + 256 - 256}, Case{128, 768}, Case{200, 1024}}) {
        SCOPED_TRACE(c.group);
        boxtest::BoxBuilder b;
        b.reserveOffsetCard(1);
        b.card(1);
        b.makeTablesFor(501);
        start(b.build());
        BoxBytes want = file();
        std::vector<u32> words(c.group + 1, kNone);
        words.front() = want.entry(511);
        words.back() = 4711;
        ASSERT_EQ(BXD_OK, WriteOffsetCard(fid(), 4711, static_cast<u16>(501 + 128 * c.group)));
        want.kill(want.field(hd::offsetCard));
        setOffsetCard(&want, want.addCard(OffsetCard(words, c.payload)), c.payload + 6);
        EXPECT_TRUE(Same(want, file()));
        close();
    }
}

TEST_F(CardTables, AnOffsetCardThatIsNotThereIsRefused)
{
    boxtest::BoxBuilder b;
    b.card(501);
    start(b.build());
    PokeWord(fid(), hd::offsetCard.at, file().size() + 1000);
    EXPECT_NE(BXD_OK, WriteOffsetCard(fid(), 4711, 8693));
    PokeWord(fid(), hd::offsetCardSize.at, 0x7FFFFFFF);
    const BoxBytes before = file();
    u32 tablePos = 72;
    std::vector<u32> table(512, kUsed);
    u16 id = 0;
    u32 reuse = 0;
    ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 700));
    EXPECT_NE(BXD_OK, SearchNewCardID(fid(), &tablePos, table.data(), &id, &reuse));
    EXPECT_EQ(before.size(), file().size());
}

TEST_F(CardTables, TheOffsetCardIsMadeAgainFromTheChain)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(757);
    start(b.build());
    const BoxBytes want = file();
    Poke(fid(), want.field(hd::offsetCard) + 6, Bytes(256, 0x5A));
    ASSERT_EQ(BXD_OK, RemakeOffsetCard(fid(), want.part(0, 72).data()));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardTables, AnOffsetCardThatIsUnsetCannotBeMadeAgain)
{
    boxtest::BoxBuilder b;
    b.card(501);
    start(b.build());
    const BoxBytes before = file();
    for (const boxtest::Field& field : {hd::offsetCard, hd::offsetCardSize}) {
        Bytes header = before.part(0, 72);
        boxtest::SetField(header, field, kNone);
        EXPECT_EQ(BXD_ERR_FAIL, RemakeOffsetCard(fid(), header.data())) << field.name;
        EXPECT_TRUE(Same(before, file()));
    }
}

TEST_F(CardTables, AChainInACircleIsNotRemadeBeyondTheOffsetCard)
{
    boxtest::BoxBuilder b;
    b.card(1);
    b.makeTablesFor(629);
    BoxBytes content(b.build());
    content.putWord(content.appendTables()[1] + 518, content.appendTables()[0]);
    start(content);
    (void)RemakeOffsetCard(fid(), content.part(0, 72).data());
    const BoxBytes got = file();
    const u32 card = content.field(hd::offsetCard);
    EXPECT_EQ(content.size(), got.size());
    EXPECT_EQ(content.part(0, card + 6), got.part(0, card + 6));
    EXPECT_EQ(content.part(card + 262, 100), got.part(card + 262, 100));
}

}  // namespace
