// SPDX-License-Identifier: MIT
// The compares of two ranges in memory: what they use, what they leave, and how the tie comes about.
#include <memory>

#include "match/bxd_sort_cmp_text.h"
#include "tests/match/texts.h"

namespace {

using namespace sorttest;
using boxtest::B;
using boxtest::Bytes;
using boxtest::operator+;

// A range that ends where its block ends.
class Range {
public:
    explicit Range(const Bytes& bytes) : size_(static_cast<u32>(bytes.size())), bytes_(new u8[bytes.size()])
    {
        std::copy(bytes.begin(), bytes.end(), bytes_.get());
    }
    const u8* data() const { return bytes_.get(); }
    u32 size() const { return size_; }

private:
    u32 size_;
    std::unique_ptr<u8[]> bytes_;
};

struct Outcome {
    u32 result;
    u32 leftA;
    u32 leftB;
    u32 tie;

    bool operator==(const Outcome&) const = default;
};

template <typename Compare>
Outcome CompareRanges(Compare compare, const Bytes& a, const Bytes& b, u16 tie = 128)
{
    const Range rangeA(a);
    const Range rangeB(b);
    u32 leftA = rangeA.size();
    u32 leftB = rangeB.size();
    const u32 result = compare(rangeA.data(), rangeB.data(), &leftA, &leftB, &tie);
    return {result, leftA, leftB, tie};
}

TEST(SortRanges, EqualOnesAreUsedUp)
{
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("abc"), B("abc")), (Outcome{128, 0, 0, 128}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("a"), B("a")), (Outcome{128, 0, 0, 128}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, {}, B("a")), (Outcome{128, 0, 1, 128}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("abcd"), B("ab")), (Outcome{128, 2, 0, 128}));
    EXPECT_EQ(CompareRanges(SortStrCmpExUtf8, utf8::kKa + B("b"), utf8::kKa), (Outcome{128, 1, 0, 128}));
    EXPECT_EQ(CompareRanges(SortStrCmpExUtf8, {}, {}), (Outcome{128, 0, 0, 128}));
}

TEST(SortRanges, TheFirstTieIsKept)
{
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("aBc"), B("AbC")), (Outcome{128, 0, 0, 127}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("a"), B("A")), (Outcome{128, 0, 0, 127}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("a"), B("A"), 129), (Outcome{128, 0, 0, 129}));
    EXPECT_EQ(CompareRanges(SortStrCmpExUtf8, B("aB"), B("Ab")), (Outcome{128, 0, 0, 129}));
    EXPECT_EQ(CompareRanges(SortStrCmpExUtf8, B("aB"), B("Ab"), 127), (Outcome{128, 0, 0, 127}));
}

TEST(SortRanges, ADifferenceLeavesTheLengthsUnlessTheLastByteMakesIt)
{
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("axc"), B("Ayc")), (Outcome{127, 3, 3, 127}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("ay"), B("ax")), (Outcome{129, 0, 0, 129}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("yx"), B("xx")), (Outcome{129, 2, 2, 129}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("ab"), B("aac")), (Outcome{129, 0, 1, 129}));
    EXPECT_EQ(CompareRanges(SortStrCmpExUtf8, B("ab"), B("aac")), (Outcome{129, 2, 3, 129}));
}

TEST(SortRanges, ALastPairMeetsALastByte)
{
    EXPECT_EQ(CompareRanges(SortStrCmpEx, sjis::kKa, sjis::kHalfKa), (Outcome{128, 0, 0, 129}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, sjis::kHalfKa, sjis::kHalfGa + B("x")), (Outcome{128, 0, 1, 127}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, B("a"), B("Axy")), (Outcome{128, 0, 2, 127}));
}

TEST(SortRanges, ACutPairStaysAndItsStandInMakesTheTie)
{
    // 82 41 stands for the pair: a symbol, below every kana.
    EXPECT_EQ(CompareRanges(SortStrCmpEx, {0x82}, {0x82}), (Outcome{128, 1, 1, 128}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, {'a', 0x82}, {'a', 0x82}), (Outcome{128, 1, 1, 128}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, {0x82}, sjis::kHalfKa), (Outcome{128, 1, 1, 127}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, sjis::kKa + B("xyz"), {0x82}), (Outcome{128, 5, 1, 129}));
    EXPECT_EQ(CompareRanges(SortStrCmpEx, sjis::kKa + B("xyz"), {0x82}, 127), (Outcome{128, 5, 1, 127}));
}

TEST(SortRanges, ACharacterOfUtf8ThatIsCutTakesWhatIsLeft)
{
    EXPECT_EQ(CompareRanges(SortStrCmpExUtf8, B("a\xE3\x81"), B("a\xC3")), (Outcome{128, 0, 0, 128}));
    EXPECT_EQ(CompareRanges(SortStrCmpExUtf8, B("\xE3"), B("\xF0x")), (Outcome{128, 0, 1, 128}));
}

TEST(SortRanges, InBinaryOrderWhatEndsFirstIsBelow)
{
    const auto bytes = [](const Bytes& a, const Bytes& b) {
        const Range x(a);
        const Range y(b);
        return SortBinStrCmp(x.data(), y.data(), x.size(), y.size());
    };
    const auto points = [](const Bytes& a, const Bytes& b) {
        const Range x(a);
        const Range y(b);
        return SortBinStrCmpUtf8(x.data(), y.data(), x.size(), y.size());
    };
    EXPECT_EQ(bytes({}, {}), 128u);
    EXPECT_EQ(bytes(B("a"), B("ab")), 127u);
    EXPECT_EQ(bytes(B("ab"), B("a")), 129u);
    EXPECT_EQ(bytes({0x80}, {0x7F, 1}), 129u);
    EXPECT_EQ(points({}, {}), 128u);
    EXPECT_EQ(points(B("a"), B("ab")), 127u);
    EXPECT_EQ(points(B("ab"), B("a")), 129u);
    EXPECT_EQ(points(B("\xF0"), utf8::kKanji2), 129u);
    EXPECT_EQ(points(B("\xE3\x81"), B("\xEF\xBF\xBD")), 128u);
}

}  // namespace
