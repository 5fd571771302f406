// SPDX-License-Identifier: MIT
// What the tests of the index room share: boxes and indexes in a scratch HOME, and short names for the calls
// by name.
#pragma once

#include <bxd/index.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "tests/support/box_case.h"
#include "tests/support/index_builder.h"

namespace boxtest {

constexpr const char* kIndex = "F0:TEST.IDX";

inline const u8* Data(const std::string& text) { return reinterpret_cast<const u8*>(text.data()); }

inline u32 Write(const std::string& index, u16 tag, const std::string& data)
{
    return _IndexInfoWrite(index.c_str(), tag, Data(data), static_cast<u16>(data.size()));
}

inline u32 WriteByte(const std::string& index, u16 tag, u8 value)
{
    return _IndexInfoWrite(index.c_str(), tag, &value, 1);
}

// Makes an index and binds it to a box.
inline u32 Bind(const std::string& index, const std::string& box = kBox, u8 kind = BXD_INDEX_MASTER)
{
    const u32 status = _IndexCreate(index.c_str(), kind);
    return status != 0 ? status : Write(index, IDXINF_BOX_NAME, box);
}

class IndexCase : public BoxCase {
protected:
    // A box with the default items and NAME, and these cards.
    Bytes box(const std::vector<u32>& ids = {}) const
    {
        BoxBuilder builder(DefaultItems() + std::vector<Item>{{1, 0, "NAME", "name"}});
        for (const u32 id : ids) { builder.card(id, builder.row({{"NAME", B("card")}})); }
        return builder.build();
    }
    void folder(const std::string& name) const { ASSERT_EQ(mkdir(path(name).c_str(), 0755), 0) << name; }

    // The index table of a box, which must be sound.
    NameTable table(const std::string& name = kBox) const
    {
        const Bytes file = get(name);
        EXPECT_TRUE(IsSound(file));
        NameTable table = TakeIndexTableApart(file);
        EXPECT_EQ(table.fault, "");
        return table;
    }
    std::vector<std::string> registered(const std::string& name = kBox) const { return table(name).names(); }

    // An index, which must be sound.
    IndexView view(const std::string& name = kIndex) const
    {
        IndexView view(get(name));
        EXPECT_EQ(view.fault(), "") << name;
        return view;
    }
};

}  // namespace boxtest
