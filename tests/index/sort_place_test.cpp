// SPDX-License-Identifier: MIT
// Placing one card: after an append, after the card has changed, in memory and on the file.
#include <algorithm>

#include "index/bxd_indx_sort.h"
#include "index/bxd_indx_sort_fast.h"
#include "index/bxd_indx_sort_file.h"
#include "tests/support/sort_case.h"

namespace {

using namespace sorttest;

// Each way of sorting, by the same call.
enum class Way { kMemory, kFile, kEither };

class SortPlace : public SortCase {
protected:
    void SetUp() override { makeBox(Readings({10, 20, 30, 30, 40, 50, 5, 30, 60, 45})); }

    // Opens box and index for `work`.
    template <typename Work>
    auto with(Work work)
    {
        OpenBox box(kBox);
        Fid index(kIndex);
        EXPECT_TRUE(box.ok() && index.ok());
        return work(box, index.id());
    }
    u32 exec(Way way, u16 count, u16 sortedEnd, u16 first)
    {
        return with([&](OpenBox& box, u8 index) {
            bxd::SortKeys keys;
            EXPECT_EQ(bxd::ReadCompiledSort(index, &keys), 0u);
            u32 pos = 0;
            EXPECT_EQ(bxd::ReadWord(index, 4, &pos), 0u);
            i32 full = sortedEnd == 0 ? 1 : 0;
            switch (way) {
            case Way::kMemory:
                return FastSort(box.fid(), index, count, keys.keys, pos, sortedEnd, first, full, 0);
            case Way::kFile:
                return bxd::SortOnFile(box.fid(), index, count, keys.keys, pos, sortedEnd, first, 0);
            default: return ExecSort(box.fid(), index, count, keys.keys, pos, sortedEnd, first, full, 0);
            }
        });
    }
    u32 last(u16* position)
    {
        return with([&](OpenBox& box, u8 index) {
            return LastIndexSort(box.fid(), index, box.record()->itemTable, position, 0);
        });
    }
    u32 one(u16 card, u8 attr = 0x55)
    {
        return with([&](OpenBox& box, u8 index) {
            IndexCardPos where{};
            EXPECT_EQ(SearchIndexCardID(index, card, &where), 0u);
            where.attr = attr;
            return OneDataIndexSort(box.fid(), index, box.record(), &where, 0);
        });
    }
    static std::vector<IndexEntry> moved(std::vector<IndexEntry> entries, u32 from, u32 to)
    {
        const IndexEntry entry = entries[from - 1];
        entries.erase(entries.begin() + from - 1);
        entries.insert(entries.begin() + to - 1, entry);
        return entries;
    }
};

// Cards of the box: 1:10 2:20 3:30 4:30 5:40 6:50 7:5 8:30 9:60 10:45.

TEST_F(SortPlace, PutsTheLastEntryWhereItBelongs)
{
    struct Case {
        u32 card;
        u32 place;
    };
    const std::vector<u32> sorted{1, 2, 3, 4, 5, 6};
    for (const Case c : {Case{7, 1}, Case{8, 5}, Case{10, 6}, Case{9, 7}}) {
        for (const Way way : {Way::kMemory, Way::kFile, Way::kEither}) {
            SCOPED_TRACE(c.card);
            std::vector<u32> ids = sorted;
            ids.push_back(c.card);
            putIndex(EntriesOf(ids));
            EXPECT_EQ(exec(way, 7, 6, 7), c.place);
            EXPECT_EQ(entries(), moved(EntriesOf(ids), 7, c.place));
        }
    }
}

TEST_F(SortPlace, ACardEqualToTheLastStaysAtTheEnd)
{
    for (const Way way : {Way::kMemory, Way::kFile}) {
        putIndex(EntriesOf({1, 2, 3, 4, 8}));
        EXPECT_EQ(exec(way, 5, 4, 5), 5u);
        EXPECT_EQ(order(), (std::vector<u32>{1, 2, 3, 4, 8}));
    }
}

TEST_F(SortPlace, EveryPlaceIsFoundInTablesOfEverySize)
{
    for (u32 n = 1; n <= 20; ++n) {
        // Keys 10, 20, ... n * 10; the card placed has the key 10 * place - 5 or, equal to one, 10 * place.
        std::vector<std::string> readings;
        for (u32 i = 1; i <= n; ++i) { readings.push_back(Reading(i * 10)); }
        for (u32 i = 0; i <= n; ++i) { readings.push_back(Reading(i * 10 + 5)); }
        for (u32 i = 1; i <= n; ++i) { readings.push_back(Reading(i * 10)); }
        makeBox(readings);
        for (u32 card = n + 1; card <= 3 * n + 1; ++card) {
            const u32 place = card <= 2 * n + 1 ? card - n : card - 2 * n - 1 + 1;
            for (const Way way : {Way::kMemory, Way::kFile}) {
                std::vector<u32> ids = IdsTo(n);
                ids.push_back(card);
                putIndex(EntriesOf(ids));
                ASSERT_EQ(exec(way, static_cast<u16>(n + 1), static_cast<u16>(n), static_cast<u16>(n + 1)),
                          place)
                    << n << " entries, card " << card;
                EXPECT_EQ(entries(), moved(EntriesOf(ids), n + 1, place));
            }
        }
    }
}

TEST_F(SortPlace, SeveralEntriesArePlacedOneAfterTheOther)
{
    for (const Way way : {Way::kMemory, Way::kFile}) {
        putIndex(EntriesOf({2, 6, 9, 7, 4, 1, 3}));
        // Card 3 is placed last, behind its equal 4.
        EXPECT_EQ(exec(way, 7, 3, 4), 5u);
        EXPECT_EQ(order(), (std::vector<u32>{7, 1, 2, 4, 3, 6, 9}));
    }
}

TEST_F(SortPlace, OnTheFileAFullSortIsStable)
{
    putIndex(EntriesOf({8, 9, 4, 7, 6, 3, 10, 5, 2, 1}));
    EXPECT_NE(exec(Way::kFile, 10, 0, 0), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{7, 1, 2, 8, 4, 3, 5, 10, 6, 9}));
}

