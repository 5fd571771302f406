// SPDX-License-Identifier: MIT
#include "box/bxd_box_items.h"

#include <algorithm>
#include <cstring>

#include "box/bxd_box_handle.h"

namespace {

constexpr u32 kDefaultItems = 4;
constexpr u32 kItemsMax = 255;
constexpr u32 kItemsOfCaller = kItemsMax - kDefaultItems;
constexpr u32 kEntryMax = kItemEntryName + BXD_ITEM_NAME_MAX;

u16 NameLength(const ItemRecord& item) { return static_cast<u16>(strnlen(item.name, BXD_ITEM_NAME_MAX)); }

bool IsWanted(const ItemRecord& item)
{
    return CheckItemName(item.itemNameId) == BXD_OK && CheckDefaultItem(item.itemNameId) == 0;
}

u8* AppendEntry(u8* at, const ItemRecord& item)
{
    u16 nameLength = NameLength(item);
    PUT_2BYTES(at, static_cast<u16>(nameLength + kItemEntryWithTag));
    at[kItemEntryType] = item.itemType;
    at[kItemEntrySubType] = item.itemSubType;
    std::memcpy(at + kItemEntryTag, item.itemNameId, sizeof item.itemNameId);
    std::memcpy(at + kItemEntryName, item.name, nameLength);
    return at + kItemEntryName + nameLength;
}

// The whole item table of a box with these items: its length. Items that a box cannot have are left out.
u32 BuildItemTable(u8* table, const ItemRecord* items, u32 count)
{
    std::memcpy(table + 1, default_item_table, sizeof default_item_table);
    u8* at = table + 1 + sizeof default_item_table;
    u32 kept = kDefaultItems;
    for (u32 i = 0; i < count && kept < kItemsMax; ++i) {
        if (!IsWanted(items[i])) { continue; }
        at = AppendEntry(at, items[i]);
        ++kept;
    }
    table[0] = static_cast<u8>(kept);
    return static_cast<u32>(at - table);
}

// Hands an entry out as a record: type, subtype, tag and name, with a terminator behind what fits.
u32 DeliverRecord(const u8* tag, const u8* itemTable, void* out, u16* len)
{
    ItemEntry item = {};
    u32 status = SearchItemNameID(tag, itemTable, &item);
    if (status != BXD_OK) { return status; }
    u16 room = *len;
    if (item.entryLength == 0xFFFF) { return BXD_ERR_FAIL; }  // the length with a terminator has no form
    u16 needed = static_cast<u16>(item.entryLength + 1);
    *len = needed;
    if (room == 0) { return BXD_ERR_NOSPACE; }

    u32 count = std::min<u32>(item.entryLength, room - 1u);
    u8* record = static_cast<u8*>(out);
    std::memcpy(record, item.bytes, count);
    record[count] = '\0';
    return room < needed ? BXD_ERR_NOSPACE : BXD_OK;
}

}  // namespace

extern "C" {

u8 CheckItemChar(u8 c)
{
    if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z')) { return c; }
    return c >= 'a' && c <= 'z' ? static_cast<u8>(c - 'a' + 'A') : 0;
}

u32 CheckItemName(const u8* tag)
{
    bool good = std::all_of(tag, tag + 4, [](u8 c) { return CheckItemChar(c) != 0; });
    return good ? BXD_OK : BXD_ERR_ITEMNAME;
}

u32 CheckDefaultItem(const u8* tag)
{
    const u8* entry = default_item_table;
    for (u32 i = 0; i < kDefaultItems; ++i) {
        if (bxd::SameTag(tag, entry + kItemEntryTag)) { return 1; }
        entry = bxd::NextItemEntry(entry);
    }
    return 0;
}

u32 BoxItemAppendNoItem(u8 fid, const ItemRecord* items, u32 count, u32* rewritten)
{
    bxd::OpenFile file(fid);
    // A card that stands where the table goes would be lost under it.
    u32 cardOffset = 0;
    u32 status = bxd::ReadWord(fid, kHdCardOffset, &cardOffset);
    if (status != BXD_OK) { return status; }
    if (bxd::IsPosition(cardOffset)) { return BXD_ERR_FAIL; }

    bxd::HeapBlock table(1 + sizeof default_item_table +
                         static_cast<size_t>(std::min(count, kItemsOfCaller)) * kEntryMax);
    if (!table) { return BXD_ERR_FAIL; }
    u32 place[2] = {kNewBoxSize, BuildItemTable(table.data(), items, count)};
    status = bxd::WriteAll(fid, kNewBoxSize, table.data(), place[1]);
    if (status != BXD_OK) { return status; }
    status = bxd::WriteWords(fid, kHdItemOffset, place, 2);
    *rewritten = 1;
    return status;
}

u32 _BoxItemAppend(const char* name, const ItemRecord* items, u16 count, u32* rewritten)
{
    u8 fid = kNoFile;
    u8 header[kHeaderSize];
    u32 status = CheckFileBoxEx(name, &fid, header);
    if (status != BXD_OK) { return status; }
    u8* table = nullptr;
    u32 size = 0;
    status = ReadItemTable(fid, &table, &size);
    if (status == BXD_ERR_NOTFOUND) { return BoxItemAppendNoItem(fid, items, count, rewritten); }

    bxd::HeapBlock owned;
    owned.reset(table);
    (void)BxdFileClose(fid);
    return BXD_ERR_FAIL;
}

u32 _BoxItemRead(const char* name, const u8* tag, ItemRecord* out, u16* len)
{
    u8 fid = kNoFile;
    u32 status = CheckFileBox(name, &fid, 1);
    if (status != BXD_OK) { return status; }
    bxd::OpenFile file(fid);
    u8* table = nullptr;
    u32 size = 0;
    status = ReadItemTable(fid, &table, &size);
    if (status != BXD_OK) { return status; }
    bxd::HeapBlock owned;
    owned.reset(table);
    return DeliverRecord(tag, table, out, len);
}

u32 _BoxItemReadHeap(BoxHandle box, const u8* tag, void* out, u16* len)
{
    bxd::BoxLease lease(box);
    return lease ? DeliverRecord(tag, lease->itemTable, out, len) : lease.status();
}
}
