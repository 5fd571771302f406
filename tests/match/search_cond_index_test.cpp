// SPDX-License-Identifier: MIT
// Search conditions of an index: the box that it names, and the operator that stands for its sort keys.
#include "tests/match/condition_case.h"
#include "tests/support/index_builder.h"

namespace {

using namespace condtest;

constexpr const char* kIndexFile = "F0:TEST.IDX";

class ConditionOfIndex : public ConditionCase {
protected:
    // Key texts of the items of these types.
    static Bytes sorted(const std::vector<u32>& types, bool ended = true)
    {
        Bytes out;
        for (const u32 type : types) { out = Join({out, Tag(type), Op(0x80)}); }
        return ended ? out + Bytes{0} : out;
    }
    static boxtest::IndexBuilder bound()
    {
        boxtest::IndexBuilder index;
        index.created().record(1, "TEST.BOX");
        return index;
    }
    Compiled compile(const boxtest::IndexBuilder& index, const Bytes& text, i32 boxId = -1)
    {
        put(index.build(), kIndexFile);
        const boxtest::Fid file(kIndexFile);
        const u32 before = boxtest::OpenFiles();
        const Compiled compiled = convert(text, boxId, file.id());
        EXPECT_EQ(boxtest::OpenFiles(), before);
        return compiled;
    }

    struct Expanded {
        u32 status;
        Bytes text;

        bool operator==(const Expanded&) const = default;
    };
    Expanded expandIn(const Bytes& index, const Bytes& text) const
    {
        put(index, kIndexFile);
        const boxtest::Fid file(kIndexFile);
        const Exactly out(Bytes(kExpandedMax, 0xCC));
        const u32 status = ExpandFE96(file.id(), out.data(), Exactly(text + Bytes{0}).data());
        if (status != 0) { return {status, {}}; }
        const u8* begin = out.data();
        const u8* end = std::find(begin, begin + kExpandedMax, u8{0});
        EXPECT_NE(end, begin + kExpandedMax);
        return {0, Bytes(begin, end)};
    }
    Expanded expand(const std::vector<u32>& types, const Bytes& text) const
    {
        return expandIn(bound().record(2, sorted(types)).build(), text);
    }

    // An index whose box's name is longer than the file.
    static Bytes cutName()
    {
        const Bytes whole = bound().build();
        return boxtest::Slice(whole, 0, whole.size() - 4);
    }

