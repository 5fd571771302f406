// SPDX-License-Identifier: MIT
// Walks and passes where memory is short: what falls back to less gives the same, or what it is known to
// give.
#include "index/bxd_indx_entries.h"
#include "index/bxd_indx_walk.h"
#include "tests/faults/fault_index.h"

namespace {

using namespace faults;
using boxtest::SomeEntries;
using boxtest::TestFilter;
using boxtest::TestFilters;

// The least that opening a file needs.
constexpr uint32_t kForOpen = sizeof(BxdFINFO);

class IndexMemory : public IndexFaultTest {
protected:
    void SetUp() override
    {
        IndexFaultTest::SetUp();
        Shim().watch(home().c_str());
        DisposeHeapHandle(NewHeapHandle(1));
        if (Counts().counts[kFaultAlloc] == 0) {
            GTEST_SKIP() << "a run-time library linked into the executable has the allocations";
        }
        Shim().rest();
    }

    // No block above `largest` bytes for the library while `work` runs.
    u32 within(uint32_t largest, const std::function<u32()>& work)
    {
        Shim().watch(home().c_str());
        Shim().memory(largest);
        u32 status = work();
        EXPECT_EQ(Shim().blocks(), 0u);
        Shim().rest();
        return status;
    }

    // The same on the open index; only the work is short of memory.
    u32 withinOpen(uint32_t largest, const std::function<u32(u8)>& work)
    {
        i32 fid = BxdFileOpen(kIndexName, 3);
        EXPECT_GE(fid, 0);
        u32 status = within(largest, [&] { return work(static_cast<u8>(fid)); });
        EXPECT_EQ(BxdFileClose(static_cast<u8>(fid)), 0u);
        return status;
    }

