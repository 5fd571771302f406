// SPDX-License-Identifier: MIT
// Mass deletion: what an attribute selects, what becomes of tables and counts, and the handle that survives
// the making of room. Indexes have tests of their own.
#include "box/bxd_card_delete_all.h"

#include "tests/support/card_delete_case.h"
#include "tests/support/quiet_flash.h"

namespace {

using namespace cardtest;
using boxtest::BoxBuilder;
using boxtest::CheckRules;
using boxtest::QuietFlash;
namespace hd = boxtest::hd;

class CardAllDelete : public DeleteCase {
protected:
    // Cards 1 to `count`, whose stored attribute is 0x40 and the low bits of the id.
    static BoxBuilder attrBox(u32 count)
    {
        BoxBuilder b(boxtest::NumberedItems(5));
        for (u32 id = 1; id <= count; id++) { b.card(id, rowOf(b, id, static_cast<u8>(0x40 | (id & 3)))); }
        return b;
    }
    void expectStatusAndNoChange(u32 status)
    {
        const BoxBytes before = file();
        EXPECT_EQ(status, _CardAllDelete(box, 0, 0, 0));
        EXPECT_TRUE(Same(before, file()));
    }
    // The slots of a table, its killed ones brought back to the erased state.
    static void heal(BoxBytes* want, u32 first, u32 last)
    {
        for (u32 id = first; id <= last; id++) {
            if (want->slot(id) == 0) { want->setSlot(id, kNone); }
        }
    }

    QuietFlash flash_;
};

// --- what is selected --------------------------------------------------------------------------------------

TEST_F(CardAllDelete, ThreeZerosSelectEveryCardAndTheBoxIsEmptyThen)
{
    start(attrBox(700).build());
    BoxBytes want = file();
    for (u32 id = 1; id <= 500; id++) { want.setSlot(id, kNone); }
    want.setEntry(511, kNone);
    want.setField(hd::offsetCard, kNone);  // its size stays
    want.setCounts(0, 1, 500);
    want.cutCard(want.cardOffset());
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 0));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
    EXPECT_EQ("status 66", Read(box, 1, "I000"));
    EXPECT_EQ(1u, add({"new"}));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardAllDelete, NegatedZerosSelectNone)
{
    start(attrBox(700).build());
    BoxBytes want = file();
    want.setCounts(700, 72, 700);  // the first free slot of the second append table is its slot 72
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 1));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(701u, add({"new"}));  // from a hint that is too low
}

TEST_F(CardAllDelete, AnAttributeSelects)
{
    start(attrBox(650).build());
    const u32 ram = ramGarbage();
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x03, 0x01, 0));
    for (const u16 id : std::vector<u16>{1, 5, 497, 501, 629, 649}) {
        EXPECT_EQ("status 66", Read(box, id, "I000")) << id;
        EXPECT_EQ(kNone, file().slot(id)) << id;
    }
    for (const u16 id : std::vector<u16>{2, 3, 4, 500, 502, 630, 650}) {
        EXPECT_EQ("card " + std::to_string(id), Read(box, id, "I000")) << id;
    }
    EXPECT_EQ(650u - 163, file().cardCount());
    EXPECT_EQ(1u, file().hint());
    EXPECT_EQ(650u, file().maxId());
    EXPECT_EQ(file().garbage(), ramGarbage() - ram);
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardAllDelete, ANegatedAttributeSelectsTheOthers)
{
    start(attrBox(20).build());
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x03, 0x01, 1));
    EXPECT_EQ(5u, file().cardCount());
    for (u16 id = 1; id <= 20; id++) { EXPECT_EQ(id % 4 == 1, boxtest::IsSet(file().slot(id))) << id; }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardAllDelete, TheLifeBitIsTheCallersAndTombstonesAreNotCounted)
{
    BoxBuilder b(boxtest::NumberedItems(5));
    for (u32 id = 1; id <= 6; id++) { b.card(id, rowOf(b, id, id % 2 == 0 ? 0x00 : 0x40)); }
    start(b.build());
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x40, 0x40, 0));  // the tombstones
    EXPECT_EQ(3u, file().cardCount());
    for (u16 id = 1; id <= 6; id++) { EXPECT_EQ(id % 2 == 1, boxtest::IsSet(file().slot(id))) << id; }
    EXPECT_TRUE(Sound(file()));

    close();
    start(b.build());
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x40, 0x00, 0));  // the live ones
    EXPECT_EQ(0u, file().cardCount());
    for (u16 id = 1; id <= 6; id++) { EXPECT_EQ(id % 2 == 0, boxtest::IsSet(file().slot(id))) << id; }
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardAllDelete, KilledSlotsOfEveryTableAreErasedAgain)
{
    BoxBuilder b = attrBox(630);
    b.killSlot(631);
    start(b.build());
    ASSERT_EQ(BXD_OK, _CardDelete(box, 4));
    ASSERT_EQ(BXD_OK, _CardDelete(box, 600));
    BoxBytes want = file();
    heal(&want, 1, 631);
    want.setCounts(628, 4, 630);
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 1));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardAllDelete, TheFirstSlotOfAnAppendTableIsNoHint)
{
    BoxBuilder b = attrBox(520);
    start(b.build());
    ASSERT_EQ(BXD_OK, _CardDelete(box, 501));
    ASSERT_EQ(BXD_OK, _CardDelete(box, 510));
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 1));
    EXPECT_EQ(9u, file().hint());  // the place of 510 in its table
    EXPECT_EQ(501u, add({"new"}));
}

