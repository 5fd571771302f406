// SPDX-License-Identifier: MIT
// Where a search goes on: what a first test allows, the boundary in a sorted index, and what becomes of the
// condition meanwhile.
#include "index/bxd_indx_search_start.h"

#include "tests/support/search_case.h"

namespace {

using namespace searchtest;

// --- Check1stSearch --------------------------------------------------------------------------------------

constexpr u8 kLanguageKind = 0x15;
constexpr u8 kBinKind = 0x95;

enum Group {
    kAtMostOps,
    kAtLeastOps,
    kNoOps,
    kAlways
};  // the operators that a scan step by step may stop at

// One line of the table: these sort codes, and what they make of the operators.
struct Line {
    u32 firstCode, lastCode;
    Group steps;
};
constexpr u32 kPlainStep = 256;

u32 Expected(const std::vector<Line>& lines, u32 code, u8 op)
{
    for (const Line& line : lines) {
        if (code < line.firstCode || code > line.lastCode) { continue; }
        const bool most = op == 0x9A || op == 0x9B;
        const bool least = op == 0x98 || op == 0x99;
        switch (line.steps) {
        case kAlways: return kPlainStep;
        case kAtMostOps: return most ? kPlainStep + op : 0;
        case kAtLeastOps: return least ? kPlainStep + op : 0;
        default: return 0;
        }
    }
    ADD_FAILURE() << code;
    return 1;
}

TEST(Check1stSearch, AnswersForEveryTestOperatorAndOrder)
{
    const std::vector<Line> binaryText{{0, 129, kAlways}, {130, 130, kAtMostOps}, {131, 255, kAtLeastOps}};
    const std::vector<Line> text{{0, 128, kAtMostOps}, {129, 129, kAtLeastOps}, {130, 255, kAlways}};
    const std::vector<Line> other{{0, 127, kAlways},
                                  {128, 128, kAtMostOps},
                                  {129, 129, kAtLeastOps},
                                  {130, 130, kAtMostOps},
                                  {131, 255, kAtLeastOps}};
    for (u32 type = 0; type <= 18; ++type) {
        const bool isText = type == 1 || type == 16 || type == 17;
        for (u8 kind : {kLanguageKind, kBinKind}) {
            for (u32 op = 0x84; op <= 0x9F; ++op) {
                for (u32 code = 0; code <= 255; ++code) {
                    u32 want = kPlainStep;
                    if (isText && op != 0x92) {
                        want = Expected(kind == kBinKind ? binaryText : text, code, static_cast<u8>(op));
                    } else if (!isText && type != 6) {
                        want = Expected(other, code, static_cast<u8>(op));
                    }
                    ASSERT_EQ(Check1stSearch(kind, static_cast<u8>(op), static_cast<u8>(type),
                                             static_cast<u8>(code)),
                              want)
                        << type << " " << op << " " << code;
                }
            }
        }
    }
}

// --- MoveXDataEnd ----------------------------------------------------------------------------------------

// The first clause of a compiled condition, and room behind it.
Bytes FirstClause(u8 op, u8 type, const Bytes& value, u8 kind = kLanguageKind)
{
    return Bytes{type, 7, kind, op, type} + value + Bytes(20, 0);
}

TEST(MoveXDataEnd, FindsTheEndOfTheFirstTest)
{
    struct Case {
        u8 type;
        Bytes value;
        u32 end;
    };
    const Bytes text = Bytes{6, 0, 0x61, 0x10, 0x62, 0x10, 0, 0};
    for (const Case& c :
         {Case{1, text, 13}, Case{16, text, 13}, Case{17, text, 13}, Case{17, Bytes{2, 0, 0, 0}, 9},
          Case{17, Bytes{0x2C, 1} + Bytes(300, 1), 307}, Case{4, Bytes(5, 1), 10}, Case{5, Bytes(5, 1), 10},
          Case{7, Bytes(3, 1), 8}, Case{8, Bytes(2, 1), 7}, Case{10, Bytes(2, 1), 7}}) {
        Bytes condition = FirstClause(0x98, c.type, c.value);
        const Bytes before = condition;
        EXPECT_EQ(MoveXDataEnd(condition.data(), 0, 0x80), c.end) << int{c.type};
        EXPECT_EQ(condition, before);
    }
}

TEST(MoveXDataEnd, RefusesValuesWithoutOrder)
{
    for (u32 type = 0; type <= 255; ++type) {
        const bool ordered = type == 1 || type == 4 || type == 5 || type == 7 || type == 8 || type == 10 ||
                             type == 16 || type == 17;
        if (ordered) { continue; }
        Bytes condition = FirstClause(0x90, static_cast<u8>(type), Bytes(8, 0));
        const Bytes before = condition;
        EXPECT_EQ(MoveXDataEnd(condition.data(), 0, 0x80), 0u) << type;
        EXPECT_EQ(condition, before);
    }
}

TEST(MoveXDataEnd, TurnsTheOperatorToOneSideOfTheBoundary)
{
    for (u32 type : {1u, 16u, 17u, 4u, 5u, 7u, 8u}) {
        const bool isText = type == 1 || type >= 16;
        for (u32 op = 0x88; op <= 0x9F; ++op) {
            for (u8 backward : {u8{0}, u8{1}, u8{0xFF}}) {
                for (u8 code : {u8{0x80}, u8{0x81}, u8{0x82}, u8{0x83}, u8{0x8D}}) {
                    const bool flip = ((code & 1) != 0) != (backward != 0);
                    u32 want = op;
                    if (op == 0x90) { want = flip ? 0x9A : 0x98; }
                    if (op == 0x91 && isText) { want = flip ? 0x97 : 0x98; }
                    Bytes condition = FirstClause(static_cast<u8>(op), static_cast<u8>(type), Bytes(8, 0));
                    ASSERT_NE(MoveXDataEnd(condition.data(), backward, code), 0u);
                    ASSERT_EQ(condition[3], want) << type << " " << op << " " << int{code};
                }
            }
        }
    }
}

// --- CheckWildCard ---------------------------------------------------------------------------------------

TEST(CheckWildCard, LooksAtDatesOfTestsByLanguage)
{
    const Bytes date{0, 0, 0x48, 0xB3, 0x07};      // a day, a month and a year, midnight
    const Bytes anyMonth{0, 0, 0x48, 0xBF, 0x07};  // month 15
    const Bytes week{0x11, 0x33, 0x07};
    const Bytes anyWeekday{0x17, 0x33, 0x07};
    EXPECT_EQ(CheckWildCard(FirstClause(0x90, 4, date).data()), 0u);
    EXPECT_NE(CheckWildCard(FirstClause(0x90, 4, anyMonth).data()), 0u);
    EXPECT_EQ(CheckWildCard(FirstClause(0x90, 4, anyMonth, kBinKind).data()), 0u);
    EXPECT_EQ(CheckWildCard(FirstClause(0x90, 7, week).data()), 0u);
    EXPECT_NE(CheckWildCard(FirstClause(0x90, 7, anyWeekday).data()), 0u);
    EXPECT_EQ(CheckWildCard(FirstClause(0x90, 7, anyWeekday, kBinKind).data()), 0u);
    EXPECT_EQ(CheckWildCard(FirstClause(0x90, 5, anyMonth).data()), 0u);
    EXPECT_EQ(CheckWildCard(FirstClause(0x90, 17, Bytes{2, 0, 0, 0}).data()), 0u);
    EXPECT_EQ(CheckWildCard((Bytes{4, 7, kLanguageKind, 0x9E} + Bytes(20, 0)).data()), 0u);
}

// --- on indexes ------------------------------------------------------------------------------------------

class SearchStart : public SearchCase {
protected:
    static constexpr u32 kCount = 23;

