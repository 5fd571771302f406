// SPDX-License-Identifier: MIT
// An index file as the tool shows it: its header, its information records and how many entries it has, as far
// as the file can be understood.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/bxd/file_map.h"

namespace tool {

// Tags of the records that the tool reads and writes.
enum RecordTag : u8 {
    kBoxNameRecord = 1,
    kSortRecord = 2,
    kTypeRecord = 4,
    kModeRecord = 32,
    kLanguageRecord = 33,
    kSortVersionRecord = 34,
};

enum class UpdateMode : u8 { kAll = 0, kFilter = 1, kHand = 2 };

struct InfoRecord {
    u8 tag = 0;
    std::string bytes;
};

class IndexFile {
public:
    // Throws where the file cannot be read or is no index file.
    explicit IndexFile(const std::string& name);

    const FileMap& Map() const { return map_; }
    const std::vector<InfoRecord>& Records() const { return records_; }
    bool IsMaster() const { return map_.kind == FileKind::kMasterIndex; }

    // The bytes of a record, nothing where there is none.
    std::optional<std::string> Find(u8 tag) const;
    // The byte of a record; 0 counts for what is absent or of another length.
    u8 ByteOf(u8 tag) const;
    uint64_t VisibleEntries() const { return map_.TallyOf(Part::kEntry).pieces; }
    uint64_t HiddenEntries() const { return map_.TallyOf(Part::kHiddenEntry).pieces; }

private:
    FileMap map_;
    std::vector<InfoRecord> records_;
};

// "idx" or "tdx".
const char* KindWord(bool isMaster);
// "all", "filter" or "hand"; nothing for another word.
const char* ModeWord(u8 mode);
std::optional<UpdateMode> ModeByWord(std::string_view word);
// "0x82"
std::string TypeWord(u8 type);

// The value of a record as people read it.
std::string TextOfRecord(const InfoRecord& record);

}  // namespace tool
