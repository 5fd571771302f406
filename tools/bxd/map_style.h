// SPDX-License-Identifier: MIT
// How the parts of a file look in a picture: letter, words and colours, the same in all pictures.
#pragma once

#include <string>

#include "tools/bxd/file_map.h"

namespace tool {

struct Colour {
    u8 red;
    u8 green;
    u8 blue;
};

// What the fill is overlaid with, so that the odd parts differ without colour too.
enum class Pattern : u8 { kNone, kLines, kDots, kHatch };

struct Style {
    Part part;
    char letter;
    const char* name;  // in a legend
    Colour fill;
    Colour ink;  // for writing on it
    Pattern pattern;
};

const Style& StyleOf(Part part);

std::string HexColour(const Colour& colour);  // "#88ccee"
std::string WithCommas(uint64_t number);      // "1,234,567"
std::string PerCent(uint64_t part, uint64_t whole);
std::string HexPosition(uint64_t at, uint64_t size);  // as many digits as the last of `size` bytes needs
// "box of 2,345 bytes, 3 cards" and the like.
std::string Headline(const FileMap& map);
// The findings as sentences with their places.
std::string Sentence(const Finding& finding);

// The smallest power of two, `least` at least, of which at most `most` make `bytes`.
uint64_t PowerFor(uint64_t bytes, uint64_t most, uint64_t least);

}  // namespace tool
