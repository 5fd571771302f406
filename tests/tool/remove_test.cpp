// SPDX-License-Identifier: MIT
// bxd rm: which cards go, and what it refuses.
#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ToolRemove : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        MakeWords();
        RunOk({"import", "w.box", "-", "--format", "csv"}, "HEAD\none\ntwo\nthree\nfour\n");
    }
    std::vector<int> Ids() const
    {
        std::vector<int> ids;
        for (const Json& card : RunJson({"list", "w.box", "--json"})) { ids.push_back(card["id"]); }
        return ids;
    }
    // Byte 44 of a box: 0 while a synchronisation runs.
    void StartSync() const
    {
        std::string box = ReadFile(Path("w.box"));
        box[44] = 0;
        Write("w.box", box);
    }
};

TEST_F(ToolRemove, TheNamedCardsGoWithoutAWord)
{
    EXPECT_EQ(RunOk({"rm", "w.box", "2", "3"}), "");
    EXPECT_EQ(Ids(), (std::vector<int>{1, 4}));
    EXPECT_EQ(RunJson({"info", "w.box", "--json"})["cards"], 2);
}

TEST_F(ToolRemove, ACardThatIsNamedTwiceGoesOnce)
{
    EXPECT_EQ(RunOk({"rm", "w.box", "4", "4"}), "");
    EXPECT_EQ(Ids(), (std::vector<int>{1, 2, 3}));
}

TEST_F(ToolRemove, WhereOneIsNotThereNoneGoes)
{
    const std::string before = ReadFile(Path("w.box"));
    ExpectFailure(1, "bxd: w.box: there is no card 9\n", {"rm", "w.box", "1", "9"});
    EXPECT_EQ(ReadFile(Path("w.box")), before);
    RunOk({"rm", "w.box", "1"});
    ExpectFailure(1, "bxd: w.box: there is no card 1\n", {"rm", "w.box", "1"});
}

TEST_F(ToolRemove, ACardOfARunningSynchronisationCountsNoMore)
{
    StartSync();
    EXPECT_EQ(RunOk({"rm", "w.box", "2"}), "");
    EXPECT_EQ(Ids(), (std::vector<int>{1, 3, 4}));
    ExpectFailure(1, "there is no card 2", {"rm", "w.box", "2"});
}

TEST_F(ToolRemove, TheIdIsTakenByTheNextCard)
{
    RunOk({"rm", "w.box", "2"});
    RunOk({"import", "w.box", "-", "--format", "csv"}, "HEAD\nnew\n");
    EXPECT_EQ(RunJson({"show", "w.box", "2", "--json"})["items"]["HEAD"], "new");
}

TEST_F(ToolRemove, AFileThatIsNoBoxIsRefused)
{
    ExpectFailure(1, "bxd: no.box: No such file or directory\n", {"rm", "no.box", "1"});
    Write("text.box", std::string(5000, 'x'));
    ExpectFailure(1, "it is not a box", {"rm", "text.box", "1"});
}

TEST_F(ToolRemove, AnIndexThatCannotFollowIsTold)
{
    // An index table with the one name "GONE.TDX", of which there is no file.
    std::string box = ReadFile(Path("w.box"));
    box.resize(box.size() - 2);
    const auto word = [](std::size_t value) {
        std::string bytes;
        for (int shift = 0; shift < 32; shift += 8) { bytes.push_back(static_cast<char>(value >> shift)); }
        return bytes;
    };
    const std::string entry = std::string("\x14\0\x01\x1C\0\0", 6) + std::string(6, '\xFF') + "GONE.TDX" +
                              std::string("\0\xFF\0\0", 4);
    box.replace(28, 8, word(box.size()) + word(6 + entry.size()));
    box += std::string("\xF1\xFF", 2) + word(entry.size()) + entry + "\xFF\xFF";
    Write("w.box", box);
    ExpectFailure(1, "card 2 is deleted, but not all is in order", {"rm", "w.box", "2"});
    EXPECT_EQ(Ids(), (std::vector<int>{1, 3, 4}));
}

}  // namespace
