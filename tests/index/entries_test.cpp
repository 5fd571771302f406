// SPDX-License-Identifier: MIT
// Entries appended and taken out one at a time, byte by byte.
#include "index/bxd_indx_entries.h"

#include "tests/support/index_table.h"

namespace {

using namespace boxtest;

class IndexEntries : public TableCase {
protected:
    u32 add(u32 id, u32 attr)
    {
        Fid index(kIndex, 3);
        return AddLastIndex(index.id(), static_cast<u16>(id), attr);
    }
    u32 clearDoubly(std::size_t pos)
    {
        Fid index(kIndex, 3);
        return DeleteDoublyBit(index.id(), static_cast<u32>(pos));
    }
};

// --- appending --------------------------------------------------------------------------------------------

TEST_F(IndexEntries, TheFirstEntryMakesTheTableAtTheEndOfTheFile)
{
    IndexTable table;
    table.table = false;
    putIndex(table);
    const Bytes before = file();
    ASSERT_EQ(add(0x1234, 0xC7), 0u);
    Bytes after = before;
    PutAt(after, kTablePosAt, static_cast<u32>(before.size()), 4);
    after = after + Bytes{1, 0, 0x34, 0x12, 0xC7, 0, 0xFF, 0xFF};
    EXPECT_TRUE(SameBytes(after, file()));
}

TEST_F(IndexEntries, TheNextTakesThePlaceOfTheEndMark)
{
    IndexTable table;
    table.table = false;
    putIndex(table);
    ASSERT_EQ(add(7, 0x47), 0u);
    const Bytes before = file();
    ASSERT_EQ(add(0xFEFF, 0x12345687), 0u);
    Bytes after(before.begin(), before.end() - 2);
    PutAt(after, table.tablePos(), 2, 2);
    after = after + Bytes{0xFF, 0xFE, 0x87, 0, 0xFF, 0xFF};
    EXPECT_TRUE(SameBytes(after, file())) << "the low byte of the attribute, no flags";
}

TEST_F(IndexEntries, EntriesStandInTheOrderOfTheirAppends)
{
    IndexTable table;
    table.table = false;
    putIndex(table);
    for (const TableEntry& e : SomeEntries(300, 0)) {
        ASSERT_EQ(add(e.id, e.attr), 0u);
        table.entries.push_back(e);
    }
    table.table = true;
    EXPECT_TRUE(SameBytes(table.build(), file()));
}

TEST_F(IndexEntries, AnAppendCutsWhatStandsBehindTheTable)
{
    putEntries({{1}, {2}});
    put(file() + Bytes(40, 0x33), kIndex);
    ASSERT_EQ(add(3, 0x47), 0u);
    EXPECT_TRUE(SameBytes(IndexTable::Of({{1}, {2}, {3}}).build(), file()));
}

TEST_F(IndexEntries, ATableEndsAt65535Entries)
{
    const IndexTable table = IndexTable::Of(SomeEntries(65534));
    putIndex(table);
    ASSERT_EQ(add(5, 0x47), 0u);
    EXPECT_EQ(index().count, 65535u);
    EXPECT_EQ(entries().back(), (TableEntry{5, 0x47, 0}));
    const Bytes full = file();
    EXPECT_EQ(add(6, 0x47), 71u);
    EXPECT_TRUE(SameBytes(full, file()));
}

TEST_F(IndexEntries, AnAppendIntoAnEmptyTableKeepsItsPlace)
{
    putEntries({});
    ASSERT_EQ(add(5, 0x47), 0u);
    EXPECT_TRUE(SameBytes(IndexTable::Of({{5}}).build(), file()));
}

TEST_F(IndexEntries, AnAppendPutsACountRightThatIsOneAhead)
{
    for (std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{5}}) {
        IndexTable table = IndexTable::Of(SomeEntries(size));
        Bytes ahead = table.build();
        PutAt(ahead, table.tablePos(), static_cast<u32>(size) + 1, 2);
        put(ahead, kIndex);
        ASSERT_EQ(add(600, 0x47), 0u);
        table.entries.push_back({600, 0x47, 0});
        EXPECT_TRUE(SameBytes(table.build(), file()));
    }
}

