// SPDX-License-Identifier: MIT
// The sorts in memory, one by one: quicksort, insertion sort, exchange and compare on a card table in memory.
#include <algorithm>
#include <memory>
#include <numeric>
#include <random>

#include "box/bxd_card_slots.h"
#include "index/bxd_indx_sort_fast.h"
#include "tests/support/quicksort_model.h"
#include "tests/support/sort_case.h"

namespace {

using namespace sorttest;

class SortQuick : public SortCase {
protected:
    // Cards with these keys, and a table of them in memory in the order of the ids.
    void start(const std::vector<u32>& keys)
    {
        fid_.reset();
        keys_ = keys;
        const u32 n = static_cast<u32>(keys.size());
        makeBox(Readings(keys));
        fid_ = std::make_unique<Fid>(kBox, BXD_MODE_READ);
        ASSERT_TRUE(fid_->ok());
        table_.clear();
        for (u32 id = 1; id <= n; ++id) {
            Add16(table_, id);
            table_.push_back(static_cast<u8>(id * 7));
            table_.push_back(0);
        }
        offsets_.assign(501 + 128 * ((n + 127) / 128), 0);
        ASSERT_EQ(ReadLinearTable(fid_->id(), offsets_.data(), static_cast<u16>(n)), 0u);
        sortKeys_ = bxd::SortKeys{};
        sortKeys_.keys[0].type = kUtf8;
        sortKeys_.keys[0].item = kReadItem;
        sortKeys_.keys[0].code = kAscending;
        context_ = {table_.data(), offsets_.data(), sortKeys_.keys, 1, 1, static_cast<u16>(n), fid_->id(), 0,
                    nullptr};
    }
    void setFlags(u32 place, u8 flags) { table_[(place - 1) * 4 + 3] = flags; }

    // What is in the table, with the keys of the cards.
    std::vector<ModelEntry> table() const
    {
        std::vector<ModelEntry> out;
        for (size_t at = 0; at < table_.size(); at += 4) {
            const u32 id = Get16(table_, at);
            EXPECT_EQ(table_[at + 2], static_cast<u8>(id * 7)) << "the attribute goes with the entry";
            out.push_back({keys_[id - 1], id, table_[at + 3]});
        }
        return out;
    }
    std::vector<u32> ids() const
    {
        std::vector<u32> out;
        for (const ModelEntry& entry : table()) { out.push_back(entry.id); }
        return out;
    }
    void expectSortsAsModelled(const std::vector<u32>& keys)
    {
        start(keys);
        const std::vector<ModelEntry> want = QuicksortModel(table()).sort();
        ASSERT_EQ(BxdQSort(&context_), 1u);
        EXPECT_EQ(table(), want);
    }
    bool pivot(u32 id)
    {
        return MakeSortCondition(fid_->id(), static_cast<i32>(offsets_[id - 1]), sortKeys_.keys) != 0;
    }

