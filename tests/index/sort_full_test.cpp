// SPDX-License-Identifier: MIT
// A full sort of an index: what it asks for, which way it goes, and the order that it leaves.
#include <algorithm>
#include <numeric>
#include <random>

#include "index/bxd_indx_sort.h"
#include "tests/support/quicksort_model.h"
#include "tests/support/sort_case.h"

namespace {

using namespace sorttest;

class SortFull : public SortCase {
protected:
    // Cards 1 to n with these keys in an index in the order of the ids.
    void start(const std::vector<u32>& keys, const Bytes& compiled = kByReading)
    {
        keys_ = keys;
        makeBox(Readings(keys));
        putIndex(EntriesOf(IdsTo(static_cast<u32>(keys.size()))), compiled);
    }
    std::vector<ModelEntry> modelled() const
    {
        std::vector<ModelEntry> model;
        for (u32 n = 0; n < keys_.size(); ++n) { model.push_back({keys_[n], n + 1}); }
        return QuicksortModel(model).sort();
    }
    // The entries are those that the model has, each with the attribute that it came with.
    void expectModelled() const
    {
        std::vector<u32> ids;
        for (const ModelEntry& entry : modelled()) { ids.push_back(entry.id); }
        EXPECT_EQ(entries(), EntriesOf(ids));
    }

    std::vector<u32> keys_;
};

std::vector<u32> Shuffled(u32 n, u32 values)
{
    std::vector<u32> keys(n);
    for (u32 i = 0; i < n; ++i) { keys[i] = i % values; }
    std::minstd_rand random(n + values);
    std::shuffle(keys.begin(), keys.end(), random);
    return keys;
}

TEST_F(SortFull, OfAnIndexWithoutTableIs225)
{
    makeBox(Readings({2, 1}));
    const Bytes before = indexBy(kByReading).build();
    put(before, kIndex);
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 225u);
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
}

TEST_F(SortFull, OfAnEmptyTableIs225)
{
    makeBox(Readings({2, 1}));
    const Bytes before = indexBy(kByReading).table().build();
    put(before, kIndex);
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 225u);
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
}

TEST_F(SortFull, AnIndexWithoutTableIs225EvenWithoutCondition)
{
    makeBox(Readings({1}));
    putIndex(indexBy({}));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 225u);
}

TEST_F(SortFull, AnEmptyTableWithoutConditionIs66)
{
    makeBox(Readings({1}));
    putIndex(indexBy({}).table());
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 66u);
}

TEST_F(SortFull, NeedsTheCompiledCondition)
{
    makeBox(Readings({2, 1}));
    const Bytes before = indexBy({}).record(2, kByReadingText).entries(EntriesOf({1, 2})).build();
    put(before, kIndex);
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 69u);
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
}

TEST_F(SortFull, AShortConditionIsNoOrderToMake)
{
    makeBox(Readings({2, 1}));
    for (const size_t length : {0u, 1u, 3u}) {
        const Bytes before = indexBy({}).record(2, Bytes(length, 'R')).entries(EntriesOf({1, 2})).build();
        put(before, kIndex);
        EXPECT_EQ(_IndexSort(kIndex, nullptr), 0u) << length;
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
    putIndex(indexBy({}).record(2, Bytes(4, 'R')).entries(EntriesOf({1, 2})));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 69u);
}

TEST_F(SortFull, AnEmptyCompiledConditionIs66WhateverTheOtherFormSays)
{
    makeBox(Readings({2, 1}));
    putIndex(indexBy({}).record(129, "").record(2, kByReadingText).entries(EntriesOf({1, 2})));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 66u);
    EXPECT_EQ(order(), (std::vector<u32>{1, 2}));
}

TEST_F(SortFull, TakesTwelveKeysAndRefusesThirteen)
{
    makeBox(Readings({2, 1}));
    Bytes twelve;
    for (int n = 0; n < 11; ++n) { twelve = twelve + Bytes{kSjis, kNameItem, kAscending}; }
    twelve = twelve + kByReading;
    putIndex(EntriesOf({1, 2}), twelve);
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{2, 1}));

    for (const size_t length : {size_t{39}, size_t{300}, size_t{32763}}) {
        const Bytes before = indexBy({}).record(129, Bytes(length, kUtf8)).entries(EntriesOf({1, 2})).build();
        put(before, kIndex);
        EXPECT_EQ(_IndexSort(kIndex, nullptr), 69u) << length;
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
}

