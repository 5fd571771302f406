// SPDX-License-Identifier: MIT
// The kill of a card, and the counters of dead bytes in the header and in memory.
#include "box/bxd_garb.h"

#include "tests/support/box_case.h"

using namespace boxtest;

namespace {

// Both counters in memory start each test at 0 and are compared at will.
class Garbage : public BoxCase {
protected:
    void SetUp() override
    {
        garbage_size_buf = 0;
        card_garbage_size_buf = 0;
    }
    void TearDown() override { SetUp(); }
};

class CardKill : public Garbage {};
class GarbageCounters : public Garbage {};
class GarbageBit : public Garbage {};

u32 Kill(u32 pos, const char* name = kBox) { return DeleteCardData(Fid(name).id(), pos); }

// --- the kill ----------------------------------------------------------------------------------------------

TEST_F(CardKill, InTheMiddleLeavesTheBytesBehindAnIdOfZero)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1, box.row({{"I000", B("value")}}));
    const u32 next = box.card(2);
    Bytes want = box.build();
    put(want);
    EXPECT_EQ(Kill(pos), 0u);
    Put16(want, pos, 0);
    SetField(want, hd::garbageSize, next - pos);
    EXPECT_TRUE(SameBytes(want, get()));
    EXPECT_EQ(garbage_size_buf, next - pos);
    EXPECT_EQ(card_garbage_size_buf, 0u);
}

TEST_F(CardKill, LeavesAChainThatStepsOverTheDeadCard)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1);
    box.card(2);
    put(box.build());
    EXPECT_EQ(Kill(pos), 0u);
    CheckRules rules;
    rules.slotsLive = rules.cardCount = false;  // the kill tells no table and no count
    EXPECT_TRUE(IsSound(get(), rules));
    EXPECT_EQ(BoxView(get()).links().size(), 2u);
}

TEST_F(CardKill, AddsToWhatIsDeadAlready)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(100);
    const u32 pos = box.card(1);
    box.card(2);
    put(box.build());
    garbage_size_buf = 1000;
    EXPECT_EQ(Kill(pos), 0u);
    const u32 total = BoxView(get()).links()[1].total();
    EXPECT_EQ(GetField(get(), hd::garbageSize), 100 + total);
    EXPECT_EQ(garbage_size_buf, 1000 + total);
}

TEST_F(CardKill, OfTheLastCardShortensTheFileAndCountsNothing)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(30);
    box.card(1);
    const u32 pos = box.card(2, box.row({{"I000", Bytes(5000, 'v')}}));
    Bytes want = box.build();
    put(want);
    garbage_size_buf = 9;
    EXPECT_EQ(Kill(pos), 0u);
    want.resize(pos);
    Add16(want, kEndMark);
    EXPECT_TRUE(SameBytes(want, get()));
    EXPECT_EQ(garbage_size_buf, 9u);
}

TEST_F(CardKill, OfTheOnlyCardLeavesAnEmptyChain)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1);
    put(box.build());
    EXPECT_EQ(Kill(pos), 0u);
    EXPECT_EQ(get().size(), pos + 2);
    EXPECT_TRUE(BoxView(get()).links().empty());
    EXPECT_EQ(GetField(get(), hd::cardOffset), pos);
}

TEST_F(CardKill, TakesDeadCardsBehindItAlongAndOffTheCounters)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(50);
    const u32 pos = box.card(1);
    box.dead(40);
    box.dead(6);
    box.dead(300);
    Bytes want = box.build();
    put(want);
    garbage_size_buf = 1000;
    card_garbage_size_buf = 77;
    EXPECT_EQ(Kill(pos), 0u);
    want.resize(pos);
    Add16(want, kEndMark);
    SetField(want, hd::garbageSize, 50);
    EXPECT_TRUE(SameBytes(want, get()));
    EXPECT_EQ(garbage_size_buf, 1000u - 346);
    EXPECT_EQ(card_garbage_size_buf, 77u);
}

TEST_F(CardKill, LowersNoCounterBelowZero)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1);
    box.dead(40);
    box.setField(hd::garbageSize, 39);
    put(box.build());
    garbage_size_buf = 10;
    EXPECT_EQ(Kill(pos), 0u);
    EXPECT_EQ(GetField(get(), hd::garbageSize), 0u);
    EXPECT_EQ(garbage_size_buf, 0u);
}

TEST_F(CardKill, WithDeadCardsAndThenALiveOneBehindItCountsOnlyItself)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1);
    const u32 dead = box.dead(40);
    box.card(2);
    put(box.build());
    EXPECT_EQ(Kill(pos), 0u);
    EXPECT_EQ(GetField(get(), hd::garbageSize), 40 + (dead - pos));
    EXPECT_EQ(garbage_size_buf, dead - pos);
    EXPECT_EQ(Get16(get(), pos), 0u);
}

