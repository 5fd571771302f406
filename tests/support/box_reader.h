// SPDX-License-Identifier: MIT
// Takes a box file apart: its chain of cards, the body of a card, its items; and BoxView, which answers
// questions to a file that is sound. Nothing behind the end of the file is read, whatever stands in it.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/box_image.h"

namespace boxtest {

// A card of the chain.
struct Link {
    std::uint32_t pos;
    std::uint32_t id;
    std::uint32_t length;

    std::uint32_t total() const { return length + kHeadBytes; }
    std::uint32_t end() const { return pos + total(); }
};

// A card's body taken apart; `fault` says why it could not be.
struct CardBody {
    std::string fault;
    std::vector<Bytes> values;
    std::uint32_t slack = 0;
};

// The chain of cards; `fault` says why it does not reach an end mark, `end` is where that mark stands.
struct Chain {
    std::string fault;
    std::vector<Link> links;
    std::uint32_t end = 0;
};

inline std::string At(std::string_view what, std::uint32_t pos)
{
    return std::string(what) + " at " + std::to_string(pos);
}

inline Chain WalkChain(const Bytes& file)
{
    Chain out;
    std::size_t pos = GetField(file, hd::cardOffset);
    for (;;) {
        const std::uint32_t at = static_cast<std::uint32_t>(pos);
        if (pos + 2 > file.size()) {
            out.fault = At("the chain leaves the file", at);
            return out;
        }
        if (Get16(file, pos) == kEndMark) {
            out.end = at;
            return out;
        }
        if (pos + kHeadBytes > file.size()) {
            out.fault = At("the file ends in a card's head", at);
            return out;
        }
        const Link link{at, Get16(file, pos), Get32(file, pos + 2)};
        if (link.length > file.size() || pos + link.total() + 2 > file.size()) {
            out.fault = At("card " + std::to_string(link.id) + " is longer than the file", at);
            return out;
        }
        out.links.push_back(link);
        pos += link.total();
    }
}

// The length field at `pos`, which moves behind it; false when it leaves `end`.
inline bool TakeLength(const Bytes& file, std::size_t& pos, std::size_t end, std::uint32_t& length)
{
    if (pos >= end) { return false; }
    const std::uint32_t first = file.at(pos);
    const std::size_t width = first < 0x80 ? 1 : first < 0xC0 ? 2 : 4;
    if (pos + width > end) { return false; }
    length = width == 1 ? first : first & 63;
    for (std::size_t n = 1; n < width; ++n) { length = length << 8 | file.at(pos + n); }
    pos += width;
    return true;
}

// Takes apart an item card that lies in the file whole.
inline CardBody DecodeCard(const Bytes& file, const Link& link, std::size_t itemCount)
{
    CardBody out;
    if (link.length < 4) {
        out.fault = At("a card without a length table", link.pos);
        return out;
    }
    const std::size_t end = link.end();
    std::size_t pos = link.pos + std::size_t{10};
    const std::size_t tableEnd = pos + Get16(file, link.pos + std::size_t{8});
    if (Get16(file, link.pos + std::size_t{6}) != 2) {
        out.fault = At("a headSize other than 2 in the card", link.pos);
    }
    if (tableEnd > end) {
        out.fault = At("the length table leaves the card", link.pos);
        return out;
    }
    std::size_t data = tableEnd;
    for (std::size_t n = 0; n < itemCount; ++n) {
        std::uint32_t length = 0;
        if (!TakeLength(file, pos, tableEnd, length) || length > end - data) {
            out.fault = At("item " + std::to_string(n + 1) + " leaves the card", link.pos);
            return out;
        }
        out.values.push_back(Slice(file, data, length));
        data += length;
    }
    if (pos != tableEnd) { out.fault = At("bytes behind the last length of the card", link.pos); }
    out.slack = static_cast<std::uint32_t>(end - data);
    return out;
}

// The items of a box. `fault` is empty when the entries fill the table.
struct ItemList {
    std::string fault;
    std::vector<Item> items;
};

inline ItemList DecodeItems(const Bytes& file)
{
    ItemList out;
    std::size_t pos = GetField(file, hd::itemOffset);
    const std::size_t end = pos + GetField(file, hd::itemSize);
    if (end > file.size() || pos >= end) {
        out.fault = "the item table leaves the file";
        return out;
    }
    const std::size_t count = file.at(pos++);
    for (std::size_t n = 0; n < count; ++n) {
        if (pos + 2 > end || pos + 2 + Get16(file, pos) > end) {
            out.fault = "item " + std::to_string(n + 1) + " leaves the item table";
            return out;
        }
        const std::size_t length = Get16(file, pos);
        Item item{0, 0, "", ""};
        if (length > 5) {
            item = {file.at(pos + 2), file.at(pos + 3), Text(Slice(file, pos + 4, 4)),
                    Text(Slice(file, pos + 8, length - 6))};
        }
        out.items.push_back(item);
        pos += 2 + length;
    }
    if (pos != end) { out.fault = "the items do not fill the item table"; }
    return out;
}

// Questions to a box file that is sound.
class BoxView {
public:
    explicit BoxView(Bytes file) : file_(std::move(file)), items_(DecodeItems(file_).items)
    {
        if (field(hd::cardOffset) != kNone) { links_ = WalkChain(file_).links; }
    }

