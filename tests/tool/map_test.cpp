// SPDX-License-Identifier: MIT
// The command map: its text, its picture, and what it refuses.
#include "tests/tool/map_files.h"
#include "tests/tool/tool_run.h"
#include "tools/bxd/map_svg.h"
#include "tools/bxd/map_text.h"

namespace {

using namespace tool_test;

class ToolMap : public ToolTest {
protected:
    void Put(const std::string& name, const Bytes& bytes) const { Write(name, boxtest::Text(bytes)); }
};

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::size_t CountOf(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) { count++; }
    return count;
}

// Whether tags are closed in the order of their opening, and nothing stands where XML forbids it. It knows
// the XML that pictures are made of: no comments, no sections, attributes in double quotes.
std::string FaultOfXml(const std::string& xml)
{
    std::vector<std::string> open;
    std::size_t at = 0;
    if (xml.rfind("<?xml", 0) == 0) { at = xml.find("?>") + 2; }
    while (at < xml.size()) {
        if (xml[at] == '&') {
            const std::string name = xml.substr(at, xml.find(';', at) - at + 1);
            if (name != "&amp;" && name != "&lt;" && name != "&gt;" && name != "&quot;" && name != "&#39;") {
                return "a bare & at " + std::to_string(at);
            }
        }
        if (static_cast<unsigned char>(xml[at]) < 0x20 && xml[at] != '\n') { return "a control character"; }
        if (xml[at] != '<') {
            at++;
            continue;
        }
        const std::size_t end = xml.find('>', at);
        if (end == std::string::npos) { return "a tag without end"; }
        const std::string tag = xml.substr(at + 1, end - at - 1);
        if (CountOf(tag, "<") != 0 || CountOf(tag, "\"") % 2 != 0) { return "a bad tag: " + tag; }
        const std::string name = tag.substr(0, tag.find_first_of(" /", 1));
        if (tag[0] == '/') {
            if (open.empty() || "/" + open.back() != tag) { return "closed out of order: " + tag; }
            open.pop_back();
        } else if (tag.back() != '/') {
            open.push_back(name);
        }
        at = end + 1;
    }
    return open.empty() ? "" : "left open: " + open.back();
}

TEST_F(ToolMap, ShowsABoxAsLettersAndALegend)
{
    boxtest::BoxBuilder box;
    box.card(1);
    box.dead(500);
    box.card(2);
    Put("w.box", box.build());
    const std::string text = RunOk({"map", "w.box"});
    EXPECT_TRUE(Has(text, "w.box: box of 2,7")) << text;
    EXPECT_TRUE(Has(text, ", 2 cards, 18.3 % dead\n")) << text;
    EXPECT_TRUE(Has(text, "\n0000  HHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHOOOOOOOOOOOOOOOOOOOOOOOOOOOO\n"))
        << text;
    EXPECT_TRUE(Has(text, "A letter stands for 2 bytes.\n")) << text;
    EXPECT_TRUE(Has(text, "   PART                      PIECES          BYTES  PER CENT\n"
                          "H  header                         1             72       2.6\n"
                          "I  item table                     1             74       2.7\n"
                          "O  default offset table           1          2,048      75.1\n"
                          "c  cards                          2             30       1.1\n"
                          "-  dead cards                     1            500      18.3\n"
                          "$  end mark                       1              2      <0.1\n"))
        << text;
    EXPECT_FALSE(Has(text, "\033")) << "no colours where no terminal is";
}

TEST_F(ToolMap, ColoursWhenTold)
{
    Put("w.box", boxtest::NewBoxImage("TEST"));
    EXPECT_TRUE(Has(RunOk({"map", "w.box", "--color", "always"}), "\033[48;5;"));
    EXPECT_FALSE(Has(RunOk({"map", "w.box", "--color", "never"}), "\033"));
    EXPECT_EQ(Run({"map", "w.box", "--color", "green"}).code, 2);
}

