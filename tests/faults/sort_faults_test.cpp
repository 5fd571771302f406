// SPDX-License-Identifier: MIT
// Compares that meet failing reads and no memory: they give 0, leave nothing behind, and do well afterwards.
// And what a compare costs: texts that differ in their heads take one read and no memory.
#include "match/bxd_sort_cmp.h"
#include "match/bxd_sort_cond.h"
#include "tests/faults/fault_runner.h"
#include "tests/support/box_builder.h"

namespace {

using namespace faults;
using boxtest::B;
using boxtest::Bytes;
using boxtest::operator+;

constexpr u8 kSjisItem = 5;
constexpr u8 kUtf8Item = 6;

class SortFaults : public FaultTest {
protected:
    void TearDown() override
    {
        Shim().rest();
        if (fid_ >= 0) { EXPECT_EQ(BxdFileClose(static_cast<u8>(fid_)), 0u); }
        FaultTest::TearDown();
    }

    // A box with a card, a pivot, and both texts in it as Shift-JIS and as UTF-8.
    void store(const Bytes& card, const Bytes& pivot)
    {
        boxtest::BoxBuilder builder(
            boxtest::DefaultItems() +
            std::vector<boxtest::Item>{{1, 0, "SJIS", "text"}, {17, 0, "UTF8", "text"}});
        card_ = static_cast<i32>(builder.card(1, builder.row({{"SJIS", card}, {"UTF8", card}})));
        pivot_ = static_cast<i32>(builder.card(2, builder.row({{"SJIS", pivot}, {"UTF8", pivot}})));
        const Bytes box = builder.build();
        if (fid_ >= 0) { EXPECT_EQ(BxdFileClose(static_cast<u8>(fid_)), 0u); }
        putFiles({{"T.BOX", std::string(box.begin(), box.end())}});
        fid_ = BxdFileOpen("F0:T.BOX", BXD_MODE_READ);
        ASSERT_GE(fid_, 0);
    }

    u8 fid() const { return static_cast<u8>(fid_); }

    void setKeys(u8 item, u8 code)
    {
        keys_[0] = {};
        keys_[0].type = item == kSjisItem ? 1 : 17;
        keys_[0].item = item;
        keys_[0].code = code;
        keys_[1].type = 0;
    }

    u32 load() { return MakeSortCondition(fid(), pivot_, keys_); }
    u32 compare() { return static_cast<u32>(SortCmpCard(fid(), card_, keys_)); }

    // The reads of an undisturbed compare.
    u32 readsOf(u8 item, u8 code)
    {
        setKeys(item, code);
        EXPECT_NE(load(), 0u);
        Shim().watch(home().c_str());
        EXPECT_NE(compare(), 0u);
        Shim().rest();
        DisposeStrPtr(keys_);
        return Counts().counts[kFaultRead];
    }

    // What a step gives with the k-th call of a kind failing.
    template <typename Step>
    u32 failing(u32 kind, u32 k, Step step)
    {
        Shim().watch(home().c_str());
        Shim().plan(kind, k, false, kFaultFail);
        const u32 result = step();
        fired_ = Counts().fired;
        Shim().rest();
        return result;
    }

    // A pivot is loaded, and a step fails at each of its calls of a kind; `calls` of them.
    void expectFailures(u8 item, u8 code, u32 kind, u32 calls)
    {
        for (u32 k = 1; k <= calls; ++k) {
            setKeys(item, code);
            ASSERT_NE(load(), 0u);
            EXPECT_EQ(failing(kind, k, [this] { return compare(); }), 0u) << "call " << k;
            EXPECT_EQ(fired_, 1u) << "call " << k;
            if (code < 0x82) { afterFailure(k); }
            DisposeStrPtr(keys_);
        }
    }
    // By language the tail is gone where the second stage was reached, and the next compare makes a new one.
    void afterFailure(u32 k)
    {
        const u32 result = compare();
        EXPECT_TRUE(result == 127 || result == 129) << "call " << k;
        EXPECT_NE(keys_[0].tail, nullptr);
    }

