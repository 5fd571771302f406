// SPDX-License-Identifier: MIT
#include "tools/bxd/map.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/bxd/box_name.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/file_map.h"
#include "tools/bxd/map_style.h"
#include "tools/bxd/map_svg.h"
#include "tools/bxd/map_text.h"
#include "tools/bxd/output.h"
#include "tools/bxd/text.h"

namespace tool {
namespace {

Json JsonOfMap(const FileMap& map, const std::string& name)
{
    Json parts = Json::array();
    for (std::size_t i = 0; i < kParts; i++) {
        const Tally& tally = map.tallies[i];
        if (tally.pieces == 0) { continue; }
        parts.push_back(
            {{"part", StyleOf(static_cast<Part>(i)).name}, {"pieces", tally.pieces}, {"bytes", tally.bytes}});
    }
    Json findings = Json::array();
    for (const Finding& finding : map.findings) {
        findings.push_back({{"at", finding.at}, {"text", finding.text}});
    }
    return {{"file", name},
            {"kind", KindName(map.kind)},
            {"fileBytes", map.size},
            {"parts", parts},
            {"findings", findings}};
}

// The summary, and the extents in a line each.
void PrintAsJson(const FileMap& map, const std::string& name)
{
    std::string head = Dump(JsonOfMap(map, name), 2);
    head.resize(head.rfind('\n'));  // the bracket that closes it comes last
    Print(head + ",\n  \"extents\": [");
    const char* separator = "\n";
    for (const Extent& extent : map.extents) {
        const Json line = {{"at", extent.at},
                           {"bytes", extent.size},
                           {"part", StyleOf(extent.part).name},
                           {"what", Describe(extent)}};
        Print(separator + ("    " + Dump(line, -1)));
        separator = ",\n";
    }
    Print("\n  ]\n}\n");
}

// A slip of the hand must not put the picture in the place of the file that it shows.
void RefuseSameFile(const std::string& from, const std::string& to)
{
    struct stat a = {};
    struct stat b = {};
    if (stat(from.c_str(), &a) != 0 || stat(to.c_str(), &b) != 0) { return; }
    if (a.st_dev == b.st_dev && a.st_ino == b.st_ino) {
        throw UsageFailure(to + ": the picture would take the place of the file");
    }
}

void WriteFile(const std::string& path, const std::string& content)
{
    std::FILE* file = std::fopen(path.c_str(), "wbe");
    if (file == nullptr) { throw Failure(path + ": " + std::strerror(errno)); }
    const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    const int reason = errno;
    if (std::fclose(file) != 0 || !written) {
        throw Failure(path + ": the picture cannot be written: " + std::strerror(written ? errno : reason));
    }
}

void PrintAsSvg(const FileMap& map, const MapOptions& options)
{
    const std::string svg = MapAsSvg(map, Printable(options.file));
    if (options.svg == "-") {
        Print(svg);
        return;
    }
    RefuseSameFile(PathOf(options.file), options.svg);
    WriteFile(options.svg, svg);
}

}  // namespace

void RunMap(const MapOptions& options)
{
    if (options.json && !options.svg.empty()) { throw UsageFailure("--json and --svg exclude each other"); }
    RequireFile(options.file);
    FileSource source(options.file, PathOf(options.file));
    if (source.Size() == 0) { throw Failure(options.file + ": it is empty"); }
    const FileMap map = MapBytes(&source);
    if (map.kind == FileKind::kUnknown) {
        throw Failure(options.file + ": it is neither a box nor an index file");
    }
    if (options.json) {
        PrintAsJson(map, options.file);
    } else if (!options.svg.empty()) {
        PrintAsSvg(map, options);
    } else {
        const bool colours = options.colour == "always" || (options.colour == "auto" && TerminalColours());
        Print(MapAsText(map, Printable(options.file), TerminalWidth(), colours));
    }
}

}  // namespace tool