TEST_F(CardKill, CountsForTheDriveOfTheName)
{
    BoxBuilder box(NumberedItems(6));
    const u32 first = box.card(1);
    const u32 second = box.card(2);
    box.card(3);
    put(box.build());
    const u32 total = second - first;
    EXPECT_EQ(Kill(first, "F1:TEST.BOX"), 0u);
    EXPECT_EQ(garbage_size_buf, 0u);
    EXPECT_EQ(card_garbage_size_buf, total);
    EXPECT_EQ(Kill(second, path(kBox).c_str()), 0u);
    EXPECT_EQ(garbage_size_buf, 0u);
    EXPECT_EQ(card_garbage_size_buf, 2 * total);
}

TEST_F(CardKill, OfTablesAndSystemCardsIsTheSame)
{
    BoxBuilder box(NumberedItems(6));
    box.makeTablesFor(501);
    box.reserveOffsetCard(1);
    box.card(1);
    put(box.build());
    EXPECT_EQ(Kill(box.appendTable(0)), 0u);
    EXPECT_EQ(GetField(get(), hd::garbageSize), 522u);
    EXPECT_EQ(Get16(get(), box.appendTable(0)), 0u);
}

TEST_F(CardKill, TakesAnUnsetCounterAsZero)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1);
    const u32 next = box.card(2);
    box.setField(hd::garbageSize, kNone);
    put(box.build());
    EXPECT_EQ(Kill(pos), 0u);
    EXPECT_EQ(GetField(get(), hd::garbageSize), next - pos);
}

TEST_F(CardKill, MeetsATornEndMarkOnceAndThenWorks)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1);
    Bytes file = box.build();
    file[file.size() - 1] = 0x7F;
    put(file);
    EXPECT_EQ(Kill(pos), 71u);
    EXPECT_TRUE(SameBytes(box.build(), get()));
    EXPECT_EQ(Kill(pos), 0u);
    EXPECT_EQ(get().size(), pos + 2);
}

TEST_F(CardKill, OfWhatIsNoCardFailsAndChangesNothing)
{
    BoxBuilder box(NumberedItems(6));
    const u32 pos = box.card(1);
    const u32 lying = box.raw(EncodeHead(2, 100000));
    const Bytes file = box.build();
    const u32 size = static_cast<u32>(file.size());
    put(file);
    for (u32 at : {size, size - 2, size + 100, kNone, lying}) { EXPECT_EQ(Kill(at), 71u) << at; }
    EXPECT_TRUE(SameBytes(file, get()));
    EXPECT_EQ(garbage_size_buf, 0u);
    EXPECT_EQ(DeleteCardData(77, pos), 71u);
}

TEST_F(CardKill, WithoutTheRightToWriteFails)
{
    BoxBuilder box(NumberedItems(6));
    const u32 first = box.card(1);
    const u32 last = box.card(2);
    const Bytes file = box.build();
    put(file);
    for (u32 pos : {first, last}) {
        EXPECT_EQ(DeleteCardData(Fid(kBox, BXD_MODE_READ).id(), pos), 71u);
        EXPECT_TRUE(SameBytes(file, get()));
    }
}

// --- the counters ------------------------------------------------------------------------------------------

TEST_F(GarbageCounters, ChangeByADeltaAndStopAtZero)
{
    struct Case {
        u32 before;
        i32 delta;
        u32 after;
    };
    for (const Case& c :
         {Case{100, 0, 100}, Case{100, 5, 105}, Case{100, -5, 95}, Case{100, -100, 0}, Case{100, -101, 0},
          Case{0, -1, 0}, Case{0, INT32_MAX, INT32_MAX}, Case{5, INT32_MIN, 0}, Case{kNone, 7, 7},
          Case{kNone, -7, 0}, Case{kNone, 0, kNone}, Case{0xC0000000, -1, 0xBFFFFFFF}}) {
        Bytes want = BoxBuilder().build();
        SetField(want, hd::garbageSize, c.before);
        put(want);
        {
            EXPECT_EQ(AddBoxGarbageSize(Fid(kBox).id(), c.delta), 0u);
        }
        SetField(want, hd::garbageSize, c.after);
        EXPECT_TRUE(SameBytes(want, get())) << c.before << " " << c.delta;
    }
}

TEST_F(GarbageCounters, TakeAPlainStore)
{
    Bytes want = BoxBuilder().build();
    put(want);
    {
        EXPECT_EQ(WriteBoxGarbageSize(Fid(kBox).id(), 0x12345678), 0u);
    }
    SetField(want, hd::garbageSize, 0x12345678);
    EXPECT_TRUE(SameBytes(want, get()));
}

TEST_F(GarbageCounters, ReportFailingReadsAndWrites)
{
    put(Slice(NewBoxImage("TEST"), 0, 40));
    {
        EXPECT_EQ(AddBoxGarbageSize(Fid(kBox).id(), 5), 71u);
    }
    EXPECT_EQ(get().size(), 40u);
    put(BoxBuilder().build());
    {
        EXPECT_EQ(AddBoxGarbageSize(Fid(kBox, BXD_MODE_READ).id(), 5), 71u);
    }
    {
        EXPECT_EQ(AddBoxGarbageSize(Fid(kBox, BXD_MODE_READ).id(), 0), 0u);
    }
    {
        EXPECT_EQ(WriteBoxGarbageSize(Fid(kBox, BXD_MODE_READ).id(), 5), 71u);
    }
}

