// SPDX-License-Identifier: MIT
// The n-th passing entry from a number, and the count of those between two numbers, held against a plain
// model.
#include "tests/support/index_table.h"

namespace {

using namespace boxtest;

struct Answer {
    u32 status;
    u16 number;

    bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& a, std::ostream* out) { *out << "status " << a.status << ", " << a.number; }

Answer Nth(u16 from, u16 number, bool backward = false, const TestFilter& filter = {})
{
    Answer answer = {0, from};
    answer.status = _NumberToIndexNo(kIndex, backward ? 9 : 0, filter.mask, filter.value, filter.invert,
                                     &answer.number, number);
    return answer;
}

constexpr u16 kUntouched = 0x5A5A;

Answer Count(u16 from, u16 to, const TestFilter& filter = {})
{
    Answer answer = {0, kUntouched};
    answer.status =
        _IndexNoToNumber(kIndex, filter.mask, filter.value, filter.invert, from, to, &answer.number);
    return answer;
}

// The numbers that a filter sees, and how many there are up to each number.
class Model {
public:
    Model(const TableEntries& entries, const TestFilter& filter) : upTo_(entries.size() + 1)
    {
        for (std::size_t n = 1; n <= entries.size(); n++) {
            const bool seen = filter.sees(entries[n - 1]);
            upTo_[n] = upTo_[n - 1] + (seen ? 1 : 0);
            if (seen) { seen_.push_back(static_cast<u16>(n)); }
        }
    }

    u32 count() const { return static_cast<u32>(upTo_.size()) - 1; }

    Answer nth(u32 from, u32 number, bool backward) const
    {
        const Answer none = {66, static_cast<u16>(from)};
        if (from == (backward ? 0u : 65535u)) { return none; }
        if (from != 0 && from != 65535 && from > count()) { return {71, static_cast<u16>(from)}; }
        const u32 before = upTo_[std::min(from, count())];
        if (!backward) { return pick(before + number, number, none); }
        const u32 below = from == 65535 ? before : upTo_[from - 1];
        return number > below ? none : pick(below + 1 - number, number, none);
    }

    Answer between(u32 from, u32 to) const
    {
        if (from == 65535) { return {66, kUntouched}; }
        if ((from == 0 ? 1 : from) > count()) { return {71, kUntouched}; }
        if (std::min(to, count() + 1) <= from) { return {66, kUntouched}; }
        const u32 passed = upTo_[std::min(to, count())] - upTo_[from];
        return {passed == 0 ? 66u : 0u, static_cast<u16>(passed)};
    }

private:
    Answer pick(u32 place, u32 number, const Answer& none) const
    {
        return number == 0 || place > seen_.size() ? none : Answer{0, seen_[place - 1]};
    }

