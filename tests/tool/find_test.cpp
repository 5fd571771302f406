// SPDX-License-Identifier: MIT
// "bxd find": which cards a query selects, through which index, and how they are printed.
#include <algorithm>

#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ToolFind : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        RunOk({"create", "w.box", "--item", "READ:text:reading", "--item", "MEAN:text:meaning", "--item",
               "SJIS:sjis", "--item", "SIZE:u16:size", "--item", "BORN:datetime:born", "--item",
               "CATS:categories"});
        RunOk({"import", "w.box", "-", "--format", "csv"},
              "READ,MEAN,SJIS,SIZE,BORN,CATS\n"
              "あい,love,愛,3,1970-05-17,\"1,5\"\n"
              "アイス,\"ice, \"\"sweet\"\"\",氷,7,1985-01-02 08:30:00,5\n"
              "かわ,River,川,,,\n"
              "がわ,side,側,300,2024-05-17,7\n"
              ",  ,,7,*-12-25,\n");
    }
    std::vector<int> Found(const std::string& query, std::vector<std::string> more = {}) const
    {
        std::vector<std::string> arguments = {"find", "w.box", query, "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        std::vector<int> ids;
        for (const Json& card : RunJson(arguments)) { ids.push_back(card["id"]); }
        return ids;
    }
    void MakeIndex(const std::string& name, const std::string& by) const
    {
        RunOk({"index", "create", name, "--box", "w.box"});
        RunOk({"sort", name, "--by", by});
    }
};

using Ids = std::vector<int>;

TEST_F(ToolFind, TextsAreFoldedOverKanaWidthVoicingAndCase)
{
    EXPECT_EQ(Found("reading is 'かわ'"), (Ids{3, 4}));
    EXPECT_EQ(Found("reading is 'ｶﾜ'"), (Ids{3, 4}));
    EXPECT_EQ(Found("reading begins 'ｱｲ'"), (Ids{1, 2}));
    EXPECT_EQ(Found("meaning contains 'ＩＶＥ'"), Ids{3});
    EXPECT_EQ(Found("reading exactly is 'かわ'"), Ids{3});
    EXPECT_EQ(Found("meaning exactly contains 'river'"), Ids());
    EXPECT_EQ(Found("SJIS is '川'"), Ids{3});
}

TEST_F(ToolFind, EveryOperatorSelects)
{
    EXPECT_EQ(Found("reading at least 'か'"), (Ids{3, 4}));
    EXPECT_EQ(Found("reading above 'かわ'"), Ids());
    EXPECT_EQ(Found("reading at most 'あい'"), (Ids{1, 5}));
    EXPECT_EQ(Found("reading below 'あい'"), Ids{5});
    EXPECT_EQ(Found("reading blank"), Ids{5});
    EXPECT_EQ(Found("reading not blank"), (Ids{1, 2, 3, 4}));
    EXPECT_EQ(Found("meaning blank"), Ids{5});
    EXPECT_EQ(Found("any contains '側'"), Ids{4});
    EXPECT_EQ(Found("any begins 'SI'"), Ids{4});
    EXPECT_EQ(Found("any blank"), Ids{5});
}

TEST_F(ToolFind, NumbersDatesAndCategories)
{
    EXPECT_EQ(Found("size is 7"), (Ids{2, 5}));
    EXPECT_EQ(Found("size at least 7"), (Ids{2, 4, 5}));
    EXPECT_EQ(Found("size above 7"), Ids{4});
    EXPECT_EQ(Found("size at most 7"), (Ids{1, 2, 5}));
    EXPECT_EQ(Found("size below 7"), Ids{1});
    EXPECT_EQ(Found("born is 1985-01-02"), Ids{2});
    EXPECT_EQ(Found("born at least 1985-01-02 08:30 and born below 2000-01-01"), Ids{2});
    EXPECT_EQ(Found("born is *-12-25"), Ids{5});
    EXPECT_EQ(Found("born exactly is *-*-*"), Ids{3});
    EXPECT_EQ(Found("CATS contains 5"), (Ids{1, 2}));
    EXPECT_EQ(Found("CATS is 5"), Ids{2});
}

