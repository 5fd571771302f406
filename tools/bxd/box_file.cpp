// SPDX-License-Identifier: MIT
#include "tools/bxd/box_file.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "tools/bxd/box_name.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/status_text.h"

namespace tool {
namespace {

constexpr std::array<const char*, 4> kBuiltInTags = {"ATTR", "cTTM", "mDTM", "sYID"};
constexpr std::size_t kMaxOwnItems = 251;
constexpr u8 kAttrDeleted = 0x40;  // the card is deleted, and kept for a synchronisation

bool IsOk(u32 status) { return (status & 0xFFFF) == BXD_OK; }

void Require(u32 status, const std::string& what)
{
    if (!IsOk(status)) { throw Failure(what + ": " + StatusText(status)); }
}

// Why _BoxOpen, which has no status, gave no handle.
std::string WhyNotOpened(const std::string& name, BoxFile::Mode mode)
{
    u32 bytes = 0;
    u16 cards = 0;
    const u32 status = _BoxCardTotal(name.c_str(), &bytes, &cards);
    if ((status & 0xFFFF) == BXD_ERR_NOTFOUND) { return "it is too short for a box"; }
    if ((status & 0xFFFF) == BXD_ERR_NOFILE) { return "it is not a box"; }
    if (!IsOk(status)) { return StatusText(status); }

    std::array<u8, kTagSize> tag{};
    if (!IsOk(_GetItemName(name.c_str(), 1, tag.data()))) {
        return "it has no items, or its table of items is damaged (a new box gets items with \"bxd items\")";
    }
    if (mode == BoxFile::kReadWrite && access(PathOf(name).c_str(), W_OK) != 0) {
        return std::strerror(errno);
    }
    return mode == BoxFile::kReadWrite ? "another process holds it open" : "its table of items is damaged";
}

CardDescriptor KeyOf(u16 id, std::string_view tag)
{
    CardDescriptor key = {};
    key.cardId = id;
    std::copy_n(tag.begin(), kTagSize, key.itemNameId);
    return key;
}

const u8* Bytes(std::string_view text) { return reinterpret_cast<const u8*>(text.data()); }

bool IsTag(std::string_view tag)
{
    const auto good = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; };
    return tag.size() == kTagSize && std::all_of(tag.begin(), tag.end(), good);
}

bool IsBuiltIn(std::string_view tag)
{
    return std::any_of(kBuiltInTags.begin(), kBuiltInTags.end(),
                       [&](const char* builtIn) { return SameTag(builtIn, tag); });
}

std::optional<Item> ItemByTag(BoxHandle box, const std::string& tag)
{
    std::array<u8, 256> record{};
    auto length = static_cast<u16>(record.size());
    constexpr u16 kFixedPart = 6;  // type, subtype, tag; the name and its terminator follow
    const u32 status = _BoxItemReadHeap(box, Bytes(tag), record.data(), &length);
    if (!IsOk(status) || length <= kFixedPart || length > record.size()) { return std::nullopt; }
    Item item;
    item.type = record[0];
    item.subType = record[1];
    item.tag.assign(reinterpret_cast<const char*>(&record[2]), kTagSize);
    item.name.assign(reinterpret_cast<const char*>(&record[kFixedPart]), length - kFixedPart - 1u);
    item.builtIn = IsBuiltIn(item.tag);
    return item;
}

// The library hands out tags in capitals, but looks up all letters behind the first as they are written.
// So the spellings are tried, the one with all capitals first; one that was found before is passed over.
std::optional<Item> ItemBySpelling(BoxHandle box, const std::string& capitals, const std::vector<Item>& found)
{
    constexpr unsigned kSpellings = 1u << (kTagSize - 1);
    for (unsigned small = 0; small < kSpellings; small++) {
        std::string tag = capitals;
        for (std::size_t i = 1; i < kTagSize; i++) {
            if ((small >> (i - 1) & 1) != 0) {
                tag[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(tag[i])));
            }
        }
        const bool seen =
            std::any_of(found.begin(), found.end(), [&](const Item& item) { return SameTag(item.tag, tag); });
        if (seen) { continue; }
        if (std::optional<Item> item = ItemByTag(box, tag)) { return item; }
    }
    return std::nullopt;
}

}  // namespace

