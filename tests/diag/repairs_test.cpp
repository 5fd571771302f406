// SPDX-License-Identifier: MIT
// What a check mends: the end mark, the tail behind the chain, the tail of an index, and names of indexes that
// cannot be opened; and boxes that have no end mark to mend.
#include "diag/bxd_diag_box.h"
#include "diag/bxd_diag_chain.h"
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

// --- names of indexes that cannot be opened ---------------------------------------------------------------

class DiagIndexNames : public DiagCase {
protected:
    void putIndex(const std::string& name) { put(IndexBuilder().created().entry(1).build(), name); }
    // The names that a check leaves in the table.
    std::vector<std::string> left(const std::vector<IndexEntrySpec>& entries, u8 level = 3)
    {
        BoxBuilder builder;
        builder.card(1);
        builder.indexTable(entries);
        builder.card(2);
        put(builder.build());
        EXPECT_EQ(check(level).status, 0u);
        EXPECT_TRUE(IsSound(get()));
        const NameTable table = TakeIndexTableApart(get());
        EXPECT_EQ(table.fault, "");
        return table.names();
    }
    using Names = std::vector<std::string>;
};

TEST_F(DiagIndexNames, ThoseThatOpenStay)
{
    putIndex("F0:A.IDX");
    putIndex("F0:B.TDX");
    for (const u8 level : {u8{3}, u8{2}, u8{255}}) {
        EXPECT_EQ(left({{"A.IDX"}, {"B.TDX"}}, level), (Names{"A.IDX", "B.TDX"}));
    }
}

TEST_F(DiagIndexNames, ThoseOfMissingFilesGo)
{
    putIndex("F0:B.IDX");
    for (const u8 level : {u8{3}, u8{2}, u8{255}, u8{0}}) {
        EXPECT_EQ(left({{"A.IDX"}, {"B.IDX"}, {"C.IDX"}, {"D.IDX"}}, level), (Names{"B.IDX"}));
    }
    EXPECT_EQ(left({{"A.IDX"}}), Names{});
    EXPECT_EQ(left({{"A.IDX", 1, 27, 0x82}}), Names{}) << "a discharge index too";
}

TEST_F(DiagIndexNames, ThoseOfFilesThatAreNoIndexGo)
{
    put(NewBoxImage("TEST"), "F0:A.IDX");
    put({}, "F0:B.IDX");
    EXPECT_EQ(left({{"A.IDX"}, {"B.IDX"}}), Names{});
}

TEST_F(DiagIndexNames, ThoseOfBarredFilesGo)
{
    putIndex("F0:A.IDX");
    putIndex("F0:B.IDX");
    (void)BxdSetErrorFileName("F0:A.IDX", 130, 3, "%s", "");
    (void)BxdSetErrorFileName("F0:B.IDX", 178, 3, "%s", "");
    EXPECT_EQ(left({{"A.IDX"}, {"B.IDX"}}), (Names{"B.IDX"}));
}

TEST_F(DiagIndexNames, DamageInAnIndexIsNotThatOfItsBox)
{
    IndexBuilder index;
    Bytes file = index.created().entry(1).build();
    SetField(file, ix::tablePos, 0x7FFFFFFF);
    put(file, "F0:A.IDX");
    put({0xFF, 0, 27, 0x30}, "F0:B.IDX");
    EXPECT_EQ(left({{"A.IDX"}, {"B.IDX"}}), (Names{"A.IDX", "B.IDX"}));
}

TEST_F(DiagIndexNames, AllFormsOfNamesAreFollowed)
{
    putIndex("F0:A.IDX");
    const std::string other = "F1:B.IDX";
    putIndex(other);
    EXPECT_EQ(left({{"A.IDX", 1}, {other, 3}, {"F1:C.IDX", 3}}), (Names{"A.IDX", other}));
}

TEST_F(DiagIndexNames, WithoutRepairAllNamesStay)
{
    BoxBuilder builder;
    builder.card(1);
    builder.indexTable({{"A.IDX"}});
    const Bytes file = builder.build();
    put(file);
    const Fid fid(kBox);
    EXPECT_EQ(BoxFileDiag(fid.id(), 3, 0), 0u);
    EXPECT_TRUE(SameBytes(file, get()));
}

TEST_F(DiagIndexNames, ATableThatIsFullToTheBrimIsWalkedToItsEnd)
{
    // 512 bytes of body: 19 entries of 26 bytes and one of 18.
    BoxBuilder builder;
    builder.card(1);
    Bytes body;
    std::vector<std::string> want;
    for (u32 n = 0; n < 19; n++) {
        const std::string name = "INDEX" + std::to_string(100 + n) + ".IDX";
        body = body + EncodeIndexEntry({name});
        if (n % 2 == 0) {
            putIndex("F0:" + name);
            want.push_back(name);
        }
    }
    body = body + EncodeIndexEntry({"A.IDX"});
    ASSERT_EQ(body.size(), 512u);
    const u32 pos = builder.raw(EncodeHead(kIndexTableId, 512) + body);
    builder.setField(hd::indexTable, pos);
    builder.setField(hd::indexTableSize, 518);
    put(builder.build());
    EXPECT_EQ(check(3).status, 0u);
    EXPECT_EQ(TakeIndexTableApart(get()).names(), want);
}

// --- the count of an index --------------------------------------------------------------------------------

