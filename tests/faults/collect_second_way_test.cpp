// SPDX-License-Identifier: MIT
// Collecting by the second way, card after card through the file: what it leaves, byte for byte, and what it
// refuses.
#include "box/bxd_card_read.h"
#include "box/bxd_garb.h"
#include "tests/faults/collect_box.h"

namespace {

using namespace faults;
using boxtest::B;
using boxtest::EncodeCard;
using boxtest::EncodeHead;
using boxtest::Get16;
using boxtest::Get32;
using boxtest::MixedBox;
using boxtest::NumberedItems;
using boxtest::operator+;

class CollectInFile : public CollectFaults {
protected:
    void SetUp() override
    {
        CollectFaults::SetUp();
        garbage_size_buf = card_garbage_size_buf = 0;
    }
    void TearDown() override
    {
        garbage_size_buf = card_garbage_size_buf = 0;
        CollectFaults::TearDown();
    }

    // Collects a box and holds the file, and what was counted off, against the model.
    void expectAsTheModel(const Bytes& before)
    {
        const boxtest::Collected want = CollectModel(before).secondWay();
        putBox(before);
        garbage_size_buf = want.reclaimed + 9;
        EXPECT_EQ(collectInFile(), 0u);
        EXPECT_EQ(garbage_size_buf, 9u);
        EXPECT_TRUE(sameBytes(want.file, getBox()));
        expectSameCards(before, getBox());
    }

