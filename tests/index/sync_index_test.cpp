// SPDX-License-Identifier: MIT
// The purge that ends a synchronisation: discharged cards die, and the sync indexes go.
#include "index/bxd_indx_sync.h"

#include "box/bxd_sync.h"
#include "tests/index/deletion_case.h"

namespace {

using namespace indextest;
using boxtest::BoxBuilder;
using boxtest::kNone;
using boxtest::SameBytes;
using cardtest::BoxBytes;
using cardtest::Same;
using cardtest::Sound;
namespace hd = boxtest::hd;
namespace ix = boxtest::ix;

constexpr u8 kPresent = 0x47;
constexpr u8 kGone = 0x41;  // what a deletion leaves of it

class SyncPurge : public DeletionCase {
protected:
    static constexpr const char* kSync = "F0:SYNC.TDX";

    // A box of live cards, of which `tombstones` have become such, with SYNC.TDX in its index table.
    BoxBytes boxWith(u32 count, const std::vector<u32>& tombstones,
                     const std::vector<boxtest::IndexEntrySpec>& indexes = {{"SYNC.TDX", 1, 28, 130, 0}})
    {
        BoxBuilder b = boxOf(count);
        b.indexTable(indexes);
        BoxBytes made(b.build());
        for (const u32 id : tombstones) { made = withTombstone(made, id); }
        made.setField(hd::unUsedCardID, count + 1);
        made.setField(hd::syncFlag, 0);
        return made;
    }
    void place(const BoxBytes& content) const { put(content.all(), kName); }
    void placeIndex(const std::vector<IndexEntry>& entries, const char* name = kSync, u8 type = 130) const
    {
        put(index(28, type, entries), name);
    }
    // The file after these cards were ended by a purge, with the entries of `names` (bytes of each) gone.
    static BoxBytes purged(BoxBytes want, const std::vector<u32>& ids)
    {
        for (const u32 id : ids) {
            want.kill(want.slot(id));
            want.setSlot(id, 0);
        }
        want.setField(hd::syncFlag, 0xFF);
        return want;
    }
    // The first `gone` entries of the index table closed up, all of `width` bytes.
    static BoxBytes withoutNames(BoxBytes want, u32 gone, u32 names, u32 width = 22)
    {
        const u32 first = want.field(hd::indexTable) + 6;
        const Bytes left = want.part(first + gone * width, (names - gone) * width);
        want.put(first, boxtest::operator+(left, Bytes{0, 0}));
        return want;
    }
};

TEST_F(SyncPurge, EndsTheDischargedCardsAndTheIndex)
{
    const BoxBytes before = boxWith(5, {2, 4});
    place(before);
    placeIndex({{1}, {2, kGone}, {3}, {4, kGone}, {5}});
    const u32 ram = ramGarbage();
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    EXPECT_TRUE(Same(withoutNames(purged(before, {2, 4}), 1, 1), file()));
    EXPECT_EQ(3u, file().cardCount()) << "they were counted off when they became tombstones";
    EXPECT_EQ(6u, file().hint());
    EXPECT_EQ(before.total(before.slot(2)) + before.total(before.slot(4)), ramGarbage() - ram);
    EXPECT_EQ(ramGarbage() - ram, file().garbage());
    EXPECT_FALSE(exists(kSync));
    EXPECT_TRUE(Sound(file()));
    open();
    EXPECT_EQ("card 3", cardtest::Read(box, 3, "I000"));
    EXPECT_EQ("status 66", cardtest::Read(box, 2, "I000"));
}

TEST_F(SyncPurge, RunsAlsoWhereNoSynchronisationDoes)
{
    BoxBytes before = boxWith(3, {2});
    before.setField(hd::syncFlag, 1);
    place(before);
    placeIndex({{1}, {2, kGone}, {3}});
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    BoxBytes want = withoutNames(purged(before, {2}), 1, 1);
    want.setField(hd::syncFlag, 1);
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(SyncPurge, TheLastCardOfTheFileDiesWhereItStands)
{
    BoxBuilder b(boxtest::NumberedItems(7));
    b.indexTable({{"SYNC.TDX", 1, 28, 2, 0}});
    b.card(1, rowOf(b, 1));
    b.card(2, rowOf(b, 2, 0));
    place(BoxBytes(b.build()));
    placeIndex({{1}, {2, kGone}});
    const BoxBytes before = file();
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    BoxBytes want = withoutNames(purged(before, {2}), 1, 1);
    EXPECT_TRUE(Same(want, file())) << "the file keeps its size";
}

TEST_F(SyncPurge, OnlyIndexesWithBitOneOfTheirTypeAreWorkedThrough)
{
    const std::vector<u8> types = {0, 1, 128, 129, 2, 3, 130, 131};
    std::vector<boxtest::IndexEntrySpec> specs;
    for (const u8 type : types) {
        specs.push_back({"S" + std::to_string(100 + type) + ".TDX", 1, 28, type, 0});
    }
    place(boxWith(static_cast<u32>(types.size()), {1, 2, 3, 4, 5, 6, 7, 8}, specs));
    for (u32 n = 0; n < types.size(); n++) {
        placeIndex({{n + 1, kGone}}, ("F0:" + specs[n].name).c_str(), types[n]);
    }
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    for (u32 n = 0; n < types.size(); n++) {
        const bool sync = (types[n] & 2) != 0;
        EXPECT_EQ(sync, !exists("F0:" + specs[n].name)) << unsigned{types[n]};
        EXPECT_EQ(sync, file().slot(n + 1) == 0) << unsigned{types[n]};
    }
    EXPECT_EQ((std::vector<std::string>{"S100.TDX", "S101.TDX", "S228.TDX", "S229.TDX"}),
              boxtest::TakeIndexTableApart(file().all()).names());
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SyncPurge, TheBitThatSaysPresentDecides)
{
    place(boxWith(6, {1, 2, 3, 4, 5, 6}));
    placeIndex({{1, 0x4F}, {2, 0x42}, {3, 0x4D}, {4, 0x40}, {5, 0x02}, {6, 0xFD, kHidden}});
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    for (const u32 id : {1u, 2u, 5u}) { EXPECT_NE(0u, file().slot(id)) << id; }
    for (const u32 id : {3u, 4u, 6u}) { EXPECT_EQ(0u, file().slot(id)) << id; }
}

TEST_F(SyncPurge, AnEntryWithoutACardIsPassedBy)
{
    BoxBytes before = boxWith(9, {1, 2, 3, 4, 5});
    before.setSlot(1, 0);
    before.setSlot(2, kNone);
    before.setSlot(3, before.slot(9));  // another card
    before.setSlot(4, 0x7FFFFFFF);
    before.putHalf(before.slot(5), 0);  // died, and its slot was not cleared
    place(before);
    placeIndex({{1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6}, {500, 0}, {501, 0}, {65279, 0}});
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    EXPECT_TRUE(Same(withoutNames(purged(before, {}), 1, 1), file()));
}

TEST_F(SyncPurge, NothingButCardsIsEnded)
{
    BoxBuilder b = boxOf(3);
    b.indexTable({{"SYNC.TDX", 1, 28, 130, 0}});
    b.makeTablesFor(501);
    b.systemCard(10, 65281, b.row());
    BoxBytes before(b.build());
    before.setSlot(255, 0);  // a killed slot leads to the file mark, which reads like this id
    before.setSlot(16, 2);   // the file's kind
    place(before);
    // Ids of tables, of system cards, and 0, whose slot is that of the tenth system card.
    placeIndex({{0, 0}, {255, 0}, {16, 0}, {65280, 0}, {65281, 0}, {65520, 0}, {65521, 0}, {65522, 0}});
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    EXPECT_TRUE(Same(withoutNames(purged(before, {}), 1, 1), [&] {
        BoxBytes now = file();
        now.setField(hd::syncFlag, 0xFF);
        return now;
    }()));
}

TEST_F(SyncPurge, ACardIsEndedOnceHoweverOftenItStands)
{
    const BoxBytes before = boxWith(4, {2, 3}, {{"SYNC.TDX", 1, 28, 130, 0}, {"SECO.TDX", 1, 28, 130, 0}});
    place(before);
    placeIndex({{2, kGone}, {2, kGone}, {1}});
    placeIndex({{1}, {2, kGone}, {3, kGone}}, "F0:SECO.TDX");
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    EXPECT_TRUE(Same(withoutNames(withoutNames(purged(before, {2, 3}), 1, 2), 1, 1), file()));
    EXPECT_FALSE(exists(kSync));
    EXPECT_FALSE(exists("F0:SECO.TDX"));
}

TEST_F(SyncPurge, AnEntryIsTakenAtItsWord)
{
    const BoxBytes before = boxWith(3, {});
    place(before);
    placeIndex({{1}, {2, kPresent}, {3}});
    const BxdIndexHandle index = _BxdIndexOpen(kSync);
    ASSERT_NE(nullptr, index);
    EXPECT_EQ(BXD_OK, _BxdSetIndexSyncAttrPMSC(index, 2, BXD_SYNC_PRESENT | BXD_SYNC_STANDS, 0));
    EXPECT_EQ(BXD_OK, _BxdIndexClose(index));
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    // The card was alive, and still counts.
    EXPECT_TRUE(Same(withoutNames(purged(before, {2}), 1, 1), file()));
    EXPECT_EQ(3u, file().cardCount());
}

TEST_F(SyncPurge, CardsOfAppendTablesAreEndedInTheirTables)
{
    BoxBuilder b(boxtest::NumberedItems(7));
    const std::vector<u32> ids = {1, 500, 501, 628, 629, 757};
    b.indexTable({{"SYNC.TDX", 1, 28, 130, 0}});
    std::vector<IndexEntry> entries;
    for (const u32 id : ids) {
        b.card(id, rowOf(b, id, 0));
        entries.push_back({id, kGone});
    }
    const BoxBytes before(b.build());
    place(before);
    placeIndex(entries);
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    BoxBytes want = withoutNames(purged(before, ids), 1, 1);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_TRUE(Sound(file()));
}

TEST_F(SyncPurge, AnIndexWithoutEntriesGoesToo)
{
    place(boxWith(2, {2}, {{"SYNC.TDX", 1, 28, 130, 0}, {"NONE.TDX", 1, 28, 130, 0}}));
    placeIndex({});
    put(IndexBuilder(28).created().build(), "F0:NONE.TDX");
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    EXPECT_FALSE(exists(kSync));
    EXPECT_FALSE(exists("F0:NONE.TDX"));
    EXPECT_NE(0u, file().slot(2)) << "a tombstone that no sync index lists stays";
    EXPECT_EQ(0u, file().garbage());
}

TEST_F(SyncPurge, TheEndMarkDecidesWhereTheEntriesEndAndNotTheCount)
{
    for (const u32 count : {0u, 1u, 7u, 65535u}) {
        place(boxWith(3, {2, 3}));
        IndexBuilder b(28);
        b.created().entries({{1}, {2, kGone}, {3, kGone}}).setCount(count);
        put(b.build(), kSync);
        EXPECT_EQ(BXD_OK, _BoxSyncClear(kName)) << count;
        EXPECT_EQ(0u, file().slot(2)) << count;
        EXPECT_EQ(0u, file().slot(3)) << count;
    }
}

TEST_F(SyncPurge, ABoxWithoutIndexesLosesTheFlagOnly)
{
    BoxBytes before(boxOf(3).build());
    before.setField(hd::syncFlag, 0);
    place(before);
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    before.setField(hd::syncFlag, 0xFF);
    EXPECT_TRUE(Same(before, file()));
    place(boxWith(3, {}, {}));
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
}

TEST_F(SyncPurge, IndexesAreFoundByEachFormOfTheirNames)
{
    ASSERT_EQ(0, mkdir(path("F0:sub").c_str(), 0755));
    place(boxWith(4, {1, 2, 3, 4},
                  {{"A.TDX", 1, 28, 2},
                   {"/sub/B.TDX", 2, 28, 2},
                   {path("F0:C.TDX"), 3, 28, 2},
                   {"F1:D.TDX", 3, 28, 2}}));
    u32 id = 1;
    for (const char* name : {"F0:A.TDX", "F0:sub/B.TDX", "F0:C.TDX", "F0:D.TDX"}) {
        placeIndex({{id, kGone}}, name, 2);
        id++;
    }
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    for (const char* name : {"F0:A.TDX", "F0:sub/B.TDX", "F0:C.TDX", "F0:D.TDX"}) {
        EXPECT_FALSE(exists(name)) << name;
    }
    for (id = 1; id <= 4; id++) { EXPECT_EQ(0u, file().slot(id)) << id; }
    EXPECT_TRUE(boxtest::TakeIndexTableApart(file().all()).entries.empty());
}

TEST_F(SyncPurge, BytesOfBoxesOnOtherDrivesAreCountedApart)
{
    const std::string plain = path("F0:CARDS.BOX");
    for (const std::string& name : {std::string("F1:CARDS.BOX"), plain}) {
        const BoxBytes before = boxWith(2, {1});
        place(before);
        placeIndex({{1, kGone}});
        const u32 builtin = _ReadGarbageSize(0);
        const u32 other = _ReadGarbageSize(1);
        EXPECT_EQ(BXD_OK, _BoxSyncClear(name.c_str()));
        EXPECT_EQ(builtin, _ReadGarbageSize(0));
        EXPECT_EQ(before.total(before.slot(1)), _ReadGarbageSize(1) - other) << name;
    }
}

// --- what it cannot do -------------------------------------------------------------------------------------

class SyncPurgeFails : public SyncPurge {
protected:
    // A box with two sync indexes, of which something is wrong with the first.
    BoxBytes twoIndexes()
    {
        const BoxBytes before =
            boxWith(3, {2, 3}, {{"SYNC.TDX", 1, 28, 130, 0}, {"SECO.TDX", 1, 28, 130, 0}});
        place(before);
        placeIndex({{1}, {2, kGone}});
        placeIndex({{1}, {3, kGone}}, "F0:SECO.TDX");
        return before;
    }
    // The call fails with the flag cleared and nothing else done but the death of `dead`, whose bytes are not
    // counted.
    void expectStopped(const BoxBytes& before, const std::vector<u32>& dead)
    {
        const u32 ram = ramGarbage();
        EXPECT_EQ(BXD_ERR_OTHER, _BoxSyncClear(kName));
        BoxBytes want = purged(before, dead);
        want.setField(hd::garbageSize, before.garbage());
        EXPECT_TRUE(Same(want, file()));
        EXPECT_EQ(ram, ramGarbage());
        EXPECT_TRUE(exists("F0:SECO.TDX"));
    }
};

TEST_F(SyncPurgeFails, AnIndexThatEndsBeforeItsEndMark)
{
    const BoxBytes before = twoIndexes();
    Bytes cut = get(kSync);
    cut.resize(cut.size() - 2);
    put(cut, kSync);
    expectStopped(before, {2});
    EXPECT_TRUE(SameBytes(cut, get(kSync)));
    cut.resize(cut.size() - 1);
    put(cut, kSync);
    place(before);
    expectStopped(before, {});
}

TEST_F(SyncPurgeFails, ATableThatIsNowhere)
{
    const BoxBytes before = twoIndexes();
    for (const u32 pos : {0u, 23u, 0x10000u, 0x7FFFFFFFu, 0xFFFFFFF0u}) {
        Bytes wild = get(kSync);
        boxtest::SetField(wild, ix::tablePos, pos);
        put(wild, kSync);
        place(before);
        expectStopped(before, {});
        EXPECT_TRUE(SameBytes(wild, get(kSync)));
    }
}

TEST_F(SyncPurgeFails, AFileThatIsNoIndexIsNotDeleted)
{
    const BoxBytes before = twoIndexes();
    for (const Bytes& foreign : {B("precious text, and some more"), before.all(), Bytes{}}) {
        put(foreign, kSync);
        place(before);
        expectStopped(before, {});
        EXPECT_TRUE(SameBytes(foreign, get(kSync)));
    }
}

TEST_F(SyncPurgeFails, ABarredIndexStaysAsItIs)
{
    const BoxBytes before = twoIndexes();
    ASSERT_EQ(BXD_OK, BxdSetErrorFileName(kSync, 130, 0, nullptr));
    expectStopped(before, {});
    EXPECT_TRUE(exists(kSync));
    EXPECT_EQ(BXD_OK, _BxdnInit());
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
}

TEST_F(SyncPurgeFails, ACardThatLeavesTheFileStays)
{
    BoxBytes before = twoIndexes();
    before.putWord(before.slot(2) + 2, 0x7FFFFFF0);
    place(before);
    expectStopped(before, {});
    EXPECT_TRUE(exists(kSync));
}

TEST_F(SyncPurgeFails, AMissingIndexLeavesTheBoxAndTheOthersAreWorkedThrough)
{
    const BoxBytes before = twoIndexes();
    ASSERT_EQ(BXD_OK, BxdFileDelete(kSync));
    EXPECT_EQ(BXD_ERR_OTHER, _BoxSyncClear(kName));
    EXPECT_TRUE(Same(withoutNames(withoutNames(purged(before, {3}), 1, 2), 1, 1), file()));
    EXPECT_FALSE(exists("F0:SECO.TDX"));
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName)) << "nothing is missing any more";
}