TEST_F(IndexEntries, AnAppendLeavesNoGapInATableThatIsTooShort)
{
    IndexTable table = IndexTable::Of(SomeEntries(5));
    for (u32 count : {7u, 8u, 1000u, 65535u}) {
        Bytes bytes = table.build();
        PutAt(bytes, table.tablePos(), count, 2);
        put(bytes, kIndex);
        EXPECT_EQ(add(600, 0x47), 71u) << count;
        EXPECT_TRUE(SameBytes(bytes, file()));
    }
}

// No record could be written into the file any more.
TEST_F(IndexEntries, NoTableIsMadeWithoutAnInformationAreaBeforeIt)
{
    IndexTable table;
    table.table = false;
    const Bytes whole = table.build();
    Bytes none(whole.begin(), whole.begin() + 24);
    PutAt(none, 8, 0xFFFFFFFF, 4);
    Bytes torn = whole;  // of which the end byte is missing
    torn.pop_back();
    Bytes wild = whole;
    PutAt(wild, 8, static_cast<u32>(whole.size()) + 10, 4);
    for (const Bytes& bytes : {none, torn, wild}) {
        put(bytes, kIndex);
        EXPECT_EQ(add(5, 0x47), 71u);
        EXPECT_TRUE(SameBytes(bytes, file()));
    }
}

TEST_F(IndexEntries, AMissingEndMarkIsWrittenByTheNextAppend)
{
    IndexTable table = IndexTable::Of({{1}, {2}});
    Bytes bytes = table.build();
    bytes.resize(bytes.size() - 2);
    put(bytes, kIndex);
    ASSERT_EQ(add(3, 0x47), 0u);
    table.entries.push_back({3});
    EXPECT_TRUE(SameBytes(table.build(), file()));
}

// --- hidden entries ---------------------------------------------------------------------------------------

TEST_F(IndexEntries, AHiddenEntryLosesAllItsFlags)
{
    const IndexTable table = IndexTable::Of({{1, 0x47, 0xFF}, {2, 0x47, 0xFE}, {3, 0x47, 1}});
    putIndex(table);
    EXPECT_EQ(clearDoubly(table.entryAt(1)), 0u);
    EXPECT_EQ(clearDoubly(table.entryAt(2)), 0u);
    EXPECT_EQ(entries(), (TableEntries{{1}, {2, 0x47, 0xFE}, {3, 0x47, 1}}))
        << "without the bit nothing goes";
    EXPECT_EQ(clearDoubly(table.entryAt(3)), 0u);
    EXPECT_EQ(entries().back(), (TableEntry{3}));
}

TEST_F(IndexEntries, TheEndMarkHasNoFlagsToClear)
{
    const IndexTable table = IndexTable::Of({{1}});
    putIndex(table);
    const Bytes before = file();
    EXPECT_EQ(clearDoubly(table.entryAt(2)), 0u);
    put(before + Bytes{0xFF, 0xFF}, kIndex);
    EXPECT_EQ(clearDoubly(table.entryAt(2)), 0u);
    EXPECT_TRUE(SameBytes(before + Bytes{0xFF, 0xFF}, file()));
    EXPECT_EQ(clearDoubly(before.size() + 2), 71u) << "behind the file";
    EXPECT_EQ(clearDoubly(before.size() + 1), 71u) << "half an entry";
}

// --- removal by number ------------------------------------------------------------------------------------

TEST_F(IndexEntries, ARemovedEntryClosesUp)
{
    for (std::size_t size :
         {std::size_t{1}, std::size_t{2}, std::size_t{5}, std::size_t{129}, std::size_t{1000}}) {
        for (u32 n : TestNumbers(size, 5)) {
            IndexTable table = IndexTable::Of(SomeEntries(size, 0));
            putIndex(table);
            const bool there = n >= 1 && n <= size;
            ASSERT_EQ(_IndexNoDelete(kIndex, static_cast<u16>(n)), there ? 0u : 66u);
            if (there) { table.entries.erase(table.entries.begin() + n - 1); }
            ASSERT_TRUE(SameBytes(table.build(), file())) << size << ", " << n;
        }
    }
}