    std::vector<u32> upTo_;
    std::vector<u16> seen_;
};

std::string Case(std::size_t size, u32 a, u32 b, const TestFilter& f)
{
    return std::to_string(size) + " entries, " + std::to_string(a) + " and " + std::to_string(b) + ", mask " +
           std::to_string(f.mask) + ", value " + std::to_string(f.value) + ", invert " +
           std::to_string(f.invert);
}

class IndexNumbering : public TableCase {};

// Big tables: some starts and distances, fewer filters.
std::vector<TestFilter> FiltersFor(std::size_t size)
{
    const std::vector<TestFilter>& all = TestFilters();
    return size <= 200 ? all : std::vector<TestFilter>{all[0], all[1], all[2], all[6]};
}

TEST_F(IndexNumbering, FindsTheNthThatAModelFinds)
{
    for (std::size_t size : TestSizes()) {
        const TableEntries entries = SomeEntries(size);
        putEntries(entries);
        for (const TestFilter& filter : FiltersFor(size)) {
            const Model model(entries, filter);
            for (u32 from : TestNumbers(size, 3)) {
                for (u32 number : {0u, 1u, 2u, 3u, 30u, static_cast<u32>(size) / 2, 65535u}) {
                    ASSERT_EQ(Nth(static_cast<u16>(from), static_cast<u16>(number), false, filter),
                              model.nth(from, number, false))
                        << Case(size, from, number, filter);
                    ASSERT_EQ(Nth(static_cast<u16>(from), static_cast<u16>(number), true, filter),
                              model.nth(from, number, true))
                        << Case(size, from, number, filter) << ", backward";
                }
            }
        }
    }
}

TEST_F(IndexNumbering, FindsEveryDistanceInASmallTable)
{
    const TableEntries entries = SomeEntries(17);
    putEntries(entries);
    for (const TestFilter& filter : TestFilters()) {
        const Model model(entries, filter);
        for (u32 from : TestNumbers(17)) {
            for (u16 number = 0; number < 20; number++) {
                for (bool backward : {false, true}) {
                    ASSERT_EQ(Nth(static_cast<u16>(from), number, backward, filter),
                              model.nth(from, number, backward))
                        << Case(17, from, number, filter) << (backward ? ", backward" : "");
                }
            }
        }
    }
}

TEST_F(IndexNumbering, CountsWhatAModelCounts)
{
    for (std::size_t size : TestSizes()) {
        const TableEntries entries = SomeEntries(size);
        putEntries(entries);
        const std::vector<u32> numbers = TestNumbers(size, 3);
        for (const TestFilter& filter : FiltersFor(size)) {
            const Model model(entries, filter);
            for (u32 from : numbers) {
                for (u32 to : numbers) {
                    ASSERT_EQ(Count(static_cast<u16>(from), static_cast<u16>(to), filter),
                              model.between(from, to))
                        << Case(size, from, to, filter);
                }
            }
        }
    }
}

TEST_F(IndexNumbering, CountsBetweenAllPairsOfASmallTable)
{
    const TableEntries entries = SomeEntries(17);
    putEntries(entries);
    for (const TestFilter& filter : TestFilters()) {
        const Model model(entries, filter);
        for (u32 from : TestNumbers(17)) {
            for (u32 to : TestNumbers(17)) {
                ASSERT_EQ(Count(static_cast<u16>(from), static_cast<u16>(to), filter),
                          model.between(from, to))
                    << Case(17, from, to, filter);
            }
        }
    }
}

TEST_F(IndexNumbering, CountingIsTheInverseOfFinding)
{
    const TableEntries entries = SomeEntries(129);
    putEntries(entries);
    const TestFilter filter{0x40, 0x40, 0};
    for (u16 from = 0; from <= 129; from++) {
        for (u16 number = 1; number < 40; number++) {
            const Answer found = Nth(from, number, false, filter);
            if (found.status != 0) { continue; }
            ASSERT_EQ(Count(from, found.number, filter), (Answer{0, number})) << from;
        }
    }
}

TEST_F(IndexNumbering, BackwardOneFromBehindIsTheLastThatPasses)
{
    putEntries({{1, 0x40}, {2, 0x00}, {3, 0x00}, {4, 0x40}, {5, 0x00, 1}});
    EXPECT_EQ(Nth(65535, 1, true, {0x40, 0x40, 0}), (Answer{0, 3}));
    EXPECT_EQ(Nth(65535, 1, true), (Answer{0, 4}));
}

TEST_F(IndexNumbering, FromBeforeToBehindCountsAll)
{
    putEntries({{1, 0x40}, {2, 0x00}, {3, 0x00}, {4, 0x40}, {5, 0x00, 1}});
    EXPECT_EQ(Count(0, 65535), (Answer{0, 4}));
    EXPECT_EQ(Count(0, 65535, {0x40, 0x40, 0}), (Answer{0, 2}));
    EXPECT_EQ(Count(1, 65535), (Answer{0, 3})) << "the starting entry does not count";
}

TEST_F(IndexNumbering, TheFullTableIsCountedToItsLastEntry)
{
    putEntries(SomeEntries(65535, 0));
    EXPECT_EQ(Count(0, 65535), (Answer{0, 65535}));
    EXPECT_EQ(Count(1, 65535), (Answer{0, 65534}));
    EXPECT_EQ(Count(65534, 65535), (Answer{0, 1}));
    EXPECT_EQ(Nth(0, 65535), (Answer{0, 65535}));
    EXPECT_EQ(Nth(65534, 1), (Answer{0, 65535}));
    EXPECT_EQ(Nth(65534, 2), (Answer{66, 65534}));
    EXPECT_EQ(Nth(65535, 65535, true), (Answer{0, 1}));
}

TEST_F(IndexNumbering, NothingBetweenWritesACountOf0)
{
    putEntries({{1, 0x40}, {2, 0x40, 1}, {3, 0x40, 1}});
    EXPECT_EQ(Count(1, 3), (Answer{66, 0}));
    EXPECT_EQ(Count(2, 2), (Answer{66, kUntouched})) << "nor is there anything to look at";
    EXPECT_EQ(Count(3, 2), (Answer{66, kUntouched}));
    EXPECT_EQ(Count(0, 0), (Answer{66, kUntouched}));
    EXPECT_EQ(Count(3, 65535), (Answer{66, 0}));
}

TEST_F(IndexNumbering, AStartThatIsNotThereIsAFailure)
{
    putEntries(SomeEntries(3, 0));
    EXPECT_EQ(Nth(4, 1), (Answer{71, 4}));
    EXPECT_EQ(Nth(4, 1, true), (Answer{71, 4}));
    EXPECT_EQ(Nth(65535, 1), (Answer{66, 65535}));
    EXPECT_EQ(Nth(0, 1, true), (Answer{66, 0}));
    EXPECT_EQ(Nth(1, 1, true), (Answer{66, 1}));
    EXPECT_EQ(Count(4, 65535), (Answer{71, kUntouched}));
    EXPECT_EQ(Count(65535, 65535), (Answer{66, kUntouched}));
}

TEST_F(IndexNumbering, TheDistance0IsNeverReached)
{
    putEntries(SomeEntries(3, 0));
    EXPECT_EQ(Nth(0, 0), (Answer{66, 0}));
    EXPECT_EQ(Nth(65535, 0, true), (Answer{66, 65535}));
}

TEST_F(IndexNumbering, WithoutATableThereIsNothingToNumber)
{
    IndexTable none;
    none.table = false;
    putIndex(none);
    EXPECT_EQ(Nth(0, 1), (Answer{71, 0}));
    EXPECT_EQ(Nth(65535, 1, true), (Answer{71, 65535}));
    EXPECT_EQ(Count(0, 65535), (Answer{71, kUntouched}));
}

TEST_F(IndexNumbering, AnEmptyTableHasNoFirstEntryToCountFrom)
{
    putEntries({});
    EXPECT_EQ(Nth(0, 1), (Answer{66, 0}));
    EXPECT_EQ(Nth(65535, 1, true), (Answer{66, 65535}));
    EXPECT_EQ(Count(0, 65535), (Answer{71, kUntouched}));
}

TEST_F(IndexNumbering, AnEndMarkBeforeTheCountEndsSearchAndCount)
{
    putEntries({{1}, {2}, {0xFFFF}, {4}});
    EXPECT_EQ(Nth(0, 3), (Answer{66, 0}));
    EXPECT_EQ(Nth(4, 1, true), (Answer{66, 4}));
    EXPECT_EQ(Count(0, 65535), (Answer{0, 2}));
}

}  // namespace
