// SPDX-License-Identifier: MIT
// Matching that meets failing reads and no memory: the test at hand is false, the walk goes on, nothing is
// left behind. And what a match costs: the items of a short card come with one read, and no memory is taken.
#include "match/bxd_srch_card.h"
#include "match/bxd_srch_field.h"
#include "tests/faults/fault_runner.h"
#include "tests/support/box_builder.h"
#include "tests/support/search_builder.h"

namespace {

using namespace faults;
using namespace searchtest;

constexpr u8 kSjisItem = 5;
constexpr u8 kUtf8Item = 6;
constexpr u8 kNumberItem = 7;
constexpr u8 kDateItem = 8;

class SearchFaults : public FaultTest {
protected:
    void TearDown() override
    {
        Shim().rest();
        if (fid_ >= 0) { EXPECT_EQ(BxdFileClose(fid()), 0u); }
        FaultTest::TearDown();
    }

    // Two cards with this text in both encodings; of the second one the last byte differs.
    void store(const Bytes& text)
    {
        boxtest::BoxBuilder builder(boxtest::DefaultItems() +
                                    std::vector<boxtest::Item>{{1, 0, "SJIS", "text"},
                                                               {17, 0, "UTF8", "text"},
                                                               {8, 0, "NUMB", "number"},
                                                               {4, 0, "DATE", "date"}});
        Bytes other = text;
        if (!other.empty()) { other.back() ^= 1; }
        const auto row = [&builder](const Bytes& value) {
            return builder.row(
                {{"SJIS", value}, {"UTF8", value}, {"NUMB", {7, 0}}, {"DATE", {1, 1, 0x08, 0x13, 0x06}}});
        };
        card_ = builder.card(1, row(text));
        other_ = builder.card(2, row(other));
        const Bytes box = builder.build();
        if (fid_ >= 0) { EXPECT_EQ(BxdFileClose(fid()), 0u); }
        putFiles({{"T.BOX", std::string(box.begin(), box.end())}});
        fid_ = BxdFileOpen("F0:T.BOX", BXD_MODE_READ);
        ASSERT_GE(fid_, 0);
    }

    u8 fid() const { return static_cast<u8>(fid_); }

    // The match under the shim: 0 or 1; the operator of the last test in op_.
    u32 match(const SearchCondition& cond, u32 otherCard = 0)
    {
        const Bytes bytes = cond.build();
        u8 info[3] = {};
        const u32 result =
            SearchCmpCardCore(fid(), static_cast<i32>(card_), bytes.data(), otherCard, nullptr, info, 0, 0);
        op_ = info[1];
        return result;
    }
    u32 watched(const SearchCondition& cond, u32 otherCard = 0)
    {
        Shim().watch(home().c_str());
        const u32 result = match(cond, otherCard);
        Shim().rest();
        EXPECT_EQ(Shim().blocks(), 0u);
        reads_ = Counts().counts[kFaultRead];
        blocks_ = Counts().counts[kFaultAlloc];
        return result;
    }
    // With the k-th call of a kind failing.
    u32 failing(u32 kind, u32 k, const SearchCondition& cond, u32 otherCard = 0)
    {
        Shim().watch(home().c_str());
        Shim().plan(kind, k, false, kFaultFail);
        const u32 result = match(cond, otherCard);
        EXPECT_EQ(Counts().fired, 1u) << "call " << k;
        Shim().rest();
        EXPECT_EQ(Shim().blocks(), 0u);
        return result;
    }

    static SearchCondition text(u8 item, const char* wanted, u8 kind = kLanguage)
    {
        SearchCondition cond;
        const u8 type = item == kSjisItem ? 1 : 17;
        cond.clause(type, item).text(kContains, type, B(wanted), kind);
        return cond;
    }

