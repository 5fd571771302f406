// SPDX-License-Identifier: MIT
// The commands that put an index in order and walk it: "bxd sort", and the ids for "bxd list --index".
#pragma once

#include <bxd/types.h>

#include <string>
#include <vector>

namespace tool {

struct SortOptions {
    std::string index;
    std::vector<std::string> by;  // TAG or TAG:desc, highest weight first
    bool json = false;
};
void RunSort(const SortOptions& options);

// The cards of an index of this box that show, in the order of the index. Throws for an index of another box.
std::vector<u16> CardsInOrder(const std::string& index, const std::string& box);

}  // namespace tool
