// SPDX-License-Identifier: MIT
// The calls that take the name of a box.
#include "tests/box/box_whole_case.h"

#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"
#include "storage/stdiohst.h"

using namespace boxtest;

namespace {

class BoxByName : public BoxCase {};

// --- calls by name -----------------------------------------------------------------------------------------

// Every call by name that wants a box answers a bad file alike.
void ExpectEach(u32 status, const char* name)
{
    u32 word = 0, master = 0;
    u16 cards = 0;
    u8 tag[4];
    char out[256];
    EXPECT_EQ(_BoxCardTotal(name, &word, &cards), status);
    EXPECT_EQ(_ReadAplName(name, &word), status);
    EXPECT_EQ(_WriteAplName(name, "ABCD"), status);
    EXPECT_EQ(_WriteSystemcardSize(name, 1), status);
    EXPECT_EQ(_WriteSystemcardSizeL(name, 1), status);
    EXPECT_EQ(_GetItemName(name, 1, tag), status);
    EXPECT_EQ(_GetMasterIndex(name, out), status);
    EXPECT_EQ(_GetIndexName(name, 1, out, sizeof out, &master), status);
    EXPECT_EQ(_GetBoxGarbageSize(name, &word), status);
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(BoxByName, CallsOnAMissingFileGiveNoFile)
{
    u8 byte = 0;
    ExpectEach(64, "F0:NOPE.BOX");
    EXPECT_EQ(_GetFileInfo("F0:NOPE.BOX", &byte), 64u);
    EXPECT_EQ(_SetFileInfo("F0:NOPE.BOX", 1), 64u);
    EXPECT_FALSE(exists("F0:NOPE.BOX"));
}

TEST_F(BoxByName, CallsOnWhatIsNoBoxGiveNoFileAndLeaveItAlone)
{
    Bytes file = PlainBox();
    SetField(file, hd::fileId, 28);
    put(file);
    ExpectEach(64, kBox);
    EXPECT_TRUE(SameBytes(file, get()));
}

TEST_F(BoxByName, ReadAndWriteTheApplicationsName)
{
    put(UsedBox().build());
    Bytes want = get();
    u32 name = 0;
    EXPECT_EQ(_ReadAplName(kBox, &name), 0u);
    EXPECT_EQ(name, 0x54534554u);  // "TEST"
    EXPECT_EQ(_WriteAplName(kBox, "MEMO"), 0u);
    Put32(want, 40, 0x4F4D454D);
    EXPECT_TRUE(SameBytes(want, get()));
    EXPECT_EQ(_ReadAplName(kBox, &name), 0u);
    EXPECT_EQ(name, 0x4F4D454Du);
}

TEST_F(BoxByName, CardMemoryIsStoredByItsCode)
{
    put(PlainBox());
    Bytes want = get();
    struct Case {
        u8 code;
        u32 bytes;
    };
    for (const Case& c :
         {Case{0, 10240}, Case{255, 10240}, Case{251, 460800}, Case{252, 409600}, Case{253, 358400},
          Case{254, 307200}, Case{1, 1024}, Case{10, 10240}, Case{250, 256000}}) {
        EXPECT_EQ(_WriteSystemcardSize(kBox, c.code), 0u);
        SetField(want, hd::systemCardSize, c.bytes);
        EXPECT_TRUE(SameBytes(want, get())) << unsigned{c.code};
    }
}

TEST_F(BoxByName, CardMemoryIsStoredInBytes)
{
    put(PlainBox());
    Bytes want = get();
    for (u32 bytes : {0u, 5000u, 0x12345678u, kNone}) {
        EXPECT_EQ(_WriteSystemcardSizeL(kBox, bytes), 0u);
        SetField(want, hd::systemCardSize, bytes);
        EXPECT_TRUE(SameBytes(want, get()));
    }
}

TEST_F(BoxByName, CardTotalOfABoxWithoutACardAreaIsNothing)
{
    for (const Bytes& file : {NewBoxImage("TEST"), PlainBox()}) {
        put(file);
        u32 bytes = 99;
        u16 cards = 99;
        EXPECT_EQ(_BoxCardTotal(kBox, &bytes, &cards), 0u);
        EXPECT_EQ(bytes, 0u);
        EXPECT_EQ(cards, 0);
    }
}

TEST_F(BoxByName, CardTotalWithoutAnIndexTableIsOneByteMore)
{
    BoxBuilder box = UsedBox();
    box.systemCard(1, 65300, box.row());
    const Bytes file = box.build();
    put(file);
    u32 bytes = 0;
    u16 cards = 0;
    EXPECT_EQ(_BoxCardTotal(kBox, &bytes, &cards), 0u);
    EXPECT_EQ(bytes, file.size() - GetField(file, hd::cardOffset) + 1);
    EXPECT_EQ(cards, 2);
}

TEST_F(BoxByName, CardTotalLeavesTheIndexTableOut)
{
    BoxBuilder box = UsedBox();
    box.indexTable({{"ONE.IDX"}});
    const Bytes file = box.build();
    put(file);
    u32 bytes = 0;
    u16 cards = 0;
    EXPECT_EQ(_BoxCardTotal(kBox, &bytes, &cards), 0u);
    EXPECT_EQ(bytes, file.size() - GetField(file, hd::cardOffset) - 518);
    EXPECT_EQ(cards, 2);
}

TEST_F(BoxByName, CardTotalGivesTheHeadersCount)
{
    BoxBuilder box = UsedBox();
    box.setField(hd::cardCount, 777);
    put(box.build());
    u32 bytes = 0;
    u16 cards = 0;
    EXPECT_EQ(_BoxCardTotal(kBox, &bytes, &cards), 0u);
    EXPECT_EQ(cards, 777);
}

TEST_F(BoxByName, FileInfoOfABoxStandsAtFortySix)
{
    put(UsedBox().build());
    Bytes want = get();
    u8 info = 0;
    EXPECT_EQ(_GetFileInfo(kBox, &info), 0u);
    EXPECT_EQ(info, 0xFF);
    EXPECT_EQ(_SetFileInfo(kBox, 0x5A), 0u);
    want[46] = 0x5A;
    EXPECT_TRUE(SameBytes(want, get()));
    EXPECT_EQ(_GetFileInfo(kBox, &info), 0u);
    EXPECT_EQ(info, 0x5A);
}

TEST_F(BoxByName, FileInfoOfAnIndexStandsAtTwelve)
{
    for (u8 kind : {u8{27}, u8{28}}) {
        Bytes file = Pattern(24);
        file[0] = 0xFF;
        file[2] = kind;
        file[3] = 0x30;
        put(file, "F0:TEST.IDX");
        u8 info = 0;
        EXPECT_EQ(_GetFileInfo("F0:TEST.IDX", &info), 0u);
        EXPECT_EQ(info, file[12]);
        EXPECT_EQ(_SetFileInfo("F0:TEST.IDX", 3), 0u);
        file[12] = 3;
        EXPECT_TRUE(SameBytes(file, get("F0:TEST.IDX")));
    }
}

TEST_F(BoxByName, FileInfoOfOtherFilesIsRefused)
{
    const Bytes bad[] = {{0xFF, 0, 18, 0x30}, {0xFF, 0, 26, 0x30}, {0xFF, 0, 29, 0x30},
                         {0xFF, 0, 16, 0x40}, {0xFF, 0, 27, 0x20}, {0x00, 0, 16, 0x31}};
    for (Bytes file : bad) {
        file.resize(72, 0x11);
        put(file);
        u8 info = 0x77;
        EXPECT_EQ(_GetFileInfo(kBox, &info), 64u);
        EXPECT_EQ(_SetFileInfo(kBox, 1), 64u);
        EXPECT_EQ(info, 0x77);
        EXPECT_TRUE(SameBytes(file, get()));
        EXPECT_EQ(OpenFiles(), 0u);
    }
}

TEST_F(BoxByName, ItemNumberIsThatOfTheHandlesCopy)
{
    put(BoxBuilder().build());
    OpenBox four(kBox);
    ASSERT_TRUE(four.ok());
    EXPECT_EQ(_GetItemNum(four.handle()), 4u);
    Bytes file = get();
    file[2120] = 3;
    put(file);
    EXPECT_EQ(_GetItemNum(four.handle()), 4u);
    put(BoxBuilder(NumberedItems(255)).build(), "F0:MANY.BOX");
    EXPECT_EQ(_GetItemNum(OpenBox("F0:MANY.BOX", 1).handle()), 255u);
    EXPECT_EQ(_GetItemNum(nullptr), 71u);
}

TEST_F(BoxByName, ItemNamesComeInCapitals)
{
    put(BoxBuilder(DefaultItems() + std::vector<Item>{{1, 0, "aZ09", "x"}}).build());
    const char* want[] = {"ATTR", "CTTM", "MDTM", "SYID", "AZ09"};
    for (u16 n = 1; n <= 5; n++) {
        u8 tag[5] = {0, 0, 0, 0, 0x77};
        EXPECT_EQ(_GetItemName(kBox, n, tag), 0u);
        EXPECT_EQ(std::string(tag, tag + 4), want[n - 1]);
        EXPECT_EQ(tag[4], 0x77);
    }
}

TEST_F(BoxByName, ItemNamesBehindTheLastAreNotThere)
{
    put(BoxBuilder().build());
    u8 tag[4];
    for (u16 n : {u16{5}, u16{255}, u16{256}, u16{260}, u16{0xFFFF}}) {
        EXPECT_EQ(_GetItemName(kBox, n, tag), 66u) << n;
    }
    put(NewBoxImage("TEST"));
    EXPECT_EQ(_GetItemName(kBox, 1, tag), 66u);
}

TEST_F(BoxByName, IndexNamesOfABoxWithoutIndexesAreNotThere)
{
    char out[256];
    u32 master = 0;
    BoxBuilder empty = UsedBox();
    empty.indexTable({});
    for (const Bytes& file : {NewBoxImage("TEST"), PlainBox(), UsedBox().build(), empty.build()}) {
        put(file);
        EXPECT_EQ(_GetMasterIndex(kBox, out), 66u);
        EXPECT_EQ(_GetIndexName(kBox, 1, out, sizeof out, &master), 66u);
    }
}

TEST_F(BoxByName, TheMasterIndexIsTheFirstOfItsKind)
{
    BoxBuilder box = UsedBox();
    box.indexTable({{"ONE.IDX", 1, 28}, {"TWO.IDX", 1, 27}, {"F0:THREE.IDX", 3, 27}});
    put(box.build());
    char out[256] = {};
    EXPECT_EQ(_GetMasterIndex(kBox, out), 0u);
    EXPECT_STREQ(out, "TWO.IDX");
}

TEST_F(BoxByName, TheMasterIndexIsNamedAsItStands)
{
    BoxBuilder box = UsedBox();
    box.indexTable({{"F0:some/THREE.IDX", 3, 27}});
    put(box.build());
    char out[256] = {};
    EXPECT_EQ(_GetMasterIndex(kBox, out), 0u);
    EXPECT_STREQ(out, "F0:some/THREE.IDX");
}

TEST_F(BoxByName, ATableWithoutAMasterIndexHasNone)
{
    BoxBuilder box = UsedBox();
    box.indexTable({{"ONE.IDX", 1, 28}, {"TWO.IDX", 1, 18}});
    put(box.build());
    char out[256] = {};
    EXPECT_EQ(_GetMasterIndex(kBox, out), 66u);
}

TEST_F(BoxByName, AnIndexIsNamedInFull)
{
    BoxBuilder box = UsedBox();
    box.indexTable({{"ONE.IDX", 1, 28}, {"F1:dir/TWO.IDX", 3, 27}});
    put(box.build());
    char out[256] = {};
    u32 master = 9;
    EXPECT_EQ(_GetIndexName(kBox, 1, out, sizeof out, &master), 0u);
    EXPECT_STREQ(out, "F0:ONE.IDX");
    EXPECT_EQ(master, 0u);
    EXPECT_EQ(_GetIndexName(kBox, 2, out, sizeof out, &master), 0u);
    EXPECT_STREQ(out, "F1:dir/TWO.IDX");
    EXPECT_EQ(master, 1u);
    EXPECT_EQ(_GetIndexName(kBox, 3, out, sizeof out, &master), 66u);
}

TEST_F(BoxByName, AnIndexNameNeedsRoomForItsTerminator)
{
    BoxBuilder box = UsedBox();
    box.indexTable({{"F0:ABC.IDX", 3, 27}});
    put(box.build());
    char out[16];
    std::memset(out, 0x55, sizeof out);
    u32 master = 0;
    EXPECT_EQ(_GetIndexName(kBox, 1, out, 10, &master), 68u);
    EXPECT_EQ(master, 1u);
    EXPECT_EQ(out[10], 0x55);
    EXPECT_EQ(_GetIndexName(kBox, 1, out, 11, &master), 0u);
    EXPECT_STREQ(out, "F0:ABC.IDX");
    EXPECT_EQ(out[11], 0x55);
}

TEST(FileExtent, IsToldByThreeLettersBehindTheLastDot)
{
    for (const char* name : {"F0:A.BOX", "A.box", "A.bOx", "A.BOXES", "A.IDX.BOX", "dir.x/A.boxx"}) {
        EXPECT_EQ(GetFileExtent(name), 1u) << name;
    }
    for (const char* name : {"F0:A.IDX", "A.idx", "A.TDX", "A.tDX", "A.IDXX", "A.BOX.tdx"}) {
        EXPECT_EQ(GetFileExtent(name), 2u) << name;
    }
    for (const char* name : {"", ".", "A", "A.", "A.B", "A.BO", "A.BDX", "A.IOX", "A.COX", "A.BOY", "A.IDY",
                             "A.TOX", "BOX", "A.BOX.", "A.BOX.txt", "A. BOX"}) {
        EXPECT_EQ(GetFileExtent(name), 0u) << name;
    }
}

}  // namespace
