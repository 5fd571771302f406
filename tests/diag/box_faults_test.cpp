// SPDX-License-Identifier: MIT
// Every fault of a box that its bytes can have: status, level, message, and a file that stays as it is.
#include "diag/bxd_diag_box.h"
#include "tests/support/diag_case.h"

namespace {

using namespace boxtest;

constexpr u32 kBroken = 71;
constexpr u32 kMissing = 66;
constexpr u32 kDamaged = 130;
constexpr u32 kBadId = 134;

const char* const kPointerText = "ボックスファイルのヘッダに異常なファイルポインタがある\n";
const char* const kItemShortText = "項目全体情報領域が短い\n";
const char* const kItemLengthText = "項目全体情報領域の項目長データが異常\n";
const char* const kItemTotalText = "項目全体情報領域の全体長データが異常\n";
const char* const kChainText = "ボックスファイルのカードチェインが異常\n";
const char* const kLengthTableText = "カードデータ長テーブルが壊れている\n";
const char* const kAppendIdText = "追加オフセットのカードIDが正しくない\n";
const char* const kCardSlotText = "デフォルトオフセットテーブルのカードオフセットが正しくない\n";
const char* const kAppendSlotText = "追加オフセットテーブルのカードオフセットが正しくない\n";
const char* const kSystemSlotText = "システムカードのオフセットが正しくない\n";
const char* const kIndexShortText = "参照インデックス領域が短い\n";

class BoxFaults : public DiagCase {
protected:
    // Cards in both kinds of table, a system card, a tombstone, a dead card, an index table.
    BoxFaults() : builder_(DefaultItems() + std::vector<Item>{{1, 0, "NAME", "name"}})
    {
        first_ = builder_.card(1, builder_.row({{"NAME", B("Sato")}}));
        builder_.dead(30);
        builder_.systemCard(1, 65300, builder_.row({{"NAME", B("settings")}}));
        builder_.card(2, builder_.row({{"ATTR", Bytes{0}}, {"NAME", B("gone")}}));
        builder_.card(510, builder_.row({{"NAME", B("Suzuki")}}));
        builder_.indexTable({});
        builder_.card(640, builder_.row({{"NAME", B("Tanaka")}}));
        box_ = builder_.build();
    }

    u32 field(const Field& f) const { return GetField(box_, f); }
    u32 size() const { return static_cast<u32>(box_.size()); }
    static u32 items() { return 5; }
    // The last place where a card can begin.
    u32 limit() const { return size() - 8 - 4 - items(); }

    Bytes with(const Field& f, u32 value) const
    {
        Bytes file = box_;
        SetField(file, f, value);
        return file;
    }
    Bytes withWord(u32 at, u32 value) const
    {
        Bytes file = box_;
        Put32(file, at, value);
        return file;
    }
    Bytes withHalf(u32 at, u32 value) const
    {
        Bytes file = box_;
        Put16(file, at, value);
        return file;
    }
    void expectAtAllLevels(const Bytes& file, u32 status, const std::string& message)
    {
        for (const u8 level : {u8{3}, u8{2}, u8{255}}) { expectFault(file, level, {status, level, message}); }
    }