TEST_F(ToolMap, DamageShowsInTheSmallestShare)
{
    boxtest::BoxBuilder box;
    for (u32 id = 1; id <= 401; id++) { box.card(id); }
    Bytes file = box.build();
    file.pop_back();  // half an end mark
    Put("w.box", file);
    const std::string text = RunOk({"map", "w.box"});
    EXPECT_TRUE(Has(text, "c!\n")) << text;
    EXPECT_TRUE(Has(text, "\n! at ")) << text;
    EXPECT_TRUE(Has(text, "half an end mark")) << text;
    EXPECT_TRUE(Has(text, ", damaged\n")) << text;
}

TEST_F(ToolMap, ShowsAnIndex)
{
    Put("w.idx", FullIndex());
    const std::string text = RunOk({"map", "w.idx"});
    EXPECT_TRUE(Has(text, "w.idx: index (idx) of 81 bytes, 2 visible entries, 1 hidden\n")) << text;
    EXPECT_TRUE(Has(text, "0000  HHHHHHHHHHHHHHHHHHHHHHHHRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRR\n"
                          "0040  rNNeeeehhhheeee$$\n"))
        << text;
}

TEST_F(ToolMap, JsonHoldsEveryExtent)
{
    Put("w.idx", FullIndex());
    const Json map = RunJson({"map", "w.idx", "--json"});
    EXPECT_EQ(map["kind"], "index (idx)");
    EXPECT_EQ(map["fileBytes"], 81);
    EXPECT_EQ(map["findings"], Json::array());
    ASSERT_EQ(map["extents"].size(), 14u);
    EXPECT_EQ(map["extents"][11], Json::parse(R"({"at": 71, "bytes": 4, "part": "hidden entries",
                                                  "what": "hidden entry of card 7"})"));
    EXPECT_EQ(map["parts"][0], Json::parse(R"({"part": "header", "pieces": 1, "bytes": 24})"));
}

TEST_F(ToolMap, MakesAnSvgPicture)
{
    Put("w.box", FullBox().build());
    EXPECT_EQ(RunOk({"map", "w.box", "-o", "w.svg"}), "");
    const std::string svg = ReadFile(Path("w.svg"));
    EXPECT_EQ(FaultOfXml(svg), "");
    EXPECT_TRUE(Has(svg, "<title id=\"name\">Map of w.box</title>"));
    EXPECT_TRUE(Has(svg, "<title>card 700; 15 bytes at 0x"));
    EXPECT_TRUE(Has(svg, "prefers-color-scheme:dark"));
    for (const char* part : {">header<", ">dead cards<", ">append tables<", ">system cards<", ">end mark<",
                             ">index table<", ">cards under edit<", ">extended information<"}) {
        EXPECT_TRUE(Has(svg, part)) << part;
    }
    EXPECT_EQ(RunOk({"map", "w.box", "--svg", "-"}), svg) << "the same on standard output";
}

TEST_F(ToolMap, NamesOfFilesAreEscapedInThePicture)
{
    for (const std::string name :
         {"a<b>&\"c'.box", "\xFF\xFE.box", "\xEF\xBF\xBE]]>.box", "tab\tnew\nline.box"}) {
        Put(name, boxtest::NewBoxImage("TEST"));
        EXPECT_EQ(RunOk({"map", name, "-o", "w.svg"}), "");
        const std::string svg = ReadFile(Path("w.svg"));
        EXPECT_EQ(FaultOfXml(svg), "") << name;
        EXPECT_FALSE(Has(svg, "\xFF")) << name;
        EXPECT_FALSE(Has(svg, "\xEF\xBF\xBE")) << name;
    }
    EXPECT_TRUE(Has(tool::XmlText("a<b>&\"c'"), "a&lt;b&gt;&amp;&quot;c&#39;"));
}

TEST_F(ToolMap, ThePictureOfSixtyThousandCardsStaysSmall)
{
    boxtest::BoxBuilder box;
    for (u32 id = 1; id <= 60000; id++) {
        box.raw(boxtest::EncodeHead(id % 9 == 0 ? 0 : id, 40) + boxtest::Pattern(40));
    }
    const tool::FileMap map = MapOf(box.build());
    EXPECT_TRUE(map.findings.empty());
    EXPECT_GT(map.extents.size(), 60000u);
    const std::string svg = tool::MapAsSvg(map, "w.box");
    EXPECT_LT(svg.size(), 3000000u);
    EXPECT_LT(CountOf(svg, "<path class=\"p"), 60000u / 2);
    EXPECT_EQ(FaultOfXml(svg), "");
}