    std::vector<u32> keys_;
    std::unique_ptr<Fid> fid_;
    Bytes table_;
    std::vector<u32> offsets_;
    bxd::SortKeys sortKeys_;
    IndexSortContext context_{};
};

std::vector<u32> Ascending(u32 n)
{
    std::vector<u32> keys(n);
    std::iota(keys.begin(), keys.end(), 0);
    return keys;
}

TEST_F(SortQuick, SortsEveryShapeWithinItsStack)
{
    for (const u32 n : {9u, 64u, 1000u}) {
        SCOPED_TRACE(n);
        std::vector<u32> keys = Ascending(n);
        expectSortsAsModelled(keys);
        std::reverse(keys.begin(), keys.end());
        expectSortsAsModelled(keys);
        expectSortsAsModelled(std::vector<u32>(n, 3));
        for (u32 i = 0; i < n; ++i) { keys[i] = std::min(i, n - 1 - i); }  // organ pipes
        expectSortsAsModelled(keys);
        for (u32 i = 0; i < n; ++i) { keys[i] = i % 2; }
        expectSortsAsModelled(keys);
        for (u32 i = 0; i < n; ++i) { keys[i] = i * 7 % n; }  // saw
        expectSortsAsModelled(keys);
    }
}

TEST_F(SortQuick, KeepsWithinItsStackWhereEverySplitIsTheWorst)
{
    for (const bool down : {false, true}) {
        const std::vector<u32> keys = down ? DeepKeysDown(1200) : DeepKeys(1200);
        start(keys);
        QuicksortModel model(table());
        const std::vector<ModelEntry> want = model.sort();
        if (!down) { ASSERT_GT(model.depth(), 100u) << "the keys are not as bad as they should be"; }
        ASSERT_EQ(BxdQSort(&context_), 1u);
        EXPECT_EQ(table(), want);
    }
}

TEST_F(SortQuick, ComesToTheOrderOfTheModelWhateverTheKeys)
{
    std::minstd_rand random(99);
    for (u32 round = 0; round < 60; ++round) {
        const u32 n = 2 + static_cast<u32>(random() % 150);
        const u32 values = 1 + static_cast<u32>(random() % n);
        std::vector<u32> keys(n);
        for (u32& key : keys) { key = static_cast<u32>(random() % values); }
        SCOPED_TRACE(round);
        expectSortsAsModelled(keys);
    }
}

TEST_F(SortQuick, OfARangeLeavesTheRestAlone)
{
    start({9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10});
    context_.lo = 5;
    context_.hi = 16;
    ASSERT_EQ(BxdQSort(&context_), 1u);
    const std::vector<u32> got = ids();
    EXPECT_EQ(std::vector<u32>(got.begin(), got.begin() + 4), IdsTo(4));
    EXPECT_EQ(std::vector<u32>(got.begin() + 16, got.end()), (std::vector<u32>{17, 18, 19, 20}));
    EXPECT_TRUE(std::is_sorted(got.begin() + 4, got.begin() + 16,
                               [&](u32 a, u32 b) { return keys_[a - 1] < keys_[b - 1]; }));
}

TEST_F(SortQuick, OfOneEntryOrNoneDoesNothing)
{
    start({2, 1});
    offsets_[0] = 0;  // would fail
    context_.hi = 1;
    EXPECT_EQ(BxdQSort(&context_), 1u);
    context_.lo = 2;
    context_.hi = 1;
    EXPECT_EQ(BxdQSort(&context_), 1u);
    EXPECT_EQ(BxdSimpleSort(&context_), 1u);
    EXPECT_EQ(ids(), IdsTo(2));
}

// Up to 8 entries insertion keeps hidden entries hidden; an exchange makes both visible.
TEST_F(SortQuick, AnExchangeMakesBothEntriesVisibleAndInsertionNeither)
{
    start({7, 6, 5, 4, 3, 2, 1, 0});
    for (u32 place = 1; place <= 8; ++place) { setFlags(place, 0x81); }
    ASSERT_EQ(BxdQSort(&context_), 1u);
    for (const ModelEntry& entry : table()) { EXPECT_EQ(entry.flags, 0x81); }

    start({1, 0, 2, 3, 4, 5, 6, 7, 8, 10, 9, 11});
    for (u32 place = 1; place <= 12; ++place) { setFlags(place, 0x81); }
    const std::vector<ModelEntry> want = QuicksortModel(table()).sort();
    ASSERT_EQ(BxdQSort(&context_), 1u);
    EXPECT_EQ(table(), want);

    start({11, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0});
    for (u32 place = 1; place <= 12; ++place) { setFlags(place, 0x81); }
    ASSERT_EQ(BxdQSort(&context_), 1u);
    const std::vector<ModelEntry> got = table();
    EXPECT_EQ(got.front(), (ModelEntry{0, 12, 0x80}));
    EXPECT_EQ(got.back(), (ModelEntry{11, 1, 0x80}));
    for (size_t n = 1; n < 11; ++n) { EXPECT_EQ(got[n].flags, 0x81); }
}

TEST_F(SortQuick, BxdSwapExchangesWholeEntriesAndClearsOneBit)
{
    start({0, 1, 2});
    setFlags(1, 0xFF);
    setFlags(3, 0x02);
    BxdSwap(&context_, 1, 3);
    EXPECT_EQ(table(), (std::vector<ModelEntry>{{2, 3, 0x02}, {1, 2, 0}, {0, 1, 0xFE}}));
    BxdSwap(&context_, 2, 2);
    EXPECT_EQ(table()[1], (ModelEntry{1, 2, 0}));
}

TEST_F(SortQuick, BxdCompAsksForOneAnswer)
{
    start({1, 2, 3});
    ASSERT_TRUE(pivot(2));
    const u32 want[3][5] = {{1, 0, 0, 1, 0}, {0, 0, 1, 1, 1}, {0, 1, 0, 0, 1}};
    for (u16 n = 1; n <= 3; ++n) {
        for (u16 mode = 0; mode < 5; ++mode) {
            EXPECT_EQ(BxdComp(&context_, n, mode), want[n - 1][mode]) << n << " in mode " << mode;
        }
    }
    EXPECT_EQ(BxdComp(&context_, 1, 5), 0u);
    // A card that is not there answers 0, which is below 129 and nothing else.
    offsets_[0] = 0xFFFFFFFF;
    for (u16 mode = 0; mode < 5; ++mode) { EXPECT_EQ(BxdComp(&context_, 1, mode), mode == 3 ? 1u : 0u); }
    DisposeStrPtr(sortKeys_.keys);
}

TEST_F(SortQuick, BxdSimpleSortKeepsTheOrderOfEqualCards)
{
    start({3, 1, 3, 2, 1, 2, 3, 1, 0, 0, 2, 1});
    ASSERT_EQ(BxdSimpleSort(&context_), 1u);
    std::vector<u32> want = IdsTo(12);
    std::stable_sort(want.begin(), want.end(), [&](u32 a, u32 b) { return keys_[a - 1] < keys_[b - 1]; });
    EXPECT_EQ(ids(), want);
}

// A card that is gone cannot be a pivot; every entry is in the table still.
TEST_F(SortQuick, ACardThatIsGoneFailsTheSort)
{
    Captured messages;
    for (const u32 position : {0u, 0xFFFFFFFFu, 5'000'000u}) {
        for (u32 gone = 1; gone <= 20; gone += 3) {
            start({9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10});
            offsets_[gone - 1] = position;
            const u32 result = BxdQSort(&context_);
            std::vector<u32> got = ids();
            std::sort(got.begin(), got.end());
            EXPECT_EQ(got, IdsTo(20));
            EXPECT_LE(result, 1u);
        }
        start({3, 2, 1});
        offsets_[1] = position;
        EXPECT_EQ(BxdSimpleSort(&context_), 0u);
    }
}

// Texts of malformed UTF-8 and cards that lie in one another may answer in circles.
TEST_F(SortQuick, EndsWhateverTheCardsAnswer)
{
    Captured messages;
    std::minstd_rand random(7);
    for (u32 round = 0; round < 40; ++round) {
        start(std::vector<u32>(60, 1));
        const u32 end = BxdFileSize(fid_->id());
        for (u32& offset : offsets_) { offset = static_cast<u32>(random() % end); }
        const u32 result = BxdQSort(&context_);
        EXPECT_LE(result, 1u);
        std::vector<u32> got = ids();
        std::sort(got.begin(), got.end());
        EXPECT_EQ(got, IdsTo(60));
    }
}

TEST_F(SortQuick, NoKeyIsNoOrder)
{
    start({5, 4, 3, 2, 1, 0, 9, 8, 7, 6});
    sortKeys_.keys[0].type = 0;
    // Without a key no card is read, and nothing is a pivot or everything is.
    offsets_.assign(offsets_.size(), 2200);
    ASSERT_EQ(BxdQSort(&context_), 1u);
    EXPECT_EQ(ids(), IdsTo(10));
}

}  // namespace
