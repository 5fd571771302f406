// SPDX-License-Identifier: MIT
// Tombstones give their large items back: the card closes up where it stands, a dead card takes the gap.
#include "box/bxd_card_strip.h"

#include "tests/support/card_delete_case.h"

namespace {

using namespace cardtest;
using boxtest::BoxBuilder;
namespace hd = boxtest::hd;

constexpr u32 kLarge = 3072;

class CardStrip : public DeleteCase {
protected:
    // Cards 1 and 2 and, unless card 2 is to be the last, card 3; a synchronisation runs.
    void startWith(const std::vector<Bytes>& values, const boxtest::CardForm& form = {}, bool last = false)
    {
        BoxBuilder b(boxtest::NumberedItems(values.size()));
        b.card(1, b.row());
        b.card(2, values, form);
        if (!last) { b.card(3, b.row()); }
        start(b.build());
        setSync(true);
    }
    static std::vector<Bytes> row(const std::vector<Bytes>& own)
    {
        std::vector<Bytes> values{{0x40}, {}, {}, B("sync")};
        values.insert(values.end(), own.begin(), own.end());
        return values;
    }
    static Bytes item(u32 length) { return boxtest::Pattern(length, length); }

    // Deletes card 2 and expects `card` in its place, with a dead card of `removed` bytes behind it and
    // nothing else changed.
    void expectStripped(const Bytes& card, u32 removed)
    {
        BoxBytes want = file();
        const u32 pos = want.slot(2);
        const u32 gap = pos + static_cast<u32>(card.size());
        ASSERT_EQ(want.total(pos), card.size() + removed);
        const u32 ram = ramGarbage();
        ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
        const BoxBytes got = file();
        want.put(pos, card);
        want.put(gap, boxtest::EncodeHead(0, removed - 6));
        want.put(gap + 6, got.part(gap + 6, removed - 6));  // whatever stands in a dead card
        want.addGarbage(removed);
        want.setCounts(want.cardCount() - 1, 2, want.maxId());
        EXPECT_TRUE(Same(want, got));
        EXPECT_TRUE(Sound(got));
        EXPECT_EQ(ram + removed, ramGarbage());
    }
    void expectStripped(std::vector<Bytes> values, const std::vector<u32>& items, u32 removed)
    {
        values[0][0] &= 0xBF;
        for (const u32 n : items) { values[n].clear(); }
        expectStripped(boxtest::EncodeCard(2, values), removed);
    }
    // Deletes card 2 and expects that it loses its life bit only.
    void expectWhole()
    {
        const BoxBytes want = withTombstone(file(), 2);
        ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
        EXPECT_TRUE(Same(want, file()));
    }
};

TEST_F(CardStrip, AnItemBelowTheBorderStays)
{
    startWith(row({B("name"), item(kLarge - 1), B("memo")}));
    expectWhole();
    EXPECT_EQ(boxtest::Text(item(kLarge - 1)), Read(box, 2, "I001"));
}

TEST_F(CardStrip, AnItemAtTheBorderGoes)
{
    const auto values = row({B("name"), item(kLarge), B("memo")});
    startWith(values);
    expectStripped(values, {5}, kLarge + 1);
}

TEST_F(CardStrip, AnItemOf4000BytesGivesBackItsBytesAndOneOfTheLengthTable)
{
    const auto values = row({B("name"), item(4000), B("memo")});
    startWith(values);
    expectStripped(values, {5}, 4001);
    EXPECT_EQ("", Read(box, 2, "I001"));
    EXPECT_EQ("name", Read(box, 2, "I000"));
    EXPECT_EQ("memo", Read(box, 2, "I002"));
}

TEST_F(CardStrip, ALengthOfFourBytesGivesThreeBack)
{
    const auto values = row({B("name"), item(20000), B("memo")});
    startWith(values);
    expectStripped(values, {5}, 20003);
}

TEST_F(CardStrip, ALengthInALongerFormThanItNeedsGivesThreeBackToo)
{
    const auto values = row({B("name"), item(kLarge), B("memo")});
    startWith(values, {4, 0, 2});
    // Only the field of the item that goes is made short.
    auto kept = values;
    kept[0] = {0};
    kept[5].clear();
    Bytes table;
    for (u32 n = 0; n < kept.size(); n++) {
        table = table + boxtest::LengthField(static_cast<u32>(kept[n].size()), n == 5 ? 1 : 4);
    }
    Bytes data;
    for (const Bytes& value : kept) { data = data + value; }
    Bytes card = boxtest::EncodeHead(2, static_cast<u32>(4 + table.size() + data.size()));
    boxtest::Add16(card, 2);
    boxtest::Add16(card, static_cast<u32>(table.size()));
    expectStripped(card + table + data, kLarge + 3);
}

TEST_F(CardStrip, SeveralLargeItemsGoAndTheSmallOnesCloseUp)
{
    const auto values =
        row({item(5000), B("a"), item(16384), item(130), item(3072), B(""), item(3071), item(9000)});
    startWith(values);
    expectStripped(values, {4, 6, 8, 11}, 5001 + 16387 + 3073 + 9001);
    EXPECT_EQ(boxtest::Text(item(130)), Read(box, 2, "I003"));
    EXPECT_EQ(boxtest::Text(item(3071)), Read(box, 2, "I006"));
}

TEST_F(CardStrip, ALargeItemThatIsTheLastGoes)
{
    const auto values = row({B("name"), item(40000)});
    startWith(values);
    expectStripped(values, {5}, 40003);
}

TEST_F(CardStrip, ALargeItemBesideSmallOnesBeforeTheAttributeGoes)
{
    BoxBuilder b({{1, 0, "TEXT", "text"}, {6, 10, "ATTR", "attribute"}});
    b.card(2, {item(kLarge), {0x41}});
    b.card(3, {{}, {0x40}});
    start(b.build());
    setSync(true);
    expectStripped(boxtest::EncodeCard(2, {{}, {0x01}}), kLarge + 1);
}

TEST_F(CardStrip, BytesBehindTheItemsCloseUpToo)
{
    const auto values = row({item(4000), B("memo")});
    startWith(values, {0, 9, 2});
    auto kept = values;
    kept[0] = {0};
    kept[4].clear();
    expectStripped(boxtest::EncodeCard(2, kept, {0, 9, 2}), 4001);
}

TEST_F(CardStrip, TheLastCardLeavesItsGapBeforeTheEndMark)
{
    const auto values = row({item(4000), B("memo")});
    startWith(values, {}, true);
    const u32 size = file().size();
    expectStripped(values, {4}, 4001);
    EXPECT_EQ(size, file().size());
}

TEST_F(CardStrip, ATombstoneThatDiesLaterIsCountedInItsTwoParts)
{
    const auto values = row({item(4000), B("memo")});
    startWith(values);
    const u32 total = file().total(file().slot(2));
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    ASSERT_EQ(BXD_OK, _CardDeletePMSC(box, 2));
    EXPECT_EQ(total, file().garbage());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardStrip, TheLastTombstoneTakesItsGapAlongWhenItDies)
{
    startWith(row({item(4000), B("memo")}), {}, true);
    const u32 pos = file().slot(2);
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    ASSERT_EQ(BXD_OK, _CardDeletePMSC(box, 2));
    EXPECT_EQ(pos + 2, file().size());
    EXPECT_EQ(0u, file().garbage());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardStrip, ASecondSoftDeletionFindsNothingToGiveBack)
{
    startWith(row({item(4000), B("memo")}));
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    const BoxBytes want = withTombstone(file(), 2);
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_TRUE(Same(want, file()));
}

// --- tables that are not followed --------------------------------------------------------------------------

TEST_F(CardStrip, ATableAtTheEndOfTheWindowIsFollowed)
{
    auto values = row(std::vector<Bytes>(241));  // 244 fields of one byte and one of two: 246 and the head
    values[100] = item(4000);
    startWith(values);
    ASSERT_EQ(246u, file().half(file().slot(2) + 8));
    expectStripped(values, {100}, 4001);
}

TEST_F(CardStrip, ACardWhoseTableLeavesTheWindowKeepsItsItems)
{
    auto values = row(std::vector<Bytes>(242));
    values[4] = item(4000);
    startWith(values);
    ASSERT_EQ(247u, file().half(file().slot(2) + 8));
    expectWhole();

    auto many = row(std::vector<Bytes>(251, B("x")));
    many[4] = item(40000);
    close();
    startWith(many);
    expectWhole();
}

TEST_F(CardStrip, ACardWhoseItemsLeaveItKeepsThem)
{
    startWith(row({item(4000), B("memo")}));
    const u32 field = file().slot(2) + 10 + 4;
    Poke(fid(), field, {0x8F, 0xF0});  // 4080 bytes, of 4000
    expectWhole();
}

TEST_F(CardStrip, ACardWithAFieldThatLeavesTheTableKeepsItsItems)
{
    startWith(row({item(4000), B("memo")}));
    Poke(fid(), file().slot(2) + 10 + 6, {0x80});  // the last field, of one byte, begins one of two
    expectWhole();
}

}  // namespace
