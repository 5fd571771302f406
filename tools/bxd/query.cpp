// SPDX-License-Identifier: MIT
#include "tools/bxd/query.h"

#include <bxd/condition.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "tools/bxd/failure.h"
#include "tools/bxd/query_words.h"
#include "tools/bxd/text.h"
#include "tools/bxd/values.h"

namespace tool {
namespace {

// Values have the types that items have.
constexpr bool Same(u8 valueType, u8 itemType) { return valueType == itemType; }
static_assert(Same(BXD_VALUE_UTF8, kText) && Same(BXD_VALUE_TEXT, kSjis) && Same(BXD_VALUE_TEXT2, kSjis2));
static_assert(Same(BXD_VALUE_DATE, kDateTime) && Same(BXD_VALUE_SPAN, kSpan) &&
              Same(BXD_VALUE_WEEK, kWeekDate) && Same(BXD_VALUE_BITS, kFlags));
static_assert(Same(BXD_VALUE_BYTE, kU8) && Same(BXD_VALUE_HALF, kU16) && Same(BXD_VALUE_WORD, kU32) &&
              Same(BXD_VALUE_BYTES, kCategories));

constexpr char kMark = static_cast<char>(BXD_OP_MARK);
constexpr char kNewKeys = static_cast<char>(BXD_OP_NEW_KEYS);
constexpr const char* kAllItems = "    ";
constexpr char kEveryBit = '\xFF';
constexpr char kNoCategory = '\xFE';  // what the library takes for an empty place

// The first key of a sort condition.
constexpr std::size_t kKeyMarkAt = 4;
constexpr std::size_t kKeyOrderAt = 5;
constexpr std::size_t kKeySize = 6;
constexpr char kUpwards = '\x80';
constexpr char kDownwards = '\x81';

// What the compiled form takes in the library, and how long it may be.
constexpr std::size_t kCompiledMax = 4096;
constexpr std::size_t kCompiledEnd = 1;
constexpr std::size_t kCompiledConnector = 1;
constexpr std::size_t kCompiledClause = 2;
constexpr std::size_t kCompiledTest = 2;
constexpr std::size_t kCompiledType = 1;
constexpr std::size_t kCompiledLength = 2;  // of a text
constexpr std::size_t kCompiledLetter = 2;

// An item that every box has, against a value of another type: no card passes. A condition with an "or" is
// answered card by card.
constexpr std::string_view kNever = "\xFE\x87"
                                    "ATTR\xFE\x90\x0B\x01";
constexpr std::size_t kCompiledNever =
    kCompiledConnector + kCompiledClause + kCompiledTest + kCompiledType + 1;

struct OperatorRow {
    const char* first;
    const char* second;  // of two words; empty otherwise
    u8 code;
};
constexpr std::array<OperatorRow, 9> kOperators = {{{"is", "", BXD_OP_EQUAL},
                                                    {"begins", "", BXD_OP_BEGINS},
                                                    {"contains", "", BXD_OP_CONTAINS},
                                                    {"at", "least", BXD_OP_AT_LEAST},
                                                    {"above", "", BXD_OP_ABOVE},
                                                    {"at", "most", BXD_OP_AT_MOST},
                                                    {"below", "", BXD_OP_BELOW},
                                                    {"blank", "", BXD_OP_BLANK},
                                                    {"not", "blank", BXD_OP_NOT_BLANK}}};

bool IsTextType(u8 type) { return type == kText || type == kSjis || type == kSjis2; }
bool AsksBlanks(u8 op) { return op == BXD_OP_BLANK || op == BXD_OP_NOT_BLANK; }

std::string Quote(const std::string& text) { return "\"" + Printable(text) + "\""; }

std::string Marked(u8 op) { return {kMark, static_cast<char>(op)}; }

// The library does not find such a condition's clauses any more.
bool HoldsNewKeys(const std::string& value)
{
    return value.find(std::string{kMark, kNewKeys}) != std::string::npos;
}

bool SuitsType(u8 op, u8 type)
{
    switch (type) {
    case kText:
    case kSjis:
    case kSjis2: return true;
    case kFlags: return op == BXD_OP_EQUAL || op == BXD_OP_CONTAINS;
    case kCategories:
        return op == BXD_OP_EQUAL || op == BXD_OP_CONTAINS || op == BXD_OP_AT_LEAST || op == BXD_OP_AT_MOST;
    default: return op != BXD_OP_BEGINS && op != BXD_OP_CONTAINS && !AsksBlanks(op);
    }
}

bool IsSearched(u8 type)
{
    constexpr std::array<u8, 11> kSearched = {kText, kSjis, kSjis2, kDateTime, kSpan,      kWeekDate,
                                              kU8,   kU16,  kU32,   kFlags,    kCategories};
    return std::find(kSearched.begin(), kSearched.end(), type) != kSearched.end();
}

// A tag can be anything in a box of another program.
bool IsPlainTag(const std::string& tag)
{
    return std::all_of(tag.begin(), tag.end(), [](char c) { return c > ' ' && c <= '~'; });
}

// Bytes that a text takes in the compiled form, the terminator included. A character beyond U+FFFF is four
// letters, one of Shift-JIS at most one.
std::size_t CompiledText(const std::string& text, u8 type, bool exact)
{
    if (exact) { return kCompiledLength + text.size() + 1; }
    std::size_t letters = CountCharacters(text);
    if (type == kText) {
        const auto isLong = [](char c) { return static_cast<u8>(c) >= 0xF0; };
        letters += 3 * static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isLong));
    }
    return kCompiledLength + (letters + 1) * kCompiledLetter;
}

