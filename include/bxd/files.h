/* SPDX-License-Identifier: MIT */
/*
 * Files and storage: names and paths, the host layer (File*), the table of open files (BxdFile*), the
 * registry of bad files, the room on the flash, and the log.
 *
 * The two layers of files differ in what they call a file and in how they report:
 *
 *                    an open file is          results
 *     File*          a host handle, 1 to 10   i32: 0 or more is good, less is a host result of status.h
 *     BxdFile*       a file id, 0 to 255      u32 statuses; i32 where a file id or a count comes back
 *
 * A process has ten host handles, and every file id has one of them under it. Boxes and indexes that are
 * open count as well.
 *
 * Names are "F0:" or "F1:" and a file name, or a plain path of the host, and have at most 255 characters
 * before the terminator, as has the path that they stand for. Both drives are one directory:
 *
 *     F0:ADDRESS.BOX, F1:ADDRESS.BOX    $HOME/Applications/bxd/ADDRESS.BOX
 *     notes/ADDRESS.BOX                 notes/ADDRESS.BOX
 *
 * HOME is read anew for every name. A name or path that is too long, or a name on a drive while there is no
 * HOME, is refused as a file that cannot be opened, made or found.
 *
 * What a call has written is in the file when the call returns, and everyone who has the file open sees it.
 * Positions are bytes from the start of the file, up to 2,147,483,647. Nothing here is safe for use from
 * two threads at one time.
 */
#ifndef BXD_FILES_H
#define BXD_FILES_H

#include <stdio.h>

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- names and paths ------------------------------------------------------------------------------- */

/*
 * The host path of a name, with its terminator, to the BXD_PATH_SIZE (256) bytes at dst. It becomes the
 * empty string where there is no path: it would have more than 255 characters, or HOME is missing. dst and
 * name must not overlap. Returns dst.
 */
BXD_API char* FileGetRealPath(char* dst, const char* name);

/*
 * The directory of the built-in storage, $HOME/Applications/bxd without a closing slash, to the 256 bytes at
 * dst; the empty string where there is none, as above. Returns dst.
 */
BXD_API char* GetBuiltinStorageBxdPath(char* dst);

/* The directory of the external storage, "/QtPalmtop/bxd", to the 15 bytes at dst. Returns dst. */
BXD_API char* GetExternalStorageBxdPath(char* dst);

/*
 * Compares at most n bytes of two texts. Bytes that differ only in bit 5, as capital and small letters do,
 * are equal, and so are the texts when either ends first. Gives 0 when they are equal or n is 0; else -1
 * when the first byte of a that differs is the lower one, both taken as signed, and 1 when it is not.
 */
BXD_API i32 StrICmpN(const u8* a, const u8* b, u32 n);

/*
 * Compares n positions of two file names of the short form, a dot and an extension of three letters, of
 * which either may be padded with blanks before the dot: "A.BOX" is "A       .BOX". Behind a dot that both
 * have, three more positions are compared, whatever n was. Gives 1 when they match, also when both end or n
 * is 0, and else 0. A blank against a dot on the last position is no match.
 */
BXD_API i32 FileStringCompare(const u8* a, const u8* b, u32 n);

/* --- the host layer: files by name ----------------------------------------------------------------- */

/*
 * Makes an empty file, or empties the one that is there, and opens it for writing only. The directory
 * $HOME/Applications/bxd is made first, but not $HOME/Applications. attr has no meaning. A process with
 * root's rights by its effective user only gives directory and file to its real user.
 * Gives the host handle, or -1: ten files are open, or the host refuses.
 */
BXD_API i32 FileCreate(const char* name, u8 attr);

/*
 * Opens a file that exists. Of mode the low two bits count: 1 reads, 2 and 3 read and write, 0 is refused.
 * Gives the host handle, the lowest that is free, or -1.
 */
BXD_API i32 FileOpen(const char* name, u8 mode);

/* The same. */
BXD_API i32 FileOpenUseCache(const char* name, u8 mode);

