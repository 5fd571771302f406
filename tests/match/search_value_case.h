// SPDX-License-Identifier: MIT
// Values of items in a file, for the tests that are made on one value.
#pragma once

#include <optional>

#include "match/bxd_srch_card.h"
#include "match/bxd_srch_field.h"
#include "tests/match/packed_time.h"
#include "tests/support/box_case.h"
#include "tests/support/search_builder.h"

namespace searchtest {

using sorttest::Packed;

inline Bytes FirstOf(const Packed& packed, size_t size)
{
    return Bytes(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(size));
}

class SearchValueCase : public boxtest::BoxCase {
protected:
    static constexpr u32 kAt = 37;  // where the value stands

    // The file ends with the value, so that a read too long is a short one.
    void store(const Bytes& value)
    {
        len_ = static_cast<u32>(value.size());
        if (!file_) {
            put(Bytes(kAt, 0xEE), kName);
            file_.emplace(kName);
            ASSERT_TRUE(file_->ok());
        }
        const Bytes content = Bytes(kAt, 0xEE) + value;
        u32 written = static_cast<u32>(content.size());
        ASSERT_EQ(DataWriteToFile(fid(), 0, content.data(), &written), 0u);
        ASSERT_EQ(BxdFileCut(fid(), static_cast<u32>(content.size())), 0);
    }

    u8 fid() const { return file_->id(); }
    i32 at() const { return static_cast<i32>(kAt); }
    u16 length() const { return static_cast<u16>(len_); }

    using FieldTest = u32 (*)(u8 boxId, i32 addr, u16 len, const u8* value);

    // A test on the stored value; the condition stands in a block of its very size.
    u32 ask(FieldTest test, u8 op, const Bytes& condition, u8 kind = kLanguage)
    {
        Bytes bytes = Bytes{kind, op, 0x55} + condition;
        bytes.shrink_to_fit();
        return test(fid(), at(), length(), bytes.data() + 3);
    }
    // The operators of all 256 that hold.
    Bytes holding(FieldTest test, const Bytes& condition, u8 kind = kLanguage)
    {
        Bytes out;
        for (u32 op = 0; op < 256; ++op) {
            const u32 answer = ask(test, static_cast<u8>(op), condition, kind);
            EXPECT_LE(answer, 1u);
            if (answer != 0) { out.push_back(static_cast<u8>(op)); }
        }
        return out;
    }

private:
    static constexpr const char* kName = "F0:V.BOX";
    std::optional<boxtest::Fid> file_;
    u32 len_ = 0;
};

inline const Bytes kNoOperators = {};
inline const Bytes kOperatorsBelow = {kAtMost, kBelow};
inline const Bytes kOperatorsEqual = {kEquals, kAtLeast, kAtMost};
inline const Bytes kOperatorsAbove = {kAtLeast, kAbove};

inline const Bytes& OperatorsOf(i32 order)
{
    return order < 0 ? kOperatorsBelow : order > 0 ? kOperatorsAbove : kOperatorsEqual;
}

}  // namespace searchtest
