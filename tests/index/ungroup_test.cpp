// SPDX-License-Identifier: MIT
// An index is filled with all cards of its box.
#include "index/bxd_indx_ungroup.h"

#include "tests/support/sort_case.h"

namespace {

using namespace sorttest;

class UnGroup : public SortCase {
protected:
    // Cards with the attribute 0x30 + id mod 64.
    static BoxBuilder boxWith(const std::vector<u32>& ids)
    {
        BoxBuilder box(SortItems());
        for (u32 id : ids) { box.card(id, box.row({{"ATTR", Bytes{attrOf(id)}}})); }
        return box;
    }
    static u8 attrOf(u32 id) { return static_cast<u8>(0x30 + id % 64); }
    static std::vector<IndexEntry> filled(const std::vector<u32>& ids)
    {
        std::vector<IndexEntry> out;
        for (u32 id : ids) { out.push_back({id, attrOf(id), 0}); }
        return out;
    }
    static u32 ungroup(BoxHandle box = nullptr) { return _IndexUnGroup(kIndex, box); }
    void expectFilled(const std::vector<u32>& ids) const
    {
        EXPECT_TRUE(SameBytes(indexBy(kByReading).entries(filled(ids)).build(), get(kIndex)));
    }
};

TEST_F(UnGroup, ListsTheCards1And3And600InThatOrder)
{
    put(boxWith({600, 1, 3}).build());
    putIndex(indexBy(kByReading));
    EXPECT_EQ(ungroup(), 0u);
    expectFilled({1, 3, 600});
}

TEST_F(UnGroup, ThrowsTheOldTableAway)
{
    put(boxWith({1, 3, 4}).build());
    for (const u32 old : {0u, 1u, 3u, 900u}) {
        putIndex(indexBy(kByReading).entries(std::vector<IndexEntry>(old, IndexEntry{3, 0x77, 1})).table());
        EXPECT_EQ(ungroup(), 0u);
        expectFilled({1, 3, 4});
    }
}

TEST_F(UnGroup, OfAnEmptyBoxIs225AndThereIsNoTable)
{
    put(BoxBuilder(SortItems()).build());
    for (const bool table : {false, true}) {
        IndexBuilder index = indexBy(kByReading);
        if (table) { index.entries(EntriesOf({1, 2})); }
        putIndex(index);
        EXPECT_EQ(ungroup(), 225u);
        EXPECT_TRUE(SameBytes(indexBy(kByReading).build(), get(kIndex)));
    }
}

TEST_F(UnGroup, OfABoxWhoseCardsAreAllGoneIs225)
{
    BoxBuilder box = boxWith({1, 600});
    box.killSlot(1);
    box.killSlot(600);
    put(box.build());
    putIndex(EntriesOf({1}));
    EXPECT_EQ(ungroup(), 225u);
    EXPECT_TRUE(SameBytes(indexBy(kByReading).build(), get(kIndex)));
}

TEST_F(UnGroup, SlotsThatAreKilledOrErasedAreNotListed)
{
    BoxBuilder box = boxWith({1, 2, 3, 500, 501, 502, 628, 629});
    for (const u32 id : {2u, 500u, 502u, 628u}) { box.killSlot(id); }
    put(box.build());
    putIndex(indexBy(kByReading));
    EXPECT_EQ(ungroup(), 0u);
    expectFilled({1, 3, 501, 629});
}

TEST_F(UnGroup, SystemCardsAreNotListed)
{
    BoxBuilder box = boxWith({1});
    box.systemCard(1, 65281, box.row());
    box.systemCard(10, 65290, box.row());
    put(box.build());
    putIndex(indexBy(kByReading));
    EXPECT_EQ(ungroup(), 0u);
    expectFilled({1});
}

TEST_F(UnGroup, OfEverySizeOfBox)
{
    // Around the borders of the tables, where the buffer fills, and far beyond.
    for (const u32 n : {1u, 383u, 384u, 499u, 500u, 501u, 628u, 629u, 756u, 757u, 884u, 885u, 1013u, 5000u}) {
        SCOPED_TRACE(n);
        put(boxWith(IdsTo(n)).build());
        putIndex(indexBy(kByReading));
        ASSERT_EQ(ungroup(), 0u);
        expectFilled(IdsTo(n));
    }
}

TEST_F(UnGroup, OfTablesThatAreHalfEmpty)
{
    for (const u32 step : {2u, 3u, 7u, 130u}) {
        SCOPED_TRACE(step);
        std::vector<u32> ids;
        for (u32 id = step; id <= 3000; id += step) { ids.push_back(id); }
        put(boxWith(ids).build());
        putIndex(indexBy(kByReading));
        ASSERT_EQ(ungroup(), 0u);
        expectFilled(ids);
    }
}

TEST_F(UnGroup, OfAllCardsThatABoxCanHave)
{
    BoxBuilder box(SortItems());
    box.reserveOffsetCard(507);
    for (u32 id = 1; id <= 65279; ++id) { box.card(id, box.row({{"ATTR", Bytes{attrOf(id)}}})); }
    put(box.build());
    putIndex(indexBy(kByReading));
    ASSERT_EQ(ungroup(), 0u);
    expectFilled(IdsTo(65279));
}

TEST_F(UnGroup, TheAttributeIsTheCardsWholeByte)
{
    BoxBuilder box(SortItems());
    box.card(1, box.row({{"ATTR", Bytes{0xAB}}}));
    put(box.build());
    putIndex(indexBy(kByReading));
    EXPECT_EQ(ungroup(), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{1, 0xAB, 0}}));
}

