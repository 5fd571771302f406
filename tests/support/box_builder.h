// SPDX-License-Identifier: MIT
// A second opinion on the box file: it puts box files together byte by byte, and takes them apart again,
// without a line of the library. What the library writes is held against BoxView (box_reader.h) and
// FirstFault (box_check.h); what it reads comes from BoxBuilder. One include brings them all.
//
//   BoxBuilder box(DefaultItems() + items);         header, offset table, item table
//   box.card(1, box.row({{"NAME", B("Sato")}}));     a card, its slot and its counters
//   box.dead(40);                                    40 dead bytes in the chain
//   Bytes file = box.build();                        and the end mark
//
// build() may be called at any time and leaves the builder as it was. Append tables come by themselves with
// the first id that needs them; the offset card stands last unless reserveOffsetCard gave it a place.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/box_check.h"
#include "tests/support/box_image.h"
#include "tests/support/box_reader.h"

namespace boxtest {

class BoxBuilder {
public:
    explicit BoxBuilder(std::vector<Item> items = DefaultItems(), std::string_view aplName = "TEST")
        : items_(std::move(items)), file_(BoxWithItems(aplName, items_)), itemEnd_(size())
    {}

    const std::vector<Item>& items() const { return items_; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(file_.size()); }
    // The number of an item, from 1; 0 for none.
    std::uint8_t itemNumber(std::string_view tag) const
    {
        for (std::size_t n = 0; n < items_.size(); ++n) {
            if (items_[n].tag == tag) { return static_cast<std::uint8_t>(n + 1); }
        }
        return 0;
    }

    // Values in item order: a live attribute, what is given by tag, and nothing else.
    std::vector<Bytes> row(const std::vector<std::pair<std::string, Bytes>>& values = {}) const
    {
        std::vector<Bytes> out(items_.size());
        if (!out.empty()) { out[0] = {0x40}; }
        for (const auto& [tag, value] : values) { out.at(itemNumber(tag) - std::size_t{1}) = value; }
        return out;
    }

    // A normal card with its slot; gives its position.
    std::uint32_t card(std::uint32_t id, const std::vector<Bytes>& values, const CardForm& form = {})
    {
        makeTablesFor(id);
        const std::uint32_t pos = raw(EncodeCard(id, values, form));
        setSlot(id, pos);
        const bool live = values.empty() || values[0].empty() || (values[0][0] & 0x40) != 0;
        countCard(id, live);
        return pos;
    }
    std::uint32_t card(std::uint32_t id) { return card(id, row()); }

    // A system card in slot 1 to 10.
    std::uint32_t systemCard(std::uint32_t slot, std::uint32_t id, const std::vector<Bytes>& values,
                             const CardForm& form = {})
    {
        const std::uint32_t pos = raw(EncodeCard(id, values, form));
        Put32(file_, DefaultWordAt(slot), pos);
        return pos;
    }
    // A card under edit that was left in the file; nothing refers to it.
    std::uint32_t editCard(const std::vector<Bytes>& values, const CardForm& form = {})
    {
        return raw(EncodeCard(kEditId, values, form));
    }
    std::uint32_t extInfoCard(const Bytes& body)
    {
        const std::uint32_t pos = raw(EncodeHead(kExtInfoId, static_cast<std::uint32_t>(body.size())) + body);
        Put32(file_, DefaultWordAt(0), pos);
        return pos;
    }
    // A dead card of `total` bytes, 6 at least.
    std::uint32_t dead(std::uint32_t total)
    {
        Bytes card = EncodeHead(0, total - kHeadBytes);
        card.resize(total, 0xDD);
        garbage_ += total;
        return raw(card);
    }
    std::uint32_t indexTable(const std::vector<IndexEntrySpec>& entries)
    {
        Bytes body;
        for (const IndexEntrySpec& entry : entries) { body = body + EncodeIndexEntry(entry); }
        body.resize((body.size() + 2 + 511) / 512 * 512, 0xFF);
        const std::uint32_t pos =
            raw(EncodeHead(kIndexTableId, static_cast<std::uint32_t>(body.size())) + body);
        SetField(file_, hd::indexTable, pos);
        SetField(file_, hd::indexTableSize, static_cast<std::uint32_t>(body.size() + kHeadBytes));
        return pos;
    }
    // Bytes of one's own in the chain.
    std::uint32_t raw(const Bytes& bytes)
    {
        const std::uint32_t pos = size();
        file_.insert(file_.end(), bytes.begin(), bytes.end());
        return pos;
    }

