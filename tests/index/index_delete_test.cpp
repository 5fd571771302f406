// SPDX-License-Identifier: MIT
// What the indexes of a box do when one of its cards is deleted, and the removal of an entry by its card.
#include "index/bxd_indx_delete.h"

#include "box/bxd_garb.h"
#include "tests/index/deletion_case.h"

namespace {

using namespace indextest;
using boxtest::Fid;
using boxtest::SameBytes;
namespace ix = boxtest::ix;

class IndexDelete : public DeletionCase {};

// --- the indexes of a box follow ---------------------------------------------------------------------------

TEST_F(IndexDelete, AnOrdinaryIndexLosesTheEntryAndADischargeIndexMarksIt)
{
    startWithAll(4);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    const std::vector<IndexEntry> left = {{1}, {3}, {4}};
    EXPECT_EQ(left, entriesOf(kMaster));
    EXPECT_EQ(left, entriesOf(kList));
    EXPECT_EQ((std::vector<IndexEntry>{{1}, {2, 0x41}, {3}, {4}}), entriesOf(kDischarged));
    EXPECT_TRUE(cardtest::Sound(file()));
    EXPECT_EQ(3u, file().cardCount());
    EXPECT_EQ(2u, file().hint());
}

TEST_F(IndexDelete, ATombstoneLeavesTheIndexesInTheSameWay)
{
    startWithAll(4);
    setSync(true);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_EQ((std::vector<u32>{1, 3, 4}), idsOf(kMaster));
    EXPECT_EQ((std::vector<IndexEntry>{{1}, {2, 0x41}, {3}, {4}}), entriesOf(kDischarged));
    EXPECT_EQ("card 2", cardtest::Read(box, 2, "I000"));

    // The indexes are done with it when it dies.
    const Bytes list = get(kList);
    const Bytes discharged = get(kDischarged);
    EXPECT_EQ(BXD_OK, _CardDeletePMSC(box, 2));
    EXPECT_TRUE(SameBytes(list, get(kList)));
    EXPECT_TRUE(SameBytes(discharged, get(kDischarged)));
}

TEST_F(IndexDelete, WithIndexTheDischargeIndexesLoseTheEntryToo)
{
    startWithAll(4);
    EXPECT_EQ(BXD_OK, _CardDeletePMSCWithIndex(box, 3));
    for (const char* name : {kMaster, kList, kDischarged}) {
        EXPECT_EQ((std::vector<IndexEntry>{{1}, {2}, {4}}), entriesOf(name)) << name;
    }
    EXPECT_EQ(BXD_ERR_NOTFOUND, _CardDeletePMSCWithIndex(box, 3));
}

TEST_F(IndexDelete, BothBitsOfTheTypeMakeADischargeIndex)
{
    startBox(3, {{"A.TDX", 1, 28, 131, 0},
                 {"B.TDX", 1, 28, 128, 0},
                 {"C.TDX", 1, 28, 2, 0},
                 {"D.TDX", 1, 28, 255, 0}});
    for (const char* name : {"F0:A.TDX", "F0:B.TDX", "F0:C.TDX", "F0:D.TDX"}) {
        put(index(28, 0, cards(3)), name);
    }
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_EQ((std::vector<IndexEntry>{{1}, {2, 0x41}, {3}}), entriesOf("F0:A.TDX"));
    EXPECT_EQ((std::vector<u32>{1, 3}), idsOf("F0:B.TDX"));
    EXPECT_EQ((std::vector<u32>{1, 3}), idsOf("F0:C.TDX"));
    EXPECT_EQ((std::vector<IndexEntry>{{1}, {2, 0x41}, {3}}), entriesOf("F0:D.TDX"));
}

TEST_F(IndexDelete, ACardThatStandsInNoIndexLeavesThemAlone)
{
    startWithAll(4);
    put(index(27, 0, {{1}, {4}}), kMaster);
    put(index(28, 0, {}), kList);
    put(IndexBuilder(28).created().build(), kDischarged);  // without a table
    const Bytes before[] = {get(kMaster), get(kList), get(kDischarged)};
    EXPECT_EQ(BXD_OK, _CardDeletePMSCWithIndex(box, 2));
    EXPECT_TRUE(SameBytes(before[0], get(kMaster)));
    EXPECT_TRUE(SameBytes(before[1], get(kList)));
    EXPECT_TRUE(SameBytes(before[2], get(kDischarged)));
}

TEST_F(IndexDelete, IndexesAreFoundByEachFormOfTheirNames)
{
    ASSERT_EQ(0, mkdir(path("F0:sub").c_str(), 0755));
    startBox(2, {{"A.TDX", 1}, {"/sub/B.TDX", 2}, {path("F0:C.TDX"), 3}, {"F1:D.TDX", 3}});
    for (const char* name : {"F0:A.TDX", "F0:sub/B.TDX", "F0:C.TDX", "F0:D.TDX"}) {
        put(index(28, 0, cards(2)), name);
    }
    EXPECT_EQ(BXD_OK, _CardDelete(box, 1));
    for (const char* name : {"F0:A.TDX", "F0:sub/B.TDX", "F0:C.TDX", "F0:D.TDX"}) {
        EXPECT_EQ((std::vector<u32>{2}), idsOf(name)) << name;
    }
    unlink(path("F0:sub/B.TDX").c_str());
}

TEST_F(IndexDelete, AnEmptyIndexTableIsNoIndex)
{
    startBox(2, {});
    EXPECT_EQ(BXD_OK, _CardDeletePMSCWithIndex(box, 1));
    EXPECT_TRUE(cardtest::Sound(file()));
}

TEST_F(IndexDelete, ALostDeletionOfTheLastCardIsFinishedInTheIndexes)
{
    startWithAll(4);
    ASSERT_EQ(BXD_OK, DeleteCardData(fid(), file().slot(4)));
    cardtest::PokeWord(fid(), file().slotAt(4), file().end());  // as if it had been the last of the file
    EXPECT_EQ(BXD_ERR_NOTFOUND, _CardDelete(box, 4));
    EXPECT_EQ((std::vector<u32>{1, 2, 3}), idsOf(kMaster));
    EXPECT_EQ((std::vector<u32>{1, 2, 3}), idsOf(kList));
    EXPECT_EQ((std::vector<IndexEntry>{{1}, {2}, {3}, {4, 0x41}}), entriesOf(kDischarged));
    EXPECT_EQ(3u, file().cardCount());
    EXPECT_TRUE(cardtest::Sound(file()));
}

TEST_F(IndexDelete, ALostDeletionWhoseIndexesCannotFollowIsTold)
{
    startWithAll(4);
    ASSERT_EQ(0, unlink(path(kList).c_str()));
    cardtest::PokeWord(fid(), file().slotAt(4), file().end());
    EXPECT_EQ(BXD_ERR_FAIL, _CardDelete(box, 4));
    EXPECT_EQ((std::vector<u32>{1, 2, 3}), idsOf(kMaster));
}

TEST_F(IndexDelete, AMissingIndexFileStopsTheWalkWithTheCardGone)
{
    startWithAll(4);
    ASSERT_EQ(0, unlink(path(kList).c_str()));
    const Bytes discharged = get(kDischarged);
    EXPECT_EQ(BXD_ERR_FAIL, _CardDelete(box, 2));
    EXPECT_EQ("status 66", cardtest::Read(box, 2, "I000"));
    EXPECT_EQ(3u, file().cardCount());
    EXPECT_EQ(5u, file().hint());  // the last step has not come
    EXPECT_EQ((std::vector<u32>{1, 3, 4}), idsOf(kMaster));
    EXPECT_TRUE(SameBytes(discharged, get(kDischarged)));
}

TEST_F(IndexDelete, ADamagedIndexStopsTheWalkAndIsClosed)
{
    startWithAll(4);
    Bytes damaged = get(kMaster);
    damaged.resize(damaged.size() - 8);  // the file ends in its table
    put(damaged, kMaster);
    EXPECT_EQ(BXD_ERR_FAIL, _CardDelete(box, 4));
    EXPECT_EQ(1u, boxtest::OpenFiles());  // the box alone
    EXPECT_TRUE(SameBytes(damaged, get(kMaster)));
    EXPECT_EQ(4u, idsOf(kList).size());
}

TEST_F(IndexDelete, ADamagedIndexTableStopsBeforeAnyIndex)
{
    startWithAll(4);
    cardtest::PokeWord(fid(), boxtest::hd::indexTable.at, file().size() + 5);
    EXPECT_EQ(BXD_ERR_FAIL, _CardDelete(box, 4));
    EXPECT_EQ(4u, idsOf(kList).size());
    EXPECT_EQ("status 66", cardtest::Read(box, 4, "I000"));
}

TEST_F(IndexDelete, EntriesGoFromDischargeIndexesForStoredCardsOnly)
{
    startWithAll(2);
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteFromIndex(*box, 0));
    EXPECT_EQ(BXD_ERR_NOTFOUND, CardDeleteFromIndex(*box, 65280));
    EXPECT_EQ(BXD_OK, CardDeleteFromIndex(*box, 65279));
    EXPECT_EQ(BXD_OK, CardDeleteFromIndex(*box, 2));
    EXPECT_EQ((std::vector<u32>{1}), idsOf(kDischarged));
    EXPECT_EQ((std::vector<u32>{1, 2}), idsOf(kList));
    ASSERT_EQ(0, unlink(path(kList).c_str()));  // the others are not even opened
    EXPECT_EQ(BXD_OK, CardDeleteFromIndex(*box, 1));
    EXPECT_EQ((std::vector<u32>{}), idsOf(kDischarged));
    ASSERT_EQ(0, unlink(path(kDischarged).c_str()));
    EXPECT_EQ(BXD_ERR_FAIL, CardDeleteFromIndex(*box, 2));
}

