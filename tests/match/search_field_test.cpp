// SPDX-License-Identifier: MIT
// Values that are no texts against conditions: bits, numbers, dates, spans, week dates and byte arrays, each
// with every operator there is.
#include "tests/match/search_value_case.h"

namespace {

using namespace searchtest;
using sorttest::Date;
using sorttest::Span;
using sorttest::WeekDate;

using SearchField = SearchValueCase;

Bytes Half(u32 value) { return {static_cast<u8>(value), static_cast<u8>(value >> 8)}; }
Bytes Word(u32 value) { return Half(value) + Half(value >> 16); }
Bytes Dated(const Packed& packed) { return FirstOf(packed, 5); }
Bytes Weekly(const Packed& packed) { return FirstOf(packed, 3); }

TEST_F(SearchField, BitsCompareUnderTheMask)
{
    for (u32 bits : {0x00u, 0x0Fu, 0xA5u, 0xFFu}) {
        store({static_cast<u8>(bits)});
        for (u32 mask : {0x00u, 0x0Fu, 0x81u, 0xFFu}) {
            for (u32 want : {0x00u, 0x05u, 0x0Fu, 0x81u, 0xA5u, 0xFFu}) {
                const bool equal = (bits & mask) == want;
                EXPECT_EQ(holding(SearchCmpBit, {static_cast<u8>(mask), static_cast<u8>(want)}),
                          Bytes{equal ? kBitsEqual : kBitsDiffer});
            }
        }
    }
}

TEST_F(SearchField, OfBitsTheFirstByteCountsAndNoByteIsFalse)
{
    store({0x40, 0xFF, 0xFF});
    EXPECT_EQ(holding(SearchCmpBit, {0xFF, 0x40}), Bytes{kBitsEqual});
    store({});
    EXPECT_EQ(holding(SearchCmpBit, {0xFF, 0x00}), kNoOperators);
    EXPECT_EQ(holding(SearchCmpBit, {0x00, 0x01}), kNoOperators);
}

TEST_F(SearchField, AnAttributeInMemoryComparesLikeBits)
{
    for (u32 op = 0; op < 256; ++op) {
        for (const auto& [attr, mask, bits] :
             {std::tuple<u8, u8, u8>{0x41, 0x40, 0x40}, {0x41, 0x40, 0x00}}) {
            const u8 value[2] = {mask, bits};
            const bool equal = (attr & mask) == bits;
            const u32 want = (op == kBitsEqual && equal) || (op == kBitsDiffer && !equal) ? 1 : 0;
            EXPECT_EQ(SearchCmpAttr(attr, value, static_cast<u8>(op)), want);
        }
    }
}

TEST_F(SearchField, NumbersCompareUnsignedAndWhole)
{
    const std::vector<u32> numbers = {0, 1, 0xFF, 0x100, 0x8000, 0x10001, 0x80000000, 0xFFFFFFFF};
    for (u32 card : numbers) {
        for (u32 want : numbers) {
            const auto order = [&](u32 a, u32 b) { return OperatorsOf(a < b ? -1 : a > b ? 1 : 0); };
            store(Word(card));
            EXPECT_EQ(holding(SearchCmpUlong, Word(want)), order(card, want));
            store(Half(card));
            EXPECT_EQ(holding(SearchCmpUint, Half(want)), order(card & 0xFFFF, want & 0xFFFF));
            store({static_cast<u8>(card)});
            EXPECT_EQ(holding(SearchCmpUchar, {static_cast<u8>(want)}), order(card & 0xFF, want & 0xFF));
        }
    }
}

TEST_F(SearchField, ANumberOfAnotherLengthMatchesNothing)
{
    for (size_t size = 0; size <= 6; ++size) {
        store(Bytes(size, 0));
        EXPECT_EQ(holding(SearchCmpUchar, Bytes(4, 0xFF)).empty(), size != 1) << size;
        EXPECT_EQ(holding(SearchCmpUint, Bytes(4, 0xFF)).empty(), size != 2) << size;
        EXPECT_EQ(holding(SearchCmpUlong, Bytes(4, 0xFF)).empty(), size != 4) << size;
    }
    store({});
    EXPECT_EQ(ask(SearchCmpUint, kAtMost, Half(65535)), 0u);
}

TEST_F(SearchField, DatesCompareFieldByField)
{
    const std::vector<Packed> rising = {
        Date{1, 1, 1, 0, 0, 0},   Date{99, 12, 31, 24, 60, 60}, Date{100, 1, 1, 0, 0, 0},
        Date{100, 1, 1, 0, 0, 1}, Date{100, 1, 1, 0, 1, 0},     Date{100, 1, 1, 1, 0, 0},
        Date{100, 1, 2, 0, 0, 0}, Date{100, 2, 1, 0, 0, 0},     Date{239, 12, 31, 24, 60, 60}};
    for (size_t card = 0; card < rising.size(); ++card) {
        store(Dated(rising[card]));
        for (size_t want = 0; want < rising.size(); ++want) {
            const i32 order = card < want ? -1 : card > want ? 1 : 0;
            EXPECT_EQ(holding(SearchCmpDate, Dated(rising[want])), OperatorsOf(order));
            EXPECT_EQ(holding(SearchCmpDate, Dated(rising[want]), kBinary), OperatorsOf(order));
        }
    }
}

TEST_F(SearchField, AWildcardYearAndDayMeanEveryMarch)
{
    const Bytes march = Dated(Date{4095, 3, 0, 31, 63, 63});
    for (u32 year : {1u, 104u, 239u}) {
        for (u32 day : {1u, 31u}) {
            store(Dated(Date{year, 3, day, 12, 30, 0}));
            EXPECT_EQ(holding(SearchCmpDate, march), kOperatorsEqual);
            store(Dated(Date{year, 2, day, 12, 30, 0}));
            EXPECT_EQ(holding(SearchCmpDate, march), kOperatorsBelow);
            store(Dated(Date{year, 4, day, 12, 30, 0}));
            EXPECT_EQ(holding(SearchCmpDate, march), kOperatorsAbove);
        }
    }
    // In bytes a wildcard is the lowest value of its field.
    store(Dated(Date{104, 3, 9, 12, 30, 0}));
    EXPECT_EQ(holding(SearchCmpDate, march, kBinary), kOperatorsAbove);
}

TEST_F(SearchField, AMissingDateIsAllWildcards)
{
    const Bytes march = Dated(Date{4095, 3, 0, 31, 63, 63});
    const Bytes wild = {0x3F, 0xFF, 0x07, 0xFF, 0x0F};
    // The fields of these bytes: all but the hour and the day beyond their ranges or 0.
    store({});
    EXPECT_EQ(holding(SearchCmpDate, march), kOperatorsBelow);
    EXPECT_EQ(holding(SearchCmpDate, wild), kOperatorsEqual);
    EXPECT_EQ(holding(SearchCmpDate, wild, kBinary), kOperatorsEqual);
    EXPECT_EQ(holding(SearchCmpDate, march, kBinary), kOperatorsBelow);
    EXPECT_EQ(holding(SearchCmpWeek, {0x77, 0xFF, 0x0F}), kOperatorsEqual);
    EXPECT_EQ(holding(SearchCmpWeek, {0x77, 0xFF, 0x0F}, kBinary), kOperatorsEqual);
    EXPECT_EQ(holding(SearchCmpWeek, Weekly(WeekDate{104, 3, 2, 2})), kOperatorsBelow);
}

TEST_F(SearchField, AMissingSpanIsNoTimeAtAll)
{
    store({});
    for (u8 kind : {kLanguage, kBinary}) {
        EXPECT_EQ(holding(SearchCmpTime, Bytes(5, 0), kind), kOperatorsEqual);
        EXPECT_EQ(holding(SearchCmpTime, Dated(Span{1, 0, 0, 0}), kind), kOperatorsBelow);
        EXPECT_EQ(holding(SearchCmpTime, Dated(Span{-1, 0, 0, 0}), kind), kOperatorsAbove);
        EXPECT_EQ(holding(SearchCmpTime, Dated(Span{0, 31, 63, 63}), kind), kOperatorsEqual);
    }
}

TEST_F(SearchField, SpansCompareWithWildcardsWhateverTheKind)
{
    const std::vector<Packed> rising = {Span{-3, 5, 0, 0}, Span{-3, 6, 0, 0}, Span{-1, 0, 0, 0},
                                        Span{0, 0, 0, 0},  Span{0, 0, 0, 1},  Span{2, 0, 0, 0}};
    for (size_t card = 0; card < rising.size(); ++card) {
        store(Dated(rising[card]));
        for (size_t want = 0; want < rising.size(); ++want) {
            const i32 order = card < want ? -1 : card > want ? 1 : 0;
            for (u8 kind : {kLanguage, kBinary}) {
                EXPECT_EQ(holding(SearchCmpTime, Dated(rising[want]), kind), OperatorsOf(order));
            }
        }
    }
    store(Dated(Span{3, 7, 8, 9}));
    for (u8 kind : {kLanguage, kBinary}) {
        EXPECT_EQ(holding(SearchCmpTime, Dated(Span{3, 31, 63, 63}), kind), kOperatorsEqual);
        EXPECT_EQ(holding(SearchCmpTime, Dated(Span{3, 31, 9, 0}), kind), kOperatorsBelow);
    }
}

TEST_F(SearchField, WeekDatesCompareFieldByFieldAndWithWildcards)
{
    const std::vector<Packed> rising = {WeekDate{100, 1, 0, 6}, WeekDate{100, 1, 1, 0},
                                        WeekDate{100, 1, 1, 1}, WeekDate{100, 2, 0, 0},
                                        WeekDate{101, 1, 0, 0}};
    for (size_t card = 0; card < rising.size(); ++card) {
        store(Weekly(rising[card]));
        for (size_t want = 0; want < rising.size(); ++want) {
            const i32 order = card < want ? -1 : card > want ? 1 : 0;
            for (u8 kind : {kLanguage, kBinary}) {
                EXPECT_EQ(holding(SearchCmpWeek, Weekly(rising[want]), kind), OperatorsOf(order));
            }
        }
    }
    store(Weekly(WeekDate{104, 3, 2, 2}));
    EXPECT_EQ(holding(SearchCmpWeek, Weekly(WeekDate{4095, 3, 7, 2})), kOperatorsEqual);
    EXPECT_EQ(holding(SearchCmpWeek, Weekly(WeekDate{4095, 3, 7, 2}), kBinary), kOperatorsAbove);
}

TEST_F(SearchField, ADateOfAWrongLengthMatchesNothing)
{
    for (size_t size = 1; size <= 7; ++size) {
        store(Bytes(size, 0));
        const Bytes wild = {0x3F, 0xFF, 0x07, 0xFF, 0x0F};
        for (u8 kind : {kLanguage, kBinary}) {
            EXPECT_EQ(holding(SearchCmpDate, wild, kind).empty(), size != 5) << size;
            EXPECT_EQ(holding(SearchCmpTime, wild, kind).empty(), size != 5) << size;
            EXPECT_EQ(holding(SearchCmpWeek, wild, kind).empty(), size != 3) << size;
        }
    }
}

TEST_F(SearchField, AByteArrayIsASetOfBytes)
{
    store({3});
    EXPECT_EQ(holding(SearchCmpBarray, {3}), (Bytes{kEquals, kContains, kAtLeast, kAtMost}));
    EXPECT_EQ(holding(SearchCmpBarray, {2}), Bytes{kAtLeast});
    EXPECT_EQ(holding(SearchCmpBarray, {4}), Bytes{kAtMost});
    store({3, 7, 3});
    EXPECT_EQ(holding(SearchCmpBarray, {3}), (Bytes{kContains, kAtLeast}));
    EXPECT_EQ(holding(SearchCmpBarray, {7}), (Bytes{kContains, kAtMost}));
    EXPECT_EQ(holding(SearchCmpBarray, {5}), kNoOperators);
    EXPECT_EQ(holding(SearchCmpBarray, {2}), Bytes{kAtLeast});
    EXPECT_EQ(holding(SearchCmpBarray, {8}), Bytes{kAtMost});
}

TEST_F(SearchField, AByteArrayOfEmptyPlacesContains254)
{
    for (const Bytes& empty : {Bytes{0}, Bytes{0xFE}, Bytes{0xFF}, Bytes{0, 0xFE, 0xFF, 0}}) {
        store(empty);
        EXPECT_EQ(ask(SearchCmpBarray, kContains, {0xFE}), 1u);
    }
    for (const Bytes& filled : {Bytes{1}, Bytes{0xFD}, Bytes{0xFE, 1}, Bytes{0, 0xFE, 2, 0xFF}}) {
        store(filled);
        EXPECT_EQ(ask(SearchCmpBarray, kContains, {0xFE}), 0u);
    }
    // 255 is looked for like any byte.
    store({0, 1, 0xFF});
    EXPECT_EQ(ask(SearchCmpBarray, kContains, {0xFF}), 1u);
    store({0, 1, 0xFE});
    EXPECT_EQ(ask(SearchCmpBarray, kContains, {0xFF}), 0u);
}

TEST_F(SearchField, AByteArrayWithoutBytesIsEmpty)
{
    store({});
    for (u32 c = 0; c < 256; ++c) {
        EXPECT_EQ(holding(SearchCmpBarray, {static_cast<u8>(c)}),
                  c == 0xFE ? (Bytes{kBegins, kContains}) : kNoOperators);
    }
}

TEST_F(SearchField, OfAByteArrayTheFirst260BytesCount)
{
    store(Bytes(259, 5) + Bytes{9} + Bytes{1, 200});
    EXPECT_EQ(ask(SearchCmpBarray, kContains, {9}), 1u);
    EXPECT_EQ(ask(SearchCmpBarray, kContains, {1}), 0u);
    EXPECT_EQ(ask(SearchCmpBarray, kAtLeast, {5}), 1u);
    EXPECT_EQ(ask(SearchCmpBarray, kAtMost, {9}), 1u);
    EXPECT_EQ(ask(SearchCmpBarray, kEquals, {5}), 0u);
}

TEST_F(SearchField, WhatTheFileDoesNotHaveMatchesNothing)
{
    store({1, 2, 3});
    // Half of each value lies behind the end of the file.
    const auto cut = [&](FieldTest test, u16 len, const Bytes& condition) {
        Bytes bytes = Bytes{kLanguage, kAtMost, 0} + condition;
        return test(fid(), at() + 2, len, bytes.data() + 3);
    };
    EXPECT_EQ(cut(SearchCmpUint, 2, Half(0xFFFF)), 0u);
    EXPECT_EQ(cut(SearchCmpUlong, 4, Word(0xFFFFFFFF)), 0u);
    EXPECT_EQ(cut(SearchCmpDate, 5, Bytes(5, 0xFF)), 0u);
    EXPECT_EQ(cut(SearchCmpTime, 5, Bytes(5, 0x7F)), 0u);
    EXPECT_EQ(cut(SearchCmpWeek, 3, Bytes(3, 0xFF)), 0u);
    EXPECT_EQ(cut(SearchCmpBarray, 2, {0xFF}), 0u);
    EXPECT_EQ(SearchCmpUchar(fid(), at() + 3, 1, Bytes(8, kAtMost).data() + 3), 0u);
    EXPECT_EQ(SearchCmpBit(fid(), at() + 3, 1, Bytes{kLanguage, kBitsDiffer, 6, 0xFF, 0x12}.data() + 3), 0u);
}

}  // namespace