    static BoxBuilder plainBox() { return BoxBuilder(NumberedItems(6)); }
    static Bytes emptyTable() { return EncodeHead(boxtest::kAppendTableId, 516) + Bytes(516, 0xFF); }
};

// --- what goes and what stays ---------------------------------------------------------------------------

TEST_F(CollectInFile, ClosesTheCardsUpAndMakesTheTablesAnew)
{
    for (u32 normal : {0u, 1u, 5u, 500u, 501u, 628u, 629u, 1300u, 5200u}) {
        SCOPED_TRACE(normal);
        const Bytes before = MixedBox(normal).build();
        expectAsTheModel(before);
        EXPECT_TRUE(isSound(getBox()));
        EXPECT_EQ(BoxView(getBox()).deadBytes(), 0u);
    }
}

TEST_F(CollectInFile, MovesCardsByAnyDistance)
{
    for (u32 gap : {6u, 7u, 4096u, 32767u, 32768u, 100000u}) {
        for (u32 size : {0u, 4000u, 32740u, 33000u, 70000u}) {
            SCOPED_TRACE(std::to_string(gap) + " " + std::to_string(size));
            BoxBuilder box = plainBox();
            box.card(1, box.row({{"I000", boxtest::Pattern(size / 3, 1)}}));
            box.dead(gap);
            box.card(2, box.row({{"I000", boxtest::Pattern(size, 2)}}));
            box.card(3, box.row({{"I001", boxtest::Pattern(9000, 3)}}));
            box.dead(6);
            box.card(4, box.row({{"I001", boxtest::Pattern(size, 4)}}));
            expectAsTheModel(box.build());
        }
    }
}

TEST_F(CollectInFile, OfDeadCardsAtTheEndOnlyIsTheMeasuresCut)
{
    BoxBuilder box = plainBox();
    box.card(1);
    box.editCard(box.row());
    box.card(2);
    box.makeTablesFor(501);
    box.reserveOffsetCard(1);
    Bytes want = box.build();
    box.dead(40);
    box.dead(41);
    putBox(box.build());
    garbage_size_buf = 100;
    EXPECT_EQ(collectInFile(), 0u);
    EXPECT_EQ(garbage_size_buf, 19u);
    EXPECT_TRUE(sameBytes(want, getBox()));  // the card under edit and the empty table are still there
}

TEST_F(CollectInFile, OfABoxWithoutDeadCardsLeavesItsTables)
{
    BoxBuilder box = plainBox();
    box.card(1);
    box.killSlot(2);
    box.card(501);
    box.systemCard(4, 65300, box.row());
    const Bytes before = box.build();
    putBox(before);
    EXPECT_EQ(collectInFile(), 0u);
    EXPECT_TRUE(sameBytes(before, getBox()));
}

TEST_F(CollectInFile, RepairsTheCountOfDeadBytes)
{
    BoxBuilder box = plainBox();
    box.card(1);
    Bytes before = box.build();
    boxtest::SetField(before, hd::garbageSize, 500);
    putBox(before);
    EXPECT_EQ(collectInFile(), 0u);
    EXPECT_TRUE(sameBytes(box.build(), getBox()));
}

TEST_F(CollectInFile, UpToId500LeavesNoTableAndAnOffsetCardOfAllOnes)
{
    BoxBuilder box = plainBox();
    box.dead(30);
    box.reserveOffsetCard(2);
    box.makeTablesFor(700);
    box.card(500);
    const Bytes before = box.build();
    expectAsTheModel(before);
    const BoxView view(getBox());
    EXPECT_EQ(view.word(511), boxtest::kNone);
    const u32 card = view.field(hd::offsetCard);
    EXPECT_EQ(Get16(view.file(), card), boxtest::kOffsetCardId);
    EXPECT_EQ(boxtest::Slice(view.file(), card + 6, 256), Bytes(256, 0xFF));
    EXPECT_EQ(view.links().size(), 2u);
    EXPECT_TRUE(isSound(getBox()));
}

TEST_F(CollectInFile, TablesAboveTheHighestIdGoAndTheirWordsAreCleared)
{
    BoxBuilder box = plainBox();
    box.dead(30);
    box.card(600);
    box.makeTablesFor(2000);
    box.reserveOffsetCard(100);
    const Bytes before = box.build();
    expectAsTheModel(before);
    const BoxView view(getBox());
    EXPECT_EQ(view.appendTables(), 1u);
    EXPECT_EQ(boxtest::Slice(view.file(), view.field(hd::offsetCard) + 10, 508), Bytes(508, 0xFF));
    EXPECT_TRUE(isSound(getBox()));
}

TEST_F(CollectInFile, AnOffsetCardThatIsFullToTheBrimGetsNoSentinel)
{
    BoxBuilder box = plainBox();
    box.reserveOffsetCard(64);
    box.card(501, box.row());
    box.dead(30);
    box.card(500 + 64 * 128, box.row({{"I000", B("last of table 63")}}));
    const Bytes before = box.build();
    expectAsTheModel(before);
    const BoxView view(getBox());
    EXPECT_EQ(view.appendTables(), 64u);
    EXPECT_EQ(Get16(view.file(), view.field(hd::offsetCard) + 262), 501u);  // the card behind it is whole
    EXPECT_TRUE(isSound(getBox()));
}

TEST_F(CollectInFile, DropsATemporaryCard)
{
    BoxBuilder box = plainBox();
    box.dead(30);
    box.editCard(box.row({{"I000", B("left behind")}}));
    box.card(1);
    expectAsTheModel(box.build());
    boxtest::CheckRules rules;
    rules.editCard = false;
    EXPECT_TRUE(isSound(getBox(), rules));
}

TEST_F(CollectInFile, LosesAnEleventhSystemCard)
{
    BoxBuilder box = plainBox();
    box.dead(30);
    for (u32 n = 0; n < 10; ++n) { box.systemCard(10 - n, 65300 + n, box.row()); }
    box.raw(EncodeCard(65310, box.row()));
    box.card(1);
    expectAsTheModel(box.build());
    EXPECT_TRUE(isSound(getBox()));
}

TEST_F(CollectInFile, SetsTheGarbageBitWhereThereIsASystemCard)
{
    for (bool system : {true, false}) {
        BoxBuilder box = plainBox();
        box.dead(30);
        box.card(1);
        if (system) { box.systemCard(1, 65300, box.row()); }
        box.setField(hd::garbageFlags, 0xA4);
        expectAsTheModel(box.build());
        EXPECT_EQ(boxtest::GetField(getBox(), hd::garbageFlags), system ? 0xA5u : 0xA4u);
    }
}

TEST_F(CollectInFile, LeavesCountersAndHintAsTheyAre)
{
    BoxBuilder box = MixedBox(700);
    box.setField(hd::cardCount, 11);
    box.setField(hd::unUsedCardID, 12);
    box.setField(hd::maxCardID, 1300);
    expectAsTheModel(box.build());
    EXPECT_EQ(boxtest::GetField(getBox(), hd::maxCardID), 1300u);
}

TEST_F(CollectInFile, EndsAChainThatHadNoEndMark)
{
    BoxBuilder box = plainBox();
    box.dead(30);
    box.card(1);
    const Bytes whole = box.build();
    putBox(boxtest::Slice(whole, 0, whole.size() - 2));
    EXPECT_EQ(_BoxGarbageCollect(kBox), 0u);  // the first way refuses such a file
    EXPECT_TRUE(sameBytes(CollectModel(whole).secondWay().file, getBox()));
}

TEST_F(CollectInFile, WritesHeaderFieldsBeforeTheTableAndTheCountsLast)
{
    BoxBuilder box = plainBox();
    box.dead(30);
    box.indexTable({});
    box.reserveOffsetCard(1);
    box.card(501);
    box.systemCard(1, 65300, box.row());
    putBox(box.build());
    EXPECT_EQ(collectInFile(), 0u);
    std::vector<std::pair<u32, u32>> want = {{48, 4}, {28, 4}, {20, 4}, {72, 2048}};
    const u32 cards = boxtest::GetField(box.build(), hd::cardOffset);
    const u32 size = static_cast<u32>(getBox().size());
    want.emplace_back(cards, size - cards);
    want.emplace_back(boxtest::GetField(getBox(), hd::offsetCard) + 6, 256);
    want.emplace_back(48, 4);
    want.emplace_back(size, 0);
    want.emplace_back(45, 1);
    std::vector<std::pair<u32, u32>> got;
    for (u32 n = 0; n < Counts().changes; n++) {
        got.emplace_back(Counts().log[n].offset, Counts().log[n].length);
    }
    EXPECT_EQ(got, want);
}

TEST_F(CollectInFile, NewCardsGoBehindACollectedBox)
{
    BoxBuilder box = MixedBox(900, 3, {});
    for (u32 id = 300; id <= 900; ++id) { box.killSlot(id); }
    Bytes before = box.build();
    const BoxView view(before);
    for (const boxtest::Link& link : view.links()) {
        if (link.id >= 300 && link.id <= 900) { boxtest::Put16(before, link.pos, 0); }
    }
    // All hints point beyond the cards that are left: 900 is the highest id, and no table is for it any more.
    for (u32 hint : {301u, 501u, 629u, 901u}) {
        SCOPED_TRACE(hint);
        Bytes hinted = before;
        boxtest::SetField(hinted, hd::unUsedCardID, hint);
        boxtest::SetField(hinted, hd::cardCount, 200);
        putBox(hinted);
        EXPECT_EQ(collectInFile(), 0u);
        EXPECT_EQ(BoxView(getBox()).appendTables(), 0u);
        EXPECT_EQ(WithBox([](BoxHandle open) {
                      for (u32 n = 0; n < 300; ++n) {
                          u16 edit = TMP_SYSTEM_CARD_ID;
                          u32 status = _CardCreate(open, &edit);
                          if (status == 0) { status = Copy(open, edit, 0); }
                          if (status != 0) { return status; }
                      }
                      return u32{0};
                  }),
                  0u);
        boxtest::CheckRules rules;
        rules.cardCount = false;
        EXPECT_TRUE(isSound(getBox(), rules));
    }
}

TEST_F(CollectInFile, UnderAHandleTellsItByTheGarbageBit)
{
    BoxBuilder box = plainBox();
    box.dead(40);
    box.systemCard(1, 65300, box.row());
    putBox(box.build());
    BoxHandle open = _BoxOpen(kBox);
    ASSERT_NE(open, nullptr);
    u16 edit = TMP_SYSTEM_CARD_ID;
    ASSERT_EQ(_CardCreate(open, &edit), 0u);
    ASSERT_EQ(Write(open, edit, "I000", Pattern(12000, 1)), 0u);
    ASSERT_EQ((*open)->tmpCardState, kTmpCardInFile);
    EXPECT_EQ(ChkTmpSysCard(*open), 0u);
    ASSERT_EQ(collectInFile(), 0u);
    EXPECT_EQ(ChkTmpSysCard(*open), 255u);
    EXPECT_NE(_BoxClose(open), 0u);  // the card under edit cannot be deleted any more
    open = _BoxOpen(kBox);
    ASSERT_NE(open, nullptr);
    EXPECT_EQ(ChkGarbageBit((*open)->fid), 0u);
    EXPECT_EQ(_BoxClose(open), 0u);
    EXPECT_TRUE(isSound(getBox()));
}

// --- refusals -------------------------------------------------------------------------------------------

TEST_F(CollectInFile, RefusesTablesThatItCouldNotMakeAnew)
{
    for (u32 which = 0; which < 3; ++which) {
        SCOPED_TRACE(which);
        BoxBuilder box = plainBox();
        box.card(1);
        box.dead(30);
        if (which == 0) {
            box.raw(EncodeHead(boxtest::kAppendTableId, 510) + Bytes(510, 0xFF));
        } else {
            box.raw(EncodeHead(boxtest::kOffsetCardId, 4 * which + 3) + Bytes(4 * which + 3, 0xFF));
            box.raw(EncodeCard(which == 1 ? 629 : 757, box.row()));
        }
        box.setField(hd::garbageSize, 30);
        const Bytes before = box.build();
        putBox(before);
        EXPECT_EQ(collectInFile(), 71u);
        EXPECT_TRUE(sameBytes(before, getBox()));
    }
}

TEST_F(CollectInFile, WithoutMemoryForTheMeasureEndsBeforeACardMoves)
{
    Bytes before = MixedBox(600).build();
    boxtest::SetField(before, hd::garbageSize, 1);
    const u32 dead = BoxView(before).deadBytes();
    putBox(before);
    Shim().watch(home().c_str());
    Shim().plan(kFaultAlloc, kImageBlock, true, kFaultFail);
    EXPECT_EQ(_BoxGarbageCollect(kBox), 71u);
    Shim().rest();
    boxtest::SetField(before, hd::garbageSize, dead);
    EXPECT_TRUE(sameBytes(before, getBox()));
}

TEST_F(CollectInFile, WithoutMemoryOnTheWayEndsBeforeACardMoves)
{
    const Bytes before = MixedBox(1700, 50).build();  // a list of four blocks
    u32 failed = 0;
    for (u32 k = kImageBlock;; ++k) {
        putBox(before);
        Shim().watch(home().c_str());
        Shim().plan(kFaultAlloc, k, true, kFaultFail);
        const u32 status = _BoxGarbageCollect(kBox);
        const u32 fired = Counts().fired;
        EXPECT_EQ(Shim().blocks(), 0u);
        Shim().rest();
        if (fired == 0) {
            EXPECT_EQ(status, 0u);
            break;
        }
        EXPECT_EQ(status, 71u) << k;
        EXPECT_TRUE(sameBytes(before, getBox())) << k;
        ++failed;
    }
    EXPECT_EQ(failed, 1u);  // with the image all is had: no second way

    // The image once, and each of the others once: list, table, buffer.
    for (u32 k = kImageBlock + 1; k <= kImageBlock + 8; ++k) {
        putBox(before);
        gNoRoomAt = {1};
        Shim().statistics(RoomBut);
        Shim().watch(home().c_str());
        Shim().plan(kFaultAlloc, k, false, kFaultFail);
        const u32 status = _BoxGarbageCollect(kBox);
        const u32 fired = Counts().fired;
        EXPECT_EQ(Shim().blocks(), 0u);
        Shim().rest();
        Shim().statistics(nullptr);
        const bool halved = k == kImageBlock + 1;  // half the measure's buffer is had then
        const bool last = fired == 0;
        EXPECT_EQ(status, halved || last ? 0u : 71u) << k;
        if (status != 0) { EXPECT_TRUE(sameBytes(before, getBox())) << k; }
        failed += fired;
    }
    EXPECT_EQ(failed, 1u + 7);  // buffer, four blocks of the list, new table, block of 32 KiB
}

TEST_F(CollectInFile, WithoutRoomBeforeTheStartChangesNothingButTheMeasure)
{
    BoxBuilder box = MixedBox(40);
    box.setField(hd::garbageSize, 3);
    Bytes want = box.build();
    boxtest::SetField(want, hd::garbageSize, BoxView(want).deadBytes());
    box.dead(50);
    putBox(box.build());
    garbage_size_buf = 1000;
    EXPECT_EQ(collectWithoutRoomFor(0), 68u);
    EXPECT_TRUE(sameBytes(want, getBox()));
    EXPECT_EQ(garbage_size_buf, 1000u);
}

TEST_F(CollectInFile, AsksForTheRoomOfTheTablesTheCardsAndTheOffsetCard)
{
    BoxBuilder box = plainBox();
    box.dead(30);
    box.card(1, box.row({{"I000", Bytes(100, 'x')}}));
    box.card(700);
    const Bytes before = box.build();
    const BoxView view(before);
    const u32 t = 2;
    const u32 n = 794;
    const u32 q = 256;
    const u32 a = 522 * t + 32774 + (t + 1) * n + 2044 + 512 * t + q;
    const u32 b = 522 * t + 2048 + n + q + n * (q / 4) + 4 * n;
    static std::string enough;
    const u32 largest = std::max({view.links()[1].total(), 522u, 262u});
    const u32 need = BxdFileCalcFsAvailNeed(0, 60, a + b + largest + 4);
    for (u32 less : {0u, 1u}) {
        putBox(before);
        enough = std::to_string(need - less);
        Shim().statistics(
            [](uint32_t statistic, uint32_t, uint32_t) { return statistic == 0 ? enough.c_str() : nullptr; });
        EXPECT_EQ(collectInFile(), less == 0 ? 0u : 68u);
        Shim().statistics(nullptr);
    }
}

}  // namespace
