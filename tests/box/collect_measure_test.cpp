// SPDX-License-Identifier: MIT
// The measure of dead bytes: what it sums up, what it cuts off the end, what it lists, and the counters that
// it puts right.
#include "box/bxd_garb_measure.h"

#include <algorithm>

#include "box/bxd_garb.h"
#include "tests/support/box_case.h"
#include "tests/support/collect_model.h"

using namespace boxtest;

namespace {

class Measuring : public BoxCase {
protected:
    void SetUp() override { garbage_size_buf = card_garbage_size_buf = 0; }
    void TearDown() override { SetUp(); }

    struct Result {
        u32 status;
        u32 garbage = 111;
        u32 tail = 222;
        u16 maxId = 333;
    };
    static Result measure(u8 fid, u32 start, bool fast = true)
    {
        Result r{};
        r.status = fast ? FastGetGarbageSize(fid, &r.garbage, &r.tail, start, &r.maxId, nullptr)
                        : GetGarbageSize(fid, &r.garbage, &r.tail, start, &r.maxId);
        return r;
    }
    static void expectResult(const Result& r, u32 garbage, u32 tail, u32 maxId)
    {
        EXPECT_EQ(r.status, 0u);
        EXPECT_EQ(r.garbage, garbage);
        EXPECT_EQ(r.tail, tail);
        EXPECT_EQ(r.maxId, maxId);
    }
};

// --- the list of cards ----------------------------------------------------------------------------------

TEST(ListOfCards, ANewBlockIsAllZero)
{
    CardTable* block = CreateCardTable();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->next, nullptr);
    for (const CardRecord& record : block->records) {
        EXPECT_EQ(record.position, 0u);
        EXPECT_EQ(record.total, 0u);
        EXPECT_EQ(record.cardId, 0u);
    }
    EXPECT_EQ(sizeof(CardTable) - sizeof(void*), 6000u);
    DisposeCardTable(block);
    DisposeCardTable(nullptr);
}

TEST(ListOfCards, A501stRecordBeginsANewBlock)
{
    CardTable* first = CreateCardTable();
    CardTable* block = first;
    u32 i = 0;
    for (u32 n = 1; n <= 500; ++n) { block = PutCardTable(block, n, 2 * n, static_cast<u16>(n), &i); }
    EXPECT_EQ(block, first);
    EXPECT_EQ(i, 500u);
    block = PutCardTable(block, 501, 1002, 501, &i);
    EXPECT_NE(block, first);
    EXPECT_EQ(first->next, block);
    EXPECT_EQ(i, 1u);
    DisposeCardTable(first);
}

TEST(ListOfCards, RecordsComeBackInOrderAndEndWithPositionZero)
{
    CardTable* first = CreateCardTable();
    CardTable* block = first;
    u32 i = 0;
    for (u32 n = 1; n <= 1203; ++n) { block = PutCardTable(block, n, 2 * n, static_cast<u16>(3 * n), &i); }
    block = first;
    i = 0;
    u32 pos = 0;
    u32 total = 0;
    u16 id = 0;
    for (u32 n = 1; n <= 1203; ++n) {
        block = GetCardTable(block, &pos, &total, &id, &i);
        ASSERT_NE(block, nullptr);
        ASSERT_EQ(pos, n);
        ASSERT_EQ(total, 2 * n);
        ASSERT_EQ(id, 3 * n);
    }
    block = GetCardTable(block, &pos, &total, &id, &i);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(pos, 0u);
    DisposeCardTable(first);
}

TEST(ListOfCards, AFullLastBlockEndsWithNull)
{
    CardTable* first = CreateCardTable();
    CardTable* block = first;
    u32 i = 0;
    for (u32 n = 1; n <= 500; ++n) { block = PutCardTable(block, n, n, 1, &i); }
    u32 pos = 77;
    u32 total = 0;
    u16 id = 0;
    EXPECT_EQ(GetCardTable(block, &pos, &total, &id, &i), nullptr);
    EXPECT_EQ(pos, 0u);
    DisposeCardTable(first);
}

