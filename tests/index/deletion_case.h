// SPDX-License-Identifier: MIT
// A box with indexes of every kind, for the tests of what a deletion does to them.
#pragma once

#include "tests/support/card_delete_case.h"
#include "tests/support/index_builder.h"

namespace indextest {

using boxtest::B;
using boxtest::Bytes;
using boxtest::IndexBuilder;
using boxtest::IndexEntry;
using boxtest::IndexView;

constexpr u8 kDischarge = 130;
constexpr u8 kHidden = 1;  // the doubly bit

class DeletionCase : public cardtest::DeleteCase {
protected:
    static constexpr const char* kMaster = "F0:MASTER.IDX";
    static constexpr const char* kList = "F0:LIST.TDX";
    static constexpr const char* kDischarged = "F0:DISC.TDX";

    // A box of cards 1 to `count` that knows these indexes.
    void startBox(u32 count, const std::vector<boxtest::IndexEntrySpec>& indexes)
    {
        boxtest::BoxBuilder b = boxOf(count);
        b.indexTable(indexes);
        start(b.build());
    }
    // An index file of the box with these entries.
    static Bytes index(u8 kind, u8 type, const std::vector<IndexEntry>& entries)
    {
        IndexBuilder b(kind);
        b.created().record(1, "CARDS.BOX").record(4, Bytes{type}).entries(entries);
        return b.build();
    }
    // A master index, a list and a discharge index, each with the entries 1 to `count`.
    void startWithAll(u32 count)
    {
        startBox(count,
                 {{"MASTER.IDX", 1, 27, 0, 0}, {"LIST.TDX", 1, 28, 0, 0}, {"DISC.TDX", 1, 28, 130, 0}});
        put(index(27, 0, cards(count)), kMaster);
        put(index(28, 0, cards(count)), kList);
        put(index(28, kDischarge, cards(count)), kDischarged);
    }
    static std::vector<IndexEntry> cards(u32 count)
    {
        std::vector<IndexEntry> entries;
        for (u32 id = 1; id <= count; id++) { entries.push_back({id}); }
        return entries;
    }
    std::vector<IndexEntry> entriesOf(const char* name) const
    {
        const IndexView view(get(name));
        EXPECT_EQ("", view.fault()) << name;
        return view.entries();
    }
    std::vector<u32> idsOf(const char* name) const
    {
        std::vector<u32> ids;
        for (const IndexEntry& entry : entriesOf(name)) { ids.push_back(entry.cardId); }
        return ids;
    }
};

inline void PrintTo(const IndexEntry& entry, std::ostream* out)
{
    *out << entry.cardId << "/" << unsigned{entry.attr} << "/" << unsigned{entry.flags};
}

}  // namespace indextest

namespace boxtest {
inline void PrintTo(const IndexEntry& entry, std::ostream* out) { indextest::PrintTo(entry, out); }
}  // namespace boxtest
