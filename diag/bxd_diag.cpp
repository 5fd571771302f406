// SPDX-License-Identifier: MIT
#include "diag/bxd_diag.h"

#include "box/bxd_box_format.h"
#include "diag/bxd_diag_box.h"
#include "diag/bxd_diag_faults.h"
#include "diag/bxd_diag_index.h"
#include "index/bxd_indx_info.h"
#include "storage/bxd_file_errors.h"

namespace {

constexpr u8 kRankUsual = 1;
constexpr u8 kRankTables = 2;
constexpr u8 kRankCards = 255;

// The versions that the message of a wrong one tells beside it.
constexpr u32 kBoxVersion = 0x31;
constexpr u32 kIndexVersion = 0x30;

// What the extension and the version say against the file; 0 where nothing does.
u32 CheckKind(const DiagRun& run, u8 version, u32 extent, u32 wantedVersion)
{
    if (GetFileExtent(run.name) != extent) { return bxd::ReportFault(run, DiagFault::kExtent); }
    if (!bxd::IsKnownVersion(version)) {
        return bxd::ReportFault(run, DiagFault::kVersion, BXD_OK, version, wantedVersion);
    }
    return BXD_OK;
}

u32 CheckBox(const DiagRun& run, u8 version, u32 appliId)
{
    u32 status = CheckKind(run, version, kExtentBox, kBoxVersion);
    if (status != BXD_OK) { return status; }
    if (appliId != 0) {
        status = bxd::WriteWord(run.fid, kHdAplName, appliId);
        if (status != BXD_OK) { return bxd::ReportFault(run, DiagFault::kStamp, status); }
    }
    return BoxFileDiag(run.fid, run.level, 1);
}

// An index has one depth, whatever is asked for.
u32 CheckIndex(const DiagRun& run, u8 version)
{
    u32 status = CheckKind(run, version, kExtentIndex, kIndexVersion);
    return status != BXD_OK ? status : IndexFileDiag(run.fid, BXD_CHECK_USUAL);
}

}  // namespace

extern "C" {

u8 ConvLevel(u8 level)
{
    switch (level) {
    case BXD_CHECK_USUAL: return kRankUsual;
    case BXD_CHECK_TABLES: return kRankTables;
    case BXD_CHECK_CARDS: return kRankCards;
    default: return 0;
    }
}

u32 BXDFileCheckSub(const char* name, u8 level, u32 appliId)
{
    // What a check as deep as this one has found, this one would only find again.
    const BxdErrorFile* known = IsErrorFile(name);
    if (known != nullptr && ConvLevel(known->level) <= ConvLevel(level)) { return known->status; }

    i32 opened = _BxdFileOpen(name, BXD_MODE_WRITE);
    if (opened < 0) { return BXD_ERR_NOFILE; }
    bxd::OpenFile file(static_cast<u8>(opened));
    DiagRun run;
    bxd::BeginDiag(&run, file.fid(), level);

    u8 kind[2] = {};  // file identifier, version
    u32 status = SeekFileIder(run.fid, kind);
    if (status != BXD_OK) { return bxd::ReportFault(run, DiagFault::kIdentifierRead, status); }
    switch (kind[0]) {
    case kBoxFileId: return CheckBox(run, kind[1], appliId);
    case kIndexFileIdMaster:
    case kIndexFileIdList: return CheckIndex(run, kind[1]);
    default: return bxd::ReportFault(run, DiagFault::kIdentifier);
    }
}

u32 _BXDFileCheck(const char* name) { return BXDFileCheckSub(name, BXD_CHECK_USUAL, 0); }

u32 _BXDFileCheckLevel(const char* name) { return BXDFileCheckSub(name, BXD_CHECK_TABLES, 0); }

u32 _BXDFileCheckAppliID(const char* name, u32 /*unused*/, u32 appliId)
{
    return BXDFileCheckSub(name, BXD_CHECK_TABLES, appliId);
}
}
