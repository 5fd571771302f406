// SPDX-License-Identifier: MIT
// Collecting by the first way: the box closed up in memory and written back in one write.
#include "box/bxd_garb_image.h"

#include "box/bxd_garb.h"
#include "tests/support/box_case.h"
#include "tests/support/card_helpers.h"
#include "tests/support/collect_model.h"

using namespace boxtest;

namespace {

class CollectInMemory : public BoxCase {
protected:
    void SetUp() override { garbage_size_buf = card_garbage_size_buf = 0; }
    void TearDown() override { SetUp(); }

    struct Result {
        u32 status;
        u32 reclaimed;
    };
    // The first way alone.
    static Result collect(const char* name = kBox)
    {
        Result r{999, 888};
        u8 fid = kNoFile;
        u8 header[kHeaderSize];
        r.status = CheckFileBoxEx(name, &fid, header);
        if (r.status != BXD_OK) { return r; }
        bxd::OpenFile file(fid);
        r.status = FastestGarbageCollect(fid, &r.reclaimed, header);
        return r;
    }
    // Collects a box and holds the file against the model.
    void expectAsTheModel(const Bytes& before)
    {
        put(before);
        const Result r = collect();
        const Collected want = CollectModel(before).firstWay();
        EXPECT_EQ(r.status, 0u);
        EXPECT_EQ(r.reclaimed, want.reclaimed);
        EXPECT_TRUE(SameBytes(want.file, get()));
    }
    // Every card of the box has the values that it had, by the library and byte by byte.
    void expectSameCards(const Bytes& before) const
    {
        const BoxView was(before);
        const BoxView is(get());
        const OpenBox open(kBox);
        ASSERT_TRUE(open.ok());
        for (const Link& link : was.links()) {
            if (link.id == 0 || link.id > kLastNormalId) { continue; }
            ASSERT_EQ(was.valuesAt(link.pos), is.values(link.id)) << link.id;
            const auto id = static_cast<u16>(link.id);
            ASSERT_EQ(cardtest::Read(open.handle(), id, "I000"), Text(was.value(link.id, "I000")));
        }
    }
};

constexpr CheckRules kSound;

// --- what goes and what stays ---------------------------------------------------------------------------

TEST_F(CollectInMemory, ClosesTheCardsUp)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(30);
    box.card(1, box.row({{"I000", B("one")}}));
    box.dead(6);
    box.dead(1000);
    box.card(3, box.row({{"I000", B("three")}}));
    box.dead(50);
    const Bytes before = box.build();
    BoxBuilder closed(NumberedItems(6));
    closed.card(1, closed.row({{"I000", B("one")}}));
    closed.card(3, closed.row({{"I000", B("three")}}));
    put(before);
    const Result r = collect();
    EXPECT_EQ(r.status, 0u);
    EXPECT_EQ(r.reclaimed, 1086u);
    EXPECT_TRUE(SameBytes(closed.build(), get()));
    expectAsTheModel(before);
    expectSameCards(before);
}

TEST_F(CollectInMemory, LeavesABoxWithoutDeadCardsByteForByte)
{
    BoxBuilder box = MixedBox(700, 1000);
    Bytes before = box.build();
    before = CollectModel(before).firstWay().file;  // takes the one dead card out
    SetField(before, hd::garbageSize, 55);          // even a wrong count stays
    Put32(before, DefaultWordAt(400), 0);           // and a killed slot
    put(before);
    const Result r = collect();
    EXPECT_EQ(r.status, 0u);
    EXPECT_EQ(r.reclaimed, 0u);
    EXPECT_TRUE(SameBytes(before, get()));
}

TEST_F(CollectInMemory, OfDeadCardsAtTheEndOnlyShortensTheFile)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    const Bytes want = box.build();
    box.dead(40);
    box.dead(41);
    put(box.build());
    const Result r = collect();
    EXPECT_EQ(r.status, 0u);
    EXPECT_EQ(r.reclaimed, 81u);
    EXPECT_TRUE(SameBytes(want, get()));
}

TEST_F(CollectInMemory, OfNothingButDeadCardsLeavesTheEndMark)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(40);
    box.dead(41);
    expectAsTheModel(box.build());
    EXPECT_EQ(get().size(), GetField(get(), hd::cardOffset) + 2);
    EXPECT_TRUE(IsSound(get()));
}

TEST_F(CollectInMemory, DropsATemporaryCardAndCountsNothingForIt)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    box.editCard(box.row({{"I000", B("left behind")}}));
    box.card(2);
    expectAsTheModel(box.build());
    EXPECT_EQ(CollectModel(box.build()).firstWay().reclaimed, 0u);
    CheckRules rules;
    rules.editCard = false;
    EXPECT_TRUE(IsSound(get(), rules));
    put(box.build());
    EXPECT_EQ(collect().reclaimed, 0u);
}

