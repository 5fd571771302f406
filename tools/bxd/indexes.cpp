// SPDX-License-Identifier: MIT
// A box knows its indexes by name, and an index its box; each name is relative to the other file:
//
//   both in one directory      the base name
//   in two directories         the path from the root, so that both must be named by such paths
//   on the drives F0: and F1:  the full name
//
// Anything else would be written without complaint and lead to another file later, or to none.
#include "tools/bxd/indexes.h"

#include <bxd/bxd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cctype>

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

// Codes that the library takes for the two kinds when it makes a file.
constexpr u8 kMasterCode = 17;
constexpr u8 kListCode = 18;

bool IsOk(u32 status) { return (status & 0xFFFF) == BXD_OK; }

std::string DirectoryOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

std::string BaseOf(const std::string& path)
{
    return path.substr(path.find_last_of(OnDrive(path) ? ":/" : "/") + 1);
}

// The library parts names at backslashes too.
void CheckIndexName(const std::string& name)
{
    CheckName(name);
    if (name.find('\\') != std::string::npos) {
        throw UsageFailure(name + ": the path of an index or its box cannot have a backslash");
    }
}

struct NamePair {
    std::string index;   // by which the library is to know the index
    std::string stored;  // what the index is to hold as the name of its box
};

// The path of a box in a directory above that of its index, by way of the latter. The library takes two files
// for neighbours when the path of one begins with the directory of the other.
std::string PathUpwards(const std::string& indexPath, const std::string& boxPath)
{
    std::string path = DirectoryOf(indexPath);
    const std::string below = path.substr(DirectoryOf(boxPath).size());
    for (const char c : below) {
        if (c == '/') { path += "../"; }
    }
    return path + BaseOf(boxPath);
}

NamePair NamesFor(const std::string& index, const std::string& box)
{
    if (OnDrive(index) != OnDrive(box)) {
        throw UsageFailure("an index on a drive belongs to a box on a drive, and a path to a path");
    }
    if (OnDrive(index)) { return {index, index.substr(0, 3) == box.substr(0, 3) ? BaseOf(box) : box}; }
    const std::string indexPath = CanonicalPath(index);
    const std::string boxPath = CanonicalPath(box);
    if (indexPath.empty()) { throw Failure(index + ": there is no such directory"); }
    if (DirectoryOf(indexPath) == DirectoryOf(boxPath)) { return {index, BaseOf(box)}; }
    NamePair names = {indexPath, boxPath};
    if (indexPath.starts_with(DirectoryOf(boxPath))) { names.stored = PathUpwards(indexPath, boxPath); }
    CheckName(names.index);
    CheckName(names.stored);
    return names;
}

// The name by which the tool finds the box that an index names.
std::string BoxOf(const std::string& index, const std::string& stored)
{
    if (OnDrive(stored) || stored.front() == '/') { return stored; }
    return (OnDrive(index) ? index.substr(0, 3) : DirectoryOf(index)) + BaseOf(stored);
}

bool IsListed(const std::string& box, const std::string& path)
{
    for (const ListedIndex& index : ReadIndexes(box)) {
        if (CanonicalPath(index.name) == path) { return true; }
    }
    return false;
}

void WriteRecord(const std::string& index, u8 tag, const std::string& bytes)
{
    const u32 status = _IndexInfoWrite(index.c_str(), tag, reinterpret_cast<const u8*>(bytes.data()),
                                       static_cast<u16>(bytes.size()));
    if (!IsOk(status)) {
        throw Failure(index + ": record " + std::to_string(tag) + " (" + RecordName(tag) +
                      ") cannot be written: " + StatusText(status));
    }
}

// The box's list holds copies of type and mode, so they are written before the name brings the index into it.
void Bind(const NamePair& names, const IndexCreateOptions& options, UpdateMode mode)
{
    if (options.type) { WriteRecord(names.index, kTypeRecord, {static_cast<char>(*options.type)}); }
    if (mode != UpdateMode::kAll) { WriteRecord(names.index, kModeRecord, {static_cast<char>(mode)}); }
    WriteRecord(names.index, kBoxNameRecord, names.stored);
    if (!IsListed(options.box, CanonicalPath(names.index))) {
        throw Failure(options.box + ": the index did not come into the box's list");
    }
}

