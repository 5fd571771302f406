// SPDX-License-Identifier: MIT
//        kLeft                                        kLeft + kRowWidth
//   title  |                                            |
//   0000   [header][offset table                        ]   rows, each a group that is moved to its place
//   0800   [       ][items][card 1][card 2][dead]..
//          # header   # cards   # dead cards                legend, kLegendColumns in a line
//          findings
//
// A file may have more cards than a picture has points. What is narrower than kJoinBelow joins its neighbours
// of the same part, and what is narrower than a point joins any neighbour, so that the number of shapes is
// bounded by the number of rows.
#include "tools/bxd/map_svg.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/bxd/map_style.h"
#include "tools/bxd/text.h"

namespace tool {
namespace {

constexpr uint64_t kMostRows = 64;
constexpr uint64_t kLeastPerRow = 64;
constexpr double kLeft = 104;
constexpr double kTop = 92;
constexpr double kRowWidth = 1056;
constexpr double kRowPitch = 15;
constexpr double kRowHeight = 13;
constexpr double kRight = 40;
constexpr double kWidth = kLeft + kRowWidth + kRight;

constexpr double kJoinBelow = 4;
constexpr double kPoint = 1;
constexpr double kSeam = 0.6;  // between pieces that are wide enough for one
constexpr double kSeamAbove = 3;
constexpr double kLetterWidth = 6;  // of a label in a piece, about what letters take
constexpr double kLabelMargin = 3;

constexpr std::size_t kLegendColumns = 4;
constexpr double kLegendPitch = 40;
constexpr double kFindingPitch = 19;
constexpr std::size_t kTitleColumns = 80;
constexpr std::size_t kFindingColumns = 150;

std::string Number(double value)
{
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.2f", value);
    std::string number = text;
    number.erase(number.find_last_not_of('0') + 1);
    if (number.back() == '.') { number.pop_back(); }
    return number;
}

std::string Class(Part part) { return "p" + std::to_string(static_cast<int>(part)); }

std::string TextAt(const std::string& classes, double x, double y, const std::string& text)
{
    return "<text class=\"" + classes + "\" x=\"" + Number(x) + "\" y=\"" + Number(y) + "\">" +
           XmlText(text) + "</text>";
}

// Pieces of a row that are drawn as one shape.
struct Group {
    const Extent* first = nullptr;
    const Extent* last = nullptr;
    uint64_t begin = 0;  // the bytes of this row that it covers
    uint64_t end = 0;
    uint64_t pieces = 0;
    std::array<uint64_t, kParts> shares{};

    // The part that has most of it. Damage shows wherever it is.
    Part MainPart() const
    {
        if (shares[static_cast<std::size_t>(Part::kDamage)] != 0) { return Part::kDamage; }
        return static_cast<Part>(std::max_element(shares.begin(), shares.end()) - shares.begin());
    }
    bool IsOfOnePart() const
    {
        return std::count(shares.begin(), shares.end(), 0) == static_cast<std::ptrdiff_t>(kParts - 1);
    }
};

class Picture {
public:
    Picture(const FileMap& map, const std::string& title)
        : map_(map), title_(title), perRow_(PowerFor(map.size, kMostRows, kLeastPerRow)),
          rows_((map.size + perRow_ - 1) / perRow_), scale_(kRowWidth / static_cast<double>(perRow_))
    {}

    std::string Text();

private:
    double Wide(uint64_t bytes) const { return static_cast<double>(bytes) * scale_; }
    double LegendTop() const { return kTop + static_cast<double>(rows_) * kRowPitch + 34; }
    std::size_t LegendLines() const;
    double Height() const;

    void Head();
    void Styles();
    void Patterns();
    void Rows();
    void RowHead(uint64_t row);
    void RowEnd(uint64_t row);
    void Add(const Extent& extent, uint64_t begin, uint64_t end);
    bool Joins(const Extent& extent, uint64_t begin, uint64_t end) const;
    void Draw();
    std::string Tooltip() const;
    void Label(Part part, double x, double width);
    void Legend();
    void Findings();

