// SPDX-License-Identifier: MIT
// The first items of a box, the rules for tags, and the reading of an item's record.
#include "box/bxd_box_items.h"

#include "tests/support/box_case.h"

using namespace boxtest;

namespace {

class FirstItems : public BoxCase {};
class ItemRead : public BoxCase {};

ItemRecord Record(u8 type, u8 subType, const char* tag, const std::string& name)
{
    ItemRecord record{};
    record.itemType = type;
    record.itemSubType = subType;
    std::memcpy(record.itemNameId, tag, 4);
    std::memcpy(record.name, name.data(), std::min<size_t>(name.size(), sizeof record.name));
    return record;
}

const std::vector<Item> kOwn{{1, 2, "NAME", "Name"}, {12, 0, "CTGR", "Category"}};

std::vector<ItemRecord> Records(const std::vector<Item>& items)
{
    std::vector<ItemRecord> out;
    for (const Item& item : items) {
        out.push_back(Record(item.type, item.subType, item.tag.c_str(), item.name));
    }
    return out;
}

u32 Append(const std::vector<ItemRecord>& records, u32* rewritten = nullptr)
{
    u32 unused = 0;
    return _BoxItemAppend(kBox, records.data(), static_cast<u16>(records.size()),
                          rewritten != nullptr ? rewritten : &unused);
}

// A box of these items, made with the calls of an application.
void MakeBox(const std::vector<Item>& own)
{
    ASSERT_EQ(_BoxCreate(kBox, 0x54534554), 0u);  // "TEST"
    ASSERT_EQ(Append(Records(own)), 0u);
}

// --- the record --------------------------------------------------------------------------------------------

TEST(ItemRecordLayout, HasAStrideOfFortyFour)
{
    EXPECT_EQ(sizeof(ItemRecord), 44u);
    EXPECT_EQ(offsetof(ItemRecord, itemSubType), 1u);
    EXPECT_EQ(offsetof(ItemRecord, itemNameId), 2u);
    EXPECT_EQ(offsetof(ItemRecord, name), 6u);
}

// --- the first items ---------------------------------------------------------------------------------------

TEST_F(FirstItems, AreWrittenBehindTheOffsetTable)
{
    ASSERT_EQ(_BoxCreate(kBox, 0x54534554), 0u);
    u32 rewritten = 77;
    EXPECT_EQ(Append(Records(kOwn), &rewritten), 0u);
    EXPECT_EQ(rewritten, 1u);
    EXPECT_TRUE(SameBytes(BoxWithItems("TEST", DefaultItems() + kOwn), get()));
    EXPECT_TRUE(IsSound(get()));
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(FirstItems, MakeTheBoxOpenable)
{
    MakeBox(kOwn);
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(_GetItemNum(box.handle()), 6u);
}

TEST_F(FirstItems, WithoutItemsOfTheCallerAreTheFour)
{
    MakeBox({});
    EXPECT_TRUE(SameBytes(BoxWithItems("TEST", DefaultItems()), get()));
    EXPECT_EQ(_GetItemNum(OpenBox(kBox).handle()), 4u);
}

TEST_F(FirstItems, OfTheDefaultTagsAreDroppedInEitherCaseOfTheFirstLetter)
{
    std::vector<Item> given;
    for (const char* tag : {"ATTR", "aTTR", "cTTM", "CTTM", "mDTM", "MDTM", "sYID", "SYID"}) {
        given.push_back({1, 1, tag, "dropped"});
    }
    given.push_back(kOwn[0]);
    ASSERT_EQ(_BoxCreate(kBox, 0x54534554), 0u);
    u32 rewritten = 0;
    EXPECT_EQ(Append(Records(given), &rewritten), 0u);
    EXPECT_EQ(rewritten, 1u);
    EXPECT_TRUE(SameBytes(BoxWithItems("TEST", DefaultItems() + std::vector<Item>{kOwn[0]}), get()));
}

TEST_F(FirstItems, ThatDifferFromADefaultTagInALaterLetterStay)
{
    const std::vector<Item> own{{1, 1, "ATTr", "x"}, {1, 1, "cTtM", "y"}};
    MakeBox(own);
    EXPECT_TRUE(SameBytes(BoxWithItems("TEST", DefaultItems() + own), get()));
}

TEST_F(FirstItems, WithABadTagAreDroppedAndTheOthersStay)
{
    std::vector<Item> given;
    for (const char* tag : {"AB-D", "-BCD", "ABC ", "A_CD", "ABC@", "ABC[", "AB`D", "AB{D", "A/CD", "A:CD",
                            "AB\x80"
                            "D"}) {
        given.push_back({1, 1, tag, "dropped"});
    }
    given.insert(given.begin() + 3, {1, 2, "az09", "kept"});
    given.push_back(kOwn[0]);
    MakeBox(given);
    EXPECT_TRUE(SameBytes(
        BoxWithItems("TEST", DefaultItems() + std::vector<Item>{{1, 2, "az09", "kept"}, kOwn[0]}), get()));
}

TEST_F(FirstItems, HaveNamesOfThirtyEightBytesAtMost)
{
    ASSERT_EQ(_BoxCreate(kBox, 0x54534554), 0u);
    const std::string full(38, 'n');
    std::vector<ItemRecord> records{Record(1, 0, "AAAA", full + "cut"), Record(1, 0, "BBBB", full.substr(1)),
                                    Record(1, 0, "CCCC", ""), Record(1, 0, "DDDD", full)};
    EXPECT_EQ(Append(records), 0u);
    const std::vector<Item> want{
        {1, 0, "AAAA", full}, {1, 0, "BBBB", full.substr(1)}, {1, 0, "CCCC", ""}, {1, 0, "DDDD", full}};
    EXPECT_TRUE(SameBytes(BoxWithItems("TEST", DefaultItems() + want), get()));
}

TEST_F(FirstItems, EndTheirNamesAtTheTerminator)
{
    ASSERT_EQ(_BoxCreate(kBox, 0x54534554), 0u);
    ItemRecord record = Record(1, 0, "AAAA", "before");
    record.name[7] = 'X';  // behind the terminator
    EXPECT_EQ(Append({record}), 0u);
    EXPECT_TRUE(
        SameBytes(BoxWithItems("TEST", DefaultItems() + std::vector<Item>{{1, 0, "AAAA", "before"}}), get()));
}

TEST_F(FirstItems, KeepTheOrderAndTheDoublesOfTheCaller)
{
    const std::vector<Item> own{{5, 6, "ZZZZ", "z"}, {3, 4, "AAAA", "a"}, {1, 2, "ZZZZ", "z again"}};
    MakeBox(own);
    EXPECT_TRUE(SameBytes(BoxWithItems("TEST", DefaultItems() + own), get()));
}

TEST_F(FirstItems, AreAtMostTwoHundredAndFiftyFive)
{
    const std::vector<Item> all = NumberedItems(255);
    const std::vector<Item> own(all.begin() + 4, all.end());
    ASSERT_EQ(own.size(), 251u);
    MakeBox(own);
    EXPECT_TRUE(SameBytes(BoxWithItems("TEST", all), get()));
    EXPECT_EQ(_GetItemNum(OpenBox(kBox).handle()), 255u);

    ASSERT_EQ(unlink(path(kBox).c_str()), 0);
    std::vector<Item> more = NumberedItems(504);
    more.erase(more.begin(), more.begin() + 4);
    MakeBox(more);
    EXPECT_TRUE(SameBytes(BoxWithItems("TEST", all), get()));
}

TEST_F(FirstItems, ChangeNothingElseOfTheHeader)
{
    Bytes file = Slice(NewBoxImage("TEST"), 0, 2120);
    for (const Field& f : {hd::systemCardSize, hd::fileInfo, hd::syncId}) { SetField(file, f, 0x42); }
    put(file);
    EXPECT_EQ(Append(Records(kOwn)), 0u);
    const Bytes table = EncodeItemTable(DefaultItems() + kOwn);
    SetField(file, hd::itemOffset, 2120);
    SetField(file, hd::itemSize, static_cast<u32>(table.size()));
    EXPECT_TRUE(SameBytes(file + table, get()));
}

TEST_F(FirstItems, AreRefusedForWhatIsNoBox)
{
    EXPECT_EQ(Append(Records(kOwn)), 64u);
    EXPECT_FALSE(exists());
    Bytes other = NewBoxImage("TEST");
    SetField(other, hd::fileId, 27);
    put(other);
    EXPECT_EQ(Append(Records(kOwn)), 64u);
    EXPECT_TRUE(SameBytes(other, get()));
    put(Slice(NewBoxImage("TEST"), 0, 71));
    EXPECT_EQ(Append(Records(kOwn)), 66u);
    EXPECT_EQ(get().size(), 71u);
}

TEST_F(FirstItems, AreNotWrittenOverATableThatCannotBeRead)
{
    Bytes file = BoxBuilder(DefaultItems() + kOwn).build();
    SetField(file, hd::itemOffset, 1u << 24);
    put(file);
    EXPECT_EQ(Append(Records(kOwn)), 71u);
    EXPECT_TRUE(SameBytes(file, get()));
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(FirstItems, CloseTheFileTheyWereGiven)
{
    ASSERT_EQ(_BoxCreate(kBox, 0x54534554), 0u);
    Bytes header(72);
    u8 fid = 0;
    ASSERT_EQ(CheckFileBoxEx(kBox, &fid, header.data()), 0u);
    u32 rewritten = 0;
    const std::vector<ItemRecord> records = Records(kOwn);
    EXPECT_EQ(BoxItemAppendNoItem(fid, records.data(), 2, &rewritten), 0u);
    EXPECT_EQ(rewritten, 1u);
    EXPECT_EQ(gBxdFINFOTable[fid], nullptr);
    EXPECT_TRUE(SameBytes(BoxWithItems("TEST", DefaultItems() + kOwn), get()));
}

// --- tags --------------------------------------------------------------------------------------------------

TEST(ItemTag, CharactersAreDigitsAndLettersInCapitals)
{
    for (u32 c = 0; c < 256; c++) {
        const bool digit = c >= '0' && c <= '9';
        const bool capital = c >= 'A' && c <= 'Z';
        const bool small = c >= 'a' && c <= 'z';
        const u32 want = digit || capital ? c : small ? c - 32 : 0;
        EXPECT_EQ(CheckItemChar(static_cast<u8>(c)), want) << c;
    }
}

TEST(ItemTag, IsGoodWhenAllFourCharactersAre)
{
    for (const char* tag : {"ATTR", "az09", "0000", "zZ9A"}) {
        EXPECT_EQ(CheckItemName(Tag(tag)), 0u) << tag;
    }
    for (const char* tag : {"-TTR", "A TR", "AT\0R", "ATT_", "\xC1TTR"}) {
        EXPECT_EQ(CheckItemName(Tag(tag)), 73u);
    }
}

TEST(ItemTag, OfADefaultItemIsKnownInEitherCaseOfItsFirstLetter)
{
    for (const char* tag : {"ATTR", "aTTR", "cTTM", "CTTM", "mDTM", "MDTM", "sYID", "SYID"}) {
        EXPECT_TRUE(CheckDefaultItem(Tag(tag))) << tag;
    }
    for (const char* tag : {"ATTr", "AtTR", "cttm", "mDTm", "sYId", "CTGR", "NAME"}) {
        EXPECT_FALSE(CheckDefaultItem(Tag(tag))) << tag;
    }
}

// --- reading -----------------------------------------------------------------------------------------------

// The two ways to an item's record.
u32 ReadByName(BoxHandle, const char* tag, void* out, u16* len)
{
    return _BoxItemRead(kBox, Tag(tag), static_cast<ItemRecord*>(out), len);
}
u32 ReadFromHandle(BoxHandle box, const char* tag, void* out, u16* len)
{
    return _BoxItemReadHeap(box, Tag(tag), out, len);
}

struct Way {
    const char* name;
    u32 (*read)(BoxHandle, const char*, void*, u16*);
};

void PrintTo(const Way& way, std::ostream* os) { *os << way.name; }

class ItemReadEitherWay : public BoxCase, public ::testing::WithParamInterface<Way> {
protected:
    u32 read(const OpenBox& box, const char* tag, void* out, u16* len)
    {
        return GetParam().read(box.handle(), tag, out, len);
    }
    void SetUp() override
    {
        put(BoxBuilder(DefaultItems() + kOwn +
                       std::vector<Item>{{7, 8, "LONG", std::string(38, 'l')}, {1, 1, "NONE", ""}})
                .build());
    }
};

INSTANTIATE_TEST_SUITE_P(Ways, ItemReadEitherWay,
                         ::testing::Values(Way{"ByName", ReadByName}, Way{"FromHandle", ReadFromHandle}),
                         [](const auto& way) { return way.param.name; });

TEST_P(ItemReadEitherWay, GivesTheRecordWithATerminator)
{
    OpenBox box(kBox);
    for (const auto& [tag, want] : {std::pair<const char*, std::string>{"ATTR", "\x06\x0A"
                                                                                "ATTR"
                                                                                "attribute"},
                                    {"NAME", "\x01\x02NAMEName"},
                                    {"LONG", "\x07\x08LONG" + std::string(38, 'l')},
                                    {"NONE", "\x01\x01NONE"}}) {
        Bytes out(60, 0x55);
        u16 len = 60;
        EXPECT_EQ(read(box, tag, out.data(), &len), 0u);
        EXPECT_EQ(len, want.size() + 1) << tag;
        EXPECT_TRUE(SameBytes(B(want) + Bytes{0, 0x55}, Slice(out, 0, want.size() + 2))) << tag;
    }
}

TEST_P(ItemReadEitherWay, AsksForTheLengthWithNoRoom)
{
    OpenBox box(kBox);
    u16 len = 0;
    u8 untouched = 0x55;
    EXPECT_EQ(read(box, "NAME", &untouched, &len), 68u);
    EXPECT_EQ(len, 11);
    EXPECT_EQ(untouched, 0x55);
    len = 0;
    EXPECT_EQ(read(box, "LONG", nullptr, &len), 68u);
    EXPECT_EQ(len, 45);
}

TEST_P(ItemReadEitherWay, GivesWhatFitsAndATerminator)
{
    OpenBox box(kBox);
    const Bytes want = B("\x01\x02NAMEName");
    for (u16 room = 1; room <= want.size(); room++) {
        Bytes out(20, 0x55);
        u16 len = room;
        EXPECT_EQ(read(box, "NAME", out.data(), &len), 68u) << room;
        EXPECT_EQ(len, 11);
        EXPECT_TRUE(
            SameBytes(Slice(want, 0, room - size_t{1}) + Bytes{0, 0x55}, Slice(out, 0, room + size_t{1})))
            << room;
    }
    Bytes out(11);
    u16 len = 11;
    EXPECT_EQ(read(box, "NAME", out.data(), &len), 0u);
    EXPECT_TRUE(SameBytes(want + Bytes{0}, out));
}

TEST_P(ItemReadEitherWay, IgnoresTheCaseOfTheFirstLetterOnly)
{
    OpenBox box(kBox);
    u16 len = 0;
    EXPECT_EQ(read(box, "nAME", nullptr, &len), 68u);
    EXPECT_EQ(len, 11);
    EXPECT_EQ(read(box, "Name", nullptr, &len), 66u);
}

TEST_P(ItemReadEitherWay, OfAnUnknownTagFindsNothing)
{
    OpenBox box(kBox);
    Bytes out(60, 0x55);
    u16 len = 60;
    EXPECT_EQ(read(box, "XXXX", out.data(), &len), 66u);
    EXPECT_TRUE(SameBytes(Bytes(60, 0x55), out));
}

TEST_F(ItemRead, ByNameTellsABadFile)
{
    u16 len = 0;
    EXPECT_EQ(_BoxItemRead(kBox, Tag("ATTR"), nullptr, &len), 64u);
    put(NewBoxImage("TEST"));
    EXPECT_EQ(_BoxItemRead(kBox, Tag("ATTR"), nullptr, &len), 66u);
    put(Slice(NewBoxImage("TEST"), 0, 20));
    EXPECT_EQ(_BoxItemRead(kBox, Tag("ATTR"), nullptr, &len), 66u);
    Bytes damaged = BoxBuilder().build();
    SetField(damaged, hd::itemSize, 100000);
    put(damaged);
    EXPECT_EQ(_BoxItemRead(kBox, Tag("ATTR"), nullptr, &len), 71u);
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(ItemRead, FromAHandleNeedsAGoodOneAndNoFile)
{
    put(BoxBuilder().build());
    u16 len = 0;
    EXPECT_EQ(_BoxItemReadHeap(nullptr, Tag("ATTR"), nullptr, &len), 71u);
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    put({});
    EXPECT_EQ(_BoxItemReadHeap(box.handle(), Tag("ATTR"), nullptr, &len), 68u);
    EXPECT_EQ(len, 16);
}

}  // namespace
