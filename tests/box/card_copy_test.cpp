// SPDX-License-Identifier: MIT
// Copying the card under edit: it becomes a stored or a system card.
#include "box/bxd_card_copy.h"

#include <bxd/bxd.h>

#include "box/bxd_card_delete.h"
#include "box/bxd_garb.h"
#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;

class CardCopy : public CardTest {};

// --- the frame ---------------------------------------------------------------------------------------------

TEST_F(CardCopy, ACardCopiedToItselfIsLeftAloneWhateverTheHandle)
{
    make();
    const u16 id = add({"stored"});
    const BoxBytes before = file();
    EXPECT_EQ(BXD_OK, copy(id, id));
    EXPECT_EQ(BXD_OK, copy(kEdit, kEdit));
    EXPECT_EQ(BXD_OK, copy(999, 999));
    u16 same = 5;
    EXPECT_EQ(BXD_OK, _CardCopy(nullptr, 5, &same));
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CardCopy, ABadHandleIsRefused)
{
    make();
    BoxHandle closed = box;
    close();
    BoxRecord record{};
    BoxRecord* foreign = &record;
    for (const BoxHandle bad : {BoxHandle{nullptr}, closed, BoxHandle{&foreign}}) {
        u16 target = 0;
        EXPECT_EQ(BXD_ERR_FAIL, _CardCopy(bad, kEdit, &target));
        EXPECT_EQ(0, target);
    }
}

TEST_F(CardCopy, AMissingSourceIsTold)
{
    make();
    (void)add({"stored"});
    const BoxBytes before = file();
    for (const u16 target : {u16{0}, u16{7}, kEdit, u16{65300}}) {
        SCOPED_TRACE(target);
        EXPECT_EQ(BXD_ERR_FAIL, copy(2, target));
        EXPECT_EQ(BXD_ERR_FAIL, copy(501, target));
        EXPECT_EQ(BXD_ERR_NOTFOUND, copy(65301, target));
        if (target != kEdit) { EXPECT_EQ(BXD_ERR_NOTFOUND, copy(kEdit, target)); }
        EXPECT_TRUE(Same(before, file()));
    }
    EXPECT_EQ(0, state());
}

TEST_F(CardCopy, IdsOfTablesAreNoTargets)
{
    make();
    const u16 id = add({"stored"});
    edit({"in work"});
    const BoxBytes before = file();
    for (const u32 target : {65520u, 65521u, 65522u, 65523u, 65534u, 65535u}) {
        EXPECT_EQ(BXD_ERR_FAIL, copy(kEdit, static_cast<u16>(target)));
        EXPECT_EQ(BXD_ERR_FAIL, copy(id, static_cast<u16>(target)));
    }
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ("in work", Read(box, kEdit, "I000"));
}

TEST_F(CardCopy, ATargetBeyondTheTablesIsRefused)
{
    make();
    const u16 id = add({"stored"});
    edit({"in work"});
    const BoxBytes before = file();
    for (const u32 target : {501u, 629u, 65279u}) {
        EXPECT_EQ(BXD_ERR_FAIL, copy(kEdit, static_cast<u16>(target)));
        EXPECT_EQ(BXD_ERR_FAIL, copy(id, static_cast<u16>(target)));
    }
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ(1, state());
}

TEST_F(CardCopy, ABoxOpenForReadingOnlyIsNotCopiedIn)
{
    make();
    const u16 id = add({"stored"});
    addSystem(65300, {"system"});
    close();
    const BoxBytes before = file();
    box = _BoxOpenRwMode(kName, 1);
    ASSERT_NE(nullptr, box);
    for (const u16 target : {u16{0}, u16{7}, kEdit, u16{65301}}) {
        EXPECT_EQ(BXD_ERR_FAIL, copy(id, target)) << target;
        EXPECT_EQ(BXD_ERR_FAIL, copy(65300, target)) << target;
    }
    EXPECT_TRUE(Same(before, file()));
}