TEST_F(CardAllDelete, OnlyTheFirstSlotFreeMakesTheHintOne)
{
    start(attrBox(628).build());
    ASSERT_EQ(BXD_OK, _CardDelete(box, 501));
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 1));
    EXPECT_EQ(1u, file().hint());
}

// --- the end of the file -----------------------------------------------------------------------------------

TEST_F(CardAllDelete, DeadCardsAtTheEndAreCutOff)
{
    BoxBuilder b = attrBox(3);
    b.dead(500);
    b.card(9, rowOf(b, 9, 0x41));
    b.systemCard(1, 65300, b.row());
    b.dead(70);
    start(b.build());
    const u32 system = file().entry(1);
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x03, 0x01, 0));  // 1 and 9
    EXPECT_EQ(system + file().total(system) + 2, file().size());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardAllDelete, AnAppendTableWithoutCardsAtTheEndGoes)
{
    start(attrBox(629).build());
    const u32 table = file().appendTables()[1];
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x03, 0x01, 0));  // 629 is one of them
    EXPECT_EQ(1u, file().appendTables().size());
    EXPECT_EQ(628u, file().maxId());
    EXPECT_NE(OFFSET_TABLE_ID, file().half(table));
    CheckRules rules;
    rules.zeroOffsetWords = true;
    EXPECT_TRUE(Sound(file(), rules));
}

TEST_F(CardAllDelete, SystemCardsAndTheCardUnderEditStay)
{
    start(attrBox(5).build());
    addSystem(65300, {"system"});
    edit({"edit"});
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 0));
    EXPECT_EQ("system", Read(box, 65300, "I000"));
    EXPECT_EQ("edit", Read(box, TMP_SYSTEM_CARD_ID, "I000"));
    EXPECT_EQ(1u, copyNew(TMP_SYSTEM_CARD_ID));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardAllDelete, ACardUnderEditInTheFileStays)
{
    start(boxOf(5).build());
    const Values values = spill();
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 0));
    EXPECT_EQ("name", Read(box, TMP_SYSTEM_CARD_ID, "I000"));
    EXPECT_EQ(1u, copyNew(TMP_SYSTEM_CARD_ID));
    EXPECT_EQ(values, file().valuesAt(file().slot(1)));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardAllDelete, ABoxWithoutCardsIsLeftAlone)
{
    make(1);
    expectStatusAndNoChange(BXD_OK);
    EXPECT_TRUE(flash_.merged().empty());
}

// --- while a synchronisation runs --------------------------------------------------------------------------

