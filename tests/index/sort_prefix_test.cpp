// SPDX-License-Identifier: MIT
// What a sort knows of the cards beforehand says nothing that a compare of the cards would not say.
#include "index/bxd_indx_sort_prefix.h"

#include <memory>
#include <random>

#include "box/bxd_card_slots.h"
#include "index/bxd_indx_sort_fast.h"
#include "tests/support/sort_case.h"

namespace {

using namespace sorttest;

constexpr u8 kCodes[] = {0x80, 0x81, 0x82, 0x83, 0x8C, 0x8D};

class SortPrefix : public SortCase {
protected:
    // Card n has the value n - 1 in its item NAME.
    void start(const std::vector<Bytes>& values)
    {
        fid_.reset();
        BoxBuilder box(SortItems());
        u32 id = 0;
        for (const Bytes& value : values) { box.card(++id, box.row({{"NAME", value}})); }
        put(box.build());
        fid_ = std::make_unique<Fid>(kBox, BXD_MODE_READ);
        ASSERT_TRUE(fid_->ok());
        count_ = id;
        table_ = Slice(EncodeCardTable(EntriesOf(IdsTo(id))), 2, id * 4);
        offsets_.assign(501 + 128 * ((id + 127) / 128), 0);
        ASSERT_EQ(ReadLinearTable(fid_->id(), offsets_.data(), static_cast<u16>(id)), 0u);
    }
    bool load(bxd::SortPrefixes* prefixes, const bxd::SortKeys& keys) const
    {
        return prefixes->load(fid_->id(), table_.data(), count_, offsets_.data(), keys.keys,
                              static_cast<u16>(count_));
    }
    static bxd::SortKeys keyOf(u8 type, u8 code, u8 item = kNameItem)
    {
        bxd::SortKeys keys;
        keys.keys[0].type = type;
        keys.keys[0].item = item;
        keys.keys[0].code = code;
        return keys;
    }

    // Each pair of cards of which the numbers differ stands to each other in the same way. Gives how many.
    u32 expectAgree(u8 type, u8 code)
    {
        bxd::SortKeys keys = keyOf(type, code);
        bxd::SortPrefixes prefixes;
        EXPECT_TRUE(load(&prefixes, keys));
        u32 decided = 0;
        for (u16 pivot = 1; pivot <= count_; ++pivot) {
            const bxd::Pivot loaded(fid_->id(), offsets_[pivot - 1], keys.keys);
            EXPECT_TRUE(static_cast<bool>(loaded));
            for (u16 card = 1; card <= count_; ++card) {
                const uint64_t a = prefixes.of(card);
                const uint64_t b = prefixes.of(pivot);
                if (a == b) { continue; }
                ++decided;
                EXPECT_EQ(loaded.compare(offsets_[card - 1]), a < b ? 127u : 129u)
                    << "type " << int{type} << ", code " << int{code} << ": card " << card << " to " << pivot;
            }
        }
        return decided;
    }

