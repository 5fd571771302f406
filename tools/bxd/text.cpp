// SPDX-License-Identifier: MIT
// UTF-8 is decoded here by hand, since the host's multibyte functions depend on the user's locale; only the
// width of a character is asked from the host, in the locale C.UTF-8.
#include "tools/bxd/text.h"

#include <wchar.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <cstdio>

#include "tools/bxd/failure.h"

namespace tool {
namespace {

constexpr char32_t kBad = 0xFFFFFFFF;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

struct Decoded {
    char32_t code;     // kBad for bytes that are no UTF-8
    std::size_t size;  // bytes to pass
};

std::size_t SequenceLength(unsigned char lead)
{
    if (lead < 0x80) { return 1; }
    if (lead >= 0xC2 && lead <= 0xDF) { return 2; }
    if (lead >= 0xE0 && lead <= 0xEF) { return 3; }
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

// The character at the start of a text that is not empty. Overlong forms, surrogates and codes above
// U+10FFFF are bad, one byte at a time.
Decoded Decode(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t size = SequenceLength(lead);
    if (size == 1) { return {lead, 1}; }
    if (size == 0 || text.size() < size) { return {kBad, 1}; }

    char32_t code = lead & (0x7Fu >> size);
    for (std::size_t i = 1; i < size; i++) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) { return {kBad, 1}; }
        code = (code << 6) | (byte & 0x3Fu);
    }
    constexpr std::array<char32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < kSmallest[size] || surrogate || code > 0x10FFFF) { return {kBad, 1}; }
    return {code, size};
}

std::size_t WidthOf(char32_t code)
{
    static const bool ready = setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
    const int width = ready ? wcwidth(static_cast<wchar_t>(code)) : 1;
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

std::string Escaped(char32_t code)
{
    if (code == '\n') { return "\\n"; }
    if (code == '\r') { return "\\r"; }
    if (code == '\t') { return "\\t"; }
    std::array<char, 8> buffer{};
    (void)std::snprintf(buffer.data(), buffer.size(), "\\x%02X", static_cast<unsigned>(code & 0xFF));
    return buffer.data();
}

}  // namespace

Converter::Converter(const std::string& from, const std::string& to)
    : descriptor_(iconv_open(to.c_str(), from.c_str()))
{
    // The host's mark for "no such conversion" is -1 cast to a pointer.
    if (reinterpret_cast<intptr_t>(descriptor_) == -1) {
        throw Failure("the encoding " + from + " cannot be converted to " + to + " on this host");
    }
}

Converter::~Converter() { iconv_close(descriptor_); }

std::optional<std::string> Converter::Convert(std::string_view text)
{
    std::string result;
    std::array<char, 4096> buffer{};
    char* in = const_cast<char*>(text.data());  // iconv does not write there
    std::size_t left = text.size();
    iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
    while (left > 0) {
        char* out = buffer.data();
        std::size_t room = buffer.size();
        const std::size_t irreversible = iconv(descriptor_, &in, &left, &out, &room);
        const bool stopped = irreversible == static_cast<std::size_t>(-1);
        if (stopped && errno != E2BIG) { return std::nullopt; }
        if (!stopped && irreversible > 0) { return std::nullopt; }
        result.append(buffer.data(), buffer.size() - room);
    }
    return result;
}

bool IsUtf8(std::string_view text) { return Utf8Prefix(text) == text.size(); }

std::size_t Utf8Prefix(std::string_view text)
{
    std::size_t good = 0;
    while (good < text.size()) {
        const Decoded character = Decode(text.substr(good));
        if (character.code == kBad) { break; }
        good += character.size;
    }
    return good;
}

std::size_t CountCharacters(std::string_view text)
{
    const auto begins = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins));
}

std::string Printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const Decoded character = Decode(text);
        const bool control = character.code < 0x20 || (character.code >= 0x7F && character.code < 0xA0);
        if (character.code == kBad) {
            result += kReplacement;
        } else if (control) {
            result += Escaped(character.code);
        } else {
            result += text.substr(0, character.size);
        }
        text.remove_prefix(character.size);
    }
    return result;
}

std::size_t DisplayWidth(std::string_view text)
{
    std::size_t width = 0;
    while (!text.empty()) {
        const Decoded character = Decode(text);
        width += WidthOf(character.code == kBad ? 0xFFFD : character.code);
        text.remove_prefix(character.size);
    }
    return width;
}

std::string CutToWidth(std::string_view text, std::size_t width)
{
    if (DisplayWidth(text) <= width) { return std::string(text); }
    if (width == 0) { return ""; }
    std::string_view rest = text;
    std::size_t used = 1;  // the ellipsis
    while (!rest.empty()) {
        const Decoded character = Decode(rest);
        used += WidthOf(character.code == kBad ? 0xFFFD : character.code);
        if (used > width) { break; }
        rest.remove_prefix(character.size);
    }
    return std::string(text.substr(0, text.size() - rest.size())) + std::string(kEllipsis);
}

}  // namespace tool
