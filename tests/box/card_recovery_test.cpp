// SPDX-License-Identifier: MIT
// What a lost power has left in a box, and how the next calls on it mend that or refuse it.
#include <bxd/bxd.h>

#include "box/bxd_card_slots.h"
#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;

class CardRecovery : public CardTest {
protected:
    // A box of two cards, of which the first is dead while its slot still leads to it.
    void deadCardInItsSlot()
    {
        make();
        (void)add({"first", "value", "memo"});
        (void)add({"second", "", ""});
        PokeHalf(fid(), file().slot(1), 0);
    }
    // The copy that was complete when the power went stands in no table, and no count has the dead one.
    static boxtest::CheckRules afterTheCut()
    {
        boxtest::CheckRules rules;
        rules.garbageSize = false;
        return rules;
    }
};

TEST_F(CardRecovery, ADeadCardInItsSlotIsStillRead)
{
    deadCardInItsSlot();
    EXPECT_EQ("first", Read(box, 1, "I000"));
}

TEST_F(CardRecovery, AWriteThroughASlotOfADeadCardPutsALiveOneBehind)
{
    deadCardInItsSlot();
    const u32 dead = file().slot(1);
    ASSERT_EQ(BXD_OK, Write(box, 1, "I001", "VALUE"));  // the same length, and yet no patch of the dead card
    const BoxBytes after = file();
    EXPECT_NE(dead, after.slot(1));
    EXPECT_EQ(1u, after.half(after.slot(1)));
    EXPECT_EQ("first", Read(box, 1, "I000"));
    EXPECT_EQ("VALUE", Read(box, 1, "I001"));
    EXPECT_EQ("second", Read(box, 2, "I000"));
    EXPECT_EQ(0u, after.garbage());  // the dead one was not killed, nor counted, again
    EXPECT_TRUE(Sound(after, afterTheCut()));
}

TEST_F(CardRecovery, ACardThatReplacesADeadOneGoesBehindTheLast)
{
    deadCardInItsSlot();
    edit({"again", "value", "memo"});
    ASSERT_EQ(BXD_OK, copy(kEdit, 1));
    EXPECT_EQ("again", Read(box, 1, "I000"));
    EXPECT_EQ(2u, file().cardCount());
    EXPECT_TRUE(Sound(file(), afterTheCut()));
}

TEST_F(CardRecovery, ASlotThatLeadsToAnotherCardIsNotWrittenThrough)
{
    make();
    (void)add({"first", "", ""});
    (void)add({"second", "", ""});
    PokeWord(fid(), file().slotAt(1), file().slot(2));
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, 1, "I000", "changed"));
    edit({"third"});
    EXPECT_EQ(BXD_ERR_FAIL, copy(kEdit, 1));
    BoxBytes after = file();
    after.putByte(45, before.byte(45));
    EXPECT_TRUE(Same(before, after));
}

class TableRecovery : public CardRecovery {
protected:
    // A box of 500 cards and `more` in the first append table.
    void fill(u32 more)
    {
        make();
        for (u32 n = 0; n < 500 + more; n++) { (void)add({"c" + std::to_string(n + 1)}); }
    }
};

TEST_F(TableRecovery, AnUnlinkedTableWithCardsIsLinkedAndNoIdIsGivenTwice)
{
    fill(2);
    const u32 table = file().entry(511);
    PokeWord(fid(), file().wordAt(511), 0xFFFFFFFF);
    ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 1));
    EXPECT_EQ(503, add({"c503"}));
    EXPECT_EQ(table, file().entry(511));
    EXPECT_EQ("c501", Read(box, 501, "I000"));
    EXPECT_EQ("c503", Read(box, 503, "I000"));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(TableRecovery, AnUnlinkedTableWithoutCardsIsLinkedByTheFirst)
{
    fill(1);
    const u32 table = file().entry(511);
    const u32 card = file().slot(501);
    ASSERT_EQ(BXD_OK, DeleteCardData(fid(), card));
    PokeWord(fid(), file().slotAt(501), 0xFFFFFFFF);
    PokeWord(fid(), file().wordAt(511), 0xFFFFFFFF);
    ASSERT_EQ(BXD_OK, DecCardCount(fid()));
    ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 501));
    EXPECT_EQ(501, add({"c501"}));
    EXPECT_EQ(table, file().entry(511));
    ASSERT_EQ(BXD_OK, Write(box, 501, "I000", "another length"));
    EXPECT_EQ("another length", Read(box, 501, "I000"));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardRecovery, ASystemCardThatTakesAnothersIdWhereItStandsLeavesNoSlotOnTheDeadOne)
{
    make();
    (void)add({"first"});
    addSystem(65300, {"a"});
    (void)add({"between"});
    addSystem(65301, {"b", Stuff(100), ""});
    const u32 source = file().entry(2);
    ASSERT_EQ(BXD_OK, copy(65301, 65300));
    const BoxBytes after = file();
    EXPECT_EQ(0u, after.entry(1));
    EXPECT_EQ(source, after.entry(2));
    EXPECT_EQ("b", Read(box, 65300, "I000"));
    EXPECT_EQ("status 66", Read(box, 65301, "I000"));
    EXPECT_TRUE(Sound(after));
}

TEST_F(CardRecovery, ADeadCardWhoseLengthLeadsRoundIsDamage)
{
    make();
    (void)add({"first"});
    (void)add({"second"});
    const u32 second = file().slot(2);
    PokeHalf(fid(), second, 0);
    for (const u32 length : {0xFFFFFFFAu, 0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu}) {
        PokeWord(fid(), second + 2, length);
        EXPECT_EQ(BXD_ERR_FAIL, DeleteCardData(fid(), file().slot(1))) << length;
    }
}

TEST_F(CardRecovery, AValueIsNotPatchedBehindTheEndOfTheFile)
{
    make();
    const u16 id = add({"first", "value", "memo"});
    const BoxBytes sound = file();
    const u32 pos = sound.slot(id);
    PokeWord(fid(), pos + 2, 0x3FFFFFFF);
    PokeWord(fid(), pos + 10 + 4, 0x05050505);
    Poke(fid(), pos + 10 + 4, Bytes{0x7F});  // the first own item, longer than the rest of the file
    const u32 size = file().size();
    EXPECT_EQ(BXD_ERR_FAIL, Write(box, id, "I000", Stuff(0x7F)));
    EXPECT_EQ(size, file().size());
}

class ItemNames : public CardTest {};

TEST_F(ItemNames, OfFullLengthAllFit)
{
    for (const u32 count : {2u, 251u, 300u}) {
        std::vector<ItemRecord> records(count);
        for (u32 n = 0; n < count; n++) {
            records[n].itemType = 17;
            const std::string name = tag(n);
            std::copy_n(name.begin(), 4, records[n].itemNameId);
            std::fill(std::begin(records[n].name), std::end(records[n].name), 'x');
        }
        u32 rewritten = 0;
        ASSERT_EQ(BXD_OK, _BoxCreate(kName, 0));
        ASSERT_EQ(BXD_OK, _BoxItemAppend(kName, records.data(), static_cast<u16>(count), &rewritten));
        open();
        EXPECT_EQ(std::min(count, 251u) + 4, _GetItemNum(box));
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

}  // namespace