    static u32 seen(const TableEntries& entries, u32 from, u32 behind, const TestFilter& filter)
    {
        u32 n = 0;
        for (u32 at = from; at < behind && at <= entries.size(); at++) {
            n += filter.sees(entries[at - 1]) ? 1 : 0;
        }
        return n;
    }
};

// --- walks ------------------------------------------------------------------------------------------------

TEST_F(IndexMemory, StepsNeedNone)
{
    putIndex(IndexTable::Of(SomeEntries(1000, 0)));
    u16 n = 500;
    auto step = [&] { return _NextIndexNo(kIndexName, 0, 0, 0, &n) + _PrevIndexNo(kIndexName, 0, 0, 0, &n); };
    EXPECT_EQ(within(kForOpen, step), 0u);
    EXPECT_EQ(n, 500u);
}

TEST_F(IndexMemory, TheNthEntryIsTheSameReadOneByOne)
{
    for (size_t size : {size_t{20}, size_t{129}, size_t{1000}}) {
        putIndex(IndexTable::Of(SomeEntries(size)));
        for (const TestFilter& f : TestFilters()) {
            for (u32 from : boxtest::TestNumbers(size, 20)) {
                for (u32 backward : {0u, 1u}) {
                    for (u16 number : {u16{0}, u16{1}, u16{7}, u16{500}}) {
                        auto find = [&](u16* n) {
                            *n = static_cast<u16>(from);
                            return _NumberToIndexNo(kIndexName, backward, f.mask, f.value, f.invert, n,
                                                    number);
                        };
                        u16 wanted = 0;
                        u16 found = 0;
                        const u32 status = find(&wanted);
                        ASSERT_EQ(within(kForOpen, [&] { return find(&found); }), status)
                            << size << ", " << from;
                        ASSERT_EQ(found, wanted) << size << ", " << from;
                    }
                }
            }
        }
    }
}

TEST_F(IndexMemory, TheCountReadOneByOneBeginsAtItsStartAndEndsBeforeItsEnd)
{
    const TableEntries entries = SomeEntries(129);
    putIndex(IndexTable::Of(entries));
    for (const TestFilter& f : TestFilters()) {
        for (u32 from = 1; from <= 129; from += 4) {
            for (u32 to : {from + 7, from + 30, 129u, 130u, 65535u}) {
                const u32 end = std::min(to, 130u);
                if (end - from <= kForOpen / 4) { continue; }  // there is memory for so few
                u16 number = 0xAAAA;
                auto count = [&] {
                    return _IndexNoToNumber(kIndexName, f.mask, f.value, f.invert, static_cast<u16>(from),
                                            static_cast<u16>(to), &number);
                };
                const u32 wanted = seen(entries, from, end, f);
                ASSERT_EQ(within(kForOpen, count), wanted == 0 ? 66u : 0u) << from << " to " << to;
                ASSERT_EQ(number, wanted) << from << " to " << to;
                const u32 usual = seen(entries, from + 1, end + 1, f);
                ASSERT_EQ(count(), usual == 0 ? 66u : 0u) << from << " to " << to;
                ASSERT_EQ(number, usual) << from << " to " << to;
            }
        }
    }
}

TEST_F(IndexMemory, ACountFromTheStartIsTheSame)
{
    const TableEntries entries = SomeEntries(129);
    putIndex(IndexTable::Of(entries));
    for (const TestFilter& f : TestFilters()) {
        for (u16 to : {u16{9}, u16{64}, u16{128}, u16{129}, u16{130}, u16{65535}}) {
            u16 number = 0;
            const u32 status = within(kForOpen, [&] {
                return _IndexNoToNumber(kIndexName, f.mask, f.value, f.invert, 0, to, &number);
            });
            const u32 wanted = seen(entries, 1, to + 1u, f);
            ASSERT_EQ(number, wanted);
            ASSERT_EQ(status, wanted == 0 ? 66u : 0u);
        }
    }
}

TEST_F(IndexMemory, AFullTableIsCountedOneByOneToo)
{
    putIndex(IndexTable::Of(SomeEntries(65535, 0)));
    u16 number = 0;
    EXPECT_EQ(within(1000, [&] { return _IndexNoToNumber(kIndexName, 0, 0, 0, 0, 65535, &number); }), 0u);
    EXPECT_EQ(number, 65535u);
    number = 0;
    EXPECT_EQ(within(1000, [&] { return _NumberToIndexNo(kIndexName, 0, 0, 0, 0, &number, 65535); }), 0u);
    EXPECT_EQ(number, 65535u);
}

TEST_F(IndexMemory, ACountOneByOneFailsWhereTheFileEnds)
{
    std::string bytes = text(IndexTable::Of(SomeEntries(40, 0)).build());
    bytes.resize(bytes.size() - 2);
    putFiles({{kIndexFile, bytes}});
    u16 number = 7;
    EXPECT_EQ(within(kForOpen, [&] { return _NumberToIndexNo(kIndexName, 0, 0, 0, 0, &number, 40); }), 71u);
    EXPECT_EQ(number, 7u);
}

// --- the search for a card --------------------------------------------------------------------------------

TEST_F(IndexMemory, ACardIsFoundPieceByPiece)
{
    const TableEntries entries = SomeEntries(1000);
    putIndex(IndexTable::Of(entries));
    for (uint32_t largest : {kForOpen, 100u, 1002u, 4001u}) {
        for (u32 n = 1; n <= 1000; n += 13) {
            u16 number = 0;
            const auto id = static_cast<u16>(entries[n - 1].id);
            ASSERT_EQ(within(largest, [&] { return _CardIDToIndexNo(kIndexName, id, &number); }), 0u);
            ASSERT_EQ(number, n);
        }
    }
    u16 number = 0;
    EXPECT_EQ(within(kForOpen, [&] { return _CardIDToIndexNo(kIndexName, 65000, &number); }), 66u);
}

TEST_F(IndexMemory, ASearchInSingleEntriesTellsTheirPlaces)
{
    const IndexTable table = IndexTable::Of({{7}, {9, 0x47, 1}, {11}});
    putIndex(table);
    IndexCardPos found{};
    // Six bytes are one entry and an end mark.
    EXPECT_EQ(withinOpen(6, [&](u8 fid) { return SearchIndexCardID(fid, 11, &found); }), 0u);
    EXPECT_EQ(found.pos, table.entryAt(3));
    EXPECT_EQ(found.indexNo, 3u);
    EXPECT_EQ(found.count, 3u);
    EXPECT_EQ(withinOpen(6, [&](u8 fid) { return SearchIndexCardID(fid, 10, &found); }), 66u);
    EXPECT_EQ(withinOpen(5, [&](u8 fid) { return SearchIndexCardID(fid, 7, &found); }), 71u);
}

// --- removal by cards -------------------------------------------------------------------------------------

TEST_F(IndexMemory, ARemovalInPiecesLeavesTheSameTable)
{
    for (size_t size : {size_t{8}, size_t{9}, size_t{31}, size_t{129}, size_t{1000}}) {
        for (size_t step : {1u, 2u, 3u, 7u, 100u}) {
            IndexTable table = IndexTable::Of(SomeEntries(size));
            std::vector<u16> cards;
            for (size_t n = 0; n < size; n += step) {
                cards.push_back(static_cast<u16>(table.entries[n].id));
            }
            IndexTable wanted = table;
            wanted.entries.clear();
            for (size_t n = 0; n < size; n++) {
                if (n % step != 0) { wanted.entries.push_back(table.entries[n]); }
            }
            for (uint32_t largest : {kForOpen, 32u, 100u, static_cast<uint32_t>(size) * 4 + 2}) {
                putIndex(table);
                ASSERT_EQ(within(largest,
                                 [&] {
                                     return _IndexNoDeleteWithNum(kIndexName, cards.data(),
                                                                  static_cast<u16>(cards.size()));
                                 }),
                          0u);
                ASSERT_EQ(indexFile(), text(wanted.build())) << size << ", every " << step << ", " << largest;
            }
        }
    }
}

TEST_F(IndexMemory, APieceOfWhichNothingStaysIsNotWritten)
{
    // Pieces of 5: the second goes as a whole, and a write of no bytes would cut the file there.
    IndexTable table = IndexTable::Of(SomeEntries(20));
    std::vector<u16> cards;
    for (size_t n = 5; n < 10; n++) { cards.push_back(static_cast<u16>(table.entries[n].id)); }
    putIndex(table);
    table.entries.erase(table.entries.begin() + 5, table.entries.begin() + 10);
    EXPECT_EQ(within(kForOpen, [&] { return _IndexNoDeleteWithNum(kIndexName, cards.data(), 5); }), 0u);
    EXPECT_EQ(indexFile(), text(table.build()));
}

TEST_F(IndexMemory, ARemovalInPiecesOfNothingWritesNothing)
{
    putIndex(IndexTable::Of(SomeEntries(40)));
    const std::string before = indexFile() + "behind the table";
    putFiles({{kIndexFile, before}});
    const u16 id = 65000;
    EXPECT_EQ(within(kForOpen, [&] { return _IndexNoDeleteWithNum(kIndexName, &id, 1); }), 0u);
    EXPECT_EQ(indexFile(), before);
}

TEST_F(IndexMemory, ARemovalInPiecesStopsAtAnEndMark)
{
    IndexTable table = IndexTable::Of(SomeEntries(40, 0));
    const auto id = static_cast<u16>(table.entries[3].id);
    table.entries[21] = {0xFFFF, 1, 2};
    putIndex(table);
    EXPECT_EQ(within(kForOpen, [&] { return _IndexNoDeleteWithNum(kIndexName, &id, 1); }), 0u);
    table.entries.resize(21);
    table.entries.erase(table.entries.begin() + 3);
    EXPECT_EQ(indexFile(), text(table.build()));
}

TEST_F(IndexMemory, WithoutMemoryForOneEntryNothingIsRemoved)
{
    IndexTable table = IndexTable::Of(SomeEntries(40));
    putIndex(table);
    const auto id = static_cast<u16>(table.entries[0].id);
    Shim().watch(home().c_str());
    Shim().plan(kFaultAlloc, 3, true, kFaultFail);  // what comes after record and name of the open file
    EXPECT_EQ(_IndexNoDeleteWithNum(kIndexName, &id, 1), 71u);
    EXPECT_EQ(Shim().blocks(), 0u);
    Shim().rest();
    EXPECT_EQ(indexFile(), text(table.build()));
}

// --- passes -----------------------------------------------------------------------------------------------

TEST_F(IndexMemory, HiddenEntriesGoInPiecesToo)
{
    for (size_t size : {size_t{1}, size_t{2}, size_t{7}, size_t{130}, size_t{1000}}) {
        for (unsigned hidden : {0u, 3u, 12u, 16u}) {
            const IndexTable table = IndexTable::Of(SomeEntries(size, hidden));
            IndexTable wanted = table;
            wanted.entries.clear();
            for (const TableEntry& e : table.entries) {
                if ((e.flags & 1) == 0) { wanted.entries.push_back(e); }
            }
            for (uint32_t largest : {4u, 8u, 20u, 400u}) {
                putIndex(table);
                ASSERT_EQ(withinOpen(largest, DeleteDoublyCardData), 0u);
                ASSERT_EQ(indexFile(), text(wanted.build())) << size << ", " << hidden << ", " << largest;
            }
        }
    }
}

TEST_F(IndexMemory, SelectedEntriesGoInPiecesAndUnhideTheNextOfTheirPiece)
{
    for (size_t size : {size_t{1}, size_t{7}, size_t{130}, size_t{1000}}) {
        const IndexTable table = IndexTable::Of(SomeEntries(size, 6));
        for (uint32_t largest : {4u, 8u, 20u, 400u, 4000u}) {
            size_t piece = size;
            while (piece * 4 > largest) { piece /= 2; }
            for (auto [mask, value] : {std::pair<u8, u8>{0xC0, 0x40}, {0, 0}, {0x01, 0x01}}) {
                IndexTable wanted = table;
                wanted.entries.clear();
                bool unhide = false;
                for (size_t n = 0; n < size; n++) {
                    TableEntry e = table.entries[n];
                    if (unhide && n % piece != 0) { e.flags &= 0xFEu; }
                    unhide = (e.flags & 1) == 0 && (e.attr & mask) == value;
                    if (!unhide) { wanted.entries.push_back(e); }
                }
                putIndex(table);
                ASSERT_EQ(withinOpen(largest,
                                     [m = mask, v = value](u8 fid) { return DeleteAttrIndex(fid, m, v, 0); }),
                          0u);
                ASSERT_EQ(indexFile(), text(wanted.build())) << size << ", " << largest << ", " << int{mask};
            }
        }
    }
}

TEST_F(IndexMemory, PiecesBeforeTheFirstRemovedEntryAreNotWritten)
{
    IndexTable table = IndexTable::Of(SomeEntries(40, 0));
    table.entries[25].flags = 1;
    putIndex(table);
    EXPECT_EQ(withinOpen(40, DeleteDoublyCardData), 0u);
    // Four pieces of 10: the last two are written, then end mark, cut and count.
    EXPECT_EQ(Counts().changes, 5u);
    EXPECT_EQ(Counts().log[0].offset, table.entryAt(21));
    putIndex(IndexTable::Of(SomeEntries(40, 0)));
    EXPECT_EQ(withinOpen(40, DeleteDoublyCardData), 0u);
    EXPECT_EQ(Counts().changes, 0u);
}

TEST_F(IndexMemory, WithoutMemoryForOneEntryAPassFails)
{
    const IndexTable table = IndexTable::Of({{1, 0x07}, {2, 0x47, 1}});
    putIndex(table);
    EXPECT_EQ(withinOpen(3, DeleteDoublyCardData), 71u);
    EXPECT_EQ(withinOpen(3, [](u8 fid) { return DeleteAttrIndex(fid, 0, 0, 0); }), 71u);
    EXPECT_EQ(indexFile(), text(table.build()));
    putIndex(IndexTable{});
    EXPECT_EQ(withinOpen(3, DeleteDoublyCardData), 0u) << "nothing is asked for a table without entries";
}

// --- moves ------------------------------------------------------------------------------------------------

TEST_F(IndexMemory, MovesAndRemovalsNeedNone)
{
    IndexTable table = IndexTable::Of(SomeEntries(1000, 0));
    for (auto [from, to] : {std::pair<u16, u16>{1, 65535}, {1000, 1}, {300, 700}, {900, 200}}) {
        putIndex(table);
        u16 place = to;
        ASSERT_EQ(within(kForOpen, [&, n = from] { return _MoveIndexNo(kIndexName, n, &place); }), 0u);
        const TableEntry entry = table.entries[from - 1u];
        table.entries.erase(table.entries.begin() + from - 1);
        table.entries.insert(table.entries.begin() + place - 1, entry);
        ASSERT_EQ(indexFile(), text(table.build())) << from << " to " << to;
    }
    ASSERT_EQ(within(kForOpen, [] { return _IndexNoDelete(kIndexName, 2); }), 0u);
    table.entries.erase(table.entries.begin() + 1);
    EXPECT_EQ(indexFile(), text(table.build()));
}

}  // namespace