void CheckNewItems(const std::vector<Item>& items)
{
    if (items.size() > kMaxOwnItems) {
        throw UsageFailure("a box takes at most " + std::to_string(kMaxOwnItems) + " items of its own");
    }
    for (std::size_t i = 0; i < items.size(); i++) {
        const Item& item = items[i];
        if (!IsTag(item.tag)) {
            throw UsageFailure("\"" + item.tag +
                               "\" is no tag: four characters of 0-9, A-Z, a-z are expected");
        }
        if (IsBuiltIn(item.tag)) {
            throw UsageFailure("every box has the item " + item.tag + " from the start");
        }
        if (item.name.size() > BXD_ITEM_NAME_MAX) {
            throw UsageFailure("the name of the item " + item.tag + " has more than " +
                               std::to_string(BXD_ITEM_NAME_MAX) + " bytes");
        }
        for (std::size_t j = 0; j < i; j++) {
            if (SameTag(items[j].tag, item.tag)) { throw UsageFailure("two items have the tag " + item.tag); }
        }
    }
}

void CreateBox(const std::string& name, const std::string& application)
{
    CheckName(name);
    if (OnDrive(name)) { MakeApplicationsDirectory(); }
    const u32 status = _BoxCreate(name.c_str(), GET_4BYTES(application.data()));
    if ((status & 0xFFFF) == BXD_ERR_FAIL) {
        throw Failure(name + ": the file cannot be made: " + StatusText(status));
    }
    Require(status, name);
}

void DeleteBox(const std::string& name) { Require(_BoxDelete(name.c_str()), name); }

void AddFirstItems(const std::string& name, const std::vector<Item>& items)
{
    CheckNewItems(items);
    RequireFile(name);
    std::array<u8, kTagSize> tag{};
    if (IsOk(_GetItemName(name.c_str(), 1, tag.data()))) {
        throw Failure(name + ": it has items already, and this version adds none to them");
    }

    std::vector<ItemRecord> records(items.size());
    for (std::size_t i = 0; i < items.size(); i++) {
        records[i].itemType = items[i].type;
        records[i].itemSubType = items[i].subType;
        std::copy_n(items[i].tag.begin(), kTagSize, records[i].itemNameId);
        std::copy(items[i].name.begin(), items[i].name.end(), records[i].name);
    }
    u32 rewritten = 0;
    Require(_BoxItemAppend(name.c_str(), records.data(), static_cast<u16>(records.size()), &rewritten), name);
}

std::vector<ListedIndex> ReadIndexes(const std::string& name)
{
    constexpr i32 kMostIndexes = 4096;
    std::vector<ListedIndex> indexes;
    std::array<char, BXD_PATH_SIZE> buffer{};
    for (i32 number = 1; number <= kMostIndexes; number++) {
        u32 isMaster = 0;
        const u32 status = _GetIndexName(name.c_str(), number, buffer.data(), buffer.size(), &isMaster);
        if (!IsOk(status)) { break; }
        indexes.push_back({buffer.data(), isMaster != 0});
    }
    return indexes;
}

BoxFigures ReadFigures(const std::string& name)
{
    RequireFile(name);
    BoxFigures figures;
    Require(_BoxCardTotal(name.c_str(), &figures.cardBytes, &figures.cards), name);
    u32 application = 0;
    Require(_ReadAplName(name.c_str(), &application), name);
    std::array<u8, kTagSize> bytes{};
    PUT_4BYTES(bytes.data(), application);
    figures.application.assign(bytes.begin(), bytes.end());
    Require(_GetBoxGarbageSize(name.c_str(), &figures.garbageBytes), name);
    figures.indexes = ReadIndexes(name);

    figures.fileBytes = static_cast<u32>(FileBytes(name));
    return figures;
}

