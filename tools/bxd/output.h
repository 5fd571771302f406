// SPDX-License-Identifier: MIT
// How commands print: text and JSON on standard output, and what is known of the terminal behind it.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>

namespace tool {

using Json = nlohmann::ordered_json;

void Print(const std::string& text);

// In one line for an indent of -1. Strings that are no UTF-8 are mended.
std::string Dump(const Json& json, int indent);
void PrintJson(const Json& json);

// Columns of the terminal; 0 where standard output is none.
std::size_t TerminalWidth();
// Whether the user of this terminal wants colours: it has them, and NO_COLOR is not set.
bool TerminalColours();

}  // namespace tool