class Parser {
public:
    Parser(const std::string& text, const std::vector<Item>& items) : items_(items), words_(SplitQuery(text))
    {}

    std::vector<QueryTest> Run()
    {
        if (Here().IsEnd()) { FaultAt(Here().at, "the query is empty"); }
        std::vector<QueryTest> tests;
        for (;;) {
            tests.push_back(Test());
            if (Here().IsEnd()) { return tests; }
            if (!IsConnector(Here())) {
                FaultAt(Here().at, Quote(Here().text) + ": \"and\", \"or\" or the end is expected");
            }
            tests.back().orNext = Take().Is("or");
        }
    }

private:
    const QueryWord& Here() const { return words_[next_]; }
    // The end is never passed.
    const QueryWord& Take() { return words_[Here().IsEnd() ? next_ : next_++]; }
    static bool IsConnector(const QueryWord& word) { return word.Is("and") || word.Is("or"); }

    // Counts what goes into the compiled form.
    void Spend(std::size_t at, std::size_t bytes)
    {
        compiled_ += bytes;
        if (compiled_ > kCompiledMax) { FaultAt(at, "from here on the query is too long for a search"); }
    }

    QueryTest Test()
    {
        const std::size_t at = Here().at;
        QueryTest test;
        const Item* item = What();
        test.tag = item != nullptr ? item->tag : kAllItems;
        test.itemType = item != nullptr ? item->type : u8{0};
        const QueryWord exactly = Here();
        test.exact = exactly.Is("exactly");
        if (test.exact) { Take(); }
        const QueryWord word = Here();
        test.op = Operator();
        Check(test, word, exactly);
        Spend(at, kCompiledClause + kCompiledConnector);
        test.clause = test.tag;
        if (AsksBlanks(test.op)) {
            AddBlankTests(&test, at);
        } else if (item == nullptr || IsTextType(item->type)) {
            AddTextTests(&test);
        } else {
            AddValueTest(&test);
        }
        return test;
    }

    // The item that is named, or null for all.
    const Item* What()
    {
        const QueryWord& word = Take();
        if (word.IsEnd() || IsConnector(word)) { FaultAt(word.at, "an item is expected"); }
        if (word.Is("any")) { return nullptr; }
        const Item* item = FindItem(items_, word.text);
        if (item == nullptr) { FaultAt(word.at, "the box has no item " + Quote(word.text)); }
        if (!IsSearched(item->type) || !IsPlainTag(item->tag)) {
            FaultAt(word.at, "items of the type " + TypeName(item->type) + " cannot be searched");
        }
        return item;
    }

