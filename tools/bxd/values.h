// SPDX-License-Identifier: MIT
// Item types by readable names, and the values of items as text.
//
//   number  name        text form                       bytes
//   17      text        any                             UTF-8
//   1, 16   sjis sjis2  any                             Shift-JIS
//   4       datetime    2024-05-17 08:30:00, 2024-05-17 5, packed; * stands for a field that is left open
//   5       span        -3d 04:30:00, 12d               5, packed
//   7       weekdate    2024-05 w2 d0                   3, packed: week of the month, day of the week
//   11      u8          0 to 255                        1
//   8       u16         0 to 65535                      2, little-endian
//   18      u32         0 to 4294967295                 4, little-endian
//   12      categories  1,5,7                           one a category, 1 to 254
//   6       flags       0x40                            as written
//   others  the number  0x0102AB                        as written
//
// Stored bytes that do not have their type's form are shown as 0x and their hexadecimal digits.
#pragma once

#include <bxd/bxd.h>

#include <optional>
#include <string>
#include <string_view>

namespace tool {

enum ItemType : u8 {
    kSjis = 1,
    kDateTime = 4,
    kSpan = 5,
    kFlags = 6,
    kWeekDate = 7,
    kU16 = 8,
    kU8 = 11,
    kCategories = 12,
    kSjis2 = 16,
    kText = 17,
    kU32 = 18
};

// The number of a type given by name or number; nothing for an unknown one.
std::optional<u8> TypeByName(std::string_view name);
std::string TypeName(u8 type);
// All names in a row, for messages and help.
std::string TypeNames();

// Throws Failure that says what the text should look like. An empty text is an empty value of every type.
std::string BytesOfText(u8 type, std::string_view text);
std::string TextOfBytes(u8 type, std::string_view bytes);

// The number that the bytes of a u8, u16 or u32 hold; nothing for other types or sizes.
std::optional<u32> NumberOfBytes(u8 type, std::string_view bytes);

}  // namespace tool
