// SPDX-License-Identifier: MIT
// What a copy knows before it writes a card, and how bytes are copied in the file.
#include "box/bxd_card_copy.h"

#include <bxd/bxd.h>

#include "box/bxd_card_delete.h"
#include "box/bxd_garb.h"
#include "tests/support/card_helpers.h"

namespace {

using namespace cardtest;
namespace hd = boxtest::hd;

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;

class CopyPlan : public CardTest {};

// --- what a copy knows before it writes a card -------------------------------------------------------------

// Stored cards 1 (attribute 0x21 in its high bits and low ones), 2 and 501; system card 65300.
class CopyWork : public CardTest {
protected:
    void SetUp() override
    {
        boxtest::BoxBuilder b(boxtest::NumberedItems(7));
        std::vector<Bytes> row = b.row({{"I000", B("one")}});
        row[0] = {0x61};
        b.card(1, row);
        b.card(2);
        b.card(501);
        (void)b.systemCard(3, 65300, b.row());
        b.setField(hd::unUsedCardID, 3);
        start(b.build());
    }
    CardCopyState work(u16 source, u16 target, u32 status = BXD_OK)
    {
        CardCopyState state{};
        EXPECT_EQ(status, GetCardCopyWork(*box, source, target, &state));
        return state;
    }
    // What every copy from a card in the file has.
    void expectFromFile(const CardCopyState& got, u32 sourcePos, u32 attr)
    {
        EXPECT_EQ(kSourceInFile, got.sourceKind);
        EXPECT_EQ(sourcePos, got.sourcePos);
        EXPECT_EQ(file().size() - 2, got.cardPos);
        EXPECT_EQ(attr, got.attr);
    }
};

TEST_F(CopyWork, ANewIdIsChosenAndItsTableIsInHand)
{
    BoxBytes want = file();
    const CardCopyState got = work(1, 0);
    expectFromFile(got, want.slot(1), 0x61);
    EXPECT_EQ(kTargetNew, got.targetKind);
    EXPECT_EQ(3, got.cardId);
    EXPECT_EQ(0u, got.isUpdate);
    EXPECT_EQ(0u, got.slotKilled);
    EXPECT_EQ(72u, got.tablePos);
    EXPECT_EQ(500, got.topId);
    for (u32 n = 0; n < 512; n++) { ASSERT_EQ(want.entry(n), got.table[n]) << n; }
    want.setField(hd::unUsedCardID, 4);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CopyWork, AKilledSlotIsTold)
{
    kill(1);
    const CardCopyState got = work(2, 0);
    EXPECT_EQ(1, got.cardId);
    EXPECT_EQ(1u, got.slotKilled);
    EXPECT_EQ(0u, work(2, 1).slotKilled);  // not for an id that was named
}

TEST_F(CopyWork, ANewIdAbove500LeavesItsAppendTableInHand)
{
    ASSERT_EQ(BXD_OK, WriteUnUsedCardID(fid(), 501));
    const BoxBytes before = file();
    const CardCopyState got = work(1, 0);
    expectFromFile(got, before.slot(1), 0x61);
    EXPECT_EQ(502, got.cardId);
    EXPECT_EQ(before.entry(511), got.tablePos);
    EXPECT_EQ(502, got.topId);
    for (u32 n = 0; n < 129; n++) { ASSERT_EQ(before.word(got.tablePos + 6 + 4 * n), got.table[n]) << n; }
}

TEST_F(CopyWork, ANamedTargetIsLookedUp)
{
    const BoxBytes before = file();
    CardCopyState got = work(1, 2);
    expectFromFile(got, before.slot(1), 0x61);
    EXPECT_EQ(kTargetNamed, got.targetKind);
    EXPECT_EQ(before.slot(2), got.isUpdate);
    EXPECT_EQ(2, got.cardId);
    got = work(1, 77);
    EXPECT_EQ(kTargetNew, got.targetKind);
    EXPECT_EQ(0u, got.isUpdate);
    EXPECT_EQ(77, got.cardId);
    got = work(501, 2);
    expectFromFile(got, before.slot(501), 0x40);
    EXPECT_EQ(before.slot(2), got.isUpdate);
    EXPECT_EQ(72u, got.tablePos);
    EXPECT_EQ(500, got.topId);
    got = work(2, 501);
    EXPECT_EQ(kTargetNamed, got.targetKind);
    EXPECT_EQ(before.slot(501), got.isUpdate);
    EXPECT_EQ(before.entry(511), got.tablePos);
    EXPECT_EQ(501, got.topId);
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CopyWork, ASystemTargetIsLookedUpInTheDefaultTable)
{
    const BoxBytes before = file();
    for (const u16 source : {u16{1}, u16{501}}) {
        CardCopyState got = work(source, 65300);
        expectFromFile(got, before.slot(source), source == 1 ? 0x61 : 0x40);
        EXPECT_EQ(kTargetNamed, got.targetKind);
        EXPECT_EQ(before.entry(3), got.isUpdate);
        EXPECT_EQ(72u, got.tablePos);
        EXPECT_EQ(500, got.topId);
        for (u32 n = 0; n < 512; n++) { ASSERT_EQ(before.entry(n), got.table[n]) << n; }
        got = work(source, 65301);
        EXPECT_EQ(kTargetNamed, got.targetKind);
        EXPECT_EQ(0u, got.isUpdate);
    }
    (void)work(1, 65520, BXD_ERR_FAIL);
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CopyWork, TheCardUnderEditAsTargetHasAnImage)
{
    const CardCopyState got = work(1, kEdit);
    expectFromFile(got, file().slot(1), 0x61);
    EXPECT_EQ(kTargetEdit, got.targetKind);
    EXPECT_EQ(kEdit, got.cardId);
    ASSERT_NE(nullptr, (*box)->tmpCardWork);
    EXPECT_EQ(*(*box)->tmpCardWork, got.targetImage);
    EXPECT_EQ(0, GET_4BYTES(got.targetImage) & 0xFFFFFF);
    EXPECT_EQ(0, state());
}

TEST_F(CopyWork, ASystemSourceIsFoundInItsSlot)
{
    const BoxBytes before = file();
    const CardCopyState got = work(65300, 2);
    expectFromFile(got, before.entry(3), 0x40);
    EXPECT_EQ(before.slot(2), got.isUpdate);
    EXPECT_NE(nullptr, (*box)->tmpCardWork);
    (void)work(65301, 2, BXD_ERR_NOTFOUND);
    (void)work(kEdit, 2, BXD_ERR_NOTFOUND);
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CopyWork, TheImageInRamIsTheSourceUnderItsId)
{
    edit({"in work"});
    ASSERT_EQ(BXD_OK, Write(box, kEdit, "ATTR", "\x32"));
    const BoxBytes before = file();
    CardCopyState got = work(kEdit, 2);
    EXPECT_EQ(kSourceInRam, got.sourceKind);
    EXPECT_EQ(*(*box)->tmpCardWork, got.sourceImage);
    EXPECT_EQ(before.size() - 2, got.cardPos);
    EXPECT_EQ(0x72, got.attr);
    EXPECT_EQ(before.slot(2), got.isUpdate);
    got = work(65300, 2);  // another system card is still found in its slot
    expectFromFile(got, before.entry(3), 0x40);
    EXPECT_TRUE(Same(before, file()));
}

TEST_F(CopyWork, TheCardUnderEditInTheFileIsTheSourceAtItsPlace)
{
    (void)spill();
    BoxBytes want = file();
    CardCopyState got = work(kEdit, 2);
    expectFromFile(got, (*box)->tmpCardOffset, 0x40);
    EXPECT_EQ(kTargetNamed, got.targetKind);
    got = work(kEdit, 78);
    expectFromFile(got, (*box)->tmpCardOffset, 0x40);
    EXPECT_EQ(kTargetNew, got.targetKind);
    EXPECT_TRUE(Same(want, file()));
    got = work(kEdit, 0);
    expectFromFile(got, (*box)->tmpCardOffset, 0x40);
    EXPECT_EQ(3, got.cardId);
    EXPECT_EQ(0u, got.isUpdate);
}

TEST_F(CopyPlan, TheWorkOfAFirstCardFromRamBeginsTheCardArea)
{
    make();
    edit({"first"});
    BoxBytes want = file();
    CardCopyState got{};
    ASSERT_EQ(BXD_OK, GetCardCopyWork(*box, kEdit, 0, &got));
    EXPECT_EQ(want.size(), got.cardPos);
    want.setField(hd::cardOffset, want.size());
    want.setField(hd::unUsedCardID, 2);
    const BoxBytes now = file();
    EXPECT_TRUE(now.cardOffset() == kNone || now.cardOffset() == want.cardOffset());
    want.setField(hd::cardOffset, now.cardOffset());
    EXPECT_TRUE(Same(want, now));
}

// --- copying in the file -----------------------------------------------------------------------------------

TEST_F(CopyPlan, CopyWithEndMarkSecuresTheEndWhenItCopiesUpwards)
{
    make();
    (void)add({"one", Stuff(5000), ""});
    (void)add({"two", "", ""});
    BoxBytes want = file();
    const u32 source = want.slot(1);
    ASSERT_EQ(BXD_OK, CopyWithEndMark(fid(), want.size() - 2, source, 77));
    Bytes card = want.part(source, want.total(source));
    boxtest::Put16(card, 0, 77);
    (void)want.addCard(card);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CopyPlan, CopyWithEndMarkMovesNoEndDownwards)
{
    boxtest::BoxBuilder b(boxtest::NumberedItems(7));
    const u32 dead = b.dead(9000);
    const u32 source = b.card(1, b.row({{"I001", boxtest::Pattern(8000)}}));
    start(b.build());
    BoxBytes want = file();
    ASSERT_EQ(BXD_OK, CopyWithEndMark(fid(), dead, source, 77));
    Bytes card = want.part(source, want.total(source));
    boxtest::Put16(card, 0, 77);
    want.put(dead, card);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(CopyPlan, ASourceThatLeavesTheFileIsNotCopied)
{
    make();
    (void)add({"one", "", ""});
    const u32 pos = file().slot(1);
    PokeWord(fid(), pos + 2, 0x40000000);
    const BoxBytes before = file();
    EXPECT_NE(BXD_OK, CopyWithEndMark(fid(), before.size() - 2, pos, 77));
    EXPECT_NE(BXD_OK, copy(1, 0));
    EXPECT_NE(BXD_OK, copy(1, kEdit));
    EXPECT_NE(BXD_OK, copy(1, 65300));
    const BoxBytes after = file();
    EXPECT_EQ(before.size(), after.size());
    EXPECT_EQ(before.hint(), after.hint());
    EXPECT_EQ(before.cardCount(), after.cardCount());
}

}  // namespace
