// SPDX-License-Identifier: MIT
// Texts by language against conditions: three shapes in Shift-JIS and UTF-8, and what operators make of them.
#include "tests/match/search_shapes.h"
#include "tests/match/texts.h"
#include "tests/support/box_case.h"

namespace {

using namespace searchtest;
namespace sj = sorttest::sjis;
namespace u8t = sorttest::utf8;

const Alphabet kSjisCharacters = {B("a"),      B("A"),  B("b"),      {0x82, 0x81}, {0x82, 0x60},
                                  sj::kHalfKa, sj::kKa, sj::kKataKa, sj::kHalfGa,  sj::kGa,
                                  sj::kKataGa, sj::kKi, sj::kKanji1, sj::kKanji2,  B("0"),
                                  B("\r"),     B("\n"), B(" "),      {0x81, 0x40}, {0x9F, 0xFC}};
const Alphabet kUtf8Characters = {B("a"),
                                  B("A"),
                                  B("b"),
                                  u8t::kE,
                                  u8t::kHalfKa,
                                  u8t::kKa,
                                  u8t::kKataKa,
                                  u8t::kGa,
                                  u8t::kKataGa,
                                  u8t::kKi,
                                  u8t::kKanji1,
                                  u8t::kKanji2,
                                  B("0"),
                                  B("\r"),
                                  B("\n"),
                                  {0xEF, 0xBC, 0xA1},
                                  {0xE3, 0x80, 0x80},
                                  {0xC3, 0x81}};

// And what is no character: lead bytes without a trail byte, bytes that nothing begins with.
Alphabet WithStrays(Alphabet characters)
{
    for (u8 byte : Bytes{0x80, 0x81, 0x82, 0x88, 0xA0, 0xB6, 0xDE, 0xE3, 0xEC, 0xFC, 0xFF, 0xC3, 0x00}) {
        characters.push_back({byte});
    }
    characters.push_back({0xE3, 0x81});
    return characters;
}

TEST(SearchText, EveryPairOfTextsIsAsTheModelHasIt)
{
    ExpectAsModel(kSjisFamily, kSjisCharacters, kSjisCharacters, 1500, 1);
    ExpectAsModel(kSjis2Family, kSjisCharacters, kSjisCharacters, 300, 2);
    ExpectAsModel(kUtf8Family, kUtf8Characters, kUtf8Characters, 1500, 3);
}

TEST(SearchText, StrayBytesOfACardAreCharactersOfTheirOwn)
{
    ExpectAsModel(kSjisFamily, WithStrays(kSjisCharacters), kSjisCharacters, 1500, 4);
    ExpectAsModel(kUtf8Family, WithStrays(kUtf8Characters), kUtf8Characters, 1500, 5);
}

TEST(SearchText, FewLettersMakeManyBeginningsAndRepeats)
{
    const Alphabet few = {B("a"), B("A"), B("b")};
    for (const TextFamily& family : kLanguageFamilies) { ExpectAsModel(family, few, few, 800, 6); }
    // All cards of up to five letters against all conditions of up to three.
    std::vector<Bytes> words = {{}};
    for (size_t n = 0; n < words.size() && words[n].size() < 5; ++n) {
        words.push_back(words[n] + B("a"));
        words.push_back(words[n] + B("B"));
    }
    for (const Bytes& card : words) {
        for (const Bytes& cond : words) {
            if (cond.size() <= 3) { ExpectAsModel(kUtf8Family, card, cond); }
        }
    }
}

TEST(SearchText, LettersAreEqualInEveryFormByLanguageOnly)
{
    for (const TextFamily& family : kLanguageFamilies) {
        EXPECT_TRUE(Ask(family, kEquals, B("ABC"), B("abc"))) << family.name;
    }
    EXPECT_FALSE(Ask(kBinaryFamily, kEquals, B("ABC"), B("abc")));
}

TEST(SearchText, ACardThatGoesOnBeginsWithTheConditionAndLiesAboveIt)
{
    for (const TextFamily& family : kLanguageFamilies) {
        SCOPED_TRACE(family.name);
        EXPECT_EQ(CallText(family.c, family, B("abc"), B("ab")), 129u);
        EXPECT_FALSE(Ask(family, kEquals, B("abc"), B("ab")));
        for (u8 op : {kBegins, kContains, kUpTo, kAbove, kAtLeast}) {
            EXPECT_TRUE(Ask(family, op, B("abc"), B("ab"))) << unsigned{op};
        }
        EXPECT_FALSE(Ask(family, kAtMost, B("abc"), B("ab")));
        EXPECT_FALSE(Ask(family, kBelow, B("abc"), B("ab")));
    }
}

TEST(SearchText, ACardThatEndsFirstLiesBelow)
{
    for (const TextFamily& family : kLanguageFamilies) {
        SCOPED_TRACE(family.name);
        EXPECT_EQ(CallText(family.a, family, B("ab"), B("abc")), 127u);
        EXPECT_EQ(CallText(family.c, family, B("ab"), B("abc")), 127u);
        for (u8 op : {kUpTo, kBelow, kAtMost}) {
            EXPECT_TRUE(Ask(family, op, B("ab"), B("abc"))) << unsigned{op};
        }
        for (u8 op : {kEquals, kBegins, kContains, kAbove, kAtLeast}) {
            EXPECT_FALSE(Ask(family, op, B("ab"), B("abc"))) << unsigned{op};
        }
    }
}

TEST(SearchText, AnEmptyCardHoldsTheEmptyTextAlone)
{
    for (const TextFamily& family : kLanguageFamilies) {
        SCOPED_TRACE(family.name);
        for (u8 op : {kEquals, kBegins, kContains, kUpTo, kAtLeast, kAtMost}) {
            EXPECT_TRUE(Ask(family, op, {}, {})) << unsigned{op};
        }
        EXPECT_FALSE(Ask(family, kContains, {}, B("a")));
        EXPECT_FALSE(Ask(family, kBegins, {}, B("a")));
        EXPECT_FALSE(Ask(family, kEquals, {}, B("a")));
        EXPECT_TRUE(Ask(family, kBelow, {}, B("a")));
        EXPECT_TRUE(Ask(family, kContains, B("a"), {}));
        EXPECT_TRUE(Ask(family, kBegins, B("a"), {}));
        EXPECT_TRUE(Ask(family, kAbove, B("a"), {}));
    }
}

TEST(SearchText, TheTieOfVoicedKanaCountsInTheOrderOfShiftJisAlone)
{
    EXPECT_TRUE(Ask(kSjisFamily, kEquals, sj::kKa, sj::kGa));
    EXPECT_EQ(CallText(SearchCmpStringSubC, kSjisFamily, sj::kKa, sj::kGa), 127u);
    EXPECT_TRUE(Ask(kSjisFamily, kAtMost, sj::kKa, sj::kGa));
    EXPECT_FALSE(Ask(kSjisFamily, kAtLeast, sj::kKa, sj::kGa));
    EXPECT_EQ(CallText(SearchCmpStringSubC, kSjisFamily, sj::kGa, sj::kKa), 129u);
    EXPECT_TRUE(Ask(kUtf8Family, kAtMost, u8t::kKa, u8t::kGa));
    EXPECT_TRUE(Ask(kUtf8Family, kAtLeast, u8t::kKa, u8t::kGa));
    // The first pair decides, and a later letter outranks it.
    EXPECT_EQ(CallText(SearchCmpStringSubC, kSjisFamily, sj::kKa + sj::kGa, sj::kGa + sj::kKa), 127u);
    EXPECT_EQ(CallText(SearchCmpStringSubC, kSjisFamily, sj::kKa + B("b"), sj::kGa + B("a")), 130u);
    EXPECT_EQ(CallText(SearchCmpStringSubC, kSjisFamily, sj::kKa + B("b"), sj::kGa), 129u);
}

TEST(SearchText, AMatchMayLeanOnThePlaceWhereAnEarlierOneBroke)
{
    for (const TextFamily& family : kLanguageFamilies) {
        SCOPED_TRACE(family.name);
        EXPECT_TRUE(Ask(family, kContains, B("aab"), B("ab")));
        EXPECT_TRUE(Ask(family, kContains, B("ababac"), B("abac")));
        EXPECT_TRUE(Ask(family, kContains, B("xyA"), B("a")));
        EXPECT_FALSE(Ask(family, kContains, B("aaa"), B("aab")));
        // The first letter on the last byte of the card.
        EXPECT_FALSE(Ask(family, kContains, B("xa"), B("ab")));
    }
}

TEST(SearchText, AMatchBeginsWithACharacterAndNotInsideOne)
{
    // The trail byte of this character is an "A".
    EXPECT_FALSE(Ask(kSjisFamily, kContains, Bytes{0x83, 0x41}, B("A")));
    EXPECT_TRUE(Ask(kSjisFamily, kContains, Bytes{0x83, 0x41} + B("a"), B("A")));
    EXPECT_TRUE(Ask(kSjisFamily, kContains, sj::kHalfGa, sj::kKa));
}

TEST(SearchText, TheEndOfAConditionIsALowByteInShiftJisAndACodeInUtf8)
{
    // Codes that no text has, but that tell the two tests apart.
    const Bytes a = B("A");
    ASSERT_EQ(CodesOf(a, false).size(), 1u);
    const Bytes one = CodeData({CodesOf(a, false)[0], 0x2100});
    EXPECT_EQ(CallShape(SearchCmpStringSubA, kSjisFamily, a, one), 128u);
    EXPECT_EQ(CallShape(SearchCmpStringSubB, kSjisFamily, a, one), 1u);
    const Bytes oneUtf8 = CodeData({CodesOf(a, true)[0], 0x2100});
    EXPECT_EQ(CallShape(SearchCmpStringSubAUtf8, kUtf8Family, a, oneUtf8), 127u);
    EXPECT_EQ(CallShape(SearchCmpStringSubBUtf8, kUtf8Family, a, oneUtf8), 0u);
    EXPECT_EQ(CallShape(SearchCmpStringSubB, kSjisFamily, a, CodeData({0x2100})), 1u);
    EXPECT_EQ(CallShape(SearchCmpStringSubBUtf8, kUtf8Family, a, CodeData({0x2100})), 0u);
    // While the card goes on, both bytes count.
    EXPECT_EQ(CallShape(SearchCmpStringSubA, kSjisFamily, a + B("z"), one), 130u);
}

TEST(SearchText, OfALongTextTheLengthCounts)
{
    const Bytes card = Bytes(65534, 'a') + B("b");
    for (const TextFamily& family : kLanguageFamilies) {
        EXPECT_TRUE(Ask(family, kContains, card, B("AB"))) << family.name;
        EXPECT_FALSE(Ask(family, kContains, card, B("ba"))) << family.name;
    }
}

TEST(SearchText, AnOperatorWithoutAMeaningIsReportedAndFalse)
{
    for (u32 op = 0; op < 256; ++op) {
        const bool known = (op >= 0x90 && op <= 0x92) || (op >= 0x97 && op <= 0x9B);
        char line[64];
        (void)snprintf(line, sizeof line, "SearchCmpString: unknown search code %x\n", op);
        for (const TextFamily* family : {&kSjisFamily, &kUtf8Family}) {
            boxtest::Captured captured;
            const bool answer = Ask(*family, static_cast<u8>(op), B("b"), B("b"));
            EXPECT_EQ(captured.text(), known ? "" : line);
            EXPECT_EQ(answer, known && op != 0x99 && op != 0x9B) << op;
        }
        for (const TextFamily* family : {&kCrLfFamily, &kBinaryFamily}) {
            boxtest::Captured captured;
            const bool answer = Ask(*family, static_cast<u8>(op), B("b"), B("b"));
            EXPECT_EQ(captured.text(), "");
            EXPECT_EQ(answer, known && op != 0x99 && op != 0x9B) << op;
        }
    }
}

}  // namespace
