// SPDX-License-Identifier: MIT
// Moves of an entry in a filtered index: the order stays, and so does what is hidden.
#include "index/bxd_indx_move_check.h"

#include "tests/support/sort_case.h"

namespace {

using namespace sorttest;

// Cards 1:10 2:20 3:20 4:20 5:30, in this order.
class MoveCheck : public SortCase {
protected:
    void SetUp() override { makeBox(Readings({10, 20, 20, 20, 30})); }

    static IndexBuilder filtered(const std::vector<u8>& flags = {0, 0, 0, 0, 0},
                                 const Bytes& compiled = kByReading)
    {
        IndexBuilder index = indexBy(compiled).record(32, Bytes{1});
        for (u32 id = 1; id <= flags.size(); ++id) {
            index.entry(id, static_cast<u8>(0x40 + id), flags[id - 1]);
        }
        return index;
    }
    u32 check(u16 from, u16 to) const
    {
        Fid index(kIndex);
        EXPECT_TRUE(index.ok());
        return CheckMoveIndexNo(index.id(), kIndex, from, to);
    }
    std::vector<u8> flags() const
    {
        std::vector<u8> out;
        for (const IndexEntry& entry : entries()) { out.push_back(entry.flags); }
        return out;
    }
    u32 move(u16 from, u16 to, u16* result) const
    {
        *result = to;
        return _MoveIndexNo(kIndex, from, result);
    }
};

TEST_F(MoveCheck, AllowsWhatKeepsTheOrder)
{
    for (u16 from = 1; from <= 5; ++from) {
        for (u16 to = 1; to <= 5; ++to) {
            if (from == to) { continue; }
            putIndex(filtered());
            const Bytes before = get(kIndex);
            // The cards 2, 3 and 4 are equal: they may change places, and go in front of each other.
            const bool free = from + 1 == to || (from >= 2 && from <= 4 && to >= 2 && to <= 5);
            EXPECT_EQ(check(from, to), free ? 0u : 66u) << from << " to " << to;
            EXPECT_TRUE(SameBytes(before, get(kIndex)));
        }
    }
}

TEST_F(MoveCheck, BehindTheLastEntryThereIsNoCard)
{
    putIndex(filtered());
    EXPECT_EQ(check(4, 6), 66u);
    EXPECT_EQ(check(5, 6), 0u);  // that is where it stands
}

TEST_F(MoveCheck, WhereNothingMovesNothingIsLookedAt)
{
    putIndex(IndexBuilder().created().entry(1));
    EXPECT_EQ(check(1, 2), 0u);
}

TEST_F(MoveCheck, AnIndexWithoutItsBoxGivesTheStatusOfThat)
{
    putIndex(IndexBuilder().created().record(129, kByReading).entries(EntriesOf({1, 2, 3})));
    EXPECT_EQ(check(3, 1), 66u);
    putIndex(IndexBuilder().created().record(1, "").record(129, kByReading).entries(EntriesOf({1, 2, 3})));
    EXPECT_EQ(check(3, 1), 71u);
    putIndex(IndexBuilder().created().record(1, "GONE.BOX").entries(EntriesOf({1, 2, 3})));
    EXPECT_EQ(check(3, 1), 64u);
}

TEST_F(MoveCheck, WithoutSortConditionEveryMoveIsFree)
{
    const IndexBuilder bare = indexBy({}).entries({{5, 1, 0}, {1, 2, 1}, {3, 3, 0}});
    for (const IndexBuilder& index :
         {bare, IndexBuilder(bare).record(2, ""), IndexBuilder(bare).record(2, Bytes{0}),
          IndexBuilder(bare).record(129, "")}) {
        putIndex(index);
        const Bytes before = get(kIndex);
        EXPECT_EQ(check(1, 3), 0u);
        EXPECT_EQ(check(3, 1), 0u);
        EXPECT_EQ(check(1, 9), 0u);
        EXPECT_TRUE(SameBytes(before, get(kIndex))) << "flags are carried in a sorted index only";
    }
}

TEST_F(MoveCheck, TakesTheOtherFormOfTheCondition)
{
    putIndex(filtered({0, 0, 0, 0, 0}, {}).record(2, kByReadingText));
    EXPECT_EQ(check(2, 4), 0u);
    EXPECT_EQ(check(2, 1), 66u);
    putIndex(filtered({0, 0, 0, 0, 0}, {}).record(2, B("READ") + Bytes{0xFE, 0x84, 0}));
    EXPECT_EQ(check(2, 4), 69u);
    putIndex(filtered({0, 0, 0, 0, 0}, Bytes(39, kUtf8)));
    EXPECT_EQ(check(2, 4), 69u);
}

TEST_F(MoveCheck, ACardThatIsNotThereForbidsTheMove)
{
    const std::vector<IndexEntry> entries = EntriesOf({1, 77, 2, 3, 4, 78, 5});
    putIndex(indexBy(kByReading).entries(entries));
    EXPECT_EQ(check(2, 4), 66u);  // it is to move itself
    EXPECT_EQ(check(4, 3), 66u);  // it would stand before
    EXPECT_EQ(check(3, 6), 66u);  // it would stand behind
    EXPECT_EQ(check(3, 5), 0u);
}

// The card is found and lacks the item.
TEST_F(MoveCheck, ACardThatCannotBeComparedForbidsNothing)
{
    BoxBuilder box = BoxOf(Readings({10, 20, 20, 20, 30}));
    box.card(6, {});
    put(box.build());
    putIndex(indexBy(kByReading).entries(EntriesOf({1, 6, 2, 5, 6, 3})));
    EXPECT_EQ(check(4, 3), 66u) << "30 in front of 20";
    EXPECT_EQ(check(4, 2), 0u) << "behind 10 and in front of what is not known";
    EXPECT_EQ(check(1, 6), 0u) << "behind what is not known and in front of 20";
    EXPECT_EQ(check(2, 1), 66u) << "it is to move itself";
}

// --- hidden entries --------------------------------------------------------------------------------------

TEST_F(MoveCheck, AVisibleEntryHandsItsPlaceToAHiddenFollower)
{
    putIndex(filtered({0, 0, 0x81, 0x01, 0}));
    EXPECT_EQ(check(2, 4), 0u);
    EXPECT_EQ(flags(), (std::vector<u8>{0, 0x81, 0, 0x01, 0}));
}

TEST_F(MoveCheck, AHiddenEntryThatComesFirstTakesTheVisiblePlace)
{
    putIndex(filtered({0, 0, 0x01, 0x81, 0}));
    EXPECT_EQ(check(4, 2), 0u);
    EXPECT_EQ(flags(), (std::vector<u8>{0, 0x81, 0x01, 0, 0}));
}

TEST_F(MoveCheck, OtherMovesLeaveTheFlags)
{
    struct Case {
        std::vector<u8> flags;
        u16 from;
        u16 to;
    };
    for (const Case& c : {Case{{0, 0, 0, 1, 0}, 2, 4},  // a visible follower
                          Case{{0, 0, 1, 1, 0}, 3, 5},  // a hidden entry goes to the end of its run
                          Case{{0, 0, 1, 1, 0}, 4, 3},  // in front of a hidden one
                          Case{{0, 1, 0, 0, 0}, 4, 2},  // a visible one to the start
                          Case{{0, 0, 0, 0, 0}, 4, 2}}) {
        putIndex(filtered(c.flags));
        EXPECT_EQ(check(c.from, c.to), 0u);
        EXPECT_EQ(flags(), c.flags);
    }
}

TEST_F(MoveCheck, BehindTheLastEntryNothingIsHidden)
{
    // Entry from + 1 is the end mark.
    makeBox(Readings({20, 20, 20}));
    putIndex(filtered({0, 1, 1}));
    EXPECT_EQ(check(3, 1), 0u);
    EXPECT_EQ(flags(), (std::vector<u8>{1, 1, 0}));
}

TEST_F(MoveCheck, WhereTheEndMarkIsMissingNothingIsHiddenEither)
{
    makeBox(Readings({20, 20, 20}));
    Bytes sound = filtered({0, 1, 1}).build();
    sound.resize(sound.size() - 2);
    for (const Bytes& left : {Bytes{}, Bytes{0xFF}, Bytes{9, 0}, Bytes{9, 0, 1}}) {
        Bytes file = sound + left;
        put(file, kIndex);
        EXPECT_EQ(check(3, 1), 0u) << left.size();
        const u32 entry = GetField(file, ix::tablePos) + 2;
        file[entry + 3] = 1;
        file[entry + 2 * 4 + 3] = 0;
        EXPECT_TRUE(SameBytes(file, get(kIndex)));
    }
}

// --- moving ----------------------------------------------------------------------------------------------

TEST_F(MoveCheck, AMoveTakesTheFlagsAlong)
{
    putIndex(filtered({0, 0, 0x81, 0x01, 0}));
    u16 to = 0;
    EXPECT_EQ(move(2, 5, &to), 0u);
    EXPECT_EQ(to, 4);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{
                             {1, 0x41, 0}, {3, 0x43, 0}, {4, 0x44, 0x01}, {2, 0x42, 0x81}, {5, 0x45, 0}}));
    EXPECT_EQ(move(4, 2, &to), 0u);
    EXPECT_EQ(to, 2);
    EXPECT_EQ(entries(), (std::vector<IndexEntry>{
                             {1, 0x41, 0}, {2, 0x42, 0}, {3, 0x43, 0x81}, {4, 0x44, 0x01}, {5, 0x45, 0}}));
}

TEST_F(MoveCheck, ARefusedMoveIs255AndChangesNothing)
{
    putIndex(filtered({0, 0, 1, 1, 0}));
    const Bytes before = get(kIndex);
    u16 to = 0;
    for (const u16 target : {u16{1}, u16{9}, u16{0xFFFF}}) {
        EXPECT_EQ(move(3, target, &to), 255u);
        EXPECT_EQ(to, target);
    }
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
    EXPECT_EQ(move(5, 0xFFFF, &to), 0u);
    EXPECT_EQ(to, 5);
    EXPECT_TRUE(SameBytes(before, get(kIndex)));
}

TEST_F(MoveCheck, OtherUpdateModesMoveAsTheyLike)
{
    putIndex(indexBy(kByReading).record(32, Bytes{2}).entries(EntriesOf({1, 2, 5})));
    u16 to = 0;
    EXPECT_EQ(move(3, 1, &to), 0u);
    EXPECT_EQ(order(), (std::vector<u32>{5, 1, 2}));
}

}  // namespace
