// SPDX-License-Identifier: MIT
// A box is created and opened: the header, the record behind a handle, and what does not open.
#include "tests/box/box_whole_case.h"

#include <sys/stat.h>

#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"
#include "storage/stdiohst.h"

using namespace boxtest;

namespace {

class BoxCreate : public BoxCase {};
class BoxOpen : public BoxCase {};

// --- constants ---------------------------------------------------------------------------------------------

TEST(BoxConstants, TheHeaderOfANewBoxIsTheConstantImage)
{
    Bytes want = Slice(NewBoxImage("...."), 0, 72);
    Bytes got(box_file_header, box_file_header + sizeof box_file_header);
    for (Bytes* header : {&want, &got}) { SetField(*header, hd::aplName, 0); }
    EXPECT_TRUE(SameBytes(want, got));
}

TEST(BoxConstants, TheDefaultItemsAreTheEntriesOfFourItems)
{
    const Bytes want = Slice(EncodeItemTable(DefaultItems()), 1, 1000);
    ASSERT_EQ(want.size(), 73u);
    EXPECT_TRUE(SameBytes(want, Bytes(default_item_table, default_item_table + 73)));
}

TEST(BoxConstants, TheHeadsOfTables)
{
    EXPECT_TRUE(
        SameBytes({0xF0, 0xFF, 0x04, 0x02, 0x00, 0x00}, Bytes(offset_table_header, offset_table_header + 6)));
    EXPECT_TRUE(
        SameBytes({0xF1, 0xFF, 0x00, 0x02, 0x00, 0x00}, Bytes(idx_name_tbl_data, idx_name_tbl_data + 6)));
}

// --- creation ----------------------------------------------------------------------------------------------

TEST_F(BoxCreate, WritesHeaderAndEmptyOffsetTable)
{
    ASSERT_EQ(_BoxCreate(kBox, 0x52444441), 0u);  // "ADDR", first letter lowest
    const Bytes file = get();
    EXPECT_EQ(file.size(), 2120u);
    EXPECT_TRUE(SameBytes(NewBoxImage("ADDR"), file));
    EXPECT_TRUE(IsSound(file));
}

TEST_F(BoxCreate, LeavesNothingOpen)
{
    ASSERT_EQ(_BoxCreate(kBox, 0), 0u);
    EXPECT_EQ(OpenFiles(), 0u);
    EXPECT_EQ(GetNewFileHandle(), 1);
}

TEST_F(BoxCreate, MakesTheDirectoryOfTheFiles)
{
    ASSERT_EQ(rmdir(dir().c_str()), 0);
    EXPECT_EQ(_BoxCreate(kBox, 0), 0u);
    EXPECT_EQ(get().size(), 2120u);
}

TEST_F(BoxCreate, OfAnExistingNameLeavesTheFileAlone)
{
    put(B("something else"));
    EXPECT_EQ(_BoxCreate(kBox, 0), 67u);
    EXPECT_EQ(Text(get()), "something else");
}

TEST_F(BoxCreate, ThatCannotMakeTheFileFails)
{
    const std::string name = path("F0:missing/TEST.BOX");
    EXPECT_EQ(_BoxCreate(name.c_str(), 0), 71u);
    EXPECT_EQ(access(name.c_str(), F_OK), -1);
}

TEST_F(BoxCreate, OfANameThatIsTooLongFailsAndLeavesNothing)
{
    const std::string name = "F0:" + std::string(254, 'N');
    EXPECT_EQ(_BoxCreate(name.c_str(), 0), 71u);
    EXPECT_FALSE(exists(name));
}

TEST_F(BoxCreate, TakesTheNameOutOfTheRegistryOfBadFiles)
{
    Captured quiet;
    ASSERT_EQ(BxdSetErrorFileName(kBox, 130, 3, "bad\n"), 0u);
    ASSERT_EQ(_BoxCreate(kBox, 0x31313131), 0u);
    u32 name = 0;
    EXPECT_EQ(_ReadAplName(kBox, &name), 0u);
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
}

// --- opening -----------------------------------------------------------------------------------------------

TEST_F(BoxOpen, OfABoxWithoutItemsFailsWithoutAWord)
{
    put(NewBoxImage("TEST"));
    Captured err;
    EXPECT_EQ(_BoxOpen(kBox), nullptr);
    EXPECT_EQ(_BoxOpenRwMode(kBox, 1), nullptr);
    EXPECT_EQ(err.text(), "");
}

TEST_F(BoxOpen, FillsTheRecord)
{
    put(PlainBox());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    const BoxRecord* record = box.record();
    const BxdFINFO* row = gBxdFINFOTable[record->fid];
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(record->host, row->host);
    EXPECT_EQ(row->mode, 67);
    EXPECT_EQ(record->tmpCardState, 0);
    EXPECT_EQ(record->tmpCardOffset, 0u);
    EXPECT_EQ(record->tmpCardId, 0u);
    EXPECT_EQ(record->tmpCardWork, nullptr);
    EXPECT_EQ(record->tmpCardWorkSize, 0u);
    EXPECT_EQ(record->systemCardLimit, 10240u);
    EXPECT_EQ(record->driveLen, 3);
    EXPECT_EQ(std::string(record->driveName, record->driveName + 3), "F0:");
    const Bytes table = EncodeItemTable(NumberedItems(6));
    EXPECT_TRUE(SameBytes(table, Bytes(record->itemTable, record->itemTable + table.size())));
}

TEST_F(BoxOpen, ForReadingOnlyHasModeSixtyFive)
{
    put(PlainBox());
    OpenBox box(kBox, 1);
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(BxdFileOpenMode(box.fid()), 65);
}

TEST_F(BoxOpen, OfAHostPathHasNoDrive)
{
    put(PlainBox());
    OpenBox box(path(kBox).c_str());
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(box.record()->driveLen, 0);
}

TEST_F(BoxOpen, TakesTheDriveUpToTheFirstColon)
{
    put(PlainBox());
    OpenBox box("some drive:TEST.BOX");
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(box.record()->driveLen, 11);
    EXPECT_EQ(std::string(box.record()->driveName, box.record()->driveName + 11), "some drive:");
}

TEST_F(BoxOpen, WithAnOverlongDriveNeverKeepsIt)
{
    put(PlainBox());
    const std::string name = std::string(300, 'D') + ":TEST.BOX";
    Captured quiet;
    OpenBox box(name.c_str());
    EXPECT_TRUE(!box.ok() || box.record()->driveLen == 0);
}

TEST_F(BoxOpen, TakesTheCardMemoryFromTheHeader)
{
    BoxBuilder builder;
    builder.setField(hd::systemCardSize, 4096);
    put(builder.build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(box.record()->systemCardLimit, 4096u);
}

TEST_F(BoxOpen, OfAMissingFileSaysSo)
{
    Captured err;
    EXPECT_EQ(_BoxOpen("F0:NOPE.BOX"), nullptr);
    EXPECT_EQ(err.text(), "CheckFileBoxEx error F0:NOPE.BOX 40\n");
}

TEST_F(BoxOpen, OfWhatIsNoBoxSaysSo)
{
    const Field fields[] = {hd::fileMark, hd::fileId, hd::fileVersion};
    const u32 values[] = {0x00, 27, 0x41};
    for (int n = 0; n < 3; n++) {
        Bytes file = PlainBox();
        SetField(file, fields[n], values[n]);
        put(file);
        Captured err;
        EXPECT_EQ(_BoxOpen(kBox), nullptr) << fields[n].name;
        EXPECT_EQ(err.text(), "CheckFileBoxEx error F0:TEST.BOX 40\n") << fields[n].name;
    }
}

TEST_F(BoxOpen, DoesNotLookAtTheLowNibbleOfTheVersion)
{
    for (u32 version : {0x30u, 0x35u, 0x3Fu}) {
        Bytes file = PlainBox();
        SetField(file, hd::fileVersion, version);
        put(file);
        EXPECT_TRUE(OpenBox(kBox).ok()) << version;
    }
}

TEST_F(BoxOpen, OfAFileShorterThanAHeaderSaysItsStatus)
{
    for (const auto& [size, text] :
         {std::pair<size_t, const char*>{0, "47"}, {1, "42"}, {3, "42"}, {4, "42"}, {71, "42"}}) {
        put(Slice(PlainBox(), 0, size));
        Captured err;
        EXPECT_EQ(_BoxOpen(kBox), nullptr) << size;
        const std::string readFailure = size == 0 ? "BxdFileRead: error in FileOfsRead ffffffff\n" : "";
        EXPECT_EQ(err.text(), readFailure + "CheckFileBoxEx error F0:TEST.BOX " + text + "\n") << size;
    }
}

TEST_F(BoxOpen, OfABarredFileFailsUnlessItStaysOpenable)
{
    put(PlainBox());
    Captured err;
    ASSERT_EQ(BxdSetErrorFileName(kBox, 130, 3, "bad\n"), 0u);
    EXPECT_EQ(_BoxOpen(kBox), nullptr);
    ASSERT_EQ(BxdSetErrorFileName(kBox, 178, 3, "openable\n"), 67u);
    EXPECT_TRUE(OpenBox(kBox).ok());
    EXPECT_EQ(DeleteErrorFile(kBox), 0u);
    EXPECT_EQ(err.text(), "bad\nCheckFileBoxEx error F0:TEST.BOX 40\nopenable\n");
}

TEST_F(BoxOpen, ForWritingClearsTheGarbageBitAndNoOther)
{
    for (u32 before : {0x00u, 0x01u, 0xFEu, 0xFFu}) {
        Bytes file = PlainBox();
        SetField(file, hd::garbageFlags, before);
        put(file);
        EXPECT_TRUE(OpenBox(kBox).ok());
        SetField(file, hd::garbageFlags, before & 0xFE);
        EXPECT_TRUE(SameBytes(file, get())) << before;
    }
}

TEST_F(BoxOpen, ForReadingKeepsTheGarbageBit)
{
    Bytes file = PlainBox();
    SetField(file, hd::garbageFlags, 0x01);
    put(file);
    EXPECT_TRUE(OpenBox(kBox, 1).ok());
    EXPECT_TRUE(SameBytes(file, get()));
}

TEST_F(BoxOpen, OfADamagedItemTableFails)
{
    const Bytes sound = PlainBox();
    const u32 size = static_cast<u32>(sound.size());
    const u32 tableSize = GetField(sound, hd::itemSize);
    struct Case {
        u32 offset, bytes;
    };
    for (const Case& c :
         {Case{size, tableSize}, Case{size + 100, 4}, Case{2120, tableSize + 1}, Case{2120, kNone},
          Case{2120, kNone - 283}, Case{0x7FFFFFFF, 10}, Case{kNone - 2, 10}, Case{2120, 0}}) {
        Bytes file = sound;
        SetField(file, hd::itemOffset, c.offset);
        SetField(file, hd::itemSize, c.bytes);
        put(file);
        for (u32 readOnly : {0u, 1u}) {
            BoxHandle box = _BoxOpenRwMode(kBox, readOnly);
            EXPECT_EQ(box, nullptr) << c.offset << " " << c.bytes;
            if (box != nullptr) { (void)_BoxClose(box); }
        }
        EXPECT_EQ(OpenFiles(), 0u);
    }
}

TEST_F(BoxOpen, OfAFileThatMayOnlyBeReadGoesForReadingOnly)
{
    put(PlainBox());
    const Bytes before = get();
    ASSERT_EQ(chmod(path(kBox).c_str(), 0444), 0);
    ASSERT_EQ(chmod(home_.home().c_str(), 0755), 0);
    const int opened = InOtherProcess([] {
        if (geteuid() == 0 && setuid(65534) != 0) { return 100; }
        const bool writing = _BoxOpen(kBox) != nullptr;
        const bool reading = _BoxOpenRwMode(kBox, 1) != nullptr;
        return (writing ? 1 : 0) + (reading ? 2 : 0);
    });
    EXPECT_EQ(opened, 2);
    EXPECT_TRUE(SameBytes(before, get()));
}

TEST_F(BoxOpen, TwiceInOneProcessGivesTwoRecords)
{
    put(PlainBox());
    OpenBox first(kBox);
    {
        OpenBox second(kBox);
        ASSERT_TRUE(first.ok() && second.ok());
        EXPECT_NE(first.fid(), second.fid());
        EXPECT_NE(first.record()->host, second.record()->host);
    }
    EXPECT_EQ(BoxHdCheck(first.handle()), 0u);
    EXPECT_EQ(_GetItemNum(first.handle()), 6u);
}

TEST_F(BoxOpen, FailsWithTenStreamsInUseAndSucceedsAfterAClose)
{
    put(PlainBox());
    BoxHandle boxes[10];
    for (BoxHandle& box : boxes) {
        box = _BoxOpenRwMode(kBox, 1);
        ASSERT_NE(box, nullptr);
    }
    {
        Captured err;
        EXPECT_EQ(_BoxOpen(kBox), nullptr);
        EXPECT_EQ(err.text(), "CheckFileBoxEx error F0:TEST.BOX 40\n");
    }
    EXPECT_EQ(OpenFiles(), 10u);
    EXPECT_EQ(_BoxClose(boxes[4]), 0u);
    boxes[4] = _BoxOpen(kBox);
    EXPECT_NE(boxes[4], nullptr);
    for (BoxHandle box : boxes) { EXPECT_EQ(_BoxClose(box), 0u); }
}

}  // namespace