/* Removes a file from its directory. 0 or -1. */
BXD_API i32 FileDelete(const char* name);

/* 0 when there is a file or directory of that name, else BXD_HOST_NOTFOUND. */
BXD_API i32 FileSearch(const char* name);

/* Gives -1: files of the host are not renamed. */
BXD_API i32 FileRename(void);

/* Makes a directory with the mode 0755. 0, or BXD_HOST_DIRFAIL. */
BXD_API i32 FileMakeDir(const char* name);

/* Removes an empty directory. 0; BXD_HOST_NODIR when there is none; BXD_HOST_DIRFAIL when it stays. */
BXD_API i32 FileRemoveDir(const char* name);

/* The caller's memo of a directory scan. */
typedef struct FileScanState {
    u16 index; /* number of an entry of the directory, counted from 0 */
    u8 mode;   /* 0 or 0x80 forward, 1 or 0x81 backward */
} FileScanState;

/*
 * Looks for an entry of a directory, from number state->index on. What stands behind the last '/' of the
 * path of `name` is the pattern: empty or beginning with '*' it matches every entry, "." and ".." too; else
 * the one entry of exactly that name. A path without a '/' behind its first character is a pattern for the
 * directory $HOME.
 *
 *     FileScanState scan = {0, 0};
 *     char path[BXD_PATH_SIZE];
 *     for (; FileIncrementSearch("F0:*", &scan, path) == 0; ++scan.index) { ... }
 *
 * Forward, the path of the entry goes to the 256 bytes at out, as the directory with its slash and the name
 * behind it (with $HOME, which is taken as it is, no slash stands between them unless HOME ends in one).
 * Entries with a path of more than 255 characters are passed over. Backward, down to number 0, out receives
 * the bare name, and '*' has no meaning.
 *
 *   0                  found: state->index is the entry's number; add 1 before the next call
 *   BXD_HOST_NOTFOUND  no more entries, or an unknown mode; state and out stay
 *   BXD_HOST_NODIR     the directory cannot be opened, which standard error is told as well
 */
BXD_API i32 FileIncrementSearch(const char* name, FileScanState* state, char* out);

/* Gives 0 and does nothing. */
BXD_API i32 FlashDevDefaultFree(void);

/* --- the host layer: open files -------------------------------------------------------------------- */

/* Each of these gives -1 for a handle that is not open, and changes nothing. */

/*
 * Closes a file; its handle is free again. 0 or -1. A file that is locked by another handle of the process
 * stays locked.
 */
BXD_API i32 FileClose(u8 h);

/*
 * Facts of an open file. kind 0: two u32 words at dst, the file's size (all ones for 4 GiB and more) and the
 * present position; kind 1: its host path, in at most 256 bytes. 0, or -1 for any other kind and when the
 * host cannot tell.
 */
BXD_API i32 FileInfoRead(u8 h, u8 kind, void* dst);

/*
 * Takes the write lock of the whole file without waiting, against other processes. It holds until this
 * handle is closed. 0; -1 when another process has it or the file is not open for writing.
 */
BXD_API i32 FileLockForWrite(u8 h);

/*
 * Reads *len bytes at position `offset` to buf. 0 also when the end of the file comes first: *len is then
 * the smaller count that was read. -1 when nothing at all could be read, and *len stays. *len of 0 reads
 * nothing and gives 0.
 */
BXD_API i32 FileOfsRead(u8 h, i32 offset, void* buf, u32* len);

/*
 * Writes *len bytes from buf at position `offset`. 0 when all were written, else -1; *len is then the count
 * that was written, or stays if that is none. *len of 0 writes nothing and sets the size of the file to
 * `offset`, shorter or longer; buf is not looked at.
 */
BXD_API i32 FileOfsWrite(u8 h, i32 offset, const void* buf, u32* len);

/*
 * Read or write *len bytes at the present position, which moves on. 0 when something was moved: *len is the
 * count if that is less than asked for. -1 when nothing was. A change from reading to writing wants one of
 * the positioned calls above between them. `unused` has no meaning, here as below.
 */
