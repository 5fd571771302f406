// SPDX-License-Identifier: MIT
// Texts byte by byte against conditions.
#include "tests/match/search_shapes.h"

namespace {

using namespace searchtest;

TEST(SearchBinary, EveryPairOfTextsIsAsTheModelHasIt)
{
    ExpectAsModel(kBinaryFamily, {B("a"), B("A"), {0xFF}, {0x80}, {0x00}}, {B("a"), B("A"), {0xFF}, {0x80}},
                  2000, 21);
    ExpectAsModel(kBinaryFamily, {B("a"), B("b")}, {B("a"), B("b")}, 1500, 22);
}

TEST(SearchBinary, AllShortTextsAgainstAllShortConditions)
{
    std::vector<Bytes> words = {{}};
    for (size_t n = 0; n < words.size() && words[n].size() < 6; ++n) {
        words.push_back(words[n] + B("a"));
        words.push_back(words[n] + B("b"));
    }
    for (const Bytes& card : words) {
        for (const Bytes& cond : words) {
            if (cond.size() <= 3) { ExpectAsModel(kBinaryFamily, card, cond); }
        }
    }
}

TEST(SearchBinary, BytesAreUnsigned)
{
    EXPECT_EQ(CallText(SearchBinCmpStringSubA, kBinaryFamily, {0x7F}, {0x80}), 126u);
    EXPECT_EQ(CallText(SearchBinCmpStringSubA, kBinaryFamily, {0xFF}, {0x01}), 130u);
    EXPECT_EQ(CallText(SearchBinCmpStringSubA, kBinaryFamily, {0x01}, {0x01}), 128u);
    EXPECT_EQ(CallText(SearchBinCmpStringSubA, kBinaryFamily, {0x01, 0x00}, {0x01}), 129u);
    EXPECT_EQ(CallText(SearchBinCmpStringSubA, kBinaryFamily, {0x01}, {0x01, 0x02}), 127u);
}

TEST(SearchBinary, AnEmptyCardContainsEverything)
{
    EXPECT_TRUE(Ask(kBinaryFamily, kContains, {}, B("a")));
    EXPECT_TRUE(Ask(kBinaryFamily, kContains, {}, {}));
    EXPECT_FALSE(Ask(kBinaryFamily, kBegins, {}, B("a")));
    EXPECT_TRUE(Ask(kBinaryFamily, kEquals, {}, {}));
}

TEST(SearchBinary, UpToAndBeginningWithIsAtMost)
{
    EXPECT_FALSE(Ask(kBinaryFamily, kUpTo, B("abc"), B("ab")));
    EXPECT_FALSE(Ask(kBinaryFamily, kAtMost, B("abc"), B("ab")));
    EXPECT_TRUE(Ask(kBinaryFamily, kAbove, B("abc"), B("ab")));
    EXPECT_TRUE(Ask(kBinaryFamily, kUpTo, B("ab"), B("ab")));
    EXPECT_TRUE(Ask(kBinaryFamily, kUpTo, B("ab"), B("abc")));
}

TEST(SearchBinary, AMatchMayLieInsideACharacter)
{
    EXPECT_TRUE(Ask(kBinaryFamily, kContains, {0x83, 0x41}, B("A")));
    EXPECT_FALSE(Ask(kBinaryFamily, kContains, {0x83, 0x41}, B("a")));
}

TEST(SearchBinary, TheTypeOfTheValueDoesNotMatter)
{
    TextFamily utf8 = kBinaryFamily;
    utf8.type = 17;
    EXPECT_TRUE(Ask(utf8, kContains, {0xE3, 0x81, 0x8B}, {0x81}));
    EXPECT_FALSE(Ask(utf8, kEquals, B("A"), B("a")));
}

}  // namespace
