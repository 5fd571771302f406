// SPDX-License-Identifier: MIT
// Tells whether a box file is sound: every card in the chain, every slot and table, every counter.
//
//   EXPECT_EQ(FirstFault(file), "");       the first thing that is wrong, in words
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/box_reader.h"

namespace boxtest {

// What of a sound box is asked for. Each switch names a state that an orderly order of writes can leave
// behind when it is cut off, so that the tests of lost power can say which of them they accept.
struct CheckRules {
    bool garbageSize = true;       // equals the dead bytes
    bool cardCount = true;         // equals the live cards
    bool hint = true;              // unUsedCardID is neither 0 nor above maxCardID + 1
    bool maxCardID = true;         // no card's id is above it
    bool endIsLast = true;         // nothing behind the end mark
    bool slotsLive = true;         // no slot leads to a dead card
    bool allReferenced = true;     // every card and table of the chain is referred to
    bool offsetCard = true;        // the offset card lists the chain of append tables
    bool offsetCardLength = true;  // its cardLength agrees with offsetCardSize
    bool zeroOffsetWords = false;  // 0 in place of all ones behind its last table
    bool editCard = true;          // a card under edit may lie in the file
    bool reservedBytes = true;     // the header's reserved bytes are those of a new box
};

class BoxCheck {
public:
    BoxCheck(const Bytes& file, const CheckRules& rules) : file_(file), rules_(rules) {}

    std::string run()
    {
        for (auto step :
             {&BoxCheck::header, &BoxCheck::itemTable, &BoxCheck::chain, &BoxCheck::bodies,
              &BoxCheck::systemSlots, &BoxCheck::appendChain, &BoxCheck::normalSlots, &BoxCheck::offsetCard,
              &BoxCheck::indexTable, &BoxCheck::references, &BoxCheck::counters}) {
            const std::string fault = (this->*step)();
            if (!fault.empty()) { return fault; }
        }
        return "";
    }

private:
    std::uint32_t field(const Field& f) const { return GetField(file_, f); }

    std::string header()
    {
        if (file_.size() < kEmptyBoxBytes) { return "the file is shorter than an empty box"; }
        if (field(hd::fileMark) != 0xFF || field(hd::fileId) != 16 || field(hd::fileVersion) >> 4 != 3) {
            return "the first four bytes are not those of a box";
        }
        if (field(hd::offsetTable) != kHeaderBytes) { return "offsetTable is not 72"; }
        if (!rules_.reservedBytes) { return ""; }
        const Bytes fresh = NewBoxImage("....");
        for (const Field& f :
             {hd::reserved1, hd::reserved47, hd::reserved58, hd::reserved64, hd::reserved68}) {
            if (field(f) != GetField(fresh, f)) { return std::string(f.name) + " has changed"; }
        }
        return "";
    }

    std::string itemTable()
    {
        if (field(hd::itemOffset) == kNone) {
            return file_.size() == kEmptyBoxBytes ? ""
                                                  : "bytes behind the offset table of a box without items";
        }
        if (field(hd::itemOffset) != kEmptyBoxBytes) { return "itemOffset is not 2120"; }
        ItemList list = DecodeItems(file_);
        items_ = std::move(list.items);
        return list.fault;
    }

    std::string chain()
    {
        const std::uint32_t itemEnd =
            field(hd::itemOffset) == kNone ? kEmptyBoxBytes : kEmptyBoxBytes + field(hd::itemSize);
        if (field(hd::cardOffset) == kNone) {
            if (rules_.endIsLast && file_.size() != itemEnd) {
                return "bytes behind a box without a card area";
            }
            return "";
        }
        if (field(hd::cardOffset) < itemEnd) { return "the card area begins inside the tables before it"; }
        Chain walked = WalkChain(file_);
        if (!walked.fault.empty()) { return walked.fault; }
        if (rules_.endIsLast && walked.end + 2 != file_.size()) {
            return At("the end mark is not the end of the file, it stands", walked.end);
        }
        links_ = std::move(walked.links);
        for (const Link& link : links_) { byPos_[link.pos] = link; }
        return "";
    }