    std::unique_ptr<Fid> fid_;
    u32 count_ = 0;
    Bytes table_;
    std::vector<u32> offsets_;
};

TEST_F(SortPrefix, AgreesWithTheCompareOfUtf8Texts)
{
    std::vector<Bytes> values;
    for (const char* text : {"",
                             "a",
                             "A",
                             "ab",
                             "aB",
                             "abc",
                             "abcd",
                             "abce",
                             "b",
                             "\u3042",
                             "\u3042\u3044",
                             "\u3042\u3044\u3046",
                             "\u3042\u3044\u3046\u3048",
                             "\u3042\u3044\u3046\u304A",
                             "\u304B",
                             "\u304C",
                             "\u30AB",
                             "\u30AC",
                             "\u00E9",
                             "e",
                             "\uFF21",
                             "\uFF76",
                             "\u6F22",
                             "\u6F22\u5B57",
                             "1",
                             "12",
                             "~",
                             " ",
                             "a\u3042b",
                             "\u3042a"}) {
        values.push_back(B(text));
    }
    values.push_back(Bytes{0});
    values.push_back(Bytes{0, 0});
    values.push_back(Bytes{'a', 0});
    values.push_back(B(std::string(70, 'x')));
    values.push_back(B(std::string(71, 'x')));
    start(values);
    for (const u8 code : kCodes) { EXPECT_GT(expectAgree(kUtf8, code), 800u); }
}

TEST_F(SortPrefix, AgreesWithTheCompareOfShiftJisTexts)
{
    std::vector<Bytes> values{{},
                              {'a'},
                              {'A'},
                              {'a', 'b'},
                              {0x82, 0xA0},
                              {0x82},
                              {0x82, 0xA9},
                              {0x82, 0xAA},
                              {0xB6},
                              {0xB6, 0xDE},
                              {0xB6, 0xDF},
                              {0xB6, 'a'},
                              {0x83, 0x4A},
                              {0x83, 0x4B},
                              {0x88, 0x9F},
                              {0x81, 0x40},
                              {0x82, 0x60},
                              {0},
                              {0, 0},
                              {0xFF},
                              {0xA0},
                              {0x82, 0xA0, 0x82, 0xA2},
                              {0x82, 0xA0, 'a'},
                              {'a', 0x82},
                              {0x82, 0x20},
                              {0xE0, 0x40},
                              {0xDE},
                              {0xCA, 0xDF, 0xDE},
                              {'1', '2'}};
    start(values);
    for (const u8 type : {kItemText, kItemText2}) {
        for (const u8 code : kCodes) { EXPECT_GT(expectAgree(type, code), 300u); }
    }
}

TEST_F(SortPrefix, AgreesWithTheCompareOfNumbers)
{
    start({{},
           {0},
           {1},
           {255},
           {0, 0},
           {1, 0},
           {0, 1},
           {255, 255},
           {1, 2, 3},
           {0, 0, 0, 0},
           {1, 0, 0, 0},
           {1, 0, 1, 0},
           {0, 0, 1, 0},
           {0, 1, 0, 0},
           {1, 2, 3, 4, 5}});
    for (const u8 type : {kItemHalf, kItemByte, kItemWord}) {
        for (const u8 code : kCodes) { EXPECT_GT(expectAgree(type, code), 20u); }
    }
}

TEST_F(SortPrefix, AgreesWithTheCompareOfRandomTexts)
{
    std::minstd_rand random(5);
    std::vector<Bytes> values;
    for (u32 n = 0; n < 150; ++n) {
        Bytes text;
        for (u32 left = static_cast<u32>(random() % 6); left > 0; --left) {
            switch (random() % 4) {
            case 0: text.push_back(static_cast<u8>('a' + random() % 4)); break;
            case 1: text = text + Bytes{0xC3, static_cast<u8>(0xA0 + random() % 8)}; break;
            case 2: text = text + Bytes{0xE3, 0x81, static_cast<u8>(0x80 + random() % 64)}; break;
            default: text = text + Bytes{0xE3, 0x82, static_cast<u8>(0x80 + random() % 64)};
            }
        }
        values.push_back(text);
    }
    start(values);
    for (const u8 code : kCodes) { EXPECT_GT(expectAgree(kUtf8, code), 10000u); }
}

TEST_F(SortPrefix, IsNotUsedWhereATextIsNoUtf8)
{
    for (const Bytes& text : {Bytes{0xFF}, Bytes{0xE3, 0x81}, Bytes{'a', 0x80}, Bytes{'a', 'b', 0xE3, 0x81},
                              Bytes{0xEF, 0xBF, 0xBD}, Bytes{0xF0, 0x9F, 0x98, 0x80}}) {
        start({B("a"), text, B("b")});
        bxd::SortPrefixes prefixes;
        EXPECT_FALSE(load(&prefixes, keyOf(kUtf8, 0x82)));
    }
    // What stands behind the characters looked at does not matter.
    start({B("a"), B("abc") + Bytes{0xFF}});
    bxd::SortPrefixes prefixes;
    EXPECT_TRUE(load(&prefixes, keyOf(kUtf8, 0x82)));
}

TEST_F(SortPrefix, IsNotUsedForOtherTypesAndWithoutKeys)
{
    start({B("abcde"), B("bcdef")});
    for (const u8 type : {u8{2}, kItemDate, kItemSpan, kItemBits, kItemWeekDate, u8{12}, u8{19}}) {
        bxd::SortPrefixes prefixes;
        EXPECT_FALSE(load(&prefixes, keyOf(type, 0x82)));
    }
    bxd::SortPrefixes prefixes;
    EXPECT_FALSE(load(&prefixes, bxd::SortKeys{}));
}

TEST_F(SortPrefix, IsNotUsedWhereACardCannotBeRead)
{
    for (const u32 position : {0u, 0xFFFFFFFFu, 9'000'000u}) {
        start({B("a"), B("b"), B("c")});
        offsets_[1] = position;
        Captured messages;
        bxd::SortPrefixes prefixes;
        EXPECT_FALSE(load(&prefixes, keyOf(kUtf8, 0x82)));
    }
    start({B("a"), B("b")});
    bxd::SortKeys keys = keyOf(kUtf8, 0x82);
    keys.keys[1] = keys.keys[0];
    keys.keys[1].item = 99;  // the second key's item is not there
    bxd::SortPrefixes prefixes;
    EXPECT_FALSE(load(&prefixes, keys));
}

// With and without: the same entries, to the flags.
TEST_F(SortPrefix, ASortWithThemIsThatWithoutThem)
{
    std::minstd_rand random(11);
    for (const u8 type : {kItemTextUtf8, kItemText, kItemHalf, kItemByte}) {
        for (const u8 code : kCodes) {
            std::vector<Bytes> values;
            for (u32 n = 0; n < 200; ++n) {
                values.push_back(Slice(B("abacadae"), random() % 4, random() % 4));
            }
            start(values);
            for (u32 n = 0; n < count_; ++n) { table_[n * 4 + 3] = static_cast<u8>(n % 3 == 0 ? 0x81 : 0); }
            bxd::SortKeys keys = keyOf(type, code);
            bxd::SortPrefixes prefixes;
            ASSERT_TRUE(load(&prefixes, keys));
            Bytes with = table_;
            Bytes without = table_;
            IndexSortContext context = {with.data(), offsets_.data(), keys.keys, 1,        1,
                                        200,         fid_->id(),      0,         &prefixes};
            ASSERT_EQ(BxdQSort(&context), 1u);
            context.entries = without.data();
            context.prefixes = nullptr;
            ASSERT_EQ(BxdQSort(&context), 1u);
            EXPECT_EQ(with, without) << int{type} << " " << int{code};
        }
    }
}

}  // namespace