    SortKey keys_[kSortKeyArray] = {};
    i32 card_ = 0;
    i32 pivot_ = 0;
    i32 fid_ = -1;
    u32 fired_ = 0;
};

TEST_F(SortFaults, TextsThatDifferInTheirHeadsTakeOneReadAndNoMemory)
{
    store(Bytes(40, 'a') + B("x"), Bytes(40, 'a') + Bytes(200, 'y'));
    for (u8 item : {kSjisItem, kUtf8Item}) {
        for (u8 code : {u8{0x80}, u8{0x82}}) {
            setKeys(item, code);
            ASSERT_NE(load(), 0u);
            Shim().watch(home().c_str());
            EXPECT_EQ(compare(), 127u);
            Shim().rest();
            EXPECT_EQ(Counts().counts[kFaultRead], 1u);
            EXPECT_EQ(Counts().counts[kFaultAlloc], 0u);
            DisposeStrPtr(keys_);
        }
    }
}

TEST_F(SortFaults, ARestOf512BytesTakesNoMemoryForTheCard)
{
    for (const auto& [length, blocks] : {std::pair{576u, 1u}, std::pair{577u, 2u}}) {
        store(Bytes(length, 'a'), Bytes(70, 'a') + B("b"));
        for (u8 item : {kSjisItem, kUtf8Item}) {
            setKeys(item, 0x80);
            ASSERT_NE(load(), 0u);
            Shim().watch(home().c_str());
            EXPECT_EQ(compare(), 127u);
            Shim().rest();
            EXPECT_EQ(Counts().counts[kFaultAlloc], blocks) << length;
            DisposeStrPtr(keys_);
        }
    }
}

TEST_F(SortFaults, EveryAllocationOfACompareMayFail)
{
    store(Bytes(700, 'a') + B("x"), Bytes(700, 'a') + B("y"));
    for (u8 item : {kSjisItem, kUtf8Item}) {
        for (u8 code : {u8{0x80}, u8{0x81}}) { expectFailures(item, code, kFaultAlloc, 2); }
        for (u8 code : {u8{0x82}, u8{0x83}, u8{0x8C}, u8{0x8D}}) {
            expectFailures(item, code, kFaultAlloc, 1);
        }
    }
}

TEST_F(SortFaults, EveryReadOfACompareMayFail)
{
    store(Bytes(700, 'a') + B("x"), Bytes(700, 'a') + B("y"));
    for (u8 item : {kSjisItem, kUtf8Item}) {
        // By language the rest of the pivot is read as well.
        for (u8 code : {u8{0x80}, u8{0x81}}) {
            const u32 reads = readsOf(item, code);
            EXPECT_GE(reads, 3u);
            expectFailures(item, code, kFaultRead, reads);
        }
        for (u8 code : {u8{0x82}, u8{0x8D}}) {
            const u32 reads = readsOf(item, code);
            EXPECT_GE(reads, 2u);
            expectFailures(item, code, kFaultRead, reads);
        }
    }
}

TEST_F(SortFaults, AFailureOfTheSecondStageLeavesNoTail)
{
    store(Bytes(700, 'a') + B("x"), Bytes(700, 'a') + B("y"));
    for (u8 item : {kSjisItem, kUtf8Item}) {
        for (u32 k : {1u, 2u}) {
            setKeys(item, 0x80);
            ASSERT_NE(load(), 0u);
            EXPECT_EQ(failing(kFaultAlloc, k, [this] { return compare(); }), 0u);
            EXPECT_EQ(keys_[0].tail, nullptr);
        }
    }
}

TEST_F(SortFaults, APivotWithoutItsTailIsNoPivot)
{
    store(B("x"), Bytes(700, 'a'));
    for (u8 item : {kSjisItem, kUtf8Item}) {
        for (u8 code : {u8{0x80}, u8{0x82}}) {
            setKeys(item, code);
            EXPECT_EQ(failing(kFaultAlloc, 1, [this] { return load(); }), 0u);
            EXPECT_EQ(fired_, 1u);
            EXPECT_EQ(keys_[0].tail, nullptr);
            EXPECT_EQ(keys_[0].len, 700u);
            Shim().watch(home().c_str());
            ASSERT_NE(load(), 0u);
            Shim().rest();
            const u32 reads = Counts().counts[kFaultRead];
            DisposeStrPtr(keys_);
            for (u32 k = 1; k <= reads; ++k) {
                EXPECT_EQ(failing(kFaultRead, k, [this] { return load(); }), 0u);
                EXPECT_EQ(fired_, 1u);
                EXPECT_EQ(keys_[0].tail, nullptr);
            }
        }
    }
}

TEST_F(SortFaults, TheTailsOfEarlierKeysOutliveAFailure)
{
    store(B("x"), Bytes(100, 'a'));
    setKeys(kSjisItem, 0x80);
    keys_[1] = keys_[0];
    keys_[1].item = kUtf8Item;
    keys_[1].type = 17;
    keys_[2].type = 0;
    EXPECT_EQ(failing(kFaultAlloc, 2, [this] { return load(); }), 0u);
    EXPECT_NE(keys_[0].tail, nullptr);
    EXPECT_EQ(keys_[1].tail, nullptr);
    DisposeStrPtr(keys_);
    EXPECT_EQ(keys_[0].tail, nullptr);
}

TEST_F(SortFaults, NoMemoryIsTakenForATextThatTheFileDoesNotHave)
{
    // A card that says of itself that it has a text of 768 MiB, in fields of four bytes each.
    boxtest::BoxBuilder builder(boxtest::DefaultItems() +
                                std::vector<boxtest::Item>{{1, 0, "SJIS", "text"}, {17, 0, "UTF8", "text"}});
    Bytes card = boxtest::EncodeCard(1, builder.row({{"SJIS", Bytes(200, 'a')}}), {4, 0, 2});
    boxtest::Put32(card, 2, 0x3000FFFF);
    card[10 + 4 * (kSjisItem - 1)] = 0xF0;
    pivot_ = static_cast<i32>(builder.raw(card));
    const Bytes box = builder.build();
    putFiles({{"T.BOX", std::string(box.begin(), box.end())}});
    fid_ = BxdFileOpen("F0:T.BOX", BXD_MODE_READ);
    ASSERT_GE(fid_, 0);
    setKeys(kSjisItem, 0x80);
    Shim().watch(home().c_str());
    EXPECT_EQ(load(), 0u);
    Shim().rest();
    EXPECT_EQ(keys_[0].len, 0x30000000u + 200u);
    EXPECT_EQ(keys_[0].tail, nullptr);
    EXPECT_EQ(Counts().counts[kFaultAlloc], 0u);
}

TEST_F(SortFaults, ACompilationThatMeetsAFaultClosesItsBox)
{
    store(B("x"), B("y"));
    std::string index("\xFF\0\x1B\x30\xFF\xFF\xFF\xFF\x18\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0\0\0\0", 24);
    index += std::string("\x01\x05\0T.BOX\0", 9);
    Files files = takeFiles();
    files["A.IDX"] = index;
    putFiles(files);
    const i32 indexFid = BxdFileOpen("F0:A.IDX", BXD_MODE_READ);
    ASSERT_GE(indexFid, 0);
    const u8 text[] = {'S', 'J', 'I', 'S', 0xFE, 0x80, 0};
    const auto convert = [&] {
        u8 code[3];
        u32 length = 0;
        return ConvertSortCondition(static_cast<u8>(indexFid), text, code, -1, &length);
    };
    Shim().watch(home().c_str());
    EXPECT_EQ(convert(), 0u);
    Shim().rest();
    const FaultState calls = Counts();
    for (u32 kind : {kFaultOpen, kFaultRead, kFaultAlloc, kFaultStat, kFaultTell}) {
        for (u32 k = 1; k <= calls.counts[kind]; ++k) {
            u32 status = 0;
            Shim().watch(home().c_str());
            Shim().plan(kind, k, false, kFaultFail);
            status = convert();
            Shim().rest();
            EXPECT_EQ(Counts().fired, 1u);
            EXPECT_EQ(Shim().blocks(), 0u) << kind << ' ' << k;
            EXPECT_NE(status, 0u) << kind << ' ' << k;
            EXPECT_EQ(convert(), 0u);
        }
    }
    EXPECT_EQ(BxdFileClose(static_cast<u8>(indexFid)), 0u);
}

}  // namespace
