// SPDX-License-Identifier: MIT
// A query as words and quoted texts, each with its place:
//
//   reading begins "a \"b\""        1 reading    9 begins    16 a "b" (quoted)    25 the end
//
// Quotes are " or '. Behind a backslash in them stands a quote, a backslash, n for a new line or t for a tab.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

enum class WordKind { kPlain, kQuoted, kEnd };

struct QueryWord {
    WordKind kind = WordKind::kEnd;
    std::string text;
    std::size_t at = 1;  // the character of the query that it begins with, from 1 on

    bool Is(std::string_view keyword) const { return kind == WordKind::kPlain && text == keyword; }
    bool IsEnd() const { return kind == WordKind::kEnd; }
};

// Throws UsageFailure that tells the place and the fault.
[[noreturn]] void FaultAt(std::size_t at, const std::string& fault);

// The words of a query; the last one is the end.
std::vector<QueryWord> SplitQuery(std::string_view query);

}  // namespace tool