TEST_F(SortFull, AConditionThatIsNotWholeKeysIsRefused)
{
    makeBox(Readings({2, 1}));
    putIndex(EntriesOf({1, 2}), kByReading + Bytes{kUtf8});
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 69u);
    EXPECT_EQ(order(), (std::vector<u32>{1, 2}));
}

TEST_F(SortFull, AKeyOfType0EndsTheCondition)
{
    makeBox(Readings({2, 1}));
    putIndex(EntriesOf({1, 2}), Bytes{0, 0, 0} + kByReading);
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{1, 2}));
}

TEST_F(SortFull, OfAFileThatIsNoIndexIs64)
{
    makeBox(Readings({1}));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 64u);
    EXPECT_EQ(_IndexSort(kBox, nullptr), 64u);
    putIndex(indexBy(kByReading).entry(1).setField(ix::fileVersion, 0xFF));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 64u);
}

TEST_F(SortFull, WithoutItsBoxIs64)
{
    putIndex(EntriesOf({1, 2}));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 64u);
    makeBox(Readings({1}));
    putIndex(IndexBuilder().created().record(129, kByReading).entry(1));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 64u);
}

TEST_F(SortFull, OfABoxWithoutItemsGivesTheStatusOfTheItemTable)
{
    put(NewBoxImage("TEST"));
    putIndex(EntriesOf({1, 2}));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 66u);
}

TEST_F(SortFull, TakesABadHandleFor71)
{
    makeBox(Readings({2, 1}));
    putIndex(EntriesOf({1, 2}));
    BoxRecord* record = nullptr;
    EXPECT_EQ(_IndexSort(kIndex, &record), 71u);
    EXPECT_EQ(order(), (std::vector<u32>{1, 2}));
}

TEST_F(SortFull, WorksThroughTheHandleOfItsBox)
{
    start(Shuffled(20, 20));
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(_IndexSort(kIndex, box.handle()), 0u);
    expectModelled();
}

TEST_F(SortFull, OfAnotherBoxThanTheHandlesOpensItsOwn)
{
    start(Shuffled(20, 20));
    put(BoxOf({}).build(), "F0:OTHER.BOX");
    OpenBox other("F0:OTHER.BOX");
    ASSERT_TRUE(other.ok());
    EXPECT_EQ(_IndexSort(kIndex, other.handle()), 0u);
    expectModelled();
}

TEST_F(SortFull, OfOneEntryLooksAtNothing)
{
    makeBox(Readings({1}));
    const Bytes before = indexBy(kByReading).entry(77).build();  // no such card
    put(before, kIndex);
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 0u);
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
}

TEST_F(SortFull, LeavesTheOrderOfTheKeys)
{
    for (const u32 n : {2u, 3u, 7u, 8u, 9u, 10u, 17u, 100u, 501u, 1000u}) {
        SCOPED_TRACE(n);
        start(Shuffled(n, n));
        ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
        const std::vector<u32> ids = order();
        ASSERT_EQ(ids.size(), n);
        for (u32 place = 0; place < n; ++place) { EXPECT_EQ(keys_[ids[place] - 1], place); }
        expectModelled();
    }
}

TEST_F(SortFull, DescendsWhereTheKeySaysSo)
{
    start(Shuffled(100, 100), kByReadingDown);
    ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
    const std::vector<u32> ids = order();
    for (u32 place = 0; place < 100; ++place) { EXPECT_EQ(keys_[ids[place] - 1], 99 - place); }
}

TEST_F(SortFull, GoesByTheSecondKeyWhereTheFirstIsEqual)
{
    start(Shuffled(60, 5), kByReading + Bytes{kHalf, kNumbItem, kAscending});
    ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
    std::vector<u32> want = IdsTo(60);
    std::stable_sort(want.begin(), want.end(), [&](u32 a, u32 b) { return keys_[a - 1] < keys_[b - 1]; });
    EXPECT_EQ(order(), want);
}

// Insertion keeps the order of equal cards; the quicksort from nine entries on does not.
TEST_F(SortFull, OfUpTo8EntriesKeepsTheOrderOfEqualCards)
{
    for (u32 n = 2; n <= 8; ++n) {
        SCOPED_TRACE(n);
        start(Shuffled(n, 3));
        ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
        std::vector<u32> want = IdsTo(n);
        std::stable_sort(want.begin(), want.end(), [&](u32 a, u32 b) { return keys_[a - 1] < keys_[b - 1]; });
        EXPECT_EQ(order(), want);
    }
}

