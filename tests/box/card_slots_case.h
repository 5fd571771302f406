// SPDX-License-Identifier: MIT
// What the tests of slots, ids and tables share.
#pragma once

#include <bxd/bxd.h>

#include "box/bxd_card_format.h"
#include "box/bxd_card_slots.h"
#include "box/bxd_card_tables.h"
#include "box/bxd_garb.h"
#include "tests/support/card_helpers.h"

namespace cardtest {

namespace hd = boxtest::hd;

inline constexpr u32 kUsed = 0x00ABCDEF;  // a slot that is not free; nothing here follows it

class CardSlots : public CardTest {
protected:
    // What the search for an id was given and what it answered.
    struct Choice {
        u32 status = 0;
        u32 tablePos = 0;
        u16 id = 0;
        u32 reuse = 77;
        std::vector<u32> table = std::vector<u32>(512);
    };

    Choice search()
    {
        Choice choice;
        EXPECT_EQ(BXD_OK, ReadOffsetTable(fid(), &choice.tablePos, 2048, choice.table.data()));
        choice.status =
            SearchNewCardID(fid(), &choice.tablePos, choice.table.data(), &choice.id, &choice.reuse);
        return choice;
    }

    // A box with one card, its default table and so many append tables filled; `hint` as the hint.
    static boxtest::BoxBuilder filled(u32 appendTables, u32 hint)
    {
        boxtest::BoxBuilder b;
        b.card(1);
        if (appendTables > 0) { b.makeTablesFor(501 + 128 * (appendTables - 1)); }
        for (u32 id = 2; id <= 500 + 128 * appendTables; id++) { b.setSlot(id, kUsed); }
        b.setField(hd::unUsedCardID, hint);
        b.setField(hd::maxCardID, 500 + 128 * appendTables);
        return b;
    }

    // The file after the first append table and the offset card came for id 501.
    static BoxBytes withFirstTable(BoxBytes want)
    {
        const u32 table = want.addCard(AppendTable());
        const u32 card = want.addCard(OffsetCard({table}, 256));
        want.setField(hd::offsetCard, card);
        want.setField(hd::offsetCardSize, 262);
        want.setEntry(511, table);
        want.setCounts(want.cardCount(), 502, 501);
        return want;
    }
};

class CardTables : public CardTest {
protected:
    static void setOffsetCard(BoxBytes* file, u32 pos, u32 total)
    {
        file->setField(hd::offsetCard, pos);
        file->setField(hd::offsetCardSize, total);
    }
};

}  // namespace cardtest