    // The cards 1 to 23 with the numbers 0, 0, 2, 2, 4 ..., up or down.
    void putNumbers(bool down)
    {
        BoxBuilder box(SortItems());
        for (u32 id = 1; id <= kCount; ++id) {
            const u32 place = down ? kCount - id : id - 1;
            numbers_[id] = place / 2 * 2;
            box.card(id, box.row({{"NUMB", Half(numbers_[id])}}));
        }
        put(box.build());
        code_ = down ? 0x81 : 0x80;
        putOrdered(kCount, Bytes{kHalf, kNumbItem, code_});
    }
    static Bytes compiled(u8 op, u32 number)
    {
        return Bytes{kHalf, kNumbItem, kLanguageKind, op, kHalf} + Half(number) + Bytes(20, 0);
    }
    static bool holds(u8 op, u32 number, u32 value)
    {
        switch (op) {
        case 0x98: return number >= value;
        case 0x99: return number > value;
        case 0x9A: return number <= value;
        case 0x9B: return number < value;
        default: return false;
        }
    }
    template <typename Work>
    u32 with(Work work)
    {
        OpenBox box(kBox);
        Fid index(kIndex);
        EXPECT_TRUE(box.ok() && index.ok());
        return work(box.fid(), index.id(), box.record()->itemTable);
    }
    // The boundary by a walk: the first entry of the span for which the test holds, or the last of the span.
    u32 boundary(u8 op, u32 value, u32 lo, u32 hi, bool backward) const
    {
        if (lo > hi) { return 0; }
        if (backward) {
            for (u32 n = hi; n > lo; --n) {
                if (holds(op, numbers_[n], value)) { return n; }
            }
            return lo;
        }
        for (u32 n = lo; n < hi; ++n) {
            if (holds(op, numbers_[n], value)) { return n; }
        }
        return hi;
    }

