// SPDX-License-Identifier: MIT
// The search in an index: where it begins, what it refuses, what it takes of the order.
#include "tests/support/search_case.h"

namespace {

using namespace searchtest;

constexpr u8 kBackward = 1;

class IndexSearch : public SearchCase {
protected:
    // Cards 1 to 8, in the order of their readings.
    void SetUp() override
    {
        makeBox({"aa", "ab", "b", "c", "c", "ca", "d", "e"});
        putOrdered(8);
    }
    static Bytes reading(u8 op, const std::string& text) { return Clause("READ", op, text); }
    static Bytes number(u8 op, u32 n) { return Clause("NUMB", op, n); }
    // A test that every card satisfies, on an item that is not the key.
    static Bytes all() { return number(0x98, 0); }
};

TEST_F(IndexSearch, FindsTheNextCardInEitherDirection)
{
    EXPECT_EQ(findAll(reading(0x90, "c")), (std::vector<u32>{4, 5}));
    EXPECT_EQ(findAll(reading(0x91, "c")), (std::vector<u32>{4, 5, 6}));
    EXPECT_EQ(findAll(reading(0x92, "a")), (std::vector<u32>{1, 2, 6}));
    EXPECT_EQ(findAll(reading(0x99, "ca")), (std::vector<u32>{7, 8}));
    EXPECT_EQ(findAll(reading(0x9B, "b")), (std::vector<u32>{1, 2}));
    EXPECT_EQ(findAll(reading(0x90, "c"), {kBackward}), (std::vector<u32>{5, 4}));
    EXPECT_EQ(findAll(number(0x90, 7)), (std::vector<u32>{7}));
}

TEST_F(IndexSearch, StartsBesideTheEntryThatIsGiven)
{
    EXPECT_EQ(find(all(), {0, 0}), 1u);
    EXPECT_EQ(find(all(), {0, 1}), 2u);
    EXPECT_EQ(find(all(), {0, 7}), 8u);
    EXPECT_EQ(find(all(), {kBackward, 65535}), 8u);
    EXPECT_EQ(find(all(), {kBackward, 8}), 7u);
    EXPECT_EQ(find(all(), {kBackward, 2}), 1u);
    // From a number that no entry has there is nothing, but 65533 forward is the last.
    for (u16 start : {u16{8}, u16{9}, u16{65532}, u16{65534}, u16{65535}}) {
        EXPECT_EQ(search(all(), {0, start}), 66u) << start;
    }
    EXPECT_EQ(find(all(), {0, 65533}), 8u);
    for (u16 start : {u16{0}, u16{1}, u16{10}, u16{65534}}) {
        EXPECT_EQ(search(all(), {kBackward, start}), 66u) << start;
    }
    EXPECT_EQ(find(all(), {kBackward, 9}), 8u);
}

TEST_F(IndexSearch, RefusesConditionsThatNoSearchTakes)
{
    const Bytes refused[] = {{},
                             Clause("NONE", 0x90, "a"),
                             B("READ"),
                             B("READ") + Bytes{0xFE, 0x90, 99, 1},
                             Clause("READ", 0x94),
                             reading(0x90, "c") + kAndClause + Clause("READ", 0x94),
                             Bytes{0xFE, 0x96, 1},
                             reading(0x90, "c") + kAndClause + Bytes{0xFE, 0x96, 1},
                             reading(0x90, std::string(5000, 'x'))};
    for (const Bytes& clauses : refused) {
        EXPECT_EQ(search(clauses), 66u) << ::testing::PrintToString(clauses);
    }
    u16 number = kNothing;
    EXPECT_EQ(_IndexSearch(kIndex, nullptr, nullptr, 0, 0, 0, 0, 0, &number), 66u);
    EXPECT_EQ(number, kNothing);
}

TEST_F(IndexSearch, FindsNothingWithoutTableOrEntries)
{
    putIndex(ordered(kByLanguage));
    EXPECT_EQ(search(all()), 66u);
    putIndex(ordered(kByLanguage).table());
    EXPECT_EQ(search(all()), 66u);
    EXPECT_EQ(search(all(), {kBackward, 65535}), 66u);
    EXPECT_EQ(search(all(), {0, 65533}), 66u);
}

TEST_F(IndexSearch, TellsWhatIsMissing)
{
    const Bytes condition = Whole(all());
    u16 number = kNothing;
    EXPECT_EQ(_IndexSearch("F0:NONE.IDX", nullptr, condition.data(), 0, 0, 0, 0, 0, &number), 64u);
    EXPECT_EQ(_IndexSearch(kBox, nullptr, condition.data(), 0, 0, 0, 0, 0, &number), 64u);
    putIndex(IndexBuilder().created().entries(visible({1})));
    EXPECT_EQ(search(all()), 64u);
    putIndex(IndexBuilder().created().record(1, "GONE.BOX").entries(visible({1})));
    EXPECT_EQ(search(all()), 64u);
    BoxHandle closed = _BoxOpen(kBox);
    ASSERT_EQ(_BoxClose(closed), 0u);
    putOrdered(8);
    EXPECT_EQ(search(all(), {}, closed), 71u);
}

TEST_F(IndexSearch, TakesTheHandleOfItsBoxOrOpensIt)
{
    OpenBox own(kBox);
    EXPECT_EQ(findAll(reading(0x91, "c"), {}, own.handle()), (std::vector<u32>{4, 5, 6}));
    put(BoxOf({"c", "c", "c"}).build(), "F0:OTHER.BOX");
    OpenBox other("F0:OTHER.BOX");
    EXPECT_EQ(findAll(reading(0x91, "c"), {}, other.handle()), (std::vector<u32>{4, 5, 6}));
}

TEST_F(IndexSearch, SeesWhatPassesTheFilterAndIsNotHidden)
{
    std::vector<IndexEntry> entries = visible(IdsTo(8));
    entries[3].flags = 1;
    entries[4].attr = 0x87;
    entries[6].attr = 0x07;
    putOrdered(entries);
    EXPECT_EQ(findAll(all()), (std::vector<u32>{1, 2, 3, 5, 6, 7, 8}));
    // The stored bit 0x40 is the other way round than the caller's.
    EXPECT_EQ(findAll(all(), {0, 0, 0x40, 0x40}), (std::vector<u32>{5, 7}));
    EXPECT_EQ(findAll(all(), {kBackward, 0, 0x40, 0x40, 1}), (std::vector<u32>{8, 6, 3, 2, 1}));
    EXPECT_EQ(findAll(all(), {0, 0, 0x80, 0x80}), (std::vector<u32>{5}));
    EXPECT_EQ(findAll(reading(0x90, "c")), (std::vector<u32>{5}));
    EXPECT_EQ(findAll(reading(0x90, "c"), {kBackward}), (std::vector<u32>{5}));
}

TEST_F(IndexSearch, JumpsToTheFirstCandidateAndEndsBehindTheLast)
{
    // Entries that the search must not meet name cards that are not there.
    std::vector<IndexEntry> entries = visible({1, 77, 2, 3, 4, 5, 6, 7, 78, 8});
    putOrdered(entries);
    EXPECT_EQ(findAll(reading(0x90, "c")), (std::vector<u32>{5, 6}));
    EXPECT_EQ(findAll(reading(0x90, "c"), {kBackward}), (std::vector<u32>{6, 5}));
    EXPECT_EQ(search(reading(0x90, "cb")), 66u);
    // A scan step by step meets them.
    EXPECT_EQ(findAll(number(0x90, 4)), (std::vector<u32>{}));
    // Out of order, what is behind the first card that fails is not looked for.
    putOrdered(visible({1, 2, 3, 6, 4, 5, 7, 8}));
    EXPECT_EQ(find(reading(0x90, "c")), 0u);
}

TEST_F(IndexSearch, StopsAtTheOperatorThatTheOrderExcludes)
{
    putOrdered(visible({7, 8, 1}));  // "d", "e", "aa"
    EXPECT_EQ(find(reading(0x9A, "c")), 0u);
    EXPECT_EQ(find(reading(0x9B, "c")), 0u);
    EXPECT_EQ(find(reading(0x92, "a")), 3u);  // nothing is excluded
    EXPECT_EQ(find(number(0x9A, 3)), 3u);
}

TEST_F(IndexSearch, AFurtherTestOfTheItemEndsTheScanToo)
{
    const Bytes second = reading(0x98, "b") + kAndTest + TestOf(0x9B, kUtf8, B("d"));
    EXPECT_EQ(findAll(second), (std::vector<u32>{3, 4, 5, 6}));
    // One that contradicts the order ends it at once, a test of what is contained does not.
    EXPECT_EQ(findAll(reading(0x98, "b") + kAndTest + TestOf(0x91, kUtf8, B("d"))), (std::vector<u32>{}));
    EXPECT_EQ(findAll(reading(0x98, "b") + kAndTest + TestOf(0x92, kUtf8, B("a"))), (std::vector<u32>{6}));
    EXPECT_EQ(findAll(reading(0x91, "c") + kAndClause + number(0x90, 5)), (std::vector<u32>{5}));
}

TEST_F(IndexSearch, WithoutASortConditionOnlyTheFirstEntryIsLookedAt)
{
    putIndex(indexBy(kByReading).entries(visible(IdsTo(8))));
    EXPECT_EQ(find(reading(0x91, "a")), 1u);
    EXPECT_EQ(find(reading(0x91, "c")), 0u);
    EXPECT_EQ(find(reading(0x91, "c"), {0, 3}), 4u);
    // A condition with an OR is not looked at for a jump.
    EXPECT_EQ(findAll(reading(0x90, "b") + kOrClause + reading(0x90, "d")), (std::vector<u32>{3, 7}));
    // An empty one is there, and leads nowhere.
    putIndex(indexBy({}).record(2, "").entries(visible({8, 5, 7, 4})));
    EXPECT_EQ(findAll(reading(0x90, "c")), (std::vector<u32>{2, 4}));
    // One whose operator is not marked as such ends the search, if the item is that of the test.
    putIndex(indexBy({}).record(2, B("READ") + Bytes{0xFD, 0x82, 0}).entries(visible({8, 5, 7, 4})));
    EXPECT_EQ(find(reading(0x90, "c")), 0u);
    EXPECT_EQ(findAll(number(0x9A, 5)), (std::vector<u32>{2, 4}));
    putIndex(indexBy({}).record(2, B("NONE") + Bytes{0xFE, 0x82, 0}).entries(visible({8, 5, 7, 4})));
    EXPECT_EQ(findAll(reading(0x90, "c")), (std::vector<u32>{2, 4}));
}

TEST_F(IndexSearch, EndsAtAnEntryWhoseCardIsNotThere)
{
    putOrdered(visible({1, 77, 3}));
    EXPECT_EQ(search(number(0x90, 3)), 66u);
    putOrdered(visible({77, 3}));
    EXPECT_EQ(search(number(0x90, 3)), 66u);
    putOrdered(visible({1, 0xFFFE, 3}));
    EXPECT_EQ(search(number(0x90, 3)), 66u);
    putOrdered(visible({1, 0, 3}));
    EXPECT_EQ(search(number(0x90, 3)), 66u);
    // One that does not pass is not looked for.
    std::vector<IndexEntry> entries = visible({1, 77, 3});
    entries[1].flags = 1;
    putOrdered(entries);
    EXPECT_EQ(find(number(0x90, 3)), 3u);
}

TEST_F(IndexSearch, EndsAtTheEndMarkAndWithTheFile)
{
    putIndex(ordered(kByLanguage).entries(visible(IdsTo(3))).setCount(8));
    EXPECT_EQ(find(number(0x90, 3)), 3u);
    EXPECT_EQ(search(number(0x90, 8)), 66u);
    Bytes file = get(kIndex);
    file.resize(file.size() - 2);
    put(file, kIndex);
    EXPECT_EQ(search(number(0x90, 8)), 71u);
    SetField(file, ix::tablePos, 8);
    put(file, kIndex);
    EXPECT_EQ(search(number(0x90, 8)), 71u);
}

TEST_F(IndexSearch, ABoxOfManyCardsIsSearchedFromEndToEnd)
{
    std::vector<std::string> readings;
    for (u32 n = 0; n < 700; ++n) { readings.push_back(Reading(n / 3)); }
    makeBox(readings);
    putOrdered(700);
    OpenBox box(kBox);
    const Bytes middle = reading(0x90, Reading(150));
    EXPECT_EQ(findAll(middle, {}, box.handle()), (std::vector<u32>{451, 452, 453}));
    EXPECT_EQ(findAll(middle, {kBackward}, box.handle()), (std::vector<u32>{453, 452, 451}));
    EXPECT_EQ(findAll(number(0x90, 700), {}, box.handle()), (std::vector<u32>{700}));
    EXPECT_EQ(findAll(number(0x90, 1), {kBackward}, box.handle()), (std::vector<u32>{1}));
    EXPECT_EQ(findAll(all(), {}, box.handle()).size(), 700u);
    EXPECT_EQ(findAll(reading(0x92, "19")).size(), 3u * 13);
}

}  // namespace
