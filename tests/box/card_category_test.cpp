// SPDX-License-Identifier: MIT
// Reading the categories of a card.
#include "box/bxd_card_category.h"
#include "box/bxd_card_read.h"
#include "tests/box/card_read_case.h"

using namespace boxtest;

namespace {

class Categories : public BoxCase {};

// --- categories --------------------------------------------------------------------------------------------

const std::vector<Item> kCategoryItems{
    {12, 0, "CTGR", "Category"}, {1, 0, "NAME", "Name"}, {12, 0, "MORE", "More"}};

class CategoryLists : public Categories {
protected:
    // What a read of this list with so much room gives.
    Got read(const Bytes& list, u32 room)
    {
        BoxBuilder builder(DefaultItems() + kCategoryItems);
        builder.card(1, builder.row({{"CTGR", list}, {"NAME", B("name")}}));
        put(builder.build());
        OpenBox box(kBox, 1);
        const CardDescriptor key = Key(1, "CTGR");
        Got got{0, room, Bytes(room, kUntouched)};
        got.status = _CardCategoryRead(box.handle(), &key, got.data.data(), &got.len);
        got.data.resize(std::min(got.len, room));
        return got;
    }
};

TEST_F(CategoryLists, GiveTheirNumbersInStoredOrder)
{
    EXPECT_EQ(read({5, 0xFF, 0xFF, 0xFF}, 10), Whole({5}));
    EXPECT_EQ(read({9, 3, 7, 1}, 4), Whole({9, 3, 7, 1}));
    EXPECT_EQ(read({0, 9, 0, 3, 0xFF, 7, 0xFF, 0}, 10), Whole({9, 3, 7}));
    EXPECT_EQ(read({1, 253, 254, 0xFF}, 10), Whole({1, 253, 254}));
    EXPECT_EQ(read({0, 0, 0xFF, 0xFF}, 10), Whole({}));
    EXPECT_EQ(read(Bytes(260, 8), 260), Whole(Bytes(260, 8)));
}

TEST_F(CategoryLists, WithoutRoomAreCounted)
{
    EXPECT_EQ(read({5, 0xFF, 0xFF, 0xFF}, 0), (Got{68, 1, {}}));
    EXPECT_EQ(read({0, 9, 0, 3, 0xFF, 7, 254, 0}, 0), (Got{68, 4, {}}));
    EXPECT_EQ(read({0, 0xFF, 0, 0}, 0), (Got{68, 0, {}}));
    EXPECT_EQ(read(Bytes(260, 8), 0), (Got{68, 260, {}}));
}

TEST_F(CategoryLists, IntoTooLittleRoomGiveTheFirst)
{
    EXPECT_EQ(read({9, 0, 3, 7}, 1), (Got{68, 1, {9}}));
    EXPECT_EQ(read({9, 0, 3, 7}, 2), (Got{68, 2, {9, 3}}));
    EXPECT_EQ(read({9, 0, 3, 7}, 3), Whole({9, 3, 7}));
}

TEST_F(CategoryLists, ThatJustFitAreCompleteWhateverEmptyPlacesFollow)
{
    EXPECT_EQ(read({9, 3, 0xFF, 0xFF}, 2), Whole({9, 3}));
    EXPECT_EQ(read({9, 3, 0, 0xFF}, 2), Whole({9, 3}));
    EXPECT_EQ(read({9, 3, 0, 7}, 2), (Got{68, 2, {9, 3}}));
}

TEST_F(CategoryLists, ThatAreEmptyGiveNone)
{
    EXPECT_EQ(read({}, 0), (Got{68, 0, {}}));
    EXPECT_EQ(read({}, 5), Whole({}));
}

TEST_F(CategoryLists, LongerThanProvidedForGiveTheirLength)
{
    const Got got = read(Bytes(261, 8), 300);
    EXPECT_EQ(got.status, 68u);
    EXPECT_EQ(got.len, 261u);
}

TEST_F(Categories, AreReadOfTheirOwnKindOfItemOnly)
{
    BoxBuilder builder(DefaultItems() + kCategoryItems);
    builder.card(1, builder.row({{"NAME", {5}}, {"MORE", {6}}}));
    put(builder.build());
    OpenBox box(kBox);
    u8 out[4];
    u32 count = 4;
    CardDescriptor key = Key(1, "NAME");
    EXPECT_EQ(_CardCategoryRead(box.handle(), &key, out, &count), 71u);
    key = Key(1, "XXXX");
    EXPECT_EQ(_CardCategoryRead(box.handle(), &key, out, &count), 71u);
    key = Key(1, "MORE");
    EXPECT_EQ(_CardCategoryRead(box.handle(), &key, out, &count), 0u);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(out[0], 6);
}

TEST_F(Categories, OfAMissingCardOrABadHandleFail)
{
    BoxBuilder builder(DefaultItems() + kCategoryItems);
    builder.card(1);
    put(builder.build());
    OpenBox box(kBox);
    u8 out[4];
    for (const auto& [id, status] : {std::pair<u32, u32>{2, 66}, {501, 71}, {65300, 66}}) {
        const CardDescriptor key = Key(id, "CTGR");
        u32 count = 4;
        EXPECT_EQ(_CardCategoryRead(box.handle(), &key, out, &count), status) << id;
    }
    const CardDescriptor key = Key(1, "CTGR");
    u32 count = 4;
    EXPECT_EQ(_CardCategoryRead(nullptr, &key, out, &count), 71u);
}

TEST_F(Categories, OfTheCardUnderEditAreRead)
{
    BoxBuilder builder(DefaultItems() + kCategoryItems);
    put(builder.build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    LoadImage(box.record(), kEditId, EncodeCard(kEditId, builder.row({{"CTGR", {4, 2, 0xFF, 0xFF}}})));
    const CardDescriptor key = Key(kEditId, "CTGR");
    u8 out[4] = {};
    u32 count = 4;
    EXPECT_EQ(_CardCategoryRead(box.handle(), &key, out, &count), 0u);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(out[0], 4);
    EXPECT_EQ(out[1], 2);
    box.record()->tmpCardState = kTmpCardNone;
}

TEST_F(Categories, AreItemsOfTypeTwelve)
{
    put(BoxBuilder(DefaultItems() + kCategoryItems).build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    ItemEntry entry{};
    EXPECT_TRUE(CheckCategory(Tag("CTGR"), box.record(), &entry));
    EXPECT_EQ(entry.itemNumber, 5);
    EXPECT_EQ(entry.itemType, 12);
    EXPECT_TRUE(CheckCategory(Tag("mORE"), box.record(), &entry));
    EXPECT_EQ(entry.itemNumber, 7);
    EXPECT_FALSE(CheckCategory(Tag("NAME"), box.record(), &entry));
    EXPECT_FALSE(CheckCategory(Tag("ATTR"), box.record(), &entry));
    EXPECT_FALSE(CheckCategory(Tag("XXXX"), box.record(), &entry));
}

}  // namespace
