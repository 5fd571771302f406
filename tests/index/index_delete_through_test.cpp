// SPDX-License-Identifier: MIT
// Deleting through an index: whether the card goes with its entry.
#include "index/bxd_indx_delete_through.h"

#include "tests/index/deletion_case.h"

namespace {

using namespace indextest;
using boxtest::SameBytes;

class DeleteThrough : public DeletionCase {
protected:
    using Entries = std::vector<IndexEntry>;

    bool hasCard(u16 id) const { return boxtest::IsSet(file().slot(id)); }
    // The box knows LIST.TDX and OTHER.TDX, with the entries 1 to 3 each. The list is of this type.
    void startTwo(u8 type, u8 kind = 28)
    {
        startBox(3, {{"LIST.TDX", 1, kind, type, 0}, {"OTHER.TDX", 1, 28, 0, 0}});
        put(index(kind, type, cards(3)), kList);
        put(index(28, 0, cards(3)), kOther);
    }
    static constexpr const char* kOther = "F0:OTHER.TDX";
};

TEST_F(DeleteThrough, AMasterIndexDeletesTheCardFromTheBoxAndAllIndexes)
{
    startWithAll(3);
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kMaster, 2, box));
    EXPECT_FALSE(hasCard(2));
    EXPECT_EQ((std::vector<u32>{1, 3}), idsOf(kMaster));
    EXPECT_EQ((std::vector<u32>{1, 3}), idsOf(kList));
    EXPECT_EQ((Entries{{1}, {2, 0x41}, {3}}), entriesOf(kDischarged));
    EXPECT_TRUE(cardtest::Sound(file()));
}

TEST_F(DeleteThrough, AMasterIndexMakesATombstoneDuringASynchronisation)
{
    startWithAll(3);
    setSync(true);
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kMaster, 2, box));
    EXPECT_EQ("card 2", cardtest::Read(box, 2, "I000"));
    EXPECT_EQ((std::vector<u32>{1, 3}), idsOf(kMaster));
}

TEST_F(DeleteThrough, ATypeWithAllMasterBitsDeletesTheCardThroughAList)
{
    for (const u8 type : std::vector<u8>{0x83, 0xFF}) {
        startTwo(type);
        EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 1, box));
        EXPECT_FALSE(hasCard(1));
        EXPECT_EQ((std::vector<u32>{2, 3}), idsOf(kOther));
        // The list is a discharge index for the box, so that its entry stays.
        EXPECT_EQ((Entries{{1, 0x41}, {2}, {3}}), entriesOf(kList));
        close();
    }
}

TEST_F(DeleteThrough, AListOfTheTypeZeroLosesTheEntryAndTheCardStaysWhileAnIndexHoldsIt)
{
    startTwo(0);
    const cardtest::BoxBytes before = file();
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 2, box));
    EXPECT_EQ((std::vector<u32>{1, 3}), idsOf(kList));
    EXPECT_EQ((std::vector<u32>{1, 2, 3}), idsOf(kOther));
    EXPECT_TRUE(cardtest::Same(before, file()));

    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kOther, 2, box));  // the last index that held it
    EXPECT_FALSE(hasCard(2));
    EXPECT_EQ((std::vector<u32>{1, 3}), idsOf(kOther));
    EXPECT_TRUE(cardtest::Sound(file()));
}

TEST_F(DeleteThrough, ADischargeIndexThatHoldsTheCardKeepsItToo)
{
    startWithAll(3);
    put(index(27, 0, {}), kMaster);
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 2, box));
    EXPECT_TRUE(hasCard(2));
}

TEST_F(DeleteThrough, AHiddenEntryHoldsItsCard)
{
    startTwo(0);
    put(index(28, 0, {{1}, {2, 0x47, kHidden}}), kOther);
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 2, box));
    EXPECT_TRUE(hasCard(2));
}

TEST_F(DeleteThrough, WhatAnEntryHasHiddenStaysHidden)
{
    startTwo(0);
    put(index(28, 0, {{1}, {2, 0x47, kHidden}, {3}}), kList);
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 1, box));
    EXPECT_EQ((Entries{{2, 0x47, kHidden}, {3}}), entriesOf(kList));
}

