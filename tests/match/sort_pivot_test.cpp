// SPDX-License-Identifier: MIT
// The pivot: what of a card's values a key holds.
#include "tests/match/packed_time.h"
#include "tests/match/sort_case.h"

namespace {

using namespace sorttest;

Bytes Head(const SortKey& key) { return Bytes(key.head, key.head + kSortHeadSize); }
Bytes First(const SortKey& key) { return Bytes(key.first, key.first + kSortFirstSize); }
Bytes Padded(Bytes value, size_t size)
{
    value.resize(size, 0);
    return value;
}

class SortPivot : public SortCase {
protected:
    struct FirstCase {
        Bytes text;
        u32 first;
    };

    // What the two items of Shift-JIS text hold as their first character under these codes.
    void expectFirstOfSjis(const std::vector<u8>& codes, const std::vector<FirstCase>& cases)
    {
        for (u32 type : {1u, 16u}) {
            for (u8 code : codes) {
                for (const auto& [text, first] : cases) {
                    storeValues(type, {text});
                    Pivot pivot(type, code);
                    ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
                    EXPECT_EQ(GET_2BYTES(pivot->first), first);
                }
            }
        }
    }
};

TEST_F(SortPivot, HoldsPlaceLengthAndHeadOfEveryItem)
{
    for (u32 type = 1; type <= 20; ++type) {
        const Bytes value = B("abcdefg");
        storeValues(type, {value});
        Pivot pivot(type, 0x80);
        const u32 address = MakeSortCondition(fid(), at(0), pivot.keys());
        // Behind the card's head, its length table of a byte an item, and the attribute.
        EXPECT_EQ(address, static_cast<u32>(at(0)) + 10 + 25 + 1) << type;
        EXPECT_EQ(pivot->addr, address);
        EXPECT_EQ(pivot->len, 7u);
        EXPECT_EQ(Head(*pivot.keys()), Padded(value, 64));
    }
}

TEST_F(SortPivot, FiveBytesOfWhatIsNoTextStandInFirst)
{
    for (u32 type = 1; type <= 20; ++type) {
        if (type == 1 || type >= 16) { continue; }
        storeValues(type, {B("abcdefg")});
        Pivot pivot(type, 0x80);
        std::memset(pivot->first, 0xCC, kSortFirstSize);
        ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
        const bool has = (type >= 4 && type <= 8) || type == 11;
        EXPECT_EQ(First(*pivot.keys()), has ? B("abcde") : Bytes(5, 0xCC)) << type;
    }
    storeValues(18, {B("abcdefg")});
    Pivot pivot(18, 0x80);
    ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
    EXPECT_EQ(First(*pivot.keys()), B("abcde"));
}

TEST_F(SortPivot, NothingOfAnEarlierOneIsLeft)
{
    for (u32 type : {1u, 4u, 8u, 16u, 17u, 18u}) {
        for (const Bytes& later : {Bytes{}, B("x"), B("xy")}) {
            storeValues(type, {B("abcdefghijklmn"), later});
            Pivot pivot(type, 0x80);
            ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
            ASSERT_NE(MakeSortCondition(fid(), at(1), pivot.keys()), 0u);
            EXPECT_EQ(pivot->len, later.size());
            EXPECT_EQ(Head(*pivot.keys()), Padded(later, 64));
            const bool text = type != 4 && type != 8 && type != 18;
            if (!text) { EXPECT_EQ(First(*pivot.keys()), Padded(later, 5)); }
            if (text && later.empty()) { EXPECT_EQ(First(*pivot.keys()), Bytes(5, 0)); }
        }
    }
}

TEST_F(SortPivot, ATextOf64BytesHasNoTailAndOneOf65ATailOfOneByte)
{
    for (u32 type : {1u, 16u, 17u}) {
        for (u8 code : {u8{0x80}, u8{0x82}}) {
            storeValues(type,
                        {Bytes(64, 'a'), Bytes(64, 'a') + B("b"), Bytes(64, 'a') + B("the rest of it")});
            Pivot pivot(type, code);
            pivot->tail = nullptr;
            ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
            EXPECT_EQ(pivot->len, 64u);
            EXPECT_EQ(pivot->tail, nullptr);
            ASSERT_NE(MakeSortCondition(fid(), at(1), pivot.keys()), 0u);
            EXPECT_EQ(pivot->len, 65u);
            ASSERT_NE(pivot->tail, nullptr);
            EXPECT_EQ(pivot->tail[0], 'b');
            DisposeStrPtr(pivot.keys());
            EXPECT_EQ(pivot->tail, nullptr);
            ASSERT_NE(MakeSortCondition(fid(), at(2), pivot.keys()), 0u);
            EXPECT_EQ(Bytes(pivot->tail, pivot->tail + 14), B("the rest of it"));
        }
    }
}

TEST_F(SortPivot, WhatIsNoTextHasNoTail)
{
    storeValues(12, {Bytes(100, 'a')});
    Pivot pivot(12, 0x80);
    ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
    EXPECT_EQ(pivot->len, 100u);
    EXPECT_EQ(pivot->tail, nullptr);
}

TEST_F(SortPivot, TheFirstCharacterOfAShiftJisTextInBinaryOrderIsItsBytes)
{
    expectFirstOfSjis({0x82, 0x83, 0x8C, 0x8D}, {{B("ab"), 0x6100},
                                                 {B("a"), 0x6100},
                                                 {{0x82, 0xA0}, 0x82A0},
                                                 {{0xB6, 0xDE}, 0xB6DE},
                                                 {{0xB6, 0xDF}, 0xB600},
                                                 {{0xCA, 0xDF}, 0xCADF},
                                                 {{0x82}, 0x8200},
                                                 {{0x82, 0x20}, 0x8200},
                                                 {{0xFF, 0xFF}, 0xFF00}});
}

TEST_F(SortPivot, TheFirstCharacterOfAShiftJisTextByLanguageIsItsSortCode)
{
    expectFirstOfSjis({0x80, 0x81}, {{B("a"), 0x4040},
                                     {B("A!"), 0x4043},
                                     {B("0"), 0x3040},
                                     {{0x82, 0xA9}, 0x5163},
                                     {{0xB6, 0xDE}, 0x5165},
                                     {{0xB6, 'x'}, 0x5160},
                                     {{0xB6}, 0x5160},
                                     {{0x83, 0x4B}, 0x5169}});
}

TEST_F(SortPivot, TheFirstCharacterOfAUtf8TextIsItsCodePointOrSortCode)
{
    struct {
        Bytes text;
        u32 point;
        u32 sortCode;
    } const cases[] = {{B("a"), 0x61, 0x116B},
                       {B("\xC3\xA1"), 0xE1, 0x116E},          // a with an accent
                       {B("\xE3\x81\x82"), 0x3042, 0x121D},    // hiragana a
                       {B("\xE4\xB8\x80!"), 0x4E00, 0x4F00}};  // the kanji one
    for (const auto& [text, point, sortCode] : cases) {
        storeValues(17, {text});
        for (u8 code : {u8{0x80}, u8{0x81}, u8{0x82}, u8{0x83}, u8{0x8C}, u8{0x8D}}) {
            Pivot pivot(17, code);
            ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
            EXPECT_EQ(GET_2BYTES(pivot->first), code < 0x82 ? sortCode : point);
        }
    }
}

TEST_F(SortPivot, AUtf8CharacterThatTheEndOfTheTextCutsIsFFFD)
{
    for (const Bytes& text : {B("\xE3\x81"), B("\xE3"), B("\xC3")}) {
        storeValues(17, {text});
        Pivot pivot(17, 0x82);
        ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
        EXPECT_EQ(GET_2BYTES(pivot->first), 0xFFFD);
    }
}

TEST_F(SortPivot, EveryKeyIsLoadedAndTheLastPlaceIsTheResult)
{
    store({{{"T001", B("text")}, {"T008", {0x34, 0x12}}, {"T017", Bytes(70, 'u')}}});
    Pivot pivot;
    pivot.add(17, 0x80).add(8, 0x81).add(1, 0x82);
    const u32 result = MakeSortCondition(fid(), at(0), pivot.keys());
    EXPECT_EQ(result, pivot.keys()[2].addr);
    EXPECT_EQ(pivot.keys()[0].len, 70u);
    EXPECT_EQ(GET_2BYTES(pivot.keys()[1].first), 0x1234);
    EXPECT_EQ(GET_2BYTES(pivot.keys()[2].first), 0x7400);
    EXPECT_LT(pivot.keys()[2].addr, pivot.keys()[1].addr);
}

TEST_F(SortPivot, WithoutKeysNothingIsReadAndAllIsWell)
{
    Pivot pivot;
    EXPECT_NE(MakeSortCondition(255, 0, pivot.keys()), 0u);
}

TEST_F(SortPivot, ASlotThatLeadsToNoCardFails)
{
    storeValues(1, {B("text")});
    Pivot pivot(1, 0x80);
    EXPECT_EQ(MakeSortCondition(fid(), 0, pivot.keys()), 0u);
    EXPECT_EQ(MakeSortCondition(fid(), -1, pivot.keys()), 0u);
    EXPECT_EQ(pivot->len, 0u);
}

TEST_F(SortPivot, AnItemThatTheCardLacksFails)
{
    storeValues(1, {B("text")});
    for (u8 item : {u8{0}, u8{26}, u8{255}}) {
        Pivot pivot(1, 0x80);
        pivot->item = item;
        EXPECT_EQ(MakeSortCondition(fid(), at(0), pivot.keys()), 0u) << unsigned{item};
    }
}

TEST_F(SortPivot, AFileThatIsNotOpenFails)
{
    storeValues(1, {B("text")});
    Pivot pivot(1, 0x80);
    EXPECT_EQ(MakeSortCondition(200, at(0), pivot.keys()), 0u);
}

TEST_F(SortPivot, DisposingFreesTheTailsOfAllTexts)
{
    store({{{"T001", Bytes(70, 'a')}, {"T016", Bytes(70, 'b')}, {"T017", Bytes(70, 'c')}, {"T008", {1, 2}}}});
    Pivot pivot;
    pivot.add(1, 0x80).add(8, 0x80).add(16, 0x82).add(17, 0x80);
    ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
    for (int n : {0, 2, 3}) { EXPECT_NE(pivot.keys()[n].tail, nullptr) << n; }
    DisposeStrPtr(pivot.keys());
    for (int n : {0, 2, 3}) { EXPECT_EQ(pivot.keys()[n].tail, nullptr) << n; }
    DisposeStrPtr(pivot.keys());  // once more does no harm
}

}  // namespace
