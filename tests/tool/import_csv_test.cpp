// SPDX-License-Identifier: MIT
// Import of tables: the rules of RFC 4180, the columns and their items, and what happens with bad records.
#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ImportCsv : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        RunOk({"create", "t.box", "--item", "AAAA:text:Alpha", "--item", "BBBB:text:Beta", "--item",
               "NNNN:u8"});
    }

    Outcome Import(const std::string& content, std::vector<std::string> more = {}) const
    {
        Write("t.csv", content);
        std::vector<std::string> arguments = {"import", "t.box", "t.csv"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Run(arguments);
    }

    // The values of Alpha and Beta of all cards.
    std::vector<std::vector<std::string>> Cards() const
    {
        std::vector<std::vector<std::string>> cards;
        for (const Json& card : RunJson({"list", "t.box", "--json"})) {
            cards.push_back({card["items"]["AAAA"], card["items"]["BBBB"]});
        }
        return cards;
    }

    using Rows = std::vector<std::vector<std::string>>;

    void ExpectCards(const std::string& content, const Rows& cards,
                     const std::vector<std::string>& more = {}) const
    {
        const Outcome outcome = Import(content, more);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(Cards(), cards);
    }

    // The import stops with these words after so many cards.
    void ExpectStop(const std::string& content, const std::string& words, std::size_t cards) const
    {
        const Outcome outcome = Import(content);
        EXPECT_EQ(outcome.code, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err.find(words), std::string::npos) << outcome.err;
        EXPECT_EQ(Cards().size(), cards);
    }
};

TEST_F(ImportCsv, PlainRowsBecomeCardsInTheirOrder)
{
    ExpectCards("AAAA,BBBB\na,b\nc,d\n", {{"a", "b"}, {"c", "d"}});
}

TEST_F(ImportCsv, TheLastRowNeedsNoLineEnd) { ExpectCards("AAAA,BBBB\na,b", {{"a", "b"}}); }

TEST_F(ImportCsv, LinesMayEndAsOnAnySystem)
{
    ExpectCards("AAAA,BBBB\r\na,b\r\nc,d\r\n", {{"a", "b"}, {"c", "d"}});
}

TEST_F(ImportCsv, QuotedFieldsMayHoldQuotesCommasAndLines)
{
    ExpectCards("AAAA,BBBB\n\"say \"\"hi\"\"\",\"a,b\"\n\"two\nlines\",\"\"\n\"two\r\nlines\",x\n",
                {{"say \"hi\"", "a,b"}, {"two\nlines", ""}, {"two\r\nlines", "x"}});
}

TEST_F(ImportCsv, BlanksBelongToTheField) { ExpectCards("AAAA,BBBB\n a , b \n", {{" a ", " b "}}); }

TEST_F(ImportCsv, FieldsMayBeEmptyOrMissingAtTheEnd)
{
    ExpectCards("AAAA,BBBB,NNNN\n,b,\na,,7\nc\n", {{"", "b"}, {"a", ""}, {"c", ""}});
}

TEST_F(ImportCsv, EmptyLinesAreNoRecords) { ExpectCards("AAAA,BBBB\n\na,b\n\n\n", {{"a", "b"}}); }

TEST_F(ImportCsv, AByteOrderMarkIsPassedOver)
{
    ExpectCards("\xEF\xBB\xBF"
                "AAAA,BBBB\na,b\n",
                {{"a", "b"}});
}

TEST_F(ImportCsv, ColumnsAreFoundByTagOrName) { ExpectCards("Beta,aAAA\nb,a\n", {{"a", "b"}}); }

TEST_F(ImportCsv, MapSendsColumnsToItemsOrNowhere)
{
    ExpectCards("first=1,second,third\na,b,c\n", {{"b", "a"}},
                {"--map", "first=1=BBBB", "--map", "second=Alpha", "--map", "third=-"});
}

TEST_F(ImportCsv, OtherEncodingsAreConverted)
{
    ExpectCards("AAAA,BBBB\n\x93\xFA\x96\x7B,x\n", {{"日本", "x"}}, {"--encoding", "SHIFT_JIS"});
}

TEST_F(ImportCsv, TabsSeparateATsv)
{
    Write("t.tsv", "AAAA\tBBBB\na,1\t\"b\tc\"\n");
    RunOk({"import", "t.box", "t.tsv"});
    EXPECT_EQ(Cards(), (Rows{{"a,1", "b\tc"}}));
}

TEST_F(ImportCsv, StandardInputIsADash)
{
    RunOk({"import", "t.box", "-", "--format", "csv"}, "AAAA\nx\n");
    EXPECT_EQ(Cards(), (Rows{{"x", ""}}));
    ExpectFailure(2, "does not tell the format", {"import", "t.box", "-"});
}

TEST_F(ImportCsv, ValuesMayBeLong)
{
    const std::string megabyte(1 << 20, 'm');
    const std::string middling(16384, 'k');
    ExpectCards("AAAA,BBBB\n" + megabyte + ",x\n" + middling + ",y\n", {{megabyte, "x"}, {middling, "y"}});
}

TEST_F(ImportCsv, TheSummaryTellsHowManyCards)
{
    const Outcome outcome = Import("AAAA\na\nb\n");
    EXPECT_EQ(outcome.out.rfind("imported 2 cards in ", 0), 0u) << outcome.out;
}

TEST_F(ImportCsv, TheSummaryIsThereAsJson)
{
    Json summary = Json::parse(Import("AAAA\na\nb\n", {"--json"}).out);
    EXPECT_TRUE(summary["seconds"].is_number());
    summary.erase("seconds");
    EXPECT_EQ(summary,
              Json::parse(R"({"imported": 2, "bad": 0, "firstId": 1, "lastId": 2, "complete": true})"));
}

