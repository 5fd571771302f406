// SPDX-License-Identifier: MIT
#include "box/bxd_card_category.h"

namespace {

constexpr u32 kCategoryListMax = 260;

bool IsCategory(u8 byte) { return byte != 0 && byte != 0xFF; }

}  // namespace

extern "C" {

u32 CheckCategory(const u8* tag, const BoxRecord* box, ItemEntry* out)
{
    return SearchItemNameID(tag, box->itemTable, out) == BXD_OK && out->itemType == kCategoryItemType ? 1 : 0;
}

u32 _CardCategoryRead(BoxHandle box, const CardDescriptor* key, u8* out, u32* count)
{
    bxd::BoxLease lease(box);
    if (!lease) { return lease.status(); }
    ItemEntry item = {};
    if (CheckCategory(key->itemNameId, lease.record(), &item) == 0) { return BXD_ERR_FAIL; }

    u8 list[kCategoryListMax];
    u32 length = sizeof list;
    u32 status = _CardRead(box, key, list, &length);
    if (status != BXD_OK) {
        *count = length;
        return status;
    }

    u32 room = *count;
    u32 found = 0;
    u32 copied = 0;
    for (u32 i = 0; i < length; ++i) {
        if (!IsCategory(list[i])) { continue; }
        ++found;
        if (copied < room) { out[copied++] = list[i]; }
    }
    bool onlyCounted = room == 0;
    *count = onlyCounted ? found : copied;
    return onlyCounted || found > copied ? BXD_ERR_NOSPACE : BXD_OK;
}
}