// --- an entry is discharged --------------------------------------------------------------------------------

TEST_F(IndexDelete, ADischargeClearsTheTwoBitsOfPresenceAndNoOther)
{
    startWithAll(3);
    put(index(28, kDischarge, {{1, 0xFF}, {2, 0xFF, 0x03}, {3, 0xFD}}), kDischarged);
    EXPECT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_EQ((std::vector<IndexEntry>{{1, 0xFF}, {2, 0xF9, 0x03}, {3, 0xFD}}), entriesOf(kDischarged));
    EXPECT_EQ(BXD_OK, _CardDelete(box, 3));  // whose first bit is clear: it counts as discharged
    EXPECT_EQ((std::vector<IndexEntry>{{1, 0xFF}, {2, 0xF9, 0x03}, {3, 0xFD}}), entriesOf(kDischarged));
}

// --- one entry goes ----------------------------------------------------------------------------------------

class EntryRemoval : public DeletionCase {
protected:
    using Entries = std::vector<IndexEntry>;

    // The entries that are left when `cardId` goes from these.
    Entries removed(const Entries& from, u16 cardId)
    {
        put(index(28, 0, from), kList);
        const Bytes before = get(kList);
        EXPECT_EQ(BXD_OK, CardidDeleteFromIndex(Fid(kList).id(), cardId));
        const Bytes after = get(kList);
        EXPECT_EQ(before.size() - 4, after.size());
        // The information area stays as it was.
        const u32 table = boxtest::GetField(before, ix::tablePos);
        EXPECT_TRUE(SameBytes(boxtest::Slice(before, 0, table), boxtest::Slice(after, 0, table)));
        return entriesOf(kList);
    }
    void expectUntouched(const Bytes& content, u16 cardId, u32 status = BXD_OK)
    {
        put(content, kList);
        EXPECT_EQ(status, FastDeleteCardID(Fid(kList).id(), cardId));
        EXPECT_TRUE(SameBytes(content, get(kList)));
    }
};

