// SPDX-License-Identifier: MIT
// Queries as a user writes them, compiled to search conditions of the library (bxd/condition.h):
//
//   query     test, and further ones with "and" or "or" between them
//   test      ITEM, perhaps "exactly", an operator, and its value
//   ITEM      the tag or the name of an item, in quotes where it has blanks; any for all items
//   operator  is, begins, contains, at least, above, at most, below; blank and not blank take no value
//   value     of a text in quotes; of other items as values.h tells, with or without quotes
//
//   reading begins "ab" or size above 3
//       R E A D  FE 91 11 a b  FE 87  S I Z E  FE 99 08 03 00  00
//
// Each test is a clause of its own, so that "and" and "or" mean what the library makes of clauses, whatever
// items they join: a test is asked after the other, and the first that settles the answer ends it.
#pragma once

#include <string>
#include <vector>

#include "tools/bxd/item.h"

namespace tool {

struct QueryTest {
    std::string tag;  // four blanks for all items
    u8 itemType = 0;  // 0 for all items
    u8 op = 0;
    bool exact = false;
    bool orNext = false;  // the next test may hold instead; it must hold too otherwise
    std::string clause;   // with the tag
};

class Query {
public:
    // Throws UsageFailure with the place of the fault.
    Query(const std::string& text, const std::vector<Item>& items);

    const std::vector<QueryTest>& Tests() const { return tests_; }

    // The condition, ended by a byte 0. A search may take the order of its index for granted then, see
    // AgreesWith.
    std::string Condition() const;
    // One that every index answers card by card, with the same result.
    std::string ConditionForScan() const;

    // Whether a search with Condition, through an index with this sort condition, finds every card that
    // ConditionForScan finds: its first test has to be of a text by which the index is ordered, and no other
    // test of that text may fail before the last card that is wanted.
    bool AgreesWith(const std::string& sortCondition) const;

private:
    std::string Joined() const;

    std::vector<QueryTest> tests_;
};

}  // namespace tool
