// SPDX-License-Identifier: MIT
#include "diag/bxd_diag_faults.h"

#include "box/bxd_box_format.h"
#include "storage/bxd_file.h"

namespace {

constexpr u16 kOfCall = 0;
constexpr u8 kOfRun = 0;
constexpr u8 kDeepest = 255;

constexpr u16 kMissing = BXD_ERR_NOTFOUND;
constexpr u16 kFail = BXD_ERR_FAIL;
constexpr u16 kDamaged = BXD_DIAG_DAMAGED;
constexpr u16 kBadId = BXD_DIAG_BADID;

}  // namespace

using enum DiagFault;

// clang-format off
constexpr DiagFaultRow kDiagFaults[kDiagFaultCount] = {
    // bad file identifier; the extension does not fit it; wrong version; cannot write the application's name
    {kIdentifierRead, kOfCall, kOfRun, "ファイルIDの異常"},
    {kExtent, kDamaged, kOfRun, "ファイル拡張子とファイルIDが違う\n"},
    {kVersion, BXD_DIAG_VERSION, kOfRun, "バージョンが違う %x %x\n"},
    {kStamp, kOfCall, kOfRun, "アプリIDが書けない\n"},
    {kIdentifier, BXD_ERR_RANGE, kOfRun, "ファイルIDの異常\n"},

    // a box's header: unreadable, short, no size, a bad position, a bad hint for a free id
    {kBoxHeaderRead, kOfCall, kOfRun, "ボックスファイルのヘッダが読めない\n"},
    {kBoxHeaderShort, kMissing, kOfRun, "ボックスファイルのヘッダが短い\n"},
    {kBoxSize, kMissing, kOfRun, "ボックスファイルのサイズが獲得できない\n"},
    {kBoxPointer, kDamaged, kOfRun, "ボックスファイルのヘッダに異常なファイルポインタがある\n"},
    {kUnUsedCardId, kBadId, kOfRun, "未使用カードIDが異常\n"},
    // the item table: no memory, unreadable, short, an item leaves it, the items do not fill it
    {kItemHeap, kFail, kOfRun, "項目全体情報領域用ヒープがとれない\n"},
    {kItemRead, kOfCall, kOfRun, "項目全体情報領域が読めない\n"},
    {kItemShort, kMissing, kOfRun, "項目全体情報領域が短い\n"},
    {kItemLength, kDamaged, kOfRun, "項目全体情報領域の項目長データが異常\n"},
    {kItemTotal, kDamaged, kOfRun, "項目全体情報領域の全体長データが異常\n"},
    // the chain: broken, an id above the highest, a bad length table; the file goes on behind it
    {kChainHead, kOfCall, kOfRun, "ボックスファイルのカードチェインが異常\n"},
    {kChainId, kBadId, kOfRun, "最大カードIDより大きなカードIDがある\n"},
    {kLengthTable, kBadId, kDeepest, "カードデータ長テーブルが壊れている\n"},
    {kBoxTail, kDamaged, kOfRun, "ボックスファイルのエンドマーク異常\n"},
    // the end mark: unreadable, not there, not FFFF
    {kBoxEndRead, kOfCall, kOfRun, "ボックスファイルのエンドマークが読めない\n"},
    {kBoxEndShort, kMissing, kOfRun, "ボックスファイルのエンドマークがない\n"},
    {kBoxEndMark, kDamaged, kOfRun, "ボックスファイルのエンドマークがFFFFでない\n"},
    // the offset card: its id unreadable or wrong, its size wrong, no memory, unreadable, short
    {kOffsetCardHead, kOfCall, kOfRun, "オフセット情報カードIDが読めない\n"},
    {kOffsetCardId, kDamaged, kOfRun, "オフセット情報カードIDが正しくない\n"},
    {kOffsetCardSize, kDamaged, kOfRun, "オフセット情報カードサイズが正しくない\n"},
    {kOffsetCardHeap, kFail, kOfRun, "オフセット情報カード領域用ヒープがとれない\n"},
    {kOffsetCardRead, kOfCall, kOfRun, "オフセット情報カード領域が読めない\n"},
    {kOffsetCardShort, kMissing, kOfRun, "オフセット情報カード領域が短い\n"},
    // what it leads to: no place for a table, a table's id unreadable or wrong; the chain begins elsewhere
    {kAppendPointer, kDamaged, kOfRun, "追加オフセットのファイルポインタが正しくない\n"},
    {kAppendIdRead, kOfCall, kOfRun, "追加オフセットのカードIDが読めない\n"},
    {kAppendId, kDamaged, kOfRun, "追加オフセットのカードIDが正しくない\n"},
    {kFirstChainRead, kOfCall, kOfRun, "最初の追加オフセットチェインが読めない\n"},
    {kFirstChain, kDamaged, kOfRun, "最初の追加オフセットチェインがオフセット情報カードと違う\n"},
    // the default table: no memory, unreadable, short, a system slot or a card's slot behind the last card
    {kTableHeap, kFail, kOfRun, "デフォルトオフセットテーブル領域用ヒープがとれない\n"},
    {kTableRead, kOfCall, kOfRun, "デフォルトオフセットテーブル領域が読めない\n"},
    {kTableShort, kMissing, kOfRun, "デフォルトオフセットテーブル領域が短い\n"},
    {kSystemSlot, kDamaged, kOfRun, "システムカードのオフセットが正しくない\n"},
    {kCardSlot, kDamaged, kOfRun, "デフォルトオフセットテーブルのカードオフセットが正しくない\n"},
    // the append tables: head unreadable or short, body unreadable or short, a slot behind the last card
    {kAppendHeadRead, kOfCall, kOfRun, "追加オフセットチェインが読めない\n"},
    {kAppendHeadShort, kMissing, kOfRun, "追加オフセットチェインが短い\n"},
    {kAppendBodyRead, kOfCall, kOfRun, "追加オフセット領域が読めない\n"},
    {kAppendBodyShort, kMissing, kOfRun, "追加オフセット領域が短い\n"},
    {kAppendSlot, kDamaged, kOfRun, "追加オフセットテーブルのカードオフセットが正しくない\n"},
    // the chain's count of cards is not that of the tables, or that of the live ones not the header's
    {kNormalCards, kDamaged, kDeepest, "カードチェインで数えた通常カード数がオフセットテーブル上と違う\n"},
    {kLiveCards, kDamaged, kDeepest, "カードチェインで数えた有効カード数がヘッダ上と違う\n"},
    // the index table: no memory, unreadable, short, a wrong id
    {kIndexTableHeap, kFail, kOfRun, "参照インデックス領域用ヒープがとれない\n"},
    {kIndexTableRead, kOfCall, kOfRun, "参照インデックス領域が読めない\n"},
    {kIndexTableShort, kMissing, kOfRun, "参照インデックス領域が短い\n"},
    {kIndexTableId, kDamaged, kOfRun, "参照インデックス領域のカードIDが正しくない\n"},

    // an index's header: unreadable, short, no size, a bad position of the card table or the records
    {kIndexHeaderRead, kOfCall, kOfRun, "インデックスファイルのヘッダが読めない\n"},
    {kIndexHeaderShort, kMissing, kOfRun, "インデックスファイルのヘッダが短い\n"},
    {kIndexSize, kMissing, kOfRun, "インデックスファイルのサイズが獲得できない\n"},
    {kTablePos, kDamaged, kOfRun, "カード領域へのファイルポインタが異常\n"},
    {kInfoPos, kDamaged, kOfRun, "インデックス情報領域へのファイルポインタが異常\n"},
    // the records: no memory, unreadable, short, a record leaves the area or they do not fill it
    {kInfoHeap, kFail, kOfRun, "インデックス情報領域用ヒープがとれない\n"},
    {kInfoRead, kOfCall, kOfRun, "インデックス情報領域が読めない\n"},
    {kInfoShort, kMissing, kOfRun, "インデックス情報領域が短い\n"},
    {kInfoRecord, kDamaged, kOfRun, "インデックス情報項目長が異常\n"},
    // the card table: count unreadable or short; bytes behind it that stay; the file ends too early
    {kCountRead, kOfCall, kOfRun, "カード数が読めない\n"},
    {kCountShort, kMissing, kOfRun, "カード数の領域が短い\n"},
    {kIndexTail, kOfCall, kOfRun, "インデックスファイルのエンドマークが異常\n"},
    {kIndexTooShort, kBadId, kOfRun, "インデックスファイルのサイズ異常\n"},
    // its end mark: unreadable, short, not FFFF
    {kIndexEndRead, kOfCall, kOfRun, "インデックスファイルのエンドマークが読めない\n"},
    {kIndexEndShort, kMissing, kOfRun, "インデックスファイルのエンドマークが短い\n"},
    {kIndexEndMark, kBadId, kOfRun, "インデックスファイルのエンドマークがFFFFでない\n"},
    // its entries: no memory, unreadable, a bad id, an id twice, hidden in an index that hides none
    {kEntriesHeap, kFail, kOfRun, "カードIDダブリチェック領域用ヒープがとれない\n"},
    {kEntriesRead, kOfCall, kOfRun, "カードIDと属性の領域が読めない\n"},
    {kEntryId, kDamaged, kOfRun, "カードIDが異常\n"},
    {kEntryTwice, kDamaged, kOfRun, "同じカードIDがある\n"},
    {kEntryHidden, kDamaged, kOfRun, "異常重複ビットカードがある\n"},
    // made under another language or another order of texts
    {kLanguage, BXD_DIAG_INDEX, kOfRun, "互換性のない言語モードかソートバージョン\n"},
};
// clang-format on

