// SPDX-License-Identifier: MIT
//   words.box: box of 6,318 bytes, 40 cards, 3.1 % dead
//
//   0000  HOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOOO
//   0800  OOIIIIIccccc--cccccccccccccccccccccccccccccccccccc$
#include "tools/bxd/map_text.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "tools/bxd/map_style.h"

namespace tool {
namespace {

constexpr uint64_t kMostRows = 32;
constexpr std::size_t kWidestRow = 64;
constexpr std::size_t kNarrowestRow = 8;
constexpr std::size_t kMargin = 2;

// The nearest of the 216 colours that terminals have from 16 on: six steps of each of red, green and blue.
int TerminalColour(const Colour& colour)
{
    const auto step = [](u8 value) {
        constexpr std::array<int, 6> kLevels = {0, 95, 135, 175, 215, 255};
        int best = 0;
        for (int i = 1; i < 6; i++) {
            const auto distance = [&](int level) { return std::abs(level - value); };
            if (distance(kLevels[static_cast<std::size_t>(i)]) <
                distance(kLevels[static_cast<std::size_t>(best)])) {
                best = i;
            }
        }
        return best;
    };
    return 16 + 36 * step(colour.red) + 6 * step(colour.green) + step(colour.blue);
}

// `letters`, which are all of one part.
std::string Painted(const Style& style, const std::string& letters, bool colours)
{
    if (!colours) { return letters; }
    return "\033[48;5;" + std::to_string(TerminalColour(style.fill)) + ";38;5;" +
           std::to_string(TerminalColour(style.ink)) + "m" + letters + "\033[0m";
}

// The parts of the cells, each of `bytes` bytes: that which has most of them. Damage shows wherever it is.
std::vector<Part> Cells(const FileMap& map, uint64_t bytes)
{
    std::vector<Part> cells;
    std::array<uint64_t, kParts> shares{};
    const auto finish = [&] {
        const auto most = std::max_element(shares.begin(), shares.end());
        auto part = static_cast<Part>(most - shares.begin());
        if (shares[static_cast<std::size_t>(Part::kDamage)] != 0) { part = Part::kDamage; }
        cells.push_back(part);
        shares.fill(0);
    };
    for (const Extent& extent : map.extents) {
        uint64_t at = extent.at;
        while (at < extent.end()) {
            const uint64_t stop = std::min(extent.end(), (at / bytes + 1) * bytes);
            shares[static_cast<std::size_t>(extent.part)] += stop - at;
            at = stop;
            if (at % bytes == 0) { finish(); }
        }
    }
    if (map.size % bytes != 0) { finish(); }
    return cells;
}

std::string Rows(const FileMap& map, std::size_t width, bool colours)
{
    const std::size_t label = HexPosition(0, map.size).size() + kMargin;
    std::size_t perRow = kWidestRow;
    while (width != 0 && perRow > kNarrowestRow && label + perRow > width) { perRow /= 2; }
    const uint64_t bytes = PowerFor(map.size, kMostRows * perRow, 1);
    const std::vector<Part> cells = Cells(map, bytes);

    std::string text;
    for (std::size_t row = 0; row < cells.size(); row += perRow) {
        text += HexPosition(row * bytes, map.size) + std::string(kMargin, ' ');
        const std::size_t end = std::min(cells.size(), row + perRow);
        for (std::size_t i = row; i < end;) {
            std::size_t next = i;
            while (next < end && cells[next] == cells[i]) { next++; }
            const Style& style = StyleOf(cells[i]);
            text += Painted(style, std::string(next - i, style.letter), colours);
            i = next;
        }
        text += "\n";
    }
    return text + "\nA letter stands for " + WithCommas(bytes) + (bytes == 1 ? " byte.\n" : " bytes.\n");
}

std::string Right(const std::string& text, std::size_t width)
{
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

std::string Legend(const FileMap& map, bool colours)
{
    constexpr std::size_t kNameWidth = 22;
    constexpr std::size_t kNumberWidth = 10;
    constexpr std::size_t kBytesWidth = 15;
    constexpr std::size_t kShareWidth = 10;
    const std::string heading = "PART";
    std::string text = "   " + heading + std::string(kNameWidth - heading.size(), ' ') +
                       Right("PIECES", kNumberWidth) + Right("BYTES", kBytesWidth) +
                       Right("PER CENT", kShareWidth) + "\n";
    for (std::size_t i = 0; i < kParts; i++) {
        const Tally& tally = map.tallies[i];
        if (tally.pieces == 0) { continue; }
        const Style& style = StyleOf(static_cast<Part>(i));
        const std::string name = style.name;
        text += Painted(style, std::string(1, style.letter), colours) + "  " + name +
                std::string(kNameWidth - name.size(), ' ') + Right(WithCommas(tally.pieces), kNumberWidth) +
                Right(WithCommas(tally.bytes), kBytesWidth) +
                Right(PerCent(tally.bytes, map.size), kShareWidth) + "\n";
    }
    return text;
}

}  // namespace

std::string MapAsText(const FileMap& map, const std::string& title, std::size_t width, bool colours)
{
    std::string text =
        title + ": " + Headline(map) + "\n\n" + Rows(map, width, colours) + "\n" + Legend(map, colours);
    if (!map.findings.empty()) { text += "\n"; }
    for (const Finding& finding : map.findings) { text += "! " + Sentence(finding) + "\n"; }
    return text;
}

}  // namespace tool
