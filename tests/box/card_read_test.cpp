// SPDX-License-Identifier: MIT
// Looking cards and their items up: by the default table, append tables, system slots, the card under edit in
// memory and in the file; places of items; partial reads; categories.
#include "box/bxd_card_read.h"

#include <memory>
#include <tuple>

#include "box/bxd_card_category.h"
#include "box/bxd_card_slots.h"
#include "storage/heapwrapper.h"
#include "tests/support/box_case.h"

using namespace boxtest;

namespace {

class CardRead : public BoxCase {};
class CardOffsetRead : public BoxCase {};
class AttributeRead : public BoxCase {};
class SystemCardRead : public BoxCase {};
class EditCardRead : public BoxCase {};
class ItemPlaces : public BoxCase {};
class ImageItems : public BoxCase {};
class SlotLookup : public BoxCase {};
class SlotCursor : public BoxCase {};
class Categories : public BoxCase {};

// What a read gave.
struct Got {
    u32 status;
    u32 len;
    Bytes data;  // what was delivered

    bool operator==(const Got&) const = default;
};

void PrintTo(const Got& got, std::ostream* os)
{
    *os << "status " << got.status << ", length " << got.len << ", data \"" << Text(Slice(got.data, 0, 40))
        << "\"";
}

constexpr u8 kUntouched = 0xA7;

// Reads with so much room, in a block of exactly that size.
Got Read(BoxHandle box, u32 id, const char* tag, u32 room)
{
    const CardDescriptor key = Key(id, tag);
    Got got{0, room, Bytes(room, kUntouched)};
    got.status = _CardRead(box, &key, got.data.data(), &got.len);
    got.data.resize(std::min(got.len, room));
    return got;
}

Got ReadAt(BoxHandle box, u32 id, const char* tag, u32 want, u32 offset)
{
    const CardDescriptor key = Key(id, tag);
    Got got{0, want, Bytes(want, kUntouched)};
    got.status = _CardOffsetRead(box, &key, got.data.data(), &got.len, offset);
    got.data.resize(std::min(got.len, want));
    return got;
}

Got Whole(const Bytes& value) { return {0, static_cast<u32>(value.size()), value}; }

// The status of a read that fails.
u32 Status(BoxHandle box, u32 id, const char* tag = "I000") { return Read(box, id, tag, 64).status; }

// The value that card `id` of a numbered box has in its fifth item.
Bytes Numbered(u32 id) { return B("card " + std::to_string(id)); }

// Cards 1 to `count`, each with a value that tells its id.
BoxBuilder NumberedBox(u32 count)
{
    BoxBuilder box(NumberedItems(6));
    for (u32 id = 1; id <= count; id++) {
        box.card(id, box.row({{"I000", Numbered(id)}, {"I001", B("tail")}}));
    }
    return box;
}

// One card, id 1, with these values.
BoxBuilder OneCard(const std::vector<std::pair<std::string, Bytes>>& values, const CardForm& form = {})
{
    BoxBuilder box(NumberedItems(7));
    box.card(1, box.row(values), form);
    return box;
}

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

// --- system cards ------------------------------------------------------------------------------------------

TEST_F(SystemCardRead, FindsEachOfTen)
{
    BoxBuilder builder = NumberedBox(1);
    const u32 ids[10] = {65519, 65281, 65400, 65300, 65282, 65518, 65333, 65444, 65500, 65290};
    for (u32 n = 0; n < 10; n++) {
        builder.systemCard(n + 1, ids[n], builder.row({{"I000", Numbered(ids[n])}}));
    }
    put(builder.build());
    ASSERT_TRUE(IsSound(get()));
    OpenBox box(kBox, 1);
    for (u32 id : ids) { EXPECT_EQ(Read(box.handle(), id, "I000", 32), Whole(Numbered(id))); }
    EXPECT_EQ(Status(box.handle(), 65283), 66u);
    EXPECT_EQ(Status(box.handle(), 65280), 66u);
    EXPECT_EQ(Status(box.handle(), 65535), 66u);
}

TEST_F(SystemCardRead, PassesOverEmptySlots)
{
    BoxBuilder builder = NumberedBox(1);
    builder.systemCard(7, 65300, builder.row({{"I000", B("seventh")}}));
    Bytes file = builder.build();
    Put32(file, DefaultWordAt(1), 0);
    Put32(file, DefaultWordAt(6), 0);
    put(file);
    OpenBox box(kBox);
    EXPECT_EQ(Read(box.handle(), 65300, "I000", 32), Whole(B("seventh")));
}

TEST_F(SystemCardRead, FindsNothingInABoxWithoutCards)
{
    put(BoxBuilder(NumberedItems(6)).build());
    OpenBox box(kBox);
    EXPECT_EQ(Status(box.handle(), 65300), 66u);
    EXPECT_EQ(Status(box.handle(), 1), 66u);
}

TEST_F(SystemCardRead, StopsAtASlotThatCannotBeRead)
{
    BoxBuilder builder = NumberedBox(1);
    builder.systemCard(2, 65300, builder.row({{"I000", B("second")}}));
    builder.systemCard(4, 65301, builder.row({{"I000", B("fourth")}}));
    Bytes file = builder.build();
    Put32(file, DefaultWordAt(3), static_cast<u32>(file.size()) + 100);
    put(file);
    OpenBox box(kBox);
    EXPECT_EQ(Status(box.handle(), 65300), 0u);
    EXPECT_EQ(Status(box.handle(), 65301), 71u);
    EXPECT_EQ(Status(box.handle(), 65302), 71u);
}

TEST_F(SystemCardRead, TheSlotLookUpTellsPlaceSizeAndSlot)
{
    BoxBuilder builder = NumberedBox(1);
    builder.systemCard(3, 65300, builder.row());
    const u32 pos = builder.systemCard(9, 65301, builder.row({{"I000", B("ninth")}}));
    const Bytes file = builder.build();
    put(file);
    u32 slots[10];
    for (u32 n = 0; n < 10; n++) { slots[n] = Get32(file, DefaultWordAt(n + 1)); }
    Fid fid(kBox);
    u32 cardOffset = 99, cardSize = 0;
    u8 slot = 0;
    EXPECT_EQ(GetSystemCardOffset(fid.id(), 65301, slots, &cardOffset, &cardSize, &slot), 0u);
    EXPECT_EQ(cardOffset, pos);
    EXPECT_EQ(cardSize, Get32(file, pos + 2) + 6);
    EXPECT_EQ(slot, 9);
    EXPECT_EQ(GetSystemCardOffset(fid.id(), 65302, slots, &cardOffset, &cardSize, &slot), 0u);
    EXPECT_EQ(cardOffset, 0u);
    slots[5] = 1u << 30;
    EXPECT_EQ(GetSystemCardOffset(fid.id(), 65301, slots, &cardOffset, &cardSize, &slot), 71u);
    EXPECT_EQ(GetSystemCardOffset(fid.id(), 65300, slots, &cardOffset, &cardSize, &slot), 0u);
    EXPECT_EQ(slot, 3);
}

// --- the card under edit -----------------------------------------------------------------------------------

// Gives an open box a card under edit in memory.
void LoadImage(BoxRecord* record, u32 id, const Bytes& image)
{
    record->tmpCardWork = reinterpret_cast<u8**>(NewHeapHandle(static_cast<u32>(image.size())));
    record->tmpCardWorkSize = static_cast<u32>(image.size());
    std::memcpy(*record->tmpCardWork, image.data(), image.size());
    record->tmpCardId = id;
    record->tmpCardState = kTmpCardInRam;
}

// A box with system card 65300 and an image of card `editId` in memory.
class EditInMemory : public EditCardRead {
protected:
    void open(u32 editId)
    {
        builder_.card(1, builder_.row({{"I000", B("stored")}}));
        builder_.systemCard(1, 65300, builder_.row({{"I000", B("system")}}));
        put(builder_.build());
        box_ = std::make_unique<OpenBox>(kBox);
        LoadImage(box_->record(), editId,
                  EncodeCard(editId, builder_.row({{"I000", B("abcdef")}, {"I002", Bytes(300, 'm')}})));
    }
    void TearDown() override
    {
        box_->record()->tmpCardState = kTmpCardNone;
        box_.reset();
    }
    BoxHandle box() { return box_->handle(); }