    std::string bodies()
    {
        std::uint32_t edits = 0;
        for (const Link& link : links_) {
            if (!IsItemCardId(link.id)) { continue; }
            edits += link.id == kEditId ? 1 : 0;
            const CardBody body = DecodeCard(file_, link, items_.size());
            if (!body.fault.empty()) { return body.fault; }
            const bool attr = !items_.empty() && items_[0].tag == "ATTR";
            if (attr && body.values[0].size() != 1) {
                return At("an attribute that is not one byte in the card", link.pos);
            }
            if (link.id > kLastNormalId) { continue; }
            normal_[link.id].push_back(link.pos);
            live_ += attr && (body.values[0][0] & 0x40) != 0 ? 1 : 0;
        }
        if (edits > (rules_.editCard ? 1u : 0u)) { return "a card under edit is left in the file"; }
        return "";
    }

    // A slot must lead to a card of the chain; `ok` says whether its id is right.
    template <typename Test>
    std::string slot(std::uint32_t at, const std::string& name, Test ok)
    {
        const std::uint32_t pos = Get32(file_, at);
        if (!IsSet(pos)) { return ""; }
        const auto found = byPos_.find(pos);
        if (found == byPos_.end()) { return At(name + " leads to no card,", pos); }
        if (found->second.id == 0) { return rules_.slotsLive ? At(name + " leads to a dead card", pos) : ""; }
        if (!ok(found->second.id)) {
            return At(name + " leads to a card of id " + std::to_string(found->second.id), pos);
        }
        if (!referenced_.insert(pos).second) { return At(name + " leads to a card of another slot", pos); }
        return "";
    }

    std::string systemSlots()
    {
        std::string fault = slot(DefaultWordAt(0), "the slot of the extended information",
                                 [](std::uint32_t id) { return id == kExtInfoId; });
        std::set<std::uint32_t> seen;
        for (std::uint32_t n = 1; n <= 10 && fault.empty(); ++n) {
            const std::string name = "system slot " + std::to_string(n);
            fault = slot(DefaultWordAt(n), name,
                         [&seen](std::uint32_t id) { return IsSystemId(id) && seen.insert(id).second; });
        }
        return fault;
    }

    std::string appendChain()
    {
        std::uint32_t pos = Get32(file_, DefaultWordAt(511));
        while (pos != kNone) {
            const auto found = byPos_.find(pos);
            const std::string name = "append table " + std::to_string(tables_.size());
            if (found == byPos_.end()) { return At(name + " is no card,", pos); }
            if (found->second.id != kAppendTableId) { return At(name + " does not bear its id", pos); }
            if (found->second.total() != kAppendTableBytes) {
                return At(name + " is not 522 bytes long", pos);
            }
            if (!referenced_.insert(pos).second) { return At(name + " stands in the chain twice,", pos); }
            tables_.push_back(pos);
            pos = Get32(file_, pos + std::size_t{518});
        }
        return "";
    }

    std::string normalSlots()
    {
        const std::uint32_t ids =
            kIdsInDefaultTable + kIdsInAppendTable * static_cast<std::uint32_t>(tables_.size());
        for (std::uint32_t id = 1; id <= ids; ++id) {
            const std::uint32_t at = id <= kIdsInDefaultTable
                                         ? DefaultWordAt(id + 10)
                                         : tables_[AppendGroupOf(id)] + kHeadBytes + 4 * AppendSlotOf(id);
            const std::string fault = slot(at, "the slot of id " + std::to_string(id),
                                           [id](std::uint32_t found) { return found == id; });
            if (!fault.empty()) { return fault; }
        }
        return "";
    }

    std::string offsetCard()
    {
        const std::uint32_t pos = field(hd::offsetCard);
        if (!IsSet(pos)) {
            return rules_.offsetCard && !tables_.empty() ? "append tables without an offset card" : "";
        }
        const auto found = byPos_.find(pos);
        if (found == byPos_.end()) { return At("offsetCard leads to no card,", pos); }
        if (found->second.id == 0 && !rules_.slotsLive) { return ""; }
        if (found->second.id != kOffsetCardId) { return At("offsetCard leads to another card", pos); }
        referenced_.insert(pos);
        const std::uint32_t size = field(hd::offsetCardSize);
        if (rules_.offsetCardLength && size != found->second.total()) {
            return "offsetCardSize is not the card's size";
        }
        if (size < kHeadBytes || size > found->second.total() || (size - kHeadBytes) % 256 != 0) {
            return "offsetCardSize is not 6 and a multiple of 256";
        }
        return rules_.offsetCard ? offsetWords(pos, (size - kHeadBytes) / 4) : "";
    }

