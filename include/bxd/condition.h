/* SPDX-License-Identifier: MIT */
/*
 * Search conditions: which cards an index or a search selects.
 */
#ifndef BXD_CONDITION_H
#define BXD_CONDITION_H

/* The byte that introduces an operator. */
enum { BXD_OP_MARK = 0xFE };

/* Operators: the byte behind BXD_OP_MARK. */
enum {
    BXD_OP_AND = 0x84,         /* between the tests of a clause: the next must hold too */
    BXD_OP_OR = 0x85,          /* between the tests of a clause: the next may hold instead */
    BXD_OP_CLAUSE_AND = 0x86,  /* between clauses */
    BXD_OP_CLAUSE_OR = 0x87,   /* between clauses */
    BXD_OP_BITS_EQUAL = 0x88,
    BXD_OP_BITS_DIFFER = 0x89,
    BXD_OP_EQUAL = 0x90,
    BXD_OP_BEGINS = 0x91,
    BXD_OP_CONTAINS = 0x92,
    BXD_OP_NEW_VALUE = 0x94,
    BXD_OP_BINARY = 0x95,
    BXD_OP_NEW_KEYS = 0x96,
    BXD_OP_UP_TO = 0x97,
    BXD_OP_AT_LEAST = 0x98,
    BXD_OP_ABOVE = 0x99,
    BXD_OP_AT_MOST = 0x9A,
    BXD_OP_BELOW = 0x9B,
    BXD_OP_NOT_BLANK = 0x9E,
    BXD_OP_BLANK = 0x9F
};

#endif
