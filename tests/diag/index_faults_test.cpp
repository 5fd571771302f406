// SPDX-License-Identifier: MIT
// Every fault of an index that its bytes can have: status, level, message, and a file that stays as it is.
#include "diag/bxd_diag_index.h"
#include "tests/support/diag_case.h"

namespace {

using namespace boxtest;

constexpr u32 kBroken = 71;
constexpr u32 kMissing = 66;
constexpr u32 kDamaged = 130;
constexpr u32 kBadId = 134;
constexpr u32 kMakeAnew = 135;

const char* const kTablePosText = "カード領域へのファイルポインタが異常\n";
const char* const kInfoPosText = "インデックス情報領域へのファイルポインタが異常\n";
const char* const kRecordText = "インデックス情報項目長が異常\n";
const char* const kSizeText = "インデックスファイルのサイズ異常\n";
const char* const kLanguageText = "互換性のない言語モードかソートバージョン\n";

class IndexDiag : public DiagCase {
protected:
    IndexDiag()
    {
        BxdSetLanguage("");
        index_.created().record(1, "TEST.BOX").entries({{3}, {1}, {2}});
        file_ = index_.build();
    }
    ~IndexDiag() override { BxdSetLanguage(""); }

    Bytes with(const Field& f, u32 value) const
    {
        Bytes file = file_;
        SetField(file, f, value);
        return file;
    }
    u32 size() const { return static_cast<u32>(file_.size()); }
    u32 tablePos() const { return GetField(file_, ix::tablePos); }

    // The same at whatever level: an index has one.
    void expectAtAllLevels(const Bytes& file, u32 status, const std::string& message)
    {
        for (const u8 level : {u8{3}, u8{2}, u8{255}, u8{9}}) {
            expectFault(file, level, {status, 3, message}, kDiagIndex);
        }
    }
    // IndexFileDiag itself, which may go deeper.
    Told diag(const Bytes& file, u8 level)
    {
        forget();
        put(file, kDiagIndex);
        const Fid fid(kDiagIndex);
        Captured captured;
        const u32 status = IndexFileDiag(fid.id(), level);
        EXPECT_TRUE(SameBytes(file, get(kDiagIndex)));
        return {status, captured.text()};
    }
    void expectDeepFault(const Bytes& file, const DiagWant& want)
    {
        const Told told = diag(file, 255);
        EXPECT_EQ(told.status, want.status);
        EXPECT_EQ(told.text, want.message);
        const DiagEntry entry = DiagEntry::Of(kDiagIndex);
        EXPECT_EQ(entry.status, want.status);
        EXPECT_EQ(entry.level, want.level);
        EXPECT_EQ(entry.message, want.message);
        expectSoundAtAllLevels(file, kDiagIndex);
        EXPECT_EQ(diag(file, 3).status, 0u);
        EXPECT_EQ(diag(file, 2).status, 0u);
    }

