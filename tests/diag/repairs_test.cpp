// SPDX-License-Identifier: MIT
// What a check mends: the end mark, the tail behind the chain and the tail of an index; and boxes that have
// no end mark to mend.
#include "diag/bxd_diag_box.h"
#include "tests/support/diag_case.h"

namespace {

using namespace boxtest;

const char* const kChainText = "ボックスファイルのカードチェインが異常\n";
const char* const kTailText = "ボックスファイルのエンドマーク異常\n";
const char* const kMarkText = "ボックスファイルのエンドマークがFFFFでない\n";

class DiagRepairs : public DiagCase {
protected:
    DiagRepairs()
    {
        builder_.card(1);
        builder_.card(2);
        box_ = builder_.build();
    }

    Bytes torn(u32 mark) const
    {
        Bytes file = box_;
        Put16(file, file.size() - 2, mark);
        return file;
    }
    // BoxFileDiag itself, which can be told to mend nothing.
    Told diag(const Bytes& file, u8 level, u32 repair, u8 mode = BXD_MODE_WRITE)
    {
        forget();
        put(file);
        const Fid fid(kBox, mode);
        Captured captured;
        const u32 status = BoxFileDiag(fid.id(), level, repair);
        return {status, captured.text()};
    }

    BoxBuilder builder_;
    Bytes box_;
};

// --- the end mark -----------------------------------------------------------------------------------------

TEST_F(DiagRepairs, AnEndMarkThatIsNoneIsWritten)
{
    for (const u32 mark : {0u, 0x00FFu, 0xFF00u, 0x1234u}) {
        expectSoundLeaving(torn(mark), box_, 3);
        expectSoundLeaving(torn(mark), box_, 2);
    }
}

TEST_F(DiagRepairs, TheWalkMendsATornEndMarkAndReportsIt)
{
    expectFaultLeaving(torn(0), box_, 255, {71, 255, kChainText});
    // The entry stands until a shallower run passes.
    EXPECT_EQ(check(255).status, 71u);
    EXPECT_EQ(check(2).status, 0u);
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
    EXPECT_EQ(check(255).status, 0u);
}

TEST_F(DiagRepairs, WithoutRepairAnEndMarkIsAFault)
{
    for (const u8 level : {u8{3}, u8{2}}) {
        const Told told = diag(torn(0), level, 0);
        EXPECT_EQ(told.status, 130u);
        EXPECT_EQ(told.text, kMarkText);
        EXPECT_EQ(DiagEntry::Of(kBox).level, level);
        EXPECT_TRUE(SameBytes(torn(0), get()));
    }
    EXPECT_EQ(diag(box_, 255, 0).status, 0u);
}

TEST_F(DiagRepairs, AnEndMarkThatCannotBeWrittenIsAFault)
{
    const Told told = diag(torn(0), 3, 1, BXD_MODE_READ);
    EXPECT_EQ(told.status, 71u);
    EXPECT_NE(told.text.find(kMarkText), std::string::npos);
    EXPECT_EQ(DiagEntry::Of(kBox).status, 71u);
    EXPECT_TRUE(SameBytes(torn(0), get()));
}

TEST_F(DiagRepairs, TrailingBytesAreNotSeenByAShallowRunWhichPutsTheMarkAtTheirEnd)
{
    Bytes file = box_ + Pattern(40);
    Bytes left = file;
    Put16(left, left.size() - 2, 0xFFFF);
    expectSoundLeaving(file, left, 3);
    expectSoundLeaving(file, left, 2);
    expectSoundLeaving(left, box_, 255);
}

TEST_F(DiagRepairs, ABoxWithoutACardAreaHasNoEndMark)
{
    const Bytes fresh = NewBoxImage("TEST");
    ASSERT_EQ(fresh.size(), 2120u);
    expectSoundAtAllLevels(fresh);
    // It would take the end of the last item's name.
    const Bytes items = BoxWithItems("TEST", DefaultItems());
    ASSERT_NE(Get16(items, items.size() - 2), 0xFFFFu);
    expectSoundAtAllLevels(items);
    // Nor where the header leads to no card.
    Bytes file = items;
    SetField(file, hd::cardOffset, 0);
    expectSound(file, 3);
    const u32 size = static_cast<u32>(file.size());
    for (const u32 pos : {size - 1, size, size + 100, 0xFFFFFFFEu}) {
        SetField(file, hd::cardOffset, pos);
        expectSoundAtAllLevels(file);
    }
    SetField(file, hd::cardOffset, size - 2);
    Bytes left = file;
    Put16(left, size - size_t{2}, 0xFFFF);
    expectSoundLeaving(file, left, 3);
}

TEST_F(DiagRepairs, ABoxThatCountsNoCardsHasNoCardAreaUnlessItHasAnIndexTable)
{
    // At level 255 a chain would be found broken, and a slot of the tables wild.
    BoxBuilder builder;
    builder.dead(60);
    Bytes file = builder.build();
    Put32(file, GetField(file, hd::cardOffset) + size_t{2}, 0x7FFFFFFF);
    Put32(file, DefaultWordAt(11), 0x7FFFFFFF);
    expectSoundAtAllLevels(file);
    SetField(file, hd::cardOffset, 0x7FFFFFFF);
    expectSoundAtAllLevels(file);

    BoxBuilder indexed;
    const u32 table = indexed.indexTable({});
    file = indexed.build();
    expectSoundAtAllLevels(file);
    Put32(file, table + size_t{2}, 0x7FFFFFFF);
    expectFault(file, 255, {71, 255, kChainText});
}

// --- the tail behind the chain ----------------------------------------------------------------------------

TEST_F(DiagRepairs, BytesBehindTheChainAreCutByADeepRun)
{
    for (const size_t n : {size_t{1}, size_t{2}, size_t{5}, size_t{6}, size_t{1000}}) {
        expectSoundLeaving(box_ + Pattern(n), box_, 255);
        expectSoundLeaving(box_ + Bytes(n, 0xFF), box_, 255);
        expectSoundLeaving(box_ + Bytes(n, 0), box_, 255);
    }
}

TEST_F(DiagRepairs, WithoutRepairTheTailIsCutAndReported)
{
    const Told told = diag(box_ + Pattern(20), 255, 0);
    EXPECT_EQ(told.status, 130u);
    EXPECT_EQ(told.text, kTailText);
    EXPECT_EQ(DiagEntry::Of(kBox).level, 255u);
    EXPECT_TRUE(SameBytes(box_, get()));
}

TEST_F(DiagRepairs, ATailThatCannotBeCutIsAFault)
{
    const Bytes file = box_ + Pattern(20);
    const Told told = diag(file, 255, 1, BXD_MODE_READ);
    EXPECT_EQ(told.status, 65u);
    EXPECT_EQ(told.text, kTailText);
    EXPECT_EQ(DiagEntry::Of(kBox).status, 65u);
    EXPECT_TRUE(SameBytes(file, get()));
}

TEST_F(DiagRepairs, ACutNeverTakesTheTablesBeforeTheCards)
{
    // A first card that is looked for in the erased words of the offset table is no end of a chain.
    for (const u32 pos : {DefaultWordAt(100), kEmptyBoxBytes - 4}) {
        Bytes file = box_;
        SetField(file, hd::cardOffset, pos);
        expectFault(file, 255, {130, 255, kTailText});
    }
}

// What a lost power leaves where it stops a writer between the new end of the file and its card, and what is
// added then: the chain ends at a mark, and something in the box leads to a card behind it.
TEST_F(DiagRepairs, ACutNeverTakesCardsThatAreInUse)
{
    const auto build = [](const std::function<void(BoxBuilder&)>& add) {
        BoxBuilder box;
        box.card(1);
        box.raw(Bytes{0xFF, 0xFF} + Bytes(30, 0));
        add(box);
        return box.build();
    };
    const DiagWant want{130, 255, kTailText};
    expectFault(build([](BoxBuilder& box) { box.card(2); }), 255, want);
    expectFault(build([](BoxBuilder& box) { box.systemCard(3, 65300, box.row()); }), 255, want);
    expectFault(build([](BoxBuilder& box) { box.extInfoCard(Pattern(40)); }), 255, want);
    expectFault(build([](BoxBuilder& box) { box.indexTable({}); }), 255, want);
    expectFault(build([](BoxBuilder& box) { box.makeTablesFor(501); }), 255, want);
    expectFault(build([](BoxBuilder& box) { box.reserveOffsetCard(1); }), 255, want);
    // Cards that nothing leads to go.
    Bytes file = build([](BoxBuilder& box) { box.raw(EncodeCard(2, box.row())); });
    BoxBuilder one;
    one.card(1);
    expectSoundLeaving(file, one.build(), 255);
}

TEST_F(DiagRepairs, ACollectionMendsABoxWithCardsBehindItsChain)
{
    BoxBuilder box;
    box.card(1);
    box.raw(Bytes{0xFF, 0xFF} + Bytes(30, 0));
    box.card(2, box.row({{"cTTM", B("12345")}}));
    put(box.build());
    EXPECT_EQ(check(255).status, 130u);
    EXPECT_EQ(check(2).status, 0u);
    {
        Captured quiet;
        EXPECT_EQ(_BoxGarbageCollect(kBox), 0u);
    }
    EXPECT_EQ(check(255).status, 0u);
    EXPECT_TRUE(IsSound(get()));
    EXPECT_EQ(BoxView(get()).value(2, "cTTM"), B("12345"));
}

// --- the tail of an index ---------------------------------------------------------------------------------

TEST_F(DiagRepairs, BytesBehindTheTableOfAnIndexAreCut)
{
    IndexBuilder index;
    const Bytes file = index.created().entries({{1}, {2}}).build();
    for (const u8 level : {u8{3}, u8{2}, u8{255}}) {
        for (const size_t n : {size_t{1}, size_t{4}, size_t{500}}) {
            expectSoundLeaving(file + Pattern(n), file, level, kDiagIndex);
        }
    }
    // What is cut is not held against the next fault.
    Bytes torn = file;
    Put16(torn, torn.size() - 2, 0);
    expectFaultLeaving(torn + Pattern(9), torn, 3,
                       {134, 3, "インデックスファイルのエンドマークがFFFFでない\n"}, kDiagIndex);
}

// --- the tail and the slots -------------------------------------------------------------------------------

TEST_F(DiagRepairs, ASlotThatLedIntoTheTailIsReportedWithTheCut)
{
    // No card stands there, so the tail goes; what is left of the slot is a fault at once.
    for (const u32 word : {0u, 1u, 10u}) {
        Bytes file = box_ + Bytes(40, 0xEE);
        Put32(file, DefaultWordAt(word), static_cast<u32>(box_.size()) + 9);
        const Bytes left = Slice(file, 0, box_.size());
        expectFaultLeaving(file, left, 255, {130, 255, "システムカードのオフセットが正しくない\n"});
    }
}

}  // namespace
