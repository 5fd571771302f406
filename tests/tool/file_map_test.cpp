// SPDX-License-Identifier: MIT
// How a file is divided: every part of both formats, and files that are damaged in every way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/tool/map_files.h"

namespace {

using namespace tool_test;
using boxtest::Put32;
using testing::ElementsAre;
using testing::HasSubstr;
using tool::Extent;
using tool::FileKind;
using tool::FileMap;
using tool::Part;

void ExpectTiled(const FileMap& map, const std::string& what)
{
    uint64_t at = 0;
    uint64_t counted = 0;
    for (const Extent& extent : map.extents) {
        ASSERT_EQ(extent.at, at) << what;
        ASSERT_GT(extent.size, 0u) << what;
        at = extent.end();
    }
    ASSERT_EQ(at, map.size) << what;
    for (const tool::Tally& tally : map.tallies) { counted += tally.bytes; }
    ASSERT_EQ(counted, map.size) << what;
}

std::vector<std::string> Lines(const FileMap& map)
{
    std::vector<std::string> lines;
    for (const Extent& extent : map.extents) {
        lines.push_back(std::to_string(extent.at) + " " + tool::Describe(extent));
    }
    return lines;
}

std::string OnlyFinding(const FileMap& map)
{
    EXPECT_EQ(map.findings.size(), 1u);
    return map.findings.empty() ? "" : std::to_string(map.findings[0].at) + " " + map.findings[0].text;
}

TEST(FileMap, ANewBoxIsHeaderAndOffsetTable)
{
    const FileMap map = MapOf(boxtest::NewBoxImage("TEST"));
    EXPECT_EQ(map.kind, FileKind::kBox);
    EXPECT_THAT(Lines(map), ElementsAre("0 header", "72 default offset table"));
    EXPECT_TRUE(map.findings.empty());
}

TEST(FileMap, ABoxShowsEveryPartInItsPlace)
{
    boxtest::BoxBuilder box = FullBox();
    const Bytes file = box.build();
    const FileMap map = MapOf(file);
    ExpectTiled(map, "full box");
    EXPECT_TRUE(map.findings.empty());
    const uint64_t first = 2120 + 74;
    std::vector<std::string> what;
    for (const Extent& extent : map.extents) { what.push_back(tool::Describe(extent)); }
    EXPECT_THAT(what, ElementsAre("header", "default offset table", "item table", "card 1", "dead card",
                                  "card 2", "dead card", "system card 65281", "index table",
                                  "extended information card", "append table", "append table", "card 700",
                                  "card under edit", "offset card", "end mark"));
    EXPECT_EQ(map.extents[3].at, first);
    EXPECT_EQ(map.extents[4].size, 40u);
    EXPECT_EQ(map.extents[8].size, 518u);
    EXPECT_EQ(map.extents.back().end(), file.size());
    EXPECT_EQ(map.TallyOf(Part::kDeadCard).bytes, 46u);
    EXPECT_EQ(map.TallyOf(Part::kAppendTable).pieces, 2u);
}

TEST(FileMap, BytesBehindTheEndMarkAreUnreachable)
{
    boxtest::BoxBuilder box;
    box.card(1);
    const FileMap map = MapOf(box.build() + boxtest::Pattern(9));
    EXPECT_EQ(map.extents.back().part, Part::kUnreachable);
    EXPECT_EQ(map.extents.back().size, 9u);
    EXPECT_TRUE(map.findings.empty()) << "a lost power may leave a file longer than its chain";
}

TEST(FileMap, AChainWithoutAnEndMarkIsNamed)
{
    boxtest::BoxBuilder box;
    box.card(1);
    Bytes file = box.build();
    file.resize(file.size() - 2);
    const FileMap map = MapOf(file);
    ExpectTiled(map, "no end mark");
    EXPECT_EQ(map.extents.back().part, Part::kCard);
    EXPECT_EQ(OnlyFinding(map), std::to_string(file.size()) + " the chain of cards ends without an end mark");
}

TEST(FileMap, ACardThatIsLongerThanTheFileBreaksTheChain)
{
    boxtest::BoxBuilder box;
    box.card(1);
    const u32 second = box.card(2);
    box.card(3);
    Bytes file = box.build();
    Put32(file, second + 2, 0xFFFFFFF0);
    const FileMap map = MapOf(file);
    ExpectTiled(map, "long card");
    EXPECT_EQ(map.extents.back().part, Part::kDamage);
    EXPECT_EQ(map.extents.back().at, second);
    EXPECT_EQ(map.TallyOf(Part::kCard).pieces, 1u);
    EXPECT_THAT(OnlyFinding(map), HasSubstr(std::to_string(second) +
                                            " the chain breaks: card 2 says that it has 4294967286 bytes"));
}

TEST(FileMap, ACardWithAnUnknownIdIsDamageAndTheChainGoesOn)
{
    boxtest::BoxBuilder box;
    const u32 odd = box.raw(boxtest::EncodeHead(65530, 4) + boxtest::Pattern(4));
    box.card(1);
    const FileMap map = MapOf(box.build());
    EXPECT_EQ(map.TallyOf(Part::kDamage).bytes, 10u);
    EXPECT_EQ(map.TallyOf(Part::kCard).pieces, 1u);
    EXPECT_EQ(OnlyFinding(map), std::to_string(odd) + " a card with the id 65530");
}

TEST(FileMap, PositionsThatLieOverOtherPartsTakeNothingFromThem)
{
    boxtest::BoxBuilder box;
    box.card(1);
    Bytes file = box.build();
    SetField(file, boxtest::hd::itemOffset, 60);
    const FileMap map = MapOf(file);
    ExpectTiled(map, "item table over the header");
    EXPECT_EQ(map.extents[0].size, 72u);
    EXPECT_EQ(map.TallyOf(Part::kItemTable).pieces, 0u);
    EXPECT_EQ(map.TallyOf(Part::kUnreachable).bytes, 74u) << "where the item table stands";
    EXPECT_EQ(OnlyFinding(map), "60 what begins here lies over other parts of the file with 74 bytes");
}

TEST(FileMap, PositionsOutsideTheFileAreNamed)
{
    boxtest::BoxBuilder box;
    box.card(1);
    const Bytes good = box.build();
    for (const boxtest::Field& field :
         {boxtest::hd::cardOffset, boxtest::hd::itemOffset, boxtest::hd::offsetTable}) {
        Bytes file = good;
        SetField(file, field, 0x12345678);
        const FileMap map = MapOf(file);
        ExpectTiled(map, field.name);
        EXPECT_THAT(OnlyFinding(map), HasSubstr("305419896 the ")) << field.name;
    }
}

TEST(FileMap, AChainOfTinyCardsHasABound)
{
    boxtest::BoxBuilder box;
    box.raw(boxtest::EncodeHead(1, 0));
    Bytes file = box.build();
    file.resize(file.size() + 6 * 1100000, 0);  // dead cards of nothing but a head
    const u32 end = box.size();
    file[end] = file[end + 1] = 0;
    const FileMap map = MapOf(file);
    ExpectTiled(map, "tiny cards");
    EXPECT_LE(map.extents.size(), 1000010u);
    EXPECT_THAT(OnlyFinding(map), HasSubstr("too many cards"));
}

TEST(FileMap, FindingsHaveABound)
{
    boxtest::BoxBuilder box;
    for (int i = 0; i < 1000; i++) { box.raw(boxtest::EncodeHead(65524, 0)); }
    const FileMap map = MapOf(box.build());
    EXPECT_EQ(map.findings.size(), 51u);
    EXPECT_EQ(map.findings.back().text, "and more that is not told");
}

TEST(FileMap, OtherFilesAreUnknown)
{
    EXPECT_EQ(MapOf({}).kind, FileKind::kUnknown);
    EXPECT_TRUE(MapOf({}).extents.empty());
    for (const Bytes& file : {Bytes{0xFF, 0x00, 0x10}, Bytes{0xFE, 0x00, 0x10, 0x31},
                              Bytes{0xFF, 0, 17, 0x30}, boxtest::B("just a text")}) {
        const FileMap map = MapOf(file);
        EXPECT_EQ(map.kind, FileKind::kUnknown);
        ExpectTiled(map, "unknown");
        EXPECT_EQ(map.TallyOf(Part::kDamage).bytes, file.size());
    }
}

TEST(FileMap, AnotherVersionIsTold)
{
    Bytes file = boxtest::NewBoxImage("TEST");
    file[3] = 0x41;
    EXPECT_THAT(OnlyFinding(MapOf(file)), HasSubstr("3 the version is another one"));
    Bytes index = FullIndex();
    index[3] = 0xFF;
    EXPECT_EQ(OnlyFinding(MapOf(index)), "3 a sorting has failed and barred the index");
}

TEST(FileMapIndex, ShowsRecordsAndEntriesInTheirPlaces)
{
    const FileMap map = MapOf(FullIndex());
    EXPECT_EQ(map.kind, FileKind::kMasterIndex);
    EXPECT_THAT(Lines(map),
                ElementsAre("0 header", "24 record 33, language", "29 record 34, sort version",
                            "33 record 1, name of the box", "41 record 4, type", "45 record 32, update mode",
                            "49 record 200, of the application", "52 record 3, search condition",
                            "64 end of the records", "65 number of entries", "67 entry of card 5",
                            "71 hidden entry of card 7", "75 entry of card 9", "79 end mark"));
    EXPECT_TRUE(map.findings.empty());
    EXPECT_EQ(MapOf(IndexFile(28, {}, {})).kind, FileKind::kListIndex);
}

TEST(FileMapIndex, AnIndexWithoutATableEndsWithItsRecords)
{
    Bytes file = IndexFile(28, {{33, "en"}, {34, "\x01"}}, {});
    file.resize(file.size() - 4);
    Put32(file, 4, boxtest::kNone);
    const FileMap map = MapOf(file);
    EXPECT_EQ(map.extents.back().part, Part::kRecordsEnd);
    EXPECT_TRUE(map.findings.empty());
}

TEST(FileMapIndex, ATableThatDoesNotCloseIsNamed)
{
    const Bytes good = FullIndex();
    Bytes cut = good;
    cut.resize(74);
    EXPECT_EQ(OnlyFinding(MapOf(cut)), "71 the file ends before entry 2 of 3");
    Bytes early = good;
    early[71] = early[72] = 0xFF;
    const FileMap map = MapOf(early);
    EXPECT_EQ(OnlyFinding(map), "71 an end mark stands in the place of entry 2 of 3");
    EXPECT_EQ(map.TallyOf(Part::kUnreachable).bytes, 8u);
    Bytes open = good;
    open[65] = 2;
    EXPECT_EQ(OnlyFinding(MapOf(open)), "75 there is no end mark behind the last entry");
}

TEST(FileMapIndex, RecordsThatLeaveTheirAreaAreNamed)
{
    Bytes file = FullIndex();
    file[34] = 0xFF;
    const FileMap map = MapOf(file);
    ExpectTiled(map, "record");
    EXPECT_EQ(OnlyFinding(map), "33 record 1 says that it has 258 bytes, and there are 32");
    EXPECT_EQ(map.TallyOf(Part::kDamage).bytes, 32u);
    EXPECT_EQ(map.TallyOf(Part::kEntry).pieces, 2u) << "the table is shown all the same";
}

// Files of both formats, for what must hold of every file.
std::vector<std::pair<std::string, Bytes>> GoodFiles()
{
    boxtest::BoxBuilder small;
    small.card(1);
    small.dead(20);
    small.card(2);
    return {{"full box", FullBox().build()},
            {"small box", small.build()},
            {"new box", boxtest::NewBoxImage("TEST")},
            {"index", FullIndex()},
            {"index without entries", IndexFile(28, {{33, "en"}}, {})}};
}

TEST(FileMapTiles, GoodFilesWithoutAFinding)
{
    for (const auto& [name, file] : GoodFiles()) {
        const FileMap map = MapOf(file);
        ExpectTiled(map, name);
        EXPECT_TRUE(map.findings.empty()) << name;
        EXPECT_EQ(map.TallyOf(Part::kDamage).pieces, 0u) << name;
        EXPECT_EQ(map.TallyOf(Part::kUnreachable).pieces, 0u) << name;
    }
}

TEST(FileMapTiles, FilesCutAtEveryLength)
{
    for (const auto& [name, file] : GoodFiles()) {
        for (std::size_t size = 0; size < file.size(); size++) {
            const Bytes cut = boxtest::Slice(file, 0, size);
            const FileMap map = MapOf(cut);
            ExpectTiled(map, name + " of " + std::to_string(size) + " bytes");
            if (size >= 4 && name != "new box") {
                EXPECT_FALSE(map.findings.empty()) << name << " of " << size << " bytes";
            }
        }
    }
}

TEST(FileMapTiles, FilesWithBytesFlippedAtRandom)
{
    std::mt19937 engine(20240517);
    const auto random = [&engine] { return static_cast<u32>(engine()); };
    for (const auto& [name, file] : GoodFiles()) {
        for (int round = 0; round < 3000; round++) {
            Bytes wrong = file;
            const u32 flips = 1 + random() % 6;
            for (u32 i = 0; i < flips; i++) {
                // Most of them where positions and lengths stand.
                const std::size_t range =
                    random() % 2 == 0 ? std::min<std::size_t>(80, wrong.size()) : wrong.size();
                wrong[random() % range] = static_cast<u8>(random());
            }
            ExpectTiled(MapOf(wrong), name + ", round " + std::to_string(round));
        }
    }
}

TEST(FileMapTiles, PositionsOfEveryKindInTheHeader)
{
    const std::vector<u32> positions = {0,          1,          23,         24,         71,        72,
                                        100,        2119,       2120,       2121,       2193,      4000,
                                        0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFE, 0xFFFFFFFF};
    for (const auto& [name, file] : GoodFiles()) {
        for (const u32 first : positions) {
            for (const u32 second : positions) {
                Bytes wrong = file;
                Put32(wrong, 4, first);
                Put32(wrong, 8, second);
                ExpectTiled(MapOf(wrong), name);
                if (name.find("box") == std::string::npos) { continue; }
                Put32(wrong, 12, first);
                Put32(wrong, 16, second);
                ExpectTiled(MapOf(wrong), name);
            }
        }
    }
}

}  // namespace
