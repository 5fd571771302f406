// SPDX-License-Identifier: MIT
// Reading items: whole and in part, of every length form, and the attribute.
#include "box/bxd_card_read.h"

#include <tuple>

#include "tests/box/card_read_case.h"

using namespace boxtest;

namespace {

class CardRead : public BoxCase {};
class CardOffsetRead : public BoxCase {};
class AttributeRead : public BoxCase {};

// --- whole items -------------------------------------------------------------------------------------------

class CardReadOf : public BoxCase, public ::testing::WithParamInterface<u32> {};

INSTANTIATE_TEST_SUITE_P(Boxes, CardReadOf, ::testing::Values(1, 500, 501, 628, 629, 756, 757, 5000),
                         [](const auto& count) { return "Cards" + std::to_string(count.param); });

TEST_P(CardReadOf, EveryIdGivesItsOwnCard)
{
    const u32 count = GetParam();
    put(NumberedBox(count).build());
    OpenBox box(kBox, 1);
    ASSERT_TRUE(box.ok());
    for (u32 id = 1; id <= count; id++) {
        ASSERT_EQ(Read(box.handle(), id, "I000", 32), Whole(Numbered(id))) << id;
        ASSERT_EQ(Read(box.handle(), id, "I001", 32), Whole(B("tail"))) << id;
    }
}

TEST_P(CardReadOf, TheIdBehindTheLastIsMissing)
{
    const u32 count = GetParam();
    put(NumberedBox(count).build());
    OpenBox box(kBox, 1);
    ASSERT_TRUE(box.ok());
    const bool inTable = count != 500 && (count < 500 || (count - 500) % 128 != 0);
    EXPECT_EQ(Status(box.handle(), count + 1), inTable ? 66u : 71u);
}

TEST_F(CardRead, SixtyThousandCards)
{
    BoxBuilder builder(NumberedItems(6));
    for (u32 id = 1; id <= 60000; id++) {
        builder.card(id, builder.row({{"I000", {static_cast<u8>(id), static_cast<u8>(id >> 8)}}}));
    }
    put(builder.build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    for (u32 id = 1; id <= 60000; id += id < 1000 ? 1 : 61) {
        ASSERT_EQ(Read(box.handle(), id, "I000", 8), Whole({static_cast<u8>(id), static_cast<u8>(id >> 8)}))
            << id;
    }
}

TEST_F(CardRead, WithoutRoomAsksForTheLength)
{
    put(OneCard({{"I000", B("hello")}}).build());
    OpenBox box(kBox);
    EXPECT_EQ(Read(box.handle(), 1, "I000", 0), (Got{68, 5, {}}));
    const CardDescriptor key = Key(1, "I000");
    u32 len = 0;
    EXPECT_EQ(_CardRead(box.handle(), &key, nullptr, &len), 68u);
    EXPECT_EQ(len, 5u);
}

TEST_F(CardRead, OfAnEmptyItemGivesNothingWhateverTheRoom)
{
    put(OneCard({}).build());
    OpenBox box(kBox);
    for (u32 room : {0u, 1u, 100u}) {
        Bytes buf(room, kUntouched);
        const CardDescriptor key = Key(1, "I000");
        u32 len = room;
        EXPECT_EQ(_CardRead(box.handle(), &key, buf.data(), &len), 0u);
        EXPECT_EQ(len, 0u);
        EXPECT_EQ(buf, Bytes(room, kUntouched));
    }
}

TEST_F(CardRead, IntoTooLittleRoomGivesTheFirstPartAndTheLength)
{
    put(OneCard({{"I000", B("hello")}}).build());
    OpenBox box(kBox);
    EXPECT_EQ(Read(box.handle(), 1, "I000", 3), (Got{68, 5, B("hel")}));
    EXPECT_EQ(Read(box.handle(), 1, "I000", 4), (Got{68, 5, B("hell")}));
    EXPECT_EQ(Read(box.handle(), 1, "I000", 5), Whole(B("hello")));
}

TEST_F(CardRead, WritesNothingBehindTheItem)
{
    put(OneCard({{"I000", B("hello")}, {"I001", B("next")}}).build());
    OpenBox box(kBox);
    const CardDescriptor key = Key(1, "I000");
    Bytes buf(20, kUntouched);
    u32 len = 20;
    EXPECT_EQ(_CardRead(box.handle(), &key, buf.data(), &len), 0u);
    EXPECT_EQ(buf, B("hello") + Bytes(15, kUntouched));
}

TEST_F(CardRead, OfAnIdWithoutACardIsNotFound)
{
    BoxBuilder builder = NumberedBox(3);
    builder.killSlot(4);
    builder.killSlot(600);
    builder.card(601);
    put(builder.build());
    OpenBox box(kBox);
    EXPECT_EQ(Status(box.handle(), 4), 66u);  // killed
    EXPECT_EQ(Status(box.handle(), 5), 66u);  // never used
    EXPECT_EQ(Status(box.handle(), 500), 66u);
    EXPECT_EQ(Status(box.handle(), 600), 66u);
    EXPECT_EQ(Status(box.handle(), 628), 66u);
    EXPECT_EQ(Status(box.handle(), 601), 0u);
}

TEST_F(CardRead, OfAnIdBehindTheTablesFails)
{
    BoxBuilder builder = NumberedBox(629);
    put(builder.build());
    OpenBox box(kBox);
    EXPECT_EQ(Status(box.handle(), 757), 71u);                 // an erased word of the offset card
    EXPECT_EQ(Status(box.handle(), 500 + 64 * 128), 71u);      // its last word
    EXPECT_EQ(Status(box.handle(), 500 + 64 * 128 + 1), 71u);  // behind it
    EXPECT_EQ(Status(box.handle(), 65279), 71u);
    Bytes file = builder.build();
    Put32(file, GetField(file, hd::offsetCard) + 6 + 4, 0);
    put(file);
    EXPECT_EQ(Status(box.handle(), 629), 71u);
    EXPECT_EQ(Status(box.handle(), 628), 0u);
}

TEST_F(CardRead, AboveFiveHundredNeedsAnOffsetCardWhateverItsSizeSays)
{
    BoxBuilder builder = NumberedBox(501);
    for (u32 pos : {0u, kNone}) {
        for (u32 size : {0u, 262u, kNone}) {
            builder.setField(hd::offsetCard, pos);
            builder.setField(hd::offsetCardSize, size);
            put(builder.build());
            OpenBox box(kBox);
            EXPECT_EQ(Status(box.handle(), 501), 71u) << pos << " " << size;
            EXPECT_EQ(Status(box.handle(), 500), 0u);
        }
    }
}

TEST_F(CardRead, TheOffsetCardsSizeBoundsItsWords)
{
    BoxBuilder builder = NumberedBox(629);
    const std::pair<u32, u32> cases[] = {{9, 71}, {10, 0}, {13, 0}, {14, 0}};
    for (const auto& [size, status] : cases) {
        builder.setField(hd::offsetCardSize, size);
        put(builder.build());
        OpenBox box(kBox);
        EXPECT_EQ(Status(box.handle(), 501), status) << size;
        EXPECT_EQ(Status(box.handle(), 629), size < 14 ? 71u : 0u) << size;
    }
}

TEST_F(CardRead, LooksAtTheTagBeforeTheCard)
{
    put(NumberedBox(1).build());
    OpenBox box(kBox);
    EXPECT_EQ(Status(box.handle(), 1, "XXXX"), 66u);
    EXPECT_EQ(Status(box.handle(), 60000, "XXXX"), 66u);
    EXPECT_EQ(Status(box.handle(), 60000), 71u);
}

TEST_F(CardRead, IgnoresTheCaseOfATagsFirstLetter)
{
    put(NumberedBox(1).build());
    OpenBox box(kBox);
    EXPECT_EQ(Read(box.handle(), 1, "i000", 32), Whole(Numbered(1)));
}

TEST_F(CardRead, OfABadHandleFails)
{
    EXPECT_EQ(Status(nullptr, 1), 71u);
    EXPECT_EQ(ReadAt(nullptr, 1, "I000", 5, 0).status, 71u);
}

TEST_F(CardRead, AtIdZeroReadsTheTenthSystemSlot)
{
    BoxBuilder builder = NumberedBox(1);
    put(builder.build());
    {
        OpenBox box(kBox);
        EXPECT_EQ(Status(box.handle(), 0), 66u);
    }
    builder.systemCard(10, 65300, builder.row({{"I000", B("tenth")}}));
    put(builder.build());
    OpenBox box(kBox);
    EXPECT_EQ(Read(box.handle(), 0, "I000", 32), Whole(B("tenth")));
}

TEST_F(CardRead, SeesWhatHasChangedInTheFileBesideTheHandle)
{
    BoxBuilder builder = NumberedBox(3);
    put(builder.build());
    OpenBox box(kBox);
    ASSERT_EQ(Read(box.handle(), 2, "I000", 32), Whole(Numbered(2)));
    Bytes file = get();
    const u32 pos = BoxView(file).find(2);
    std::copy_n(B("CARD 2").begin(), 6, file.begin() + static_cast<std::ptrdiff_t>(pos + 10 + 6 + 1));
    put(file);
    EXPECT_EQ(Read(box.handle(), 2, "I000", 32), Whole(B("CARD 2")));
}

TEST_F(CardRead, OfACardWhoseLengthsLeaveItFails)
{
    BoxBuilder builder = OneCard({{"I000", B("value")}});
    const Bytes sound = builder.build();
    const u32 pos = BoxView(sound).find(1);
    Bytes longItem = sound;
    longItem[pos + 10 + 4] = 0x7F;  // the item itself
    Bytes longBefore = sound;
    longBefore[pos + 10 + 1] = 0x7F;  // one before it
    Bytes longTable = sound;
    Put16(longTable, pos + 8, 5000);
    for (const Bytes& file : {longItem, longBefore, longTable}) {
        put(file);
        OpenBox box(kBox);
        EXPECT_EQ(Status(box.handle(), 1), 71u);
    }
}

TEST_F(CardRead, OfASlotThatLeavesTheFileFails)
{
    BoxBuilder builder = NumberedBox(2);
    const u32 size = static_cast<u32>(builder.build().size());
    for (u32 pos : {size, size - 1, size - 2, size + 1000, 0x7FFFFFFFu, 0xFFFFFFFEu}) {
        builder.setSlot(1, pos);
        put(builder.build());
        OpenBox box(kBox);
        EXPECT_EQ(Status(box.handle(), 1), 71u) << pos;
        EXPECT_EQ(Status(box.handle(), 2), 0u);
    }
}

// --- lengths and shapes of cards ---------------------------------------------------------------------------

TEST_F(CardRead, ItemsOfEveryLengthForm)
{
    for (size_t length :
         {0u, 1u, 126u, 127u, 128u, 129u, 255u, 256u, 257u, 16383u, 16384u, 16385u, 100000u}) {
        const Bytes value = Pattern(length, static_cast<u32>(length));
        put(OneCard({{"I000", value}, {"I001", B("behind")}}).build());
        OpenBox box(kBox);
        EXPECT_EQ(Read(box.handle(), 1, "I000", 200000), Whole(value)) << length;
        EXPECT_EQ(Read(box.handle(), 1, "I001", 200000), Whole(B("behind"))) << length;
    }
}

TEST_F(CardRead, LengthFieldsLongerThanNeeded)
{
    for (int form : {1, 2, 4}) {
        CardForm card;
        card.lengthForm = form;
        put(OneCard({{"I000", B("value")}, {"I002", Bytes(100, 'z')}}, card).build());
        OpenBox box(kBox);
        EXPECT_EQ(Read(box.handle(), 1, "I000", 200), Whole(B("value"))) << form;
        EXPECT_EQ(Read(box.handle(), 1, "I001", 200), Whole({})) << form;
        EXPECT_EQ(Read(box.handle(), 1, "I002", 200), Whole(Bytes(100, 'z'))) << form;
        EXPECT_EQ(Read(box.handle(), 1, "ATTR", 1), Whole({0})) << form;
    }
}

TEST_F(CardRead, LooksNeitherAtSlackNorAtTheHeadSize)
{
    CardForm form;
    form.slack = 50;
    form.headSize = 0x1234;
    put(OneCard({{"I000", B("value")}, {"I002", B("last")}}, form).build());
    OpenBox box(kBox);
    EXPECT_EQ(Read(box.handle(), 1, "I000", 200), Whole(B("value")));
    EXPECT_EQ(Read(box.handle(), 1, "I002", 200), Whole(B("last")));
}

TEST_F(CardRead, AnItemOfSeveralMegabytes)
{
    const Bytes value = Pattern(5u << 20);
    put(OneCard({{"I000", value}, {"I001", B("behind")}}).build());
    OpenBox box(kBox);
    EXPECT_TRUE(Read(box.handle(), 1, "I000", 6u << 20) == Whole(value));
    EXPECT_EQ(Read(box.handle(), 1, "I001", 10), Whole(B("behind")));
    EXPECT_EQ(ReadAt(box.handle(), 1, "I000", 10, (5u << 20) - 4), Whole(Slice(value, (5u << 20) - 4, 4)));
}

// A box of so many items, all of which have a value.
class CardReadOfItems : public BoxCase, public ::testing::WithParamInterface<std::tuple<u32, int>> {};

INSTANTIATE_TEST_SUITE_P(Shapes, CardReadOfItems,
                         ::testing::Combine(::testing::Values(1, 4, 5, 100, 127, 128, 200, 255),
                                            ::testing::Values(0, 2, 4)),
                         [](const auto& shape) {
                             return "Items" + std::to_string(std::get<0>(shape.param)) + "Form" +
                                    std::to_string(std::get<1>(shape.param));
                         });

TEST_P(CardReadOfItems, EachGivesItsValue)
{
    const auto [items, form] = GetParam();
    BoxBuilder builder(NumberedItems(items));
    std::vector<Bytes> values;
    for (u32 n = 0; n < items; n++) { values.push_back(Pattern(n == 0 ? 1 : n % 9, n)); }
    CardForm card;
    card.lengthForm = form;
    builder.card(1, values, card);
    builder.card(2);
    put(builder.build());
    OpenBox box(kBox, 1);
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(Read(box.handle(), 1, "ATTR", 20), Whole({static_cast<u8>(values[0][0] ^ 0x40)}));
    for (u32 n = 1; n < items; n++) {
        const std::string& tag = builder.items()[n].tag;
        ASSERT_EQ(Read(box.handle(), 1, tag.c_str(), 20), Whole(values[n])) << tag;
        ASSERT_EQ(Read(box.handle(), 2, tag.c_str(), 20), Whole({})) << tag;
    }
}

TEST_F(CardRead, OfABoxWithoutItemsFindsNoTag)
{
    BoxBuilder builder{std::vector<Item>{}};
    builder.card(1, {});
    put(builder.build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(_GetItemNum(box.handle()), 0u);
    EXPECT_EQ(Status(box.handle(), 1, "ATTR"), 66u);
}

// --- parts of items ----------------------------------------------------------------------------------------

TEST_F(CardOffsetRead, DeliversWhatIsLeftBehindTheOffset)
{
    put(OneCard({{"I000", B("abcdef")}}).build());
    OpenBox box(kBox);
    EXPECT_EQ(ReadAt(box.handle(), 1, "I000", 10, 4), Whole(B("ef")));
    EXPECT_EQ(ReadAt(box.handle(), 1, "I000", 3, 0), Whole(B("abc")));
    EXPECT_EQ(ReadAt(box.handle(), 1, "I000", 3, 2), Whole(B("cde")));
    EXPECT_EQ(ReadAt(box.handle(), 1, "I000", 1, 5), Whole(B("f")));
    EXPECT_EQ(ReadAt(box.handle(), 1, "I000", 6, 0), Whole(B("abcdef")));
}

TEST_F(CardOffsetRead, AtOrBehindTheEndIsOutOfRange)
{
    put(OneCard({{"I000", B("abcdef")}}).build());
    OpenBox box(kBox);
    for (u32 offset : {6u, 7u, 1000u, 0x7FFFFFFFu, kNone}) {
        EXPECT_EQ(ReadAt(box.handle(), 1, "I000", 1, offset).status, 35u) << offset;
    }
    EXPECT_EQ(ReadAt(box.handle(), 1, "I001", 1, 0).status, 35u);  // an empty item
}

TEST_F(CardOffsetRead, OfNothingSucceedsBeforeAnythingIsTested)
{
    u32 len = 0;
    EXPECT_EQ(_CardOffsetRead(nullptr, nullptr, nullptr, &len, 99), 0u);
    EXPECT_EQ(len, 0u);
}

TEST_F(CardOffsetRead, OfAHugeCountDeliversTheRest)
{
    put(OneCard({{"I000", B("abcdef")}}).build());
    OpenBox box(kBox);
    const CardDescriptor key = Key(1, "I000");
    u8 buf[6] = {};
    u32 len = kNone;
    EXPECT_EQ(_CardOffsetRead(box.handle(), &key, buf, &len, 1), 0u);
    EXPECT_EQ(len, 5u);
    EXPECT_EQ(Text(Bytes(buf, buf + 5)), "bcdef");
}

TEST_F(CardOffsetRead, OfAMissingCardOrTagFails)
{
    put(OneCard({}).build());
    OpenBox box(kBox);
    EXPECT_EQ(ReadAt(box.handle(), 2, "I000", 5, 0).status, 66u);
    EXPECT_EQ(ReadAt(box.handle(), 1, "XXXX", 5, 0).status, 66u);
    EXPECT_EQ(ReadAt(box.handle(), 501, "I000", 5, 0).status, 71u);
}

// --- the attribute -----------------------------------------------------------------------------------------

TEST_F(AttributeRead, FlipsTheLiveBit)
{
    for (const auto& [stored, seen] :
         {std::pair<u8, u8>{0x40, 0}, {0x00, 0x40}, {0x4F, 0x0F}, {0xF0, 0xB0}, {0xFF, 0xBF}}) {
        put(OneCard({{"ATTR", {stored}}}).build());
        OpenBox box(kBox);
        EXPECT_EQ(Read(box.handle(), 1, "ATTR", 1), Whole({seen}));
        EXPECT_EQ(Read(box.handle(), 1, "ATTR", 50), Whole({seen}));
        EXPECT_EQ(Read(box.handle(), 1, "aTTR", 1), Whole({seen}));
        EXPECT_EQ(ReadAt(box.handle(), 1, "ATTR", 1, 0), Whole({seen}));
        EXPECT_EQ(ReadAt(box.handle(), 1, "ATTR", 9, 0), Whole({seen}));
    }
}

TEST_F(AttributeRead, OfOtherItemsFlipsNothing)
{
    put(OneCard({{"I000", {0x40}}, {"cTTM", {0x01}}}).build());
    OpenBox box(kBox);
    EXPECT_EQ(Read(box.handle(), 1, "I000", 1), Whole({0x40}));
    EXPECT_EQ(Read(box.handle(), 1, "cTTM", 1), Whole({0x01}));
}

TEST_F(AttributeRead, OfSeveralBytesComesBackAsStored)
{
    put(OneCard({{"ATTR", {0x40, 0x41}}}).build());
    OpenBox box(kBox);
    EXPECT_EQ(Read(box.handle(), 1, "ATTR", 2), Whole({0x40, 0x41}));
}

}  // namespace