// --- the image in RAM to a new card ------------------------------------------------------------------------

TEST_F(CardCopy, TheFirstCardOfABoxBeginsTheCardArea)
{
    make();
    BoxBytes want = file();
    edit({"name", "value", "memo"});
    EXPECT_EQ(1, copyNew(kEdit));
    const u32 pos = want.addNew(1, Live({"name", "value", "memo"}));
    EXPECT_EQ(want.cardOffset(), pos);
    want.setField(hd::unUsedCardID, 2);
    EXPECT_TRUE(Same(want, file()));
    expectNoEdit();
    EXPECT_EQ("value", Read(box, 1, "I001"));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardCopy, ANewCardStandsOverTheEndMark)
{
    make();
    (void)add({"one"});
    BoxBytes want = file();
    const u32 ram = ramGarbage();
    edit({"two", Stuff(3000), ""});
    EXPECT_EQ(2, copyNew(kEdit));
    (void)want.addNew(2, Live({"two", Stuff(3000), ""}));
    want.setField(hd::unUsedCardID, 3);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(ram, ramGarbage());
}

TEST_F(CardCopy, ANewCardTakesItsAttributeAlong)
{
    make();
    edit({"one"});
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "ATTR", "\x21"));
    const u16 id = copyNew(kEdit);
    EXPECT_EQ("\x21", Read(box, id, "ATTR"));
    EXPECT_EQ(1u, file().cardCount());
}

TEST_F(CardCopy, ANamedTargetWithoutACardIsANewCard)
{
    make();
    (void)add({"one"});
    BoxBytes want = file();
    edit({"seven", "", ""});
    ASSERT_EQ(BXD_OK, copy(kEdit, 7));
    (void)want.addNew(7, Live({"seven", "", ""}));
    EXPECT_EQ(2u, want.hint());
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardCopy, ANamedTargetWithAKilledSlotIsWrittenOverIt)
{
    make();
    for (u32 n = 0; n < 5; n++) { (void)add({"v"}); }
    kill(2);
    kill(4);
    BoxBytes want = file();
    edit({"two", "", ""});
    ASSERT_EQ(BXD_OK, copy(kEdit, 2));
    (void)want.addNew(2, Live({"two", "", ""}));
    EXPECT_EQ(0u, want.slot(4));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardCopy, ANamedTargetInAnAppendTableIsANewCardThere)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    b.card(1);
    b.card(501);
    start(b.build());
    BoxBytes want = file();
    edit({"name", "", ""});
    ASSERT_EQ(BXD_OK, copy(kEdit, 628));
    (void)want.addNew(628, Live({"name", "", ""}));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardCopy, ANewCardWithAnIdAbove500IsEnteredInItsTable)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    for (u32 id = 1; id <= 501; id++) { b.card(id); }
    b.killSlot(502);
    b.card(503);
    b.setField(hd::unUsedCardID, 502);
    start(b.build());
    edit({"name", "", ""});
    EXPECT_EQ(502, copyNew(kEdit));
    edit({"next", "", ""});
    EXPECT_EQ(504, copyNew(kEdit));
    EXPECT_EQ("name", Read(box, 502, "I000"));
    EXPECT_EQ("next", Read(box, 504, "I000"));
    EXPECT_EQ(505u, file().hint());
    EXPECT_EQ(504u, file().maxId());
}

TEST_F(CardCopy, AFailedNewCardGivesItsIdBack)
{
    make();
    (void)add({"one"});
    (void)add({"two"});
    close();
    BoxBytes content = file();
    content.putWord(content.slot(2) + 2, 0x00FFFFFF);  // a length that leaves the file
    start(content);
    EXPECT_NE(BXD_OK, copy(2, 0));
    EXPECT_TRUE(Same(content, file()));
}

