// SPDX-License-Identifier: MIT
// The table of open files: a file id is the row of a record, and under the record lies one stream of the
// host.
//
//   file id     0     1     2           255
//   table     [ o ] [ o ] [ - ]  ...  [ - ]
//               |     |
//               |     +--> BxdFINFO { "F0:A.BOX", size, mode, host 2 }
//               +--------> BxdFINFO { "F0:A.BOX", size, mode, host 1 }
//
// Every open is its own: one name may stand in several rows, each with its stream, its mode and its figure
// of the file's size. The contents are shared, the figures are not: a file that grows through one id keeps
// its old size under the others.
#pragma once

#include <bxd/files.h>

struct BxdFINFO {
    u32 size;      // the file's length as the library believes it; see BxdFileSize
    char* name;    // the library name, in a block of its own
    u16 nameSize;  // the low 16 bits of the name's key, which are the size of that block
    u16 refs;      // opens that are not closed; 1, since no open finds the record of another
    u8 host;       // handle of the stream
    u8 fid;        // row of this record
    u8 mode;       // the mode in force: without BXD_MODE_WRITE_BIT where the host let the file only be read
};

constexpr u8 kNoFile = 255;  // the file id of nothing

extern "C" {

extern BxdFINFO* gBxdFINFOTable[256];

// The record of an open file of this name. Keys are made so that there is none (bxd::NameKey): null always.
BxdFINFO* SearchBxdFINFOFromFID(const char* name);

// A zeroed record that stands in no row; null when memory is short.
BxdFINFO* CreateBxdFINFO();

// Clears the record's row and frees record and name. Its stream is not closed.
void DeleteBxdFINFO(BxdFINFO* record);

// The lowest free row. With all 256 taken it is row 252, whose record is then taken over.
u8 GetBxdFID();

// Opens the host file and makes its record. A file that the host does not let be written opens for reading.
// Null when it cannot be opened, the name is too long, or memory is short; nothing is left behind then.
BxdFINFO* InitBxdFINFO(const char* name, u8 mode);

// BxdFileOpen without the look into the registry of bad files.
i32 _BxdFileOpen(const char* name, u8 mode);

// Read and write with a status. *len is the count asked for and becomes the count that was moved; it stays
// when the status is not 0. Fewer bytes than asked for is a success of a read (0), none at all is 71. A
// write of 0 bytes cuts the file at offset.
u32 DataReadFromFile(u8 fid, i32 offset, void* buf, u32* len);
u32 DataWriteToFile(u8 fid, u32 offset, const void* buf, u32* len);

// Tells on standard error which row is the first that is taken: an aid for finding ids that nobody has
// closed.
void CheckFINFO();
}

namespace bxd {

// Reads exactly `len` bytes: 0; `shortStatus` when fewer come; the status of a failed read.
[[nodiscard]] u32 ReadExactly(u8 fid, u32 offset, void* buf, u32 len, u32 shortStatus = BXD_ERR_FAIL);
// Writes exactly `len` bytes, of which none is no write at all.
[[nodiscard]] u32 WriteAll(u8 fid, u32 offset, const void* buf, u32 len);
// One little-endian word of the file.
[[nodiscard]] u32 ReadWord(u8 fid, u32 offset, u32* value);
[[nodiscard]] u32 WriteWord(u8 fid, u32 offset, u32 value);
[[nodiscard]] u32 ReadHalf(u8 fid, u32 offset, u16* value);
[[nodiscard]] u32 WriteHalf(u8 fid, u32 offset, u16 value);

// Whether the file has `end` bytes or more. What another open has written counts: the host is asked where
// this open's own figure of the size is not enough.
[[nodiscard]] bool FileHolds(u8 fid, uint64_t end);

// A file id, closed with its owner.
class OpenFile {
public:
    OpenFile() = default;
    explicit OpenFile(u8 fid) : fid_(fid), open_(true) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { (void)close(); }

    u8 fid() const { return fid_; }
    // Takes over a file id that is open.
    void reset(u8 fid)
    {
        (void)close();
        fid_ = fid;
        open_ = true;
    }
    // Gives the file id up to the caller, who closes it.
    u8 release()
    {
        open_ = false;
        return fid_;
    }
    u32 close()
    {
        if (!open_) { return BXD_OK; }
        open_ = false;
        return BxdFileClose(fid_);
    }

private:
    u8 fid_ = kNoFile;
    bool open_ = false;
};

}  // namespace bxd
