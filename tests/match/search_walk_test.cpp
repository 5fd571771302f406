// SPDX-License-Identifier: MIT
// Steps along compiled conditions, along item tables, and the compare of two places of a file.
#include "match/bxd_srch_walk.h"
#include "tests/match/search_value_case.h"

namespace {

using namespace searchtest;

TEST(SearchWalk, AValueIsAsLongAsItsTypeSays)
{
    for (u32 type = 0; type < 256; ++type) {
        const u8 value[] = {static_cast<u8>(type), 0x34, 0x12};
        u32 want = 0;
        switch (type) {
        case 1:
        case 16:
        case 17: want = 2 + 0x1234; break;
        case 4:
        case 5: want = 5; break;
        case 6:
        case 8: want = 2; break;
        case 7: want = 3; break;
        case 11:
        case 12: want = 1; break;
        case 18: want = 4; break;
        default: break;
        }
        EXPECT_EQ(PointCondEnd(value + 1), want) << type;
    }
}

// Where NextItemCond comes to from the `at`-th byte.
size_t From(const Bytes& bytes, size_t at)
{
    Bytes block = bytes;
    block.shrink_to_fit();
    return static_cast<size_t>(NextItemCond(block.data() + at) - block.data());
}

TEST(SearchWalk, ARunOfTestsIsSteppedOver)
{
    SearchCondition cond;
    cond.clause(1, 5).text(kEquals, 1, B("a"));
    const size_t first = cond.bytes().size();
    cond.testOr().text(kContains, 17, B("love")).testAnd().text(kEquals, 16, B("x"), kBinary);
    cond.testOr().value(kEquals, 4, Bytes(5, 0x84)).testOr().value(kEquals, 6, {0x85, 0x85});
    cond.testAnd().bare(kNeighbour).testOr().value(kEquals, 18, Bytes(4, 0x85));
    const size_t end = cond.bytes().size();
    const Bytes bytes = cond.clauseAnd().clause(1, 6).text(kEquals, 1, B("b")).build();
    EXPECT_EQ(From(bytes, first), end);
    EXPECT_EQ(From(bytes, end), end);
    EXPECT_EQ(From(Bytes{0}, 0), 0u);
    EXPECT_EQ(From(Bytes{0x87}, 0), 0u);
}

TEST(SearchWalk, ABlankTestInARunTakesTheByteBehindItForAType)
{
    for (u8 op : {kFilled, kBlank}) {
        // A connector is no type with a value: the walk ends behind it, inside what follows.
        const Bytes more = Bytes{0x84, 0x15, op, 0x85, 0x15, 0x94, 0};
        EXPECT_EQ(From(more, 0), 4u);
        const Bytes clause = Bytes{0x84, 0x15, op, 0x86, 0x01, 0x05, 0x15, 0x94, 0};
        EXPECT_EQ(From(clause, 0), 4u);
        // The end of the condition is not passed.
        EXPECT_EQ(From(Bytes{0x84, 0x15, op, 0}, 0), 3u);
    }
}

TEST(SearchWalk, AnEntryOfAnItemTableGivesItsTypeAndHiddenItemsRead2)
{
    std::vector<boxtest::Item> items = boxtest::DefaultItems();
    items.push_back({17, 3, "MEAN", "meaning"});
    items.push_back({17, 3, "aaaa", ""});
    items.push_back({12, 3, "`aaa", "a long name to step over"});
    items.push_back({255, 3, "Zaaa", "x"});
    const Bytes table = boxtest::EncodeItemTable(items);
    Bytes block = table;
    block.shrink_to_fit();
    const u8* cursor = block.data() + 1;
    for (u32 want : {6u, 2u, 2u, 2u, 17u, 2u, 12u, 255u}) { EXPECT_EQ(NextDataID(&cursor), want); }
    EXPECT_EQ(cursor, block.data() + block.size());
}

TEST(SearchWalk, AnEntryWithoutATagIsHidden)
{
    for (u8 length : {u8{0}, u8{1}, u8{5}}) {
        Bytes block = Bytes{length, 0} + Bytes(length, 1);
        block.shrink_to_fit();
        const u8* cursor = block.data();
        EXPECT_EQ(NextDataID(&cursor), 2u);
        EXPECT_EQ(cursor, block.data() + block.size());
    }
}

// A block of its very size: what is looked at behind it shows.
bool IsSound(Bytes bytes)
{
    bytes.shrink_to_fit();
    return bxd::IsSearchCondition(bytes.data(), static_cast<u32>(bytes.size()));
}

TEST(SearchWalk, ASoundConditionIsOneWhoseValuesAndEndLieInIt)
{
    SearchCondition cond;
    cond.clause(1, 5).text(kEquals, 1, B("ab")).testOr().text(kContains, 17, B("c"), kBinary);
    cond.clauseAnd().allItems().bare(kFilled).testAnd().bare(kBlank).clauseOr().clause(4, 2);
    cond.value(kAtLeast, 4, Bytes(5, 1)).testAnd().bare(kNeighbour);
    const Bytes whole = cond.bytes() + Bytes{0};
    EXPECT_TRUE(IsSound(whole));
    EXPECT_TRUE(IsSound(Bytes{0}));
    for (size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(IsSound(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))))
            << size;
    }
}

