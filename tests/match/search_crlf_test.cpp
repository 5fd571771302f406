// SPDX-License-Identifier: MIT
// Line breaks: CR LF and CR are one to the forms that compare the two kinds of Shift-JIS text, and two to all
// others.
#include "tests/match/search_shapes.h"
#include "tests/match/texts.h"

namespace {

using namespace searchtest;

constexpr u16 kCr = 0x100D;
constexpr u16 kLf = 0x100A;

const Alphabet kBreaks = {B("\r"), B("\n"), B("\r\n"), B("a"), B("A")};

TEST(SearchCrLf, EveryTextOfBreaksAndLettersIsAsTheModelHasIt)
{
    ExpectAsModel(kCrLfFamily, kBreaks, kBreaks, 1200, 11);
    const Alphabet kana = {B("\r"), B("\n"), sorttest::sjis::kKa, sorttest::sjis::kGa, {0x82}, {0x0D}};
    ExpectAsModel(kCrLfFamily, kana, {B("\r"), B("\n"), sorttest::sjis::kKa, sorttest::sjis::kGa}, 600, 12);
}

TEST(SearchCrLf, AllShortTextsAgainstAllShortConditions)
{
    std::vector<Bytes> words = {{}};
    for (size_t n = 0; n < words.size() && words[n].size() < 4; ++n) {
        for (const char* next : {"\r", "\n", "a"}) { words.push_back(words[n] + B(next)); }
    }
    for (const Bytes& card : words) {
        for (const Bytes& cond : words) {
            if (card.size() + cond.size() <= 5) { ExpectAsModel(kCrLfFamily, card, cond); }
        }
    }
}

TEST(SearchCrLf, APairIsABreakOnEitherSide)
{
    for (const char* card : {"a\rb", "a\r\nb"}) {
        for (const char* cond : {"a\rb", "a\r\nb"}) {
            EXPECT_TRUE(Ask(kCrLfFamily, kEquals, B(card), B(cond)));
            EXPECT_TRUE(Ask(kCrLfFamily, kContains, B("x") + B(card), B(cond)));
            EXPECT_TRUE(Ask(kCrLfFamily, kAtLeast, B(card), B(cond)));
        }
    }
    EXPECT_TRUE(Ask(kCrLfFamily, kEquals, B("\r\n"), B("\r")));
    EXPECT_TRUE(Ask(kCrLfFamily, kContains, B("\r\n"), B("\r")));
    EXPECT_TRUE(Ask(kCrLfFamily, kContains, B("x\r\n"), B("\r")));
}

TEST(SearchCrLf, ABareLfIsACharacterOfItsOwn)
{
    EXPECT_FALSE(Ask(kCrLfFamily, kEquals, B("a\nb"), B("a\rb")));
    EXPECT_FALSE(Ask(kCrLfFamily, kEquals, B("a\nb"), B("ab")));
    EXPECT_TRUE(Ask(kCrLfFamily, kEquals, B("a\nb"), B("a\nb")));
    EXPECT_FALSE(Ask(kCrLfFamily, kEquals, B("\r\n\n"), B("\r")));
    EXPECT_TRUE(Ask(kCrLfFamily, kEquals, B("\r\n\n"), B("\r\n\n")));
    EXPECT_TRUE(Ask(kCrLfFamily, kContains, B("\r\n\n"), B("\n")));
    EXPECT_FALSE(Ask(kCrLfFamily, kContains, B("\r\n"), B("\n")));
}

TEST(SearchCrLf, TheOtherFamiliesTakeAPairForTwoCharacters)
{
    for (const TextFamily* family : {&kSjisFamily, &kUtf8Family, &kBinaryFamily}) {
        EXPECT_FALSE(Ask(*family, kEquals, B("a\r\nb"), B("a\rb"))) << family->name;
        EXPECT_FALSE(Ask(*family, kContains, B("a\r\nb"), B("\rb"))) << family->name;
        EXPECT_TRUE(Ask(*family, kContains, B("a\r\nb"), B("\nb"))) << family->name;
    }
}

TEST(SearchCrLf, ACrAtTheEndOfAConditionStaysOne)
{
    EXPECT_EQ(CallShape(SearchCrLfCmpStringSubA, kCrLfFamily, B("\r"), CodeData({kCr})), 128u);
    EXPECT_EQ(CallShape(SearchCrLfCmpStringSubB, kCrLfFamily, B("a\r"), CodeData({kCr})), 1u);
    EXPECT_EQ(CallShape(SearchCrLfCmpStringSubC, kCrLfFamily, B("\r\n"), CodeData({kCr})), 128u);
}

TEST(SearchCrLf, SkippingStepsOverOneLfBehindACrAlone)
{
    const Bytes text = B("\n\n");
    for (const auto& [code, size, left] : {std::tuple{kCr, 2, 1}, {kCr, 1, 0}, {kCr, 0, 0}, {kLf, 2, 2}}) {
        Bytes block(text.begin(), text.begin() + size);
        const u8* at = block.data();
        u16 remaining = static_cast<u16>(size);
        SkipLfStr(code, &at, &remaining);
        EXPECT_EQ(remaining, left);
        EXPECT_EQ(at - block.data(), size - left);
    }
    const Bytes letter = B("a\n");
    const u8* at = letter.data();
    u16 remaining = 2;
    SkipLfStr(kCr, &at, &remaining);
    EXPECT_EQ(remaining, 2u);

    const Bytes codes = CodeData({kLf, kLf});
    const u8* value = codes.data();
    SkipLfCode(kLf, &value);
    EXPECT_EQ(value, codes.data());
    SkipLfCode(kCr, &value);
    EXPECT_EQ(value, codes.data() + 2);
    value = codes.data() + 4;
    SkipLfCode(kCr, &value);
    EXPECT_EQ(value, codes.data() + 4);
}

}  // namespace
