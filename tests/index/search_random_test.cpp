// SPDX-License-Identifier: MIT
// Searches in sorted indexes of random cards find exactly what a look at every card finds, from both ends and
// from any entry, where a caller sees to what the search relies on.
#include <algorithm>
#include <optional>
#include <random>

#include "box/bxd_card_read.h"
#include "match/bxd_srch_card.h"
#include "match/bxd_srch_cond.h"
#include "tests/support/search_case.h"

namespace {

using namespace searchtest;

constexpr u8 kDate = 4;
constexpr u8 kDateItem = 8;

class SearchRandom : public SearchCase {
protected:
    u32 pick(u32 below) { return std::uniform_int_distribution<u32>(0, below - 1)(random_); }
    template <typename List>
    auto oneOf(const List& list)
    {
        return list[pick(static_cast<u32>(list.size()))];
    }

    // Few letters, so that there are runs: kana in both spellings, voiced and not, and Latin in both cases.
    std::string utf8Text()
    {
        static const std::vector<std::string> letters{"か", "が", "カ", "ガ", "き", "あ", "a", "A", "b", "z"};
        std::string text;
        for (u32 n = pick(4); n > 0; --n) { text += oneOf(letters); }
        return text;
    }
    std::string sjisText()
    {
        std::string text;
        for (u32 n = pick(4); n > 0; --n) { text += static_cast<char>('a' + pick(3)); }
        return text;
    }
    u32 number() { return pick(12) * 500; }
    // A day of two months; the rest is fixed.
    Bytes date() { return {0, 0, static_cast<u8>((1 + pick(9)) << 3), static_cast<u8>(0xB1 + pick(2)), 7}; }

    void makeCards(u32 count)
    {
        BoxBuilder box(SortItems() + std::vector<Item>{{kDate, 0, "DATE", "date"}});
        for (u32 id = 1; id <= count; ++id) {
            box.card(id, box.row({{"NAME", B(sjisText())},
                                  {"READ", B(utf8Text())},
                                  {"NUMB", Half(number())},
                                  {"DATE", date()}}));
        }
        put(box.build());
        std::vector<IndexEntry> entries = visible(IdsTo(count));
        std::shuffle(entries.begin(), entries.end(), random_);
        for (IndexEntry& entry : entries) {
            entry.attr = static_cast<u8>(pick(256));
            entry.flags = pick(8) == 0 ? 1 : 0;
        }
        shuffled_ = entries;
    }
    void sortBy(const Bytes& compiled)
    {
        putOrdered(shuffled_, compiled);
        ASSERT_EQ(_IndexSort(kIndex, nullptr), 0u);
        order_ = entries();
    }

    // --- the plain scan ---

    void look(const Bytes& clauses, OpenBox& box, const Asked& asked)
    {
        u8 compiled[kConditionCodeMax + kConditionSlack] = {};
        u8 flags = 0;
        const Bytes text = Whole(clauses) + Bytes(16, 0);
        const u8* items = box.record()->itemTable;
        ASSERT_NE(SearchConvCondition(text.data(), compiled, items, kConditionCodeMax, &flags), 0u);
        matching_.clear();
        CardSlotCursor cursor = {};
        cursor.valid = kCursorNew;
        for (u32 n = 1; n <= order_.size(); ++n) {
            const IndexEntry& entry = order_[n - 1];
            const u8 want = static_cast<u8>(asked.value ^ (asked.mask & 0x40));
            if ((entry.flags & 1) != 0 || ((entry.attr & asked.mask) == want) == (asked.invert != 0)) {
                continue;
            }
            ASSERT_EQ(BoxSearchCheck(box.fid(), entry.cardId, &cursor), 0u);
            if (SearchCmpCardCore(box.fid(), static_cast<i32>(cursor.cardPos), compiled, 0, items, nullptr, 0,
                                  0) != 0) {
                matching_.push_back(n);
            }
        }
    }
    u32 nextMatching(u32 start, bool backward) const
    {
        u32 found = 0;
        for (u32 n : matching_) {
            if (backward && n < start) { found = n; }
            if (!backward && n > start) { return n; }
        }
        return found;
    }

    // Both directions, or the one that is told.
    enum Ways { kBoth, kForward, kBackward };

    void compare(const Bytes& clauses, OpenBox& box, Ways ways = kBoth)
    {
        Asked asked;
        if (pick(2) == 0) { asked = {0, 0, static_cast<u8>(pick(256)), 0, static_cast<u8>(pick(2))}; }
        asked.value = static_cast<u8>(pick(256) & asked.mask & 0x41);
        ASSERT_NO_FATAL_FAILURE(look(clauses, box, asked));
        hits_ += matching_.size();
        if (ways != kBackward) {
            ASSERT_EQ(findAll(clauses, asked, box.handle()), matching_) << ::testing::PrintToString(clauses);
        }
        if (ways != kForward) {
            asked.backward = 1;
            ASSERT_EQ(findAll(clauses, asked, box.handle()),
                      std::vector<u32>(matching_.rbegin(), matching_.rend()))
                << ::testing::PrintToString(clauses);
        }
        for (u32 n = 0; n < 4; ++n) {
            asked.backward = ways == kBoth ? static_cast<u8>(pick(2)) : ways == kBackward ? u8{1} : u8{0};
            asked.start = static_cast<u16>(pick(static_cast<u32>(order_.size()) + 2));
            ASSERT_EQ(find(clauses, asked, box.handle()), nextMatching(asked.start, asked.backward != 0))
                << ::testing::PrintToString(clauses) << " from " << asked.start;
        }
    }

