// SPDX-License-Identifier: MIT
// Indexes under a mass deletion: entries are selected by the attribute that they hold.
#include "index/bxd_indx_delete.h"
#include "index/bxd_indx_entries.h"
#include "tests/index/deletion_case.h"
#include "tests/support/quiet_flash.h"

namespace {

using namespace indextest;
using boxtest::Fid;
using boxtest::SameBytes;

class IndexDeleteAll : public DeletionCase {
protected:
    using Entries = std::vector<IndexEntry>;

    // Cards 1 to `count` with the attribute 0x40, and 0x50 where the id can be divided by 3; and indexes.
    void startMixed(u32 count)
    {
        boxtest::BoxBuilder b(boxtest::NumberedItems(5));
        b.indexTable({{"MASTER.IDX", 1, 27, 0, 0}, {"LIST.TDX", 1, 28, 0, 0}, {"DISC.TDX", 1, 28, 130, 0}});
        Entries entries;
        for (u32 id = 1; id <= count; id++) {
            const u8 attr = id % 3 == 0 ? 0x50 : 0x40;
            b.card(id, rowOf(b, id, attr));
            entries.push_back({id, static_cast<u8>(attr + 7)});
        }
        start(b.build());
        put(index(27, 0, entries), kMaster);
        put(index(28, 0, entries), kList);
        put(index(28, kDischarge, entries), kDischarged);
    }
    Entries discharged(const Entries& from, u8 mask, u8 value, u8 negate)
    {
        put(index(28, kDischarge, from), kDischarged);
        EXPECT_EQ(BXD_OK, SetPimDiscIndex(Fid(kDischarged).id(), mask, value, negate));
        return entriesOf(kDischarged);
    }

    boxtest::QuietFlash flash_;
};

TEST_F(IndexDeleteAll, OrdinaryIndexesLoseTheSelectedAndDischargeIndexesMarkThem)
{
    startMixed(700);
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x10, 0x10, 0));
    for (const char* name : {kMaster, kList}) {
        const Entries left = entriesOf(name);
        ASSERT_EQ(467u, left.size()) << name;
        for (const IndexEntry& entry : left) { ASSERT_NE(0u, entry.cardId % 3) << name; }
    }
    const Entries all = entriesOf(kDischarged);
    ASSERT_EQ(700u, all.size());
    for (const IndexEntry& entry : all) { ASSERT_EQ(entry.cardId % 3 == 0 ? 0x51 : 0x47, entry.attr); }
    EXPECT_EQ(467u, file().cardCount());
    boxtest::CheckRules rules;
    EXPECT_TRUE(cardtest::Sound(file(), rules));
}

TEST_F(IndexDeleteAll, EveryCardIsSelectedByThreeZerosAndTheTablesStay)
{
    startMixed(640);
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 0));
    EXPECT_EQ(Entries{}, entriesOf(kMaster));
    EXPECT_EQ(Entries{}, entriesOf(kList));
    EXPECT_TRUE(IndexView(get(kList)).hasTable());
    EXPECT_EQ(640u, entriesOf(kDischarged).size());
    EXPECT_EQ(0x41, entriesOf(kDischarged)[0].attr);
    EXPECT_TRUE(cardtest::Sound(file()));
}

TEST_F(IndexDeleteAll, NegatedZerosSelectNoEntry)
{
    startMixed(5);
    const Bytes before[] = {get(kMaster), get(kList), get(kDischarged)};
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 1));
    EXPECT_TRUE(SameBytes(before[0], get(kMaster)));
    EXPECT_TRUE(SameBytes(before[1], get(kList)));
    EXPECT_TRUE(SameBytes(before[2], get(kDischarged)));
}

// Their ids are free afterwards, and the next cards of these ids come in once.
TEST_F(IndexDeleteAll, TheEntriesOfDeadCardsGoThoughTheyAreNotSelected)
{
    startMixed(6);
    cardtest::PokeHalf(fid(), file().slot(2), 0);
    cardtest::PokeWord(fid(), file().slotAt(6), file().end());
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 1));
    EXPECT_EQ((std::vector<u32>{1, 3, 4, 5}), idsOf(kMaster));
    EXPECT_EQ((std::vector<u32>{1, 3, 4, 5}), idsOf(kList));
    EXPECT_EQ((Entries{{1}, {2, 0x41}, {3, 0x57}, {4}, {5}, {6, 0x51}}), entriesOf(kDischarged));
    EXPECT_EQ(4u, file().cardCount());
    EXPECT_EQ(2u, add({"new"}));
    EXPECT_EQ((std::vector<u32>{1, 3, 4, 5, 2}), idsOf(kList));
}

TEST_F(IndexDeleteAll, TheLifeBitOfTheCallerIsTurnedForTheEntriesToo)
{
    startMixed(4);
    put(index(27, 0, {{1, 0x47}, {2, 0x07}}), kMaster);
    put(index(28, kDischarge, {{1, 0x47}, {2, 0x07}}), kDischarged);
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x40, 0x00, 0));  // the live ones
    EXPECT_EQ((Entries{{2, 0x07}}), entriesOf(kMaster));
    EXPECT_EQ((Entries{{1, 0x41}, {2, 0x07}}), entriesOf(kDischarged));
}

TEST_F(IndexDeleteAll, TheIndexesFollowASoftDeletionInTheSameWay)
{
    startMixed(6);
    setSync(true);
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x10, 0x10, 0));
    EXPECT_EQ((std::vector<u32>{1, 2, 4, 5}), idsOf(kMaster));
    EXPECT_EQ(0x51, entriesOf(kDischarged)[2].attr);
    EXPECT_EQ("card 3", cardtest::Read(box, 3, "I000"));
}

