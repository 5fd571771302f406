// SPDX-License-Identifier: MIT
// The map of a file as an SVG picture that stands for itself: rows of as many bytes each, a legend, and a
// tooltip a piece. It suits a light and a dark surface by what the viewer prefers.
#pragma once

#include <string>

#include "tools/bxd/file_map.h"

namespace tool {

// `title` is printable UTF-8.
std::string MapAsSvg(const FileMap& map, const std::string& title);

// Text as it may stand between tags and in attributes.
std::string XmlText(const std::string& text);

}  // namespace tool
