// SPDX-License-Identifier: MIT
// Packs dates, spans and week dates for the tests, field by field.
#pragma once

#include <bxd/types.h>

#include <array>
#include <cstdint>
#include <cstdlib>

namespace sorttest {

using Packed = std::array<u8, 5>;

inline Packed PackBits(std::uint64_t bits)
{
    Packed out{};
    for (size_t n = 0; n < out.size(); ++n) { out[n] = static_cast<u8>(bits >> 8 * n); }
    return out;
}

struct Date {
    u32 year;  // from 1900
    u32 month;
    u32 day;
    u32 hour;
    u32 minute;
    u32 second;

    operator Packed() const
    {
        return PackBits(second | minute << 8 | hour << 14 | day << 19 | month << 24 |
                        std::uint64_t{year} << 28);
    }
};

struct Span {
    i32 days;
    u32 hour;
    u32 minute;
    u32 second;

    operator Packed() const
    {
        const auto length = static_cast<std::uint64_t>(std::abs(days));
        return PackBits(second | minute << 8 | hour << 14 | length << 19 | std::uint64_t{days < 0} << 39);
    }
};

// Its first three bytes count.
struct WeekDate {
    u32 year;
    u32 month;
    u32 week;
    u32 weekday;

    operator Packed() const { return PackBits(weekday | week << 4 | month << 8 | year << 12); }
};

}  // namespace sorttest
