// SPDX-License-Identifier: MIT
#include "box/bxd_garb.h"

#include <cstring>

#include "box/bxd_card_format.h"
#include "storage/bxd_data.h"

namespace bxd {

u32 MeasureDeadRun(u8 fid, u32 pos, u32* deadBytes, bool* atEnd)
{
    *deadBytes = 0;
    for (;;) {
        CardHead head = {};
        u32 status = ReadCardSize(fid, static_cast<i32>(pos), &head);
        if (status != BXD_OK) { return status; }
        *atEnd = head.cardId == END_MARK_ID;
        if (head.cardId != CARD_ID_DEAD) { return BXD_OK; }
        if (!FileHolds(fid, static_cast<uint64_t>(pos) + kCardHead + head.cardLength)) {
            return BXD_ERR_FAIL;
        }
        *deadBytes += head.total();
        pos += head.total();
    }
}

u32 CountGarbage(u8 fid, i32 delta)
{
    u32* counter = GarbageVarPtr(fid);
    if (delta < 0) {
        *counter = Lowered(*counter, 0 - static_cast<u32>(delta));
    } else {
        *counter += static_cast<u32>(delta);
    }
    return AddBoxGarbageSize(fid, delta);
}

}  // namespace bxd

extern "C" {

u32 garbage_size_buf = 0;
u32 card_garbage_size_buf = 0;

u32* GarbageVarPtr(u8 fid)
{
    char name[BXD_PATH_SIZE] = {};
    (void)BxdFileName(fid, name);
    return name[0] != '\0' && name[1] == '0' ? &garbage_size_buf : &card_garbage_size_buf;
}

void SubGarbageSize(const char* name, u32 n)
{
    if (std::strncmp(name, "F0:", 3) == 0) { garbage_size_buf = bxd::Lowered(garbage_size_buf, n); }
    if (std::strncmp(name, "F1:", 3) == 0) { card_garbage_size_buf = bxd::Lowered(card_garbage_size_buf, n); }
}

u32 WriteBoxGarbageSize(u8 fid, u32 size) { return bxd::WriteWord(fid, kHdGarbageSize, size); }

u32 AddBoxGarbageSize(u8 fid, i32 delta)
{
    if (delta == 0) { return BXD_OK; }
    u32 size = 0;
    u32 status = bxd::ReadWord(fid, kHdGarbageSize, &size);
    if (status != BXD_OK) { return status; }
    if (size == kUnset) { size = 0; }
    size = delta < 0 ? bxd::Lowered(size, 0 - static_cast<u32>(delta)) : size + static_cast<u32>(delta);
    return WriteBoxGarbageSize(fid, size);
}

u32 DeleteCardData(u8 fid, u32 pos)
{
    CardHead head = {};
    u32 status = bxd::ReadCardHead(fid, pos, &head);
    if (status != BXD_OK) { return status; }

    u32 deadBehind = 0;
    bool isLast = false;
    status = bxd::MeasureDeadRun(fid, pos + head.total(), &deadBehind, &isLast);
    if (status != BXD_OK) { return status; }

    if (isLast) {
        // The file gets shorter, and with the card go the dead ones behind it, which were counted.
        status = bxd::WriteHalf(fid, pos, END_MARK_ID);
        if (status == BXD_OK) { status = BxdFileCut(fid, pos + kEndMarkSize); }
        if (status != BXD_OK || deadBehind == 0) { return status; }
        return bxd::CountGarbage(fid, -static_cast<i32>(deadBehind));
    }

    // Count in RAM, kill, count in the header: a lost power loses a count at most.
    *GarbageVarPtr(fid) += head.total();
    status = bxd::WriteHalf(fid, pos, CARD_ID_DEAD);
    if (status != BXD_OK) { return status; }
    return AddBoxGarbageSize(fid, static_cast<i32>(head.total()));
}

u32 ChkGarbageBit(u8 fid)
{
    u8 flags = 0;
    u32 status = bxd::ReadExactly(fid, kHdGarbageFlags, &flags, sizeof flags);
    if (status != BXD_OK) { return status; }
    return (flags & kGarbageBit) != 0 ? BXD_ERR_OTHER : BXD_OK;
}

u32 ResetGarbageInfo(u8 fid)
{
    u8 flags = 0;
    u32 status = bxd::ReadExactly(fid, kHdGarbageFlags, &flags, sizeof flags);
    if (status != BXD_OK) { return status; }
    flags = static_cast<u8>(flags & ~kGarbageBit);
    return bxd::WriteAll(fid, kHdGarbageFlags, &flags, sizeof flags);
}

u32 _GetBoxGarbageSize(const char* name, u32* size)
{
    u8 fid = kNoFile;
    u8 header[kHeaderSize];
    u32 status = CheckFileBoxExRwMode(name, &fid, header, 1);
    if (status != BXD_OK) { return status; }
    bxd::OpenFile file(fid);
    u32 stored = GET_4BYTES(header + kHdGarbageSize);
    *size = stored == kUnset ? 0 : stored;
    return BXD_OK;
}

u32 _ReadGarbageSize(i8 drive) { return drive != 0 ? card_garbage_size_buf : garbage_size_buf; }

u32 _GetAllBoxGarbageSize() { return BXD_OK; }

u32 _GarbageCheck() { return BXD_OK; }
}
