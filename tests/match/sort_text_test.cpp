// SPDX-License-Identifier: MIT
// Texts against the pivot: by language and in binary order, and where 64 bytes end.
#include "tests/match/sort_case.h"
#include "tests/match/texts.h"

namespace {

using namespace sorttest;

constexpr u32 kSjis = 1;
constexpr u32 kUtf8 = 17;
const std::vector<u8> kAll = {0x80, 0x81, 0x82, 0x83, 0x8C, 0x8D};

using SortText = SortCase;

TEST_F(SortText, EmptyIsLowestUpwardsAndHighestDownwards)
{
    for (u32 type : {1u, 16u, 17u}) {
        expectOrder(type, {0x80, 0x82, 0x8C}, {0x81, 0x83, 0x8D}, {{{}}, {B("a")}, {B("ab")}, {B("b")}});
    }
}

TEST_F(SortText, ByLanguageOneLetterIsOneLetterAndItsFormsBreakTheTie)
{
    // Half-width before full-width, small letters before capitals.
    const std::vector<std::vector<Bytes>> letters = {
        {B("a")}, {{0x82, 0x81}}, {B("A")}, {{0x82, 0x60}}, {B("b")}};
    expectOrder(1, {0x80}, {0x81}, letters);
    expectOrder(16, {0x80}, {0x81}, letters);
    // Half-width, hiragana, katakana; plain before voiced.
    expectOrder(1, {0x80}, {0x81},
                {{sjis::kHalfKa},
                 {sjis::kKa},
                 {sjis::kKataKa},
                 {sjis::kHalfGa},
                 {sjis::kGa},
                 {sjis::kKataGa},
                 {sjis::kKi}});
}

TEST_F(SortText, InUtf8TheCapitalComesFirst)
{
    expectOrder(17, {0x80}, {0x81},
                {{B("A")}, {B("a")}, {B("\xC3\xA1")}, {B("\xEF\xBC\xA1")}, {B("\xEF\xBD\x81")}, {B("B")}});
    expectOrder(17, {0x80}, {0x81},
                {{utf8::kHalfKa}, {utf8::kKa}, {utf8::kKataKa}, {utf8::kGa}, {utf8::kKataGa}, {utf8::kKi}});
}

TEST_F(SortText, TheTieIsBrokenByTheFirstPairThatDiffers)
{
    EXPECT_EQ(compare(kSjis, 0x80, B("abc"), B("ABC")), 127u);
    EXPECT_EQ(compare(kUtf8, 0x80, B("abc"), B("ABC")), 129u);
    EXPECT_EQ(compare(kSjis, 0x80, B("aBC"), B("abc")), 129u);
    EXPECT_EQ(compare(kSjis, 0x80, B("aBc"), B("abC")), 129u);
    EXPECT_EQ(compare(kUtf8, 0x80, B("aBc"), B("abC")), 127u);
    EXPECT_EQ(compare(kSjis, 0x81, B("aBc"), B("abC")), 127u);
}

TEST_F(SortText, HalfWidthVoicedKanaComeBehindPlainHiragana)
{
    EXPECT_EQ(compare(kSjis, 0x80, sjis::kKa, sjis::kHalfGa), 127u);
    EXPECT_EQ(compare(kSjis, 0x80, sjis::kHalfGa, sjis::kKa), 129u);
    // Not so the letters behind them.
    EXPECT_EQ(compare(kSjis, 0x80, sjis::kHalfGa + B("a"), sjis::kKa + B("b")), 127u);
}

TEST_F(SortText, LengthOutranksEveryTie)
{
    EXPECT_EQ(compare(kSjis, 0x80, B("aB"), B("Abc")), 127u);
    EXPECT_EQ(compare(kSjis, 0x80, B("Abc"), B("aB")), 129u);
    EXPECT_EQ(compare(kUtf8, 0x80, B("aB"), B("Abc")), 127u);
    EXPECT_EQ(compare(kUtf8, 0x80, B("Abc"), B("aB")), 129u);
}

TEST_F(SortText, InBinaryOrderEveryByteCounts)
{
    expectOrder(1, {0x82, 0x8C}, {0x83, 0x8D},
                {{B("A")},
                 {B("AB")},
                 {B("a")},
                 {B("ab")},
                 {B("ab") + Bytes{0}},
                 {B("b")},
                 {sjis::kGa},
                 {sjis::kKataKa}});
}

TEST_F(SortText, InBinaryOrderAPairIsAboveItsFirstByteAlone)
{
    // The first character decides before the bytes do: a byte that begins no pair counts without the next.
    expectOrder(1, {0x82, 0x8C}, {0x83, 0x8D},
                {{{0xB6}}, {{0xB6, 'a'}}, {{0xB6, 0xDF}}, {{0xB6, 0xDE}}, {{0xB6, 0xDE, 'a'}}, {{0xB7}}});
}

TEST_F(SortText, InBinaryOrderUtf8GoesByCodePoints)
{
    expectOrder(
        17, {0x82, 0x8C}, {0x83, 0x8D},
        {{B("A")}, {B("a")}, {B("\xC3\xA1")}, {B("\xE3\x81\x82")}, {B("\xE4\xB8\x80")}, {B("\xEF\xBD\x81")}});
    // What is malformed is one code point, however many bytes it takes.
    expectOrder(
        17, {0x82, 0x8C}, {0x83, 0x8D},
        {{B("\xEF\xBD\x81")},
         {B("\xF0"), B("\x80"), B("\xE3"), B("\xE3\x81"), B("\xC3"), B("\xE3\x41\x41"), B("\xC3\x41")},
         {B("\xF0\xF0"), B("\xE3\x41\x41\xC3"), B("\xC3\x41\x80")}});
}

TEST_F(SortText, ALoneFirstByteAtTheEndIsNotCompared)
{
    EXPECT_EQ(compare(kSjis, 0x80, B("a") + Bytes{0x88}, B("a") + Bytes{0x89}), 128u);
    EXPECT_EQ(compare(kSjis, 0x80, B("a") + Bytes{0x88}, B("a")), 129u);
    EXPECT_EQ(compare(kSjis, 0x80, B("a"), B("a") + Bytes{0x88}), 127u);
    EXPECT_EQ(compare(kSjis, 0x80, B("A") + Bytes{0x88}, B("a") + Bytes{0x88}), 128u);
}

// --- beyond 64 bytes -------------------------------------------------------------------------------------

// Texts of which the heads are equal, shortest first.
std::vector<std::vector<Bytes>> Lengths(const Bytes& letter)
{
    const Bytes text = Repeat(letter, 700);
    std::vector<std::vector<Bytes>> groups;
    const size_t size = letter.size();
    for (size_t length :
         {62u, 63u, 64u, 65u, 66u, 67u, 68u, 128u, 129u, 575u, 576u, 577u, 578u, 579u, 700u}) {
        const Bytes part = boxtest::Slice(text, 0, length / size * size);
        if (groups.empty() || groups.back().front() != part) { groups.push_back({part}); }
    }
    return groups;
}

TEST_F(SortText, TheLongerOfEqualTextsIsAbove)
{
    for (const Bytes& letter : {B("a"), sjis::kKa}) {
        expectOrder(kSjis, {0x80, 0x82, 0x8C}, {0x81, 0x83, 0x8D}, Lengths(letter));
    }
    for (const Bytes& letter : {B("a"), B("\xC3\xA1"), utf8::kKa}) {
        expectOrder(kUtf8, {0x80, 0x82, 0x8C}, {0x81, 0x83, 0x8D}, Lengths(letter));
    }
}

// One letter in the midst of others, at each place around the limit.
TEST_F(SortText, ALetterCountsAsAWholeWhereverTheLimitCutsIt)
{
    for (size_t at = 58; at <= 68; ++at) {
        const Bytes before(at, 'x');
        for (const Bytes& behind : {Bytes{}, B("y"), Bytes(20, 'y'), Bytes(600, 'y')}) {
            const auto group = [&](const Bytes& letter) {
                return std::vector<Bytes>{before + letter + behind};
            };
            expectOrder(kSjis, {0x80}, {0x81},
                        {group(sjis::kKa), group(sjis::kKi), group(sjis::kKanji1), group(sjis::kKanji2)});
            expectOrder(kUtf8, {0x80}, {0x81},
                        {group(utf8::kKa), group(utf8::kKi), group(utf8::kKanji1), group(utf8::kKanji2)});
            expectOrder(kUtf8, {0x82, 0x8C}, {0x83, 0x8D},
                        {group(utf8::kE), group(utf8::kKa), group(utf8::kGa), group(utf8::kKi),
                         group(utf8::kKanji1), group(utf8::kKanji2)});
        }
    }
}

TEST_F(SortText, ATieAroundTheLimitIsBrokenByWholeCharacters)
{
    for (size_t at = 58; at <= 68; ++at) {
        const Bytes before(at, 'x');
        for (const Bytes& behind : {Bytes{}, B("y"), Bytes(600, 'y')}) {
            const auto group = [&](const Bytes& letter) {
                return std::vector<Bytes>{before + letter + behind};
            };
            expectOrder(kUtf8, {0x80}, {0x81},
                        {group(utf8::kHalfKa), group(utf8::kKa), group(utf8::kKataKa), group(utf8::kGa),
                         group(utf8::kKataGa)});
            expectOrder(kSjis, {0x80}, {0x81}, {group(sjis::kKa), group(sjis::kKataKa)});
        }
    }
}

TEST_F(SortText, AFirstByteAtTheLimitBreaksTheTieWithAStandInBehindIt)
{
    // Hiragana is above half-width kana where both are whole; cut, 82 41 stands for it, which is a symbol.
    const Bytes whole = sjis::kKa + Bytes(62, 'x');
    const Bytes half = sjis::kHalfKa + Bytes(62, 'x');
    EXPECT_EQ(compare(kSjis, 0x80, whole + B("zz"), half + B("zz")), 129u);
    const Bytes cut = Bytes(63, 'x') + sjis::kKa + B("z");
    const Bytes plain = Bytes(63, 'x') + sjis::kHalfKa + B("z");
    EXPECT_EQ(compare(kSjis, 0x80, cut, plain), 127u);
    EXPECT_EQ(compare(kSjis, 0x80, plain, cut), 129u);
}

TEST_F(SortText, HeadsOfUnlikeWidthLeaveMoreThanOneByteUnused)
{
    // The same letters, half-width against two and three bytes each: one head is used up at its middle.
    const Bytes tail = B("the end");
    for (size_t count : {30u, 33u, 40u, 64u, 65u, 70u, 300u}) {
        const Bytes narrow = Repeat(sjis::kHalfKa, count);
        const Bytes wide = Repeat(sjis::kKa, count);
        EXPECT_EQ(compare(kSjis, 0x80, narrow + tail, wide + tail), 127u) << count;
        EXPECT_EQ(compare(kSjis, 0x80, wide + tail, narrow + tail), 129u) << count;
        EXPECT_EQ(compare(kSjis, 0x80, narrow + B("b"), wide + B("a")), 129u) << count;
        EXPECT_EQ(compare(kSjis, 0x80, wide + B("a"), narrow + B("b")), 127u) << count;
        EXPECT_EQ(compare(kSjis, 0x80, wide, narrow + B("b")), 127u) << count;
        EXPECT_EQ(compare(kSjis, 0x80, narrow + B("b"), wide), 129u) << count;

        const Bytes small = Repeat(B("A"), count);
        const Bytes big = Repeat(B("\xEF\xBC\xA1"), count);
        EXPECT_EQ(compare(kUtf8, 0x80, small + tail, big + tail), 127u) << count;
        EXPECT_EQ(compare(kUtf8, 0x80, big + tail, small + tail), 129u) << count;
        EXPECT_EQ(compare(kUtf8, 0x80, small + B("b"), big + B("a")), 129u) << count;
        EXPECT_EQ(compare(kUtf8, 0x80, big + B("a"), small + B("b")), 127u) << count;
        EXPECT_EQ(compare(kUtf8, 0x80, big, small + B("b")), 127u) << count;
    }
}

TEST_F(SortText, AStraddlingCharacterMeetsOneThatDoesNot)
{
    // One letter in forms of one, two and three bytes moves all behind it against the limit.
    const Bytes behind = Repeat(utf8::kKa, 30);
    const std::vector<Bytes> forms = {B("a"), B("\xC3\xA1"), B("\xEF\xBC\xA1")};
    for (const Bytes& end : {Bytes{}, B("b")}) {
        expectOrder(kUtf8, {0x80}, {0x81},
                    {{forms[0] + behind + end}, {forms[1] + behind + end}, {forms[2] + behind + end}});
        for (const Bytes& form : forms) {
            expectOrder(kUtf8, {0x80}, {0x81}, {{form + behind + end}, {forms[0] + behind + end + B("c")}});
            expectOrder(kUtf8, {0x80}, {0x81},
                        {{form + behind + utf8::kKa}, {forms[0] + behind + utf8::kKi}});
        }
    }
}

TEST_F(SortText, TheEndOfATextIsNoLimitThatCuts)
{
    // A text whose last character is cut off for good, at 64 bytes and elsewhere, is above its beginning.
    for (size_t at : {10u, 61u, 62u, 63u, 64u, 100u}) {
        const Bytes before(at, 'x');
        for (u8 code : {u8{0x80}, u8{0x82}}) {
            const Bytes cut = before + B("\xE3\x81");
            EXPECT_EQ(compare(kUtf8, code, cut, before), 129u) << at;
            EXPECT_EQ(compare(kUtf8, code, before, cut), 127u) << at;
            EXPECT_EQ(compare(kUtf8, code, cut, before + B("\xE3\x81")), 128u) << at;
            EXPECT_EQ(compare(kUtf8, code, cut, before + B("\xE3")), 128u) << at;
        }
        EXPECT_EQ(compare(kUtf8, 0x82, before + B("\xE3\x81"), before + utf8::kKa), 129u) << at;
        EXPECT_EQ(compare(kUtf8, 0x82, before + utf8::kKa, before + B("\xE3\x81")), 127u) << at;
    }
}

TEST_F(SortText, ALongCompareLeavesTheUnusedBytesInTheTail)
{
    storeValues(kSjis, {Bytes(63, 'a') + sjis::kKa + B("z"), Bytes(63, 'a') + sjis::kKa + B("zyx")});
    Pivot pivot(kSjis, 0x80);
    ASSERT_NE(MakeSortCondition(fid(), at(1), pivot.keys()), 0u);
    EXPECT_EQ(Bytes(pivot->tail, pivot->tail + 4), (Bytes{sjis::kKa[1], 'z', 'y', 'x'}));
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(SortCmpCard(fid(), at(0), pivot.keys()), 127);
        EXPECT_EQ(Bytes(pivot->tail, pivot->tail + 5), sjis::kKa + B("zyx"));
    }
}

