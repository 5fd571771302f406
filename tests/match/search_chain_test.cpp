// SPDX-License-Identifier: MIT
// Chains of tests and clauses: strictly from left to right, with no precedence, and what is passed over is
// not tested. All truths of all chains of up to four links.
#include "tests/match/search_card_case.h"

namespace {

using namespace searchtest;

// A link of a chain: what it says, and how it is joined to the next one.
struct Link {
    bool truth;
    bool joinedByAnd;
};
using Chain = std::vector<Link>;

// Where the reading ends, and with which result.
std::pair<size_t, bool> ReadChain(const Chain& chain)
{
    size_t at = 0;
    while (at + 1 < chain.size() && chain[at].joinedByAnd == chain[at].truth) { ++at; }
    return {at, chain[at].truth};
}

std::vector<Chain> AllChains(size_t longest)
{
    std::vector<Chain> all;
    for (size_t length = 1; length <= longest; ++length) {
        for (u32 truths = 0; truths < 1u << length; ++truths) {
            for (u32 joints = 0; joints < 1u << (length - 1); ++joints) {
                Chain chain;
                for (size_t n = 0; n < length; ++n) {
                    chain.push_back({(truths >> n & 1) != 0, (joints >> n & 1) != 0});
                }
                all.push_back(chain);
            }
        }
    }
    return all;
}

std::string Name(const Chain& chain)
{
    std::string out;
    for (const Link& link : chain) {
        out += std::string(link.truth ? "1" : "0") + (link.joinedByAnd ? "&" : "|");
    }
    return out;
}

class SearchChain : public SearchCardCase {
protected:
    // Each item of a card has values of its own, so that no test is true by chance.
    void SetUp() override
    {
        items_ = boxtest::DefaultItems();
        Row row;
        for (u32 n = 0; n < 6; ++n) {
            const std::string tag = "N00" + std::to_string(n);
            items_.push_back({n % 2 == 0 ? u8{8} : u8{1}, 0, tag, "x"});
            row.push_back({tag, n % 2 == 0 ? Bytes{7, 0} : B("seven")});
        }
        store({row}, items_);
    }

    // A test of item 5 + n, true or false, by another operator for each n.
    void addTest(SearchCondition* cond, size_t item, size_t n, bool truth) const
    {
        if (item % 2 == 0) {
            static constexpr u8 kOps[] = {kEquals, kAtLeast, kAtMost, kBelow};
            static const Bytes kTrue[] = {{7, 0}, {6, 0}, {8, 0}, {8, 0}};
            static const Bytes kFalse[] = {{6, 0}, {8, 0}, {6, 0}, {7, 0}};
            cond->value(kOps[n], 8, truth ? kTrue[n] : kFalse[n]);
        } else {
            static constexpr u8 kOps[] = {kEquals, kContains, kBegins, kAbove};
            static const Bytes kTrue[] = {B("Seven"), B("EV"), B("se"), B("a")};
            static const Bytes kFalse[] = {B("seve"), B("vs"), B("ev"), B("zero")};
            cond->text(kOps[n], 1, truth ? kTrue[n] : kFalse[n]);
        }
    }
    static u8 opOf(size_t item, size_t n)
    {
        static constexpr u8 kOfNumbers[] = {kEquals, kAtLeast, kAtMost, kBelow};
        static constexpr u8 kOfTexts[] = {kEquals, kContains, kBegins, kAbove};
        return item % 2 == 0 ? kOfNumbers[n] : kOfTexts[n];
    }
    void addClause(SearchCondition* cond, size_t item, const Chain& tests) const
    {
        cond->clause(items_[4 + item].type, static_cast<u8>(5 + item));
        for (size_t n = 0; n < tests.size(); ++n) {
            addTest(cond, item, n, tests[n].truth);
            if (n + 1 < tests.size()) { tests[n].joinedByAnd ? cond->testAnd() : cond->testOr(); }
        }
    }

