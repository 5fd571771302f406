// SPDX-License-Identifier: MIT
#include "tools/bxd/commands.h"

#include <cctype>
#include <set>
#include <string_view>

#include "tools/bxd/box_file.h"
#include "tools/bxd/card_writer.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/output.h"
#include "tools/bxd/sort.h"
#include "tools/bxd/table.h"
#include "tools/bxd/text.h"
#include "tools/bxd/values.h"

namespace tool {
namespace {

// TAG:TYPE, TAG:TYPE:NAME; the type may have its second number behind a slash, as in 6/10.
Item ParseItem(const std::string& text)
{
    const std::size_t first = text.find(':');
    if (first == std::string::npos) {
        throw UsageFailure("\"" + text + "\": TAG:TYPE or TAG:TYPE:NAME is expected");
    }
    const std::size_t second = text.find(':', first + 1);
    std::string type = text.substr(first + 1, second == std::string::npos ? second : second - first - 1);

    Item item;
    item.tag = text.substr(0, first);
    if (second != std::string::npos) { item.name = text.substr(second + 1); }
    const std::size_t slash = type.find('/');
    if (slash != std::string::npos) {
        const std::string subType = type.substr(slash + 1);
        const bool digits = !subType.empty() && std::isdigit(static_cast<unsigned char>(subType[0])) != 0;
        const std::optional<u8> number = digits ? TypeByName(subType) : std::nullopt;
        if (!number) { throw UsageFailure("\"" + text + "\": the second type is a number from 0 to 255"); }
        item.subType = *number;
        type.resize(slash);
    }
    const std::optional<u8> number = TypeByName(type);
    if (!number) {
        throw UsageFailure("\"" + type + "\" is no type; there are " + TypeNames() +
                           " and numbers from 0 to 255");
    }
    item.type = *number;
    if (!IsUtf8(item.name)) {
        throw UsageFailure("the name of the item " + item.tag + " is not valid UTF-8");
    }
    return item;
}

std::vector<Item> ParseItems(const std::vector<std::string>& texts)
{
    std::vector<Item> items;
    items.reserve(texts.size());
    for (const std::string& text : texts) { items.push_back(ParseItem(text)); }
    CheckNewItems(items);
    return items;
}

u16 CountCards(const std::string& box) { return ReadFigures(box).cards; }

// Calls visit(id) for the cards from `from` on, `limit` of them at most. Gives how many cards that the box
// counts were not found on the way through all ids; 0 when the way ended before.
template <typename Visit>
u32 WalkCards(const BoxFile& box, u16 from, u16 limit, Visit visit)
{
    const u32 total = CountCards(box.Name());
    u32 found = 0;
    u32 visited = 0;
    for (u32 id = 1; id <= CARD_ID_NORMAL_MAX && found < total; id++) {
        if (!box.HasCard(static_cast<u16>(id))) { continue; }
        found++;
        if (id < from) { continue; }
        if (visited == limit) { return 0; }
        visit(static_cast<u16>(id));
        visited++;
    }
    return total - found;
}

// The same for the cards of an index, from place `from` on.
template <typename Visit>
u32 WalkIndex(const BoxFile& box, const ListOptions& options, Visit visit)
{
    const std::vector<u16> ids = CardsInOrder(options.index, box.Name());
    u32 missing = 0;
    u32 visited = 0;
    for (std::size_t place = options.from; place <= ids.size() && visited < options.limit; ++place) {
        const u16 id = ids[place - 1];
        if (!box.HasCard(id)) {
            missing++;
            continue;
        }
        visit(id);
        visited++;
    }
    return missing;
}

template <typename Visit>
u32 WalkListed(const BoxFile& box, const ListOptions& options, Visit visit)
{
    return options.index.empty() ? WalkCards(box, options.from, options.limit, visit)
                                 : WalkIndex(box, options, visit);
}

void RequireCard(const BoxFile& box, u16 id)
{
    if (!box.HasCard(id)) { throw Failure(box.Name() + ": there is no card " + std::to_string(id)); }
}

Json JsonOfItem(const Item& item)
{
    return {{"tag", item.tag},         {"type", TypeName(item.type)}, {"typeNumber", item.type},
            {"subType", item.subType}, {"name", item.name},           {"builtIn", item.builtIn}};
}

void ListItems(const ItemsOptions& options)
{
    BoxFile box(options.box, BoxFile::kReadOnly);
    if (options.json) {
        Json items = Json::array();
        for (const Item& item : box.Items()) { items.push_back(JsonOfItem(item)); }
        PrintJson(items);
    } else {
        Table table({"TAG", "TYPE", "NAME"});
        for (const Item& item : box.Items()) {
            const std::string second = item.subType == 0 ? "" : "/" + std::to_string(item.subType);
            table.AddRow({item.tag, TypeName(item.type) + second, item.name});
        }
        Print(table.Text(TerminalWidth()));
    }
    box.Close();
}

}  // namespace

void RunCreate(const CreateOptions& options)
{
    std::string application = options.application;
    const auto printable = [](char c) { return c >= ' ' && c <= '~'; };
    if (application.empty() || application.size() > 4 ||
        !std::all_of(application.begin(), application.end(), printable)) {
        throw UsageFailure("the application is named by one to four printable ASCII characters");
    }
    application.resize(4, ' ');
    const std::vector<Item> items = ParseItems(options.items);

    CreateBox(options.box, application);
    if (items.empty()) { return; }
    try {
        AddFirstItems(options.box, items);
    } catch (const Failure&) {
        DeleteBox(options.box);
        throw;
    }
}

void RunItems(const ItemsOptions& options)
{
    if (!options.items.empty()) { AddFirstItems(options.box, ParseItems(options.items)); }
    if (options.items.empty() || options.json) { ListItems(options); }
}

void RunList(const ListOptions& options)
{
    BoxFile box(options.box, BoxFile::kReadOnly);
    const CardFormat format = options.json ? CardFormat::kJson : CardFormat::kTable;
    CardWriter writer(box, {format, options.all, options.width});
    const u32 missing = WalkListed(box, options, [&](u16 id) { writer.Add(id); });
    writer.End();
    box.Close();
    if (missing > 0 && !options.index.empty()) {
        throw Failure(options.index + ": " + std::to_string(missing) + " of its cards are not in the box");
    }
    if (missing > 0) {
        throw Failure(options.box + ": " + std::to_string(missing) +
                      " of the cards that it counts cannot be read; the file is damaged");
    }
}

void RunShow(const ShowOptions& options)
{
    BoxFile box(options.box, BoxFile::kReadOnly);
    RequireCard(box, options.id);
    if (options.json) {
        PrintJson(JsonOfCard(box, options.id, ChosenItems(box, true)));
    } else {
        Table table({"ITEM", "NAME", "VALUE"});
        for (const Item& item : box.Items()) {
            table.AddRow({item.tag, item.name, TextOfBytes(item.type, box.Read(options.id, item))});
        }
        Print(table.Text(0));
    }
    box.Close();
}

void RunSet(const SetOptions& options)
{
    BoxFile box(options.box, BoxFile::kReadWrite);
    RequireCard(box, options.id);
    const Item* item = box.FindItem(options.item);
    if (item == nullptr) { throw Failure(options.box + ": it has no item " + options.item); }
    if (SameTag(item->tag, "ATTR")) { throw Failure(options.box + ": the item ATTR is kept by the library"); }
    std::string bytes;
    try {
        bytes = BytesOfText(item->type, options.value);
    } catch (const Failure& failure) {
        throw Failure("the value for " + item->tag + ": " + failure.what());
    }
    box.Write(options.id, *item, bytes);
    box.Close();
}

void RunRemove(const RemoveOptions& options)
{
    BoxFile box(options.box, BoxFile::kReadWrite);
    const std::set<u16> ids(options.ids.begin(), options.ids.end());
    for (const u16 id : ids) { RequireCard(box, id); }
    for (const u16 id : ids) { box.Delete(id); }
    box.Close();
}

void RunInfo(const InfoOptions& options)
{
    const BoxFigures figures = ReadFigures(options.box);
    // A new box has no items and cannot be opened; everything else about it can be told.
    std::size_t ownItems = 0;
    std::size_t items = 0;
    std::array<u8, 4> tag{};
    if (_GetItemName(options.box.c_str(), 1, tag.data()) == BXD_OK) {
        BoxFile box(options.box, BoxFile::kReadOnly);
        items = box.Items().size();
        ownItems = ChosenItems(box, false).size();
        box.Close();
    }

    if (options.json) {
        Json indexes = Json::array();
        for (const ListedIndex& index : figures.indexes) { indexes.push_back(index.name); }
        PrintJson({{"box", options.box},
                   {"application", figures.application},
                   {"cards", figures.cards},
                   {"items", items},
                   {"ownItems", ownItems},
                   {"fileBytes", figures.fileBytes},
                   {"cardBytes", figures.cardBytes},
                   {"garbageBytes", figures.garbageBytes},
                   {"indexes", indexes}});
        return;
    }
    Print("box          " + Printable(options.box) + "\n");
    Print("application  " + Printable(figures.application) + "\n");
    Print("cards        " + std::to_string(figures.cards) + "\n");
    Print("items        " + std::to_string(items) + ", of which " + std::to_string(ownItems) +
          " are its own\n");
    Print("file         " + std::to_string(figures.fileBytes) + " bytes\n");
    Print("card area    " + std::to_string(figures.cardBytes) + " bytes\n");
    Print("dead cards   " + std::to_string(figures.garbageBytes) + " bytes\n");
    Print("indexes      " + std::to_string(figures.indexes.size()) + "\n");
    for (const ListedIndex& index : figures.indexes) {
        Print("             " + Printable(index.name) + "\n");
    }
}

}  // namespace tool