    u32 numbers_[kCount + 1] = {};
    u8 code_ = 0;
};

TEST_F(SearchStart, FindsTheBoundaryFromEveryStart)
{
    for (bool down : {false, true}) {
        putNumbers(down);
        for (bool backward : {false, true}) {
            // Operators that hold from the boundary on, in the direction of the search.
            const bool rising = down == backward;
            for (u8 op : {u8{0x90}, rising ? u8{0x98} : u8{0x9A}, rising ? u8{0x99} : u8{0x9B}}) {
                const u8 asked = op != 0x90 ? op : rising ? u8{0x98} : u8{0x9A};
                for (u32 value = 0; value <= kCount + 1; ++value) {
                    for (u32 start = 0; start <= kCount + 1; start += start < 3 || start > 20 ? 1 : 6) {
                        Bytes condition = compiled(op, value);
                        const Bytes before = condition;
                        const u32 found = with([&](u8 box, u8 index, const u8* items) {
                            return SearchStartID(box, index, condition.data(), static_cast<u16>(start), items,
                                                 backward ? 1 : 0, code_);
                        });
                        const u32 lo = backward ? 1 : start + 1;
                        const u32 hi = backward ? (start > 0 ? start - 1 : 0) : kCount;
                        // Behind the table there is no card to ask, and no boundary.
                        const u32 want = hi > kCount ? found : boundary(asked, value, lo, hi, backward);
                        ASSERT_EQ(found, want) << down << backward << int{op} << " " << value << " " << start;
                        ASSERT_EQ(condition, before);
                    }
                }
            }
        }
    }
}

TEST_F(SearchStart, GivesNothingWhereACardOrTheTableIsMissing)
{
    putNumbers(false);
    std::vector<u32> ids = IdsTo(kCount);
    ids[11] = 77;
    putOrdered(visible(ids), Bytes{kHalf, kNumbItem, 0x80});
    Bytes condition = compiled(0x90, 4);
    const Bytes before = condition;
    auto start = [&] {
        return with([&](u8 box, u8 index, const u8* items) {
            return SearchStartID(box, index, condition.data(), 0, items, 0, 0x80);
        });
    };
    EXPECT_EQ(start(), 0u);
    EXPECT_EQ(condition, before);
    putIndex(ordered(kByLanguage));
    EXPECT_EQ(start(), 0u);
    putIndex(ordered(kByLanguage).table());
    EXPECT_EQ(start(), 0u);
    // A single entry is not looked at.
    putOrdered(visible({77}));
    EXPECT_EQ(start(), 1u);
    condition = Bytes{6, kNumbItem, kLanguageKind, 0x88, 6, 1, 1} + Bytes(20, 0);
    EXPECT_EQ(start(), 0u);
}

// What IndexSearchPrepare decides.
struct Decision {
    u32 next;
    u32 stop;
    bool operator==(const Decision&) const = default;
};

class SearchPrepare : public SearchStart {
protected:
    Decision prepare(const Bytes& clauses, u8 flags = 0, u32 backward = 0, u16 current = 3)
    {
        Bytes condition = clauses;
        u8 stop = 77;
        const u32 next = with([&](u8 box, u8 index, const u8* items) {
            return IndexSearchPrepare(box, index, items, backward, condition.data(), flags, current, kCount,
                                      &stop);
        });
        EXPECT_EQ(condition, clauses);
        return {next, stop};
    }
};

TEST_F(SearchPrepare, JumpsAndStopsAsTheOrderAllows)
{
    putNumbers(false);
    EXPECT_EQ(prepare(compiled(0x90, 10)), (Decision{11, 255}));
    EXPECT_EQ(prepare(compiled(0x98, 10)), (Decision{11, 255}));
    EXPECT_EQ(prepare(compiled(0x99, 10)), (Decision{13, 255}));
    EXPECT_EQ(prepare(compiled(0x9A, 10)), (Decision{4, 0x9A}));
    EXPECT_EQ(prepare(compiled(0x9B, 10)), (Decision{4, 0x9B}));
    EXPECT_EQ(prepare(compiled(0x90, 10), 0, 1, 20), (Decision{12, 255}));
    EXPECT_EQ(prepare(compiled(0x98, 10), 0, 1, 20), (Decision{19, 0x98}));
    EXPECT_EQ(prepare(compiled(0x9A, 10), 0, 1, 20), (Decision{12, 255}));
    putNumbers(true);
    EXPECT_EQ(prepare(compiled(0x90, 10)), (Decision{12, 255}));
    EXPECT_EQ(prepare(compiled(0x98, 10)), (Decision{4, 0x98}));
    EXPECT_EQ(prepare(compiled(0x98, 10), 0, 1, 20), (Decision{13, 255}));
}

TEST_F(SearchPrepare, GoesStepByStepWithoutAJump)
{
    putNumbers(false);
    const Decision step{4, 0};
    const Decision back{2, 0};
    EXPECT_EQ(prepare(compiled(0x90, 10), 2), step);  // an OR
    EXPECT_EQ(prepare(compiled(0x90, 10), 2, 1), back);
    EXPECT_EQ(prepare(compiled(0x90, 10), 2, 0, kCount), (Decision{0, 0}));
    EXPECT_EQ(prepare(compiled(0x90, 10), 2, 1, 1), (Decision{0, 0}));
    EXPECT_EQ(prepare(compiled(0x90, 10), 0, 0, kCount), (Decision{0, 0}));
    Bytes other = compiled(0x90, 10);
    other[1] = kNameItem;
    EXPECT_EQ(prepare(other), step);
    EXPECT_EQ(prepare(Bytes{4, kNumbItem, kLanguageKind, 0x90, 4, 0, 0, 0, 0x0F, 0} + Bytes(20, 0)), step);
    EXPECT_EQ(prepare(Bytes{kHalf, kNumbItem, kLanguageKind, 0x9E} + Bytes(20, 0)), step);
    // Bits have no order.
    EXPECT_EQ(prepare(Bytes{6, kNumbItem, kLanguageKind, 0x88, 6, 1, 1} + Bytes(20, 0)), step);
}

TEST_F(SearchPrepare, AsksTheSortConditionOfTheApplication)
{
    putNumbers(false);
    const Decision step{4, 0};
    const Decision nowhere{0, 0};
    auto with2 = [&](const Bytes& text) {
        putIndex(indexBy({}).record(2, text).entries(visible(IdsTo(kCount))));
        return prepare(compiled(0x90, 10));
    };
    EXPECT_EQ(with2(B("NUMB") + Bytes{0xFE, 0x80, 0}), (Decision{11, 255}));
    EXPECT_EQ(with2(B("nUMB") + Bytes{0xFE, 0x80}), (Decision{11, 255}));
    EXPECT_EQ(with2(B("NUMB") + Bytes{0xFE, 0x80} + B("READ") + Bytes{0xFE, 0x81, 0}), (Decision{11, 255}));
    EXPECT_EQ(with2(B("READ") + Bytes{0xFE, 0x80} + B("NUMB") + Bytes{0xFE, 0x81, 0}), step);
    EXPECT_EQ(with2({}), step);
    EXPECT_EQ(with2({0}), step);
    EXPECT_EQ(with2(B("NUM")), step);
    EXPECT_EQ(with2(B("NUMB")), nowhere);
    EXPECT_EQ(with2(B("NUMB") + Bytes{0x80, 0xFE, 0}), nowhere);
    EXPECT_EQ(with2(B("NUMB") + Bytes{0xFE}), step);  // a sort code of 0 excludes nothing
    EXPECT_EQ(with2(B("NUMB") + Bytes{0xFE, 0x7F}), step);
    putIndex(indexBy(Bytes{kHalf, kNumbItem, 0x80}).entries(visible(IdsTo(kCount))));
    EXPECT_EQ(prepare(compiled(0x90, 10)), nowhere);
    EXPECT_EQ(prepare(compiled(0x90, 10), 2), step);
}

}  // namespace
