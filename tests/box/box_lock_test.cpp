// SPDX-License-Identifier: MIT
// Of an open box: the lock, what is a handle, and closing.
#include "tests/box/box_whole_case.h"

#include "storage/bxd_file_errors.h"
#include "storage/heapwrapper.h"
#include "storage/stdiohst.h"

using namespace boxtest;

namespace {

class BoxLock : public BoxCase {};
class BoxHandleCheck : public BoxCase {};
class BoxClose : public BoxCase {};

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

}  // namespace