u8 CodeOf(const IndexCreateOptions& options)
{
    std::string kind = options.kind;
    if (kind.empty()) {
        kind = options.index.substr(options.index.rfind('.') + 1);
        for (char& c : kind) { c = static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
    }
    return kind == KindWord(false) ? kListCode : kMasterCode;
}

bool IsBox(const std::string& name)
{
    struct stat info = {};
    if (stat(PathOf(name).c_str(), &info) != 0 || !S_ISREG(info.st_mode)) { return false; }
    FileSource source(name, PathOf(name));
    return MapBytes(&source).kind == FileKind::kBox;
}

void RequireBox(const std::string& name)
{
    RequireFile(name);
    if (!IsBox(name)) { throw Failure(name + ": it is not a box"); }
}

// A box that lists an index takes no first items any more.
void RequireItems(const std::string& name)
{
    std::array<u8, 4> tag{};
    if (!IsOk(_GetItemName(name.c_str(), 1, tag.data()))) {
        throw Failure(name + ": it has no items; give it some first, with \"bxd items\"");
    }
}

// What a list tells of an index; the file may be missing or be no index any more.
struct IndexFacts {
    std::string name;
    std::string kind;
    std::optional<IndexFile> file;
    std::string reason;  // why there is no file
};

std::vector<IndexFacts> FactsOf(const std::string& box)
{
    std::vector<IndexFacts> facts;
    for (const ListedIndex& index : ReadIndexes(box)) {
        facts.push_back({index.name, KindWord(index.isMaster), std::nullopt, ""});
        try {
            facts.back().file.emplace(index.name);
        } catch (const Failure& failure) {
            facts.back().reason = failure.what();
        }
    }
    return facts;
}

Json JsonOfFacts(const IndexFacts& facts)
{
    if (!facts.file) { return {{"index", facts.name}, {"kind", facts.kind}, {"error", facts.reason}}; }
    return {{"index", facts.name},
            {"kind", facts.kind},
            {"type", facts.file->ByteOf(kTypeRecord)},
            {"mode", ModeWord(facts.file->ByteOf(kModeRecord))},
            {"entries", facts.file->VisibleEntries()},
            {"hiddenEntries", facts.file->HiddenEntries()},
            {"damaged", !facts.file->Map().findings.empty()}};
}

Json JsonOfIndex(const std::string& name, const IndexFile& file)
{
    const std::vector<u8>& header = file.Map().header;
    const u32 table = WordAt(header, kIndexTablePosAt);
    const std::optional<std::string> box = file.Find(kBoxNameRecord);
    Json records = Json::array();
    for (const InfoRecord& record : file.Records()) {
        records.push_back({{"tag", record.tag},
                           {"name", RecordName(record.tag)},
                           {"bytes", record.bytes.size()},
                           {"value", TextOfRecord(record)}});
    }
    Json findings = Json::array();
    for (const Finding& finding : file.Map().findings) { findings.push_back(Sentence(finding)); }
    return {{"index", name},
            {"kind", KindWord(file.IsMaster())},
            {"box", box ? Json(*box) : Json(nullptr)},
            {"type", file.ByteOf(kTypeRecord)},
            {"mode", ModeWord(file.ByteOf(kModeRecord))},
            {"version", header.size() > kIndexVersionAt ? header[kIndexVersionAt] : 0},
            {"fileInfo", header.size() > kIndexFileInfoAt ? header[kIndexFileInfoAt] : 0},
            {"fileBytes", file.Map().size},
            {"tablePosition", table == kPositionUnset ? Json(nullptr) : Json(table)},
            {"entries", file.VisibleEntries()},
            {"hiddenEntries", file.HiddenEntries()},
            {"records", records},
            {"findings", findings}};
}

void PrintIndex(const std::string& name, const IndexFile& file)
{
    const std::vector<u8>& header = file.Map().header;
    const u32 table = WordAt(header, kIndexTablePosAt);
    const std::string box = file.Find(kBoxNameRecord).value_or("");
    const auto byteAt = [&](std::size_t at) { return at < header.size() ? header[at] : u8{0}; };
    Print("index        " + Printable(name) + "\n");
    Print(std::string("kind         ") + KindWord(file.IsMaster()) + "\n");
    Print("box          " + (box.empty() ? "none" : Printable(box)) + "\n");
    Print("type         " + TypeWord(file.ByteOf(kTypeRecord)) + "\n");
    Print(std::string("mode         ") + ModeWord(file.ByteOf(kModeRecord)) + "\n");
    Print("version      " + TypeWord(byteAt(kIndexVersionAt)) + "\n");
    Print("application  " + TypeWord(byteAt(kIndexFileInfoAt)) + "\n");
    Print("file         " + std::to_string(file.Map().size) + " bytes\n");
    Print("card table   " + (table == kPositionUnset ? "none" : "at " + std::to_string(table)) + "\n");
    Print("entries      " + std::to_string(file.VisibleEntries()) + " visible, " +
          std::to_string(file.HiddenEntries()) + " hidden\n\n");
    Table records({"TAG", "RECORD", "BYTES", "VALUE"});
    for (const InfoRecord& record : file.Records()) {
        records.AddRow({std::to_string(record.tag), RecordName(record.tag),
                        std::to_string(record.bytes.size()), TextOfRecord(record)});
    }
    Print(records.Text(TerminalWidth()));
}

}  // namespace

