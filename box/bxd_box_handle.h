// SPDX-License-Identifier: MIT
// The record behind a box handle, and the test of a handle.
//
// Open handles are kept in a list of the library's own, so that a handle that is null, closed or foreign is
// told from a good one without a look at the memory it points to.
#pragma once

#include "box/bxd_box_format.h"

// State of the card under edit. Bits: it is in RAM, it is in the file.
constexpr u8 kTmpCardNone = 0;
constexpr u8 kTmpCardInRam = 1;
constexpr u8 kTmpCardInFile = 2;

constexpr u32 kSystemCardLimit = 10240;  // memory for the card under edit where the box sets none

struct BoxRecord {
    u8 fid;  // file id of the box
    u8 tmpCardState;
    u8 host;               // host handle at open, for BoxHdCheck
    u8 driveLen;           // length of the name's drive part with its colon
    u32 tmpCardOffset;     // file position of the card under edit
    u32 tmpCardId;         // its id
    u8** tmpCardWork;      // heap handle of its image; null when there is none
    u32 tmpCardWorkSize;   // bytes of the image's block
    u32 systemCardLimit;   // wanted size of that block
    u8* itemTable;         // the box's own copy of the item table, behind this record
    BoxRecord** nextOpen;  // list of open handles
    u8 driveName[256];     // the drive part, not terminated
};

extern "C" {

// 0, or 71 for anything that is not the handle of a box whose file is open.
u32 BoxHdCheck(BoxHandle box);
}

namespace bxd {

void RegisterBoxHandle(BoxHandle box);

// Takes a handle off the list and frees it with the image of its card under edit. The file is not touched.
void DisposeBoxHandle(BoxHandle box);

// The use of a box for the length of a call: tested once, locked while it lives.
class BoxLease {
public:
    explicit BoxLease(BoxHandle box) : status_(BoxHdCheck(box)), record_(status_ == BXD_OK ? *box : nullptr)
    {
        if (record_ != nullptr) { LockHandle(); }
    }
    BoxLease(const BoxLease&) = delete;
    BoxLease& operator=(const BoxLease&) = delete;
    ~BoxLease()
    {
        if (record_ != nullptr) { UnLockHandle(); }
    }

    explicit operator bool() const { return record_ != nullptr; }
    u32 status() const { return status_; }
    BoxRecord* operator->() const { return record_; }
    BoxRecord* record() const { return record_; }

private:
    u32 status_;
    BoxRecord* record_;
};

// The card under edit lies in RAM and has this id.
inline bool IsInRam(const BoxRecord* box, u16 cardId)
{
    return cardId >= TMP_SYSTEM_CARD_ID && box->tmpCardId == cardId &&
           (box->tmpCardState & kTmpCardInRam) != 0;
}

// The number of items of the box.
inline u32 ItemCount(const BoxRecord* box) { return box->itemTable[0]; }

}  // namespace bxd
