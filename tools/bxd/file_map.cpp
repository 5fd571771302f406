// SPDX-License-Identifier: MIT
// The two formats, as far as a map needs them. All integers are little-endian.
//
//   both, 0   FF | 00 | file id: 16 box, 27 idx, 28 tdx | version, high nibble 3
//
//   box       4 u32 cardOffset     8 u32 itemOffset   12 u32 itemSize   16 u32 offsetTable
//             A chain of cards leads from cardOffset to an end mark FF FF:
//             u16 id | u32 length | length bytes, and the next card follows.
//
//   index     4 u32 tablePos       8 u32 infoPos
//             Records from infoPos on:  u8 tag | u16 length | length bytes;  a tag of 0 ends them.
//             The table at tablePos:    u16 count | count entries | FF FF
//             An entry:                 u16 id of the card | u8 attribute | u8 flags, bit 0 hides it
#include "tools/bxd/file_map.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

constexpr std::size_t kFileMarkAt = 0;
constexpr u8 kFileMark = 0xFF;
constexpr std::size_t kFileIdAt = 2;
constexpr std::size_t kVersionAt = 3;
constexpr u8 kBoxId = 16;
constexpr u8 kMasterIndexId = 27;
constexpr u8 kListIndexId = 28;
constexpr std::size_t kFrontBytes = 4;  // these fields
constexpr u8 kBarred = 0xFF;            // the version of an index whose sorting has failed

constexpr std::size_t kBoxHeader = 72;
constexpr std::size_t kCardOffsetAt = 4;
constexpr std::size_t kItemOffsetAt = 8;
constexpr std::size_t kItemSizeAt = 12;
constexpr std::size_t kOffsetTableAt = 16;
constexpr uint64_t kOffsetTableBytes = 2048;
constexpr std::size_t kCardHead = 6;
constexpr std::size_t kCardLengthAt = 2;

constexpr std::size_t kIndexHeader = 24;
constexpr std::size_t kCountBytes = 2;
constexpr std::size_t kEntryBytes = 4;
constexpr std::size_t kEntryFlagsAt = 3;
constexpr u8 kHiddenBit = 0x01;

constexpr std::size_t kEndMarkBytes = 2;

// A box has 65279 live cards at most, and some dead ones. A file of more pieces than these was made to
// fill the memory.
constexpr std::size_t kMostExtents = 1000000;
constexpr std::size_t kMostFindings = 50;

Part PartOfCard(u16 id)
{
    if (id == CARD_ID_DEAD) { return Part::kDeadCard; }
    if (id <= CARD_ID_NORMAL_MAX) { return Part::kCard; }
    if (id == TMP_SYSTEM_CARD_ID) { return Part::kTemporaryCard; }
    if (id <= SYSTEM_CARD_ID_MAX) { return Part::kSystemCard; }
    switch (id) {
    case OFFSET_TABLE_ID: return Part::kAppendTable;
    case INDEX_TABLE_ID: return Part::kIndexTable;
    case OFFSET_CARD_ID: return Part::kOffsetCard;
    case EXT_INFO_ID: return Part::kExtendedInfo;
    default: return Part::kDamage;  // an id without a meaning; the chain goes on behind it
    }
}

FileKind KindOf(const std::vector<u8>& front)
{
    if (front.size() < kFrontBytes || front[kFileMarkAt] != kFileMark) { return FileKind::kUnknown; }
    switch (front[kFileIdAt]) {
    case kBoxId: return FileKind::kBox;
    case kMasterIndexId: return FileKind::kMasterIndex;
    case kListIndexId: return FileKind::kListIndex;
    default: return FileKind::kUnknown;
    }
}

// Divides one file. Areas are claimed one after the other, each in the order of the file; where one lies over
// an earlier one, the earlier one keeps its bytes.
class Mapper {
public:
    explicit Mapper(ByteSource* source) : source_(source), size_(source->Size()) { map_.size = size_; }

    FileMap Map();

private:
    struct Range {
        uint64_t begin;
        uint64_t end;
    };
    enum Step { kGoesOn, kClosed, kBroken };  // how an area is left after one of its pieces

