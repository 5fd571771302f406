// SPDX-License-Identifier: MIT
#include "tools/bxd/item.h"

namespace tool {
namespace {

u32 MaskedTag(std::string_view tag)
{
    u32 value = 0;
    for (const char c : tag) { value = value << 8 | static_cast<u8>(c); }
    return value & 0xDFFFFFFF;
}

}  // namespace

bool SameTag(std::string_view a, std::string_view b)
{
    return a.size() == kTagSize && b.size() == kTagSize && MaskedTag(a) == MaskedTag(b);
}

const Item* FindItem(const std::vector<Item>& items, std::string_view tagOrName)
{
    for (const Item& item : items) {
        if (SameTag(item.tag, tagOrName)) { return &item; }
    }
    for (const Item& item : items) {
        if (!item.name.empty() && item.name == tagOrName) { return &item; }
    }
    return nullptr;
}

}  // namespace tool