    BoxBuilder builder_{NumberedItems(7)};
    std::unique_ptr<OpenBox> box_;
};

TEST_F(EditInMemory, IsReadFromThere)
{
    open(kEditId);
    EXPECT_EQ(Read(box(), kEditId, "I000", 32), Whole(B("abcdef")));
    EXPECT_EQ(Read(box(), kEditId, "I002", 500), Whole(Bytes(300, 'm')));
    EXPECT_EQ(Read(box(), kEditId, "I001", 32), Whole({}));
    EXPECT_EQ(Read(box(), kEditId, "ATTR", 32), Whole({0}));
}

TEST_F(EditInMemory, IsReadInPartsByTheSameRules)
{
    open(kEditId);
    EXPECT_EQ(Read(box(), kEditId, "I000", 0), (Got{68, 6, {}}));
    EXPECT_EQ(Read(box(), kEditId, "I000", 4), (Got{68, 6, B("abcd")}));
    EXPECT_EQ(ReadAt(box(), kEditId, "I000", 10, 4), Whole(B("ef")));
    EXPECT_EQ(ReadAt(box(), kEditId, "I000", 10, 6).status, 35u);
    EXPECT_EQ(ReadAt(box(), kEditId, "I001", 10, 0).status, 35u);
    EXPECT_EQ(Read(box(), kEditId, "XXXX", 4).status, 66u);
}

TEST_F(EditInMemory, DoesNotHideOtherCards)
{
    open(kEditId);
    EXPECT_EQ(Read(box(), 1, "I000", 32), Whole(B("stored")));
    EXPECT_EQ(Read(box(), 65300, "I000", 32), Whole(B("system")));
    EXPECT_EQ(Status(box(), 65301), 66u);
}

TEST_F(EditInMemory, UnderASystemIdHidesTheStoredOne)
{
    open(65300);
    EXPECT_EQ(Read(box(), 65300, "I000", 32), Whole(B("abcdef")));
    EXPECT_EQ(Status(box(), kEditId), 66u);
}

TEST_F(EditInMemory, WithoutAnImageFails)
{
    open(kEditId);
    u8** const kept = box_->record()->tmpCardWork;
    box_->record()->tmpCardWork = nullptr;
    EXPECT_EQ(Status(box(), kEditId), 71u);
    EXPECT_EQ(Status(box(), 65300), 0u);
    box_->record()->tmpCardWork = kept;
}

TEST_F(EditInMemory, IsPreferredToOneInTheFile)
{
    open(kEditId);
    builder_ = BoxBuilder(NumberedItems(7));
    const u32 pos = builder_.editCard(builder_.row({{"I000", B("in file")}}));
    put(builder_.build());
    box_->record()->tmpCardState = 3;
    box_->record()->tmpCardOffset = pos;
    EXPECT_EQ(Read(box(), kEditId, "I000", 32), Whole(B("abcdef")));
    EXPECT_EQ(Read(box(), 65300, "I000", 32), Whole(B("in file")));
}

// A box with a card under edit in the file.
class EditInFile : public EditCardRead {
protected:
    void SetUp() override
    {
        BoxBuilder builder(NumberedItems(6));
        builder.card(1, builder.row({{"I000", B("stored")}}));
        builder.systemCard(1, 65300, builder.row({{"I000", B("system")}}));
        pos_ = builder.editCard(builder.row({{"I000", B("edited")}}));
        put(builder.build());
        box_ = std::make_unique<OpenBox>(kBox);
        box_->record()->tmpCardState = kTmpCardInFile;
        box_->record()->tmpCardId = kEditId;
        box_->record()->tmpCardOffset = pos_;
    }
    void TearDown() override
    {
        box_->record()->tmpCardState = kTmpCardNone;
        box_.reset();
    }
    BoxHandle box() { return box_->handle(); }

