// SPDX-License-Identifier: MIT
// Compiled search conditions, byte by byte.
//
//   SearchCondition cond;
//   cond.clause(1, 5).text(kContains, 1, B("love")).testOr().text(kEquals, 1, B("")).clauseAnd() ...
//   Bytes bytes = cond.build();      with the end and 16 bytes 0 behind it
#pragma once

#include <bxd/language.h>

#include "tests/support/box_builder.h"

namespace searchtest {

using boxtest::B;
using boxtest::Bytes;
using boxtest::operator+;

constexpr std::uint8_t kLanguage = 0x15;
constexpr std::uint8_t kBinary = 0x95;

constexpr std::uint8_t kBitsEqual = 0x88;
constexpr std::uint8_t kBitsDiffer = 0x89;
constexpr std::uint8_t kEquals = 0x90;
constexpr std::uint8_t kBegins = 0x91;
constexpr std::uint8_t kContains = 0x92;
constexpr std::uint8_t kNeighbour = 0x94;
constexpr std::uint8_t kUpTo = 0x97;
constexpr std::uint8_t kAtLeast = 0x98;
constexpr std::uint8_t kAbove = 0x99;
constexpr std::uint8_t kAtMost = 0x9A;
constexpr std::uint8_t kBelow = 0x9B;
constexpr std::uint8_t kFilled = 0x9E;
constexpr std::uint8_t kBlank = 0x9F;

constexpr std::uint8_t kUtf8Value = 17;

using Codes = std::vector<std::uint16_t>;

// The sort codes of a text of whole characters, and of one whose end cuts a character off as if bytes 0 stood
// behind it.
inline Codes CodesOf(Bytes text, bool utf8)
{
    const std::size_t size = text.size();
    text.resize(size + 4, 0);
    Codes out;
    for (std::size_t at = 0; at < size;) {
        std::uint16_t used = 0;
        const std::uint32_t code = utf8 ? SortConvCharUtf8(&text[at], &used) : SortConvChar(&text[at], &used);
        out.push_back(static_cast<std::uint16_t>(code));
        at += used;
    }
    return out;
}

inline Bytes CodeData(const Codes& codes)
{
    Bytes out;
    for (std::uint16_t code : codes) { boxtest::Add16(out, code); }
    boxtest::Add16(out, 0);
    return out;
}

// Data of a text value behind its length.
inline Bytes TextData(std::uint8_t kind, std::uint8_t type, const Bytes& text)
{
    return kind == kBinary ? text + Bytes{0} : CodeData(CodesOf(text, type == kUtf8Value));
}

// Kind, operator, type and, for a text, the length: `data` begins at kTextTestHead.
constexpr std::size_t kTextTestHead = 5;
inline Bytes TextTest(std::uint8_t kind, std::uint8_t op, std::uint8_t type, const Bytes& data)
{
    Bytes out{kind, op, type};
    boxtest::Add16(out, static_cast<std::uint32_t>(data.size()));
    return out + data;
}

class SearchCondition {
public:
    SearchCondition& clause(std::uint8_t type, std::uint8_t item) { return add({type, item}); }
    SearchCondition& allItems() { return add({0xFF, 0xFF}); }

    SearchCondition& text(std::uint8_t op, std::uint8_t type, const Bytes& text,
                          std::uint8_t kind = kLanguage)
    {
        return add(TextTest(kind, op, type, TextData(kind, type, text)));
    }
    SearchCondition& value(std::uint8_t op, std::uint8_t type, const Bytes& value,
                           std::uint8_t kind = kLanguage)
    {
        return add(Bytes{kind, op, type} + value);
    }
    // A test without a value.
    SearchCondition& bare(std::uint8_t op, std::uint8_t kind = kLanguage) { return add({kind, op}); }

    SearchCondition& testAnd() { return add({0x84}); }
    SearchCondition& testOr() { return add({0x85}); }
    SearchCondition& clauseAnd() { return add({0x86}); }
    SearchCondition& clauseOr() { return add({0x87}); }
    SearchCondition& add(const Bytes& bytes)
    {
        bytes_ = bytes_ + bytes;
        return *this;
    }

    // Without the end.
    const Bytes& bytes() const { return bytes_; }
    Bytes build() const { return bytes_ + Bytes(17, 0); }

private:
    Bytes bytes_;
};

}  // namespace searchtest