    IndexBuilder index_;
    Bytes file_;
};

TEST_F(IndexDiag, TheIndexIsSoundWithoutThem)
{
    expectSoundAtAllLevels(file_, kDiagIndex);
    EXPECT_EQ(diag(file_, 255).status, 0u);
    expectSoundAtAllLevels(with(ix::fileId, 28), "F0:TEST.TDX");
}

TEST_F(IndexDiag, ItsExtensionAndVersionAreLookedAtFirst)
{
    const char* const text = "ファイル拡張子とファイルIDが違う\n";
    for (const char* name : {"F0:TEST.BOX", "F0:TEST", "F0:TEST.IDY", "F0:TEST.TD"}) {
        expectFault(file_, 3, {kDamaged, 3, text}, name);
    }
    Bytes file = with(ix::fileVersion, 0x1F);
    expectFault(file, 3, {128, 3, "バージョンが違う %x %x\n"}, kDiagIndex);
    forget();
    EXPECT_EQ(check(3, kDiagIndex).text, "バージョンが違う 1f 30\n");
    SetField(file, ix::fileVersion, 0xFF);  // barred by a sort that failed
    expectFault(file, 3, {128, 3, "バージョンが違う %x %x\n"}, kDiagIndex);
    forget();
    EXPECT_EQ(check(3, kDiagIndex).text, "バージョンが違う ff 30\n");
    expectSound(with(ix::fileVersion, 0x3F), 3, kDiagIndex);
}

// --- the header -------------------------------------------------------------------------------------------

TEST_F(IndexDiag, AHeaderMustBeThereWhole)
{
    for (const size_t n : {size_t{4}, size_t{23}}) {
        expectAtAllLevels(Slice(file_, 0, n), kMissing, "インデックスファイルのヘッダが短い\n");
    }
}

TEST_F(IndexDiag, AnIndexThatWasEmptyWhenItWasOpenedHasNoSize)
{
    put({}, kDiagIndex);
    const Fid fid(kDiagIndex);
    put(file_, kDiagIndex);
    Captured captured;
    EXPECT_EQ(IndexFileDiag(fid.id(), 3), kMissing);
    EXPECT_EQ(captured.text(), "インデックスファイルのサイズが獲得できない\n");
    EXPECT_EQ(DiagEntry::Of(kDiagIndex).status, kMissing);
}

TEST_F(IndexDiag, PositionsOfTheHeaderLeadIntoTheFile)
{
    for (const u32 pos : {size() + 1, 0x80000000u, 0xFFFFFFFEu}) {
        expectAtAllLevels(with(ix::tablePos, pos), kDamaged, kTablePosText);
    }
    for (const u32 pos : {tablePos(), tablePos() + 1, size() + 1, 0x80000000u, 0xFFFFFFFEu}) {
        expectAtAllLevels(with(ix::infoPos, pos), kDamaged, kInfoPosText);
    }
    Bytes file = with(ix::infoPos, size() + 1);
    SetField(file, ix::tablePos, kNone);
    expectAtAllLevels(file, kDamaged, kInfoPosText);
    // At the end of the file there is no table, and there are no records.
    expectAtAllLevels(with(ix::tablePos, size()), kDamaged, kRecordText);
    SetField(file, ix::infoPos, size());
    expectAtAllLevels(file, kDamaged, kRecordText);
}

// --- the records ------------------------------------------------------------------------------------------

TEST_F(IndexDiag, RecordsFillTheirArea)
{
    const size_t language = 24;
    const size_t name = language + 5 + 4;
    ASSERT_EQ(file_[name], 1);
    for (const u32 length : {1u, 3u, 0x100u, 0xFFFFu}) {
        Bytes file = file_;
        Put16(file, language + 1, length);
        expectAtAllLevels(file, kDamaged, kRecordText);
    }
    for (const u32 length : {7u, 9u, 10u, 0xFFFFu}) {
        Bytes file = file_;
        Put16(file, name + 1, length);
        expectAtAllLevels(file, kDamaged, kRecordText);
    }
    Bytes file = file_;
    file[name] = 0;  // the end tag is not the last byte
    expectAtAllLevels(file, kDamaged, kRecordText);
    file = file_;
    file[tablePos() - 1] = 7;  // there is no end tag
    expectAtAllLevels(file, kDamaged, kRecordText);
    expectAtAllLevels(with(ix::tablePos, tablePos() - 1), kDamaged, kRecordText);
    expectAtAllLevels(with(ix::tablePos, tablePos() + 1), kDamaged, kRecordText);
    expectAtAllLevels(with(ix::infoPos, 23), kDamaged, kRecordText);
}

TEST_F(IndexDiag, AnAreaOfMoreThan65535BytesIsTakenForAShorterOne)
{
    IndexBuilder index;
    index.created().record(200, Bytes(65535 - 9 - 3 - 1, 7));
    expectSoundAtAllLevels(index.build(), kDiagIndex);
    index.record(201, Bytes{});
    expectAtAllLevels(index.build(), kDamaged, kRecordText);
    IndexBuilder whole;  // 65536 bytes count as none
    whole.created().record(200, Bytes(65536 - 9 - 3 - 1, 7));
    expectAtAllLevels(whole.build(), kDamaged, kRecordText);
}

// --- the card table ---------------------------------------------------------------------------------------

TEST_F(IndexDiag, ACountMustBeThere)
{
    Bytes file = Slice(file_, 0, tablePos());
    expectAtAllLevels(file, kBroken, "カード数が読めない\n");
    file.push_back(3);
    expectAtAllLevels(file, kMissing, "カード数の領域が短い\n");
}

TEST_F(IndexDiag, AFileThatEndsBeforeItsTableIsOfAWrongSize)
{
    for (u32 n = tablePos() + 2; n < size(); n++) {
        expectFault(Slice(file_, 0, n), 3, {kBadId, 3, kSizeText}, kDiagIndex);
    }
    for (const u32 count : {4u, 65535u}) {
        Bytes file = file_;
        Put16(file, tablePos(), count);
        expectAtAllLevels(file, kBadId, kSizeText);
    }
}

TEST_F(IndexDiag, ATableEndsInItsMark)
{
    const char* const text = "インデックスファイルのエンドマークがFFFFでない\n";
    for (const u32 mark : {0u, 0xFFFEu, 0xFEFFu}) {
        Bytes file = file_;
        Put16(file, size() - 2, mark);
        expectAtAllLevels(file, kBadId, text);
    }
}

// --- the entries, which only a deep run looks at ----------------------------------------------------------

TEST_F(IndexDiag, AnEntryHasTheIdOfACard)
{
    const DiagWant want{kDamaged, 255, "カードIDが異常\n"};
    for (const u32 id : {0u, 65281u, 65535u}) {
        Bytes file = file_;
        Put16(file, tablePos() + 2 + 4, id);
        expectDeepFault(file, want);
    }
    for (const u32 id : {65279u, 65280u}) {
        Bytes file = file_;
        Put16(file, tablePos() + 2 + 4, id);
        EXPECT_EQ(diag(file, 255).status, 0u);
    }
}

TEST_F(IndexDiag, NoCardStandsInAnIndexTwice)
{
    const DiagWant want{kDamaged, 255, "同じカードIDがある\n"};
    for (const u32 at : {4u, 8u}) {
        Bytes file = file_;
        Put16(file, tablePos() + size_t{2} + at, 3);
        expectDeepFault(file, want);
    }
    std::vector<IndexEntry> all;
    for (u32 id = 1; id <= 65280; id++) { all.push_back({id}); }
    IndexBuilder full;
    EXPECT_EQ(diag(full.created().entries(all).build(), 255).status, 0u);
}

TEST_F(IndexDiag, OfMoreEntriesThanThereAreIdsTheFirstIsLookedAt)
{
    std::vector<IndexEntry> all(65281, IndexEntry{5});
    IndexBuilder index;
    EXPECT_EQ(diag(index.created().entries(all).build(), 255).status, 0u);
    all[0].cardId = 0;
    IndexBuilder bad;
    EXPECT_EQ(diag(bad.created().entries(all).build(), 255).status, kDamaged);
}

TEST_F(IndexDiag, OnlyAFilteredIndexHidesEntries)
{
    const DiagWant want{kDamaged, 255, "異常重複ビットカードがある\n"};
    for (const u8 mode : {u8{0}, u8{1}, u8{2}}) {
        IndexBuilder index;
        index.created().record(32, Bytes{mode}).entries({{3}, {1, 0x47, 1}});
        if (mode == 1) {
            EXPECT_EQ(diag(index.build(), 255).status, 0u);
        } else {
            expectDeepFault(index.build(), want);
        }
    }
    IndexBuilder none;
    expectDeepFault(none.created().entries({{3, 0x47, 1}}).build(), want);
    IndexBuilder other;  // the other bits of the flags say nothing
    EXPECT_EQ(diag(other.created().entries({{3, 0x47, 0xFE}}).build(), 255).status, 0u);
}

TEST_F(IndexDiag, OfOneEntryTheIdComesFirstThenTheRepeatThenTheFlag)
{
    IndexBuilder index;
    Bytes file = index.created().entries({{3}, {0, 0x47, 1}}).build();
    EXPECT_EQ(diag(file, 255).text, "カードIDが異常\n");
    Put16(file, file.size() - 6, 3);
    EXPECT_EQ(diag(file, 255).text, "同じカードIDがある\n");
    Put16(file, file.size() - 6, 4);
    EXPECT_EQ(diag(file, 255).text, "異常重複ビットカードがある\n");
}

// --- the language -----------------------------------------------------------------------------------------

TEST_F(IndexDiag, AnIndexOfAnotherLanguageIsToBeMadeAnew)
{
    IndexBuilder japanese;
    const Bytes ja = japanese.created("ja").build();
    expectAtAllLevels(ja, kMakeAnew, kLanguageText);
    forget();
    EXPECT_EQ(check(3, kDiagIndex).text, std::string("BXD_LANGUAGE_ERR F0:TEST.IDX ja 1\n") + kLanguageText);
    BxdSetLanguage("de");
    expectAtAllLevels(ja, kMakeAnew, kLanguageText);
    expectSound(file_, 3, kDiagIndex);
    BxdSetLanguage("JA");
    expectSound(ja, 3, kDiagIndex);
    expectAtAllLevels(file_, kMakeAnew, kLanguageText);
}

TEST_F(IndexDiag, AnotherVersionOfTheSortCodesIsToo)
{
    for (const u8 version : {u8{0}, u8{2}, u8{255}}) {
        IndexBuilder index;
        expectAtAllLevels(index.record(33, "en").record(34, Bytes{version}).build(), kMakeAnew,
                          kLanguageText);
    }
}

TEST_F(IndexDiag, RecordsOfAnotherLengthAreNone)
{
    IndexBuilder language;
    BxdSetLanguage("ja");
    expectAtAllLevels(language.record(33, "jap").record(34, Bytes{1}).build(), kMakeAnew, kLanguageText);
    BxdSetLanguage("");
    IndexBuilder version;
    expectAtAllLevels(version.record(33, "en").record(34, Bytes{1, 0}).build(), kMakeAnew, kLanguageText);
    IndexBuilder none;
    expectAtAllLevels(none.area().build(), kMakeAnew, kLanguageText);
    forget();
    EXPECT_EQ(check(3, kDiagIndex).text, std::string("BXD_LANGUAGE_ERR F0:TEST.IDX  0\n") + kLanguageText);
}

TEST_F(IndexDiag, WithoutAnAreaTheTableIsNotLookedAt)
{
    const Bytes file = with(ix::infoPos, kNone);
    expectAtAllLevels(file, kMakeAnew, kLanguageText);
    EXPECT_EQ(diag(file, 255).status, kMakeAnew);
    IndexBuilder bare;
    expectAtAllLevels(bare.build(), kMakeAnew, kLanguageText);
}

TEST_F(IndexDiag, WithoutATableRecordsAreEnough)
{
    IndexBuilder index;
    const Bytes file = index.created().record(1, "TEST.BOX").build();
    expectSoundAtAllLevels(file, kDiagIndex);
    EXPECT_EQ(diag(file, 255).status, 0u);
    IndexBuilder empty;
    expectSoundAtAllLevels(empty.created().table().build(), kDiagIndex);
}

}  // namespace