TEST_F(SortText, AShortCompareLeavesTheTailAlone)
{
    storeValues(kUtf8, {B("b"), Bytes(64, 'a') + B("tail")});
    for (u8 code : kAll) {
        Pivot pivot(kUtf8, code);
        ASSERT_NE(MakeSortCondition(fid(), at(1), pivot.keys()), 0u);
        const u8* tail = pivot->tail;
        EXPECT_NE(SortCmpCard(fid(), at(0), pivot.keys()), 128);
        EXPECT_EQ(pivot->tail, tail);
    }
}

TEST_F(SortText, TextsTakePartWithTheirFirst65535Bytes)
{
    const Bytes text(65535, 'a');
    for (u32 type : {kSjis, kUtf8}) {
        storeValues(type, {boxtest::Slice(text, 0, 65534), text, text + B("a"), text + B("b"), text + text});
        for (u8 code : {u8{0x80}, u8{0x82}}) {
            EXPECT_EQ(compareStored(type, code, 0, 1), 127u);
            EXPECT_EQ(compareStored(type, code, 1, 0), 129u);
            for (size_t card = 1; card < 5; ++card) {
                for (size_t pivotCard = 1; pivotCard < 5; ++pivotCard) {
                    EXPECT_EQ(compareStored(type, code, card, pivotCard), 128u) << card << ' ' << pivotCard;
                }
            }
        }
    }
}

TEST_F(SortText, ATextThatEndsBeforeItsLengthFails)
{
    // The card is good when the pivot is loaded; then the file loses its end.
    for (u32 type : {kSjis, kUtf8}) {
        for (u8 code : kAll) {
            storeValues(type, {Bytes(300, 'a') + B("b"), Bytes(300, 'a')});
            Pivot pivot(type, code);
            ASSERT_NE(MakeSortCondition(fid(), at(1), pivot.keys()), 0u);
            ASSERT_EQ(BxdFileCut(fid(), static_cast<u32>(at(0)) + 300), 0u);
            EXPECT_EQ(SortCmpCard(fid(), at(0), pivot.keys()), 0);
        }
    }
}

}  // namespace
