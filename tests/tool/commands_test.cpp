// SPDX-License-Identifier: MIT
// The commands apart from import: what they print, what they refuse and how they end.
#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class Tool : public ToolTest {};
class ToolCreate : public ToolTest {};
class ToolItems : public ToolTest {};

class ToolCards : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        MakeWords();
        RunOk({"import", "w.box", "-", "--format", "csv"},
              "HEAD,READ,MEAN\n猫,ねこ,cat\n明かり,あかり,light\nABC,,letters\n");
    }
};

TEST_F(Tool, HelpTellsCommandsExamplesAndExitCodes)
{
    const std::string help = RunOk({"--help"});
    for (const char* word : {"create", "items", "import", "list", "show", "set", "rm", "info", "map", "gc",
                             "index", "Examples:", "Exit codes: 0 done, 1 it failed"}) {
        EXPECT_NE(help.find(word), std::string::npos) << word;
    }
}

TEST_F(Tool, EveryCommandHasHelpWithExamples)
{
    for (const char* command :
         {"create", "items", "import", "list", "show", "set", "rm", "info", "map", "gc", "index"}) {
        EXPECT_NE(RunOk({command, "--help"}).find("Examples:"), std::string::npos) << command;
    }
}

TEST_F(Tool, VersionIsOneLine) { EXPECT_EQ(RunOk({"--version"}), "bxd " BXD_VERSION "\n"); }

TEST_F(Tool, CommandLinesWithoutSenseEndWithTwo)
{
    EXPECT_EQ(Run({}).code, 2);
    EXPECT_EQ(Run({"frobnicate"}).code, 2);
    EXPECT_EQ(Run({"create"}).code, 2);
    EXPECT_EQ(Run({"list", "w.box", "--limit", "many"}).code, 2);
    EXPECT_EQ(Run({"show", "w.box", "0"}).code, 2);
    EXPECT_EQ(Run({"show", "w.box", "65280"}).code, 2);
    EXPECT_EQ(Run({"set", "w.box", "1", "HEAD"}).code, 2);
    EXPECT_EQ(Run({"rm", "w.box"}).code, 2);
    EXPECT_EQ(Run({"rm", "w.box", "1", "65280"}).code, 2);
}

TEST_F(Tool, FilesThatAreNotThereAreNamedWithTheReason)
{
    for (const char* command : {"list", "info", "items"}) {
        ExpectFailure(1, "bxd: no.box: No such file or directory\n", {command, "no.box"});
    }
    ExpectFailure(1, "bxd: no.box: No such file or directory\n", {"show", "no.box", "1"});
    ExpectFailure(1, "bxd: no.box: No such file or directory\n", {"set", "no.box", "1", "HEAD", "x"});
    ExpectFailure(1, "bxd: F0:NO.BOX: No such file or directory\n", {"list", "F0:NO.BOX"});
}

TEST_F(Tool, FilesThatAreNoBoxesAreRefused)
{
    Write("text.box", std::string(5000, 'x'));
    Write("short.box", "x");
    Write("empty.box", "");
    for (const char* name : {"text.box", "short.box", "empty.box"}) {
        for (const char* command : {"list", "info", "items"}) { ExpectFailure(1, name, {command, name}); }
    }
    ExpectFailure(1, "it is not a box", {"list", "text.box"});
    std::filesystem::create_directory(Path("dir.box"));
    ExpectFailure(1, "dir.box: it is not a file", {"list", "dir.box"});
}

TEST_F(Tool, PathsThatTheLibraryWouldTakeForADriveAreRefused)
{
    ExpectFailure(2, "cannot have a colon", {"create", "C:x.box"});
    ExpectFailure(2, "a file name is expected", {"create", "F0:"});
    ExpectFailure(2, "a file name is expected", {"create", "F0:../x.box"});
    ExpectFailure(2, "more than 255 bytes", {"create", std::string(256, 'x')});
    ExpectFailure(2, "the name of the file is empty", {"create", ""});
}

TEST_F(Tool, BrokenBoxesNeverCrashIt)
{
    MakeWords();
    RunOk({"import", "w.box", "-", "--format", "csv"}, "HEAD\none\ntwo\nthree\n");
    const std::string good = ReadFile(Path("w.box"));
    for (std::size_t size = 0; size < good.size(); size += 37) {
        Write("cut.box", good.substr(0, size));
        for (const std::vector<std::string>& command : {std::vector<std::string>{"list", "cut.box"},
                                                        {"info", "cut.box"},
                                                        {"set", "cut.box", "2", "HEAD", "x"}}) {
            const Outcome outcome = Run(command);
            EXPECT_LE(outcome.code, 1) << command[0] << " of " << size << " bytes: " << outcome.err;
        }
    }
}