// --- the sum --------------------------------------------------------------------------------------------

TEST_F(Measuring, SumsUpTheDeadAndFindsTheHighestId)
{
    BoxBuilder box = MixedBox(650);
    box.card(700);
    put(box.build());
    const u32 dead = BoxView(get()).deadBytes();
    ASSERT_GT(dead, 0u);
    for (bool fast : {true, false}) {
        Fid file(kBox);
        const u32 start = GetField(get(), hd::cardOffset);
        expectResult(measure(file.id(), start, fast), dead, 0, 700);
    }
    EXPECT_TRUE(SameBytes(box.build(), get()));
    EXPECT_EQ(_ReadGarbageSize(0), 0u);
}

TEST_F(Measuring, RepairsTheCountInTheHeaderOnlyWhenFast)
{
    BoxBuilder box = MixedBox(30);
    box.setField(hd::garbageSize, 7);
    const Bytes before = box.build();
    put(before);
    const u32 dead = BoxView(before).deadBytes();
    Fid file(kBox);
    const u32 start = GetField(before, hd::cardOffset);
    expectResult(measure(file.id(), start, false), dead, 0, 29);
    EXPECT_TRUE(SameBytes(before, get()));
    expectResult(measure(file.id(), start, true), dead, 0, 29);
    EXPECT_EQ(GetField(get(), hd::garbageSize), dead);
}

TEST_F(Measuring, CutsDeadCardsOffTheEnd)
{
    for (bool fast : {true, false}) {
        SCOPED_TRACE(fast);
        BoxBuilder box(NumberedItems(6));
        box.card(1);
        box.dead(100);
        box.card(2);
        Bytes want = box.build();
        box.dead(40);
        box.dead(6);
        box.dead(3000);
        put(box.build());
        Fid file(kBox);
        expectResult(measure(file.id(), GetField(want, hd::cardOffset), fast), 100, 3046, 2);
        if (!fast) { SetField(want, hd::garbageSize, 3146); }
        EXPECT_TRUE(SameBytes(want, get()));
        EXPECT_EQ(BxdFileSize(file.id()), want.size());
    }
}

TEST_F(Measuring, OfNothingButDeadCardsLeavesTheEndMark)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(40);
    box.dead(60);
    put(box.build());
    const u32 start = GetField(get(), hd::cardOffset);
    Fid file(kBox);
    expectResult(measure(file.id(), start), 0, 100, 0);
    EXPECT_EQ(get().size(), start + 2);
    EXPECT_TRUE(IsSound(get()));
}

TEST_F(Measuring, CutsWhatStandsBehindTheEndMarkOnlyWithATail)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    Bytes longFile = box.build() + Bytes(50, 0x33);
    put(longFile);
    const u32 start = GetField(longFile, hd::cardOffset);
    {
        Fid file(kBox);
        expectResult(measure(file.id(), start), 0, 0, 1);
    }
    EXPECT_TRUE(SameBytes(longFile, get()));
    Bytes want = box.build();
    box.dead(80);
    put(box.build() + Bytes(50, 0x33));
    Fid file(kBox);
    expectResult(measure(file.id(), start), 0, 80, 1);
    EXPECT_TRUE(SameBytes(want, get()));
}

TEST_F(Measuring, FromALaterCardCountsFromThere)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(50);
    box.card(9);
    const u32 later = box.card(2);
    box.dead(70);
    box.card(3);
    put(box.build());
    Fid file(kBox);
    expectResult(measure(file.id(), later, false), 70, 0, 3);
    expectResult(measure(file.id(), later, true), 70, 0, 3);
    EXPECT_EQ(GetField(get(), hd::garbageSize), 70u);
}

TEST_F(Measuring, OfAnUnsetStartIsNothing)
{
    put(BoxBuilder(NumberedItems(6)).build());
    const Bytes before = get();
    Fid file(kBox);
    expectResult(measure(file.id(), kNone, false), 0, 0, 0);
    expectResult(measure(file.id(), kNone, true), 0, 0, 0);
    EXPECT_TRUE(SameBytes(before, get()));
}