    std::vector<Item> items_;
};

TEST_F(SearchChain, TestsOfAClauseAreReadFromLeftToRight)
{
    for (size_t item : {0u, 1u}) {
        for (const Chain& chain : AllChains(4)) {
            SearchCondition cond;
            addClause(&cond, item, chain);
            const auto [last, result] = ReadChain(chain);
            EXPECT_EQ(ask(cond), (Told{result, static_cast<u32>(5 + item), opOf(item, last)})) << Name(chain);
        }
    }
}

TEST_F(SearchChain, ClausesAreReadFromLeftToRight)
{
    for (const Chain& chain : AllChains(4)) {
        SearchCondition cond;
        for (size_t n = 0; n < chain.size(); ++n) {
            addClause(&cond, n, {{chain[n].truth, false}});
            if (n + 1 < chain.size()) { chain[n].joinedByAnd ? cond.clauseAnd() : cond.clauseOr(); }
        }
        const auto [last, result] = ReadChain(chain);
        EXPECT_EQ(ask(cond), (Told{result, static_cast<u32>(5 + last), opOf(last, 0)})) << Name(chain);
    }
}

TEST_F(SearchChain, WhatIsLeftOfARunIsPassedOverToTheNextClause)
{
    for (const Chain& first : AllChains(3)) {
        for (const Chain& second : AllChains(3)) {
            const bool firstResult = ReadChain(first).second;
            const auto [last, secondResult] = ReadChain(second);
            for (bool joinedByAnd : {false, true}) {
                SearchCondition cond;
                addClause(&cond, 1, first);
                joinedByAnd ? cond.clauseAnd() : cond.clauseOr();
                addClause(&cond, 2, second);
                const Told want = joinedByAnd == firstResult
                                      ? Told{secondResult, 7, opOf(2, last)}
                                      : Told{firstResult, 6, opOf(1, ReadChain(first).first)};
                ASSERT_EQ(ask(cond), want) << Name(first) << ' ' << joinedByAnd << ' ' << Name(second);
            }
        }
    }
}

TEST_F(SearchChain, ATrueClauseInFrontOfAnOrEndsTheWalk)
{
    // 1 or 0 and 0: by precedence of AND it would be true too, but the last item would have been looked at.
    SearchCondition cond;
    addClause(&cond, 0, {{true, false}});
    cond.clauseOr();
    addClause(&cond, 1, {{false, false}});
    cond.clauseAnd();
    addClause(&cond, 2, {{false, false}});
    EXPECT_EQ(ask(cond), (Told{true, 5, kEquals}));
}

TEST_F(SearchChain, ATrueTestInFrontOfAnOrEndsTheRun)
{
    SearchCondition cond;
    addClause(&cond, 0, {{true, false}, {false, true}, {false, false}});
    EXPECT_EQ(ask(cond), (Told{true, 5, kEquals}));
}

TEST_F(SearchChain, AClauseThatFollowsNoConnectorIsNotRead)
{
    SearchCondition cond;
    addClause(&cond, 0, {{true, false}});
    addClause(&cond, 1, {{false, false}});
    EXPECT_EQ(ask(cond), (Told{true, 5, kEquals}));
}

TEST_F(SearchChain, AnEmptyConditionSelectsNothing)
{
    EXPECT_EQ(ask(SearchCondition()), (Told{false, 0, 0}));
}

TEST_F(SearchChain, ABlankTestThatIsPassedOverEndsTheWalk)
{
    for (u8 op : {kFilled, kBlank}) {
        // Behind a true test the OR is passed over; the walk loses its step and reads no connector.
        SearchCondition cond;
        addClause(&cond, 0, {{true, false}});
        cond.testOr().bare(op).clauseAnd();
        addClause(&cond, 1, {{false, false}});
        EXPECT_EQ(ask(cond), (Told{true, 5, kEquals}));
        SearchCondition no;
        addClause(&no, 0, {{false, false}});
        no.testAnd().bare(op).clauseOr();
        addClause(&no, 1, {{true, false}});
        EXPECT_EQ(ask(no), (Told{false, 5, kEquals}));
        // At the end of a condition it does no harm.
        SearchCondition last;
        addClause(&last, 0, {{true, false}});
        last.testOr().bare(op);
        EXPECT_EQ(ask(last), (Told{true, 5, kEquals}));
    }
}

TEST_F(SearchChain, AnItemTypeThatLooksLikeAConnectorIsNotTakenForOne)
{
    // An item of type 0x86 behind a blank test that is passed over.
    SearchCondition cond;
    addClause(&cond, 0, {{true, false}});
    cond.testOr().bare(kBlank).clauseAnd().clause(0x86, 5).text(kEquals, 1, Bytes(300, 0x84));
    EXPECT_EQ(ask(cond), (Told{true, 5, kEquals}));
}

TEST_F(SearchChain, ATestAgainstTheNeighbourIsPassedOverInStep)
{
    SearchCondition cond;
    addClause(&cond, 0, {{true, false}});
    cond.testOr().bare(kNeighbour).clauseAnd();
    addClause(&cond, 1, {{false, false}});
    EXPECT_EQ(ask(cond), (Told{false, 6, kEquals}));
}

}  // namespace