BXD_API i32 FileBlockRead(u8 h, u32 unused, void* buf, u32* len);
BXD_API i32 FileBlockWrite(u8 h, const void* buf, u32* len);

/* The same for one byte, to *dst or from value. 0 or -1. */
BXD_API i32 FileByteRead(u8 h, u8 unused, void* dst);
BXD_API i32 FileByteWrite(u8 h, u8 value);

/* The byte at the present position, to *dst; the position stays. 0, or -1 at the end of the file. */
BXD_API i32 FileNdRead(u8 h, u32 unused, u8* dst);

/* The stream of a handle, null when it is not open. It belongs to the library: do not close it. */
BXD_API FILE* FileHdlToFile(u8 h);

/*
 * The host path that a handle was opened with last, null for 0 and above 10. It belongs to the library and
 * changes with the next file that gets this handle.
 */
BXD_API char* FileHdlToFName(u8 h);

/* The file's size as the host tells it. 0 for a handle that is not open, which standard error is told. */
BXD_API u32 FileSize(u8 h);

/* --- the table of open files ----------------------------------------------------------------------- */

/* Open modes: bit 0 asks for reading, bit 1 for writing; bit 6 is carried along and has no effect. */
enum { BXD_MODE_READ = 65, BXD_MODE_WRITE = 67, BXD_MODE_CREATED = 3, BXD_MODE_WRITE_BIT = 2 };

/*
 * Opens a file that exists, with BXD_MODE_READ or BXD_MODE_WRITE. A file that the host lets only be read is
 * opened for reading even so: ask BxdFileOpenMode. Every open is its own, with its own file id, also for a
 * name that is open already. Close it with BxdFileClose.
 * Gives the file id; -3 when the file cannot be opened, stands in the registry of bad files with a status
 * other than BXD_ERRFILE_OPENABLE, ten files are open or memory is short.
 */
BXD_API i32 BxdFileOpen(const char* name, u8 mode);

/*
 * Makes an empty file, or empties the one that is there, and opens it for reading and writing. Its entry in
 * the registry of bad files goes. attr has no meaning. Gives the file id; -1 when the file cannot be made or
 * ten files are open; -3 when it cannot be opened then, or memory is short.
 */
BXD_API i32 BxdFileCreate(const char* name, u8 attr);

/* Closes a file; the id is free again. 0; 64 for an id that is not open, which standard error is told. */
BXD_API u32 BxdFileClose(u8 fid);

/* The same, however many opens count on the file. */
BXD_API u32 BxdFileForceClose(u8 fid);

/* One or the other: force of 0 is BxdFileClose, any other BxdFileForceClose. */
BXD_API u32 BxdFileCloseCore(u8 fid, u32 force);

/*
 * Makes a scratch file with the first free name of "F0:TMPBXDV1.000" to "F0:TMPBXDV1.099" and opens it for
 * reading and writing. The name goes to the 16 bytes at `name`, terminator included. Delete the file with
 * BxdFileDelete after its close: the library does not, and a name that exists is not used again.
 * Gives the file id, or -1 when all names are taken or no file can be made.
 */
BXD_API i32 BxdFileOpenTmp(char* name);

/* The mode in force: without BXD_MODE_WRITE_BIT the file can only be read. 0 for an id that is not open. */
BXD_API u8 BxdFileOpenMode(u8 fid);

/*
 * Takes the write lock of the file against other processes, without waiting. It holds until this id is
 * closed. 0; 64 for an id that is not open; 255 when another process has the lock or the file can only be
 * read, which standard error is told.
 */
BXD_API u32 BxdFileLock(u8 fid);

/*
 * Reads `len` bytes at position `offset` to buf. Gives the count that was read, which the end of the file
 * can make smaller; -2 for an id that is not open; -1 when nothing could be read, so at the end of the file
 * and behind it. Standard error is told of failures.
 */
