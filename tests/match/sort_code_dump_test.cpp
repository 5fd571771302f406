// SPDX-License-Identifier: MIT
// The dump of the order of UTF-8 text.
#include "match/bxd_sort_code.h"
#include "storage/bxd_log.h"
#include "tests/storage/storage_case.h"

namespace {

using storagetest::Told;

constexpr char kFile[] = "F0:SORTCODE.LOG";
constexpr char kFigures[] = "sort table size 4863 12ff\n";

class SortCodeDump : public ::testing::Test {
protected:
    ~SortCodeDump() override { BxdCloseLog(); }

    std::vector<u32> dumped() const
    {
        const std::vector<u8> bytes = home.read(kFile);
        std::vector<u32> units;
        for (size_t i = 0; i + 1 < bytes.size(); i += 2) { units.push_back(GET_2BYTES(&bytes[i])); }
        return units;
    }
    boxtest::ScratchHome home;
};

}  // namespace

TEST_F(SortCodeDump, HoldsEveryCharacterBehindItsLetter)
{
    EXPECT_EQ(Told(BxdDumpSortCode), kFigures);
    EXPECT_EQ(logFile, nullptr) << "the file is whole";
    const std::vector<u32> units = dumped();
    ASSERT_EQ(units.size(), 4863u * 8);
    u32 letter = 0;
    for (u32 code = 1; code <= 4863; ++code) {
        const u32* entry = &units[(code - 1) * 8];
        const u32 search = SearchCodeFromSortCodeUtf8Ja(static_cast<u16>(code));
        ASSERT_EQ(entry[0], search != letter ? 0x0Au : 0x20u) << code;
        letter = search;
        char inParentheses[8];
        snprintf(inParentheses, sizeof inParentheses, "(%04x)", entry[1]);
        for (u32 i = 0; i < 6; ++i) { ASSERT_EQ(entry[2 + i], static_cast<u32>(inParentheses[i])) << code; }
        if (code == 0x11F2) {
            EXPECT_EQ(entry[1], 0xFFFFu) << "no character has it";
        } else {
            ASSERT_EQ(SortConvCharUtf8Ja(entry[1]), code);
        }
    }
    EXPECT_EQ(units[(0x0141 - 1) * 8 + 1], 0x00B1u) << "of two the last";
}

TEST_F(SortCodeDump, BeginsLikeThis)
{
    (void)Told(BxdDumpSortCode);
    const std::vector<u8> bytes = home.read(kFile);
    const std::u16string start = u"\n (0020) \u3000(3000)\n!(0021)";
    ASSERT_GE(bytes.size(), start.size() * 2);
    for (size_t i = 0; i < start.size(); ++i) { EXPECT_EQ(GET_2BYTES(&bytes[i * 2]), start[i]) << i; }
}

TEST_F(SortCodeDump, TakesThePlaceOfTheLogAndOfAFormerDump)
{
    const std::string own = home.path("own.log");
    ASSERT_NE(BxdOpenLog(own.c_str()), nullptr);
    BxdLog("before");
    home.write(kFile, std::string(100000, 'x'));
    (void)Told(BxdDumpSortCode);
    BxdLog("after");
    EXPECT_EQ(home.readText(own), "before");
    EXPECT_EQ(home.read(kFile).size(), 4863u * 16);
}

TEST_F(SortCodeDump, WithoutAPathWritesNothing)
{
    unsetenv("HOME");
    EXPECT_EQ(Told(BxdDumpSortCode), kFigures);
    EXPECT_EQ(logFile, nullptr);
    EXPECT_FALSE(home.exists(kFile));
}
