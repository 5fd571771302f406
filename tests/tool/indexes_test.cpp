// SPDX-License-Identifier: MIT
// The commands of "bxd index": what they make, show and remove, and what they refuse.
#include "tests/tool/map_files.h"
#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ToolIndex : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        MakeWords();
    }
    void Put(const std::string& name, const Bytes& bytes) const { Write(name, boxtest::Text(bytes)); }
    bool Exists(const std::string& name) const { return std::filesystem::exists(Path(name)); }
    Json Listed(const std::string& box) const { return RunJson({"index", "list", box, "--json"}); }
};

// Those that make indexes, list hand-made ones, and remove them.
class ToolIndexLife : public ToolIndex {};

TEST_F(ToolIndex, EveryCommandHasHelpWithExamples)
{
    EXPECT_NE(RunOk({"index", "--help"}).find("Examples:"), std::string::npos);
    for (const char* command : {"create", "list", "info", "rm"}) {
        EXPECT_NE(RunOk({"index", command, "--help"}).find("Examples:"), std::string::npos) << command;
        EXPECT_EQ(Run({"index", command}).code, 2) << command;
    }
    EXPECT_EQ(Run({"index"}).code, 2);
    EXPECT_EQ(Run({"index", "frobnicate"}).code, 2);
}

TEST_F(ToolIndex, InfoShowsHeaderRecordsAndEntries)
{
    Put("w.idx", FullIndex());
    EXPECT_EQ(RunOk({"index", "info", "w.idx"}), "index        w.idx\n"
                                                 "kind         idx\n"
                                                 "box          w.box\n"
                                                 "type         0x82\n"
                                                 "mode         filter\n"
                                                 "version      0x30\n"
                                                 "application  0x00\n"
                                                 "file         81 bytes\n"
                                                 "card table   at 65\n"
                                                 "entries      2 visible, 1 hidden\n"
                                                 "\n"
                                                 "TAG  RECORD              BYTES  VALUE\n"
                                                 "33   language            2      en\n"
                                                 "34   sort version        1      1\n"
                                                 "1    name of the box     5      w.box\n"
                                                 "4    type                1      0x82\n"
                                                 "32   update mode         1      filter\n"
                                                 "200  of the application  0\n"
                                                 "3    search condition    9      condition\n");
    const Json info = RunJson({"index", "info", "w.idx", "--json"});
    EXPECT_EQ(info["box"], "w.box");
    EXPECT_EQ(info["type"], 0x82);
    EXPECT_EQ(info["entries"], 2);
    EXPECT_EQ(info["hiddenEntries"], 1);
    EXPECT_EQ(info["tablePosition"], 65);
    EXPECT_EQ(info["records"][2],
              Json::parse(R"({"tag": 1, "name": "name of the box", "bytes": 5, "value": "w.box"})"));
    EXPECT_EQ(info["findings"], Json::array());
}

TEST_F(ToolIndex, InfoShowsBytesThatAreNoTextAsDigits)
{
    Put("w.tdx", IndexFile(28, {{2, std::string("\x01\x00\x7F", 3)}, {4, "ab"}, {1, "\x1B[31m"}}, {}));
    const Json records = RunJson({"index", "info", "w.tdx", "--json"})["records"];
    EXPECT_EQ(records[0]["value"], "0x01007F");
    EXPECT_EQ(records[1]["value"], "ab") << "a type of two bytes is no type";
    EXPECT_EQ(records[2]["value"], "0x1B5B33316D");
    const std::string text = RunOk({"index", "info", "w.tdx"});
    EXPECT_EQ(text.find('\x1B'), std::string::npos);
    EXPECT_NE(text.find("kind         tdx\n"), std::string::npos);
}

