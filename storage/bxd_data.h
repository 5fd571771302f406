// SPDX-License-Identifier: MIT
// Moving bytes inside files and between them, securing the end of a file, and the write-behind buffer.
//
//   FlashTransferF, up:     ....[ source ]......        ->  ..............[data][ block  ]
//                               src         dst                                 dst
//   FlashTransferF, down:   .......[ source ]...        ->  ....[ block  ][data].........
//                             dst  src                          dst
//
//   the flash buffer:   base            cur            base + size       the file
//                       | skip |  data  |     room     |                 filePos = where the data begin
//                       +-- corresponds to a multiple of 4096 of the file
//
// All give a status. A refusal for want of room comes before any byte has moved; a failure in the midst of a
// move ends it, and what was moved stays moved.
#pragma once

#include <bxd/files.h>

constexpr u32 kFlashBlock = 32768;  // the usual block of a flash buffer
constexpr u32 kFlashPage = 4096;    // page of the flash file system
constexpr u32 kEndMarkSize = 2;
constexpr u32 kLocalTransfer = 512;  // what a transfer falls back to without heap

extern "C" {

// Moves `count` bytes from src to dst in one file, safe for overlap, and puts `dataLen` bytes of `data`
// directly below the block at dst - dataLen when it moves up, directly behind it at dst + count when it
// moves down. The file's new length is secured first. src equal to dst does nothing at all. 68 without
// room; 71 when the source does not lie in the file, a position leaves 32 bits, or a read or write fails.
u32 FlashTransferF(u8 fid, u32 src, u32 dst, u32 count, const void* data, u32 dataLen);

// Opens a gap of `gap` bytes at pos: all from pos to the end moves up. 71 when the file ends at or before
// pos.
u32 ExtendTransfer(u8 fid, u32 pos, u32 gap);

// Closes `cut` bytes at pos: the tail moves down and the file gets shorter. 71 when the file ends at or
// before pos + cut.
u32 CutTransfer(u8 fid, u32 pos, u32 cut);

// Copies `count` bytes from the start of one file to dstOffset of another. 71 when less can be had.
u32 DataReadAndWriteFile(u8 srcFid, u8 dstFid, u32 count, u32 dstOffset);

// Makes the file end just behind pos, with the byte 0xFF there. 68 without room, the file unchanged.
u32 PreWriteOneByte(u8 fid, u32 pos);

// Makes the file end at pos + 2, with an end mark 0xFF 0xFF at pos. 68 without room, the file unchanged.
u32 PreWriteEndMark(u8 fid, u32 pos);

// Writes what has gathered and resets the buffer; nothing gathered changes nothing. A failed write leaves the
// buffer as it was.
u32 BxdFlashAll(BxdFlashBuffer* b);

// Appends `n` bytes of the buffer's own file, read at src. 71 when they are not all there.
u32 CopyCardPartial(BxdFlashBuffer* b, u32 src, u32 n);

// Empties a full buffer whose next read is at readPos, without running over bytes that are still to be read.
u32 CopyCardPartialSub(BxdFlashBuffer* b, u32 readPos);
}

namespace bxd {

// PreWriteEndMark without its cut: the room is tested and the mark written at `pos`, and a file that is
// longer stays so. For a card that gets shorter where it stands: mark first, then the card, then the cut.
[[nodiscard]] u32 PlaceEndMark(u8 fid, u32 pos);

// Ends a write at `pos` behind a secured end. Where it has failed, the file gets its old end back, so that
// the next card finds the end of the chain: the end mark that stood at `pos`, where one did, and `oldSize`.
// The result is `status`. A refusal for want of room (68) has changed nothing.
[[nodiscard]] u32 SettleEnd(u8 fid, u32 status, u32 pos, u32 oldSize);

}  // namespace bxd
