// SPDX-License-Identifier: MIT
// The command map: a picture of a file on the terminal, in an SVG file, or as JSON.
#pragma once

#include <string>

namespace tool {

struct MapOptions {
    std::string file;
    std::string svg;  // file to make, "-" for standard output; none for text
    std::string colour = "auto";
    bool json = false;
};
void RunMap(const MapOptions& options);

}  // namespace tool
