// SPDX-License-Identifier: MIT
// An import makes one card a record, each finished before the next one is begun. So whatever stops it (a bad
// record, a full disk, the user), the cards up to there are whole; the tool then says how many there are.
#include "tools/bxd/import.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/bxd/box_file.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/line_source.h"
#include "tools/bxd/progress.h"
#include "tools/bxd/readers.h"
#include "tools/bxd/text.h"
#include "tools/bxd/values.h"

namespace tool {
namespace {

// More bad records are counted, but not told one by one.
constexpr std::size_t kMostTold = 20;

volatile std::sig_atomic_t interrupted = 0;

void NoteInterrupt(int) { interrupted = 1; }

// A read that waits for input ends with the signal, too.
void CatchInterrupts()
{
    struct sigaction action = {};
    action.sa_handler = NoteInterrupt;
    for (const int signal : {SIGINT, SIGTERM}) { sigaction(signal, &action, nullptr); }
}

struct Summary {
    std::size_t imported = 0;
    std::size_t bad = 0;
    u16 firstId = 0;
    u16 lastId = 0;
    double seconds = 0;
};

// The item that each column goes to; null for a column that is left out.
using Mapping = std::vector<const Item*>;

std::string Lower(std::string text)
{
    for (char& c : text) { c = static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
    return text;
}

std::string FormatOf(const ImportOptions& options)
{
    if (!options.format.empty()) { return options.format; }
    const std::string file = Lower(options.file);
    if (file.ends_with(".csv")) { return "csv"; }
    if (file.ends_with(".tsv") || file.ends_with(".tab")) { return "tsv"; }
    const std::string base = file.substr(file.rfind('/') + 1);
    if (base == "edict" || file.ends_with(".edict")) { return "edict"; }
    throw UsageFailure(options.file + ": its name does not tell the format; use --format csv, tsv or edict");
}

std::unique_ptr<RecordReader> OpenReader(LineSource* source, const std::string& format, bool common)
{
    if (format == "edict") { return std::make_unique<EdictReader>(source, common); }
    try {
        return std::make_unique<CsvReader>(source, format == "tsv" ? '\t' : ',');
    } catch (const BadRecord& bad) {
        throw Failure(source->Path() + ":" + std::to_string(bad.Line()) + ": " + bad.what());
    }
}

// The items that a dictionary's columns go to when nothing else is said.
const Item* DictionaryItem(const BoxFile& box, const std::string& column)
{
    static const std::map<std::string, std::string> kTags = {
        {"headword", "HEAD"}, {"reading", "READ"}, {"meaning", "MEAN"}};
    const auto found = kTags.find(column);
    return found == kTags.end() ? nullptr : box.FindItem(found->second);
}

std::map<std::string, std::string> ParseMaps(const std::vector<std::string>& maps,
                                             const std::vector<std::string>& columns)
{
    std::map<std::string, std::string> parsed;
    for (const std::string& map : maps) {
        const std::size_t equals = map.rfind('=');
        if (equals == std::string::npos) { throw UsageFailure("\"" + map + "\": COLUMN=TAG is expected"); }
        const std::string column = map.substr(0, equals);
        if (std::find(columns.begin(), columns.end(), column) == columns.end()) {
            throw UsageFailure("--map " + map + ": there is no such column");
        }
        parsed[column] = map.substr(equals + 1);
    }
    return parsed;
}

std::string OwnTags(const BoxFile& box)
{
    std::string tags;
    for (const Item& item : box.Items()) {
        if (!item.builtIn) { tags += (tags.empty() ? "" : ", ") + item.tag; }
    }
    return tags;
}

Mapping MapColumns(const BoxFile& box, const std::vector<std::string>& columns, const ImportOptions& options,
                   bool dictionary)
{
    const std::map<std::string, std::string> maps = ParseMaps(options.maps, columns);
    Mapping mapping;
    for (const std::string& column : columns) {
        const auto mapped = maps.find(column);
        const Item* item = nullptr;
        if (mapped == maps.end()) {
            item = box.FindItem(column);
            if (item == nullptr && dictionary) { item = DictionaryItem(box, column); }
        } else if (mapped->second != "-") {
            item = box.FindItem(mapped->second);
        }
        const bool leftOut = mapped != maps.end() && mapped->second == "-";
        if (item == nullptr && !leftOut) {
            throw UsageFailure("the column \"" + Printable(column) + "\" is no item of the box, which has " +
                               OwnTags(box) + "; use --map COLUMN=TAG, or COLUMN=- to leave it out");
        }
        if (item != nullptr && std::find(mapping.begin(), mapping.end(), item) != mapping.end()) {
            throw UsageFailure("two columns go to the item " + item->tag);
        }
        if (item != nullptr && SameTag(item->tag, "ATTR")) {
            throw UsageFailure("the item ATTR is kept by the library and takes no column");
        }
        mapping.push_back(item);
    }
    return mapping;
}

std::vector<ItemValue> Convert(const Record& record, const Mapping& mapping)
{
    if (record.fields.size() > mapping.size()) {
        throw BadRecord(record.line, "there are " + std::to_string(record.fields.size()) +
                                         " fields, but only " + std::to_string(mapping.size()) + " columns");
    }
    std::vector<ItemValue> values;
    for (std::size_t i = 0; i < record.fields.size(); i++) {
        const Item* item = mapping[i];
        if (item == nullptr || record.fields[i].empty()) { continue; }
        try {
            values.push_back({item->tag, BytesOfText(item->type, record.fields[i])});
        } catch (const Failure& failure) {
            throw BadRecord(record.line, "the value for " + item->tag + ": " + failure.what());
        }
    }
    return values;
}

void TellBad(const LineSource& source, const BadRecord& bad, std::size_t count)
{
    if (count > kMostTold) { return; }
    (void)std::fprintf(stderr, "bxd: %s:%zu: %s\n", source.Path().c_str(), bad.Line(), bad.what());
    if (count == kMostTold) { (void)std::fprintf(stderr, "bxd: more bad records are only counted\n"); }
}

// Reads and stores until the end of the file. Throws what stops it; the summary then tells how far it came.
void ImportAll(RecordReader* reader, const LineSource& source, const Mapping& mapping, bool skipBad,
               BoxFile* box, Summary* summary)
{
    Progress progress(source.FileSize());
    for (;;) {
        if (interrupted != 0) { throw Failure("interrupted"); }
        std::vector<ItemValue> values;
        try {
            Record record;
            if (!reader->Next(&record)) { return; }
            values = Convert(record, mapping);
        } catch (const BadRecord& bad) {
            summary->bad++;
            if (!skipBad) {
                throw Failure(source.Path() + ":" + std::to_string(bad.Line()) + ": " + bad.what());
            }
            TellBad(source, bad, summary->bad);
            continue;
        }
        summary->lastId = box->Append(values);
        if (summary->imported == 0) { summary->firstId = summary->lastId; }
        summary->imported++;
        progress.Show(source.BytesRead(), summary->imported);
    }
}

std::string CardsWord(std::size_t count) { return std::to_string(count) + (count == 1 ? " card" : " cards"); }

void PrintSummary(const Summary& summary, const std::optional<std::string>& error, bool json)
{
    if (json) {
        nlohmann::ordered_json out = {{"imported", summary.imported}, {"bad", summary.bad}};
        out["firstId"] = summary.imported == 0 ? nullptr : nlohmann::ordered_json(summary.firstId);
        out["lastId"] = summary.imported == 0 ? nullptr : nlohmann::ordered_json(summary.lastId);
        out["seconds"] = summary.seconds;
        out["complete"] = !error.has_value();
        if (error) { out["error"] = *error; }
        const auto replace = nlohmann::ordered_json::error_handler_t::replace;
        (void)std::printf("%s\n", out.dump(2, ' ', false, replace).c_str());
        return;
    }
    if (error) { return; }
    (void)std::printf("imported %s in %.2f s\n", CardsWord(summary.imported).c_str(), summary.seconds);
    if (summary.bad > 0) { (void)std::printf("left out %zu bad records\n", summary.bad); }
}

}  // namespace

void RunImport(const ImportOptions& options)
{
    const std::string format = FormatOf(options);
    if (options.common && format != "edict") { throw UsageFailure("--common is for the format edict"); }
    std::string encoding = options.encoding;
    if (encoding.empty()) { encoding = format == "edict" ? "EUC-JP" : "UTF-8"; }

    BoxFile box(options.box, BoxFile::kReadWrite);
    LineSource source(options.file, encoding);
    const std::unique_ptr<RecordReader> reader = OpenReader(&source, format, options.common);
    const Mapping mapping = MapColumns(box, reader->Columns(), options, format == "edict");

    CatchInterrupts();
    Summary summary;
    std::optional<std::string> error;
    const auto start = std::chrono::steady_clock::now();
    try {
        ImportAll(reader.get(), source, mapping, options.skipBad, &box, &summary);
        box.Close();
    } catch (const Failure& failure) {
        error = interrupted != 0 ? source.Path() + ": interrupted" : failure.what();
    }
    summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    PrintSummary(summary, error, options.json);
    if (error) {
        throw Failure(
            *error + "\nbxd: the import stopped; before that, " + CardsWord(summary.imported) +
            (summary.imported == 1 ? " was imported and is complete" : " were imported and are complete"));
    }
}

}  // namespace tool
