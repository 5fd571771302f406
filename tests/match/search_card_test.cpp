// SPDX-License-Identifier: MIT
// Cards against compiled conditions: which test an item gets, and what it says.
#include "tests/match/search_card_case.h"

namespace {

using namespace searchtest;
using sorttest::Date;
using sorttest::Packed;
using sorttest::Span;
using sorttest::WeekDate;

using SearchCard = SearchCardCase;

Bytes Whole(const Packed& packed) { return Bytes(packed.begin(), packed.end()); }
Bytes Three(const Packed& packed) { return Bytes(packed.begin(), packed.begin() + 3); }

// A value of each type that a test has, and one that differs from it.
struct Sample {
    u8 type;
    Bytes value;
    Bytes other;
    u8 op;
};
std::vector<Sample> Samples()
{
    return {{4, Whole(Date{104, 3, 9, 1, 2, 3}), Whole(Date{104, 3, 9, 1, 2, 4}), kEquals},
            {5, Whole(Span{3, 1, 2, 3}), Whole(Span{3, 1, 2, 4}), kEquals},
            {6, {0x41}, {0x42}, kBitsEqual},
            {7, Three(WeekDate{104, 3, 2, 1}), Three(WeekDate{104, 3, 2, 2}), kEquals},
            {8, {1, 2}, {1, 3}, kEquals},
            {11, {7}, {8}, kEquals},
            {12, {7}, {8}, kContains},
            {18, {1, 2, 3, 4}, {1, 2, 3, 5}, kEquals}};
}
Bytes InCondition(const Sample& sample)
{
    return sample.type == 6 ? Bytes{0xFF} + sample.value : sample.value;
}

TEST_F(SearchCard, EveryTypeGetsItsTestAndItsValueIsSteppedOver)
{
    for (const Sample& sample : Samples()) {
        store({{{TypeTag(sample.type), sample.value}}, {{TypeTag(sample.type), sample.other}}});
        SearchCondition cond = testOn(sample.type);
        cond.value(sample.op, sample.type, InCondition(sample)).testOr().bare(kNeighbour);
        const u32 item = NumberOf(sample.type);
        EXPECT_EQ(ask(cond, 0), (Told{true, item, sample.op}));
        EXPECT_EQ(ask(cond, 1), (Told{true, item, kNeighbour}));
    }
    for (u8 type : {u8{1}, u8{16}, u8{17}}) {
        store({{{TypeTag(type), B("Love")}}, {{TypeTag(type), B("hate")}}});
        SearchCondition cond = testOn(type);
        cond.text(kEquals, type, B("love")).testOr().bare(kNeighbour);
        EXPECT_EQ(ask(cond, 0), (Told{true, NumberOf(type), kEquals}));
        EXPECT_EQ(ask(cond, 1), (Told{true, NumberOf(type), kNeighbour}));
        SearchCondition binary = testOn(type);
        binary.text(kEquals, type, B("love"), kBinary).testOr().bare(kNeighbour);
        EXPECT_EQ(ask(binary, 0), (Told{true, NumberOf(type), kNeighbour}));
    }
}

TEST_F(SearchCard, AValueOfAnotherTypeIsFalseAndSteppedOver)
{
    Row row;
    for (u32 type = 0; type <= 20; ++type) { row.push_back({TypeTag(type), Bytes(5, 0x20)}); }
    store({row});
    // A clause on type 0 would be the end of the condition.
    for (u32 type = 1; type <= 20; ++type) {
        for (u8 value = 0; value <= 20; ++value) {
            const bool text = value == 1 || value == 16 || value == 17;
            SearchCondition cond = testOn(type);
            // A text that is true of everything, a value that is true of nothing but its own type.
            if (text) {
                cond.text(kBegins, value, {});
            } else {
                const u8 size = value == 4 || value == 5     ? 5
                                : value == 7                 ? 3
                                : value == 18                ? 4
                                : value == 6 || value == 8   ? 2
                                : value == 11 || value == 12 ? 1
                                                             : 0;
                cond.value(kAtLeast, value, Bytes(size, 0));
            }
            cond.testOr().bare(kNeighbour);
            // Texts on the first row's values of five bytes; a week date of five is none.
            const bool shown = type == 4 || type == 5;
            const bool sjis = (type == 1 || type == 16) && (value == 1 || value == 16);
            const bool holds = text ? sjis || (type == 17 && value == 17) || shown
                                    : type == value && (type == 4 || type == 5 || type == 12);
            EXPECT_EQ(ask(cond),
                      (Told{true, NumberOf(type), holds ? (text ? kBegins : kAtLeast) : kNeighbour}))
                << type << ' ' << unsigned{value};
        }
    }
}

TEST_F(SearchCard, TheTwoKindsOfShiftJisTextReadLineBreaksAlike)
{
    store({{{"T001", B("a\r\nb")}, {"T016", B("a\r\nb")}}});
    for (u8 item : {u8{1}, u8{16}}) {
        for (u8 value : {u8{1}, u8{16}}) {
            SearchCondition cond = testOn(item);
            cond.text(kEquals, value, B("A\rB"));
            EXPECT_EQ(selects(cond), item != value);
            SearchCondition binary = testOn(item);
            binary.text(kEquals, value, B("a\rb"), kBinary);
            EXPECT_FALSE(selects(binary));
            SearchCondition same = testOn(item);
            same.text(kEquals, value, B("a\r\nb"), kBinary);
            EXPECT_TRUE(selects(same));
        }
    }
}

TEST_F(SearchCard, DatesAreMatchedAsTexts)
{
    store({{{"T004", Whole(Date{104, 3, 9, 13, 5, 7})},
            {"T005", Whole(Span{-3, 23, 59, 58})},
            {"T007", Three(WeekDate{104, 3, 2, 1})}}});
    const std::vector<std::tuple<u32, std::string, std::string>> texts = {
        {4, "20040309130507", "0309"}, {5, "+1903235958", "1903"}, {7, "20040321", "0321"}};
    for (const auto& [type, whole, part] : texts) {
        for (u8 value : {u8{1}, u8{16}, u8{17}}) {
            for (u8 kind : {kLanguage, kBinary}) {
                SearchCondition equal = testOn(type);
                equal.text(kEquals, value, B(whole), kind);
                EXPECT_TRUE(selects(equal)) << whole;
                SearchCondition inside = testOn(type);
                inside.text(kContains, value, B(part), kind);
                EXPECT_TRUE(selects(inside)) << part;
                SearchCondition none = testOn(type);
                none.text(kContains, value, B("2005"), kind);
                EXPECT_FALSE(selects(none));
                SearchCondition longer = testOn(type);
                longer.text(kBegins, value, B(whole + " "), kind);
                EXPECT_FALSE(selects(longer));
            }
        }
    }
}

TEST_F(SearchCard, AMissingDateOrOneOfAnotherLengthIsNoText)
{
    for (u32 type : {4u, 5u, 7u}) {
        for (size_t size = 0; size <= 6; ++size) {
            storeValue(type, Bytes(size, 0));
            SearchCondition cond = testOn(type);
            cond.text(kBegins, 1, {});
            EXPECT_EQ(selects(cond), size == (type == 7 ? 3u : 5u)) << type << ' ' << size;
        }
    }
}

TEST_F(SearchCard, TheNeighbourIsComparedByItsBytes)
{
    const Bytes longText = boxtest::Pattern(700);
    Bytes otherText = longText;
    otherText[699] ^= 1;
    store({{{"T001", B("abc")}, {"T017", longText}},
           {{"T001", B("abc")}, {"T017", longText}},
           {{"T001", B("ABC")}, {"T017", otherText}},
           {{"T001", B("ab")}}});
    for (u32 type : {1u, 17u}) {
        SearchCondition cond = testOn(type);
        cond.bare(kNeighbour);
        EXPECT_TRUE(selects(cond, 0)) << "without a neighbour";
        EXPECT_FALSE(selects(cond, 0, {.otherCard = at(1)}));
        EXPECT_FALSE(selects(cond, 0, {.otherCard = at(0)}));
        EXPECT_TRUE(selects(cond, 0, {.otherCard = at(2)}));
        EXPECT_TRUE(selects(cond, 0, {.otherCard = at(3)}));
        EXPECT_TRUE(selects(cond, 3, {.otherCard = at(0)}));
        // A neighbour that cannot be read differs.
        EXPECT_TRUE(selects(cond, 0, {.otherCard = 0xFFFFFFFF}));
        EXPECT_TRUE(selects(cond, 0, {.otherCard = 0x00FFFFFF}));
    }
    SearchCondition empty = testOn(8);
    empty.bare(kNeighbour);
    EXPECT_FALSE(selects(empty, 0, {.otherCard = at(3)}));
}

TEST_F(SearchCard, TheAttributeComesFromTheCallerWhereItIsToldSo)
{
    store({{{"ATTR", {0x41}}}});
    SearchCondition cond;
    cond.clause(6, 1).value(kBitsEqual, 6, {0xFF, 0x41});
    EXPECT_EQ(ask(cond), (Told{true, 1, kBitsEqual}));
    EXPECT_TRUE(selects(cond, 0, {.attr = u8{0x41}}));
    EXPECT_FALSE(selects(cond, 0, {.attr = u8{0x01}}));
    SearchCondition differ;
    differ.clause(6, 1).value(kBitsDiffer, 6, {0x40, 0x40}).testAnd().value(kBitsEqual, 6, {0x0F, 0x02});
    EXPECT_FALSE(selects(differ));
    EXPECT_TRUE(selects(differ, 0, {.attr = u8{0x02}}));
    EXPECT_EQ(ask(differ, 0, {.attr = u8{0x01}}), (Told{false, 1, kBitsEqual}));
}

TEST_F(SearchCard, OnAnAttributeOfTheCallerOtherOperatorsAreFalse)
{
    store({{{"ATTR", {0x41}}}});
    for (u8 op : {kFilled, kBlank, kNeighbour}) {
        // They have no value, and nothing is stepped over.
        SearchCondition cond;
        cond.clause(6, 1).bare(op).testOr().value(kBitsEqual, 6, {0xFF, 0x40});
        EXPECT_EQ(ask(cond, 0, {.attr = u8{0x40}}), (Told{true, 1, kBitsEqual})) << unsigned{op};
        EXPECT_EQ(ask(cond, 0, {.attr = u8{0x41}}), (Told{false, 1, kBitsEqual})) << unsigned{op};
    }
    for (u8 op : {kEquals, kAtLeast, u8{0x8A}, u8{0}}) {
        SearchCondition cond;
        cond.clause(6, 1).value(op, 6, {0xFF, 0x40}).testOr().value(kBitsEqual, 6, {0xFF, 0x40});
        EXPECT_EQ(ask(cond, 0, {.attr = u8{0x40}}), (Told{true, 1, kBitsEqual})) << unsigned{op};
    }
    // A text on it is stepped over whole.
    SearchCondition text;
    text.clause(6, 1).text(kEquals, 1, Bytes(40, 'a')).testOr().value(kBitsEqual, 6, {0xFF, 0x40});
    EXPECT_EQ(ask(text, 0, {.attr = u8{0x40}}), (Told{true, 1, kBitsEqual}));
}

TEST_F(SearchCard, AnItemThatIsNotInTheCardEndsTheWalk)
{
    store({{{"T008", {7, 0}}}});
    SearchCondition good = testOn(8);
    good.value(kEquals, 8, {7, 0});
    for (u8 number : {u8{0}, u8{26}, u8{255}}) {
        SearchCondition cond;
        cond.clause(8, number).value(kEquals, 8, {7, 0}).clauseOr().add(good.bytes());
        EXPECT_EQ(ask(cond), (Told{false, number, 0}));
        SearchCondition behind = good;
        behind.clauseAnd().clause(8, number).value(kEquals, 8, {7, 0});
        EXPECT_EQ(ask(behind), (Told{false, number, kEquals}));
        SearchCondition unread = good;
        unread.clauseOr().clause(8, number).value(kEquals, 8, {7, 0});
        EXPECT_TRUE(selects(unread));
    }
    EXPECT_TRUE(selects(good));
}

TEST_F(SearchCard, WhereNoCardStandsNothingIsSelected)
{
    store({{{"T008", {7, 0}}}});
    SearchCondition cond = testOn(8);
    cond.bare(kFilled);
    EXPECT_TRUE(selects(cond));
    for (u32 position : {0u, 0xFFFFFFFFu, 0x7FFFFFFFu, 0x00FFFFFFu}) {
        EXPECT_FALSE(askAt(cond, position, {}).selected) << position;
    }
}

TEST_F(SearchCard, ManyItemsAndLongFieldsAreFoundInAnyOrder)
{
    // Length fields of four bytes each: the table is longer than one read.
    std::vector<Item> items = boxtest::NumberedItems(200);
    Row row;
    for (u32 n = 0; n < 196; ++n) { row.push_back({items[4 + n].tag, B("v" + std::to_string(n))}); }
    store({row}, items, {.lengthForm = 4});
    for (u32 n : {195u, 0u, 100u, 60u, 63u, 150u}) {
        SearchCondition cond;
        cond.clause(1, 200).text(kEquals, 1, B("v195")).clauseAnd().clause(1, 5).text(kEquals, 1, B("v0"));
        cond.clauseAnd().clause(1, static_cast<u8>(5 + n)).text(kEquals, 1, B("V" + std::to_string(n)));
        EXPECT_TRUE(selects(cond)) << n;
        cond.clauseAnd().clause(1, 5).text(kEquals, 1, B("v1"));
        EXPECT_FALSE(selects(cond)) << n;
    }
}

TEST_F(SearchCard, ALongTextIsReadWhole)
{
    for (size_t size : {200u, 300u, 511u, 512u, 513u, 5000u, 65534u}) {
        store({{{"T001", Bytes(size, 'a') + B("b")}, {"T017", Bytes(size, 'a') + B("b")}}});
        for (u8 type : {u8{1}, u8{17}}) {
            for (u8 kind : {kLanguage, kBinary}) {
                SearchCondition cond = testOn(type);
                cond.text(kContains, type, B("aab"), kind);
                EXPECT_TRUE(selects(cond)) << size;
                SearchCondition none = testOn(type);
                none.text(kContains, type, B("ba"), kind);
                EXPECT_FALSE(selects(none)) << size;
            }
        }
    }
}

TEST_F(SearchCard, OfATextBeyond65535BytesTheBeginningTakesPart)
{
    storeValue(1, Bytes(65534, 'a') + B("bc"));
    for (const auto& [text, found] : {std::pair{"ab", true}, {"bc", false}}) {
        SearchCondition cond = testOn(1);
        cond.text(kContains, 1, B(text), kBinary);
        EXPECT_EQ(selects(cond), found);
    }
    // A number of 65538 bytes is none of two.
    storeValue(8, Bytes(65538, 0));
    SearchCondition number = testOn(8);
    number.value(kAtLeast, 8, {0, 0});
    EXPECT_FALSE(selects(number));
}

TEST_F(SearchCard, OneReaderServesACompareOfAnyLength)
{
    storeValue(1, Bytes(700, 'x'));
    static Bytes seen;
    static const u8* valueSeen;
    const auto compare = [](const u8* text, const u8* value, u16 len) -> u32 {
        seen = text != nullptr ? Bytes(text, text + len + 1) : Bytes{};
        valueSeen = value;
        return 77;
    };
    const u8 value[1] = {};
    const Bytes file = get();
    for (u16 len : {u16{1}, u16{511}, u16{512}, u16{513}, u16{700}}) {
        EXPECT_EQ(StringReadAndComp(fid(), 100, len, value, compare), 77u);
        EXPECT_EQ(seen, boxtest::Slice(file, 100, len) + Bytes{0}) << "and a byte 0 behind it";
        EXPECT_EQ(valueSeen, value);
    }
    EXPECT_EQ(StringReadAndComp(fid(), 100, 0, value, compare), 77u);
    EXPECT_TRUE(seen.empty());
    const i32 end = static_cast<i32>(file.size());
    EXPECT_EQ(StringReadAndComp(fid(), end - 10, 11, value, compare), 0u);
    EXPECT_EQ(StringReadAndComp(fid(), end - 10, 60000, value, compare), 0u);
    EXPECT_EQ(StringReadAndComp(fid(), -1, 1, value, compare), 0u);
}

}  // namespace