TEST_F(ToolCreate, MakesAnEmptyBoxOfTheGivenApplication)
{
    EXPECT_EQ(RunOk({"create", "w.box", "--app", "ADDR"}), "");
    EXPECT_EQ(std::filesystem::file_size(Path("w.box")), 2120u);
    const Json info = RunJson({"info", "w.box", "--json"});
    EXPECT_EQ(info["application"], "ADDR");
    EXPECT_EQ(info["items"], 0);
    EXPECT_EQ(info["cards"], 0);
    EXPECT_EQ(info["fileBytes"], 2120);
    ExpectFailure(1, "it has no items", {"list", "w.box"});
}

TEST_F(ToolCreate, FillsAShortApplicationWithBlanks)
{
    RunOk({"create", "w.box", "--app", "AB"});
    EXPECT_EQ(RunJson({"info", "w.box", "--json"})["application"], "AB  ");
    ExpectFailure(2, "one to four", {"create", "v.box", "--app", "ADDRESS"});
    EXPECT_FALSE(std::filesystem::exists(Path("v.box")));
}

TEST_F(ToolCreate, LeavesAFileThatIsThereAsItIs)
{
    Write("w.box", "precious");
    ExpectFailure(1, "bxd: w.box: it exists already (status 67)", {"create", "w.box"});
    EXPECT_EQ(ReadFile(Path("w.box")), "precious");
}

TEST_F(ToolCreate, MakesTheDirectoriesOfTheDrives)
{
    RunOk({"create", "F0:WORDS.BOX"});
    EXPECT_TRUE(std::filesystem::exists(Path("Applications/bxd/WORDS.BOX")));
    RunOk({"create", "F1:OTHER.BOX"});
    EXPECT_EQ(RunJson({"info", "F1:WORDS.BOX", "--json"})["box"], "F1:WORDS.BOX");
}

TEST_F(ToolCreate, ChecksTheItemsBeforeItMakesAnything)
{
    ExpectFailure(2, "TAG:TYPE or TAG:TYPE:NAME is expected", {"create", "w.box", "--item", "HEAD"});
    ExpectFailure(2, "is no tag", {"create", "w.box", "--item", "HEA:text"});
    ExpectFailure(2, "is no tag", {"create", "w.box", "--item", "HE-D:text"});
    ExpectFailure(2, "is no type", {"create", "w.box", "--item", "HEAD:novel"});
    ExpectFailure(2, "is no type", {"create", "w.box", "--item", "HEAD:256"});
    ExpectFailure(2, "from the start", {"create", "w.box", "--item", "CTTM:text"});
    ExpectFailure(2, "two items have the tag",
                  {"create", "w.box", "--item", "HEAD:text", "--item", "hEAD:u8"});
    ExpectFailure(2, "more than 38 bytes",
                  {"create", "w.box", "--item", "HEAD:text:" + std::string(39, 'n')});
    EXPECT_FALSE(std::filesystem::exists(Path("w.box")));
}

TEST_F(ToolCreate, LeavesNothingBehindInADirectoryThatIsNotThere)
{
    ExpectFailure(1, "bxd: no/w.box: the file cannot be made", {"create", "no/w.box"});
}

TEST_F(ToolItems, ListsTheFourOfEveryBoxAndItsOwn)
{
    RunOk({"create", "w.box"});
    RunOk({"items", "w.box", "NAME:text:Name", "AGE1:u8", "BDAY:datetime:born: day, hour", "RAW1:77/3"});
    EXPECT_EQ(RunOk({"items", "w.box"}), "TAG   TYPE        NAME\n"
                                         "ATTR  flags/10    attribute\n"
                                         "cTTM  datetime/6  created time\n"
                                         "mDTM  datetime/6  modified time\n"
                                         "sYID  u32/15      sync id\n"
                                         "NAME  text        Name\n"
                                         "AGE1  u8\n"
                                         "BDAY  datetime    born: day, hour\n"
                                         "RAW1  77/3\n");
    const Json items = RunJson({"items", "w.box", "--json"});
    ASSERT_EQ(items.size(), 8u);
    EXPECT_EQ(items[1]["tag"], "cTTM");
    EXPECT_EQ(items[1]["builtIn"], true);
    EXPECT_EQ(items[7], Json::parse(R"({"tag": "RAW1", "type": "77", "typeNumber": 77, "subType": 3,
                                        "name": "", "builtIn": false})"));
}

