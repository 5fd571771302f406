// SPDX-License-Identifier: MIT
// Text in columns, aligned by the width that it has on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tool {

class Table {
public:
    explicit Table(std::vector<std::string> headings);
    // As many cells as there are headings.
    void AddRow(std::vector<std::string> cells);
    // Lines of at most `width` columns, as long as that leaves a few for each cell; 0 sets no bound.
    std::string Text(std::size_t width) const;

private:
    std::vector<std::vector<std::string>> rows_;  // the headings are the first
};

}  // namespace tool
