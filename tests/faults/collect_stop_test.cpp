// SPDX-License-Identifier: MIT
// The second way of collecting stops at any card where the room runs out, and leaves a box in good order; and
// the steps of that by themselves.
#include <fstream>

#include "box/bxd_garb_abort.h"
#include "tests/faults/collect_box.h"

namespace {

using namespace faults;
using boxtest::B;
using boxtest::EncodeCard;
using boxtest::EncodeHead;
using boxtest::MixedBox;
using boxtest::NumberedItems;
using boxtest::operator+;

class StoppedInFile : public CollectFaults {
protected:
    static BoxBuilder plainBox() { return BoxBuilder(NumberedItems(6)); }
    static Bytes emptyTable() { return EncodeHead(boxtest::kAppendTableId, 516) + Bytes(516, 0xFF); }
};

// --- the room runs out on the way ------------------------------------------------------------------------

// At every card: all cards are readable, the tables are right, and a collection with room ends the work.
TEST_F(StoppedInFile, AtEveryCardInGoodOrder)
{
    const BoxBuilder boxes[] = {MixedBox(12), MixedBox(700, 40), [] {
                                    BoxBuilder box = plainBox();
                                    box.card(1);
                                    box.makeTablesFor(800);
                                    box.reserveOffsetCard(3);
                                    box.dead(30);
                                    box.editCard(box.row());
                                    for (u32 id : {700u, 501u, 640u, 2u}) { box.card(id); }
                                    box.makeTablesFor(1000);
                                    box.dead(8);
                                    box.card(1000);
                                    box.systemCard(9, 65300, box.row());
                                    return box;
                                }()};
    for (const BoxBuilder& box : boxes) {
        const Bytes before = box.build();
        const BoxView view(before);
        u32 cards = 0;
        for (const boxtest::Link& link : view.links()) { cards += link.id != 0 ? 1 : 0; }
        const u32 step = cards > 100 ? 29 : 1;
        for (u32 k = 1; k <= cards; k += step) {
            SCOPED_TRACE(k);
            putBox(before);
            ASSERT_EQ(collectWithoutRoomFor(k), 68u);
            const Bytes left = getBox();
            boxtest::CheckRules rules;
            rules.garbageSize = false;  // a card under edit that went is dead space now
            ASSERT_TRUE(isSound(left, rules));
            ASSERT_EQ(left.size(), before.size());
            expectSameCards(before, left);
            ASSERT_EQ(collectInFile(), 0u);
            ASSERT_TRUE(isSound(getBox()));
            expectSameCards(before, getBox());
            ASSERT_EQ(BoxView(getBox()).deadBytes(), 0u);
            ASSERT_TRUE(isSound(CollectModel(left).firstWay().file));
        }
        putBox(before);
        EXPECT_EQ(collectWithoutRoomFor(cards + 1), 0u);
    }
}

TEST_F(StoppedInFile, BeforeAnythingMovedLeavesTheFile)
{
    BoxBuilder box = plainBox();
    box.card(1);
    box.card(2);
    box.dead(40);
    box.card(3);
    putBox(box.build());
    for (u32 k : {1u, 2u}) {
        EXPECT_EQ(collectWithoutRoomFor(k), 68u);
        EXPECT_TRUE(sameBytes(box.build(), getBox()));
    }
}

TEST_F(StoppedInFile, KeepsTheDeadBytesTogether)
{
    BoxBuilder box = plainBox();
    box.dead(30);
    box.card(1, box.row({{"I000", B("one")}}));
    box.dead(40);
    box.card(2, box.row({{"I000", B("two")}}));
    box.dead(50);
    box.card(3, box.row({{"I000", B("three")}}));
    putBox(box.build());
    EXPECT_EQ(collectWithoutRoomFor(3), 68u);
    const BoxView view(getBox());
    ASSERT_EQ(view.links().size(), 4u);
    EXPECT_EQ(view.links()[2].id, 0u);
    EXPECT_EQ(view.links()[2].total(), 120u);
    EXPECT_TRUE(isSound(getBox()));
}

TEST_F(StoppedInFile, WithElevenSystemCardsWritesItsTablesAndTellsDamage)
{
    BoxBuilder box = plainBox();
    box.dead(30);
    box.card(1, box.row({{"I000", B("one")}}));
    for (u32 n = 0; n < 10; ++n) { box.systemCard(n + 1, 65300 + n, box.row()); }
    box.raw(EncodeCard(65310, box.row()));
    putBox(box.build());
    EXPECT_EQ(collectWithoutRoomFor(2), 71u);
    boxtest::CheckRules rules;
    rules.allReferenced = false;
    EXPECT_TRUE(isSound(getBox(), rules));
    expectSameCards(box.build(), getBox());
}

// A gap of more than 16 MiB with tables in it.
TEST_F(StoppedInFile, BehindAVeryLargeGapKeepsTheChain)
{
    BoxBuilder box = plainBox();
    box.card(501);
    box.reserveOffsetCard(1);
    box.dead(0x1000000 + 100);
    box.card(1);
    box.card(2);
    const Bytes before = box.build();
    putBox(before);
    EXPECT_EQ(collectWithoutRoomFor(4), 68u);
    const Bytes left = getBox();
    EXPECT_TRUE(isSound(left));
    expectSameCards(before, left);
    EXPECT_EQ(collectInFile(), 0u);
    EXPECT_TRUE(isSound(getBox()));
}

// --- the steps of the stop by themselves -----------------------------------------------------------------

class FillingAGap : public StoppedInFile {
protected:
    struct Filled {
        u32 status;
        u32 filePos;
    };
    // Fills a gap at 100 of a file of so many bytes of 0x11.
    Filled fill(u32 size, u32 gap, u32 tables)
    {
        (void)unlink(pathOf("T.BOX").c_str());
        putFiles({{"T.BOX", std::string(size, '\x11')}});
        const i32 fid = BxdFileOpen(kBox, BXD_MODE_WRITE);
        EXPECT_GE(fid, 0);
        std::vector<u8> block(32768);
        BxdFlashBuffer buffer = {block.data(), block.data(), 100, 32768, 32768, 0, static_cast<u8>(fid)};
        const u32 status = GarbageCollectAbort(&buffer, gap, tables);
        EXPECT_EQ(BxdFileClose(static_cast<u8>(fid)), 0u);
        return {status, buffer.filePos};
    }
    Bytes headAt(u32 pos) const
    {
        std::ifstream file(pathOf("T.BOX"), std::ios::binary);
        file.seekg(pos);
        std::string head(6, '\0');
        file.read(head.data(), 6);
        return B(head);
    }
};

TEST_F(FillingAGap, WithTablesFirstAndADeadCardBehindThem)
{
    const Filled filled = fill(3000, 2 * 522 + 200, 2);
    EXPECT_EQ(filled.status, 0u);
    EXPECT_EQ(filled.filePos, 100u + 2 * 522 + 6);
    EXPECT_EQ(boxtest::Slice(getBox(), 100, 1044), emptyTable() + emptyTable());
    EXPECT_EQ(headAt(1144), EncodeHead(0, 194));
    EXPECT_EQ(getBox()[1150], 0x11);
}

TEST_F(FillingAGap, WithTablesThatFitExactly)
{
    EXPECT_EQ(fill(3000, 522, 1).status, 0u);
    EXPECT_EQ(boxtest::Slice(getBox(), 100, 523), emptyTable() + Bytes{0x11});
}

TEST_F(FillingAGap, RefusesWhatHoldsNoTableOrNoDeadCard)
{
    EXPECT_EQ(fill(3000, 521, 1).status, 71u);
    EXPECT_EQ(fill(3000, 1043, 2).status, 71u);
    for (u32 gap = 1; gap < 6; ++gap) {
        EXPECT_EQ(fill(3000, gap, 0).status, 71u);
        EXPECT_EQ(fill(3000, 522 + gap, 1).status, 71u);
    }
    EXPECT_EQ(fill(3000, 6, 0).status, 0u);
    EXPECT_EQ(headAt(100), EncodeHead(0, 0));
    EXPECT_EQ(fill(3000, 0, 0).status, 0u);
    EXPECT_EQ(fill(3000, 1000, 0xFFFFFFFF).status, 71u);
}

TEST_F(FillingAGap, OfMoreThan16MiBWritesARunOfHeads)
{
    EXPECT_EQ(fill(200, 0xFFFFFF + 6, 0).filePos, 106u);
    EXPECT_EQ(headAt(100), EncodeHead(0, 0xFFFFFF));

    Filled filled = fill(200, 0xFFFFFF + 7, 0);
    EXPECT_EQ(filled.status, 0u);
    EXPECT_EQ(headAt(100), EncodeHead(0, 0xFFFFF9));
    EXPECT_EQ(headAt(106), EncodeHead(0, 7));
    EXPECT_EQ(filled.filePos, 106u + 6 + 7);

    filled = fill(200, 0xFFFFFF + 0xFFFFFF + 50, 0);
    EXPECT_EQ(filled.status, 0u);
    EXPECT_EQ(headAt(106), EncodeHead(0, 0xFFFFF9));
    EXPECT_EQ(headAt(106 + 0xFFFFFF), EncodeHead(0, 56));
    EXPECT_EQ(filled.filePos, 106u + 0xFFFFFF + 6 + 56);
}

class RemakingTables : public StoppedInFile {
protected:
    u32 with(u32 (*work)(u8 fid), const Bytes& before)
    {
        putBox(before);
        const i32 fid = BxdFileOpen(kBox, BXD_MODE_WRITE);
        EXPECT_GE(fid, 0);
        const u32 status = work(static_cast<u8>(fid));
        EXPECT_EQ(BxdFileClose(static_cast<u8>(fid)), 0u);
        return status;
    }
};

TEST_F(RemakingTables, LinksTheTablesInTheOrderOfTheChain)
{
    BoxBuilder box = plainBox();
    box.card(1);
    box.card(800);
    const Bytes sound = box.build();
    Bytes torn = sound;
    boxtest::Put32(torn, boxtest::DefaultWordAt(511), 12345);
    for (u32 k = 0; k < 3; ++k) { boxtest::Put32(torn, box.appendTable(k) + 518, 77); }
    EXPECT_EQ(with(SetOffsetTableChain, torn), 0u);
    EXPECT_TRUE(sameBytes(sound, getBox()));
}

TEST_F(RemakingTables, EndsTheChainOfABoxWithoutTables)
{
    BoxBuilder box = plainBox();
    box.card(1);
    Bytes torn = box.build();
    boxtest::Put32(torn, boxtest::DefaultWordAt(511), 12345);
    EXPECT_EQ(with(SetOffsetTableChain, torn), 0u);
    EXPECT_TRUE(sameBytes(box.build(), getBox()));
}

TEST_F(RemakingTables, WritesAllSlotsFromTheCards)
{
    for (u32 normal : {10u, 500u, 502u, 629u, 1300u}) {
        SCOPED_TRACE(normal);
        BoxBuilder box = MixedBox(normal);
        Bytes want = box.build();
        const BoxView view(want);
        // The system cards get their slots in the order of the file, and killed slots are erased.
        for (u32 n = 1; n <= 10; ++n) { boxtest::Put32(want, boxtest::DefaultWordAt(n), boxtest::kNone); }
        boxtest::Put32(want, boxtest::DefaultWordAt(1), view.find(65300));
        boxtest::Put32(want, boxtest::DefaultWordAt(2), view.find(65301));
        Bytes torn = want;
        for (u32 id = 1; id <= normal; ++id) {
            if (id % 3 == 0) { boxtest::Put32(want, box.slotAt(id), boxtest::kNone); }
            boxtest::Put32(torn, box.slotAt(id), 0x01010101);
        }
        for (u32 n = 0; n <= 10; ++n) { boxtest::Put32(torn, boxtest::DefaultWordAt(n), 0x02020202); }
        if (normal > 500) { boxtest::Put32(torn, boxtest::GetField(torn, hd::offsetCard) + 6, 3); }
        EXPECT_EQ(with(SetTableAndMakeChain, torn), 0u);
        EXPECT_TRUE(sameBytes(want, getBox()));
    }
}

TEST_F(RemakingTables, FindsTheTablesOfIdsBeyondTheHighestOfTheHeader)
{
    BoxBuilder box = plainBox();
    for (u32 id : {1u, 501u, 700u, 900u}) { box.card(id); }
    for (u32 told : {0u, 500u, 501u, 700u}) {
        box.setField(hd::maxCardID, told);
        const Bytes want = box.build();
        Bytes torn = want;
        for (u32 id : {1u, 501u, 700u, 900u}) { boxtest::Put32(torn, box.slotAt(id), 0x01010101); }
        EXPECT_EQ(with(SetTableAndMakeChain, torn), 0u);
        EXPECT_TRUE(sameBytes(want, getBox())) << told;
    }
}

TEST_F(RemakingTables, GivesDamageForAnIdWithoutATable)
{
    BoxBuilder box = plainBox();
    box.card(1);
    box.raw(EncodeCard(501, box.row()));
    for (u32 told : {0u, 501u}) {
        box.setField(hd::maxCardID, told);
        EXPECT_EQ(with(SetTableAndMakeChain, box.build()), 71u);
    }
    box.card(502);
    box.raw(EncodeCard(629, box.row()));
    for (u32 told : {0u, 501u, 629u}) {
        box.setField(hd::maxCardID, told);
        EXPECT_EQ(with(SetTableAndMakeChain, box.build()), 71u);
    }
}

TEST_F(RemakingTables, GivesDamageForTablesWithoutAnOffsetCard)
{
    BoxBuilder box = plainBox();
    box.card(501);
    Bytes bad = box.build();
    boxtest::SetField(bad, hd::offsetCard, boxtest::kNone);
    EXPECT_EQ(with(SetTableAndMakeChain, bad), 71u);
}

TEST_F(RemakingTables, OfABoxWithoutCardsIsNothing)
{
    const Bytes before = plainBox().build();
    EXPECT_EQ(with(SetTableAndMakeChain, before), 0u);
    EXPECT_TRUE(sameBytes(before, getBox()));
}

}  // namespace