TEST_F(ToolFind, TestsAreAskedFromLeftToRight)
{
    EXPECT_EQ(Found("size is 7 and reading begins 'あ'"), Ids{2});
    EXPECT_EQ(Found("size is 3 or size is 300 or size is 7"), (Ids{1, 2, 4, 5}));
    EXPECT_EQ(Found("size is 999 and size is 7 or size is 300"), Ids());
    EXPECT_EQ(Found("size is 7 or size is 300 and reading blank"), (Ids{2, 5}));
    EXPECT_EQ(Found("reading blank and size is 7"), Ids{5});
    EXPECT_EQ(Found("reading not blank and size is 7"), Ids{2});
    EXPECT_EQ(Found("reading blank or size is 3"), (Ids{1, 5}));
}

TEST_F(ToolFind, AnIndexGivesItsOrderAndChoice)
{
    MakeIndex("r.idx", "READ:desc");
    EXPECT_EQ(Found("size above 0", {"--index", "r.idx"}), (Ids{4, 2, 1, 5}));
    RunOk({"index", "create", "h.tdx", "--box", "w.box", "--mode", "hand"});
    EXPECT_EQ(Found("size above 0", {"--index", "h.tdx"}), Ids());
}

// Every answer through a sorted index is that of a scan, whether the search jumps or not.
TEST_F(ToolFind, NoOrderLosesACard)
{
    MakeIndex("up.idx", "READ");
    MakeIndex("down.idx", "READ:desc");
    MakeIndex("size.idx", "SIZE");
    RunOk({"index", "create", "none.idx", "--box", "w.box"});
    RunOk({"import", "w.box", "-", "--format", "csv"}, "READ,MEAN\nかん,can\nガン,gun\nan,x\n");
    for (const char* query :
         {"reading is 'がん'", "reading at least 'あ' and reading begins 'か'", "reading below 'か'",
          "reading at most 'あい' and reading at least 'a'", "reading exactly begins 'ガ'",
          "reading begins 'か' and meaning contains 'u'"}) {
        Ids all = Found(query);
        ASSERT_FALSE(all.empty()) << query;
        for (const char* index : {"up.idx", "down.idx"}) {
            Ids found = Found(query, {"--index", index});
            std::sort(found.begin(), found.end());
            EXPECT_EQ(found, all) << query << " " << index;
        }
    }
    Ids found = Found("size at most 7", {"--index", "size.idx"});
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, Found("size at most 7"));
    EXPECT_EQ(Found("reading begins 'か'", {"--index", "none.idx"}), (Ids{6, 7}));
}

TEST_F(ToolFind, CsvQuotesWhatNeedsIt)
{
    EXPECT_EQ(
        RunOk({"find", "w.box", "meaning contains 'SWEET'", "--format", "csv"}),
        "ID,READ,MEAN,SJIS,SIZE,BORN,CATS\n2,アイス,\"ice, \"\"sweet\"\"\",氷,7,1985-01-02 08:30:00,5\n");
}

TEST_F(ToolFind, TheTableAndJsonAreThoseOfTheList)
{
    const std::string every = "size at least 0 or size at most 0 or reading not blank";
    EXPECT_EQ(RunOk({"find", "w.box", every}), RunOk({"list", "w.box"}));
    EXPECT_EQ(RunOk({"find", "w.box", every, "--all", "--json"}),
              RunOk({"list", "w.box", "--all", "--json"}));
    EXPECT_EQ(RunOk({"find", "w.box", every, "--format", "json"}), RunOk({"list", "w.box", "--json"}));
    EXPECT_EQ(RunOk({"find", "w.box", every, "--width", "30"}), RunOk({"list", "w.box", "--width", "30"}));
    EXPECT_EQ(Found(every, {"--limit", "2"}), (Ids{1, 2}));
}

TEST_F(ToolFind, NoCardFoundIsAnAnswer)
{
    const std::string none = "reading is 'x'";
    EXPECT_EQ(RunOk({"find", "w.box", none}), "ID  READ  MEAN  SJIS  SIZE  BORN  CATS\n");
    EXPECT_EQ(RunOk({"find", "w.box", none, "--format", "csv"}), "ID,READ,MEAN,SJIS,SIZE,BORN,CATS\n");
    EXPECT_EQ(RunOk({"find", "w.box", none, "--json"}), "[\n]\n");
    RunOk({"create", "e.box", "--item", "READ:text"});
    EXPECT_EQ(RunOk({"find", "e.box", "READ blank", "--json"}), "[\n]\n");
}

