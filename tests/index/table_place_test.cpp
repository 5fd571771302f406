// SPDX-License-Identifier: MIT
// A lost power may leave a table position that has not followed its table when a record before it grew: it
// leads among the records then. Whatever would change such a table says 71 and writes nothing.
#include "index/bxd_indx_delete.h"
#include "index/bxd_indx_entries.h"
#include "tests/index/deletion_case.h"

namespace {

using namespace indextest;
using boxtest::Fid;
using boxtest::SameBytes;

class TablePlace : public DeletionCase {
protected:
    // Cards 1 to 3 in the discharge index and in the list, a record of which holds the old table.
    void startStale()
    {
        startBox(3, {{"LIST.TDX", 1, 28, 0, 0}, {"DISC.TDX", 1, 28, 130, 0}});
        putStale(kList, 0);
        putStale(kDischarged, kDischarge);
    }
    void putStale(const char* name, u8 type) const
    {
        const Bytes table = boxtest::EncodeCardTable({{1}, {2}, {3, 0x47, kHidden}});
        IndexBuilder b(28);
        b.created().record(1, "CARDS.BOX").record(4, Bytes{type});
        const auto stale = static_cast<u32>(b.build().size()) + 2;  // the data of the next record
        b.record(40, table).entries(cards(3));
        put(b.setField(boxtest::ix::tablePos, stale).build(), name);
        ASSERT_TRUE(SameBytes(table, boxtest::Slice(get(name), stale, table.size())));
    }
    void expectRefused(const char* what, const std::function<u32()>& change)
    {
        startStale();
        const Bytes before[] = {get(kList), get(kDischarged)};
        EXPECT_EQ(BXD_ERR_FAIL, change()) << what;
        EXPECT_TRUE(SameBytes(before[0], get(kList))) << what;
        EXPECT_TRUE(SameBytes(before[1], get(kDischarged))) << what;
        EXPECT_EQ(1u, boxtest::OpenFiles()) << what;  // the box
        close();
    }
    static u32 onList(const std::function<u32(u8)>& work) { return work(Fid(kList, 3).id()); }
};

TEST_F(TablePlace, NoEntryIsAppendedAmongTheRecords)
{
    expectRefused("AddLastIndex", [] { return onList([](u8 fid) { return AddLastIndex(fid, 9, 0x47); }); });
}

TEST_F(TablePlace, NoEntryIsTakenOutAmongTheRecords)
{
    const u16 id = 2;
    expectRefused("_IndexNoDelete", [] { return _IndexNoDelete(kList, 2); });
    expectRefused("_IndexNoDeleteWithNum", [id] { return _IndexNoDeleteWithNum(kList, &id, 1); });
    expectRefused("_IndexNoDeletePMSC", [this] { return _IndexNoDeletePMSC(kList, 2, box); });
    expectRefused("FastDeleteCardID", [] { return onList([](u8 fid) { return FastDeleteCardID(fid, 2); }); });
    expectRefused("CardidDeleteFromIndex",
                  [] { return onList([](u8 fid) { return CardidDeleteFromIndex(fid, 2); }); });
    expectRefused("CardDeleteFromIndex", [this] { return CardDeleteFromIndex(*box, 2); });
}

TEST_F(TablePlace, NoPassWritesAmongTheRecords)
{
    expectRefused("DeleteDoublyCardData", [] { return onList(DeleteDoublyCardData); });
    expectRefused("DeleteAttrIndex",
                  [] { return onList([](u8 fid) { return DeleteAttrIndex(fid, 0, 0, 0); }); });
    expectRefused("SetPimDiscIndex",
                  [] { return onList([](u8 fid) { return SetPimDiscIndex(fid, 0, 0, 0); }); });
}

TEST_F(TablePlace, NoEntryIsMarkedAmongTheRecords)
{
    expectRefused("_IndexNoDeletePMSC", [this] { return _IndexNoDeletePMSC(kDischarged, 2, box); });
    expectRefused("_CardDelete", [this] {
        put(index(28, 0, {}), kList);
        const Bytes list = get(kList);
        const u32 status = _CardDelete(box, 2);
        EXPECT_TRUE(SameBytes(list, get(kList)));
        putStale(kList, 0);
        return status;
    });
}

TEST_F(TablePlace, NoCountFallsAmongTheRecords)
{
    expectRefused("DecIndexCount", [] { return onList(DecIndexCount); });
}

TEST_F(TablePlace, AMassDeletionStopsAtSuchAnIndex)
{
    expectRefused("an ordinary one", [this] { return bxd::RemoveSelectedFromIndexes(*box, 0, 0, 0); });
    expectRefused("a discharge index", [this] {
        put(index(28, 0, {}), kList);
        const u32 status = bxd::RemoveSelectedFromIndexes(*box, 0, 0, 0);
        putStale(kList, 0);
        return status;
    });
}

TEST_F(TablePlace, ATableWithoutAnyRecordsIsChanged)
{
    startBox(3, {});
    put(IndexBuilder(28).entries(cards(3)).build(), kList);
    EXPECT_EQ(BXD_OK, _IndexNoDelete(kList, 2));
    EXPECT_TRUE(SameBytes(IndexBuilder(28).entries({{1}, {3}}).build(), get(kList)));
}

}  // namespace