    std::vector<u8> Bytes(uint64_t at, std::size_t count);
    void Note(uint64_t at, const std::string& text);
    // An extent of the area in work; only what lies in the file and in no earlier area becomes one.
    void Add(uint64_t at, uint64_t size, Part part, u16 number = 0);
    void CloseArea(uint64_t begin, uint64_t end);
    // A whole area of one part that a position of the header leads to.
    void AddArea(const char* what, u32 at, uint64_t size, Part part);
    Step Broken(uint64_t at, uint64_t limit, const std::string& text);
    // The header, whole or what there is of it: false for the latter.
    bool MapHeader(std::size_t bytes);
    // Pieces one behind the other up to the one that closes the area. `piece` maps the one at a place and
    // moves the place behind it.
    template <typename Piece>
    void MapPieces(const char* what, uint64_t begin, uint64_t limit, Piece piece);

    void MapBox();
    Step MapCard(uint64_t* at);
    void MapIndex();
    Step MapRecord(uint64_t* at, uint64_t limit);
    void MapTable(uint64_t begin);
    Step MapEntry(uint64_t* at, u32 number, u32 count);
    void Finish();

    ByteSource* source_;
    uint64_t size_;
    FileMap map_;
    std::vector<Range> areas_;
    uint64_t overlap_ = 0;  // bytes that two areas want
};

std::vector<u8> Mapper::Bytes(uint64_t at, std::size_t count)
{
    std::vector<u8> bytes(count);
    bytes.resize(source_->Read(at, bytes.data(), count));
    return bytes;
}

void Mapper::Note(uint64_t at, const std::string& text)
{
    if (map_.findings.size() < kMostFindings) {
        map_.findings.push_back({at, text});
    } else if (map_.findings.size() == kMostFindings) {
        map_.findings.push_back({at, "and more that is not told"});
    }
}

void Mapper::Add(uint64_t at, uint64_t size, Part part, u16 number)
{
    const uint64_t end = std::min(at + size, size_);
    while (at < end) {
        uint64_t free = at;
        uint64_t stop = end;
        for (const Range& area : areas_) {  // sorted
            if (area.end <= free) { continue; }
            if (area.begin > free) {
                stop = std::min(stop, area.begin);
                break;
            }
            free = area.end;
        }
        overlap_ += std::min(free, end) - at;
        if (free >= end) { return; }
        map_.extents.push_back({free, stop - free, part, number});
        at = stop;
    }
}

void Mapper::CloseArea(uint64_t begin, uint64_t end)
{
    if (begin < end) { areas_.push_back({begin, std::min(end, size_)}); }
    std::sort(areas_.begin(), areas_.end(), [](const Range& a, const Range& b) { return a.begin < b.begin; });
    if (overlap_ != 0) {
        Note(begin, "what begins here lies over other parts of the file with " + std::to_string(overlap_) +
                        " bytes");
    }
    overlap_ = 0;
}

void Mapper::AddArea(const char* what, u32 at, uint64_t size, Part part)
{
    if (at >= size_) {
        Note(at, std::string("the ") + what + " should be here, outside the file");
        return;
    }
    if (at + size > size_) {
        Note(at, std::string("the ") + what + " should have " + std::to_string(size) +
                     " bytes; the file has " + std::to_string(size_ - at) + " from here");
    }
    Add(at, size, part);
    CloseArea(at, at + size);
}

// From `at` to `limit` nothing can be told apart.
Mapper::Step Mapper::Broken(uint64_t at, uint64_t limit, const std::string& text)
{
    Note(at, text);
    Add(at, limit - at, Part::kDamage);
    return kBroken;
}

// Maps the card or the end mark at *at and moves *at behind it.
Mapper::Step Mapper::MapCard(uint64_t* at)
{
    const std::vector<u8> head = Bytes(*at, kCardHead);
    if (head.empty()) { return Broken(*at, size_, "the chain of cards ends without an end mark"); }
    if (head.size() < kEndMarkBytes) { return Broken(*at, size_, "half an end mark, or half a card"); }
    const u16 id = GET_2BYTES(head.data());
    if (id == END_MARK_ID) {
        Add(*at, kEndMarkBytes, Part::kEndMark);
        *at += kEndMarkBytes;
        return kClosed;
    }
    if (head.size() < kCardHead) { return Broken(*at, size_, "the file ends in the head of a card"); }
    const uint64_t total = kCardHead + uint64_t{GET_4BYTES(head.data() + kCardLengthAt)};
    const Extent card = {*at, total, PartOfCard(id), id};
    if (total > size_ - *at) {
        return Broken(*at, size_,
                      "the chain breaks: " + Describe(card) + " says that it has " + std::to_string(total) +
                          " bytes, and there are " + std::to_string(size_ - *at));
    }
    if (map_.extents.size() >= kMostExtents) {
        return Broken(*at, size_, "there are too many cards; the rest is not told apart");
    }
    if (card.part == Part::kDamage) { Note(*at, "a card with the id " + std::to_string(id)); }
    Add(*at, total, card.part, id);
    *at += total;
    return kGoesOn;
}

