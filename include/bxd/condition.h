/* SPDX-License-Identifier: MIT */
/*
 * Search conditions: which cards an index or a search selects. A condition is a string of bytes that ends
 * with a byte 0. An index keeps it as its record IDXINF_SEARCH_EXP.
 *
 *   condition   clauses, with a connector of clauses between them
 *   clause      the 4 bytes of an item's tag, or 4 spaces for all items; then tests, with a connector of
 *               tests between them
 *   connector   BXD_OP_MARK and one of BXD_OP_AND, BXD_OP_OR (tests), BXD_OP_CLAUSE_AND, BXD_OP_CLAUSE_OR
 *   test        BXD_OP_MARK and an operator; then a byte BXD_VALUE_..., and the value. Before it BXD_OP_MARK
 *               and BXD_OP_BINARY may stand
 *
 * "The reading begins with あ, or the meaning contains cat and is above it in the order":
 *
 *     static const u8 wanted[] = {
 *         'R', 'E', 'A', 'D', BXD_OP_MARK, BXD_OP_BEGINS, BXD_VALUE_UTF8, 0xE3, 0x81, 0x82,
 *         BXD_OP_MARK, BXD_OP_CLAUSE_OR,
 *         'M', 'E', 'A', 'N', BXD_OP_MARK, BXD_OP_CONTAINS, BXD_VALUE_UTF8, 'c', 'a', 't',
 *         BXD_OP_MARK, BXD_OP_AND, BXD_OP_MARK, BXD_OP_ABOVE, BXD_VALUE_UTF8, 'c', 'a', 't', 0};
 *     _IndexInfoWriteWithCheck("F0:WORDS.IDX", IDXINF_SEARCH_EXP, wanted, sizeof wanted);
 *
 * There is no precedence, and what cannot change the answer is not looked at. Tests of a clause, from left to
 * right: a false test before BXD_OP_AND ends the clause, which is false, and a true one before BXD_OP_OR ends
 * it, which is true; otherwise the next test decides. Clauses in the same way: a false one before
 * BXD_OP_CLAUSE_AND ends the condition, and so does a true one before BXD_OP_CLAUSE_OR. A clause on all items
 * is true when one item of the card passes all of its tests.
 *
 * BXD_OP_NOT_BLANK and BXD_OP_BLANK should be the last test of their clause: where a test before them ends
 * it, the byte behind them is taken for the type of a value that they do not have, and the rest is misread.
 *
 * A text ends at the byte 0, or at BXD_OP_MARK with a byte below 0xA0 behind it; BXD_OP_MARK and a byte from
 * 0xA0 on is a character of Shift-JIS. Texts are compared by the search codes of their letters (language.h):
 * case, width, kana and voicing make no difference; behind BXD_OP_BINARY they are compared as they stand.
 *
 * A further text needs no operator: behind BXD_OP_AND or BXD_OP_OR of a test of a text, another text is a
 * test like the one before it.
 *
 *     ... 'M', 'E', 'A', 'N', BXD_OP_MARK, BXD_OP_CONTAINS, BXD_VALUE_UTF8, 'c', 'a', 't',
 *         BXD_OP_MARK, BXD_OP_OR, 'd', 'o', 'g', ...
 *
 * A condition is compiled before it is used, to 4,096 bytes at most: about 2,000 letters, or 4,000 behind
 * BXD_OP_BINARY. One that is longer, or malformed, or names an item that the box lacks, is refused with
 * BXD_ERR_CONDITION (69). The order of letters that the codes stand for goes into the compiled form.
 *
 * The library reads a value by its size, whatever its bytes are. A condition that is handed over without its
 * length must therefore be whole: one that ends within a value of fixed size is read beyond its end.
 */
#ifndef BXD_CONDITION_H
#define BXD_CONDITION_H

/* The byte before every operator and connector. */
enum { BXD_OP_MARK = 0xFE };

/* Connectors. */
enum {
    BXD_OP_AND = 0x84,        /* the next test must hold too */
    BXD_OP_OR = 0x85,         /* the next test may hold instead */
    BXD_OP_CLAUSE_AND = 0x86, /* the next clause must hold too */
    BXD_OP_CLAUSE_OR = 0x87   /* the next clause may hold instead */
};

