// SPDX-License-Identifier: MIT
#include "tools/bxd/query_words.h"

#include "tools/bxd/failure.h"
#include "tools/bxd/text.h"

namespace tool {
namespace {

bool IsBlankCharacter(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool IsQuote(char c) { return c == '"' || c == '\''; }

// Takes a query apart from left to right; it is UTF-8.
class Splitter {
public:
    explicit Splitter(std::string_view query) : rest_(query) {}

    QueryWord Next()
    {
        while (!rest_.empty() && IsBlankCharacter(rest_[0])) { Take(); }
        if (rest_.empty()) { return {WordKind::kEnd, "", at_}; }
        return IsQuote(rest_[0]) ? Quoted() : Plain();
    }

private:
    char Take()
    {
        const char c = rest_[0];
        rest_.remove_prefix(1);
        const bool within = !rest_.empty() && (static_cast<unsigned char>(rest_[0]) & 0xC0) == 0x80;
        if (!within) { at_++; }
        return c;
    }

    QueryWord Plain()
    {
        QueryWord word = {WordKind::kPlain, "", at_};
        while (!rest_.empty() && !IsBlankCharacter(rest_[0]) && !IsQuote(rest_[0])) {
            const auto c = static_cast<unsigned char>(rest_[0]);
            if (c < ' ' || c == 0x7F) { FaultAt(at_, "a control character stands outside of quotes"); }
            if (c == '(' || c == ')') {
                FaultAt(at_, "there are no parentheses; a query is read from left to right");
            }
            word.text += Take();
        }
        return word;
    }

    QueryWord Quoted()
    {
        QueryWord word = {WordKind::kQuoted, "", at_};
        const char quote = Take();
        while (!rest_.empty() && rest_[0] != quote) {
            if (rest_[0] == '\0') { FaultAt(at_, "a text cannot have a byte 0"); }
            word.text += rest_[0] == '\\' ? Escape() : Take();
        }
        if (rest_.empty()) { FaultAt(word.at, "the text that begins here has no closing quote"); }
        Take();
        return word;
    }

    char Escape()
    {
        const std::size_t at = at_;
        Take();
        const char c = rest_.empty() ? '\0' : rest_[0];
        if (c != '\\' && c != 'n' && c != 't' && !IsQuote(c)) {
            FaultAt(at, "behind a backslash a quote, a backslash, n or t is expected");
        }
        Take();
        if (c == 'n') { return '\n'; }
        return c == 't' ? '\t' : c;
    }

    std::string_view rest_;
    std::size_t at_ = 1;  // of the first character of the rest
};

}  // namespace

void FaultAt(std::size_t at, const std::string& fault)
{
    throw UsageFailure("the query, character " + std::to_string(at) + ": " + fault);
}

std::vector<QueryWord> SplitQuery(std::string_view query)
{
    const std::size_t good = Utf8Prefix(query);
    if (good < query.size()) { FaultAt(CountCharacters(query.substr(0, good)) + 1, "it is not valid UTF-8"); }
    Splitter splitter(query);
    std::vector<QueryWord> words;
    do {
        words.push_back(splitter.Next());
    } while (!words.back().IsEnd());
    return words;
}

}  // namespace tool
