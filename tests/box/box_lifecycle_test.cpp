// SPDX-License-Identifier: MIT
// A box from its creation to its deletion: the header, opening and the lock, handles, closing, and the calls
// that work by name.
#include <sys/stat.h>

#include <fstream>

#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"
#include "storage/stdiohst.h"
#include "tests/support/box_case.h"

using namespace boxtest;

namespace {

// Of a status reached by the number of a file's bytes.
struct SizeAndStatus {
    size_t size;
    u32 status;
};

class BoxCreate : public BoxCase {};
class BoxOpen : public BoxCase {};
class BoxLock : public BoxCase {};
class BoxHandleCheck : public BoxCase {};
class BoxClose : public BoxCase {};
class BoxByName : public BoxCase {};
class BoxTables : public BoxCase {};
class BoxDelete : public BoxCase {};
class BoxStart : public BoxCase {};

Bytes PlainBox() { return BoxBuilder(NumberedItems(6)).build(); }

// A box with two cards, a dead one between them, and an index table.
BoxBuilder UsedBox()
{
    BoxBuilder box(NumberedItems(6));
    box.card(1, box.row({{"I000", B("first")}}));
    box.dead(30);
    box.card(2, box.row({{"I001", B("second")}}));
    return box;
}

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

// --- the lock ----------------------------------------------------------------------------------------------

// In another process: 1 when the box opens for writing, 2 for reading only, 3 for both.
int OpensElsewhere()
{
    return InOtherProcess([] {
        const bool writing = _BoxOpen(kBox) != nullptr;
        const bool reading = _BoxOpenRwMode(kBox, 1) != nullptr;
        return (writing ? 1 : 0) + (reading ? 2 : 0);
    });
}

TEST_F(BoxLock, RefusesASecondWriterAndLetsAReaderIn)
{
    put(PlainBox());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    Captured err;
    EXPECT_EQ(OpensElsewhere(), 2);
    EXPECT_EQ(err.text(), "failed locking F0:TEST.BOX for writing.\n");
}

TEST_F(BoxLock, GoesWithTheClose)
{
    put(PlainBox());
    {
        OpenBox box(kBox);
    }
    EXPECT_EQ(OpensElsewhere(), 3);
}

TEST_F(BoxLock, IsNotTakenByAReader)
{
    put(PlainBox());
    OpenBox box(kBox, 1);
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(OpensElsewhere(), 3);
}

TEST_F(BoxLock, ARefusedWriterLeavesNothingBehind)
{
    put(PlainBox());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    Captured quiet;
    const int left = InOtherProcess([] {
        const u32 before = OpenFiles();
        if (_BoxOpen(kBox) != nullptr) { return 100; }
        return static_cast<int>(OpenFiles() - before);
    });
    EXPECT_EQ(left, 0);
}

TEST_F(BoxLock, ARefusedWriterHasClearedTheGarbageBitBefore)
{
    Bytes file = PlainBox();
    put(file);
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    SetField(file, hd::garbageFlags, 0xFF);
    ASSERT_EQ(InOtherProcess([&] {
                  put(file);
                  return 0;
              }),
              0);
    Captured quiet;
    EXPECT_EQ(InOtherProcess([] { return _BoxOpen(kBox) == nullptr ? 0 : 1; }), 0);
    SetField(file, hd::garbageFlags, 0xFE);
    EXPECT_TRUE(SameBytes(file, get()));
}

TEST_F(BoxLock, OutlivesCallsByName)
{
    put(UsedBox().build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    u32 word = 0, bytes = 0;
    u16 cards = 0, len = 0;
    u8 byte = 0, tag[4];
    char name[256];
    EXPECT_EQ(_ReadAplName(kBox, &word), 0u);
    EXPECT_EQ(_WriteAplName(kBox, "ABCD"), 0u);
    EXPECT_EQ(_WriteSystemcardSize(kBox, 20), 0u);
    EXPECT_EQ(_BoxCardTotal(kBox, &bytes, &cards), 0u);
    EXPECT_EQ(_GetFileInfo(kBox, &byte), 0u);
    EXPECT_EQ(_SetFileInfo(kBox, 5), 0u);
    EXPECT_EQ(_GetItemName(kBox, 1, tag), 0u);
    EXPECT_EQ(_GetMasterIndex(kBox, name), 66u);
    EXPECT_EQ(_BoxItemRead(kBox, Tag("ATTR"), nullptr, &len), 68u);
    EXPECT_EQ(_GetBoxGarbageSize(kBox, &word), 0u);
    EXPECT_EQ(_BoxCreate(kBox, 0), 67u);
    Captured quiet;
    EXPECT_EQ(OpensElsewhere(), 2);
}

TEST_F(BoxLock, OutlivesCallsByAnotherNameOfTheFile)
{
    put(PlainBox());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    u32 word = 0;
    EXPECT_EQ(_ReadAplName("F1:TEST.BOX", &word), 0u);
    EXPECT_EQ(_ReadAplName(path(kBox).c_str(), &word), 0u);
    Captured quiet;
    EXPECT_EQ(OpensElsewhere(), 2);
}

TEST_F(BoxLock, OutlivesTheCloseOfASecondHandle)
{
    put(PlainBox());
    OpenBox box(kBox);
    {
        OpenBox reader(kBox, 1);
    }
    Captured quiet;
    EXPECT_EQ(OpensElsewhere(), 2);
    {
        OpenBox writer(kBox);
    }
    EXPECT_EQ(OpensElsewhere(), 2);
}

TEST_F(BoxLock, OutlivesTheCloseOfTheFirstHandle)
{
    put(PlainBox());
    BoxHandle first = _BoxOpen(kBox);
    OpenBox second(kBox);
    ASSERT_TRUE(first != nullptr && second.ok());
    EXPECT_EQ(_BoxClose(first), 0u);
    Captured quiet;
    EXPECT_EQ(OpensElsewhere(), 2);
}

// Another process writes the header's itemOffset: to close the file here would drop the lock.
int SetItemOffsetElsewhere(const std::string& host, u32 value)
{
    return InOtherProcess([&] {
        std::fstream file(host, std::ios::binary | std::ios::in | std::ios::out);
        Bytes word(4);
        Put32(word, 0, value);
        file.seekp(hd::itemOffset.at);
        file.write(reinterpret_cast<const char*>(word.data()), 4);
        file.close();
        return file.good() ? 0 : 1;
    });
}

TEST_F(BoxLock, OutlivesAnOpenThatFails)
{
    put(PlainBox());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    ASSERT_EQ(SetItemOffsetElsewhere(path(kBox), kNone), 0);
    EXPECT_EQ(_BoxOpen(kBox), nullptr);
    ASSERT_EQ(SetItemOffsetElsewhere(path(kBox), 2120), 0);
    Captured quiet;
    EXPECT_EQ(OpensElsewhere(), 2);
}

TEST_F(BoxLock, OfOneBoxDoesNotTouchAnother)
{
    put(PlainBox());
    put(PlainBox(), "F0:OTHER.BOX");
    OpenBox other("F0:OTHER.BOX");
    ASSERT_TRUE(other.ok());
    EXPECT_EQ(OpensElsewhere(), 3);
}

// --- handles -----------------------------------------------------------------------------------------------

TEST_F(BoxHandleCheck, AcceptsAnOpenBox)
{
    put(PlainBox());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(BoxHdCheck(box.handle()), 0u);
}

TEST_F(BoxHandleCheck, RefusesWithoutAWordWhatIsNoHandle)
{
    put(PlainBox());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    void* block[4] = {};
    block[0] = &block[1];
    Captured err;
    EXPECT_EQ(BoxHdCheck(nullptr), 71u);
    EXPECT_EQ(BoxHdCheck(reinterpret_cast<BoxHandle>(reinterpret_cast<uintptr_t>(box.handle()) + 1)), 71u);
    EXPECT_EQ(BoxHdCheck(reinterpret_cast<BoxHandle>(reinterpret_cast<uintptr_t>(box.handle()) + 4)), 71u);
    EXPECT_EQ(BoxHdCheck(reinterpret_cast<BoxHandle>(block)), 71u);
    EXPECT_EQ(BoxHdCheck(reinterpret_cast<BoxHandle>(uintptr_t{0x10000})), 71u);  // no memory there at all
    EXPECT_EQ(BoxHdCheck(reinterpret_cast<BoxHandle>(~uintptr_t{3})), 71u);
    EXPECT_EQ(err.text(), "");
}

TEST_F(BoxHandleCheck, RefusesAClosedHandle)
{
    put(PlainBox());
    BoxHandle box = _BoxOpen(kBox);
    ASSERT_NE(box, nullptr);
    ASSERT_EQ(_BoxClose(box), 0u);
    EXPECT_EQ(BoxHdCheck(box), 71u);
    EXPECT_EQ(_GetItemNum(box), 71u);
}

TEST_F(BoxHandleCheck, RefusesFreedAndArbitraryMemory)
{
    void** foreign = NewHeapHandle(sizeof(BoxRecord));
    ASSERT_NE(foreign, nullptr);
    std::memset(*foreign, 0, sizeof(BoxRecord));
    EXPECT_EQ(BoxHdCheck(reinterpret_cast<BoxHandle>(foreign)), 71u);
    DisposeHeapHandle(foreign);
    EXPECT_EQ(BoxHdCheck(reinterpret_cast<BoxHandle>(foreign)), 71u);
}

TEST_F(BoxHandleCheck, RefusesABoxWhoseFileIsNoLongerTheOneOpened)
{
    put(PlainBox());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    BxdFINFO*& row = gBxdFINFOTable[box.fid()];
    BxdFINFO* const kept = row;
    const BxdFINFO fields = *kept;

    row = nullptr;
    EXPECT_EQ(BoxHdCheck(box.handle()), 71u);
    row = kept;
    row->refs = 0;
    EXPECT_EQ(BoxHdCheck(box.handle()), 71u);
    *row = fields;
    row->host = static_cast<u8>(fields.host + 1);
    EXPECT_EQ(BoxHdCheck(box.handle()), 71u);
    *row = fields;
    row->name = nullptr;
    EXPECT_EQ(BoxHdCheck(box.handle()), 71u);
    *row = fields;
    EXPECT_EQ(BoxHdCheck(box.handle()), 0u);
}

TEST_F(BoxHandleCheck, RefusesTheFormerHandleAlsoWhileAnotherBoxIsOpen)
{
    put(PlainBox());
    put(PlainBox(), "F0:OTHER.BOX");
    OpenBox first(kBox);
    BoxHandle second = _BoxOpen("F0:OTHER.BOX");
    ASSERT_TRUE(first.ok() && second != nullptr);
    ASSERT_EQ(_BoxClose(second), 0u);
    EXPECT_EQ(BoxHdCheck(second), 71u);
    EXPECT_EQ(BoxHdCheck(first.handle()), 0u);
}

// --- closing -----------------------------------------------------------------------------------------------

TEST_F(BoxClose, OfABadHandleSaysSoAndFails)
{
    put(PlainBox());
    OpenBox open(kBox);
    BoxHandle closed = _BoxOpenRwMode(kBox, 1);
    ASSERT_TRUE(open.ok() && closed != nullptr);
    ASSERT_EQ(_BoxClose(closed), 0u);
    const BoxHandle odd = reinterpret_cast<BoxHandle>(reinterpret_cast<uintptr_t>(open.handle()) + 1);
    for (BoxHandle bad : {BoxHandle{nullptr}, odd, closed}) {
        Captured err;
        EXPECT_EQ(_BoxClose(bad), 71u);
        EXPECT_EQ(_BoxCloseEx(bad, 1), 71u);
        EXPECT_EQ(err.text(), "BoxClose: bad boxHandle\nBoxClose: bad boxHandle\n");
    }
    EXPECT_EQ(BoxHdCheck(open.handle()), 0u);
}

TEST_F(BoxClose, LowersTheCountOfAFileThatIsOpenMoreThanOnce)
{
    put(PlainBox());
    BoxHandle box = _BoxOpen(kBox);
    ASSERT_NE(box, nullptr);
    const u8 fid = (*box)->fid;
    gBxdFINFOTable[fid]->refs = 2;
    EXPECT_EQ(_BoxCloseEx(box, 0), 0u);
    ASSERT_NE(gBxdFINFOTable[fid], nullptr);
    EXPECT_EQ(gBxdFINFOTable[fid]->refs, 1);
    EXPECT_EQ(BoxHdCheck(box), 71u);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(BoxClose, WithForceClosesTheFileAllTheSame)
{
    put(PlainBox());
    BoxHandle box = _BoxOpen(kBox);
    ASSERT_NE(box, nullptr);
    const u8 fid = (*box)->fid;
    gBxdFINFOTable[fid]->refs = 2;
    EXPECT_EQ(_BoxCloseEx(box, 1), 0u);
    EXPECT_EQ(gBxdFINFOTable[fid], nullptr);
}

// An open box whose card under edit lies in the file at `pos`.
BoxHandle OpenWithEditCard(u32 pos, u8 state, const Bytes& image)
{
    BoxHandle box = _BoxOpen(kBox);
    if (box == nullptr) { return nullptr; }
    BoxRecord* record = *box;
    record->tmpCardState = state;
    record->tmpCardOffset = pos;
    record->tmpCardId = kEditId;
    record->tmpCardWork = reinterpret_cast<u8**>(NewHeapHandle(1024));
    record->tmpCardWorkSize = 1024;
    std::memcpy(*record->tmpCardWork, image.data(), image.size());
    return box;
}

TEST_F(BoxClose, DropsACardUnderEditThatLiesInTheFile)
{
    BoxBuilder builder(NumberedItems(6));
    builder.card(1);
    const u32 pos = builder.editCard(builder.row({{"I000", B("unfinished")}}));
    Bytes file = builder.build();
    put(file);
    const Bytes image = Slice(file, pos, file.size() - pos - 2);
    BoxHandle box = OpenWithEditCard(pos, kTmpCardInFile, image);
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(_BoxClose(box), 0u);
    file.resize(pos);
    Add16(file, kEndMark);
    EXPECT_TRUE(SameBytes(file, get()));
    EXPECT_TRUE(IsSound(get()));
}

TEST_F(BoxClose, LeavesTheFileAloneInEveryOtherState)
{
    BoxBuilder builder(NumberedItems(6));
    const u32 pos = builder.editCard(builder.row());
    const Bytes file = builder.build();
    const Bytes image = Slice(file, pos, file.size() - pos - 2);
    for (u8 state : {u8{kTmpCardNone}, u8{kTmpCardInRam}, u8{3}}) {
        put(file);
        BoxHandle box = OpenWithEditCard(pos, state, image);
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(_BoxClose(box), 0u);
        EXPECT_TRUE(SameBytes(file, get())) << unsigned{state};
    }
}

TEST_F(BoxClose, ReportsTheFailureOfTheCardAndClosesTheFile)
{
    BoxBuilder builder(NumberedItems(6));
    const u32 pos = builder.card(1);
    const Bytes file = builder.build();
    put(file);
    const Bytes image = EncodeCard(kEditId, builder.row());
    BoxHandle box = OpenWithEditCard(pos, kTmpCardInFile, image);  // card 1 stands there
    ASSERT_NE(box, nullptr);
    const u8 fid = (*box)->fid;
    EXPECT_EQ(_BoxClose(box), 71u);
    EXPECT_EQ(gBxdFINFOTable[fid], nullptr);
    EXPECT_EQ(BoxHdCheck(box), 71u);
    EXPECT_TRUE(SameBytes(file, get()));
}

TEST_F(BoxClose, AfterACollectionReportsThatTheCardHasGone)
{
    BoxBuilder builder(NumberedItems(6));
    const u32 pos = builder.editCard(builder.row());
    put(builder.build());
    BoxHandle box = OpenWithEditCard(pos, kTmpCardInFile, EncodeCard(kEditId, builder.row()));
    ASSERT_NE(box, nullptr);
    Bytes file = get();
    SetField(file, hd::garbageFlags, 1);
    put(file);
    EXPECT_EQ(_BoxClose(box), 255u);
    EXPECT_TRUE(SameBytes(file, get()));
}

// --- opening by name for one operation ---------------------------------------------------------------------

TEST_F(BoxTables, SeekFileIderGivesKindAndVersion)
{
    put({0xFF, 0x12, 0x1B, 0x37});
    Fid file(kBox);
    u8 out[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    EXPECT_EQ(SeekFileIder(file.id(), out), 0u);
    EXPECT_EQ(out[0], 0x1B);
    EXPECT_EQ(out[1], 0x37);
    EXPECT_EQ(out[2], 0xAA);
}

TEST_F(BoxTables, SeekFileIderRefusesWhatIsNoFileOfTheSystem)
{
    u8 out[2] = {7, 7};
    put({0xFE, 0x00, 0x10, 0x31});
    {
        EXPECT_EQ(SeekFileIder(Fid(kBox).id(), out), 64u);
    }
    for (const SizeAndStatus& c :
         {SizeAndStatus{0, 71}, SizeAndStatus{1, 66}, SizeAndStatus{2, 66}, SizeAndStatus{3, 66}}) {
        put(Bytes(c.size, 0xFF));
        EXPECT_EQ(SeekFileIder(Fid(kBox).id(), out), c.status) << c.size;
    }
    EXPECT_EQ(out[0], 7);
}

TEST_F(BoxTables, CheckFileBoxLeavesASoundBoxOpen)
{
    put(NewBoxImage("TEST"));
    for (u32 readOnly : {0u, 1u}) {
        u8 fid = 0;
        ASSERT_EQ(CheckFileBox(kBox, &fid, readOnly), 0u);
        EXPECT_EQ(BxdFileOpenMode(fid), readOnly != 0 ? 65 : 67);
        EXPECT_EQ(BxdFileClose(fid), 0u);
    }
}

TEST_F(BoxTables, CheckFileBoxClosesWhatIsNoBox)
{
    const Bytes bad[] = {{0xFE, 0, 16, 0x31}, {0xFF, 0, 27, 0x31}, {0xFF, 0, 16, 0x21}, {0xFF, 0, 16}, {}};
    const u32 want[] = {64, 64, 64, 66, 71};
    for (int n = 0; n < 5; n++) {
        put(bad[n]);
        u8 fid = 0;
        EXPECT_EQ(CheckFileBox(kBox, &fid, 0), want[n]) << n;
        EXPECT_EQ(fid, 255) << n;
        EXPECT_EQ(OpenFiles(), 0u) << n;
    }
    u8 fid = 0;
    EXPECT_EQ(CheckFileBox("F0:NOPE.BOX", &fid, 1), 64u);
    EXPECT_EQ(fid, 255);
}

TEST_F(BoxTables, CheckFileBoxExReadsTheHeader)
{
    const Bytes file = NewBoxImage("TEST");
    put(file);
    u8 fid = 0;
    Bytes header(72);
    ASSERT_EQ(CheckFileBoxEx(kBox, &fid, header.data()), 0u);
    EXPECT_EQ(BxdFileOpenMode(fid), 67);
    EXPECT_EQ(BxdFileClose(fid), 0u);
    EXPECT_TRUE(SameBytes(Slice(file, 0, 72), header));

    ASSERT_EQ(CheckFileBoxExRwMode(kBox, &fid, header.data(), 1), 0u);
    EXPECT_EQ(BxdFileOpenMode(fid), 65);
    EXPECT_EQ(BxdFileClose(fid), 0u);
}

TEST_F(BoxTables, CheckFileBoxExClosesAFileShorterThanAHeader)
{
    Bytes header(72);
    for (size_t size : {4u, 5u, 71u}) {
        put(Slice(NewBoxImage("TEST"), 0, size));
        u8 fid = 0;
        EXPECT_EQ(CheckFileBoxEx(kBox, &fid, header.data()), 66u) << size;
        EXPECT_EQ(fid, 255);
        EXPECT_EQ(OpenFiles(), 0u);
    }
}

u32 ItemTableStatus(Bytes* out = nullptr)
{
    Fid file(kBox);
    u8* table = nullptr;
    u32 size = 0;
    const u32 status = ReadItemTable(file.id(), &table, &size);
    if (status == 0 && out != nullptr) { out->assign(table, table + size); }
    if (status == 0) { free(table); }
    return status;
}

TEST_F(BoxTables, ReadItemTableGivesTheWholeTable)
{
    put(PlainBox());
    Bytes table;
    ASSERT_EQ(ItemTableStatus(&table), 0u);
    EXPECT_TRUE(SameBytes(EncodeItemTable(NumberedItems(6)), table));
}

TEST_F(BoxTables, ReadItemTableTellsMissingFromDamaged)
{
    const Bytes sound = PlainBox();
    const u32 size = static_cast<u32>(sound.size());
    const u32 tableSize = GetField(sound, hd::itemSize);
    struct Case {
        u32 offset, bytes, status;
    };
    for (const Case& c :
         {Case{kNone, 10, 66}, Case{kNone - 1, 10, 66}, Case{kNone - 2, 10, 71}, Case{size, 10, 71},
          Case{2120, tableSize + 1, 71}, Case{2120, kNone, 71}, Case{2120, 0x7FFFFFFF, 71}}) {
        Bytes file = sound;
        SetField(file, hd::itemOffset, c.offset);
        SetField(file, hd::itemSize, c.bytes);
        put(file);
        EXPECT_EQ(ItemTableStatus(), c.status) << c.offset << " " << c.bytes;
    }
}

u32 IndexTableStatus(Bytes* out = nullptr, u32 size = 0)
{
    Fid file(kBox);
    u8 unused = 0;
    u8* table = &unused;
    const u32 status = ReadIndexTable(file.id(), &table);
    if (status != 0) {
        EXPECT_EQ(table, nullptr);
        return status;
    }
    if (out != nullptr) { out->assign(table, table + size); }
    free(table);
    return status;
}

TEST_F(BoxTables, ReadIndexTableGivesTheCardWithItsHead)
{
    BoxBuilder box = UsedBox();
    const u32 pos = box.indexTable({{"ONE.IDX"}, {"TWO.IDX"}});
    const Bytes file = box.build();
    put(file);
    Bytes table;
    ASSERT_EQ(IndexTableStatus(&table, 518), 0u);
    EXPECT_TRUE(SameBytes(Slice(file, pos, 518), table));
}

TEST_F(BoxTables, ReadIndexTableTellsMissingFromDamaged)
{
    BoxBuilder box = UsedBox();
    const u32 pos = box.indexTable({{"ONE.IDX"}});
    const Bytes sound = box.build();
    const u32 size = static_cast<u32>(sound.size());
    struct Case {
        u32 offset, bytes, status;
    };
    for (const Case& c : {Case{kNone, kNone, 66}, Case{kNone - 1, 518, 66}, Case{kNone - 2, 518, 71},
                          Case{size, 518, 71}, Case{pos, 5180, 71}, Case{pos, kNone, 71}}) {
        Bytes file = sound;
        SetField(file, hd::indexTable, c.offset);
        SetField(file, hd::indexTableSize, c.bytes);
        put(file);
        EXPECT_EQ(IndexTableStatus(), c.status) << c.offset << " " << c.bytes;
    }
}

TEST_F(BoxTables, ReadOffsetTableGivesPlaceAndWords)
{
    BoxBuilder box = UsedBox();
    const u32 second = box.card(7);
    put(box.build());
    Fid file(kBox);
    u32 pos = 0;
    u32 words[512] = {};
    EXPECT_EQ(ReadOffsetTable(file.id(), &pos, 2048, words), 0u);
    EXPECT_EQ(pos, 72u);
    EXPECT_EQ(words[17], second);
    EXPECT_EQ(words[18], kNone);
    EXPECT_EQ(words[511], kNone);
}

TEST_F(BoxTables, ReadOffsetTableTakesEitherPointerAsNull)
{
    put(PlainBox());
    Fid file(kBox);
    u32 pos = 0;
    u32 words[12];
    std::memset(words, 0x55, sizeof words);
    EXPECT_EQ(ReadOffsetTable(file.id(), &pos, 44, nullptr), 0u);
    EXPECT_EQ(pos, 72u);
    EXPECT_EQ(ReadOffsetTable(file.id(), nullptr, 44, words), 0u);
    EXPECT_EQ(words[10], kNone);
    EXPECT_EQ(words[11], 0x55555555u);  // 44 bytes and no more
    EXPECT_EQ(ReadOffsetTable(file.id(), nullptr, 0, words), 0u);
}

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