BXD_API i32 BxdFileRead(u8 fid, i32 offset, void* buf, u32 len);

/*
 * Writes `len` bytes from buf at position `offset`; the file grows as needed. Gives `len`; -2 for an id that
 * is not open or may only read; -1 when not all could be written: some may have been, and BxdFileSize does
 * not count them. `len` of 0 cuts the file at `offset` like BxdFileCut and gives 0 or -2.
 */
BXD_API i32 BxdFileWrite(u8 fid, u32 offset, const void* buf, i32 len);

/*
 * Sets the size of the file to `offset`. 0; 64 for an id that is not open; 65 when it may only read; 71 when
 * the host refuses.
 */
BXD_API u32 BxdFileCut(u8 fid, u32 offset);

/*
 * The size of the file as this id knows it: what it was at the open, and what this id has written and cut
 * since. What others do to the size is not seen. 0 for an id that is not open.
 */
BXD_API u32 BxdFileSize(u8 fid);

/*
 * Facts of an open file. kind 0: ten bytes at dst, the size as BxdFileSize tells it (read it with
 * GET_4BYTES), five bytes of 0 and the mode in force; kind 1: the name that the file was opened by, in at
 * most 256 bytes. 0; 64 for an id that is not open; 71 for any other kind.
 */
BXD_API u32 BxdFileInfoRead(u8 fid, u8 kind, void* dst);

/* The name that the file was opened by, in at most 256 bytes at dst. 0; 64 for an id that is not open. */
BXD_API u32 BxdFileName(u8 fid, char* dst);

/* 0 when there is a file of that name, else 64. The other two arguments have no meaning; pass 0. */
BXD_API u32 BxdFileSearch(const char* name, u32 unused1, u32 unused2);

/*
 * Deletes a file, also one that is open: those who have it open keep its contents until they close. Its
 * entry in the registry of bad files goes. 0, or 71 when it does not exist or the host refuses.
 */
BXD_API u32 BxdFileDelete(const char* name);

/*
 * Files are not renamed: gives 71. An entry of the old name in the registry of bad files goes over to the
 * new name all the same.
 */
BXD_API u32 BxdFileRename(const char* oldName, const char* newName);

/* --- the registry of bad files --------------------------------------------------------------------- */

/*
 * The file check enters here what it finds bad, and an application may do so. BxdFileOpen, and with it all
 * that opens a file by its name, refuses such a file until it is created anew, deleted or found good, or
 * BxdSetupDriveWork removes all entries of its drive. Nothing of it outlasts the process. Names are
 * compared letter by letter: "F0:A.BOX" and "F1:A.BOX" are two.
 */

/*
 * Enters a file: the status that was found (BXD_ERRFILE_OPENABLE, 178, leaves the file openable), the level
 * of the check, and a message, which with its arguments goes to standard error as by printf. Only the format
 * itself is kept, and by its address: it must be a literal, or null for no message.
 * 0; 67 when the file stood there already and its entry now has the new values; 71 when memory is short or
 * the name too long.
 */
BXD_API u32 BxdSetErrorFileName(const char* name, u16 status, u8 level, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 4, 5)))
#endif
    ;

/* How many files are registered. */
BXD_API u32 BxdGetErrorFileNum(void);

/*
 * The name of registered file n, counted from 1 in the order of arrival, to the 256 bytes at dst. 66 when
 * there is no such file, and dst stays.
 */
BXD_API u32 BxdGetErrorFileName(u32 n, char* dst);

/*
 * The status of a registered file, its level to *level and its message to dst, as the format that it was
 * entered with, arguments not filled in, and its terminator. 0 for a file that is not registered, and level
 * and dst stay.
 */
BXD_API u32 BxdGetErrorFileInf(const char* name, u8* level, char* dst);

/* --- room on the flash ----------------------------------------------------------------------------- */

/*
 * The files lie on a log-structured flash file system, where a write that finds no room can do harm in the
 * midst of a change. So every change of a box or an index asks first, and is refused with status 68. Where
 * the kernel tells no figures, as on any other file system, there is always room.
 */