TEST_F(CollectInMemory, MovesEveryKindOfCard)
{
    for (u32 normal : {0u, 1u, 5u, 500u, 501u, 628u, 629u, 1300u}) {
        SCOPED_TRACE(normal);
        BoxBuilder box = MixedBox(normal);
        const Bytes before = box.build();
        expectAsTheModel(before);
        EXPECT_TRUE(IsSound(get(), kSound));
        expectSameCards(before);
        EXPECT_EQ(BoxView(get()).deadBytes(), 0u);
        EXPECT_EQ(Text(Slice(get(), BoxView(get()).word(0) + 6, 20)), "extended information");
        EXPECT_EQ(Get16(get(), GetField(get(), hd::indexTable)), kIndexTableId);
    }
}

TEST_F(CollectInMemory, OfFiveThousandCards)
{
    BoxBuilder box = MixedBox(5200, 2);
    const Bytes before = box.build();
    expectAsTheModel(before);
    EXPECT_TRUE(IsSound(get()));
    expectSameCards(before);
    EXPECT_GT(BoxView(before).appendTables(), 30u);
}

TEST_F(CollectInMemory, KeepsEmptyTablesAndTheirOffsetCard)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(40);
    box.card(1);
    box.makeTablesFor(900);
    box.reserveOffsetCard(4);
    box.dead(60);
    box.card(2);
    box.setField(hd::maxCardID, 500);
    box.setField(hd::unUsedCardID, 3);
    expectAsTheModel(box.build());
    EXPECT_TRUE(IsSound(get()));
    EXPECT_EQ(BoxView(get()).appendTables(), 4u);
}

TEST_F(CollectInMemory, HealsKilledSlotsOfAllTables)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    box.killSlot(2);
    box.dead(30);
    box.card(600);
    box.killSlot(601);
    expectAsTheModel(box.build());
    EXPECT_EQ(BoxView(get()).slot(2), kNone);
    EXPECT_EQ(BoxView(get()).slot(601), kNone);
}

TEST_F(CollectInMemory, PutsSystemCardsIntoSlotsInTheOrderOfTheFile)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(30);
    box.systemCard(7, 65300, box.row());
    box.systemCard(2, 65290, box.row());
    box.systemCard(10, 65519, box.row());
    expectAsTheModel(box.build());
    const BoxView view(get());
    EXPECT_EQ(Get16(view.file(), view.word(1)), 65300u);
    EXPECT_EQ(Get16(view.file(), view.word(2)), 65290u);
    EXPECT_EQ(Get16(view.file(), view.word(3)), 65519u);
    EXPECT_EQ(view.word(4), kNone);
}

TEST_F(CollectInMemory, LosesAnEleventhSystemCard)
{
    BoxBuilder box(NumberedItems(6));
    for (u32 n = 0; n < 10; ++n) { box.systemCard(n + 1, 65300 + n, box.row()); }
    box.raw(EncodeCard(65310, box.row()));
    box.card(1);
    expectAsTheModel(box.build());
    // Nothing was dead, and still the file is written: the card has gone, and is not counted.
    BoxBuilder again = box;
    again.dead(30);
    again.card(2);
    const Bytes before = again.build();
    put(before);
    const Result r = collect();
    EXPECT_EQ(r.status, 0u);
    EXPECT_EQ(r.reclaimed, 30u);
    EXPECT_TRUE(IsSound(get()));
    EXPECT_EQ(BoxView(get()).find(65309) != 0, true);
    const BoxView view(get());
    for (const Link& link : view.links()) { EXPECT_NE(link.id, 65310u); }
}

TEST_F(CollectInMemory, TreatsUnassignedIdsAsSystemCards)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(10);
    box.raw(EncodeCard(65524, box.row()));
    box.raw(EncodeCard(65534, box.row()));
    expectAsTheModel(box.build());
    EXPECT_EQ(Get16(get(), BoxView(get()).word(2)), 65534u);
}

TEST_F(CollectInMemory, LeavesCountersHintAndFlagsAsTheyAre)
{
    BoxBuilder box = MixedBox(40);
    box.setField(hd::cardCount, 11);
    box.setField(hd::unUsedCardID, 12);
    box.setField(hd::maxCardID, 1300);
    box.setField(hd::garbageFlags, 0xA4);
    box.setField(hd::garbageSize, 5);
    box.setField(hd::syncId, 77);
    const Bytes before = box.build();
    expectAsTheModel(before);
    for (const Field& f : {hd::cardCount, hd::unUsedCardID, hd::maxCardID, hd::garbageFlags, hd::syncId}) {
        EXPECT_EQ(GetField(get(), f), GetField(before, f)) << f.name;
    }
    EXPECT_EQ(GetField(get(), hd::garbageSize), 0u);
}

