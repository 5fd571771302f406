// SPDX-License-Identifier: MIT
// The command gc: closes the dead space of boxes, and tells what that won.
#pragma once

#include <string>
#include <vector>

namespace tool {

struct CollectOptions {
    std::vector<std::string> boxes;
    bool json = false;
};
// Goes on with the next box where one cannot be collected, and throws when all were tried.
void RunCollect(const CollectOptions& options);

}  // namespace tool
