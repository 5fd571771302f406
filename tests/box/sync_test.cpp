// SPDX-License-Identifier: MIT
// The state of a synchronisation in the header of a box, the partner's counter, and the prediction of an id.
#include "box/bxd_sync.h"

#include <bxd/bxd.h>
#include <sys/stat.h>

#include "tests/box/card_slots_case.h"
#include "tests/support/without_root.h"

namespace {

using namespace cardtest;
using boxtest::SameBytes;

class BoxSync : public CardSlots {
protected:
    void SetUp() override { put(filled(0, 9).build(), kName); }

    u32 flag() const { return file().field(hd::syncFlag); }
    void setFlag(u32 value) const
    {
        BoxBytes changed = file();
        changed.setField(hd::syncFlag, value);
        put(changed.all(), kName);
    }
    // What _BoxSyncCheck says of the box; 77 for a status.
    static u32 running(const char* name = kName)
    {
        u32 told = 99;
        const u32 status = _BoxSyncCheck(name, &told);
        u32 again = 99;
        EXPECT_EQ(status, _RmtxBoxSyncCheck(name, &again));
        EXPECT_EQ(told, again);
        return status == BXD_OK ? told : 77;
    }
};

// --- start, check, clear ---------------------------------------------------------------------------------

TEST_F(BoxSync, ANewBoxHasNoneRunning)
{
    ASSERT_EQ(BXD_OK, _BoxCreate("F0:NEW.BOX", 0));
    EXPECT_EQ(0u, running("F0:NEW.BOX"));
    EXPECT_EQ(0xFF, get("F0:NEW.BOX")[44]);
    EXPECT_EQ(BXD_OK, _BoxSyncStart("F0:NEW.BOX"));
    EXPECT_EQ(1u, running("F0:NEW.BOX"));
    EXPECT_EQ(BXD_OK, _BoxSyncClear("F0:NEW.BOX"));
    EXPECT_EQ(0u, running("F0:NEW.BOX"));
}

TEST_F(BoxSync, StartAndClearChangeTheFlagAlone)
{
    BoxBytes want = file();
    EXPECT_EQ(BXD_OK, _BoxSyncStart(kName));
    want.putByte(44, 0);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(BXD_OK, _BoxSyncStart(kName));
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    want.putByte(44, 0xFF);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    EXPECT_TRUE(Same(want, file()));
}

TEST_F(BoxSync, OnlyAFlagOfZeroMeansThatOneRuns)
{
    for (const u32 value : {1u, 0x7Fu, 0x80u, 0xFEu}) {
        setFlag(value);
        EXPECT_EQ(0u, running()) << value;
        EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
        EXPECT_EQ(value, flag()) << "a clear writes over a running one only";
        EXPECT_EQ(BXD_OK, _BoxSyncStart(kName));
        EXPECT_EQ(0u, flag());
    }
}

TEST_F(BoxSync, AHandleOnTheBoxSeesItAndChangesNothingOfIt)
{
    open();
    EXPECT_EQ(BXD_OK, _BoxSyncStart(kName));
    u32 seen = 0;
    EXPECT_EQ(BXD_OK, ChkCardAttrPimSync(fid(), &seen));
    EXPECT_EQ(1u, seen);
    reopen();
    EXPECT_EQ(1u, running());
    EXPECT_EQ(BXD_OK, _BoxSyncClear(kName));
    EXPECT_EQ(BXD_OK, ChkCardAttrPimSync(fid(), &seen));
    EXPECT_EQ(0u, seen);
    // The handle still has its lock.
    EXPECT_EQ(0, boxtest::InOtherProcess([] { return _BoxOpen(kName) == nullptr ? 0 : 1; }));
    reopen();
    EXPECT_EQ(0u, running());
}

TEST_F(BoxSync, AMissingFileIsTold)
{
    u32 told = 99;
    EXPECT_EQ(BXD_ERR_NOFILE, _BoxSyncCheck("F0:NO.BOX", &told));
    EXPECT_EQ(0u, told);
    told = 99;
    EXPECT_EQ(BXD_ERR_NOFILE, _RmtxBoxSyncCheck("F0:NO.BOX", &told));
    EXPECT_EQ(0u, told);
    EXPECT_EQ(BXD_ERR_OTHER, _BoxSyncStart("F0:NO.BOX"));
    EXPECT_EQ(BXD_ERR_NOFILE, _BoxSyncClear("F0:NO.BOX"));
    EXPECT_FALSE(exists("F0:NO.BOX"));
}

TEST_F(BoxSync, AFileOfAnotherKindIsTold)
{
    Bytes other = file().all();
    other[44] = 0;
    other[2] = 27;
    put(other, kName);
    u32 told = 99;
    EXPECT_EQ(BXD_ERR_NOFILE, _BoxSyncCheck(kName, &told));
    EXPECT_EQ(0u, told);
    EXPECT_EQ(BXD_ERR_OTHER, _BoxSyncStart(kName));
    EXPECT_EQ(BXD_ERR_NOFILE, _BoxSyncClear(kName));
    EXPECT_TRUE(SameBytes(other, get(kName)));
}

TEST_F(BoxSync, AShortFileIsTold)
{
    for (const u32 size : {0u, 2u, 4u, 45u, 71u}) {
        BoxBytes part = file();
        part.putByte(44, 0);
        part.cut(size);
        put(part.all(), "F0:SHORT.BOX");
        u32 told = 99;
        EXPECT_EQ(BXD_ERR_OTHER, _BoxSyncCheck("F0:SHORT.BOX", &told)) << size;
        EXPECT_EQ(0u, told) << size;
        EXPECT_EQ(BXD_ERR_OTHER, _BoxSyncStart("F0:SHORT.BOX")) << size;
        EXPECT_EQ(size == 0 ? BXD_ERR_FAIL : BXD_ERR_NOTFOUND, _BoxSyncClear("F0:SHORT.BOX")) << size;
        EXPECT_TRUE(SameBytes(part.all(), get("F0:SHORT.BOX"))) << size;
    }
}

TEST_F(BoxSync, ABarredBoxIsNotOpened)
{
    ASSERT_EQ(BXD_OK, BxdSetErrorFileName(kName, 130, 0, nullptr));
    EXPECT_EQ(77u, running());
    EXPECT_EQ(BXD_ERR_OTHER, _BoxSyncStart(kName));
    EXPECT_EQ(BXD_ERR_NOFILE, _BoxSyncClear(kName));
    EXPECT_EQ(BXD_OK, _BxdnInit());
    EXPECT_EQ(0u, running());
}

TEST_F(BoxSync, ABoxThatCannotBeWrittenIsToldByTheCallsThatWrite)
{
    ASSERT_EQ(0, chmod(home_.home().c_str(), 0755));
    ASSERT_EQ(0, chmod(path(kName).c_str(), 0444));
    {
        const boxtest::WithoutRoot plain;
        EXPECT_EQ(BXD_ERR_OTHER, _BoxSyncStart(kName));
        EXPECT_EQ(0u, running());
    }
    setFlag(0);
    const boxtest::WithoutRoot plain;
    EXPECT_EQ(BXD_OK, _BoxSyncStart(kName)) << "it runs, and nothing is to be written";
    EXPECT_NE(BXD_OK, _BoxSyncClear(kName));
    EXPECT_EQ(1u, running());
}

// --- the partner's counter -------------------------------------------------------------------------------

TEST_F(BoxSync, TheCounterBeginsAtOneAndGrowsByRequest)
{
    ASSERT_EQ(BXD_OK, BxdFileDelete(kName));
    make(1);
    EXPECT_EQ(1u, BxdGetSyncId(box));
    BoxBytes want = file();
    EXPECT_EQ(BXD_OK, BxdUpdateSyncId(box));
    want.putWord(60, 2);
    EXPECT_TRUE(Same(want, file()));
    EXPECT_EQ(2u, BxdGetSyncId(box));
    add({"a card"});
    EXPECT_EQ(BXD_OK, _CardDelete(box, 1));
    EXPECT_EQ(2u, BxdGetSyncId(box));
    reopen();
    EXPECT_EQ(2u, BxdGetSyncId(box));
}

TEST_F(BoxSync, TheCounterWrapsToOne)
{
    open();
    for (const auto& [before, after] :
         {std::pair{0xFFFFFFFEu, 0xFFFFFFFFu}, {0xFFFFFFFFu, 1u}, {0u, 1u}, {0x12345678u, 0x12345679u}}) {
        PokeWord(fid(), 60, before);
        EXPECT_EQ(before, BxdGetSyncId(box));
        EXPECT_EQ(BXD_OK, BxdUpdateSyncId(box));
        EXPECT_EQ(after, file().word(60));
        EXPECT_EQ(after, BxdGetSyncId(box));
    }
}

TEST_F(BoxSync, TheCounterOfAHandleForReadingStays)
{
    const boxtest::OpenBox reader(kName, 1);
    ASSERT_TRUE(reader.ok());
    EXPECT_EQ(1u, BxdGetSyncId(reader.handle()));
    EXPECT_NE(BXD_OK, BxdUpdateSyncId(reader.handle()));
    EXPECT_EQ(1u, file().word(60));
}

TEST_F(BoxSync, BadHandlesAreTold)
{
    u16 id = 77;
    EXPECT_EQ(0u, BxdGetSyncId(nullptr));
    EXPECT_EQ(BXD_ERR_FAIL, BxdUpdateSyncId(nullptr));
    EXPECT_EQ(BXD_ERR_FAIL, _ExpectNewCardID(nullptr, &id));
    boxtest::OpenBox closed(kName);
    const BoxHandle handle = closed.release();
    ASSERT_EQ(BXD_OK, _BoxClose(handle));
    EXPECT_EQ(0u, BxdGetSyncId(handle));
    EXPECT_EQ(BXD_ERR_FAIL, BxdUpdateSyncId(handle));
    EXPECT_EQ(BXD_ERR_FAIL, _ExpectNewCardID(handle, &id));
    EXPECT_EQ(77, id);
}

TEST_F(BoxSync, ACounterThatIsCutOffIsZero)
{
    open();
    BoxBytes cut = file();
    cut.cut(60);
    put(cut.all(), kName);
    EXPECT_EQ(0u, BxdGetSyncId(box));
    EXPECT_NE(BXD_OK, BxdUpdateSyncId(box));
    EXPECT_EQ(60u, file().size());
}

// --- the prediction --------------------------------------------------------------------------------------

class ExpectedId : public CardSlots {
protected:
    // The id that is expected in the open box, which must not change by the question; 0 for a status of 71.
    u32 expected()
    {
        const Bytes before = file().all();
        u16 id = 0;
        const u32 status = _ExpectNewCardID(box, &id);
        EXPECT_TRUE(status == BXD_OK || (status == BXD_ERR_FAIL && id == 0)) << status;
        EXPECT_TRUE(SameBytes(before, file().all()));
        return id;
    }
    // The same, and the next new card must get it.
    void expectAndAdd(u32 id)
    {
        EXPECT_EQ(id, expected());
        EXPECT_EQ(id, search().id);
    }
    void startWith(const boxtest::BoxBuilder& b) { start(b.build()); }
};

TEST_F(ExpectedId, AFreeHintIsTheId)
{
    make();
    EXPECT_EQ(1u, expected());
    EXPECT_EQ(1, add({"a"}));
    EXPECT_EQ(2u, expected());
    EXPECT_EQ(2, add({"b"}));
    ASSERT_EQ(BXD_OK, _CardDelete(box, 1));
    EXPECT_EQ(1u, expected()) << "a killed slot is free";
    EXPECT_EQ(1, add({"c"}));
}

TEST_F(ExpectedId, BehindAHintInUseTheNextFreeSlotIsFound)
{
    boxtest::BoxBuilder b;
    for (const u32 id : {1u, 7u}) { b.card(id); }
    b.setField(hd::unUsedCardID, 7);
    startWith(b);
    expectAndAdd(8);
}

TEST_F(ExpectedId, AHintThatIsNoIdIsOne)
{
    for (const u32 hint : {0u, 65280u, 65535u}) {
        boxtest::BoxBuilder b;
        b.card(2);
        b.setField(hd::unUsedCardID, hint);
        startWith(b);
        EXPECT_EQ(1u, expected()) << hint;
        close();
    }
}

TEST_F(ExpectedId, TheLastSlotOfTheDefaultTableLeadsToTheFirstAppendTable)
{
    startWith(filled(0, 499));
    EXPECT_EQ(501u, expected()) << "the first id of the table that would come";
    PokeHalf(fid(), hd::unUsedCardID.at, 500);
    EXPECT_EQ(501u, expected()) << "from the last slot of a table on the chain word is all that is left";
    close();
    boxtest::BoxBuilder b = filled(1, 500);
    b.setSlot(503, kNone);
    startWith(b);
    EXPECT_EQ(503u, expected());
    close();
    b.setSlot(501, 0);
    startWith(b);
    EXPECT_EQ(501u, expected());
}

TEST_F(ExpectedId, TheWalkGoesOnThroughTheAppendTables)
{
    boxtest::BoxBuilder b = filled(3, 1);
    startWith(b);
    EXPECT_EQ(500u + 3 * 128 + 1, expected());
    close();
    for (const u32 id : {628u, 629u, 756u, 757u, 884u}) {
        boxtest::BoxBuilder one = b;
        one.setSlot(id, kNone);
        for (const u32 hint : {1u, 500u, 501u, 600u, 628u}) {
            one.setField(hd::unUsedCardID, hint);
            startWith(one);
            expectAndAdd(id);
            close();
        }
    }
}

TEST_F(ExpectedId, AHintWithoutATableStandsAsItIs)
{
    for (const u32 hint : {501u, 502u, 629u, 65279u}) {
        boxtest::BoxBuilder b = filled(0, hint);
        b.setSlot(3, 0);
        startWith(b);
        EXPECT_EQ(hint, expected());
        if (hint != 501) { EXPECT_EQ(3, search().id) << "the search itself falls back"; }
        close();
    }
    startWith(filled(1, 700));
    EXPECT_EQ(700u, expected());
}

TEST_F(ExpectedId, AnIdOfATombstoneIsInUse)
{
    make();
    for (const char* name : {"a", "b", "c"}) { add({name}); }
    ASSERT_EQ(BXD_OK, _BoxSyncStart(kName));
    ASSERT_EQ(BXD_OK, _CardDelete(box, 2));
    EXPECT_EQ(2u, file().hint());
    EXPECT_EQ(4u, expected());
    EXPECT_EQ(4, add({"d"}));
}

TEST_F(ExpectedId, AChainThatClosesInItselfEnds)
{
    startWith(filled(2, 1));
    const std::vector<u32> tables = file().appendTables();
    PokeWord(fid(), tables[1] + 518, tables[0]);
    EXPECT_EQ(0u, expected());
    PokeWord(fid(), tables[1] + 518, 72 - 6);  // to where the default table is
    EXPECT_EQ(500u + 256 + 1, expected()) << "whose first word is free";
}

TEST_F(ExpectedId, AChainThatLeavesTheFileIsDamage)
{
    startWith(filled(1, 1));
    const u32 table = file().appendTables()[0];
    for (const u32 link : {file().size(), file().size() - 6, 0x7FFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFAu}) {
        PokeWord(fid(), table + 518, link);
        EXPECT_EQ(0u, expected()) << link;
    }
    PokeWord(fid(), table + 518, 0);
    EXPECT_EQ(629u, expected()) << "a chain word of 0 ends the chain like one that was never written";
}

TEST_F(ExpectedId, AFullBoxExpectsNone)
{
    constexpr u32 kTables = (65279 - 500 + 127) / 128;
    boxtest::BoxBuilder b = filled(kTables, 65000);
    startWith(b);
    EXPECT_EQ(0u, expected());
    EXPECT_EQ(BXD_ERR_FAIL, search().status);
    PokeHalf(fid(), hd::unUsedCardID.at, 65279);
    EXPECT_EQ(0u, expected());
    PokeWord(fid(), file().slotAt(65279), 0);
    EXPECT_EQ(65279u, expected());
    PokeHalf(fid(), hd::unUsedCardID.at, 1);
    EXPECT_EQ(65279u, expected());
}

}  // namespace