TEST_F(ToolItems, FindsTagsThatDifferInTheCaseOfLaterLetters)
{
    RunOk({"create", "w.box", "--item", "Name:text:one", "--item", "NaMe:text:two", "--item",
           "NAME:text:three"});
    const Json items = RunJson({"items", "w.box", "--json"});
    ASSERT_EQ(items.size(), 7u);
    std::vector<std::string> tags = {items[4]["tag"], items[5]["tag"], items[6]["tag"]};
    std::sort(tags.begin(), tags.end());
    EXPECT_EQ(tags, (std::vector<std::string>{"NAME", "NaMe", "Name"}));
}

TEST_F(ToolItems, AreNotAddedToABoxThatHasSome)
{
    MakeWords();
    const std::string before = ReadFile(Path("w.box"));
    ExpectFailure(1, "it has items already", {"items", "w.box", "MORE:text"});
    EXPECT_EQ(ReadFile(Path("w.box")), before);
}

TEST_F(ToolCards, ListIsAlignedByTheWidthOfItsCharacters)
{
    EXPECT_EQ(RunOk({"list", "w.box"}), "ID  HEAD    READ    MEAN\n"
                                        "1   猫      ねこ    cat\n"
                                        "2   明かり  あかり  light\n"
                                        "3   ABC             letters\n");
}

TEST_F(ToolCards, ListCutsLinesToTheGivenWidth)
{
    EXPECT_EQ(RunOk({"list", "w.box", "--width", "22"}), "ID  HEAD  READ   MEAN\n"
                                                         "1   猫    ねこ   cat\n"
                                                         "2   明…   あか…  light\n"
                                                         "3   ABC          lett…\n")
        << "the widest columns give way first";
}

TEST_F(ToolCards, ListStartsAndStopsWhereItIsTold)
{
    EXPECT_EQ(RunOk({"list", "w.box", "--from", "2", "--limit", "1"}), "ID  HEAD    READ    MEAN\n"
                                                                       "2   明かり  あかり  light\n");
    EXPECT_EQ(RunJson({"list", "w.box", "--from", "4", "--json"}), Json::array());
}

TEST_F(ToolCards, ListAsJsonHoldsEveryCard)
{
    EXPECT_EQ(RunJson({"list", "w.box", "--json"}), Json::parse(R"([
        {"id": 1, "items": {"HEAD": "猫", "READ": "ねこ", "MEAN": "cat"}},
        {"id": 2, "items": {"HEAD": "明かり", "READ": "あかり", "MEAN": "light"}},
        {"id": 3, "items": {"HEAD": "ABC", "READ": "", "MEAN": "letters"}}])"));
    const Json all = RunJson({"list", "w.box", "--json", "--all", "--limit", "1"});
    EXPECT_EQ(all[0]["items"]["ATTR"], "0x00");
    EXPECT_EQ(all[0]["items"]["cTTM"], nullptr);
}

TEST_F(ToolCards, ListReachesIdsBeyondTheFirstTable)
{
    std::string rows = "HEAD\n";
    for (int i = 4; i <= 700; i++) { rows += "w" + std::to_string(i) + "\n"; }
    RunOk({"import", "w.box", "-", "--format", "csv"}, rows);
    const Json cards = RunJson({"list", "w.box", "--json"});
    ASSERT_EQ(cards.size(), 700u);
    EXPECT_EQ(cards[699], Json::parse(R"({"id": 700, "items": {"HEAD": "w700", "READ": "", "MEAN": ""}})"));
    EXPECT_EQ(RunJson({"list", "w.box", "--from", "629", "--json"}).size(), 72u);
}

TEST_F(ToolCards, ListOfABoxWithoutCardsIsItsHeading)
{
    RunOk({"create", "v.box", "--item", "HEAD:text"});
    EXPECT_EQ(RunOk({"list", "v.box"}), "ID  HEAD\n");
    EXPECT_EQ(RunJson({"list", "v.box", "--json"}), Json::array());
}