TEST_F(IndexDeleteAll, AHiddenEntryStaysAndBecomesVisibleWhereTheOneBeforeItGoes)
{
    startMixed(6);
    const Entries runs = {{1, 0x47}, {2, 0x47, kHidden}, {3, 0x57}, {6, 0x47, kHidden}, {4, 0x47, kHidden}};
    put(index(27, 0, runs), kMaster);
    put(index(28, kDischarge, runs), kDischarged);
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x10, 0x10, 0));
    EXPECT_EQ((Entries{{1, 0x47}, {2, 0x47, kHidden}, {6, 0x47}, {4, 0x47, kHidden}}), entriesOf(kMaster));
    EXPECT_EQ((Entries{{1, 0x47}, {2, 0x47, kHidden}, {3, 0x51}, {6, 0x47}, {4, 0x47, kHidden}}),
              entriesOf(kDischarged));
}

TEST_F(IndexDeleteAll, AnIndexThatCannotBeOpenedStopsBeforeTheCounts)
{
    startMixed(6);
    ASSERT_EQ(0, unlink(path(kList).c_str()));
    EXPECT_EQ(BXD_ERR_FAIL, _CardAllDelete(box, 0x10, 0x10, 0));
    EXPECT_EQ((std::vector<u32>{1, 2, 4, 5}), idsOf(kMaster));
    EXPECT_EQ(6u, file().cardCount());
    EXPECT_EQ("status 66", cardtest::Read(box, 3, "I000"));
    EXPECT_EQ(1u, boxtest::OpenFiles());
}

// --- marking the entries of a discharge index --------------------------------------------------------------

TEST_F(IndexDeleteAll, AnEntryThatComesToLightIsLookedAtLikeAnyOther)
{
    EXPECT_EQ((Entries{{1, 0x41}, {2, 0x41}, {3, 0x41}, {4, 0x57}}),
              discharged({{1}, {2, 0x47, kHidden}, {3, 0x47, kHidden}, {4, 0x57}}, 0x10, 0, 0));
    EXPECT_EQ((Entries{{1, 0x57}, {2, 0x47, kHidden}, {3, 0x41}}),
              discharged({{1, 0x57}, {2, 0x47, kHidden}, {3}}, 0x10, 0, 0));
}

TEST_F(IndexDeleteAll, NegationMarksTheOthers)
{
    EXPECT_EQ((Entries{{1, 0x47}, {2, 0x51}}), discharged({{1, 0x47}, {2, 0x57}}, 0x10, 0, 1));
}

TEST_F(IndexDeleteAll, BothBitsGoWhateverTheyWere)
{
    EXPECT_EQ((Entries{{1, 0xF9}, {2, 0x40}, {3, 0x40}}),
              discharged({{1, 0xFF}, {2, 0x44}, {3, 0x42}}, 0, 0, 0));
}

TEST_F(IndexDeleteAll, AnIndexWithoutEntriesIsLeftAlone)
{
    EXPECT_EQ(Entries{}, discharged({}, 0, 0, 0));
    const Bytes bare = IndexBuilder(28).created().build();
    put(bare, kList);
    EXPECT_EQ(BXD_OK, SetPimDiscIndex(Fid(kList).id(), 0, 0, 0));
    EXPECT_TRUE(SameBytes(bare, get(kList)));
}

TEST_F(IndexDeleteAll, AnEndMarkBeforeTheCountEndsTheWalk)
{
    Bytes early = index(28, kDischarge, {{1}, {0xFFFF, 0x47, kHidden}, {3}});
    put(early, kList);
    EXPECT_EQ(BXD_OK, SetPimDiscIndex(Fid(kList).id(), 0, 0, 0));
    early[early.size() - 2 - 12 + 2] = 0x41;  // the attribute of the first entry, and nothing behind it
    EXPECT_TRUE(SameBytes(early, get(kList)));

    IndexBuilder high(28);
    high.area().entry(1).entry(2).setCount(9);
    put(high.build(), kList);
    EXPECT_EQ(BXD_OK, SetPimDiscIndex(Fid(kList).id(), 0, 0, 0));
    EXPECT_EQ(high.build().size(), get(kList).size());

    put(index(28, 0, {{0xFFFF}, {2}}), kList);  // nothing is kept, and the file is not cut for it
    const Bytes empty = get(kList);
    EXPECT_EQ(BXD_OK, SetPimDiscIndex(Fid(kList).id(), 0, 0, 0));
    EXPECT_TRUE(SameBytes(empty, get(kList)));
}

TEST_F(IndexDeleteAll, ATableThatLeavesTheFileIsRefused)
{
    Bytes damaged = index(28, kDischarge, {{1}, {2}, {3}});
    damaged.resize(damaged.size() - 8);
    put(damaged, kList);
    EXPECT_EQ(BXD_ERR_FAIL, SetPimDiscIndex(Fid(kList).id(), 0, 0, 0));
    EXPECT_TRUE(SameBytes(damaged, get(kList)));
    put(IndexBuilder(28).area().table().setField(boxtest::ix::tablePos, 9999).build(), kList);
    EXPECT_EQ(BXD_ERR_FAIL, SetPimDiscIndex(Fid(kList).id(), 0, 0, 0));
}

}  // namespace
