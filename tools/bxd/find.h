// SPDX-License-Identifier: MIT
// The command "bxd find": the cards of a box that a query selects.
#pragma once

#include <bxd/box.h>

#include <optional>
#include <string>

namespace tool {

struct FindOptions {
    std::string box;
    std::string query;
    std::string index;  // whose cards are looked at, in its order; all by their ids otherwise
    u16 limit = CARD_ID_NORMAL_MAX;
    std::string format = "table";      // or csv, json
    bool all = false;                  // the built-in items too
    std::optional<std::size_t> width;  // of a line; 0 for no bound, nothing for the terminal's
    bool json = false;
};
void RunFind(const FindOptions& options);

}  // namespace tool