TEST_F(CardCopy, AFailedFirstCardLeavesTheBoxWithoutACardArea)
{
    make();
    ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 501));
    const BoxBytes before = file();
    edit({"one"});
    EXPECT_EQ(BXD_ERR_FAIL, copy(kEdit, 0));
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ("one", Read(box, kEdit, "I000"));
}

// --- the card under edit in the file to a new card ---------------------------------------------------------

TEST_F(CardCopy, ACardInTheFileTakesANewIdWhereItStands)
{
    for (const u32 target : {0u, 2u, 7u}) {
        make();
        (void)add({"one"});
        const Values values = spill();
        BoxBytes want = file();
        const u32 pos = (*box)->tmpCardOffset;
        u16 id = static_cast<u16>(target);
        ASSERT_EQ(BXD_OK, _CardCopy(box, kEdit, &id));
        EXPECT_EQ(target == 0 ? 2 : target, id);
        want.putHalf(pos, id);
        want.setSlot(id, pos);
        want.setCounts(2, target == 0 ? 3 : 2, id);
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(Card(id, values), file().part(pos, file().total(pos)));
        expectNoEdit();
        EXPECT_TRUE(Sound(file()));
        close();
        ASSERT_EQ(BXD_OK, _BoxDelete(kName));
    }
}

TEST_F(CardCopy, ACardInTheFileOfABoxWithoutOtherCardsTakesItsIdToo)
{
    make();
    (void)spill();
    EXPECT_EQ(1, copyNew(kEdit));
    EXPECT_EQ(Stuff(12000), Read(box, 1, "I001"));
    EXPECT_EQ(file().cardOffset(), file().slot(1));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardCopy, ACardInTheFileTakesItsIdWithAnotherCardBehindIt)
{
    make();
    (void)add({"one"});
    const Values values = spill();
    const u32 pos = (*box)->tmpCardOffset;
    EXPECT_EQ(2, copyNew(1));
    EXPECT_EQ(2, state());
    BoxBytes want = file();
    EXPECT_EQ(3, copyNew(kEdit));
    want.putHalf(pos, 3);
    want.setSlot(3, pos);
    want.setCounts(3, 4, 3);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(CardCopy, ACardInTheFileThatTheCollectorTookIsRefused)
{
    make();
    (void)add({"one"});
    (void)spill();
    Poke(fid(), hd::garbageFlags.at, {0x01});
    const BoxBytes before = file();
    EXPECT_EQ(BXD_ERR_OTHER, copy(kEdit, 0));
    EXPECT_EQ(BXD_ERR_OTHER, copy(kEdit, 1));
    EXPECT_EQ(BXD_ERR_OTHER, copy(kEdit, 65300));
    EXPECT_TRUE(Same(before, file()));
    Poke(fid(), hd::garbageFlags.at, {0x00});
}

TEST_F(CardCopy, ACardInTheFileIsReusedOverAKilledSlotByWritingTheTable)
{
    make();
    for (u32 n = 0; n < 5; n++) { (void)add({"v"}); }
    kill(2);
    kill(4);
    (void)spill();
    BoxBytes want = file();
    const u32 pos = (*box)->tmpCardOffset;
    EXPECT_EQ(2, copyNew(kEdit));
    want.putHalf(pos, 2);
    want.setSlot(2, pos);
    want.setSlot(4, kNone);
    want.setCounts(4, 3, 5);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CardCopy, AnIdThatWasChosenForNothingGoesBack)
{
    // Without the item ATTR there is nothing to tell the indexes, and the copy ends before it writes.
    std::vector<boxtest::Item> items = boxtest::NumberedItems(6);
    items[0].tag = "BTTR";
    start(boxtest::BoxBuilder(items).build());
    edit({});
    const BoxBytes before = file();
    EXPECT_NE(BXD_OK, copy(kEdit, 0));
    EXPECT_TRUE(Same(before, file()));
    EXPECT_EQ(1u, file().hint());
}

}  // namespace