TEST_F(Measuring, OutputsMayBeNull)
{
    BoxBuilder box = MixedBox(20);
    put(box.build());
    const u32 start = GetField(get(), hd::cardOffset);
    Fid file(kBox);
    u32 tail = 5;
    EXPECT_EQ(FastGetGarbageSize(file.id(), nullptr, &tail, start, nullptr, nullptr), 0u);
    EXPECT_EQ(GetGarbageSize(file.id(), nullptr, &tail, start, nullptr), 0u);
    EXPECT_EQ(tail, 0u);
}

TEST_F(Measuring, IdsFrom65280OnAreNotTheHighest)
{
    BoxBuilder box(NumberedItems(6));
    box.editCard(box.row());
    box.systemCard(1, 65519, box.row());
    put(box.build());
    Fid file(kBox);
    expectResult(measure(file.id(), GetField(get(), hd::cardOffset)), 0, 0, 0);
    box.card(65279);
    put(box.build());
    Fid again(kBox);
    expectResult(measure(again.id(), GetField(get(), hd::cardOffset)), 0, 0, 65279);
}

// --- reading through the buffer --------------------------------------------------------------------------

// A card's head may cross the buffer's end at any byte, and a body may pass it by far.
TEST_F(Measuring, ReadsHeadsAtEveryPlaceOfTheBuffersEnd)
{
    for (u32 shift = 0; shift < 12; ++shift) {
        SCOPED_TRACE(shift);
        BoxBuilder box(NumberedItems(4));
        const u32 start = box.size();
        box.dead(16384 - 6 - 6 + shift);  // the next head begins 12 - shift bytes before the buffer's end
        box.card(5);
        box.dead(70000 + shift);
        box.card(6);
        box.dead(6);
        box.dead(7);
        const u32 last = box.card(7);
        put(box.build());
        Fid file(kBox);
        expectResult(measure(file.id(), start), 16384 - 12 + 70000 + 13 + 2 * shift, 0, 7);
        EXPECT_GT(last, start + 80000u);
    }
}

TEST_F(Measuring, EndsWhereTheFileEndsBehindACard)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    box.dead(44);
    box.card(2);
    Bytes torn = box.build();
    torn.resize(torn.size() - 2);
    put(torn);
    for (bool fast : {true, false}) {
        Fid file(kBox);
        expectResult(measure(file.id(), GetField(torn, hd::cardOffset), fast), 44, 0, 2);
    }
    EXPECT_TRUE(SameBytes(torn, get()));
}

TEST_F(Measuring, EndsWithADeadCardAndNoMark)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    Bytes want = box.build();
    box.dead(44);
    Bytes torn = box.build();
    torn.resize(torn.size() - 2);
    put(torn);
    Fid file(kBox);
    expectResult(measure(file.id(), GetField(torn, hd::cardOffset)), 0, 44, 1);
    EXPECT_TRUE(SameBytes(want, get()));
}

TEST_F(Measuring, GivesDamageForAChainThatDoesNotEndAndChangesNothing)
{
    BoxBuilder box = MixedBox(12);
    box.dead(50);
    const Bytes whole = box.build();
    const u32 start = GetField(whole, hd::cardOffset);
    std::vector<u32> ends;  // where a card ends the chain may end too
    const BoxView view(whole);
    for (const Link& link : view.links()) { ends.push_back(link.end()); }
    for (u32 size = kEmptyBoxBytes; size < whole.size(); ++size) {
        const Bytes cut = Slice(whole, 0, size);
        const bool between = std::find(ends.begin(), ends.end(), size) != ends.end();
        for (bool fast : {true, false}) {
            put(cut);
            Fid file(kBox);
            EXPECT_EQ(measure(file.id(), start, fast).status, between ? 0u : 71u) << size;
            // The head by head walk mends a torn end mark, as every reader of heads does.
            if (!between && fast) { ASSERT_TRUE(SameBytes(cut, get())) << size; }
        }
    }
}

