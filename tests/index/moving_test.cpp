// SPDX-License-Identifier: MIT
// Moving an entry: the order, the bytes of the file, and the number that comes back.
#include "tests/support/index_table.h"

namespace {

using namespace boxtest;

struct Moved {
    u32 status;
    u16 to;

    bool operator==(const Moved&) const = default;
};

void PrintTo(const Moved& m, std::ostream* out) { *out << "status " << m.status << ", " << m.to; }

Moved Move(u32 from, u32 to)
{
    Moved moved = {0, static_cast<u16>(to)};
    moved.status = _MoveIndexNo(kIndex, static_cast<u16>(from), &moved.to);
    return moved;
}

class IndexMoving : public TableCase {
protected:
    // Moves in a table of `size` entries and holds file and answer against a list in which the same is done.
    void expectMove(const IndexTable& before, u32 from, u32 to)
    {
        const auto count = static_cast<u32>(before.entries.size());
        putIndex(before);
        const Moved moved = Move(from, to);
        IndexTable after = before;
        Moved wanted = {1, static_cast<u16>(to)};
        if (from >= 1 && from <= count && from < 65535) {
            u32 place = to == 0 ? 1 : to == 65535 || to > count ? count + 1 : to;
            if (place > from) { place--; }
            const TableEntry entry = after.entries[from - 1];
            after.entries.erase(after.entries.begin() + from - 1);
            after.entries.insert(after.entries.begin() + place - 1, entry);
            wanted = {0, static_cast<u16>(place)};
        }
        ASSERT_EQ(moved, wanted) << count << " entries, " << from << " to " << to;
        ASSERT_TRUE(SameBytes(after.build(), file())) << count << " entries, " << from << " to " << to;
    }
};

TEST_F(IndexMoving, EveryMoveOfASmallTableIsThatOfAList)
{
    for (std::size_t size = 0; size <= 9; size++) {
        const IndexTable table = IndexTable::Of(SomeEntries(size));
        for (u32 from : TestNumbers(size)) {
            for (u32 to : TestNumbers(size)) { ASSERT_NO_FATAL_FAILURE(expectMove(table, from, to)); }
        }
    }
}

TEST_F(IndexMoving, SampledMovesOfBigTablesToo)
{
    for (std::size_t size : TestSizes()) {
        const IndexTable table = IndexTable::Of(SomeEntries(size));
        const auto last = static_cast<u32>(size);
        for (u32 from : {1u, 2u, last / 2, last - 1, last}) {
            for (u32 to : {0u, 1u, last / 3, last / 2 + 1, last, last + 1, 65535u}) {
                if (from > last || to > 65535) { continue; }
                ASSERT_NO_FATAL_FAILURE(expectMove(table, from, to));
            }
        }
    }
}

TEST_F(IndexMoving, TheEntryStandsDirectlyBeforeTheOneNamed)
{
    putEntries({{1}, {2, 0xC7, 0x81}, {3}, {4}, {5}, {6}});
    EXPECT_EQ(Move(2, 5), (Moved{0, 4}));
    EXPECT_EQ(entries(), (TableEntries{{1}, {3}, {4}, {2, 0xC7, 0x81}, {5}, {6}})) << "flags go along";
}

TEST_F(IndexMoving, TheLastToTheEndChangesNoOrder)
{
    putEntries(SomeEntries(6));
    const Bytes before = file();
    EXPECT_EQ(Move(6, 65535), (Moved{0, 6}));
    EXPECT_TRUE(SameBytes(before, file()));
    EXPECT_EQ(Move(6, 7), (Moved{0, 6}));
    EXPECT_EQ(Move(3, 4), (Moved{0, 3}));
    EXPECT_EQ(Move(3, 3), (Moved{0, 3}));
    EXPECT_EQ(Move(1, 0), (Moved{0, 1}));
    EXPECT_TRUE(SameBytes(before, file()));
}

TEST_F(IndexMoving, AnEntryThatIsNotThereGives1)
{
    putEntries(SomeEntries(3));
    const Bytes before = file();
    for (u32 from : {0u, 4u, 65534u, 65535u}) {
        EXPECT_EQ(Move(from, 1), (Moved{1, 1}));
        EXPECT_EQ(Move(from, from), (Moved{1, static_cast<u16>(from)}))
            << "before it is seen that nothing moves";
    }
    EXPECT_TRUE(SameBytes(before, file()));
    IndexTable none;
    none.table = false;
    putIndex(none);
    EXPECT_EQ(Move(1, 1), (Moved{1, 1}));
    putEntries({{65280}, {1}});
    EXPECT_EQ(Move(1, 2), (Moved{1, 2})) << "an entry of no stored card";
}

TEST_F(IndexMoving, AFilteredIndexKeepsItsOrder)
{
    IndexTable table = IndexTable::Of(SomeEntries(5));
    table.mode = 1;
    putIndex(table);
    const Bytes before = file();
    for (auto [from, to] : {std::pair{1u, 5u}, {5u, 1u}, {2u, 65535u}, {4u, 0u}}) {
        EXPECT_EQ(Move(from, to), (Moved{255, static_cast<u16>(to)}));
    }
    EXPECT_TRUE(SameBytes(before, file()));
}

TEST_F(IndexMoving, AMoveToItsOwnPlaceIsNoneInAFilteredIndexEither)
{
    IndexTable table = IndexTable::Of(SomeEntries(5));
    table.mode = 1;
    putIndex(table);
    const Bytes before = file();
    EXPECT_EQ(Move(2, 2), (Moved{0, 2}));
    EXPECT_EQ(Move(2, 3), (Moved{0, 2}));
    EXPECT_EQ(Move(1, 0), (Moved{0, 1}));
    EXPECT_EQ(Move(5, 65535), (Moved{0, 5}));
    EXPECT_TRUE(SameBytes(before, file()));
}

TEST_F(IndexMoving, OtherModesMoveFreely)
{
    for (int mode : {0, 2, 3, 255}) {
        IndexTable table = IndexTable::Of({{1}, {2}, {3}});
        table.mode = mode;
        putIndex(table);
        EXPECT_EQ(Move(1, 65535), (Moved{0, 3}));
        EXPECT_EQ(entries(), (TableEntries{{2}, {3}, {1}})) << mode;
    }
}

TEST_F(IndexMoving, ACountBeyondTheFileMovesNothing)
{
    Bytes bytes = IndexTable::Of(SomeEntries(4)).build();
    PutAt(bytes, IndexTable{}.tablePos(), 9, 2);
    put(bytes, kIndex);
    EXPECT_EQ(Move(1, 65535), (Moved{71, 65535}));
    EXPECT_EQ(Move(1, 8), (Moved{71, 8}));
    EXPECT_TRUE(SameBytes(bytes, file()));
    EXPECT_EQ(Move(4, 1), (Moved{0, 1})) << "what is there can be moved";
}

}  // namespace
