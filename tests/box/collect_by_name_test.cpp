// SPDX-License-Identifier: MIT
// Collecting a box by its name: the counters of the drives, what may be no box, an open handle beside it, and
// a drive as a whole.
#include "box/bxd_card_read.h"
#include "box/bxd_garb.h"
#include "box/bxd_garb_collect.h"
#include "tests/support/box_case.h"
#include "tests/support/card_helpers.h"
#include "tests/support/collect_model.h"

using namespace boxtest;

namespace {

class CollectByName : public BoxCase {
protected:
    void SetUp() override { garbage_size_buf = card_garbage_size_buf = 0; }
    void TearDown() override { SetUp(); }
};

// --- by name --------------------------------------------------------------------------------------------

TEST_F(CollectByName, LowersTheCounterOfTheDrive)
{
    BoxBuilder box = MixedBox(30);
    const u32 dead = BoxView(box.build()).deadBytes();
    for (const char* name : {kBox, "F1:TEST.BOX"}) {
        put(box.build());
        garbage_size_buf = card_garbage_size_buf = dead + 5;
        EXPECT_EQ(_BoxGarbageCollect(name), 0u);
        EXPECT_EQ(garbage_size_buf, name == kBox ? 5u : dead + 5);
        EXPECT_EQ(card_garbage_size_buf, name == kBox ? dead + 5 : 5u);
        EXPECT_TRUE(SameBytes(CollectModel(box.build()).firstWay().file, get()));
    }
    garbage_size_buf = 1;
    put(box.build());
    EXPECT_EQ(_BoxGarbageCollect(kBox), 0u);
    EXPECT_EQ(garbage_size_buf, 0u);
}

TEST_F(CollectByName, ByPathLowersNoCounter)
{
    BoxBuilder box = MixedBox(30);
    put(box.build());
    garbage_size_buf = card_garbage_size_buf = 7000;
    EXPECT_EQ(_BoxGarbageCollect(path(kBox).c_str()), 0u);
    EXPECT_EQ(garbage_size_buf, 7000u);
    EXPECT_EQ(card_garbage_size_buf, 7000u);
    EXPECT_EQ(BoxView(get()).deadBytes(), 0u);
}

TEST_F(CollectByName, OfWhatIsNoBoxGivesTheStatusOfTheOpen)
{
    u32 reclaimed = 9;
    EXPECT_EQ(_BoxGarbageCollect("F0:NONE.BOX"), 64u);
    put(B("no box at all"), "F0:OTHER.BOX");
    EXPECT_EQ(_BoxGarbageCollect("F0:OTHER.BOX"), 64u);
    put(Slice(NewBoxImage("TEST"), 0, 71), "F0:SHORT.BOX");
    EXPECT_EQ(BoxGarbageCollectSub("F0:SHORT.BOX", &reclaimed), 66u);
}

TEST_F(CollectByName, OfABoxWithoutCardsIsNothing)
{
    for (const Bytes& box : {NewBoxImage("TEST"), BoxBuilder(NumberedItems(6)).build()}) {
        put(box);
        u32 reclaimed = 9;
        EXPECT_EQ(BoxGarbageCollectSub(kBox, &reclaimed), 0u);
        EXPECT_EQ(reclaimed, 0u);
        EXPECT_TRUE(SameBytes(box, get()));
    }
}

TEST_F(CollectByName, NewCardsGoBehindACollectedBox)
{
    for (u32 normal : {20u, 500u, 640u}) {
        SCOPED_TRACE(normal);
        BoxBuilder box = MixedBox(normal, 3, {});
        put(box.build());
        ASSERT_EQ(_BoxGarbageCollect(kBox), 0u);
        const OpenBox open(kBox);
        ASSERT_TRUE(open.ok());
        for (u32 n = 0; n < 3; ++n) {
            u16 id = TMP_SYSTEM_CARD_ID;
            ASSERT_EQ(_CardCreate(open.handle(), &id), 0u);
            ASSERT_EQ(cardtest::Write(open.handle(), id, "I000", "new"), 0u);
            u16 stored = 0;
            ASSERT_EQ(_CardCopy(open.handle(), id, &stored), 0u);
            EXPECT_EQ(cardtest::Read(open.handle(), stored, "I000"), "new");
        }
        EXPECT_TRUE(IsSound(get()));
    }
}

// --- under an open handle --------------------------------------------------------------------------------

TEST_F(CollectByName, UnderAHandleTakesItsCardUnderEdit)
{
    BoxBuilder box(NumberedItems(6));
    box.dead(40);
    box.card(1, box.row({{"I000", B("stays")}}));
    put(box.build());
    const OpenBox open(kBox);
    ASSERT_TRUE(open.ok());
    u16 id = TMP_SYSTEM_CARD_ID;
    ASSERT_EQ(_CardCreate(open.handle(), &id), 0u);
    ASSERT_EQ(cardtest::Write(open.handle(), id, "I000", cardtest::Stuff(12000)), 0u);
    ASSERT_EQ(open.record()->tmpCardState, kTmpCardInFile);
    EXPECT_EQ(ChkTmpSysCard(open.record()), 0u);
    ASSERT_EQ(_BoxGarbageCollect(kBox), 0u);
    EXPECT_EQ(ChkTmpSysCard(open.record()), 71u);
    EXPECT_EQ(cardtest::Read(open.handle(), TMP_SYSTEM_CARD_ID, "I000"), "status 71");
    EXPECT_EQ(cardtest::Read(open.handle(), 1, "I000"), "stays");
    EXPECT_TRUE(IsSound(get()));
}

// --- a whole drive ---------------------------------------------------------------------------------------

TEST_F(CollectByName, OfADriveWithoutACountIsNothing)
{
    const Bytes before = MixedBox(9).build();
    put(before, "F0:????????.BOX");
    EXPECT_EQ(_GarbageCollectAll(0), 0u);
    EXPECT_EQ(_GarbageCollectAll(1), 0u);
    EXPECT_TRUE(SameBytes(before, get("F0:????????.BOX")));
}

TEST_F(CollectByName, OfADriveSetsItsCountToZeroAndFindsNoBox)
{
    const Bytes before = MixedBox(9).build();
    put(before);
    for (const i8 drive : {i8{0}, i8{1}, i8{-1}}) {
        garbage_size_buf = card_garbage_size_buf = 100;
        EXPECT_EQ(_GarbageCollectAll(drive), 0u);
        EXPECT_EQ(garbage_size_buf, drive == 0 ? 0u : 100u);
        EXPECT_EQ(card_garbage_size_buf, drive == 0 ? 100u : 0u);
    }
    EXPECT_TRUE(SameBytes(before, get()));
}

TEST_F(CollectByName, OfADriveCollectsAFileThatBearsThePatternAsItsName)
{
    const Bytes before = MixedBox(9).build();
    for (const i8 drive : {i8{0}, i8{1}}) {
        put(before, "F0:????????.BOX");
        garbage_size_buf = card_garbage_size_buf = 100000;
        EXPECT_EQ(_GarbageCollectAll(drive), 0u);
        EXPECT_TRUE(SameBytes(CollectModel(before).firstWay().file, get("F0:????????.BOX")));
        EXPECT_EQ(drive == 0 ? garbage_size_buf : card_garbage_size_buf, 0u);
    }
}

TEST_F(CollectByName, OfADriveStopsAtADamagedFileAndKeepsItsCount)
{
    Bytes bad = MixedBox(9).build();
    bad.resize(bad.size() - 1);
    put(bad, "F0:????????.BOX");
    garbage_size_buf = 100;
    EXPECT_EQ(_GarbageCollectAll(0), 71u);
    EXPECT_EQ(garbage_size_buf, 100u);
    EXPECT_TRUE(SameBytes(bad, get("F0:????????.BOX")));
}

TEST_F(CollectByName, OfADriveTakesAForeignFileForTheEndOfTheSearch)
{
    put(B("no box"), "F0:????????.BOX");
    garbage_size_buf = 100;
    EXPECT_EQ(_GarbageCollectAll(0), 0u);
    EXPECT_EQ(garbage_size_buf, 0u);
}

}  // namespace