TEST_F(Measuring, GivesDamageForACardThatPassesTheEnd)
{
    BoxBuilder box(NumberedItems(6));
    const u32 first = box.card(1);
    const u32 second = box.dead(30);
    const Bytes whole = box.build();
    for (u32 pos : {first, second}) {
        for (u32 length : {1000u, 0x7FFFFFFFu, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
            Bytes bad = whole;
            Put32(bad, pos + 2, length);
            put(bad);
            for (bool fast : {true, false}) {
                Fid file(kBox);
                EXPECT_EQ(measure(file.id(), first, fast).status, 71u);
                EXPECT_TRUE(SameBytes(bad, get()));
            }
        }
    }
}

TEST_F(Measuring, GivesDamageForAStartOutsideOfTheCards)
{
    put(MixedBox(5).build());
    const Bytes before = get();
    const u32 size = static_cast<u32>(before.size());
    Fid file(kBox);
    for (u32 start : {0u, 72u, 2119u, size, size + 1, 0x80000000u, 0xFFFFFFFEu}) {
        EXPECT_EQ(measure(file.id(), start, true).status, 71u) << start;
        EXPECT_EQ(measure(file.id(), start, false).status, 71u) << start;
    }
    EXPECT_TRUE(SameBytes(before, get()));
}

TEST_F(Measuring, OfAFileOpenForReadingGivesTheStatusOfTheWrite)
{
    BoxBuilder box = MixedBox(9);
    put(box.build());
    Fid file(kBox, BXD_MODE_READ);
    const Result r = measure(file.id(), GetField(get(), hd::cardOffset));
    EXPECT_EQ(r.status, 71u);
    EXPECT_EQ(r.garbage, BoxView(get()).deadBytes());
}

TEST_F(Measuring, OfAFileOpenForReadingCountsATailThatStays)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    box.dead(60);
    put(box.build());
    const Bytes before = get();
    Fid file(kBox, BXD_MODE_READ);
    const Result r = measure(file.id(), GetField(before, hd::cardOffset), false);
    EXPECT_EQ(r.status, 0u);
    EXPECT_EQ(r.garbage, 60u);
    EXPECT_EQ(r.tail, 0u);
    EXPECT_TRUE(SameBytes(before, get()));
}

TEST_F(Measuring, ListsEveryCardThatLives)
{
    BoxBuilder box = MixedBox(1300);
    put(box.build());
    Fid file(kBox);
    bxd::CardList list;
    u32 garbage = 0;
    u32 tail = 0;
    u16 maxId = 0;
    const u32 start = GetField(get(), hd::cardOffset);
    ASSERT_EQ(FastGetGarbageSize(file.id(), &garbage, &tail, start, &maxId, list.out()), 0u);
    std::vector<Link> want;
    const BoxView view(get());
    for (const Link& link : view.links()) {
        if (link.id != 0) { want.push_back(link); }
    }
    size_t n = 0;
    EXPECT_EQ(list.forEach([&](const CardRecord& card) {
        EXPECT_LT(n, want.size());
        EXPECT_EQ(card.position, want[n].pos);
        EXPECT_EQ(card.total, want[n].total());
        EXPECT_EQ(card.cardId, want[n].id);
        ++n;
        return u32{0};
    }),
              0u);
    EXPECT_EQ(n, want.size());
    EXPECT_GT(n, 500u);
}

// --- the counters ---------------------------------------------------------------------------------------

TEST_F(Measuring, UpdateCarriesTheChangeOverToTheCounterOfTheDrive)
{
    BoxBuilder box = MixedBox(40);
    box.setField(hd::garbageSize, 30);
    put(box.build());
    const u32 dead = BoxView(get()).deadBytes();
    garbage_size_buf = 1000;
    card_garbage_size_buf = 10;
    Fid file(kBox);
    EXPECT_EQ(UpdateBoxGarbageSize(file.id(), 0), 0u);
    EXPECT_EQ(garbage_size_buf, 1000 - 30 + dead);
    EXPECT_EQ(card_garbage_size_buf, 10u);
    EXPECT_EQ(GetField(get(), hd::garbageSize), dead);
    EXPECT_EQ(UpdateBoxGarbageSize(file.id(), 1), 0u);
    EXPECT_EQ(card_garbage_size_buf, dead);  // 10 less the old sum is nothing
}

