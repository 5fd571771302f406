// SPDX-License-Identifier: MIT
#include "tools/bxd/card_writer.h"

#include "tools/bxd/values.h"

namespace tool {
namespace {

Json JsonOfValue(const Item& item, const std::string& bytes)
{
    const bool isText = item.type == kText || item.type == kSjis || item.type == kSjis2;
    if (bytes.empty() && !isText) { return nullptr; }
    if (const std::optional<u32> number = NumberOfBytes(item.type, bytes)) { return *number; }
    if (item.type == kCategories) {
        Json numbers = Json::array();
        for (const char c : bytes) { numbers.push_back(static_cast<u8>(c)); }
        return numbers;
    }
    return TextOfBytes(item.type, bytes);
}

std::vector<std::string> HeadingsOf(const std::vector<const Item*>& items)
{
    std::vector<std::string> headings = {"ID"};
    for (const Item* item : items) { headings.push_back(item->tag); }
    return headings;
}

std::string RowOfCsv(const std::vector<std::string>& cells)
{
    std::string row;
    for (const std::string& cell : cells) {
        if (&cell != &cells.front()) { row += ','; }
        if (cell.find_first_of(",\"\r\n") == std::string::npos) {
            row += cell;
            continue;
        }
        row += '"';
        for (const char c : cell) { row += c == '"' ? "\"\"" : std::string(1, c); }
        row += '"';
    }
    return row + "\n";
}

}  // namespace

std::vector<const Item*> ChosenItems(const BoxFile& box, bool all)
{
    std::vector<const Item*> chosen;
    for (const Item& item : box.Items()) {
        if (all || !item.builtIn) { chosen.push_back(&item); }
    }
    return chosen;
}

Json JsonOfCard(const BoxFile& box, u16 id, const std::vector<const Item*>& items)
{
    Json values = Json::object();
    for (const Item* item : items) { values[item->tag] = JsonOfValue(*item, box.Read(id, *item)); }
    return {{"id", id}, {"items", values}};
}

CardWriter::CardWriter(const BoxFile& box, const CardStyle& style)
    : box_(box), style_(style), items_(ChosenItems(box, style.all)), table_(HeadingsOf(items_))
{}

std::vector<std::string> CardWriter::Cells(u16 id) const
{
    std::vector<std::string> cells = {std::to_string(id)};
    for (const Item* item : items_) { cells.push_back(TextOfBytes(item->type, box_.Read(id, *item))); }
    return cells;
}

void CardWriter::Begin()
{
    if (begun_) { return; }
    begun_ = true;
    if (style_.format == CardFormat::kJson) { Print("["); }
    if (style_.format == CardFormat::kCsv) { Print(RowOfCsv(HeadingsOf(items_))); }
}

void CardWriter::Add(u16 id)
{
    Begin();
    switch (style_.format) {
    case CardFormat::kTable: table_.AddRow(Cells(id)); break;
    case CardFormat::kCsv: Print(RowOfCsv(Cells(id))); break;
    case CardFormat::kJson:
        Print(separator_ + Dump(JsonOfCard(box_, id, items_), -1));
        separator_ = ",\n";
        break;
    }
}

void CardWriter::End()
{
    Begin();
    if (style_.format == CardFormat::kTable) { Print(table_.Text(style_.width.value_or(TerminalWidth()))); }
    if (style_.format == CardFormat::kJson) { Print("\n]\n"); }
}

}  // namespace tool