TEST_F(CardAllDelete, TombstonesKeepTheirSlotsAndAreNotKept)
{
    start(attrBox(640).build());
    setSync(true);
    BoxBytes want = file();
    for (u32 id = 1; id <= 640; id++) {
        if (id % 4 == 1) { want = withTombstone(want, id); }
    }
    want.setCounts(640 - 160, 12, 640);  // free is slot 12 of the second append table
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x03, 0x01, 0));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardAllDelete, TombstonesGiveTheirLargeItemsBack)
{
    BoxBuilder b(boxtest::NumberedItems(6));
    for (u32 id = 1; id <= 3; id++) {
        b.card(id, b.row({{"I000", B("card")}, {"I001", boxtest::Pattern(4000, id)}}));
    }
    start(b.build());
    setSync(true);
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 0));
    EXPECT_EQ(0u, file().cardCount());
    EXPECT_EQ("card", Read(box, 2, "I000"));
    EXPECT_EQ("", Read(box, 2, "I001"));
    EXPECT_EQ(2u * 4001, file().garbage());  // the gap behind the last one is cut off
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardAllDelete, ATombstoneThatIsSelectedAgainStays)
{
    start(attrBox(3).build());
    setSync(true);
    ASSERT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 0));
    const BoxBytes want = file();
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 0));
    EXPECT_TRUE(Same(want, file()));
}

// --- damage ------------------------------------------------------------------------------------------------

TEST_F(CardAllDelete, ASlotThatLeadsToADeadCardIsErasedAndNothingDiesTwice)
{
    start(attrBox(4).build());
    const BoxBytes before = file();
    PokeHalf(fid(), before.slot(1), 0);
    BoxBytes want = file();
    want.setSlot(1, kNone);
    want.setCounts(3, 1, 4);
    want.setField(hd::garbageSize, before.total(before.slot(1)));  // the measure has put it right
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x03, 0x01, 0));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardAllDelete, ADeadCardIsNotKeptThoughItIsNotSelected)
{
    for (const bool running : {false, true}) {
        start(attrBox(505).build());
        setSync(running);
        const BoxBytes before = file();
        for (const u32 id : {2u, 503u}) { PokeHalf(fid(), before.slot(id), 0); }
        BoxBytes want = file();
        for (const u32 id : {2u, 503u}) { want.setSlot(id, kNone); }
        want.setCounts(503, 2, 505);
        want.setField(hd::garbageSize, before.total(before.slot(2)) + before.total(before.slot(503)));
        EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0, 0, 1));
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(2u, add({"new"}));
        close();
    }
}

TEST_F(CardAllDelete, ASlotThatLeadsToNoCardIsFreedAndTheOthersFollowTheirAttribute)
{
    start(attrBox(5).build());
    const BoxBytes before = file();
    PokeWord(fid(), before.slotAt(2), before.slot(3));  // another card
    PokeWord(fid(), before.slotAt(4), before.end());    // the end mark
    PokeWord(fid(), before.slotAt(5), before.size() + 100);
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x03, 0x03, 0));  // 3
    for (const u16 id : std::vector<u16>{2, 3, 4, 5}) { EXPECT_EQ(kNone, file().slot(id)) << id; }
    EXPECT_EQ("card 1", Read(box, 1, "I000"));
    EXPECT_EQ(1u, file().cardCount());
    EXPECT_EQ(2u, file().hint());
}

TEST_F(CardAllDelete, ATableThatTheFileCutsStopsTheWalk)
{
    start(attrBox(505).build());
    const u32 table = file().end();
    Poke(fid(), table, boxtest::EncodeHead(OFFSET_TABLE_ID, 516) + Bytes(100, 0xFF));
    PokeWord(fid(), file().appendTables()[0] + 518, table);
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_FAIL, _CardAllDelete(box, 0, 0, 1));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardAllDelete, AnAttributeOfAnotherLengthThanOneStopsIt)
{
    for (const Bytes& attr : {Bytes{}, Bytes{0x40, 0x40}}) {
        BoxBuilder b(boxtest::NumberedItems(5));
        b.card(1, b.row({{"ATTR", attr}}));
        b.card(2);
        start(b.build());
        expectStatusAndNoChange(BXD_ERR_FAIL);
        close();
    }
}