/* Operators with a type and a value. Bits know the first two only. */
enum {
    BXD_OP_BITS_EQUAL = 0x88,  /* bits: the item's bits under the mask are these */
    BXD_OP_BITS_DIFFER = 0x89, /* bits: they are others */
    BXD_OP_EQUAL = 0x90,       /* the item is equal to the value. Categories: the card is in this one alone */
    BXD_OP_BEGINS = 0x91,      /* texts: the item begins with it. Categories: with 0xFE, there are none */
    BXD_OP_CONTAINS = 0x92,    /* texts: it occurs in the item. Categories: one is it; 0xFE as for BEGINS */
    BXD_OP_UP_TO = 0x97,       /* texts: the item stands before the value, or begins with it */
    BXD_OP_AT_LEAST = 0x98,    /* the item is above the value or equal. Categories: all of them are */
    BXD_OP_ABOVE = 0x99,       /* the item is above the value; not for categories */
    BXD_OP_AT_MOST = 0x9A,     /* the item is below the value or equal. Categories: all of them are */
    BXD_OP_BELOW = 0x9B        /* the item is below the value; not for categories */
};

/* Operators for items of any type, without type and value. */
enum {
    /* The item differs from the same item of the card beside it in the order: an index with this test shows
     * one card of each value and hides the others. No search takes it. */
    BXD_OP_NEW_VALUE = 0x94,
    /* The item is more than blanks, or empty. Behind BXD_OP_BINARY, and for items that are no text, it is
     * true. Blanks are the bytes up to 0x20 and the full-width space. */
    BXD_OP_NOT_BLANK = 0x9E,
    BXD_OP_BLANK = 0x9F /* the item is a text of blanks alone; the opposite of the above */
};

/* Before BXD_OP_MARK and another operator: a text is compared by its bytes, and the wildcards of a date and
 * of a week date are numbers. */
enum { BXD_OP_BINARY = 0x95 };

/*
 * BXD_OP_MARK, this and a byte n, as the last of an index's condition: alone, or behind BXD_OP_CLAUSE_AND.
 * BXD_OP_NEW_VALUE on each of the first n keys of the index's sort condition, joined by BXD_OP_CLAUSE_OR. The
 * compiled form follows a new sort condition. 69 where the index has fewer keys. The two bytes must not occur
 * elsewhere in a condition, in a value neither.
 */
enum { BXD_OP_NEW_KEYS = 0x96 };

/*
 * Types of values. A value need not have the type of the item: a text in the other kind of Shift-JIS is
 * compared, and so is one with a date, a span or a week date as they are printed; any other pair is false.
 * A number is compared with an item of its own size only. Numbers and packed values have their least byte
 * first. A field of a packed value may be a wildcard, which any value of the field is equal to: 63 for
 * seconds and minutes, 31 for hours, 0 for a day, 15 for a month, 0 or 4095 for a year, 7 in a week date for
 * a day and a week.
 */
enum {
    BXD_VALUE_TEXT = 1,  /* Shift-JIS */
    BXD_VALUE_DATE = 4,  /* 5 bytes: second from bit 0 on, minute 8, hour 14, day 19, month 24, and from bit
                             28 on the year less 1900 */
    BXD_VALUE_SPAN = 5,  /* 5 bytes: second from bit 0 on, minute 8, hour 14, days 19; bit 39: before */
    BXD_VALUE_BITS = 6,  /* 2 bytes, mask and bits; for the item "ATTR" as the card functions have them */
    BXD_VALUE_WEEK = 7,  /* 3 bytes: day of the week from bit 0 on, week of the month 4, month 8, and from bit
                             12 on the year less 1900 */
    BXD_VALUE_HALF = 8,  /* 2 bytes, a number */
    BXD_VALUE_BYTE = 11, /* 1 byte, a number */
    BXD_VALUE_BYTES = 12, /* 1 byte, a category */
    BXD_VALUE_TEXT2 = 16, /* Shift-JIS, for items of that type */
    BXD_VALUE_UTF8 = 17,  /* UTF-8 */
    BXD_VALUE_WORD = 18   /* 4 bytes, a number */
};

#endif
