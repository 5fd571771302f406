// SPDX-License-Identifier: MIT
// Passes over the whole table: removal of listed cards, of hidden entries, and of those that a filter
// selects. What they do where memory is short stands among the fault tests.
#include "index/bxd_indx_entries.h"

#include <set>

#include "tests/support/index_table.h"

namespace {

using namespace boxtest;

u32 Remove(const std::vector<u16>& cards)
{
    return _IndexNoDeleteWithNum(kIndex, cards.data(), static_cast<u16>(cards.size()));
}

class IndexRemoval : public TableCase {
protected:
    u32 deleteDoubly()
    {
        Fid index(kIndex, 3);
        return DeleteDoublyCardData(index.id());
    }
    u32 deleteAttr(u8 mask, u8 value, u8 negate)
    {
        Fid index(kIndex, 3);
        return DeleteAttrIndex(index.id(), mask, value, negate);
    }
    static IndexTable without(const IndexTable& table, const std::function<bool(const TableEntry&)>& gone)
    {
        IndexTable left = table;
        left.entries.clear();
        for (const TableEntry& e : table.entries) {
            if (!gone(e)) { left.entries.push_back(e); }
        }
        return left;
    }
};

// --- by cards ---------------------------------------------------------------------------------------------

TEST_F(IndexRemoval, ListedCardsGoAndTheOthersCloseUp)
{
    for (std::size_t size : TestSizes()) {
        if (size == 65535) { continue; }
        const IndexTable table = IndexTable::Of(SomeEntries(size));
        for (std::size_t step : {1u, 2u, 3u, 50u}) {
            std::vector<u16> cards;
            for (std::size_t n = 0; n < size; n += step) {
                cards.push_back(static_cast<u16>(table.entries[n].id));
            }
            if (cards.empty()) { continue; }
            putIndex(table);
            ASSERT_EQ(Remove(cards), 0u);
            const std::set<u32> gone(cards.begin(), cards.end());
            const IndexTable left =
                without(table, [&](const TableEntry& e) { return gone.count(e.id) != 0; });
            ASSERT_TRUE(SameBytes(left.build(), file())) << size << " entries, every " << step;
        }
    }
}

TEST_F(IndexRemoval, AFullTableLosesItsLastEntryByItsCard)
{
    IndexTable table = IndexTable::Of(TableEntries(65535, TableEntry{7}));
    table.entries.back().id = 9;
    putIndex(table);
    ASSERT_EQ(Remove({9}), 0u);
    table.entries.pop_back();
    EXPECT_TRUE(SameBytes(table.build(), file()));
}

TEST_F(IndexRemoval, AllOfThemLeaveAnEmptyTable)
{
    putEntries({{1}, {2}, {3}});
    ASSERT_EQ(Remove({3, 1, 2}), 0u);
    EXPECT_TRUE(SameBytes(IndexTable{}.build(), file()));
}

TEST_F(IndexRemoval, NoListIsOutOfRange)
{
    putEntries({{1}});
    const u16 id = 1;
    EXPECT_EQ(_IndexNoDeleteWithNum(kIndex, nullptr, 1), 35u);
    EXPECT_EQ(_IndexNoDeleteWithNum(kIndex, &id, 0), 35u);
    EXPECT_EQ(_IndexNoDeleteWithNum("F0:NONE.IDX", nullptr, 1), 35u) << "before the file is looked at";
    EXPECT_EQ(entries().size(), 1u);
}

TEST_F(IndexRemoval, CardsThatAreNotThereChangeNothing)
{
    putEntries({{1}, {2, 0x47, 1}});
    // The file is longer than its table: a pass that wrote would cut it.
    const Bytes before = file() + Bytes{0xFF, 0xFF, 1, 2};
    put(before, kIndex);
    EXPECT_EQ(Remove({3, 4, 0xFFFF}), 0u);
    EXPECT_TRUE(SameBytes(before, file()));
}

TEST_F(IndexRemoval, AnEmptyTableAndNoTableAreDoneAtOnce)
{
    for (bool there : {true, false}) {
        IndexTable table;
        table.table = there;
        putIndex(table);
        EXPECT_EQ(Remove({1}), 0u);
        EXPECT_TRUE(SameBytes(table.build(), file()));
    }
}

TEST_F(IndexRemoval, AnIdListedTwiceRemovesOneEntryAndTheScanGoesOn)
{
    putEntries({{5}, {1}, {5}, {5}, {2}});
    ASSERT_EQ(Remove({5, 5}), 0u);
    EXPECT_EQ(entries(), (TableEntries{{1}, {5}, {2}})) << "two have gone, and the scan ends";
    putEntries({{5}, {1}, {2}});
    ASSERT_EQ(Remove({5, 5}), 0u);
    EXPECT_EQ(entries(), (TableEntries{{1}, {2}}));
}

TEST_F(IndexRemoval, AsManyAsListedAndNoMoreAreRemoved)
{
    putEntries({{5}, {6}, {5}});
    ASSERT_EQ(Remove({5}), 0u);
    EXPECT_EQ(entries(), (TableEntries{{6}, {5}}));
}

TEST_F(IndexRemoval, HiddenEntriesStayHiddenWhenTheirFirstGoes)
{
    putEntries({{1}, {2, 0x47, 1}, {3, 0x47, 1}, {4}});
    ASSERT_EQ(Remove({1, 3}), 0u);
    EXPECT_EQ(entries(), (TableEntries{{2, 0x47, 1}, {4}}));
}

TEST_F(IndexRemoval, WhatStandsBehindTheTableIsCut)
{
    putEntries({{1}, {2}});
    put(file() + Bytes(100, 7), kIndex);
    ASSERT_EQ(Remove({1}), 0u);
    EXPECT_TRUE(SameBytes(IndexTable::Of({{2}}).build(), file()));
}

TEST_F(IndexRemoval, AnEndMarkBeforeTheCountEndsTheTable)
{
    putEntries({{1}, {2}, {0xFFFF, 0xFF, 0xFF}, {2}});
    ASSERT_EQ(Remove({2, 3}), 0u);
    EXPECT_TRUE(SameBytes(IndexTable::Of({{1}}).build(), file()));
}

TEST_F(IndexRemoval, TheCheckOfAListStopsWhenAllHaveGone)
{
    const u16 cards[3] = {7, 9, 9};
    EXPECT_EQ(CheckDeleteCardID(3, 0, cards, 7), 1u);
    EXPECT_EQ(CheckDeleteCardID(3, 2, cards, 9), 1u);
    EXPECT_EQ(CheckDeleteCardID(3, 2, cards, 8), 0u);
    EXPECT_EQ(CheckDeleteCardID(3, 3, cards, 9), 0u);
    EXPECT_EQ(CheckDeleteCardID(3, 65535, cards, 9), 0u);
    EXPECT_EQ(CheckDeleteCardID(1, 0, cards, 9), 0u) << "only the first n are the list";
    EXPECT_EQ(CheckDeleteCardID(0, 0, nullptr, 9), 0u);
}

// --- hidden entries ---------------------------------------------------------------------------------------

TEST_F(IndexRemoval, AllHiddenEntriesGoAtOnce)
{
    for (std::size_t size : TestSizes()) {
        for (unsigned hidden : {0u, 1u, 8u, 16u}) {
            const IndexTable table = IndexTable::Of(SomeEntries(size, hidden));
            putIndex(table);
            ASSERT_EQ(deleteDoubly(), 0u);
            const IndexTable left = without(table, [](const TableEntry& e) { return (e.flags & 1) != 0; });
            ASSERT_TRUE(SameBytes(left.build(), file())) << size << " entries, " << hidden << " of 16 hidden";
        }
    }
}

TEST_F(IndexRemoval, WithoutHiddenEntriesNothingIsWritten)
{
    putEntries(SomeEntries(20, 0));
    const Bytes before = file() + Bytes(10, 1);
    put(before, kIndex);
    EXPECT_EQ(deleteDoubly(), 0u);
    EXPECT_TRUE(SameBytes(before, file()));
    IndexTable none;
    none.table = false;
    putIndex(none);
    EXPECT_EQ(deleteDoubly(), 0u);
    EXPECT_TRUE(SameBytes(none.build(), file()));
}

TEST_F(IndexRemoval, HiddenEntriesBehindAnEarlyEndMarkAreNotReached)
{
    putEntries({{1}, {2, 0x47, 1}, {0xFFFF, 0, 0}, {3}, {4, 0x47, 1}});
    ASSERT_EQ(deleteDoubly(), 0u);
    EXPECT_TRUE(SameBytes(IndexTable::Of({{1}}).build(), file()));
}

// --- by attribute -----------------------------------------------------------------------------------------

TEST_F(IndexRemoval, SelectedEntriesGoWhateverTheTableHolds)
{
    for (std::size_t size : TestSizes()) {
        for (auto [mask, value] :
             {std::pair<u8, u8>{0xC0, 0x40}, {70, 0}, {0, 0}, {0x0F, 0x07}, {0x01, 0x02}}) {
            for (u8 negate : {u8{0}, u8{1}}) {
                IndexTable table = IndexTable::Of(SomeEntries(size));
                putIndex(table);
                ASSERT_EQ(deleteAttr(mask, value, negate), 0u);
                IndexTable left;
                bool clear = false;
                for (TableEntry e : table.entries) {
                    if (clear) { e.flags &= 0xFEu; }
                    clear = (e.flags & 1) == 0 && ((e.attr & mask) == value) != (negate != 0);
                    if (!clear) { left.entries.push_back(e); }
                }
                ASSERT_TRUE(SameBytes(left.build(), file())) << size << ", mask " << int{mask};
            }
        }
    }
}

TEST_F(IndexRemoval, TheValueIsAsTheEntriesHaveIt)
{
    putEntries({{1, 0x47}, {2, 0x07}, {3, 0x47}});
    ASSERT_EQ(deleteAttr(0x40, 0x00, 0), 0u);
    EXPECT_EQ(entries(), (TableEntries{{1, 0x47}, {3, 0x47}}));
}

TEST_F(IndexRemoval, TheNextOfARunBecomesVisibleAndIsLookedAtThen)
{
    putEntries({{1, 0x00}, {2, 0x00, 1}, {3, 0x40, 0x81}, {4, 0x00, 1}, {5, 0x00, 1}});
    ASSERT_EQ(deleteAttr(0x40, 0x00, 0), 0u);
    EXPECT_EQ(entries(), (TableEntries{{3, 0x40, 0x80}, {4, 0x00, 1}, {5, 0x00, 1}}))
        << "2 was seen after 1 had gone; 3 lost the bit alone; 4 and 5 are hidden behind 3";
}

TEST_F(IndexRemoval, AHiddenEntryIsKept)
{
    putEntries({{1, 0x40}, {2, 0x00, 1}, {3, 0x00, 1}});
    const Bytes before = file();
    ASSERT_EQ(deleteAttr(0x40, 0x00, 0), 0u);
    EXPECT_TRUE(SameBytes(before, file()));
}

TEST_F(IndexRemoval, AFilterThatSelectsNothingWritesNothing)
{
    putEntries({{1, 0x40}, {2, 0x40}});
    const Bytes before = file() + Bytes(5, 0x77);
    put(before, kIndex);
    EXPECT_EQ(deleteAttr(0, 0, 1), 0u);
    EXPECT_TRUE(SameBytes(before, file()));
    for (bool there : {true, false}) {
        IndexTable table;
        table.table = there;
        putIndex(table);
        EXPECT_EQ(deleteAttr(0, 0, 0), 0u);
        EXPECT_TRUE(SameBytes(table.build(), file()));
    }
}

TEST_F(IndexRemoval, AFilterThatSelectsAllLeavesAnEmptyTable)
{
    putEntries(SomeEntries(129, 0));
    EXPECT_EQ(deleteAttr(0, 0, 0), 0u);
    EXPECT_TRUE(SameBytes(IndexTable{}.build(), file()));
}

TEST_F(IndexRemoval, AnIndexOpenForReadingIsNotChanged)
{
    putEntries({{1}, {2, 0x47, 1}});
    const Bytes before = file();
    Fid open(kIndex, 1);
    EXPECT_EQ(DeleteAttrIndex(open.id(), 0, 0, 0), 71u);
    EXPECT_EQ(DeleteDoublyCardData(open.id()), 71u);
    EXPECT_EQ(AddLastIndex(open.id(), 3, 0x47), 71u);
    EXPECT_TRUE(SameBytes(before, file()));
}

}  // namespace
