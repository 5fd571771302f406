// SPDX-License-Identifier: MIT
// A second opinion on the index file, beside that on the box: it puts index files together byte by byte and
// takes them apart again, without a line of the library.
//
//   IndexBuilder index(27);                         header of the master kind; 28 for the other
//   index.record(1, B("A.BOX"));                    a record of the information area
//   index.entry(7, 0x47);                           an entry of the card table: id, attribute, flags
//   Bytes file = index.build();                     and the end mark
//
// Without entry() or table() there is no card table, without record() or area() no information area. build()
// may be called at any time and leaves the builder as it was. FirstIndexFault tells in words what is wrong
// with a file; IndexView asks one that is sound.
#pragma once

#include <optional>

#include "tests/support/box_builder.h"

namespace boxtest {

namespace ix {
constexpr Field fileMark{0, 1, "fileMark"};
constexpr Field reserved1{1, 1, "reserved at 1"};
constexpr Field fileId{2, 1, "fileId"};
constexpr Field fileVersion{3, 1, "fileVersion"};
constexpr Field tablePos{4, 4, "tablePos"};
constexpr Field infoPos{8, 4, "infoPos"};
constexpr Field fileInfo{12, 1, "fileInfo"};
constexpr Field reserved16{16, 4, "reserved at 16"};
constexpr Field reserved20{20, 4, "reserved at 20"};

constexpr std::array<Field, 9> kAll{fileMark, reserved1, fileId,     fileVersion, tablePos,
                                    infoPos,  fileInfo,  reserved16, reserved20};
}  // namespace ix

constexpr std::uint32_t kIndexHeaderBytes = 24;
constexpr std::uint8_t kMasterKind = 27;
constexpr std::uint8_t kListKind = 28;

struct IndexRecord {
    std::uint8_t tag;
    Bytes data;

    bool operator==(const IndexRecord&) const = default;
};

struct IndexEntry {
    std::uint32_t cardId;
    std::uint8_t attr = 0x47;
    std::uint8_t flags = 0;  // bit 0: the doubly bit

    bool operator==(const IndexEntry&) const = default;
};

inline Bytes EncodeRecord(const IndexRecord& record)
{
    Bytes out{record.tag};
    Add16(out, static_cast<std::uint32_t>(record.data.size()));
    return out + record.data;
}

// A card table; `count` differs from the number of entries in a damaged one.
inline Bytes EncodeCardTable(const std::vector<IndexEntry>& entries, std::optional<std::uint32_t> count = {})
{
    Bytes out;
    Add16(out, count.value_or(static_cast<std::uint32_t>(entries.size())));
    for (const IndexEntry& entry : entries) {
        Add16(out, entry.cardId);
        out.push_back(entry.attr);
        out.push_back(entry.flags);
    }
    Add16(out, kEndMark);
    return out;
}

inline Bytes IndexHeader(std::uint8_t kind)
{
    return Bytes{0xFF, 0x00, kind, 0x30} + Bytes(8, 0xFF) + Bytes{0x00, 0xFF, 0xFF, 0xFF} + Bytes(4, 0xFF) +
           Bytes(4, 0x00);
}

class IndexBuilder {
public:
    explicit IndexBuilder(std::uint8_t kind = kMasterKind) : kind_(kind) {}

    // An information area, even if it has no record.
    IndexBuilder& area()
    {
        hasArea_ = true;
        return *this;
    }
    IndexBuilder& record(std::uint8_t tag, const Bytes& data)
    {
        records_.push_back({tag, data});
        return area();
    }
    IndexBuilder& record(std::uint8_t tag, std::string_view text) { return record(tag, B(text)); }
    IndexBuilder& record(std::uint8_t tag, const char* text) { return record(tag, B(text)); }
    // The records that every new index has, language and version of the sort codes.
    IndexBuilder& created(std::string_view language = "en")
    {
        record(33, B(language));
        return record(34, Bytes{1});
    }
    // A card table, even if it has no entry.
    IndexBuilder& table()
    {
        hasTable_ = true;
        return *this;
    }
    IndexBuilder& entry(std::uint32_t cardId, std::uint8_t attr = 0x47, std::uint8_t flags = 0)
    {
        entries_.push_back({cardId, attr, flags});
        return table();
    }
    IndexBuilder& entries(const std::vector<IndexEntry>& entries)
    {
        entries_.insert(entries_.end(), entries.begin(), entries.end());
        return table();
    }
    // A header field that is not what it should be, and a count that is not the number of entries.
    IndexBuilder& setField(const Field& f, std::uint32_t value)
    {
        overrides_.emplace_back(f, value);
        return *this;
    }
    IndexBuilder& setCount(std::uint32_t count)
    {
        count_ = count;
        return table();
    }

