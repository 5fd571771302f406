// SPDX-License-Identifier: MIT
// Items of a box as commands know them, and how a user names one.
#pragma once

#include <bxd/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

constexpr std::size_t kTagSize = 4;

struct Item {
    u8 type = 0;
    u8 subType = 0;
    std::string tag;   // four characters
    std::string name;  // display text, may be empty
    bool builtIn = false;
};

// Whether two tags name the same item: the case of the first letter does not count.
bool SameTag(std::string_view a, std::string_view b);

// The item with this tag, or else with this name; null for neither.
const Item* FindItem(const std::vector<Item>& items, std::string_view tagOrName);

}  // namespace tool