TEST(SearchWalk, ATextWithoutItsEndIsNotSound)
{
    const auto of = [](u8 kind, const Bytes& data) {
        return IsSound(Bytes{1, 5} + TextTest(kind, kEquals, 1, data) + Bytes(4, 0));
    };
    EXPECT_TRUE(of(kLanguage, {0, 0}));
    EXPECT_TRUE(of(kLanguage, {0x41, 0x42, 0, 0}));
    EXPECT_FALSE(of(kLanguage, {}));
    EXPECT_FALSE(of(kLanguage, {0}));
    EXPECT_FALSE(of(kLanguage, {0x41, 0x42}));
    EXPECT_FALSE(of(kLanguage, {0x41, 0, 0}));
    EXPECT_TRUE(of(kBinary, {0}));
    EXPECT_TRUE(of(kBinary, {0x41, 0x42, 0}));
    EXPECT_FALSE(of(kBinary, {}));
    EXPECT_FALSE(of(kBinary, {0x41}));
}

TEST(SearchWalk, WhatStandsBehindNoConnectorDoesNotMatter)
{
    SearchCondition cond;
    cond.clause(1, 5).text(kEquals, 1, B("a"));
    EXPECT_TRUE(IsSound(cond.bytes() + Bytes{1, 6, 0x15}));
    EXPECT_FALSE(IsSound(cond.bytes()));
    EXPECT_FALSE(IsSound(cond.bytes() + Bytes{0x86, 1, 6, 0x15}));
}

class SearchPlaces : public SearchValueCase {
protected:
    u32 compare(u32 a, u32 b, u16 len) { return CompCardData(fid(), kAt + a, kAt + b, len); }
};

TEST_F(SearchPlaces, TwoPlacesAreEqualToTheLastByte)
{
    const Bytes half = boxtest::Pattern(600);
    store(half + half);
    for (u16 len : {u16{0}, u16{1}, u16{255}, u16{256}, u16{257}, u16{512}, u16{600}}) {
        EXPECT_EQ(compare(0, 600, len), 1u) << len;
    }
    for (u32 at : {0u, 1u, 255u, 256u, 511u, 512u, 599u}) {
        Bytes other = half;
        other[at] ^= 0x01;
        store(half + other);
        EXPECT_EQ(compare(0, 600, 600), 0u) << at;
        EXPECT_EQ(compare(0, 600, static_cast<u16>(at)), 1u) << at;
        EXPECT_EQ(compare(0, 600, static_cast<u16>(at + 1)), 0u) << at;
    }
}

TEST_F(SearchPlaces, WhatCannotBeReadIsNotEqual)
{
    store(Bytes(400, 'a'));
    EXPECT_EQ(compare(0, 100, 300), 1u);
    EXPECT_EQ(compare(0, 101, 300), 0u);
    EXPECT_EQ(compare(101, 0, 300), 0u);
    EXPECT_EQ(compare(0, 500, 1), 0u);
}

}  // namespace
