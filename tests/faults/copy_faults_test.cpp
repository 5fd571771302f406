// SPDX-License-Identifier: MIT
// Faults while a card is copied: out for editing, to another id, and over a card that is there.
//
// A card over another takes its place where the room R of the old one, with the dead cards behind it (their
// sum D), holds the new total T: R = T, R >= T + 6, or the end of the file behind it.
#include "tests/faults/fault_box.h"

namespace {

using namespace faults;

class CopyFaults : public BoxFaults {
protected:
    // An edited card with a TEXT of `length` bytes, in memory below 10 KiB, takes the place of card `id`.
    static std::function<u32()> replace(u32 id, size_t length)
    {
        return [=] { return WithBox([=](BoxHandle box) { return AddCard(box, length, 77, id); }); };
    }
    static std::function<u32()> copy(u32 source, u32 target)
    {
        return [=] { return WithBox([=](BoxHandle box) { return Copy(box, source, target); }); };
    }

    // Cards of these lengths; those of `dead` are killed then.
    std::function<void()> boxWithDead(std::vector<size_t> lengths, std::vector<uint32_t> dead) const
    {
        return [=, this] {
            boxOf(lengths)();
            for (uint32_t id : dead) { kill(id); }
        };
    }

    // Normal cards of these lengths, then system cards from 65300 on.
    std::function<void()> boxWithSystem(std::vector<size_t> lengths, std::vector<size_t> system,
                                        std::vector<size_t> behind = {}) const
    {
        return [=, this] {
            boxOf(lengths)();
            u32 id = kSystem;
            for (size_t length : system) {
                ASSERT_EQ(WithBox([=](BoxHandle box) { return AddCard(box, length, id, id); }), 0u);
                id++;
            }
            Fill(behind);
        };
    }

