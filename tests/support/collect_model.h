// SPDX-License-Identifier: MIT
// What a collection makes of a box file, told a second time and without the library: by the first way, in
// memory, and by the second, card after card through the file. The outcomes are held against the library's
// byte for byte.
#pragma once

#include <algorithm>
#include <vector>

#include "tests/support/box_builder.h"

namespace boxtest {

struct Collected {
    Bytes file;
    std::uint32_t reclaimed = 0;
};

class CollectModel {
public:
    explicit CollectModel(Bytes before)
        : before_(std::move(before)), chain_(WalkChain(before_).links),
          cardOffset_(GetField(before_, hd::cardOffset))
    {}

    Collected firstWay()
    {
        Collected out;
        startFile();
        for (const Link& link : chain_) {
            out.reclaimed += link.id == 0 ? link.total() : 0;
            if (Leaves(link.id)) { continue; }
            if (link.id == kAppendTableId) {
                tables_.push_back(place(Slice(before_, link.pos, 6) + Bytes(516, 0xFF)));
            } else {
                take(link);
            }
        }
        const bool nothing = file_.size() == (chain_.empty() ? cardOffset_ : chain_.back().end());
        finish();
        SetField(file_, hd::garbageSize, 0);
        out.file = nothing ? before_ : file_;
        return out;
    }

    Collected secondWay()
    {
        Collected out;
        const std::uint32_t tail = cutTail();
        std::uint32_t maxId = 0;
        for (const Link& link : chain_) {
            out.reclaimed += link.id == 0 ? link.total() : 0;
            if (link.id <= kLastNormalId) { maxId = std::max(maxId, link.id); }
        }
        const bool nothing = out.reclaimed == 0;
        out.reclaimed += tail;
        out.file = before_;
        SetField(out.file, hd::garbageSize, 0);
        if (nothing) { return out; }
        startFile();
        for (const Link& link : chain_) {
            if (!Leaves(link.id) && link.id != kAppendTableId) { take(link); }
        }
        const std::uint32_t tables = maxId <= 500 ? 0 : (maxId - 501) / 128 + 1;
        for (std::uint32_t k = 0; k < tables; ++k) {
            tables_.push_back(place(EncodeHead(kAppendTableId, 516) + Bytes(516, 0xFF)));
        }
        finish();
        SetField(file_, hd::garbageSize, 0);
        if (systemCards_ > 0) { SetField(file_, hd::garbageFlags, GetField(file_, hd::garbageFlags) | 1); }
        out.file = file_;
        return out;
    }

private:
    static bool Leaves(std::uint32_t id) { return id == 0 || id == kEditId; }

    void startFile()
    {
        file_ = Slice(before_, 0, cardOffset_);
        std::fill_n(file_.begin() + kHeaderBytes, kDefaultTableBytes, std::uint8_t{0xFF});
        tables_.clear();
        offsetCard_ = {};
        systemCards_ = 0;
    }

    std::uint32_t place(const Bytes& card)
    {
        const std::uint32_t pos = static_cast<std::uint32_t>(file_.size());
        file_.insert(file_.end(), card.begin(), card.end());
        return pos;
    }

    void take(const Link& link)
    {
        const std::uint32_t pos = static_cast<std::uint32_t>(file_.size());
        if (IsSystemId(link.id)) {
            if (++systemCards_ > 10) { return; }
            Put32(file_, DefaultWordAt(systemCards_), pos);
        }
        if (link.id == kExtInfoId) { Put32(file_, DefaultWordAt(0), pos); }
        if (link.id == kIndexTableId) { SetField(file_, hd::indexTable, pos); }
        if (link.id == kOffsetCardId) {
            SetField(file_, hd::offsetCard, pos);
            offsetCard_ = {pos, link.id, link.length};
        }
        place(Slice(before_, link.pos, link.total()));
        if (link.id <= kLastNormalId) { cards_.push_back({pos, link.id, link.length}); }
    }

    void finish()
    {
        Add16(file_, kEndMark);
        for (std::size_t k = 0; k < tables_.size(); ++k) {
            Put32(file_, k == 0 ? DefaultWordAt(511) : tables_[k - 1] + 518, tables_[k]);
        }
        for (const Link& card : cards_) {
            Put32(file_,
                  card.id <= 500 ? DefaultWordAt(card.id + 10)
                                 : tables_.at(AppendGroupOf(card.id)) + 6 + 4 * AppendSlotOf(card.id),
                  card.pos);
        }
        cards_.clear();
        if (offsetCard_.pos == 0) { return; }
        std::fill_n(file_.begin() + offsetCard_.pos + 6, offsetCard_.length, std::uint8_t{0xFF});
        for (std::size_t k = 0; k < tables_.size(); ++k) {
            Put32(file_, offsetCard_.pos + 6 + 4 * k, tables_[k]);
        }
    }

    std::uint32_t cutTail()
    {
        std::uint32_t tail = 0;
        std::uint32_t end = 0;
        while (!chain_.empty() && chain_.back().id == 0) {
            tail += chain_.back().total();
            end = chain_.back().pos;
            chain_.pop_back();
        }
        if (tail != 0) {
            before_.resize(end);
            Add16(before_, kEndMark);
        }
        return tail;
    }

    Bytes before_;
    std::vector<Link> chain_;
    std::uint32_t cardOffset_;
    Bytes file_;
    std::vector<std::uint32_t> tables_;
    std::vector<Link> cards_;
    Link offsetCard_{};
    std::uint32_t systemCards_ = 0;
};

// A box with every kind of card, among dead ones: `normal` cards of which every `nth` is dead.
inline BoxBuilder MixedBox(std::uint32_t normal, std::uint32_t nth = 3,
                           const std::vector<IndexEntrySpec>& indexes = {{"ONE.IDX", 1, 27}})
{
    BoxBuilder box(NumberedItems(6));
    box.indexTable(indexes);
    box.dead(17);
    box.systemCard(3, 65300, box.row({{"I000", B("settings")}}));
    box.extInfoCard(B("extended information"));
    if (normal > 500) { box.reserveOffsetCard((normal - 501) / 128 + 1); }
    for (std::uint32_t id = 1; id <= normal; ++id) {
        if (id % nth == 0) {
            box.dead(6 + id % 50);
            box.killSlot(id);
        } else {
            box.card(id, box.row({{"I000", Pattern(id % 40, id)}, {"I001", B("card")}}));
        }
    }
    box.systemCard(7, 65301, box.row({{"I001", B("template")}}));
    return box;
}

}  // namespace boxtest
