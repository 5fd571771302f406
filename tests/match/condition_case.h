// SPDX-License-Identifier: MIT
// What the tests of search conditions share: the pieces of both forms, and a compile by each of the two
// compilers with exactly the room that they may use.
#pragma once

#include "match/bxd_cond_items.h"
#include "match/bxd_srch_cond.h"
#include "match/bxd_srch_expand.h"
#include "tests/match/sort_case.h"

namespace condtest {

using namespace sorttest;

// --- the external form -----------------------------------------------------------------------------------

inline Bytes Op(u8 op) { return {0xFE, op}; }
inline Bytes Tag(u32 type) { return B(TagOf(type)); }

// A test with a value, and one of a text.
inline Bytes TestOf(u8 op, u8 valueType, const Bytes& value)
{
    return Join({Op(op), Bytes{valueType}, value});
}
inline Bytes TextTest(u8 op, const std::string& text, u8 valueType = 1)
{
    return TestOf(op, valueType, B(text));
}

// --- the compiled form -----------------------------------------------------------------------------------

inline Bytes Head(u32 type) { return {static_cast<u8>(type), ItemOf(type)}; }
inline Bytes WithLength(const Bytes& data)
{
    Bytes out;
    boxtest::Add16(out, static_cast<u32>(data.size()));
    return out + data;
}

// A text as its test has it: by sort codes, or as bytes.
inline Bytes Codes(const std::string& text, u8 valueType = 1)
{
    const std::string padded = text + std::string(4, '\0');
    Bytes out;
    for (size_t at = 0; at < text.size();) {
        u16 used = 0;
        const u8* s = reinterpret_cast<const u8*>(padded.data()) + at;
        boxtest::Add16(out, valueType == 17 ? SortConvCharUtf8(s, &used) : SortConvChar(s, &used));
        at += used;
    }
    return WithLength(out + Bytes{0, 0});
}
inline Bytes Raw(const std::string& text) { return WithLength(B(text) + Bytes{0}); }

inline Bytes ByCode(u8 op, const std::string& text, u8 valueType = 1)
{
    return Bytes{0x15, op, valueType} + Codes(text, valueType);
}
inline Bytes Binary(u8 op, const std::string& text, u8 valueType = 1)
{
    return Bytes{0x95, op, valueType} + Raw(text);
}

// --- compiling -------------------------------------------------------------------------------------------

struct Compiled {
    u32 status;  // of the search's compiler 69 in place of its 0, and 0 in place of 1
    u8 flags;
    Bytes code;  // clauses, without flags and terminator

    bool operator==(const Compiled&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Compiled& compiled)
{
    out << "status " << compiled.status << ", flags " << u32{compiled.flags} << ", " << compiled.code.size()
        << " bytes" << std::hex;
    const size_t shown = std::min<size_t>(compiled.code.size(), 100);
    for (size_t n = 0; n < shown; ++n) { out << ' ' << u32{compiled.code[n]}; }
    return out << std::dec;
}

inline const Compiled kRefused{69, 0, {}};

class ConditionCase : public SortCase {
protected:
    static Bytes slack() { return Bytes(kConditionSlack, 0); }

    void SetUp() override { store({}); }

    // For an index: the text gets its terminator here.
    Compiled convert(const Bytes& text, i32 boxId, u8 fileId) const
    {
        const Exactly out(Bytes(kConditionCodeMax, 0xCC));
        u32 length = kUntouched;
        const u32 status =
            ConvertSearchCondition(fileId, Exactly(text + slack()).data(), out.data(), boxId, &length);
        if (status != 0) {
            EXPECT_EQ(length, kUntouched);
            return {status, 0, {}};
        }
        EXPECT_GE(length, 2u);
        EXPECT_LE(length, kConditionCodeMax);
        EXPECT_EQ(out.data()[length - 1], 0);
        if (length < kConditionCodeMax) { EXPECT_EQ(out.data()[length], 0xCC); }
        return {0, out.data()[0], Bytes(out.data() + 1, out.data() + length - 1)};
    }
    Compiled convert(const Bytes& text) const { return convert(text, fid(), kNoFile); }

    // For a search, with a budget of exactly the room.
    static Compiled search(const Bytes& text, u32 budget = kConditionCodeMax)
    {
        static const Exactly table(boxtest::EncodeItemTable(ItemsOfEveryType()));
        const Exactly out(Bytes(budget, 0xCC));
        u8 flags = 0xCC;
        const Exactly in(text + slack());
        if (SearchConvCondition(in.data(), out.data(), table.data(), budget, &flags) == 0) {
            return kRefused;
        }
        // The compiled form may hold zeros: it ends before the bytes that were not written.
        u32 length = budget;
        while (length > 1 && out.data()[length - 1] == 0xCC) { --length; }
        EXPECT_EQ(out.data()[length - 1], 0);
        return {0, flags, Bytes(out.data(), out.data() + length - 1)};
    }

    // Both give this code, with flags of their own.
    void expectBoth(const Bytes& text, const Bytes& code, u8 convertFlags, u8 searchFlags) const
    {
        EXPECT_EQ(convert(text), (Compiled{0, convertFlags, code}));
        EXPECT_EQ(search(text), (Compiled{0, searchFlags, code}));
    }
    void expectBoth(const Bytes& text, const Bytes& code) const { expectBoth(text, code, 0, 0); }
    void expectNone(const Bytes& text) const
    {
        EXPECT_EQ(convert(text), kRefused);
        EXPECT_EQ(search(text), kRefused);
    }

private:
    static constexpr u32 kUntouched = 0x5A5A;
};

}  // namespace condtest
