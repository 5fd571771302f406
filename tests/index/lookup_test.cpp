// SPDX-License-Identifier: MIT
// From a number or a card to its entry, and on to the card in the box.
#include "index/bxd_indx_lookup.h"

#include "tests/support/index_table.h"

namespace {

using namespace boxtest;

class IndexLookup : public TableCase {};

TEST_F(IndexLookup, EveryNumberLeadsToItsCardAndBack)
{
    for (std::size_t size : TestSizes()) {
        // A full table has more entries than there are cards; the ids repeat then, and the first is found.
        const TableEntries entries = SomeEntries(size);
        putEntries(entries);
        for (u32 n : TestNumbers(size)) {
            u16 id = 0;
            const bool there = n >= 1 && n <= size && n < 65535;
            ASSERT_EQ(_IndexNoToCardID(kIndex, static_cast<u16>(n), &id), there ? 0u : 66u)
                << size << ", " << n;
            if (!there) { continue; }
            ASSERT_EQ(id, entries[n - 1].id);
            u16 number = 0;
            ASSERT_EQ(_CardIDToIndexNo(kIndex, id, &number), 0u);
            ASSERT_EQ(number, n <= 65279 ? n : n - 65279);
        }
    }
}

TEST_F(IndexLookup, AnEntryIsFoundWithAllThatStandsInIt)
{
    const IndexTable table = IndexTable::Of({{7, 0x47, 0}, {300, 0xC3, 0x81}});
    putIndex(table);
    Fid index(kIndex, 1);
    IndexEntryPos found{};
    ASSERT_EQ(SearchIndexID(index.id(), 2, &found), 0u);
    EXPECT_EQ(found.pos, table.entryAt(2));
    EXPECT_EQ(found.count, 2u);
    EXPECT_EQ(found.cardId, 300u);
    EXPECT_EQ(found.attr, 0xC3u);
    EXPECT_EQ(found.flags, 0x81u);
}

TEST_F(IndexLookup, NumbersOfNoEntryStillTellTheTable)
{
    const IndexTable table = IndexTable::Of(SomeEntries(3));
    putIndex(table);
    Fid index(kIndex, 1);
    for (u16 n : {u16{0}, u16{65535}}) {
        IndexEntryPos found{};
        EXPECT_EQ(SearchIndexID(index.id(), n, &found), 35u);
        EXPECT_EQ(found.pos, table.tablePos());
        EXPECT_EQ(found.count, 3u);
    }
    IndexEntryPos found{};
    EXPECT_EQ(SearchIndexID(index.id(), 4, &found), 71u);
    EXPECT_EQ(SearchIndexID(index.id(), 65534, &found), 71u);
}

TEST_F(IndexLookup, WithoutATableEveryNumberGives71)
{
    IndexTable none;
    none.table = false;
    putIndex(none);
    Fid index(kIndex, 1);
    IndexEntryPos found{};
    for (u16 n : {u16{0}, u16{1}, u16{65535}}) { EXPECT_EQ(SearchIndexID(index.id(), n, &found), 71u); }
    IndexCardPos card{};
    EXPECT_EQ(SearchIndexCardID(index.id(), 1, &card), 66u);
}

TEST_F(IndexLookup, AnEntryOfNoStoredCardIsRefused)
{
    putEntries({{65279}, {65280}, {65519}, {0xFFFF}});
    Fid index(kIndex, 1);
    IndexEntryPos found{};
    EXPECT_EQ(SearchIndexID(index.id(), 1, &found), 0u);
    for (u16 n : {u16{2}, u16{3}, u16{4}}) { EXPECT_EQ(SearchIndexID(index.id(), n, &found), 71u) << n; }
}

TEST_F(IndexLookup, ACardIsFoundThoughItIsHidden)
{
    const IndexTable table = IndexTable::Of({{7}, {8, 0xC1, 1}, {9}});
    putIndex(table);
    Fid index(kIndex, 1);
    IndexCardPos found{};
    ASSERT_EQ(SearchIndexCardID(index.id(), 8, &found), 0u);
    EXPECT_EQ(found.pos, table.entryAt(2));
    EXPECT_EQ(found.indexNo, 2u);
    EXPECT_EQ(found.count, 3u);
    EXPECT_EQ(found.attr, 0xC1u);
}

TEST_F(IndexLookup, ACardThatIsNotThereStillTellsTheCount)
{
    putEntries({{7}, {9}});
    Fid index(kIndex, 1);
    IndexCardPos found{};
    EXPECT_EQ(SearchIndexCardID(index.id(), 8, &found), 66u);
    EXPECT_EQ(found.count, 2u);
    EXPECT_EQ(SearchIndexCardID(index.id(), 0xFFFF, &found), 66u) << "the end mark is no card";
    putEntries(TableEntries{});
    Fid empty(kIndex, 1);
    EXPECT_EQ(SearchIndexCardID(empty.id(), 8, &found), 66u);
    EXPECT_EQ(found.count, 0u);
}

TEST_F(IndexLookup, TheSearchForACardEndsAtAnEndMarkBeforeTheCountDoes)
{
    putEntries({{7}, {0xFFFF}, {9}});
    u16 number = 0;
    EXPECT_EQ(_CardIDToIndexNo(kIndex, 7, &number), 0u);
    EXPECT_EQ(_CardIDToIndexNo(kIndex, 9, &number), 66u);
}

// --- on to the card ---------------------------------------------------------------------------------------

class EntryToCard : public TableCase {
protected:
    void SetUp() override
    {
        BoxBuilder box(DefaultItems());
        for (u16 id : {u16{1}, u16{500}, u16{501}, u16{628}}) { box.card(id, box.row({})); }
        box_ = box.build();
        view(box_);
        put(box_);
    }