    std::string offsetWords(std::uint32_t pos, std::uint32_t words)
    {
        if (words < tables_.size()) { return "the offset card has no room for all append tables"; }
        for (std::uint32_t g = 0; g < words; ++g) {
            const std::uint32_t word = Get32(file_, pos + std::size_t{6} + std::size_t{4} * g);
            if (g < tables_.size() ? word == tables_[g] : word == kNone) { continue; }
            if (g >= tables_.size() && word == 0 && rules_.zeroOffsetWords) { continue; }
            return "word " + std::to_string(g) + " of the offset card is " + std::to_string(word);
        }
        return "";
    }

    std::string indexTable()
    {
        const std::uint32_t pos = field(hd::indexTable);
        if (pos == kNone) { return ""; }
        const auto found = byPos_.find(pos);
        if (found == byPos_.end() || found->second.id != kIndexTableId) {
            return At("indexTable leads to no index table", pos);
        }
        if (found->second.total() != field(hd::indexTableSize)) {
            return "indexTableSize is not the card's size";
        }
        referenced_.insert(pos);
        std::size_t at = pos + std::size_t{kHeadBytes};
        const std::size_t end = found->second.end();
        for (;;) {
            if (at + 2 > end) { return at == end ? "" : "the index table has no end"; }
            const std::uint32_t length = Get16(file_, at);
            if (length == 0 || length == 0xFFFF) { return ""; }
            if (length < 12 || at + 2 + length > end) {
                return At("an index entry leaves the index table", pos);
            }
            const Bytes name = Slice(file_, at + 12, length - 10);
            if (std::find(name.begin(), name.end(), 0) == name.end()) {
                return "an index name without terminator";
            }
            at += 2 + length;
        }
    }

    std::string references()
    {
        if (!rules_.allReferenced) { return ""; }
        for (const Link& link : links_) {
            if (link.id == 0 || link.id == kEditId || referenced_.count(link.pos) != 0) { continue; }
            return At("nothing refers to the card of id " + std::to_string(link.id), link.pos);
        }
        return "";
    }

    std::string counters()
    {
        std::uint32_t deadBytes = 0;
        for (const Link& link : links_) { deadBytes += link.id == 0 ? link.total() : 0; }
        const std::uint32_t stored = field(hd::garbageSize) == kNone ? 0 : field(hd::garbageSize);
        if (rules_.garbageSize && stored != deadBytes) {
            return "garbageSize is " + std::to_string(stored) + ", dead bytes are " +
                   std::to_string(deadBytes);
        }
        if (rules_.cardCount && field(hd::cardCount) != live_) {
            return "cardCount is " + std::to_string(field(hd::cardCount)) + ", live cards are " +
                   std::to_string(live_);
        }
        const std::uint32_t highest = normal_.empty() ? 0 : normal_.rbegin()->first;
        if (rules_.maxCardID && field(hd::maxCardID) < highest) {
            return "maxCardID is " + std::to_string(field(hd::maxCardID)) + ", a card has id " +
                   std::to_string(highest);
        }
        const std::uint32_t hint = field(hd::unUsedCardID);
        if (rules_.hint && (hint == 0 || hint > field(hd::maxCardID) + 1)) {
            return "unUsedCardID is " + std::to_string(hint) + ", maxCardID " +
                   std::to_string(field(hd::maxCardID));
        }
        return "";
    }

    const Bytes& file_;
    CheckRules rules_;
    std::vector<Item> items_;
    std::vector<Link> links_;
    std::map<std::uint32_t, Link> byPos_;
    std::map<std::uint32_t, std::vector<std::uint32_t>> normal_;
    std::set<std::uint32_t> referenced_;
    std::vector<std::uint32_t> tables_;
    std::uint32_t live_ = 0;
};

// What is wrong with a box file, in words; empty when it is sound.
inline std::string FirstFault(const Bytes& file, const CheckRules& rules = {})
{
    return BoxCheck(file, rules).run();
}

}  // namespace boxtest
