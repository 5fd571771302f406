// SPDX-License-Identifier: MIT
// Search conditions: what both compilers accept and refuse, and the bytes that come of it.
#include "tests/match/condition_case.h"

namespace {

using namespace condtest;

using SearchCondition = ConditionCase;

// Sizes of values by their type; -1 for a text, 0 where no value has the type.
int SizeOf(u32 type)
{
    switch (type) {
    case 1:
    case 16:
    case 17: return -1;
    case 4:
    case 5: return 5;
    case 6:
    case 8: return 2;
    case 7: return 3;
    case 11:
    case 12: return 1;
    case 18: return 4;
    default: return 0;
    }
}

TEST_F(SearchCondition, ATextBecomesSortCodesOrStaysAsItIs)
{
    expectBoth(Tag(1) + TextTest(0x90, "abc"), Head(1) + ByCode(0x90, "abc"));
    EXPECT_EQ(Codes("abc").size(), 2u + 8u);
    expectBoth(Join({Tag(1), Op(0x95), TextTest(0x90, "abc")}), Head(1) + Binary(0x90, "abc"));
    EXPECT_EQ(Raw("abc"), (Bytes{4, 0, 'a', 'b', 'c', 0}));
    expectBoth(Tag(1) + TextTest(0x90, ""), Head(1) + Bytes{0x15, 0x90, 1, 2, 0, 0, 0});
    expectBoth(Join({Tag(1), Op(0x95), TextTest(0x90, "")}), Head(1) + Bytes{0x95, 0x90, 1, 1, 0, 0});
}

TEST_F(SearchCondition, TheTypeOfTheValueDecidesTheCharactersOfAText)
{
    const std::string utf8 = "\xE3\x81\x82z";
    const std::string sjis = "\x82\xA0z";
    expectBoth(Tag(1) + TextTest(0x92, utf8, 17), Head(1) + ByCode(0x92, utf8, 17));
    expectBoth(Tag(17) + TextTest(0x92, sjis, 16), Head(17) + ByCode(0x92, sjis, 16));
    EXPECT_EQ(Codes(utf8, 17).size(), 2u + 6u);
    EXPECT_EQ(Codes(sjis, 16).size(), 2u + 6u);
    expectBoth(Join({Tag(1), Op(0x95), TextTest(0x92, utf8, 17)}), Head(1) + Binary(0x92, utf8, 17));
}

TEST_F(SearchCondition, AValueIsTakenByTheSizeOfItsType)
{
    for (u32 type = 0; type < 256; ++type) {
        const int size = SizeOf(type);
        if (size < 0) { continue; }
        // Zeros and marks within a value have no meaning.
        for (const u8 filling : {u8{0x37}, u8{0}, u8{0xFE}}) {
            const Bytes value(static_cast<size_t>(size), filling);
            const u8 byte = static_cast<u8>(type);
            const Bytes text = Tag(8) + TestOf(0x98, byte, value);
            if (size == 0) {
                expectNone(text);
                expectNone(text + Bytes{1, 2, 3});
            } else {
                expectBoth(text, Join({Head(8), {0x15, 0x98, byte}, value}));
            }
        }
    }
}

TEST_F(SearchCondition, AnyOperatorIsTakenWithAValue)
{
    for (u32 op = 1; op < 256; ++op) {
        if (op == 0x94 || op == 0x95 || op == 0x96 || op == 0x9E || op == 0x9F) { continue; }
        const u8 byte = static_cast<u8>(op);
        expectBoth(Tag(11) + TestOf(byte, 11, {7}), Head(11) + Bytes{0x15, byte, 11, 7});
        expectBoth(Join({Tag(11), Op(0x95), TestOf(byte, 11, {7})}), Head(11) + Bytes{0x95, byte, 11, 7});
    }
    expectNone(Tag(11) + TestOf(0x00, 11, {7}));
    // The prefix stands before a test once.
    expectNone(Join({Tag(11), Op(0x95), Op(0x95), TestOf(0x90, 11, {7})}));
    expectNone(Tag(11) + Op(0x95));
    expectNone(Join({Tag(11), Op(0x95), B("a")}));
}

TEST_F(SearchCondition, ThreeOperatorsHaveNoValue)
{
    expectBoth(Tag(2) + Op(0x94), Head(2) + Bytes{0x15, 0x94}, 1, 1);
    expectBoth(Tag(2) + Op(0x9E), Head(2) + Bytes{0x15, 0x9E});
    expectBoth(Tag(2) + Op(0x9F), Head(2) + Bytes{0x15, 0x9F});
    expectBoth(Join({Tag(2), Op(0x95), Op(0x9F)}), Head(2) + Bytes{0x95, 0x9F});
}

TEST_F(SearchCondition, AMarkAndALetterBehindItAreACharacterOfTheText)
{
    for (u32 second = 1; second < 256; ++second) {
        const std::string character = {static_cast<char>(0xFE), static_cast<char>(second)};
        const Bytes text = Join({Tag(1), Op(0x95), TextTest(0x90, "a" + character + "b")});
        if (second >= 0xA0) {
            expectBoth(text, Head(1) + Binary(0x90, "a" + character + "b"));
            expectBoth(Tag(1) + TextTest(0x90, character), Head(1) + ByCode(0x90, character));
        } else if (second == 0x84 || second == 0x85) {
            const Bytes repeated = Join({Head(1), Binary(0x90, "a"), {static_cast<u8>(second)}});
            expectBoth(text, repeated + Binary(0x90, "b"), 2, second == 0x85 ? 2 : 0);
        } else {
            expectNone(text);
        }
    }
}

TEST_F(SearchCondition, FourSpacesStandForAllItems)
{
    expectBoth(B("    ") + TextTest(0x92, "abc"), Bytes{0xFF, 0xFF} + ByCode(0x92, "abc"), 6, 6);
    expectNone(B("   ") + TextTest(0x92, "abc"));
}

TEST_F(SearchCondition, AnItemOfAnyTypeIsFoundAndNoOther)
{
    for (u8 type = 0; type <= 20; ++type) {
        expectBoth(Tag(type) + TextTest(0x90, "x"), Head(type) + ByCode(0x90, "x"));
    }
    expectBoth(B("t001") + TextTest(0x90, "x"), Head(1) + ByCode(0x90, "x"));
    for (const char* tag : {"NONE", "T0O1", "T021", "(001", ")001"}) {
        expectNone(B(tag) + TextTest(0x90, "x"));
    }
}

TEST_F(SearchCondition, AClauseHasATest)
{
    expectNone(Tag(1));
    expectNone(Tag(1) + B("x"));
    expectNone(Tag(1) + Op(0x86));
    expectNone(Tag(1) + Op(0x90));
    expectNone(Join({Tag(1), Op(0x86), Tag(1), TextTest(0x90, "x")}));
}

TEST_F(SearchCondition, ClausesAreJoinedByConnectors)
{
    const Bytes one = Tag(11) + TestOf(0x90, 11, {7});
    const Bytes two = Tag(1) + TextTest(0x92, "x");
    const Bytes codeOne = Head(11) + Bytes{0x15, 0x90, 11, 7};
    const Bytes codeTwo = Head(1) + ByCode(0x92, "x");
    expectBoth(Join({one, Op(0x86), two}), Join({codeOne, {0x86}, codeTwo}), 2, 0);
    expectBoth(Join({two, Op(0x87), one}), Join({codeTwo, {0x87}, codeOne}), 2, 2);
    expectBoth(Join({two, Op(0x86), one, Op(0x87), two}), Join({codeTwo, {0x86}, codeOne, {0x87}, codeTwo}),
               2, 2);
    // The text may end behind a connector.
    expectBoth(one + Op(0x86), codeOne + Bytes{0x86}, 2, 0);
    for (u32 op = 1; op < 256; ++op) {
        if (op >= 0x84 && op <= 0x87) { continue; }
        expectNone(Join({one, Op(static_cast<u8>(op)), two}));
    }
}

TEST_F(SearchCondition, TestsOfAClauseAreJoinedByConnectors)
{
    const Bytes bits = TestOf(0x88, 6, {0x0F, 0x03});
    const Bytes codeBits = {0x15, 0x88, 6, 0x0F, 0x03};
    const Bytes text = Join({Tag(6), bits, Op(0x84), bits, Op(0x85), Op(0x95), TextTest(0x91, "q")});
    const Bytes code = Join({Head(6), codeBits, {0x84}, codeBits, {0x85}, Binary(0x91, "q")});
    expectBoth(text, code, 2, 2);
    expectBoth(Join({Tag(6), bits, Op(0x84), Op(0x9F)}), Join({Head(6), codeBits, {0x84, 0x15, 0x9F}}), 2, 0);
    expectBoth(Join({Tag(6), Op(0x94), Op(0x85), Op(0x94)}), Join({Head(6), {0x15, 0x94, 0x85, 0x15, 0x94}}),
               3, 3);
}

TEST_F(SearchCondition, ATextBehindAConnectorRepeatsTheTest)
{
    expectBoth(Join({Tag(1), TextTest(0x92, "a"), Op(0x85), B("b")}),
               Join({Head(1), ByCode(0x92, "a"), {0x85}, ByCode(0x92, "b")}), 2, 2);
    const Bytes text =
        Join({Tag(17), Op(0x95), TextTest(0x91, "a", 17), Op(0x84), B("bc"), Op(0x85), B("d"), Op(0x84),
              TextTest(0x92, "e", 17), Op(0x85), B("f"), Op(0x86), Tag(1), Op(0x9E)});
    const Bytes code = Join({Head(17),
                             Binary(0x91, "a", 17),
                             {0x84},
                             Binary(0x91, "bc", 17),
                             {0x85},
                             Binary(0x91, "d", 17),
                             {0x84},
                             ByCode(0x92, "e", 17),
                             {0x85},
                             ByCode(0x92, "f", 17),
                             {0x86},
                             Head(1),
                             {0x15, 0x9E}});
    expectBoth(text, code, 2, 2);
    // Where nothing follows the connector, an empty text does.
    expectBoth(Join({Tag(1), TextTest(0x92, "a"), Op(0x84)}),
               Join({Head(1), ByCode(0x92, "a"), {0x84}, ByCode(0x92, "")}), 2, 0);
}

TEST_F(SearchCondition, OnlyATextCanBeRepeated)
{
    expectNone(Join({Tag(1), Op(0x94), Op(0x85), B("b")}));
    expectNone(Join({Tag(1), Op(0x9E), Op(0x85), B("b")}));
    expectNone(Join({Tag(11), TestOf(0x90, 11, {7}), Op(0x85), B("b")}));
    expectNone(Join({Tag(11), TestOf(0x90, 11, {7}), Op(0x85)}));
    // The last test counts, not one before it.
    expectNone(Join({Tag(1), TextTest(0x90, "a"), Op(0x84), Op(0x9E), Op(0x85), B("b")}));
}

TEST_F(SearchCondition, TheLiveBitOfAnAttributeIsTurned)
{
    const u8 item = 1;
    for (const char* tag : {"ATTR", "aTTR"}) {
        for (u32 mask = 0; mask < 256; ++mask) {
            const u8 m = static_cast<u8>(mask);
            const u8 turn = m & 0x40;
            for (const u8 bits : {u8{0x40}, u8{0x00}, u8{0xFF}}) {
                const u8 want = bits ^ turn;
                expectBoth(B(tag) + TestOf(0x88, 6, {m, bits}), {6, item, 0x15, 0x88, 6, m, want});
            }
        }
    }
    // In every test of the clause, of this type alone, and of this item alone.
    expectBoth(Join({B("ATTR"), TestOf(0x88, 6, {0x40, 0x40}), Op(0x84), TestOf(0x89, 6, {0x50, 0x10})}),
               {6, item, 0x15, 0x88, 6, 0x40, 0x00, 0x84, 0x15, 0x89, 6, 0x50, 0x50}, 2, 0);
    expectBoth(B("ATTR") + TestOf(0x90, 8, {0x40, 0x40}), {6, item, 0x15, 0x90, 8, 0x40, 0x40});
    expectBoth(Tag(6) + TestOf(0x88, 6, {0x40, 0x40}), Head(6) + Bytes{0x15, 0x88, 6, 0x40, 0x40});
    expectBoth(B("    ") + TestOf(0x88, 6, {0x40, 0x40}), {0xFF, 0xFF, 0x15, 0x88, 6, 0x40, 0x40}, 6, 6);
}

TEST_F(SearchCondition, AnEmptyOneHasNoClause) { expectBoth({}, {}); }

// --- what only one of them takes -------------------------------------------------------------------------

TEST_F(SearchCondition, ForAnIndexParenthesesGoThrough)
{
    const Bytes clause = Tag(11) + TestOf(0x90, 11, {7});
    const Bytes code = Head(11) + Bytes{0x15, 0x90, 11, 7};
    const Bytes test = TestOf(0x9A, 18, {1, 2, 3, 4});
    const Bytes codeTest = {0x15, 0x9A, 18, 1, 2, 3, 4};
    const Bytes open = B("(");
    const Bytes close = B(")");
    const std::pair<Bytes, Bytes> cases[] = {
        {Join({open, clause, close}), Join({open, code, close})},
        {Join({open, open, clause, close, close}), Join({open, open, code, close, close})},
        {Join({open, clause, Op(0x86), clause, close, Op(0x87), clause}),
         Join({open, code, {0x86}, code, close, {0x87}, code})},
        {Join({clause, Op(0x87), open, clause, close}), Join({code, {0x87}, open, code, close})},
        {Join({open, clause, close, clause}), Join({open, code, close, code})},
        {Join({open, clause, close, open, clause, close}), Join({open, code, close, open, code, close})},
        {Join({Tag(18), open, test, close}), Join({Head(18), open, codeTest, close})},
        {Join({Tag(18), open, open, test, close, close}),
         Join({Head(18), open, open, codeTest, close, close})},
        {Join({Tag(18), open, test, Op(0x84), test, close, Op(0x85), open, test, close}),
         Join({Head(18), open, codeTest, {0x84}, codeTest, close, {0x85}, open, codeTest, close})},
        {Join({Tag(18), open, test, close, test}), Join({Head(18), open, codeTest, close, codeTest})},
        {Join({Tag(18), open, test, close, open, test, close}),
         Join({Head(18), open, codeTest, close, open, codeTest, close})},
        {Join({Tag(18), open, test, close, Op(0x86), clause}),
         Join({Head(18), open, codeTest, close, {0x86}, code})},
        {Join({open, Tag(18), open, test, close, close}),
         Join({open, Head(18), open, codeTest, close, close})}};
    for (const auto& [text, want] : cases) {
        const Compiled compiled = convert(text);
        const bool connected =
            std::find(text.begin(), text.end(), 0xFE) != text.end() &&
            std::any_of(text.begin(), text.end(), [](u8 b) { return b >= 0x84 && b <= 0x87; });
        EXPECT_EQ(compiled, (Compiled{0, static_cast<u8>(connected ? 2 : 0), want}));
        EXPECT_EQ(search(text), kRefused);
    }
}

TEST_F(SearchCondition, ParenthesesMustFit)
{
    const Bytes clause = Tag(11) + TestOf(0x90, 11, {7});
    const Bytes test = TestOf(0x90, 11, {7});
    const Bytes open = B("(");
    const Bytes close = B(")");
    const Bytes wrong[] = {
        open,
        close,
        open + close,
        open + clause,
        clause + close,
        Join({open, open, clause, close}),
        Join({open, clause, close, close}),
        Join({open, close, clause}),
        Join({clause, Op(0x86), close}),
        Join({open, clause, Op(0x86), close}),
        Join({open, clause, Op(0x86)}),
        Join({Tag(11), open, close}),
        Join({Tag(11), open, test}),
        Join({Tag(11), test, close}),
        Join({Tag(11), open, test, close, close}),
        Join({Tag(11), open, test, Op(0x86), clause, close}),
        Join({open, Tag(11), open, test, close}),
        Join({Tag(11), open, test, close, Op(0x85), B("x")}),
        Join({Tag(11), open, test, close, B("x")}),
        Join({open, clause, close, B("x")}),
        // A text goes on through them.
        Join({open, Tag(1), TextTest(0x90, "abc)")}),
        Join({Tag(1), TextTest(0x90, "abc"), Op(0x85), open, test, close}),
    };
    for (const Bytes& text : wrong) { expectNone(text); }
    expectBoth(Tag(1) + TextTest(0x90, "(abc)"), Head(1) + ByCode(0x90, "(abc)"));
    expectNone(Bytes(5000, '('));
}

TEST_F(SearchCondition, ASearchTakesAClauseBehindATestWithoutAConnector)
{
    const Bytes one = Tag(11) + TestOf(0x90, 11, {7});
    const Bytes codeOne = Head(11) + Bytes{0x15, 0x90, 11, 7};
    const Bytes blank = Tag(1) + Op(0x9F);
    const Bytes codeBlank = Head(1) + Bytes{0x15, 0x9F};
    EXPECT_EQ(search(Join({one, blank, one})), (Compiled{0, 0, Join({codeOne, codeBlank, codeOne})}));
    EXPECT_EQ(convert(Join({one, blank, one})), kRefused);
}

TEST_F(SearchCondition, ASearchPassesOverAMarkThatNoOperatorFollows)
{
    const Bytes one = Tag(11) + TestOf(0x90, 11, {7});
    const Bytes codeOne = Head(11) + Bytes{0x15, 0x90, 11, 7};
    const Bytes text = Join({one, Op(0x85), {0xFE}, one});
    EXPECT_EQ(search(text), (Compiled{0, 2, Join({codeOne, {0x85}, codeOne})}));
    EXPECT_EQ(search(Join({one, Op(0x84), {0xFE}})), (Compiled{0, 0, codeOne + Bytes{0x84}}));
    EXPECT_EQ(convert(text), kRefused);
    EXPECT_EQ(convert(Join({one, Op(0x84), {0xFE}})), kRefused);
}

TEST_F(SearchCondition, ASearchTakesOperatorsOfTheTableBehindAConnector)
{
    for (u32 op = 1; op < 256; ++op) {
        if (op == 0x95) { continue; }
        const u8 byte = static_cast<u8>(op);
        const bool valueless = op == 0x94 || op == 0x9E || op == 0x9F;
        const Bytes next = valueless ? Op(byte) : TestOf(byte, 11, {9});
        const Bytes text = Join({Tag(11), TestOf(0x90, 11, {7}), Op(0x84), next});
        const Bytes codeNext = valueless ? Bytes{0x15, byte} : Bytes{0x15, byte, 11, 9};
        const Bytes code = Join({Head(11), {0x15, 0x90, 11, 7, 0x84}, codeNext});
        const u8 neighbour = op == 0x94 ? 1 : 0;
        const bool known = op == 0x88 || op == 0x89 || (op >= 0x90 && op <= 0x9F);
        EXPECT_EQ(search(text), known ? (Compiled{0, neighbour, code}) : kRefused) << op;
        if (op == 0x96) { continue; }  // expanded
        EXPECT_EQ(convert(text), (Compiled{0, static_cast<u8>(neighbour | 2), code})) << op;
    }
}

}  // namespace
