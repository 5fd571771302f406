// SPDX-License-Identifier: MIT
// The start of the system, and the deletion of a box with its indexes.
#include "tests/box/box_whole_case.h"

#include <sys/stat.h>

#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"
#include "storage/stdiohst.h"

using namespace boxtest;

namespace {

class BoxStart : public BoxCase {};
class BoxDelete : public BoxCase {};

// --- start -------------------------------------------------------------------------------------------------

TEST_F(BoxStart, EmptiesTheRegistryOfBothDrives)
{
    Captured quiet;
    ASSERT_EQ(BxdSetErrorFileName("F0:A.BOX", 71, 3, "a\n"), 0u);
    ASSERT_EQ(BxdSetErrorFileName("F1:B.BOX", 71, 3, "b\n"), 0u);
    EXPECT_EQ(_BxdnInit(), 0u);
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
    EXPECT_EQ(_BxdnInit(), 0u);
}

TEST_F(BoxStart, OfOneDriveLeavesTheOther)
{
    Captured quiet;
    char name[256];
    for (u8 drive : {u8{0}, u8{1}, u8{200}}) {
        ASSERT_EQ(BxdSetErrorFileName("F0:A.BOX", 71, 3, "a\n"), 0u);
        ASSERT_EQ(BxdSetErrorFileName("F1:B.BOX", 71, 3, "b\n"), 0u);
        EXPECT_EQ(BxdSetupDriveWork(drive), 0u);
        EXPECT_EQ(BxdGetErrorFileNum(), 1u);
        EXPECT_EQ(BxdGetErrorFileName(1, name), 0u);
        EXPECT_STREQ(name, drive == 0 ? "F1:B.BOX" : "F0:A.BOX");
        EXPECT_EQ(_BxdnInit(), 0u);
    }
}

// --- deletion ----------------------------------------------------------------------------------------------

TEST_F(BoxDelete, OfABoxWithoutIndexes)
{
    BoxBuilder emptyTable = UsedBox();
    emptyTable.indexTable({});
    for (const Bytes& file : {NewBoxImage("TEST"), PlainBox(), UsedBox().build(), emptyTable.build()}) {
        put(file);
        Captured err;
        EXPECT_EQ(_BoxDelete(kBox), 0u);
        EXPECT_EQ(err.text(), "");
        EXPECT_FALSE(exists());
    }
}

TEST_F(BoxDelete, TakesTheRegisteredIndexesAlong)
{
    BoxBuilder box = UsedBox();
    box.indexTable({{"ONE.IDX", 1}, {"F0:TWO.IDX", 3}, {"GONE.IDX", 1}});
    put(box.build());
    put(B("i"), "F0:ONE.IDX");
    put(B("i"), "F0:TWO.IDX");
    put(B("i"), "F0:THREE.IDX");
    EXPECT_EQ(_BoxDelete(kBox), 0u);
    EXPECT_FALSE(exists());
    EXPECT_FALSE(exists("F0:ONE.IDX"));
    EXPECT_FALSE(exists("F0:TWO.IDX"));
    EXPECT_TRUE(exists("F0:THREE.IDX"));
}

TEST_F(BoxDelete, OfAMissingFileFails)
{
    Captured err;
    EXPECT_EQ(_BoxDelete("F0:NOPE.BOX"), 71u);
    EXPECT_EQ(err.text(), "");
}

// What is deleted without being readable as a box ends in a look for indexes.
void ExpectDeletedAfterScan()
{
    Captured err;
    EXPECT_EQ(_BoxDelete(kBox), 64u);
    const std::string text = err.text();
    EXPECT_NE(text.find("BoxDelete not found idx "), std::string::npos) << text;
    EXPECT_EQ(text.find("BoxDelete found idx "), std::string::npos) << text;
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(BoxDelete, OfAnUnreadableBoxScansTheDirectory)
{
    Bytes damaged = UsedBox().build();
    SetField(damaged, hd::indexTable, 1u << 20);
    SetField(damaged, hd::indexTableSize, 518);
    for (const Bytes& file : {damaged, B("short"), Bytes(300, 0x20), Bytes{}}) {
        put(file);
        put(B("kept"), "F0:OTHER.TXT");
        ExpectDeletedAfterScan();
        EXPECT_FALSE(exists());
        EXPECT_TRUE(exists("F0:OTHER.TXT"));
    }
}

// An index file that has no more than the name of its box.
Bytes IndexOf(const std::string& boxName)
{
    Bytes file{0xFF, 0x00, 0x1B, 0x30};
    Add32(file, kNone);  // no card table
    Add32(file, 24);     // the information area stands behind the header
    file.resize(24, 0x00);
    file.push_back(1);
    Add16(file, static_cast<u32>(boxName.size()));
    return file + B(boxName) + Bytes{0};
}

size_t Times(const std::string& text, const std::string& part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) { n++; }
    return n;
}

TEST_F(BoxDelete, OfAnUnreadableBoxTakesTheIndexesThatNameIt)
{
    put(B("short"));
    const std::pair<const char*, Bytes> gone[] = {{"F0:ONE.IDX", IndexOf("TEST.BOX")},
                                                  {"F0:two.tdx", IndexOf("TEST.BOX")},
                                                  {"F0:PREFIX.IDX", IndexOf("TEST")}};
    const std::pair<const char*, Bytes> kept[] = {
        {"F0:OTHER.IDX", IndexOf("OTHER.BOX")},  {"F0:LONGER.IDX", IndexOf("TEST.BOXES")},
        {"F0:FULL.IDX", IndexOf("F0:TEST.BOX")}, {"F0:EMPTY.IDX", IndexOf("")},
        {"F0:JUNK.IDX", B("no index at all")},   {"F0:A.B.IDX", IndexOf("TEST.BOX")},
        {"F0:ONE.IDXX", IndexOf("TEST.BOX")}};
    for (const auto& [name, bytes] : gone) { put(bytes, name); }
    for (const auto& [name, bytes] : kept) { put(bytes, name); }
    Captured err;
    EXPECT_EQ(_BoxDelete(kBox), 64u);
    const std::string text = err.text();
    EXPECT_EQ(Times(text, "BoxDelete found idx "), 8u) << text;
    EXPECT_EQ(Times(text, "referenced box name is same "), 3u) << text;
    EXPECT_NE(text.find("BoxDelete found idx " + path("F0:two.tdx") + "\n"), std::string::npos) << text;
    EXPECT_NE(text.find("referenced box name is same " + path("F0:two.tdx") + "\n"), std::string::npos)
        << text;
    EXPECT_EQ(Times(text, "BoxDelete not found idx "), 1u) << text;
    EXPECT_FALSE(exists());
    for (const auto& [name, bytes] : gone) { EXPECT_FALSE(exists(name)) << name; }
    for (const auto& [name, bytes] : kept) { EXPECT_TRUE(exists(name)) << name; }
}

TEST_F(BoxDelete, MissesNoneOfManyOrphans)
{
    put(B("short"));
    for (int n = 100; n < 160; n++) { put(IndexOf("TEST.BOX"), "F0:I" + std::to_string(n) + ".IDX"); }
    Captured quiet;
    EXPECT_EQ(_BoxDelete(kBox), 64u);
    for (int n = 100; n < 160; n++) { EXPECT_FALSE(exists("F0:I" + std::to_string(n) + ".IDX")) << n; }
}

TEST_F(BoxDelete, FindsNoOrphansBehindADirectoryWithADot)
{
    const std::string folder = home_.home() + "/a.b";
    ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    put(B("short"), folder + "/TEST.BOX");
    put(IndexOf("TEST.BOX"), folder + "/ONE.IDX");
    Captured quiet;
    EXPECT_EQ(_BoxDelete((folder + "/TEST.BOX").c_str()), 64u);
    EXPECT_FALSE(exists(folder + "/TEST.BOX"));
    EXPECT_TRUE(exists(folder + "/ONE.IDX"));
}

TEST_F(BoxDelete, OfABarredFileDeletesItAndScans)
{
    put(PlainBox());
    {
        Captured quiet;
        ASSERT_EQ(BxdSetErrorFileName(kBox, 130, 3, "bad\n"), 0u);
    }
    ExpectDeletedAfterScan();
    EXPECT_FALSE(exists());
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
}

TEST_F(BoxDelete, GoesThroughWhileTheBoxIsOpen)
{
    put(PlainBox());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(_BoxDelete(kBox), 0u);
    EXPECT_FALSE(exists());
    EXPECT_EQ(_GetItemNum(box.handle()), 6u);
}

}  // namespace
