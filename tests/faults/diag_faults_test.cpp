// SPDX-License-Identifier: MIT
// The file check where calls of the host fail: each read, write, cut and allocation has a fault of its own,
// which is met in the order of the check, and changes nothing.
#include "diag/bxd_diag.h"
#include "diag/bxd_diag_index.h"
#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"
#include "tests/faults/fault_runner.h"

namespace {

using namespace faults;
using boxtest::BoxBuilder;
using boxtest::Bytes;
using boxtest::IndexBuilder;
using boxtest::operator+;

constexpr const char* kBoxName = "F0:T.BOX";
constexpr const char* kIndexName = "F0:T.IDX";

// A status and the message, without its line feed, of a check that met a fault.
struct DiagFind {
    u32 status;
    std::string message;

    bool operator==(const DiagFind&) const = default;
};

void PrintTo(const DiagFind& find, std::ostream* out) { *out << find.status << " " << find.message; }

class DiagFaults : public FaultTest {
protected:
    void SetUp() override
    {
        FaultTest::SetUp();
        BxdSetLanguage("");
        (void)_BxdnInit();
        BoxBuilder box;
        box.card(1);
        box.card(501);
        box.indexTable({});
        box_ = box.build();
        IndexBuilder index;
        index_ = index.created().entries({{1}, {2}}).build();
    }
    void TearDown() override
    {
        (void)_BxdnInit();
        FaultTest::TearDown();
    }

    void putFile(const std::string& name, const Bytes& bytes)
    {
        Files files;
        files[name.substr(3)] = boxtest::Text(bytes);
        putFiles(files);
    }
    Bytes file(const std::string& name) const { return boxtest::B(takeFiles().at(name.substr(3))); }

    // One check, of which the k-th call of that kind meets the fault: what is registered, or nothing.
    DiagFind met(const std::string& name, const std::function<u32()>& check, uint32_t kind, uint32_t k,
                 uint32_t action)
    {
        (void)_BxdnInit();
        testing::internal::CaptureStderr();
        Shim().watch(home().c_str());
        Shim().plan(kind, k, false, action);
        const u32 status = check();
        const uint32_t fired = Counts().fired;
        Shim().rest();
        const std::string text = testing::internal::GetCapturedStderr();
        const BxdErrorFile* entry = IsErrorFile(name.c_str());
        EXPECT_EQ(openRows(), 0u);
        if (entry == nullptr) {
            EXPECT_EQ(fired == 0 ? status : 0u, 0u) << "nothing failed";
            return {status, ""};
        }
        EXPECT_EQ(entry->status, status);
        EXPECT_NE(text.find(entry->message), std::string::npos) << text;
        std::string message = entry->message;
        while (!message.empty() && message.back() == '\n') { message.pop_back(); }
        return {status, message};
    }

    // What each call of that kind comes to, from the first to the last of a check that is not disturbed. The
    // file is put back for each, and a check that finds something leaves it as it is.
    std::vector<DiagFind> all(const std::string& name, const Bytes& bytes, const std::function<u32()>& check,
                              uint32_t kind, uint32_t action)
    {
        std::vector<DiagFind> finds;
        putFile(name, bytes);
        (void)met(name, check, kind, 10000, action);
        const uint32_t calls = Counts().counts[kind];
        for (uint32_t k = 1; k <= calls; k++) {
            putFile(name, bytes);
            finds.push_back(met(name, check, kind, k, action));
            if (!finds.back().message.empty()) { EXPECT_EQ(file(name), bytes) << finds.back().message; }
        }
        return finds;
    }
    std::vector<DiagFind> ofBox(u8 level, uint32_t kind, uint32_t action)
    {
        return all(
            kBoxName, box_, [level] { return BXDFileCheckSub(kBoxName, level, 0); }, kind, action);
    }
    std::vector<DiagFind> ofIndex(uint32_t kind, uint32_t action)
    {
        return all(
            kIndexName, index_, [] { return _BXDFileCheck(kIndexName); }, kind, action);
    }
    // A deep run over an index, which no name leads to.
    std::vector<DiagFind> ofEntries(uint32_t kind, uint32_t action)
    {
        const auto check = [] {
            const i32 fid = _BxdFileOpen(kIndexName, BXD_MODE_WRITE);
            if (fid < 0) { return u32{BXD_ERR_NOFILE}; }
            const u32 status = IndexFileDiag(static_cast<u8>(fid), 255);
            (void)BxdFileClose(static_cast<u8>(fid));
            return status;
        };
        return all(kIndexName, index_, check, kind, action);
    }

    bool hasAllocations()
    {
        Shim().watch(home().c_str());
        DisposeHeapHandle(NewHeapHandle(1));
        const bool counted = Counts().counts[kFaultAlloc] != 0;
        Shim().rest();
        return counted;
    }