TEST_F(DeleteThrough, ExactlyTheDischargeTypeMarksTheEntryAndKeepsTheCard)
{
    startTwo(130);
    const cardtest::BoxBytes before = file();
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 2, box));
    EXPECT_EQ((Entries{{1}, {2, 0x41}, {3}}), entriesOf(kList));
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 2, box));
    EXPECT_EQ((Entries{{1}, {2, 0x41}, {3}}), entriesOf(kList));
    EXPECT_TRUE(cardtest::Same(before, file()));
}

TEST_F(DeleteThrough, AnotherTypeWithTheDischargeBitsIsAList)
{
    startTwo(134);
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 2, box));
    EXPECT_EQ((std::vector<u32>{1, 3}), idsOf(kList));
    EXPECT_TRUE(hasCard(2));
}

TEST_F(DeleteThrough, AMissingTypeIsZero)
{
    startTwo(0);
    for (const Bytes& content : {IndexBuilder(28).created().entries(cards(3)).build(),
                                 IndexBuilder(28).record(4, Bytes{}).entries(cards(3)).build()}) {
        put(content, kList);
        EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 3, box));
        EXPECT_EQ((std::vector<u32>{1, 2}), idsOf(kList));
    }
    EXPECT_TRUE(hasCard(3));
}

TEST_F(DeleteThrough, AnIndexWithoutAnInformationAreaIsRefused)
{
    startTwo(0);
    const Bytes bare = IndexBuilder(28).entries(cards(3)).build();
    put(bare, kList);
    EXPECT_EQ(BXD_ERR_OTHER, _IndexNoDeletePMSC(kList, 3, box));
    EXPECT_TRUE(SameBytes(bare, get(kList)));
}

TEST_F(DeleteThrough, StatusesOfTheSearchAndOfTheOpenComeBack)
{
    startTwo(0);
    EXPECT_EQ(BXD_ERR_RANGE, _IndexNoDeletePMSC(kList, 0, box));
    EXPECT_EQ(BXD_ERR_RANGE, _IndexNoDeletePMSC(kList, 65535, box));
    EXPECT_EQ(BXD_ERR_FAIL, _IndexNoDeletePMSC(kList, 4, box));
    EXPECT_EQ(BXD_ERR_NOFILE, _IndexNoDeletePMSC("F0:NONE.TDX", 1, box));
    EXPECT_EQ(BXD_ERR_NOFILE, _IndexNoDeletePMSC(kName, 1, box));
    EXPECT_EQ(BXD_ERR_FAIL, _IndexNoDeletePMSC(kList, 1, nullptr));
    EXPECT_EQ(3u, idsOf(kList).size());
}

TEST_F(DeleteThrough, AnEntryOfACardThatIsGoneIsTold)
{
    startWithAll(3);
    put(index(27, 0, {{9}}), kMaster);
    EXPECT_EQ(BXD_ERR_NOTFOUND, _IndexNoDeletePMSC(kMaster, 1, box));
    EXPECT_EQ(1u, idsOf(kMaster).size());
}

TEST_F(DeleteThrough, ABoxThatKnowsOfNoIndexKeepsTheCard)
{
    start(boxOf(3).build());
    put(index(28, 0, cards(3)), kList);
    EXPECT_EQ(BXD_OK, _IndexNoDeletePMSC(kList, 2, box));
    EXPECT_EQ((std::vector<u32>{1, 3}), idsOf(kList));
    EXPECT_TRUE(hasCard(2));
    EXPECT_EQ(BXD_OK, AllIndexCheckDel(*box, 2));
    EXPECT_TRUE(hasCard(2));
}

TEST_F(DeleteThrough, ABoxWhoseIndexTableIsEmptyLosesTheCard)
{
    startBox(3, {});
    EXPECT_EQ(BXD_OK, AllIndexCheckDel(*box, 2));
    EXPECT_FALSE(hasCard(2));
}

TEST_F(DeleteThrough, AnIndexThatCannotBeReadKeepsTheCard)
{
    startTwo(0);
    ASSERT_EQ(0, unlink(path(kOther).c_str()));
    EXPECT_EQ(BXD_ERR_FAIL, _IndexNoDeletePMSC(kList, 2, box));
    EXPECT_TRUE(hasCard(2));
    Bytes damaged = index(28, 0, {{1}, {3}});
    damaged.resize(damaged.size() - 4);
    put(damaged, kOther);
    EXPECT_EQ(BXD_ERR_FAIL, AllIndexCheckDel(*box, 2));
    EXPECT_TRUE(hasCard(2));
    EXPECT_EQ(1u, boxtest::OpenFiles());
}

}  // namespace