/* Bytes that can be written for certain; 0x7FFFFFFF where that is not known. */
BXD_API u32 BxdFileGetFsAvail(void);

/* Blocks that the file system's own collector works on; 0 when it is idle or that is not known. */
BXD_API u32 BxdFileGetFsGcingBlocks(void);

/* A counter of the collector, whose low bit is set while it gains room; 0 where that is not known. */
BXD_API u32 BxdFileGetFsGcingSig(void);

/* Bytes that one node operation of the file system takes: 794. */
BXD_API u32 BxdFileGetFsOneTimeNeed(void);

/*
 * Bytes that must be free for an operation of `nodes` node operations that writes `bytes` more bytes, with
 * the reserve that is kept: 163840, or 16384 with lowReserve other than 0, for what frees space or must get
 * through. In 32 bits.
 */
BXD_API u32 BxdFileCalcFsAvailNeed(u32 lowReserve, u32 nodes, u32 bytes);

/* 1 when so much is free, or where the free space is not known, else 0. */
BXD_API u32 BxdFileCheckFsSpace(u32 lowReserve, u32 nodes, u32 bytes);

/*
 * Makes room by merging the nodes of the open file *fid and waiting for the collector: up to 15 minutes, the
 * less choosily the longer it takes. Nothing is done while at least 327,680 bytes are free. No one else in
 * the process may have the file open, and other processes may lock it meanwhile. Standard error is told.
 * 1 when 16,384 bytes are free in the end, else 0. *fid becomes the new id of the file; 255 when it could not
 * be opened again: it is closed then.
 */
BXD_API u32 BxdFileMakeFsSpaceDyn(u8* fid);

/* The same for a known need: merges in any case, waits up to 5 minutes, and gives 1 when `need` are free. */
BXD_API u32 BxdFileMakeFsSpaceFix(u8* fid, u32 need);

/*
 * Whether there is room for an operation on an open box, to be asked before a long one is started. Operation
 * 1 is the deletion of all cards; any other is always possible. 1 or 0; a bad handle has no room for
 * operation 1.
 */
BXD_API u32 BxdIsEnoughStorageForOperation(BoxHandle box, i32 operation);

/*
 * A write-behind buffer: a block of the caller's memory, and the place in a file that it is written to. For
 * a new one cur is base + skip and room is size - skip. With skip the low 12 bits of filePos, every full
 * block ends on a multiple of 4096 of the file, if size is one.
 */
typedef struct BxdFlashBuffer {
    u8* base;    /* start of the block */
    u8* cur;     /* where the next byte goes */
    u32 filePos; /* file offset at which the first unwritten byte will land */
    u32 room;    /* bytes left between cur and the end of the block */
    u32 size;    /* size of the block */
    u32 skip;    /* bytes at the start of the block that are not data */
    u8 fid;      /* the file */
} BxdFlashBuffer;

/*
 * Appends n bytes from src to the buffer, which is written out whenever it is full and more is to come. What
 * has gathered at the end stays in the buffer. 0, or the status of the write that failed: its block is lost.
 */
BXD_API u32 BxdFileFlashBufferOut(BxdFlashBuffer* b, const void* src, u32 n);

/* --- messages and the log -------------------------------------------------------------------------- */

/* Writes a message to standard error, as by printf. All messages of the library go this way. */
BXD_API void BxdDebug(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/*
 * A log for the application; the library writes nothing to it. BxdOpenLog closes the one that is open and
 * starts a new one in an empty file at `path`, a path of the host. Gives its stream, which belongs to the
 * library, or null when the host refuses; then there is no log.
 */
BXD_API FILE* BxdOpenLog(const char* path);
BXD_API void BxdCloseLog(void);

/* Write to the log, as by printf, or n bytes as they are. Without a log they do nothing. */
BXD_API void BxdLog(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;
BXD_API void BxdLogBin(const void* buf, u32 n);

#ifdef __cplusplus
}
#endif

#endif
