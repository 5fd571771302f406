// SPDX-License-Identifier: MIT
// The colours are chosen so that neighbours in a file, which are few kinds, stay apart for eyes that lack one
// of the three kinds of cones; letters, words and patterns carry the same for all others.
#include "tools/bxd/map_style.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace tool {
namespace {

constexpr Colour kBlack = {0x11, 0x11, 0x11};
constexpr Colour kWhite = {0xFF, 0xFF, 0xFF};

constexpr std::array<Style, kParts> kStyles = {{
    {Part::kHeader, 'H', "header", {0x33, 0x22, 0x88}, kWhite, Pattern::kNone},
    {Part::kItemTable, 'I', "item table", {0xAA, 0x44, 0x99}, kWhite, Pattern::kNone},
    {Part::kOffsetTable, 'O', "default offset table", {0x11, 0x77, 0x33}, kWhite, Pattern::kNone},
    {Part::kAppendTable, 'A', "append tables", {0x44, 0xAA, 0x99}, kBlack, Pattern::kNone},
    {Part::kOffsetCard, 'F', "offset card", {0x99, 0x99, 0x33}, kBlack, Pattern::kNone},
    {Part::kIndexTable, 'X', "index table", {0x88, 0x22, 0x55}, kWhite, Pattern::kNone},
    {Part::kExtendedInfo, 'E', "extended information", {0xDD, 0xCC, 0x77}, kBlack, Pattern::kNone},
    {Part::kSystemCard, 'S', "system cards", {0xCC, 0x66, 0x77}, kBlack, Pattern::kNone},
    {Part::kTemporaryCard, 'T', "cards under edit", {0xEE, 0x77, 0x33}, kBlack, Pattern::kNone},
    {Part::kCard, 'c', "cards", {0x88, 0xCC, 0xEE}, kBlack, Pattern::kNone},
    {Part::kDeadCard, '-', "dead cards", {0xC4, 0xC4, 0xC4}, kBlack, Pattern::kLines},
    {Part::kRecord, 'R', "information records", {0xAA, 0x44, 0x99}, kWhite, Pattern::kNone},
    {Part::kRecordsEnd, 'r', "end of the records", {0x88, 0x22, 0x55}, kWhite, Pattern::kNone},
    {Part::kEntryCount, 'N', "number of entries", {0x11, 0x77, 0x33}, kWhite, Pattern::kNone},
    {Part::kEntry, 'e', "visible entries", {0x88, 0xCC, 0xEE}, kBlack, Pattern::kNone},
    {Part::kHiddenEntry, 'h', "hidden entries", {0xDD, 0xCC, 0x77}, kBlack, Pattern::kDots},
    {Part::kEndMark, '$', "end mark", {0x77, 0x77, 0x77}, kWhite, Pattern::kNone},
    {Part::kUnreachable, '?', "unreachable", {0xEE, 0xEE, 0xEE}, kBlack, Pattern::kDots},
    {Part::kDamage, '!', "damage", {0xD5, 0x3E, 0x00}, kWhite, Pattern::kHatch},
}};

constexpr bool InOrder()
{
    for (std::size_t i = 0; i < kStyles.size(); i++) {
        if (static_cast<std::size_t>(kStyles[i].part) != i) { return false; }
    }
    return true;
}
static_assert(InOrder(), "the styles stand in the order of the parts");

std::string Count(uint64_t number, const char* one, const char* many)
{
    return WithCommas(number) + " " + (number == 1 ? one : many);
}

}  // namespace

const Style& StyleOf(Part part) { return kStyles[static_cast<std::size_t>(part)]; }

std::string HexColour(const Colour& colour)
{
    std::array<char, 8> text{};
    (void)std::snprintf(text.data(), text.size(), "#%02x%02x%02x", colour.red, colour.green, colour.blue);
    return text.data();
}

std::string WithCommas(uint64_t number)
{
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3; at -= 3) { text.insert(at - 3, ","); }
    return text;
}

std::string PerCent(uint64_t part, uint64_t whole)
{
    const double share = whole == 0 ? 0 : static_cast<double>(part) * 100 / static_cast<double>(whole);
    if (part != 0 && share < 0.1) { return "<0.1"; }
    std::array<char, 16> text{};
    (void)std::snprintf(text.data(), text.size(), "%.1f", share);
    return text.data();
}

std::string HexPosition(uint64_t at, uint64_t size)
{
    std::array<char, 24> text{};
    const uint64_t last = size == 0 ? 0 : size - 1;
    const int digits = last > 0xFFFFFFFF ? 16 : last > 0xFFFFFF ? 8 : last > 0xFFFF ? 6 : 4;
    (void)std::snprintf(text.data(), text.size(), "%0*llX", digits, static_cast<unsigned long long>(at));
    return text.data();
}

std::string Headline(const FileMap& map)
{
    std::string text = std::string(KindName(map.kind)) + " of " + Count(map.size, "byte", "bytes");
    if (IsIndex(map.kind)) {
        text += ", " + Count(map.TallyOf(Part::kEntry).pieces, "visible entry", "visible entries");
        text += ", " + Count(map.TallyOf(Part::kHiddenEntry).pieces, "hidden", "hidden");
    } else {
        text += ", " + Count(map.TallyOf(Part::kCard).pieces, "card", "cards");
        text += ", " + PerCent(map.TallyOf(Part::kDeadCard).bytes, map.size) + " % dead";
    }
    if (!map.findings.empty()) { text += ", damaged"; }
    return text;
}

std::string Sentence(const Finding& finding)
{
    return "at " + std::to_string(finding.at) + " (0x" + HexPosition(finding.at, 0) + "): " + finding.text;
}

uint64_t PowerFor(uint64_t bytes, uint64_t most, uint64_t least)
{
    uint64_t power = 1;
    while (power < least || (bytes + power - 1) / power > most) { power *= 2; }
    return power;
}

}  // namespace tool