TEST_F(ToolIndex, InfoShowsWhatADamagedIndexStillHas)
{
    Bytes file = FullIndex();
    file.resize(74);
    Put("w.idx", file);
    const Outcome outcome = Run({"index", "info", "w.idx"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.err, "bxd: w.idx: it is damaged, at 71 (0x0047): the file ends before entry 2 of 3\n");
    EXPECT_NE(outcome.out.find("1    name of the box     5      w.box\n"), std::string::npos) << outcome.out;
}

TEST_F(ToolIndex, InfoNeverCrashes)
{
    const Bytes good = FullIndex();
    for (std::size_t size = 0; size < good.size(); size += 3) {
        Put("cut.idx", boxtest::Slice(good, 0, size));
        const Outcome outcome = Run({"index", "info", "cut.idx"});
        EXPECT_EQ(outcome.code, 1) << size;
        EXPECT_NE(outcome.err.find("cut.idx: it is "), std::string::npos) << outcome.err;
    }
}

TEST_F(ToolIndex, FilesOfAnotherKindAreRefused)
{
    ExpectFailure(1, "bxd: no.idx: No such file or directory\n", {"index", "info", "no.idx"});
    ExpectFailure(1, "bxd: w.box: it is not an index file\n", {"index", "info", "w.box"});
    ExpectFailure(1, "bxd: no.box: No such file or directory\n", {"index", "list", "no.box"});
    Put("w.idx", FullIndex());
    ExpectFailure(1, "bxd: w.idx: it is not a box\n", {"index", "list", "w.idx"});
    ExpectFailure(1, "bxd: w.idx: it is not a box\n", {"index", "create", "v.idx", "--box", "w.idx"});
    ExpectFailure(1, "bxd: no.box: No such file or directory\n",
                  {"index", "create", "v.idx", "--box", "no.box"});
    EXPECT_FALSE(Exists("v.idx"));
}

TEST_F(ToolIndex, RemoveDeletesNothingButAnIndex)
{
    Write("text.idx", "precious");
    ExpectFailure(1, "bxd: text.idx: it is not an index file\n", {"index", "rm", "text.idx"});
    ExpectFailure(1, "bxd: w.box: it is not an index file\n", {"index", "rm", "w.box"});
    ExpectFailure(1, "bxd: no.idx: No such file or directory\n", {"index", "rm", "no.idx"});
    EXPECT_EQ(ReadFile(Path("text.idx")), "precious");
    EXPECT_TRUE(Exists("w.box"));
}

TEST_F(ToolIndex, CreateRefusesNamesThatWouldLeadElsewhere)
{
    ExpectFailure(2, "a path to a path", {"index", "create", "F0:W.IDX", "--box", "w.box"});
    ExpectFailure(2, "cannot have a colon", {"index", "create", "C:w.idx", "--box", "w.box"});
    ExpectFailure(2, "cannot have a backslash", {"index", "create", "a\\w.idx", "--box", "w.box"});
    ExpectFailure(1, "there is no such directory", {"index", "create", "no/w.idx", "--box", "w.box"});
    EXPECT_EQ(Run({"index", "create", "w.idx", "--box", "w.box", "--mode", "some"}).code, 2);
    EXPECT_EQ(Run({"index", "create", "w.idx", "--box", "w.box", "--type", "256"}).code, 2);
    EXPECT_EQ(Run({"index", "create", "w.idx", "--box", "w.box", "--kind", "cdx"}).code, 2);
    EXPECT_EQ(Run({"index", "create", "w.idx"}).code, 2);
    EXPECT_FALSE(Exists("w.idx"));
}

TEST_F(ToolIndex, ABoxGetsItsItemsBeforeItsFirstIndex)
{
    RunOk({"create", "v.box"});
    ExpectFailure(1, "v.box: it has no items", {"index", "create", "v.idx", "--box", "v.box"});
    EXPECT_FALSE(Exists("v.idx"));
}

TEST_F(ToolIndex, ListShowsWhatTheBoxNames)
{
    boxtest::BoxBuilder box;
    box.indexTable({{"W.IDX", 1, 27, 0x82, 1}, {"GONE.TDX", 1, 28}, {"BAD.TDX", 1, 28}, {"CUT.IDX", 1, 27}});
    box.card(5);
    Put("w.box", box.build());
    Put("W.IDX", FullIndex());
    Write("BAD.TDX", "text");
    Put("CUT.IDX", boxtest::Slice(FullIndex(), 0, 74));
    EXPECT_EQ(RunOk({"index", "list", "w.box"}),
              "INDEX     KIND  TYPE  MODE    ENTRIES  HIDDEN  REMARK\n"
              "W.IDX     idx   0x82  filter  2        1\n"
              "GONE.TDX  tdx                                  GONE.TDX: No such file or directory\n"
              "BAD.TDX   tdx                                  BAD.TDX: it is not an index file\n"
              "CUT.IDX   idx   0x82  filter  1        0       damaged\n");
    const Json list = Listed("w.box");
    EXPECT_EQ(list[0], Json::parse(R"({"index": "W.IDX", "kind": "idx", "type": 130, "mode": "filter",
                                       "entries": 2, "hiddenEntries": 1, "damaged": false})"));
    EXPECT_EQ(list[1]["error"], "GONE.TDX: No such file or directory");
    EXPECT_EQ(list[3]["damaged"], true);
}

TEST_F(ToolIndex, ListOfABoxWithoutIndexesIsItsHeading)
{
    EXPECT_EQ(RunOk({"index", "list", "w.box"}), "INDEX  KIND  TYPE  MODE  ENTRIES  HIDDEN  REMARK\n");
    EXPECT_EQ(Listed("w.box"), Json::array());
}

TEST_F(ToolIndexLife, CreateMakesAnIndexThatTheBoxLists)
{
    EXPECT_EQ(RunOk({"index", "create", "w.idx", "--box", "w.box", "--type", "130", "--mode", "hand"}), "");
    EXPECT_EQ(Listed("w.box"), Json::parse(R"([{"index": "w.idx", "kind": "idx", "type": 130, "mode": "hand",
                                                "entries": 0, "hiddenEntries": 0, "damaged": false}])"));
    const Json info = RunJson({"index", "info", "w.idx", "--json"});
    EXPECT_EQ(info["box"], "w.box");
    EXPECT_EQ(info["tablePosition"], nullptr);
    EXPECT_EQ(RunJson({"info", "w.box", "--json"})["indexes"], Json::array({"w.idx"}));
    EXPECT_EQ(RunJson({"map", "w.box", "--json"})["findings"], Json::array());
}

