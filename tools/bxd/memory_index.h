// SPDX-License-Identifier: MIT
// An index of all cards of a box, by their ids, that lies in memory alone. The box does not list it and is
// only read, so that it may be one that cannot be written, and nothing is left behind however the tool ends.
#pragma once

#include <string>

#include "tools/bxd/box_file.h"

namespace tool {

class MemoryIndex {
public:
    explicit MemoryIndex(const std::string& box);
    ~MemoryIndex();
    MemoryIndex(const MemoryIndex&) = delete;
    MemoryIndex& operator=(const MemoryIndex&) = delete;

    // The name by which the library finds it, as long as it lives.
    const std::string& Name() const { return name_; }
    // The name by which it leads the library to its box.
    const std::string& BoxName() const { return boxName_; }

private:
    std::string boxName_;
    std::string name_;
    int file_;
};

}  // namespace tool