    // Gives the offset card its place here, with room for so many append tables.
    std::uint32_t reserveOffsetCard(std::uint32_t tables)
    {
        const std::uint32_t payload = std::max(256u, (tables * 4 + 255) / 256 * 256);
        Bytes card = EncodeHead(kOffsetCardId, payload);
        card.resize(kHeadBytes + payload, 0xFF);
        offsetCardSize_ = payload + kHeadBytes;
        offsetCard_ = raw(card);
        return offsetCard_;
    }
    // The append tables that id needs, now.
    void makeTablesFor(std::uint32_t id)
    {
        if (id <= kIdsInDefaultTable || id > kLastNormalId) { return; }
        while (tables_.size() <= AppendGroupOf(id)) { makeTable(); }
    }
    std::uint32_t appendTable(std::size_t group) const { return tables_.at(group); }
    std::size_t appendTables() const { return tables_.size(); }

    // The place of an id's slot, whose table must be there.
    std::uint32_t slotAt(std::uint32_t id) const
    {
        if (id <= kIdsInDefaultTable) { return DefaultWordAt(id + 10); }
        return tables_.at(AppendGroupOf(id)) + kHeadBytes + 4 * AppendSlotOf(id);
    }
    void setSlot(std::uint32_t id, std::uint32_t value) { Put32(file_, slotAt(id), value); }
    // An id that was in use and is free.
    void killSlot(std::uint32_t id)
    {
        makeTablesFor(id);
        setSlot(id, 0);
        maxId_ = std::max(maxId_, id);
    }
    void setField(const Field& f, std::uint32_t value) { overrides_[f.at] = {f, value}; }

    Bytes build() const
    {
        BoxBuilder done = *this;
        if (!done.tables_.empty() && done.offsetCard_ == kNone) {
            done.reserveOffsetCard(static_cast<std::uint32_t>(done.tables_.size()));
        }
        return done.finish();
    }

private:
    void makeTable()
    {
        Bytes table = EncodeHead(kAppendTableId, kAppendTableBytes - kHeadBytes);
        table.resize(kAppendTableBytes, 0xFF);
        const std::uint32_t pos = raw(table);
        const std::uint32_t link = tables_.empty() ? DefaultWordAt(511) : tables_.back() + 518;
        Put32(file_, link, pos);
        tables_.push_back(pos);
    }

    void countCard(std::uint32_t id, bool live)
    {
        maxId_ = std::max(maxId_, id);
        cardCount_ += live ? 1 : 0;
    }

    Bytes finish()
    {
        if (offsetCard_ != kNone) {
            SetField(file_, hd::offsetCard, offsetCard_);
            SetField(file_, hd::offsetCardSize, offsetCardSize_);
            for (std::uint32_t g = 0; g < tables_.size(); ++g) {
                Put32(file_, offsetCard_ + kHeadBytes + 4 * g, tables_[g]);
            }
        }
        if (size() > itemEnd_) {
            SetField(file_, hd::cardOffset, itemEnd_);
            Add16(file_, kEndMark);
        }
        SetField(file_, hd::garbageSize, garbage_);
        SetField(file_, hd::cardCount, cardCount_);
        SetField(file_, hd::maxCardID, maxId_);
        SetField(file_, hd::unUsedCardID, maxId_ + 1);
        for (const auto& [at, fieldAndValue] : overrides_) {
            SetField(file_, fieldAndValue.first, fieldAndValue.second);
        }
        return std::move(file_);
    }

    std::vector<Item> items_;
    Bytes file_;
    std::uint32_t itemEnd_;
    std::vector<std::uint32_t> tables_;
    std::uint32_t offsetCard_ = kNone;
    std::uint32_t offsetCardSize_ = 0;
    std::uint32_t garbage_ = 0;
    std::uint32_t cardCount_ = 0;
    std::uint32_t maxId_ = 0;
    std::map<std::uint32_t, std::pair<Field, std::uint32_t>> overrides_;
};

}  // namespace boxtest