TEST_F(ToolIndexLife, TheKindFollowsTheNameOrTheOption)
{
    RunOk({"index", "create", "a.idx", "--box", "w.box"});
    RunOk({"index", "create", "b.TDX", "--box", "w.box"});
    RunOk({"index", "create", "c.idx", "--box", "w.box", "--kind", "tdx"});
    const Json list = Listed("w.box");
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0]["kind"], "idx");
    EXPECT_EQ(list[1]["kind"], "tdx");
    EXPECT_EQ(list[2]["kind"], "tdx");
}

TEST_F(ToolIndexLife, CreateLeavesAFileThatIsThereAsItIs)
{
    Write("w.idx", "precious");
    ExpectFailure(1, "bxd: w.idx: it exists already (status 67)",
                  {"index", "create", "w.idx", "--box", "w.box"});
    EXPECT_EQ(ReadFile(Path("w.idx")), "precious");
}

TEST_F(ToolIndexLife, RemoveDeletesTheFileAndTheName)
{
    RunOk({"index", "create", "a.idx", "--box", "w.box"});
    RunOk({"index", "create", "b.idx", "--box", "w.box"});
    EXPECT_EQ(RunOk({"index", "rm", "a.idx"}), "");
    EXPECT_FALSE(Exists("a.idx"));
    ASSERT_EQ(Listed("w.box").size(), 1u);
    EXPECT_EQ(Listed("w.box")[0]["index"], "b.idx");
}