TEST_F(EntryRemoval, TheFirstAMiddleOneAndTheLastGo)
{
    const Entries all = {{7, 0x47}, {3, 0x57}, {9, 0x67}};
    EXPECT_EQ((Entries{{3, 0x57}, {9, 0x67}}), removed(all, 7));
    EXPECT_EQ((Entries{{7, 0x47}, {9, 0x67}}), removed(all, 3));
    EXPECT_EQ((Entries{{7, 0x47}, {3, 0x57}}), removed(all, 9));
}

TEST_F(EntryRemoval, TheOnlyEntryLeavesAnEmptyTable)
{
    EXPECT_EQ(Entries{}, removed({{7}}, 7));
    EXPECT_TRUE(IndexView(get(kList)).hasTable());
}

TEST_F(EntryRemoval, WhatAVisibleEntryHidBecomesVisible)
{
    EXPECT_EQ((Entries{{2}, {3, 0x47, kHidden}, {4}}),
              removed({{1}, {2, 0x47, kHidden}, {3, 0x47, kHidden}, {4}}, 1));
}

TEST_F(EntryRemoval, AHiddenEntryChangesNothingForItsRun)
{
    EXPECT_EQ((Entries{{1}, {3, 0x47, kHidden}, {4}}),
              removed({{1}, {2, 0x47, kHidden}, {3, 0x47, kHidden}, {4}}, 2));
}

