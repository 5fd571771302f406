// SPDX-License-Identifier: MIT
// The pieces that both compilers of search conditions are made of: the item of a clause, one test, one text.
//
//   R E A D   FE 95 FE 90   01   a b c             text of the condition
//   type, number   95 90   01   04 00   a b c 00   compiled, binary
//   type, number   15 90   01   08 00   code code code 00 00       and by sort codes
#pragma once

#include "match/bxd_srch_format.h"

extern "C" {

// One text. Kind, operator and type of its test stand directly before *out. *in stops at what ends the text:
// a byte 0, or FE and a byte below A0. Gives what is left of the budget, which every byte counts against; 0
// where it does not do or nothing is left, as a terminator must follow. Then the cursors stay.
u32 SearchConvString(const u8** in, u8** out, u16 budget);
}

namespace bxd {

// Where a compile stands. The cursors move with it.
struct ConditionCompile {
    const u8** in;
    u8** out;
    const u8* end;  // of the room at *out
    u8* flags;

    const u8* text() const { return *in; }
    void skip(u32 bytes) const { *in += bytes; }
    [[nodiscard]] bool put(u8 byte) const;
    // The byte at the cursor goes through as it is.
    [[nodiscard]] bool copy() const;
    // A connector goes through without its mark.
    [[nodiscard]] bool connect() const;
};

// A test that has been compiled. A text behind a connector may repeat the test with itself as the value.
struct CompiledTest {
    const u8* head;
    bool ofText;
};

// What stands in place of a tag for all items of a card.
bool IsAllItems(const u8* tag);

// The item, or all items, that a clause begins with. *nameId is its tag as GET_4BYTES reads it. The cursors
// stay where there is no such item.
[[nodiscard]] bool CompileItem(const ConditionCompile& at, const u8* itemTable, i32* nameId);

// The test at the cursor. `nameId` is the tag of its item.
[[nodiscard]] bool CompileTest(const ConditionCompile& at, i32 nameId, CompiledTest* test);

// The text at the cursor as another test like the one before it.
[[nodiscard]] bool RepeatTest(const ConditionCompile& at, const CompiledTest& test);

}  // namespace bxd