    std::uint32_t field(const Field& f) const { return GetField(file_, f); }
    const std::vector<Item>& items() const { return items_; }
    const Bytes& file() const { return file_; }
    const std::vector<Link>& links() const { return links_; }
    std::uint32_t word(std::uint32_t n) const { return Get32(file_, DefaultWordAt(n)); }

    // The word in the slot of a normal id; all ones where there is no table for it.
    std::uint32_t slot(std::uint32_t id) const
    {
        if (id <= kIdsInDefaultTable) { return word(id + 10); }
        std::uint32_t table = word(511);
        for (std::uint32_t g = AppendGroupOf(id); g > 0 && IsSet(table); --g) {
            table = Get32(file_, table + std::size_t{518});
        }
        return IsSet(table)
                   ? Get32(file_, table + std::size_t{kHeadBytes} + std::size_t{4} * AppendSlotOf(id))
                   : kNone;
    }
    // The position of a normal card by its slot, or of a system card by its head; 0 for none.
    std::uint32_t find(std::uint32_t id) const
    {
        if (id <= kLastNormalId) { return IsSet(slot(id)) ? slot(id) : 0; }
        for (std::uint32_t n = 0; n <= 10; ++n) {
            if (IsSet(word(n)) && Get16(file_, word(n)) == id) { return word(n); }
        }
        return 0;
    }
    // The values of the card at `pos` in item order; none when it cannot be taken apart.
    std::vector<Bytes> valuesAt(std::uint32_t pos) const
    {
        const Link link{pos, Get16(file_, pos), Get32(file_, pos + std::size_t{2})};
        const CardBody body = DecodeCard(file_, link, items_.size());
        return body.fault.empty() ? body.values : std::vector<Bytes>{};
    }
    std::vector<Bytes> values(std::uint32_t id) const
    {
        const std::uint32_t pos = find(id);
        return pos == 0 ? std::vector<Bytes>{} : valuesAt(pos);
    }
    // One stored value, as it stands in the file.
    Bytes value(std::uint32_t id, std::string_view tag) const
    {
        const std::vector<Bytes> all = values(id);
        for (std::size_t n = 0; n < all.size(); ++n) {
            if (items_[n].tag == tag) { return all[n]; }
        }
        return {};
    }
    std::size_t appendTables() const
    {
        std::size_t count = 0;
        for (std::uint32_t pos = word(511); IsSet(pos) && count < 600;
             pos = Get32(file_, pos + std::size_t{518})) {
            ++count;
        }
        return count;
    }
    std::uint32_t deadBytes() const
    {
        std::uint32_t sum = 0;
        for (const Link& link : links_) { sum += link.id == 0 ? link.total() : 0; }
        return sum;
    }
    // A line for each card of the chain, for the message of a failed test.
    std::string map() const
    {
        std::string out;
        for (const Link& link : links_) {
            out += std::to_string(link.pos) + ": id " + std::to_string(link.id) + ", " +
                   std::to_string(link.total()) + " bytes\n";
        }
        return out;
    }

private:
    Bytes file_;
    std::vector<Item> items_;
    std::vector<Link> links_;
};

}  // namespace boxtest