bool Mapper::MapHeader(std::size_t bytes)
{
    map_.header = Bytes(0, bytes);
    Add(0, bytes, Part::kHeader);
    CloseArea(0, bytes);
    const bool whole = map_.header.size() == bytes;
    if (!whole) { Note(map_.header.size(), "the file ends in its header"); }
    return whole;
}

template <typename Piece>
void Mapper::MapPieces(const char* what, uint64_t begin, uint64_t limit, Piece piece)
{
    if (begin >= size_) {
        Note(begin, std::string("the ") + what + " should begin here, outside the file");
        return;
    }
    uint64_t at = begin;
    Step step = kGoesOn;
    while (step == kGoesOn) { step = piece(&at); }
    CloseArea(begin, step == kClosed ? at : limit);
}

void Mapper::MapBox()
{
    if (!MapHeader(kBoxHeader)) { return; }
    const auto field = [this](std::size_t at) { return WordAt(map_.header, at); };
    AddArea("default offset table", field(kOffsetTableAt), kOffsetTableBytes, Part::kOffsetTable);
    if (field(kItemOffsetAt) != kPositionUnset) {
        AddArea("item table", field(kItemOffsetAt), field(kItemSizeAt), Part::kItemTable);
    }
    if (field(kCardOffsetAt) != kPositionUnset) {
        MapPieces("chain of cards", field(kCardOffsetAt), size_,
                  [this](uint64_t* at) { return MapCard(at); });
    }
}

// Maps the record or the end byte at *at and moves *at behind it.
Mapper::Step Mapper::MapRecord(uint64_t* at, uint64_t limit)
{
    const std::vector<u8> head = Bytes(*at, kIndexRecordHead);
    if (*at >= limit || head.empty()) {
        return Broken(*at, limit, "the information records end without an end byte");
    }
    if (head[0] == 0) {
        Add(*at, 1, Part::kRecordsEnd);
        *at += 1;
        return kClosed;
    }
    const uint64_t left = limit - *at;
    if (head.size() < kIndexRecordHead || left < kIndexRecordHead) {
        return Broken(*at, limit, "the information area ends in the head of a record");
    }
    const uint64_t total = kIndexRecordHead + uint64_t{GET_2BYTES(head.data() + 1)};
    if (total > left) {
        return Broken(*at, limit,
                      "record " + std::to_string(head[0]) + " says that it has " + std::to_string(total) +
                          " bytes, and there are " + std::to_string(left));
    }
    Add(*at, total, Part::kRecord, head[0]);
    *at += total;
    return kGoesOn;
}

// Maps entry `number` of `count`, or what stands behind the last, and moves *at behind it.
Mapper::Step Mapper::MapEntry(uint64_t* at, u32 number, u32 count)
{
    const std::vector<u8> entry = Bytes(*at, kEntryBytes);
    const std::string which = "entry " + std::to_string(number) + " of " + std::to_string(count);
    const bool end = entry.size() >= kEndMarkBytes && GET_2BYTES(entry.data()) == END_MARK_ID;
    if (end) {
        if (number <= count) { Note(*at, "an end mark stands in the place of " + which); }
        Add(*at, kEndMarkBytes, Part::kEndMark);
        *at += kEndMarkBytes;
        return kClosed;
    }
    if (number > count) { return Broken(*at, size_, "there is no end mark behind the last entry"); }
    if (entry.size() < kEntryBytes) { return Broken(*at, size_, "the file ends before " + which); }
    const bool hidden = (entry[kEntryFlagsAt] & kHiddenBit) != 0;
    Add(*at, kEntryBytes, hidden ? Part::kHiddenEntry : Part::kEntry, GET_2BYTES(entry.data()));
    *at += kEntryBytes;
    return kGoesOn;
}

void Mapper::MapTable(uint64_t begin)
{
    const std::vector<u8> counter = Bytes(begin, kCountBytes);
    if (counter.size() < kCountBytes) {
        Broken(begin, std::max(begin, size_), "the card table should begin here, behind the end of the file");
        CloseArea(begin, size_);
        return;
    }
    const u32 count = GET_2BYTES(counter.data());
    Add(begin, kCountBytes, Part::kEntryCount);
    uint64_t at = begin + kCountBytes;
    Step step = kGoesOn;
    for (u32 number = 1; step == kGoesOn; number++) { step = MapEntry(&at, number, count); }
    CloseArea(begin, step == kClosed ? at : size_);
}

