/* SPDX-License-Identifier: MIT */
/*
 * The library from plain C, by its public header alone: makes a box, gives it items, puts cards in, reads
 * them back, changes one, and finds all of it again after closing and opening. Says what went wrong, and
 * on which line, and ends with 1.
 */
#define _POSIX_C_SOURCE 200809L

#include <bxd/bxd.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#define EXPECT(condition)                                                                                    \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition);                          \
            exit(1);                                                                                         \
        }                                                                                                    \
    } while (0)

enum { CARDS = 700, TYPE_UTF8 = 17 };

static const char BOX[] = "F0:CAPI.BOX";
static const u8 NAME[4] = {'N', 'A', 'M', 'E'};
static const u8 NOTE[4] = {'N', 'O', 'T', 'E'};

static CardDescriptor key_of(u16 card, const u8 tag[4])
{
    CardDescriptor key = {0};
    key.cardId = card;
    memcpy(key.itemNameId, tag, 4);
    return key;
}

static void write_text(BoxHandle box, u16 card, const u8 tag[4], const char* text)
{
    const CardDescriptor key = key_of(card, tag);
    EXPECT(_CardWrite(box, &key, (const u8*)text, (i32)strlen(text)) == BXD_OK);
}

static void expect_text(BoxHandle box, u16 card, const u8 tag[4], const char* text)
{
    const CardDescriptor key = key_of(card, tag);
    u8 buffer[64];
    u32 length = sizeof buffer;
    EXPECT(_CardRead(box, &key, buffer, &length) == BXD_OK);
    EXPECT(length == strlen(text) && memcmp(buffer, text, length) == 0);
}

static void make_box(void)
{
    const ItemRecord items[2] = {{TYPE_UTF8, 0, {'N', 'A', 'M', 'E'}, "Name"},
                                 {TYPE_UTF8, 0, {'N', 'O', 'T', 'E'}, "Note"}};
    u32 rewritten = 0;
    EXPECT(_BoxCreate(BOX, GET_4BYTES("CAPI")) == BXD_OK);
    EXPECT(_BoxCreate(BOX, GET_4BYTES("CAPI")) == BXD_ERR_EXIST);
    EXPECT(_BoxOpen(BOX) == NULL);
    EXPECT(_BoxItemAppend(BOX, items, 2, &rewritten) == BXD_OK);
    EXPECT(rewritten == 1);
}

static void fill_box(BoxHandle box)
{
    for (u16 i = 1; i <= CARDS; i++) {
        u16 edit = TMP_SYSTEM_CARD_ID;
        u16 id = 0;
        char name[32];
        (void)snprintf(name, sizeof name, "card %u", (unsigned)i);
        EXPECT(_CardCreate(box, &edit) == BXD_OK);
        write_text(box, edit, NAME, name);
        EXPECT(_CardCopy(box, edit, &id) == BXD_OK);
        EXPECT(id == i);
    }
}

static void read_and_change(BoxHandle box)
{
    const CardDescriptor absent = key_of(CARDS + 1, NAME);
    const CardDescriptor unknown = key_of(1, (const u8*)"NONE");
    u8 byte = 0;
    u32 length = 1;

    EXPECT(_GetItemNum(box) == 6);
    expect_text(box, 1, NAME, "card 1");
    expect_text(box, 501, NAME, "card 501");
    expect_text(box, CARDS, NAME, "card 700");
    expect_text(box, CARDS, NOTE, "");
    EXPECT(_CardRead(box, &absent, &byte, &length) == BXD_ERR_NOTFOUND);
    length = 1;
    EXPECT(_CardRead(box, &unknown, &byte, &length) == BXD_ERR_NOTFOUND);

    write_text(box, 500, NAME, "CARD 500");           /* as long as before: in place */
    write_text(box, 501, NOTE, "longer than it was"); /* a new copy at the end */
    write_text(box, CARDS, NAME, "the last");
}

static void expect_changes(void)
{
    BoxHandle box = _BoxOpenRwMode(BOX, 1);
    u32 bytes = 0;
    u16 cards = 0;
    EXPECT(box != NULL);
    expect_text(box, 499, NAME, "card 499");
    expect_text(box, 500, NAME, "CARD 500");
    expect_text(box, 501, NAME, "card 501");
    expect_text(box, 501, NOTE, "longer than it was");
    expect_text(box, CARDS, NAME, "the last");
    EXPECT(_BoxClose(box) == BXD_OK);
    EXPECT(_BoxCardTotal(BOX, &bytes, &cards) == BXD_OK);
    EXPECT(cards == CARDS);
    EXPECT(_BoxClose(box) == BXD_ERR_FAIL);
    EXPECT(_BoxClose(NULL) == BXD_ERR_FAIL);
}

int main(void)
{
    char home[] = "/tmp/bxd-capi-XXXXXX";
    char path[64];
    EXPECT(mkdtemp(home) != NULL);
    EXPECT(setenv("HOME", home, 1) == 0);
    (void)snprintf(path, sizeof path, "%s/Applications", home);
    EXPECT(mkdir(path, 0700) == 0);

    EXPECT(_BxdnInit() == BXD_OK);
    make_box();
    BoxHandle box = _BoxOpen(BOX);
    EXPECT(box != NULL);
    fill_box(box);
    read_and_change(box);
    EXPECT(_BoxClose(box) == BXD_OK);
    expect_changes();

    EXPECT(_BoxDelete(BOX) == BXD_OK);
    EXPECT(_BoxDelete(BOX) == BXD_ERR_FAIL);
    (void)snprintf(path, sizeof path, "%s/Applications/bxd", home);
    EXPECT(rmdir(path) == 0);
    *strrchr(path, '/') = '\0';
    EXPECT(rmdir(path) == 0);
    EXPECT(rmdir(home) == 0);
    puts("a C program can use the library");
    return 0;
}
