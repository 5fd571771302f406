// SPDX-License-Identifier: MIT
// What the file check can find, in one table, and how a find is reported: the first one ends the run.
//
//   fault --> kDiagFaults[fault] = { status, level, message }
//                |        |        +--> standard error; the entry keeps the format, so it is a literal
//                |        +--> of the entry: that of the run, or always 255
//                +--> of the entry and of the check: a number, or that of the call that failed
//
// The messages are Japanese, as the applications show them; the table has what they say beside them.
#pragma once

#include <bxd/files.h>

// In the order in which a run may meet them: the file as such, a box, an index.
enum class DiagFault : u8 {
    kIdentifierRead,
    kExtent,
    kVersion,
    kStamp,
    kIdentifier,

    kBoxHeaderRead,
    kBoxHeaderShort,
    kBoxSize,
    kBoxPointer,
    kUnUsedCardId,
    kItemHeap,
    kItemRead,
    kItemShort,
    kItemLength,
    kItemTotal,
    kChainHead,
    kChainId,
    kLengthTable,
    kBoxTail,
    kBoxEndRead,
    kBoxEndShort,
    kBoxEndMark,
    kOffsetCardHead,
    kOffsetCardId,
    kOffsetCardSize,
    kOffsetCardHeap,
    kOffsetCardRead,
    kOffsetCardShort,
    kAppendPointer,
    kAppendIdRead,
    kAppendId,
    kFirstChainRead,
    kFirstChain,
    kTableHeap,
    kTableRead,
    kTableShort,
    kSystemSlot,
    kCardSlot,
    kAppendHeadRead,
    kAppendHeadShort,
    kAppendBodyRead,
    kAppendBodyShort,
    kAppendSlot,
    kNormalCards,
    kLiveCards,
    kIndexTableHeap,
    kIndexTableRead,
    kIndexTableShort,
    kIndexTableId,

    kIndexHeaderRead,
    kIndexHeaderShort,
    kIndexSize,
    kTablePos,
    kInfoPos,
    kInfoHeap,
    kInfoRead,
    kInfoShort,
    kInfoRecord,
    kCountRead,
    kCountShort,
    kIndexTail,
    kIndexTooShort,
    kIndexEndRead,
    kIndexEndShort,
    kIndexEndMark,
    kEntriesHeap,
    kEntriesRead,
    kEntryId,
    kEntryTwice,
    kEntryHidden,
    kLanguage
};

constexpr u32 kDiagFaultCount = static_cast<u32>(DiagFault::kLanguage) + 1;

struct DiagFaultRow {
    DiagFault fault;
    u16 status;  // 0: that of the call that failed
    u8 level;    // 0: that of the run
    const char* message;
};

extern const DiagFaultRow kDiagFaults[kDiagFaultCount];

// What a read of the check gives where fewer bytes come than asked for: no status has more than 16 bits.
constexpr u32 kDiagShort = 0x10000;

// A file under check.
struct DiagRun {
    u8 fid;
    u8 level;
    char name[BXD_PATH_SIZE];  // as it was opened
};

namespace bxd {

void BeginDiag(DiagRun* run, u8 fid, u8 level);

// Registers the file, with the status of the table where `status` is 0. `first` and `second` fill in what
// the message wants. The result is the status.
[[nodiscard]] u32 ReportFault(const DiagRun& run, DiagFault fault, u32 status = BXD_OK, u32 first = 0,
                              u32 second = 0);

// Reads `len` bytes: 0, kDiagShort, or the status of the read. No position wraps.
[[nodiscard]] u32 ReadForDiag(const DiagRun& run, uint64_t pos, void* buf, u32 len);

// Registers what such a read gave other than 0; a check that knows no short read takes it for a failed one.
[[nodiscard]] u32 ReportRead(const DiagRun& run, u32 readResult, DiagFault failed, DiagFault cutShort);
[[nodiscard]] u32 ReportRead(const DiagRun& run, u32 readResult, DiagFault failed);

}  // namespace bxd
