// SPDX-License-Identifier: MIT
// Levels and their ranks against the registry, the entry points, the stamp, and what of two faults is found.
#include "diag/bxd_diag.h"
#include "tests/support/diag_case.h"

namespace {

using namespace boxtest;

class DiagLevels : public DiagCase {
protected:
    DiagLevels()
    {
        builder_.card(1);
        builder_.card(2);
        box_ = builder_.build();
    }

    void enter(u32 status, u8 level, const std::string& name = kBox)
    {
        (void)BxdSetErrorFileName(name.c_str(), static_cast<u16>(status), level, "%s", "");
    }
    // A slot that leads nowhere: a fault at levels 2 and 255.
    Bytes badSlot() const
    {
        Bytes file = box_;
        Put32(file, builder_.slotAt(2), GetField(file, hd::cardOffset) + 1000);
        return file;
    }
    // A length table that is broken: a fault at level 255.
    Bytes badCard() const
    {
        Bytes file = box_;
        file[GetField(file, hd::cardOffset) + size_t{10}] = 100;
        return file;
    }

    BoxBuilder builder_;
    Bytes box_;
};

TEST(DiagRanks, ARankSaysHowDeepALevelGoes)
{
    for (u32 level = 0; level < 256; level++) {
        const u32 want = level == 3 ? 1 : level == 2 ? 2 : level == 255 ? 255 : 0;
        EXPECT_EQ(ConvLevel(static_cast<u8>(level)), want) << level;
    }
}

TEST_F(DiagLevels, EachEntryPointHasItsLevel)
{
    Captured quiet;
    put(badSlot());
    EXPECT_EQ(_BXDFileCheck(kBox), 0u);
    EXPECT_EQ(_BXDFileCheckLevel(kBox), 130u);
    EXPECT_EQ(DiagEntry::Of(kBox).level, 2u);
    forget();
    EXPECT_EQ(_BXDFileCheckAppliID(kBox, 99, 0), 130u);
    EXPECT_EQ(DiagEntry::Of(kBox).level, 2u);
    forget();
    EXPECT_EQ(BXDFileCheckSub(kBox, 255, 0), 130u);
    EXPECT_EQ(DiagEntry::Of(kBox).level, 255u);

    forget();
    put(badCard());
    EXPECT_EQ(_BXDFileCheck(kBox), 0u);
    EXPECT_EQ(_BXDFileCheckLevel(kBox), 0u);
    EXPECT_EQ(_BXDFileCheckAppliID(kBox, 0, 0), 0u);
    EXPECT_EQ(BXDFileCheckSub(kBox, 255, 0), 134u);

    forget();
    Bytes file = box_;
    SetField(file, hd::unUsedCardID, 0);
    put(file);
    EXPECT_EQ(_BXDFileCheck(kBox), 134u);
    EXPECT_EQ(DiagEntry::Of(kBox).level, 3u);
}

TEST_F(DiagLevels, AnyOtherLevelLooksAtWhatLevel3DoesAndIsTheLeastDeep)
{
    for (const u8 level : {u8{0}, u8{1}, u8{4}, u8{254}}) {
        expectSound(badSlot(), level);
        expectSound(badCard(), level);
        Bytes file = box_;
        SetField(file, hd::unUsedCardID, 0);
        expectFault(file, level, {134, level, "未使用カードIDが異常\n"});
    }
}

TEST_F(DiagLevels, AnEntryOfACheckNoDeeperAnswersForTheFile)
{
    const std::vector<u8> levels = {7, 3, 2, 255};  // from shallow to deep
    put(box_);
    for (size_t found = 0; found < levels.size(); found++) {
        for (size_t asked = 0; asked < levels.size(); asked++) {
            forget();
            enter(130, levels[found]);
            const Told told = check(levels[asked]);
            EXPECT_EQ(told.text, "");
            EXPECT_EQ(told.status, found <= asked ? 130u : 0u) << found << ", " << asked;
            EXPECT_EQ(BxdGetErrorFileNum(), found <= asked ? 1u : 0u) << found << ", " << asked;
        }
    }
}

TEST_F(DiagLevels, TheAnswerIsTheStatusOfTheEntryAlsoForAFileThatIsNotThere)
{
    enter(178, 3);
    EXPECT_EQ(check(3).status, 178u);
    enter(999, 3, "F0:GONE.BOX");
    EXPECT_EQ(check(255, "F0:GONE.BOX").status, 999u);
    enter(130, 255, "F0:GONE.BOX");
    EXPECT_EQ(check(3, "F0:GONE.BOX").status, 64u);
    EXPECT_EQ(DiagEntry::Of("F0:GONE.BOX").status, 130u);
}

TEST_F(DiagLevels, AnEntryOfADeeperCheckGoesWhenAShallowerOnePasses)
{
    Captured quiet;
    put(badSlot());
    EXPECT_EQ(_BXDFileCheckLevel(kBox), 130u);
    EXPECT_LT(BxdFileOpen(kBox, BXD_MODE_READ), 0);
    put(box_);
    EXPECT_EQ(_BXDFileCheckLevel(kBox), 130u) << "it is not looked at";
    EXPECT_EQ(_BXDFileCheck(kBox), 0u);
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
    EXPECT_TRUE(Fid(kBox).ok());
    EXPECT_EQ(_BXDFileCheckLevel(kBox), 0u);
}

TEST_F(DiagLevels, AFaultReplacesTheEntryThatADeeperCheckLeft)
{
    Captured quiet;
    put(badCard());
    EXPECT_EQ(BXDFileCheckSub(kBox, 255, 0), 134u);
    enter(130, 255, "F0:OTHER.BOX");
    Bytes file = box_;
    SetField(file, hd::itemSize, 0);
    put(file);
    EXPECT_EQ(_BXDFileCheck(kBox), 130u);
    EXPECT_EQ(BxdGetErrorFileNum(), 2u);
    EXPECT_EQ(DiagEntry::Of(kBox).level, 3u);
    EXPECT_EQ(DiagEntry::Of(kBox).message, "項目全体情報領域の全体長データが異常\n");
    EXPECT_EQ(DiagEntry::Of("F0:OTHER.BOX").status, 130u);
    // Its level is now that of the check that found it.
    put(box_);
    EXPECT_EQ(_BXDFileCheck(kBox), 130u);
}

TEST_F(DiagLevels, AnEntryOfAnIndexHasLevel3)
{
    Captured quiet;
    IndexBuilder index;
    Bytes file = index.created().entry(1).build();
    file.back() = 0;
    put(file, kDiagIndex);
    EXPECT_EQ(BXDFileCheckSub(kDiagIndex, 255, 0), 134u);
    EXPECT_EQ(DiagEntry::Of(kDiagIndex).level, 3u);
    file.back() = 0xFF;
    put(file, kDiagIndex);
    EXPECT_EQ(_BXDFileCheck(kDiagIndex), 134u) << "it is not looked at";
    EXPECT_EQ(BXDFileCheckSub(kDiagIndex, 0, 0), 0u);
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
}

TEST_F(DiagLevels, AFileThatCannotBeOpenedIsNotRegistered)
{
    for (const std::string& name :
         {std::string(kBox), std::string("F0:GONE.IDX"), std::string(300, 'x') + ".BOX"}) {
        const Told told = check(255, name, 7);
        EXPECT_EQ(told.status, 64u) << name;
        EXPECT_EQ(BxdGetErrorFileNum(), 0u);
    }
}

TEST_F(DiagLevels, ExtensionsAreTakenInEitherCase)
{
    const Bytes index = IndexBuilder(28).created().build();
    for (const char* name : {"F0:TEST.box", "F0:TEST.BoX", "F0:A.B.bOx", "F0:TEST.BOXES"}) {
        expectSound(box_, 3, name);
    }
    for (const char* name : {"F0:TEST.idx", "F0:TEST.Tdx", "F0:TEST.tDX", "F0:TEST.IDXX"}) {
        expectSound(index, 3, name);
    }
}

// --- the stamp --------------------------------------------------------------------------------------------

TEST_F(DiagLevels, AStampIsTheFourBytesOfTheApplicationLowestFirst)
{
    put(box_);
    EXPECT_EQ(_BXDFileCheckAppliID(kBox, 0, 0x44434241), 0u);
    Bytes want = box_;
    Put32(want, 40, 0x44434241);
    EXPECT_EQ(Text(Slice(want, 40, 4)), "ABCD");
    EXPECT_TRUE(SameBytes(want, get()));
    u32 name = 0;
    EXPECT_EQ(_ReadAplName(kBox, &name), 0u);
    EXPECT_EQ(name, 0x44434241u);
    EXPECT_EQ(_BXDFileCheckAppliID(kBox, 0x31313131, 0), 0u);
    EXPECT_TRUE(SameBytes(want, get())) << "0 is no stamp";
}

TEST_F(DiagLevels, ABoxIsStampedBeforeItIsLookedAt)
{
    Bytes want = badSlot();
    put(want);
    EXPECT_EQ(check(2, kBox, 7).status, 130u);
    Put32(want, 40, 7);
    EXPECT_TRUE(SameBytes(want, get()));
    EXPECT_EQ(check(2, kBox, 9).status, 130u) << "now it is not looked at";
    EXPECT_TRUE(SameBytes(want, get()));
}

TEST_F(DiagLevels, WhatIsNotABoxByNameAndVersionIsNotStamped)
{
    Bytes file = box_;
    put(file, kDiagIndex);
    EXPECT_EQ(check(3, kDiagIndex, 7).status, 130u);
    EXPECT_TRUE(SameBytes(file, get(kDiagIndex)));
    SetField(file, hd::fileVersion, 0x41);
    put(file);
    EXPECT_EQ(check(3, kBox, 7).status, 128u);
    EXPECT_TRUE(SameBytes(file, get()));
    const Bytes index = IndexBuilder().created().entry(1).build();
    put(index, "F0:A.IDX");
    EXPECT_EQ(check(3, "F0:A.IDX", 7).status, 0u);
    EXPECT_TRUE(SameBytes(index, get("F0:A.IDX")));
}

// --- the first fault wins ---------------------------------------------------------------------------------

TEST_F(DiagLevels, OfManyFaultsTheFirstInOrderIsFound)
{
    // From the last to the first: each new fault hides those before it.
    BoxBuilder builder(DefaultItems());
    const u32 first = builder.card(1);
    builder.card(600);
    builder.indexTable({});
    Bytes file = builder.build();
    SetField(file, hd::maxCardID, 600);

    auto expect = [&](u32 status, u32 level, const std::string& message) {
        expectFault(file, 255, {status, level, message});
    };
    Put16(file, GetField(file, hd::indexTable), 0xFFF4);
    expect(130, 255, "参照インデックス領域のカードIDが正しくない\n");
    SetField(file, hd::cardCount, 9);
    expect(130, 255, "カードチェインで数えた有効カード数がヘッダ上と違う\n");
    Put32(file, builder.slotAt(3), first);
    expect(130, 255, "カードチェインで数えた通常カード数がオフセットテーブル上と違う\n");
    Put32(file, builder.slotAt(600), 0x7FFFFFFF);
    expect(130, 255, "追加オフセットテーブルのカードオフセットが正しくない\n");
    Put32(file, builder.slotAt(4), 0x7FFFFFFF);
    expect(130, 255, "デフォルトオフセットテーブルのカードオフセットが正しくない\n");
    Put32(file, DefaultWordAt(10), 0x7FFFFFFF);
    expect(130, 255, "システムカードのオフセットが正しくない\n");
    Put32(file, DefaultWordAt(511), first);
    expect(130, 255, "最初の追加オフセットチェインがオフセット情報カードと違う\n");
    Put16(file, builder.appendTable(0), 0xFFF4);
    expect(130, 255, "追加オフセットのカードIDが正しくない\n");
    Put32(file, GetField(file, hd::offsetCard) + size_t{10}, 0x7FFFFFFF);
    expect(130, 255, "追加オフセットのカードIDが正しくない\n");
    Put32(file, GetField(file, hd::offsetCard) + size_t{6}, 0x7FFFFFFF);
    expect(130, 255, "追加オフセットのファイルポインタが正しくない\n");
    SetField(file, hd::offsetCardSize, GetField(file, hd::offsetCardSize) - 256);
    expect(130, 255, "オフセット情報カードサイズが正しくない\n");
    Put16(file, GetField(file, hd::offsetCard), 0xFFF4);
    expect(130, 255, "オフセット情報カードIDが正しくない\n");
    file[first + size_t{10}] = 99;
    expect(134, 255, "カードデータ長テーブルが壊れている\n");
    Put16(file, first, 601);
    expect(134, 255, "最大カードIDより大きなカードIDがある\n");
    SetField(file, hd::itemSize, GetField(file, hd::itemSize) - 1);
    expect(130, 255, "項目全体情報領域の項目長データが異常\n");
    SetField(file, hd::unUsedCardID, 0);
    expect(134, 255, "未使用カードIDが異常\n");
    SetField(file, hd::offsetTable, 0x7FFFFFFF);
    expect(130, 255, "ボックスファイルのヘッダに異常なファイルポインタがある\n");
    SetField(file, hd::fileVersion, 0);
    expect(128, 255, "バージョンが違う %x %x\n");
    SetField(file, hd::fileId, 27);
    expect(130, 255, "ファイル拡張子とファイルIDが違う\n");
    SetField(file, hd::fileId, 1);
    expect(35, 255, "ファイルIDの異常\n");
    SetField(file, hd::fileMark, 0);
    expect(64, 255, "ファイルIDの異常");
}

}  // namespace