    u8 Operator()
    {
        const QueryWord& first = Take();
        for (const OperatorRow& row : kOperators) {
            if (!first.Is(row.first)) { continue; }
            if (*row.second == '\0') { return row.code; }
            if (Here().Is(row.second)) {
                Take();
                return row.code;
            }
        }
        if (first.IsEnd()) { FaultAt(first.at, "an operator is expected" + Operators()); }
        FaultAt(first.at, Quote(first.text) + " is no operator" + Operators());
    }

    static std::string Operators()
    {
        std::string names;
        for (const OperatorRow& row : kOperators) {
            names += std::string(names.empty() ? "; there are " : ", ") + row.first;
            if (*row.second != '\0') { names += std::string(" ") + row.second; }
        }
        return names;
    }

    static void Check(const QueryTest& test, const QueryWord& word, const QueryWord& exactly)
    {
        const bool all = test.itemType == 0;
        if (!all && !SuitsType(test.op, test.itemType)) {
            FaultAt(word.at, Quote(word.text) + " does not suit " + test.tag + ", an item of the type " +
                                 TypeName(test.itemType));
        }
        if (!test.exact) { return; }
        const bool byLanguage =
            all || IsTextType(test.itemType) || test.itemType == kDateTime || test.itemType == kWeekDate;
        if (!byLanguage || AsksBlanks(test.op)) {
            FaultAt(exactly.at, "\"exactly\" is for the compare of texts and dates");
        }
    }

    // The types of text that a test asks for: the item's, or those that the box has.
    std::vector<u8> TextTypes(const QueryTest& test) const
    {
        if (test.itemType != 0) { return {test.itemType}; }
        const auto has = [&](u8 a, u8 b) {
            return std::any_of(items_.begin(), items_.end(),
                               [&](const Item& item) { return item.type == a || item.type == b; });
        };
        std::vector<u8> types;
        const bool sjis = has(kSjis, kSjis2);  // each is compared with the other
        if (has(kText, kText) || !sjis) { types.push_back(kText); }
        if (sjis) { types.push_back(kSjis); }
        return types;
    }

    void AddTest(QueryTest* test, u8 op, u8 type, const std::string& value)
    {
        if (test->exact) { test->clause += Marked(BXD_OP_BINARY); }
        test->clause += Marked(op) + static_cast<char>(type) + value;
    }

    // The library counts an empty item as not blank, which is not what people mean. Its operator comes first:
    // it has no value, and cannot be passed over.
    void AddBlankTests(QueryTest* test, std::size_t at)
    {
        const bool blank = test->op == BXD_OP_BLANK;
        test->clause += Marked(test->op);
        Spend(at, kCompiledTest);
        u8 connector = blank ? BXD_OP_OR : BXD_OP_AND;
        for (const u8 type : TextTypes(*test)) {
            test->clause += Marked(connector);
            AddTest(test, blank ? BXD_OP_EQUAL : BXD_OP_ABOVE, type, "");
            Spend(at, kCompiledConnector + kCompiledTest + kCompiledType + CompiledText("", type, false));
            connector = BXD_OP_OR;
        }
    }

    // A text that cannot be written in one of the encodings is in no item of it.
    void AddTextTests(QueryTest* test)
    {
        const QueryWord& word = Take();
        if (word.kind != WordKind::kQuoted) { FaultAt(word.at, "a text in quotes is expected"); }
        const std::vector<u8> types = TextTypes(*test);
        bool any = false;
        for (const u8 type : types) {
            std::string value;
            try {
                value = BytesOfText(type, word.text);
            } catch (const Failure& failure) {
                if (!any) { FaultAt(word.at, failure.what()); }
                continue;
            }
            // Some characters of a vendor are the byte of the mark.
            if (value.find(kMark) != std::string::npos) {
                FaultAt(word.at, "the text has a character that cannot be searched for");
            }
            if (any) { test->clause += Marked(BXD_OP_OR); }
            AddTest(test, test->op, type, value);
            const std::string& counted = test->exact ? value : word.text;
            Spend(word.at, kCompiledConnector + kCompiledTest + kCompiledType +
                               CompiledText(counted, type, test->exact));
            any = true;
        }
    }