void Mapper::MapIndex()
{
    if (!MapHeader(kIndexHeader)) { return; }
    const u32 table = WordAt(map_.header, kIndexTablePosAt);
    const u32 info = WordAt(map_.header, kIndexInfoPosAt);
    if (info != kPositionUnset) {
        const bool before = table != kPositionUnset && table > info;
        const uint64_t limit = before ? std::min<uint64_t>(table, size_) : size_;
        MapPieces("information area", info, limit,
                  [this, limit](uint64_t* at) { return MapRecord(at, limit); });
    }
    if (table != kPositionUnset) { MapTable(table); }
}

// Puts the extents in order and fills the gaps.
void Mapper::Finish()
{
    std::vector<Extent> claimed;
    claimed.swap(map_.extents);
    std::sort(claimed.begin(), claimed.end(), [](const Extent& a, const Extent& b) { return a.at < b.at; });
    map_.extents.reserve(claimed.size() + areas_.size() + 1);
    uint64_t at = 0;
    for (const Extent& extent : claimed) {
        if (extent.at > at) { map_.extents.push_back({at, extent.at - at, Part::kUnreachable, 0}); }
        map_.extents.push_back(extent);
        at = extent.end();
    }
    if (at < size_) { map_.extents.push_back({at, size_ - at, Part::kUnreachable, 0}); }
    for (const Extent& extent : map_.extents) {
        Tally& tally = map_.tallies[static_cast<std::size_t>(extent.part)];
        tally.bytes += extent.size;
        tally.pieces++;
    }
}

FileMap Mapper::Map()
{
    const std::vector<u8> front = Bytes(0, kFrontBytes);
    map_.kind = KindOf(front);
    if (map_.kind == FileKind::kUnknown) {
        Broken(0, size_, "this is no file of cards");
    } else {
        if ((front[kVersionAt] & 0xF0) != 0x30) {
            const bool barred = IsIndex(map_.kind) && front[kVersionAt] == kBarred;
            Note(kVersionAt, barred ? "a sorting has failed and barred the index"
                                    : "the version is another one: what follows may not be so");
        }
        if (map_.kind == FileKind::kBox) {
            MapBox();
        } else {
            MapIndex();
        }
    }
    Finish();
    return std::move(map_);
}

}  // namespace

FileMap MapBytes(ByteSource* source) { return Mapper(source).Map(); }

bool IsIndex(FileKind kind) { return kind == FileKind::kMasterIndex || kind == FileKind::kListIndex; }

const char* KindName(FileKind kind)
{
    switch (kind) {
    case FileKind::kBox: return "box";
    case FileKind::kMasterIndex: return "index (idx)";
    case FileKind::kListIndex: return "index (tdx)";
    default: return "unknown";
    }
}

const char* RecordName(u16 tag)
{
    switch (tag) {
    case 1: return "name of the box";
    case 2: return "sort condition";
    case 3: return "search condition";
    case 4: return "type";
    case 32: return "update mode";
    case 33: return "language";
    case 34: return "sort version";
    case 128: return "search condition, compiled";
    case 129: return "sort condition, compiled";
    default: return "of the application";
    }
}

std::string Describe(const Extent& extent)
{
    const std::string number = std::to_string(extent.number);
    switch (extent.part) {
    case Part::kHeader: return "header";
    case Part::kItemTable: return "item table";
    case Part::kOffsetTable: return "default offset table";
    case Part::kAppendTable: return "append table";
    case Part::kOffsetCard: return "offset card";
    case Part::kIndexTable: return "index table";
    case Part::kExtendedInfo: return "extended information card";
    case Part::kSystemCard: return "system card " + number;
    case Part::kTemporaryCard: return "card under edit";
    case Part::kCard: return "card " + number;
    case Part::kDeadCard: return "dead card";
    case Part::kRecord: return "record " + number + ", " + RecordName(extent.number);
    case Part::kRecordsEnd: return "end of the records";
    case Part::kEntryCount: return "number of entries";
    case Part::kEntry: return "entry of card " + number;
    case Part::kHiddenEntry: return "hidden entry of card " + number;
    case Part::kEndMark: return "end mark";
    case Part::kUnreachable: return "bytes that nothing leads to";
    case Part::kDamage: break;
    }
    return extent.number != 0 ? "card with the id " + number : "damage";
}

u32 WordAt(const std::vector<u8>& header, std::size_t at)
{
    return at + sizeof(u32) <= header.size() ? GET_4BYTES(header.data() + at) : 0;
}

}  // namespace tool
