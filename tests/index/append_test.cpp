// SPDX-License-Identifier: MIT
// A card goes into an index by hand.
#include "index/bxd_indx_append.h"

#include "box/bxd_card_read.h"

#include "tests/support/sort_case.h"

namespace {

using namespace sorttest;

// Cards 1:10 2:20 3:30 4:20 with the attributes 0x41 to 0x44.
class Append : public SortCase {
protected:
    void SetUp() override { makeBox(Readings({10, 20, 30, 20})); }

    static u32 append(u16 card, u16* position, BoxHandle box = nullptr)
    {
        return _IndexNoAppend(kIndex, box, card, position);
    }
    u32 attrOf(const BoxBuilder& builder, u16 card, u8* attr)
    {
        put(builder.build());
        OpenBox box(kBox);
        EXPECT_TRUE(box.ok());
        return SearchAttr(box.fid(), box.record()->itemTable, card, attr);
    }
};

TEST_F(Append, TheFirstCardMakesTheTable)
{
    putIndex(indexBy(kByReading));
    u16 position = 0;
    EXPECT_EQ(append(3, &position), 0u);
    EXPECT_EQ(position, 1);
    EXPECT_TRUE(SameBytes(indexBy(kByReading).entry(3, 0x47).build(), get(kIndex)));
}

TEST_F(Append, ACardGoesToItsPlace)
{
    putIndex(indexBy(kByReading).entry(1, 1).entry(3, 3));
    u16 position = 0;
    EXPECT_EQ(append(2, &position), 0u);
    EXPECT_EQ(position, 2);
    EXPECT_EQ(append(4, &position), 0u);
    EXPECT_EQ(position, 3);
    const IndexBuilder want = indexBy(kByReading).entry(1, 1).entry(2, 0x47).entry(4, 0x47).entry(3, 3);
    EXPECT_TRUE(SameBytes(want.build(), get(kIndex)));
}

TEST_F(Append, TheHighFourBitsOfTheAttributeAreTheCards)
{
    BoxBuilder box(SortItems());
    box.card(1, box.row({{"ATTR", Bytes{0xFE}}, {"READ", B("a")}}));
    box.card(2, box.row({{"ATTR", Bytes{0x00}}, {"READ", B("b")}}));
    put(box.build());
    putIndex(indexBy(kByReading));
    u16 position = 0;
    EXPECT_EQ(append(1, &position), 0u);
    EXPECT_EQ(append(2, &position), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{1, 0xF7, 0}, {2, 0x07, 0}}));
}

TEST_F(Append, ACardThatIsInIs72AndTheFileStays)
{
    const Bytes before = indexBy(kByReading).entry(1).entry(2, 0x47, 1).build();
    put(before, kIndex);
    u16 position = 4711;
    EXPECT_EQ(append(1, &position), 72u);
    EXPECT_EQ(append(2, &position), 72u) << "hidden entries count";
    EXPECT_EQ(position, 4711);
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
}

TEST_F(Append, WithoutSortConditionTheCardIsLastAndThePositionStays)
{
    putIndex(indexBy({}).entries(EntriesOf({3})));
    u16 position = 4711;
    EXPECT_EQ(append(1, &position), 0u);
    EXPECT_EQ(position, 4711);
    EXPECT_EQ(order(), (std::vector<u32>{3, 1}));
}

TEST_F(Append, WithAnUnorderedConditionTheCardIsLastAndThePositionTold)
{
    putIndex(indexBy({}).record(2, Bytes{0}).entries(EntriesOf({3})));
    u16 position = 4711;
    EXPECT_EQ(append(1, &position), 0u);
    EXPECT_EQ(position, 2);
}

TEST_F(Append, WithAMalformedConditionIs69AndTheCardIsIn)
{
    putIndex(indexBy({}).record(2, "x").entries(EntriesOf({3})));
    u16 position = 4711;
    EXPECT_EQ(append(1, &position), 69u);
    EXPECT_EQ(position, 4711);
    EXPECT_EQ(order(), (std::vector<u32>{3, 1}));
}

