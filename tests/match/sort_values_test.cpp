// SPDX-License-Identifier: MIT
// The compare of a card with the pivot: the keys in their order, numbers, bits and dates.
#include <memory>

#include "tests/match/packed_time.h"
#include "tests/match/sort_case.h"

namespace {

using namespace sorttest;

const std::vector<u8> kUp = {0x80, 0x82, 0x8C, 0x8D};  // of all but texts
const std::vector<u8> kDown = {0x81, 0x83};
const std::vector<u8> kAll = {0x80, 0x81, 0x82, 0x83, 0x8C, 0x8D};

Bytes Five(const Packed& value) { return Bytes(value.begin(), value.end()); }
Bytes Three(const Packed& value) { return Bytes(value.begin(), value.begin() + 3); }
Bytes Half(u32 value)
{
    Bytes out;
    boxtest::Add16(out, value);
    return out;
}
Bytes Word(u32 value)
{
    Bytes out;
    boxtest::Add32(out, value);
    return out;
}

using SortCmp = SortCase;

TEST_F(SortCmp, WithoutKeysAllCardsAreEqual)
{
    Pivot pivot;
    EXPECT_EQ(SortCmpCard(255, 0, pivot.keys()), 128);
}

TEST_F(SortCmp, ThePivotsOwnCardIsEqualWhateverItsKeysHold)
{
    store({{{"T008", Half(7)}, {"T011", {1}}}});
    Pivot pivot;
    pivot.add(8, 0x80).add(11, 0x80);
    ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
    pivot.keys()[0].first[0] = 99;  // not looked at, nor is the second key
    pivot.keys()[1].item = 0;
    EXPECT_EQ(SortCmpCard(fid(), at(0), pivot.keys()), 128);
}

TEST_F(SortCmp, TheNextKeyDecidesWhereOneIsEqual)
{
    store({{{"T008", Half(7)}, {"T011", {1}}, {"T018", Word(5)}},
           {{"T008", Half(7)}, {"T011", {2}}, {"T018", Word(4)}},
           {{"T008", Half(8)}, {"T011", {0}}, {"T018", Word(3)}}});
    const auto compare = [&](u8 first, u8 second, size_t card, size_t pivotCard) {
        Pivot pivot;
        pivot.add(8, first).add(11, second).add(18, 0x80);
        EXPECT_NE(MakeSortCondition(fid(), at(pivotCard), pivot.keys()), 0u);
        return SortCmpCard(fid(), at(card), pivot.keys());
    };
    EXPECT_EQ(compare(0x80, 0x80, 0, 1), 127);
    EXPECT_EQ(compare(0x80, 0x81, 0, 1), 129);
    EXPECT_EQ(compare(0x80, 0x80, 1, 2), 127);
    EXPECT_EQ(compare(0x81, 0x80, 1, 2), 129);
}

TEST_F(SortCmp, TheLastKeyDecidesWhereAllBeforeAreEqual)
{
    store({{{"T008", Half(7)}, {"T017", B("a")}, {"T018", Word(5)}},
           {{"T008", Half(7)}, {"T017", B("a")}, {"T018", Word(4)}}});
    Pivot pivot;
    pivot.add(17, 0x80).add(8, 0x81).add(18, 0x80);
    ASSERT_NE(MakeSortCondition(fid(), at(1), pivot.keys()), 0u);
    EXPECT_EQ(SortCmpCard(fid(), at(0), pivot.keys()), 129);
}

TEST_F(SortCmp, ATypeWithoutAnOrderEndsTheCompare)
{
    for (u32 type : {2u, 3u, 9u, 10u, 12u, 13u, 14u, 15u, 19u, 20u}) {
        store({{{TagOf(type), B("a")}, {"T011", {1}}}, {{TagOf(type), B("b")}, {"T011", {2}}}});
        Pivot pivot;
        pivot.add(type, 0x80).add(11, 0x80);
        ASSERT_NE(MakeSortCondition(fid(), at(1), pivot.keys()), 0u);
        EXPECT_EQ(SortCmpCard(fid(), at(0), pivot.keys()), 128) << type;
    }
}

TEST_F(SortCmp, ASlotThatLeadsToNoCardFails)
{
    storeValues(8, {Half(1)});
    Pivot pivot(8, 0x80);
    ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
    EXPECT_EQ(SortCmpCard(fid(), 0, pivot.keys()), 0);
    EXPECT_EQ(SortCmpCard(fid(), -1, pivot.keys()), 0);
}

TEST_F(SortCmp, WhatCannotBeReadFailsInBothDirections)
{
    storeValues(8, {Half(1), Half(2)});
    for (u8 code : kAll) {
        Pivot pivot(8, code);
        ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
        EXPECT_EQ(SortCmpCard(200, at(1), pivot.keys()), 0);
        EXPECT_EQ(SortCmpCard(fid(), 0x7FFFFFF0, pivot.keys()), 0);
        pivot->item = 26;  // behind the last item
        EXPECT_EQ(SortCmpCard(fid(), at(1), pivot.keys()), 0);
        pivot->item = 0;
        EXPECT_EQ(SortCmpCard(fid(), at(1), pivot.keys()), 0);
    }
}

TEST_F(SortCmp, AFailureBehindAnEqualKeyFails)
{
    storeValues(8, {Half(1), Half(1)});
    Pivot pivot;
    pivot.add(8, 0x81).add(11, 0x81);
    ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
    pivot.keys()[1].item = 26;
    EXPECT_EQ(SortCmpCard(fid(), at(1), pivot.keys()), 0);
}

// --- numbers ---------------------------------------------------------------------------------------------

TEST_F(SortCmp, NumbersOfTwoBytesAreUnsignedAndAMissingOneCountsAs0)
{
    expectOrder(8, kUp, kDown,
                {{Half(0)}, {Half(1)}, {Half(0xFF)}, {Half(0x100)}, {Half(0x8000)}, {Half(0xFFFF)}});
    expectOrder(8, kUp, kDown, {{{}, Half(0), B("abc"), B("a"), Bytes(70, 'a')}, {Half(1)}});
}

TEST_F(SortCmp, NumbersOfOneByteAreUnsignedAndAMissingOneCountsAs0)
{
    expectOrder(11, kUp, kDown, {{{}, {0}, B("ab")}, {{1}}, {{0x7F}}, {{0x80}}, {{0xFF}}});
}

TEST_F(SortCmp, OfFourBytesTheLowerTwoCount)
{
    expectOrder(18, kUp, kDown,
                {{{}, Word(0), Word(0x00010000), Word(0xFFFF0000), B("abc"), B("abcde")},
                 {Word(1)},
                 {Word(2), Word(0x00010002), Word(0x00020002)},
                 {Word(0x7FFF)},
                 {Word(0x1FFFF), Word(0xFFFFFFFF)}});
}

TEST_F(SortCmp, AValueOfTheWrongLengthIsNoNumber)
{
    EXPECT_EQ(compare(8, 0x80, B("abc"), {}), 128u);
    EXPECT_EQ(compare(8, 0x80, {}, Half(0)), 128u);
    EXPECT_EQ(compare(8, 0x80, {}, Half(1)), 127u);
    EXPECT_EQ(compare(8, 0x80, Half(1), B("abc")), 129u);
    EXPECT_EQ(compare(8, 0x81, Half(1), B("abc")), 127u);
    EXPECT_EQ(compare(11, 0x80, B("ab"), B("abc")), 128u);
    EXPECT_EQ(compare(18, 0x80, B("abc"), B("abcde")), 128u);
}

TEST_F(SortCmp, ALengthOf65538IsNotOneOfTwo)
{
    EXPECT_EQ(compare(8, 0x80, Bytes(65538, 0xFF), Half(5)), 127u);
    EXPECT_EQ(compare(11, 0x80, Bytes(65537, 0xFF), {5}), 127u);
}

// --- bits ------------------------------------------------------------------------------------------------

TEST_F(SortCmp, OfABitFieldTheFirstByteCountsAndAnEmptyOneIsLowest)
{
    expectOrder(6, kUp, kDown,
                {{{}}, {{0}, {0, 0xFF}}, {{1, 0}, {1}}, {{0x7F}}, {{0x80, 1}, {0x80, 2, 3}}, {{0xFF}}});
}

// --- dates -----------------------------------------------------------------------------------------------

TEST_F(SortCmp, DatesAreInOrderAndAnEmptyOneIsLowest)
{
    expectOrder(4, kUp, kDown,
                {{{}},
                 {Five(Date{240, 13, 0, 25, 61, 61}), Five(Date{0, 0, 0, 31, 63, 63})},
                 {Five(Date{99, 12, 31, 24, 60, 60})},
                 {Five(Date{100, 1, 1, 0, 0, 0})},
                 {Five(Date{100, 1, 1, 0, 0, 1})},
                 {Five(Date{100, 1, 1, 0, 1, 0})},
                 {Five(Date{100, 1, 1, 23, 0, 0})},
                 {Five(Date{100, 1, 1, 24, 0, 0})},
                 {Five(Date{100, 1, 2, 0, 0, 0})},
                 {Five(Date{100, 2, 1, 0, 0, 0})}});
}

TEST_F(SortCmp, SpansAreInOrderAndAnEmptyOneIsLowest)
{
    Packed signedZero = Span{0, 1, 0, 0};
    signedZero[4] |= 0x80;
    expectOrder(5, kUp, kDown,
                {{{}},
                 {Five(Span{-4, 0, 0, 0})},
                 {Five(Span{-3, 5, 0, 0})},
                 {Five(Span{-3, 6, 0, 0})},
                 {Five(Span{0, 0, 0, 0})},
                 {Five(Span{0, 1, 0, 0}), Five(signedZero)},
                 {Five(Span{2, 0, 0, 0})}});
}

TEST_F(SortCmp, WeekDatesAreInOrderAndAnEmptyOneIsLowest)
{
    expectOrder(7, kUp, kDown,
                {{{}},
                 {Three(WeekDate{240, 13, 7, 7})},
                 {Three(WeekDate{104, 3, 0, 6})},
                 {Three(WeekDate{104, 3, 1, 0})},
                 {Three(WeekDate{104, 3, 1, 2}), Five(WeekDate{104, 3, 1, 2}) + B("more")},
                 {Three(WeekDate{104, 4, 0, 0})}});
}

TEST_F(SortCmp, AShortDateHasZerosBehindIt)
{
    const Bytes whole = Five(Date{16, 0, 1, 2, 3, 4});
    const Bytes noYear = boxtest::Slice(whole, 0, 3);
    EXPECT_EQ(compare(4, 0x80, noYear, noYear + Bytes{0, 0}), 128u);
    EXPECT_EQ(compare(4, 0x80, noYear + Bytes{0, 0}, noYear), 128u);
    EXPECT_EQ(compare(4, 0x80, noYear, whole), 127u);
    EXPECT_EQ(compare(4, 0x80, whole, noYear), 129u);
    EXPECT_EQ(compare(7, 0x80, {0x11}, {0x11, 0, 0}), 128u);
}

TEST_F(SortCmp, AComparatorReadsNoMoreThanTheValueHas)
{
    // Each value ends where its block ends.
    storeValues(4, {Five(Date{100, 1, 1, 0, 0, 0})});
    for (auto* comparator :
         {SortCmpDate, SortCmpTime, SortCmpWeek, SortCmpBit, SortCmpUint, SortCmpUchar, SortCmpUlong}) {
        for (u16 length = 0; length < 6; ++length) {
            Pivot pivot(4, 0x80);
            ASSERT_NE(MakeSortCondition(fid(), at(0), pivot.keys()), 0u);
            const std::unique_ptr<u8[]> value(new u8[length]());
            EXPECT_GE(comparator(pivot.keys(), value.get(), length), 127u);
        }
    }
}

TEST_F(SortCmp, EmptyValuesAreEqualForEveryTypeAndCode)
{
    for (u32 type : {1u, 4u, 5u, 6u, 7u, 8u, 11u, 16u, 17u, 18u}) {
        storeValues(type, {{}, {}});
        for (u8 code : kAll) { EXPECT_EQ(compareStored(type, code, 0, 1), 128u) << type; }
    }
}

}  // namespace
