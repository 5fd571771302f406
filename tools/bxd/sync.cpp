// SPDX-License-Identifier: MIT
// The library takes an entry of a sync index at its word: a clear ends the card of every discharged entry,
// alive or not. An index that was filled in one go has entries without any marks, which read as discharged,
// and a clear would end all its cards. So the tool looks at them first.
#include "tools/bxd/sync.h"

#include <bxd/bxd.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "tools/bxd/box_file.h"
#include "tools/bxd/box_name.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/file_lock.h"
#include "tools/bxd/index_file.h"
#include "tools/bxd/map_style.h"
#include "tools/bxd/output.h"
#include "tools/bxd/status_text.h"
#include "tools/bxd/table.h"
#include "tools/bxd/text.h"

namespace tool {
namespace {

constexpr std::size_t kBoxSyncIdAt = 60;  // u32 in the header of a box

FileMap MapOfBox(const std::string& name)
{
    CheckName(name);
    RequireFile(name);
    FileSource source(name, PathOf(name));
    FileMap map = MapBytes(&source);
    if (map.kind != FileKind::kBox) { throw Failure(name + ": it is not a box"); }
    if (!map.findings.empty()) {
        throw Failure(name + ": it is damaged, " + Sentence(map.findings[0]) + " (see \"bxd map\")");
    }
    return map;
}

bool IsRunning(const std::string& box)
{
    u32 running = 0;
    const u32 status = _BoxSyncCheck(box.c_str(), &running);
    if ((status & 0xFFFF) != BXD_OK) { throw Failure(box + ": " + StatusText(status)); }
    return running != 0;
}

// The stored cards of a box that do not count, because they have been deleted while a synchronisation ran.
std::size_t CountTombstones(const std::string& name, const FileMap& map)
{
    if (map.TallyOf(Part::kCard).pieces == 0) { return 0; }
    const BoxFile box(name, BoxFile::kReadOnly);
    const auto count = std::count_if(map.extents.begin(), map.extents.end(), [&](const Extent& extent) {
        return extent.part == Part::kCard && !box.HasCard(extent.number);
    });
    return static_cast<std::size_t>(count);
}

// The marks of an index that a clear works through.
struct Marks {
    std::string index;
    std::string type;
    std::string reason;  // why the index cannot be read
    bool isDischarge = false;
    uint64_t entries = 0;
    uint64_t changed = 0;
    std::vector<u16> discharged;  // cards
};

void CountMarks(const IndexFile& file, Marks* marks)
{
    BxdIndexHandle index = _BxdIndexOpen(marks->index.c_str());
    u16 number = 0;
    for (const Extent& extent : file.Map().extents) {
        if (extent.part != Part::kEntry && extent.part != Part::kHiddenEntry) { continue; }
        u8 attr = 0;
        number++;
        if (index == nullptr || _BxdGetIndexSyncAttrPMSC(index, number, &attr) != BXD_OK) {
            marks->reason = "its entries cannot be read";
            break;
        }
        marks->entries++;
        marks->changed += (attr & BXD_SYNC_CHANGED) != 0 ? 1 : 0;
        if ((attr & BXD_SYNC_PRESENT) == 0) { marks->discharged.push_back(extent.number); }
    }
    (void)_BxdIndexClose(index);
}

// Nothing for an index without marks that matter.
std::optional<Marks> MarksOf(const std::string& name)
{
    Marks marks;
    marks.index = name;
    try {
        const IndexFile file(name);
        const u8 type = file.ByteOf(kTypeRecord);
        if ((type & BXD_INDEX_TYPE_SYNC) == 0) { return std::nullopt; }
        marks.type = TypeWord(type);
        marks.isDischarge = (type & BXD_INDEX_TYPE_DISCHARGE) == BXD_INDEX_TYPE_DISCHARGE;
        CountMarks(file, &marks);
        if (!file.Map().findings.empty()) { marks.reason = "damaged"; }
    } catch (const Failure& failure) {
        marks.reason = failure.what();
    }
    return marks;
}

std::vector<Marks> AllMarks(const std::string& box)
{
    std::vector<Marks> all;
    for (const ListedIndex& index : ReadIndexes(box)) {
        if (std::optional<Marks> marks = MarksOf(index.name)) { all.push_back(*marks); }
    }
    return all;
}

// --- status ------------------------------------------------------------------------------------------------

struct SyncFacts {
    bool running = false;
    u32 syncId = 0;
    u16 cards = 0;
    std::size_t tombstones = 0;
    std::vector<Marks> marks;
};

void PrintAsJson(const std::string& box, const SyncFacts& facts)
{
    Json indexes = Json::array();
    for (const Marks& marks : facts.marks) {
        Json one = {{"index", marks.index}};
        if (!marks.type.empty()) {
            one["type"] = marks.type;
            one["dischargeIndex"] = marks.isDischarge;
            one["entries"] = marks.entries;
            one["changed"] = marks.changed;
            one["discharged"] = marks.discharged.size();
        }
        if (!marks.reason.empty()) { one["error"] = marks.reason; }
        indexes.push_back(one);
    }
    PrintJson({{"box", box},
               {"running", facts.running},
               {"syncId", facts.syncId},
               {"cards", facts.cards},
               {"tombstones", facts.tombstones},
               {"indexes", indexes}});
}

void PrintAsText(const std::string& box, const SyncFacts& facts)
{
    Print("box         " + Printable(box) + "\n");
    Print(std::string("running     ") + (facts.running ? "yes" : "no") + "\n");
    Print("sync id     " + std::to_string(facts.syncId) + "\n");
    Print("cards       " + std::to_string(facts.cards) + "\n");
    Print("tombstones  " + std::to_string(facts.tombstones) + "\n");
    if (facts.marks.empty()) { return; }
    Table table({"INDEX", "TYPE", "ENTRIES", "CHANGED", "DISCHARGED", "REMARK"});
    for (const Marks& marks : facts.marks) {
        if (marks.type.empty()) {
            table.AddRow({marks.index, "", "", "", "", marks.reason});
            continue;
        }
        table.AddRow({marks.index, marks.type, std::to_string(marks.entries), std::to_string(marks.changed),
                      std::to_string(marks.discharged.size()), marks.reason});
    }
    Print("\n" + table.Text(TerminalWidth()));
}

// --- clear -------------------------------------------------------------------------------------------------

// Throws where a clear would end cards that count.
void RequireTombstones(const std::string& name, const std::vector<Marks>& all)
{
    if (std::all_of(all.begin(), all.end(), [](const Marks& marks) { return marks.discharged.empty(); })) {
        return;
    }
    const BoxFile box(name, BoxFile::kReadOnly);
    for (const Marks& marks : all) {
        const auto alive = std::count_if(marks.discharged.begin(), marks.discharged.end(),
                                         [&](u16 id) { return box.HasCard(id); });
        if (alive == 0) { continue; }
        throw Failure(name + ": " + marks.index + " has " + std::to_string(alive) +
                      " cards as discharged that are not deleted; they would go (--force does it)");
    }
}

}  // namespace

void RunSyncStart(const SyncStartOptions& options)
{
    (void)MapOfBox(options.box);
    const FileLock lock(options.box);
    const u32 status = _BoxSyncStart(options.box.c_str());
    if ((status & 0xFFFF) != BXD_OK) { throw Failure(options.box + ": " + StatusText(status)); }
}

void RunSyncClear(const SyncClearOptions& options)
{
    (void)MapOfBox(options.box);
    const FileLock lock(options.box);
    const FileMap before = MapOfBox(options.box);
    const std::vector<Marks> marks = AllMarks(options.box);
    if (!options.force) { RequireTombstones(options.box, marks); }
    const u32 status = _BoxSyncClear(options.box.c_str());
    const FileMap after = MapOfBox(options.box);
    const uint64_t ended = before.TallyOf(Part::kCard).pieces - after.TallyOf(Part::kCard).pieces;
    const std::size_t gone = marks.size() - AllMarks(options.box).size();
    if (options.json) {
        PrintJson({{"box", options.box}, {"cardsEnded", ended}, {"indexesEnded", gone}});
    } else {
        Print(std::to_string(ended) + " cards and " + std::to_string(gone) + " indexes are gone\n");
    }
    if ((status & 0xFFFF) == BXD_ERR_OTHER) {
        throw Failure(options.box + ": a sync index was missing or could not be cleared (status 255)");
    }
    if ((status & 0xFFFF) != BXD_OK) { throw Failure(options.box + ": " + StatusText(status)); }
}

void RunSyncStatus(const SyncStatusOptions& options)
{
    const FileMap map = MapOfBox(options.box);
    SyncFacts facts;
    facts.running = IsRunning(options.box);
    facts.syncId = WordAt(map.header, kBoxSyncIdAt);
    facts.cards = ReadFigures(options.box).cards;
    facts.tombstones = CountTombstones(options.box, map);
    facts.marks = AllMarks(options.box);
    if (options.json) {
        PrintAsJson(options.box, facts);
    } else {
        PrintAsText(options.box, facts);
    }
}

}  // namespace tool
