// SPDX-License-Identifier: MIT
// One entry of the dictionary is one line:
//
//   headword [reading] /meaning/meaning/(P)/        (P) marks a common word; it may also end a meaning
//   headword /meaning/                              a headword in kana has no reading
//
// The first line of a dictionary is its title, under a headword of a blank and three question marks.
#include <string_view>

#include "tools/bxd/readers.h"

namespace tool {
namespace {

constexpr std::string_view kTitleHeadword = "\u3000\uFF1F\uFF1F\uFF1F";
constexpr std::string_view kCommonMark = "(P)";
constexpr std::string_view kCommonEnd = " (P)";

struct Entry {
    std::string headword;
    std::string reading;
    std::string meaning;  // the meanings, "; " between them, without the mark
    bool common = false;
};

void AddMeaning(std::string_view gloss, Entry* entry)
{
    if (gloss == kCommonMark) {
        entry->common = true;
        return;
    }
    if (gloss.ends_with(kCommonEnd)) {
        entry->common = true;
        gloss.remove_suffix(kCommonEnd.size());
    }
    if (gloss.empty()) { return; }
    if (!entry->meaning.empty()) { entry->meaning += "; "; }
    entry->meaning += gloss;
}

Entry ParseEntry(std::string_view line, std::size_t number)
{
    Entry entry;
    const std::size_t slash = line.find(" /");
    if (slash == std::string_view::npos) { throw BadRecord(number, "no \" /\" begins the meanings"); }

    std::string_view head = line.substr(0, slash);
    const std::size_t bracket = head.find(" [");
    if (bracket != std::string_view::npos) {
        if (!head.ends_with(']')) { throw BadRecord(number, "the reading does not end in a bracket"); }
        entry.reading = head.substr(bracket + 2, head.size() - bracket - 3);
        head = head.substr(0, bracket);
    }
    if (head.empty()) { throw BadRecord(number, "there is no headword"); }
    entry.headword = head;

    std::string_view glosses = line.substr(slash + 2);
    while (!glosses.empty()) {
        const std::size_t end = glosses.find('/');
        AddMeaning(glosses.substr(0, end), &entry);
        if (end == std::string_view::npos) { break; }
        glosses.remove_prefix(end + 1);
    }
    return entry;
}

}  // namespace

EdictReader::EdictReader(LineSource* source, bool commonOnly) : source_(source), commonOnly_(commonOnly) {}

bool EdictReader::Next(Record* record)
{
    std::string line;
    while (source_->Next(&line)) {
        while (line.ends_with('\n') || line.ends_with('\r')) { line.pop_back(); }
        if (line.empty()) { continue; }
        Entry entry = ParseEntry(line, source_->LineNumber());
        if (entry.headword == kTitleHeadword || (commonOnly_ && !entry.common)) { continue; }
        record->line = source_->LineNumber();
        record->fields = {std::move(entry.headword), std::move(entry.reading), std::move(entry.meaning)};
        return true;
    }
    return false;
}

}  // namespace tool
