/* SPDX-License-Identifier: MIT */
/*
 * Makes one box by a fixed run of calls and prints what each answered. Built for machines of different word
 * sizes, it must leave the same bytes and print the same lines: compare.sh does so for 32 and 64 bits.
 *
 * The run has first items with names of all lengths, 700 cards of varied text (three tables of slots), a
 * value that outgrows the memory of the card under edit, values from a file, changes that fit in place, that
 * shrink, that grow, and copies onto new, old and system cards.
 */
#include <bxd/bxd.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { CARDS = 700, LARGEST = 40000 };

static u32 seed = 20240517;
static u8 text[LARGEST];
static BoxHandle box;

static u32 next_random(u32 bound)
{
    seed = seed * 1664525u + 1013904223u;
    return (seed >> 8) % bound;
}

static u32 fill_text(u32 length)
{
    for (u32 i = 0; i < length; i++) { text[i] = (u8)(1 + next_random(255)); }
    return length;
}

static CardDescriptor key_of(u16 card, const char* tag)
{
    CardDescriptor key = {0};
    key.cardId = card;
    memcpy(key.itemNameId, tag, 4);
    return key;
}

static void report(const char* what, u32 card, u32 status)
{
    printf("%s %u: %u\n", what, (unsigned)card, (unsigned)(status & 0xFFFF));
}

static void write_item(u16 card, const char* tag, u32 length)
{
    const CardDescriptor key = key_of(card, tag);
    const u32 size = fill_text(length);
    report(tag, card, _CardWrite(box, &key, text, (i32)size));
}

static void copy_card(u16 source, u16 target)
{
    report("copy from", source, _CardCopy(box, source, &target));
    report("copy to", target, 0);
}

static void new_card(u32 nameLength, u32 noteLength)
{
    u16 edit = TMP_SYSTEM_CARD_ID;
    report("create", edit, _CardCreate(box, &edit));
    write_item(edit, "NAME", nameLength);
    write_item(edit, "NOTE", noteLength);
    copy_card(edit, 0);
}

static void make_items(const char* name)
{
    const ItemRecord items[5] = {{17, 0, {'N', 'A', 'M', 'E'}, ""},
                                 {17, 0, {'N', 'O', 'T', 'E'}, "note"},
                                 {8, 3, {'n', 'u', 'm', '1'}, "a name of exactly thirty-eight bytes.."},
                                 {12, 0, {'C', 'T', 'G', 'R'}, "category"},
                                 {1, 0, {'N', 'O', '-', 'T'}, "left out"}};
    u32 rewritten = 0;
    report("box", 0, _BoxCreate(name, GET_4BYTES("PORT")));
    report("items", 5, _BoxItemAppend(name, items, 5, &rewritten));
}

static void change_cards(const char* file)
{
    for (u32 i = 0; i < 300; i++) { write_item((u16)(1 + next_random(CARDS)), "NAME", next_random(200)); }
    for (u16 card = 50; card < 60; card++) {
        const CardDescriptor key = key_of(card, "NOTE");
        const u32 size = fill_text(30);
        report("offset", card, _CardOffsetWrite(box, &key, text, size, card % 3u));
    }
    for (u16 card = 495; card < 505; card++) {
        const CardDescriptor key = key_of(card, "ATTR");
        const u8 attribute = (u8)(card & 0x3F);
        report("attribute", card, _CardWrite(box, &key, &attribute, 1));
    }
    const CardDescriptor from_file = key_of(628, "NOTE");
    report("file", 628, _CardWriteFromFile(box, file, &from_file));
    const CardDescriptor category = key_of(629, "CTGR");
    report("category", 629, _CardWrite(box, &category, (const u8*)"\x01\x07\x00\x1B", 4));
}

static void copy_cards(void)
{
    copy_card(3, 0);
    copy_card(4, 700);
    copy_card(5, 2000);
    copy_card(6, SYSTEM_CARD_ID_MIN);
    copy_card(7, SYSTEM_CARD_ID_MIN + 1);
    copy_card(8, TMP_SYSTEM_CARD_ID);
    write_item(TMP_SYSTEM_CARD_ID, "NOTE", 5000);
    copy_card(TMP_SYSTEM_CARD_ID, 8);
    copy_card(SYSTEM_CARD_ID_MIN, 9);
}

int main(int argc, char** argv)
{
    if (argc != 3) { return 2; }
    const char* name = argv[1];

    _BxdnInit();
    make_items(name);
    box = _BoxOpen(name);
    if (box == NULL) { return 1; }
    for (u32 i = 0; i < CARDS; i++) {
        new_card(next_random(150), next_random(20) == 0 ? 17000 : next_random(400));
    }
    new_card(LARGEST, LARGEST / 2);
    change_cards(argv[2]);
    copy_cards();
    report("close", 0, _BoxClose(box));

    u32 bytes = 0;
    u16 cards = 0;
    report("total", 0, _BoxCardTotal(name, &bytes, &cards));
    printf("%u cards, %u bytes\n", (unsigned)cards, (unsigned)bytes);
    return cards > CARDS ? 0 : 1;
}
