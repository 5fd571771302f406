// SPDX-License-Identifier: MIT
// Cards as commands print them: lines of a table, rows of CSV, or JSON.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/bxd/box_file.h"
#include "tools/bxd/output.h"
#include "tools/bxd/table.h"

namespace tool {

// The items of a box: its own, or with `all` the built-in ones too.
std::vector<const Item*> ChosenItems(const BoxFile& box, bool all);

Json JsonOfCard(const BoxFile& box, u16 id, const std::vector<const Item*>& items);

enum class CardFormat { kTable, kCsv, kJson };

// How cards are to be printed.
struct CardStyle {
    CardFormat format = CardFormat::kTable;
    bool all = false;                  // the built-in items too
    std::optional<std::size_t> width;  // of a line of a table; 0 for no bound, nothing for the terminal's
};

// Prints cards of one box, one after another. Rows of CSV are those of RFC 4180 with a bare line feed behind
// each; the first one has the tags.
class CardWriter {
public:
    CardWriter(const BoxFile& box, const CardStyle& style);
    void Add(u16 id);
    void End();

private:
    void Begin();
    std::vector<std::string> Cells(u16 id) const;

    const BoxFile& box_;
    CardStyle style_;
    std::vector<const Item*> items_;
    Table table_;
    bool begun_ = false;
    const char* separator_ = "\n";
};

}  // namespace tool