TEST_F(ToolCards, ListTellsCardsThatItCannotReach)
{
    std::string bytes = ReadFile(Path("w.box"));
    bytes[52] = 5;  // the header's number of cards
    Write("w.box", bytes);
    const Outcome outcome = Run({"list", "w.box"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(outcome.err.find("2 of the cards that it counts cannot be read"), std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.out.find("letters"), std::string::npos);
}

TEST_F(ToolCards, ShowHasAllItemsOfOneCard)
{
    EXPECT_EQ(RunOk({"show", "w.box", "2"}), "ITEM  NAME           VALUE\n"
                                             "ATTR  attribute      0x00\n"
                                             "cTTM  created time\n"
                                             "mDTM  modified time\n"
                                             "sYID  sync id\n"
                                             "HEAD  headword       明かり\n"
                                             "READ  reading        あかり\n"
                                             "MEAN  meaning        light\n");
    const Json card = RunJson({"show", "w.box", "2", "--json"});
    EXPECT_EQ(card["id"], 2);
    EXPECT_EQ(card["items"]["READ"], "あかり");
}

TEST_F(ToolCards, ShowSaysThatThereIsNoSuchCard)
{
    ExpectFailure(1, "bxd: w.box: there is no card 4\n", {"show", "w.box", "4"});
    ExpectFailure(1, "bxd: w.box: there is no card 600\n", {"show", "w.box", "600"});
}

TEST_F(ToolCards, ShowKeepsControlsOffTheTerminal)
{
    RunOk({"set", "w.box", "1", "MEAN", "a\nb\tc\x1b[31m\x7f"});
    EXPECT_NE(RunOk({"show", "w.box", "1"}).find("MEAN  meaning        a\\nb\\tc\\x1B[31m\\x7F\n"),
              std::string::npos);
    EXPECT_EQ(RunJson({"show", "w.box", "1", "--json"})["items"]["MEAN"], "a\nb\tc\x1b[31m\x7f");
}

TEST_F(ToolCards, SetChangesOneItemByTagOrName)
{
    EXPECT_EQ(RunOk({"set", "w.box", "1", "MEAN", "a small animal that sleeps a lot"}), "");
    EXPECT_EQ(RunOk({"set", "w.box", "1", "reading", "にゃんこ"}), "");
    EXPECT_EQ(RunOk({"set", "w.box", "2", "hEAD", ""}), "");
    EXPECT_EQ(RunJson({"list", "w.box", "--json", "--limit", "2"}), Json::parse(R"([
        {"id": 1, "items": {"HEAD": "猫", "READ": "にゃんこ", "MEAN": "a small animal that sleeps a lot"}},
        {"id": 2, "items": {"HEAD": "", "READ": "あかり", "MEAN": "light"}}])"));
}

TEST_F(ToolCards, SetRefusesWhatItCannotDo)
{
    const std::string before = ReadFile(Path("w.box"));
    ExpectFailure(1, "there is no card 9", {"set", "w.box", "9", "MEAN", "x"});
    ExpectFailure(1, "it has no item NONE", {"set", "w.box", "1", "NONE", "x"});
    ExpectFailure(1, "the value for MEAN: the text is not valid UTF-8",
                  {"set", "w.box", "1", "MEAN", "\xFF"});
    ExpectFailure(1, "ATTR is kept by the library", {"set", "w.box", "1", "ATTR", "0x10"});
    EXPECT_EQ(ReadFile(Path("w.box")), before);
}

TEST_F(ToolCards, InfoTellsTheFigures)
{
    const auto size = std::filesystem::file_size(Path("w.box"));
    const Json info = RunJson({"info", "w.box", "--json"});
    EXPECT_EQ(info["cards"], 3);
    EXPECT_EQ(info["application"], "BXD ");
    EXPECT_EQ(info["items"], 7);
    EXPECT_EQ(info["ownItems"], 3);
    EXPECT_EQ(info["fileBytes"], size);
    EXPECT_EQ(info["garbageBytes"], 0);
    EXPECT_EQ(info["indexes"], Json::array());
    const std::string text = RunOk({"info", "w.box"});
    EXPECT_NE(text.find("cards        3\n"), std::string::npos) << text;
    EXPECT_NE(text.find("items        7, of which 3 are its own\n"), std::string::npos) << text;
}

TEST_F(ToolCards, InfoCountsWhatARewriteLeavesBehind)
{
    RunOk({"set", "w.box", "1", "MEAN", "much longer than it was before"});
    EXPECT_GT(RunJson({"info", "w.box", "--json"})["garbageBytes"], 0);
}

TEST_F(ToolCards, ABoxThatAnotherProcessHoldsIsNotWritten)
{
    const HeldByAnother held(Path("w.box"));
    ExpectFailure(1, "bxd: w.box: another process holds it open\n", {"set", "w.box", "1", "MEAN", "x"});
    EXPECT_EQ(RunJson({"list", "w.box", "--json"}).size(), 3u);
}

}  // namespace