    u32 card_ = 0;
    u32 other_ = 0;
    i32 fid_ = -1;
    u32 op_ = 0;
    u32 reads_ = 0;
    u32 blocks_ = 0;
};

TEST_F(SearchFaults, AllItemsOfAShortCardComeWithOneRead)
{
    store(B("a text of a usual length, with love"));
    SearchCondition cond = text(kSjisItem, "love");
    cond.clauseAnd().add(text(kUtf8Item, "love", kBinary).bytes());
    cond.clauseAnd().clause(8, kNumberItem).value(kEquals, 8, {7, 0});
    cond.clauseAnd().clause(4, kDateItem).text(kBegins, 1, B("2"), kLanguage).testOr().bare(kFilled);
    cond.clauseAnd().clause(1, kSjisItem).bare(kFilled);
    EXPECT_EQ(watched(cond), 1u);
    EXPECT_EQ(reads_, 1u);
    EXPECT_EQ(blocks_, 0u);
}

TEST_F(SearchFaults, ATextOfUpTo512BytesTakesNoMemory)
{
    for (const auto& [size, blocks] : {std::pair{400u, 0u}, {512u, 0u}, {513u, 1u}, {9000u, 1u}}) {
        store(Bytes(size - 1, 'a') + B("b"));
        for (u8 item : {kSjisItem, kUtf8Item}) {
            EXPECT_EQ(watched(text(item, "ab")), 1u);
            EXPECT_EQ(reads_, 2u) << size;
            EXPECT_EQ(blocks_, blocks) << size;
        }
    }
}

TEST_F(SearchFaults, ACardThatCannotBeReadIsNotSelected)
{
    store(B("love"));
    SearchCondition cond = text(kSjisItem, "love");
    cond.testOr().bare(kNeighbour).clauseOr().clause(8, kNumberItem).value(kEquals, 8, {7, 0});
    EXPECT_EQ(watched(cond), 1u);
    EXPECT_EQ(reads_, 1u);
    EXPECT_EQ(failing(kFaultRead, 1, cond), 0u);
    EXPECT_EQ(op_, 0u) << "no test was made";
    EXPECT_EQ(match(cond), 1u);
}

TEST_F(SearchFaults, ATextThatCannotBeReadMakesItsTestFalse)
{
    store(Bytes(600, 'a') + B("b"));
    for (u8 item : {kSjisItem, kUtf8Item}) {
        for (u8 kind : {kLanguage, kBinary}) {
            SearchCondition cond = text(item, "ab", kind);
            EXPECT_EQ(failing(kFaultRead, 2, cond), 0u);
            EXPECT_EQ(failing(kFaultAlloc, 1, cond), 0u);
            EXPECT_EQ(match(cond), 1u);
            // The walk goes on.
            cond.testOr().bare(kNeighbour);
            EXPECT_EQ(failing(kFaultRead, 2, cond), 1u);
            EXPECT_EQ(op_, kNeighbour);
            EXPECT_EQ(failing(kFaultAlloc, 1, cond), 1u);
            EXPECT_EQ(op_, kNeighbour);
        }
    }
}

TEST_F(SearchFaults, AValueThatCannotBeReadMakesItsTestFalse)
{
    store(Bytes(600, 'a'));
    SearchCondition number;
    number.clause(8, kNumberItem).value(kEquals, 8, {7, 0});
    SearchCondition date;
    date.clause(4, kDateItem).value(kEquals, 4, {0x3F, 0xFF, 0x07, 0xFF, 0x0F});
    SearchCondition shown;
    shown.clause(4, kDateItem).text(kBegins, 1, {});
    for (const SearchCondition& cond : {number, date, shown}) {
        EXPECT_EQ(watched(cond), 1u);
        EXPECT_EQ(reads_, 2u);
        EXPECT_EQ(failing(kFaultRead, 2, cond), 0u);
    }
}

TEST_F(SearchFaults, AShortReadIsAFailedOne)
{
    store(Bytes(600, 'a') + B("b"));
    for (u8 kind : {kLanguage, kBinary}) {
        const SearchCondition cond = text(kSjisItem, "a", kind);
        Shim().watch(home().c_str());
        Shim().plan(kFaultRead, 2, false, kFaultShort);
        EXPECT_EQ(match(cond), 0u);
        EXPECT_EQ(Counts().fired, 1u);
        Shim().rest();
    }
}

TEST_F(SearchFaults, ANeighbourThatCannotBeReadDiffers)
{
    store(Bytes(600, 'a'));
    SearchCondition cond;
    cond.clause(1, kSjisItem).bare(kNeighbour);
    EXPECT_EQ(watched(cond, card_), 0u);
    const u32 reads = reads_;
    EXPECT_EQ(reads, 2u + 2 * 3) << "two cards, and three slices of both";
    EXPECT_EQ(failing(kFaultRead, 1, cond, card_), 0u) << "the card itself";
    for (u32 k = 2; k <= reads; ++k) { EXPECT_EQ(failing(kFaultRead, k, cond, card_), 1u) << k; }
    EXPECT_EQ(match(cond, other_), 1u);
}

TEST_F(SearchFaults, ATextThatCannotBeReadIsNotBlank)
{
    store(Bytes(600, ' '));
    for (const auto& [type, item] : {std::pair{u8{1}, kSjisItem}, {u8{17}, kUtf8Item}}) {
        SearchCondition filled;
        filled.clause(type, item).bare(kFilled);
        SearchCondition blank;
        blank.clause(type, item).bare(kBlank);
        EXPECT_EQ(watched(filled), 0u);
        EXPECT_EQ(reads_, 4u);
        EXPECT_EQ(blocks_, 0u);
        EXPECT_EQ(match(blank), 1u);
        for (u32 k = 2; k <= 4; ++k) {
            EXPECT_EQ(failing(kFaultRead, k, filled), 1u) << k;
            EXPECT_EQ(failing(kFaultRead, k, blank), 0u) << k;
        }
    }
}

}  // namespace
