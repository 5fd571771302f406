// SPDX-License-Identifier: MIT
// Steps to the next and the previous entry that passes a filter, held against a plain model.
#include "index/bxd_indx_walk.h"
#include "tests/support/index_table.h"

namespace {

using namespace boxtest;

struct Step {
    u32 status;
    u16 number;

    bool operator==(const Step&) const = default;
};

void PrintTo(const Step& step, std::ostream* out) { *out << "status " << step.status << ", " << step.number; }

Step Next(u16 from, const TestFilter& filter = {})
{
    Step step = {0, from};
    step.status = _NextIndexNo(kIndex, filter.mask, filter.value, filter.invert, &step.number);
    return step;
}

Step Prev(u16 from, const TestFilter& filter = {})
{
    Step step = {0, from};
    step.status = _PrevIndexNo(kIndex, filter.mask, filter.value, filter.invert, &step.number);
    return step;
}

// The entries before and behind each number that a filter sees, for a whole table at once.
class Model {
public:
    Model(const TableEntries& entries, const TestFilter& filter)
        : next_(entries.size() + 2), prev_(next_.size())
    {
        const auto count = static_cast<u32>(entries.size());
        for (u32 n = count; n >= 1; n--) { next_[n - 1] = filter.sees(entries[n - 1]) ? n : next_[n]; }
        for (u32 n = 1; n <= count; n++) { prev_[n + 1] = filter.sees(entries[n - 1]) ? n : prev_[n]; }
        count_ = count;
    }

    Step next(u32 from) const
    {
        const bool start = from <= count_ && from < 65535;
        const u32 found = start ? next_[from] : 0;
        return found != 0 ? Step{0, static_cast<u16>(found)} : Step{66, static_cast<u16>(from)};
    }

