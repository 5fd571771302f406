// SPDX-License-Identifier: MIT
// Faults while stored cards are deleted: one by one, in both ways, and by their attribute.
//
// A deletion ends a card before it clears the slot, so that power that is lost between them leaves a slot
// that leads to a dead card or, where the card was the last of the file, to the end mark.
#include "tests/faults/fault_box.h"

namespace {

using namespace faults;

const Windows kDiesFirst = {.cut = {kDeadSlot}};
const Windows kLastDiesFirst = {.cut = {kWildSlot}};
// Between the deletion of a card and the new one under its id there is none.
const Windows kIdWithoutCard = {.cut = {kDeadSlot, kCardLost}};
// The attribute says tombstone first; then the items close up under the old table, one after another. A card
// whose head cannot be read keeps its items, and is a tombstone all the same.
const Windows kStripped = {.cut = {kCardMixed}, .failed = {kSilent}};
// The slots of a table are written when all its cards are done, of which the last ones are cut off. Room is
// asked for before each slot, so that it may be refused when the last card has gone.
const Windows kTableLast = {.cut = {kDeadSlot, kWildSlot}, .failed = {kNotRefused}};
// And an append table dies before the chain and the offset card know of it.
const Windows kTableDies = {.cut = {kDeadSlot, kWildSlot, kTables}, .failed = {kNotRefused}};

class DeleteFaults : public BoxFaults {
protected:
    static std::function<u32()> remove(u32 id)
    {
        return [=] { return WithBox([=](BoxHandle box) { return _CardDelete(box, static_cast<u16>(id)); }); };
    }
    // Where the card has gone the work is done.
    static std::function<u32()> removed(u32 id)
    {
        return [=] {
            const u32 status = remove(id)();
            return status == BXD_ERR_NOTFOUND ? u32{BXD_OK} : status;
        };
    }
    static std::function<u32()> removeAll(u8 mask, u8 value)
    {
        return [=] { return WithBox([=](BoxHandle box) { return _CardAllDelete(box, mask, value, 0); }); };
    }
    // The same box with a synchronisation running.
    std::function<void()> inSync(const std::function<void()>& prepare) const
    {
        return [this, prepare] {
            prepare();
            patch([](std::string& bytes, const BoxBytes&) { bytes[44] = 0; });
        };
    }
    // Cards 1 and so on of these lengths; those of `marked` have the bit 0x10 in their attribute.
    std::function<void()> marked(const std::vector<size_t>& lengths, const std::vector<u32>& ids,
                                 const std::vector<u32>& appended = {}) const
    {
        return [=, this] {
            boxOf(lengths)();
            for (u32 id : appended) {
                setHint(id);
                Fill({20});
            }
            ASSERT_EQ(WithBox([&](BoxHandle box) {
                          u32 status = 0;
                          for (u32 id : ids) { status |= Write(box, id, "ATTR", "\x10"); }
                          return status;
                      }),
                      0u);
        };
    }
};

// --- physical ---------------------------------------------------------------------------------------------

TEST_F(DeleteFaults, AMiddleCard)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = removed(2), .windows = kDiesFirst, .mends = true});
}

TEST_F(DeleteFaults, TheLastCard)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = removed(3), .windows = kLastDiesFirst, .mends = true});
}

TEST_F(DeleteFaults, ACardWithDeadOnesBehindIt)
{
    endure({.prepare =
                [this] {
                    boxOf({10, 20, 30, 40, 50})();
                    kill(4);
                    kill(5);
                },
            .act = removed(3),
            .windows = kLastDiesFirst,
            .mends = true});
}

TEST_F(DeleteFaults, TheOnlyCard)
{
    endure({.prepare = boxOf({10}), .act = removed(1), .windows = kLastDiesFirst, .mends = true});
}

TEST_F(DeleteFaults, ACardOfTheSecondAppendTable)
{
    endure({.prepare =
                [this] {
                    boxOf({10})();
                    setHint(501);
                    Fill({20});
                    setHint(629);
                    Fill({30, 40});
                },
            .act = removed(629),
            .windows = kDiesFirst,
            .mends = true});
}

TEST_F(DeleteFaults, TwoCardsAndANewOneInTheirPlace)
{
    endure({.prepare = boxOf({10, 20, 30, 40}),
            .act =
                [] {
                    return WithBox([](BoxHandle box) {
                        u32 status = _CardDelete(box, 2);
                        if (status == 0) { status = _CardDelete(box, 3); }
                        return status == 0 ? AddCard(box, 25, 7) : status;
                    });
                },
            .windows = kIdWithoutCard});
}

// --- soft -------------------------------------------------------------------------------------------------

TEST_F(DeleteFaults, ATombstone) { endure({.prepare = inSync(boxOf({10, 20, 30})), .act = remove(2)}); }

TEST_F(DeleteFaults, ATombstoneThatGivesAnItemBack)
{
    endure({.prepare = inSync(boxOf({10, 4000, 30})), .act = remove(2), .windows = kStripped});
}

TEST_F(DeleteFaults, ATombstoneThatGivesALargeItemBack)
{
    endure({.prepare = inSync(boxOf({10, 40000, 30})), .act = remove(2), .windows = kStripped});
}

TEST_F(DeleteFaults, TheLastCardAsATombstone)
{
    endure({.prepare = inSync(boxOf({10, 20, 5000})), .act = remove(3), .windows = kStripped});
}

TEST_F(DeleteFaults, ATombstoneWithTwoLargeItems)
{
    endure({.prepare = inSync([this] {
                boxOf({10, 4000, 30})();
                ASSERT_EQ(WithBox([](BoxHandle box) { return Write(box, 2, "READ", Pattern(20000, 3)); }),
                          0u);
            }),
            .act = remove(2),
            .windows = kStripped});
}

TEST_F(DeleteFaults, ATombstoneThatDies)
{
    endure({.prepare = inSync([this] {
                boxOf({10, 4000, 30})();
                patch([](std::string& bytes, const BoxBytes&) { bytes[44] = 0; });
                ASSERT_EQ(WithBox([](BoxHandle box) { return _CardDelete(box, 2); }), 0u);
            }),
            .act = [] { return WithBox([](BoxHandle box) { return _CardDeletePMSC(box, 2); }); },
            .windows = kDiesFirst});
}

// --- by the attribute -------------------------------------------------------------------------------------

TEST_F(DeleteFaults, AllWithAMark)
{
    endure({.prepare = marked({10, 20, 30, 40}, {1, 3, 4}),
            .act = removeAll(0x10, 0x10),
            .windows = kTableLast,
            .mends = true});
}

TEST_F(DeleteFaults, AllOfAppendTables)
{
    endure({.prepare = marked({10, 20}, {2, 502, 629}, {501, 502, 629}),
            .act = removeAll(0x10, 0x10),
            .windows = kTableDies});
}

TEST_F(DeleteFaults, AllIntoTombstones)
{
    endure({.prepare = inSync(marked({10, 4000, 30, 5000}, {1, 2, 4})),
            .act = removeAll(0x10, 0x10),
            .windows = {.cut = {kCardMixed}, .failed = {kNotRefused, kSilent}}});
}

}  // namespace
