// SPDX-License-Identifier: MIT
// "bxd sort", and "bxd list --index".
#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ToolSort : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        RunOk({"create", "w.box", "--item", "READ:text:reading", "--item", "SIZE:u16"});
        RunOk({"import", "w.box", "-", "--format", "csv"},
              "READ,SIZE\n\u3055\u3068\u3046,3\n\u3042\u3079,7\nBob,3\nabe,5\n\u305F\u306A\u304B,7\n");
        RunOk({"index", "create", "w.idx", "--box", "w.box"});
    }
    std::vector<int> Listed(std::vector<std::string> more = {}) const
    {
        std::vector<std::string> arguments = {"list", "w.box", "--index", "w.idx", "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        std::vector<int> ids;
        for (const Json& card : RunJson(arguments)) { ids.push_back(card["id"]); }
        return ids;
    }
};

TEST_F(ToolSort, FillsTheIndexAndPutsItInOrder)
{
    EXPECT_EQ(RunOk({"sort", "w.idx", "--by", "READ"}), "w.idx: 5 entries in order\n");
    EXPECT_EQ(Listed(), (std::vector<int>{4, 3, 2, 1, 5}));
    EXPECT_EQ(RunJson({"sort", "w.idx", "--by", "READ:desc", "--json"}),
              Json::parse(R"({"index": "w.idx", "entries": 5})"));
    EXPECT_EQ(Listed(), (std::vector<int>{5, 1, 2, 3, 4}));
}

TEST_F(ToolSort, SeveralItemsTheWeightiestFirst)
{
    RunOk({"sort", "w.idx", "--by", "SIZE:desc,reading:asc"});
    EXPECT_EQ(Listed(), (std::vector<int>{2, 5, 4, 3, 1}));
    RunOk({"sort", "w.idx", "--by", "SIZE", "--by", "READ:desc"});
    EXPECT_EQ(Listed(), (std::vector<int>{1, 3, 4, 5, 2}));
}

TEST_F(ToolSort, TheListTakesPlacesOfTheIndex)
{
    RunOk({"sort", "w.idx", "--by", "READ"});
    EXPECT_EQ(Listed({"--from", "2", "--limit", "2"}), (std::vector<int>{3, 2}));
    EXPECT_EQ(Listed({"--from", "6"}), std::vector<int>());
    const std::string table = RunOk({"list", "w.box", "--index", "w.idx", "--width", "0"});
    EXPECT_LT(table.find("abe"), table.find("Bob"));
}

TEST_F(ToolSort, AnIndexKeptByHandKeepsItsCards)
{
    RunOk({"index", "create", "h.tdx", "--box", "w.box", "--mode", "hand"});
    EXPECT_EQ(RunOk({"sort", "h.tdx", "--by", "READ"}), "h.tdx: 0 entries in order\n");
    EXPECT_EQ(RunOk({"list", "w.box", "--index", "h.tdx", "--json"}), "[\n]\n");
}

TEST_F(ToolSort, ABoxWithoutCardsLeavesAnEmptyIndex)
{
    RunOk({"create", "e.box", "--item", "HEAD:text"});
    RunOk({"index", "create", "e.idx", "--box", "e.box"});
    EXPECT_EQ(RunOk({"sort", "e.idx", "--by", "HEAD"}), "e.idx: 0 entries in order\n");
}

TEST_F(ToolSort, RefusesWhatMakesNoSense)
{
    ExpectFailure(2, "no item NONE", {"sort", "w.idx", "--by", "NONE"});
    ExpectFailure(2, "TAG:desc", {"sort", "w.idx", "--by", "READ:down"});
    ExpectFailure(
        2, "at most twelve",
        {"sort", "w.idx", "--by", "READ,READ,READ,READ,READ,READ,READ,READ,READ,READ,READ,READ,READ"});
    EXPECT_EQ(Run({"sort", "w.idx"}).code, 2);
    ExpectFailure(1, "not an index", {"sort", "w.box", "--by", "READ"});
    ExpectFailure(1, "none.idx", {"sort", "none.idx", "--by", "READ"});
    RunOk({"create", "e.box", "--item", "HEAD:text"});
    ExpectFailure(1, "index of another box", {"list", "e.box", "--index", "w.idx"});
}

TEST_F(ToolSort, WaitsForNobodyWhoHoldsTheBox)
{
    const HeldByAnother holder(Path("w.box"));
    EXPECT_EQ(Run({"sort", "w.idx", "--by", "READ"}).code, 1);
}

TEST_F(ToolSort, HasHelpWithExamples)
{
    EXPECT_NE(RunOk({"sort", "--help"}).find("Examples:"), std::string::npos);
}

}  // namespace