    const FileMap& map_;
    std::string title_;
    uint64_t perRow_;
    uint64_t rows_;
    double scale_;  // points a byte
    std::string svg_;
    std::string labels_;  // of the row in work
    Group group_;
    const Extent* labelled_ = nullptr;
};

std::size_t Picture::LegendLines() const
{
    const auto used =
        std::count_if(map_.tallies.begin(), map_.tallies.end(), [](const Tally& t) { return t.pieces != 0; });
    return (static_cast<std::size_t>(used) + kLegendColumns - 1) / kLegendColumns;
}

double Picture::Height() const
{
    const double findings = static_cast<double>(map_.findings.size()) * kFindingPitch;
    return LegendTop() + static_cast<double>(LegendLines()) * kLegendPitch + findings + 16;
}

void Picture::Head()
{
    const std::string width = Number(kWidth);
    const std::string height = Number(Height());
    svg_ += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    svg_ += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + width + "\" height=\"" + height +
            "\" viewBox=\"0 0 " + width + " " + height + "\" role=\"img\" aria-labelledby=\"name\">\n";
    svg_ += "<title id=\"name\">" + XmlText("Map of " + title_) + "</title>\n";
    Styles();
    Patterns();
    svg_ += "<rect class=\"paper\" width=\"" + width + "\" height=\"" + height + "\"/>\n";
    const std::size_t slash = title_.rfind('/');
    const std::string base = slash == std::string::npos ? title_ : title_.substr(slash + 1);
    svg_ += TextAt("ink big", kLeft, 42, CutToWidth(base, kTitleColumns)) + "\n";
    svg_ +=
        TextAt("soft", kLeft, 66, Headline(map_) + "; a row stands for " + WithCommas(perRow_) + " bytes") +
        "\n";
}

void Picture::Styles()
{
    svg_ += "<style>\n"
            "text{font:13px system-ui,'Helvetica Neue',Arial,sans-serif}\n"
            ".big{font-size:24px;font-weight:600}\n"
            ".at{font:10.5px ui-monospace,Menlo,Consolas,monospace;text-anchor:end}\n"
            ".in{font-size:10px;pointer-events:none}\n"
            ".small{font-size:11.5px}\n"
            ".paper{fill:#ffffff}.ink{fill:#1c1f26}.soft{fill:#5f6673}\n"
            ".frame{fill:none;stroke:#9aa1ad;stroke-width:0.6;pointer-events:none}\n"
            "@media (prefers-color-scheme:dark){.paper{fill:#15171c}.ink{fill:#eceef2}.soft{fill:#a3abb8}\n"
            ".frame{stroke:#6d7583}}\n";
    for (std::size_t i = 0; i < kParts; i++) {
        const auto part = static_cast<Part>(i);
        const Style& style = StyleOf(part);
        const std::string plain = HexColour(style.fill);
        svg_ += "." + Class(part) +
                "{fill:" + (style.pattern == Pattern::kNone ? plain : "url(#f" + std::to_string(i) + ")") +
                "}." + "on" + std::to_string(i) + "{fill:" + HexColour(style.ink) + "}\n";
    }
    svg_ += "</style>\n";
}

void Picture::Patterns()
{
    svg_ += "<defs>\n";
    for (std::size_t i = 0; i < kParts; i++) {
        const Style& style = StyleOf(static_cast<Part>(i));
        std::string marks;
        switch (style.pattern) {
        case Pattern::kNone: continue;
        case Pattern::kLines: marks = "<path d=\"M0 6L6 0\" stroke=\"#6f6f6f\" stroke-width=\"0.9\"/>"; break;
        case Pattern::kDots: marks = "<circle cx=\"3\" cy=\"3\" r=\"1\" fill=\"#555555\"/>"; break;
        case Pattern::kHatch:
            marks = "<path d=\"M0 0L6 6M0 6L6 0\" stroke=\"#4a1500\" stroke-width=\"0.9\"/>";
            break;
        }
        svg_ += "<pattern id=\"f" + std::to_string(i) +
                "\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\">"
                "<rect width=\"6\" height=\"6\" fill=\"" +
                HexColour(style.fill) + "\"/>" + marks + "</pattern>\n";
    }
    svg_ += "</defs>\n";
}

void Picture::RowHead(uint64_t row)
{
    const double y = kTop + static_cast<double>(row) * kRowPitch;
    svg_ += TextAt("soft at", kLeft - 10, y + 10, HexPosition(row * perRow_, map_.size));
    svg_ += "<g transform=\"translate(" + Number(kLeft) + " " + Number(y) + ")\">\n";
}

void Picture::RowEnd(uint64_t row)
{
    Draw();
    const uint64_t bytes = std::min(perRow_, map_.size - row * perRow_);
    svg_ += "<path class=\"frame\" d=\"M0 0h" + Number(Wide(bytes)) + "v" + Number(kRowHeight) + "H0z\"/>" +
            labels_ + "</g>\n";
    labels_.clear();
}

bool Picture::Joins(const Extent& extent, uint64_t begin, uint64_t end) const
{
    const double sofar = Wide(group_.end - group_.begin);
    if (sofar < kPoint) { return true; }
    const bool same = group_.IsOfOnePart() && group_.MainPart() == extent.part;
    return same && sofar < kJoinBelow && Wide(end - begin) < kJoinBelow;
}

void Picture::Add(const Extent& extent, uint64_t begin, uint64_t end)
{
    if (group_.first != nullptr && !Joins(extent, begin, end)) { Draw(); }
    if (group_.first == nullptr) {
        group_.first = &extent;
        group_.begin = begin;
    }
    group_.last = &extent;
    group_.end = end;
    group_.pieces++;
    group_.shares[static_cast<std::size_t>(extent.part)] += end - begin;
}

std::string Picture::Tooltip() const
{
    const uint64_t bytes = group_.last->end() - group_.first->at;
    std::string what;
    if (group_.pieces == 1) {
        what = Describe(*group_.first);
    } else {
        what = WithCommas(group_.pieces) + " pieces:";
        for (std::size_t i = 0; i < kParts; i++) {
            if (group_.shares[i] == 0) { continue; }
            what += (what.back() == ':' ? " " : ", ") + std::string(StyleOf(static_cast<Part>(i)).name);
        }
    }
    return what + "; " + WithCommas(bytes) + (bytes == 1 ? " byte" : " bytes") + " at 0x" +
           HexPosition(group_.first->at, map_.size);
}

// Writes what it is into the first piece of an extent that has room for it; of a card its id is enough.
void Picture::Label(Part part, double x, double width)
{
    if (group_.pieces != 1 || group_.first == labelled_ || StyleOf(part).pattern != Pattern::kNone) {
        return;
    }
    const bool many = part == Part::kCard || part == Part::kEntry;
    const std::string name = many ? std::to_string(group_.first->number) : Describe(*group_.first);
    if (width < static_cast<double>(name.size()) * kLetterWidth + 2 * kLabelMargin) { return; }
    labelled_ = group_.first;
    labels_ +=
        TextAt("in on" + std::to_string(static_cast<int>(part)), x + kLabelMargin, kRowHeight - 3, name);
}

void Picture::Draw()
{
    if (group_.first == nullptr) { return; }
    const uint64_t skip = group_.begin % perRow_;
    double x = Wide(skip);
    double width = Wide(group_.end - group_.begin);
    const Part part = group_.MainPart();
    Label(part, x, width);
    if (width >= kSeamAbove && group_.pieces == 1) { width -= kSeam; }
    if (width < kPoint) {  // nothing is so small that it cannot be seen
        width = kPoint;
        x = std::min(x, kRowWidth - kPoint);
    }
    svg_ += "<path class=\"" + Class(part) + "\" d=\"M" + Number(x) + " 0h" + Number(width) + "v" +
            Number(kRowHeight) + "h-" + Number(width) + "z\"><title>" + XmlText(Tooltip()) +
            "</title></path>\n";
    group_ = Group();
}

void Picture::Rows()
{
    uint64_t row = 0;
    if (rows_ != 0) { RowHead(row); }
    for (const Extent& extent : map_.extents) {
        uint64_t at = extent.at;
        while (at < extent.end()) {
            if (at / perRow_ != row) {
                RowEnd(row);
                RowHead(++row);
            }
            const uint64_t stop = std::min(extent.end(), (row + 1) * perRow_);
            Add(extent, at, stop);
            at = stop;
        }
    }
    if (rows_ != 0) { RowEnd(row); }
}

void Picture::Legend()
{
    const double column = kRowWidth / kLegendColumns;
    std::size_t place = 0;
    for (std::size_t i = 0; i < kParts; i++) {
        const Tally& tally = map_.tallies[i];
        if (tally.pieces == 0) { continue; }
        const auto part = static_cast<Part>(i);
        const std::size_t line = place / kLegendColumns;
        const double x = kLeft + column * static_cast<double>(place % kLegendColumns);
        const double y = LegendTop() + kLegendPitch * static_cast<double>(line);
        svg_ += "<rect class=\"" + Class(part) + "\" x=\"" + Number(x) + "\" y=\"" + Number(y) +
                "\" width=\"18\" height=\"18\"/><rect class=\"frame\" x=\"" + Number(x) + "\" y=\"" +
                Number(y) + "\" width=\"18\" height=\"18\"/>";
        svg_ += TextAt("ink", x + 27, y + 9, StyleOf(part).name);
        svg_ += TextAt("soft small", x + 27, y + 24,
                       WithCommas(tally.bytes) + (tally.bytes == 1 ? " byte, " : " bytes, ") +
                           PerCent(tally.bytes, map_.size) + " %, " + WithCommas(tally.pieces) +
                           (tally.pieces == 1 ? " piece" : " pieces")) +
                "\n";
        place++;
    }
}

void Picture::Findings()
{
    double y = LegendTop() + static_cast<double>(LegendLines()) * kLegendPitch + 12;
    for (const Finding& finding : map_.findings) {
        svg_ += TextAt("ink", kLeft, y, CutToWidth("! " + Sentence(finding), kFindingColumns)) + "\n";
        y += kFindingPitch;
    }
}

std::string Picture::Text()
{
    Head();
    Rows();
    Legend();
    Findings();
    svg_ += "</svg>\n";
    return std::move(svg_);
}

}  // namespace

std::string XmlText(const std::string& text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); i++) {
        switch (text[i]) {
        case '&': result += "&amp;"; break;
        case '<': result += "&lt;"; break;
        case '>': result += "&gt;"; break;
        case '"': result += "&quot;"; break;
        case '\'': result += "&#39;"; break;
        default: result += text[i];
        }
    }
    // Two characters of UTF-8 may not stand in XML.
    for (const char* refused : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        for (std::size_t at = result.find(refused); at != std::string::npos; at = result.find(refused, at)) {
            result.replace(at, 3, "\xEF\xBF\xBD");
        }
    }
    return result;
}

std::string MapAsSvg(const FileMap& map, const std::string& title) { return Picture(map, title).Text(); }

}  // namespace tool
