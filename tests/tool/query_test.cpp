// SPDX-License-Identifier: MIT
// Queries of "bxd find": the conditions that they become, and how their faults are told.
#include "tools/bxd/query.h"

#include <gtest/gtest.h>

#include "tools/bxd/failure.h"
#include "tools/bxd/values.h"

namespace {

using tool::Item;
using tool::Query;
using namespace std::string_literals;

const std::string kReadTag = "READ";

std::vector<Item> Items()
{
    return {{tool::kFlags, 0, "ATTR", "", true},
            {tool::kText, 0, "READ", "reading"},
            {tool::kText, 0, "MEAN", "the meaning"},
            {tool::kSjis, 0, "SJIS", ""},
            {tool::kSjis2, 0, "SJI2", ""},
            {tool::kU8, 0, "BYTE", ""},
            {tool::kU16, 0, "HALF", ""},
            {tool::kU32, 0, "LONG", ""},
            {tool::kDateTime, 0, "DATE", "born"},
            {tool::kSpan, 0, "SPAN", ""},
            {tool::kWeekDate, 0, "WEEK", ""},
            {tool::kCategories, 0, "CATS", ""},
            {200, 0, "BLOB", ""},
            {tool::kText, 0, std::string("A\0\0B", 4), "odd"},
            {tool::kText, 0, "ANYT", "any"}};
}

std::vector<Item> Without(u8 type)
{
    std::vector<Item> items = Items();
    std::erase_if(items, [type](const Item& item) { return item.type == type; });
    return items;
}

std::string Compiled(const std::string& query, const std::vector<Item>& items = Items())
{
    const std::string condition = Query(query, items).Condition();
    EXPECT_EQ(condition.back(), '\0');
    return condition.substr(0, condition.size() - 1);
}

// What is said of a query that has a fault.
std::string FaultOf(const std::string& query, const std::vector<Item>& items = Items())
{
    try {
        (void)Query(query, items);
    } catch (const tool::UsageFailure& failure) {
        return failure.what();
    }
    return "no fault";
}

void ExpectFault(const std::string& query, int at, const std::string& fault)
{
    EXPECT_EQ(FaultOf(query), "the query, character " + std::to_string(at) + ": " + fault) << query;
}

TEST(Query, EveryOperatorOfATextHasItsByte)
{
    EXPECT_EQ(Compiled("READ is \"a\""), "READ\xFE\x90\x11"s + "a");
    EXPECT_EQ(Compiled("READ begins \"a\""), "READ\xFE\x91\x11"s + "a");
    EXPECT_EQ(Compiled("READ contains \"a\""), "READ\xFE\x92\x11"s + "a");
    EXPECT_EQ(Compiled("READ at least \"a\""), "READ\xFE\x98\x11"s + "a");
    EXPECT_EQ(Compiled("READ above \"a\""), "READ\xFE\x99\x11"s + "a");
    EXPECT_EQ(Compiled("READ at most \"a\""), "READ\xFE\x9A\x11"s + "a");
    EXPECT_EQ(Compiled("READ below \"a\""), "READ\xFE\x9B\x11"s + "a");
    EXPECT_EQ(Compiled("READ exactly begins \"a\""), "READ\xFE\x95\xFE\x91\x11"s + "a");
}

TEST(Query, BlankAsksForEmptyTextsToo)
{
    EXPECT_EQ(Compiled("READ blank"), "READ\xFE\x9F\xFE\x85\xFE\x90\x11");
    EXPECT_EQ(Compiled("READ not blank"), "READ\xFE\x9E\xFE\x84\xFE\x99\x11");
    EXPECT_EQ(Compiled("SJIS blank"), "SJIS\xFE\x9F\xFE\x85\xFE\x90\x01");
    EXPECT_EQ(Compiled("any blank"), "    \xFE\x9F\xFE\x85\xFE\x90\x11\xFE\x85\xFE\x90\x01");
    EXPECT_EQ(Compiled("any not blank"), "    \xFE\x9E\xFE\x84\xFE\x99\x11\xFE\x85\xFE\x99\x01");
}

TEST(Query, ItemsAreNamedByTagOrName)
{
    const std::string clause = "MEAN\xFE\x90\x11x";
    EXPECT_EQ(Compiled("MEAN is 'x'"), clause);
    EXPECT_EQ(Compiled("mEAN is 'x'"), clause);
    EXPECT_EQ(Compiled("\"the meaning\" is 'x'"), clause);
    EXPECT_EQ(Compiled("'MEAN'is'x'"), clause);
    EXPECT_EQ(Compiled("\"any\" is 'x'"), "ANYT\xFE\x90\x11x");
    ExpectFault("mean is 'x'", 1, "the box has no item \"mean\"");
}

TEST(Query, EachTestIsAClause)
{
    EXPECT_EQ(Compiled("READ is 'a' and READ is 'b' or MEAN is 'c'"), "READ\xFE\x90\x11"s + "a\xFE\x86" +
                                                                          "READ\xFE\x90\x11"s + "b\xFE\x87" +
                                                                          "MEAN\xFE\x90\x11"s + "c");
    EXPECT_EQ(Query("READ is 'a'", Items()).ConditionForScan(),
              "READ\xFE\x90\x11"s + "a\xFE\x87" + "ATTR\xFE\x90\x0B\x01" + "\0"s);
}

TEST(Query, QuotedTextsHaveEscapes)
{
    EXPECT_EQ(Compiled(R"(READ is "a \"b\" \\ \n \t 'c' \'")"),
              "READ\xFE\x90\x11"s + "a \"b\" \\ \n \t 'c' '");
    EXPECT_EQ(Compiled(R"(READ is 'say "x"')"), "READ\xFE\x90\x11say \"x\"");
    EXPECT_EQ(Compiled("READ is \"and\"\n\t and READ is \"\""),
              "READ\xFE\x90\x11"s + "and\xFE\x86" + "READ\xFE\x90\x11");
    EXPECT_EQ(Compiled("READ is 'a\x01\x7F\n'"), "READ\xFE\x90\x11"s + "a\x01\x7F\n");
    ExpectFault(R"(READ is "a\q")", 11, "behind a backslash a quote, a backslash, n or t is expected");
    ExpectFault(R"(READ is "a\)", 11, "behind a backslash a quote, a backslash, n or t is expected");
    ExpectFault(R"(READ is "ab)", 9, "the text that begins here has no closing quote");
    ExpectFault(R"(READ is "ab')", 9, "the text that begins here has no closing quote");
    ExpectFault(R"(READ is "ab\")", 9, "the text that begins here has no closing quote");
    ExpectFault("READ is 'a\0b'"s, 11, "a text cannot have a byte 0");
}

TEST(Query, ShiftJisTextsAreConverted)
{
    EXPECT_EQ(Compiled("SJIS is '日本'"), "SJIS\xFE\x90\x01\x93\xFA\x96\x7B");
    EXPECT_EQ(Compiled("SJI2 is '日本'"), "SJI2\xFE\x90\x10\x93\xFA\x96\x7B");
    ExpectFault("SJIS is '🙂'", 9, "the text has a character that Shift-JIS does not have");
}

TEST(Query, AnyAsksInTheEncodingsOfTheBox)
{
    EXPECT_EQ(Compiled("any is '日'"), "    \xFE\x90\x11日\xFE\x85\xFE\x90\x01\x93\xFA");
    EXPECT_EQ(Compiled("any exactly is '日'"),
              "    \xFE\x95\xFE\x90\x11日\xFE\x85\xFE\x95\xFE\x90\x01\x93\xFA");
    EXPECT_EQ(Compiled("any is '🙂'"), "    \xFE\x90\x11🙂");
    std::vector<Item> utf8 = Without(tool::kSjis);
    EXPECT_EQ(Compiled("any is 'x'", Without(tool::kText)), "    \xFE\x90\x01x");
    std::erase_if(utf8, [](const Item& item) { return item.type == tool::kSjis2; });
    EXPECT_EQ(Compiled("any is 'x'", utf8), "    \xFE\x90\x11x");
    ExpectFault("any is 5", 8, "a text in quotes is expected");
}

TEST(Query, OtherItemsTakeTheirValues)
{
    EXPECT_EQ(Compiled("BYTE is 65"), "BYTE\xFE\x90\x0B"s + "A");
    EXPECT_EQ(Compiled("HALF above 258"), "HALF\xFE\x99\x08\x02\x01");
    EXPECT_EQ(Compiled("LONG at most \"16909060\""), "LONG\xFE\x9A\x12\x04\x03\x02\x01");
    EXPECT_EQ(Compiled("born below 2024-05-17 08:30:15"), "DATE\xFE\x9B\x04\x0F\x1E\x8A\xC5\x07");
    EXPECT_EQ(Compiled("born exactly at least '2024-05-17 08:30:15' and BYTE is 1"),
              "DATE\xFE\x95\xFE\x98\x04\x0F\x1E\x8A\xC5\x07\xFE\x86"
              "BYTE\xFE\x90\x0B\x01");
    EXPECT_EQ(Compiled("born is 2024-05-17"), "DATE\xFE\x90\x04\x3F\xFF\x8F\xC5\x07");
    EXPECT_EQ(Compiled("SPAN is -3d 04:30:00"), "SPAN\xFE\x90\x05\0\x1E\x19\0\x80"s);
    EXPECT_EQ(Compiled("WEEK is 2004-03 w2 d2"), "WEEK\xFE\x90\x07\x22\x83\x06");
    EXPECT_EQ(Compiled("CATS contains 5"), "CATS\xFE\x92\x0C\x05");
    EXPECT_EQ(Compiled("ATTR is 0x40"), "ATTR\xFE\x88\x06\xFF\x40");
    EXPECT_EQ(Compiled("ATTR contains 0x40"), "ATTR\xFE\x88\x06\x40\x40");
}

TEST(Query, ValuesThatDoNotSuitAreTold)
{
    ExpectFault("READ is x", 9, "a text in quotes is expected");
    ExpectFault("READ is", 8, "a text in quotes is expected");
    ExpectFault("BYTE is 256", 9, "\"256\": a number from 0 to 255 is expected");
    ExpectFault("BYTE is 1 2 or BYTE is 3", 9, "\"1 2\": a number from 0 to 255 is expected");
    ExpectFault("BYTE is", 8, "a value of the type u8 is expected");
    ExpectFault("BYTE is and", 9, "a value of the type u8 is expected");
    ExpectFault("BYTE is ''", 9, "a value of the type u8 is expected");
    ExpectFault("born is yesterday", 9, "\"yesterday\": a date looks like 2024-05-17 or 2024-05-17 08:30:00");
    ExpectFault("CATS is 1,2", 9, "one category is expected, from 1 to 253");
    ExpectFault("CATS contains 254", 15, "one category is expected, from 1 to 253");
    ExpectFault("ATTR is 0x0140", 9, "flags of one byte are expected");
}

TEST(Query, OperatorsThatDoNotSuitAreTold)
{
    ExpectFault("BYTE begins 5", 6, "\"begins\" does not suit BYTE, an item of the type u8");
    ExpectFault("BYTE blank", 6, "\"blank\" does not suit BYTE, an item of the type u8");
    ExpectFault("born not blank", 6, "\"not\" does not suit DATE, an item of the type datetime");
    ExpectFault("CATS above 5", 6, "\"above\" does not suit CATS, an item of the type categories");
    ExpectFault("ATTR below 0x40", 6, "\"below\" does not suit ATTR, an item of the type flags");
    ExpectFault("BYTE exactly is 5", 6, "\"exactly\" is for the compare of texts and dates");
    ExpectFault("READ exactly blank", 6, "\"exactly\" is for the compare of texts and dates");
    ExpectFault("BLOB is 0x01", 1, "items of the type 200 cannot be searched");
    ExpectFault("odd is 'x'", 1, "items of the type text cannot be searched");
}

TEST(Query, FaultsOfTheFormAreToldWithTheirPlace)
{
    const std::string operators =
        "; there are is, begins, contains, at least, above, at most, below, blank, not blank";
    ExpectFault("", 1, "the query is empty");
    ExpectFault(" \t\n", 4, "the query is empty");
    ExpectFault("none is 'x'", 1, "the box has no item \"none\"");
    ExpectFault("READ starts 'x'", 6, "\"starts\" is no operator" + operators);
    ExpectFault("READ at 'x'", 6, "\"at\" is no operator" + operators);
    ExpectFault("READ 'is' 'x'", 6, "\"is\" is no operator" + operators);
    ExpectFault("READ exactly", 13, "an operator is expected" + operators);
    ExpectFault("READ", 5, "an operator is expected" + operators);
    ExpectFault("READ is 'x' xor", 13, "\"xor\": \"and\", \"or\" or the end is expected");
    ExpectFault("READ is 'x' and", 16, "an item is expected");
    ExpectFault("and READ is 'x'", 1, "an item is expected");
    ExpectFault("(READ is 'x')", 1, "there are no parentheses; a query is read from left to right");
    ExpectFault("READ is 'ああ' nor", 14, "\"nor\": \"and\", \"or\" or the end is expected");
    ExpectFault("READ\x01 is 'x'", 5, "a control character stands outside of quotes");
    ExpectFault("READ \x7F", 6, "a control character stands outside of quotes");
    ExpectFault("\0"s, 1, "a control character stands outside of quotes");
}

TEST(Query, NoTextSmugglesInAnOperator)
{
    ExpectFault("READ is 'あ\xFE\x87'", 11, "it is not valid UTF-8");
    ExpectFault("\xFE", 1, "it is not valid UTF-8");
    ExpectFault("READ is '\xC0\xBE'", 10, "it is not valid UTF-8");
    // U+F8F2 is the byte FE in some vendors' Shift-JIS, and the letter behind it begins with 84.
    EXPECT_NE(FaultOf("SJIS is '\uF8F2\u0410'"), "no fault");
    EXPECT_EQ(Compiled("any is '\uF8F2\u0410'").find("\xFE\x84"), std::string::npos);
    EXPECT_EQ(Compiled("READ is '\uF8F2'"), "READ\xFE\x90\x11\uF8F2");
    // FE 96 would be taken for an operator wherever it stands.
    ExpectFault("HALF is 38654", 9, "the library cannot search for this very value");
    EXPECT_EQ(Compiled("HALF above 38653"), "HALF\xFE\x99\x08\xFD\x96");
}

TEST(Query, AQueryThatIsTooLongIsTold)
{
    // 7 bytes of the compiled form are for the clause that asks for a scan, 1 for its end, 3 for a clause.
    constexpr std::size_t kRoom = 4096 - 7 - 1 - 3 - 6;
    const std::string fault = "the query, character 9: from here on the query is too long for a search";
    const std::string most((kRoom - 2) / 2, 'a');
    EXPECT_EQ(FaultOf("READ is '" + most + "'"), "no fault");
    EXPECT_EQ(FaultOf("READ is '" + most + "a'"), fault);
    EXPECT_EQ(FaultOf("READ is '" + std::string(1 << 16, 'a') + "'"), fault);
    std::string many = "READ is 'a'";
    for (int i = 0; i < 2000; ++i) { many += " or READ is 'a'"; }
    EXPECT_NE(FaultOf(many).find("too long for a search"), std::string::npos);
    EXPECT_EQ(FaultOf(std::string(1 << 16, ' ') + "READ is 'a'"), "no fault");
}

std::string SortedBy(const std::string& tag, char order) { return tag + '\xFE' + order + '\0'; }

bool Agrees(const std::string& query, char order = '\x80')
{
    return Query(query, Items()).AgreesWith(SortedBy(kReadTag, order));
}

TEST(Query, AgreesWithAnOrderThatNoTestBreaks)
{
    for (const char* query : {"READ is 'a'", "READ begins 'a'", "READ contains 'a'", "READ above 'a'",
                              "reading at most 'a'", "READ begins 'a' and MEAN is 'b' and BYTE is 3",
                              "READ begins 'a' and READ contains 'b' and MEAN not blank"}) {
        EXPECT_TRUE(Agrees(query)) << query;
        EXPECT_TRUE(Agrees(query, '\x81')) << query;
        EXPECT_FALSE(Agrees(query, '\x82')) << query;
        EXPECT_FALSE(Query(query, Items()).AgreesWith(SortedBy("MEAN", '\x80'))) << query;
        EXPECT_FALSE(Query(query, Items()).AgreesWith("")) << query;
        EXPECT_FALSE(Query(query, Items()).AgreesWith("READx")) << query;
    }
    EXPECT_TRUE(Agrees("READ at least 'a' and READ below 'c'"));
    EXPECT_FALSE(Agrees("READ at least 'a' and READ below 'c'", '\x81'));
    EXPECT_TRUE(Agrees("READ below 'c' and READ at least 'a'", '\x81'));
    EXPECT_FALSE(Agrees("READ below 'c' and READ at least 'a'"));
}

TEST(Query, DisagreesWhereASearchWouldEndTooSoon)
{
    for (const char* query :
         {"READ at least 'b' and READ begins 'd'", "READ is 'a' or MEAN is 'b'",
          "MEAN is 'b' and READ is 'a'", "READ exactly is 'a'", "READ blank", "READ not blank",
          "READ is 'a' and READ not blank", "READ is 'a' and any is 'b'", "any is 'a'",
          "READ is 'a' and READ exactly below 'b'"}) {
        EXPECT_FALSE(Agrees(query)) << query;
    }
    EXPECT_FALSE(Query("SJIS is 'a'", Items()).AgreesWith(SortedBy("SJIS", '\x80')));
    EXPECT_FALSE(Query("LONG is 5", Items()).AgreesWith(SortedBy("LONG", '\x80')));
}

}  // namespace