TEST_F(EntryRemoval, OnlyTheHiddenBitOfTheFollowerIsCleared)
{
    EXPECT_EQ((Entries{{2, 0x47, 0xFE}}), removed({{1}, {2, 0x47, 0xFF}}, 1));
}

TEST_F(EntryRemoval, TheFirstOfTwoEntriesOfACardGoes)
{
    EXPECT_EQ((Entries{{5}, {2, 0x57}}), removed({{2, 0x47}, {5}, {2, 0x57}}, 2));
}

TEST_F(EntryRemoval, ACardThatIsNotInTheIndexCostsNoWrite)
{
    expectUntouched(index(28, 0, {{1}, {2}}), 3);
    expectUntouched(index(28, 0, {}), 3);
    expectUntouched(IndexBuilder(28).created().build(), 3);
    expectUntouched(IndexBuilder(28).build(), 3);
}

TEST_F(EntryRemoval, AnEndMarkEndsTheTableWhateverTheCount)
{
    IndexBuilder b(28);
    b.area().entry(1).entry(2).setCount(50);
    expectUntouched(b.build(), 3);
    EXPECT_EQ(BXD_OK, FastDeleteCardID(Fid(kList).id(), 2));
    EXPECT_EQ(b.build().size() - 4, get(kList).size());
}

TEST_F(EntryRemoval, ADamagedTableIsRefused)
{
    Bytes shortened = index(28, 0, {{1}, {2}, {3}});
    shortened.resize(shortened.size() - 7);
    expectUntouched(shortened, 9, BXD_ERR_FAIL);
    expectUntouched(IndexBuilder(28).area().table().setField(ix::tablePos, 0x7FFFFFFF).build(), 1,
                    BXD_ERR_FAIL);
    expectUntouched(Bytes{0xFF, 0, 28}, 1, BXD_ERR_FAIL);
}

TEST_F(EntryRemoval, AFullIndexLosesOneEntry)
{
    Entries all;
    for (u32 id = 1; id <= 65279; id++) { all.push_back({id}); }
    const Entries left = removed(all, 40000);
    ASSERT_EQ(65278u, left.size());
    EXPECT_EQ(39999u, left[39998].cardId);
    EXPECT_EQ(40001u, left[39999].cardId);
}

}  // namespace
