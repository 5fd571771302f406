// SPDX-License-Identifier: MIT
// The bytes are a box: it is checked, and then used as if nothing had been found.
#include "fuzz/fuzz_case.h"

namespace {

using namespace fuzz;

// The first tags of the box, damaged ones too.
std::vector<CardDescriptor> ItemsOf(const char* name)
{
    constexpr u16 kTagsRead = 7;
    std::vector<CardDescriptor> items;
    for (u16 number = 1; number <= kTagsRead; ++number) {
        u8 tag[4];
        if (_GetItemName(name, number, tag) != BXD_OK) { break; }
        items.push_back(Key(0, tag));
    }
    return items;
}

void ReadFigures(const char* name)
{
    u32 bytes = 0;
    u32 flag = 0;
    u16 cards = 0;
    char index[BXD_PATH_SIZE];
    (void)_BoxCardTotal(name, &bytes, &cards);
    (void)_GetBoxGarbageSize(name, &bytes);
    (void)_GetMasterIndex(name, index);
    (void)_GetIndexName(name, 1, index, sizeof index, &flag);
    (void)_BoxSyncCheck(name, &flag);
    ItemRecord record[2];
    u16 length = sizeof record;
    (void)_BoxItemRead(name, reinterpret_cast<const u8*>("NAME"), record, &length);
}

void ReadAll(BoxHandle box, const std::vector<CardDescriptor>& items)
{
    constexpr u16 kIds[] = {1,   2,   3,   4,   5,   6,     7,     8,     9,    200,
                            500, 501, 502, 628, 629, 65279, 65280, 65281, 65290};
    for (const u16 id : kIds) { ReadCard(box, id, items); }
}

void Change(BoxHandle box)
{
    const u16 added = AddCard(box, "NAME", "added");
    WriteText(box, 1, "NAME", "longer than whatever was there before, as a rule");
    WriteText(box, 2, "NAME", "");
    if (added != 0) { WriteText(box, added, "READ", std::string(300, 'r')); }
    u16 copy = 0;
    (void)_CardCopy(box, 1, &copy);
    u16 over = 2;
    (void)_CardCopy(box, 3, &over);
    u8 image[512];
    u32 length = sizeof image;
    (void)_ReadCardImage(kBox, 1, image, &length);
    for (const u16 id : {u16{1}, u16{3}, added}) { (void)_CardDelete(box, id); }
}

void Use(bool collectFirst)
{
    ReadFigures(kBox);
    if (collectFirst) { (void)_BoxGarbageCollect(kBox); }
    if (BoxHandle box = _BoxOpen(kBox); box != nullptr) {
        ReadAll(box, ItemsOf(kBox));
        Change(box);
        (void)_BoxClose(box);
    }
    (void)_BoxSyncStart(kBox);
    (void)_BoxSyncClear(kBox);
    if (!collectFirst) { (void)_BoxGarbageCollect(kBox); }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    (void)Home();
    (void)_BxdnInit();
    Put(kBox, Bytes(data, data + size));
    if (BXDFileCheckSub(kBox, BXD_CHECK_CARDS, 0) == BXD_OK) {
        Demand(BXDFileCheckSub(kBox, BXD_CHECK_CARDS, 0) == BXD_OK, "a sound box is not sound a second time");
    }
    (void)_BxdnInit();
    Use(size % 2 != 0);
    return 0;
}