    static Bytes newKeys(u8 count) { return {0xFE, 0x96, count}; }
    static Bytes newValue(u32 type) { return Tag(type) + Op(0x94); }
    const Bytes clause_ = Tag(1) + TextTest(0x90, "a");
};

const Bytes kCutKey = {'T', '0', '0', '1', 0xFE};

// --- the box ---------------------------------------------------------------------------------------------

TEST_F(ConditionOfIndex, TheBoxIsFoundByTheNameInTheIndex)
{
    EXPECT_EQ(compile(bound(), clause_), (Compiled{0, 0, Head(1) + ByCode(0x90, "a")}));
    EXPECT_EQ(compile(bound(), B("NONE") + TextTest(0x90, "a")), kRefused);
}

TEST_F(ConditionOfIndex, StatusesOfTheBoxArePassedOn)
{
    using boxtest::IndexBuilder;
    const std::pair<Bytes, u32> cases[] = {{IndexBuilder().created().build(), 64},
                                           {IndexBuilder().build(), 64},
                                           {IndexBuilder().created().record(1, "GONE.BOX").build(), 64},
                                           {IndexBuilder().created().record(1, "").build(), 66},
                                           {IndexBuilder().created().record(1, "NEW.BOX").build(), 66},
                                           {cutName(), 71}};
    put(boxtest::NewBoxImage("TEST"), "F0:NEW.BOX");
    for (const auto& [file, status] : cases) {
        put(file, kIndexFile);
        const boxtest::Fid index(kIndexFile);
        const u32 before = boxtest::OpenFiles();
        EXPECT_EQ(convert(clause_, -1, index.id()).status, status);
        EXPECT_EQ(convert(clause_, fid(), index.id()).status, 0u) << "it is not asked";
        EXPECT_EQ(boxtest::OpenFiles(), before);
    }
}

// --- is there such an operator ---------------------------------------------------------------------------

TEST_F(ConditionOfIndex, TheOperatorIsFoundWhereverItStands)
{
    const auto found = [](const Bytes& text) { return IsFE96(Exactly(text + Bytes{0}).data()); };
    EXPECT_EQ(found(newKeys(1)), 1u);
    EXPECT_EQ(found({0xFE, 0x96}), 1u);
    EXPECT_EQ(found(Join({clause_, Op(0x86), newKeys(1)})), 1u);
    EXPECT_EQ(found(Tag(18) + TestOf(0x90, 18, {1, 0xFE, 0x96, 1})), 1u);
    EXPECT_EQ(found({}), 0u);
    EXPECT_EQ(found({0xFE}), 0u);
    EXPECT_EQ(found({0x96}), 0u);
    EXPECT_EQ(found(clause_), 0u);
    // A mark takes the byte behind it along.
    EXPECT_EQ(found({0xFE, 0xFE, 0x96}), 0u);
    EXPECT_EQ(found({0xFE, 0xFE, 0xFE, 0x96}), 1u);
    // The first 0 ends the look, also within a value.
    EXPECT_EQ(found(Join({Tag(18), TestOf(0x90, 18, {1, 0, 2, 3}), Op(0x86), newKeys(1)})), 0u);
    EXPECT_EQ(found({0xFE, 0x00, 0xFE, 0x96}), 0u);
}

// --- the expansion ---------------------------------------------------------------------------------------

TEST_F(ConditionOfIndex, TheOperatorBecomesATestForEachKey)
{
    EXPECT_EQ(expand({1}, newKeys(1)), (Expanded{0, newValue(1)}));
    EXPECT_EQ(expand({1, 17, 8}, newKeys(1)), (Expanded{0, newValue(1)}));
    EXPECT_EQ(expand({1, 17, 8}, newKeys(3)),
              (Expanded{0, Join({newValue(1), Op(0x87), newValue(17), Op(0x87), newValue(8)})}));
    EXPECT_EQ(expand({17, 8}, Join({clause_, Op(0x86), newKeys(2)})),
              (Expanded{0, Join({clause_, Op(0x86), newValue(17), Op(0x87), newValue(8)})}));
    EXPECT_EQ(expandIn(bound().record(2, sorted({8}, false)).build(), newKeys(1)),
              (Expanded{0, newValue(8)}));
    const std::vector<u32> all(255, 18);
    EXPECT_EQ(expand(all, newKeys(255)).text.size(), 255u * 6 + 254 * 2);
}

TEST_F(ConditionOfIndex, ACountOfNoneLeavesNothing)
{
    EXPECT_EQ(expand({1}, newKeys(0)), (Expanded{0, {}}));
    EXPECT_EQ(expand({1}, Op(0x96)), (Expanded{0, {}}));
    EXPECT_EQ(expand({1}, Join({clause_, Op(0x86), Op(0x96)})), (Expanded{0, clause_ + Op(0x86)}));
    EXPECT_EQ(expandIn(bound().record(2, Bytes{0}).build(), Op(0x96)), (Expanded{0, {}}));
}

TEST_F(ConditionOfIndex, ItStandsAtTheBeginOrBehindAClause)
{
    for (u32 connector = 1; connector < 256; ++connector) {
        const Bytes text = Join({clause_, Op(static_cast<u8>(connector)), newKeys(1)});
        if (connector == 0x96 || connector == 0xFE) { continue; }
        EXPECT_EQ(expand({1}, text).status, connector == 0x86 ? 0u : 69u) << connector;
    }
    EXPECT_EQ(expand({1}, clause_ + newKeys(1)).status, 69u);
    EXPECT_EQ(expand({1}, B("(") + newKeys(1)).status, 69u);
    EXPECT_EQ(expand({1}, B("\x86") + newKeys(1)).status, 69u);
}

TEST_F(ConditionOfIndex, NothingFollowsIt)
{
    EXPECT_EQ(expand({1}, newKeys(1) + B("x")).status, 69u);
    EXPECT_EQ(expand({1}, Join({newKeys(1), Op(0x86), clause_})).status, 69u);
    EXPECT_EQ(expand({1}, newKeys(1) + newKeys(1)).status, 69u);
}

TEST_F(ConditionOfIndex, TheIndexHasAsManyKeys)
{
    EXPECT_EQ(expand({1}, newKeys(2)).status, 69u);
    EXPECT_EQ(expand({}, newKeys(1)).status, 69u);
    EXPECT_EQ(expandIn(bound().build(), newKeys(1)).status, 69u);
    EXPECT_EQ(expandIn(bound().build(), newKeys(0)).status, 69u);
    EXPECT_EQ(expandIn(bound().record(2, "").build(), newKeys(1)).status, 69u);
    EXPECT_EQ(expandIn(bound().record(2, kCutKey).build(), newKeys(1)).status, 69u);
    EXPECT_EQ(expandIn(bound().record(2, sorted({1}, false) + kCutKey).build(), newKeys(2)).status, 69u);
    EXPECT_EQ(expandIn(bound().record(2, sorted({1}) + sorted({8})).build(), newKeys(2)).status, 69u);
    EXPECT_EQ(expandIn(boxtest::IndexBuilder().build(), newKeys(1)).status, 255u) << "no records at all";
    const Bytes whole = bound().record(2, sorted({1})).build();
    EXPECT_EQ(expandIn(boxtest::Slice(whole, 0, whole.size() - 4), newKeys(1)).status, 71u);
}

TEST_F(ConditionOfIndex, TheRoomIsNeverExceeded)
{
    // One key takes six bytes, behind the clause and its connector.
    for (size_t length = kExpandedMax - 30; length < kExpandedMax + 30; ++length) {
        const Bytes text = Join({Tag(1), TextTest(0x90, std::string(length, 'x')), Op(0x86), newKeys(1)});
        const bool fits = 4 + 3 + length + 2 + 6 + 1 <= kExpandedMax;
        EXPECT_EQ(expand({1}, text).status, fits ? 0u : 69u) << length;
    }
    EXPECT_EQ(expand({1}, Bytes(40000, 'x')).status, 69u);
}

TEST_F(ConditionOfIndex, AConditionWithoutItIsCopied)
{
    EXPECT_EQ(expand({1}, clause_), (Expanded{0, clause_}));
    EXPECT_EQ(expand({1}, {}), (Expanded{0, {}}));
}

// --- and the compiled form -------------------------------------------------------------------------------

TEST_F(ConditionOfIndex, TheExpandedConditionIsCompiled)
{
    const auto compiled = [&](const Bytes& text) { return compile(bound().record(2, sorted({1, 8})), text); };
    EXPECT_EQ(compiled(newKeys(1)), (Compiled{0, 1, Head(1) + Bytes{0x15, 0x94}}));
    EXPECT_EQ(compiled(newKeys(2)),
              (Compiled{0, 3, Join({Head(1), {0x15, 0x94, 0x87}, Head(8), {0x15, 0x94}})}));
    EXPECT_EQ(compiled(Join({clause_, Op(0x86), newKeys(1)})),
              (Compiled{0, 3, Join({Head(1), ByCode(0x90, "a"), {0x86}, Head(1), {0x15, 0x94}})}));
    EXPECT_EQ(compiled(newKeys(0)), (Compiled{0, 0, {}}));
    EXPECT_EQ(compiled(Join({clause_, Op(0x86), newKeys(0)})),
              (Compiled{0, 2, Join({Head(1), ByCode(0x90, "a"), {0x86}})}));
}

TEST_F(ConditionOfIndex, EveryFailureOfTheExpansionIsAMalformedCondition)
{
    EXPECT_EQ(compile(bound().record(2, sorted({1})), newKeys(2)), kRefused);
    EXPECT_EQ(compile(bound(), newKeys(1)), kRefused);
    EXPECT_EQ(compile(bound().record(2, B("NONE") + Op(0x80)), newKeys(1)), kRefused);
    EXPECT_EQ(compile(bound().record(2, Bytes{'T', 0, 0, '1', 0xFE, 0x80}), newKeys(1)), kRefused);
    EXPECT_EQ(compile(boxtest::IndexBuilder(), newKeys(1), fid()), kRefused);
    EXPECT_EQ(compile(bound().record(2, sorted({1})), Join({clause_, Op(0x87), newKeys(1)})), kRefused);
}

TEST_F(ConditionOfIndex, ASearchKnowsNoKeys)
{
    EXPECT_EQ(search(newKeys(1)), kRefused);
    EXPECT_EQ(search(Join({clause_, Op(0x86), newKeys(1)})), kRefused);
}

}  // namespace
