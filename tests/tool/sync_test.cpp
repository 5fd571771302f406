// SPDX-License-Identifier: MIT
// The commands of "bxd sync": what they start, show and end, and what they refuse.
#include "tests/tool/map_files.h"
#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ToolSync : public ToolTest {
protected:
    // A box of 4 cards, all of which its sync index has, and its master index.
    void SetUp() override
    {
        ToolTest::SetUp();
        MakeWords();
        RunOk({"index", "create", "w.idx", "--box", "w.box"});
        RunOk({"index", "create", "s.tdx", "--box", "w.box", "--type", "131"});
        RunOk({"import", "w.box", "-", "--format", "csv"}, "HEAD,READ\na,b\nc,d\ne,f\ng,h\n");
    }
    Json Status() const { return RunJson({"sync", "status", "w.box", "--json"}); }
    bool Exists(const std::string& name) const { return std::filesystem::exists(Path(name)); }
};

TEST_F(ToolSync, EveryCommandHasHelpWithExamples)
{
    EXPECT_NE(RunOk({"sync", "--help"}).find("Examples:"), std::string::npos);
    for (const char* command : {"start", "clear", "status"}) {
        EXPECT_NE(RunOk({"sync", command, "--help"}).find("Examples:"), std::string::npos) << command;
        EXPECT_EQ(Run({"sync", command}).code, 2) << command;
    }
    EXPECT_EQ(Run({"sync"}).code, 2);
    EXPECT_EQ(Run({"sync", "stop", "w.box"}).code, 2);
}

TEST_F(ToolSync, StatusShowsWhatIsKept)
{
    EXPECT_EQ(RunOk({"sync", "status", "w.box"}), "box         w.box\n"
                                                  "running     no\n"
                                                  "sync id     1\n"
                                                  "cards       4\n"
                                                  "tombstones  0\n"
                                                  "\n"
                                                  "INDEX  TYPE  ENTRIES  CHANGED  DISCHARGED  REMARK\n"
                                                  "s.tdx  0x83  4        4        0\n");
    EXPECT_EQ(RunOk({"sync", "start", "w.box"}), "");
    RunOk({"rm", "w.box", "2", "3"});
    EXPECT_EQ(Status(), Json::parse(R"({"box": "w.box", "running": true, "syncId": 1, "cards": 2,
        "tombstones": 2, "indexes": [{"index": "s.tdx", "type": "0x83", "dischargeIndex": true,
        "entries": 4, "changed": 4, "discharged": 2}]})"));
    EXPECT_EQ(RunJson({"list", "w.box", "--json"}).size(), 2u);
}

TEST_F(ToolSync, ClearEndsTheTombstonesAndTheIndex)
{
    RunOk({"sync", "start", "w.box"});
    RunOk({"sync", "start", "w.box"});
    RunOk({"rm", "w.box", "2", "3"});
    EXPECT_EQ(RunOk({"sync", "clear", "w.box"}), "2 cards and 1 indexes are gone\n");
    EXPECT_EQ(Status(), Json::parse(R"({"box": "w.box", "running": false, "syncId": 1, "cards": 2,
        "tombstones": 0, "indexes": []})"));
    EXPECT_FALSE(Exists("s.tdx"));
    EXPECT_TRUE(Exists("w.idx"));
    EXPECT_GT(RunJson({"info", "w.box", "--json"})["garbageBytes"], 0);
    RunOk({"gc", "w.box"});
    EXPECT_EQ(RunJson({"map", "w.box", "--json"})["findings"], Json::array());
    EXPECT_EQ(RunJson({"sync", "clear", "w.box", "--json"}),
              Json::parse(R"({"box": "w.box", "cardsEnded": 0, "indexesEnded": 0})"));
}

TEST_F(ToolSync, ClearKeepsCardsThatAreNotDeleted)
{
    RunOk({"sort", "s.tdx", "--by", "HEAD"});  // fills it anew: no entry has a mark
    EXPECT_EQ(Status()["indexes"][0]["discharged"], 4);
    RunOk({"sync", "start", "w.box"});
    const std::string before = ReadFile(Path("w.box"));
    ExpectFailure(1, "bxd: w.box: s.tdx has 4 cards as discharged that are not deleted",
                  {"sync", "clear", "w.box"});
    EXPECT_EQ(ReadFile(Path("w.box")), before);
    EXPECT_TRUE(Exists("s.tdx"));
    EXPECT_EQ(RunOk({"sync", "clear", "w.box", "--force"}), "4 cards and 1 indexes are gone\n");
}

TEST_F(ToolSync, AMissingIndexIsTold)
{
    std::filesystem::remove(Path("s.tdx"));
    EXPECT_EQ(Status()["indexes"],
              Json::parse(R"([{"index": "s.tdx", "error": "s.tdx: No such file or directory"}])"));
    EXPECT_NE(RunOk({"sync", "status", "w.box"}).find("s.tdx: No such file"), std::string::npos);
    const Outcome outcome = Run({"sync", "clear", "w.box"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out, "0 cards and 1 indexes are gone\n");
    EXPECT_NE(outcome.err.find("a sync index was missing or could not be cleared"), std::string::npos);
    EXPECT_EQ(Run({"sync", "clear", "w.box"}).code, 0);
}

TEST_F(ToolSync, ABoxWithoutItemsHasAState)
{
    RunOk({"create", "v.box"});
    RunOk({"sync", "start", "v.box"});
    EXPECT_EQ(RunOk({"sync", "status", "v.box"}), "box         v.box\n"
                                                  "running     yes\n"
                                                  "sync id     1\n"
                                                  "cards       0\n"
                                                  "tombstones  0\n");
    EXPECT_EQ(RunOk({"sync", "clear", "v.box"}), "0 cards and 0 indexes are gone\n");
}

TEST_F(ToolSync, RefusesWhatIsNoSoundBox)
{
    Write("text.box", std::string(5000, 'x'));
    Write("cut.box", ReadFile(Path("w.box")).substr(0, 2600));
    for (const char* command : {"start", "clear", "status"}) {
        ExpectFailure(1, "bxd: no.box: No such file or directory\n", {"sync", command, "no.box"});
        ExpectFailure(1, "bxd: text.box: it is not a box\n", {"sync", command, "text.box"});
        ExpectFailure(1, "bxd: w.idx: it is not a box\n", {"sync", command, "w.idx"});
        ExpectFailure(1, "bxd: cut.box: it is damaged, at ", {"sync", command, "cut.box"});
        ExpectFailure(2, "cannot have a colon", {"sync", command, "C:x.box"});
    }
}

TEST_F(ToolSync, LeavesABoxAloneThatAnotherProcessHolds)
{
    const std::string before = ReadFile(Path("w.box"));
    const HeldByAnother held(Path("w.box"));
    ExpectFailure(1, "bxd: w.box: another process holds it open\n", {"sync", "start", "w.box"});
    ExpectFailure(1, "bxd: w.box: another process holds it open\n", {"sync", "clear", "w.box"});
    EXPECT_EQ(ReadFile(Path("w.box")), before);
    EXPECT_EQ(Status()["running"], false);
}

}  // namespace