TEST_F(ToolIndexLife, AnIndexMayLieInAnotherDirectory)
{
    const std::string good = ReadFile(Path("w.box"));
    for (const char* directory : {"one", "one/deep", "two"}) {
        std::filesystem::create_directory(Path(directory));
    }
    const std::vector<std::pair<std::string, std::string>> pairs = {
        {"one/a.idx", "w.box"},        {"one/deep/a.idx", "w.box"}, {"a.idx", "one/w.box"},
        {"one/deep/..b.idx", "w.box"}, {"two/a.idx", "one/w.box"},  {"one/a.idx", "one/deep/w.box"}};
    for (const auto& [index, box] : pairs) {
        Write(box, good);
        RunOk({"index", "create", index, "--box", box});
        ASSERT_EQ(Listed(box).size(), 1u) << index;
        EXPECT_EQ(Listed(box)[0]["index"], std::filesystem::canonical(Path(index)).string());
        EXPECT_EQ(Listed(box)[0]["entries"], 0);
        const std::string named = RunJson({"index", "info", index, "--json"})["box"];
        EXPECT_TRUE(std::filesystem::equivalent(named, Path(box))) << named;
        EXPECT_EQ(RunOk({"index", "rm", index}), "");
        EXPECT_EQ(Listed(box), Json::array()) << index;
        EXPECT_FALSE(Exists(index));
    }
}

TEST_F(ToolIndexLife, BoxAndIndexMayLieInAnotherDirectoryTogether)
{
    std::filesystem::create_directory(Path("far"));
    std::filesystem::copy(Path("w.box"), Path("far/v.box"));
    RunOk({"index", "create", "./far/a.idx", "--box", "far/v.box"});
    EXPECT_EQ(Listed("far/v.box")[0]["index"], "far/a.idx");
    EXPECT_EQ(RunJson({"index", "info", "far/a.idx", "--json"})["box"], "v.box");
    std::filesystem::rename(Path("far"), Path("near"));
    EXPECT_EQ(Listed("near/v.box")[0]["entries"], 0) << "the pair may move together";
    RunOk({"index", "rm", "near/a.idx"});
    EXPECT_EQ(Listed("near/v.box"), Json::array());
}

TEST_F(ToolIndexLife, IndexesOfBoxesOnADrive)
{
    RunOk({"create", "F0:W.BOX", "--item", "HEAD:text"});
    RunOk({"index", "create", "F0:W.IDX", "--box", "F0:W.BOX"});
    EXPECT_EQ(Listed("F0:W.BOX")[0]["index"], "F0:W.IDX");
    EXPECT_EQ(RunJson({"index", "info", "F0:W.IDX", "--json"})["box"], "W.BOX");
    RunOk({"index", "rm", "F0:W.IDX"});
    EXPECT_EQ(Listed("F0:W.BOX"), Json::array());
}

TEST_F(ToolIndexLife, NewCardsComeIntoTheIndex)
{
    RunOk({"index", "create", "w.idx", "--box", "w.box"});
    RunOk({"import", "w.box", "-", "--format", "csv"}, "HEAD\none\ntwo\nthree\n");
    EXPECT_EQ(Listed("w.box")[0]["entries"], 3);
    EXPECT_EQ(RunJson({"map", "w.idx", "--json"})["findings"], Json::array());
    EXPECT_EQ(RunJson({"map", "w.box", "--json"})["findings"], Json::array());
}

TEST_F(ToolIndexLife, RemoveOfAnIndexWithoutItsBoxDeletesTheFile)
{
    RunOk({"index", "create", "w.idx", "--box", "w.box"});
    std::filesystem::remove(Path("w.box"));
    EXPECT_EQ(RunOk({"index", "rm", "w.idx"}), "");
    EXPECT_FALSE(Exists("w.idx"));
    Put("free.idx", IndexFile(27, {{33, "en"}, {34, "\x01"}}, {}));
    EXPECT_EQ(RunOk({"index", "rm", "free.idx"}), "") << "an index that no box knows";
    EXPECT_FALSE(Exists("free.idx"));
}

TEST_F(ToolIndexLife, ABoxThatAnotherProcessHoldsIsNotChanged)
{
    RunOk({"index", "create", "w.idx", "--box", "w.box"});
    const std::string before = ReadFile(Path("w.box"));
    const HeldByAnother held(Path("w.box"));
    ExpectFailure(1, "another process holds it open", {"index", "create", "v.idx", "--box", "w.box"});
    ExpectFailure(1, "another process holds it open", {"index", "rm", "w.idx"});
    EXPECT_EQ(ReadFile(Path("w.box")), before);
    EXPECT_FALSE(Exists("v.idx"));
    EXPECT_TRUE(Exists("w.idx"));
}

}  // namespace