TEST_F(Measuring, UpdateTakesAnUnsetCountForNothing)
{
    BoxBuilder box = MixedBox(40);
    box.setField(hd::garbageSize, kNone);
    put(box.build());
    garbage_size_buf = 100;
    Fid file(kBox);
    EXPECT_EQ(UpdateBoxGarbageSize(file.id(), 0), 0u);
    EXPECT_EQ(garbage_size_buf, 100 + BoxView(get()).deadBytes());
}

TEST_F(Measuring, UpdateOfABoxWithoutDeadCardsLeavesTheCounter)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    put(box.build());
    garbage_size_buf = 100;
    Fid file(kBox);
    EXPECT_EQ(UpdateBoxGarbageSize(file.id(), 0), 0u);
    EXPECT_EQ(garbage_size_buf, 100u);
}

TEST_F(Measuring, UpdateOfABoxWithoutCardsWritesNothing)
{
    Bytes box = BoxBuilder(NumberedItems(6)).build();
    SetField(box, hd::garbageSize, 99);
    put(box);
    garbage_size_buf = 100;
    Fid file(kBox);
    EXPECT_EQ(UpdateBoxGarbageSize(file.id(), 0), 0u);
    EXPECT_EQ(garbage_size_buf, 100u);
    EXPECT_TRUE(SameBytes(box, get()));
}

TEST_F(Measuring, UpdateOfADamagedBoxLeavesTheCounter)
{
    BoxBuilder box = MixedBox(10);
    Bytes bad = box.build();
    bad.resize(bad.size() - 3);
    put(bad);
    garbage_size_buf = 100;
    Fid file(kBox);
    EXPECT_EQ(UpdateBoxGarbageSize(file.id(), 0), 71u);
    EXPECT_EQ(garbage_size_buf, 100u);
}

TEST_F(Measuring, CutTailLowersTheCounterOfTheBoxesDriveByWhatWasCut)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    box.dead(100);
    box.card(2);
    const u32 start = GetField(box.build(), hd::cardOffset);
    for (const char* name : {kBox, "F1:TEST.BOX"}) {
        SCOPED_TRACE(name);
        BoxBuilder tailed = box;
        tailed.dead(40);
        put(tailed.build());
        garbage_size_buf = 500;
        card_garbage_size_buf = 500;
        const OpenBox open(name);
        ASSERT_TRUE(open.ok());
        EXPECT_EQ(CutTailGarbage(open.record(), start), 0u);
        EXPECT_EQ(garbage_size_buf, name == kBox ? 460u : 500u);
        EXPECT_EQ(card_garbage_size_buf, name == kBox ? 500u : 460u);
        EXPECT_TRUE(SameBytes(box.build(), get()));
        EXPECT_EQ(CutTailGarbage(open.record(), start), 0u);
        EXPECT_EQ(garbage_size_buf + card_garbage_size_buf, 960u);
    }
}

TEST_F(Measuring, CutTailLowersNoCounterBelowZero)
{
    BoxBuilder box(NumberedItems(6));
    box.card(1);
    box.dead(100);
    put(box.build());
    garbage_size_buf = 30;
    const OpenBox open(kBox);
    EXPECT_EQ(CutTailGarbage(open.record(), GetField(get(), hd::cardOffset)), 0u);
    EXPECT_EQ(garbage_size_buf, 0u);
}

TEST_F(Measuring, AskingForTheGarbageOfABoxDoesNotMeasure)
{
    BoxBuilder box = MixedBox(10);
    box.setField(hd::garbageSize, 3);
    const Bytes before = box.build();
    put(before);
    u32 size = 0;
    EXPECT_EQ(_GetBoxGarbageSize(kBox, &size), 0u);
    EXPECT_EQ(size, 3u);
    EXPECT_TRUE(SameBytes(before, get()));
}

}  // namespace
