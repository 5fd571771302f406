// SPDX-License-Identifier: MIT
// Faults while a box is collected: by the first way, by the second, and by the second way that stops for want
// of room and is called again. A collection changes no card, so whatever is lost is a card of another.
//
// The first way has one write: it is done or it is not, unless the host tears it. The second way moves the
// cards before the tables that lead to them: a power lost in between leaves slots that lead to where the
// cards stood. Whatever is left must be read, measured and collected with statuses.
#include "tests/faults/collect_box.h"

namespace {

using namespace faults;

// The cards have moved and the tables still lead to where they stood, or lead already to where cards that
// wait in the buffer will stand.
const Findings kMovedBeforeTheirSlots = {kOtherCard, kWildSlot, kStaleSlot};
// With them the append tables.
const Findings kMovedBeforeTheirTables = {kOtherCard, kWildSlot, kStaleSlot, kTables};

Findings operator+(Findings a, const Findings& b)
{
    a.insert(b.begin(), b.end());
    return a;
}

class CollectFaultsTest : public CollectFaults {
protected:
    static BoxBuilder smallBox()
    {
        BoxBuilder box(boxtest::NumberedItems(6));
        box.card(1, box.row({{"I000", boxtest::B("first")}}));
        box.dead(40);
        box.systemCard(4, 65300, box.row({{"I000", boxtest::B("system")}}));
        box.card(2, box.row({{"I000", boxtest::Pattern(300, 2)}}));
        box.dead(60);
        box.extInfoCard(boxtest::B("extended"));
        box.card(3, box.row({{"I001", boxtest::Pattern(80, 3)}}));
        return box;
    }
    static BoxBuilder tablesBox()
    {
        BoxBuilder box = smallBox();
        box.card(501, box.row({{"I000", boxtest::B("of a table")}}));
        box.reserveOffsetCard(2);
        box.dead(33);
        box.card(640, box.row({{"I000", boxtest::B("of the second")}}));
        box.indexTable({});
        box.card(502, box.row({{"I001", boxtest::Pattern(100, 5)}}));
        return box;
    }
    // Cards larger than the buffer, so that a move is many writes.
    static BoxBuilder largeBox()
    {
        BoxBuilder box = tablesBox();
        box.card(4, box.row({{"I000", boxtest::Pattern(34000, 4)}}));
        box.dead(9000);
        box.card(503, box.row({{"I000", boxtest::Pattern(40000, 6)}}));
        box.card(5, box.row({{"I000", boxtest::B("last")}}));
        return box;
    }

    // Collects with no room at these questions: 1 is that of the first way, 2 the start of the second, and
    // then one for each card.
    static u32 collect(std::set<uint32_t> noRoomAt)
    {
        gNoRoomAt = std::move(noRoomAt);
        return _BoxGarbageCollect(kBox);
    }
    void endureCollection(const BoxBuilder& box, std::function<u32()> act, const Windows& windows)
    {
        putFiles({});
        Shim().statistics(RoomBut);
        endure({.prepare = [&] { putBox(box.build()); },
                .act = std::move(act),
                .windows = windows,
                .aftermath = worksOnWhatIsLeft});
        Shim().statistics(nullptr);
    }
};

// --- the first way ---------------------------------------------------------------------------------------

TEST_F(CollectFaultsTest, FirstWay)
{
    endureCollection(smallBox(), [] { return collect({}); }, {.torn = {kOtherCard}});
}

TEST_F(CollectFaultsTest, FirstWayWithTables)
{
    endureCollection(tablesBox(), [] { return collect({}); }, {.torn = {kOtherCard}});
}

TEST_F(CollectFaultsTest, FirstWayWithNothingDead)
{
    BoxBuilder box(boxtest::NumberedItems(6));
    box.card(1);
    box.card(501);
    endureCollection(box, [] { return collect({}); }, {});
}

// --- the second way --------------------------------------------------------------------------------------

TEST_F(CollectFaultsTest, SecondWay)
{
    endureCollection(smallBox(), [] { return collect({1}); }, {.cut = kMovedBeforeTheirSlots});
}

// The header names the new places of the offset card and of the index table before they stand there.
TEST_F(CollectFaultsTest, SecondWayWithTables)
{
    endureCollection(tablesBox(), [] { return collect({1}); },
                     {.cut = kMovedBeforeTheirTables + Findings{kNoTable, kReadsOtherwise}});
}

TEST_F(CollectFaultsTest, SecondWayWithLargeCards)
{
    // A card is overwritten by its own beginning before its end has moved: the chain breaks in it.
    endureCollection(
        largeBox(), [] { return collect({1}); },
        {.cut = kMovedBeforeTheirTables + Findings{kNoTable, kReadsOtherwise, kBrokenChain, kDeadSlot}});
}

TEST_F(CollectFaultsTest, SecondWayOfATailOnly)
{
    BoxBuilder box(boxtest::NumberedItems(6));
    box.card(1);
    box.dead(40);
    box.dead(50);
    // What lies at the end only goes with the measure, which asks for no room.
    endureCollection(box, [] { return collect({1}); }, {.failed = {kNotRefused}});
}

// --- the second way stops, and goes on -------------------------------------------------------------------

// Stopped at this card of the list, and called again, when there is room for the first way. The chain is
// broken between the last card that moved and the head of the dead card that fills the gap.
class StoppedCollection : public CollectFaultsTest {
protected:
    void endureStop(const BoxBuilder& box, uint32_t card, const Windows& windows)
    {
        endureCollection(
            box,
            [card] {
                u32 status = collect({1, card + 2});
                return status == BXD_ERR_NOSPACE ? _BoxGarbageCollect(kBox) : status;
            },
            windows);
    }
};

TEST_F(StoppedCollection, BehindOneCard)
{
    endureStop(smallBox(), 3, {.cut = {kBrokenChain, kOutside}, .torn = {kOtherCard}});
}

TEST_F(StoppedCollection, BehindSeveralCards)
{
    endureStop(smallBox(), 5, {.cut = kMovedBeforeTheirSlots + Findings{kBrokenChain, kOutside}});
}

TEST_F(StoppedCollection, BehindATable)
{
    endureStop(tablesBox(), 7,
               {.cut = kMovedBeforeTheirTables + Findings{kBrokenChain}, .torn = {kReadsOtherwise}});
}

TEST_F(StoppedCollection, BehindTheOffsetCardAndASecondTable)
{
    endureStop(tablesBox(), 10, {.cut = kMovedBeforeTheirTables + Findings{kDeadSlot, kReadsOtherwise}});
}

}  // namespace