TEST_F(SyncPurgeFails, ANameThatIsTooLong)
{
    const std::string longName = "/" + std::string(250, 'x') + ".TDX";
    const BoxBytes before = boxWith(3, {3}, {{longName, 2, 28, 130, 0}, {"SECO.TDX", 1, 28, 130, 0}});
    place(before);
    placeIndex({{3, kGone}}, "F0:SECO.TDX");
    expectStopped(before, {});
}

TEST_F(SyncPurgeFails, ADamagedIndexTableIsToldBeforeTheIndexes)
{
    BoxBytes before = twoIndexes();
    before.putHalf(before.field(hd::indexTable) + 6, 2000);  // the first entry leaves the table
    place(before);
    EXPECT_EQ(BXD_ERR_FAIL, _BoxSyncClear(kName));
    before.setField(hd::syncFlag, 0xFF);
    EXPECT_TRUE(Same(before, file()));
    for (const u32 pos : {0x7FFFFFFFu, file().size() - 3}) {
        before.setField(hd::indexTable, pos);
        place(before);
        EXPECT_EQ(BXD_ERR_FAIL, _BoxSyncClear(kName)) << pos;
        EXPECT_TRUE(Same(before, file()));
    }
    EXPECT_TRUE(exists(kSync));
}

}  // namespace