    // A further clause, on another item than the key.
    Bytes otherClause(const std::string& key)
    {
        if (key != "NUMB") { return Clause("NUMB", oneOf(kNumberOps), number()); }
        return Clause("READ", u8{0x92}, "か");
    }
    // Conditions that begin with this clause.
    void compareAll(const Bytes& first, const std::string& key, OpenBox& box, Ways ways = kBoth)
    {
        compare(first, box, ways);
        compare(first + kAndClause + otherClause(key), box, ways);
        compare(first + kOrClause + otherClause(key), box);
        compare(otherClause(key) + kAndClause + first, box);
    }

    // The bytes that a text begins with are a boundary upwards only: what follows them puts it above.
    static Ways waysOf(const TextForm& form, u8 op, u8 code)
    {
        if (!form.binary || op != 0x91) { return kBoth; }
        return (code & 1) == 0 ? kForward : kBackward;
    }

    const std::vector<u8> kTextOps{0x90, 0x91, 0x92, 0x98, 0x99, 0x9A, 0x9B};
    const std::vector<u8> kNumberOps{0x90, 0x98, 0x99, 0x9A, 0x9B};

    std::mt19937 random_{20261};
    std::vector<IndexEntry> shuffled_;
    std::vector<IndexEntry> order_;
    std::vector<u32> matching_;
    size_t hits_ = 0;
};

TEST_F(SearchRandom, ByUtf8TextsInEveryOrder)
{
    makeCards(90);
    for (u8 code : {u8{0x80}, u8{0x81}, u8{0x82}, u8{0x83}}) {
        ASSERT_NO_FATAL_FAILURE(sortBy({kUtf8, kReadItem, code, kHalf, kNumbItem, 0x80}));
        OpenBox box(kBox);
        for (u32 round = 0; round < 10; ++round) {
            const TextForm form{kUtf8, pick(2) == 0};
            const u8 op = oneOf(kTextOps);
            ASSERT_NO_FATAL_FAILURE(
                compareAll(Clause("READ", op, utf8Text(), form), "READ", box, waysOf(form, op, code)));
        }
    }
    EXPECT_GT(hits_, 1000u);
}

TEST_F(SearchRandom, ByShiftJisTextsInEveryOrder)
{
    makeCards(60);
    for (u8 code : {u8{0x80}, u8{0x81}, u8{0x82}, u8{0x83}}) {
        ASSERT_NO_FATAL_FAILURE(sortBy({kSjis, kNameItem, code}));
        OpenBox box(kBox);
        for (u32 round = 0; round < 8; ++round) {
            const TextForm form{kSjis, pick(2) == 0};
            const u8 op = oneOf(kTextOps);
            ASSERT_NO_FATAL_FAILURE(
                compareAll(Clause("NAME", op, sjisText(), form), "NAME", box, waysOf(form, op, code)));
        }
    }
    EXPECT_GT(hits_, 1000u);
}

// "Up to and beginning with" where the search runs downwards through the texts: there it is a boundary.
TEST_F(SearchRandom, UpToABeginningDownwards)
{
    makeCards(60);
    for (u8 code : {u8{0x80}, u8{0x81}}) {
        ASSERT_NO_FATAL_FAILURE(sortBy({kUtf8, kReadItem, code}));
        OpenBox box(kBox);
        for (u32 round = 0; round < 12; ++round) {
            const Bytes clauses = Clause("READ", u8{0x97}, utf8Text());
            Asked asked{static_cast<u8>(code == 0x80 ? 1 : 0)};
            ASSERT_NO_FATAL_FAILURE(look(clauses, box, asked));
            if (asked.backward != 0) { std::reverse(matching_.begin(), matching_.end()); }
            ASSERT_EQ(findAll(clauses, asked, box.handle()), matching_);
            hits_ += matching_.size();
        }
    }
    EXPECT_GT(hits_, 200u);
}

TEST_F(SearchRandom, ByNumbersAndDatesInBothDirections)
{
    makeCards(60);
    for (u8 code : {u8{0x80}, u8{0x81}, u8{0x82}, u8{0x83}}) {
        ASSERT_NO_FATAL_FAILURE(sortBy({kHalf, kNumbItem, code}));
        OpenBox box(kBox);
        for (u32 round = 0; round < 5; ++round) {
            const Bytes first = Clause("NUMB", oneOf(kNumberOps), number() + pick(2));
            ASSERT_NO_FATAL_FAILURE(compareAll(first, "NUMB", box));
        }
        ASSERT_NO_FATAL_FAILURE(sortBy({kDate, kDateItem, code}));
        for (u32 round = 0; round < 5; ++round) {
            const Bytes first = Clause("DATE", oneOf(kNumberOps), kDate, date());
            ASSERT_NO_FATAL_FAILURE(compareAll(first, "DATE", box));
        }
    }
    EXPECT_GT(hits_, 1000u);
}

}  // namespace
