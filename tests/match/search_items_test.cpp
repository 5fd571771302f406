// SPDX-License-Identifier: MIT
// Clauses on all items of a card, and the tests for blanks.
#include <random>

#include "tests/match/search_card_case.h"

namespace {

using namespace searchtest;
using sorttest::Date;
using sorttest::Packed;

Bytes DateOf(const Packed& packed) { return Bytes(packed.begin(), packed.end()); }

class SearchItems : public SearchCardCase {
protected:
    // Attribute, three hidden items, and then these from number 5 on.
    static std::vector<Item> items()
    {
        return boxtest::DefaultItems() + std::vector<Item>{{17, 0, "READ", "reading"},
                                                           {17, 0, "MEAN", "meaning"},
                                                           {4, 0, "DATE", "date"},
                                                           {8, 0, "NUMB", "number"}};
    }
    static SearchCondition all(u8 op, const std::string& text, u8 kind = kLanguage)
    {
        SearchCondition cond;
        cond.allItems().text(op, 17, B(text), kind);
        return cond;
    }
};

TEST_F(SearchItems, AClauseOnAllItemsHoldsIfOneOfThemPassesAllItsTests)
{
    store({{{"READ", B("ai")}, {"MEAN", B("love, affection")}}, {{"READ", B("love")}}, {}}, items());
    EXPECT_EQ(ask(all(kContains, "LOVE"), 0), (Told{true, 6, kContains}));
    EXPECT_EQ(ask(all(kContains, "LOVE"), 1), (Told{true, 5, kContains}));
    EXPECT_EQ(ask(all(kContains, "LOVE"), 2), (Told{false, 8, kContains}));
    // Both of one item, not one of each.
    SearchCondition both = all(kContains, "love");
    both.testAnd().text(kContains, 17, B("affection"));
    EXPECT_EQ(ask(both, 0), (Told{true, 6, kContains}));
    SearchCondition apart = all(kContains, "ai");
    apart.testAnd().text(kBegins, 17, B("love"));
    EXPECT_EQ(ask(apart, 0), (Told{false, 8, kContains}));
}

TEST_F(SearchItems, ADateIsMatchedAsATextUnlessItIsHidden)
{
    const Bytes date = DateOf(Date{104, 3, 9, 1, 2, 3});
    store({{{"cTTM", date}, {"mDTM", date}}, {{"cTTM", date}, {"DATE", date}}}, items());
    EXPECT_FALSE(selects(all(kContains, "20040309"), 0));
    EXPECT_EQ(ask(all(kContains, "20040309"), 1), (Told{true, 7, kContains}));
    SearchCondition named;
    named.clause(4, 2).text(kContains, 17, B("20040309"));
    EXPECT_TRUE(selects(named, 0)) << "a clause of its own reaches a hidden item";
    SearchCondition number;
    number.allItems().value(kAtLeast, 18, Bytes(4, 0));
    EXPECT_FALSE(selects(number, 0)) << "the sync id is hidden";
}

TEST_F(SearchItems, ClausesGoOnBehindOneOnAllItems)
{
    store({{{"READ", B("ai")}, {"NUMB", {7, 0}}}}, items());
    SearchCondition yes = all(kContains, "ai");
    yes.clauseAnd().clause(8, 8).value(kEquals, 8, {7, 0});
    EXPECT_EQ(ask(yes), (Told{true, 8, kEquals}));
    SearchCondition no = all(kContains, "love");
    no.clauseOr().clause(8, 8).value(kEquals, 8, {7, 0}).clauseAnd().allItems().text(kEquals, 17, B("a"));
    EXPECT_EQ(ask(no), (Told{false, 8, kEquals}));
    SearchCondition twice = all(kContains, "ai");
    twice.clauseAnd().allItems().value(kEquals, 8, {7, 0}).clauseAnd().allItems().text(kEquals, 17, B("ai"));
    EXPECT_EQ(ask(twice), (Told{true, 5, kEquals}));
    // A run whose rest is passed over, for each item anew.
    SearchCondition run = all(kContains, "x");
    run.testAnd().text(kContains, 17, B("y")).testOr().text(kContains, 17, B("z"));
    run.clauseOr().allItems().text(kEquals, 17, B("ai")).testOr().text(kContains, 17, B("z"));
    run.clauseAnd().clause(8, 8).value(kEquals, 8, {7, 0});
    EXPECT_EQ(ask(run), (Told{true, 8, kEquals}));
}

TEST_F(SearchItems, WithoutItemsNothingIsSelected)
{
    store({{{"READ", B("ai")}}}, items());
    EXPECT_EQ(ask(all(kContains, "ai"), 0, {.table = false}), (Told{false, 0, 0}));
    const Bytes cond = all(kContains, "ai").build();
    const u8 table[1] = {};
    u8 info[3] = {9, 9, 9};
    EXPECT_EQ(SearchCmpCardCore(fid(), static_cast<i32>(at(0)), cond.data(), 0, table, info, 0, 0), 0u);
    EXPECT_EQ(info[0], 0);
    EXPECT_EQ(info[1], 0);
    // A clause of its own needs no table.
    SearchCondition named;
    named.clause(17, 5).text(kEquals, 17, B("ai"));
    EXPECT_TRUE(selects(named, 0, {.table = false}));
}

TEST_F(SearchItems, TheAttributeOfTheCallerIsNotForAllItems)
{
    store({{{"ATTR", {0x41}}}}, items());
    SearchCondition cond;
    cond.allItems().value(kBitsEqual, 6, {0xFF, 0x41});
    EXPECT_EQ(ask(cond, 0, {.attr = u8{0x00}}), (Told{true, 1, kBitsEqual}));
    SearchCondition other;
    other.allItems().value(kBitsEqual, 6, {0xFF, 0x42});
    EXPECT_FALSE(selects(other, 0, {.attr = u8{0x42}}));
}

TEST_F(SearchItems, TheNeighbourIsComparedItemByItemTheHiddenOnesToo)
{
    store({{{"READ", B("ai")}}, {{"READ", B("ai")}, {"mDTM", Bytes(5, 1)}}, {{"READ", B("ao")}}}, items());
    SearchCondition cond;
    cond.allItems().bare(kNeighbour);
    EXPECT_EQ(ask(cond, 0, {.otherCard = at(0)}), (Told{false, 8, kNeighbour}));
    EXPECT_EQ(ask(cond, 0, {.otherCard = at(1)}), (Told{true, 3, kNeighbour}));
    EXPECT_EQ(ask(cond, 0, {.otherCard = at(2)}), (Told{true, 5, kNeighbour}));
}

TEST_F(SearchItems, ACardWithFewerItemsThanTheTableIsNotSelected)
{
    boxtest::BoxBuilder builder(items());
    const u32 card = builder.card(1, {{0x40}, {}, {}, {}, B("ai")});
    store({}, items());
    storeBytes(builder.build());
    EXPECT_TRUE(askAt(all(kContains, "ai"), card, {}).selected);
    EXPECT_EQ(askAt(all(kContains, "x"), card, {}), (Told{false, 6, kContains}));
    SearchCondition cond = all(kContains, "x");
    cond.clauseOr().clause(17, 5).text(kEquals, 17, B("ai"));
    EXPECT_FALSE(askAt(cond, card, {}).selected);
}

// Random conditions of the bytes that mean something: those that are held sound are walked within their
// length and the bytes 0 behind it, whatever box they meet.
TEST_F(SearchItems, ASoundConditionIsNeverReadBeyondItsEnd)
{
    std::vector<Item> strange = items();
    for (u8 type : {u8{0x84}, u8{0x85}, u8{0x86}, u8{0x87}, u8{16}, u8{5}}) {
        strange.push_back({type, 0, "S" + std::to_string(100 + type), ""});
    }
    const Bytes five(5, 0x21);
    store({{{"READ", B("ai")}, {"MEAN", B("love")}, {"DATE", five}, {"NUMB", {7, 0}}}}, strange);
    static const Bytes kBytes = {0x15, 0x95, 0x84, 0x85, 0x86, 0x87, 0x88, 0x90, 0x91, 0x92, 0x94, 0x97,
                                 0x9A, 0x9E, 0x9F, 0xFF, 1,    2,    4,    5,    6,    8,    11,   12,
                                 16,   17,   18,   9,    10,   14,   0,    0,    0,    3};
    std::mt19937 random(5);
    const auto any = [&random] { return kBytes[random() % kBytes.size()]; };
    boxtest::Captured lines;
    u32 sound = 0;
    for (u32 n = 0; n < 8000; ++n) {
        SearchCondition cond;
        for (auto clauses = random() % 4; clauses != 0; --clauses) {
            cond.add(random() % 4 == 0 ? Bytes{0xFF, 0xFF}
                                       : Bytes{any(), static_cast<u8>(1 + random() % 14)});
            for (auto tests = 1 + random() % 3; tests != 0; --tests) {
                cond.add({random() % 2 == 0 ? kLanguage : kBinary, any()});
                if (random() % 2 == 0) { cond.add({any(), any(), any(), any(), any(), any()}); }
                cond.add({static_cast<u8>(0x84 + (tests == 1 ? 2 : 0) + random() % 2)});
            }
        }
        Bytes bytes = cond.bytes() + Bytes(1 + random() % 3, 0);
        if (!bxd::IsSearchCondition(bytes.data(), static_cast<u32>(bytes.size()))) { continue; }
        ++sound;
        (void)ask(cond, 0, {.attr = random() % 2 == 0 ? std::optional<u8>{u8{0x41}} : std::nullopt});
    }
    EXPECT_GT(sound, 300u);
}

// --- blanks ----------------------------------------------------------------------------------------------

class SearchBlanks : public SearchCardCase {
protected:
    // What 9E says of the item of a type; 9F says the opposite.
    bool filled(u32 type, u8 kind = kLanguage, u32 emptyFalse = 0)
    {
        SearchCondition cond = testOn(type);
        cond.bare(kFilled, kind);
        SearchCondition blank = testOn(type);
        blank.bare(kBlank, kind);
        const bool is = selects(cond, 0, {.emptyFalse = emptyFalse});
        EXPECT_NE(is, selects(blank, 0, {.emptyFalse = emptyFalse}));
        return is;
    }
};

TEST_F(SearchBlanks, AMissingValueIsNotBlank)
{
    store({{}});
    for (u32 type = 1; type <= 20; ++type) {
        for (u8 kind : {kLanguage, kBinary}) {
            EXPECT_TRUE(filled(type, kind)) << type;
            EXPECT_FALSE(filled(type, kind, 1)) << type;
        }
    }
}

TEST_F(SearchBlanks, TextsOfSpacesAloneAreBlankByLanguage)
{
    Row row;
    for (u32 type = 0; type <= 20; ++type) { row.push_back({TypeTag(type), B("  ")}); }
    store({row});
    for (u32 type = 1; type <= 20; ++type) {
        const bool text = type == 1 || type == 16 || type == 17;
        EXPECT_EQ(filled(type), !text) << type;
        EXPECT_TRUE(filled(type, kBinary)) << type;
        EXPECT_EQ(filled(type, kLanguage, 1), !text) << type;
    }
}

TEST_F(SearchBlanks, EachTextHasItsOwnWideSpace)
{
    store({{{"T001", {0x81, 0x40}}, {"T016", {0xE3, 0x80, 0x80}}, {"T017", {0xE3, 0x80, 0x80}}}});
    EXPECT_FALSE(filled(1));
    EXPECT_TRUE(filled(16));
    EXPECT_FALSE(filled(17));
    storeValue(17, {0x81, 0x40});
    EXPECT_TRUE(filled(17));
    store({{{"T001", Bytes(900, ' ')}, {"T017", Bytes(900, ' ') + B("x")}}});
    EXPECT_FALSE(filled(1));
    EXPECT_TRUE(filled(17));
}

TEST_F(SearchBlanks, OnAllItemsHiddenOnesAreNeitherBlankNorFilled)
{
    const std::vector<Item> hidden = {{17, 0, "aaaa", "hidden"}, {17, 0, "bbbb", "hidden"}};
    for (u8 op : {kFilled, kBlank}) {
        for (const Bytes& value : {B("x"), B(" "), Bytes{}}) {
            store({{{"aaaa", value}, {"bbbb", value}}}, hidden);
            SearchCondition cond;
            cond.allItems().bare(op);
            EXPECT_EQ(ask(cond), (Told{false, 2, op}));
        }
    }
    const std::vector<Item> mixed = {{17, 0, "aaaa", "hidden"}, {17, 0, "BBBB", "visible"}};
    store({{{"aaaa", B(" ")}, {"BBBB", B(" ")}}, {{"aaaa", B("x")}, {"BBBB", B("x")}}}, mixed);
    SearchCondition blank;
    blank.allItems().bare(kBlank);
    EXPECT_EQ(ask(blank, 0), (Told{true, 2, kBlank}));
    EXPECT_FALSE(selects(blank, 1));
    // Named, a hidden item is an item like any other.
    SearchCondition named;
    named.clause(17, 1).bare(kBlank);
    EXPECT_TRUE(selects(named, 0));
    EXPECT_FALSE(selects(named, 1));
}

}  // namespace