    Step prev(u32 from) const
    {
        const bool behind = from == 65535;
        if (!behind && (from == 0 || from > count_)) { return {66, static_cast<u16>(from)}; }
        const u32 start = behind ? count_ + 1 : from;
        if (prev_[start] != 0) { return {0, static_cast<u16>(prev_[start])}; }
        return {66, static_cast<u16>(start < 65536 ? start : 65535)};
    }

private:
    std::vector<u32> next_;
    std::vector<u32> prev_;
    u32 count_ = 0;
};

class IndexStepping : public TableCase {
protected:
    // Filling moves the table up in the file, beyond the bytes that a step back reads at once.
    void holdAgainstModel(std::size_t filling)
    {
        for (std::size_t size : TestSizes()) {
            IndexTable table = IndexTable::Of(SomeEntries(size));
            table.filling = filling;
            putIndex(table);
            for (const TestFilter& filter : TestFilters()) {
                const Model model(table.entries, filter);
                for (u32 from : TestNumbers(size)) {
                    SCOPED_TRACE(::testing::Message()
                                 << size << " entries, from " << from << ", mask " << int{filter.mask}
                                 << ", value " << int{filter.value} << ", invert " << int{filter.invert});
                    ASSERT_EQ(Next(static_cast<u16>(from), filter), model.next(from));
                    ASSERT_EQ(Prev(static_cast<u16>(from), filter), model.prev(from));
                }
            }
        }
    }
};

TEST_F(IndexStepping, FindsWhatAModelFinds) { holdAgainstModel(0); }

TEST_F(IndexStepping, FindsTheSameInATableFarFromTheStartOfTheFile) { holdAgainstModel(3000); }

TEST_F(IndexStepping, WalksAFullTableFromEndToEnd)
{
    const TableEntries entries = SomeEntries(65535);
    putEntries(entries);
    std::vector<u32> seen;
    const TestFilter filter{0xE0, 0xA0, 0};
    for (std::size_t n = 0; n < entries.size(); n++) {
        if (filter.sees(entries[n])) { seen.push_back(static_cast<u32>(n) + 1); }
    }
    ASSERT_GT(seen.size(), 1000u);
    std::vector<u32> forward;
    for (Step step = Next(0, filter); step.status == 0; step = Next(step.number, filter)) {
        forward.push_back(step.number);
        if (step.number == 65535) { break; }
    }
    EXPECT_EQ(forward, seen);
    std::vector<u32> backward;
    for (Step step = Prev(65535, filter); step.status == 0; step = Prev(step.number, filter)) {
        backward.insert(backward.begin(), step.number);
    }
    EXPECT_EQ(backward, seen);
}

TEST_F(IndexStepping, TheLastEntryOfAFullTableIsReachedFromBothSides)
{
    putEntries(SomeEntries(65535, 0));
    EXPECT_EQ(Next(65534), (Step{0, 65535}));
    EXPECT_EQ(Prev(65535), (Step{0, 65535}));
}

TEST_F(IndexStepping, AWalkBackThatFindsNothingInAFullTableStaysBehindTheLast)
{
    putEntries(SomeEntries(65535));
    EXPECT_EQ(Prev(65535, {0, 0, 1}), (Step{66, 65535}));
}

TEST_F(IndexStepping, AnEmptyTableHasNoSteps)
{
    putEntries(TableEntries{});
    EXPECT_EQ(Next(0), (Step{66, 0}));
    EXPECT_EQ(Prev(65535), (Step{66, 1})) << "one behind the last of none";
}

TEST_F(IndexStepping, AnIndexWithoutATableHasNone)
{
    IndexTable none;
    none.table = false;
    putIndex(none);
    EXPECT_EQ(Next(0), (Step{66, 0}));
    EXPECT_EQ(Next(1), (Step{66, 1}));
    EXPECT_EQ(Prev(65535), (Step{66, 65535}));
    u16 id = 0x1234;
    EXPECT_EQ(_IndexNoToCardID(kIndex, 1, &id), 66u);
    EXPECT_EQ(id, 0x1234u);
    u16 number = 0x1234;
    EXPECT_EQ(_CardIDToIndexNo(kIndex, 1, &number), 66u);
    EXPECT_EQ(number, 0x1234u);
}

TEST_F(IndexStepping, NoStepLeadsOverTheEnds)
{
    putEntries(SomeEntries(5, 0));
    EXPECT_EQ(Next(5), (Step{66, 5}));
    EXPECT_EQ(Prev(1), (Step{66, 1}));
    EXPECT_EQ(Prev(0), (Step{66, 0}));
    EXPECT_EQ(Next(6), (Step{66, 6}));
    EXPECT_EQ(Prev(6), (Step{66, 6}));
    EXPECT_EQ(Next(65535), (Step{66, 65535}));
}

TEST_F(IndexStepping, AFailedWalkFromBehindLeavesTheNumberBehindTheLast)
{
    putEntries({{1, 0x47, 1}, {2, 0x47, 1}, {3, 0x47, 1}});
    EXPECT_EQ(Prev(65535), (Step{66, 4}));
    EXPECT_EQ(Prev(3), (Step{66, 3}));
}

TEST_F(IndexStepping, Bit40IsStoredTheOtherWayRound)
{
    putEntries({{1, 0x40}, {2, 0x00}, {3, 0x40}, {4, 0x80}});
    EXPECT_EQ(Next(0, {0x40, 0x40, 0}), (Step{0, 2}));
    EXPECT_EQ(Next(2, {0x40, 0x40, 0}), (Step{0, 4}));
    EXPECT_EQ(Next(0, {0x40, 0x00, 0}), (Step{0, 1}));
    EXPECT_EQ(Next(0, {0x80, 0x40, 0}), (Step{66, 0})) << "no flip without the mask's bit";
}

TEST_F(IndexStepping, HiddenEntriesNeverPassButAreStartingPoints)
{
    putEntries({{1, 0x40, 1}, {2, 0x40, 0}, {3, 0x40, 1}, {4, 0x40, 1}, {5, 0x40, 0xFE}});
    EXPECT_EQ(Next(0), (Step{0, 2}));
    EXPECT_EQ(Next(2), (Step{0, 5})) << "the other flags hide nothing";
    EXPECT_EQ(Next(3), (Step{0, 5}));
    EXPECT_EQ(Prev(4), (Step{0, 2}));
    EXPECT_EQ(Next(0, {0xFF, 0xFF, 1}), (Step{0, 2})) << "nor does invert show them";
}

TEST_F(IndexStepping, TheInnerStepsTakeTheFilterAsTheEntriesHaveIt)
{
    const TableEntries entries = {{1, 0x40}, {2, 0x00}, {3, 0x40}};
    putEntries(entries);
    const IndexTable table = IndexTable::Of(entries);
    Fid index(kIndex, 1);
    u16 number = 0;
    EXPECT_EQ(NextIndexAddress(index.id(), 0x40, 0, 0, &number, static_cast<u32>(table.entryAt(1))), 0u);
    EXPECT_EQ(number, 2u);
    EXPECT_EQ(PrevIndexAddress(index.id(), 0x40, 0x40, 0, &number, static_cast<u32>(table.entryAt(2))), 0u);
    EXPECT_EQ(number, 1u);
    EXPECT_EQ(PrevIndexAddress(index.id(), 0, 0, 0, &number, static_cast<u32>(table.entryAt(1))), 66u);
}

TEST_F(IndexStepping, AWalkStopsAtAnEndMarkWhateverTheCountSays)
{
    TableEntries entries = SomeEntries(6, 0);
    entries[3].id = 0xFFFF;
    putEntries(entries);
    EXPECT_EQ(Next(3), (Step{66, 3}));
    EXPECT_EQ(Prev(5), (Step{66, 5}));
    EXPECT_EQ(Next(4), (Step{66, 4})) << "no entry";
}

TEST_F(IndexStepping, ATdxIsAnIndexAndABoxIsNone)
{
    IndexTable table = IndexTable::Of(SomeEntries(2, 0));
    table.kind = 28;
    putIndex(table);
    EXPECT_EQ(Next(0), (Step{0, 1}));
    table.kind = 16;
    putIndex(table);
    EXPECT_EQ(Next(0), (Step{64, 0}));
}

TEST_F(IndexStepping, WhatIsNoIndexGives64Everywhere)
{
    u16 n = 7;
    u16 ids[1] = {1};
    put(Bytes{0xFF, 0, 27}, kIndex);
    for (const char* name : {"F0:NONE.IDX", kIndex, ""}) {
        EXPECT_EQ(_IndexNoToCardID(name, 1, &n), 64u);
        EXPECT_EQ(_CardIDToIndexNo(name, 1, &n), 64u);
        EXPECT_EQ(_NextIndexNo(name, 0, 0, 0, &n), 64u);
        EXPECT_EQ(_PrevIndexNo(name, 0, 0, 0, &n), 64u);
        EXPECT_EQ(_NumberToIndexNo(name, 0, 0, 0, 0, &n, 1), 64u);
        EXPECT_EQ(_IndexNoToNumber(name, 0, 0, 0, 0, 7, &n), 64u);
        EXPECT_EQ(_MoveIndexNo(name, 1, &n), 64u);
        EXPECT_EQ(_IndexNoDelete(name, 1), 64u);
        EXPECT_EQ(_IndexNoDeleteWithNum(name, ids, 1), 64u);
        EXPECT_EQ(n, 7u);
    }
}

}  // namespace