BoxFile::BoxFile(const std::string& name, Mode mode) : name_(name)
{
    RequireFile(name);
    box_ = _BoxOpenRwMode(name.c_str(), mode == kReadOnly ? 1 : 0);
    if (box_ == nullptr) { throw Failure(name + ": " + WhyNotOpened(name, mode)); }
    ReadItems();
}

BoxFile::~BoxFile()
{
    if (box_ != nullptr) { _BoxClose(box_); }
}

void BoxFile::Close()
{
    const BoxHandle box = box_;
    box_ = nullptr;
    Require(_BoxClose(box), name_);
}

void BoxFile::ReadItems()
{
    const u32 count = _GetItemNum(box_);
    for (u32 number = 1; number <= count; number++) {
        std::array<u8, kTagSize> tag{};
        if (!IsOk(_GetItemName(name_.c_str(), static_cast<u16>(number), tag.data()))) { continue; }
        const std::string capitals(tag.begin(), tag.end());
        if (std::optional<Item> item = ItemBySpelling(box_, capitals, items_)) { items_.push_back(*item); }
    }
}

const Item* BoxFile::FindItem(std::string_view tagOrName) const { return tool::FindItem(items_, tagOrName); }

std::optional<u8> BoxFile::AttributeOf(u16 id) const
{
    const CardDescriptor key = KeyOf(id, "ATTR");
    u8 attribute = 0;
    u32 length = 1;
    if (!IsOk(_CardRead(box_, &key, &attribute, &length))) { return std::nullopt; }
    return attribute;
}

bool BoxFile::HasCard(u16 id) const
{
    const std::optional<u8> attribute = AttributeOf(id);
    return attribute && (*attribute & kAttrDeleted) == 0;
}

bool BoxFile::HoldsCard(u16 id) const { return AttributeOf(id).has_value(); }

std::string BoxFile::Read(u16 id, const Item& item) const
{
    const CardDescriptor key = KeyOf(id, item.tag);
    std::string bytes(1024, '\0');
    u32 length = static_cast<u32>(bytes.size());
    u32 status = _CardRead(box_, &key, reinterpret_cast<u8*>(bytes.data()), &length);
    if ((status & 0xFFFF) == BXD_ERR_NOSPACE) {
        bytes.resize(length);
        status = _CardRead(box_, &key, reinterpret_cast<u8*>(bytes.data()), &length);
    }
    Require(status, name_ + ": card " + std::to_string(id) + ", item " + item.tag);
    bytes.resize(length);
    return bytes;
}

void BoxFile::Write(u16 id, const Item& item, const std::string& bytes)
{
    const CardDescriptor key = KeyOf(id, item.tag);
    Require(_CardWrite(box_, &key, Bytes(bytes), static_cast<i32>(bytes.size())),
            name_ + ": card " + std::to_string(id) + ", item " + item.tag);
}

u16 BoxFile::Append(const std::vector<ItemValue>& values)
{
    u16 edit = TMP_SYSTEM_CARD_ID;
    Require(_CardCreate(box_, &edit), name_ + ": a new card");
    for (const ItemValue& value : values) {
        const CardDescriptor key = KeyOf(edit, value.tag);
        Require(_CardWrite(box_, &key, Bytes(value.bytes), static_cast<i32>(value.bytes.size())),
                name_ + ": a new card, item " + value.tag);
    }
    u16 id = 0;
    Require(_CardCopy(box_, edit, &id), name_ + ": a new card");
    return id;
}

void BoxFile::Delete(u16 id)
{
    const u32 status = _CardDelete(box_, id);
    // The indexes come last: the box may have lost the card and an index kept it.
    const bool gone = !IsOk(status) && !HasCard(id);
    Require(status,
            name_ + ": card " + std::to_string(id) + (gone ? " is deleted, but not all is in order" : ""));
}

}  // namespace tool
