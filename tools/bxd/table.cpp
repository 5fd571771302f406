// SPDX-License-Identifier: MIT
#include "tools/bxd/table.h"

#include <algorithm>
#include <utility>

#include "tools/bxd/text.h"

namespace tool {
namespace {

constexpr std::size_t kGap = 2;        // blanks between columns
constexpr std::size_t kNarrowest = 4;  // no cell is cut below this

// Takes from the widest column, again and again, until all fit.
void Shrink(std::vector<std::size_t>* widths, std::size_t width)
{
    std::size_t total = kGap * (widths->size() - 1);
    for (const std::size_t each : *widths) { total += each; }
    while (total > width) {
        const auto widest = std::max_element(widths->begin(), widths->end());
        if (*widest <= kNarrowest) { return; }
        (*widest)--;
        total--;
    }
}

}  // namespace

Table::Table(std::vector<std::string> headings) { rows_.push_back(std::move(headings)); }

void Table::AddRow(std::vector<std::string> cells)
{
    for (std::string& cell : cells) { cell = Printable(cell); }
    rows_.push_back(std::move(cells));
}

std::string Table::Text(std::size_t width) const
{
    std::vector<std::size_t> widths(rows_[0].size(), 0);
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i < row.size(); i++) {
            widths[i] = std::max(widths[i], DisplayWidth(row[i]));
        }
    }
    if (width != 0) { Shrink(&widths, width); }

    std::string text;
    for (const auto& row : rows_) {
        std::string line;
        std::size_t owed = 0;  // blanks that stand before the next cell, if one comes
        for (std::size_t i = 0; i < row.size(); i++) {
            const std::string cell = CutToWidth(row[i], widths[i]);
            if (!cell.empty()) {
                line += std::string(owed, ' ') + cell;
                owed = 0;
            }
            owed += widths[i] - DisplayWidth(cell) + kGap;
        }
        text += line + "\n";
    }
    return text;
}

}  // namespace tool
