// SPDX-License-Identifier: MIT
// Texts of search conditions: where they end, how much room they take, and what of them is read.
#include "tests/match/condition_case.h"

namespace {

using namespace condtest;

struct Text {
    u32 left;
    Bytes compiled;  // from the length on
    size_t read;
};

// One text, behind a test's head, within exactly `budget` bytes. `text` is all that may be read.
Text Compile(const Bytes& text, u8 kind, u8 valueType, u16 budget)
{
    const Exactly room(Bytes{kind, 0x90, valueType} + Bytes(budget, 0xCC));
    const Exactly source(text);
    const u8* in = source.data();
    u8* out = room.data() + 3;
    const u32 left = SearchConvString(&in, &out, budget);
    const Text result{left, Bytes(room.data() + 3, out), static_cast<size_t>(in - source.data())};
    if (left == 0) {
        EXPECT_TRUE(result.compiled.empty());
        EXPECT_EQ(result.read, 0u);
    } else {
        EXPECT_EQ(result.compiled.size() + left, budget);
        EXPECT_EQ(out[0], 0xCC);
    }
    return result;
}

Bytes Ended(const std::string& text) { return B(text) + Bytes{0}; }

TEST(ConditionText, GivesWhatIsLeftOfTheBudget)
{
    const Text codes = Compile(Ended("abc"), 0x15, 1, 100);
    EXPECT_EQ(codes.left, 90u);
    EXPECT_EQ(codes.compiled, Codes("abc"));
    EXPECT_EQ(codes.read, 3u);
    const Text bytes = Compile(Ended("abc"), 0x95, 1, 100);
    EXPECT_EQ(bytes.left, 94u);
    EXPECT_EQ(bytes.compiled, Raw("abc"));
    EXPECT_EQ(bytes.read, 3u);
}

TEST(ConditionText, LeavesAByteAtLeastForTheTerminator)
{
    for (u16 budget = 0; budget <= 14; ++budget) {
        const u32 byCode = budget > 10 ? budget - 10u : 0;
        const u32 binary = budget > 6 ? budget - 6u : 0;
        EXPECT_EQ(Compile(Ended("abc"), 0x15, 1, budget).left, byCode) << budget;
        EXPECT_EQ(Compile(Ended("abc"), 0x15, 17, budget).left, byCode) << budget;
        EXPECT_EQ(Compile(Ended("abc"), 0x95, 1, budget).left, binary) << budget;
        EXPECT_EQ(Compile(Ended(""), 0x15, 1, budget).left, budget > 4 ? budget - 4u : 0) << budget;
        EXPECT_EQ(Compile(Ended(""), 0x95, 1, budget).left, budget > 3 ? budget - 3u : 0) << budget;
    }
    const std::string longest(65530, 'x');
    EXPECT_EQ(Compile(Ended(longest), 0x95, 1, 65535).left, 2u);
    EXPECT_EQ(Compile(Ended(longest + "xx"), 0x95, 1, 65535).left, 0u);
}

TEST(ConditionText, EveryKindButTheBinaryOneIsByCode)
{
    EXPECT_EQ(Compile(Ended("abc"), 0x00, 1, 100).compiled, Codes("abc"));
    EXPECT_EQ(Compile(Ended("\x82\xA0"), 0x15, 12, 100).compiled, Codes("\x82\xA0"));
}

TEST(ConditionText, AnOperatorEndsItAndIsNotRead)
{
    const Bytes text = B("ab") + Bytes{0xFE, 0x9F, 'c', 0};
    for (const u8 kind : {u8{0x15}, u8{0x95}}) {
        for (const u8 type : {u8{1}, u8{16}, u8{17}}) { EXPECT_EQ(Compile(text, kind, type, 100).read, 2u); }
    }
    EXPECT_EQ(Compile({0xFE, 0x00}, 0x95, 1, 100).read, 0u);
}

TEST(ConditionText, AByteOfAPairIsNoMark)
{
    // The pairs whose second byte is FE go on whatever follows; there are none but behind F0 to FE.
    for (u32 lead = 1; lead < 256; ++lead) {
        const u8 first = static_cast<u8>(lead);
        const bool pair = Is2byte(static_cast<u16>(first | 0xFE00)) != 0;
        const Bytes text = {first, 0xFE, 0x90, 'x', 0};
        const size_t end = first == 0xFE ? (pair ? 4 : 1) : (pair ? 4 : 1);
        EXPECT_EQ(Compile(text, 0x95, 1, 100).read, end) << lead;
        if (first != 0xFE) { EXPECT_EQ(Compile(text, 0x95, 17, 100).read, 1u) << lead; }
    }
    const Bytes pairs = {0x81, 0x40, 0xE0, 0xFC, 0x88, 0x9F, 0};
    EXPECT_EQ(Compile(pairs, 0x95, 1, 100).compiled, WithLength(pairs));
}

TEST(ConditionText, TheTerminatorEndsACutCharacter)
{
    for (u32 lead = 0x80; lead < 256; ++lead) {
        const u8 first = static_cast<u8>(lead);
        if (first == 0xFE) { continue; }  // with a 0 it is no character
        for (const u8 type : {u8{1}, u8{17}}) {
            const Text one = Compile({first, 0}, 0x15, type, 100);
            EXPECT_EQ(one.read, 1u) << lead;
            EXPECT_EQ(one.compiled.size(), 6u) << lead;
            EXPECT_EQ(Compile({first, 0}, 0x95, type, 100).compiled, WithLength({first, 0})) << lead;
        }
    }
    u16 used = 0;
    const u32 cut = SortConvCharUtf8(reinterpret_cast<const u8*>("\xE3\x81"), &used);
    const Bytes code = {static_cast<u8>(cut), static_cast<u8>(cut >> 8), 0, 0};
    EXPECT_EQ(Compile({0xE3, 0x81, 0}, 0x15, 17, 100).compiled, WithLength(code));
    EXPECT_EQ(Compile({0xE3, 0x81, 0}, 0x15, 17, 100).read, 2u);
    EXPECT_EQ(Compile({0xE3, 0}, 0x15, 17, 100).compiled, WithLength(code));
}

TEST(ConditionText, EveryCharacterGetsTheCodeOfTheConverters)
{
    for (u32 first = 1; first < 256; ++first) {
        for (u32 second = 1; second < 256; second += 3) {
            const std::string text = {'a', static_cast<char>(first), static_cast<char>(second), 'b'};
            if (first == 0xFE && second < 0xA0) { continue; }
            if (second == 0xFE) { continue; }
            ASSERT_EQ(Compile(Ended(text), 0x15, 1, 100).compiled, Codes(text)) << first << ' ' << second;
        }
    }
    for (u32 point = 0x80; point < 0x10000; point += 37) {
        std::string text = "a";
        if (point >= 0x800) { text += static_cast<char>(0xE0 | point >> 12); }
        text += static_cast<char>(point >= 0x800 ? 0x80 | (point >> 6 & 0x3F) : 0xC0 | point >> 6);
        text += static_cast<char>(0x80 | (point & 0x3F));
        ASSERT_EQ(Compile(Ended(text), 0x15, 17, 100).compiled, Codes(text, 17)) << point;
    }
}

// --- the end of a condition ------------------------------------------------------------------------------

using ConditionEnd = ConditionCase;

TEST_F(ConditionEnd, NothingIsReadBehindTheTerminatorButWhatItCutsOff)
{
    const Bytes text =
        Join({Tag(1), Op(0x95), TextTest(0x92, "\x82\xA0"), Op(0x85), B("\x82\xA0"), Op(0x86), B("    "),
              TextTest(0x91, "\xE3\x81\x82", 17), Op(0x84), Op(0x9E), Op(0x87), Tag(2), Op(0x94)});
    const Exactly table(boxtest::EncodeItemTable(ItemsOfEveryType()));
    for (size_t length = 0; length <= text.size(); ++length) {
        const Bytes cut = boxtest::Slice(text, 0, length);
        Bytes code(kConditionCodeMax);
        u32 written = 0;
        u8 flags = 0;
        const Exactly in(cut + Bytes{0});
        const u32 stored = ConvertSearchCondition(kNoFile, in.data(), code.data(), fid(), &written);
        const u32 searched =
            SearchConvCondition(in.data(), code.data(), table.data(), kConditionCodeMax, &flags);
        EXPECT_EQ(stored, convert(cut).status) << length;
        EXPECT_EQ(searched != 0, search(cut).status == 0) << length;
        EXPECT_EQ(IsFE96(in.data()), 0u);
    }
}

TEST_F(ConditionEnd, AValueThatTheEndCutsOffIsFilledUp)
{
    for (const u8 type : {u8{4}, u8{18}}) {
        const size_t size = type == 4 ? 5 : 4;
        for (size_t length = 0; length <= size; ++length) {
            Bytes value(length, 7);
            const Bytes text = Tag(type) + TestOf(0x90, type, value);
            value.resize(size);
            expectBoth(text, Join({Head(type), {0x15, 0x90, type}, value}));
        }
    }
}

TEST_F(ConditionEnd, CutsOfANameOrAHeadAreRefused)
{
    const Bytes text = Join({Tag(1), Op(0x95), TestOf(0x90, 11, {7})});
    for (size_t length = 1; length < text.size() - 1; ++length) {
        expectNone(boxtest::Slice(text, 0, length));
        expectNone(Join({text, Op(0x86), boxtest::Slice(text, 0, length)}));
    }
}

// --- limits of a whole condition -------------------------------------------------------------------------

using ConditionLimits = ConditionCase;

TEST_F(ConditionLimits, ASearchTakesExactlyTheBudgetThatItNeeds)
{
    const Bytes text =
        Join({Tag(1), TextTest(0x92, "ab"), Op(0x85), B("c"), Op(0x86), B("    "), Op(0x95),
              TextTest(0x91, "d"), Op(0x87), Tag(18), TestOf(0x98, 18, {1, 2, 3, 4}), Op(0x84), Op(0x9E)});
    const Compiled whole = search(text);
    ASSERT_EQ(whole.status, 0u);
    const u32 needed = static_cast<u32>(whole.code.size()) + 1;
    EXPECT_EQ(needed, 2 + 3 + 8 + 1 + 3 + 6 + 1 + 2 + 3 + 4 + 1 + 2 + 3 + 4 + 1 + 2 + 1u);
    for (u32 budget = 0; budget < needed; ++budget) { ASSERT_EQ(search(text, budget), kRefused) << budget; }
    for (u32 budget = needed; budget < needed + 5; ++budget) { ASSERT_EQ(search(text, budget), whole); }
    EXPECT_EQ(search({}, 0), kRefused);
    EXPECT_EQ(search({}, 1), (Compiled{0, 0, {}}));
}

TEST_F(ConditionLimits, ASearchWithoutBudgetOfAnIndexTakesLongTexts)
{
    const std::string text(30000, 'x');
    const Bytes one = Join({Tag(1), Op(0x95), TextTest(0x92, text)});
    const Bytes code = Head(1) + Binary(0x92, text);
    EXPECT_EQ(search(Join({one, Op(0x87), one, Op(0x87), one}), 100000),
              (Compiled{0, 2, Join({code, {0x87}, code, {0x87}, code})}));
    // No text is longer than its length can tell.
    EXPECT_EQ(search(Join({Tag(1), Op(0x95), TextTest(0x92, std::string(65531, 'x'))}), 100000).status, 0u);
    EXPECT_EQ(search(Join({Tag(1), Op(0x95), TextTest(0x92, std::string(65533, 'x'))}), 100000), kRefused);
}

TEST_F(ConditionLimits, TheWholeCompiledFormHas4096Bytes)
{
    // Flags, item, head, length, text with its end, terminator.
    const size_t fits = 4096 - 1 - 2 - 3 - 2 - 1 - 1;
    const auto binary = [](size_t length) {
        return Join({Tag(1), Op(0x95), TextTest(0x90, std::string(length, 'x'))});
    };
    EXPECT_EQ(convert(binary(fits)), (Compiled{0, 0, Head(1) + Binary(0x90, std::string(fits, 'x'))}));
    for (size_t more = 1; more < 20; ++more) { ASSERT_EQ(convert(binary(fits + more)), kRefused) << more; }
    for (size_t length : {5000u, 32000u, 70000u}) { EXPECT_EQ(convert(binary(length)), kRefused); }
    // A search has no flags byte.
    EXPECT_EQ(search(binary(fits + 1)).status, 0u);
    EXPECT_EQ(search(binary(fits + 2)), kRefused);

    const size_t codes = (4096 - 1 - 2 - 3 - 2 - 2 - 1) / 2;
    EXPECT_EQ(convert(Tag(1) + TextTest(0x90, std::string(codes, 'x'))).status, 0u);
    EXPECT_EQ(convert(Tag(1) + TextTest(0x90, std::string(codes + 1, 'x'))), kRefused);

    // Texts that would each fit do not together.
    const std::string half(2039, 'x');
    const Bytes two = Join({Tag(1), Op(0x95), TextTest(0x90, half), Op(0x85), B(half)});
    EXPECT_EQ(convert(two).code.size(), 2 + 2 * (3 + 2 + 2040) + 1u);
    EXPECT_EQ(convert(two + Join({Op(0x85), B("abc")})), kRefused);
}

TEST_F(ConditionLimits, EveryPieceIsHeldToTheRoom)
{
    // Pieces of every kind behind a text that leaves 0 to 30 bytes.
    const Bytes tails[] = {
        Join({Op(0x86), Tag(11), TestOf(0x90, 11, {7})}),
        Join({Op(0x84), TestOf(0x90, 18, {1, 2, 3, 4})}),
        Join({Op(0x84), Op(0x9E)}),
        Join({Op(0x85), B("abc")}),
        Join({Op(0x87), B("("), Tag(4), TestOf(0x98, 4, {1, 2, 3, 4, 5}), B(")")}),
        Join({Op(0x84), B("("), TestOf(0x98, 8, {1, 2}), B(")")}),
    };
    for (const Bytes& tail : tails) {
        for (size_t length = 4050; length <= 4087; ++length) {
            const Bytes start = Join({Tag(1), Op(0x95), TextTest(0x90, std::string(length, 'x')), Op(0x84)});
            const Bytes text = Join({start, Op(0x95), Op(0x9F), tail});
            const Compiled compiled = convert(text);
            const Compiled without = convert(Join({Tag(11), Op(0x95), Op(0x9F), tail}));
            ASSERT_TRUE(compiled.status == 0 || compiled.status == 69);
            if (without.status != 0) { continue; }
            const size_t size = 1 + 2 + 3 + 2 + length + 1 + 1 + (without.code.size() - 2) + 1;
            ASSERT_EQ(compiled.status, size <= 4096 ? 0u : 69u) << length << ' ' << size;
        }
    }
}

TEST_F(ConditionLimits, NestingIsHeldToTheRoom)
{
    const Bytes clause = Tag(11) + TestOf(0x90, 11, {7});
    const auto nested = [&](size_t levels) { return Join({Bytes(levels, '('), clause, Bytes(levels, ')')}); };
    EXPECT_EQ(convert(nested(2044)).status, 0u);
    EXPECT_EQ(convert(nested(2045)), kRefused);
    const Bytes test = TestOf(0x90, 11, {7});
    EXPECT_EQ(convert(Join({Tag(11), Bytes(2044, '('), test, Bytes(2044, ')')})).status, 0u);
    EXPECT_EQ(convert(Join({Tag(11), Bytes(2045, '('), test, Bytes(2045, ')')})), kRefused);
}

}  // namespace
