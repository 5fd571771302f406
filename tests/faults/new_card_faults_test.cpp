// SPDX-License-Identifier: MIT
// Faults while a card is created and copied in, and while the offset tables grow for it.
#include "tests/faults/fault_box.h"

namespace {

using namespace faults;

class NewCardFaults : public BoxFaults {
protected:
    static u32 addOne()
    {
        return WithBox([](BoxHandle box) { return AddCard(box, 50, 77); });
    }

    // A box that reaches append table `tables` - 1, each with its first id taken.
    void boxOfTables(uint32_t tables) const
    {
        boxOf({10, 20})();
        for (uint32_t k = 0; k < tables; k++) {
            setHint(501 + 128 * k);
            Fill({30});
        }
    }
};

TEST_F(NewCardFaults, FirstCardOfABox)
{
    endure({.prepare = [] { MakeBox(); }, .act = addOne});
}

TEST_F(NewCardFaults, FourthCard) { endure({.prepare = boxOf({10, 20, 30}), .act = addOne}); }

TEST_F(NewCardFaults, FirstAppendTableAndOffsetCard)
{
    endure({.prepare = boxOf(std::vector<size_t>(500, 8)), .act = addOne, .windows = kTableBeforeItsLink});
}

TEST_F(NewCardFaults, CardInAnAppendTable)
{
    endure({.prepare = boxOf(std::vector<size_t>(700, 8)), .act = addOne});
}

TEST_F(NewCardFaults, FurtherAppendTableByTheHint)
{
    endure({.prepare =
                [this] {
                    boxOfTables(2);
                    setHint(501 + 256);
                },
            .act = addOne,
            .windows = kTableBeforeItsLink});
}

TEST_F(NewCardFaults, FurtherAppendTableBehindAFullOne)
{
    endure({.prepare = boxOf(std::vector<size_t>(628, 8)), .act = addOne, .windows = kTableBeforeItsLink});
}

TEST_F(NewCardFaults, OffsetCardGrows)
{
    endure({.prepare =
                [this] {
                    boxOfTables(64);
                    setHint(8692);
                    Fill({30});
                    setHint(8692);
                },
            .act = addOne,
            .windows = {.cut = {kTables}, .torn = {kReadsOtherwise}}});
}

TEST_F(NewCardFaults, KilledSlotOfTheDefaultTable)
{
    endure({.prepare =
                [this] {
                    boxOf({10, 20, 30, 40})();
                    kill(2);
                    kill(3);
                },
            .act = addOne});
}

TEST_F(NewCardFaults, KilledSlotOfAnAppendTable)
{
    endure({.prepare =
                [this] {
                    boxOf(std::vector<size_t>(505, 8))();
                    kill(502);
                    kill(504);
                },
            .act = addOne});
}

TEST_F(NewCardFaults, NamedIdWithoutACard)
{
    endure({.prepare = boxOf({10, 20, 30}),
            .act = [] { return WithBox([](BoxHandle box) { return AddCard(box, 50, 77, 9); }); }});
}

TEST_F(NewCardFaults, FirstCardOfABoxIsASystemCard)
{
    endure({.prepare = [] { MakeBox(); },
            .act = [] { return WithBox([](BoxHandle box) { return AddCard(box, 50, 77, 65300); }); }});
}

TEST_F(NewCardFaults, NewSystemCard)
{
    endure({.prepare = boxOf({10, 20}),
            .act = [] { return WithBox([](BoxHandle box) { return AddCard(box, 50, 77, 65300); }); }});
}

// --- spill: the card under edit outgrows memory -----------------------------------------------------------

TEST_F(NewCardFaults, SpillAndDrop)
{
    endure({.prepare = boxOf({10, 20}),
            .act = [] { return WithBox([](BoxHandle box) { return Edit(box, 12000); }); }});
}

TEST_F(NewCardFaults, SpillIntoABoxWithoutCards)
{
    endure({.prepare = [] { MakeBox(); },
            .act = [] { return WithBox([](BoxHandle box) { return Edit(box, 12000); }); }});
}

TEST_F(NewCardFaults, SpillFromASourceFile)
{
    endure({.prepare =
                [this] {
                    boxOf({10, 20})();
                    makeSource(12000);
                },
            .act =
                [] {
                    return WithBox([](BoxHandle box) {
                        u32 status = Edit(box, 10);
                        return status == 0 ? writeFromSource(box, TMP_SYSTEM_CARD_ID) : status;
                    });
                }});
}

TEST_F(NewCardFaults, SpilledCardToANewId)
{
    endure({.prepare = boxOf({10, 20}),
            .act = [] { return WithBox([](BoxHandle box) { return AddCard(box, 12000, 3); }); }});
}

TEST_F(NewCardFaults, SpilledCardToANewIdOfANewTable)
{
    endure({.prepare = boxOf(std::vector<size_t>(500, 8)),
            .act = [] { return WithBox([](BoxHandle box) { return AddCard(box, 12000, 3); }); },
            .windows = kTableBeforeItsLink});
}

TEST_F(NewCardFaults, SpilledCardIsWrittenOn)
{
    endure({.prepare = boxOf({10, 20}), .act = [] {
                return WithBox([](BoxHandle box) {
                    u32 status = Edit(box, 12000);
                    if (status == 0) { status = Write(box, TMP_SYSTEM_CARD_ID, "TEXT", Pattern(12000, 5)); }
                    if (status == 0) { status = Write(box, TMP_SYSTEM_CARD_ID, "READ", Pattern(200, 6)); }
                    if (status == 0) { status = Write(box, TMP_SYSTEM_CARD_ID, "TEXT", Pattern(11000, 7)); }
                    return status == 0 ? Copy(box, TMP_SYSTEM_CARD_ID) : status;
                });
            }});
}

TEST_F(NewCardFaults, SpilledCardIsWrittenOnBehindAnotherCard)
{
    endure({.prepare = boxOf({10, 20}), .act = [] {
                return WithBox([](BoxHandle box) {
                    u32 status = Edit(box, 12000);
                    if (status == 0) { status = Copy(box, 1, 9); }
                    if (status == 0) { status = Write(box, TMP_SYSTEM_CARD_ID, "READ", Pattern(200, 6)); }
                    return status == 0 ? Copy(box, TMP_SYSTEM_CARD_ID, 10) : status;
                });
            }});
}

}  // namespace
