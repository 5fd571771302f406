// SPDX-License-Identifier: MIT
// Text as terminals and files hold it: UTF-8 with its width on the screen, and other encodings through iconv.
#pragma once

#include <iconv.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

// Converts whole texts from one encoding to another, by the names that iconv knows.
class Converter {
public:
    // Throws Failure when the host does not know one of the encodings.
    Converter(const std::string& from, const std::string& to);
    ~Converter();
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    // Nothing when the text is malformed, cut short, or has a character that the target lacks.
    std::optional<std::string> Convert(std::string_view text);

private:
    iconv_t descriptor_;
};

bool IsUtf8(std::string_view text);
// How many bytes at the start of a text are UTF-8.
std::size_t Utf8Prefix(std::string_view text);
// Characters of a text that is UTF-8.
std::size_t CountCharacters(std::string_view text);

// Fit for one line of a terminal: controls become \n, \t or \xNN, bytes that are no UTF-8 become U+FFFD.
std::string Printable(std::string_view text);

// Columns that a printable text takes on a terminal; East Asian wide characters take two.
std::size_t DisplayWidth(std::string_view text);

// The longest beginning that fits in `width` columns; where something is cut off, it ends in U+2026.
std::string CutToWidth(std::string_view text, std::size_t width);

}  // namespace tool
