// SPDX-License-Identifier: MIT
// A collection moves every card, and neither knows nor asks who else has the box open. So it is done under a
// lock on the file, and not at all where the chain of cards does not close: what lies behind a break would
// be lost.
#include "tools/bxd/collect.h"

#include <bxd/box.h>

#include "tools/bxd/box_name.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/file_lock.h"
#include "tools/bxd/file_map.h"
#include "tools/bxd/map_style.h"
#include "tools/bxd/output.h"
#include "tools/bxd/status_text.h"
#include "tools/bxd/table.h"

namespace tool {
namespace {

struct Gain {
    std::string box;
    uint64_t before = 0;  // bytes of the file
    uint64_t after = 0;
    uint64_t dead = 0;  // bytes of dead cards that are gone
};

FileMap MapOfBox(const std::string& name)
{
    FileSource source(name, PathOf(name));
    FileMap map = MapBytes(&source);
    if (map.kind != FileKind::kBox) { throw Failure(name + ": it is not a box"); }
    if (!map.findings.empty()) {
        throw Failure(name + ": it is damaged, " + Sentence(map.findings[0]) + " (see \"bxd map\")");
    }
    return map;
}

Gain Collect(const std::string& name)
{
    RequireFile(name);
    const FileLock lock(name);
    const FileMap before = MapOfBox(name);
    const u32 status = _BoxGarbageCollect(name.c_str());
    if ((status & 0xFFFF) != BXD_OK) { throw Failure(name + ": " + StatusText(status)); }
    const FileMap after = MapOfBox(name);
    return {name, before.size, after.size,
            before.TallyOf(Part::kDeadCard).bytes - after.TallyOf(Part::kDeadCard).bytes};
}

void PrintGains(const std::vector<Gain>& gains, bool json)
{
    if (json) {
        Json out = Json::array();
        for (const Gain& gain : gains) {
            out.push_back({{"box", gain.box},
                           {"bytesBefore", gain.before},
                           {"bytesAfter", gain.after},
                           {"deadBytesReclaimed", gain.dead}});
        }
        PrintJson(out);
        return;
    }
    if (gains.empty()) { return; }
    Table table({"BOX", "BYTES BEFORE", "BYTES AFTER", "DEAD BYTES RECLAIMED"});
    for (const Gain& gain : gains) {
        table.AddRow(
            {gain.box, std::to_string(gain.before), std::to_string(gain.after), std::to_string(gain.dead)});
    }
    Print(table.Text(TerminalWidth()));
}

}  // namespace

void RunCollect(const CollectOptions& options)
{
    for (const std::string& box : options.boxes) { CheckName(box); }
    std::vector<Gain> gains;
    std::string failures;
    for (const std::string& box : options.boxes) {
        try {
            gains.push_back(Collect(box));
        } catch (const Failure& failure) {
            failures += (failures.empty() ? "" : "\nbxd: ") + std::string(failure.what());
        }
    }
    if (!gains.empty() || failures.empty()) { PrintGains(gains, options.json); }
    if (!failures.empty()) { throw Failure(failures); }
}

}  // namespace tool