    Bytes box_;
    Bytes index_;
};

// --- reads ------------------------------------------------------------------------------------------------

TEST_F(DiagFaults, EachReadOfABoxThatFailsHasItsFault)
{
    const std::vector<DiagFind> want = {
        {71, "ファイルIDの異常"},
        {71, "ボックスファイルのヘッダが読めない"},
        {71, "項目全体情報領域が読めない"},
        {71, "ボックスファイルのエンドマークが読めない"},
        {71, "オフセット情報カードIDが読めない"},
        {71, "オフセット情報カード領域が読めない"},
        {71, "追加オフセットのカードIDが読めない"},
        {71, "最初の追加オフセットチェインが読めない"},
        {71, "デフォルトオフセットテーブル領域が読めない"},
        {71, "追加オフセットチェインが読めない"},
        {71, "追加オフセット領域が読めない"},
        {71, "参照インデックス領域が読めない"},
    };
    EXPECT_EQ(ofBox(2, kFaultRead, kFaultFail), want);
}

TEST_F(DiagFaults, EachReadOfABoxThatComesShortHasItsFault)
{
    const std::vector<DiagFind> want = {
        {66, "ファイルIDの異常"},
        {66, "ボックスファイルのヘッダが短い"},
        {66, "項目全体情報領域が短い"},
        {66, "ボックスファイルのエンドマークがない"},
        {71, "オフセット情報カードIDが読めない"},
        {66, "オフセット情報カード領域が短い"},
        {71, "追加オフセットのカードIDが読めない"},
        {71, "最初の追加オフセットチェインが読めない"},
        {66, "デフォルトオフセットテーブル領域が短い"},
        {66, "追加オフセットチェインが短い"},
        {66, "追加オフセット領域が短い"},
        {66, "参照インデックス領域が短い"},
    };
    EXPECT_EQ(ofBox(2, kFaultRead, kFaultShort), want);
}

TEST_F(DiagFaults, TheChainAndItsLengthTablesHaveFaultsOfTheirOwn)
{
    const DiagFind chain = {71, "ボックスファイルのカードチェインが異常"};
    const DiagFind table = {134, "カードデータ長テーブルが壊れている"};
    std::vector<DiagFind> finds = ofBox(255, kFaultRead, kFaultFail);
    ASSERT_GT(finds.size(), 10u);
    finds.erase(finds.begin(), finds.begin() + 3);
    finds.resize(7);
    // Two cards with a head and a table each, and behind the first an append table; then the offset card.
    EXPECT_EQ(finds, (std::vector<DiagFind>{chain, table, chain, chain, table, chain, chain}));
    // Half of a table that is asked for in 512 bytes is more than it has.
    finds = ofBox(255, kFaultRead, kFaultShort);
    EXPECT_EQ(finds[3], chain);
    EXPECT_EQ(finds[4], (DiagFind{0, ""}));
}

TEST_F(DiagFaults, EachReadOfAnIndexThatFailsHasItsFault)
{
    const std::vector<DiagFind> want = {
        {71, "ファイルIDの異常"},
        {71, "インデックスファイルのヘッダが読めない"},
        {71, "インデックス情報領域が読めない"},
        {71, "カード数が読めない"},
        {71, "インデックスファイルのエンドマークが読めない"},
    };
    EXPECT_EQ(ofIndex(kFaultRead, kFaultFail), want);
    std::vector<DiagFind> deep = ofEntries(kFaultRead, kFaultFail);
    ASSERT_GT(deep.size(), 4u);
    EXPECT_EQ(deep[4], (DiagFind{71, "カードIDと属性の領域が読めない"}));
}

TEST_F(DiagFaults, EachReadOfAnIndexThatComesShortHasItsFault)
{
    const std::vector<DiagFind> want = {
        {66, "ファイルIDの異常"},
        {66, "インデックスファイルのヘッダが短い"},
        {66, "インデックス情報領域が短い"},
        {66, "カード数の領域が短い"},
        {66, "インデックスファイルのエンドマークが短い"},
    };
    EXPECT_EQ(ofIndex(kFaultRead, kFaultShort), want);
    std::vector<DiagFind> deep = ofEntries(kFaultRead, kFaultShort);
    ASSERT_GT(deep.size(), 4u);
    EXPECT_EQ(deep[4], (DiagFind{71, "カードIDと属性の領域が読めない"}));
}

// --- writes and cuts --------------------------------------------------------------------------------------

TEST_F(DiagFaults, AStampThatFailsIsAFaultAndTheBoxIsNotLookedAt)
{
    boxtest::SetField(box_, boxtest::hd::unUsedCardID, 0);
    const auto check = [] { return _BXDFileCheckAppliID(kBoxName, 0, 7); };
    EXPECT_EQ(all(kBoxName, box_, check, kFaultWrite, kFaultFail),
              (std::vector<DiagFind>{{71, "アプリIDが書けない"}}));
    EXPECT_EQ(DiagFind({134, "未使用カードIDが異常"}), met(kBoxName, check, kFaultWrite, 9, kFaultFail));
}

TEST_F(DiagFaults, AnEndMarkThatCannotBeWrittenIsAFault)
{
    boxtest::Put16(box_, box_.size() - 2, 0);
    EXPECT_EQ(ofBox(3, kFaultWrite, kFaultFail),
              (std::vector<DiagFind>{{71, "ボックスファイルのエンドマークがFFFFでない"}}));
}

TEST_F(DiagFaults, ATailThatCannotBeCutIsAFault)
{
    box_ = box_ + Bytes(30, 7);
    EXPECT_EQ(ofBox(255, kFaultTruncate, kFaultFail),
              (std::vector<DiagFind>{{71, "ボックスファイルのエンドマーク異常"}}));
    index_ = index_ + Bytes(30, 7);
    EXPECT_EQ(ofIndex(kFaultTruncate, kFaultFail),
              (std::vector<DiagFind>{{71, "インデックスファイルのエンドマークが異常"}}));
}

// --- memory -----------------------------------------------------------------------------------------------

TEST_F(DiagFaults, EachBlockThatIsNotThereHasItsFault)
{
    if (!hasAllocations()) { GTEST_SKIP() << "the allocations are not the library's own"; }
    const DiagFind notOpened = {64, ""};
    // Two blocks for the open file.
    EXPECT_EQ(ofBox(2, kFaultAlloc, kFaultFail),
              (std::vector<DiagFind>{notOpened,
                                     notOpened,
                                     {71, "項目全体情報領域用ヒープがとれない"},
                                     {71, "オフセット情報カード領域用ヒープがとれない"},
                                     {71, "デフォルトオフセットテーブル領域用ヒープがとれない"},
                                     {71, "参照インデックス領域用ヒープがとれない"}}));
    EXPECT_EQ(ofIndex(kFaultAlloc, kFaultFail),
              (std::vector<DiagFind>{notOpened, notOpened, {71, "インデックス情報領域用ヒープがとれない"}}));
    const DiagFind ids = {71, "カードIDダブリチェック領域用ヒープがとれない"};
    const std::vector<DiagFind> deep = ofEntries(kFaultAlloc, kFaultFail);
    ASSERT_EQ(deep.size(), 5u);
    EXPECT_EQ(deep[3], ids);
    EXPECT_EQ(deep[4], ids);
}

TEST_F(DiagFaults, WithoutMemoryForTheEntryTheStatusIsTheSame)
{
    if (!hasAllocations()) { GTEST_SKIP() << "the allocations are not the library's own"; }
    putFile(kBoxName, box_);
    testing::internal::CaptureStderr();
    Shim().watch(home().c_str());
    Shim().plan(kFaultAlloc, 3, true, kFaultFail);
    EXPECT_EQ(_BXDFileCheck(kBoxName), 71u);
    EXPECT_EQ(Shim().blocks(), 0u);
    Shim().rest();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "項目全体情報領域用ヒープがとれない\n");
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
}

