// SPDX-License-Identifier: MIT
// What the tests of searches in indexes share: conditions in the application's form, and an index that has
// its sort condition in both forms.
#pragma once

#include "tests/support/sort_case.h"

namespace searchtest {

using namespace sorttest;

// --- conditions, without the byte that ends them ---------------------------------------------------------

struct TextForm {
    u8 type = kUtf8;
    bool binary = false;
};

inline Bytes TestOf(u8 op, u8 type, const Bytes& value, bool binary = false)
{
    Bytes out;
    if (binary) { out = {0xFE, 0x95}; }
    return out + Bytes{0xFE, op, type} + value;
}
inline Bytes Clause(const char* tag, u8 op, u8 type, const Bytes& value)
{
    return B(tag) + TestOf(op, type, value);
}
inline Bytes Clause(const char* tag, u8 op, const std::string& text, TextForm form = {})
{
    return B(tag) + TestOf(op, form.type, B(text), form.binary);
}
inline Bytes Clause(const char* tag, u8 op) { return B(tag) + Bytes{0xFE, op}; }
inline Bytes Clause(const char* tag, u8 op, u32 number) { return Clause(tag, op, kHalf, Half(number)); }

inline const Bytes kAndTest{0xFE, 0x84};
inline const Bytes kAndClause{0xFE, 0x86};
inline const Bytes kOrClause{0xFE, 0x87};

// A condition as a caller passes it: with its end, in memory of just this size.
inline Bytes Whole(const Bytes& clauses) { return clauses + Bytes{0}; }

// --- the case --------------------------------------------------------------------------------------------

struct Asked {
    u8 backward = 0;
    u16 start = 0;
    u8 mask = 0;
    u8 value = 0;
    u8 invert = 0;
};

// An order by one key or more: the compiled form, and the application's.
inline Bytes OrderText(const Bytes& compiled)
{
    static const char* const tags[] = {"", "ATTR", "cTTM", "mDTM", "sYID", "NAME", "READ", "NUMB", "DATE"};
    Bytes out;
    for (size_t n = 0; n + 2 < compiled.size(); n += 3) {
        out = out + B(tags[compiled[n + 1]]) + Bytes{0xFE, compiled[n + 2]};
    }
    return out + Bytes{0};
}

inline const Bytes kByLanguage{kUtf8, kReadItem, 0x80};
inline const Bytes kByLanguageDown{kUtf8, kReadItem, 0x81};

constexpr u16 kNothing = 4711;  // what *indexNo is before a call

class SearchCase : public SortCase {
protected:
    // An index of this order with its entries, which the test has put in order.
    static IndexBuilder ordered(const Bytes& compiled)
    {
        return indexBy(compiled).record(2, OrderText(compiled));
    }
    void putOrdered(const std::vector<IndexEntry>& entries, const Bytes& compiled = kByLanguage) const
    {
        putIndex(ordered(compiled).entries(entries));
    }
    // The cards 1 to n in their order.
    void putOrdered(u32 n, const Bytes& compiled = kByLanguage) const
    {
        putOrdered(visible(IdsTo(n)), compiled);
    }
    static std::vector<IndexEntry> visible(const std::vector<u32>& ids)
    {
        std::vector<IndexEntry> out;
        for (u32 id : ids) { out.push_back({id, 0x47, 0}); }
        return out;
    }

    u32 search(const Bytes& clauses, const Asked& asked = {}, BoxHandle box = nullptr)
    {
        const Bytes condition = Whole(clauses);
        found_ = kNothing;
        u32 status = _IndexSearch(kIndex, box, condition.data(), asked.backward, asked.mask, asked.value,
                                  asked.invert, asked.start, &found_);
        if (status != 0) { EXPECT_EQ(found_, kNothing); }
        return status;
    }
    // The number of the entry found, 0 for none.
    u32 find(const Bytes& clauses, const Asked& asked = {}, BoxHandle box = nullptr)
    {
        u32 status = search(clauses, asked, box);
        EXPECT_TRUE(status == 0 || status == 66) << status;
        return status == 0 ? found_ : 0;
    }
    // All that are found from one end of the index to the other.
    std::vector<u32> findAll(const Bytes& clauses, Asked asked = {}, BoxHandle box = nullptr)
    {
        std::vector<u32> all;
        asked.start = asked.backward != 0 ? 65535 : 0;
        for (u32 n = find(clauses, asked, box); n != 0; n = find(clauses, asked, box)) {
            all.push_back(n);
            asked.start = static_cast<u16>(n);
        }
        return all;
    }

    u16 found_ = kNothing;
};

}  // namespace searchtest