    u32 pos_ = 0;
    std::unique_ptr<OpenBox> box_;
};

TEST_F(EditInFile, IsReadFromThere)
{
    EXPECT_EQ(Read(box(), kEditId, "I000", 32), Whole(B("edited")));
    EXPECT_EQ(Read(box(), kEditId, "ATTR", 1), Whole({0}));
    EXPECT_EQ(ReadAt(box(), kEditId, "I000", 3, 2), Whole(B("ite")));
}

TEST_F(EditInFile, AnswersForEverySystemId)
{
    EXPECT_EQ(Read(box(), 65300, "I000", 32), Whole(B("edited")));
    EXPECT_EQ(Read(box(), 65519, "I000", 32), Whole(B("edited")));
    EXPECT_EQ(Read(box(), 1, "I000", 32), Whole(B("stored")));
}

TEST_F(EditInFile, HasGoneAfterACollection)
{
    Bytes file = get();
    SetField(file, hd::garbageFlags, 0x81);
    put(file);
    EXPECT_EQ(ChkTmpSysCard(box_->record()), 255u);
    EXPECT_EQ(Status(box(), kEditId), 255u);
    EXPECT_EQ(Status(box(), 65300), 255u);
    EXPECT_EQ(Status(box(), 1), 0u);
}

TEST_F(EditInFile, MustBearItsId)
{
    EXPECT_EQ(ChkTmpSysCard(box_->record()), 0u);
    const u32 end = static_cast<u32>(get().size());
    for (u32 pos : {pos_ + 1, pos_ - 1, end, end - 1, end + 100, kNone, 0u}) {
        box_->record()->tmpCardOffset = pos;
        EXPECT_EQ(ChkTmpSysCard(box_->record()), 71u) << pos;
        EXPECT_EQ(Status(box(), kEditId), 71u) << pos;
    }
}

// --- places ------------------------------------------------------------------------------------------------

// A card with length fields of all three forms; its items begin within the first 256 bytes and end beyond.
class PlacesOfACard : public ItemPlaces {
protected:
    void SetUp() override
    {
        values_ = {{0x40}, {}, B("0123456789"), Pattern(200), Pattern(20000, 3), B("end"), {}};
        BoxBuilder builder(NumberedItems(7));
        pos_ = builder.card(1, values_);
        builder.card(2, builder.row());
        last_ = builder.card(3, builder.row({{"I000", B("xyz")}}));
        put(builder.build());
    }
    std::vector<Bytes> values_;
    u32 pos_ = 0;
    u32 last_ = 0;
};

TEST_F(PlacesOfACard, TellDataAndLengthField)
{
    Fid fid(kBox);
    const u32 sizes[7] = {1, 1, 1, 2, 4, 1, 1};
    u32 lengthOffset = pos_ + 10;
    u32 dataOffset = pos_ + 10 + 11;
    for (u8 n = 1; n <= 7; n++) {
        const size_t i = n - size_t{1};
        CardItemPlace place{};
        EXPECT_EQ(MoveXItemData(fid.id(), &place, n, pos_), dataOffset) << unsigned{n};
        EXPECT_EQ(place.dataOffset, dataOffset);
        EXPECT_EQ(place.dataLength, values_[i].size());
        EXPECT_EQ(place.lengthSize, sizes[i]);
        EXPECT_EQ(place.lengthOffset, lengthOffset);
        CardItemPlace same{};
        EXPECT_EQ(ReadItemData(fid.id(), &same, n, pos_, 0, nullptr), dataOffset);
        EXPECT_EQ(std::memcmp(&place, &same, sizeof place), 0);
        lengthOffset += sizes[i];
        dataOffset += static_cast<u32>(values_[i].size());
    }
}

TEST_F(PlacesOfACard, OfTheLastCardOfTheFile)
{
    Fid fid(kBox);
    CardItemPlace place{};
    EXPECT_EQ(MoveXItemData(fid.id(), &place, 5, last_), last_ + 10 + 7 + 1);
    EXPECT_EQ(place.dataLength, 3u);
    EXPECT_EQ(MoveXItemData(fid.id(), &place, 7, last_), last_ + 10 + 7 + 1 + 3);
    EXPECT_EQ(place.dataLength, 0u);
}

TEST_F(PlacesOfACard, OfNoItemOrNoCardFail)
{
    Fid fid(kBox);
    CardItemPlace place{};
    u8 buf[8];
    const u32 size = static_cast<u32>(get().size());
    EXPECT_EQ(MoveXItemData(fid.id(), &place, 0, pos_), 0u);
    EXPECT_EQ(ReadItemData(fid.id(), &place, 0, pos_, 8, buf), 0u);
    for (u32 pos : {size, size + 50, kNone, kNone - 7}) {
        EXPECT_EQ(MoveXItemData(fid.id(), &place, 1, pos), 0u) << pos;
        EXPECT_EQ(ReadItemData(fid.id(), &place, 1, pos, 8, buf), 0u) << pos;
    }
    EXPECT_EQ(MoveXItemData(77, &place, 1, pos_), 0u);
}

TEST_F(PlacesOfACard, ComeWithTheFirstBytesOfTheValue)
{
    Fid fid(kBox);
    for (u8 n = 1; n <= 7; n++) {
        const Bytes& value = values_[n - size_t{1}];
        for (u32 want : {1u, 3u, 10u, 64u, 199u, 200u, 201u, 260u, 30000u}) {
            const size_t given = std::min<size_t>(want, value.size());
            Bytes buf(given);  // not a byte more may be written
            CardItemPlace place{};
            ASSERT_NE(ReadItemData(fid.id(), &place, n, pos_, want, buf.data()), 0u);
            EXPECT_EQ(place.dataLength, value.size());
            EXPECT_TRUE(SameBytes(Slice(value, 0, want), buf)) << unsigned{n} << " " << want;
        }
    }
}

TEST_F(ItemPlaces, AroundTheEndOfTheFirstRead)
{
    // 256 bytes from byte 8 on: the second value ends before, at, and behind that.
    for (size_t before = 225; before <= 250; before++) {
        BoxBuilder builder(NumberedItems(6));
        const Bytes value = Pattern(16, static_cast<u32>(before));
        const u32 pos = builder.card(1, builder.row({{"I000", Bytes(before, 'b')}, {"I001", value}}));
        put(builder.build());
        Fid fid(kBox);
        Bytes buf(16);
        CardItemPlace place{};
        ASSERT_NE(ReadItemData(fid.id(), &place, 6, pos, 16, buf.data()), 0u) << before;
        EXPECT_TRUE(SameBytes(value, buf)) << before;
    }
}

TEST_F(ItemPlaces, OfALengthTableBeyondTheFirstRead)
{
    CardForm form;
    form.lengthForm = 4;
    BoxBuilder builder(NumberedItems(255));
    std::vector<Bytes> values(255);
    for (u32 n = 0; n < 255; n++) { values[n] = Pattern(n == 0 ? 1 : 3, n); }
    const u32 pos = builder.card(1, values, form);
    put(builder.build());
    Fid fid(kBox);
    for (u32 n : {1u, 60u, 62u, 63u, 64u, 65u, 66u, 127u, 128u, 192u, 254u, 255u}) {
        CardItemPlace place{};
        Bytes buf(values[n - 1].size());
        const u32 data = pos + 10 + 255 * 4 + 1 + (n - 2) * 3;
        EXPECT_EQ(ReadItemData(fid.id(), &place, static_cast<u8>(n), pos, 3, buf.data()),
                  n == 1 ? data + 2 : data)
            << n;
        EXPECT_EQ(place.lengthOffset, pos + 10 + (n - 1) * 4);
        EXPECT_EQ(place.lengthSize, 4u);
        EXPECT_EQ(buf, values[n - 1]) << n;
    }
}

TEST_F(ItemPlaces, NeverLeaveTheCard)
{
    BoxBuilder builder(NumberedItems(6));
    const u32 pos = builder.card(1, builder.row({{"I000", B("value")}}));
    builder.card(2, builder.row({{"I001", Bytes(1000, 'o')}}));
    const Bytes sound = builder.build();
    for (u8 lie : {u8{0x7F}, u8{0x81}, u8{0xBF}, u8{0xC0}, u8{0xFF}}) {
        Bytes file = sound;
        file[pos + 10 + 4] = lie;
        put(file);
        Fid fid(kBox);
        CardItemPlace place{};
        Bytes buf(2000);
        EXPECT_EQ(MoveXItemData(fid.id(), &place, 5, pos), 0u) << unsigned{lie};
        EXPECT_EQ(ReadItemData(fid.id(), &place, 6, pos, 2000, buf.data()), 0u) << unsigned{lie};
        EXPECT_NE(MoveXItemData(fid.id(), &place, 4, pos), 0u) << unsigned{lie};
    }
}

TEST_F(ImageItems, AreFoundByNumber)
{
    BoxBuilder builder(NumberedItems(7));
    put(builder.build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    const std::vector<Bytes> values{{0x40},   {}, B("0123456789"), Pattern(200), Pattern(20000, 3),
                                    B("end"), {}};
    Bytes image = EncodeCard(kEditId, values);
    u8* wantLength = image.data() + 10;
    u8* wantData = image.data() + 10 + 11;
    const u32 sizes[7] = {1, 1, 1, 2, 4, 1, 1};
    for (u16 n = 1; n <= 7; n++) {
        const size_t i = n - size_t{1};
        u8* data = nullptr;
        u8* length = nullptr;
        EXPECT_EQ(MoveXItemNumberRam(image.data(), n, box.record(), &data, &length), values[i].size());
        EXPECT_EQ(data, wantData) << n;
        EXPECT_EQ(length, wantLength) << n;
        wantLength += sizes[i];
        wantData += values[i].size();
    }
}

TEST_F(ImageItems, OfANumberThatTheBoxLacksAreNull)
{
    BoxBuilder builder(NumberedItems(5));
    put(builder.build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    Bytes image = EncodeCard(kEditId, builder.row());
    for (u16 n : {u16{0}, u16{6}, u16{255}, u16{256}, u16{257}, u16{0xFFFF}}) {
        u8* data = image.data();
        u8* length = image.data();
        EXPECT_EQ(MoveXItemNumberRam(image.data(), n, box.record(), &data, &length), 0u) << n;
        EXPECT_EQ(data, nullptr) << n;
    }
}

// --- slots -------------------------------------------------------------------------------------------------

TEST_F(SlotLookup, OfOneIdGivesTheCardsPlace)
{
    BoxBuilder builder = NumberedBox(800);
    builder.killSlot(7);
    builder.killSlot(700);
    const Bytes file = builder.build();
    put(file);
    const BoxView view(file);
    Fid fid(kBox);
    for (u32 id : {1u, 2u, 499u, 500u, 501u, 502u, 627u, 628u, 629u, 756u, 757u, 800u}) {
        u32 pos = 0;
        EXPECT_EQ(GetFilePtrWithoutOffsetTable(fid.id(), static_cast<u16>(id), &pos), 0u) << id;
        EXPECT_EQ(pos, view.find(id)) << id;
    }
    for (u32 id : {7u, 700u, 801u, 884u}) {  // killed, and never used within a table
        u32 pos = 99;
        EXPECT_EQ(GetFilePtrWithoutOffsetTable(fid.id(), static_cast<u16>(id), &pos), 0u) << id;
        EXPECT_EQ(pos, 0u) << id;
    }
    u32 pos = 0;
    EXPECT_EQ(GetFilePtrWithoutOffsetTable(fid.id(), 885, &pos), 71u);
    EXPECT_EQ(GetFilePtrWithoutOffsetTable(fid.id(), 65279, &pos), 71u);
    EXPECT_EQ(GetFilePtrWithoutOffsetTable(77, 1, &pos), 71u);
}

// The default table of a file as words.
std::vector<u32> DefaultTable(const Bytes& file)
{
    std::vector<u32> words(512);
    for (u32 n = 0; n < 512; n++) { words[n] = Get32(file, DefaultWordAt(n)); }
    return words;
}

TEST_F(SlotLookup, WithTheTableInHandReadsNoFileUpToFiveHundred)
{
    BoxBuilder builder = NumberedBox(3);
    const Bytes file = builder.build();
    std::vector<u32> table = DefaultTable(file);
    const std::vector<u32> before = table;
    const BoxView view(file);
    u32 pos = 99, tablePos = 98;
    EXPECT_EQ(GetFilePtr(77, 3, table.data(), &pos, &tablePos), 0u);  // no file has this id
    EXPECT_EQ(pos, view.find(3));
    EXPECT_EQ(GetFilePtr(77, 4, table.data(), &pos, &tablePos), 0u);
    EXPECT_EQ(pos, 0u);
    EXPECT_EQ(GetFilePtr(77, 500, table.data(), &pos, &tablePos), 0u);
    EXPECT_EQ(pos, 0u);
    EXPECT_EQ(table, before);
}

TEST_F(SlotLookup, WithTheTableInHandBringsTheAppendTable)
{
    BoxBuilder builder = NumberedBox(800);
    builder.killSlot(700);
    const Bytes file = builder.build();
    put(file);
    const BoxView view(file);
    Fid fid(kBox);
    for (u32 id : {501u, 628u, 629u, 700u, 757u, 801u}) {
        std::vector<u32> table = DefaultTable(file);
        const std::vector<u32> before = table;
        u32 pos = 99, tablePos = 0;
        EXPECT_EQ(GetFilePtr(fid.id(), static_cast<u16>(id), table.data(), &pos, &tablePos), 0u) << id;
        EXPECT_EQ(pos, view.find(id)) << id;
        const u32 owner = builder.appendTable(AppendGroupOf(id));
        EXPECT_EQ(tablePos, owner) << id;
        for (u32 n = 0; n < 129; n++) {
            ASSERT_EQ(table[n], Get32(file, owner + 6 + 4 * n)) << id << " " << n;
        }
        EXPECT_TRUE(std::equal(table.begin() + 129, table.end(), before.begin() + 129)) << id;
    }
}

TEST_F(SlotLookup, WithTheTableInHandNeedsAnAppendTable)
{
    BoxBuilder builder = NumberedBox(629);
    const Bytes file = builder.build();
    put(file);
    Fid fid(kBox);
    u32 pos = 0, tablePos = 0;
    for (u32 word : {0u, kNone}) {
        std::vector<u32> table = DefaultTable(file);
        table[511] = word;
        EXPECT_EQ(GetFilePtr(fid.id(), 501, table.data(), &pos, &tablePos), 71u);
        EXPECT_EQ(GetFilePtr(fid.id(), 629, table.data(), &pos, &tablePos), 0u);  // by the offset card
    }
    std::vector<u32> table = DefaultTable(file);
    EXPECT_EQ(GetFilePtr(fid.id(), 757, table.data(), &pos, &tablePos), 71u);
    table = DefaultTable(file);
    EXPECT_EQ(GetFilePtr(fid.id(), 65279, table.data(), &pos, &tablePos), 71u);
    table = DefaultTable(file);
    table[511] = static_cast<u32>(file.size()) + 7;
    EXPECT_EQ(GetFilePtr(fid.id(), 501, table.data(), &pos, &tablePos), 71u);
}

CardSlotCursor NewCursor()
{
    CardSlotCursor cursor;
    std::memset(&cursor, 0x5A, sizeof cursor);
    cursor.valid = kCursorNew;
    return cursor;
}

TEST_F(SlotCursor, FindsEveryCard)
{
    BoxBuilder builder = NumberedBox(800);
    const Bytes file = builder.build();
    put(file);
    const BoxView view(file);
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    for (u32 id = 1; id <= 800; id++) {
        ASSERT_EQ(BoxSearchCheck(fid.id(), id, &cursor), 0u) << id;
        ASSERT_EQ(cursor.cardPos, view.find(id)) << id;
        ASSERT_EQ(cursor.slotPos, builder.slotAt(id)) << id;
    }
    for (u32 id : {800u, 1u, 629u, 628u, 757u, 2u, 501u}) {  // to and fro
        ASSERT_EQ(BoxSearchCheck(fid.id(), id, &cursor), 0u) << id;
        ASSERT_EQ(cursor.cardPos, view.find(id)) << id;
    }
}

TEST_F(SlotCursor, KeepsWhatItHasRead)
{
    BoxBuilder builder = NumberedBox(800);
    const Bytes file = builder.build();
    put(file);
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    ASSERT_EQ(BoxSearchCheck(fid.id(), 3, &cursor), 0u);
    EXPECT_EQ(cursor.valid, kCursorInUse);
    EXPECT_EQ(cursor.offsetTable, 72u);
    EXPECT_EQ(cursor.offsetCard, 0u);
    EXPECT_EQ(cursor.group, kNoGroup);
    ASSERT_EQ(BoxSearchCheck(fid.id(), 700, &cursor), 0u);
    EXPECT_EQ(cursor.group, 1);
    EXPECT_EQ(cursor.appendTable, builder.appendTable(1));
    EXPECT_EQ(cursor.offsetCard, GetField(file, hd::offsetCard));
    EXPECT_EQ(cursor.offsetCardSize, GetField(file, hd::offsetCardSize));
}

TEST_F(SlotCursor, DoesNotReadTheTablesOfTablesAgain)
{
    BoxBuilder builder = NumberedBox(800);
    const Bytes file = builder.build();
    put(file);
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    ASSERT_EQ(BoxSearchCheck(fid.id(), 1, &cursor), 0u);
    ASSERT_EQ(BoxSearchCheck(fid.id(), 650, &cursor), 0u);
    Bytes damaged = file;
    for (const Field& f : {hd::offsetTable, hd::offsetCard, hd::offsetCardSize}) {
        SetField(damaged, f, kNone);
    }
    Put32(damaged, GetField(file, hd::offsetCard) + 6 + 4, kNone);  // the word of group 1
    put(damaged);
    EXPECT_EQ(BoxSearchCheck(fid.id(), 2, &cursor), 0u);
    EXPECT_EQ(BoxSearchCheck(fid.id(), 700, &cursor), 0u);
    EXPECT_EQ(BoxSearchCheck(fid.id(), 800, &cursor), 0u);   // group 2, its word is read now
    EXPECT_EQ(BoxSearchCheck(fid.id(), 700, &cursor), 71u);  // and group 1 again
}

TEST_F(SlotCursor, TellsFreeKilledAndWrongSlotsApart)
{
    BoxBuilder builder = NumberedBox(3);
    builder.killSlot(4);
    builder.card(501);
    builder.killSlot(502);
    builder.setSlot(6, builder.slotAt(1));                          // in the header's tables, not a card
    builder.setSlot(7, Get32(builder.build(), builder.slotAt(1)));  // another card
    builder.setSlot(8, 1u << 30);
    builder.setSlot(9, static_cast<u32>(builder.build().size()) - 1);
    put(builder.build());
    Fid fid(kBox);
    for (const auto& [id, status] : {std::pair<u32, u32>{3, 0},
                                     {4, 71},
                                     {5, 66},
                                     {6, 71},
                                     {7, 71},
                                     {8, 71},
                                     {9, 71},
                                     {501, 0},
                                     {502, 71},
                                     {503, 66}}) {
        CardSlotCursor cursor = NewCursor();
        EXPECT_EQ(BoxSearchCheck(fid.id(), id, &cursor), status) << id;
    }
}

TEST_F(SlotCursor, AboveFiveHundredNeedsTheOffsetCardsWord)
{
    BoxBuilder builder = NumberedBox(629);
    const Bytes sound = builder.build();
    const u32 words = GetField(sound, hd::offsetCard) + 6;
    std::vector<Bytes> damaged(6, sound);
    SetField(damaged[0], hd::offsetCard, 0);
    SetField(damaged[1], hd::offsetCard, kNone);
    SetField(damaged[2], hd::offsetCardSize, 13);
    Put32(damaged[3], words + 4, 0);
    Put32(damaged[4], words + 4, kNone);
    SetField(damaged[5], hd::offsetCard, static_cast<u32>(sound.size()));
    for (const Bytes& file : damaged) {
        put(file);
        Fid fid(kBox);
        CardSlotCursor cursor = NewCursor();
        EXPECT_EQ(BoxSearchCheck(fid.id(), 629, &cursor), 71u);
        EXPECT_EQ(BoxSearchCheck(fid.id(), 5, &cursor), 0u);
    }
    put(sound);
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    for (u32 id : {757u, 500u + 64 * 128, 501u + 64 * 128, 65279u}) {
        EXPECT_EQ(BoxSearchCheck(fid.id(), id, &cursor), 71u) << id;
    }
    EXPECT_EQ(BoxSearchCheck(fid.id(), 629, &cursor), 0u);
}

TEST_F(SlotCursor, OfABoxWithoutCardsFindsNothing)
{
    put(BoxBuilder(NumberedItems(6)).build());
    Fid fid(kBox);
    for (u16 id : {u16{1}, u16{501}, u16{60000}}) {
        CardSlotCursor cursor = NewCursor();
        EXPECT_EQ(BoxSearchCheckInit(fid.id(), id, &cursor), 66u) << id;
    }
    put(NumberedBox(1).build());
    CardSlotCursor cursor = NewCursor();
    EXPECT_EQ(BoxSearchCheckInit(fid.id(), 1, &cursor), 0u);
    EXPECT_EQ(cursor.cardPos, BoxView(get()).find(1));
    EXPECT_EQ(BoxSearchCheckInit(fid.id(), 2, &cursor), 66u);
    EXPECT_EQ(BoxSearchCheckInit(77, 1, &cursor), 71u);
}

TEST_F(SlotCursor, ReadsACardBehindItsSlot)
{
    BoxBuilder builder = NumberedBox(3);
    builder.killSlot(4);
    put(builder.build());
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    cursor.slotPos = builder.slotAt(2);
    EXPECT_EQ(read_card_ptr(fid.id(), 2, &cursor), 0u);
    EXPECT_EQ(cursor.cardPos, BoxView(get()).find(2));
    EXPECT_EQ(read_card_ptr(fid.id(), 3, &cursor), 71u);
    cursor.slotPos = builder.slotAt(4);
    EXPECT_EQ(read_card_ptr(fid.id(), 4, &cursor), 71u);
    cursor.slotPos = builder.slotAt(5);
    EXPECT_EQ(read_card_ptr(fid.id(), 5, &cursor), 66u);
}

TEST_F(SlotCursor, AKilledSlotIsNotFollowedIntoTheHeader)
{
    BoxBuilder builder = NumberedBox(1);
    builder.killSlot(255);
    Bytes file = builder.build();
    put(file);  // its first two bytes are 0xFF 0x00: id 255
    Fid fid(kBox);
    CardSlotCursor cursor = NewCursor();
    EXPECT_EQ(BoxSearchCheck(fid.id(), 255, &cursor), 71u);
}

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
