/* SPDX-License-Identifier: MIT */
/* The smallest user of the installed library: makes a box with one item and reads the item count back. */
#include <stdio.h>

#include <bxd/bxd.h>

int main(int argc, char** argv)
{
    const ItemRecord item = {17, 0, {'N', 'A', 'M', 'E'}, "Name"};
    u32 rewritten = 0;
    if (argc != 2) { return 2; }

    _BxdnInit();
    if (_BoxCreate(argv[1], GET_4BYTES("DEMO")) != BXD_OK) { return 1; }
    if (_BoxItemAppend(argv[1], &item, 1, &rewritten) != BXD_OK) { return 1; }

    BoxHandle box = _BoxOpen(argv[1]);
    if (box == NULL) { return 1; }
    const u32 items = _GetItemNum(box);
    if (_BoxClose(box) != BXD_OK) { return 1; }
    printf("%u items\n", (unsigned)items);
    return items == 5 ? 0 : 1;
}
