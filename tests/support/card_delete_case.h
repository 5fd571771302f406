// SPDX-License-Identifier: MIT
// What the tests of deletion share: a synchronisation that runs, and what a deletion leaves of a file.
#pragma once

#include "tests/support/card_helpers.h"

namespace cardtest {

class DeleteCase : public CardTest {
protected:
    // A box of `count` live cards with the ids from 1 on; I000 tells the id.
    static boxtest::BoxBuilder boxOf(u32 count, u32 items = 7)
    {
        boxtest::BoxBuilder b(boxtest::NumberedItems(items));
        for (u32 id = 1; id <= count; id++) { b.card(id, rowOf(b, id)); }
        return b;
    }
    static std::vector<Bytes> rowOf(const boxtest::BoxBuilder& b, u32 id, u8 attr = 0x40)
    {
        return b.row({{"ATTR", Bytes{attr}}, {"I000", B("card " + std::to_string(id))}});
    }

    void setSync(bool running) { Poke(fid(), boxtest::hd::syncFlag.at, {running ? u8{0} : u8{0xFF}}); }

    // The file after a physical deletion of a card that is not the last one.
    static BoxBytes withoutCard(BoxBytes want, u32 id)
    {
        want.kill(want.slot(id));
        want.setSlot(id, 0);
        want.setCounts(want.cardCount() - 1, std::min(want.hint(), id), want.maxId());
        return want;
    }
    // And after a soft one of a card without large items.
    static BoxBytes withTombstone(BoxBytes want, u32 id)
    {
        const u32 pos = want.slot(id);
        const u32 attrAt = pos + 10 + want.half(pos + 8);  // the attribute is the first item
        want.putByte(attrAt, want.byte(attrAt) & 0xBF);
        want.setCounts(want.cardCount() - 1, std::min(want.hint(), id), want.maxId());
        return want;
    }
};

}  // namespace cardtest