TEST_F(Append, TheSearchConditionIsNotAsked)
{
    // No condition lets this pass; it is not even one.
    putIndex(indexBy(kByReading).record(32, Bytes{1}).record(128, "nothing").record(3, "nothing"));
    u16 position = 0;
    EXPECT_EQ(append(1, &position), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{1}));
}

TEST_F(Append, ACardThatIsNotThereIs66AndTheFileStays)
{
    const Bytes before = indexBy(kByReading).entry(1).build();
    put(before, kIndex);
    u16 position = 0;
    for (const u16 card : {u16{0}, u16{5}, u16{65280}, u16{65519}, u16{65535}}) {
        EXPECT_EQ(append(card, &position), 66u) << card;
    }
    EXPECT_EQ(append(501, &position), 71u) << "no table for it";
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
}

TEST_F(Append, AFullTableIs71)
{
    std::vector<IndexEntry> entries(65535, IndexEntry{1, 0x47, 0});
    const Bytes before = indexBy(kByReading).entries(entries).build();
    put(before, kIndex);
    u16 position = 4711;
    EXPECT_EQ(append(2, &position), 71u);
    EXPECT_TRUE(SameBytes(before, get(kIndex)));

    // One less has room for one more.
    entries.resize(65534);
    putIndex(entries);
    EXPECT_EQ(append(2, &position), 0u);
    EXPECT_EQ(position, 65535);
}

TEST_F(Append, ACardThatCannotBeComparedStaysAtTheEnd)
{
    putIndex(EntriesOf({1, 77}));
    u16 position = 4711;
    EXPECT_EQ(append(2, &position), 71u);
    EXPECT_EQ(order(), (std::vector<u32>{1, 77, 2}));
}

TEST_F(Append, UsesTheHandleOfItsBoxAndRefusesOneThatIsNone)
{
    putIndex(EntriesOf({1, 3}));
    OpenBox box(kBox);
    u16 position = 0;
    EXPECT_EQ(append(2, &position, box.handle()), 0u);
    EXPECT_EQ(position, 2);
    BoxRecord* record = nullptr;
    EXPECT_EQ(append(4, &position, &record), 71u);
    EXPECT_EQ(order(), (std::vector<u32>{1, 2, 3}));
}

TEST_F(Append, OfAFileThatIsNoIndexOrHasNoBoxIs64)
{
    u16 position = 0;
    EXPECT_EQ(append(1, &position), 64u);
    putIndex(IndexBuilder().created().record(129, kByReading));
    EXPECT_EQ(append(1, &position), 64u);
    putIndex(IndexBuilder().created().record(1, "GONE.BOX"));
    EXPECT_EQ(append(1, &position), 64u);
}

// --- SearchAttr ------------------------------------------------------------------------------------------

TEST_F(Append, SearchAttrGivesTheStoredByte)
{
    u8 attr = 0;
    EXPECT_EQ(attrOf(BoxOf(Readings({1, 2, 3})), 2, &attr), 0u);
    EXPECT_EQ(attr, 0x42);
}

TEST_F(Append, SearchAttrOfAnotherLengthThanOneIs71)
{
    for (const Bytes& value : {Bytes{}, Bytes{1, 2}}) {
        BoxBuilder box(SortItems());
        box.card(1, box.row({{"ATTR", value}}));
        u8 attr = 0x99;
        EXPECT_EQ(attrOf(box, 1, &attr), 71u);
    }
}

TEST_F(Append, SearchAttrOfNoCardIs66AndOfAKilledOne71)
{
    BoxBuilder box = BoxOf(Readings({1, 2}));
    box.killSlot(2);
    u8 attr = 0;
    EXPECT_EQ(attrOf(box, 3, &attr), 66u);
    EXPECT_EQ(attrOf(box, 2, &attr), 71u);
    EXPECT_EQ(attrOf(box, 0, &attr), 66u);
}

TEST_F(Append, SearchAttrInABoxWithoutAttributesIs66)
{
    BoxBuilder box(std::vector<Item>{{kUtf8, 0, "READ", "reading"}});
    box.card(1, {B("a")});
    u8 attr = 0;
    EXPECT_EQ(attrOf(box, 1, &attr), 66u);
}

}  // namespace
