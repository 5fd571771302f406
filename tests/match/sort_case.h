// SPDX-License-Identifier: MIT
// What the tests of the orders share: a box whose items have every type, cards in it, and a pivot.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>

#include "match/bxd_sort_cmp.h"
#include "match/bxd_sort_cond.h"
#include "tests/support/box_case.h"

namespace sorttest {

using boxtest::B;
using boxtest::Bytes;
using boxtest::operator+;

// Items behind the four that every box has: one of each type, named after it.
inline std::string TagOf(u32 type)
{
    return type < 10 ? "T00" + std::to_string(type) : "T0" + std::to_string(type);
}

inline std::vector<boxtest::Item> ItemsOfEveryType()
{
    std::vector<boxtest::Item> items = boxtest::DefaultItems();
    for (u8 type = 0; type <= 20; ++type) { items.push_back({type, 0, TagOf(type), "item"}); }
    return items;
}
inline u8 ItemOf(u32 type) { return static_cast<u8>(5 + type); }

inline Bytes Repeat(const Bytes& what, size_t times)
{
    Bytes out;
    for (size_t n = 0; n < times; ++n) { out = out + what; }
    return out;
}
inline Bytes Join(const std::vector<Bytes>& parts)
{
    Bytes out;
    for (const Bytes& part : parts) { out = out + part; }
    return out;
}

// Exactly these bytes: a look behind them is found by the sanitizer.
class Exactly {
public:
    explicit Exactly(const Bytes& bytes) : bytes_(new u8[bytes.size()])
    {
        std::copy(bytes.begin(), bytes.end(), bytes_.get());
    }
    u8* data() const { return bytes_.get(); }

private:
    std::unique_ptr<u8[]> bytes_;
};

// An array of keys and the values of a pivot in it.
class Pivot {
public:
    Pivot() { keys_[0].type = kItemEnd; }
    Pivot(u32 type, u8 code) { add(type, code); }
    Pivot(const Pivot&) = delete;
    Pivot& operator=(const Pivot&) = delete;
    ~Pivot() { DisposeStrPtr(keys_); }

    Pivot& add(u32 type, u8 code)
    {
        SortKey& key = keys_[count_++];
        key.type = static_cast<u8>(type);
        key.item = ItemOf(type);
        key.code = code;
        keys_[count_].type = kItemEnd;
        return *this;
    }
    SortKey* keys() { return keys_; }
    SortKey* operator->() { return keys_; }

private:
    SortKey keys_[kSortKeyArray] = {};
    u32 count_ = 0;
};

class SortCase : public boxtest::BoxCase {
protected:
    using Row = std::vector<std::pair<std::string, Bytes>>;

    // A box with these cards, open; ids from 1.
    void store(const std::vector<Row>& rows)
    {
        boxtest::BoxBuilder builder(ItemsOfEveryType());
        positions_.clear();
        for (const Row& row : rows) {
            u32 id = static_cast<u32>(positions_.size()) + 1;
            positions_.push_back(static_cast<i32>(builder.card(id, builder.row(row))));
        }
        box_.reset();
        put(builder.build());
        box_.emplace(boxtest::kBox);
        ASSERT_TRUE(box_->ok());
    }
    // Cards of one value each, in the item of a type.
    void storeValues(u32 type, const std::vector<Bytes>& values)
    {
        std::vector<Row> rows;
        for (const Bytes& value : values) { rows.push_back({{TagOf(type), value}}); }
        store(rows);
    }

    u8 fid() const { return box_->id(); }
    i32 at(size_t card) const { return positions_.at(card); }

    // A stored card against another as the pivot.
    u32 compareStored(u32 type, u8 code, size_t card, size_t pivotCard) const
    {
        Pivot pivot(type, code);
        EXPECT_NE(MakeSortCondition(fid(), at(pivotCard), pivot.keys()), 0u);
        return static_cast<u32>(SortCmpCard(fid(), at(card), pivot.keys()));
    }
    // Two values of an item.
    u32 compare(u32 type, u8 code, const Bytes& card, const Bytes& pivot)
    {
        storeValues(type, {card, pivot});
        return compareStored(type, code, 0, 1);
    }

    // Every pair of these values, lowest first and equal ones in one group, in both directions of an order.
    void expectOrder(u32 type, const std::vector<u8>& upwards, const std::vector<u8>& downwards,
                     const std::vector<std::vector<Bytes>>& groups)
    {
        std::vector<Bytes> values;
        std::vector<u32> ranks;
        for (u32 rank = 0; rank < groups.size(); ++rank) {
            for (const Bytes& value : groups[rank]) {
                values.push_back(value);
                ranks.push_back(rank);
            }
        }
        storeValues(type, values);
        for (size_t card = 0; card < values.size(); ++card) {
            for (size_t pivot = 0; pivot < values.size(); ++pivot) {
                u32 up = ranks[card] == ranks[pivot] ? 128u : ranks[card] < ranks[pivot] ? 127u : 129u;
                for (u8 code : upwards) {
                    EXPECT_EQ(compareStored(type, code, card, pivot), up)
                        << "values " << card << " and " << pivot << ", code " << unsigned{code};
                }
                for (u8 code : downwards) {
                    EXPECT_EQ(compareStored(type, code, card, pivot), 256u - up)
                        << "values " << card << " and " << pivot << ", code " << unsigned{code};
                }
            }
        }
    }

    std::optional<boxtest::Fid> box_;

private:
    std::vector<i32> positions_;
};

}  // namespace sorttest