    BoxBuilder builder_;
    u32 first_ = 0;
    Bytes box_;
};

TEST_F(BoxFaults, TheBoxIsSoundWithoutThem) { expectSoundAtAllLevels(box_); }

// --- the file as such -------------------------------------------------------------------------------------

TEST_F(BoxFaults, AFileWithoutTheMarkHasABadIdentifier)
{
    expectFault(with(hd::fileMark, 0xFE), 3, {64, 3, "ファイルIDの異常"});
    expectFault({}, 2, {kBroken, 2, "ファイルIDの異常"});
    expectFault({0xFF, 0}, 255, {kMissing, 255, "ファイルIDの異常"});
}

TEST_F(BoxFaults, AnExtensionOfAnotherKindIsAFault)
{
    const char* const text = "ファイル拡張子とファイルIDが違う\n";
    for (const char* name : {"F0:TEST.IDX", "F0:TEST.BO", "F0:TEST", "F0:BOX", "F0:TEST.BOX.OLD"}) {
        expectFault(box_, 3, {kDamaged, 3, text}, name);
    }
    expectFault(with(hd::fileId, 27), 2, {kDamaged, 2, text});
    // It comes before the version.
    Bytes file = with(hd::fileId, 28);
    SetField(file, hd::fileVersion, 0x20);
    expectFault(file, 3, {kDamaged, 3, text});
}

TEST_F(BoxFaults, AnotherVersionIsToldBesideTheOneThatIsKnown)
{
    expectFault(with(hd::fileVersion, 0x21), 3, {128, 3, "バージョンが違う %x %x\n"});
    forget();
    EXPECT_EQ(check(3).text, "バージョンが違う 21 31\n");
    expectSound(with(hd::fileVersion, 0x3F), 255);
}

TEST_F(BoxFaults, AnUnknownIdentifierIsAFaultWhateverTheExtensionIs)
{
    for (const u32 id : {0u, 15u, 17u, 26u, 29u, 255u}) {
        expectFault(with(hd::fileId, id), 3, {35, 3, "ファイルIDの異常\n"});
    }
    expectFault(with(hd::fileId, 17), 3, {35, 3, "ファイルIDの異常\n"}, "F0:TEST.TXT");
}

// --- the header -------------------------------------------------------------------------------------------

TEST_F(BoxFaults, AHeaderMustBeThereWhole)
{
    for (const size_t n : {size_t{4}, size_t{40}, size_t{71}}) {
        expectFault(Slice(box_, 0, n), 3, {kMissing, 3, "ボックスファイルのヘッダが短い\n"});
    }
}

TEST_F(BoxFaults, ABoxThatWasEmptyWhenItWasOpenedHasNoSize)
{
    put({});
    Fid file(kBox);
    ASSERT_TRUE(file.ok());
    put(box_);
    {
        Captured captured;
        EXPECT_EQ(BoxFileDiag(file.id(), 3, 1), kMissing);
        EXPECT_EQ(captured.text(), "ボックスファイルのサイズが獲得できない\n");
    }
    EXPECT_EQ(DiagEntry::Of(kBox).status, kMissing);
    EXPECT_TRUE(SameBytes(box_, get()));
}

TEST_F(BoxFaults, PositionsOfTheHeaderLeadIntoTheFile)
{
    const u32 n = size();
    for (const Field& f : {hd::cardOffset, hd::offsetCard, hd::indexTable}) {
        for (const u32 value : {n - 8, n - 1, n, 0x80000000u, 0xFFFFFFFEu}) {
            expectAtAllLevels(with(f, value), kDamaged, kPointerText);
        }
    }
    for (const Field& f : {hd::itemOffset, hd::offsetTable}) {
        for (const u32 value : {n, n + 1, 0x80000000u, 0xFFFFFFFEu}) {
            expectAtAllLevels(with(f, value), kDamaged, kPointerText);
        }
    }
    for (const auto& [pos, length] :
         {std::pair{hd::offsetCard, hd::offsetCardSize}, std::pair{hd::indexTable, hd::indexTableSize}}) {
        for (const u32 value : {n - field(pos), n, 0xFFFFFFFFu, 0u - field(pos)}) {
            expectAtAllLevels(with(length, value), kDamaged, kPointerText);
        }
    }
}

TEST_F(BoxFaults, ACardOffsetJustBelowTheLimitIsNoFaultOfTheHeader)
{
    expectSound(with(hd::cardOffset, size() - 9), 2);
}

TEST_F(BoxFaults, TheHintForAFreeIdIsOneToTheHighestAndOne)
{
    const char* const text = "未使用カードIDが異常\n";
    const u32 highest = field(hd::maxCardID);
    expectAtAllLevels(with(hd::unUsedCardID, 0), kBadId, text);
    expectAtAllLevels(with(hd::unUsedCardID, highest + 2), kBadId, text);
    expectSoundAtAllLevels(with(hd::unUsedCardID, highest + 1));
    expectSoundAtAllLevels(with(hd::unUsedCardID, 1));
    Bytes file = with(hd::maxCardID, 65535);
    SetField(file, hd::unUsedCardID, 65535);
    expectSound(file, 3);
}

// --- the item table ---------------------------------------------------------------------------------------

TEST_F(BoxFaults, AnItemTableThatTheFileCutsIsShortWhateverItsLength)
{
    const u32 rest = size() - field(hd::itemOffset);
    for (const u32 value : {rest + 1, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        expectAtAllLevels(with(hd::itemSize, value), kMissing, kItemShortText);
    }
}

TEST_F(BoxFaults, ItemsFillTheirTable)
{
    const u32 at = field(hd::itemOffset);
    const u32 length = field(hd::itemSize);
    expectAtAllLevels(with(hd::itemSize, length + 1), kDamaged, kItemTotalText);
    expectAtAllLevels(with(hd::itemSize, length - 1), kDamaged, kItemLengthText);
    expectAtAllLevels(with(hd::itemSize, 2), kDamaged, kItemLengthText);
    expectAtAllLevels(with(hd::itemSize, 1), kDamaged, kItemLengthText);
    expectAtAllLevels(with(hd::itemSize, 0), kDamaged, kItemTotalText);
    expectAtAllLevels(withHalf(at + 1, 0xFFFF), kDamaged, kItemLengthText);
    Bytes file = box_;
    file[at] = 4;
    expectAtAllLevels(file, kDamaged, kItemTotalText);
    file[at] = 6;
    expectAtAllLevels(file, kDamaged, kItemLengthText);
    // The last length is one too long, or one too short.
    const u32 last = at + length - static_cast<u32>(EncodeItemEntry(builder_.items().back()).size());
    expectAtAllLevels(withHalf(last, Get16(box_, last) + 1), kDamaged, kItemLengthText);
    expectAtAllLevels(withHalf(last, Get16(box_, last) - 1), kDamaged, kItemTotalText);
}

// --- the chain --------------------------------------------------------------------------------------------

TEST_F(BoxFaults, AChainThatLeavesTheFileIsBroken)
{
    for (const u32 length : {size(), 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        const Bytes file = withWord(first_ + 2, length);
        expectFault(file, 255, {kBroken, 255, kChainText});
        expectSound(file, 2);
    }
    // A dead card of 28 bytes, and a head that the file cuts.
    Bytes file = Slice(box_, 0, first_);
    file = file + EncodeHead(0, 22) + Bytes(22, 0) + Bytes{1, 0, 9, 0};
    SetField(file, hd::offsetCard, kNone);
    SetField(file, hd::indexTable, kNone);
    expectFault(file, 255, {kBroken, 255, kChainText});
}

TEST_F(BoxFaults, NoCardHasAnIdAboveTheHighest)
{
    Bytes file = with(hd::maxCardID, 639);
    SetField(file, hd::unUsedCardID, 1);
    expectFault(file, 255, {kBadId, 255, "最大カードIDより大きなカードIDがある\n"});
    expectSound(file, 2);
    // 65279 is the last normal id; 65280 is the card under edit, and no card of the tables.
    expectFault(withHalf(first_, 65279), 255, {kBadId, 255, "最大カードIDより大きなカードIDがある\n"});
    BoxBuilder edit(builder_);
    edit.editCard(edit.row());
    expectSoundAtAllLevels(edit.build());
}

TEST_F(BoxFaults, ALengthTableMustAgreeWithItsCard)
{
    const DiagWant want{kBadId, 255, kLengthTableText};
    const u32 length = Get32(box_, first_ + size_t{2});  // 4 + 5 lengths + 5 bytes
    ASSERT_EQ(length, 14u);
    for (const u32 tableSize : {length - 3, length, 0xFFFFu}) {
        expectFault(withHalf(first_ + 8, tableSize), 255, want);
    }
    Bytes file = box_;
    file[first_ + 10 + 4] = 5;  // one byte more than there is
    expectFault(file, 255, want);
    expectSound(file, 2);
    file[first_ + 10 + 4] = 3;  // one less: slack
    expectSound(file, 255);
    file[first_ + 10 + 4] = 0x80;  // a length field that its table cuts
    expectFault(file, 255, want);
    file[first_ + 10 + 4] = 0xC0;
    expectFault(file, 255, want);
}

// --- the offset card --------------------------------------------------------------------------------------

TEST_F(BoxFaults, AnOffsetCardBearsItsIdAndItsSize)
{
    const u32 at = field(hd::offsetCard);
    const char* const size = "オフセット情報カードサイズが正しくない\n";
    expectAtAllLevels(with(hd::offsetCard, at - 1), kDamaged, "オフセット情報カードIDが正しくない\n");
    expectFault(withHalf(at, 0), 3, {kDamaged, 3, "オフセット情報カードIDが正しくない\n"});
    expectAtAllLevels(with(hd::offsetCardSize, field(hd::offsetCardSize) - 1), kDamaged, size);
    expectAtAllLevels(with(hd::offsetCardSize, 0), kDamaged, size);
    expectFault(withWord(at + 2, 0xFFFFFFFF), 3, {kDamaged, 3, size});
}

TEST_F(BoxFaults, TheListLeadsToAppendTables)
{
    const u32 list = field(hd::offsetCard) + 6;
    const char* const text = "追加オフセットのファイルポインタが正しくない\n";
    for (const u32 pos : {size() - 522, size(), 0x80000000u, 0xFFFFFFFEu}) {
        expectAtAllLevels(withWord(list, pos), kDamaged, text);
        expectAtAllLevels(withWord(list + 4, pos), kDamaged, text);
    }
    expectAtAllLevels(withWord(list, first_), kDamaged, kAppendIdText);
    expectAtAllLevels(withWord(list + 4, first_), kDamaged, kAppendIdText);
}

TEST_F(BoxFaults, TheListBeginsWithTheFirstTableOfTheChain)
{
    const u32 list = field(hd::offsetCard) + 6;
    const char* const text = "最初の追加オフセットチェインがオフセット情報カードと違う\n";
    expectAtAllLevels(withWord(list, builder_.appendTable(1)), kDamaged, text);
    // Nothing behind the end of the list counts, and an empty list is held against the chain too.
    expectAtAllLevels(withWord(list, 0), kDamaged, text);
    expectAtAllLevels(withWord(list, kNone), kDamaged, text);
    Bytes file = withWord(list + 8, 0);
    Put32(file, list + size_t{12}, 1);
    expectSoundAtAllLevels(file);
}

TEST_F(BoxFaults, AnOffsetCardWithoutTablesGoesWithAChainWithoutThem)
{
    BoxBuilder box;
    box.card(1);
    box.reserveOffsetCard(1);
    expectSoundAtAllLevels(box.build());
    Bytes file = box.build();
    Put32(file, GetField(file, hd::offsetCard) + size_t{6}, 0);
    expectFault(file, 3, {kDamaged, 3, "最初の追加オフセットチェインがオフセット情報カードと違う\n"});
}

// --- the tables -------------------------------------------------------------------------------------------

TEST_F(BoxFaults, ADefaultTableThatTheFileCutsIsShort)
{
    const u32 pos = size() - 2047;
    ASSERT_GT(size(), 4100u);
    Bytes file = with(hd::offsetTable, pos);
    SetField(file, hd::offsetCard, kNone);
    expectFault(file, 2, {kMissing, 2, "デフォルトオフセットテーブル領域が短い\n"});
    SetField(file, hd::offsetTable, kNone);
    expectFault(file, 2, {kMissing, 2, "デフォルトオフセットテーブル領域が短い\n"});
    expectSound(file, 3);
    // With an offset card its last word is missed first.
    SetField(file, hd::offsetCard, field(hd::offsetCard));
    expectFault(file, 3, {kBroken, 3, "最初の追加オフセットチェインが読めない\n"});
}

TEST_F(BoxFaults, SystemSlotsLeadToWhereACardCanBegin)
{
    for (u32 n = 0; n <= 10; n++) {
        const Bytes file = withWord(DefaultWordAt(n), limit() + 1);
        expectFault(file, 2, {kDamaged, 2, kSystemSlotText});
        expectFault(file, 255, {kDamaged, 255, kSystemSlotText});
        expectSound(file, 3);
        expectSound(withWord(DefaultWordAt(n), limit()), 2);
        expectSound(withWord(DefaultWordAt(n), 0), 2);
    }
}

TEST_F(BoxFaults, CardSlotsDoSoToo)
{
    for (const u32 id : {1u, 3u, 500u, 501u, 510u, 628u, 629u, 640u, 756u}) {
        const char* const text = id <= 500 ? kCardSlotText : kAppendSlotText;
        for (const u32 pos : {limit() + 1, size(), 0xFFFFFFFEu}) {
            const Bytes file = withWord(builder_.slotAt(id), pos);
            expectFault(file, 2, {kDamaged, 2, text});
            expectFault(file, 255, {kDamaged, 255, text});
            expectSound(file, 3);
        }
        expectSound(withWord(builder_.slotAt(id), limit()), 2);
        expectSound(withWord(builder_.slotAt(id), 0), 2);
    }
}

TEST_F(BoxFaults, TheChainOfTablesLeadsFromTableToTable)
{
    const u32 link = builder_.appendTable(1) + 518;
    const u32 table = builder_.appendTable(0);
    struct Row {
        u32 pos;
        DiagWant want;
    };
    for (const Row& row : std::vector<Row>{
             {size(), {kBroken, 2, "追加オフセットチェインが読めない\n"}},
             {0x80000000, {kBroken, 2, "追加オフセットチェインが読めない\n"}},
             {0xFFFFFFFE, {kBroken, 2, "追加オフセットチェインが読めない\n"}},
             {size() - 1, {kMissing, 2, "追加オフセットチェインが短い\n"}},
             {size() - 5, {kMissing, 2, "追加オフセットチェインが短い\n"}},
             {0, {kDamaged, 2, kAppendIdText}},
             {first_, {kDamaged, 2, kAppendIdText}},
         }) {
        expectFault(withWord(link, row.pos), 2, row.want);
        expectSound(withWord(link, row.pos), 3);
    }
    // A table at the end of the file: nothing of its body, or half of it.
    Bytes file = withWord(link, size());
    file = file + EncodeHead(kAppendTableId, 0xFFFF0204);
    expectFault(file, 2, {kBroken, 2, "追加オフセット領域が読めない\n"});
    file.resize(file.size() + 515, 0xFF);
    expectFault(file, 2, {kMissing, 2, "追加オフセット領域が短い\n"});
    file.resize(file.size() + 1, 0xFF);
    expectSound(file, 2);
    // A circle of tables comes to an end.
    for (const u32 pos : {table, builder_.appendTable(1)}) {
        expectFault(withWord(link, pos), 2, {kDamaged, 2, kAppendIdText});
    }
}

TEST_F(BoxFaults, ChainTablesAndHeaderAgreeOnTheCards)
{
    const DiagWant normal{kDamaged, 255, "カードチェインで数えた通常カード数がオフセットテーブル上と違う\n"};
    const DiagWant live{kDamaged, 255, "カードチェインで数えた有効カード数がヘッダ上と違う\n"};
    for (const Bytes& file : {withWord(builder_.slotAt(1), 0), withWord(builder_.slotAt(640), kNone),
                              withWord(builder_.slotAt(77), first_), withHalf(first_, 0)}) {
        expectFault(file, 255, normal);
        expectSound(file, 2);
    }
    ASSERT_EQ(field(hd::cardCount), 3u);
    for (const u32 count : {1u, 2u, 4u, 65535u}) { expectFault(with(hd::cardCount, count), 255, live); }
    // A tombstone more.
    Bytes file = box_;
    file[first_ + 10 + 5] = 0;
    expectFault(file, 255, live);
}

TEST_F(BoxFaults, SystemCardsThatDoNotAgreeAreToldAndAreNoFault)
{
    const Bytes file = withWord(DefaultWordAt(1), kNone);
    expectSound(file, 255);
    const std::string text = "カードチェインで数えたシステムカード数がオフセットテーブル上と違う (0)!=(1)\n";
    EXPECT_NE(check(255).text.find(text), std::string::npos);
    EXPECT_EQ(check(2).text, "");
}

TEST_F(BoxFaults, FreeIdsBelowTheHintAreToldAndAreNoFault)
{
    expectSound(with(hd::unUsedCardID, 5), 255);
    EXPECT_EQ(check(255).text, "未使用カードIDより小さな未使用カードがある (3)<(5)\n"
                               "未使用カードIDより小さな未使用カードがある (4)<(5)\n");
    EXPECT_EQ(check(2).text, "");
    expectSound(with(hd::unUsedCardID, 3), 255);
    EXPECT_EQ(check(255).text, "");
    put(box_);
    const std::string all = check(255).text;
    EXPECT_NE(all.find(" (639)<(641)\n"), std::string::npos);
    EXPECT_EQ(all.find(" (640)<(641)\n"), std::string::npos);
}

// --- the index table --------------------------------------------------------------------------------------

TEST_F(BoxFaults, AnIndexTableBearsItsId)
{
    const u32 at = field(hd::indexTable);
    expectFault(withHalf(at, 0xFFF0), 3, {kDamaged, 3, "参照インデックス領域のカードIDが正しくない\n"});
    expectAtAllLevels(with(hd::indexTable, at + 1), kDamaged, "参照インデックス領域のカードIDが正しくない\n");
}

TEST_F(BoxFaults, AnIndexTableHoldsItsEntries)
{
    const u32 at = field(hd::indexTable);
    for (const u32 length : {0u, 1u, 5u}) {
        expectAtAllLevels(with(hd::indexTableSize, length), kMissing, kIndexShortText);
    }
    expectSoundAtAllLevels(with(hd::indexTableSize, 6));
    // An entry that leaves the table, one without room for a name, one whose name has no end.
    for (const u32 length : {511u, 0x7FFFu, 0xFFFEu, 1u, 10u}) {
        expectFault(withHalf(at + 6, length), 3, {kMissing, 3, kIndexShortText});
    }
    expectFault(withHalf(at + 6, 20), 3, {kMissing, 3, kIndexShortText});
    expectSound(withHalf(at + 6, 0), 3);
}

}  // namespace