TEST_F(SortPlace, FlagsTravelWithTheirEntries)
{
    for (const Way way : {Way::kMemory, Way::kFile}) {
        const std::vector<IndexEntry> before{
            {1, 0x11, 0}, {3, 0x33, 0}, {4, 0x44, 1}, {6, 0x66, 0x80}, {7, 0x77, 0x81}};
        putIndex(before);
        EXPECT_EQ(exec(way, 5, 4, 5), 1u);
        EXPECT_EQ(entries(), moved(before, 5, 1));
    }
}

TEST_F(SortPlace, ExecSortOfOneEntryIsDone)
{
    putIndex(EntriesOf({77}));
    EXPECT_EQ(exec(Way::kEither, 1, 0, 0), 1u);
}

TEST_F(SortPlace, BoundsThatAreNoneFail)
{
    putIndex(EntriesOf({2, 1, 3}));
    const Bytes before = get(kIndex);
    for (const Way way : {Way::kMemory, Way::kFile, Way::kEither}) {
        EXPECT_EQ(exec(way, 0, 0, 0), 0u);
        EXPECT_EQ(exec(way, 0, 0xFFFF, 0), 0u);
        EXPECT_EQ(exec(way, 3, 2, 4), 0u);
        EXPECT_EQ(exec(way, 3, 2, 2), 0u);
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
}

// --- LastIndexSort ---------------------------------------------------------------------------------------

TEST_F(SortPlace, LastPlacesByTheCompiledCondition)
{
    putIndex(EntriesOf({1, 2, 5, 3}));
    u16 position = 0;
    EXPECT_EQ(last(&position), 0u);
    EXPECT_EQ(position, 3);
    EXPECT_EQ(order(), (std::vector<u32>{1, 2, 3, 5}));
}

TEST_F(SortPlace, LastPlacesByTheOtherFormWhereNoneIsCompiled)
{
    for (const bool empty : {false, true}) {
        IndexBuilder index = indexBy({}).record(2, kByReadingText);
        if (empty) { index.record(129, ""); }
        putIndex(index.entries(EntriesOf({1, 2, 5, 3})));
        u16 position = 0;
        EXPECT_EQ(last(&position), 0u);
        EXPECT_EQ(position, 3);
        EXPECT_EQ(order(), (std::vector<u32>{1, 2, 3, 5}));
    }
}

TEST_F(SortPlace, LastWithoutConditionIs66AndLeavesThePosition)
{
    for (const bool empty : {false, true}) {
        IndexBuilder index = indexBy({});
        if (empty) { index.record(129, "").record(2, ""); }
        putIndex(index.entries(EntriesOf({5, 1})));
        u16 position = 4711;
        EXPECT_EQ(last(&position), 66u);
        EXPECT_EQ(position, 4711);
        EXPECT_EQ(order(), (std::vector<u32>{5, 1}));
    }
}

TEST_F(SortPlace, LastInAnIndexWithoutOrderStaysLast)
{
    putIndex(indexBy({}).record(2, Bytes{0, 'x'}).entries(EntriesOf({5, 6, 1})));
    u16 position = 0;
    EXPECT_EQ(last(&position), 0u);
    EXPECT_EQ(position, 3);
    EXPECT_EQ(order(), (std::vector<u32>{5, 6, 1}));
}

TEST_F(SortPlace, LastWithAMalformedConditionIs69)
{
    const Bytes malformed[] = {B("NONE") + Bytes{0xFE, 0x82, 0},
                               B("READ") + Bytes{0xFE, 0x84, 0},
                               B("READ") + Bytes{0xFD, 0x82, 0},
                               B("REA"),
                               B("R"),
                               B("READ") + Bytes{0xFE}};
    for (const Bytes& text : malformed) {
        putIndex(indexBy({}).record(2, text).entries(EntriesOf({5, 1})));
        u16 position = 4711;
        EXPECT_EQ(last(&position), 69u);
        EXPECT_EQ(position, 4711);
        EXPECT_EQ(order(), (std::vector<u32>{5, 1}));
    }
    Bytes thirteen;
    for (int n = 0; n < 13; ++n) { thirteen = thirteen + B("READ") + Bytes{0xFE, 0x82}; }
    putIndex(indexBy({}).record(2, thirteen + Bytes{0}).entries(EntriesOf({5, 1})));
    u16 position = 0;
    EXPECT_EQ(last(&position), 69u);
    putIndex(indexBy({}).record(129, Bytes(39, kUtf8)).entries(EntriesOf({5, 1})));
    EXPECT_EQ(last(&position), 69u);
}

TEST_F(SortPlace, LastOfOneEntryIsTheFirst)
{
    putIndex(EntriesOf({77}));  // no card is looked at
    u16 position = 0;
    EXPECT_EQ(last(&position), 0u);
    EXPECT_EQ(position, 1);
}

TEST_F(SortPlace, LastThatCannotBeComparedIs71)
{
    putIndex(EntriesOf({1, 2, 77}));
    u16 position = 9;
    EXPECT_EQ(last(&position), 71u);
    EXPECT_EQ(order(), (std::vector<u32>{1, 2, 77}));
    putIndex(indexBy(kByReading).table());
    EXPECT_EQ(last(&position), 71u);
}

// --- OneDataIndexSort ------------------------------------------------------------------------------------

TEST_F(SortPlace, ACardInItsPlaceGetsItsAttributeAndNothingElse)
{
    for (const u16 card : {u16{1}, u16{4}, u16{6}}) {
        std::vector<IndexEntry> want = EntriesOf({1, 2, 3, 4, 5, 6});
        want[2].flags = want[3].flags = 0x81;
        putIndex(want);
        Bytes file = get(kIndex);
        EXPECT_EQ(one(card), 0u);
        file[GetField(file, ix::tablePos) + 2 + 4 * (card - 1) + 2] = 0x55;
        EXPECT_TRUE(SameBytes(file, get(kIndex)));
    }
}

TEST_F(SortPlace, ACardOutOfPlaceMovesThereWithItsAttribute)
{
    struct Case {
        std::vector<u32> ids;
        u16 card;
        u32 from;
        u32 to;
    };
    const Case cases[] = {
        {{6, 1, 2, 3}, 6, 1, 4},  // from the begin to the end
        {{2, 3, 5, 1}, 1, 4, 1},  // from the end to the begin
        {{1, 6, 2, 3}, 6, 2, 4},    {{2, 3, 1, 5}, 1, 3, 1},
        {{1, 5, 2, 3, 6}, 5, 2, 4}, {{1, 8, 2, 3, 6}, 8, 2, 4},  // behind its equal
        {{2, 1}, 1, 2, 1},          {{2, 1}, 2, 1, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.card);
        putIndex(EntriesOf(c.ids));
        EXPECT_EQ(one(c.card), 0u);
        std::vector<IndexEntry> want = EntriesOf(c.ids);
        want[c.from - 1].attr = 0x55;
        EXPECT_EQ(entries(), moved(want, c.from, c.to));
    }
}

// The neighbour before is above, the one behind is equal or above: out of place all the same.
TEST_F(SortPlace, WhatTheNeighbourBeforeSaysStays)
{
    putIndex(EntriesOf({5, 3, 4}));
    EXPECT_EQ(one(3), 0u);
    // Placed among 40, 30: asked is the last, 30, and equal to it the card goes behind it.
    EXPECT_EQ(order(), (std::vector<u32>{5, 4, 3}));
}

TEST_F(SortPlace, AFollowerOfACardThatLeavesBecomesVisible)
{
    putIndex({{6, 1, 0}, {3, 1, 0x01}, {4, 1, 0x01}});
    EXPECT_EQ(one(6), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{3, 1, 0}, {4, 1, 1}, {6, 0x55, 0}}));
}

