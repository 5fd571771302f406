// SPDX-License-Identifier: MIT
// What lies where in a box or an index file: the file divided into extents, each of one part.
//
//   0        72            2120          cardOffset                                size
//   +--------+-------------+-------------+--------+------+--------+----+-----------+
//   | header | offset      | item table  | card 1 | dead | card 2 | FF | unreach-  |
//   |        | table       |             |        | card |        | FF | able      |
//   +--------+-------------+-------------+--------+------+--------+----+-----------+
//
// Every byte belongs to exactly one extent, whatever the file holds. Where a length or a position makes no
// sense, the map says so in a finding, shows what comes before as usual, and takes what can no longer be
// told apart for damage.
#pragma once

#include <bxd/types.h>

#include <array>
#include <string>
#include <vector>

#include "tools/bxd/byte_source.h"

namespace tool {

enum class FileKind : u8 { kUnknown, kBox, kMasterIndex, kListIndex };

enum class Part : u8 {
    kHeader,
    // of a box
    kItemTable,
    kOffsetTable,
    kAppendTable,
    kOffsetCard,
    kIndexTable,
    kExtendedInfo,
    kSystemCard,
    kTemporaryCard,
    kCard,
    kDeadCard,
    // of an index file
    kRecord,
    kRecordsEnd,
    kEntryCount,
    kEntry,
    kHiddenEntry,
    // of both
    kEndMark,
    kUnreachable,
    kDamage,
};
constexpr std::size_t kParts = static_cast<std::size_t>(Part::kDamage) + 1;

struct Extent {
    uint64_t at = 0;
    uint64_t size = 0;
    Part part = Part::kDamage;
    u16 number = 0;  // id of a card, or of an entry's card; tag of a record

    uint64_t end() const { return at + size; }
};

// Something that is not as it should be.
struct Finding {
    uint64_t at = 0;
    std::string text;
};

struct Tally {
    uint64_t bytes = 0;
    uint64_t pieces = 0;
};

struct FileMap {
    FileKind kind = FileKind::kUnknown;
    uint64_t size = 0;
    std::vector<Extent> extents;  // in the order of the file, without gaps
    std::vector<Finding> findings;
    std::vector<u8> header;  // as many of its bytes as there are

    Tally TallyOf(Part part) const { return tallies[static_cast<std::size_t>(part)]; }
    std::array<Tally, kParts> tallies{};
};

// An unknown kind comes with one extent of damage over the whole file; an empty file has none.
FileMap MapBytes(ByteSource* source);

bool IsIndex(FileKind kind);
// "box", "index (idx)", ...
const char* KindName(FileKind kind);
// What the library keeps in the record of this tag; "record of the application" for the others.
const char* RecordName(u16 tag);
// For example "card 12" or "record 1, name of the box".
std::string Describe(const Extent& extent);

// Fields of an index file's header, for those who show them; FieldOf gives 0 for what is cut off.
constexpr std::size_t kIndexVersionAt = 3;    // u8
constexpr std::size_t kIndexTablePosAt = 4;   // u32
constexpr std::size_t kIndexInfoPosAt = 8;    // u32
constexpr std::size_t kIndexFileInfoAt = 12;  // u8, the application's
constexpr std::size_t kIndexRecordHead = 3;   // tag and length in front of a record's data
constexpr u32 kPositionUnset = 0xFFFFFFFF;
u32 WordAt(const std::vector<u8>& header, std::size_t at);

}  // namespace tool