namespace {

constexpr bool RowsStandInTheirPlaces()
{
    for (u32 i = 0; i < kDiagFaultCount; ++i) {
        if (kDiagFaults[i].fault != static_cast<DiagFault>(i)) { return false; }
    }
    return true;
}
static_assert(RowsStandInTheirPlaces());

}  // namespace

namespace bxd {

void BeginDiag(DiagRun* run, u8 fid, u8 level)
{
    run->fid = fid;
    run->level = level;
    run->name[0] = '\0';
    (void)BxdFileName(fid, run->name);
}

u32 ReportFault(const DiagRun& run, DiagFault fault, u32 status, u32 first, u32 second)
{
    const DiagFaultRow& row = kDiagFaults[static_cast<u32>(fault)];
    u16 told = status == BXD_OK ? row.status : static_cast<u16>(status);
    u8 level = row.level == kOfRun ? run.level : row.level;
    (void)BxdSetErrorFileName(run.name, told, level, row.message, first, second);
    return told;
}

u32 ReadForDiag(const DiagRun& run, uint64_t pos, void* buf, u32 len)
{
    if (pos > kFilePositionMax) { return BXD_ERR_FAIL; }
    return ReadExactly(run.fid, static_cast<u32>(pos), buf, len, kDiagShort);
}

u32 ReportRead(const DiagRun& run, u32 readResult, DiagFault failed, DiagFault cutShort)
{
    return readResult == kDiagShort ? ReportFault(run, cutShort) : ReportFault(run, failed, readResult);
}

u32 ReportRead(const DiagRun& run, u32 readResult, DiagFault failed)
{
    return ReportFault(run, failed, readResult == kDiagShort ? static_cast<u32>(BXD_ERR_FAIL) : readResult);
}

}  // namespace bxd