TEST_F(SortPlace, AHiddenCardThatLeavesBecomesVisibleItselfAndItsFollowerStaysHidden)
{
    putIndex({{3, 1, 0}, {6, 1, 0x81}, {4, 1, 0x01}, {5, 1, 0}});
    EXPECT_EQ(one(6), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{3, 1, 0}, {4, 1, 1}, {5, 1, 0}, {6, 0x55, 0}}));
}

TEST_F(SortPlace, TheOnlyCardIsInItsPlace)
{
    putIndex(EntriesOf({3}));
    EXPECT_EQ(one(3), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{3, 0x55, 0}}));
}

TEST_F(SortPlace, OneInAnIndexWithoutOrderOnlyGetsItsAttribute)
{
    putIndex(indexBy({}).record(2, Bytes{0}).entries(EntriesOf({6, 77, 1})));
    EXPECT_EQ(one(77), 0u);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{{6, 42, 0}, {77, 0x55, 0}, {1, 7, 0}}));
}

TEST_F(SortPlace, OneWithoutConditionIs66)
{
    for (const bool empty : {false, true}) {
        IndexBuilder index = indexBy({});
        if (empty) { index.record(2, ""); }
        const Bytes before = index.entries(EntriesOf({6, 1})).build();
        put(before, kIndex);
        EXPECT_EQ(one(6), 66u);
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
}

TEST_F(SortPlace, OneWithAMalformedConditionIs71)
{
    const Bytes before =
        indexBy({}).record(2, B("READ") + Bytes{0xFE, 0x84, 0}).entries(EntriesOf({6, 1})).build();
    put(before, kIndex);
    EXPECT_EQ(one(6), 71u);
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
    put(indexBy(Bytes(39, kUtf8)).entries(EntriesOf({6, 1})).build(), kIndex);
    EXPECT_EQ(one(6), 69u);
}

TEST_F(SortPlace, OneWithACardOrNeighbourThatIsNotThereIs66)
{
    struct Case {
        std::vector<u32> ids;
        u16 card;
    };
    for (const Case& c : {Case{{1, 77, 5}, 77}, Case{{77, 1, 5}, 1}, Case{{1, 5, 77}, 5}}) {
        const Bytes before = indexBy(kByReading).entries(EntriesOf(c.ids)).build();
        put(before, kIndex);
        EXPECT_EQ(one(c.card), 66u);
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
}

// A card that is found and cannot be compared, for it lacks the item: before the entry it tells nothing,
// behind it the place is unknown.
TEST_F(SortPlace, OneBesideACardThatCannotBeCompared)
{
    BoxBuilder box = BoxOf(Readings({10, 20, 30, 30, 40, 50, 5, 30, 60, 45}));
    box.card(11, {});
    put(box.build());
    putIndex(EntriesOf({11, 3, 4}));
    EXPECT_EQ(one(3), 0u);
    EXPECT_EQ(entries()[1], (IndexEntry{3, 0x55, 0}));
    putIndex(EntriesOf({5, 11, 3}));  // the last, and no card before it is above
    EXPECT_EQ(one(3), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{5, 11, 3}));
    for (const std::vector<u32>& ids : {std::vector<u32>{3, 11, 4}, {5, 3, 11}, {1, 11}}) {
        const Bytes before = indexBy(kByReading).entries(EntriesOf(ids)).build();
        put(before, kIndex);
        EXPECT_EQ(one(static_cast<u16>(ids[1] == 11 ? ids[0] : 3)), 66u);
        EXPECT_EQ(one(11), 66u) << "it is no pivot";
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
}

TEST_F(SortPlace, OneThatCannotBePlacedIs71AndIsAtTheEnd)
{
    // The card moves to the end; among the rest it meets a card that is not there.
    putIndex(EntriesOf({6, 1, 2, 77, 3}));
    EXPECT_EQ(one(6), 0u);  // the last one is asked first, and 60 stays behind it
    EXPECT_EQ(order(), (std::vector<u32>{1, 2, 77, 3, 6}));
    putIndex(EntriesOf({2, 77, 5, 1, 6}));
    EXPECT_EQ(one(1), 71u);
    EXPECT_EQ(order(), (std::vector<u32>{2, 77, 5, 6, 1}));
}

}  // namespace