TEST_F(SortFull, Of9EntriesIsAQuicksortWhichMayExchangeEqualCards)
{
    // The pivot, 2 in the middle, makes the two cards of key 5 change places.
    start({5, 5, 9, 9, 2, 9, 9, 1, 0});
    ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
    expectModelled();
    const std::vector<u32> ids = order();
    EXPECT_GT(std::find(ids.begin(), ids.end(), 1u), std::find(ids.begin(), ids.end(), 2u));
}

TEST_F(SortFull, OfEqualCardsChangesNothing)
{
    for (const u32 n : {8u, 9u, 10u, 64u, 333u}) {
        start(std::vector<u32>(n, 4));
        ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
        EXPECT_EQ(order(), IdsTo(n));
    }
}

TEST_F(SortFull, WithTiesLeavesTheOrderThatTheSplitsGive)
{
    for (const u32 values : {1u, 2u, 3u, 10u, 50u}) {
        for (const u32 n : {9u, 16u, 40u, 127u, 512u}) {
            SCOPED_TRACE(values * 1000 + n);
            start(Shuffled(n, values));
            ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
            expectModelled();
        }
    }
}

TEST_F(SortFull, ChangesNothingButTheEntries)
{
    start(Shuffled(50, 50));
    const Bytes before = get(kIndex);
    const Bytes box = get();
    ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
    Bytes after = get(kIndex);
    const u32 first = GetField(before, ix::tablePos) + 2;
    std::copy_n(before.begin() + first, 200, after.begin() + first);
    EXPECT_TRUE(SameBytes(before, after));
    EXPECT_TRUE(SameBytes(box, get()));
}

TEST_F(SortFull, NeedsAnOffsetArrayForTheHighestCardOnly)
{
    // Cards on both sides of the borders of tables.
    for (const u32 last : {500u, 501u, 628u, 629u, 756u, 757u}) {
        SCOPED_TRACE(last);
        std::vector<std::string> readings(last);
        for (u32 id = 1; id <= last; ++id) { readings[id - 1] = Reading(last - id); }
        makeBox(readings);
        putIndex(EntriesOf({1, last / 2, last}));
        ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
        EXPECT_EQ(order(), (std::vector<u32>{last, last / 2, 1}));
    }
}

TEST_F(SortFull, OfFiveThousandCardsWithTies)
{
    start(Shuffled(5000, 700));
    ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
    expectModelled();
}

TEST_F(SortFull, OfAllCardsThatABoxCanHave)
{
    start(Shuffled(65279, 65279));
    ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
    const std::vector<u32> ids = order();
    ASSERT_EQ(ids.size(), 65279u);
    u32 wrong = 0;
    for (u32 place = 0; place < ids.size(); ++place) { wrong += keys_[ids[place] - 1] == place ? 0 : 1; }
    EXPECT_EQ(wrong, 0u);
}

TEST_F(SortFull, Of65535Entries)
{
    makeBox(Readings(Shuffled(300, 300)));
    std::vector<IndexEntry> entries;
    for (u32 n = 0; n < 65535; ++n) { entries.push_back({n % 300 + 1, 0x47, 0}); }
    putIndex(entries);
    ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
    const std::vector<u32> keys = Shuffled(300, 300);
    const std::vector<u32> ids = order();
    std::array<u32, 301> times{};
    for (u32 id : ids) { ++times[id]; }
    for (u32 id = 1; id <= 300; ++id) { EXPECT_EQ(times[id], id <= 135 ? 219u : 218u); }
    EXPECT_TRUE(
        std::is_sorted(ids.begin(), ids.end(), [&](u32 a, u32 b) { return keys[a - 1] < keys[b - 1]; }));
}

TEST_F(SortFull, ByLanguage)
{
    makeBox({"b", "A", "\u304B", "a", "B"});
    putIndex(EntriesOf(IdsTo(5)), {kUtf8, kReadItem, 0x80});
    ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{2, 4, 5, 1, 3}));
}

TEST_F(SortFull, OfLongTextsComparesBeyondTheHead)
{
    std::vector<std::string> readings;
    for (const char* tail : {"c", "a", "", "b"}) { readings.push_back(std::string(90, 'x') + tail); }
    makeBox(readings);
    for (const u8 code : {u8{0x80}, u8{0x82}}) {
        putIndex(EntriesOf(IdsTo(4)), {kUtf8, kReadItem, code});
        ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
        EXPECT_EQ(order(), (std::vector<u32>{3, 2, 4, 1}));
    }
}

}  // namespace
