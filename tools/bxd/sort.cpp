// SPDX-License-Identifier: MIT
#include "tools/bxd/sort.h"

#include <bxd/bxd.h>

#include "tools/bxd/box_file.h"
#include "tools/bxd/failure.h"
#include "tools/bxd/file_lock.h"
#include "tools/bxd/index_file.h"
#include "tools/bxd/indexes.h"
#include "tools/bxd/output.h"
#include "tools/bxd/status_text.h"
#include "tools/bxd/text.h"

namespace tool {
namespace {

constexpr std::size_t kKeysMax = 12;
constexpr char kKeyMark = '\xFE';
constexpr char kAscending = '\x80';  // texts by their language
constexpr char kDescending = '\x81';

u32 Low(u32 status) { return status & 0xFFFF; }

void Require(const std::string& index, const char* what, u32 status)
{
    if (Low(status) != BXD_OK) { throw Failure(index + ": " + what + ": " + StatusText(status)); }
}

// One key of the sort condition: the tag of the item, a mark, the direction.
std::string KeyOf(const BoxFile& box, const std::string& word)
{
    const std::size_t colon = word.find(':');
    const std::string name = word.substr(0, colon);
    const std::string direction = colon == std::string::npos ? "asc" : word.substr(colon + 1);
    if (direction != "asc" && direction != "desc") {
        throw UsageFailure("\"" + word + "\": TAG, TAG:asc or TAG:desc is expected");
    }
    const Item* item = box.FindItem(name);
    if (item == nullptr) { throw UsageFailure(box.Name() + ": it has no item " + name); }
    return item->tag + kKeyMark + (direction == "desc" ? kDescending : kAscending);
}

std::string ConditionOf(const std::string& boxName, const std::vector<std::string>& by)
{
    if (by.size() > kKeysMax) { throw UsageFailure("an index is sorted by at most twelve items"); }
    BoxFile box(boxName, BoxFile::kReadOnly);
    std::string condition;
    for (const std::string& word : by) { condition += KeyOf(box, word); }
    box.Close();
    condition.push_back('\0');
    return condition;
}

}  // namespace

void RunSort(const SortOptions& options)
{
    const std::string box = RequireBoxOf(options.index);
    const IndexFile file(options.index);
    const bool takesAll = file.ByteOf(kModeRecord) == static_cast<u8>(UpdateMode::kAll);
    const std::string condition = ConditionOf(box, options.by);

    const FileLock lock(box);
    const char* name = options.index.c_str();
    Require(options.index, "the sort condition cannot be written",
            _IndexInfoWriteWithCheck(name, kSortRecord, reinterpret_cast<const u8*>(condition.data()),
                                     static_cast<u16>(condition.size())));
    // The cards of a filtered and of a hand-kept index have been chosen, and stay.
    u32 status = takesAll ? _IndexUnGroup(name, nullptr) : u32{BXD_OK};
    if (Low(status) == BXD_OK) { status = _IndexSort(name, nullptr); }
    if (Low(status) != BXD_ERR_EMPTY) { Require(options.index, "it cannot be sorted", status); }

    const IndexFile sorted(options.index);
    const uint64_t entries = sorted.VisibleEntries() + sorted.HiddenEntries();
    if (options.json) {
        PrintJson({{"index", options.index}, {"entries", entries}});
    } else {
        Print(Printable(options.index) + ": " + std::to_string(entries) + " entries in order\n");
    }
}

std::vector<u16> CardsInOrder(const std::string& index, const std::string& box)
{
    (void)RequireIndexOf(index, box);
    std::vector<u16> ids;
    u16 number = 0;
    u32 status = BXD_OK;
    while (Low(status = _NextIndexNo(index.c_str(), 0, 0, 0, &number)) == BXD_OK) {
        u16 id = 0;
        Require(index, "it cannot be read", _IndexNoToCardID(index.c_str(), number, &id));
        ids.push_back(id);
    }
    if (Low(status) != BXD_ERR_NOTFOUND) { Require(index, "it cannot be read", status); }
    return ids;
}

}  // namespace tool
