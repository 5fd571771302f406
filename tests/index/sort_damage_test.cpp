// SPDX-License-Identifier: MIT
// Sorts of damaged indexes and boxes: the status, the message, and that every entry is still there.
#include <algorithm>
#include <random>

#include "index/bxd_indx_sort.h"
#include "tests/support/sort_case.h"

namespace {

using namespace sorttest;

class SortDamage : public SortCase {
protected:
    void SetUp() override { makeBox(Readings({9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 11, 10})); }

    // A sort that fails with 71, says this, and leaves the file as it was.
    void expectRefused(const Bytes& index, const std::string& message) const
    {
        put(index, kIndex);
        Captured messages;
        EXPECT_EQ(_IndexSort(kIndex, nullptr), 71u);
        const std::string text = messages.text();
        EXPECT_NE(text.find(message), std::string::npos) << "wanted " << message << ", said " << text;
        EXPECT_TRUE(SameBytes(index, get(kIndex)));
    }
};

TEST_F(SortDamage, ACountThatTheFileDoesNotHoldIs71)
{
    expectRefused(indexBy(kByReading).entries(EntriesOf({2, 1})).setCount(4).build(),
                  "FastSort: could not read card id table\n");
    expectRefused(indexBy(kByReading).entries(EntriesOf({2, 1})).setCount(65535).build(),
                  "FastSort: could not read card id table\n");
}

TEST_F(SortDamage, ATablePositionOutsideTheFileIs71)
{
    for (const u32 pos : {100000u, 0x7FFFFFFFu, 0xFFFFFFFEu}) {
        expectRefused(indexBy(kByReading).entries(EntriesOf({1, 2})).setField(ix::tablePos, pos).build(), "");
    }
}

TEST_F(SortDamage, AnEntryThatNamesNoCardIs71)
{
    expectRefused(indexBy(kByReading).entry(1).entry(0).entry(2).build(),
                  "FastSort: unexpected max card id 0 3\n");
    expectRefused(indexBy(kByReading).entry(1).entry(0xFF00).entry(2).build(),
                  "FastSort: unexpected max card id 65280 3\n");
    // The highest that is taken has no table in this box.
    expectRefused(indexBy(kByReading).entry(1).entry(0xFEFF).build(),
                  "FastSort: could not read offset table\n");
}

TEST_F(SortDamage, ACountOverTheEndMarkMeetsItAsACard)
{
    expectRefused(indexBy(kByReading).entries(EntriesOf({2, 1})).setCount(3).build() + Bytes{0, 0},
                  "FastSort: unexpected max card id 65535 3\n");
}

TEST_F(SortDamage, ACardThatIsGoneIs71)
{
    for (const u32 slot : {0u, 0xFFFFFFFFu, 0x00FFFFFFu}) {
        BoxBuilder box = BoxOf(Readings({9, 8, 7, 6}));
        box.setSlot(2, slot);
        put(box.build());
        for (const std::vector<u32>& ids : {std::vector<u32>{1, 2}, {2, 1}, {3, 1, 2}, {4, 3, 2, 1}}) {
            const Bytes before = indexBy(kByReading).entries(EntriesOf(ids)).build();
            put(before, kIndex);
            Captured messages;
            EXPECT_EQ(_IndexSort(kIndex, nullptr), 71u);
            std::vector<u32> left = order();
            std::sort(left.begin(), left.end());
            std::vector<u32> all = ids;
            std::sort(all.begin(), all.end());
            EXPECT_EQ(left, all);
        }
    }
}

// Nothing is read from the header, whatever stands there.
TEST_F(SortDamage, ASlotOf0LeadsNowhere)
{
    BoxBuilder box = BoxOf(Readings({9, 8}));
    box.setSlot(1, 0);
    Bytes file = box.build();
    // Bytes of the header that would pass for the tables of a card.
    file[8 + 2] = 0;
    put(file);
    expectRefused(indexBy(kByReading).entries(EntriesOf({1, 2})).build(), "");
}

TEST_F(SortDamage, CardsOfRandomBytesEndTheSortInSomeOrder)
{
    std::minstd_rand random(3);
    const Bytes sound = BoxOf(Readings({9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 11, 10})).build();
    const u32 area = GetField(sound, hd::cardOffset);
    for (u32 round = 0; round < 60; ++round) {
        Bytes file = sound;
        for (u32 n = 0; n < 12; ++n) {
            file[area + random() % (file.size() - area)] = static_cast<u8>(random());
        }
        put(file);
        putIndex(EntriesOf(IdsTo(12)));
        Captured messages;
        const u32 status = _IndexSort(kIndex, nullptr);
        EXPECT_TRUE(status == 0 || status == 71) << status;
        std::vector<u32> left = order();
        std::sort(left.begin(), left.end());
        EXPECT_EQ(left, IdsTo(12));
    }
}

TEST_F(SortDamage, AnItemThatTheCardsLackIs71)
{
    expectRefused(indexBy({kUtf8, 200, kAscending}).entries(EntriesOf({1, 2})).build(), "");
    expectRefused(indexBy({kUtf8, 0, kAscending}).entries(EntriesOf({1, 2})).build(), "");
}

TEST_F(SortDamage, ATypeWithoutOrderIsNoOrder)
{
    for (const u8 type : {u8{2}, u8{12}, u8{19}, u8{255}}) {
        putIndex(EntriesOf(IdsTo(12)), {type, kReadItem, kAscending});
        EXPECT_EQ(_IndexSort(kIndex, nullptr), 0u);
        EXPECT_EQ(order(), IdsTo(12));
    }
}

TEST_F(SortDamage, ARecordThatLeavesTheFileIsNoCondition)
{
    Bytes index = indexBy({}).record(129, kByReading).build();
    index.resize(index.size() - 3);
    SetField(index, ix::tablePos, 40);
    put(index, kIndex);
    Captured messages;
    EXPECT_NE(_IndexSort(kIndex, nullptr), 0u);
    EXPECT_TRUE(SameBytes(index, get(kIndex)));
}

// --- barring ---------------------------------------------------------------------------------------------

TEST_F(SortDamage, ASortThatFailsBeforeItsFirstPivotDoesNotBar)
{
    expectRefused(indexBy(kByReading).entry(77).entry(78).build(), "");
}

TEST_F(SortDamage, ASortThatFailsAfterAPivotDoesNotBar)
{
    BoxBuilder box = BoxOf(Readings({9, 8, 7}));
    box.setSlot(3, 0);
    put(box.build());
    putIndex(EntriesOf({1, 2, 3}));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 71u);
    EXPECT_EQ(view().field(ix::fileVersion), 0x30u);
    // It opens as before.
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 71u);
}

TEST_F(SortDamage, AValueRecordedAtAllOnesBarsTheIndex)
{
    const Bytes before = indexBy(kByReading).entries(EntriesOf({1, 2})).build();
    put(before, kIndex);
    bxd::SortKeys keys;
    {
        Fid index(kIndex);
        for (const u32 addr : {0u, 1u, 0xFFFFFFFEu, 0x0000FFFFu}) {
            keys.keys[0].addr = addr;
            EXPECT_EQ(bxd::SettleFailedSort(index.id(), keys), 71u);
        }
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
        keys.keys[0].addr = 0xFFFFFFFF;
        EXPECT_EQ(bxd::SettleFailedSort(index.id(), keys), 254u);
    }
    Bytes want = before;
    want[3] = 0xFF;
    EXPECT_TRUE(SameBytes(want, get(kIndex)));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 64u);
}

TEST_F(SortDamage, ASortThatSucceedsDoesNotBar)
{
    putIndex(EntriesOf(IdsTo(12)));
    EXPECT_EQ(_IndexSort(kIndex, nullptr), 0u);
    EXPECT_EQ(view().field(ix::fileVersion), 0x30u);
}

}  // namespace