    static constexpr u32 kSystem = 65300;
};

// --- a card in memory over another ------------------------------------------------------------------------

TEST_F(CopyFaults, OverACardOfTheSameTotal)
{
    endure({.prepare = boxOf({10, 40, 30}), .act = replace(2, 40)});
}

TEST_F(CopyFaults, OverALargerCard) { endure({.prepare = boxOf({10, 40, 30}), .act = replace(2, 20)}); }

TEST_F(CopyFaults, OverACardLargerByTooLittle)
{
    endure({.prepare = boxOf({10, 40, 30}), .act = replace(2, 37)});
}

TEST_F(CopyFaults, OverASmallerCard) { endure({.prepare = boxOf({10, 40, 30}), .act = replace(2, 50)}); }

TEST_F(CopyFaults, OverACardAndTheDeadOneBehindIt)
{
    endure({.prepare = boxWithDead({10, 40, 30, 20}, {3}), .act = replace(2, 60)});
}

TEST_F(CopyFaults, OverExactlyACardAndTheDeadOneBehindIt)
{
    endure({.prepare = boxWithDead({10, 40, 30, 20}, {3}), .act = replace(2, 40 + 30 + 22)});
}

TEST_F(CopyFaults, LargerOverTheLastCard) { endure({.prepare = boxOf({10, 40, 30}), .act = replace(3, 90)}); }

TEST_F(CopyFaults, SmallerOverTheLastCard) { endure({.prepare = boxOf({10, 40, 30}), .act = replace(3, 5)}); }

TEST_F(CopyFaults, SameTotalOverTheLastCard)
{
    endure({.prepare = boxOf({10, 40, 30}), .act = replace(3, 30)});
}

TEST_F(CopyFaults, LargerOverTheLastLiveCard)
{
    endure({.prepare = boxWithDead({10, 40, 30, 20}, {4}), .act = replace(3, 200)});
}

TEST_F(CopyFaults, SmallerOverTheLastLiveCard)
{
    endure({.prepare = boxWithDead({10, 40, 30, 20}, {4}), .act = replace(3, 20)});
}

TEST_F(CopyFaults, OverASystemCard)
{
    endure({.prepare = boxWithSystem({10}, {40}, {20}), .act = replace(kSystem, 20)});
}

TEST_F(CopyFaults, OverASmallerSystemCard)
{
    endure({.prepare = boxWithSystem({10}, {40}, {20}), .act = replace(kSystem, 90)});
}

TEST_F(CopyFaults, OverACardOfAnAppendTable)
{
    endure({.prepare = boxOf(std::vector<size_t>(503, 8)), .act = replace(502, 60)});
}

// --- a card at the end of the file over another -----------------------------------------------------------

TEST_F(CopyFaults, SpilledCardSlidesOverTheCardBeforeIt)
{
    endure({.prepare = boxOf({10, 40, 30}), .act = replace(3, 12000)});
}

TEST_F(CopyFaults, SpilledCardSlidesOverACardAndTheDeadOneBehindIt)
{
    endure({.prepare = boxWithDead({10, 40, 30, 20}, {4}), .act = replace(3, 12000)});
}

TEST_F(CopyFaults, SpilledCardOverALargerCard)
{
    endure({.prepare = boxOf({10, 15000, 30}), .act = replace(2, 12000)});
}

TEST_F(CopyFaults, SpilledCardOverACardOfTheSameTotal)
{
    endure({.prepare = boxOf({10, 12000, 30}), .act = replace(2, 12000)});
}

TEST_F(CopyFaults, SpilledCardOverExactlyACardAndTheDeadOneBehindIt)
{
    endure({.prepare = boxWithDead({10, 6000, 6000, 30}, {3}), .act = replace(2, 12023)});
}

TEST_F(CopyFaults, SpilledCardOverASmallerCard)
{
    endure({.prepare = boxOf({10, 40, 30}), .act = replace(2, 12000)});
}

TEST_F(CopyFaults, SpilledCardOverACardOfAnAppendTable)
{
    endure({.prepare = boxOf(std::vector<size_t>(503, 8)), .act = replace(502, 12000)});
}

TEST_F(CopyFaults, SpilledCardOverASystemCard)
{
    endure({.prepare = boxWithSystem({10}, {40}, {20}),
            .act = replace(kSystem, 12000),
            .windows = kSystemCardDiesBeforeItsSlot});
}

TEST_F(CopyFaults, SpilledCardBecomesASystemCard)
{
    endure({.prepare = boxOf({10, 40}), .act = replace(kSystem, 12000)});
}

TEST_F(CopyFaults, LastSystemCardOverANormalCard)
{
    endure({.prepare = boxWithSystem({10, 90, 30}, {40}), .act = copy(kSystem, 2)});
}

TEST_F(CopyFaults, LastSystemCardOverASmallerNormalCard)
{
    endure({.prepare = boxWithSystem({10, 20, 30}, {40}),
            .act = copy(kSystem, 2),
            .windows = kSlotOutlivesTheMove});
}

TEST_F(CopyFaults, LastSystemCardToANewId)
{
    endure({.prepare = boxWithSystem({10, 20, 30}, {40}),
            .act = copy(kSystem, 0),
            .windows = kSlotOutlivesTheMove});
}

TEST_F(CopyFaults, LastSystemCardSlidesOverTheNormalCardBeforeIt)
{
    endure({.prepare = boxWithSystem({10, 20, 30}, {40}),
            .act = copy(kSystem, 3),
            .windows = kSlotOutlivesTheMove});
}

TEST_F(CopyFaults, LastSystemCardOverASystemCard)
{
    endure({.prepare = boxWithSystem({10}, {90, 30, 40}), .act = copy(kSystem + 2, kSystem)});
}

TEST_F(CopyFaults, LastSystemCardOverASmallerSystemCard)
{
    endure({.prepare = boxWithSystem({10}, {20, 30, 40}),
            .act = copy(kSystem + 2, kSystem),
            .windows = kSlotOutlivesTheMove});
}

TEST_F(CopyFaults, MiddleSystemCardOverANormalCard)
{
    endure({.prepare = boxWithSystem({10, 20, 30}, {40}, {50}),
            .act = copy(kSystem, 2),
            .windows = kSlotOutlivesTheMove});
}

TEST_F(CopyFaults, MiddleSystemCardToANewId)
{
    endure({.prepare = boxWithSystem({10, 20, 30}, {40}, {50}),
            .act = copy(kSystem, 0),
            .windows = kSlotOutlivesTheMove});
}

TEST_F(CopyFaults, MiddleSystemCardOverASystemCard)
{
    endure({.prepare = boxWithSystem({10}, {90, 30, 40}, {50}),
            .act = copy(kSystem + 1, kSystem),
            .windows = kSystemCardDiesBeforeItsSlot});
}

TEST_F(CopyFaults, DeletingASystemCard)
{
    for (bool last : {true, false}) {
        SCOPED_TRACE(last);
        putFiles({});
        endure(
            {.prepare = boxWithSystem({10}, {40, 50}, last ? std::vector<size_t>{} : std::vector<size_t>{20}),
             .act = [] { return WithBox([](BoxHandle box) { return _CardDelete(box, kSystem + 1); }); }});
    }
}

// --- stored cards -----------------------------------------------------------------------------------------

TEST_F(CopyFaults, NormalCardToANewId) { endure({.prepare = boxOf({10, 20, 30}), .act = copy(2, 0)}); }

TEST_F(CopyFaults, NormalCardToANewIdOfANewTable)
{
    endure(
        {.prepare = boxOf(std::vector<size_t>(500, 8)), .act = copy(2, 0), .windows = kTableBeforeItsLink});
}

TEST_F(CopyFaults, NormalCardToANamedId) { endure({.prepare = boxOf({10, 20, 30}), .act = copy(2, 9)}); }

TEST_F(CopyFaults, NormalCardOverANormalCard) { endure({.prepare = boxOf({10, 20, 30}), .act = copy(2, 1)}); }

TEST_F(CopyFaults, NormalCardOverTheLastCard) { endure({.prepare = boxOf({10, 20, 30}), .act = copy(2, 3)}); }

TEST_F(CopyFaults, NormalCardOfSeveralPieces)
{
    endure({.prepare = boxOf({10, 20000, 30}), .act = copy(2, 0)});
}

TEST_F(CopyFaults, NormalCardToANewSystemCard)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = copy(2, kSystem)});
}

