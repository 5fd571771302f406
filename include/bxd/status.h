/* SPDX-License-Identifier: MIT */
/*
 * The numbers with which every function of libbxd reports its outcome.
 *
 * A status is a u32 of which the low 16 bits count; 0 is success. The functions of the file layers below
 * (File*, and the opening and transferring BxdFile*) return an i32 instead: 0 or more is a handle or a
 * count, less than 0 one of the host results at the end of this page. BxdSetErrorCode turns such a result
 * into a status.
 */
#ifndef BXD_STATUS_H
#define BXD_STATUS_H

#include "types.h"

enum {
    BXD_OK = 0,
    BXD_ERR_RANGE =
        35, /* a value is out of its range: an offset behind an item's end, a length without a form */
    BXD_ERR_NOFILE = 64,   /* no such file, not to be opened, or not a file of the expected kind */
    BXD_ERR_ACCESS = 65,   /* the file is in use, or was opened without write access */
    BXD_ERR_NOTFOUND = 66, /* the item, card, entry or table asked for is not there */
    BXD_ERR_EXIST = 67,    /* the file exists already; the bad-file registry knew the file already */
    BXD_ERR_NOSPACE =
        68, /* the storage is too full; or the caller's buffer is too small, the length says by how much */
    BXD_ERR_CONDITION = 69, /* a sort or search condition is malformed or empty */
    BXD_ERR_FAIL = 71,      /* bad handle, no memory, damaged structure, or a failure of the host */
    BXD_ERR_DUPLICATE = 72, /* the name or entry is there already */
    BXD_ERR_ITEMNAME = 73,  /* a tag holds a character other than 0-9, A-Z, a-z */
    BXD_ERR_EMPTY = 225,    /* nothing in the table: an outcome, not a fault */
    BXD_ERR_HOST = 254,     /* image of BXD_HOST_PASS */
    BXD_ERR_OTHER = 255 /* refusal without a number of its own, such as a lock that another process holds */
};

/* Results of comparisons. They are never outcomes of a function that reports a status. */
enum {
    BXD_CMP_FAR_BELOW = 126,
    BXD_CMP_BELOW = 127,
    BXD_CMP_EQUAL = 128,
    BXD_CMP_ABOVE = 129,
    BXD_CMP_FAR_ABOVE = 130
};

/* Results of the file check, where 128 and 130 have this second meaning. */
enum { BXD_DIAG_VERSION = 128, BXD_DIAG_DAMAGED = 130, BXD_DIAG_BADID = 134, BXD_DIAG_INDEX = 135 };

/* Status in the bad-file registry of a file that stays openable (BxdSetErrorFileName). */
enum { BXD_ERRFILE_OPENABLE = 178 };

/* Negative results of the file layers, beside the plain -1 (host failure, no free row), -2 (no record
 * for the file id, or no write access) and -3 (no record could be made, or the file is barred). */
#define BXD_HOST_NOTFOUND ((i32)0xEEFC0002u) /* no such file, or no further entry of a directory */
#define BXD_HOST_NODIR ((i32)0xEEFC0003u)    /* the directory cannot be opened, or does not exist */
#define BXD_HOST_NOMEDIA ((i32)0xEEFC0008u)  /* reserved */
#define BXD_HOST_NOFILE2 ((i32)0xEEFC000Au)  /* reserved */
#define BXD_HOST_NOSPACE ((i32)0xEEFC000Cu)  /* the storage is full */
#define BXD_HOST_DIRFAIL ((i32)0xEEFC000Eu)  /* a directory could not be made or removed */
#define BXD_HOST_BOXGONE ((i32)0xEEFC0023u)  /* the box of an index cannot be opened */
#define BXD_HOST_PASS ((i32)0xEEFC00FEu)     /* reserved */

#endif
