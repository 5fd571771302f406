// SPDX-License-Identifier: MIT
// A box with cards, and conditions that are held against them.
#pragma once

#include <optional>

#include "match/bxd_srch_card.h"
#include "tests/match/packed_time.h"
#include "tests/support/box_case.h"
#include "tests/support/search_builder.h"

namespace searchtest {

using boxtest::Item;
using Row = std::vector<std::pair<std::string, Bytes>>;

// Items behind the four that every box has: one of each type, named after it.
inline std::string TypeTag(u32 type) { return "T0" + std::to_string(type / 10) + std::to_string(type % 10); }
inline std::vector<Item> EveryType()
{
    std::vector<Item> items = boxtest::DefaultItems();
    for (u8 type = 0; type <= 20; ++type) { items.push_back({type, 0, TypeTag(type), "item"}); }
    return items;
}
inline u8 NumberOf(u32 type) { return static_cast<u8>(5 + type); }

// What a call has told.
struct Told {
    bool selected;
    u32 item;
    u32 op;
    bool operator==(const Told& other) const = default;
};
inline void PrintTo(const Told& told, std::ostream* out)
{
    *out << (told.selected ? "selected" : "not selected") << ", item " << told.item << ", operator "
         << std::hex << told.op;
}

class SearchCardCase : public boxtest::BoxCase {
protected:
    void store(const std::vector<Row>& rows, const std::vector<Item>& items = EveryType(),
               const boxtest::CardForm& form = {})
    {
        boxtest::BoxBuilder builder(items);
        positions_.clear();
        for (const Row& row : rows) {
            const u32 id = static_cast<u32>(positions_.size()) + 1;
            positions_.push_back(builder.card(id, builder.row(row), form));
        }
        storeBytes(builder.build());
        itemTable_ = boxtest::EncodeItemTable(items);
        itemTable_.shrink_to_fit();
    }
    void storeBytes(const Bytes& file)
    {
        box_.reset();
        put(file);
        box_.emplace(boxtest::kBox);
        ASSERT_TRUE(box_->ok());
    }
    // One card with one value.
    void storeValue(u32 type, const Bytes& value) { store({{{TypeTag(type), value}}}); }

    u8 fid() const { return box_->id(); }
    u32 at(size_t card) const { return positions_.at(card); }

    // What is passed besides card and condition.
    struct Given {
        u32 otherCard = 0;
        std::optional<u8> attr = {};  // tests on item 1 go to it
        bool table = true;
        u32 emptyFalse = 0;
    };

    Told ask(const SearchCondition& cond, size_t card, const Given& given)
    {
        return askAt(cond, at(card), given);
    }
    Told ask(const SearchCondition& cond, size_t card = 0) { return askAt(cond, at(card), {}); }
    bool selects(const SearchCondition& cond, size_t card = 0) { return ask(cond, card).selected; }
    bool selects(const SearchCondition& cond, size_t card, const Given& given)
    {
        return ask(cond, card, given).selected;
    }
    Told askAt(const SearchCondition& cond, u32 position, const Given& given)
    {
        Bytes bytes = cond.build();
        bytes.shrink_to_fit();
        u8 info[3] = {0xEE, 0xEE, given.attr.value_or(0xEE)};
        const u8* table = given.table ? itemTable_.data() : nullptr;
        const u32 result = SearchCmpCardCore(fid(), static_cast<i32>(position), bytes.data(), given.otherCard,
                                             table, info, given.attr ? 1 : 0, given.emptyFalse);
        if (!given.attr) {
            EXPECT_EQ(info[2], 0xEE) << "the attribute is an input";
            EXPECT_EQ(SearchCmpCardCore(fid(), static_cast<i32>(position), bytes.data(), given.otherCard,
                                        table, nullptr, 1, given.emptyFalse) != 0,
                      result != 0)
                << "without info";
        }
        return {result != 0, info[0], info[1]};
    }

    // A condition of one test on the item of a type.
    static SearchCondition testOn(u32 type)
    {
        SearchCondition cond;
        cond.clause(static_cast<u8>(type), NumberOf(type));
        return cond;
    }

private:
    std::optional<boxtest::Fid> box_;
    std::vector<u32> positions_;
    Bytes itemTable_;
};

}  // namespace searchtest