TEST_F(UnGroup, WorksThroughTheHandleOfItsBoxAndRefusesOneThatIsNone)
{
    put(boxWith({1, 2}).build());
    putIndex(indexBy(kByReading));
    OpenBox box(kBox);
    EXPECT_EQ(ungroup(box.handle()), 0u);
    expectFilled({1, 2});
    BoxRecord* record = nullptr;
    EXPECT_EQ(ungroup(&record), 71u);
    expectFilled({1, 2});
}

TEST_F(UnGroup, OfAFileThatIsNoIndexOrHasNoBoxIs64)
{
    put(boxWith({1}).build());
    EXPECT_EQ(ungroup(), 64u);
    const Bytes before = IndexBuilder().created().entry(1).build();
    put(before, kIndex);
    EXPECT_EQ(ungroup(), 64u);
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
}

TEST_F(UnGroup, OfABoxThatDoesNotTellAttributesIs66AndKeepsTheTable)
{
    const Bytes before = indexBy(kByReading).entry(1).build();
    for (const Bytes& box : {NewBoxImage("TEST"), BoxBuilder({{1, 0, "NAME", "name"}}).build()}) {
        put(box);
        put(before, kIndex);
        EXPECT_EQ(ungroup(), 66u);
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
}

TEST_F(UnGroup, ThenASortMakesTheOrder)
{
    makeBox(Readings({3, 1, 2}));
    putIndex(indexBy(kByReading));
    EXPECT_EQ(ungroup(), 0u);
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{2, 3, 1}));
}

// --- damaged files ---------------------------------------------------------------------------------------

class UnGroupDamaged : public UnGroup {
protected:
    // A refusal with this message.
    void expectRefused(const std::string& message) const
    {
        putIndex(indexBy(kByReading).entries(EntriesOf({1})));
        Captured messages;
        EXPECT_EQ(ungroup(), 71u);
        EXPECT_NE(messages.text().find(message), std::string::npos) << message;
    }
};

TEST_F(UnGroupDamaged, ACardWithoutAttributeIs71)
{
    for (const Bytes& attr : {Bytes{}, Bytes{1, 2}}) {
        BoxBuilder box = boxWith({1, 2});
        box.card(3, box.row({{"ATTR", attr}}));
        put(box.build());
        expectRefused("IndexUnGroup: ReadItemData error\n");
    }
}

TEST_F(UnGroupDamaged, ACardOutsideTheFileIs71)
{
    BoxBuilder box = boxWith({1, 2});
    box.setSlot(2, 0x00FFFFFF);
    put(box.build());
    expectRefused("IndexUnGroup: ReadItemData error\n");
}

TEST_F(UnGroupDamaged, ALinkToSomethingElseIs71)
{
    BoxBuilder box = boxWith({1, 2});
    for (const u32 link : {0u, 72u, box.slotAt(1)}) {
        Bytes file = box.build();
        Put32(file, DefaultWordAt(511), link);
        put(file);
        expectRefused("IndexUnGroup: OFFSET_TABLE_ID error\n");
    }
    Bytes file = box.build();
    Put32(file, DefaultWordAt(511), static_cast<u32>(file.size()) + 9);
    put(file);
    expectRefused("IndexUnGroup: could not read CardId error\n");
}

TEST_F(UnGroupDamaged, ATableThatTheFileCutsIs71)
{
    BoxBuilder box = boxWith({1, 501});
    Bytes file = box.build();
    const u32 table = Get32(file, DefaultWordAt(511));
    file.resize(table + 100);
    put(file);
    expectRefused("IndexUnGroup: reading offset table error\n");
}

TEST_F(UnGroupDamaged, AChainInACircleEndsWith71)
{
    BoxBuilder box = boxWith({1, 501, 629});
    Bytes file = box.build();
    const u32 first = Get32(file, DefaultWordAt(511));
    const u32 second = Get32(file, first + 518);
    Put32(file, second + 518, first);
    put(file);
    putIndex(indexBy(kByReading));
    EXPECT_EQ(ungroup(), 71u);
    // A circle without cards as well.
    Put32(file, second + 518, second);
    for (u32 at = 6; at < 518; at += 4) { Put32(file, second + at, 0); }
    put(file);
    putIndex(indexBy(kByReading));
    EXPECT_EQ(ungroup(), 71u);
}

TEST_F(UnGroupDamaged, ATablePositionOutsideTheIndexIs71AndNothingIsCut)
{
    put(boxWith({1}).build());
    for (const u32 pos : {0u, 4u, 23u, 100000u, 0xFFFFFFFEu}) {
        const Bytes before = indexBy(kByReading).entry(1).setField(ix::tablePos, pos).build();
        put(before, kIndex);
        Captured messages;
        EXPECT_EQ(ungroup(), 71u);
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
}

TEST_F(UnGroupDamaged, ABoxWithoutOffsetTableIs71)
{
    for (const u32 pos : {0u, 0xFFFFFFFFu, 0x00FFFFFFu}) {
        BoxBuilder box = boxWith({1});
        box.setField(hd::offsetTable, pos);
        put(box.build());
        expectRefused("IndexUnGroup");
    }
}

TEST_F(UnGroupDamaged, AFailureLeavesAnIndexThatAnotherCallMends)
{
    BoxBuilder box = boxWith(IdsTo(700));
    box.setSlot(650, 0x00FFFFFF);
    put(box.build());
    putIndex(indexBy(kByReading).entries(EntriesOf({1, 2, 3})));
    Captured messages;
    EXPECT_EQ(ungroup(), 71u);
    put(boxWith(IdsTo(700)).build());
    EXPECT_EQ(ungroup(), 0u);
    expectFilled(IdsTo(700));
}

}  // namespace