TEST_F(CollectInMemory, CutsWhatStandsBehindTheEndMark)
{
    BoxBuilder box = MixedBox(9);
    const Bytes before = box.build();
    put(before + Bytes(300, 0x5A));
    EXPECT_EQ(collect().status, 0u);
    EXPECT_TRUE(SameBytes(CollectModel(before).firstWay().file, get()));
}

TEST_F(CollectInMemory, KeepsTheSlackOfACard)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(20);
    box.card(1, box.row({{"I000", B("short")}}), CardForm{4, 33, 2});
    const Bytes before = box.build();
    expectAsTheModel(before);
    EXPECT_EQ(Slice(get(), BoxView(get()).find(1), 60), Slice(before, BoxView(before).find(1), 60));
}

// --- what a lost power may have left ---------------------------------------------------------------------

TEST_F(CollectInMemory, LinksATableThatTheChainOfTablesHadNot)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    box.dead(30);
    box.card(501);
    box.reserveOffsetCard(3);
    box.raw(EncodeHead(kAppendTableId, 516) + Bytes(516, 0xFF));
    put(box.build());
    EXPECT_EQ(collect().status, 0u);
    EXPECT_TRUE(IsSound(get()));
    EXPECT_EQ(BoxView(get()).appendTables(), 2u);
}

TEST_F(CollectInMemory, NamesAnOffsetCardThatTheHeaderHadNot)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(30);
    box.card(1);
    box.raw(EncodeHead(kAppendTableId, 516) + Bytes(516, 0xFF));
    box.raw(EncodeHead(kOffsetCardId, 256) + Bytes(256, 0xFF));
    put(box.build());
    EXPECT_EQ(collect().status, 0u);
    EXPECT_TRUE(IsSound(get()));
    EXPECT_EQ(GetField(get(), hd::offsetCardSize), 262u);
}

TEST_F(CollectInMemory, FollowsTheTableThatTheHeaderNamesAndNotAStrayOne)
{
    for (bool strayFirst : {true, false}) {
        SCOPED_TRACE(strayFirst);
        BoxBuilder box(NumberedItems(6));
        box.dead(30);
        const Bytes stray = EncodeHead(kIndexTableId, 1024) + Bytes(1024, 0xFF);
        if (strayFirst) { box.raw(stray); }
        box.indexTable({{"ONE.IDX"}});
        if (!strayFirst) { box.raw(stray); }
        put(box.build());
        EXPECT_EQ(collect().status, 0u);
        const u32 pos = GetField(get(), hd::indexTable);
        EXPECT_EQ(Get32(get(), pos + 2), 512u);
        EXPECT_EQ(GetField(get(), hd::indexTableSize), 518u);
    }
}

TEST_F(CollectInMemory, TakesADeadOffsetCardBackThatHasNoSuccessor)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(30);
    const u32 pos = box.reserveOffsetCard(2);
    for (u32 id : {1u, 501u, 640u}) { box.card(id, box.row({{"I000", Pattern(9, id)}})); }
    const Bytes sound = box.build();
    Bytes before = sound;
    Put16(before, pos, 0);
    SetField(before, hd::garbageSize, 30 + 262);
    put(before);
    EXPECT_EQ(_BoxGarbageCollect(kBox), 0u);
    EXPECT_TRUE(SameBytes(CollectModel(sound).firstWay().file, get()));
    expectSameCards(sound);
    // With nothing else to collect only the card comes back.
    Bytes closed = get();
    Bytes dead = closed;
    Put16(dead, GetField(dead, hd::offsetCard), 0);
    SetField(dead, hd::garbageSize, 262);
    put(dead);
    EXPECT_EQ(_BoxGarbageCollect(kBox), 0u);
    EXPECT_TRUE(SameBytes(closed, get()));
}

TEST_F(CollectInMemory, MakesWrongSlotsAnewFromTheCards)
{
    const Bytes sound = MixedBox(700).build();
    Bytes torn = sound;
    const BoxView view(sound);
    std::vector<u32> tables;
    for (u32 pos = view.word(511); IsSet(pos); pos = Get32(sound, pos + 518)) { tables.push_back(pos); }
    for (u32 n = 0; n < 512; ++n) { Put32(torn, DefaultWordAt(n), 0x01010101 * n); }
    for (u32 pos : tables) {
        for (u32 at = 6; at < 522; at += 4) { Put32(torn, pos + at, 2200); }
    }
    Put32(torn, GetField(torn, hd::offsetCard) + 6, 3);
    put(torn);
    EXPECT_EQ(collect().status, 0u);
    EXPECT_TRUE(SameBytes(CollectModel(sound).firstWay().file, get()));
}