TEST_F(ToolMap, PicturesOfDamagedFilesAreGoodXml)
{
    const Bytes good = FullBox().build();
    for (std::size_t size = 1; size < good.size(); size += 97) {
        const tool::FileMap map = MapOf(boxtest::Slice(good, 0, size));
        EXPECT_EQ(FaultOfXml(tool::MapAsSvg(map, "w.box")), "") << size;
        EXPECT_FALSE(tool::MapAsText(map, "w.box", 80, true).empty()) << size;
    }
    EXPECT_EQ(FaultOfXml(tool::MapAsSvg(MapOf({}), "w.box")), "");
}

TEST_F(ToolMap, LinesFitTheTerminal)
{
    const tool::FileMap map = MapOf(FullBox().build());
    const std::string text = tool::MapAsText(map, "w.box", 40, false);
    EXPECT_TRUE(Has(text, "\n0000  HHHHHHHHH")) << text;
    const std::string row = text.substr(text.find("\n0000") + 1);
    EXPECT_EQ(row.find('\n'), 6u + 32u);
}

TEST_F(ToolMap, RefusesWhatIsNoFileOfCards)
{
    ExpectFailure(1, "bxd: no.box: No such file or directory\n", {"map", "no.box"});
    Write("text.box", std::string(5000, 'x'));
    ExpectFailure(1, "bxd: text.box: it is neither a box nor an index file\n", {"map", "text.box"});
    Write("empty.box", "");
    ExpectFailure(1, "bxd: empty.box: it is empty\n", {"map", "empty.box"});
    std::filesystem::create_directory(Path("dir.box"));
    ExpectFailure(1, "dir.box: it is not a file", {"map", "dir.box"});
}

TEST_F(ToolMap, DoesNotPutThePictureInThePlaceOfTheBox)
{
    Put("w.box", FullBox().build());
    const std::string before = ReadFile(Path("w.box"));
    ExpectFailure(2, "would take the place of the file", {"map", "w.box", "-o", "w.box"});
    ExpectFailure(2, "would take the place of the file", {"map", "w.box", "-o", "./w.box"});
    ExpectFailure(1, "No such file or directory", {"map", "w.box", "-o", "no/w.svg"});
    ExpectFailure(2, "exclude each other", {"map", "w.box", "-o", "w.svg", "--json"});
    EXPECT_EQ(ReadFile(Path("w.box")), before);
    EXPECT_FALSE(std::filesystem::exists(Path("w.svg")));
}

TEST_F(ToolMap, TellsWhenThePictureCannotBeWritten)
{
    Put("w.box", FullBox().build());
    Write("in", "");
    Surroundings full;
    full.fileSize = 4096;
    const Outcome outcome = Wait(Start({"map", "w.box", "-o", "w.svg"}, full));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_TRUE(Has(outcome.err, "w.svg: the picture cannot be written")) << outcome.err;
}

TEST_F(ToolMap, LeavesTheFileAsItIs)
{
    Put("w.box", FullBox().build());
    std::filesystem::permissions(Path("w.box"), std::filesystem::perms::owner_read);
    const std::string before = ReadFile(Path("w.box"));
    const auto time = std::filesystem::last_write_time(Path("w.box"));
    RunOk({"map", "w.box"});
    EXPECT_EQ(ReadFile(Path("w.box")), before);
    EXPECT_EQ(std::filesystem::last_write_time(Path("w.box")), time);
}

TEST_F(ToolMap, TakesFilesOnADrive)
{
    RunOk({"create", "F0:W.BOX"});
    EXPECT_TRUE(Has(RunOk({"map", "F0:W.BOX"}), "F0:W.BOX: box of 2,120 bytes"));
}

}  // namespace