TEST_F(DiagFaults, NoMemoryIsTakenForALengthThatTheFileDoesNotHave)
{
    if (!hasAllocations()) { GTEST_SKIP() << "the allocations are not the library's own"; }
    boxtest::SetField(box_, boxtest::hd::itemSize, 0x40000000);
    putFile(kBoxName, box_);
    // The first block that is refused would be that of the items.
    EXPECT_EQ(met(
                  kBoxName, [] { return _BXDFileCheck(kBoxName); }, kFaultAlloc, 3, kFaultFail)
                  .message,
              "");
    EXPECT_EQ(met(
                  kBoxName, [] { return _BXDFileCheck(kBoxName); }, kFaultAlloc, 9, kFaultFail)
                  .message,
              "項目全体情報領域が短い");
}

// --- room -------------------------------------------------------------------------------------------------

TEST_F(DiagFaults, ANameStaysInAFullStorage)
{
    BoxBuilder box;
    box.card(1);
    box.indexTable({{"GONE.IDX"}});
    const Bytes bytes = box.build();
    const auto check = [] { return _BXDFileCheck(kBoxName); };
    Shim().statistics([](uint32_t statistic, uint32_t, uint32_t) { return statistic == 0 ? "0" : "0"; });
    putFile(kBoxName, bytes);
    EXPECT_EQ(met(kBoxName, check, kFaultRead, 10000, kFaultFail), (DiagFind{0, ""}));
    EXPECT_EQ(file(kBoxName), bytes);
    Shim().statistics([](uint32_t, uint32_t, uint32_t) { return "100000000"; });
    EXPECT_EQ(met(kBoxName, check, kFaultRead, 10000, kFaultFail), (DiagFind{0, ""}));
    EXPECT_NE(file(kBoxName), bytes);
    EXPECT_EQ(boxtest::TakeIndexTableApart(file(kBoxName)).names(), std::vector<std::string>{});
}

}  // namespace