// --- damage ---------------------------------------------------------------------------------------------

TEST_F(CollectInMemory, RefusesAnIdWithoutATable)
{
    for (u32 id : {501u, 629u, 65279u}) {
        BoxBuilder box(NumberedItems(6));
        box.dead(30);
        if (id > 501) { box.card(501); }
        box.raw(EncodeCard(id, box.row()));
        const Bytes before = box.build();
        put(before);
        EXPECT_EQ(collect().status, 71u) << id;
        EXPECT_TRUE(SameBytes(before, get()));
    }
}

TEST_F(CollectInMemory, RefusesATableOfAnotherSize)
{
    for (u32 length : {0u, 515u, 517u, 1000u}) {
        BoxBuilder box(NumberedItems(6));
        box.dead(30);
        box.raw(EncodeHead(kAppendTableId, length) + Bytes(length, 0xFF));
        const Bytes before = box.build();
        put(before);
        EXPECT_EQ(collect().status, 71u) << length;
        EXPECT_TRUE(SameBytes(before, get()));
    }
}

TEST_F(CollectInMemory, RefusesAnOffsetCardWithoutRoomForItsTables)
{
    for (u32 length : {0u, 3u, 4u, 7u, 8u}) {
        BoxBuilder box(NumberedItems(6));
        box.dead(30);
        for (u32 n = 0; n < 2; ++n) { box.raw(EncodeHead(kAppendTableId, 516) + Bytes(516, 0xFF)); }
        const u32 pos = box.raw(EncodeHead(kOffsetCardId, length) + Bytes(length, 0xFF));
        box.setField(hd::offsetCard, pos);
        box.setField(hd::offsetCardSize, length + 6);
        const Bytes before = box.build();
        put(before);
        EXPECT_EQ(collect().status, length < 8 ? 71u : 0u) << length;
        if (length < 8) { EXPECT_TRUE(SameBytes(before, get())); }
    }
}

TEST_F(CollectInMemory, TakesUpTo510Tables)
{
    for (u32 tables : {510u, 511u}) {
        BoxBuilder box(NumberedItems(6));
        box.dead(30);
        for (u32 n = 0; n < tables; ++n) { box.raw(EncodeHead(kAppendTableId, 516) + Bytes(516, 0xFF)); }
        const Bytes before = box.build();
        put(before);
        EXPECT_EQ(collect().status, tables == 510 ? 0u : 71u);
        if (tables == 511) { EXPECT_TRUE(SameBytes(before, get())); }
    }
}

TEST_F(CollectInMemory, RefusesEveryCutOfTheChainAndLeavesTheFile)
{
    const Bytes whole = MixedBox(8).build();
    for (u32 size = GetField(whole, hd::cardOffset); size < whole.size(); ++size) {
        const Bytes cut = Slice(whole, 0, size);
        put(cut);
        const u32 status = collect().status;
        // A cut can end in two bytes of 0xFF where a head should be: that is an end mark.
        const Chain chain = WalkChain(cut);
        ASSERT_EQ(status, chain.fault.empty() ? 0u : 71u) << size;
        if (status == 71) { ASSERT_TRUE(SameBytes(cut, get())) << size; }
    }
}

TEST_F(CollectInMemory, RefusesTablesOutOfTheirOrder)
{
    const Bytes whole = MixedBox(8).build();
    const u32 size = static_cast<u32>(whole.size());
    const u32 cards = GetField(whole, hd::cardOffset);
    struct Case {
        Field field;
        u32 value;
    };
    const Case cases[] = {{hd::cardOffset, 0},        {hd::cardOffset, 2119},        {hd::cardOffset, 2200},
                          {hd::cardOffset, size + 1}, {hd::cardOffset, 0xFFFFFFFE},  {hd::offsetTable, 0},
                          {hd::offsetTable, 2120},    {hd::offsetTable, 0xFFFFFFFF}, {hd::offsetTable, cards},
                          {hd::itemSize, 0x7FFFFFFF}, {hd::itemOffset, 72},          {hd::itemOffset, size}};
    for (const Case& c : cases) {
        Bytes bad = whole;
        SetField(bad, c.field, c.value);
        put(bad);
        EXPECT_EQ(collect().status, 71u) << c.field.name << " " << c.value;
        EXPECT_TRUE(SameBytes(bad, get()));
        const u32 both = _BoxGarbageCollect(kBox);
        EXPECT_EQ(both, 71u) << c.field.name << " " << c.value;
        EXPECT_TRUE(SameBytes(bad, get()));
    }
}

}  // namespace