TEST_F(DiagIndexNames, TheCountOfAnIndexIsThatOfItsTable)
{
    const auto count = [&](const Bytes& file) {
        put(file, kDiagIndex);
        const i32 result = IndexCardCounter(kDiagIndex);
        EXPECT_EQ(OpenFiles(), 0u);
        return result;
    };
    const Bytes sound = IndexBuilder().created().entries({{1}, {2, 0x47, 1}, {3}}).build();
    EXPECT_EQ(count(sound), 3) << "hidden entries count";
    EXPECT_EQ(count(IndexBuilder().created().setCount(65535).build()), 65535);
    EXPECT_EQ(count(IndexBuilder().created().build()), 0);
    EXPECT_EQ(count(IndexBuilder().build()), 0);
    Bytes file = sound;
    SetField(file, ix::infoPos, kNone);
    EXPECT_EQ(count(file), 0) << "without records the table does not count";
    for (const u32 pos : {static_cast<u32>(sound.size()), static_cast<u32>(sound.size()) - 1, 0x80000000u}) {
        file = sound;
        SetField(file, ix::tablePos, pos);
        Captured quiet;
        EXPECT_EQ(count(file), -2) << pos;
    }
    Captured quiet;
    for (const size_t n : {size_t{4}, size_t{6}, size_t{10}}) { EXPECT_EQ(count(Slice(sound, 0, n)), -2); }
    EXPECT_EQ(count(Slice(sound, 0, 3)), -3);
    EXPECT_EQ(count(NewBoxImage("TEST")), -3);
    EXPECT_EQ(IndexCardCounter("F0:GONE.IDX"), -3);
    EXPECT_EQ(IndexCardCounter(""), -3);
}

// --- the length table of a card ---------------------------------------------------------------------------

class DiagLengths : public DiagCase {
protected:
    // What is found of a card that stands at the start of a file.
    u32 lengthCheck(const Bytes& card, u32* dead) const
    {
        put(card + Bytes{0xFF, 0xFF});
        const Fid fid(kBox);
        return DataLengthCheck(fid.id(), 0, Get32(card, 2), dead);
    }
};

TEST_F(DiagLengths, AllFormsOfLengthsAreAddedUp)
{
    const std::vector<Bytes> values = {Bytes{0x40}, Pattern(100), Bytes{}, Pattern(300), Pattern(20000)};
    for (const int form : {0, 4}) {
        CardForm shape;
        shape.lengthForm = form;
        Bytes card = EncodeCard(1, values, shape);
        u32 dead = 0;
        EXPECT_EQ(lengthCheck(card, &dead), 0u);
        Put32(card, 2, Get32(card, 2) - 1);
        EXPECT_EQ(lengthCheck(card, &dead), 71u);
        Put32(card, 2, Get32(card, 2) + 2);
        EXPECT_EQ(lengthCheck(card, &dead), 0u) << "slack";
        EXPECT_EQ(dead, 0u);
    }
}

TEST_F(DiagLengths, TheAttributeTellsATombstone)
{
    u32 dead = 5;
    for (u32 attr = 0; attr < 256; attr++) {
        const u32 before = dead;
        EXPECT_EQ(lengthCheck(EncodeCard(1, {Bytes{static_cast<u8>(attr)}, B("x")}), &dead), 0u);
        EXPECT_EQ(dead - before, (attr & 0x40) == 0 ? 1u : 0u);
    }
}

TEST_F(DiagLengths, TablesOfAnyLengthAreReadToTheirEnd)
{
    for (const size_t items :
         {size_t{120}, size_t{126}, size_t{127}, size_t{128}, size_t{129}, size_t{255}}) {
        CardForm shape;
        shape.lengthForm = 4;
        std::vector<Bytes> values(items, B("ab"));
        values[0] = Bytes{0};
        Bytes card = EncodeCard(1, values, shape);
        u32 dead = 0;
        EXPECT_EQ(lengthCheck(card, &dead), 0u) << items;
        EXPECT_EQ(dead, 1u) << items;
        card[10 + items * 4 - 1]++;  // the last length
        EXPECT_EQ(lengthCheck(card, &dead), 71u) << items;
    }
}

TEST_F(DiagLengths, LengthsBeyond32BitsDoNotComeRoundAgain)
{
    Bytes card = EncodeHead(1, 4 + 4 * 4 + 10) + Bytes{2, 0, 16, 0};
    for (int n = 0; n < 4; n++) { card = card + Bytes{0xFF, 0xFF, 0xFF, 0xFF}; }
    card.resize(card.size() + 10);
    Put16(card, 8, 16);
    u32 dead = 0;
    EXPECT_EQ(lengthCheck(card, &dead), 71u);
    EXPECT_EQ(dead, 0u);
}

TEST_F(DiagLengths, ACardThatTheFileCutsCannotBeRead)
{
    const Bytes card = EncodeCard(1, {Bytes{0x40}, B("name")});
    u32 dead = 0;
    for (const size_t n : {size_t{0}, size_t{8}, size_t{9}, size_t{10}, size_t{11}, size_t{12}}) {
        put(Slice(card, 0, n));
        const Fid fid(kBox);
        Captured quiet;
        EXPECT_EQ(DataLengthCheck(fid.id(), 0, Get32(card, 2), &dead), 71u) << n;
    }
    put(card);
    const Fid fid(kBox);
    Captured quiet;
    EXPECT_EQ(DataLengthCheck(fid.id(), 0xFFFFFFFA, 20, &dead), 71u);
    EXPECT_EQ(DataLengthCheck(fid.id(), 0x7FFFFFF8, 20, &dead), 71u);
    EXPECT_EQ(dead, 0u);
}

}  // namespace
