// SPDX-License-Identifier: MIT
// The map of a file as text: rows of letters, each of which stands for as many bytes, and a legend.
#pragma once

#include <string>

#include "tools/bxd/file_map.h"

namespace tool {

// `title` is printable text. Lines have at most `width` columns where that leaves any room for the picture.
std::string MapAsText(const FileMap& map, const std::string& title, std::size_t width, bool colours);

}  // namespace tool