TEST_F(CardAllDelete, ABoxWithoutAnAttributeItemHasNothingToSelectBy)
{
    BoxBuilder b({{1, 0, "NAME", "name"}});
    b.card(1, {B("x")});
    start(b.build());
    expectStatusAndNoChange(BXD_ERR_NOTFOUND);
}

TEST_F(CardAllDelete, AMissingOffsetTableIsNotFound)
{
    start(attrBox(2).build());
    PokeWord(fid(), hd::offsetTable.at, kNone);
    expectStatusAndNoChange(BXD_ERR_NOTFOUND);
}

TEST_F(CardAllDelete, ALinkThatLeadsToNoTableStopsTheWalk)
{
    start(attrBox(640).build());
    const u32 table = file().appendTables()[0];
    PokeWord(fid(), table + 518, file().slot(3));
    EXPECT_EQ(BXD_ERR_NOTFOUND, _CardAllDelete(box, 0, 0, 1));
    PokeWord(fid(), table + 518, file().size() + 600);
    EXPECT_EQ(BXD_ERR_FAIL, _CardAllDelete(box, 0, 0, 1));
}

TEST_F(CardAllDelete, ACircleOfTablesEnds)
{
    BoxBuilder b = attrBox(3);
    b.makeTablesFor(501);
    start(b.build());
    const u32 table = file().appendTables()[0];
    PokeWord(fid(), table + 518, table);
    EXPECT_EQ(BXD_ERR_FAIL, _CardAllDelete(box, 0, 0, 1));
}

// --- the file is closed and opened for the making of room --------------------------------------------------

TEST_F(CardAllDelete, TheFileIsMergedOnceAndTheHandleStaysGood)
{
    start(attrBox(3).build());
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x03, 0x01, 0));
    EXPECT_EQ(std::vector<std::string>{"/usr/sbin/nodemerge.jffs2 " + path(kName)}, flash_.merged());
    EXPECT_EQ(BXD_OK, BoxHdCheck(box));
    EXPECT_EQ("card 2", Read(box, 2, "I000"));
}

TEST_F(CardAllDelete, TheHandleFollowsItsFileToAnotherId)
{
    const i32 first = BxdFileCreate("F0:OTHER.DAT", 0);
    ASSERT_GE(first, 0);
    start(attrBox(3).build());
    edit({"edit"});
    ASSERT_NE(static_cast<u8>(first), fid());
    ASSERT_EQ(BXD_OK, BxdFileClose(static_cast<u8>(first)));
    EXPECT_EQ(BXD_OK, _CardAllDelete(box, 0x03, 0x01, 0));
    EXPECT_EQ(static_cast<u8>(first), fid());
    EXPECT_EQ("edit", Read(box, TMP_SYSTEM_CARD_ID, "I000"));
    EXPECT_EQ(1u, copyNew(TMP_SYSTEM_CARD_ID));
    EXPECT_TRUE(Sound(file()));
    reopen();
}

TEST_F(CardAllDelete, TheHandleIsGoneWhereTheFileDoesNotOpenAgain)
{
    start(attrBox(3).build());
    edit({"edit"});
    const std::string host = path(kName);
    flash_.whenMerging([&host] { EXPECT_EQ(0, unlink(host.c_str())); });
    EXPECT_EQ(BXD_ERR_NOSPACE, _CardAllDelete(box, 0, 0, 0));
    EXPECT_EQ(BXD_ERR_FAIL, BoxHdCheck(box));
    EXPECT_EQ(BXD_ERR_FAIL, _BoxClose(box));
    box = nullptr;
    EXPECT_EQ(0u, boxtest::OpenFiles());
}

TEST_F(CardAllDelete, ADeadBoxHandleIsRefused) { EXPECT_EQ(BXD_ERR_FAIL, _CardAllDelete(nullptr, 0, 0, 0)); }

}  // namespace
