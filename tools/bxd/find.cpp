// SPDX-License-Identifier: MIT
// A search of the library ends at an entry whose card is gone from the box, as if no card were left. So the
// tool looks for such entries first, and goes on behind them.
#include "tools/bxd/find.h"

#include <bxd/bxd.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "tools/bxd/box_file.h"
#include "tools/bxd/card_writer.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/index_file.h"
#include "tools/bxd/indexes.h"
#include "tools/bxd/map_style.h"
#include "tools/bxd/memory_index.h"
#include "tools/bxd/query.h"
#include "tools/bxd/status_text.h"

namespace tool {
namespace {

constexpr u32 kLastStart = 0xFFFE;  // the greatest number that a search starts behind

u32 Low(u32 status) { return status & 0xFFFF; }

// An index to search through, and the box as the index names it.
class SearchedIndex {
public:
    SearchedIndex(std::string name, const std::string& box)
        : name_(std::move(name)), box_(box, BoxFile::kReadOnly)
    {}

    const std::string& Name() const { return name_; }
    const BoxFile& Box() const { return box_; }

    // Throws for a damaged index.
    void LookForGaps()
    {
        const IndexFile file(name_);
        if (!file.Map().findings.empty()) {
            throw Failure(name_ + ": it is damaged, " + Sentence(file.Map().findings[0]) +
                          " (see \"bxd map\")");
        }
        u32 number = 0;
        for (const Extent& extent : file.Map().extents) {
            if (extent.part != Part::kEntry && extent.part != Part::kHiddenEntry) { continue; }
            number++;
            if (extent.part == Part::kEntry && !box_.HoldsCard(extent.number)) { gaps_.push_back(number); }
        }
    }
    std::size_t Gaps() const { return gaps_.size(); }

    // The card of the next entry behind *number that satisfies the condition, and its number; nothing where
    // there is none.
    std::optional<u16> Next(const std::string& condition, u16* number)
    {
        u32 start = *number;
        while (start <= kLastStart) {
            u16 found = 0;
            const u32 status =
                _IndexSearch(name_.c_str(), box_.Handle(), reinterpret_cast<const u8*>(condition.data()), 0,
                             0, 0, 0, static_cast<u16>(start), &found);
            if (Low(status) == BXD_OK && found > start) {
                *number = found;
                return CardOf(found);
            }
            if (Low(status) != BXD_ERR_NOTFOUND) {
                throw Failure(name_ + ": it cannot be searched: " + StatusText(status));
            }
            const auto gap = std::upper_bound(gaps_.begin(), gaps_.end(), start);
            if (gap == gaps_.end()) { break; }
            start = *gap;
        }
        return std::nullopt;
    }

private:
    u16 CardOf(u16 number) const
    {
        u16 id = 0;
        const u32 status = _IndexNoToCardID(name_.c_str(), number, &id);
        if (Low(status) != BXD_OK) { throw Failure(name_ + ": it cannot be read: " + StatusText(status)); }
        return id;
    }

    std::string name_;
    BoxFile box_;
    std::vector<u32> gaps_;  // entries whose cards are not in the box
};

CardFormat FormatOf(const FindOptions& options)
{
    if (options.json || options.format == "json") { return CardFormat::kJson; }
    return options.format == "csv" ? CardFormat::kCsv : CardFormat::kTable;
}

// Cards that are deleted, and kept for a synchronisation, are no answer.
void WriteFound(SearchedIndex* index, const std::string& condition, u16 limit, CardWriter* writer)
{
    u16 number = 0;
    for (u32 written = 0; written < limit;) {
        const std::optional<u16> id = index->Next(condition, &number);
        if (!id) { break; }
        if (!index->Box().HasCard(*id)) { continue; }
        writer->Add(*id);
        written++;
    }
}

// Gives an index in memory its cards; false where the box has none.
bool Fill(const FindOptions& options, const SearchedIndex& index)
{
    const u32 status = _IndexUnGroup(index.Name().c_str(), index.Box().Handle());
    if (Low(status) != BXD_OK && Low(status) != BXD_ERR_EMPTY) {
        throw Failure(options.box + ": its cards cannot be listed: " + StatusText(status));
    }
    return Low(status) == BXD_OK;
}

void FindInBox(const FindOptions& options, const Query& query, CardWriter* writer)
{
    const MemoryIndex memory(options.box);
    SearchedIndex index(memory.Name(), memory.BoxName());
    if (!Fill(options, index)) { return; }
    WriteFound(&index, query.ConditionForScan(), options.limit, writer);
}

void FindInIndex(const FindOptions& options, const Query& query, CardWriter* writer)
{
    SearchedIndex index(options.index, RequireIndexOf(options.index, options.box));
    index.LookForGaps();
    const std::string order = IndexFile(options.index).Find(kSortRecord).value_or("");
    WriteFound(&index, query.AgreesWith(order) ? query.Condition() : query.ConditionForScan(), options.limit,
               writer);
    if (index.Gaps() > 0) {
        writer->End();
        throw Failure(options.index + ": " + std::to_string(index.Gaps()) +
                      " of its cards are not in the box");
    }
}

}  // namespace

void RunFind(const FindOptions& options)
{
    BoxFile box(options.box, BoxFile::kReadOnly);
    const Query query(options.query, box.Items());
    CardWriter writer(box, {FormatOf(options), options.all, options.width});
    if (options.index.empty()) {
        FindInBox(options, query, &writer);
    } else {
        FindInIndex(options, query, &writer);
    }
    writer.End();
    box.Close();
}

}  // namespace tool
