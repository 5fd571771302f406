// SPDX-License-Identifier: MIT
// The command gc: what it wins, what stays as it was, and what it leaves alone.
#include "tests/tool/map_files.h"
#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ToolCollect : public ToolTest {
protected:
    // A box "w.box" of 40 cards, of which 4 have left dead ones behind.
    void SetUp() override
    {
        ToolTest::SetUp();
        MakeWords();
        std::string rows = "HEAD,READ,MEAN\n";
        for (int i = 1; i <= 40; i++) { rows += "head,read,meaning " + std::to_string(i) + "\n"; }
        RunOk({"import", "w.box", "-", "--format", "csv"}, rows);
        for (const char* id : {"2", "3", "17", "40"}) {
            RunOk({"set", "w.box", id, "MEAN", "a meaning that is longer than it was before"});
        }
    }

    uint64_t Size(const std::string& name) const { return std::filesystem::file_size(Path(name)); }
};

TEST_F(ToolCollect, TellsBytesBeforeAndAfterAndWhatWasDead)
{
    const uint64_t before = Size("w.box");
    const Json info = RunJson({"info", "w.box", "--json"});
    const uint64_t dead = info["garbageBytes"];
    ASSERT_GT(dead, 0u);
    EXPECT_EQ(RunOk({"gc", "w.box"}), "BOX    BYTES BEFORE  BYTES AFTER  DEAD BYTES RECLAIMED\n"
                                      "w.box  " +
                                          std::to_string(before) + "          " +
                                          std::to_string(before - dead) + "         " + std::to_string(dead) +
                                          "\n");
    EXPECT_EQ(Size("w.box"), before - dead);
    EXPECT_EQ(RunJson({"info", "w.box", "--json"})["garbageBytes"], 0);
}

TEST_F(ToolCollect, TheCardsAreTheSameAfterwards)
{
    const std::string before = RunOk({"list", "w.box", "--json", "--all"});
    RunOk({"gc", "w.box"});
    EXPECT_EQ(RunOk({"list", "w.box", "--json", "--all"}), before);
    const Json map = RunJson({"map", "w.box", "--json"});
    EXPECT_EQ(map["findings"], Json::array());
}

TEST_F(ToolCollect, ASecondTimeThereIsNothingToWin)
{
    RunOk({"gc", "w.box"});
    const std::string clean = ReadFile(Path("w.box"));
    const Json gains = RunJson({"gc", "w.box", "--json"});
    EXPECT_EQ(gains, Json::array({Json{{"box", "w.box"},
                                       {"bytesBefore", clean.size()},
                                       {"bytesAfter", clean.size()},
                                       {"deadBytesReclaimed", 0}}}));
    EXPECT_EQ(ReadFile(Path("w.box")), clean);
}

TEST_F(ToolCollect, ABoxWithoutCardsIsLeftAsItIs)
{
    RunOk({"create", "v.box"});
    const std::string before = ReadFile(Path("v.box"));
    EXPECT_EQ(RunJson({"gc", "v.box", "--json"})[0]["bytesAfter"], before.size());
    EXPECT_EQ(ReadFile(Path("v.box")), before);
}

TEST_F(ToolCollect, GoesOnBehindABoxThatCannotBeCollected)
{
    Write("text.box", std::string(5000, 'x'));
    const uint64_t before = Size("w.box");
    const Outcome outcome = Run({"gc", "no.box", "w.box", "text.box"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.err, "bxd: no.box: No such file or directory\nbxd: text.box: it is not a box\n");
    EXPECT_NE(outcome.out.find("w.box  "), std::string::npos) << outcome.out;
    EXPECT_LT(Size("w.box"), before);
}

TEST_F(ToolCollect, RefusesWhatIsNoBox)
{
    ExpectFailure(1, "bxd: no.box: No such file or directory\n", {"gc", "no.box"});
    Write("text.box", std::string(5000, 'x'));
    ExpectFailure(1, "bxd: text.box: it is not a box\n", {"gc", "text.box"});
    Write("w.idx", boxtest::Text(FullIndex()));
    ExpectFailure(1, "bxd: w.idx: it is not a box\n", {"gc", "w.idx"});
    ExpectFailure(2, "cannot have a colon", {"gc", "w.box", "C:x.box"});
    EXPECT_EQ(Run({"gc"}).code, 2);
}

TEST_F(ToolCollect, LeavesADamagedBoxAlone)
{
    const std::string good = ReadFile(Path("w.box"));
    for (const std::size_t size : {good.size() - 1, good.size() - 20, std::size_t{3000}, std::size_t{50}}) {
        const std::string cut = good.substr(0, size);
        Write("cut.box", cut);
        ExpectFailure(1, "bxd: cut.box: it is damaged, at ", {"gc", "cut.box"});
        EXPECT_EQ(ReadFile(Path("cut.box")), cut);
    }
}

TEST_F(ToolCollect, LeavesABoxAloneThatAnotherProcessHolds)
{
    const std::string before = ReadFile(Path("w.box"));
    const HeldByAnother held(Path("w.box"));
    ExpectFailure(1, "bxd: w.box: another process holds it open\n", {"gc", "w.box"});
    EXPECT_EQ(ReadFile(Path("w.box")), before);
}

}  // namespace
