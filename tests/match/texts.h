// SPDX-License-Identifier: MIT
// Characters of the tests in both encodings, where they stand in the order.
#pragma once

#include "tests/support/box_builder.h"

namespace sorttest {

namespace sjis {
inline const boxtest::Bytes kHalfKa = {0xB6};
inline const boxtest::Bytes kKa = {0x82, 0xA9};
inline const boxtest::Bytes kKataKa = {0x83, 0x4A};
inline const boxtest::Bytes kHalfGa = {0xB6, 0xDE};
inline const boxtest::Bytes kGa = {0x82, 0xAA};
inline const boxtest::Bytes kKataGa = {0x83, 0x4B};
inline const boxtest::Bytes kKi = {0x82, 0xAB};
inline const boxtest::Bytes kKanji1 = {0x88, 0xEA};
inline const boxtest::Bytes kKanji2 = {0x93, 0xF1};
}  // namespace sjis

namespace utf8 {
inline const boxtest::Bytes kE = {0xC3, 0xA9};
inline const boxtest::Bytes kHalfKa = {0xEF, 0xBD, 0xB6};
inline const boxtest::Bytes kKa = {0xE3, 0x81, 0x8B};
inline const boxtest::Bytes kKataKa = {0xE3, 0x82, 0xAB};
inline const boxtest::Bytes kGa = {0xE3, 0x81, 0x8C};
inline const boxtest::Bytes kKataGa = {0xE3, 0x82, 0xAC};
inline const boxtest::Bytes kKi = {0xE3, 0x81, 0x8D};
inline const boxtest::Bytes kKanji1 = {0xE4, 0xB8, 0x80};
inline const boxtest::Bytes kKanji2 = {0xE4, 0xBA, 0x8C};
}  // namespace utf8

}  // namespace sorttest
