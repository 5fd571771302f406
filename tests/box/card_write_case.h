// SPDX-License-Identifier: MIT
// What the tests of writing into stored and system cards share.
#pragma once

#include "tests/support/card_helpers.h"

namespace cardtest {

constexpr u16 kEdit = TMP_SYSTEM_CARD_ID;
constexpr const char* kSource = "F0:SOURCE.DAT";

class CardWrite : public CardTest {
protected:
    u32 create(u16 id = kEdit) { return _CardCreate(box, &id); }
    void source(const std::string& content) { put(B(content), kSource); }

    // The file after the stored card `id` was written anew behind the last card.
    static BoxBytes moved(BoxBytes want, u32 id, const Values& values)
    {
        const u32 old = want.slot(id);
        const u32 pos = want.addCard(Card(id, values));
        want.kill(old);
        want.setSlot(id, pos);
        return want;
    }
};

}  // namespace cardtest