TEST_F(ImportCsv, TooManyFieldsStopItWithWhatWasComplete)
{
    ExpectStop("AAAA,BBBB\na,b\nc,d,e\nf,g\n", "bxd: t.csv:3: there are 3 fields, but only 2 columns\n", 1);
    EXPECT_EQ(Cards(), (Rows{{"a", "b"}}));
}

TEST_F(ImportCsv, AStopTellsWhatWasImported)
{
    ExpectStop("AAAA,NNNN\na,1\nb,2\nc,300\n", "before that, 2 cards were imported and are complete\n", 2);
}

TEST_F(ImportCsv, AStopIsInTheJsonSummaryToo)
{
    const Outcome outcome = Import("AAAA,NNNN\na,1\nc,300\n", {"--json"});
    EXPECT_EQ(outcome.code, 1);
    const Json summary = Json::parse(outcome.out);
    EXPECT_EQ(summary["complete"], false);
    EXPECT_EQ(summary["imported"], 1);
    EXPECT_EQ(summary["error"], "t.csv:3: the value for NNNN: a number from 0 to 255 is expected");
}

TEST_F(ImportCsv, LinesAreCountedThroughQuotedFields)
{
    ExpectStop("AAAA,NNNN\n\"1\n2\n3\",1\nx,y\n", "bxd: t.csv:5: the value for NNNN:", 1);
}

TEST_F(ImportCsv, AStrayQuoteIsNotGuessedAt)
{
    ExpectStop("AAAA,BBBB\na,b\nc\"d,e\n", "bxd: t.csv:3: a double quote stands where none can be\n", 1);
    ExpectStop("AAAA,BBBB\n\"c\"d,e\n", "bxd: t.csv:2: a double quote stands where none can be\n", 1);
}

TEST_F(ImportCsv, AFieldThatDoesNotEndIsToldWhereItsRecordBegins)
{
    ExpectStop("AAAA,BBBB\na,b\nc,\"d\ne\nf\n", "bxd: t.csv:3: a field in double quotes does not end\n", 1);
}

TEST_F(ImportCsv, TextThatIsNotInTheEncodingStopsIt)
{
    ExpectStop("AAAA,BBBB\na,b\n\xFF,c\n", "bxd: t.csv:3: the line is not valid UTF-8\n", 1);
}

TEST_F(ImportCsv, SkipBadGoesOnAndCounts)
{
    const Outcome outcome = Import("AAAA,NNNN\na,1\nb,x\nc,1,2\n\xFF\nd\"\ne,5\n", {"--skip-bad"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_NE(outcome.out.find("imported 2 cards"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("left out 4 bad records\n"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.err, "bxd: t.csv:3: the value for NNNN: a number from 0 to 255 is expected\n"
                           "bxd: t.csv:4: there are 3 fields, but only 2 columns\n"
                           "bxd: t.csv:5: the line is not valid UTF-8\n"
                           "bxd: t.csv:6: a double quote stands where none can be\n");
    EXPECT_EQ(Cards(), (Rows{{"a", ""}, {"e", ""}}));
}

TEST_F(ImportCsv, ManyBadRecordsAreCountedButNotAllTold)
{
    std::string rows = "NNNN\n";
    for (int i = 0; i < 100; i++) { rows += "x\n"; }
    const Outcome outcome = Import(rows, {"--skip-bad", "--json"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(Json::parse(outcome.out)["bad"], 100);
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 21);
}

TEST_F(ImportCsv, ColumnsThatAreNoItemsAreRefusedBeforeAnything)
{
    Write("t.csv", "AAAA,ZZZZ\na,b\n");
    ExpectFailure(2, "the column \"ZZZZ\" is no item of the box, which has AAAA, BBBB, NNNN",
                  {"import", "t.box", "t.csv"});
    ExpectFailure(2, "there is no such column", {"import", "t.box", "t.csv", "--map", "YYYY=BBBB"});
    ExpectFailure(2, "two columns go to the item AAAA", {"import", "t.box", "t.csv", "--map", "ZZZZ=AAAA"});
    ExpectFailure(2, "ATTR is kept by the library", {"import", "t.box", "t.csv", "--map", "ZZZZ=ATTR"});
    ExpectFailure(2, "COLUMN=TAG is expected", {"import", "t.box", "t.csv", "--map", "ZZZZ"});
    EXPECT_EQ(Cards(), Rows{});
}

TEST_F(ImportCsv, FilesThatCannotBeReadAreNamed)
{
    ExpectFailure(1, "bxd: no.csv: No such file or directory\n", {"import", "t.box", "no.csv"});
    std::filesystem::create_directory(Path("dir.csv"));
    ExpectFailure(1, "bxd: dir.csv: Is a directory\n", {"import", "t.box", "dir.csv"});
    Write("empty.csv", "");
    ExpectFailure(1, "empty.csv: it is empty", {"import", "t.box", "empty.csv"});
    Write("broken.csv", "\"AAAA\n");
    ExpectFailure(1, "bxd: broken.csv:1: a field in double quotes does not end",
                  {"import", "t.box", "broken.csv"});
    Write("t.csv", "AAAA\na\n");
    ExpectFailure(1, "encoding KLINGON cannot be converted",
                  {"import", "t.box", "t.csv", "--encoding", "KLINGON"});
    ExpectFailure(2, "--common is for the format edict", {"import", "t.box", "t.csv", "--common"});
    ExpectFailure(1, "no.box: No such file", {"import", "no.box", "t.csv"});
}

}  // namespace
