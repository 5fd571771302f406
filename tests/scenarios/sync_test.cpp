// SPDX-License-Identifier: MIT
// One whole exchange with a partner: indexes that keep its marks, cards that are written, added and deleted
// in every way while it runs, the box closed in between, the clear, and a collection behind it.
#include <bxd/bxd.h>

#include "tests/support/card_helpers.h"
#include "tests/support/index_builder.h"

namespace {

using namespace cardtest;
using boxtest::IndexEntry;
using boxtest::IndexView;

class Exchange : public CardTest {
protected:
    static constexpr const char* kMaster = "F0:ALL.IDX";
    static constexpr const char* kPartner = "F0:PARTNER.TDX";  // a discharge index that new cards come into
    static constexpr const char* kFixed = "F0:FIXED.TDX";      // and one that they do not

    static u32 bind(const char* name, u8 kind, u8 type)
    {
        u32 status = _IndexCreate(name, kind);
        if (status == BXD_OK) { status = _IndexInfoWrite(name, IDXINF_TYPE, &type, 1); }
        const u8* box = reinterpret_cast<const u8*>(kName);
        return status == BXD_OK ? _IndexInfoWrite(name, IDXINF_BOX_NAME, box, 13) : status;
    }
    // The marks of an index by its cards, as a partner reads them; hidden or not, in the order of the index.
    using Marks = std::vector<std::pair<u32, u32>>;
    Marks marks(const char* name) const
    {
        Marks read;
        const BxdIndexHandle index = _BxdIndexOpen(name);
        EXPECT_NE(nullptr, index);
        u8 attr = 0;
        for (u16 n = 1; _BxdGetIndexSyncAttrPMSC(index, n, &attr) == BXD_OK; n++) {
            u16 id = 0;
            EXPECT_EQ(BXD_OK, _IndexNoToCardID(name, n, &id));
            read.emplace_back(id, attr);
        }
        EXPECT_EQ(BXD_OK, _BxdIndexClose(index));
        return read;
    }
    // The partner has seen everything.
    static void look(const char* name)
    {
        const BxdIndexHandle index = _BxdIndexOpen(name);
        ASSERT_NE(nullptr, index);
        for (u16 n = 1; _BxdSetIndexSyncAttrPMSC(index, n, BXD_SYNC_CHANGED, 0) == BXD_OK; n++) {}
        EXPECT_EQ(BXD_OK, _BxdIndexClose(index));
    }
    std::vector<u32> cardsOf(const char* name) const { return IndexView(get(name)).cardIds(); }
    u32 running() const
    {
        u32 told = 9;
        EXPECT_EQ(BXD_OK, _BoxSyncCheck(kName, &told));
        return told;
    }
    std::string attribute(u16 id) { return Read(box, id, "ATTR"); }
};

TEST_F(Exchange, FromStartToClear)
{
    make(3);
    close();
    ASSERT_EQ(BXD_OK, bind(kMaster, BXD_INDEX_MASTER, 0));
    ASSERT_EQ(BXD_OK, bind(kPartner, BXD_INDEX_LIST, 0x83));
    ASSERT_EQ(BXD_OK, bind(kFixed, BXD_INDEX_LIST, 0x82));
    open();
    for (u32 n = 1; n <= 8; n++) {
        EXPECT_EQ(n, add({"card " + std::to_string(n), "", n == 3 ? Stuff(4000) : "memo"}));
    }
    u16 place = 0;
    for (const u16 id : {u16{1}, u16{3}, u16{6}}) {
        ASSERT_EQ(BXD_OK, _IndexNoAppend(kFixed, box, id, &place));
    }

    // Before it starts: the partner sees all as new, looks, and a change is marked though none runs.
    EXPECT_EQ((Marks{{1, 7}, {3, 7}, {6, 7}}), marks(kFixed));
    look(kPartner);
    look(kFixed);
    ASSERT_EQ(BXD_OK, Write(box, 1, "I001", "changed"));
    EXPECT_EQ((Marks{{1, 7}, {2, 6}, {3, 6}, {4, 6}, {5, 6}, {6, 6}, {7, 6}, {8, 6}}), marks(kPartner));
    EXPECT_EQ((Marks{{1, 7}, {3, 6}, {6, 6}}), marks(kFixed));

    ASSERT_EQ(BXD_OK, _BoxSyncStart(kName));
    close();
    EXPECT_EQ(1u, running());
    open();

    // Deletions of each form: two tombstones, a physical one, one with its entries.
    const u32 before = file().garbage();
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    ASSERT_EQ(BXD_OK, _CardDelete(box, 3));
    EXPECT_EQ(before + 4001, file().garbage()) << "the large item is given back";
    EXPECT_EQ("card 2", Read(box, 2, "I000"));
    EXPECT_EQ(1u, attribute(2).size());
    EXPECT_EQ(0x40, attribute(2)[0]) << "as the caller sees a deleted card";
    ASSERT_EQ(BXD_OK, _CardDeletePMSC(box, 8));
    ASSERT_EQ(BXD_OK, _CardDeletePMSCWithIndex(box, 4));
    EXPECT_EQ((Marks{{1, 7}, {2, 0}, {3, 0}, {5, 6}, {6, 6}, {7, 6}, {8, 0}}), marks(kPartner));
    EXPECT_EQ((Marks{{1, 7}, {3, 0}, {6, 6}}), marks(kFixed));
    EXPECT_EQ((std::vector<u32>{1, 5, 6, 7}), cardsOf(kMaster));

    // A new card gets the id whose entries have gone too; tombstones keep theirs.
    u16 expected = 0;
    EXPECT_EQ(BXD_OK, _ExpectNewCardID(box, &expected));
    EXPECT_EQ(4, expected);
    EXPECT_EQ(4, add({"new"}));
    reopen();
    ASSERT_EQ(BXD_OK, Write(box, 5, "I000", "another length than before"));
    EXPECT_EQ((Marks{{1, 7}, {2, 0}, {3, 0}, {5, 7}, {6, 6}, {7, 6}, {8, 0}, {4, 7}}), marks(kPartner));
    EXPECT_EQ((Marks{{1, 7}, {3, 0}, {6, 6}}), marks(kFixed)) << "new cards stay out";

    // All cards of an attribute become tombstones.
    ASSERT_EQ(BXD_OK, Write(box, 6, "ATTR", "\x10"));
    ASSERT_EQ(BXD_OK, Write(box, 7, "ATTR", "\x10"));
    ASSERT_EQ(BXD_OK, _CardAllDelete(box, 0x10, 0x10, 0));
    EXPECT_EQ((Marks{{1, 7}, {2, 0}, {3, 0}, {5, 7}, {6, 1}, {7, 1}, {8, 0}, {4, 7}}), marks(kPartner));
    EXPECT_EQ((Marks{{1, 7}, {3, 0}, {6, 1}}), marks(kFixed));
    EXPECT_EQ((std::vector<u32>{1, 5, 4}), cardsOf(kMaster));
    EXPECT_EQ(3u, file().cardCount());
    EXPECT_EQ("card 6", Read(box, 6, "I000"));

    // One tombstone dies before the clear.
    ASSERT_EQ(BXD_OK, _CardDeletePMSC(box, 7));
    EXPECT_EQ(BXD_OK, BxdUpdateSyncId(box));
    EXPECT_EQ(2u, BxdGetSyncId(box));
    EXPECT_EQ(3u, file().cardCount());
    close();
    EXPECT_EQ(1u, running());

    const u32 ram = ramGarbage();
    const BoxBytes kept = file();
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    EXPECT_EQ(0u, running());
    u32 ended = 0;
    for (const u32 id : {2u, 3u, 6u}) { ended += kept.total(kept.slot(id)); }
    EXPECT_EQ(kept.garbage() + ended, file().garbage());
    EXPECT_EQ(ended, ramGarbage() - ram);
    EXPECT_FALSE(exists(kPartner));
    EXPECT_FALSE(exists(kFixed));
    EXPECT_EQ((std::vector<std::string>{"ALL.IDX"}), boxtest::TakeIndexTableApart(file().all()).names());
    EXPECT_TRUE(Sound(file()));

    const auto expectCards = [&] {
        EXPECT_EQ("card 1", Read(box, 1, "I000"));
        EXPECT_EQ("changed", Read(box, 1, "I001"));
        EXPECT_EQ("new", Read(box, 4, "I000"));
        EXPECT_EQ("another length than before", Read(box, 5, "I000"));
        for (const u16 id : {u16{2}, u16{3}, u16{6}, u16{7}, u16{8}}) {
            EXPECT_EQ("status 66", Read(box, id, "I000")) << id;
        }
        EXPECT_EQ((std::vector<u32>{1, 5, 4}), cardsOf(kMaster));
    };
    open();
    expectCards();
    close();
    EXPECT_EQ(BXD_OK, _BoxGarbageCollect(kName));
    EXPECT_EQ(0u, file().garbage());
    EXPECT_EQ(3u, file().cardCount());
    EXPECT_TRUE(Sound(file()));
    open();
    expectCards();

    // None runs any more: a deletion is physical, and ids are free again.
    ASSERT_EQ(BXD_OK, _CardDelete(box, 1));
    EXPECT_EQ(1, add({"again"}));
    EXPECT_EQ(2, add({"and again"}));
    EXPECT_EQ((std::vector<u32>{5, 4, 1, 2}), cardsOf(kMaster));
    EXPECT_EQ(2u, BxdGetSyncId(box));
    EXPECT_TRUE(Sound(file()));
}

}  // namespace