TEST_F(GarbageCounters, BelongToTheSecondCharacterOfTheName)
{
    put(BoxBuilder().build());
    EXPECT_EQ(GarbageVarPtr(Fid(kBox).id()), &garbage_size_buf);
    EXPECT_EQ(GarbageVarPtr(Fid("F1:TEST.BOX").id()), &card_garbage_size_buf);
    EXPECT_EQ(GarbageVarPtr(Fid("X0:TEST.BOX").id()), &garbage_size_buf);
    EXPECT_EQ(GarbageVarPtr(Fid("F:TEST.BOX").id()), &card_garbage_size_buf);
    EXPECT_EQ(GarbageVarPtr(Fid(path(kBox).c_str()).id()), &card_garbage_size_buf);
}

TEST_F(GarbageCounters, FallByTheNameOfABox)
{
    garbage_size_buf = 100;
    card_garbage_size_buf = 200;
    SubGarbageSize("F0:A.BOX", 30);
    SubGarbageSize("F1:A.BOX", 50);
    SubGarbageSize("F2:A.BOX", 1);
    SubGarbageSize("/home/A.BOX", 1);
    SubGarbageSize("F0", 1);
    SubGarbageSize("", 1);
    EXPECT_EQ(garbage_size_buf, 70u);
    EXPECT_EQ(card_garbage_size_buf, 150u);
    SubGarbageSize("F0:", 71);
    SubGarbageSize("F1:", 150);
    EXPECT_EQ(garbage_size_buf, 0u);
    EXPECT_EQ(card_garbage_size_buf, 0u);
}

TEST_F(GarbageCounters, AreReadByDrive)
{
    garbage_size_buf = 11;
    card_garbage_size_buf = 22;
    EXPECT_EQ(_ReadGarbageSize(0), 11u);
    for (i8 drive : {i8{1}, i8{2}, i8{-1}, i8{-128}}) { EXPECT_EQ(_ReadGarbageSize(drive), 22u); }
}

// A process of its own, in which nothing has died yet.
int CountersAtStart() { return _ReadGarbageSize(0) == 0 && _ReadGarbageSize(1) == 0 ? 0 : 1; }

TEST(GarbageCountersDeathTest, OfAFreshProcessAreZeroWhateverTheBoxesHold)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(_exit(CountersAtStart()), ::testing::ExitedWithCode(0), "");
}

TEST_F(GarbageCounters, AreNotFilledByTheCallsAtStart)
{
    BoxBuilder box;
    box.dead(500);
    put(box.build());
    EXPECT_EQ(_GetAllBoxGarbageSize(), 0u);
    EXPECT_EQ(_GarbageCheck(), 0u);
    EXPECT_EQ(_BxdnInit(), 0u);
    EXPECT_EQ(_ReadGarbageSize(0), 0u);
    EXPECT_TRUE(OpenBox(kBox).ok());
    EXPECT_EQ(_ReadGarbageSize(0), 0u);
}

TEST_F(GarbageCounters, OfABoxAreReadByName)
{
    for (const auto& [stored, want] :
         {std::pair<u32, u32>{0, 0}, {1, 1}, {0x12345678, 0x12345678}, {kNone, 0}, {kNone - 1, kNone - 1}}) {
        Bytes file = BoxBuilder().build();
        SetField(file, hd::garbageSize, stored);
        put(file);
        u32 size = 99;
        EXPECT_EQ(_GetBoxGarbageSize(kBox, &size), 0u);
        EXPECT_EQ(size, want);
    }
}

TEST_F(GarbageCounters, OfABadFileAreNotRead)
{
    u32 size = 99;
    EXPECT_EQ(_GetBoxGarbageSize(kBox, &size), 64u);
    put(Slice(NewBoxImage("TEST"), 0, 50));
    EXPECT_EQ(_GetBoxGarbageSize(kBox, &size), 66u);
    put({});
    EXPECT_EQ(_GetBoxGarbageSize(kBox, &size), 71u);
}

// --- the garbage bit ---------------------------------------------------------------------------------------

TEST_F(GarbageBit, IsTheLowestOfItsByte)
{
    for (u32 byte = 0; byte < 256; byte++) {
        Bytes file = NewBoxImage("TEST");
        SetField(file, hd::garbageFlags, byte);
        put(file);
        Fid fid(kBox);
        EXPECT_EQ(ChkGarbageBit(fid.id()), (byte & 1) != 0 ? 255u : 0u) << byte;
        EXPECT_EQ(ResetGarbageInfo(fid.id()), 0u);
        SetField(file, hd::garbageFlags, byte & 0xFE);
        EXPECT_TRUE(SameBytes(file, get()));
    }
}

TEST_F(GarbageBit, OfAFileThatEndsBeforeItFails)
{
    put(Slice(NewBoxImage("TEST"), 0, 45));
    Fid fid(kBox);
    EXPECT_EQ(ChkGarbageBit(fid.id()), 71u);
    EXPECT_EQ(ResetGarbageInfo(fid.id()), 71u);
    EXPECT_EQ(get().size(), 45u);
    EXPECT_EQ(ChkGarbageBit(77), 71u);
}

}  // namespace