    Bytes build() const
    {
        Bytes file = IndexHeader(kind_);
        if (hasArea_) {
            SetField(file, ix::infoPos, kIndexHeaderBytes);
            for (const IndexRecord& record : records_) { file = file + EncodeRecord(record); }
            file.push_back(0);
        }
        if (hasTable_) {
            SetField(file, ix::tablePos, static_cast<std::uint32_t>(file.size()));
            file = file + EncodeCardTable(entries_, count_);
        }
        for (const auto& [f, value] : overrides_) { SetField(file, f, value); }
        return file;
    }

private:
    std::uint8_t kind_;
    bool hasArea_ = false;
    bool hasTable_ = false;
    std::vector<IndexRecord> records_;
    std::vector<IndexEntry> entries_;
    std::optional<std::uint32_t> count_;
    std::vector<std::pair<Field, std::uint32_t>> overrides_;
};

// An index file taken apart; `fault` says why it could not be, or what is wrong with it.
struct IndexContent {
    std::string fault;
    std::uint8_t kind = 0;
    bool hasArea = false;
    bool hasTable = false;
    std::vector<IndexRecord> records;
    std::vector<IndexEntry> entries;
};

// Takes the records from infoPos on, and gives the place behind the byte that ends them; 0 with a fault.
inline std::size_t TakeRecords(const Bytes& file, std::size_t end, IndexContent* out)
{
    std::size_t at = kIndexHeaderBytes;
    std::set<std::uint8_t> tags;
    while (at < end && file[at] != 0) {
        if (at + 3 > end || at + 3 + Get16(file, at + 1) >= end) {
            out->fault = At("a record leaves the information area", static_cast<std::uint32_t>(at));
            return 0;
        }
        if (!tags.insert(file[at]).second) {
            out->fault = "tag " + std::to_string(file[at]) + " stands in the information area twice";
            return 0;
        }
        const std::uint32_t length = Get16(file, at + 1);
        out->records.push_back({file[at], Slice(file, at + 3, length)});
        at += 3 + length;
    }
    if (at + 1 != end) {
        out->fault =
            At("the byte 0 of the information area is not its last,", static_cast<std::uint32_t>(at));
        return 0;
    }
    return at + 1;
}

inline void TakeEntries(const Bytes& file, std::size_t at, IndexContent* out)
{
    if (at + 4 > file.size() || at + 4 + 4 * Get16(file, at) != file.size()) {
        out->fault = "the card table does not end with the file";
        return;
    }
    const std::uint32_t count = Get16(file, at);
    if (Get16(file, file.size() - 2) != kEndMark) { out->fault = "the card table has no end mark"; }
    for (std::uint32_t n = 0; n < count; ++n) {
        const std::size_t entry = at + 2 + std::size_t{4} * n;
        out->entries.push_back({Get16(file, entry), file[entry + 2], file[entry + 3]});
        if (out->entries.back().cardId == 0 || out->entries.back().cardId > kLastNormalId) {
            out->fault = "entry " + std::to_string(n + 1) + " has no card id";
        }
    }
}

inline IndexContent TakeIndexApart(const Bytes& file)
{
    IndexContent out;
    if (file.size() < kIndexHeaderBytes) {
        out.fault = "the header is short";
        return out;
    }
    out.kind = file[2];
    if (file[0] != 0xFF || (file[3] & 0xF0) != 0x30 || (out.kind != kMasterKind && out.kind != kListKind)) {
        out.fault = "the header is not that of an index";
        return out;
    }
    const std::uint32_t tablePos = GetField(file, ix::tablePos);
    const std::uint32_t infoPos = GetField(file, ix::infoPos);
    out.hasArea = infoPos != kNone;
    out.hasTable = tablePos != kNone;
    if (out.hasArea && infoPos != kIndexHeaderBytes) { out.fault = "infoPos is not 24"; }
    if (out.hasTable && (tablePos > file.size() || !out.hasArea)) { out.fault = "tablePos is wrong"; }
    if (!out.fault.empty()) { return out; }
    const std::size_t areaEnd = out.hasTable ? tablePos : file.size();
    if (out.hasArea && TakeRecords(file, areaEnd, &out) == 0) { return out; }
    if (!out.hasArea && file.size() != kIndexHeaderBytes) { out.fault = "bytes behind the header"; }
    if (out.hasTable) { TakeEntries(file, tablePos, &out); }
    return out;
}

// What is wrong with an index file, in words; empty when it is sound.
inline std::string FirstIndexFault(const Bytes& file) { return TakeIndexApart(file).fault; }

// Questions to an index file.
class IndexView {
public:
    explicit IndexView(Bytes file) : file_(std::move(file)), content_(TakeIndexApart(file_)) {}