    void view(const Bytes& file) { table_ = WordAt(file, 16, 4); }
    std::size_t slotOf(u32 id) const { return table_ + (id + 10) * 4; }

    u32 address(u16 indexNo)
    {
        Fid box(kBox, BXD_MODE_READ);
        Fid index(kIndex, 1);
        CardSlotCursor cursor{};
        cursor.valid = kCursorNew;
        return IndexNoToCardAdr(box.id(), index.id(), static_cast<u32>(IndexTable{}.entryAt(1)), indexNo,
                                &cursor);
    }

    Bytes box_;
    std::size_t table_ = 0;
};

TEST_F(EntryToCard, AnEntryLeadsToTheCardInTheBox)
{
    putEntries({{628}, {1}, {501}, {500}});
    for (u16 n = 1; n <= 4; n++) {
        const u32 pos = address(n);
        ASSERT_NE(pos, 0u) << n;
        EXPECT_EQ(WordAt(box_, pos, 2), entries()[n - 1u].id);
    }
    EXPECT_EQ(address(2), WordAt(box_, slotOf(1), 4));
}

TEST_F(EntryToCard, AnEntryOfNoCardGivesNoAddress)
{
    putEntries({{2}, {0}, {65280}, {65521}, {629}, {40000}});
    for (u16 n = 1; n <= 6; n++) { EXPECT_EQ(address(n), 0u) << n; }
    EXPECT_EQ(address(7), 0u) << "the end mark";
    EXPECT_EQ(address(8), 0u) << "behind the file";
    EXPECT_EQ(address(65535), 0u);
    EXPECT_EQ(address(0), 0u);
}

TEST_F(EntryToCard, AKilledOrErasedSlotIsNoCard)
{
    putEntries({{1}});
    for (u32 slot : {0u, 0xFFFFFFFFu}) {
        PutAt(box_, slotOf(1), slot, 4);
        put(box_);
        EXPECT_EQ(address(1), 0u);
    }
}

TEST_F(EntryToCard, TheLastSystemSlotIsNotTheSlotOfCard0)
{
    putEntries({{0}});
    const u32 dead = WordAt(box_, slotOf(1), 4);
    PutAt(box_, slotOf(0), dead, 4);
    PutAt(box_, dead, 0, 2);
    put(box_);
    EXPECT_EQ(address(1), 0u);
}

TEST_F(EntryToCard, APositionBeyondTheFileGivesNone)
{
    putEntries({{1}});
    Fid box(kBox, BXD_MODE_READ);
    Fid index(kIndex, 1);
    CardSlotCursor cursor{};
    cursor.valid = kCursorNew;
    for (u32 pos : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
        EXPECT_EQ(IndexNoToCardAdr(box.id(), index.id(), pos, 1, &cursor), 0u);
        EXPECT_EQ(IndexNoToCardAdr(box.id(), index.id(), pos, 10, &cursor), 0u);
    }
}

}  // namespace