TEST_F(IndexEntries, AFullTableLosesItsFirstAndItsLastButOne)
{
    IndexTable table = IndexTable::Of(SomeEntries(65535, 0));
    putIndex(table);
    EXPECT_EQ(_IndexNoDelete(kIndex, 65535), 66u) << "no number of an entry";
    ASSERT_EQ(_IndexNoDelete(kIndex, 65534), 0u);
    ASSERT_EQ(_IndexNoDelete(kIndex, 1), 0u);
    table.entries.erase(table.entries.begin() + 65533);
    table.entries.erase(table.entries.begin());
    EXPECT_TRUE(SameBytes(table.build(), file()));
}

TEST_F(IndexEntries, TheLastOneLeavesAnEmptyTable)
{
    putEntries({{9}});
    ASSERT_EQ(_IndexNoDelete(kIndex, 1), 0u);
    EXPECT_TRUE(SameBytes(IndexTable{}.build(), file()));
    EXPECT_EQ(WordAt(file(), kTablePosAt, 4), IndexTable{}.tablePos());
}

TEST_F(IndexEntries, TheNextOfARunBecomesVisible)
{
    putEntries({{1}, {2, 0x47, 1}, {3, 0x47, 1}, {4}});
    ASSERT_EQ(_IndexNoDelete(kIndex, 1), 0u);
    EXPECT_EQ(entries(), (TableEntries{{2}, {3, 0x47, 1}, {4}}));
}

TEST_F(IndexEntries, TheOneBehindARemovedHiddenEntryBecomesVisibleToo)
{
    putEntries({{1}, {2, 0x47, 1}, {3, 0x47, 1}, {4}});
    ASSERT_EQ(_IndexNoDelete(kIndex, 2), 0u);
    EXPECT_EQ(entries(), (TableEntries{{1}, {3}, {4}}));
}

TEST_F(IndexEntries, ARemovedHiddenEntryAtTheEndOfItsRunChangesNothingForTheRun)
{
    putEntries({{1}, {2, 0x47, 1}, {3, 0x47, 1}, {4}});
    ASSERT_EQ(_IndexNoDelete(kIndex, 3), 0u);
    EXPECT_EQ(entries(), (TableEntries{{1}, {2, 0x47, 1}, {4}}));
    ASSERT_EQ(_IndexNoDelete(kIndex, 2), 0u);
    EXPECT_EQ(entries(), (TableEntries{{1}, {4}}));
}

TEST_F(IndexEntries, WhatIsNotThereIsNotRemoved)
{
    putEntries(SomeEntries(3));
    const Bytes before = file();
    for (u16 n : {u16{0}, u16{4}, u16{65534}, u16{65535}}) { EXPECT_EQ(_IndexNoDelete(kIndex, n), 66u) << n; }
    EXPECT_TRUE(SameBytes(before, file()));
    IndexTable none;
    none.table = false;
    putIndex(none);
    EXPECT_EQ(_IndexNoDelete(kIndex, 1), 66u);
}

// --- the count alone --------------------------------------------------------------------------------------

TEST_F(IndexEntries, TheCountIsLoweredWithoutItsEntries)
{
    IndexTable table = IndexTable::Of(SomeEntries(256));
    putIndex(table);
    Bytes wanted = file();
    Fid open(kIndex, 3);
    ASSERT_EQ(DecIndexCount(open.id()), 0u);
    PutAt(wanted, table.tablePos(), 255, 2);
    EXPECT_TRUE(SameBytes(wanted, file()));
}

TEST_F(IndexEntries, ACountOf0AndNoTableStay)
{
    for (bool there : {true, false}) {
        IndexTable table;
        table.table = there;
        putIndex(table);
        Fid open(kIndex, 3);
        EXPECT_EQ(DecIndexCount(open.id()), 0u);
        EXPECT_TRUE(SameBytes(table.build(), file()));
    }
}

TEST_F(IndexEntries, TheCountOfAnIndexOpenForReadingStays)
{
    putEntries({{1}});
    Fid open(kIndex, 1);
    EXPECT_EQ(DecIndexCount(open.id()), 71u);
    EXPECT_EQ(index().count, 1u);
    EXPECT_EQ(DecIndexCount(200), 71u) << "not open at all";
}

}  // namespace