    const Bytes& file() const { return file_; }
    const std::string& fault() const { return content_.fault; }
    std::uint8_t kind() const { return content_.kind; }
    bool hasTable() const { return content_.hasTable; }
    const std::vector<IndexRecord>& records() const { return content_.records; }
    const std::vector<IndexEntry>& entries() const { return content_.entries; }
    std::uint32_t field(const Field& f) const { return GetField(file_, f); }
    // The data of a record, or nothing where there is none of that tag.
    std::optional<Bytes> record(std::uint8_t tag) const
    {
        for (const IndexRecord& record : content_.records) {
            if (record.tag == tag) { return record.data; }
        }
        return std::nullopt;
    }
    std::vector<std::uint32_t> cardIds() const
    {
        std::vector<std::uint32_t> ids;
        for (const IndexEntry& entry : content_.entries) { ids.push_back(entry.cardId); }
        return ids;
    }

private:
    Bytes file_;
    IndexContent content_;
};

// --- index tables of boxes -------------------------------------------------------------------------------

// An index table taken apart: its entries up to the length word that ends them, which stands at `end`.
struct NameTable {
    std::string fault;
    std::uint32_t pos = 0;   // of the block in the box
    std::uint32_t body = 0;  // its body length
    std::uint32_t end = 0;   // of the closing word, counted from the block
    std::vector<IndexEntrySpec> entries;

    std::vector<std::string> names() const
    {
        std::vector<std::string> out;
        for (const IndexEntrySpec& entry : entries) { out.push_back(entry.name); }
        return out;
    }
};

inline NameTable TakeIndexTableApart(const Bytes& box)
{
    NameTable out;
    out.pos = GetField(box, hd::indexTable);
    const std::uint32_t size = GetField(box, hd::indexTableSize);
    if (out.pos == kNone) {
        out.fault = "the box has no index table";
        return out;
    }
    if (size < kHeadBytes || std::size_t{out.pos} + size > box.size() ||
        Get16(box, out.pos) != kIndexTableId) {
        out.fault = "no index table where the header says";
        return out;
    }
    out.body = Get32(box, out.pos + std::size_t{2});
    if (out.body + kHeadBytes != size) { out.fault = "indexTableSize is not the block's size"; }
    std::size_t at = kHeadBytes;
    while (at + 2 <= size) {
        const std::size_t entry = out.pos + at;
        const std::uint32_t length = Get16(box, entry);
        if (length == 0 || length == 0xFFFF) { break; }
        if (at + 2 + length > size || length < 12) {
            out.fault = "an entry leaves the index table";
            break;
        }
        const std::string text = Text(Slice(box, entry + 12, length - 10));
        out.entries.push_back({text.c_str(), box[entry + 2], box[entry + 3], box[entry + 4], box[entry + 5]});
        at += 2 + length;
    }
    out.end = static_cast<std::uint32_t>(at);
    return out;
}

}  // namespace boxtest