TEST_F(ToolFind, OnlyReads)
{
    const std::string before = ReadFile(Path("w.box"));
    std::filesystem::permissions(Path("w.box"), std::filesystem::perms::owner_read);
    EXPECT_EQ(Found("reading begins 'か'"), (Ids{3, 4}));
    std::filesystem::permissions(Path("w.box"), std::filesystem::perms::owner_all);
    const HeldByAnother held(Path("w.box"));
    EXPECT_EQ(Found("reading begins 'か'"), (Ids{3, 4}));
    EXPECT_EQ(ReadFile(Path("w.box")), before);
}

TEST_F(ToolFind, DeletedCardsAreNotFound)
{
    MakeIndex("r.idx", "READ");
    RunOk({"sync", "start", "w.box"});
    RunOk({"rm", "w.box", "3"});
    EXPECT_EQ(Found("reading begins 'か'"), Ids{4});
    EXPECT_EQ(Found("reading begins 'か'", {"--index", "r.idx"}), Ids{4});
}

TEST_F(ToolFind, CardsThatAnIndexHasLostAreTold)
{
    RunOk({"index", "create", "r.idx", "--box", "w.box"});
    RunOk({"sort", "r.idx", "--by", "READ"});
    const std::string index = ReadFile(Path("r.idx"));
    RunOk({"rm", "w.box", "1", "3"});
    Write("r.idx", index);
    const Outcome outcome = Run({"find", "w.box", "size above 0", "--index", "r.idx", "--format", "csv"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.err, "bxd: r.idx: 2 of its cards are not in the box\n");
    for (const char* row : {"\n2,", "\n4,", "\n5,"}) {
        EXPECT_NE(outcome.out.find(row), std::string::npos) << outcome.out;
    }
}

TEST_F(ToolFind, FaultsOfAQueryArePartOfTheCommandLine)
{
    ExpectFailure(2, "bxd: the query, character 9: \"like\" is no operator",
                  {"find", "w.box", "reading like 'x'"});
    ExpectFailure(2, "not valid UTF-8", {"find", "w.box", "reading is '\xFE\x87'"});
    ExpectFailure(2, "too long", {"find", "w.box", "reading is '" + std::string(100000, 'x') + "'"});
    ExpectFailure(2, "control character", {"find", "w.box", "reading\x02 is 'x'"});
    EXPECT_EQ(Run({"find", "w.box"}).code, 2);
    EXPECT_EQ(Run({"find", "w.box", "reading blank", "--format", "xml"}).code, 2);
    EXPECT_EQ(Run({"find", "w.box", "reading blank", "--format", "csv", "--json"}).code, 2);
    EXPECT_EQ(Run({"find", "w.box", "reading blank", "--limit", "0"}).code, 2);
    EXPECT_NE(RunOk({"find", "--help"}).find("Exit codes: 0 done, also where no card is found"),
              std::string::npos);
}

TEST_F(ToolFind, RefusesWhatIsNoSoundBoxOrIndex)
{
    ExpectFailure(1, "no.box", {"find", "no.box", "reading blank"});
    Write("x.idx", "x");
    ExpectFailure(1, "not an index", {"find", "w.box", "reading blank", "--index", "x.idx"});
    ExpectFailure(1, "none.idx", {"find", "w.box", "reading blank", "--index", "none.idx"});
    RunOk({"create", "e.box", "--item", "READ:text:reading"});
    MakeIndex("r.idx", "READ");
    ExpectFailure(1, "index of another box", {"find", "e.box", "reading blank", "--index", "r.idx"});
    Write("r.idx", ReadFile(Path("r.idx")).substr(0, ReadFile(Path("r.idx")).size() - 5));
    ExpectFailure(1, "r.idx: it is damaged", {"find", "w.box", "reading blank", "--index", "r.idx"});
}

TEST_F(ToolFind, BoxesOnDrivesAreFound)
{
    RunOk({"create", "F0:W.BOX", "--item", "READ:text"});
    RunOk({"import", "F0:W.BOX", "-", "--format", "csv"}, "READ\na\nb\n");
    EXPECT_EQ(RunJson({"find", "F0:W.BOX", "READ is 'B'", "--json"})[0]["id"], 2);
    RunOk({"index", "create", "F0:W.IDX", "--box", "F0:W.BOX"});
    RunOk({"sort", "F0:W.IDX", "--by", "READ:desc"});
    EXPECT_EQ(RunJson({"find", "F0:W.BOX", "READ above ''", "--index", "F0:W.IDX", "--json"})[0]["id"], 2);
}

}  // namespace