TEST_F(CopyFaults, NormalCardOverASystemCard)
{
    endure({.prepare = boxWithSystem({10, 20}, {40}, {50}),
            .act = copy(2, kSystem),
            .windows = kSystemCardDiesBeforeItsSlot});
}

// --- out for editing --------------------------------------------------------------------------------------

TEST_F(CopyFaults, OutToMemory)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = copy(2, TMP_SYSTEM_CARD_ID)});
}

TEST_F(CopyFaults, OutToTheFile)
{
    endure({.prepare = boxOf({10, 12000, 30}), .act = copy(2, TMP_SYSTEM_CARD_ID)});
}

TEST_F(CopyFaults, OutEndsTheCardUnderEdit)
{
    endure({.prepare = boxOf({10, 12000, 30}), .act = [] {
                return WithBox([](BoxHandle box) {
                    u32 status = Edit(box, 11000);
                    return status == 0 ? Copy(box, 2, TMP_SYSTEM_CARD_ID) : status;
                });
            }});
}

TEST_F(CopyFaults, OutChangedAndBack)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = [] {
                return WithBox([](BoxHandle box) {
                    u32 status = Copy(box, 2, TMP_SYSTEM_CARD_ID);
                    if (status == 0) { status = Write(box, TMP_SYSTEM_CARD_ID, "READ", "changed"); }
                    return status == 0 ? Copy(box, TMP_SYSTEM_CARD_ID, 2) : status;
                });
            }});
}

TEST_F(CopyFaults, LargeCardOutChangedAndBack)
{
    endure({.prepare = boxOf({10, 12000, 30}), .act = [] {
                return WithBox([](BoxHandle box) {
                    u32 status = Copy(box, 2, TMP_SYSTEM_CARD_ID);
                    if (status == 0) { status = Write(box, TMP_SYSTEM_CARD_ID, "READ", "changed"); }
                    return status == 0 ? Copy(box, TMP_SYSTEM_CARD_ID, 2) : status;
                });
            }});
}

}  // namespace
