// SPDX-License-Identifier: MIT
// Import of the dictionary format: entries with and without a reading, the mark of common words, its
// encoding, and lines that are no entries.
#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ImportEdict : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        MakeWords();
    }

    Outcome Import(const std::string& bytes, std::vector<std::string> more = {}) const
    {
        Write("words.edict", bytes);
        std::vector<std::string> arguments = {"import", "w.box", "words.edict"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Run(arguments);
    }

    void ExpectCards(const char* values) const
    {
        Json cards = Json::array();
        for (const Json& card : RunJson({"list", "w.box", "--json"})) { cards.push_back(card["items"]); }
        EXPECT_EQ(cards, Json::parse(values));
    }
};

TEST_F(ImportEdict, EntriesHaveHeadwordReadingAndMeanings)
{
    EXPECT_EQ(Import(EucJp("〃 [おなじ] /(n) ditto mark/\n猫 [ねこ] /(n) (1) cat/(2) shamisen/(P)/\n")).code,
              0);
    ExpectCards(R"([{"HEAD": "〃", "READ": "おなじ", "MEAN": "(n) ditto mark"},
                    {"HEAD": "猫", "READ": "ねこ", "MEAN": "(n) (1) cat; (2) shamisen"}])");
}

TEST_F(ImportEdict, AHeadwordInKanaNeedsNoReading)
{
    EXPECT_EQ(Import(EucJp("ヽ /(unc) repetition mark in katakana/\n")).code, 0);
    ExpectCards(R"([{"HEAD": "ヽ", "READ": "", "MEAN": "(unc) repetition mark in katakana"}])");
}

TEST_F(ImportEdict, TheTitleIsNoEntry)
{
    EXPECT_EQ(
        Import(EucJp("　？？？ /EDICT, EDICT_SUB(P)/Created: 2021-02-03/\nあ /ah/(P)/\n"), {"--common"}).code,
        0);
    ExpectCards(R"([{"HEAD": "あ", "READ": "", "MEAN": "ah"}])");
}

TEST_F(ImportEdict, CommonTakesOnlyTheMarkedOnes)
{
    const std::string lines =
        EucJp("あ /one/(P)/\nい /two/\nリン /(n) phosphorus (P)/\nう /(Pa) three/(P) four/\n");
    EXPECT_EQ(Import(lines, {"--common"}).code, 0);
    ExpectCards(R"([{"HEAD": "あ", "READ": "", "MEAN": "one"},
                    {"HEAD": "リン", "READ": "", "MEAN": "(n) phosphorus"}])");
}

TEST_F(ImportEdict, BrokenEucJpIsToldWithItsLine)
{
    const Outcome outcome = Import(EucJp("あ /one/\n") + "\xA4 /cut/\n" + EucJp("い /two/\n"));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(outcome.err.find("bxd: words.edict:2: the line is not valid EUC-JP\n"), std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.err.find("before that, 1 card was imported and is complete\n"), std::string::npos)
        << outcome.err;
    ExpectCards(R"([{"HEAD": "あ", "READ": "", "MEAN": "one"}])");
}

TEST_F(ImportEdict, LinesThatAreNoEntriesAreBad)
{
    const Outcome outcome =
        Import(EucJp("no slash\n /no head/\nあ [open /x/\n\nい [い] /fine/\n"), {"--skip-bad"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.err, "bxd: words.edict:1: no \" /\" begins the meanings\n"
                           "bxd: words.edict:2: there is no headword\n"
                           "bxd: words.edict:3: the reading does not end in a bracket\n");
    ExpectCards(R"([{"HEAD": "い", "READ": "い", "MEAN": "fine"}])");
}

TEST_F(ImportEdict, OtherEncodingsCanBeGiven)
{
    EXPECT_EQ(Import("猫 [ねこ] /cat/\r\n", {"--encoding", "UTF-8"}).code, 0);
    ExpectCards(R"([{"HEAD": "猫", "READ": "ねこ", "MEAN": "cat"}])");
}

TEST_F(ImportEdict, ItsColumnsCanGoToOtherItems)
{
    RunOk({"create", "o.box", "--item", "WORD:text:headword", "--item", "GLOS:text"});
    Write("words.edict", EucJp("猫 [ねこ] /cat/\n"));
    ExpectFailure(2, "the column \"reading\" is no item of the box", {"import", "o.box", "words.edict"});
    RunOk({"import", "o.box", "words.edict", "--map", "reading=-", "--map", "meaning=GLOS"});
    EXPECT_EQ(RunJson({"show", "o.box", "1", "--json"})["items"]["WORD"], "猫");
    EXPECT_EQ(RunJson({"show", "o.box", "1", "--json"})["items"]["GLOS"], "cat");
}

}  // namespace