    void AddValueTest(QueryTest* test)
    {
        const std::size_t at = Here().at;
        const std::string value = Value(test->itemType);
        if (HoldsNewKeys(value)) { FaultAt(at, "the library cannot search for this very value"); }
        u8 op = test->op;
        if (test->itemType == kFlags) { op = BXD_OP_BITS_EQUAL; }
        const bool every = test->itemType == kFlags && test->op == BXD_OP_EQUAL;
        const std::string mask = test->itemType != kFlags ? "" : every ? std::string{kEveryBit} : value;
        AddTest(test, op, test->itemType, mask + value);
        Spend(at, kCompiledTest + kCompiledType + mask.size() + value.size());
    }

    std::string Value(u8 type)
    {
        const std::size_t at = Here().at;
        std::string text;
        if (Here().kind == WordKind::kQuoted) {
            text = Take().text;
        } else {
            while (Here().kind == WordKind::kPlain && !IsConnector(Here())) {
                text += (text.empty() ? "" : " ") + Take().text;
            }
        }
        if (text.empty()) { FaultAt(at, "a value of the type " + TypeName(type) + " is expected"); }
        std::string bytes;
        try {
            bytes = BytesOfText(type, text);
        } catch (const Failure& failure) {
            FaultAt(at, Quote(text) + ": " + failure.what());
        }
        if (type == kCategories && (bytes.size() != 1 || bytes[0] == kNoCategory)) {
            FaultAt(at, "one category is expected, from 1 to 253");
        }
        if (type == kFlags && bytes.size() != 1) { FaultAt(at, "flags of one byte are expected"); }
        return bytes;
    }

    const std::vector<Item>& items_;
    std::vector<QueryWord> words_;
    std::size_t next_ = 0;
    std::size_t compiled_ = kCompiledNever + kCompiledEnd;
};

// Whether an operator's cards end where the order goes on: below a value upwards, above it downwards.
bool EndsInOrder(u8 op, bool upwards)
{
    return upwards ? op == BXD_OP_AT_MOST || op == BXD_OP_BELOW : op == BXD_OP_AT_LEAST || op == BXD_OP_ABOVE;
}

}  // namespace

Query::Query(const std::string& text, const std::vector<Item>& items) : tests_(Parser(text, items).Run()) {}

std::string Query::Joined() const
{
    std::string condition;
    for (const QueryTest& test : tests_) {
        condition += test.clause;
        const bool last = &test == &tests_.back();
        if (!last) { condition += Marked(test.orNext ? BXD_OP_CLAUSE_OR : BXD_OP_CLAUSE_AND); }
    }
    return condition;
}

std::string Query::Condition() const { return Joined() + '\0'; }

std::string Query::ConditionForScan() const { return Joined() + std::string(kNever) + '\0'; }

bool Query::AgreesWith(const std::string& sortCondition) const
{
    if (sortCondition.size() < kKeySize || sortCondition[kKeyMarkAt] != kMark) { return false; }
    const char order = sortCondition[kKeyOrderAt];
    const QueryTest& first = tests_.front();
    const bool byText = first.itemType == kText && !first.exact && !AsksBlanks(first.op) &&
                        SameTag(first.tag, sortCondition.substr(0, kTagSize));
    if (!byText || (order != kUpwards && order != kDownwards)) { return false; }
    return std::all_of(tests_.begin(), tests_.end(), [&](const QueryTest& test) {
        if (test.orNext || test.itemType == 0) { return false; }
        if (&test == &first || !SameTag(test.tag, first.tag) || test.op == BXD_OP_CONTAINS) { return true; }
        return !test.exact && EndsInOrder(test.op, order == kUpwards);
    });
}

}  // namespace tool