std::string RequireBoxOf(const std::string& index)
{
    CheckIndexName(index);
    const std::string stored = IndexFile(index).Find(kBoxNameRecord).value_or("");
    if (stored.empty()) { throw Failure(index + ": it names no box"); }
    std::string box = BoxOf(index, stored);
    RequireBox(box);
    return box;
}

std::string RequireIndexOf(const std::string& index, const std::string& box)
{
    std::string named = RequireBoxOf(index);
    if (CanonicalPath(named) != CanonicalPath(box)) {
        throw Failure(index + ": it is an index of another box");
    }
    return named;
}

void RunIndexCreate(const IndexCreateOptions& options)
{
    const std::optional<UpdateMode> mode = ModeByWord(options.mode);
    if (!mode) { throw UsageFailure(options.mode + ": the mode is all, filter or hand"); }
    CheckIndexName(options.index);
    CheckIndexName(options.box);
    RequireBox(options.box);
    RequireItems(options.box);
    const NamePair names = NamesFor(options.index, options.box);
    const FileLock lock(options.box);

    const u32 status = _IndexCreate(names.index.c_str(), CodeOf(options));
    if (!IsOk(status)) { throw Failure(options.index + ": " + StatusText(status)); }
    try {
        Bind(names, options, *mode);
    } catch (const Failure&) {
        (void)_IndexDelete(names.index.c_str());
        throw;
    }
}

void RunIndexList(const IndexListOptions& options)
{
    CheckIndexName(options.box);
    RequireBox(options.box);
    const std::vector<IndexFacts> all = FactsOf(options.box);
    if (options.json) {
        Json out = Json::array();
        for (const IndexFacts& facts : all) { out.push_back(JsonOfFacts(facts)); }
        PrintJson(out);
        return;
    }
    Table table({"INDEX", "KIND", "TYPE", "MODE", "ENTRIES", "HIDDEN", "REMARK"});
    for (const IndexFacts& facts : all) {
        if (!facts.file) {
            table.AddRow({facts.name, facts.kind, "", "", "", "", facts.reason});
            continue;
        }
        const IndexFile& file = *facts.file;
        table.AddRow({facts.name, facts.kind, TypeWord(file.ByteOf(kTypeRecord)),
                      ModeWord(file.ByteOf(kModeRecord)), std::to_string(file.VisibleEntries()),
                      std::to_string(file.HiddenEntries()), file.Map().findings.empty() ? "" : "damaged"});
    }
    Print(table.Text(TerminalWidth()));
}

void RunIndexInfo(const IndexInfoOptions& options)
{
    const IndexFile file(options.index);
    if (options.json) {
        PrintJson(JsonOfIndex(options.index, file));
    } else {
        PrintIndex(options.index, file);
    }
    if (!file.Map().findings.empty()) {
        throw Failure(options.index + ": it is damaged, " + Sentence(file.Map().findings[0]));
    }
}

void RunIndexRemove(const IndexRemoveOptions& options)
{
    CheckIndexName(options.index);
    const IndexFile file(options.index);  // so that nothing but an index is ever deleted
    const std::string stored = file.Find(kBoxNameRecord).value_or("");
    const std::string box = stored.empty() ? "" : BoxOf(options.index, stored);
    const std::string path = CanonicalPath(options.index);
    // A box in another directory lists the index by its path from the root.
    const bool byPath = !OnDrive(options.index) && !stored.empty() && stored.front() == '/';
    std::optional<FileLock> lock;
    if (!box.empty() && IsBox(box)) { lock.emplace(box); }

    const u32 status = _IndexDelete((byPath ? path : options.index).c_str());
    if (access(path.c_str(), F_OK) == 0) {
        throw Failure(options.index + ": it cannot be deleted: " + StatusText(status));
    }
    if (!lock) { return; }  // no box is left that could list it
    if (IsListed(box, path)) {
        throw Failure(options.index + ": it is deleted, but " + box + " still lists it");
    }
}

}  // namespace tool
