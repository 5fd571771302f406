// SPDX-License-Identifier: MIT
// The bytes of a search condition, as both forms of it have them.
//
//   external form, record 3 of an index         compiled form, record 128
//                                                u8 flags
//   clause:                                      clause:
//     4 bytes tag of the item, or 4 spaces         u8 item type, u8 item number; FF FF for 4 spaces
//     tests                                        tests
//     FE and 86 or 87, if a clause follows         u8 86 or 87, if a clause follows
//
//   test:                                        test:
//     FE 95, perhaps                               u8 kind: 95 with that prefix, 15 without
//     FE and the operator                          u8 operator
//     u8 value type, value                         u8 value type, value
//     FE and 84 or 85, if a test follows           u8 84 or 85, if a test follows
//
//   a byte 0 ends it                             a byte 0 ends it
//
// What a search compiles for itself has no flags byte. The operators 94, 9E and 9F have no type and no value.
#pragma once

#include <bxd/condition.h>
#include <bxd/types.h>

#include "box/bxd_card_format.h"
#include "match/bxd_sort_key.h"

// Flags of the compiled form.
constexpr u8 kCondNeighbour = 0x01;  // it has a test 0x94, which needs a second card
constexpr u8 kCondConnector = 0x02;  // see the two compilers
constexpr u8 kCondAllItems = 0x04;   // it has a clause on all items, which needs the item table

constexpr u8 kCondAllItemsMark = 0xFF;  // type and number of an all-items clause
constexpr u8 kCondEnd = 0;

constexpr u8 kTestByCode = 0x15;
constexpr u8 kTestBinary = BXD_OP_BINARY;

// A compiled test.
constexpr u32 kTestKind = 0;
constexpr u32 kTestOperator = 1;
constexpr u32 kTestValueType = 2;  // absent without a value
constexpr u32 kTestHead = 3;
constexpr u32 kTextLengthSize = 2;  // u16 before a text: the bytes behind it

// Conditions that come from a file or from a caller who knows their length are kept with so many bytes 0
// behind them: a value that the end cuts off is filled up from there.
constexpr u32 kConditionSlack = 16;

// No compiled form is longer, the byte 0 included: so large are the buffers for it.
constexpr u32 kConditionCodeMax = 4096;

namespace bxd {

constexpr u32 kMarkedSize = 2;  // FE and an operator

constexpr bool HasNoValue(u8 op)
{
    return op == BXD_OP_NEW_VALUE || op == BXD_OP_NOT_BLANK || op == BXD_OP_BLANK;
}

// Bytes of a value that is no text; 0 for a text and for a type that no value has.
constexpr u32 FixedValueSize(u8 valueType)
{
    switch (valueType) {
    case kItemDate:
    case kItemSpan: return 5;
    case kItemBits:
    case kItemHalf: return 2;
    case kItemWeekDate: return 3;
    case kItemByte:
    case kCategoryItemType: return 1;
    case kItemWord: return 4;
    default: return 0;
    }
}

constexpr bool IsMarked(const u8* at, u8 op) { return at[0] == BXD_OP_MARK && at[1] == op; }

}  // namespace bxd
