// SPDX-License-Identifier: MIT
// A box file read byte by byte, without the library: its cards, and what is wrong with it.
//
//   file --> header, tables --> slots --> cards        what a look-up by id finds
//        --> cardOffset --> head, head, ... end mark   what a walk along the chain finds
//
// The two views are held against each other.
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace faults {

constexpr uint32_t kNone = 0xFFFFFFFF;
constexpr uint32_t kExtInfoCard = 65523;
constexpr uint32_t kEditCard = 65280;

struct ChainCard {
    uint32_t pos;
    uint32_t id;
    uint32_t length;  // behind the head
    uint32_t total() const { return length + 6; }
};

// The values of a card's items; of the extended information card, its one body.
using CardValues = std::vector<std::string>;
using CardMap = std::map<uint32_t, CardValues>;

// What is wrong with a box. The letters stand in the reports.
enum Flaw {
    kMissing,      // there is no file
    kNoHeader,     // the file is shorter than a new box, or begins with something else
    kBrokenChain,  // the walk does not come to an end mark
    kDeadSlot,     // a slot of a normal card leads to a dead card
    kWildSlot,     // it leads to something that is not its card
    kOutside,      // a slot leads to its card, and the chain does not come to it
    kStaleSlot,    // a system slot leads to what is no system card; look-ups pass it
    kTwins,        // the chain has two cards of one id below 65280
    kTables,       // the append tables of the chain and those of the offset card are not the same
    kLongFile,     // the file goes on behind the end mark
    kUnlinked,     // the chain has a card that no slot leads to
    kLeftEdit,     // the chain has a card under edit
    kGarbage,      // garbageSize is not the sum of the dead cards
    kCount,        // cardCount is not the number of live cards
    kHighest,      // maxCardID is below the highest id
    kHint,         // unUsedCardID is 0 or above maxCardID + 1
    kNoTable,      // the header names an index table that is not written, or cannot be read
    kDeadTable,    // or is dead; its names are still there
    kTableSize,    // indexTableSize is not the size of the table, which ends before
    kFlaws
};

inline const char* FlawName(int flaw)
{
    static const char* const names[kFlaws] = {
        "no file", "no header", "broken chain", "dead slot",  "wild slot", "outside", "stale slot",
        "twins",   "tables",    "long file",    "unlinked",   "left edit", "garbage", "count",
        "highest", "hint",      "no table",     "dead table", "table size"};
    return names[flaw];
}

class BoxBytes {
public:
    explicit BoxBytes(std::string bytes) : bytes_(std::move(bytes))
    {
        if (bytes_.size() < 2120 || byte(0) != 0xFF || byte(2) != 16 || (byte(3) & 0xF0) != 0x30) {
            flaws_.insert(kNoHeader);
            return;
        }
        readItems();
        walkChain();
        walkSlots();
        readIndexTable();
        compare();
    }

    static BoxBytes Load(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            BoxBytes absent(std::string{});
            absent.flaws_ = {kMissing};
            return absent;
        }
        return BoxBytes(std::string(std::istreambuf_iterator<char>(file), {}));
    }

    const std::string& bytes() const { return bytes_; }
    const std::vector<ChainCard>& chain() const { return chain_; }
    const CardMap& cards() const { return cards_; }
    const std::set<int>& flaws() const { return flaws_; }
    bool hasItems() const { return !tags_.empty(); }
    const std::vector<std::string>& tags() const { return tags_; }
    uint32_t endMark() const { return endMark_; }
    // The names of the index table, in its order.
    const std::vector<std::string>& indexNames() const { return indexNames_; }

    // Position of the slot of a normal card, 0 where no table has it.
    uint32_t slotOf(uint32_t id) const
    {
        if (id <= 500) { return 72 + 4 * (id + 10); }
        uint32_t table = tableOf(id);
        return table == 0 ? 0 : table + 6 + 4 * ((id - 501) % 128);
    }
    // Position of the card that a slot leads to.
    uint32_t cardAt(uint32_t id) const { return word(slotOf(id)); }

    uint32_t byte(size_t at) const { return at < bytes_.size() ? static_cast<uint8_t>(bytes_[at]) : 0xFFu; }
    uint32_t half(size_t at) const { return byte(at) | byte(at + 1) << 8; }
    uint32_t word(size_t at) const { return half(at) | half(at + 2) << 16; }

private:
    static bool leads(uint32_t word) { return word != 0 && word != kNone; }

    uint32_t tableOf(uint32_t id) const
    {
        uint32_t table = word(72 + 4 * 511);
        for (uint32_t k = (id - 501) / 128; k > 0 && leads(table); k--) { table = word(table + 518); }
        return leads(table) && table + 522 <= bytes_.size() ? table : 0;
    }

    void readItems()
    {
        uint32_t at = word(8);
        uint32_t size = word(12);
        if (at == kNone) { return; }
        if (at < 2120 || size == kNone || uint64_t{at} + size > bytes_.size()) {
            flaws_.insert(kNoHeader);
            return;
        }
        uint32_t entry = at + 1;
        for (uint32_t n = 0; n < byte(at) && entry < at + size; n++) {
            tags_.push_back(bytes_.substr(entry + 4, 4));
            entry += 2 + half(entry);
        }
        if (tags_.size() != byte(at) || entry != at + size) { flaws_.insert(kNoHeader); }
    }

    void walkChain()
    {
        uint64_t pos = word(4);
        endMark_ = static_cast<uint32_t>(bytes_.size());
        if (pos == kNone) { return; }
        while (pos + 6 <= bytes_.size() && half(pos) != 0xFFFF) {
            auto at = static_cast<uint32_t>(pos);
            chain_.push_back({at, half(at), word(at + 2)});
            atPos_[at] = chain_.size() - 1;
            pos += uint64_t{chain_.back().length} + 6;
        }
        if (pos + 2 > bytes_.size() || half(pos) != 0xFFFF) {
            flaws_.insert(kBrokenChain);
        } else {
            endMark_ = static_cast<uint32_t>(pos);
            if (pos + 2 != bytes_.size()) { flaws_.insert(kLongFile); }
        }
    }

    // A card of items, or nothing where its lengths leave its body.
    std::optional<CardValues> itemsAt(uint32_t pos) const
    {
        uint64_t end = uint64_t{pos} + 6 + word(pos + 2);
        uint64_t field = uint64_t{pos} + 10;
        uint64_t data = field + half(pos + 8);
        uint64_t tableEnd = data;
        CardValues values;
        if (end > bytes_.size() || data > end) { return std::nullopt; }
        for (size_t n = 0; n < tags_.size(); n++) {
            uint32_t first = byte(field);
            uint32_t length = first;
            uint32_t size = first < 0x80 ? 1 : first < 0xC0 ? 2 : 4;
            if (size > 1) {
                length = first & 63;
                for (uint32_t k = 1; k < size; k++) { length = length << 8 | byte(field + k); }
            }
            field += size;
            if (field > tableEnd || data + length > end) { return std::nullopt; }
            values.push_back(bytes_.substr(data, length));
            data += length;
        }
        return values;
    }

    // The card of id `id` that a slot leads to, or the flaw in it.
    void takeCard(uint32_t id, uint32_t pos)
    {
        bool inside = uint64_t{pos} + 6 <= bytes_.size();
        if (inside && half(pos) == 0) {
            flaws_.insert(kDeadSlot);
        } else if (!inside || half(pos) != id || uint64_t{pos} + 6 + word(pos + 2) > bytes_.size()) {
            flaws_.insert(kWildSlot);
        } else {
            keepCard(id, pos);
        }
    }

    void takeSystemCard(uint32_t pos)
    {
        uint32_t id = half(pos);
        bool system = uint64_t{pos} + 6 <= bytes_.size() && id > kEditCard && id <= 65519;
        if (!system || uint64_t{pos} + 6 + word(pos + 2) > bytes_.size()) {
            flaws_.insert(kStaleSlot);
        } else if (cards_.count(id) == 0) {
            keepCard(id, pos);
        }
    }

    void keepCard(uint32_t id, uint32_t pos)
    {
        if (atPos_.count(pos) == 0 && flaws_.count(kBrokenChain) == 0) { flaws_.insert(kOutside); }
        linked_.insert(pos);
        if (id == kExtInfoCard) {
            cards_[id] = {bytes_.substr(pos + 6, word(pos + 2))};
        } else if (auto values = itemsAt(pos)) {
            cards_[id] = *values;
        }
    }

    void walkSlots()
    {
        if (leads(word(72))) { takeCard(kExtInfoCard, word(72)); }
        for (uint32_t n = 1; n <= 10; n++) {
            uint32_t pos = word(72 + 4 * n);
            if (leads(pos)) { takeSystemCard(pos); }
        }
        for (uint32_t id = 1; id <= 500; id++) {
            if (leads(word(slotOf(id)))) { takeCard(id, word(slotOf(id))); }
        }
        uint32_t first = 501;
        for (uint32_t table = word(72 + 4 * 511); leads(table); table = word(table + 518), first += 128) {
            if (atPos_.count(table) == 0 || half(table) != 65520 || word(table + 2) != 516 || first > 65279) {
                flaws_.insert(kTables);
                break;
            }
            tables_.push_back(table);
            linked_.insert(table);
            for (uint32_t j = 0; j < 128; j++) {
                uint32_t pos = word(table + 6 + 4 * j);
                if (leads(pos)) { takeCard(first + j, pos); }
            }
        }
    }

    void readIndexTable()
    {
        uint32_t pos = word(28);
        if (!leads(pos)) { return; }
        linked_.insert(pos);
        uint64_t size = uint64_t{word(pos + 2)} + 6;
        if ((half(pos) != 65521 && half(pos) != 0) || size < 518 || pos + size > bytes_.size()) {
            flaws_.insert(kNoTable);
            return;
        }
        if (half(pos) == 0) { flaws_.insert(kDeadTable); }
        if (size + 512 == word(32)) {
            flaws_.insert(kTableSize);
        } else if (size != word(32)) {
            flaws_.insert(kNoTable);
        }
        uint32_t at = pos + 6;
        while (at + 2 <= pos + size && half(at) != 0 && half(at) != 0xFFFF) {
            indexNames_.emplace_back(bytes_.c_str() + std::min<size_t>(at + 12, bytes_.size()));
            at += 2 + half(at);
        }
        if (at > pos + size) { flaws_.insert(kNoTable); }
    }

    void compareTables()
    {
        uint32_t card = word(20);
        if (!leads(card)) {
            if (!tables_.empty()) { flaws_.insert(kTables); }
            return;
        }
        linked_.insert(card);
        bool sound = atPos_.count(card) != 0 && half(card) == 65522 && word(card + 2) + 6 == word(24);
        for (uint32_t k = 0; sound && k < (word(24) - 6) / 4; k++) {
            uint32_t table = word(card + 6 + 4 * k);
            sound = k < tables_.size() ? table == tables_[k] : !leads(table);  // a released one leaves 0
        }
        if (!sound) { flaws_.insert(kTables); }
    }

    void compare()
    {
        compareTables();
        linked_.insert(word(28));  // the index table
        uint32_t dead = 0;
        uint32_t live = 0;
        uint32_t highest = 0;
        std::set<uint32_t> ids;
        for (const ChainCard& card : chain_) {
            if (card.id == 0) {
                dead += card.total();
            } else if (card.id == kEditCard) {
                flaws_.insert(kLeftEdit);
            } else if (linked_.count(card.pos) == 0) {
                flaws_.insert(kUnlinked);
            }
            if (card.id != 0 && card.id < kEditCard && !ids.insert(card.id).second) { flaws_.insert(kTwins); }
        }
        for (const auto& [id, values] : cards_) {
            if (id >= kEditCard) { continue; }
            live += !values.empty() && !values[0].empty() && (values[0][0] & 0x40) != 0 ? 1u : 0u;
            highest = std::max(highest, id);
        }
        uint32_t told = word(48) == kNone ? 0 : word(48);
        if (told != dead) { flaws_.insert(kGarbage); }
        if (half(52) != live) { flaws_.insert(kCount); }
        if (half(56) < highest) { flaws_.insert(kHighest); }
        if (half(54) == 0 || half(54) > half(56) + 1) { flaws_.insert(kHint); }
    }

    std::string bytes_;
    std::vector<std::string> tags_;
    std::vector<ChainCard> chain_;
    std::map<uint32_t, size_t> atPos_;
    std::set<uint32_t> linked_;
    std::vector<uint32_t> tables_;
    std::vector<std::string> indexNames_;
    CardMap cards_;
    std::set<int> flaws_;
    uint32_t endMark_ = 0;
};

}  // namespace faults
